// Integration of Python callables by the trapezoid, Simpson and Romberg rules.
#include <string>

#include "convert.h"

namespace paskosda_python {
namespace {

template <class Rule>
double run_rule(const Rule& rule, const mlFunction& f, double a, double b, int& converged) {
  const double value = rule.integrate(f, a, b);
  converged = rule.converged();
  return value;
}

py::object integrate(const py::function& f, double a, double b, const std::string& method,
                     double tolerance, int max_steps) {
  CallbackGuard guard;
  const auto function = ml_make_function([&](double t) { return guard.scalar(f, t); });
  int converged = 0;
  double value = 0.0;
  if (method == "trapezoid")
    value = run_rule(mlIntegrateTrapezoid(tolerance, max_steps), function, a, b, converged);
  else if (method == "simpson")
    value = run_rule(mlIntegrateSimpson(tolerance, max_steps), function, a, b, converged);
  else if (method == "romberg")
    value = run_rule(mlIntegrateRomberg(tolerance, max_steps), function, a, b, converged);
  else
    throw py::value_error("method must be 'trapezoid', 'simpson' or 'romberg'");
  guard.rethrow();
  py::object r = make_result();
  r.attr("value") = value;
  r.attr("converged") = converged != 0;
  r.attr("evaluations") = guard.calls();
  return r;
}

}  // namespace

void bind_functions(py::module_& m) {
  m.def("integrate", &integrate, py::arg("f"), py::arg("a"), py::arg("b"),
        py::arg("method") = "romberg", py::arg("tolerance") = 1e-10, py::arg("max_steps") = 20,
        "The integral of f over [a, b] by step halving until two successive estimates differ "
        "by less than tolerance (mlIntegrateTrapezoid, mlIntegrateSimpson, "
        "mlIntegrateRomberg). Result: value, converged, evaluations.");
}

}  // namespace paskosda_python
