#include "containers/doublecoDynArr2D.h"

#include <gtest/gtest.h>

namespace {

void fill(doublecoDynArr2D& a, int rows, int cols) {
  for (int i = 0; i < rows; ++i) {
    for (int j = 0; j < cols; ++j)
      a(i, j) = 10 * i + j;
  }
}

TEST(doublecoDynArr2D, GrowsInBothDirectionsKeepingElements) {
  doublecoDynArr2D a(2, 2, 1, 1);
  EXPECT_EQ(a.i_size(), 0);
  EXPECT_EQ(a.j_size(), 0);
  fill(a, 2, 3);  // growing access widens the rows
  EXPECT_EQ(a.i_size(), 2);
  EXPECT_EQ(a.j_size(), 3);

  EXPECT_EQ(a.expand(4, 5), 1);
  EXPECT_EQ(a.i_size(), 4);
  EXPECT_EQ(a.j_size(), 5);
  for (int i = 0; i < 4; ++i) {
    for (int j = 0; j < 5; ++j) {
      const double expected = i < 2 && j < 3 ? 10 * i + j : 0.0;
      ASSERT_EQ(a(i, j), expected) << i << "," << j;
    }
  }
  EXPECT_EQ(a.expand(1, 1), 1);  // never lowers a size
  EXPECT_EQ(a.i_size(), 4);
  EXPECT_EQ(a.row(1)[2], 12.0);
}

TEST(doublecoDynArr2D, ResizeKeepsTheTopLeftBlockAndZeroesWhatReappears) {
  doublecoDynArr2D a(3, 3, 2, 2);
  fill(a, 3, 3);
  EXPECT_EQ(a.resize(2, 1), 1);
  EXPECT_EQ(a.i_size(), 2);
  EXPECT_EQ(a.j_size(), 1);
  EXPECT_EQ(a(1, 0), 10.0);
  EXPECT_EQ(a.resize(3, 3), 1);
  EXPECT_EQ(a(1, 0), 10.0);
  EXPECT_EQ(a(1, 2), 0.0);  // held 12 before the shrink
  EXPECT_EQ(a(2, 2), 0.0);

  doublecoDynArr2D copy(utCopy, a);
  EXPECT_EQ(copy.i_size(), 3);
  EXPECT_EQ(copy(1, 0), 10.0);
  a.clear(1);
  EXPECT_EQ(a.i_size(), 0);
  EXPECT_EQ(copy(0, 0), 0.0);
  EXPECT_EQ(a.resize(0, 4), 1);  // a shape without elements
  EXPECT_EQ(a.j_size(), 4);
}

}  // namespace
