#include "roots/mlTinyVectorPolynomial.h"

#include <gtest/gtest.h>

#include <sstream>
#include <vector>

namespace {

TEST(mlTinyVectorPolynomial, EvaluatesAndMultipliesCurves) {
  const mlTinyVector2 line[2] = {mlTinyVector2(0, 0), mlTinyVector2(1, 2)};
  mlTinyVector2 at;
  mlTinyVector2Polynomial::evaluate(1, line, 3.0, at);
  EXPECT_EQ(at == mlTinyVector2(3, 6), 1);

  const mlTinyVector2 unit[2] = {mlTinyVector2(1, 0), mlTinyVector2(0, 1)};
  double dot[3];
  int degree = 0;
  mlTinyVector2Polynomial::scalar_product(1, unit, 1, unit, degree, dot);
  EXPECT_EQ(degree, 2);
  EXPECT_EQ(std::vector<double>(dot, dot + 3), (std::vector<double>{1, 0, 1}));

  // (1 + t) times the curve (1, 2) + (3, 4) t.
  const double scalar[2] = {1, 1};
  const mlTinyVector2 curve[2] = {mlTinyVector2(1, 2), mlTinyVector2(3, 4)};
  mlTinyVector2 product[3];
  mlTinyVector2Polynomial::multiply(1, scalar, 1, curve, degree, product);
  EXPECT_EQ(degree, 2);
  EXPECT_EQ(product[1] == mlTinyVector2(4, 6), 1);
  mlTinyVector2 in_place[3] = {curve[0], curve[1], mlTinyVector2(9, 9)};
  int dc = 1;
  mlTinyVector2Polynomial work;
  work.multiply(1, scalar, dc, in_place);
  EXPECT_EQ(dc, 2);
  for (int i = 0; i < 3; ++i)
    EXPECT_EQ(in_place[i] == product[i], 1);

  mlTinyVector2 calculus[3] = {mlTinyVector2(1, 1), mlTinyVector2(2, 4), mlTinyVector2(3, 9)};
  degree = 2;
  mlTinyVector2Polynomial::derivative(1, degree, calculus);
  EXPECT_EQ(calculus[1] == mlTinyVector2(6, 18), 1);
  mlTinyVector2Polynomial::integral(degree, calculus);
  EXPECT_EQ(calculus[0] == mlTinyVector2(0, 0), 1);
  EXPECT_EQ(calculus[2] == mlTinyVector2(3, 9), 1);

  std::ostringstream os;
  mlTinyVector2Polynomial::print(os, 2, calculus);
  EXPECT_EQ(os.str(), "<3,9>t^2 + <2,4>t + <0,0>\n");
}

TEST(mlTinyVectorPolynomial, ChordLengthFit) {
  mlTinyVector2Polynomial fitter;
  // The repeat is dropped; the kept points sit at chord lengths 0, 5, 10 -> 0, 0.5, 1.
  const mlTinyVector2 points[4] = {mlTinyVector2(0, 0), mlTinyVector2(3, 4), mlTinyVector2(3, 4),
                                   mlTinyVector2(6, 8)};
  mlTinyVector2 c[4];
  fitter.fit(0.0, 1.0, points, 3, c);
  const double params[3] = {0.0, 5.0 * (1.0 / 10.0) + 0.0, 1.0};
  const mlTinyVector2 kept[3] = {points[0], points[1], points[3]};
  mlTinyVector2 expected[3];
  fitter.fit(params, kept, 2, expected);
  for (int i = 0; i < 3; ++i)
    EXPECT_EQ(c[i] == expected[i], 1) << i;
  EXPECT_EQ(c[3] == mlTinyVector2(0, 0), 1);
  // The points lie on a straight line at uniform speed: c(t) = (6, 8) t.
  EXPECT_NEAR(c[1][0], 6.0, 1e-12);
  EXPECT_NEAR(c[2][1], 0.0, 1e-12);

  const mlTinyVector3 same[3] = {mlTinyVector3(1, 2, 3), mlTinyVector3(1, 2, 3),
                                 mlTinyVector3(1, 2, 3)};
  mlTinyVector3 zero[3];
  mlTinyVector3Polynomial().fit(0.0, 1.0, same, 2, zero);
  for (const mlTinyVector3& z : zero)
    EXPECT_EQ(z == mlTinyVector3(0, 0, 0), 1);
}

TEST(mlTinyVectorPolynomial, CurveFitMatchesComponentwiseScalarFits) {
  // Lagrange's construction on vectors is the scalar one applied per component.
  const double t[4] = {0.0, 0.4, 1.1, 2.0};
  const mlTinyVector3 p[4] = {mlTinyVector3(1, -2, 0.5), mlTinyVector3(0.3, 7, 1),
                              mlTinyVector3(-4, 2, 2), mlTinyVector3(5, 0.1, -1)};
  mlTinyVector3 curve[4];
  mlTinyVector3Polynomial().fit(t, p, 3, curve);
  mlPolynomial scalar;
  for (int k = 0; k < 3; ++k) {
    const double y[4] = {p[0][k], p[1][k], p[2][k], p[3][k]};
    double c[4];
    scalar.fit(t, y, 3, c);
    for (int i = 0; i < 4; ++i)
      EXPECT_EQ(curve[i][k], c[i]) << k << " " << i;
  }
}

}  // namespace
