#include "sparse/mlSparseMatrix.h"

#include <gtest/gtest.h>

#include <array>
#include <vector>

#include "linalg/mlMatrix.h"
#include "linalg/mlRandom.h"
#include "support/reference_sparse.h"
#include "support/test_support.h"

namespace {

using paskosda_test::entries;
using paskosda_test::literal_premultiply_transpose;
using paskosda_test::literal_product;
using paskosda_test::random_matrix;
using paskosda_test::random_sparse;
using paskosda_test::random_sparse_sym;
using paskosda_test::same_bits;
using paskosda_test::same_sparse;
using paskosda_test::values;

template <class Sparse>
mlMatrix dense(const Sparse& a) {
  mlMatrix m;
  a.decompress(m);
  return m;
}

bool same_matrix(const mlMatrix& a, const mlMatrix& b) {
  return a.rows() == b.rows() && a.cols() == b.cols() &&
         same_bits(a.data(), b.data(), a.rows() * a.cols());
}

// The dense block of m with top-left corner (r0, c0).
mlMatrix block(const mlMatrix& m, int r0, int c0, int nr, int nc) {
  mlMatrix b(mlMatrixZero, nr, nc);
  for (int i = 0; i < nr; ++i)
    for (int j = 0; j < nc; ++j)
      b(i, j) = m(r0 + i, c0 + j);
  return b;
}

bool rows_ascend(const mlSparseMatrixBase& m) {
  for (int i = 0; i < m.rows(); ++i) {
    const auto e = entries(m, i);
    for (std::size_t k = 1; k < e.size(); ++k)
      if (e[k - 1].first >= e[k].first) return false;
  }
  return true;
}

struct Shape {
  int r, c, per_row;
};
// Small and narrow shapes, empty rows, and rows dense enough for the product's scan path.
const std::vector<Shape> kShapes = {{1, 1, 1},   {5, 3, 2},    {17, 29, 4},
                                    {40, 12, 6}, {64, 64, 20}, {30, 500, 3}};
// Values that cancel exactly and carry signed zeros.
const std::vector<double> kPalette = {-0.0, 0.0, 1.0, -1.0, 2.0, 0.5, -3.0};

TEST(mlSparseMatrix, BuildsLooksUpAndExpandsToDense) {
  mlSparseMatrix a;
  EXPECT_EQ(a.invalid(), 1);
  a.become(mlMatrixZero, 2, 4);
  EXPECT_EQ(a.invalid(), 0);
  EXPECT_EQ(a.is_square(), 0);
  a.set(0, 1, 2.0);
  a.set(0, 3, -1.0);
  a.set(1, 0, 4.0);
  EXPECT_EQ(a.element(0, 3), -1.0);
  EXPECT_EQ(a.element(1, 3), 0.0);
  EXPECT_EQ(a.last_in_row(0), 3);
  EXPECT_EQ(a.num_non_zero_elements(), 3);
  EXPECT_EQ(values(dense(a)), (std::vector<double>{0, 2, 0, -1, 4, 0, 0, 0}));
  a.resize_rows(3);
  EXPECT_EQ(a.last_in_row(2), -1);

  EXPECT_EQ(values(dense(mlSparseMatrix(mlMatrixIdentity, 3))),
            values(mlMatrix(mlMatrixIdentity, 3)));
  const mlSparseMatrix copy(utCopy, a);
  a *= 2.0;
  a /= 8.0;
  EXPECT_EQ(copy.element(0, 1), 2.0);
  EXPECT_EQ(a.element(0, 1), 2.0 * 2.0 / 8.0);

  // Appending out of order is not detected; the row's range test then misses column 1.
  mlSparseMatrix unordered(mlMatrixZero, 1, 4);
  unordered.set(0, 3, 1.0);
  unordered.set(0, 1, 2.0);
  EXPECT_EQ(unordered.element(0, 1), 0.0);
}

TEST(mlSparseMatrix, RowTableGrowsShrinksAndEmpties) {
  // Run under the leak checker: dropped rows must be deleted exactly once.
  mlRandom random(3);
  mlSparseMatrix a = random_sparse(random, 30, 10, 3);
  const mlMatrix before = dense(a);
  a.resize_rows(12);
  EXPECT_TRUE(same_matrix(dense(a), block(before, 0, 0, 12, 10)));
  a.resize_rows(50);
  EXPECT_EQ(a.rows(), 50);
  EXPECT_EQ(a.last_in_row(49), -1);
  a.clear(0);
  EXPECT_EQ(a.num_non_zero_elements(), 0);
  EXPECT_EQ(a.rows(), 50);
  a.set_invalid();
  EXPECT_EQ(a.invalid(), 1);
  EXPECT_EQ(a.cols(), 0);
  a.become(mlMatrixIdentity, 4);  // reuses the table after set_invalid
  EXPECT_EQ(a.num_non_zero_elements(), 4);
  a.resize_rows(0);
  EXPECT_EQ(a.invalid(), 1);

  // Owners move their row on assignment, also out of a const source.
  mlSparseRowcoDynArrPrgcoPrg first(new mlSparseRow);
  first->append_element(2, 1.0);
  mlSparseRowcoDynArrPrgcoPrg second;
  const mlSparseRowcoDynArrPrgcoPrg& source = first;
  second = source;
  EXPECT_EQ(first.release(), nullptr);
  EXPECT_EQ((*second).element(2), 1.0);
  mlSparseRowcoDynArrPrgcoPrgcoDynArr owners;
  for (int i = 0; i < 20; ++i)  // reallocates on every append
    owners.append(mlSparseRowcoDynArrPrgcoPrg(new mlSparseRow));
  owners.shrink(5, 1);
  owners[0] = second;
}

TEST(mlSparseMatrix, TransposeMatchesDense) {
  mlSparseMatrix small(mlMatrixZero, 2, 3);
  small.set(0, 0, 1.0);
  small.set(0, 2, 2.0);
  small.set(1, 1, 3.0);
  small.set(1, 2, 4.0);
  const mlSparseMatrix t(mlMatrixTranspose, small);
  EXPECT_EQ(t.rows(), 3);
  EXPECT_EQ(t.cols(), 2);
  EXPECT_EQ(values(dense(t)), (std::vector<double>{1, 0, 0, 3, 2, 4}));

  mlRandom random(5);
  for (const Shape& s : kShapes) {
    mlSparseMatrix a = random_sparse(random, s.r, s.c, s.per_row);
    const mlSparseMatrix at(mlMatrixTranspose, a);
    EXPECT_TRUE(rows_ascend(at));
    EXPECT_TRUE(same_matrix(dense(at), mlMatrix(mlMatrixTranspose, dense(a))));
    a.become(mlMatrixTranspose, a);
    EXPECT_TRUE(same_sparse(a, at));
  }
}

TEST(mlSparseMatrix, ProductMatchesTheOrderedMapBitForBit) {
  mlSparseMatrix row(mlMatrixZero, 1, 2), col(mlMatrixZero, 2, 1);
  row.set(0, 0, 1.0);
  row.set(0, 1, 1.0);
  col.set(0, 0, 1.0);
  col.set(1, 0, -1.0);
  const mlSparseMatrix cancelled(mlMatrixProduct, row, col);
  EXPECT_EQ(cancelled.num_non_zero_elements(), 1);
  EXPECT_EQ(cancelled.element(0, 0), 0.0);

  mlRandom random(13);
  for (const Shape& s : kShapes) {
    for (int inner : {1, 7, 33}) {
      const mlSparseMatrix a = random_sparse(random, s.r, inner, s.per_row);
      const mlSparseMatrix b = random_sparse(random, inner, s.c, s.per_row);
      mlSparseMatrix fast(mlMatrixProduct, a, b), reference;
      literal_product(a, b, reference);
      ASSERT_TRUE(same_sparse(fast, reference)) << s.r << "x" << inner << "x" << s.c;
      // With no zero values stored, the dense product gives the same bits.
      EXPECT_TRUE(same_matrix(dense(fast), mlMatrix(mlMatrixProduct, dense(a), dense(b))));
    }
  }
  // Few products in a wide row: the columns met are sorted rather than read back in order.
  const mlSparseMatrix narrow = random_sparse(random, 40, 30, 1);
  const mlSparseMatrix wide = random_sparse(random, 30, 70000, 1);
  mlSparseMatrix fast(mlMatrixProduct, narrow, wide), reference;
  literal_product(narrow, wide, reference);
  ASSERT_TRUE(same_sparse(fast, reference));
  // Exact cancellations and signed zeros: the first product at a column is stored as it is.
  for (const Shape& s : kShapes) {
    const mlSparseMatrix a = random_sparse(random, s.r, 9, s.per_row, kPalette);
    const mlSparseMatrix b = random_sparse(random, 9, s.c, s.per_row, kPalette);
    mlSparseMatrix fast(mlMatrixProduct, a, b), reference;
    literal_product(a, b, reference);
    ASSERT_TRUE(same_sparse(fast, reference)) << s.r << "x" << s.c;
  }
  // Operands may be the result.
  mlSparseMatrix a = random_sparse(random, 20, 20, 5), square;
  literal_product(a, a, square);
  a.become(mlMatrixProduct, a, a);
  EXPECT_TRUE(same_sparse(a, square));
}

TEST(mlSparseMatrix, DenseOperandProductsMatchDense) {
  mlRandom random(17);
  for (const Shape& s : kShapes) {
    const mlSparseMatrix a = random_sparse(random, s.r, s.c, s.per_row);
    const mlMatrix m = random_matrix(random, s.c, 5);
    const mlVector x(utCopy, random_matrix(random, 1, s.c).row(0));
    mlVector y, expected_y;
    a.multiply_vector(x, y);
    multiply(dense(a), x, expected_y);
    EXPECT_TRUE(y.dimension() == s.r && same_bits(y.data(), expected_y.data(), s.r));
    mlMatrix c;
    a.multiply_matrix(m, c);
    EXPECT_TRUE(same_matrix(c, mlMatrix(mlMatrixProduct, dense(a), m)));
  }
}

TEST(mlSparseMatrix, AddAndSubtractMatchDense) {
  mlRandom random(19);
  for (const Shape& s : kShapes) {
    const mlSparseMatrix a = random_sparse(random, s.r, s.c, s.per_row);
    const mlSparseMatrix b = random_sparse(random, s.r, s.c, s.per_row);
    const mlMatrix da = dense(a), db = dense(b);
    mlMatrix sum(utCopy, da), difference(utCopy, da);
    for (int k = 0; k < s.r * s.c; ++k) {
      sum.data()[k] = da.data()[k] + db.data()[k];
      difference.data()[k] = da.data()[k] - db.data()[k];
    }
    mlSparseMatrix plus(utCopy, a), minus(utCopy, a);
    plus += b;
    minus -= b;
    EXPECT_TRUE(rows_ascend(plus) && rows_ascend(minus));
    EXPECT_TRUE(same_matrix(dense(plus), sum));
    EXPECT_TRUE(same_matrix(dense(minus), difference));

    // A matrix with itself: twice the values, or every entry kept as a stored 0.0.
    mlSparseMatrix twice(utCopy, a), zero(utCopy, a);
    twice += twice;
    zero -= zero;
    mlSparseMatrix doubled(utCopy, a);
    doubled *= 2.0;
    EXPECT_TRUE(same_sparse(twice, doubled));
    EXPECT_EQ(zero.num_non_zero_elements(), a.num_non_zero_elements());
    EXPECT_TRUE(same_matrix(dense(zero), mlMatrix(mlMatrixZero, s.r, s.c)));
  }
}

TEST(mlSparseMatrix, ConcatenationsAndSubMatricesMatchDenseBlocks) {
  mlRandom random(23);
  const mlSparseMatrix a = random_sparse(random, 9, 6, 3);
  const mlSparseMatrix b = random_sparse(random, 9, 4, 3);
  const mlSparseMatrix c = random_sparse(random, 5, 6, 3);
  const mlMatrix da = dense(a), db = dense(b), dc = dense(c);

  mlSparseMatrix right(utCopy, a);
  right.concatenate_right(b);
  const mlMatrix dr = dense(right);
  EXPECT_TRUE(same_matrix(block(dr, 0, 0, 9, 6), da) && same_matrix(block(dr, 0, 6, 9, 4), db));

  mlSparseMatrix below(utCopy, a);
  below.concatenate_below(c);
  const mlMatrix dbl = dense(below);
  EXPECT_TRUE(same_matrix(block(dbl, 0, 0, 9, 6), da) && same_matrix(block(dbl, 9, 0, 5, 6), dc));

  mlSparseMatrix diagonal(utCopy, a);
  diagonal.concatenate_diagonal(c);
  const mlMatrix dd = dense(diagonal);
  EXPECT_EQ(dd.rows(), 14);
  EXPECT_EQ(dd.cols(), 12);
  EXPECT_TRUE(same_matrix(block(dd, 0, 0, 9, 6), da) && same_matrix(block(dd, 9, 6, 5, 6), dc));
  EXPECT_TRUE(same_matrix(block(dd, 0, 6, 9, 6), mlMatrix(mlMatrixZero, 9, 6)));
  EXPECT_TRUE(same_matrix(block(dd, 9, 0, 5, 6), mlMatrix(mlMatrixZero, 5, 6)));

  // Each with itself.
  mlSparseMatrix self_right(utCopy, a), self_below(utCopy, a), self_diagonal(utCopy, a);
  self_right.concatenate_right(self_right);
  self_below.concatenate_below(self_below);
  self_diagonal.concatenate_diagonal(self_diagonal);
  EXPECT_TRUE(same_matrix(block(dense(self_right), 0, 6, 9, 6), da));
  EXPECT_TRUE(same_matrix(block(dense(self_below), 9, 0, 9, 6), da));
  EXPECT_TRUE(same_matrix(block(dense(self_diagonal), 9, 6, 9, 6), da));

  // Without rows only the column count changes.
  mlSparseMatrix empty;
  empty.concatenate_right(b);
  EXPECT_EQ(empty.rows(), 0);
  EXPECT_EQ(empty.cols(), 4);
  mlSparseMatrix no_rows(mlMatrixZero, 0, 3), grown(utCopy, a);
  grown.concatenate_diagonal(no_rows);
  EXPECT_EQ(grown.rows(), 9);
  EXPECT_EQ(grown.cols(), 9);

  // Sub-matrices, including one written over its source.
  mlSparseMatrix one;
  mlSparseMatrix(mlMatrixIdentity, 3).extract_sub_matrix(1, 1, 1, 1, one);
  EXPECT_EQ(values(dense(one)), (std::vector<double>{1.0}));
  mlSparseMatrix sub;
  for (const auto& [r0, c0, nr, nc] : std::vector<std::array<int, 4>>{
           {0, 0, 9, 6}, {2, 1, 4, 3}, {8, 5, 1, 1}, {3, 0, 0, 2}, {0, 6, 9, 0}}) {
    a.extract_sub_matrix(r0, c0, nr, nc, sub);
    EXPECT_TRUE(same_matrix(dense(sub), block(da, r0, c0, nr, nc)));
  }
  mlSparseMatrix in_place(utCopy, a);
  in_place.extract_sub_matrix(2, 1, 4, 3, in_place);
  EXPECT_TRUE(same_matrix(dense(in_place), block(da, 2, 1, 4, 3)));
}

TEST(mlSparseSymMatrix, StandsForTheFullSymmetricMatrix) {
  mlRandom random(29);
  const mlSparseSymMatrix s = random_sparse_sym(random, 25, 4);
  const mlSparseMatrix full(utCopy, s);
  EXPECT_TRUE(rows_ascend(full));
  const mlMatrix ds = dense(s);
  EXPECT_TRUE(same_matrix(dense(full), ds));
  EXPECT_TRUE(same_matrix(ds, mlMatrix(mlMatrixTranspose, ds)));
  for (int i = 0; i < 25; ++i) {
    for (int j = 0; j < 25; ++j)
      ASSERT_EQ(s.element(i, j), ds(i, j));
    // An empty stored row reports the column before its diagonal, by design.
    if (s.row(s, i).empty()) {
      EXPECT_EQ(s.last_in_row(i), i - 1);
    }
  }
  EXPECT_EQ(mlSparseSymMatrix(mlMatrixZero, 3).last_in_row(2), 1);
  EXPECT_EQ(values(dense(mlSparseSymMatrix(mlMatrixIdentity, 2))),
            (std::vector<double>{1, 0, 0, 1}));
}

TEST(mlSparseSymMatrix, ProductsGiveTheFullMatrixBits) {
  mlRandom random(31);
  for (int n : {1, 6, 30, 64}) {
    const mlSparseSymMatrix s = random_sparse_sym(random, n, 5);
    const mlSparseMatrix full(utCopy, s);
    const mlVector x(utCopy, random_matrix(random, 1, n).row(0));
    mlVector y, expected;
    s.multiply_vector(x, y);
    full.multiply_vector(x, expected);
    EXPECT_TRUE(y.dimension() == n && same_bits(y.data(), expected.data(), n));
    const mlMatrix m = random_matrix(random, n, 3);
    mlMatrix c, expected_c;
    s.multiply_matrix(m, c);
    full.multiply_matrix(m, expected_c);
    EXPECT_TRUE(same_matrix(c, expected_c));
    EXPECT_TRUE(same_matrix(c, mlMatrix(mlMatrixProduct, dense(s), m)));
  }
}

TEST(mlSparseSymMatrix, PremultiplyTransposeMatchesTheOrderedMapBitForBit) {
  mlRandom random(37);
  for (const Shape& sh : kShapes) {
    const mlSparseMatrix a = random_sparse(random, sh.r, sh.c, sh.per_row);
    const mlSparseSymMatrix ata(mlMatrixPremultiplyTranspose, a);
    mlSparseSymMatrix reference;
    literal_premultiply_transpose(a, reference);
    ASSERT_TRUE(same_sparse(ata, reference)) << sh.r << "x" << sh.c;
    const mlSparseMatrix z = random_sparse(random, sh.r, sh.c, sh.per_row, kPalette);
    literal_premultiply_transpose(z, reference);
    ASSERT_TRUE(same_sparse(mlSparseSymMatrix(mlMatrixPremultiplyTranspose, z), reference));
    // The upper triangle of the general product of the transpose with a, bit for bit.
    const mlSparseMatrix product(mlMatrixProduct, mlSparseMatrix(mlMatrixTranspose, a), a);
    mlSparseMatrix upper(mlMatrixZero, sh.c, sh.c);
    for (int i = 0; i < sh.c; ++i)
      for (const auto& [j, v] : entries(product, i))
        if (j >= i) upper.set(i, j, v);
    EXPECT_TRUE(same_sparse(ata, upper));
    EXPECT_TRUE(same_matrix(dense(ata), dense(product)));
  }
}

TEST(mlSparseSymMatrix, BlockBuildingAndSums) {
  mlRandom random(41);
  const mlSparseSymMatrix s = random_sparse_sym(random, 7, 3);
  const mlSparseSymMatrix t = random_sparse_sym(random, 4, 2);
  const mlSparseMatrix b = random_sparse(random, 7, 3, 2);
  const mlMatrix ds = dense(s), dt = dense(t), db = dense(b);

  mlSparseSymMatrix bordered(utCopy, s);
  bordered.concatenate(b);
  const mlMatrix dk = dense(bordered);
  EXPECT_EQ(dk.rows(), 10);
  EXPECT_TRUE(same_matrix(block(dk, 0, 0, 7, 7), ds) && same_matrix(block(dk, 0, 7, 7, 3), db));
  EXPECT_TRUE(same_matrix(block(dk, 7, 0, 3, 7), mlMatrix(mlMatrixTranspose, db)));
  EXPECT_TRUE(same_matrix(block(dk, 7, 7, 3, 3), mlMatrix(mlMatrixZero, 3, 3)));

  mlSparseSymMatrix diagonal(utCopy, s);
  diagonal.concatenate_diagonal(t);
  const mlMatrix dd = dense(diagonal);
  EXPECT_TRUE(same_matrix(block(dd, 0, 0, 7, 7), ds) && same_matrix(block(dd, 7, 7, 4, 4), dt));
  EXPECT_TRUE(same_matrix(block(dd, 0, 7, 7, 4), mlMatrix(mlMatrixZero, 7, 4)));

  // Sums merge the stored triangles: the full matrices add the same way.
  const mlSparseSymMatrix u = random_sparse_sym(random, 7, 3);
  mlSparseSymMatrix sum(utCopy, s), difference(utCopy, s);
  sum += u;
  difference -= u;
  mlSparseMatrix full_sum(utCopy, s), full_difference(utCopy, s);
  full_sum += mlSparseMatrix(utCopy, u);
  full_difference -= mlSparseMatrix(utCopy, u);
  EXPECT_TRUE(same_sparse(mlSparseMatrix(utCopy, sum), full_sum));
  EXPECT_TRUE(same_sparse(mlSparseMatrix(utCopy, difference), full_difference));
}

}  // namespace
