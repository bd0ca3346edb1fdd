#include "roots/mlNewtonRaphson.h"

#include <cmath>

#include "decomp/mlLUDecomposition.h"

namespace {

// The residual: the largest absolute component, where a NaN component counts as +infinity.
// The vector's own maximum passes a NaN over, which would let a point where f is NaN pass as
// converged, or a step into NaN as progress.
double residual(const mlVector& values) noexcept {
  for (int i = 0; i < values.dimension(); ++i) {
    if (std::isnan(values[i])) return HUGE_VAL;
  }
  return values.max_absolute_value();
}

}  // namespace

mlNewtonRaphson::mlNewtonRaphson(mlNRDim, int n) noexcept { become(mlNRDimension, n); }

mlNewtonRaphson& mlNewtonRaphson::become(mlNRDim, int n) noexcept {
  x_.become(mlVectorDim, n);
  jacobian_.become(n, n);
  values_.become(mlVectorDim, n);
  iteration_ = 0;
  max_iterations_ = 20;
  status_ = mlNRConverged;
  step_.become(mlVectorDim, n);
  return *this;
}

void mlNewtonRaphson::solve(const mlFunctionN& f, mlVector& x, double tol, int& ok) {
  PASKOSDA_CHECK(x.dimension() == x_.dimension() && f.variables() == x_.dimension() &&
                     f.dimension() == x_.dimension(),
                 "mlNewtonRaphson::solve: %d unknowns, x has %d, f maps %d to %d", x_.dimension(),
                 x.dimension(), f.variables(), f.dimension());
  x_ = x;
  f.function(x_.slice(), values_);
  iteration_ = 0;
  status_ = mlNRConverged;
  double best = residual(values_);
  if (tol < 1e-14) tol = 1e-14;
  if (best <= tol) {
    ok = 1;
    return;
  }
  int stall = 0;
  while (iteration_ < max_iterations_) {
    f.function_gradient(x_.slice(), jacobian_);
    const mlLUDecomposition lu(jacobian_);
    if (lu.is_singular() != 0) {
      status_ = mlNRSingular;
      break;
    }
    lu.solve(values_, step_);
    x_ -= step_;
    f.function(x_.slice(), values_);
    const double current = residual(values_);
    if (current == best && (x_ == x) != 0) {
      status_ = mlNRCycled;
      break;
    }
    if (current >= best) {
      stall += 1;
    } else {
      stall = best - current >= 0.001 * current ? 0 : stall + 1;
      x = x_;
      best = current;
    }
    if (stall > 4) {
      status_ = mlNRStalled;
      break;
    }
    // An absolute floor, whatever the tolerance.
    if (best <= 1e-14) {
      status_ = mlNRConverged;
      break;
    }
    iteration_ += 1;
  }
  if (iteration_ >= max_iterations_) status_ = mlNRIterationLimit;
  if (best <= tol) {
    status_ = mlNRConverged;
    ok = 1;
  } else {
    ok = 0;
  }
}
