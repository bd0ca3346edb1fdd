#include "optim/mlDownHillSimplex.h"

#include <gtest/gtest.h>

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

}  // namespace
