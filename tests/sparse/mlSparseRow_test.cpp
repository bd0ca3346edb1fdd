#include "sparse/mlSparseRow.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <climits>
#include <vector>

#include "linalg/mlRandom.h"

namespace {

TEST(mlSparseRowElement, KeepsTwoDifferentSentinels) {
  const mlSparseElement placeholder;
  EXPECT_EQ(placeholder.column(), INT_MIN + 1);
  EXPECT_EQ(placeholder.value(), -DBL_MAX);
  EXPECT_EQ(placeholder.invalid(), 0);
  EXPECT_EQ(mlSparseElement(INT_MAX, 1.0).invalid(), 1);
}

TEST(mlSparseRow, ElementFindsStoredValuesAndZeroElsewhere) {
  // The binary search against a linear lookup, on rows of every length up to 40.
  mlRandom random(7);
  for (int n = 0; n <= 40; ++n) {
    mlSparseRow r;
    std::vector<double> dense(3 * n + 2, 0.0);
    int column = -1;
    for (int k = 0; k < n; ++k) {
      column += 1 + random.integer(3);
      r.append_element(column, dense[column] = k + 1.0);
    }
    for (int j = -1; j <= column + 1; ++j)
      ASSERT_EQ(r.element(j), j >= 0 ? dense[j] : 0.0) << "n " << n << " column " << j;
  }
}

TEST(mlSparseRowIT, StartsOverAfterRunningPastTheEnd) {
  mlSparseRow row;
  for (int j : {0, 5, 9})
    row.append_element(j, 1.0);
  mlSparseRowIT it = row.iterator();
  std::vector<int> walked;
  for (const mlSparseElement* e = it.advance(); e != nullptr; e = it.advance())
    walked.push_back(e->column());
  EXPECT_EQ(walked, (std::vector<int>{0, 5, 9}));
  EXPECT_EQ(it.undefined(), 1);
  EXPECT_EQ(it.advance()->column(), 0);
  EXPECT_EQ(mlSparseRow().iterator().advance(), nullptr);
}

}  // namespace
