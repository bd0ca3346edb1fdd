#include "functions/mlFunctionValue.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <type_traits>

#include "support/counting_functions.h"

namespace {

using paskosda_test::CountingFunction;

// f(t) = t^3 with its analytic derivatives.
CountingFunction cube() {
  return CountingFunction([](double t) { return t * t * t; },
                          [](int order, double t) { return order == 1 ? 3.0 * t * t : 6.0 * t; });
}

static_assert(!std::is_copy_constructible<mlFunctionValue>::value, "copies are explicit");

TEST(mlFunctionValue, EvaluatesEachLevelAtMostOnce) {
  const CountingFunction f = cube();
  mlFunctionValue v(2.0);
  EXPECT_EQ(v.fn2(f), 12.0);
  EXPECT_EQ(f.count(0), 1);
  EXPECT_EQ(f.count(1), 1);
  EXPECT_EQ(f.count(2), 1);
  ASSERT_EQ(f.calls.size(), 3u);
  EXPECT_EQ(f.calls[0].order, 0);  // value, first then second derivative
  EXPECT_EQ(f.calls[1].order, 1);
  EXPECT_EQ(f.calls[2].order, 2);

  EXPECT_EQ(v.fn2(f), 12.0);
  EXPECT_EQ(v.fn1(f), 12.0);
  EXPECT_EQ(v.fn0(f), 8.0);
  EXPECT_EQ(f.calls.size(), 3u);

  // Dropping the derivatives keeps the value: only the first derivative is evaluated again.
  v.invalidate_derivatives();
  EXPECT_EQ(v.fn0(f), 8.0);
  EXPECT_EQ(f.calls.size(), 3u);
  EXPECT_EQ(v.fn1(f), 12.0);
  EXPECT_EQ(f.calls.size(), 4u);
  EXPECT_EQ(f.calls[3].order, 1);
  EXPECT_EQ(v.fn2(f), 12.0);
  EXPECT_EQ(f.calls.size(), 5u);

  // A new point drops everything; the first derivative brings the value along.
  v = 1.0;
  EXPECT_EQ(v.parameter(), 1.0);
  EXPECT_EQ(v.fn1(f), 3.0);
  EXPECT_EQ(f.count(0), 2);
  EXPECT_EQ(f.count(1), 3);
  EXPECT_EQ(f.calls.size(), 7u);

  // Dropping derivatives before anything is known changes nothing.
  mlFunctionValue fresh(3.0);
  fresh.invalidate_derivatives();
  EXPECT_EQ(fresh.fn0(f), 27.0);
  EXPECT_EQ(f.calls.size(), 8u);

  fresh.become(-1.0);
  EXPECT_EQ(fresh.fn0(f), -1.0);
  EXPECT_EQ(f.calls.size(), 9u);
}

TEST(mlFunctionValue, CopiesOnlyTheKnownLevels) {
  const CountingFunction f = cube();
  mlFunctionValue all(2.0);
  all.fn2(f);
  mlFunctionValue value_only(3.0);
  value_only.fn0(f);
  f.calls.clear();

  // A fully evaluated copy needs nothing.
  mlFunctionValue target(utCopy, all);
  EXPECT_EQ(target.parameter(), 2.0);
  EXPECT_EQ(target.fn2(f), 12.0);
  EXPECT_TRUE(f.calls.empty());

  // Copying a value without derivatives over it: the stale derivatives are not reachable.
  target = value_only;
  EXPECT_EQ(target.fn0(f), 27.0);
  EXPECT_TRUE(f.calls.empty());
  EXPECT_EQ(target.fn2(f), 18.0);
  EXPECT_EQ(f.calls.size(), 2u);  // first and second derivative at 3

  // Copying a point with nothing known drops the target's levels.
  target.become(utCopy, mlFunctionValue(5.0));
  EXPECT_EQ(target.fn0(f), 125.0);
  EXPECT_EQ(f.calls.size(), 3u);
}

TEST(mlFunctionValue, ComparesParametersOnly) {
  const CountingFunction f = cube();
  const CountingFunction g([](double) { return 42.0; });
  mlFunctionValue a(2.0);
  mlFunctionValue b(2.0);
  a.fn0(f);
  b.fn0(g);
  EXPECT_EQ(a == b, 1);
  EXPECT_EQ(a < b, 0);
  const mlFunctionValue c(2.5);
  EXPECT_EQ(a == c, 0);
  EXPECT_EQ(a < c, 1);
  EXPECT_EQ(c < a, 0);
}

TEST(mlFunctionValue, AValueOfMinusDblMaxIsRecomputedEveryTime) {
  const CountingFunction f([](double) { return -DBL_MAX; });
  const mlFunctionValue v(0.0);
  EXPECT_EQ(v.fn0(f), -DBL_MAX);
  EXPECT_EQ(v.fn0(f), -DBL_MAX);
  EXPECT_EQ(f.count(0), 2);
}

}  // namespace
