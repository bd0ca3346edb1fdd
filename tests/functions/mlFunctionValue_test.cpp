#include "functions/mlFunctionValue.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <vector>

#include "support/counting_functions.h"

namespace {

using namespace paskosda_test;

// The derivative orders of f's calls so far (0 the value).
std::vector<int> orders(const CountingFunction& f) {
  std::vector<int> o;
  for (const Call& c : f.calls)
    o.push_back(c.order);
  return o;
}

TEST(mlFunctionValue, EvaluatesEachLevelOnceAfterTheLevelsBelowAndCopiesOnlyTheKnownOnes) {
  // t^3 with its analytic derivatives.
  const CountingFunction f([](double t) { return t * t * t; },
                           [](int order, double t) { return order == 1 ? 3.0 * t * t : 6.0 * t; });
  mlFunctionValue v(2.0);
  EXPECT_EQ(v.fn2(f), 12.0);
  EXPECT_EQ(v.fn2(f) + v.fn1(f) + v.fn0(f), 12.0 + 12.0 + 8.0);
  // Dropping the derivatives keeps the value; a new point drops everything.
  v.invalidate_derivatives();
  EXPECT_EQ(v.fn2(f), 12.0);
  v = 1.0;
  EXPECT_EQ(v.fn1(f), 3.0);
  EXPECT_EQ(orders(f), (std::vector<int>{0, 1, 2, 1, 2, 0, 1}));

  // The copy of v knows its value and first derivative. Copying a value without derivatives
  // over it leaves a stale derivative behind, but unreachable.
  f.calls.clear();
  mlFunctionValue copy(utCopy, v), value_only(3.0);
  value_only.fn0(f);
  EXPECT_EQ(copy.fn2(f), 6.0);
  copy = value_only;
  EXPECT_TRUE(copy.parameter() == 3.0 && copy.fn2(f) == 18.0);
  EXPECT_EQ(orders(f), (std::vector<int>{0, 2, 1, 2}));
}

TEST(mlFunctionValue, RecomputesAValueOfMinusDblMaxAndComparesPointsOnly) {
  const CountingFunction f([](double) { return -DBL_MAX; });
  const mlFunctionValue v(2.0);
  EXPECT_TRUE(v.fn0(f) == -DBL_MAX && v.fn0(f) == -DBL_MAX && f.calls.size() == 2u);
  EXPECT_TRUE(v == mlFunctionValue(2.0) && v < mlFunctionValue(2.5) && !(mlFunctionValue(2.5) < v));
}

}  // namespace
