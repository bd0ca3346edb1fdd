#ifndef PASKOSDA_OPTIM_MLMINIMISER2DETAIL_H
#define PASKOSDA_OPTIM_MLMINIMISER2DETAIL_H

// What the surface minimisers' iteration and its step strategies share: the tuned constants
// and the helper classes the one-dimensional searches run on.

#include <cfloat>
#include <limits>

#include "functions/mlLineOnFunction2.h"
#include "optim/mlMinimiser.h"
#include "optim/mlMinimiser2.h"

namespace paskosda_detail::minimiser2 {

// What the default derivative operations return when a function offers no derivative.
inline constexpr double kNoDerivative = -666.0;
// The default tolerance, relative to the larger patch width (absolute for an open patch).
inline constexpr double kDefaultTolerance = 1e-10;
// Central-difference steps relative to the patch width: the gradient's balances truncation
// against rounding (about the cube root of the machine epsilon), the Hessian's the same for
// second differences (about its fourth root).
inline constexpr double kGradientStep = 1e-5;
inline constexpr double kHessianStep = 1e-4;
// A Newton step may raise the value by this much relative to |f|: close to a minimum with a
// large value, steps of about 1e-8 no longer change the value beyond its last bits.
inline constexpr double kRoundingSlack = 64.0 * DBL_EPSILON;
// A rise of a Newton step's value below this fraction of |f| may be rounding alone: the
// gradient at the new point decides then.
inline constexpr double kValueNoise = 1e-10;
// The noise of a central-difference gradient, in units of epsilon |f| / h.
inline constexpr double kDifferenceNoise = 16.0;
// A tangent-plane step is taken at once when the value falls within this fraction of what its
// linear model predicts: the model error then shrinks the distance at least ten-fold per step.
inline constexpr double kModelAgreement = 0.1;
// A tangent-plane step whose value falls by more than this multiple of the predicted fall was
// too short: the line along it is searched.
inline constexpr double kStretchedFall = 2.0;
// ... and one whose value falls by less than this fraction of it overshot.
inline constexpr double kShortFall = 0.25;
// Below this value of det(J^T J) / (a c) the columns of the Jacobian count as parallel.
inline constexpr double kParallelColumns = 1e-12;
// Line searches only need to make progress: their bracket stops at this fraction of the range.
inline constexpr double kLineResolution = 1e-4;
// The line searched just inside an edge before an edge minimum is reported, as a fraction of
// the patch width.
inline constexpr double kInsideOffset = 1e-3;

inline constexpr double kInfinity = std::numeric_limits<double>::infinity();

}  // namespace paskosda_detail::minimiser2

// ---- the objective seen by the one-dimensional searches -------------------------------------

// The minimiser's function as an `mlFunction2`: periodic coordinates wrapped, every call
// counted, first derivatives analytic or by differences. Lines on it are searched with
// `mlMinimiser`.
class mlBaseMinimiser2::PatchFunction : public mlFunction2 {
 public:
  explicit PatchFunction(const mlBaseMinimiser2& minimiser) noexcept { become(minimiser); }
  PatchFunction& become(const mlBaseMinimiser2& minimiser) noexcept {
    minimiser_ = &minimiser;
    set_max_deriv(1);
    return *this;
  }

  double function(double u, double v) const override { return minimiser_->evaluate(u, v); }
  double uv_function_derivative(int i, int j, double u, double v) const override {
    if (i < 0 || j < 0 || i + j != 1) return paskosda_detail::minimiser2::kNoDerivative;
    return minimiser_->derivative(i, j, minimiser_->wrap(0, u), minimiser_->wrap(1, v));
  }

 private:
  const mlBaseMinimiser2* minimiser_ = nullptr;
};

// `mlMinimiser` with its search and its current point reachable.
class mlBaseMinimiser2::LineSearch : public mlMinimiser {
 public:
  using mlMinimiser::mlMinimiser;

  mlMinimiserState run() { return search(); }
  double parameter() const noexcept { return current_.parameter(); }
  // The value at the current point, computed only if the search has not.
  double value() const { return current_.fn0(*objective_); }
};

// The line along an edge, parameterised by the free coordinate itself (direction 1 along it,
// origin 0) at the held coordinate's value, on the minimiser's function, and the range of the
// free coordinate to search: the edge search and the probe just inside the edge share it.
class mlBaseMinimiser2::EdgeLine {
 public:
  EdgeLine(const mlBaseMinimiser2& minimiser, int free, double held, int max_deriv) noexcept;
  EdgeLine(const EdgeLine&) = delete;
  EdgeLine& operator=(const EdgeLine&) = delete;

 private:
  // Declared before the line, which keeps a pointer to it.
  PatchFunction objective_;

 public:
  mlLineOnFunction2 line;
  double low = 0.0;
  double high = 0.0;
};

#endif  // PASKOSDA_OPTIM_MLMINIMISER2DETAIL_H
