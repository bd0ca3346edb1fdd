#include "eigen/mlEigenVecs.h"

#include <gtest/gtest.h>

#include <vector>

#include "eigen/mlSymEigenVecs.h"
#include "support/test_support.h"

namespace {

using paskosda_test::values;
using paskosda_test::vec;

TEST(EigenVecs, ComparesNumbersStrictlyAndUnitVectorsUpToSign) {
  EXPECT_EQ(mlEigenVecs::equals(1.0, 1.25, 0.5), 1);
  EXPECT_EQ(mlEigenVecs::equals(1.5, 1.0, 0.5), 0);
  EXPECT_EQ(mlEigenVecs::equals(-2.0, -2.0, 0.0), 0);
  // Only the scalar product is compared with +-1, so a longer parallel vector is not equal.
  const mlVector u = vec({0.6, 0.8, 0.0});
  const mlVector others[] = {vec({0.6, 0.8, 0}), vec({-0.6, -0.8, 0}), vec({0.8, -0.6, 0}),
                             vec({1.2, 1.6, 0})};
  const int expected[] = {1, 1, 0, 0};
  for (int k = 0; k < 4; ++k)
    EXPECT_EQ(mlEigenVecs::equals(u.slice(), others[k].slice(), 1e-12), expected[k]) << k;
}

TEST(EigenVecs, CopiesValuesIntoAVectorKeepingTheTailOfALongerOne) {
  const mlMatrix a = paskosda_test::mat(2, 2, {1, 0, 0, -3});
  mlSymEigenVecs e(a);
  e.calculate();
  mlVector shorter;
  mlVector longer = vec({9, 9, 9, 9});
  e.eigen_values(shorter);
  e.eigen_values(longer);
  EXPECT_EQ(values(shorter), (std::vector<double>{-3, 1}));
  EXPECT_EQ(values(longer), (std::vector<double>{-3, 1, 9, 9}));
}

}  // namespace
