#include "roots/mlNewtonRaphson.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>

#include "support/test_support.h"

namespace {

using paskosda_test::vec;

// A square system given by lambdas for the values and the Jacobian, counting evaluations.
class System : public mlFunctionN {
 public:
  using Values = std::function<void(const mlSlice&, mlVector&)>;
  using Jacobian = std::function<void(const mlSlice&, mlMatrix&)>;
  System(int n, Values values, Jacobian jacobian)
      : mlFunctionN(n, n), values_(std::move(values)), jacobian_(std::move(jacobian)) {}
  void function(const mlSlice& x, mlVector& f) const override {
    ++evaluations;
    f.become(mlVectorDim, dimension());
    values_(x, f);
  }
  void function_gradient(const mlSlice& x, mlMatrix& j) const override {
    j.become(dimension(), dimension());
    jacobian_(x, j);
  }
  mutable int evaluations = 0;

 private:
  Values values_;
  Jacobian jacobian_;
};

TEST(mlNewtonRaphson, SolvesANonlinearSystem) {
  // The unit circle meets the line y = x at (1/sqrt 2, 1/sqrt 2).
  const System circle_and_line(
      2,
      [](const mlSlice& x, mlVector& f) {
        f[0] = x[0] * x[0] + x[1] * x[1] - 1.0;
        f[1] = x[0] - x[1];
      },
      [](const mlSlice& x, mlMatrix& j) {
        j(0, 0) = 2 * x[0];
        j(0, 1) = 2 * x[1];
        j(1, 0) = 1;
        j(1, 1) = -1;
      });
  mlNewtonRaphson newton(mlNRDimension, 2);
  mlVector x = vec({1.0, 0.5});
  int ok = 0;
  newton.solve(circle_and_line, x, 1e-12, ok);
  EXPECT_EQ(ok, 1);
  EXPECT_EQ(newton.status(), mlNRConverged);
  EXPECT_NEAR(x[0], std::sqrt(0.5), 1e-12);
  EXPECT_NEAR(x[1], std::sqrt(0.5), 1e-12);
  EXPECT_LT(newton.iteration(), 10);
}

TEST(mlNewtonRaphson, ReportsWhyItStopped) {
  mlNewtonRaphson newton(mlNRDimension, 1);
  int ok = 0;

  // A linear equation lands on its root in one step: the 1e-14 floor ends the loop before
  // the iteration is counted.
  const System linear(
      1, [](const mlSlice& x, mlVector& f) { f[0] = 2 * x[0] - 4; },
      [](const mlSlice&, mlMatrix& j) { j(0, 0) = 2; });
  mlVector x = vec({10});
  newton.solve(linear, x, 0.0, ok);  // tol 0 is raised to 1e-14
  EXPECT_EQ(ok, 1);
  EXPECT_EQ(x[0], 2.0);
  EXPECT_EQ(newton.iteration(), 0);
  EXPECT_EQ(linear.evaluations, 2);

  // Already a root: no Jacobian at all.
  linear.evaluations = 0;
  newton.solve(linear, x, 1e-10, ok);
  EXPECT_EQ(ok, 1);
  EXPECT_EQ(linear.evaluations, 1);

  // A flat start has a singular Jacobian; x stays where it was.
  const System parabola(
      1, [](const mlSlice& x, mlVector& f) { f[0] = x[0] * x[0] + 1.0; },
      [](const mlSlice& x, mlMatrix& j) { j(0, 0) = 2 * x[0]; });
  x = vec({0.0});
  newton.solve(parabola, x, 1e-10, ok);
  EXPECT_EQ(ok, 0);
  EXPECT_EQ(newton.status(), mlNRSingular);
  EXPECT_EQ(x[0], 0.0);

  // No root at all: x^2 + 1 only gets worse or wanders; x keeps the best point seen.
  x = vec({0.5});
  newton.solve(parabola, x, 1e-10, ok);
  EXPECT_EQ(ok, 0);
  EXPECT_TRUE(newton.status() == mlNRStalled || newton.status() == mlNRIterationLimit);
  EXPECT_LE(x[0] * x[0] + 1.0, 0.5 * 0.5 + 1.0);

  // Slow (linear) convergence to a triple root runs into the iteration limit.
  const System cube(
      1, [](const mlSlice& x, mlVector& f) { f[0] = x[0] * x[0] * x[0]; },
      [](const mlSlice& x, mlMatrix& j) { j(0, 0) = 3 * x[0] * x[0]; });
  x = vec({1.0});
  newton.set_max_iterations(5);
  newton.solve(cube, x, 1e-30, ok);
  EXPECT_EQ(ok, 0);
  EXPECT_EQ(newton.status(), mlNRIterationLimit);
  EXPECT_EQ(newton.iteration(), 5);
  EXPECT_DOUBLE_EQ(x[0], std::pow(2.0 / 3.0, 5));
}

}  // namespace
