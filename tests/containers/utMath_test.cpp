#include "containers/utMath.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <limits>

#include "containers/ut_numeric_cast.h"
#include "linalg/mlMath.h"
#include "math/mlPortableMath.h"

namespace {

TEST(utMath, SignMinMaxAndConstants) {
  EXPECT_EQ(utMath::sign(-0.0), 0);
  EXPECT_EQ(utMath::sign(0.0), 0);
  EXPECT_EQ(utMath::sign(-1e-300), -1);
  EXPECT_EQ(utMath::sign(3.0), 1);
  EXPECT_EQ(utMath::sign(std::nan("")), 1);
  // max gives a only when a > b: with a NaN on either side the answer is b.
  EXPECT_TRUE(std::isnan(utMath::max(1.0, std::nan(""))));
  EXPECT_EQ(utMath::max(std::nan(""), 1.0), 1.0);
  EXPECT_EQ(utMath::min(std::nan(""), 1.0), 1.0);
  EXPECT_EQ(utMath::max(-0.0, 0.0), 0.0);
  EXPECT_EQ(utMath::abs(INT_MIN + 1), INT_MAX);
  EXPECT_EQ(utMath::max_double(), 1.7976931348623157e308);
  EXPECT_EQ(utMath::max_int(), 2147483647);
  EXPECT_EQ(utMath::pi(), 3.141592653589793);
}

TEST(utMath, IntegerPowerIsTheLeftToRightProduct) {
  const double x = 1.1;
  double product = 1.0;
  for (int n = 0; n <= 30; ++n) {
    EXPECT_EQ(utMath::pow(x, n), product) << n;  // bitwise: (((x*x)*x)*...)
    EXPECT_EQ(utMath::pow(x, -n), 1.0 / product) << n;
    product = n == 0 ? x : product * x;
  }
  EXPECT_EQ(utMath::pow(0.0, 0), 1.0);
  EXPECT_EQ(utMath::pow(-2.0, 3), -8.0);
  EXPECT_EQ(utMath::pow(2.0, -2), 0.25);
  // 1 / x^|n|: the power overflows before the reciprocal is taken.
  EXPECT_EQ(utMath::pow(2.0, -1074), 0.0);
}

// The elementary functions are the platform's, or the library's own in a build with
// PASKOSDA_PORTABLE_MATH; the library's own computations reach them through utMath alone.
TEST(utMath, ElementaryFunctionsAreThoseOfTheBuildMode) {
  const bool portable = utMath::portable();
  for (double x : {-7.25, -0.5, 1e-9, 0.75, 3.0, 40.0, 1e22}) {
    const double y = 0.5 - x / 8.0;
    const double expected[] = {
        portable ? paskosda_detail::portable_sin(x) : std::sin(x),
        portable ? paskosda_detail::portable_cos(x) : std::cos(x),
        portable ? paskosda_detail::portable_sinh(y) : std::sinh(y),
        portable ? paskosda_detail::portable_cosh(y) : std::cosh(y),
        portable ? paskosda_detail::portable_exp(y) : std::exp(y),
        portable ? paskosda_detail::portable_log(std::fabs(x)) : std::log(std::fabs(x)),
        portable ? paskosda_detail::portable_atan2(x, y) : std::atan2(x, y),
        portable ? paskosda_detail::portable_hypot(x, y) : std::hypot(x, y),
        portable ? paskosda_detail::portable_pow(std::fabs(x), y) : std::pow(std::fabs(x), y),
        portable ? paskosda_detail::portable_cos(x) : std::cos(x),
    };
    const double got[] = {utMath::sin(x),
                          utMath::cos(x),
                          utMath::sinh(y),
                          utMath::cosh(y),
                          utMath::exp(y),
                          utMath::log(std::fabs(x)),
                          utMath::atan2(x, y),
                          utMath::hypot(x, y),
                          utMath::pow(std::fabs(x), y),
                          mlMath::sin_derivative(1, x)};
    for (int k = 0; k < 10; ++k)
      EXPECT_EQ(std::memcmp(&got[k], &expected[k], sizeof(double)), 0) << k << " at " << x;
  }
}

TEST(utMath, BinomialCoefficients) {
  // Pascal's rule row by row, compared exactly.
  double row[41] = {1.0};
  for (int n = 1; n <= 40; ++n) {
    for (int i = n; i > 0; --i)
      row[i] += row[i - 1];
    for (int i = 0; i <= n; ++i)
      ASSERT_EQ(utMath::n_choose_i(n, i), row[i]) << n << " " << i;
  }
  EXPECT_EQ(utMath::n_choose_i(5, -1), 0.0);
  EXPECT_EQ(utMath::n_choose_i(5, 6), 0.0);
  EXPECT_EQ(utMath::n_choose_i(0, 0), 1.0);
}

TEST(utMathNumericCast, ReportsOverflowExactlyAtTheBoundaries) {
  struct Narrow {
    utUInt64 x;
    int result;
    bool overflow;
  };
  for (const Narrow& c : {Narrow{0, 0, false}, Narrow{2147483647u, 2147483647, false},
                          Narrow{2147483648u, INT_MIN, true}, Narrow{4294967295u, -1, true},
                          Narrow{4294967296u, 0, true}, Narrow{4294967296u + 5u, 5, true}}) {
    bool overflow = !c.overflow;
    EXPECT_EQ(ut_numeric_cast<int>(c.x, overflow), c.result) << c.x;
    EXPECT_EQ(overflow, c.overflow) << c.x;
  }
  struct Widen {
    int x;
    utUInt64 result;
    bool overflow;
  };
  for (const Widen& c :
       {Widen{0, 0, false}, Widen{INT_MAX, 2147483647u, false},
        Widen{-1, 0xFFFFFFFFFFFFFFFFu, true}, Widen{INT_MIN, 0xFFFFFFFF80000000u, true}}) {
    bool overflow = !c.overflow;
    EXPECT_EQ((ut_numeric_cast<utUInt64, int>(c.x, overflow)), c.result) << c.x;
    EXPECT_EQ(overflow, c.overflow) << c.x;
  }
}

TEST(utMathNumericCast, ComparesMixedSignednessByValue) {
  EXPECT_TRUE(ut_compare(-1) < 0u);
  EXPECT_FALSE(ut_compare(-1) > 0xFFFFFFFFu);  // not taken as 4294967295
  EXPECT_TRUE(ut_compare(utUInt64{0}) > -1);
  EXPECT_FALSE(ut_compare(utUInt64{0}) < -1);
  EXPECT_TRUE(ut_compare(utUInt64{5}) < 6);
  EXPECT_TRUE(ut_compare(7) > utUInt64{6});
  EXPECT_FALSE(ut_compare(3u) < 3);
}

}  // namespace
