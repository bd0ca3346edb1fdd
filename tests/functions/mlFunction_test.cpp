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
using paskosda_test::vec;

struct Line : mlFunction {
  double function(double t) const override { return t; }
};

struct Plane : mlFunction2 {
  double function(double u, double v) const override { return u + v; }
};

struct NoDerivatives : mlFunctionN {
  NoDerivatives() : mlFunctionN(1, 2) {}
  void function(const mlSlice&, mlVector&) const override {}
  void function_gradient(const mlSlice&, mlMatrix&) const override {}
};

TEST(mlFunction, DefaultsAreTheUnboundedDomainAndTheNoDerivativeSentinel) {
  const Line f;
  EXPECT_EQ(f.t_min(), -1.7976931348623157e308);
  EXPECT_EQ(f.t_max(), 1.7976931348623157e308);
  EXPECT_EQ(f.function_derivative(1, 3.5), -666.0);
  const Plane g;
  EXPECT_EQ(std::vector<double>({g.u_min(), g.u_max(), g.v_min(), g.v_max()}),
            (std::vector<double>{-DBL_MAX, DBL_MAX, -DBL_MAX, DBL_MAX}));
  EXPECT_EQ(g.uv_function_derivative(0, 1, 1.0, 2.0), -666.0);
  // The partial derivative of a vector function leaves the result as it was.
  mlVector d = vec({4, 5});
  int orders[1] = {1};
  NoDerivatives().function_derivative(vec({1}).slice(), orders, d);
  EXPECT_EQ(paskosda_test::values(d), (std::vector<double>{4, 5}));
}

TEST(mlFunction, SumAddsTheOrders) {
  const int orders[3] = {1, 0, 2};
  EXPECT_EQ(sum(orders, 3), 3);
  EXPECT_EQ(sum(orders, -1), 0);
}

TEST(mlFunction, SingleParameterDerivativesForwardToTheMixedOne) {
  const paskosda_test::CountingFunction2 f(
      [](double, double) { return 0.0; },
      [](int i, int j, double u, double v) { return 100.0 * i + 10.0 * j + u * v; });
  EXPECT_EQ(f.u_function_derivative(2, 2.0, 3.0), 206.0);
  EXPECT_EQ(f.v_function_derivative(1, 2.0, 3.0), 16.0);
}

// The value at x0 with x_i moved by di and then x_j by dj; the point is recorded as the
// function should be called at it.
struct Probe {
  double (*f)(const mlSlice&);
  std::vector<double> x0;
  std::vector<Call> calls;
  double operator()(int i, double di, int j, double dj) {
    std::vector<double> p = x0;
    p[i] = x0[i] + di;
    p[j] = x0[j] + dj;
    calls.push_back({0, {}, p});
    return f(vec(p).slice());
  }
};

// x0^2 + 3 x0 x1, which ignores any further elements of its argument.
double quadratic(const mlSlice& x) { return x[0] * x[0] + 3.0 * x[0] * x[1]; }

double cubic(const mlSlice& x) {
  return x[0] * x[0] * x[1] + 2.0 * x[1] * x[2] * x[2] - x[0] * x[2];
}

TEST(mlFunctionN1, GradientIsACentralDifferenceOverTheFunctionsVariables) {
  // Two variables and a longer argument: the third element is passed on unchanged.
  const CountingFunctionN1 f(2, quadratic);
  Probe at{quadratic, {1, 2, 5}, {}};
  mlVector g = vec({9, 9, 9, 9});
  f.gradient(vec(at.x0).slice(), g);
  const double h = 1.19e-7;
  double expected[2];
  for (int i = 0; i < 2; ++i) {
    const double fm = at(i, -h, i, -h);
    expected[i] = (at(i, h, i, h) - fm) * 4201680.672268908;
  }
  EXPECT_EQ(f.calls, at.calls);
  ASSERT_EQ(g.dimension(), 2);
  EXPECT_TRUE(same_bits(g.data(), expected, 2));
  EXPECT_NEAR(g[0], 8.0, 1e-6);
  EXPECT_NEAR(g[1], 3.0, 1e-6);
}

TEST(mlFunctionN1, HessianTakesSecondDifferencesInTheDocumentedOrder) {
  const CountingFunctionN1 f(3, cubic);
  Probe at{cubic, {0.5, -1.25, 2.0}, {}};
  mlMatrix H(5, 1);  // reshaped
  f.hessian(vec(at.x0).slice(), H);
  const double h = 1e-7, r = 5000000.0, r2 = 10000000.0;
  double expected[9];
  for (int i = 0; i < 3; ++i) {
    for (int j = i + 1; j < 3; ++j) {
      const double fmm = at(i, -h, j, -h), fpm = at(i, h, j, -h);
      const double fmp = at(i, -h, j, h), fpp = at(i, h, j, h);
      expected[3 * i + j] = expected[3 * j + i] = ((fpp - fmp) * r - (fpm - fmm) * r) * r;
    }
    const double f00 = at(i, 0.0, i, 0.0), fm = at(i, -h, i, -h), fp = at(i, h, i, h);
    expected[4 * i] = ((fp - f00) * r2 - (f00 - fm) * r2) * r2;
  }
  EXPECT_EQ(f.calls, at.calls);  // 2n^2 + n of them
  ASSERT_TRUE(H.rows() == 3 && H.cols() == 3);
  EXPECT_TRUE(same_bits(H.data(), expected, 9));
  // h^2 = 1e-14 magnifies the rounding of the values: only a coarse agreement is possible.
  const double analytic[9] = {-2.5, 1, -1, 1, 0, 8, -1, 8, -5};
  for (int k = 0; k < 9; ++k)
    EXPECT_NEAR(H.data()[k], analytic[k], 1.0) << k;
}

}  // namespace
