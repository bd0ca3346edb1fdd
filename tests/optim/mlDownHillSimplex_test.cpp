#include "optim/mlDownHillSimplex.h"

#include <gtest/gtest.h>

#include <vector>

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

// The call budget is shared by every instance and rewritten by every solve: each test that
// solves puts it back as it found it.
class DownHillSimplex : public ::testing::Test {
 protected:
  void TearDown() override { mlDownHillSimplex::m_max = saved_budget_; }

 private:
  int saved_budget_ = mlDownHillSimplex::m_max;
};

double sum_of_squares(const mlSlice& x) {
  double s = 0.0;
  for (int i = 0; i < x.dimension(); ++i)
    s += x[i] * x[i];
  return s;
}

TEST_F(DownHillSimplex, StopsAfterTheInitialVerticesWhenAllValuesAreEqual) {
  const CountingFunctionN1 f(3, [](const mlSlice&) { return 0.0; });
  mlDownHillSimplex simplex(3);
  EXPECT_EQ(simplex.solve(f, vec({1.0, 2.0, 3.0}), mlDownHillSimplexSlow), 0.0);
  EXPECT_EQ(simplex.number_of_calls(), 4);
  const std::vector<Call> expected = {{0, {}, {1.0 + 0.1, 2.0, 3.0}},
                                      {0, {}, {1.0, 2.0 + 0.1, 3.0}},
                                      {0, {}, {1.0, 2.0, 3.0 + 0.1}},
                                      {0, {}, {1.0, 2.0, 3.0}}};
  EXPECT_EQ(f.calls, expected);
  // Ties for the lowest value go to the last vertex, the start point itself, which ends as
  // vertex 0.
  mlVector x = vec({9.0, 9.0, 9.0, 9.0, 9.0});
  simplex.result(x);
  EXPECT_EQ(values(x), (std::vector<double>{1.0, 2.0, 3.0}));
}

TEST_F(DownHillSimplex, KeepsAStartPointThatIsAlreadyTheMinimum) {
  const CountingFunctionN1 f(2, sum_of_squares);
  mlDownHillSimplex simplex(2);
  EXPECT_EQ(simplex.solve(f, vec({0.0, 0.0}), mlDownHillSimplexSlow), 0.0);
  mlVector x;
  simplex.result(x);
  EXPECT_EQ(values(x), (std::vector<double>{0.0, 0.0}));
  EXPECT_EQ(simplex.number_of_calls(), static_cast<int>(f.calls.size()));
}

TEST_F(DownHillSimplex, ReflectsExpandsAndCountsEachEvaluation) {
  // From 0 in one dimension: vertices 0.1 and 0; the worst (0) is reflected to 0.2, which is
  // the best so far, so the expansion to 0.3 follows; 2 calls for the pass.
  const CountingFunctionN1 f(1, [](const mlSlice& x) { return (x[0] - 1.0) * (x[0] - 1.0); });
  mlDownHillSimplex simplex(1);
  simplex.solve(f, vec({0.0}), mlDownHillSimplexSlow);
  const double sum = 0.1 + 0.2;
  const std::vector<Call> first = {{0, {}, {0.1}},
                                   {0, {}, {0.0}},
                                   {0, {}, {2.0 * 0.1 - 3.0 * 0.0}},
                                   {0, {}, {-1.0 * sum - -3.0 * 0.2}}};
  ASSERT_GT(f.calls.size(), first.size());
  EXPECT_EQ(std::vector<Call>(f.calls.begin(), f.calls.begin() + 4), first);
  EXPECT_EQ(simplex.number_of_calls(), static_cast<int>(f.calls.size()));
  // The spread sees values only: vertices at 0.9 and 1.1, equal up to rounding, end the
  // search as converged.
  EXPECT_EQ(simplex.number_of_calls(), 10);
  mlVector x;
  simplex.result(x);
  EXPECT_NEAR(x[0], 0.9, 1e-12);

  const CountingFunctionN1 g(1, [](const mlSlice& x) { return (x[0] - 0.77) * (x[0] - 0.77); });
  simplex.solve(g, vec({0.0}), mlDownHillSimplexSlow);
  simplex.result(x);
  EXPECT_NEAR(x[0], 0.77, 1e-9);
  EXPECT_EQ(simplex.number_of_calls(), static_cast<int>(g.calls.size()));
}

TEST_F(DownHillSimplex, ShrinksTowardsTheBestVertexWhenContractionFails) {
  // Values 0 at 0.1, 1 at 0; the reflection to 0.2 gives 2 and the contraction to 0.05 gives
  // 1.5, so vertex 0 is moved halfway to 0.1 and evaluated again: 2 + 1 calls for the pass.
  const CountingFunctionN1 f(1, [](const mlSlice& x) {
    const double t = x[0];
    return t < 0.1 ? 1.0 + 200.0 * t * (0.1 - t) : 200.0 * (t - 0.1) * (t - 0.1);
  });
  mlDownHillSimplex simplex(1);
  simplex.solve(f, vec({0.0}), mlDownHillSimplexSlow);
  const std::vector<Call> first = {
      {0, {}, {0.1}}, {0, {}, {0.0}}, {0, {}, {0.2}}, {0, {}, {0.5 * 0.1}}, {0, {}, {0.5 * 0.1}}};
  ASSERT_GT(f.calls.size(), first.size());
  EXPECT_EQ(std::vector<Call>(f.calls.begin(), f.calls.begin() + 5), first);
  EXPECT_EQ(simplex.number_of_calls(), static_cast<int>(f.calls.size()));
}

TEST_F(DownHillSimplex, SpeedSetsTheSharedBudgetAndTheTolerance) {
  struct Case {
    int speed;
    int budget;
  };
  const std::vector<Case> cases = {{0, 100}, {1, 600}, {2, 2000}, {3, 20000}, {7, 20000}};
  for (const Case& k : cases) {
    SCOPED_TRACE(k.speed);
    const CountingFunctionN1 f(2, rosenbrock);
    mlDownHillSimplex simplex(2);
    simplex.solve(f, vec({-1.2, 1.0}), static_cast<mlDownHillSimplexSpeed>(k.speed));
    EXPECT_EQ(mlDownHillSimplex::m_max, k.budget);
    EXPECT_EQ(simplex.number_of_calls(), static_cast<int>(f.calls.size()));
  }
  // The fastest speed runs out of calls on Rosenbrock's valley; the budget is tested before
  // each pass, so a pass may overrun it by its own calls (at most 2 + n).
  const CountingFunctionN1 f(2, rosenbrock);
  mlDownHillSimplex simplex(2);
  simplex.solve(f, vec({-1.2, 1.0}), mlDownHillSimplexFastest);
  EXPECT_GE(simplex.number_of_calls(), 100);
  EXPECT_LE(simplex.number_of_calls(), 100 + 2 + 2);

  // A budget of 0 set from outside is overwritten by the next solve.
  mlDownHillSimplex::m_max = 0;
  simplex.solve(f, vec({-1.2, 1.0}), mlDownHillSimplexFast);
  EXPECT_EQ(mlDownHillSimplex::m_max, 600);
}

TEST_F(DownHillSimplex, ReachesTheMinimaOfClassicTestFunctions) {
  for (const ClassicProblem& k : classic_problems()) {
    SCOPED_TRACE(k.name);
    const int n = static_cast<int>(k.start.size());
    const CountingFunctionN1 f(n, k.f);
    mlDownHillSimplex simplex(n);
    const double value = simplex.solve(f, vec(k.start), mlDownHillSimplexSlowest);
    mlVector x;
    simplex.result(x);
    EXPECT_EQ(value, k.f(x.slice()));
    EXPECT_LT(value, 1e-15);
    EXPECT_EQ(simplex.number_of_calls(), static_cast<int>(f.calls.size()));
    for (int i = 0; i < n; ++i)
      EXPECT_NEAR(x[i], k.minimum[static_cast<std::size_t>(i)], k.point_tolerance);
  }
}

}  // namespace
