// Dense decompositions: LU, Cholesky, QR by Gram-Schmidt, SVD, and tridiagonal solves.
#include <memory>
#include <mutex>

#include "convert.h"

namespace paskosda_python {
namespace {

// A right-hand side with the decomposition's row count: 1-D gives a vector solve, 2-D a
// matrix solve (column by column), exactly as the library's two overloads.
// A decomposition with a cache passes its mutex, taken only once the GIL is released (a
// thread waiting for it must not hold the GIL that the owner needs to finish).
template <class Decomposition>
py::array_t<double> solve_rhs(const Decomposition& d, const Array& b, int n,
                              std::mutex* cache = nullptr) {
  auto locked = [cache] {
    return cache != nullptr ? std::unique_lock<std::mutex>(*cache) : std::unique_lock<std::mutex>();
  };
  if (b.ndim() == 2) {
    const mlMatrix rhs = to_matrix(b, "b");
    require_length(rhs.rows(), n, "b (rows)");
    mlMatrix x;
    {
      py::gil_scoped_release release;
      const auto lock = locked();
      d.solve(rhs, x);
    }
    return from_matrix(x);
  }
  const mlVector rhs = to_vector(b, "b", n);
  mlVector x;
  {
    py::gil_scoped_release release;
    const auto lock = locked();
    d.solve(rhs, x);
  }
  return from_vector(x);
}

// One of the decomposition's matrix queries, as a numpy array.
template <class Decomposition>
py::array_t<double> query(const Decomposition& d,
                          void (Decomposition::*member)(mlMatrix&) const noexcept) {
  mlMatrix out;
  (d.*member)(out);
  return from_matrix(out);
}

mlMatrix square_matrix(const Array& a) {
  mlMatrix m = to_matrix(a, "a");
  require_square(m, "a");
  return m;
}

template <class Decomposition>
std::unique_ptr<Decomposition> factorise(const Array& a) {
  const mlMatrix m = square_matrix(a);
  py::gil_scoped_release release;
  return std::make_unique<Decomposition>(m);
}

void bind_lu(py::module_& m) {
  using LU = mlLUDecomposition;
  py::class_<LU>(m, "LU",
                 "P A = L U by partial pivoting (mlLUDecomposition), factorised once. A pivot "
                 "below 1e-20 marks it singular; the queries do not test that: check "
                 "is_singular() first.")
      .def(py::init(&factorise<LU>), py::arg("a"), "Factorises the square matrix a.")
      .def_property_readonly("dimension", &LU::dimension)
      .def("is_singular", [](const LU& d) { return d.is_singular() != 0; })
      .def("determinant", &LU::determinant)
      .def(
          "solve", [](const LU& d, const Array& b) { return solve_rhs(d, b, d.dimension()); },
          py::arg("b"), "x with A x = b; b 1-D (a vector) or 2-D (columns).")
      .def("inverse", [](const LU& d) { return query(d, &LU::inverse); })
      .def("lower_matrix", [](const LU& d) { return query(d, &LU::lower_matrix); })
      .def("upper_matrix", [](const LU& d) { return query(d, &LU::upper_matrix); })
      .def("permutation_matrix", [](const LU& d) { return query(d, &LU::permutation_matrix); })
      .def(
          "factors",
          [](const LU& d) {
            return py::make_tuple(query(d, &LU::permutation_matrix), query(d, &LU::lower_matrix),
                                  query(d, &LU::upper_matrix));
          },
          "(P, L, U) with P A = L U.");
  m.def(
      "lu", [](const Array& a) { return factorise<LU>(a); }, py::arg("a"),
      "The LU decomposition of the square matrix a (an LU object).");
}

void bind_cholesky(py::module_& m) {
  using Cholesky = mlCholeskyDecomposition;
  py::class_<Cholesky>(m, "Cholesky",
                       "A = L L^T of a symmetric positive-definite matrix "
                       "(mlCholeskyDecomposition); only the upper triangle is read. A pivot "
                       "that is not positive marks it singular.")
      .def(py::init(&factorise<Cholesky>), py::arg("a"))
      .def_property_readonly("dimension", &Cholesky::dimension)
      .def("is_singular", [](const Cholesky& d) { return d.is_singular() != 0; })
      .def("determinant", &Cholesky::determinant)
      .def(
          "solve", [](const Cholesky& d, const Array& b) { return solve_rhs(d, b, d.dimension()); },
          py::arg("b"))
      .def("inverse", [](const Cholesky& d) { return query(d, &Cholesky::inverse); })
      .def("matrix_l", [](const Cholesky& d) { return query(d, &Cholesky::matrix_l); })
      .def("matrix_l_inverted",
           [](const Cholesky& d) { return query(d, &Cholesky::matrix_l_inverted); });
  m.def(
      "cholesky", [](const Array& a) { return factorise<Cholesky>(a); }, py::arg("a"),
      "The Cholesky decomposition of the symmetric positive-definite matrix a.");
}

// The decomposition keeps a pointer to its input and caches its pseudo-inverse on first use:
// the input lives here, and a mutex keeps two threads from filling the cache at once.
struct SVD {
  explicit SVD(mlMatrix&& m) : a(std::move(m)), svd(a) {}
  mlMatrix a;
  mlSingularValueDecomposition svd;
  mutable std::mutex cache;
};

std::unique_ptr<SVD> decompose(const Array& a) {
  mlMatrix m = to_matrix(a, "a");
  py::gil_scoped_release release;
  return std::make_unique<SVD>(std::move(m));
}

py::array_t<double> svd_solve(const SVD& d, const Array& b) {
  return solve_rhs(d.svd, b, d.a.rows(), &d.cache);
}

void bind_svd(py::module_& m) {
  py::class_<SVD>(m, "SVD",
                  "A = U diag(s) V^T (mlSingularValueDecomposition), with rank, pseudo-inverse "
                  "and minimum-norm least-squares solves.")
      .def(py::init(&decompose), py::arg("a"))
      .def_property_readonly("U", [](const SVD& d) { return from_matrix(d.svd.U()); })
      .def_property_readonly("V", [](const SVD& d) { return from_matrix(d.svd.V()); })
      .def_property_readonly(
          "s", [](const SVD& d) { return from_vector(d.svd.diagonal()); },
          "The singular values, decreasing.")
      .def_property_readonly(
          "invalid", [](const SVD& d) { return d.svd.invalid() != 0; },
          "True when some singular value did not converge.")
      .def(
          "rank", [](const SVD& d, double tol) { return d.svd.rank(tol); }, py::arg("tol"))
      .def(
          "is_singular", [](const SVD& d, double tol) { return d.svd.is_singular(tol) != 0; },
          py::arg("tol"))
      .def(
          "inverse",
          [](const SVD& d, double tol) {
            py::gil_scoped_release release;
            std::lock_guard<std::mutex> lock(d.cache);
            const mlMatrix& inv = d.svd.inverse(tol);
            py::gil_scoped_acquire acquire;
            return from_matrix(inv);
          },
          py::arg("tol") = 1e-7,
          "The pseudo-inverse; computed on the first call and cached, so the tolerance of "
          "later calls is ignored (as in the library).")
      .def("solve", &svd_solve, py::arg("b"),
           "inverse(1e-7) b: the minimum-norm least-squares solution.");
  m.def("svd", &decompose, py::arg("a"), "The singular value decomposition of a.");
}

void bind_qr(py::module_& m) {
  struct QR {
    QR() : qr(&q, &r) {}
    mlMatrix q, r;
    mlQRDecomposition qr;
  };
  py::class_<QR>(m, "QR",
                 "QR by modified Gram-Schmidt, one row vector at a time (mlQRDecomposition): "
                 "the accepted inputs equal R Q row by row, Q's rows orthogonal.")
      .def(py::init<>())
      .def(
          "add",
          [](QR& d, const Array& v) {
            const mlVector a = to_vector(v, "v");
            d.qr.add(&a);
            return d.qr.status();
          },
          py::arg("v"), "Adds v; returns the status (a dependent vector is not added).")
      .def(
          "set_Q_orthonormal", [](QR& d) { d.qr.set_Q_orthonormal(); },
          "Also keep Q's rows normalised (call before the first add).")
      .def("orthonormal_Q",
           [](const QR& d) {
             mlMatrix out;
             d.qr.get_orthonormal_Q(out);
             return from_matrix(out);
           })
      .def_property_readonly("Q", [](const QR& d) { return from_matrix(d.q); })
      .def_property_readonly("R", [](const QR& d) { return from_matrix(d.r); })
      .def_property_readonly("status", [](const QR& d) { return d.qr.status(); });
  m.def(
      "qr",
      [](const Array& rows) {
        const mlMatrix a = to_matrix(rows, "rows");
        QR d;
        py::list statuses;
        for (int i = 0; i < a.rows(); ++i) {
          const mlVector v(utCopy, a.row(i));
          d.qr.add(&v);
          statuses.append(d.qr.status());
        }
        return py::make_tuple(from_matrix(d.q), from_matrix(d.r), statuses);
      },
      py::arg("rows"), "Adds the rows of a 2-D array in order: (Q, R, statuses).");
}

py::array_t<double> tridiagonal_solve(const Array& lower, const Array& diagonal, const Array& upper,
                                      const Array& d, bool periodic) {
  const mlVector dg = to_vector(diagonal, "diagonal");
  const int n = dg.dimension();
  const mlVector lo = to_vector(lower, "lower", n), up = to_vector(upper, "upper", n);
  const mlVector rhs = to_vector(d, "d", n);
  mlVector x(mlVectorZero, n);
  {
    py::gil_scoped_release release;
    const mlTridiagonal system(n, lo.slice(), dg.slice(), up.slice());
    mlSlice xs = x.slice();
    if (periodic)
      system.solve_periodic(rhs.slice(), xs);
    else
      system.solve(rhs.slice(), xs);
  }
  return from_vector(x);
}

}  // namespace

void bind_linalg(py::module_& m) {
  bind_lu(m);
  bind_cholesky(m);
  bind_svd(m);
  bind_qr(m);
  m.def("tridiagonal_solve", &tridiagonal_solve, py::arg("lower"), py::arg("diagonal"),
        py::arg("upper"), py::arg("d"), py::arg("periodic") = false,
        "Solves a tridiagonal system (mlTridiagonal): lower[i] = A(i, i-1), upper[i] = "
        "A(i, i+1); with periodic=True, lower[0] and upper[n-1] are the corners.");
}

}  // namespace paskosda_python
