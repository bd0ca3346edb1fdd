#include "functions/mlFunctionApproxDeriv.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <vector>

#include "support/counting_functions.h"

namespace {

using paskosda_test::Call;
using paskosda_test::CountingFunction;
using paskosda_test::CountingFunction2;

double square(double t) { return t * t; }

TEST(mlFunctionApproxDeriv, DifferencesForwardThenBackwardNearTheUpperEnd) {
  struct Case {
    double lo, hi, t, step;
    double expected_hi, expected_lo;  // the two abscissae, upper first
  };
  const Case cases[] = {
      {-DBL_MAX, DBL_MAX, 1.0, 0.5, 1.5, 1.0},       // forward
      {-DBL_MAX, 1.0, 0.9, 0.5, 0.9, 0.9 - 0.5},     // backward near t_max
      {0.0, 1.0, -0.2, 0.5, -0.2 + 0.5, 0.0},        // lower end clamped
      {0.0, 0.3, 0.1, 0.5, (0.1 - 0.5) + 0.5, 0.0},  // both ends clamped
      {0.0, 1.0, 1.0, 0.25, 1.0, 0.75},              // at the upper end
  };
  for (const Case& c : cases) {
    const CountingFunction f(square, nullptr, c.lo, c.hi);
    const mlFunctionApproxDeriv d(f, c.step);
    const double value = d.function(c.t);
    // The divisor is the step, also where clamping shortened the interval.
    EXPECT_EQ(value, (square(c.expected_hi) - square(c.expected_lo)) / c.step) << c.t;
    const std::vector<Call> expected = {{0, {}, {c.expected_hi}}, {0, {}, {c.expected_lo}}};
    EXPECT_EQ(f.calls, expected) << c.t;
    EXPECT_EQ(d.t_min(), c.lo);
    EXPECT_EQ(d.t_max(), c.hi);
    EXPECT_EQ(d.max_deriv(), 2);
  }

  const CountingFunction f(square);
  EXPECT_EQ(mlFunctionApproxDeriv(f, 0.5).function(1.0), 2.5);
}

TEST(mlFunction2ApproxDeriv, DifferenceInOneParameterHoldingTheOther) {
  const auto g = [](double u, double v) { return u * u * v + 3.0 * v * v; };
  // u in [0, 1], v in [10, 20].
  const CountingFunction2 f(g, nullptr, {0.0, 1.0, 10.0, 20.0});

  const mlFunction2ApproxUDeriv du(f, 0.5);
  EXPECT_EQ(du.function(0.9, 12.0), (g(0.9, 12.0) - g(0.4, 12.0)) / 0.5);
  EXPECT_EQ(du.function(-1.0, 12.0), (g(-0.5, 12.0) - g(0.0, 12.0)) / 0.5);
  const std::vector<Call> u_calls = {{-1, {}, {0.9, 12.0}},
                                     {-1, {}, {0.9 - 0.5, 12.0}},
                                     {-1, {}, {-1.0 + 0.5, 12.0}},
                                     {-1, {}, {0.0, 12.0}}};
  EXPECT_EQ(f.calls, u_calls);
  EXPECT_EQ(du.u_min(), 0.0);
  EXPECT_EQ(du.u_max(), 1.0);
  EXPECT_EQ(du.v_min(), 10.0);
  EXPECT_EQ(du.v_max(), 20.0);

  f.calls.clear();
  const mlFunction2ApproxVDeriv dv(f, 0.5);
  // The v range bounds the difference in v, through u_max reporting v_max.
  EXPECT_EQ(dv.function(0.5, 19.75), (g(0.5, 19.75) - g(0.5, 19.25)) / 0.5);
  EXPECT_EQ(dv.function(0.5, 9.0), (g(0.5, 9.5) - g(0.5, 10.0)) / 0.5);
  const std::vector<Call> v_calls = {
      {-1, {}, {0.5, 19.75}}, {-1, {}, {0.5, 19.25}}, {-1, {}, {0.5, 9.5}}, {-1, {}, {0.5, 10.0}}};
  EXPECT_EQ(f.calls, v_calls);
  // Its u range is the wrapped v range, deliberately.
  EXPECT_EQ(dv.u_min(), 10.0);
  EXPECT_EQ(dv.u_max(), 20.0);
  EXPECT_EQ(dv.v_min(), 10.0);
  EXPECT_EQ(dv.v_max(), 20.0);
}

}  // namespace
