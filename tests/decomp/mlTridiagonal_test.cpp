#include "decomp/mlTridiagonal.h"

#include <gtest/gtest.h>

#include <tuple>

#include "support/reference_decomp.h"
#include "support/test_support.h"

namespace {

using namespace paskosda_test;

std::vector<double> solve(const mlVector& lower, const mlVector& diagonal, const mlVector& upper,
                          const mlVector& d, bool periodic) {
  const int n = diagonal.dimension();
  const mlTridiagonal t(n, lower.slice(), diagonal.slice(), upper.slice());
  mlVector x(mlVectorZero, n);
  mlSlice xs = x.slice();
  periodic ? t.solve_periodic(d.slice(), xs) : t.solve(d.slice(), xs);
  return values(x);
}

TEST(mlTridiagonal, SolvesBandAndSmallPeriodicSystemsExactly) {
  using V = std::vector<double>;
  const std::tuple<V, V, V, V, bool, V> cases[] = {
      // lower, diagonal, upper, d, periodic, x
      {{5}, {4}, {7}, {3}, false, {0.75}},
      {{9, 1, 1}, {2, 2, 2}, {1, 1, 9}, {3, 4, 3}, false, {1, 1, 1}},  // corners not in the band
      // All 1 up to the rounding of the rank-one correction.
      {V(5, 1.0), V(5, 4.0), V(5, 1.0), V(5, 6.0), true, {1, 1, 0.9999999999999999, 1, 1}},
      // Order one: both corners lie on the diagonal, unless their signs differ from it; the
      // upper one is added first: (1 + 2^-53) + 2^-53 is 1.
      {{1}, {4}, {2}, {14}, true, {2}},
      {{0x1p-53}, {1}, {0x1p-53}, {1}, true, {1}},
      {{-1}, {-4}, {-2}, {14}, true, {-2}},
      {{-1}, {4}, {2}, {14}, true, {3.5}},
  };
  for (const auto& [lower, diagonal, upper, d, periodic, x] : cases)
    EXPECT_EQ(solve(vec(lower), vec(diagonal), vec(upper), vec(d), periodic), x) << vec(diagonal);
  // Corners of the other sign: not corrected, the band alone is solved.
  const mlVector lower = vec({-1, 1, 1, 1, 1}), upper = vec({1, 1, 1, 1, -1}),
                 fours = vec({4, 4, 4, 4, 4});
  EXPECT_EQ(solve(lower, fours, upper, fours, true), solve(lower, fours, upper, fours, false));
}

TEST(mlTridiagonal, SolvesRandomPeriodicSystems) {
  // Diagonally dominant cyclic systems: the residual of the full matrix, corners included.
  mlRandom random(3);
  for (int n : {2, 3, 10, 31}) {
    mlVector lower(mlVectorDim, n), diagonal(mlVectorDim, n), upper(mlVectorDim, n),
        d(mlVectorDim, n);
    mlMatrix a(mlMatrixZero, n, n);
    const double sign = n % 2 == 0 ? 1.0 : -1.0;
    for (int i = 0; i < n; ++i) {
      a(i, (i + n - 1) % n) += lower[i] = sign * random.uniform(0.0, 1.0);
      a(i, (i + 1) % n) += upper[i] = sign * random.uniform(0.0, 1.0);
      a(i, i) = diagonal[i] = sign * random.uniform(2.5, 3.0);
      d[i] = random.uniform(-1.0, 1.0);
    }
    EXPECT_LT(residual(a, vec(solve(lower, diagonal, upper, d, true)), d), 1e-14) << "n = " << n;
  }
}

TEST(mlTridiagonal, TestsItsProperties) {
  struct Case {
    mlVector lower, diagonal, upper;
    std::vector<int> properties;  // dominant, non-zero diagonal, same-sign corners
  };
  const Case cases[] = {
      {vec({9, 1, 1}), vec({2, 2, 2}), vec({1, 1, 9}), {1, 1, 1}},      // equality passes; corners
      {vec({0, 1, 3}), vec({2, 2, 2}), vec({1, 1, 0}), {0, 1, 1}},      // row 2: |3| > |2|
      {vec({0, 2, 1}), vec({2, 2, 2}), vec({1, 1, 0}), {0, 1, 1}},      // row 1: 2 + 1 > 2
      {vec({0, 1, 1}), vec({2, 0, 2}), vec({3, 1, 0}), {0, 0, 1}},      // row 0: |3| > |2|
      {vec({-1, 1, 1}), vec({2, kNaN, 2}), vec({1, 1, 0}), {1, 1, 0}},  // NaN is non-zero
      {vec({0, 1, 1}), vec({-2, 2, -2}), vec({1, 1, 0}), {1, 1, 1}},    // zeros fit either sign
      {vec({1, 1, 1}), vec({-2, 2, -2}), vec({1, 1, 0}), {1, 1, 0}},
      {vec({5, 1, 2}), vec({3, 4, 2}), vec({3, 1, 5}), {1, 1, 1}},    // equality in rows 0, 2
      {vec({-1, 0, 0}), vec({-2, 1, 0}), vec({0, 0, 0}), {1, 0, 1}},  // non-positive, a zero last
  };
  for (const Case& c : cases) {
    const mlTridiagonal t(3, c.lower.slice(), c.diagonal.slice(), c.upper.slice());
    EXPECT_EQ(
        (std::vector<int>{t.diagonally_dominant(), t.non_zero_diagonal(), t.same_sign_corners()}),
        c.properties)
        << c.lower << c.diagonal << c.upper;
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
