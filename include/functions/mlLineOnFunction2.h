#ifndef PASKOSDA_FUNCTIONS_MLLINEONFUNCTION2_H
#define PASKOSDA_FUNCTIONS_MLLINEONFUNCTION2_H

/// \file
/// `mlLineOnFunction2`, a function of two variables restricted to a straight line in (u, v).

#include <cfloat>

#include "functions/mlFunction.h"
#include "paskosda_export.h"

/// g(t) = f(u0 + t du, v0 + t dv): a two-parameter function restricted to a straight line,
/// with the point clamped into a window of (u, v). Its domain [t_min, t_max] is the parameter
/// interval over which the line stays inside the window (computed on first request and kept;
/// it is empty, t_min > t_max, when the line misses the window). The wrapped function is
/// borrowed and must outlive the line.
class PASKOSDA_EXPORT mlLineOnFunction2 : public mlFunction {
 public:
  /// The line through (u0, v0) with direction (du, dv) on f; note the order, direction first.
  /// The window is f's domain at this moment, and max_deriv is f's.
  mlLineOnFunction2(double du, double dv, double u0, double v0, const mlFunction2* f) noexcept;
  /// Re-initialises as the constructor does. Returns this.
  mlLineOnFunction2& become(double du, double dv, double u0, double v0,
                            const mlFunction2* f) noexcept;

  /// Replaces the window; the domain is computed afresh on the next request.
  void set_window(double u_min, double u_max, double v_min, double v_max) noexcept;

  /// f at u = t du + u0 and v = t dv + v0, each clamped into the window (lower bound tested
  /// first).
  double function(double t) const override;
  /// The n-th derivative along the line at the clamped point of t: 0 for n < 0, otherwise the
  /// sum over i = 0 ... n, ascending from 0.0, of
  /// ((n_choose_i(n, i) * du^i) * dv^(n - i)) * f.uv_function_derivative(i, n - i, u, v),
  /// skipping without a call to f every term whose du^i * dv^(n - i) is exactly 0. The point
  /// is clamped as in `function`, so at the window's edge the derivative is the one at the
  /// edge point.
  double function_derivative(int n, double t) const override;
  /// The lower end of the parameter interval inside the window.
  double t_min() const override;
  /// The upper end of the parameter interval inside the window.
  double t_max() const override;

 protected:
  /// For derived classes: no direction, origin 0, an unbounded window and no function.
  mlLineOnFunction2() noexcept = default;
  /// Member-wise copying, for derived classes.
  ///@{
  mlLineOnFunction2(const mlLineOnFunction2&) noexcept = default;
  mlLineOnFunction2& operator=(const mlLineOnFunction2&) noexcept = default;
  ///@}

 private:
  // Fills t_lo_ and t_hi_ from the window.
  void calculate_min_max() const noexcept;

  double du_ = 0.0;
  double dv_ = 0.0;
  double u0_ = 0.0;
  double v0_ = 0.0;
  // -DBL_MAX in t_hi_ marks the limits as not yet computed.
  mutable double t_hi_ = -DBL_MAX;
  mutable double t_lo_ = -DBL_MAX;
  double u_min_ = -DBL_MAX;
  double u_max_ = DBL_MAX;
  double v_min_ = -DBL_MAX;
  double v_max_ = DBL_MAX;
  const mlFunction2* function_ = nullptr;
};

#endif  // PASKOSDA_FUNCTIONS_MLLINEONFUNCTION2_H
