#include "optim/mlPowellMinimumSearch.h"

#include <gtest/gtest.h>

#include <cfloat>
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
using paskosda_test::classic_problems;
using paskosda_test::ClassicProblem;
using paskosda_test::CountingFunctionN1;
using paskosda_test::rosenbrock;
using paskosda_test::values;
using paskosda_test::vec;

// One line minimisation as the search makes it, from the public pieces: bracket from the steps
// 0 and 1, Brent at relative tolerance 0.2 with at most 100 points, then d *= t and p += d.
double replay_line(const mlFunctionN1& f, mlVector& p, mlVector& d) {
  const mlLineOnFunctionN1 line(p, d, &f);
  double a = 0.0, b = 1.0, c, fa, fb, fc, t;
  ml_minimum_bracketing(line, a, b, c, fa, fb, fc);
  const double value = ml_brent_minimum_search(line, a, b, c, 0.2, 100, &t);
  d *= t;
  p += d;
  return value;
}

// The first pass along the unit directions, replayed on f; returns the value at its end.
double replay_first_pass(const mlFunctionN1& f, mlVector& p) {
  const int n = p.dimension();
  double value = 0.0;
  for (int i = 0; i < n; ++i) {
    mlVector d(mlVectorZero, n);
    d[i] = 1.0;
    value = replay_line(f, p, d);
  }
  return value;
}

TEST(PowellMinimumSearch, FirstPassMinimisesAlongEachDirectionThenTriesTheExtrapolatedPoint) {
  const CountingFunctionN1 f(2, rosenbrock);
  mlVector p = vec({-1.2, 1.0});
  mlMatrix directions(mlMatrixIdentity, 2);
  int iterations = -1;
  ml_powell_minimum_search(p, directions, 1e-10, iterations, f);

  const CountingFunctionN1 replay(2, rosenbrock);
  mlVector q = vec({-1.2, 1.0});
  replay_first_pass(replay, q);
  std::vector<Call> expected = {{0, {}, {-1.2, 1.0}}};
  expected.insert(expected.end(), replay.calls.begin(), replay.calls.end());
  expected.push_back({0, {}, {2.0 * q[0] - -1.2, 2.0 * q[1] - 1.0}});
  ASSERT_GT(f.calls.size(), expected.size());
  EXPECT_EQ(std::vector<Call>(f.calls.begin(), f.calls.begin() + expected.size()), expected);
  EXPECT_GT(iterations, 0);
}

TEST(PowellMinimumSearch, ANegativeValueStopsTheSearchAfterItsFirstPass) {
  const auto shifted = [](const mlSlice& x) { return rosenbrock(x) - 10.0; };
  const CountingFunctionN1 f(2, shifted);
  mlVector p = vec({-1.2, 1.0});
  mlMatrix directions(mlMatrixIdentity, 2);
  int iterations = -1;
  const double value = ml_powell_minimum_search(p, directions, 1e-10, iterations, f);

  // Exactly the first pass, far from the minimum at (1, 1), and nothing after it.
  const CountingFunctionN1 replay(2, shifted);
  mlVector q = vec({-1.2, 1.0});
  const double expected_value = replay_first_pass(replay, q);
  std::vector<Call> expected = {{0, {}, {-1.2, 1.0}}};
  expected.insert(expected.end(), replay.calls.begin(), replay.calls.end());
  EXPECT_EQ(f.calls, expected);
  EXPECT_EQ(iterations, 0);
  EXPECT_EQ(value, expected_value);
  EXPECT_EQ(values(p), values(q));
  EXPECT_GT(std::fabs(p[0] - 1.0), 0.1);
  EXPECT_EQ(values(directions), values(mlMatrix(mlMatrixIdentity, 2)));

  // The same function without the shift runs on to the minimum.
  const CountingFunctionN1 g(2, rosenbrock);
  mlVector r = vec({-1.2, 1.0});
  mlMatrix unit(mlMatrixIdentity, 2);
  ml_powell_minimum_search(r, unit, 1e-10, iterations, g);
  EXPECT_GT(iterations, 0);
  EXPECT_NEAR(r[0], 1.0, 1e-6);
}

TEST(PowellMinimumSearch, ReplacesTheDirectionOfLargestDecreaseByThePassDisplacement) {
  // A valley along x + y = 4 with a slightly negative minimum: the first pass ends above 0,
  // replaces a direction, and the second ends below 0 and stops the search.
  const auto valley = [](const mlSlice& x) {
    const double a = x[0] + x[1] - 4.0;
    const double b = x[0] - x[1];
    return a * a + 0.1 * b * b - 0.1;
  };
  const CountingFunctionN1 f(2, valley);
  mlVector p = vec({0.0, 3.0});
  mlMatrix directions(mlMatrixIdentity, 2);
  int iterations = -1;
  const double value = ml_powell_minimum_search(p, directions, 1e-10, iterations, f);
  EXPECT_EQ(iterations, 1);
  EXPECT_LT(value, 0.0);

  // Replayed: the first pass, then the line minimisation along its displacement. x gave the
  // larger decrease, so column 0 takes the old last column and the last column the scaled
  // displacement.
  const CountingFunctionN1 replay(2, valley);
  const mlVector p0 = vec({0.0, 3.0});
  mlVector q(utCopy, p0);
  mlVector along_x = vec({1.0, 0.0});
  const double start = valley(p0.slice());
  const double after_x = replay_line(replay, q, along_x);
  mlVector along_y = vec({0.0, 1.0});
  const double after_y = replay_line(replay, q, along_y);
  ASSERT_GT(start - after_x, after_x - after_y);
  ASSERT_GE(after_y, 0.0);
  mlVector displacement = vec({q[0] - p0[0], q[1] - p0[1]});
  replay_line(replay, q, displacement);
  EXPECT_EQ(values(directions), (std::vector<double>{0.0, displacement[0], 1.0, displacement[1]}));
}

TEST(PowellMinimumSearch, StopsAfterPass39) {
  // A negative tolerance never accepts convergence on a function above zero.
  const CountingFunctionN1 f(2, [](const mlSlice& x) {
    return (x[0] - 1.0) * (x[0] - 1.0) + (x[1] - 2.0) * (x[1] - 2.0) + 1.0;
  });
  mlVector p = vec({0.0, 0.0});
  mlMatrix directions(mlMatrixIdentity, 2);
  int iterations = -1;
  const double value = ml_powell_minimum_search(p, directions, -1.0, iterations, f);
  EXPECT_EQ(iterations, 39);
  EXPECT_NEAR(value, 1.0, 1e-12);
}

TEST(PowellMinimumSearch, ReturnsTheBestPointWhenALaterPassEndsHigher) {
  // The function rises by 1000 after its 40th call; the pass that sees it ends far above the
  // best value (and stops, as it is more than 10 times the best).
  int calls = 0;
  const CountingFunctionN1 f(2, [&calls](const mlSlice& x) {
    ++calls;
    return (x[0] - 1.0) * (x[0] - 1.0) + (x[1] - 2.0) * (x[1] - 2.0) + 1.0 +
           (calls > 40 ? 1000.0 : 0.0);
  });
  mlVector p = vec({0.0, 0.0});
  mlMatrix directions(mlMatrixIdentity, 2);
  int iterations = -1;
  const double value = ml_powell_minimum_search(p, directions, -1.0, iterations, f);
  EXPECT_GT(calls, 40);
  EXPECT_LT(iterations, 39);
  EXPECT_LT(value, 2.0);
  EXPECT_EQ(value, (p[0] - 1.0) * (p[0] - 1.0) + (p[1] - 2.0) * (p[1] - 2.0) + 1.0);
}

TEST(PowellMinimumSearch, EdgeCasesOfTheIndexAndTheBestPoint) {
  // The value is NaN at (1, 0), where the first line minimisation ends, so no decrease is
  // counted and the index stays 0; the extrapolated point (2, 2) is far lower, and the line
  // minimisation along the displacement runs, but no column is replaced.
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

  // +inf everywhere: no pass ever records a best point, so the result is DBL_MAX and p comes
  // back empty after the 40 passes.
  const CountingFunctionN1 g(2, [](const mlSlice&) { return HUGE_VAL; });
  mlVector q = vec({0.0, 0.0});
  mlMatrix unit(mlMatrixIdentity, 2);
  EXPECT_EQ(ml_powell_minimum_search(q, unit, 1e-10, iterations, g), DBL_MAX);
  EXPECT_EQ(iterations, 39);
  EXPECT_EQ(q.dimension(), 0);
}

TEST(PowellMinimumSearch, ReachesTheMinimaOfClassicTestFunctions) {
  for (const ClassicProblem& k : classic_problems()) {
    SCOPED_TRACE(k.name);
    const int n = static_cast<int>(k.start.size());
    const CountingFunctionN1 f(n, k.f);
    mlVector p = vec(k.start);
    mlMatrix directions(mlMatrixIdentity, n);
    int iterations = -1;
    const double value = ml_powell_minimum_search(p, directions, 1e-10, iterations, f);
    EXPECT_LT(value, 1e-15);
    EXPECT_EQ(value, k.f(p.slice()));
    for (int i = 0; i < n; ++i)
      EXPECT_NEAR(p[i], k.minimum[static_cast<std::size_t>(i)], k.point_tolerance);
  }
}

}  // namespace
