#include "decomp/mlFortranMatrix.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

TEST(mlFortranMatrix, AddressesOneBasedColumnMajorStorage) {
  mlFortranMatrix a(3, 2);
  for (int k = 0; k < 6; ++k)
    a(1 + k % 3, 1 + k / 3) = 10 * (1 + k % 3) + 1 + k / 3;
  EXPECT_EQ(std::vector<double>(a.data(), a.data() + 6),
            (std::vector<double>{11, 21, 31, 12, 22, 32}));
  a.become(2, 2)(2, 2) = 5;
  EXPECT_EQ(a.data()[3], 5.0);  // the leading dimension follows the new shape
  // A vector wrapping a caller's array writes through to it, from element 1 = p[0].
  double values[] = {1, 2, 3};
  mlFortranVector wrapped(values);
  wrapped(3) = 7;
  EXPECT_EQ(values[2], 7.0);
  EXPECT_EQ(mlFortranVectorConst(values)(1), 1.0);
}

}  // namespace
