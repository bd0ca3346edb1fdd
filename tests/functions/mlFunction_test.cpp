#include "functions/mlFunction.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <vector>

#include "support/counting_functions.h"
#include "support/test_support.h"

namespace {

using paskosda_test::Call;
using paskosda_test::CountingFunctionN1;
using paskosda_test::same_bits;
using paskosda_test::values;
using paskosda_test::vec;

struct OnlyValue : mlFunction {
  double function(double t) const override { return t; }
};

struct OnlyValue2 : mlFunction2 {
  double function(double u, double v) const override { return u + v; }
};

// Overrides only the mixed derivative, encoding the orders it was asked for.
struct MixedOnly : mlFunction2 {
  double function(double, double) const override { return 0.0; }
  double uv_function_derivative(int i, int j, double u, double v) const override {
    return 100.0 * i + 10.0 * j + u * v;
  }
};

struct NoDerivatives : mlFunctionN {
  NoDerivatives() : mlFunctionN(3, 2) {}
  void function(const mlSlice&, mlVector&) const override {}
  void function_gradient(const mlSlice&, mlMatrix&) const override {}
};

TEST(mlFunction, DefaultsAreTheUnboundedDomainAndTheNoDerivativeSentinel) {
  const OnlyValue f;
  EXPECT_EQ(f.max_deriv(), 2);
  EXPECT_EQ(f.t_min(), -1.7976931348623157e308);
  EXPECT_EQ(f.t_max(), 1.7976931348623157e308);
  for (int order : {-1, 0, 1, 2, 7})
    EXPECT_EQ(f.function_derivative(order, 3.5), -666.0);

  const OnlyValue2 g;
  EXPECT_EQ(g.max_deriv(), 2);
  EXPECT_EQ(g.u_min(), -DBL_MAX);
  EXPECT_EQ(g.u_max(), DBL_MAX);
  EXPECT_EQ(g.v_min(), -DBL_MAX);
  EXPECT_EQ(g.v_max(), DBL_MAX);
  EXPECT_EQ(g.u_function_derivative(1, 1.0, 2.0), -666.0);
  EXPECT_EQ(g.v_function_derivative(2, 1.0, 2.0), -666.0);
  EXPECT_EQ(g.uv_function_derivative(1, 1, 1.0, 2.0), -666.0);

  OnlyValue h;
  h.set_max_deriv(-3);
  EXPECT_EQ(h.max_deriv(), -3);

  // The default partial derivative of a vector function leaves the result untouched.
  const NoDerivatives n;
  EXPECT_EQ(n.variables(), 3);
  EXPECT_EQ(n.dimension(), 2);
  mlVector d = vec({4, 5});
  int orders[3] = {1, 0, 0};
  n.function_derivative(vec({1, 2, 3}).slice(), orders, d);
  EXPECT_EQ(values(d), (std::vector<double>{4, 5}));
}

TEST(mlFunction, SingleParameterDerivativesForwardToTheMixedOne) {
  const MixedOnly f;
  EXPECT_EQ(f.u_function_derivative(1, 2.0, 3.0), 106.0);
  EXPECT_EQ(f.u_function_derivative(2, 2.0, 3.0), 206.0);
  EXPECT_EQ(f.v_function_derivative(1, 2.0, 3.0), 16.0);
  EXPECT_EQ(f.v_function_derivative(2, 2.0, 3.0), 26.0);
}

TEST(mlFunction, SumAddsTheOrders) {
  int orders[4] = {1, 0, 2, 1};
  EXPECT_EQ(sum(orders, 4), 4);
  EXPECT_EQ(sum(orders, 2), 1);
  EXPECT_EQ(sum(orders, 0), 0);
  EXPECT_EQ(sum(nullptr, 0), 0);
}

// f(x) = x0^2 + 3 x0 x1, which ignores any further elements of its argument.
double quadratic(const mlSlice& x) { return x[0] * x[0] + 3.0 * x[0] * x[1]; }

TEST(mlFunctionN1, GradientIsACentralDifferenceWithAStoredReciprocal) {
  const CountingFunctionN1 f(2, quadratic);
  const mlVector x = vec({1, 2});
  mlVector g;
  f.gradient(x.slice(), g);

  const double h = 1.19e-7;
  const std::vector<Call> expected_calls = {
      {0, {}, {1 - h, 2}}, {0, {}, {1 + h, 2}}, {0, {}, {1, 2 - h}}, {0, {}, {1, 2 + h}}};
  EXPECT_EQ(f.calls, expected_calls);

  const auto at = [](double a, double b) { return quadratic(vec({a, b}).slice()); };
  const double expected[2] = {(at(1 + h, 2) - at(1 - h, 2)) * 4201680.672268908,
                              (at(1, 2 + h) - at(1, 2 - h)) * 4201680.672268908};
  ASSERT_EQ(g.dimension(), 2);
  EXPECT_TRUE(same_bits(g.data(), expected, 2));
  EXPECT_NEAR(g[0], 8.0, 1e-6);
  EXPECT_NEAR(g[1], 3.0, 1e-6);
}

TEST(mlFunctionN1, GradientWalksTheFunctionsVariablesAtAFullCopyOfTheArgument) {
  // Two variables, a longer argument: two components, the third element passed unchanged.
  const CountingFunctionN1 f(2, quadratic);
  mlVector g = vec({9, 9, 9, 9});
  f.gradient(vec({1, 2, 5}).slice(), g);
  EXPECT_EQ(g.dimension(), 2);
  ASSERT_EQ(f.calls.size(), 4u);
  for (const Call& c : f.calls) {
    ASSERT_EQ(c.at.size(), 3u);
    EXPECT_EQ(c.at[2], 5.0);
  }

  // A gradient vector of the right size is written in place.
  mlVector right = vec({0, 0});
  const double* storage = right.data();
  f.gradient(vec({1, 2}).slice(), right);
  EXPECT_EQ(right.data(), storage);
}

TEST(mlFunctionN1, HessianEvaluatesInTheDocumentedOrder) {
  const auto cubic = [](const mlSlice& x) {
    return x[0] * x[0] * x[1] + 2.0 * x[1] * x[2] * x[2] - x[0] * x[2];
  };
  const CountingFunctionN1 f(3, cubic);
  const std::vector<double> x0 = {0.5, -1.25, 2.0};
  mlMatrix H;
  f.hessian(vec(x0).slice(), H);
  ASSERT_EQ(H.rows(), 3);
  ASSERT_EQ(H.cols(), 3);

  // The points, and the expected matrix from the same differences in the same order.
  const double h = 1e-7;
  std::vector<Call> points;
  const auto eval = [&](std::vector<double> p) {
    points.push_back({0, {}, p});
    return cubic(vec(p).slice());
  };
  double expected[9];
  for (int i = 0; i < 3; ++i) {
    for (int j = i + 1; j < 3; ++j) {
      std::vector<double> p = x0;
      p[j] = x0[j] - h;
      p[i] = x0[i] - h;
      const double fmm = eval(p);
      p[i] = x0[i] + h;
      const double fpm = eval(p);
      p[j] = x0[j] + h;
      p[i] = x0[i] - h;
      const double fmp = eval(p);
      p[i] = x0[i] + h;
      const double fpp = eval(p);
      expected[3 * i + j] = expected[3 * j + i] =
          ((fpp - fmp) * 5000000.0 - (fpm - fmm) * 5000000.0) * 5000000.0;
    }
    std::vector<double> p = x0;
    const double f00 = eval(p);
    p[i] = x0[i] - h;
    const double fm = eval(p);
    p[i] = x0[i] + h;
    const double fp = eval(p);
    expected[4 * i] = ((fp - f00) * 10000000.0 - (f00 - fm) * 10000000.0) * 10000000.0;
  }
  EXPECT_EQ(points.size(), 21u);  // 2n^2 + n
  EXPECT_EQ(f.calls, points);
  EXPECT_TRUE(same_bits(H.data(), expected, 9));
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j)
      EXPECT_TRUE(same_bits(&H(i, j), &H(j, i), 1));
}

TEST(mlFunctionN1, HessianOfTheQuadraticIsCloseToTheAnalyticOne) {
  const CountingFunctionN1 f(2, quadratic);
  mlMatrix H(5, 1);  // reshaped to 2 by 2
  f.hessian(vec({1, 2}).slice(), H);
  ASSERT_EQ(H.rows(), 2);
  ASSERT_EQ(H.cols(), 2);
  // With h = 1e-7 the second differences divide rounding errors of the values (about 1e-15)
  // by h^2 = 1e-14: only a coarse agreement is possible.
  const double analytic[4] = {2, 3, 3, 0};
  for (int k = 0; k < 4; ++k)
    EXPECT_NEAR(H.data()[k], analytic[k], 0.5) << k;
}

}  // namespace
