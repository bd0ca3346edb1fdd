// Surface minimisers: a scalar f(u, v) (mlMinimiser2) and the length of a vector F(u, v)
// (mlVectorMinimiser2) given as Python callables, and the polynomial surface whose point
// projections run in C++ without the GIL.
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "convert.h"
#include "poly_surface.h"

namespace paskosda_python {
namespace {

using Patch = std::optional<std::tuple<double, double, double, double>>;

ProjectionSettings settings_from(const Patch& patch, std::pair<bool, bool> periodic,
                                 double tolerance, int max_iterations) {
  ProjectionSettings s;
  if (patch) std::tie(s.patch[0], s.patch[1], s.patch[2], s.patch[3]) = *patch;
  if (s.patch[0] > s.patch[1] || s.patch[2] > s.patch[3])
    throw py::value_error("patch must be (u_min, u_max, v_min, v_max) with ordered pairs");
  s.periodic[0] = periodic.first ? 1 : 0;
  s.periodic[1] = periodic.second ? 1 : 0;
  s.tolerance = tolerance;
  s.max_iterations = max_iterations;
  return s;
}

// The settings of a minimiser on a callable: without a patch it stays unbounded (the scalar
// one keeps f's own domain, which a callable leaves unbounded too).
void apply(mlBaseMinimiser2& minimiser, const Patch& patch, std::pair<bool, bool> periodic,
           double tolerance, int max_iterations) {
  if (patch) {
    const ProjectionSettings s = settings_from(patch, periodic, tolerance, max_iterations);
    minimiser.set_patch(s.patch[0], s.patch[1], s.patch[2], s.patch[3]);
  }
  minimiser.set_periodic(periodic.first ? 1 : 0, periodic.second ? 1 : 0);
  minimiser.set_tolerance(tolerance);
  minimiser.set_max_iterations(max_iterations);
}

py::object surface_result(mlBaseMinimiser2& minimiser, double u, double v, mlMinimiser2State state,
                          CallbackGuard& guard) {
  guard.rethrow();
  py::object r = make_result();
  r.attr("x") = from_doubles(std::vector<double>{u, v}.data(), 2);
  r.attr("fun") = minimiser.minimum_value();
  r.attr("status") = state;
  r.attr("iterations") = minimiser.iterations();
  r.attr("evaluations") = minimiser.evaluations();
  return r;
}

py::object minimise2(const py::function& f, double u, double v, Patch patch,
                     std::pair<bool, bool> periodic, double tolerance, int max_iterations,
                     std::optional<py::function> derivative) {
  CallbackGuard guard;
  auto value = [&](double a, double b) { return guard.scalar(f, a, b); };
  auto run = [&](const mlFunction2& function) {
    mlMinimiser2 minimiser(function);
    apply(minimiser, patch, periodic, tolerance, max_iterations);
    const mlMinimiser2State state = minimiser.minimise(u, v);
    return surface_result(minimiser, u, v, state, guard);
  };
  if (!derivative) return run(ml_make_function2(value));
  const py::function d = *derivative;
  return run(ml_make_function2(value, [&guard, d](int i, int j, double a, double b) {
    return guard.scalar(d, i, j, a, b);
  }));
}

py::object minimise_vector(const py::function& F, const py::function& jacobian, int dimension,
                           double u, double v, Patch patch, std::pair<bool, bool> periodic,
                           double tolerance, int max_iterations,
                           std::optional<py::function> second) {
  if (dimension < 1) throw py::value_error("dimension must be positive");
  CallbackGuard guard;
  std::vector<double> buffer(static_cast<size_t>(2 * dimension));
  auto values = [&](const mlSlice& x, mlVector& out) {
    guard.vector(F, dimension, buffer.data(), x[0], x[1]);
    for (int k = 0; k < dimension; ++k)
      out[k] = buffer[static_cast<size_t>(k)];
  };
  auto gradient = [&](const mlSlice& x, mlMatrix& J) {
    guard.matrix(jacobian, dimension, 2, buffer.data(), x[0], x[1]);
    J.become(dimension, 2);
    for (int k = 0; k < dimension; ++k)
      for (int c = 0; c < 2; ++c)
        J(k, c) = buffer[static_cast<size_t>(2 * k + c)];
  };
  auto run = [&](const mlFunctionN& function) {
    mlVectorMinimiser2 minimiser(function);
    apply(minimiser, patch, periodic, tolerance, max_iterations);
    const mlMinimiser2State state = minimiser.minimise(u, v);
    return surface_result(minimiser, u, v, state, guard);
  };
  if (!second) return run(ml_make_function_n(2, dimension, values, gradient));
  const py::function s = *second;
  auto partial = [&](const mlSlice& x, int* orders, mlVector& d) {
    guard.vector(s, dimension, buffer.data(), orders[0], orders[1], x[0], x[1]);
    for (int k = 0; k < dimension; ++k)
      d[k] = buffer[static_cast<size_t>(k)];
  };
  return run(ml_make_function_n(2, dimension, values, gradient, partial));
}

PolySurface make_surface(const Array& c) {
  if (c.ndim() != 3 || c.shape(2) != 3 || c.shape(0) < 1 || c.shape(1) < 1)
    throw py::value_error("coefficients must have shape (nu + 1, nv + 1, 3)");
  const double* p = c.data();
  return PolySurface(std::vector<double>(p, p + c.size()), static_cast<int>(c.shape(0)) - 1,
                     static_cast<int>(c.shape(1)) - 1);
}

py::array_t<double> coefficients(const PolySurface& s) {
  py::array_t<double> out({s.degree_u() + 1, s.degree_v() + 1, 3});
  std::copy(s.coefficients().begin(), s.coefficients().end(), out.mutable_data());
  return out;
}

py::array_t<double> surface_derivative(const PolySurface& s, double u, double v, int du, int dv) {
  if (du < 0 || dv < 0) throw py::value_error("derivative orders must not be negative");
  double out[3];
  s.derivative(du, dv, u, v, out);
  return from_doubles(out, 3);
}

py::object projections(const PolySurface& surface, const Array& points, const Array& start,
                       Patch patch, std::pair<bool, bool> periodic, double tolerance,
                       int max_iterations) {
  if (points.ndim() != 2 || points.shape(1) != 3)
    throw py::value_error("points must have shape (n, 3)");
  const long n = static_cast<long>(points.shape(0));
  const bool shared = start.ndim() == 1;
  if (!(shared ? start.shape(0) == 2
               : start.ndim() == 2 && start.shape(0) == n && start.shape(1) == 2))
    throw py::value_error("start must have shape (2,) or (n, 2)");
  const ProjectionSettings s = settings_from(patch, periodic, tolerance, max_iterations);
  std::vector<Projection> out(static_cast<size_t>(n));
  {
    py::gil_scoped_release release;
    project_points(surface, points.data(), start.data(), shared, n, s, out.data());
  }
  py::array_t<double> uv({n, 2L}), distance(n);
  py::array_t<int> state(n), iterations(n), evaluations(n);
  for (long i = 0; i < n; ++i) {
    const Projection& p = out[static_cast<size_t>(i)];
    uv.mutable_at(i, 0) = p.u;
    uv.mutable_at(i, 1) = p.v;
    distance.mutable_at(i) = p.distance;
    state.mutable_at(i) = p.state;
    iterations.mutable_at(i) = p.iterations;
    evaluations.mutable_at(i) = p.evaluations;
  }
  py::object r = make_result();
  r.attr("uv") = uv;
  r.attr("distance") = distance;
  r.attr("status") = state;
  r.attr("iterations") = iterations;
  r.attr("evaluations") = evaluations;
  return r;
}

void bind_poly_surface(py::module_& m) {
  py::class_<PolySurface>(m, "PolySurface",
                          "The tensor-product polynomial surface S(u, v) = sum c[i, j] u^i v^j "
                          "in 3-D, coefficients of shape (nu + 1, nv + 1, 3). Picklable, so it "
                          "can be shipped to worker processes.")
      .def(py::init(&make_surface), py::arg("coefficients"))
      .def_property_readonly("coefficients", &coefficients)
      .def("point", [](const PolySurface& s, double u,
                       double v) { return surface_derivative(s, u, v, 0, 0); })
      .def("derivative", &surface_derivative, py::arg("u"), py::arg("v"), py::arg("du"),
           py::arg("dv"), "The partial derivative of orders (du, dv) at (u, v).")
      .def(py::pickle([](const PolySurface& s) { return py::make_tuple(coefficients(s)); },
                      [](const py::tuple& t) { return make_surface(t[0].cast<Array>()); }));
}

}  // namespace

void bind_surface(py::module_& m) {
  const auto none = py::none();
  const auto flat = std::make_pair(false, false);
  m.def("minimise2", &minimise2, py::arg("f"), py::arg("u"), py::arg("v"), py::arg("patch") = none,
        py::arg("periodic") = flat, py::arg("tolerance") = 0.0, py::arg("max_iterations") = 100,
        py::arg("derivative") = none,
        "Minimises f(u, v) over the patch (u_min, u_max, v_min, v_max) from (u, v) "
        "(mlMinimiser2); derivative(i, j, u, v) gives analytic partials (or -666.0 for an "
        "order it lacks). Result: x = (u, v), fun, status, iterations, evaluations.");
  m.def("minimise_vector", &minimise_vector, py::arg("F"), py::arg("jacobian"),
        py::arg("dimension"), py::arg("u"), py::arg("v"), py::arg("patch") = none,
        py::arg("periodic") = flat, py::arg("tolerance") = 0.0, py::arg("max_iterations") = 100,
        py::arg("second") = none,
        "Minimises |F(u, v)| (mlVectorMinimiser2): F returns `dimension` values, jacobian "
        "their (dimension, 2) derivatives, second(i, j, u, v) optionally the second "
        "derivatives. Result: x, fun (|F|^2), status, iterations, evaluations.");
  bind_poly_surface(m);
  m.def("project_points", &projections, py::arg("surface"), py::arg("points"), py::arg("start"),
        py::arg("patch") = none, py::arg("periodic") = flat, py::arg("tolerance") = 0.0,
        py::arg("max_iterations") = 100,
        "Projects each row of points (n, 3) onto the PolySurface over the patch (default the "
        "unit square), from start (2,) or (n, 2), in C++ with the GIL released. Result: uv "
        "(n, 2), distance, status, iterations, evaluations (arrays).");
}

}  // namespace paskosda_python
