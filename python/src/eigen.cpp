// Eigen-analysis: the symmetric Jacobi solver, the closed-form 2x2 and 3x3 general solvers,
// and principal component analysis.
#include <optional>

#include "convert.h"

namespace paskosda_python {
namespace {

// What every eigen-solver leaves: the values in result order, the vectors as columns and the
// state. Copied out so that nothing refers to the solver afterwards.
struct EigenOutcome {
  mlVector values;
  mlMatrix vectors;
  mlEigenVecsStatus status = mlEigenVecsNotCalculated;

  void take(const mlEigenVecs& solver) {
    const doublecoDynArr& v = solver.eigen_values();
    values.become(utConvert, v.data(), v.size());
    vectors.become(utCopy, solver.eigen_vectors());
    status = solver.status();
  }
  py::object result() const {
    py::object r = make_result();
    r.attr("values") = from_vector(values);
    r.attr("vectors") = from_matrix(vectors);
    r.attr("status") = status;
    return r;
  }
};

py::object sym_eigen(const Array& a, std::optional<double> tolerance) {
  const mlMatrix m = to_matrix(a, "a");
  require_square(m, "a");
  EigenOutcome out;
  {
    py::gil_scoped_release release;
    mlSymEigenVecs solver(m);
    if (tolerance) solver.set_tolerance(*tolerance);
    solver.calculate();
    out.take(solver);
  }
  return out.result();
}

template <class Solver>
void asym_calculate(const mlMatrix& m, std::optional<double> tolerance, EigenOutcome& out) {
  Solver solver(m);
  if (tolerance) solver.set_tolerance(*tolerance);
  solver.calculate();
  out.take(solver);
}

py::object asym_eigen(const Array& a, std::optional<double> tolerance) {
  const mlMatrix m = to_matrix(a, "a");
  require_square(m, "a");
  if (m.rows() != 2 && m.rows() != 3) throw py::value_error("a must be 2x2 or 3x3");
  EigenOutcome out;
  {
    py::gil_scoped_release release;
    if (m.rows() == 2)
      asym_calculate<mlAsymEigenVecs2>(m, tolerance, out);
    else
      asym_calculate<mlAsymEigenVecs3>(m, tolerance, out);
  }
  return out.result();
}

py::object pca(const Array& points) {
  if (points.ndim() != 2) throw py::value_error("points must be 2-D (one point per row)");
  const auto n = static_cast<int>(points.shape(0)), d = static_cast<int>(points.shape(1));
  mlVector variances;
  mlMatrix axes(mlMatrixZero, 0, 0);
  doublecoDynArr centre;
  mlPCAStatus status = mlPCANotAnalysed;
  {
    py::gil_scoped_release release;
    doublecoDynArr2D cloud(n, d, 1, 1);
    const double* p = points.data();
    for (int i = 0; i < n; ++i)
      for (int j = 0; j < d; ++j)
        cloud(i, j) = p[static_cast<long>(i) * d + j];
    const mlPCA analysis(cloud);
    status = analysis.status();
    if (status == mlPCAOk) {
      variances.become(utCopy, analysis.eigenvalues());
      axes.become(d, variances.dimension());
      for (int k = 0; k < variances.dimension(); ++k)
        axes.col(k) = analysis.axis(k);
      centre.become(utCopy, analysis.mass_centre());
    }
  }
  py::object r = make_result();
  r.attr("status") = status;
  r.attr("centre") = from_doubles(centre.data(), centre.size());
  r.attr("variances") = from_vector(variances);
  r.attr("axes") = from_matrix(axes);
  return r;
}

}  // namespace

void bind_eigen(py::module_& m) {
  m.def("sym_eigen", &sym_eigen, py::arg("a"), py::arg("tolerance") = py::none(),
        "Every eigenvalue and eigenvector of a symmetric matrix by the Jacobi method "
        "(mlSymEigenVecs; tolerance 1e-6 unless given). Result: values (by decreasing "
        "magnitude), vectors (one per column), status.");
  m.def("asym_eigen", &asym_eigen, py::arg("a"), py::arg("tolerance") = py::none(),
        "The real eigenvalues and eigenvectors of a general 2x2 or 3x3 matrix in closed form "
        "(mlAsymEigenVecs2/3); complex pairs are not reported. Result: values, vectors, "
        "status.");
  m.def("pca", &pca, py::arg("points"),
        "Principal component analysis (mlPCA) of the rows of points. Result: status, centre, "
        "variances (decreasing) and axes (one per column); empty unless status is OK.");
}

}  // namespace paskosda_python
