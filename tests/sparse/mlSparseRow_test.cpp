#include "sparse/mlSparseRow.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <climits>
#include <utility>
#include <vector>

#include "linalg/mlRandom.h"
#include "sparse/mlSparseMatrix.h"

namespace {

// Exposes the protected row-level products.
struct RowProducts : mlSparseSymMatrix {
  using mlSparseMatrixBase::row_dot_product;
  using mlSparseSymMatrix::row_dot_self;
};

TEST(mlSparseElement, KeepsTwoDifferentSentinels) {
  const mlSparseElement placeholder;
  EXPECT_EQ(placeholder.column(), INT_MIN + 1);
  EXPECT_EQ(placeholder.value(), -DBL_MAX);
  EXPECT_EQ(placeholder.invalid(), 0);
  EXPECT_EQ(mlSparseElement(INT_MAX, 1.0).invalid(), 1);
}

TEST(mlSparseRow, ReservesGeometricallyFromEight) {
  // A reservation allocates a new buffer while the old one is alive, so a moved data pointer
  // marks each reallocation.
  auto reallocations = [](mlSparseRow& row, int appends) {
    std::vector<int> at;
    for (int k = 1; k <= appends; ++k) {
      const mlSparseElement* before = row.data();
      row.append_element(row.last_column_index() + 1, k);
      if (row.data() != before) at.push_back(k);
    }
    return at;
  };
  mlSparseRow row, copy, block;
  EXPECT_EQ(reallocations(row, 9), (std::vector<int>{1, 9}));
  copy.become(utCopy, row);
  block.append_elements(row.data(), 9);
  // The copy takes over the reservation, the block append reserves as 9 appends would: 16.
  for (mlSparseRow* r : {&row, &copy, &block})
    EXPECT_EQ(reallocations(*r, 31), (std::vector<int>{8, 24}));
  row.clear(1);  // starts over at 8
  EXPECT_EQ(reallocations(row, 9), (std::vector<int>{1, 9}));
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
      dense[column] = k + 1.0;
      r.append_element(column, k + 1.0);
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

TEST(mlSparseRow, RowProductsSumCommonColumnsInAscendingOrder) {
  using Entries = std::vector<std::pair<int, double>>;
  struct Case {
    Entries a, b;
    int met;
    double result, self;
  };
  const Case cases[] = {
      // 1e16 + 3 rounds to 1e16 + 4: only the ascending order gives 4.
      {{{0, 1}, {1, 5}, {2, 3}, {4, 1}}, {{0, 1e16}, {2, 1}, {3, 7}, {4, -1e16}}, 1, 4.0, 36.0},
      {{{1, 1}, {2, 1}}, {{1, 1}, {2, -1}}, 1, 0.0, 2.0},  // cancels, still met
      {{{1, 2}}, {{0, 3}, {2, 1}}, 0, 0.0, 4.0},
      {{}, {{1, 1}}, 0, 0.0, 0.0},
  };
  for (const Case& c : cases) {
    mlSparseRow a, b;
    for (const auto& [j, v] : c.a)
      a.append_element(j, v);
    for (const auto& [j, v] : c.b)
      b.append_element(j, v);
    mlSparseRowIT ia = a.iterator(), ib = b.iterator();
    double result = -1.0;
    EXPECT_EQ(RowProducts::row_dot_product(ia, ib, result), c.met);
    EXPECT_EQ(result, c.result);
    EXPECT_EQ(RowProducts::row_dot_self(ia), c.self);
  }
}

}  // namespace
