#include "decomp/mlFortranMatrix.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

TEST(mlFortranMatrix, AddressesOneBasedColumnMajorStorage) {
  mlFortranMatrix a(3, 2);
  for (int j = 1; j <= 2; ++j) {
    for (int i = 1; i <= 3; ++i)
      a(i, j) = 10 * i + j;
  }
  const std::vector<double> storage(a.data(), a.data() + 6);
  EXPECT_EQ(storage, (std::vector<double>{11, 21, 31, 12, 22, 32}));
  a.become(2, 2);
  EXPECT_EQ(a.rows(), 2);
  EXPECT_EQ(a.cols(), 2);
  a(2, 2) = 5;
  EXPECT_EQ(a.data()[3], 5.0);
}

TEST(mlFortranMatrix, VectorsOwnOrWrapTheirStorage) {
  double values[] = {1, 2, 3};
  mlFortranVector wrapped(values);
  EXPECT_EQ(wrapped.owns(), 0);
  wrapped(3) = 7;
  EXPECT_EQ(values[2], 7.0);
  EXPECT_EQ(mlFortranVectorConst(values)(1), 1.0);

  mlFortranVector owned(4);
  EXPECT_EQ(owned.owns(), 1);
  owned(4) = 2;
  EXPECT_EQ(owned(4), 2.0);
  owned.become(values + 1);
  EXPECT_EQ(owned.owns(), 0);
  EXPECT_EQ(owned(1), 2.0);
}

}  // namespace
