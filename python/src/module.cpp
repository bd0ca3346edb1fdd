// The extension module `paskosda`: the result object, the status enumerations and the
// families, each bound in its own file.
#include "convert.h"

namespace paskosda_python {
namespace {

// The attributes in the order they were set, as "Result(x=..., fun=...)".
std::string result_repr(const py::object& self) {
  std::string text = "Result(";
  bool first = true;
  for (const auto item : py::dict(self.attr("__dict__"))) {
    if (!first) text += ", ";
    first = false;
    text +=
        py::str(item.first).cast<std::string>() + "=" + py::repr(item.second).cast<std::string>();
  }
  return text + ")";
}

struct Result {};

void bind_enums(py::module_& m) {
  py::enum_<mlMinimiser2State>(m, "Minimiser2State", py::arithmetic(),
                               "How a surface minimisation ended (mlMinimiser2State).")
      .value("CONVERGED", mlMinimiser2Converged)
      .value("ON_EDGE", mlMinimiser2OnEdge)
      .value("AT_CORNER", mlMinimiser2AtCorner)
      .value("MAX_ITERATIONS", mlMinimiser2MaxIterations)
      .value("NO_PROGRESS", mlMinimiser2NoProgress);
  py::enum_<mlQRStatus>(m, "QRStatus", py::arithmetic(), "The result of QR.add (mlQRStatus).")
      .value("NOTHING_ADDED", mlQRNothingAdded)
      .value("ACCEPTED", mlQRAccepted)
      .value("DEPENDENT", mlQRDependent)
      .value("TOO_SHORT", mlQRTooShort)
      .value("SIZE_MISMATCH", mlQRSizeMismatch);
  py::enum_<mlEigenVecsStatus>(m, "EigenStatus", py::arithmetic(),
                               "The state of an eigen-solver (mlEigenVecsStatus).")
      .value("NOT_CALCULATED", mlEigenVecsNotCalculated)
      .value("FAILED", mlEigenVecsFailed)
      .value("OK", mlEigenVecsOk);
  py::enum_<mlPCAStatus>(m, "PCAStatus", py::arithmetic(), "The state of a PCA (mlPCAStatus).")
      .value("NOT_ANALYSED", mlPCANotAnalysed)
      .value("OK", mlPCAOk)
      .value("TOO_FEW_POINTS", mlPCATooFewPoints)
      .value("AXIS_OUT_OF_RANGE", mlPCAAxisOutOfRange);
  py::enum_<mlDownHillSimplexSpeed>(m, "SimplexSpeed", py::arithmetic(),
                                    "Call budget and tolerance of the downhill simplex.")
      .value("FASTEST", mlDownHillSimplexFastest)
      .value("FAST", mlDownHillSimplexFast)
      .value("SLOW", mlDownHillSimplexSlow)
      .value("SLOWEST", mlDownHillSimplexSlowest);
}

}  // namespace
}  // namespace paskosda_python

PYBIND11_MODULE(paskosda, m) {
  using namespace paskosda_python;
  m.doc() =
      "paskosda: numerical mathematics for engineering, reproducible to the last bit.\n\n"
      "Arrays go in as any array-like and come back as float64 numpy arrays. Shape errors\n"
      "raise ValueError; an exception raised by a callable propagates once the solver has\n"
      "stopped. Computations that call no Python code release the GIL.";
  m.attr("__version__") = PASKOSDA_VERSION_STRING;
  py::class_<Result>(m, "Result", py::dynamic_attr(),
                     "A solver's outcome: the point x, the value fun, the library's status and "
                     "counts, as attributes.")
      .def(py::init<>())
      .def("__repr__", [](const py::object& self) { return result_repr(self); });
  bind_enums(m);
  bind_linalg(m);
  bind_sparse(m);
  bind_eigen(m);
  bind_roots(m);
  bind_functions(m);
  bind_optim(m);
  bind_surface(m);
}
