#include "decomp/mlTridiagonal.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "linalg/mlMatrix.h"
#include "support/test_support.h"

namespace {

using paskosda_test::values;
using paskosda_test::vec;

// The system's matrix written out: band, plus the corners when `periodic`.
mlMatrix dense(int n, const mlVector& lower, const mlVector& diagonal, const mlVector& upper,
               bool periodic) {
  mlMatrix a(mlMatrixZero, n, n);
  for (int i = 0; i < n; ++i) {
    a(i, i) = diagonal[i];
    if (i > 0) a(i, i - 1) = lower[i];
    if (i + 1 < n) a(i, i + 1) = upper[i];
  }
  if (periodic && n > 1) {
    a(0, n - 1) += lower[0];
    a(n - 1, 0) += upper[n - 1];
  }
  return a;
}

std::vector<double> solve(const mlVector& lower, const mlVector& diagonal, const mlVector& upper,
                          const mlVector& d, bool periodic) {
  const int n = diagonal.dimension();
  const mlTridiagonal t(n, lower.slice(), diagonal.slice(), upper.slice());
  mlVector x(mlVectorZero, n);
  mlSlice xs = x.slice();
  if (periodic) {
    t.solve_periodic(d.slice(), xs);
  } else {
    t.solve(d.slice(), xs);
  }
  return values(x);
}

TEST(Tridiagonal, SolvesBandSystems) {
  EXPECT_EQ(solve(vec({5}), vec({4}), vec({7}), vec({3}), false), (std::vector<double>{0.75}));
  EXPECT_EQ(solve(vec({0, 1, 1}), vec({2, 2, 2}), vec({1, 1, 0}), vec({3, 4, 3}), false),
            (std::vector<double>{1, 1, 1}));
  // The corners are not part of the band.
  EXPECT_EQ(solve(vec({9, 1, 1}), vec({2, 2, 2}), vec({1, 1, 9}), vec({3, 4, 3}), false),
            (std::vector<double>{1, 1, 1}));
}

TEST(Tridiagonal, SolvesPeriodicSystemsThroughARankOneCorrection) {
  const mlVector ones = vec({1, 1, 1, 1, 1}), fours = vec({4, 4, 4, 4, 4});
  // All 1 up to the rounding of the correction.
  EXPECT_EQ(solve(ones, fours, ones, vec({6, 6, 6, 6, 6}), true),
            (std::vector<double>{1, 1, 0.9999999999999999, 1, 1}));
  // Corners of the other sign: not corrected, the band alone is solved.
  const mlVector lower = vec({-1, 1, 1, 1, 1}), upper = vec({1, 1, 1, 1, -1});
  const mlVector d = vec({6, 6, 6, 6, 6});
  EXPECT_EQ(solve(lower, fours, upper, d, true), solve(lower, fours, upper, d, false));

  // Random diagonally dominant cyclic systems: the residual of the full matrix.
  mlRandom random(3);
  for (int size : {2, 3, 10, 31}) {
    mlVector lo(mlVectorDim, size), di(mlVectorDim, size), up(mlVectorDim, size),
        rhs(mlVectorDim, size);
    const double sign = size % 2 == 0 ? 1.0 : -1.0;
    for (int i = 0; i < size; ++i) {
      lo[i] = sign * random.uniform(0.0, 1.0);
      up[i] = sign * random.uniform(0.0, 1.0);
      di[i] = sign * random.uniform(2.5, 3.0);
      rhs[i] = random.uniform(-1.0, 1.0);
    }
    const mlVector x = vec(solve(lo, di, up, rhs, true));
    mlVector residual(mlMatrixProduct, dense(size, lo, di, up, true), x);
    residual -= rhs;
    EXPECT_LT(residual.max_absolute_value(), 1e-14) << "n = " << size;
  }
}

TEST(Tridiagonal, PeriodicSystemOfOrderOneHasBothCornersOnItsDiagonal) {
  EXPECT_EQ(solve(vec({1}), vec({4}), vec({2}), vec({14}), true), (std::vector<double>{2}));
  EXPECT_EQ(solve(vec({-1}), vec({-4}), vec({-2}), vec({14}), true), (std::vector<double>{-2}));
  // Mixed signs: the corners are ignored, as in the general case.
  EXPECT_EQ(solve(vec({-1}), vec({4}), vec({2}), vec({14}), true), (std::vector<double>{3.5}));
}

TEST(Tridiagonal, TestsItsProperties) {
  struct Case {
    mlVector lower, diagonal, upper;
    int dominant, non_zero, same_sign;
  };
  const double nan = std::nan("");
  const Case cases[] = {
      {vec({9, 1, 1}), vec({2, 2, 2}), vec({1, 1, 9}), 1, 1, 1},     // equality passes; corners
      {vec({0, 1, 3}), vec({2, 2, 2}), vec({1, 1, 0}), 0, 1, 1},     // row 2: |3| > |2|
      {vec({0, 2, 1}), vec({2, 2, 2}), vec({1, 1, 0}), 0, 1, 1},     // row 1: 2 + 1 > 2
      {vec({0, 1, 1}), vec({2, 0, 2}), vec({3, 1, 0}), 0, 0, 1},     // row 0: |3| > |2|
      {vec({-1, 1, 1}), vec({2, nan, 2}), vec({1, 1, 0}), 1, 1, 0},  // NaN is non-zero
      {vec({0, 1, 1}), vec({-2, 2, -2}), vec({1, 1, 0}), 1, 1, 1},   // zeros fit either sign
      {vec({1, 1, 1}), vec({-2, 2, -2}), vec({1, 1, 0}), 1, 1, 0},
  };
  for (const Case& c : cases) {
    const mlTridiagonal t(3, c.lower.slice(), c.diagonal.slice(), c.upper.slice());
    EXPECT_EQ(t.diagonally_dominant(), c.dominant) << c.lower << c.diagonal << c.upper;
    EXPECT_EQ(t.non_zero_diagonal(), c.non_zero);
    EXPECT_EQ(t.same_sign_corners(), c.same_sign);
  }
  // The empty system has every property, and solving it writes nothing.
  mlVector none = vec({42});
  const mlTridiagonal empty(0, none.slice(), none.slice(), none.slice());
  EXPECT_EQ(empty.diagonally_dominant() + empty.non_zero_diagonal() + empty.same_sign_corners(), 3);
  mlSlice x = none.slice();
  empty.solve(none.slice(), x);
  empty.solve_periodic(none.slice(), x);
  EXPECT_EQ(none[0], 42.0);
}

}  // namespace
