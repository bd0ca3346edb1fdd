#include "roots/mlPolynomial.h"

#include <gtest/gtest.h>

#include <sstream>
#include <vector>

namespace {

using Coefficients = std::vector<double>;

TEST(mlPolynomial, EvaluatesDifferentiatesAndMultipliesInTheStatedOrder) {
  // Horner from the top, bit for bit; the zero polynomial gives 0.
  const double p[5] = {0.3, -1.7, 2.9, 0.11, -4.3}, t = 0.77;
  double value = 0.0;
  mlPolynomial::evaluate(4, p, t, value);
  EXPECT_EQ(value, (((p[4] * t + p[3]) * t + p[2]) * t + p[1]) * t + p[0]);
  mlPolynomial::evaluate(-1, p, t, value);
  EXPECT_EQ(value, 0.0);

  // The integral multiplies by the reciprocal (5 * (1 / 3) is not 5 / 3); differentiating
  // past a constant leaves degree -1 with c[0] = 0.
  Coefficients d = {0.3, 1.1, 5.0, 99};
  int degree = 2;
  mlPolynomial::integral(degree, d.data());
  EXPECT_EQ(d, (Coefficients{0, 0.3 * (1.0 / 1), 1.1 * (1.0 / 2), 5.0 * (1.0 / 3)}));
  mlPolynomial::derivative(1, degree, d.data());
  EXPECT_EQ(d, (Coefficients{0.3 * 1, 1.1 * (1.0 / 2) * 2, 5.0 * (1.0 / 3) * 3, 0}));
  mlPolynomial::derivative(3, degree, d.data());
  EXPECT_EQ(degree, -1);
  EXPECT_EQ(d[0], 0.0);

  // c[i + j] += a[i] * b[j] with the loop over a outside, into new storage and in place.
  const double a[3] = {0.1, 0.7, 1.3}, b[3] = {0.3, -1.7, 2.9};
  Coefficients product(5), in_place = {0.3, -1.7, 2.9, 0, 0};
  mlPolynomial::multiply(2, a, 2, b, degree, product.data());
  EXPECT_EQ(degree, 4);
  EXPECT_EQ(product[2], ((0.0 + a[0] * b[2]) + a[1] * b[1]) + a[2] * b[0]);
  degree = 2;
  mlPolynomial().multiply(2, a, degree, in_place.data());
  EXPECT_EQ(degree, 4);
  EXPECT_EQ(in_place, product);

  Coefficients difference = {1, 1, 1};
  mlPolynomial::subtract(1, a, 0, difference.data());
  EXPECT_EQ(difference, (Coefficients{1 - 0.1, 1 - 0.7, 1}));
}

TEST(mlPolynomial, PrintsFromTheHighestPower) {
  const double c[3] = {1, 2, 3};
  std::ostringstream os;
  for (int degree : {2, 1, 0})
    mlPolynomial::print(os, degree, c);
  EXPECT_EQ(os.str(), "3t^2 + 2t + 1\n2t + 1\n1\n");
}

TEST(mlPolynomial, LagrangeFitReproducesAPolynomialThroughItsNodes) {
  mlPolynomial fitter;
  const double truth[4] = {1, -2, 0.5, 0.25}, nodes[4] = {-1, 0.5, 1.5, 3};
  double values[4], fitted[4];
  for (int i = 0; i < 4; ++i)
    mlPolynomial::evaluate(3, truth, nodes[i], values[i]);
  fitter.fit(nodes, values, 3, fitted);
  for (int i = 0; i < 4; ++i)
    EXPECT_NEAR(fitted[i], truth[i], 1e-12) << i;
  // The line through (1, 3) and (3, 7), bit for bit: basis 0 is (-3/-2) + (1/-2) t, basis 1
  // is (-1/2) + (1/2) t.
  const double t[2] = {1, 3}, y[2] = {3, 7};
  double c[2];
  fitter.fit(t, y, 1, c);
  EXPECT_EQ(c[0], (0.0 + (-3.0 / -2.0) * 3.0) + (-1.0 / 2.0) * 7.0);
  EXPECT_EQ(c[1], (0.0 + (1.0 / -2.0) * 3.0) + (1.0 / 2.0) * 7.0);
}

TEST(mlPolynomial, CumulativeDistanceFitPlacesValuesByTheirDistances) {
  // 8, 4, 2 (the repeat of 8 dropped) sit at cumulative distances 0, 4 and 6: over [0, 1] at
  // the parameters 0, 4 / 6 and 1. The unused coefficient is zeroed.
  const double y[4] = {8, 8, 4, 2}, kept[3] = {8, 4, 2};
  const double params[3] = {0.0, 4.0 * (1.0 / 6.0) + 0.0, 1.0};
  Coefficients c(4, 9.0), expected(4, 0.0);
  mlPolynomial fitter;
  fitter.fit(0.0, 1.0, y, 3, c.data());
  fitter.fit(params, kept, 2, expected.data());
  EXPECT_EQ(c, expected);
  // A single distinct value gives the zero polynomial, not the constant.
  const double repeats[3] = {5, 5 + 1e-11, 5};
  fitter.fit(0.0, 1.0, repeats, 2, c.data());
  EXPECT_EQ(c, (Coefficients{0, 0, 0, 0}));
}

}  // namespace
