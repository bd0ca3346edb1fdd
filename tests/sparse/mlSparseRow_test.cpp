#include "sparse/mlSparseRow.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <climits>
#include <utility>
#include <vector>

#include "linalg/mlRandom.h"
#include "sparse/mlSparseMatrix.h"
#include "support/reference_sparse.h"

namespace {

using Entries = std::vector<std::pair<int, double>>;

void fill(mlSparseRow& row, const Entries& entries) {
  for (const auto& [j, v] : entries)
    row.append_element(j, v);
}

// Exposes the protected row-level products.
struct RowProducts : mlSparseSymMatrix {
  using mlSparseMatrixBase::row_dot_product;
  using mlSparseSymMatrix::row_dot_self;
};

TEST(mlSparseElement, KeepsTwoDifferentSentinels) {
  const mlSparseElement placeholder;
  EXPECT_EQ(placeholder.column(), -2147483647);
  EXPECT_EQ(placeholder.value(), -DBL_MAX);
  EXPECT_EQ(placeholder.invalid(), 0);
  EXPECT_EQ(mlSparseElement(INT_MAX, 1.0).invalid(), 1);

  mlSparseElement e(3, 1.5);
  (e *= 4.0) /= 3.0;
  EXPECT_EQ(e.column(), 3);
  EXPECT_EQ(e.value(), 1.5 * 4.0 / 3.0);
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
  mlSparseRow row;
  EXPECT_EQ(reallocations(row, 40), (std::vector<int>{1, 9, 17, 33}));

  // A copy takes over the reservation (16 for 9 elements): its next growth is at 17.
  mlSparseRow nine;
  reallocations(nine, 9);
  mlSparseRow copy(utCopy, nine);
  EXPECT_EQ(copy.size(), 9);
  EXPECT_EQ(reallocations(copy, 10), (std::vector<int>{8}));  // the 17th element

  // clear(0) keeps storage and reservation; clear(1) starts over at 8.
  nine.clear(0);
  EXPECT_EQ(reallocations(nine, 16), (std::vector<int>{}));
  nine.clear(1);
  EXPECT_EQ(reallocations(nine, 9), (std::vector<int>{1, 9}));
}

TEST(mlSparseRow, ElementFindsStoredValuesAndZeroElsewhere) {
  mlSparseRow row;
  fill(row, {{2, 5.0}, {7, 1.5}});
  const std::vector<std::pair<int, double>> table = {
      {2, 5.0}, {7, 1.5}, {0, 0.0}, {3, 0.0}, {9, 0.0}};
  for (const auto& [column, expected] : table)
    EXPECT_EQ(row.element(column), expected) << "column " << column;
  EXPECT_EQ(mlSparseRow().element(0), 0.0);

  // The binary search against a linear one, on rows of every length up to 40.
  mlRandom random(7);
  for (int n = 1; n <= 40; ++n) {
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

TEST(mlSparseRow, QueriesScalingAndCopies) {
  mlSparseRow row;
  EXPECT_EQ(row.empty(), 1);
  EXPECT_EQ(row.last_column_index(), -1);
  fill(row, {{1, 2.0}, {4, -3.0}, {6, 0.5}});
  EXPECT_EQ(row.empty(), 0);
  EXPECT_EQ(row.num_non_zero_elements(), 3);
  EXPECT_EQ(row.last_column_index(), 6);
  row.multiply_all_elements(3.0);
  row.divide_all_elements(7.0);
  EXPECT_EQ(row.element(4), -3.0 * 3.0 / 7.0);
  EXPECT_EQ(row.element(6), 0.5 * 3.0 / 7.0);

  mlSparseRow copy(utCopy, row);
  row.clear(1);
  EXPECT_EQ(copy.element(1), 2.0 * 3.0 / 7.0);
  EXPECT_EQ(copy.end() - copy.begin(), 3);
}

TEST(mlSparseRowIT, StartsOverAfterRunningPastTheEnd) {
  mlSparseRow row;
  fill(row, {{0, 1.0}, {5, 2.0}, {9, 3.0}});
  mlSparseRowIT it = row.iterator();
  EXPECT_EQ(it.undefined(), 1);
  std::vector<int> walked;
  for (const mlSparseElement* e = it.advance(); e != nullptr; e = it.advance())
    walked.push_back(e->column());
  EXPECT_EQ(walked, (std::vector<int>{0, 5, 9}));
  EXPECT_EQ(it.undefined(), 1);
  // Past the end the iterator was reset: the next step is onto the first element again.
  ASSERT_NE(it.advance(), nullptr);
  EXPECT_EQ(it->column(), 0);
  mlSparseRowIT copy = it;
  it.advance();
  EXPECT_EQ((*copy).value(), 1.0);
  EXPECT_EQ(it->value(), 2.0);
  it.reset();
  EXPECT_EQ(it.undefined(), 1);

  const mlSparseRow empty;
  mlSparseRowIT none = empty.iterator();
  EXPECT_EQ(none.advance(), nullptr);
  EXPECT_EQ(none.advance(), nullptr);
}

TEST(mlSparseRow, RowDotProductSumsCommonColumnsInOrder) {
  struct Case {
    Entries a, b;
    int met;
    double result;
  };
  const std::vector<Case> cases = {
      {{{1, 2.0}}, {{2, 3.0}}, 0, 0.0},
      {{{1, 2.0}, {4, 1.0}}, {{4, 3.0}}, 1, 3.0},
      {{{1, 1.0}, {2, 1.0}}, {{1, 1.0}, {2, -1.0}}, 1, 0.0},  // cancels, still met
      {{}, {{1, 1.0}}, 0, 0.0},
      {{{1, 1.0}}, {}, 0, 0.0},
  };
  for (const Case& c : cases) {
    mlSparseRow a, b;
    fill(a, c.a);
    fill(b, c.b);
    mlSparseRowIT ia = a.iterator(), ib = b.iterator();
    double result = -1.0;
    EXPECT_EQ(RowProducts::row_dot_product(ia, ib, result), c.met);
    EXPECT_EQ(result, c.result);
  }

  // Random rows: the sum over common columns, ascending, of b's value times a's.
  mlRandom random(11);
  for (int trial = 0; trial < 50; ++trial) {
    mlSparseRow a, b;
    std::vector<double> da(60, 0.0), db(60, 0.0);
    for (int j : paskosda_test::random_columns(random, 0, 60, 12)) {
      da[j] = random.uniform(-1.0, 1.0);
      a.append_element(j, da[j]);
    }
    for (int j : paskosda_test::random_columns(random, 0, 60, 12)) {
      db[j] = random.uniform(-1.0, 1.0);
      b.append_element(j, db[j]);
    }
    double expected = 0.0;
    int met = 0;
    for (int j = 0; j < 60; ++j) {
      if (da[j] != 0.0 && db[j] != 0.0) {
        expected += db[j] * da[j];
        met = 1;
      }
    }
    mlSparseRowIT ia = a.iterator(), ib = b.iterator();
    double result;
    EXPECT_EQ(RowProducts::row_dot_product(ia, ib, result), met);
    EXPECT_EQ(result, expected);
    EXPECT_EQ(RowProducts::row_dot_self(ia), [&] {
      double s = 0.0;
      for (double v : da)
        if (v != 0.0) s += v * v;
      return s;
    }());
  }
}

}  // namespace
