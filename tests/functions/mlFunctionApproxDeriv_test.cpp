#include "functions/mlFunctionApproxDeriv.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <vector>

#include "support/counting_functions.h"

namespace {

using namespace paskosda_test;

double square(double t) { return t * t; }

TEST(mlFunctionApproxDeriv, DifferencesForwardThenBackwardNearTheUpperEnd) {
  struct Case {
    double lo, hi, t, step;
    double at_hi, at_lo;  // the two abscissae, evaluated in this order
  };
  const Case cases[] = {
      {-DBL_MAX, DBL_MAX, 1.0, 0.5, 1.5, 1.0},       // forward
      {0.0, 1.0, -0.2, 0.5, -0.2 + 0.5, 0.0},        // lower end clamped
      {0.0, 0.3, 0.1, 0.5, (0.1 - 0.5) + 0.5, 0.0},  // both ends clamped
      {0.0, 1.0, 0.75, 0.25, 1.0, 0.75},             // reaching the upper end: forward
      {0.0, 1.0, 1.0, 0.25, 1.0, 0.75},              // at the upper end
  };
  for (const Case& c : cases) {
    const CountingFunction f(square, nullptr, c.lo, c.hi);
    const mlFunctionApproxDeriv d(f, c.step);
    // The divisor is the step, also where clamping shortened the interval.
    EXPECT_EQ(d.function(c.t), (square(c.at_hi) - square(c.at_lo)) / c.step) << c.t;
    EXPECT_EQ(f.calls, (std::vector<Call>{{0, {}, {c.at_hi}}, {0, {}, {c.at_lo}}})) << c.t;
  }
}

TEST(mlFunctionApproxDeriv2, DifferenceInOneParameterHoldingTheOther) {
  const auto g = [](double u, double v) { return u * u * v + 3.0 * v * v; };
  const CountingFunction2 f(g, nullptr, {0.0, 1.0, 10.0, 20.0});
  const mlFunction2ApproxUDeriv du(f, 0.5);
  EXPECT_EQ(du.function(0.9, 12.0), (g(0.9, 12.0) - g(0.4, 12.0)) / 0.5);
  EXPECT_EQ(std::vector<double>({du.u_min(), du.u_max(), du.v_min(), du.v_max()}),
            (std::vector<double>{0, 1, 10, 20}));
  // The v difference's u range is the wrapped v range, deliberately: its first test, which
  // reads u_max, turns backward only near v_max.
  const mlFunction2ApproxVDeriv dv(f, 0.5);
  EXPECT_EQ(dv.function(0.5, 12.0), (g(0.5, 12.5) - g(0.5, 12.0)) / 0.5);
  EXPECT_EQ(dv.function(0.5, 19.75), (g(0.5, 19.75) - g(0.5, 19.25)) / 0.5);
  EXPECT_EQ(std::vector<double>({dv.u_min(), dv.u_max(), dv.v_min(), dv.v_max()}),
            (std::vector<double>{10, 20, 10, 20}));
  // Each evaluates the upper point first.
  EXPECT_EQ(f.calls[0].at, (std::vector<double>{0.9, 12.0}));
  EXPECT_EQ(f.calls[2].at, (std::vector<double>{0.5, 12.5}));
}

}  // namespace
