#include "optim/mlDownHillSimplex.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "support/classic_problems.h"
#include "support/counting_functions.h"
#include "support/test_support.h"

namespace {

using namespace paskosda_test;

// The call budget is shared by every instance and rewritten by every solve: each test puts it
// back as it found it.
class mlDownHillSimplexTest : public ::testing::Test {
 protected:
  void TearDown() override { mlDownHillSimplex::m_max = saved_budget_; }

 private:
  int saved_budget_ = mlDownHillSimplex::m_max;
};

// The abscissae of the first n calls of a function of one variable.
std::vector<double> first_calls(const CountingFunctionN1& f, std::size_t n) {
  std::vector<double> t;
  for (std::size_t k = 0; k < n && k < f.calls.size(); ++k)
    t.push_back(f.calls[k].at[0]);
  return t;
}

TEST_F(mlDownHillSimplexTest, StopsAfterTheInitialVerticesWhenAllValuesAreEqual) {
  const CountingFunctionN1 f(3, [](const mlSlice&) { return 0.0; });
  mlDownHillSimplex simplex(3);
  EXPECT_EQ(simplex.solve(f, vec({1.0, 2.0, 3.0}), mlDownHillSimplexSlow), 0.0);
  EXPECT_EQ(simplex.number_of_calls(), 4);
  const std::vector<Call> expected = {{0, {}, {1.0 + 0.1, 2.0, 3.0}},
                                      {0, {}, {1.0, 2.0 + 0.1, 3.0}},
                                      {0, {}, {1.0, 2.0, 3.0 + 0.1}},
                                      {0, {}, {1.0, 2.0, 3.0}}};
  EXPECT_EQ(f.calls, expected);
  // Ties for the lowest value go to the last vertex, the start point, which ends as vertex 0.
  mlVector x = vec({9.0, 9.0, 9.0, 9.0, 9.0});
  simplex.result(x);
  EXPECT_EQ(values(x), (std::vector<double>{1.0, 2.0, 3.0}));
}

TEST_F(mlDownHillSimplexTest, ReflectsExpandsAndShrinksCountingEachEvaluation) {
  // From 0: vertices 0.1 and 0; the worst is reflected to 0.2, the best so far, so the
  // expansion to 0.3 follows. The spread sees values only: vertices at 0.9 and 1.1, equal up to
  // rounding, end the search as converged after 10 calls.
  const CountingFunctionN1 f(1, [](const mlSlice& x) { return (x[0] - 1.0) * (x[0] - 1.0); });
  mlDownHillSimplex simplex(1);
  simplex.solve(f, vec({0.0}), mlDownHillSimplexSlow);
  const double sum = 0.1 + 0.2;
  EXPECT_EQ(first_calls(f, 4),
            (std::vector<double>{0.1, 0.0, 2.0 * 0.1 - 3.0 * 0.0, -1.0 * sum - -3.0 * 0.2}));
  EXPECT_EQ(simplex.number_of_calls(), 10);
  EXPECT_EQ(f.calls.size(), 10u);

  // Values 0 at 0.1, 1 at 0; the reflection to 0.2 gives 2 and the contraction to 0.05 gives
  // 1.5, so vertex 0 is moved halfway to 0.1 and evaluated again.
  const CountingFunctionN1 g(1, [](const mlSlice& x) {
    const double t = x[0];
    return t < 0.1 ? 1.0 + 200.0 * t * (0.1 - t) : 200.0 * (t - 0.1) * (t - 0.1);
  });
  simplex.solve(g, vec({0.0}), mlDownHillSimplexSlow);
  EXPECT_EQ(first_calls(g, 5), (std::vector<double>{0.1, 0.0, 0.2, 0.5 * 0.1, 0.5 * 0.1}));
  EXPECT_EQ(simplex.number_of_calls(), static_cast<int>(g.calls.size()));
}

TEST_F(mlDownHillSimplexTest, SpeedSetsTheSharedBudget) {
  // The fastest speed runs out of calls in Rosenbrock's valley; the budget is tested before each
  // pass, so a pass may overrun it by its own calls (at most 2 + n).
  for (int speed = 0; speed < 2; ++speed) {
    const CountingFunctionN1 f(2, rosenbrock);
    mlDownHillSimplex simplex(2);
    simplex.solve(f, vec({-1.2, 1.0}), static_cast<mlDownHillSimplexSpeed>(speed));
    EXPECT_EQ(mlDownHillSimplex::m_max, speed == 0 ? 100 : 600) << speed;
    EXPECT_EQ(simplex.number_of_calls(), static_cast<int>(f.calls.size())) << speed;
    EXPECT_TRUE(speed > 0 || (f.calls.size() >= 100u && f.calls.size() <= 100u + 2u + 2u));
  }
}

TEST_F(mlDownHillSimplexTest, ReachesTheMinimaOfClassicTestFunctions) {
  for (const ClassicProblem& k : classic_problems()) {
    const int n = static_cast<int>(k.start.size());
    mlDownHillSimplex simplex(n);
    const double value =
        simplex.solve(CountingFunctionN1(n, k.f), vec(k.start), mlDownHillSimplexSlowest);
    mlVector x;
    simplex.result(x);
    EXPECT_EQ(value, k.f(x.slice())) << k.name;
    EXPECT_LT(value, 1e-15) << k.name;
    for (int i = 0; i < n; ++i)
      EXPECT_NEAR(x[i], k.minimum[static_cast<std::size_t>(i)], k.point_tolerance) << k.name;
  }
}

// A function of one variable: `at_zero` at 0 and `elsewhere` everywhere else.
CountingFunctionN1 two_levels(double at_zero, double elsewhere) {
  return CountingFunctionN1(1, [=](const mlSlice& x) { return x[0] == 0.0 ? at_zero : elsewhere; });
}

TEST_F(mlDownHillSimplexTest, StopsBelowEachSpeedsRelativeSpread) {
  // From 0, the initial vertices are 0.1 and 0 with values hi and lo: the relative spread
  // 2 (hi - lo) / (lo + hi + 1e-20) is exactly the tolerance for a difference of 2 about
  // 2e10 (1e-10) or 2e5 (1e-5), which goes on, and 9.84375e-11 or 9.84375e-6 for a difference
  // of 1.96875, which stops after the two vertices.
  struct Case {
    mlDownHillSimplexSpeed speed;
    double middle, half_difference;
    bool stops;
  };
  const Case cases[] = {
      {mlDownHillSimplexSlow, 2e10, 1.0, false},
      {mlDownHillSimplexSlow, 2e10, 0.984375, true},
      {mlDownHillSimplexFast, 2e10, 1.0, false},
      {mlDownHillSimplexFast, 2e10, 0.984375, true},
      {mlDownHillSimplexSlowest, 2e10, 1.0, false},
      {mlDownHillSimplexSlowest, 2e10, 0.984375, true},
      {mlDownHillSimplexFastest, 2e5, 1.0, false},
      {mlDownHillSimplexFastest, 2e5, 0.984375, true},
  };
  for (const Case& k : cases) {
    const CountingFunctionN1 f =
        two_levels(k.middle - k.half_difference, k.middle + k.half_difference);
    mlDownHillSimplex simplex(1);
    simplex.solve(f, vec({0.0}), k.speed);
    EXPECT_EQ(simplex.number_of_calls() == 2, k.stops) << k.speed << " " << k.half_difference;
  }
}

TEST_F(mlDownHillSimplexTest, StopsAtValuesOrASpreadBelow1eMinus20) {
  // Worst value 1e-20 at 0.1, best 0: not degenerate yet, and every other point as high as the
  // worst, so the simplex shrinks towards 0 until 0.1 / 2^64 < 1e-20 <= 0.1 / 2^63: 64 passes of
  // reflection, contraction and shrink after the two vertices.
  const CountingFunctionN1 small = two_levels(0.0, 1e-20);
  mlDownHillSimplex simplex(1);
  simplex.solve(small, vec({0.0}), mlDownHillSimplexSlow);
  EXPECT_EQ(simplex.number_of_calls(), 2 + 3 * 64);
  // Below 1e-20 the values alone stop the search.
  const CountingFunctionN1 smaller = two_levels(0.0, 0.5e-20);
  simplex.solve(smaller, vec({0.0}), mlDownHillSimplexSlow);
  EXPECT_EQ(simplex.number_of_calls(), 2);
  // Values of 1e-20 and 1e-20 (1 + 1.2e-10): the spread 2.4e-30 / 3e-20 = 0.8e-10 (the guard
  // counting as much as either value) is below the tolerance.
  const CountingFunctionN1 close = two_levels(1e-20, 1e-20 * (1.0 + 1.2e-10));
  simplex.solve(close, vec({0.0}), mlDownHillSimplexSlow);
  EXPECT_EQ(simplex.number_of_calls(), 2);
}

TEST_F(mlDownHillSimplexTest, SpendsExactlyEachSpeedsBudgetOnAnEndlessSlope) {
  // -x from 1: every pass reflects and expands (2 calls), so the count reaches each budget
  // exactly after the two vertices, and the search stops there.
  const struct {
    mlDownHillSimplexSpeed speed;
    int budget;
  } cases[] = {
      {mlDownHillSimplexFastest, 100}, {mlDownHillSimplexFast, 600}, {mlDownHillSimplexSlow, 2000}};
  for (const auto& k : cases) {
    const CountingFunctionN1 f(1, [](const mlSlice& x) { return -x[0]; });
    mlDownHillSimplex simplex(1);
    simplex.solve(f, vec({1.0}), k.speed);
    EXPECT_EQ(simplex.number_of_calls(), k.budget) << k.speed;
    EXPECT_EQ(mlDownHillSimplex::m_max, k.budget) << k.speed;
  }
  // The slowest speed, and any unnamed one, set a budget of 20000.
  mlDownHillSimplex simplex(1);
  for (const int speed : {3, 4, -1}) {
    simplex.solve(two_levels(0.0, 1.0), vec({0.0}), static_cast<mlDownHillSimplexSpeed>(speed));
    EXPECT_EQ(mlDownHillSimplex::m_max, 20000) << speed;
  }
}

TEST_F(mlDownHillSimplexTest, DecidesTiesOfTheTrialValues) {
  mlDownHillSimplex simplex(1);
  // 0 at 0.1, 1 at 0: the reflection to 0.2 is as high as the worst vertex, which stays; the
  // contraction from it goes to 0.05.
  const CountingFunctionN1 reflect_level(
      1, [](const mlSlice& x) { return x[0] < 0.05 || x[0] >= 0.15 ? 1.0 : 0.0; });
  simplex.solve(reflect_level, vec({0.0}), mlDownHillSimplexSlow);
  EXPECT_EQ(first_calls(reflect_level, 4), (std::vector<double>{0.1, 0.0, 0.2, 0.5 * 0.1}));

  // The reflection to 0.2 is as low as the best vertex: the expansion to 0.3 is tried.
  const CountingFunctionN1 reflect_best(1,
                                        [](const mlSlice& x) { return x[0] < 0.05 ? 1.0 : 0.0; });
  simplex.solve(reflect_best, vec({0.0}), mlDownHillSimplexSlow);
  EXPECT_EQ(first_calls(reflect_best, 4), (std::vector<double>{0.1, 0.0, 0.2, 0.1 + 0.2}));

  // The reflection to 0.2 is higher, and the contraction to 0.05 as high as the worst: the
  // simplex shrinks, evaluating vertex 0 at 0.05 again.
  const CountingFunctionN1 contract_level(1, [](const mlSlice& x) {
    return x[0] == 0.1 ? 0.0 : x[0] == 0.2 ? 2.0 : 1.0;
  });
  simplex.solve(contract_level, vec({0.0}), mlDownHillSimplexSlow);
  EXPECT_EQ(first_calls(contract_level, 5),
            (std::vector<double>{0.1, 0.0, 0.2, 0.5 * 0.1, 0.5 * 0.1}));
}

TEST_F(mlDownHillSimplexTest, StopsWhenBothVerticesAreInfinite) {
  // +inf at both vertices: the spread is NaN and does not stop the search, but the later vertex,
  // the start, is both the best and the worst, so the simplex counts as degenerate.
  const CountingFunctionN1 f(1, [](const mlSlice&) { return HUGE_VAL; });
  mlDownHillSimplex simplex(1);
  EXPECT_EQ(simplex.solve(f, vec({0.0}), mlDownHillSimplexFastest), HUGE_VAL);
  EXPECT_EQ(simplex.number_of_calls(), 2);
}

TEST_F(mlDownHillSimplexTest, DecidesTiesOfTheVertexValuesInTwoDimensions) {
  // Points named by their coordinates; 5 wherever not named.
  const auto table = [](std::vector<std::pair<std::vector<double>, double>> named) {
    return CountingFunctionN1(2, [named](const mlSlice& x) {
      for (const auto& n : named)
        if (x[0] == n.first[0] && x[1] == n.first[1]) return n.second;
      return 5.0;
    });
  };
  mlDownHillSimplex simplex(2);
  // Vertices (0.1, 0) and (0, 0.1) equally worst: the later one is reflected, to (0.1, -0.1).
  const CountingFunctionN1 equal_worst =
      table({{{0.1, 0.0}, 2.0}, {{0.0, 0.1}, 2.0}, {{0.0, 0.0}, 1.0}});
  simplex.solve(equal_worst, vec({0.0, 0.0}), mlDownHillSimplexSlow);
  ASSERT_GE(equal_worst.calls.size(), 4u);
  EXPECT_EQ(equal_worst.calls[3].at, (std::vector<double>{0.1 - 0.0, 0.0 + 0.1 - 2.0 * 0.1}));

  // The reflection of the worst (0.1, 0) to (-0.1, 0.1) is as high as the second worst (0, 0.1):
  // not lower, so the contraction follows, from the reflected point, which did replace the
  // worst.
  const CountingFunctionN1 second_worst =
      table({{{0.1, 0.0}, 3.0}, {{0.0, 0.1}, 2.0}, {{0.0, 0.0}, 1.0}, {{-0.1, 0.1}, 2.0}});
  simplex.solve(second_worst, vec({0.0, 0.0}), mlDownHillSimplexSlow);
  ASSERT_GE(second_worst.calls.size(), 5u);
  EXPECT_EQ(second_worst.calls[3].at, (std::vector<double>{-0.1, 0.1}));
  EXPECT_EQ(second_worst.calls[4].at,
            (std::vector<double>{0.25 * -0.1 - -0.25 * -0.1, 0.25 * 0.2 - -0.25 * 0.1}));
}

}  // namespace
