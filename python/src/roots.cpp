// Roots: the closed-form quadratic, cubic and quartic solvers and the real roots and extrema
// of a polynomial of any degree.
#include <algorithm>
#include <cmath>
#include <optional>
#include <vector>

#include "convert.h"

namespace paskosda_python {
namespace {

// (count, roots): the library's count (-1 when every coefficient is zero) and the first
// max(count, 0) roots, ascending.
py::tuple counted(int n, const double* roots) {
  return py::make_tuple(n, from_doubles(roots, std::max(n, 0)));
}

py::tuple quadratic(double a, double b, double c) {
  double r[2] = {0.0, 0.0};
  const int n = mlRootSolve::quadratic_solve(a, b, c, r[0], r[1]);
  return counted(n, r);
}

py::tuple cubic(double a, double b, double c, double d) {
  double r[3] = {0.0, 0.0, 0.0};
  const int n = mlRootSolve::cubic_solve(a, b, c, d, r[0], r[1], r[2]);
  return counted(n, r);
}

py::tuple quartic(double a, double b, double c, double d, double e) {
  double r[4] = {0.0, 0.0, 0.0, 0.0};
  const int n = mlRootSolve::quartic_solve(a, b, c, d, e, r[0], r[1], r[2], r[3]);
  return counted(n, r);
}

mlVector coefficients(const Array& c) {
  mlVector v = to_vector(c, "c");
  if (v.dimension() == 0) throw py::value_error("c needs at least one coefficient");
  return v;
}

py::tuple polynomial_roots(const Array& c, std::optional<double> lower,
                           std::optional<double> upper) {
  const mlVector p = coefficients(c);
  const int degree = p.dimension() - 1;
  std::vector<double> roots(static_cast<size_t>(std::max(degree, 1)));
  int n = 0;
  {
    py::gil_scoped_release release;
    if (lower || upper)
      n = mlPolynomialSolver::solve_polynomial(degree, p.data(), lower.value_or(-HUGE_VAL),
                                               upper.value_or(HUGE_VAL), roots.data());
    else
      n = mlPolynomialSolver::solve_polynomial_allroots(degree, p.data(), roots.data());
  }
  return counted(n, roots.data());
}

py::tuple polynomial_extrema(const Array& c, double lower, double upper) {
  const mlVector p = coefficients(c);
  const int degree = p.dimension() - 1;
  const size_t room = static_cast<size_t>(std::max(degree - 1, 1));
  std::vector<double> t(room);
  std::vector<int> kind(room);
  int n = 0;
  {
    py::gil_scoped_release release;
    n = mlPolynomialSolver::solve_polynomial_extrema(degree, p.data(), lower, upper, t.data(),
                                                     kind.data());
  }
  py::array_t<int> kinds(n);
  std::copy(kind.begin(), kind.begin() + n, kinds.mutable_data());
  return py::make_tuple(from_doubles(t.data(), n), kinds);
}

}  // namespace

void bind_roots(py::module_& m) {
  m.def("quadratic_solve", &quadratic, py::arg("a"), py::arg("b"), py::arg("c"),
        "Real roots of a x^2 + b x + c = 0 (mlRootSolve): (count, roots ascending); count -1 "
        "when every coefficient is zero.");
  m.def("cubic_solve", &cubic, py::arg("a"), py::arg("b"), py::arg("c"), py::arg("d"),
        "Real roots of a x^3 + b x^2 + c x + d = 0: (count, roots ascending).");
  m.def("quartic_solve", &quartic, py::arg("a"), py::arg("b"), py::arg("c"), py::arg("d"),
        py::arg("e"), "Real roots of a x^4 + ... + e = 0 (Ferrari): (count, roots ascending).");
  m.def("polynomial_roots", &polynomial_roots, py::arg("c"), py::arg("lower") = py::none(),
        py::arg("upper") = py::none(),
        "The distinct real roots of the polynomial c[0] + c[1] t + ... (lowest power first), "
        "on the whole line or in [lower, upper] (mlPolynomialSolver): (count, roots).");
  m.def("polynomial_extrema", &polynomial_extrema, py::arg("c"), py::arg("lower"), py::arg("upper"),
        "The local extrema strictly inside (lower, upper): (t, kind), kind +1 for a minimum "
        "and -1 for a maximum.");
}

}  // namespace paskosda_python
