#include "functions/mlFunctionApproxDeriv.h"

#include "containers/utMath.h"

// ---- mlFunctionApproxDeriv ------------------------------------------------------------------

mlFunctionApproxDeriv& mlFunctionApproxDeriv::become(const mlFunction& f, double step) noexcept {
  function_ = &f;
  step_ = step;
  set_max_deriv(2);
  return *this;
}

double mlFunctionApproxDeriv::function(double t) const {
  const double h = step_;
  double lo = t;
  // Backward near the upper end.
  if (t + h > t_max()) lo = t - h;
  const double hi = utMath::min(lo + h, t_max());
  lo = utMath::max(lo, t_min());
  // The upper value first; the divisor is h even when clamping shortened the interval.
  const double f_hi = function_->function(hi);
  const double f_lo = function_->function(lo);
  return (f_hi - f_lo) / h;
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
  const double h = step_;
  double lo = u;
  if (u + h > u_max()) lo = u - h;
  const double hi = utMath::min(lo + h, u_max());
  lo = utMath::max(lo, u_min());
  const double f_hi = function_->function(hi, v);
  const double f_lo = function_->function(lo, v);
  return (f_hi - f_lo) / h;
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
  const double h = step_;
  double lo = v;
  // The first test reads this object's u_max, which reports the wrapped v_max: kept so.
  if (v + h > u_max()) lo = v - h;
  const double hi = utMath::min(lo + h, v_max());
  lo = utMath::max(lo, v_min());
  const double f_hi = function_->function(u, hi);
  const double f_lo = function_->function(u, lo);
  return (f_hi - f_lo) / h;
}

double mlFunction2ApproxVDeriv::u_min() const { return function_->v_min(); }

double mlFunction2ApproxVDeriv::u_max() const { return function_->v_max(); }

double mlFunction2ApproxVDeriv::v_min() const { return function_->v_min(); }

double mlFunction2ApproxVDeriv::v_max() const { return function_->v_max(); }
