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

TEST(mlPowellMinimumSearch, RepeatsItsSearchesOfTheClassicProblemsToTheBit) {
  // Every constant of the search (the extrapolation, the tests on the pass and the line
  // searches' tolerance) decides some step on these: the passes, the evaluations and the bits
  // of the result are pinned.
  struct Golden {
    int iterations;
    std::size_t calls;
    double value;
    std::vector<double> p;
  };
  const Golden golden[] = {
      {28, 655, 5.9657605957339018e-30, {0.99999999999999756, 0.99999999999999512}},
      {10, 231, 8.2549979648303458e-29, {3.0000000000000022, 0.49999999999999867}},
      {39,
       1724,
       6.6565718027035882e-21,
       {7.6861279409230729e-06, -7.6861296116332917e-07, 3.3526595904765181e-06,
        3.3526584084424981e-06}},
  };
  const std::vector<ClassicProblem> problems = classic_problems();
  for (std::size_t i = 0; i < problems.size(); ++i) {
    const ClassicProblem& k = problems[i];
    const CountingFunctionN1 f(static_cast<int>(k.start.size()), k.f);
    const Search s(f, k.start);
    EXPECT_EQ(s.iterations, golden[i].iterations) << k.name;
    EXPECT_EQ(f.calls.size(), golden[i].calls) << k.name;
    EXPECT_EQ(s.value, golden[i].value) << k.name;
    EXPECT_EQ(values(s.p), golden[i].p) << k.name;
  }
}

TEST(mlPowellMinimumSearch, StopsWhenTwiceThePassDecreaseIsWithinTheGuard) {
  // One variable, A below 0.5 and 0 above, at tolerance 0: the first pass falls by A from the
  // start 0, and the search stops there when 2 A <= 1e-25 (5e-26 is the tie) and goes on to a
  // second pass otherwise.
  for (const double a : {5e-26, 5.1e-26}) {
    const CountingFunctionN1 f(1, [a](const mlSlice& x) { return x[0] < 0.5 ? a : 0.0; });
    const Search s(f, {0.0}, 0.0);
    EXPECT_EQ(s.value, 0.0) << a;
    EXPECT_EQ(s.iterations, a == 5e-26 ? 0 : 1) << a;
  }
}

TEST(mlPowellMinimumSearch, SearchesAlongThePassDisplacementWhenTheClassicTestIsNegative) {
  // Terraces: 1 for each coordinate below 0.5, 0 above, and e where x + y > 5, which only the
  // extrapolated point (4, 4) reaches. The pass from (0, 0) falls by 1 along each axis (fp = 2,
  // value 0, a tie for the largest decrease, which stays with the first axis) to (2, 2); then
  // t = 2 (2 + e) sqrt(2 - 0 - 1) - 1 sqrt(2 - e): -0.052 for e = -1.14, which searches along
  // the displacement (its first point beyond p is the extrapolated one again) and replaces the
  // first direction; +0.039 for e = -1.1, which does neither.
  for (const double e : {-1.14, -1.1}) {
    const CountingFunctionN1 f(2, [e](const mlSlice& x) {
      if (x[0] + x[1] > 5.0) return e;
      return (x[0] >= 0.5 ? 0.0 : 1.0) + (x[1] >= 0.5 ? 0.0 : 1.0);
    });
    const Search s(f, {0.0, 0.0});
    ASSERT_GE(f.calls.size(), 16u);
    const std::vector<double> extrapolated = f.calls[13].at;
    EXPECT_GT(extrapolated[0] + extrapolated[1], 5.0);
    EXPECT_EQ(f.calls[15].at == extrapolated, e == -1.14) << e;
    if (e == -1.14) {
      EXPECT_EQ(s.value, e);
      EXPECT_TRUE(s.directions(0, 0) == 0.0 && s.directions(1, 0) == 1.0);
    }
  }
}

TEST(mlPowellMinimumSearch, TheClassicTestAtZeroDoesNotSearch) {
  // As in KeepsTheDirectionsWhenNoDecreaseIsCounted, with e at (2, 2): the pass falls from 2 to
  // 0 with no decrease counted, so t = 2 (2 - 0 + e) sqrt(2). For e = -2 it is exactly 0, and
  // the search goes on from (1, 1) without the line along the displacement, ending at 0; for
  // e = -2.1 it is negative and that line reaches e.
  for (const double e : {-2.0, -2.1}) {
    const CountingFunctionN1 f(2, [e](const mlSlice& x) {
      if (x[0] == 1.0 && x[1] == 0.0) return std::nan("");
      if (x[0] == 2.0 && x[1] == 2.0) return e;
      return (x[0] - 1.0) * (x[0] - 1.0) + (x[1] - 1.0) * (x[1] - 1.0);
    });
    const Search s(f, {0.0, 0.0});
    EXPECT_EQ(s.value, e == -2.0 ? 0.0 : e) << e;
  }
}

TEST(mlPowellMinimumSearch, ReturnsThePointReachedAlongALevelFloor) {
  // 1 below x = 0.5 and 0 above: after the first pass every line runs along the level floor,
  // and the point the lines reached is returned, not the first point at the final value.
  const CountingFunctionN1 f(2, [](const mlSlice& x) { return x[0] < 0.5 ? 1.0 : 0.0; });
  const Search s(f, {0.0, 0.0});
  EXPECT_EQ(s.value, 0.0);
  EXPECT_EQ(s.iterations, 1);
  EXPECT_EQ(f.calls.size(), 32u);
  EXPECT_EQ(values(s.p), (std::vector<double>{13.999999735696523, 15.99999972014926}));
}

TEST(mlPowellMinimumSearch, EndsEachLineSearchAfterAHundredBrentSteps) {
  // 0 at the start, 1 one step along each axis and NaN everywhere else. Each line search
  // brackets [-1.618034, 1] around t = 0; every other point is NaN, so Brent's parabolic step
  // is NaN and gives way to a step of the absolute guard, and the golden steps between shrink
  // the bracket by 0.618 every second iteration: far from done when the 100 steps run out.
  const CountingFunctionN1 f(2, [](const mlSlice& x) {
    if (x[0] == 0.0 && x[1] == 0.0) return 0.0;
    if ((x[0] == 1.0 && x[1] == 0.0) || (x[0] == 0.0 && x[1] == 1.0)) return 1.0;
    return std::nan("");
  });
  const Search s(f, {0.0, 0.0});
  EXPECT_EQ(s.value, 0.0);
  EXPECT_EQ(values(s.p), (std::vector<double>{0.0, 0.0}));
  EXPECT_EQ(s.iterations, 0);
  // The start, then for each line 3 bracketing points, Brent's middle point and 100 steps.
  EXPECT_EQ(f.calls.size(), 1u + 2u * (3u + 1u + 100u));
}

}  // namespace
