#include "linalg/mlRange.h"

#include <gtest/gtest.h>

namespace {

TEST(mlRange, EmptyRangeMergeAndIntersect) {
  mlRange r;
  EXPECT_EQ(r.invalid(), 1);
  EXPECT_EQ(r.min(), 1.7976931348623157e308);
  EXPECT_EQ(r.max(), -1.7976931348623157e308);
  r.merge(1.7976931348623157e308);  // ignored
  EXPECT_EQ(r.invalid(), 1);
  r.merge(2.0);
  EXPECT_EQ(r.min(), 2.0);
  EXPECT_EQ(r.max(), 2.0);
  r.merge(-1.0);
  r.merge(mlRange());
  r.merge(mlRange(0.0, 5.0));
  EXPECT_EQ(r.min(), -1.0);
  EXPECT_EQ(r.max(), 5.0);
  EXPECT_EQ(r.length(), 6.0);

  EXPECT_EQ(intersect(mlRange(0, 1), mlRange(2, 3)).invalid(), 1);
  EXPECT_EQ(intersect(mlRange(0, 1), mlRange()).invalid(), 1);
  const mlRange common = intersect(mlRange(0, 2), mlRange(1, 3));
  EXPECT_EQ(common.min(), 1.0);
  EXPECT_EQ(common.max(), 2.0);
  r.intersect(mlRange(4, 10));
  EXPECT_EQ(r.min(), 4.0);
  EXPECT_EQ(r.max(), 5.0);
}

TEST(mlRange, PositionsAndTests) {
  EXPECT_EQ(mlRange(2, 2).position_in_range(2), 0.0);
  EXPECT_EQ(mlRange(2, 2).position_in_range(3), 1.0);
  EXPECT_EQ(mlRange(2, 6).position_in_range(3), 0.25);
  EXPECT_EQ(mlRange(2, 6).position_in_range(1), 0.0);
  EXPECT_EQ(mlRange(2, 6).interpolate(0.25), 3.0);
  EXPECT_EQ(mlRange(2, 6).clip(7), 6.0);
  EXPECT_TRUE(mlRange(2, 6).contains(6));
  EXPECT_FALSE(mlRange(2, 6).contains(6.5));
  EXPECT_EQ(mlRange(0, 1).coincident(mlRange(0.1, 0.9), 0.1), 1);
  EXPECT_EQ(mlRange(0, 1).coincident(mlRange(0.1, 0.8), 0.1), 0);
  EXPECT_EQ(mlRange(0, 1).crosses(mlRange(1, 2)), 1);   // touching ends
  EXPECT_EQ(mlRange(0, 10).crosses(mlRange(2, 3)), 1);  // containment either way
  EXPECT_EQ(mlRange(2, 3).crosses(mlRange(0, 10)), 1);
  EXPECT_EQ(mlRange(0, 1).crosses(mlRange(1.5, 2)), 0);
}

}  // namespace
