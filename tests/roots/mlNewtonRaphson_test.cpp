#include "roots/mlNewtonRaphson.h"

#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>
#include <vector>

#include "support/counting_functions.h"
#include "support/test_support.h"

namespace {

using paskosda_test::Call;
using paskosda_test::CountingFunctionN;
using paskosda_test::vec;

// The equation value(x) = 0 in one unknown, with its derivative.
CountingFunctionN equation(double (*value)(double), double (*slope)(double)) {
  return CountingFunctionN(
      1, 1, [value](const mlSlice& x, mlVector& f) { f[0] = value(x[0]); },
      [slope](const mlSlice& x, const std::vector<int>&, mlVector& d) { d[0] = slope(x[0]); });
}

TEST(mlNewtonRaphson, SolvesANonlinearSystem) {
  // The unit circle meets the line y = x at (1/sqrt 2, 1/sqrt 2).
  const CountingFunctionN circle_and_line(
      2, 2,
      [](const mlSlice& x, mlVector& f) {
        f[0] = x[0] * x[0] + x[1] * x[1] - 1.0;
        f[1] = x[0] - x[1];
      },
      [](const mlSlice& x, const std::vector<int>& orders, mlVector& d) {
        d[0] = 2 * (orders[0] == 1 ? x[0] : x[1]);
        d[1] = orders[0] == 1 ? 1 : -1;
      });
  mlNewtonRaphson newton(mlNRDimension, 2);
  mlVector x = vec({1.0, 0.5});
  int ok = 0;
  newton.solve(circle_and_line, x, 1e-12, ok);
  EXPECT_EQ(ok, 1);
  EXPECT_NEAR(x[0], std::sqrt(0.5), 1e-12);
  EXPECT_NEAR(x[1], std::sqrt(0.5), 1e-12);
}

// The caller's function may throw: the exception reaches the caller.
TEST(mlNewtonRaphson, ExceptionsOfTheFunctionReachTheCaller) {
  struct Throws : mlFunctionN {
    Throws() : mlFunctionN(1, 1) {}
    void function(const mlSlice&, mlVector&) const override { throw std::runtime_error("F"); }
    void function_gradient(const mlSlice&, mlMatrix&) const override {}
  };
  mlNewtonRaphson newton(mlNRDimension, 1);
  mlVector x = vec({0.5});
  int ok = 0;
  EXPECT_THROW(newton.solve(Throws(), x, 1e-12, ok), std::runtime_error);
}

TEST(mlNewtonRaphson, ReportsWhyItStopped) {
  mlNewtonRaphson newton(mlNRDimension, 1);
  int ok = 0;

  // A linear equation lands on its root in one step: the 1e-14 floor ends the loop before
  // the iteration is counted. Already at a root, no Jacobian is formed at all.
  const CountingFunctionN linear =
      equation([](double t) { return 2 * t - 4; }, [](double) { return 2.0; });
  mlVector x = vec({10});
  newton.solve(linear, x, 0.0, ok);  // tol 0 is raised to 1e-14
  EXPECT_TRUE(ok == 1 && x[0] == 2.0 && newton.iteration() == 0);
  EXPECT_EQ(linear.calls, (std::vector<Call>{{0, {}, {10}}, {-1, {}, {10}}, {0, {}, {2}}}));
  newton.solve(linear, x, 1e-10, ok);
  EXPECT_TRUE(ok == 1 && linear.calls.size() == 4u);

  // A flat start has a singular Jacobian; x stays where it was.
  const CountingFunctionN parabola =
      equation([](double t) { return t * t + 1.0; }, [](double t) { return 2 * t; });
  x = vec({0.0});
  newton.solve(parabola, x, 1e-10, ok);
  EXPECT_TRUE(ok == 0 && newton.status() == mlNRSingular && x[0] == 0.0);

  // No root at all: x^2 + 1 wanders until progress stalls; x keeps the best point seen.
  x = vec({0.5});
  newton.solve(parabola, x, 1e-10, ok);
  EXPECT_TRUE(ok == 0 && newton.status() == mlNRStalled && x[0] * x[0] + 1.0 < 0.5 * 0.5 + 1.0);

  // The fifth step in a row without 0.1 % of progress gives up: here after iteration 10.
  EXPECT_EQ(newton.iteration(), 10);

  // Slow (linear) convergence to a triple root runs into the iteration limit.
  const CountingFunctionN cube =
      equation([](double t) { return t * t * t; }, [](double t) { return 3 * t * t; });
  x = vec({1.0});
  newton.set_max_iterations(5);
  newton.solve(cube, x, 1e-30, ok);
  EXPECT_TRUE(ok == 0 && newton.status() == mlNRIterationLimit && newton.iteration() == 5);
  EXPECT_DOUBLE_EQ(x[0], std::pow(2.0 / 3.0, 5));
}

TEST(mlNewtonRaphson, StopsAtTwentyIterationsAndAtTheFloorOf1e14) {
  // t^2 from 1 halves x exactly at every step: after the default 20 iterations the residual
  // 2^-40 is still above the floor.
  const CountingFunctionN square =
      equation([](double t) { return t * t; }, [](double t) { return 2 * t; });
  mlNewtonRaphson newton(mlNRDimension, 1);
  mlVector x = vec({1.0});
  int ok = 0;
  newton.solve(square, x, 0.0, ok);
  EXPECT_TRUE(ok == 0 && newton.status() == mlNRIterationLimit && newton.iteration() == 20 &&
              x[0] == std::ldexp(1.0, -20))
      << x[0];
  // A tolerance of exactly that residual is met.
  x = vec({1.0});
  newton.solve(square, x, std::ldexp(1.0, -40), ok);
  EXPECT_TRUE(ok == 1 && newton.status() == mlNRConverged);
  // A residual of exactly 1e-14 is a root under tol 0 without a step; the double above it
  // takes one (value, Jacobian, value).
  for (const double start : {1e-14, std::nextafter(1e-14, 1.0)}) {
    const CountingFunctionN line = equation([](double t) { return t; }, [](double) { return 1.0; });
    x = vec({start});
    newton.solve(line, x, 0.0, ok);
    EXPECT_TRUE(ok == 1 && line.calls.size() == (start == 1e-14 ? 1u : 3u)) << start;
  }
}

}  // namespace
