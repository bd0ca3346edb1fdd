#include "optim/mlPowellMinimumSearch.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <climits>
#include <cmath>
#include <limits>
#include <vector>

#include "functions/mlLineOnFunctionN1.h"
#include "optim/mlMinimiser.h"
#include "support/classic_problems.h"
#include "support/counting_functions.h"
#include "support/test_support.h"

namespace {

using paskosda_test::Call;
using paskosda_test::CountingFunctionN1;
using paskosda_test::rosenbrock;
using paskosda_test::values;
using paskosda_test::vec;

// One line minimisation as the search makes it: bracket from the steps 0 and 1, Brent at
// relative tolerance 0.2 with at most 100 points, then d *= t and p += d.
double replay_line(const mlFunctionN1& f, mlVector& p, mlVector&& d) {
  const mlLineOnFunctionN1 line(p, d, &f);
  double a = 0.0, b = 1.0, c, fa, fb, fc, t;
  ml_minimum_bracketing(line, a, b, c, fa, fb, fc);
  const double value = ml_brent_minimum_search(line, a, b, c, 0.2, 100, &t);
  d *= t;
  p += d;
  return value;
}

TEST(PowellMinimumSearch, FirstPassMinimisesAlongEachDirectionThenTriesTheExtrapolatedPoint) {
  // Shifted below zero, the search ends after that pass, before the extrapolated point: kept
  // so, as "value > 10 best" holds exactly for a negative value.
  for (const double shift : {0.0, -10.0}) {
    const auto shifted = [shift](const mlSlice& x) { return rosenbrock(x) + shift; };
    const CountingFunctionN1 f(2, shifted), replay(2, shifted);
    mlVector p = vec({-1.2, 1.0});
    mlMatrix directions(mlMatrixIdentity, 2);
    int iterations = -1;
    const double value = ml_powell_minimum_search(p, directions, 1e-10, iterations, f);

    mlVector q = vec({-1.2, 1.0});
    replay.function(q.slice());
    replay_line(replay, q, vec({1.0, 0.0}));
    const double after_pass = replay_line(replay, q, vec({0.0, 1.0}));
    std::vector<Call> expected = replay.calls;
    if (shift < 0.0) {
      EXPECT_EQ(iterations, 0);
      EXPECT_EQ(value, after_pass);
      EXPECT_EQ(values(p), values(q));
      EXPECT_EQ(values(directions), values(mlMatrix(mlMatrixIdentity, 2)));
    } else {
      EXPECT_GT(iterations, 0);
      expected.push_back({0, {}, {2.0 * q[0] - -1.2, 2.0 * q[1] - 1.0}});
    }
    ASSERT_GE(f.calls.size(), expected.size());
    EXPECT_EQ(std::vector<Call>(f.calls.begin(), f.calls.begin() + expected.size()), expected);
    EXPECT_EQ(f.calls.size() == expected.size(), shift < 0.0);
  }
}

TEST(PowellMinimumSearch, ReplacesTheDirectionOfLargestDecreaseByThePassDisplacement) {
  // A valley along x + y = 4 with a slightly negative minimum: the first pass, in which x gives
  // the larger decrease, ends above 0; the second ends below 0 and stops the search.
  const CountingFunctionN1 f(2, [](const mlSlice& x) {
    const double a = x[0] + x[1] - 4.0, b = x[0] - x[1];
    return a * a + 0.1 * b * b - 0.1;
  });
  mlVector p = vec({0.0, 3.0});
  mlMatrix directions(mlMatrixIdentity, 2);
  int iterations = -1;
  EXPECT_LT(ml_powell_minimum_search(p, directions, 1e-10, iterations, f), 0.0);
  EXPECT_EQ(iterations, 1);
  // Column 0 takes the old last column, the last column the scaled displacement, which moves
  // both coordinates.
  EXPECT_EQ(directions(0, 0), 0.0);
  EXPECT_EQ(directions(1, 0), 1.0);
  EXPECT_NE(directions(0, 1), 0.0);
  EXPECT_NE(directions(1, 1), 0.0);
}

TEST(PowellMinimumSearch, StopsAfterPass39WithTheBestPointSeen) {
  // A negative tolerance never accepts convergence on a function above zero. In the second
  // case the function rises by 1000 after its 40th call: the pass that sees it ends more than
  // 10 times above the best value and stops the search; p is the best point.
  for (const int rise_after : {INT_MAX, 40}) {
    int calls = 0;
    const CountingFunctionN1 f(2, [&](const mlSlice& x) {
      return (x[0] - 1.0) * (x[0] - 1.0) + (x[1] - 2.0) * (x[1] - 2.0) + 1.0 +
             (++calls > rise_after ? 1000.0 : 0.0);
    });
    mlVector p = vec({0.0, 0.0});
    mlMatrix directions(mlMatrixIdentity, 2);
    int iterations = -1;
    const double value = ml_powell_minimum_search(p, directions, -1.0, iterations, f);
    EXPECT_LT(value, 2.0);
    EXPECT_EQ(value, (p[0] - 1.0) * (p[0] - 1.0) + (p[1] - 2.0) * (p[1] - 2.0) + 1.0);
    EXPECT_EQ(iterations == 39, rise_after == INT_MAX);
  }
}

TEST(PowellMinimumSearch, KeepsTheDirectionsWhenNoDecreaseIsCounted) {
  // NaN at (1, 0), where the first line minimisation ends: no decrease is counted and the
  // one-based index stays 0; the extrapolated point (2, 2) is far lower and the line along the
  // displacement is searched, but no column is replaced.
  const CountingFunctionN1 f(2, [](const mlSlice& x) {
    if (x[0] == 1.0 && x[1] == 0.0) return std::numeric_limits<double>::quiet_NaN();
    if (x[0] == 2.0 && x[1] == 2.0) return -10.0;
    return (x[0] - 1.0) * (x[0] - 1.0) + (x[1] - 1.0) * (x[1] - 1.0);
  });
  mlVector p = vec({0.0, 0.0});
  mlMatrix directions(mlMatrixIdentity, 2);
  int iterations = -1;
  EXPECT_EQ(ml_powell_minimum_search(p, directions, 1e-10, iterations, f), -10.0);
  EXPECT_EQ(values(p), (std::vector<double>{2.0, 2.0}));
  EXPECT_EQ(iterations, 1);
  EXPECT_EQ(values(directions), values(mlMatrix(mlMatrixIdentity, 2)));

  // +inf everywhere: no best point is ever recorded, so DBL_MAX and an empty p after 40 passes.
  const CountingFunctionN1 g(2, [](const mlSlice&) { return HUGE_VAL; });
  EXPECT_EQ(ml_powell_minimum_search(p, directions, 1e-10, iterations, g), DBL_MAX);
  EXPECT_EQ(iterations, 39);
  EXPECT_EQ(p.dimension(), 0);
}

TEST(PowellMinimumSearch, ReachesTheMinimaOfClassicTestFunctions) {
  for (const paskosda_test::ClassicProblem& k : paskosda_test::classic_problems()) {
    const int n = static_cast<int>(k.start.size());
    mlVector p = vec(k.start);
    mlMatrix directions(mlMatrixIdentity, n);
    int iterations = -1;
    const double value =
        ml_powell_minimum_search(p, directions, 1e-10, iterations, CountingFunctionN1(n, k.f));
    EXPECT_LT(value, 1e-15) << k.name;
    EXPECT_EQ(value, k.f(p.slice())) << k.name;
    for (int i = 0; i < n; ++i)
      EXPECT_NEAR(p[i], k.minimum[static_cast<std::size_t>(i)], k.point_tolerance) << k.name;
  }
}

}  // namespace
