#include "roots/mlPolynomial.h"

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>
#include <vector>

#include "linalg/mlRandom.h"

namespace {

TEST(mlPolynomial, ArithmeticEvaluationAndCalculus) {
  const double c[3] = {1, 2, 3};
  double value = 0.0;
  mlPolynomial::evaluate(2, c, 2.0, value);
  EXPECT_EQ(value, 17.0);
  // Horner from the top, bit for bit.
  const double p[5] = {0.3, -1.7, 2.9, 0.11, -4.3};
  const double t = 0.77;
  mlPolynomial::evaluate(4, p, t, value);
  EXPECT_EQ(value, (((p[4] * t + p[3]) * t + p[2]) * t + p[1]) * t + p[0]);
  mlPolynomial::evaluate(-1, p, t, value);  // the zero polynomial
  EXPECT_EQ(value, 0.0);

  double d[4] = {1, 2, 3, 99};
  int degree = 2;
  mlPolynomial::derivative(1, degree, d);
  EXPECT_EQ(degree, 1);
  EXPECT_EQ(std::vector<double>(d, d + 3), (std::vector<double>{2, 6, 0}));
  mlPolynomial::integral(degree, d);
  EXPECT_EQ(degree, 2);
  EXPECT_EQ(std::vector<double>(d, d + 3), (std::vector<double>{0, 2, 3}));
  mlPolynomial::derivative(3, degree, d);  // down past the constant
  EXPECT_EQ(degree, -1);
  EXPECT_EQ(d[0], 0.0);
  mlPolynomial::derivative(0, degree, d);
  EXPECT_EQ(degree, -1);

  // The integral multiplies by the reciprocal: 1/3 first, then the product.
  double q[4] = {0.0, 0.0, 0.7, 0.0};
  degree = 2;
  mlPolynomial::integral(degree, q);
  EXPECT_EQ(q[3], 0.7 * (1.0 / 3));

  const double a[2] = {1, 1}, b[2] = {-1, 1};
  double product[3];
  int dp = 0;
  mlPolynomial::multiply(1, a, 1, b, dp, product);
  EXPECT_EQ(dp, 2);
  EXPECT_EQ(std::vector<double>(product, product + 3), (std::vector<double>{-1, 0, 1}));
  double in_place[4] = {-1, 1, 0, 0};
  int di = 1;
  mlPolynomial work;
  work.multiply(1, a, di, in_place);
  EXPECT_EQ(di, 2);
  EXPECT_EQ(std::vector<double>(in_place, in_place + 3), (std::vector<double>{-1, 0, 1}));

  double sum[3] = {1, 1, 1};
  mlPolynomial::add(2, c, 0, sum);
  mlPolynomial::subtract(1, a, 0, sum);
  mlPolynomial::multiply(0.5, 2, sum);
  EXPECT_EQ(std::vector<double>(sum, sum + 3), (std::vector<double>{0.5, 1, 2}));
  mlPolynomial::copy(2, c, sum);
  mlPolynomial::set_zero(0, sum);
  EXPECT_EQ(std::vector<double>(sum, sum + 3), (std::vector<double>{0, 2, 3}));
}

TEST(mlPolynomial, PrintsFromTheHighestPower) {
  const double c[3] = {1, 2, 3};
  std::ostringstream os;
  mlPolynomial::print(os, 2, c);
  mlPolynomial::print(os, 1, c);
  mlPolynomial::print(os, 0, c);
  EXPECT_EQ(os.str(), "3t^2 + 2t + 1\n2t + 1\n1\n");
}

TEST(mlPolynomial, LagrangeFitReproducesAPolynomialThroughItsNodes) {
  mlRandom random(3);
  mlPolynomial fitter;
  for (int n : {0, 1, 2, 5}) {
    std::vector<double> truth(n + 1), t(n + 1), y(n + 1), c(n + 1);
    for (double& x : truth)
      x = random.uniform(-2, 2);
    for (int i = 0; i <= n; ++i) {
      t[i] = i + random.uniform(-0.3, 0.3);
      mlPolynomial::evaluate(n, truth.data(), t[i], y[i]);
    }
    fitter.fit(t.data(), y.data(), n, c.data());
    for (int i = 0; i <= n; ++i)
      EXPECT_NEAR(c[i], truth[i], 1e-8 * std::pow(10.0, n)) << n;
    for (int i = 0; i <= n; ++i) {
      double at_node = 0.0;
      mlPolynomial::evaluate(n, c.data(), t[i], at_node);
      EXPECT_NEAR(at_node, y[i], 1e-9 * (1.0 + std::fabs(y[i]))) << n << " node " << i;
    }
  }
  // The straight line through (1, 3) and (3, 7), bit for bit: basis 0 is (-3/-2) + (1/-2) t,
  // basis 1 is (-1/2) + (1/2) t.
  const double t[2] = {1, 3}, y[2] = {3, 7};
  double c[2];
  fitter.fit(t, y, 1, c);
  EXPECT_EQ(c[0], (0.0 + (-3.0 / -2.0) * 3.0) + (-1.0 / 2.0) * 7.0);
  EXPECT_EQ(c[1], (0.0 + (1.0 / -2.0) * 3.0) + (1.0 / 2.0) * 7.0);
}

TEST(mlPolynomial, CumulativeDistanceFitDropsRepeats) {
  mlPolynomial fitter;
  const double repeats[3] = {5, 5, 5};
  double c[3] = {9, 9, 9};
  fitter.fit(0.0, 1.0, repeats, 2, c);
  EXPECT_EQ(std::vector<double>(c, c + 3), (std::vector<double>{0, 0, 0}));

  // 0, 1, 3 sit at cumulative distances 0, 1, 3: parameters 0, 1/3, 1.
  const double y[3] = {0, 1, 3};
  fitter.fit(0.0, 1.0, y, 2, c);
  const double params[3] = {0.0, 1.0 * (1.0 / 3.0) + 0.0, 1.0};
  double expected[3];
  fitter.fit(params, y, 2, expected);
  EXPECT_EQ(std::vector<double>(c, c + 3), std::vector<double>(expected, expected + 3));

  // A repeat in the middle lowers the degree; the unused coefficient stays 0.
  const double with_repeat[4] = {2, 2 + 1e-11, 4, 8};
  double d[4] = {9, 9, 9, 9};
  fitter.fit(-1.0, 1.0, with_repeat, 3, d);
  const double kept_params[3] = {-1.0, 2.0 * (2.0 / 6.0) + -1.0, 1.0};
  const double kept[3] = {2, 4, 8};
  double kept_fit[3];
  fitter.fit(kept_params, kept, 2, kept_fit);
  EXPECT_EQ(std::vector<double>(d, d + 4),
            (std::vector<double>{kept_fit[0], kept_fit[1], kept_fit[2], 0.0}));
}

}  // namespace
