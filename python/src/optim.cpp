// Minimisers of Python callables: the one-dimensional mlMinimiser and Brent's method, Powell's
// direction sets, the downhill simplex and Levenberg-Marquardt; and the constrained quadratic
// minimiser, which calls no Python and runs without the GIL.
#include <optional>
#include <utility>
#include <vector>

#include "convert.h"

namespace paskosda_python {
namespace {

// A callable of one variable that remembers the values it returned, so that a search which
// returns only its abscissa can report the value there without evaluating again.
struct Recorded {
  Recorded(CallbackGuard& g, const py::function& callable) : guard(g), f(callable) {}
  double operator()(double t) {
    const double value = guard.scalar(f, t);
    seen.emplace_back(t, value);
    return value;
  }
  double at(double t) {
    for (auto it = seen.rbegin(); it != seen.rend(); ++it)
      if (it->first == t) return it->second;
    return (*this)(t);
  }
  CallbackGuard& guard;
  py::function f;
  std::vector<std::pair<double, double>> seen;
};

py::object run_minimiser(const mlFunction& function, Recorded& values, double start, double lower,
                         double upper, double tolerance) {
  mlMinimiser minimiser(function, start, lower, upper, tolerance);
  int found = 0, beyond_range = 0, out_of_iterations = 0;
  const double t = minimiser.minimise(found, beyond_range, out_of_iterations);
  values.guard.rethrow();
  const long evaluations = static_cast<long>(values.seen.size());
  py::object r = make_result();
  r.attr("x") = t;
  r.attr("fun") = values.at(t);
  r.attr("found") = found != 0;
  r.attr("beyond_range") = beyond_range;
  r.attr("out_of_iterations") = out_of_iterations != 0;
  r.attr("iterations") = minimiser.iterations();
  r.attr("evaluations") = evaluations;
  r.attr("derivative_evaluations") = values.guard.calls() - evaluations;
  return r;
}

py::object minimise_scalar(const py::function& f, double start, double lower, double upper,
                           double tolerance, std::optional<py::function> derivative) {
  CallbackGuard guard;
  Recorded values(guard, f);
  auto value = [&values](double t) { return values(t); };
  if (!derivative)
    return run_minimiser(ml_make_function(value), values, start, lower, upper, tolerance);
  const py::function d = *derivative;
  auto slope = [&guard, d](int order, double t) { return guard.scalar(d, order, t); };
  return run_minimiser(ml_make_function(value, slope), values, start, lower, upper, tolerance);
}

py::object brent(const py::function& f, double a, double b, double c, double tolerance,
                 int max_iterations) {
  CallbackGuard guard;
  const auto function = ml_make_function([&](double t) { return guard.scalar(f, t); });
  double x = 0.0;
  const double value = ml_brent_minimum_search(function, a, b, c, tolerance, max_iterations, &x);
  guard.rethrow();
  py::object r = make_result();
  r.attr("x") = x;
  r.attr("fun") = value;
  r.attr("evaluations") = guard.calls();
  return r;
}

py::tuple bracket(const py::function& f, double a, double b) {
  CallbackGuard guard;
  const auto function = ml_make_function([&](double t) { return guard.scalar(f, t); });
  double c = 0.0, fa = 0.0, fb = 0.0, fc = 0.0;
  ml_minimum_bracketing(function, a, b, c, fa, fb, fc);
  guard.rethrow();
  return py::make_tuple(a, b, c, fa, fb, fc);
}

py::object powell(const py::function& f, const Array& x0, double tolerance,
                  std::optional<Array> directions) {
  mlVector p = to_vector(x0, "x0");
  const int n = p.dimension();
  mlMatrix dirs(mlMatrixIdentity, n);
  if (directions) {
    const mlMatrix given = to_matrix(*directions, "directions");
    require_square(given, "directions");
    dirs.become(utCopy, given);
    require_length(dirs.rows(), n, "directions (rows)");
  }
  CallbackGuard guard;
  const auto function =
      ml_make_function_n1(n, [&](const mlSlice& x) { return guard.scalar(f, argument(x)); });
  int passes = 0;
  const double value = ml_powell_minimum_search(p, dirs, tolerance, passes, function);
  guard.rethrow();
  py::object r = make_result();
  r.attr("x") = from_vector(p);
  r.attr("fun") = value;
  r.attr("iterations") = passes;
  r.attr("evaluations") = guard.calls();
  r.attr("directions") = from_matrix(dirs);
  return r;
}

py::object downhill_simplex(const py::function& f, const Array& x0, mlDownHillSimplexSpeed speed) {
  const mlVector start = to_vector(x0, "x0");
  const int n = start.dimension();
  CallbackGuard guard;
  const auto function =
      ml_make_function_n1(n, [&](const mlSlice& x) { return guard.scalar(f, argument(x)); });
  mlDownHillSimplex simplex(n);
  const double value = simplex.solve(function, start, speed);
  guard.rethrow();
  mlVector x;
  simplex.result(x);
  py::object r = make_result();
  r.attr("x") = from_vector(x);
  r.attr("fun") = value;
  r.attr("evaluations") = simplex.number_of_calls();
  return r;
}

template <class Problem>
py::object fit(Problem&& problem, const mlVector& start, CallbackGuard& guard) {
  mlLevenbergMarquardt fitter(problem);
  mlVector p;
  const double mean_square = fitter.fit(start, p);
  guard.rethrow();
  py::object r = make_result();
  r.attr("x") = from_vector(p);
  r.attr("fun") = mean_square;
  r.attr("evaluations") = guard.calls();
  return r;
}

py::object levenberg_marquardt(const py::function& residual, int n_points, const Array& p0,
                               std::optional<py::function> jacobian,
                               std::optional<double> difference_step) {
  const mlVector start = to_vector(p0, "p0");
  const int n = start.dimension();
  if (n_points < 0) throw py::value_error("n_points must not be negative");
  CallbackGuard guard;
  auto d = [&](const mlVector& p, int k) { return guard.scalar(residual, from_vector(p), k); };
  if (jacobian) {
    const py::function jac = *jacobian;
    auto g = [&guard, jac, n](const mlVector& p, int k, mlVector& out) {
      std::vector<double> row(static_cast<size_t>(n));
      guard.vector(jac, n, row.data(), from_vector(p), k);
      for (int j = 0; j < n; ++j)
        out[j] = row[static_cast<size_t>(j)];
    };
    return fit(ml_make_least_squares(n, n_points, d, g), start, guard);
  }
  auto problem = ml_make_least_squares(n, n_points, d);
  if (difference_step) problem.set_difference_step(*difference_step);
  return fit(problem, start, guard);
}

py::object constrained_quadratic(const Array& H, const Array& g, const Array& A, const Array& b,
                                 const Array& x0, bool delete_overdetermined) {
  const mlMatrix h = to_matrix(H, "H");
  require_square(h, "H");
  const int n = h.rows();
  const mlVector gv = to_vector(g, "g", n);
  const mlMatrix a = to_matrix(A, "A");
  if (a.rows() > 0) require_length(a.cols(), n, "A (columns)");
  const mlVector bv = to_vector(b, "b", a.rows());
  mlVector x = to_vector(x0, "x0", n);
  int ok = 0;
  intcoDynArr overdetermined;
  {
    py::gil_scoped_release release;
    mlConstrainedQuadraticMinimiser qp(a, bv, delete_overdetermined ? 1 : 0);
    ok = qp.solve(h, gv, x);
    overdetermined.become(utCopy, qp.overdetermined_constraints());
  }
  py::object r = make_result();
  r.attr("x") = from_vector(x);
  r.attr("success") = ok != 0;
  r.attr("overdetermined") =
      std::vector<int>(overdetermined.data(), overdetermined.data() + overdetermined.size());
  return r;
}

}  // namespace

void bind_optim(py::module_& m) {
  m.def("minimise_scalar", &minimise_scalar, py::arg("f"), py::arg("start"), py::arg("lower"),
        py::arg("upper"), py::arg("tolerance"), py::arg("derivative") = py::none(),
        "Minimises f(t) over [lower, upper] from start (mlMinimiser); derivative(order, t) "
        "gives analytic first and second derivatives for Newton steps. Result: x, fun, found, "
        "beyond_range, out_of_iterations, iterations, evaluations, derivative_evaluations.");
  m.def("brent", &brent, py::arg("f"), py::arg("a"), py::arg("b"), py::arg("c"),
        py::arg("tolerance"), py::arg("max_iterations") = 100,
        "Brent's method inside the bracket a, b, c (ml_brent_minimum_search). Result: x, fun, "
        "evaluations.");
  m.def("bracket", &bracket, py::arg("f"), py::arg("a"), py::arg("b"),
        "Walks downhill from a and b to a bracket (ml_minimum_bracketing): "
        "(a, b, c, fa, fb, fc).");
  m.def("powell", &powell, py::arg("f"), py::arg("x0"), py::arg("tolerance") = 1e-10,
        py::arg("directions") = py::none(),
        "Powell's direction-set search for a minimum of f(x) (ml_powell_minimum_search), "
        "from the unit directions unless given. Result: x, fun, iterations (the last pass), "
        "evaluations, directions.");
  m.def("downhill_simplex", &downhill_simplex, py::arg("f"), py::arg("x0"),
        py::arg("speed") = mlDownHillSimplexSlow,
        "The downhill simplex (mlDownHillSimplex) from x0. Result: x, fun, evaluations.");
  m.def("levenberg_marquardt", &levenberg_marquardt, py::arg("residual"), py::arg("n_points"),
        py::arg("p0"), py::arg("jacobian") = py::none(), py::arg("difference_step") = py::none(),
        "Fits p to minimise the sum of residual(p, k)^2 over k < n_points "
        "(mlLevenbergMarquardt through ml_make_least_squares). jacobian(p, k) returns the n "
        "derivatives of residual k; without it, forward differences. Result: x, fun (the mean "
        "square), evaluations (all calls).");
  m.def("constrained_quadratic", &constrained_quadratic, py::arg("H"), py::arg("g"), py::arg("A"),
        py::arg("b"), py::arg("x0"), py::arg("delete_overdetermined") = false,
        "Minimises 1/2 x^T H x + g^T x subject to A x >= b from x0 "
        "(mlConstrainedQuadraticMinimiser). Result: x, success, overdetermined.");
}

}  // namespace paskosda_python
