#include "functions/mlLineOnFunction2.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <vector>

#include "containers/utMath.h"
#include "support/counting_functions.h"

namespace {

using namespace paskosda_test;

double plane(double u, double v) { return 2.0 * u + 3.0 * v; }

TEST(mlLineOnFunction2, LimitsAreTheParametersInsideTheWindow) {
  const double M = DBL_MAX;
  struct Case {
    double du, dv, u0, v0;
    std::vector<double> window;  // u_min, u_max, v_min, v_max
    double t_lo, t_hi;
  };
  const Case cases[] = {
      {0, 0, 5, 5, {-1, 2, -1, 2}, -M, M},     // no direction: unbounded
      {-2, 0, 0, 0, {-1, 2, -M, M}, -1, 0.5},  // backwards along u
      {0, 1, 0, 0, {-M, M, -M, M}, -M, M},     // an unbounded window
      {0, -1, 0, 0, {-M, M, 0, M}, -M, 0},     // unbounded above, going down
      {1, -1, 0, 0, {0, 4, -2, 1}, 0, 2},      // u bounds below, v above
      {1, 1, 10, 0, {-1, 2, -1, 2}, -1, -8},   // the line misses: empty
      {1, 0, 0, 7, {-1, 2, -1, 2}, -1, 2},     // v outside, dv 0: not examined
  };
  for (const Case& c : cases) {
    const CountingFunction2 f(plane, nullptr, c.window);
    const mlLineOnFunction2 line(c.du, c.dv, c.u0, c.v0, &f);
    EXPECT_TRUE(line.t_min() == c.t_lo && line.t_max() == c.t_hi) << &c - cases;
  }
}

TEST(mlLineOnFunction2, ClampsThePointIntoTheWindowThatSetWindowAndBecomeReplace) {
  CountingFunction2 f(plane, nullptr, {0.0, 1.0, 0.0, 1.0});
  f.set_max_deriv(1);
  mlLineOnFunction2 line(1.0, 0.0, 0.0, 0.0, &f);
  EXPECT_EQ(line.t_max(), 1.0);
  line.set_window(-1.0, 2.0, -5.0, 5.0);
  EXPECT_EQ(line.t_max(), 2.0);
  EXPECT_EQ(line.function(3.0), plane(2.0, 0.0));
  line.become(0.0, 1.0, 0.5, 0.5, &f);  // direction first; f's window and max_deriv again
  EXPECT_TRUE(line.t_min() == -0.5 && line.t_max() == 0.5 && line.max_deriv() == 1);
  line.function(-10.0);
  EXPECT_EQ(f.calls, (std::vector<Call>{{-1, {}, {2.0, 0.0}}, {-1, {}, {0.5, 0.0}}}));
}

TEST(mlLineOnFunction2, DerivativeIsTheBinomialSumOfPartialDerivatives) {
  // f's mixed derivative of orders (i, j) is a value that identifies the pair.
  const auto d = [](int i, int j, double u, double v) { return 1.0 + i * 0.5 + j * 0.25 + u * v; };
  const CountingFunction2 f(plane, d);
  const double du = 1.5, dv = -0.75, t = 0.5, u = t * du + 0.25, v = t * dv + 2.0;
  const mlLineOnFunction2 line(du, dv, 0.25, 2.0, &f);
  for (int n = -1; n <= 4; ++n) {
    f.calls.clear();
    double expected = 0.0;
    std::vector<Call> calls;
    for (int i = 0; i <= n; ++i) {
      expected += ((utMath::n_choose_i(n, i) * utMath::pow(du, i)) * utMath::pow(dv, n - i)) *
                  d(i, n - i, u, v);
      calls.push_back({n, {i, n - i}, {u, v}});
    }
    EXPECT_EQ(line.function_derivative(n, t), expected) << n;
    EXPECT_EQ(f.calls, calls) << n;
  }
  // Terms whose direction product is exactly 0 (along an axis, or by underflow) are skipped.
  f.calls.clear();
  const mlLineOnFunction2 along_u(2.0, 0.0, 0.0, 1.0, &f), tiny(1e-200, 1e-200, 0.0, 0.0, &f);
  EXPECT_EQ(along_u.function_derivative(2, 0.25), 4.0 * d(2, 0, 0.5, 1.0));
  EXPECT_EQ(tiny.function_derivative(2, 0.0), 0.0);
  EXPECT_EQ(f.calls, (std::vector<Call>{{2, {2, 0}, {0.5, 1.0}}}));
}

}  // namespace
