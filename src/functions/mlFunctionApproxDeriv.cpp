#include "functions/mlFunctionApproxDeriv.h"

#include "containers/utMath.h"

namespace {

// The interval of a one-sided difference of step h at x: forward from x, or backward when
// x + h passes `test_max`; then the upper end clamped to `hi_limit` and the lower to
// `lo_limit`. The quotient keeps h as its divisor even when clamping shortened the interval.
struct DifferenceWindow {
  DifferenceWindow(double x, double h, double test_max, double lo_limit, double hi_limit) noexcept {
    lo = x;
    if (x + h > test_max) lo = x - h;
    hi = utMath::min(lo + h, hi_limit);
    lo = utMath::max(lo, lo_limit);
  }
  double lo = 0.0;
  double hi = 0.0;
};

}  // namespace

// ---- mlFunctionApproxDeriv ------------------------------------------------------------------

mlFunctionApproxDeriv& mlFunctionApproxDeriv::become(const mlFunction& f, double step) noexcept {
  function_ = &f;
  step_ = step;
  set_max_deriv(2);
  return *this;
}

double mlFunctionApproxDeriv::function(double t) const {
  const DifferenceWindow w(t, step_, t_max(), t_min(), t_max());
  // The upper value first.
  const double f_hi = function_->function(w.hi);
  const double f_lo = function_->function(w.lo);
  return (f_hi - f_lo) / step_;
}

double mlFunctionApproxDeriv::t_min() const { return function_->t_min(); }

double mlFunctionApproxDeriv::t_max() const { return function_->t_max(); }

// ---- mlFunction2ApproxUDeriv ----------------------------------------------------------------

mlFunction2ApproxUDeriv& mlFunction2ApproxUDeriv::become(const mlFunction2& f,
                                                         double step) noexcept {
  step_ = step;
  function_ = &f;
  set_max_deriv(2);
  return *this;
}

double mlFunction2ApproxUDeriv::function(double u, double v) const {
  const DifferenceWindow w(u, step_, u_max(), u_min(), u_max());
  const double f_hi = function_->function(w.hi, v);
  const double f_lo = function_->function(w.lo, v);
  return (f_hi - f_lo) / step_;
}

double mlFunction2ApproxUDeriv::u_min() const { return function_->u_min(); }

double mlFunction2ApproxUDeriv::u_max() const { return function_->u_max(); }

double mlFunction2ApproxUDeriv::v_min() const { return function_->v_min(); }

double mlFunction2ApproxUDeriv::v_max() const { return function_->v_max(); }

// ---- mlFunction2ApproxVDeriv ----------------------------------------------------------------

mlFunction2ApproxVDeriv& mlFunction2ApproxVDeriv::become(const mlFunction2& f,
                                                         double step) noexcept {
  step_ = step;
  function_ = &f;
  set_max_deriv(2);
  return *this;
}

double mlFunction2ApproxVDeriv::function(double u, double v) const {
  // The backward test reads this object's u_max, which reports the wrapped v_max: kept so.
  const DifferenceWindow w(v, step_, u_max(), v_min(), v_max());
  const double f_hi = function_->function(u, w.hi);
  const double f_lo = function_->function(u, w.lo);
  return (f_hi - f_lo) / step_;
}

double mlFunction2ApproxVDeriv::u_min() const { return function_->v_min(); }

double mlFunction2ApproxVDeriv::u_max() const { return function_->v_max(); }

double mlFunction2ApproxVDeriv::v_min() const { return function_->v_min(); }

double mlFunction2ApproxVDeriv::v_max() const { return function_->v_max(); }
