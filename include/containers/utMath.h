#ifndef PASKOSDA_CONTAINERS_UTMATH_H
#define PASKOSDA_CONTAINERS_UTMATH_H

/// \file
/// `utMath`, the static scalar functions of the utility layer.

#include <climits>
#include <cmath>

#include "paskosda_export.h"

/// Static scalar functions of the utility layer, inline so that they round the same way in
/// every translation unit.
class PASKOSDA_EXPORT utMath {
 public:
  utMath() = delete;

  /// |x|.
  static double abs(double x) noexcept { return std::fabs(x); }
  /// |x|; INT_MIN, whose magnitude no int holds, comes back as INT_MIN (two's complement).
  static int abs(int x) noexcept {
    return x < 0 ? static_cast<int>(0u - static_cast<unsigned>(x)) : x;
  }
  /// x * x.
  static double square(double x) noexcept { return x * x; }
  /// Correctly rounded wherever it is computed, so it may stay inline.
  static double sqrt(double x) noexcept { return std::sqrt(x); }
  // The transcendental functions are out of line: inlined into a caller's translation unit,
  // a constant argument could be folded at compile time to a value other than the run-time
  // library's, and results would depend on the optimisation level.
  /// The standard function of the same name, always evaluated at run time: the platform's,
  /// or in a library built with PASKOSDA_PORTABLE_MATH the library's own, which gives the same
  /// bits on every machine (below one ulp, correctly rounded for almost every argument, the
  /// special values of C99 Annex F). The library's own computations call these.
  ///@{
  static double sin(double x) noexcept;
  static double cos(double x) noexcept;
  static double sinh(double x) noexcept;
  static double cosh(double x) noexcept;
  static double atan2(double y, double x) noexcept;
  static double pow(double x, double y) noexcept;
  static double exp(double x) noexcept;
  static double log(double x) noexcept;
  static double hypot(double x, double y) noexcept;
  ///@}
  /// True when the library was built with PASKOSDA_PORTABLE_MATH, so that the functions above
  /// are its own rather than the platform's.
  static bool portable() noexcept;

  /// x to an integer power by repeated multiplication from the left, x * x * ... * x: 1.0 for
  /// n = 0 and 1 / x^|n| for negative n. The product order is kept (not squaring) so that
  /// results are those of the plain product.
  static double pow(double x, int n) noexcept {
    // The magnitude is taken unsigned: -INT_MIN does not fit an int.
    const unsigned magnitude = n < 0 ? 0u - static_cast<unsigned>(n) : static_cast<unsigned>(n);
    double p = 1.0;
    if (magnitude > 0) {
      p = x;
      for (unsigned k = 1; k < magnitude; ++k)
        p *= x;
    }
    return n < 0 ? 1.0 / p : p;
  }

  /// The binomial coefficient n over i as a double (0.0 unless 0 <= i <= n). Built by the
  /// recurrence C(n, k) = C(n, k - 1) * (n - k + 1) / k over k up to min(i, n - i), whose
  /// products and quotients are whole numbers: exact while they stay below 2^53.
  static double n_choose_i(int n, int i) noexcept {
    if (i < 0 || i > n) return 0.0;
    const int k_max = i < n - i ? i : n - i;
    double c = 1.0;
    for (int k = 1; k <= k_max; ++k)
      c = c * static_cast<double>(n - k + 1) / k;
    return c;
  }

  /// a if a < b, else b.
  static int min(int a, int b) noexcept { return a < b ? a : b; }
  /// a if a > b, else b.
  static int max(int a, int b) noexcept { return a > b ? a : b; }
  /// a if a < b, else b.
  static double min(double a, double b) noexcept { return a < b ? a : b; }
  /// a if a > b, else b.
  static double max(double a, double b) noexcept { return a > b ? a : b; }

  /// 1.7976931348623157e308.
  static constexpr double max_double() noexcept { return 1.7976931348623157e308; }
  /// INT_MAX.
  static constexpr int max_int() noexcept { return INT_MAX; }
  /// 3.141592653589793.
  static constexpr double pi() noexcept { return 3.141592653589793; }

  /// 0 for x == 0.0 (either zero), -1 for x < 0.0, 1 otherwise (a NaN gives 1).
  static int sign(double x) noexcept {
    if (x == 0.0) return 0;
    return x < 0.0 ? -1 : 1;
  }
};

#endif  // PASKOSDA_CONTAINERS_UTMATH_H
