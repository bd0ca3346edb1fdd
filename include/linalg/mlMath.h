#ifndef PASKOSDA_LINALG_MLMATH_H
#define PASKOSDA_LINALG_MLMATH_H

/// \file
/// `mlMath`, static scalar helpers: clipping, interpolation, rescaling, tolerant comparison and
/// derivatives of the circular and hyperbolic functions.

#include <cmath>

#include "paskosda_export.h"

/// Static scalar helpers: clipping, interpolation, rescaling, tolerant comparison and
/// derivatives of any order of the circular and hyperbolic functions.
class PASKOSDA_EXPORT mlMath {
 public:
  /// lo if lo > x; else hi if x > hi; else x (an inverted range is not reordered).
  static double clip_to_range(double x, double lo, double hi) noexcept {
    if (lo > x) return lo;
    if (x > hi) return hi;
    return x;
  }
  /// 1 if lo <= x <= hi, else 0.
  static int in_range(double x, double lo, double hi) noexcept {
    return x >= lo && x <= hi ? 1 : 0;
  }
  /// 1 if |a - b| <= tol, else 0.
  static int coincident(double a, double b, double tol) noexcept {
    return std::fabs(a - b) <= tol ? 1 : 0;
  }
  /// a for t <= 0, b for t >= 1, otherwise (b - a) * t + a clamped into the closed interval
  /// between a and b.
  static double interpolate(double t, double a, double b) noexcept {
    if (t <= 0.0) return a;
    if (t >= 1.0) return b;
    const double x = (b - a) * t + a;
    return a < b ? clip_to_range(x, a, b) : clip_to_range(x, b, a);
  }
  /// The linear map sending a to c and b to d: (b - x) / (b - a) * c + (x - a) / (b - a) * d.
  /// a = b is not guarded against.
  static double rescale(double x, double a, double b, double c, double d) noexcept {
    return (b - x) / (b - a) * c + (x - a) / (b - a) * d;
  }

  /// The n-th derivative of cos at x; -666.6 for a negative n that is not a multiple of 4.
  static double cos_derivative(int n, double x) noexcept;
  /// The n-th derivative of sin at x; -666.6 for a negative n that is not a multiple of 4.
  static double sin_derivative(int n, double x) noexcept;
  /// The n-th derivative of cosh at x: sinh(x) for odd n (negative odd n too), else cosh(x).
  static double cosh_derivative(int n, double x) noexcept;
  /// The n-th derivative of sinh at x: cosh(x) for odd n, else sinh(x).
  static double sinh_derivative(int n, double x) noexcept;

 protected:
  mlMath() = default;
  ~mlMath() = default;
};

#endif  // PASKOSDA_LINALG_MLMATH_H
