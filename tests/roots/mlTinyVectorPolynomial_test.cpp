#include "roots/mlTinyVectorPolynomial.h"

#include <gtest/gtest.h>

#include <sstream>
#include <vector>

namespace {

TEST(mlTinyVectorPolynomial, AppliesTheScalarOperationsPerCoefficientVector) {
  const mlTinyVector2 unit[2] = {mlTinyVector2(1, 0), mlTinyVector2(0, 1)};
  double dot[3];
  int degree = 0;
  mlTinyVector2Polynomial::scalar_product(1, unit, 1, unit, degree, dot);
  EXPECT_EQ(degree, 2);
  EXPECT_EQ(std::vector<double>(dot, dot + 3), (std::vector<double>{1, 0, 1}));

  // (1 + t) times the curve (1, 2) + (3, 4) t, into new storage and in place.
  const double scalar[2] = {1, 1};
  mlTinyVector2 product[3], in_place[3] = {mlTinyVector2(1, 2), mlTinyVector2(3, 4)};
  mlTinyVector2Polynomial::multiply(1, scalar, 1, in_place, degree, product);
  degree = 1;
  mlTinyVector2Polynomial().multiply(1, scalar, degree, in_place);
  EXPECT_EQ(degree, 2);
  for (int i = 0; i < 3; ++i)
    EXPECT_EQ(in_place[i] == product[i], 1) << i;
  EXPECT_EQ(product[1] == mlTinyVector2(4, 6), 1);

  mlTinyVector2Polynomial::derivative(1, degree, product);
  mlTinyVector2Polynomial::integral(degree, product);
  std::ostringstream os;
  mlTinyVector2Polynomial::print(os, degree, product);
  EXPECT_EQ(os.str(), "<3,4>t^2 + <4,6>t + <0,0>\n");
}

TEST(mlTinyVectorPolynomial, ChordLengthFitIsTheScalarFitPerComponent) {
  // The point within 1e-10 of the last kept one is dropped; the kept ones sit at chord lengths
  // 0, 5 and 5 + 12, placed over [-1, 1], and each component is the scalar Lagrange fit there.
  const mlTinyVector3 points[4] = {mlTinyVector3(0, 0, 1), mlTinyVector3(3, 4, 1),
                                   mlTinyVector3(3, 4, 1 + 1e-11), mlTinyVector3(3, 4, 13)};
  const double params[3] = {-1.0, 5.0 * (2.0 / 17.0) + -1.0, 1.0};
  mlTinyVector3 curve[4];
  mlTinyVector3Polynomial().fit(-1.0, 1.0, points, 3, curve);
  EXPECT_EQ(curve[3] == mlTinyVector3(0, 0, 0), 1);
  mlPolynomial scalar;
  for (int k = 0; k < 3; ++k) {
    const double y[3] = {points[0][k], points[1][k], points[3][k]};
    double c[3];
    scalar.fit(params, y, 2, c);
    for (int i = 0; i < 3; ++i)
      EXPECT_EQ(curve[i][k], c[i]) << k << " " << i;
  }
}

}  // namespace
