// Shared pieces of the binding: numpy conversions of the library's vectors and matrices,
// shape checks that raise ValueError, the result object, and the guard that carries a Python
// exception out of a callable through the library (which never throws).
#ifndef PASKOSDA_PYTHON_CONVERT_H
#define PASKOSDA_PYTHON_CONVERT_H

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <exception>
#include <limits>
#include <string>
#include <utility>

#include <paskosda.h>

namespace paskosda_python {

namespace py = pybind11;

/// Any array-like converted (only when needed) to C-contiguous float64.
using Array = py::array_t<double, py::array::c_style | py::array::forcecast>;

/// A 1-D array as an mlVector; ValueError for another rank (or a length other than
/// `expected` when it is given).
mlVector to_vector(const Array& a, const char* name, long expected = -1);
/// A 2-D array as an mlMatrix; ValueError for another rank.
mlMatrix to_matrix(const Array& a, const char* name);
/// ValueError unless the matrix is square.
void require_square(const mlMatrix& m, const char* name);
/// ValueError unless `got` equals `expected`.
void require_length(long got, long expected, const char* what);

/// New numpy arrays holding copies of the library's results.
py::array_t<double> from_vector(const mlVector& v);
py::array_t<double> from_slice(const mlSlice& s);
py::array_t<double> from_matrix(const mlMatrix& m);
py::array_t<double> from_doubles(const double* p, long n);

/// An empty result object; the solvers set its attributes (x, fun, status, evaluations...).
py::object make_result();

/// Calls Python on the library's behalf. The first exception a callable raises is kept and
/// every later call returns NaN without running Python, so the library's iteration winds
/// down (every solver ends on NaN values or on its budget); `rethrow` raises the kept
/// exception once the library has returned. The calls are counted.
class CallbackGuard {
 public:
  /// f(args...) converted to double, or NaN once a callable has raised.
  template <class... Args>
  double scalar(const py::handle& f, Args&&... args) {
    return invoke([&] { return to_double(f(std::forward<Args>(args)...)); },
                  std::numeric_limits<double>::quiet_NaN());
  }
  /// f(args...) as a 1-D array of length n (ValueError otherwise), copied to out; out is
  /// filled with NaN once a callable has raised.
  template <class... Args>
  void vector(const py::handle& f, long n, double* out, Args&&... args) {
    array(f, n, -1, out, std::forward<Args>(args)...);
  }
  /// f(args...) as a rows by cols array, copied row by row to out (as `vector`).
  template <class... Args>
  void matrix(const py::handle& f, long rows, long cols, double* out, Args&&... args) {
    array(f, rows, cols, out, std::forward<Args>(args)...);
  }

  /// Raises the kept exception, if any.
  void rethrow() const {
    if (error_) std::rethrow_exception(error_);
  }
  long calls() const noexcept { return calls_; }

 private:
  template <class Body, class T>
  T invoke(Body&& body, T on_error) {
    if (error_) return on_error;
    ++calls_;
    try {
      return body();
    } catch (...) {
      error_ = std::current_exception();
      return on_error;
    }
  }
  // cols < 0: a 1-D array of `rows` elements.
  template <class... Args>
  void array(const py::handle& f, long rows, long cols, double* out, Args&&... args) {
    const bool ok = invoke(
        [&] {
          copy_checked(f(std::forward<Args>(args)...), rows, cols, out);
          return true;
        },
        false);
    if (!ok) fill_nan(out, cols < 0 ? rows : rows * cols);
  }
  static void copy_checked(const py::object& value, long rows, long cols, double* out);
  static void fill_nan(double* out, long n) noexcept;
  // float(value): TypeError for what is not a real number, as Python itself reports it.
  static double to_double(const py::object& value);

  std::exception_ptr error_;
  long calls_ = 0;
};

/// The slice's elements as a new numpy array (the callables' argument).
inline py::array_t<double> argument(const mlSlice& x) { return from_slice(x); }

void bind_linalg(py::module_& m);
void bind_sparse(py::module_& m);
void bind_eigen(py::module_& m);
void bind_roots(py::module_& m);
void bind_functions(py::module_& m);
void bind_optim(py::module_& m);
void bind_surface(py::module_& m);

}  // namespace paskosda_python

#endif  // PASKOSDA_PYTHON_CONVERT_H
