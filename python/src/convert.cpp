#include "convert.h"

#include <cstring>
#include <string>

namespace paskosda_python {

namespace {

[[noreturn]] void shape_error(const std::string& message) { throw py::value_error(message); }

// The library indexes with int: larger arrays cannot be handed to it.
int checked_int(py::ssize_t n, const char* name) {
  if (n > static_cast<py::ssize_t>(std::numeric_limits<int>::max() / 2))
    shape_error(std::string(name) + " is too large for the library");
  return static_cast<int>(n);
}

}  // namespace

mlVector to_vector(const Array& a, const char* name, long expected) {
  if (a.ndim() != 1)
    shape_error(std::string(name) + " must be 1-D, got " + std::to_string(a.ndim()) + "-D");
  const int n = checked_int(a.shape(0), name);
  if (expected >= 0) require_length(n, expected, name);
  mlVector v(mlVectorDim, n);
  if (n > 0) std::memcpy(v.data(), a.data(), sizeof(double) * static_cast<size_t>(n));
  return v;
}

mlMatrix to_matrix(const Array& a, const char* name) {
  if (a.ndim() != 2)
    shape_error(std::string(name) + " must be 2-D, got " + std::to_string(a.ndim()) + "-D");
  const int r = checked_int(a.shape(0), name);
  const int c = checked_int(a.shape(1), name);
  mlMatrix m(r, c);
  if (r > 0 && c > 0) std::memcpy(m.data(), a.data(), sizeof(double) * static_cast<size_t>(r) * c);
  return m;
}

void require_square(const mlMatrix& m, const char* name) {
  if (m.rows() != m.cols())
    shape_error(std::string(name) + " must be square, got " + std::to_string(m.rows()) + "x" +
                std::to_string(m.cols()));
}

void require_length(long got, long expected, const char* what) {
  if (got != expected)
    shape_error(std::string(what) + " must have length " + std::to_string(expected) + ", got " +
                std::to_string(got));
}

py::array_t<double> from_doubles(const double* p, long n) {
  py::array_t<double> out(n);
  if (n > 0) std::memcpy(out.mutable_data(), p, sizeof(double) * static_cast<size_t>(n));
  return out;
}

py::array_t<double> from_vector(const mlVector& v) { return from_doubles(v.data(), v.dimension()); }

py::array_t<double> from_slice(const mlSlice& s) {
  py::array_t<double> out(s.dimension());
  double* p = out.mutable_data();
  for (int i = 0; i < s.dimension(); ++i)
    p[i] = s[i];
  return out;
}

py::array_t<double> from_matrix(const mlMatrix& m) {
  py::array_t<double> out({static_cast<py::ssize_t>(m.rows()), static_cast<py::ssize_t>(m.cols())});
  const size_t n = static_cast<size_t>(m.rows()) * static_cast<size_t>(m.cols());
  if (n > 0) std::memcpy(out.mutable_data(), m.data(), sizeof(double) * n);
  return out;
}

py::object make_result() { return py::module_::import("paskosda").attr("Result")(); }

void CallbackGuard::copy_checked(const py::object& value, long rows, long cols, double* out) {
  const Array a = Array::ensure(value);
  if (!a) shape_error("a callable returned something that is not an array of numbers");
  const bool matches = cols < 0 ? a.ndim() == 1 && a.shape(0) == rows
                                : a.ndim() == 2 && a.shape(0) == rows && a.shape(1) == cols;
  if (!matches)
    shape_error("a callable returned an array of shape other than (" + std::to_string(rows) +
                (cols < 0 ? std::string(",)") : ", " + std::to_string(cols) + ")"));
  const long n = cols < 0 ? rows : rows * cols;
  if (n > 0) std::memcpy(out, a.data(), sizeof(double) * static_cast<size_t>(n));
}

double CallbackGuard::to_double(const py::object& value) {
  const double x = PyFloat_AsDouble(value.ptr());
  if (x == -1.0 && PyErr_Occurred()) throw py::error_already_set();
  return x;
}

void CallbackGuard::fill_nan(double* out, long n) noexcept {
  for (long i = 0; i < n; ++i)
    out[i] = std::numeric_limits<double>::quiet_NaN();
}

}  // namespace paskosda_python
