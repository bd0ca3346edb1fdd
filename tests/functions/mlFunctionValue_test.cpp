#include "functions/mlFunctionValue.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <vector>

#include "support/counting_functions.h"

namespace {

using paskosda_test::CountingFunction;

// f(t) = t^3 with its analytic derivatives.
CountingFunction cube() {
  return CountingFunction([](double t) { return t * t * t; },
                          [](int order, double t) { return order == 1 ? 3.0 * t * t : 6.0 * t; });
}

// The derivative orders of f's calls so far (0 the value).
std::vector<int> orders(const CountingFunction& f) {
  std::vector<int> o;
  for (const paskosda_test::Call& c : f.calls)
    o.push_back(c.order);
  return o;
}

TEST(mlFunctionValue, EvaluatesEachLevelOnceAfterTheLevelsBelow) {
  const CountingFunction f = cube();
  mlFunctionValue v(2.0);
  EXPECT_EQ(v.fn2(f), 12.0);
  EXPECT_EQ(v.fn2(f) + v.fn1(f) + v.fn0(f), 12.0 + 12.0 + 8.0);
  // Dropping the derivatives keeps the value; a new point drops everything.
  v.invalidate_derivatives();
  EXPECT_EQ(v.fn2(f), 12.0);
  v = 1.0;
  EXPECT_EQ(v.fn1(f), 3.0);
  EXPECT_EQ(orders(f), (std::vector<int>{0, 1, 2, 1, 2, 0, 1}));
}

TEST(mlFunctionValue, CopiesOnlyTheKnownLevels) {
  const CountingFunction f = cube();
  mlFunctionValue all(2.0);
  mlFunctionValue value_only(3.0);
  all.fn2(f);
  value_only.fn0(f);
  mlFunctionValue target(utCopy, all);
  EXPECT_EQ(target.fn2(f), 12.0);
  // Copying a value without derivatives over it leaves stale derivatives, but unreachable.
  target = value_only;
  EXPECT_EQ(target.parameter(), 3.0);
  EXPECT_EQ(target.fn2(f), 18.0);
  EXPECT_EQ(orders(f), (std::vector<int>{0, 1, 2, 0, 1, 2}));
}

TEST(mlFunctionValue, RecomputesAValueOfMinusDblMaxAndComparesPointsOnly) {
  const CountingFunction f([](double) { return -DBL_MAX; });
  const mlFunctionValue v(2.0);
  EXPECT_EQ(v.fn0(f), -DBL_MAX);
  EXPECT_EQ(v.fn0(f), -DBL_MAX);
  EXPECT_EQ(f.calls.size(), 2u);
  EXPECT_EQ(v == mlFunctionValue(2.0), 1);
  EXPECT_EQ((v < mlFunctionValue(2.5)) + (mlFunctionValue(2.5) < v), 1);
}

}  // namespace
