#include "eigen/mlEigenVecs.h"

#include <gtest/gtest.h>

#include "support/test_support.h"

namespace {

using paskosda_test::vec;

TEST(mlEigenVecs, ComparesNumbersStrictlyAndUnitVectorsUpToSign) {
  EXPECT_EQ(mlEigenVecs::equals(1.0, 1.25, 0.5), 1);
  EXPECT_EQ(mlEigenVecs::equals(1.5, 1.0, 0.5) + mlEigenVecs::equals(-2.0, -2.0, 0.0), 0);
  // Only the scalar product is compared with +-1, so a longer parallel vector is not equal.
  const mlVector u = vec({0.6, 0.8, 0.0});
  const mlVector others[] = {vec({0.6, 0.8, 0}), vec({-0.6, -0.8, 0}), vec({0.8, -0.6, 0}),
                             vec({1.2, 1.6, 0})};
  for (int k = 0; k < 4; ++k)
    EXPECT_EQ(mlEigenVecs::equals(u.slice(), others[k].slice(), 1e-12), k < 2 ? 1 : 0) << k;
}

}  // namespace
