#include "functions/mlLineOnFunction2.h"

#include <cfloat>

#include "containers/utMath.h"
#include "linalg/mlMath.h"

namespace {

// Marks the line's parameter range as not yet computed (it is computed on first use).
constexpr double kUnset = -DBL_MAX;

// -1 for x < 0, +1 otherwise (zero and NaN included).
double sgn(double x) noexcept { return x < 0.0 ? -1.0 : 1.0; }

// The parameters at which the line o + t d reaches its upper and its lower bound. An
// unbounded end (+DBL_MAX above, -DBL_MAX below) gives DBL_MAX with the direction's sign
// (opposite below) instead of a quotient.
double upper_parameter(double end, double o, double d) noexcept {
  return end == DBL_MAX ? sgn(d) * DBL_MAX : (end - o) / d;
}

double lower_parameter(double end, double o, double d) noexcept {
  return end == -DBL_MAX ? -sgn(d) * DBL_MAX : (end - o) / d;
}

}  // namespace

mlLineOnFunction2::mlLineOnFunction2(double du, double dv, double u0, double v0,
                                     const mlFunction2* f) noexcept {
  become(du, dv, u0, v0, f);
}

mlLineOnFunction2& mlLineOnFunction2::become(double du, double dv, double u0, double v0,
                                             const mlFunction2* f) noexcept {
  du_ = du;
  dv_ = dv;
  u0_ = u0;
  v0_ = v0;
  t_hi_ = kUnset;
  t_lo_ = kUnset;
  u_min_ = f->u_min();
  u_max_ = f->u_max();
  v_min_ = f->v_min();
  v_max_ = f->v_max();
  function_ = f;
  set_max_deriv(f->max_deriv());
  return *this;
}

void mlLineOnFunction2::set_window(double u_min, double u_max, double v_min,
                                   double v_max) noexcept {
  u_min_ = u_min;
  u_max_ = u_max;
  v_min_ = v_min;
  v_max_ = v_max;
  t_hi_ = kUnset;
}

double mlLineOnFunction2::function(double t) const {
  const double u = mlMath::clip_to_range(t * du_ + u0_, u_min_, u_max_);
  const double v = mlMath::clip_to_range(t * dv_ + v0_, v_min_, v_max_);
  return function_->function(u, v);
}

double mlLineOnFunction2::function_derivative(int n, double t) const {
  const double u = mlMath::clip_to_range(t * du_ + u0_, u_min_, u_max_);
  const double v = mlMath::clip_to_range(t * dv_ + v0_, v_min_, v_max_);
  if (n < 0) return 0.0;
  double derivative = 0.0;
  for (int i = 0; i <= n; ++i) {
    const double du_i = utMath::pow(du_, i);
    const double dv_n_i = utMath::pow(dv_, n - i);
    // A direction along an axis leaves most products zero: those derivatives of f are never
    // requested.
    if (du_i * dv_n_i == 0.0) continue;
    derivative += ((utMath::n_choose_i(n, i) * du_i) * dv_n_i) *
                  function_->uv_function_derivative(i, n - i, u, v);
  }
  return derivative;
}

double mlLineOnFunction2::t_min() const {
  if (t_hi_ == kUnset) calculate_min_max();
  return t_lo_;
}

double mlLineOnFunction2::t_max() const {
  if (t_hi_ == kUnset) calculate_min_max();
  return t_hi_;
}

void mlLineOnFunction2::calculate_min_max() const noexcept {
  if (dv_ == 0.0) {
    t_hi_ = DBL_MAX;
    t_lo_ = -DBL_MAX;
  } else {
    const double a = upper_parameter(v_max_, v0_, dv_);
    const double b = lower_parameter(v_min_, v0_, dv_);
    if (dv_ > 0.0) {
      t_hi_ = a;
      t_lo_ = b;
    } else {
      t_hi_ = b;
      t_lo_ = a;
    }
  }
  if (du_ != 0.0) {
    const double a = upper_parameter(u_max_, u0_, du_);
    const double b = lower_parameter(u_min_, u0_, du_);
    if (du_ > 0.0) {
      t_hi_ = utMath::min(t_hi_, a);
      t_lo_ = utMath::max(t_lo_, b);
    } else {
      t_hi_ = utMath::min(t_hi_, b);
      t_lo_ = utMath::max(t_lo_, a);
    }
  }
}
