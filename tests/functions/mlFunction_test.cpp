#include "functions/mlFunction.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <vector>

#include "support/counting_functions.h"
#include "support/test_support.h"

namespace {

using namespace paskosda_test;

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

TEST(mlFunction, DefaultsAreTheUnboundedDomainTheNoDerivativeSentinelAndForwarding) {
  const Line f;
  const Plane g;
  EXPECT_EQ((std::vector<double>{f.t_min(), f.t_max(), f.function_derivative(1, 3.5), g.u_min(),
                                 g.u_max(), g.v_min(), g.v_max(),
                                 g.uv_function_derivative(0, 1, 1.0, 2.0)}),
            (std::vector<double>{-DBL_MAX, DBL_MAX, -666.0, -DBL_MAX, DBL_MAX, -DBL_MAX, DBL_MAX,
                                 -666.0}));
  // The partial derivative of a vector function leaves the result as it was.
  mlVector d = vec({4, 5});
  int orders[1] = {1};
  NoDerivatives().function_derivative(vec({1}).slice(), orders, d);
  EXPECT_EQ(values(d), (std::vector<double>{4, 5}));
  // The single-parameter derivatives of a two-parameter function forward to the mixed one.
  const CountingFunction2 h([](double, double) { return 0.0; });
  h.u_function_derivative(2, 2.0, 3.0);
  h.v_function_derivative(1, 2.0, 3.0);
  EXPECT_EQ(h.calls, (std::vector<Call>{{2, {2, 0}, {2.0, 3.0}}, {1, {0, 1}, {2.0, 3.0}}}));
  // The total order of a derivative: none for a negative count.
  const int three[3] = {1, 0, 2};
  EXPECT_TRUE(sum(three, 3) == 3 && sum(three, -1) == 0);
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

double cubic(const mlSlice& x) {
  return x[0] * x[0] * x[1] + 2.0 * x[1] * x[2] * x[2] - x[0] * x[2];
}

TEST(mlFunctionN1, DifferencesTakeTheDocumentedStepsInTheDocumentedOrder) {
  // At a zero coordinate the shifted point is the step itself, so the steps are seen to the
  // last bit; elsewhere the rounding of x + h hides their last bits.
  for (const std::vector<double>& x0 :
       {std::vector<double>{0.5, -1.25, 2.0}, std::vector<double>{0.0, -0.0, 0.0}}) {
    SCOPED_TRACE(x0[0]);
    // The gradient over two variables of a longer argument: the third element is passed on
    // unchanged.
    const CountingFunctionN1 f2(2, cubic), f3(3, cubic);
    Probe at{cubic, x0, {}};
    mlVector g = vec({9, 9, 9, 9});
    f2.gradient(vec(at.x0).slice(), g);
    const double h = 1.19e-7;
    double expected[9];
    for (int i = 0; i < 2; ++i) {
      const double fm = at(i, -h, i, -h);
      expected[i] = (at(i, h, i, h) - fm) * 4201680.672268908;
    }
    EXPECT_EQ(f2.calls, at.calls);
    ASSERT_EQ(g.dimension(), 2);
    EXPECT_TRUE(same_bits(g.data(), expected, 2));
    if (x0[0] != 0.0) {
      EXPECT_TRUE(std::fabs(g[0] - -3.25) < 1e-6 && std::fabs(g[1] - 8.25) < 1e-6);
    }

    // The Hessian: 2 n^2 + n values.
    at.calls.clear();
    mlMatrix H(5, 1);  // reshaped
    f3.hessian(vec(at.x0).slice(), H);
    const double k = 1e-7, r = 5000000.0, r2 = 10000000.0;
    for (int i = 0; i < 3; ++i) {
      for (int j = i + 1; j < 3; ++j) {
        const double fmm = at(i, -k, j, -k), fpm = at(i, k, j, -k);
        const double fmp = at(i, -k, j, k), fpp = at(i, k, j, k);
        expected[3 * i + j] = expected[3 * j + i] = ((fpp - fmp) * r - (fpm - fmm) * r) * r;
      }
      const double f00 = at(i, 0.0, i, 0.0), fm = at(i, -k, i, -k), fp = at(i, k, i, k);
      expected[4 * i] = ((fp - f00) * r2 - (f00 - fm) * r2) * r2;
    }
    EXPECT_EQ(f3.calls, at.calls);
    ASSERT_TRUE(H.rows() == 3 && H.cols() == 3);
    EXPECT_TRUE(same_bits(H.data(), expected, 9));
  }
}

}  // namespace
