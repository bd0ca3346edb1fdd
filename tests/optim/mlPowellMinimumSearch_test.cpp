#include "optim/mlPowellMinimumSearch.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <vector>

#include "functions/mlLineOnFunctionN1.h"
#include "optim/mlMinimiser.h"
#include "support/classic_problems.h"
#include "support/counting_functions.h"
#include "support/test_support.h"

namespace {

using namespace paskosda_test;

// A search from `start` along the unit vectors.
struct Search {
  Search(const mlFunctionN1& f, const std::vector<double>& start, double tolerance = 1e-10)
      : p(vec(start)),
        directions(mlMatrixIdentity, p.dimension()),
        value(ml_powell_minimum_search(p, directions, tolerance, iterations, f)) {}
  mlVector p;
  mlMatrix directions;
  int iterations = -1;
  double value;
};

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

TEST(mlPowellMinimumSearch, FirstPassMinimisesAlongEachDirectionThenTriesTheExtrapolatedPoint) {
  // Shifted below zero, the search ends after that pass, before the extrapolated point: kept
  // so, as "value > 10 best" holds exactly for a negative value.
  for (const double shift : {0.0, -10.0}) {
    const auto shifted = [shift](const mlSlice& x) { return rosenbrock(x) + shift; };
    const CountingFunctionN1 f(2, shifted), replay(2, shifted);
    const Search s(f, {-1.2, 1.0});

    mlVector q = vec({-1.2, 1.0});
    replay.function(q.slice());
    replay_line(replay, q, vec({1.0, 0.0}));
    const double after_pass = replay_line(replay, q, vec({0.0, 1.0}));
    std::vector<Call> expected = replay.calls;
    if (shift < 0.0) {
      EXPECT_TRUE(s.iterations == 0 && s.value == after_pass && values(s.p) == values(q));
      EXPECT_EQ(values(s.directions), values(mlMatrix(mlMatrixIdentity, 2)));
    } else {
      EXPECT_GT(s.iterations, 0);
      expected.push_back({0, {}, {2.0 * q[0] - -1.2, 2.0 * q[1] - 1.0}});
    }
    ASSERT_GE(f.calls.size(), expected.size());
    EXPECT_EQ(std::vector<Call>(f.calls.begin(), f.calls.begin() + expected.size()), expected);
    EXPECT_EQ(f.calls.size() == expected.size(), shift < 0.0);
  }
}

TEST(mlPowellMinimumSearch, ReplacesTheDirectionOfLargestDecreaseByThePassDisplacement) {
  // A valley along x + y = 4 with a slightly negative minimum: the first pass, in which x gives
  // the larger decrease, ends above 0; the second ends below 0 and stops the search.
  const CountingFunctionN1 f(2, [](const mlSlice& x) {
    const double a = x[0] + x[1] - 4.0, b = x[0] - x[1];
    return a * a + 0.1 * b * b - 0.1;
  });
  const Search s(f, {0.0, 3.0});
  EXPECT_LT(s.value, 0.0);
  EXPECT_EQ(s.iterations, 1);
  // Column 0 takes the old last column, the last column the scaled displacement, which moves
  // both coordinates.
  EXPECT_TRUE(s.directions(0, 0) == 0.0 && s.directions(1, 0) == 1.0);
  EXPECT_TRUE(s.directions(0, 1) != 0.0 && s.directions(1, 1) != 0.0);
}

TEST(mlPowellMinimumSearch, KeepsTheDirectionsWhenNoDecreaseIsCounted) {
  // NaN at (1, 0), where the first line minimisation ends: no decrease is counted and the
  // one-based index stays 0; the extrapolated point (2, 2) is far lower and the line along the
  // displacement is searched, but no column is replaced.
  const CountingFunctionN1 f(2, [](const mlSlice& x) {
    if (x[0] == 1.0 && x[1] == 0.0) return std::nan("");
    if (x[0] == 2.0 && x[1] == 2.0) return -10.0;
    return (x[0] - 1.0) * (x[0] - 1.0) + (x[1] - 1.0) * (x[1] - 1.0);
  });
  const Search s(f, {0.0, 0.0});
  EXPECT_EQ(s.value, -10.0);
  EXPECT_EQ(values(s.p), (std::vector<double>{2.0, 2.0}));
  EXPECT_EQ(s.iterations, 1);
  EXPECT_EQ(values(s.directions), values(mlMatrix(mlMatrixIdentity, 2)));

  // +inf everywhere: no best point is ever recorded, so DBL_MAX and an empty p after the pass
  // numbered 39.
  const Search inf(CountingFunctionN1(2, [](const mlSlice&) { return HUGE_VAL; }), {0.0, 0.0});
  EXPECT_TRUE(inf.value == DBL_MAX && inf.iterations == 39 && inf.p.dimension() == 0);
}

TEST(mlPowellMinimumSearch, ReachesTheMinimaOfClassicTestFunctions) {
  for (const ClassicProblem& k : classic_problems()) {
    const Search s(CountingFunctionN1(static_cast<int>(k.start.size()), k.f), k.start);
    EXPECT_LT(s.value, 1e-15) << k.name;
    EXPECT_EQ(s.value, k.f(s.p.slice())) << k.name;
    for (std::size_t i = 0; i < k.start.size(); ++i)
      EXPECT_NEAR(s.p[static_cast<int>(i)], k.minimum[i], k.point_tolerance) << k.name;
  }
}

}  // namespace
