#include "linalg/mlMath.h"

#include <gtest/gtest.h>

#include <cmath>

#include "containers/utMath.h"

namespace {

TEST(mlMath, ClipRangeAndCoincidence) {
  EXPECT_EQ(mlMath::clip_to_range(7.0, 0.0, 5.0), 5.0);
  EXPECT_EQ(mlMath::clip_to_range(-7.0, 0.0, 5.0), 0.0);
  EXPECT_EQ(mlMath::clip_to_range(2.0, 0.0, 5.0), 2.0);
  // An inverted range is not reordered: 1 below 1, 0 from 1 up.
  for (double x : {-5.0, 0.0, 0.999})
    EXPECT_EQ(mlMath::clip_to_range(x, 1.0, 0.0), 1.0);
  for (double x : {1.0, 3.0})
    EXPECT_EQ(mlMath::clip_to_range(x, 1.0, 0.0), 0.0);

  EXPECT_EQ(mlMath::in_range(5.0, 0.0, 5.0), 1);
  EXPECT_EQ(mlMath::in_range(5.1, 0.0, 5.0), 0);
  EXPECT_EQ(mlMath::in_range(std::nan(""), 0.0, 5.0), 0);
  EXPECT_EQ(mlMath::coincident(1.0, 1.25, 0.25), 1);
  EXPECT_EQ(mlMath::coincident(1.0, 1.25, 0.2), 0);
}

TEST(mlMath, InterpolateClampsBetweenTheEnds) {
  EXPECT_EQ(mlMath::interpolate(0.5, 3, 1), 2.0);
  EXPECT_EQ(mlMath::interpolate(-1, 3, 1), 3.0);
  EXPECT_EQ(mlMath::interpolate(2, 3, 1), 1.0);
  EXPECT_EQ(mlMath::interpolate(0.1, 0.1, 0.3), (0.3 - 0.1) * 0.1 + 0.1);
  // Rounding may not carry the result past an end.
  for (double t = 0.0; t <= 1.0; t += 1.0 / 64) {
    const double x = mlMath::interpolate(t, 1e16, 1e16 + 2);
    EXPECT_GE(x, 1e16);
    EXPECT_LE(x, 1e16 + 2);
  }
}

TEST(mlMath, RescaleMapsOneIntervalOntoAnother) {
  EXPECT_EQ(mlMath::rescale(3, 0, 4, 100, 200), 175.0);
  EXPECT_EQ(mlMath::rescale(0, 0, 4, 100, 200), 100.0);
  EXPECT_EQ(mlMath::rescale(0.3, 0.1, 0.7, -1, 2),
            (0.7 - 0.3) / (0.7 - 0.1) * -1 + (0.3 - 0.1) / (0.7 - 0.1) * 2);
  EXPECT_TRUE(std::isnan(mlMath::rescale(1, 2, 2, 0, 1)));  // no guard against a = b
}

TEST(mlMath, DerivativesOfAnyOrder) {
  const double x = 0.7;
  const double c = utMath::cos(x), s = utMath::sin(x);
  struct Case {
    int n;
    double cos_d, sin_d;
  };
  for (const Case& k :
       {Case{0, c, s}, Case{1, -s, c}, Case{2, -c, -s}, Case{3, s, -c}, Case{4, c, s},
        Case{7, s, -c}, Case{-4, c, s}, Case{-8, c, s}, Case{-1, -666.6, -666.6},
        Case{-2, -666.6, -666.6}, Case{-7, -666.6, -666.6}}) {
    EXPECT_EQ(mlMath::cos_derivative(k.n, x), k.cos_d) << k.n;
    EXPECT_EQ(mlMath::sin_derivative(k.n, x), k.sin_d) << k.n;
  }
  for (int n : {-3, -1, 1, 5}) {
    EXPECT_EQ(mlMath::cosh_derivative(n, x), utMath::sinh(x)) << n;
    EXPECT_EQ(mlMath::sinh_derivative(n, x), utMath::cosh(x)) << n;
  }
  for (int n : {-2, 0, 2}) {
    EXPECT_EQ(mlMath::cosh_derivative(n, x), utMath::cosh(x)) << n;
    EXPECT_EQ(mlMath::sinh_derivative(n, x), utMath::sinh(x)) << n;
  }
}

}  // namespace
