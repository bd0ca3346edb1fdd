#ifndef PASKOSDA_FUNCTIONS_MLFUNCTIONAPPROXDERIV_H
#define PASKOSDA_FUNCTIONS_MLFUNCTIONAPPROXDERIV_H

/// \file
/// First derivatives of a wrapped function by one-sided differences. Each adapter borrows the
/// function it wraps, which must outlive it. The difference is forward, (f(p + h) - f(p)) / h,
/// and turns backward near the upper end of the domain; both ends are then clamped into the
/// domain, and the divisor stays h even when clamping shortened the interval, by design.

#include "functions/mlFunction.h"
#include "paskosda_export.h"

/// g(t) = f'(t) of a wrapped `mlFunction` by a one-sided difference of step h; its domain is
/// the wrapped function's.
class PASKOSDA_EXPORT mlFunctionApproxDeriv : public mlFunction {
 public:
  /// The derivative of f with the difference step `step` (f is borrowed).
  mlFunctionApproxDeriv(const mlFunction& f, double step) noexcept : function_(&f), step_(step) {}
  /// Re-initialises to the derivative of f with step `step`. Returns this.
  mlFunctionApproxDeriv& become(const mlFunction& f, double step) noexcept;
  /// A temporary would be gone before the derivative is evaluated.
  mlFunctionApproxDeriv(const mlFunction&& f, double step) = delete;
  mlFunctionApproxDeriv& become(const mlFunction&& f, double step) = delete;

  /// lo = t, or t - h when t + h > t_max(); hi = min(lo + h, t_max()); lo = max(lo, t_min());
  /// then (f(hi) - f(lo)) / h with f(hi) evaluated first.
  double function(double t) const override;
  /// The wrapped function's t_min.
  double t_min() const override;
  /// The wrapped function's t_max.
  double t_max() const override;

 private:
  const mlFunction* function_ = nullptr;
  double step_ = 0.0;
};

/// df/du of a wrapped `mlFunction2` by a one-sided difference in u (v held); its domain is
/// the wrapped function's.
class PASKOSDA_EXPORT mlFunction2ApproxUDeriv : public mlFunction2 {
 public:
  /// The u derivative of f with the difference step `step` (f is borrowed).
  mlFunction2ApproxUDeriv(const mlFunction2& f, double step) noexcept
      : step_(step), function_(&f) {}
  /// Re-initialises to the u derivative of f with step `step`. Returns this.
  mlFunction2ApproxUDeriv& become(const mlFunction2& f, double step) noexcept;
  /// A temporary would be gone before the derivative is evaluated.
  mlFunction2ApproxUDeriv(const mlFunction2&& f, double step) = delete;
  mlFunction2ApproxUDeriv& become(const mlFunction2&& f, double step) = delete;

  /// The difference of `mlFunctionApproxDeriv` in u, with this object's u_min and u_max as
  /// the limits and f(., v) as the function (f(hi, v) evaluated first).
  double function(double u, double v) const override;
  /// The wrapped function's u_min (each end forwards to its same-named operation).
  double u_min() const override;
  /// The wrapped function's u_max.
  double u_max() const override;
  /// The wrapped function's v_min.
  double v_min() const override;
  /// The wrapped function's v_max.
  double v_max() const override;

 private:
  double step_ = 0.0;
  const mlFunction2* function_ = nullptr;
};

/// df/dv of a wrapped `mlFunction2` by a one-sided difference in v (u held). All four domain
/// operations report the wrapped function's v range: u_min is its v_min and u_max its v_max,
/// deliberately, because the difference below takes its first test from u_max.
class PASKOSDA_EXPORT mlFunction2ApproxVDeriv : public mlFunction2 {
 public:
  /// The v derivative of f with the difference step `step` (f is borrowed).
  mlFunction2ApproxVDeriv(const mlFunction2& f, double step) noexcept
      : step_(step), function_(&f) {}
  /// Re-initialises to the v derivative of f with step `step`. Returns this.
  mlFunction2ApproxVDeriv& become(const mlFunction2& f, double step) noexcept;
  /// A temporary would be gone before the derivative is evaluated.
  mlFunction2ApproxVDeriv(const mlFunction2&& f, double step) = delete;
  mlFunction2ApproxVDeriv& become(const mlFunction2&& f, double step) = delete;

  /// lo = v, or v - h when v + h > u_max() (which is the wrapped v_max);
  /// hi = min(lo + h, v_max()); lo = max(lo, v_min()); then (f(u, hi) - f(u, lo)) / h with
  /// f(u, hi) evaluated first.
  double function(double u, double v) const override;
  /// The wrapped function's v_min (not its u_min), deliberately.
  double u_min() const override;
  /// The wrapped function's v_max (not its u_max), deliberately.
  double u_max() const override;
  /// The wrapped function's v_min.
  double v_min() const override;
  /// The wrapped function's v_max.
  double v_max() const override;

 private:
  double step_ = 0.0;
  const mlFunction2* function_ = nullptr;
};

#endif  // PASKOSDA_FUNCTIONS_MLFUNCTIONAPPROXDERIV_H
