#include "sparse/mlSparseMatrix.h"

#include <gtest/gtest.h>

#include <cmath>
#include <initializer_list>
#include <limits>
#include <vector>

#include "linalg/mlMatrix.h"
#include "linalg/mlRandom.h"
#include "support/reference_sparse.h"
#include "support/test_support.h"

namespace {

using namespace paskosda_test;

template <class Sparse>
mlMatrix dense(const Sparse& a) {
  mlMatrix m;
  a.decompress(m);
  return m;
}

// The elements of m that are not 0.0, in ascending columns.
mlSparseMatrix from_dense(const mlMatrix& m) {
  mlSparseMatrix s(mlMatrixZero, m.rows(), m.cols());
  for (int i = 0; i < m.rows(); ++i)
    for (int j = 0; j < m.cols(); ++j)
      if (m(i, j) != 0.0) s.set(i, j, m(i, j));
  return s;
}

// An r by c matrix of zeros with each block's top-left corner placed at (r0, c0), clipped.
struct Placed {
  const mlMatrix& m;
  int r0, c0;
};
mlMatrix layout(int r, int c, std::initializer_list<Placed> blocks) {
  mlMatrix out(mlMatrixZero, r, c);
  for (const Placed& b : blocks)
    for (int i = 0; i < b.m.rows(); ++i)
      for (int j = 0; j < b.m.cols(); ++j)
        if (b.r0 + i >= 0 && b.r0 + i < r && b.c0 + j >= 0 && b.c0 + j < c)
          out(b.r0 + i, b.c0 + j) = b.m(i, j);
  return out;
}

// The upper triangle of a square matrix.
mlSparseSymMatrix upper_of(const mlSparseMatrix& a) {
  mlSparseSymMatrix s(mlMatrixZero, a.rows());
  for (int i = 0; i < a.rows(); ++i)
    for (const auto& [j, v] : entries(a, i))
      if (j >= i) s.set(i, j, v);
  return s;
}

// Products with a dense vector and matrix: each sum over stored entries from 0.0 gives the
// dense products' bits (the absent entries only add zeros).
template <class Sparse>
void expect_dense_products(mlRandom& random, const Sparse& a) {
  const mlMatrix d = dense(a), m = random_matrix(random, a.cols(), 3);
  const mlVector x(utCopy, m.col(0));
  mlVector y, expected;
  a.multiply_vector(x, y);
  multiply(d, x, expected);
  EXPECT_TRUE(y.dimension() == a.rows() && same_bits(y.data(), expected.data(), a.rows()));
  mlMatrix c;
  a.multiply_matrix(m, c);
  const mlMatrix dc(mlMatrixProduct, d, m);
  EXPECT_TRUE(c.rows() == a.rows() && same_bits(c.data(), dc.data(), a.rows() * 3));
}

// Small and narrow shapes, empty rows, and rows dense enough for the product's scan path.
const int kShapes[][3] = {{1, 1, 1},   {5, 3, 2},    {17, 29, 4},
                          {40, 12, 6}, {64, 64, 20}, {30, 500, 3}};
// Values that cancel exactly and carry signed zeros.
const std::vector<double> kPalette = {-0.0, 0.0, 1.0, -1.0, 2.0, 0.5, -3.0};

TEST(mlSparseMatrix, BuildsResizesAndScales) {
  // Run under the leak checker: dropped rows must be deleted exactly once.
  mlRandom random(3);
  mlSparseMatrix a = random_sparse(random, 30, 10, 3);
  const mlMatrix kept = layout(12, 10, {{dense(a), 0, 0}});
  a.resize_rows(12);
  EXPECT_TRUE(same_sparse(a, from_dense(kept)));
  a.resize_rows(50);
  EXPECT_TRUE(same_sparse(a, from_dense(layout(50, 10, {{kept, 0, 0}}))));
  EXPECT_EQ(a.last_in_row(49), -1);
  a.clear(0);
  EXPECT_EQ(a.num_non_zero_elements(), 0);
  a.set_invalid();
  EXPECT_TRUE(a.invalid() == 1 && a.cols() == 0);
  a.become(mlMatrixIdentity, 3);  // reuses the row table
  a.set(1, 2, -3.0);
  a *= 3.0;
  a /= 7.0;  // a true division: -9 / 7 differs from -9 * (1 / 7)
  EXPECT_TRUE(
      same_sparse(a, from_dense(mat(3, 3, {3 / 7., 0, 0, 0, 3 / 7., -9 / 7., 0, 0, 3 / 7.}))));
  a.resize_rows(0);
  EXPECT_EQ(a.invalid(), 1);
}

TEST(mlSparseMatrix, ProductMatchesTheOrderedMapBitForBit) {
  mlRandom random(13);
  mlSparseMatrix fast, reference;
  for (const auto& [r, c, per_row] : kShapes) {
    for (int inner : {1, 9, 33}) {
      // The palette brings exact cancellations and signed zeros: the first product at a
      // column is stored as it is, and zero sums are kept.
      for (const auto& palette : {std::vector<double>{}, kPalette}) {
        const mlSparseMatrix a = random_sparse(random, r, inner, per_row, palette);
        const mlSparseMatrix b = random_sparse(random, inner, c, per_row, palette);
        fast.become(mlMatrixProduct, a, b);
        literal_product(a, b, reference);
        ASSERT_TRUE(same_sparse(fast, reference)) << r << "x" << inner << "x" << c;
      }
    }
  }
  // Few products in a wide row: the columns met are sorted rather than read back in order.
  const mlSparseMatrix narrow = random_sparse(random, 40, 30, 1);
  const mlSparseMatrix wide = random_sparse(random, 30, 70000, 1);
  fast.become(mlMatrixProduct, narrow, wide);
  literal_product(narrow, wide, reference);
  EXPECT_TRUE(same_sparse(fast, reference));
  // An operand may be the result.
  mlSparseMatrix a = random_sparse(random, 20, 20, 5);
  literal_product(a, a, reference);
  a.become(mlMatrixProduct, a, a);
  EXPECT_TRUE(same_sparse(a, reference));
}

TEST(mlSparseMatrix, TransposeSumsAndDenseProductsMatchDense) {
  mlRandom random(19);
  for (const auto& [r, c, per_row] : kShapes) {
    const mlSparseMatrix a = random_sparse(random, r, c, per_row);
    const mlSparseMatrix b = random_sparse(random, r, c, per_row);
    expect_dense_products(random, a);
    const mlMatrix da = dense(a), db = dense(b);
    mlSparseMatrix at(mlMatrixTranspose, a), in_place(utCopy, a);
    in_place.become(mlMatrixTranspose, in_place);
    EXPECT_TRUE(same_sparse(at, from_dense(mlMatrix(mlMatrixTranspose, da))));
    EXPECT_TRUE(same_sparse(in_place, at));
    mlMatrix sum(utCopy, da), difference(utCopy, da);
    for (int k = 0; k < r * c; ++k) {
      sum.data()[k] = da.data()[k] + db.data()[k];
      difference.data()[k] = da.data()[k] - db.data()[k];
    }
    mlSparseMatrix plus(utCopy, a), minus(utCopy, a);
    plus += b;
    minus -= b;
    EXPECT_TRUE(same_sparse(plus, from_dense(sum)));
    EXPECT_TRUE(same_sparse(minus, from_dense(difference)));

    // A matrix with itself: twice the values, or every entry kept as a stored 0.0.
    mlSparseMatrix twice(utCopy, a), zero(utCopy, a), doubled(utCopy, a);
    twice += twice;
    zero -= zero;
    doubled *= 2.0;
    EXPECT_TRUE(same_sparse(twice, doubled));
    EXPECT_EQ(zero.num_non_zero_elements(), a.num_non_zero_elements());
    EXPECT_TRUE(same_sparse(from_dense(dense(zero)), mlSparseMatrix(mlMatrixZero, r, c)));
  }
}

TEST(mlSparseMatrix, TransposeAndVectorProductMatchTheLiteralLoopsBitForBit) {
  // Empty shapes, and rows long enough to pass the product's unrolled steps. The values carry
  // signed zeros (a row of -0.0 products sums to 0.0), a NaN and infinities.
  const int shapes[][3] = {{0, 0, 1},   {0, 7, 1},   {7, 0, 1},    {1, 1, 1},
                           {17, 29, 4}, {40, 12, 6}, {64, 64, 20}, {6, 300, 60}};
  const double inf = std::numeric_limits<double>::infinity();
  const std::vector<double> specials = {-0.0, 0.0, 1.5, -2.5, std::nan(""), inf, -inf};
  mlRandom random(47);
  // One target for every result in turn: rows reused as the shape grows and shrinks, and as a
  // denser matrix of the same shape follows a sparser one (and the other way round).
  mlSparseMatrix reused, expected;
  mlVector y(mlVectorDim, 3);
  for (const auto& [r, c, per_row] : shapes) {
    for (const auto& palette : {std::vector<double>{}, specials}) {
      for (int density : {1, 3}) {
        const mlSparseMatrix a = random_sparse(random, r, c, density * per_row, palette);
        literal_transpose(a, expected);
        reused.become(mlMatrixTranspose, a);
        mlSparseMatrix in_place(utCopy, a);
        in_place.become(mlMatrixTranspose, in_place);
        EXPECT_TRUE(same_sparse(mlSparseMatrix(mlMatrixTranspose, a), expected));
        EXPECT_TRUE(same_sparse(reused, expected) && same_sparse(in_place, expected));

        mlVector x(mlVectorDim, c);
        const int kinds = static_cast<int>(palette.size());
        for (int j = 0; j < c; ++j)
          x[j] = kinds == 0 ? random.uniform(-1.0, 1.0) : palette[random.integer(kinds)];
        a.multiply_vector(x, y);
        ASSERT_EQ(y.dimension(), r);
        EXPECT_TRUE(same_bits_or_nan(literal_multiply_vector(a, x).data(), y.data(), r))
            << r << "x" << c;
      }
    }
  }
}

TEST(mlSparseMatrix, ConcatenationsAndSubMatricesMatchDenseBlocks) {
  mlRandom random(23);
  const mlSparseMatrix a = random_sparse(random, 9, 6, 3);
  const mlSparseMatrix b = random_sparse(random, 9, 4, 3);
  const mlSparseMatrix c = random_sparse(random, 5, 6, 3);
  const mlMatrix da = dense(a), db = dense(b), dc = dense(c);
  // Right, below and diagonal: with another matrix, then each with itself.
  const mlMatrix expected[] = {
      layout(9, 10, {{da, 0, 0}, {db, 0, 6}}),  layout(14, 6, {{da, 0, 0}, {dc, 9, 0}}),
      layout(14, 12, {{da, 0, 0}, {dc, 9, 6}}), layout(9, 12, {{da, 0, 0}, {da, 0, 6}}),
      layout(18, 6, {{da, 0, 0}, {da, 9, 0}}),  layout(18, 12, {{da, 0, 0}, {da, 9, 6}})};
  for (int k = 0; k < 6; ++k) {
    mlSparseMatrix s(utCopy, a);
    const mlSparseMatrix& other = k >= 3 ? s : k == 0 ? b : c;
    k % 3 == 0   ? s.concatenate_right(other)
    : k % 3 == 1 ? s.concatenate_below(other)
                 : s.concatenate_diagonal(other);
    EXPECT_TRUE(same_sparse(s, from_dense(expected[k]))) << k;
  }
  // Without rows only the column count changes.
  mlSparseMatrix empty;
  empty.concatenate_right(b);
  EXPECT_TRUE(empty.rows() == 0 && empty.cols() == 4);

  // Every column range of two row ranges, and a sub-matrix written over its source.
  mlSparseMatrix sub;
  for (int r0 : {0, 3}) {
    for (int c0 = 0; c0 <= 6; ++c0) {
      for (int nc = 0; c0 + nc <= 6; ++nc) {
        a.extract_sub_matrix(r0, c0, 9 - 2 * r0, nc, sub);
        EXPECT_TRUE(same_sparse(sub, from_dense(layout(9 - 2 * r0, nc, {{da, -r0, -c0}}))))
            << r0 << " " << c0 << " " << nc;
      }
    }
  }
  sub.become(utCopy, a);
  sub.extract_sub_matrix(2, 1, 4, 3, sub);
  EXPECT_TRUE(same_sparse(sub, from_dense(layout(4, 3, {{da, -2, -1}}))));
}

TEST(mlSparseMatrixSymmetric, StandsForTheFullSymmetricMatrix) {
  mlRandom random(29);
  for (int n : {1, 6, 30, 64}) {
    const mlSparseSymMatrix s = upper_of(random_sparse(random, n, n, 3));
    const mlMatrix ds = dense(s);
    EXPECT_TRUE(same_sparse(mlSparseMatrix(utCopy, s), from_dense(ds)));
    expect_dense_products(random, s);
    for (int i = 0; i < n * n; ++i)
      ASSERT_EQ(s.element(i / n, i % n), ds(i / n, i % n)) << i;
  }
  // An empty stored row reports the column before its diagonal, by design.
  EXPECT_EQ(mlSparseSymMatrix(mlMatrixZero, 3).last_in_row(2), 1);
}

TEST(mlSparseMatrixSymmetric, PremultiplyTransposeMatchesTheOrderedMapBitForBit) {
  mlRandom random(37);
  mlSparseSymMatrix reference;
  for (const auto& [r, c, per_row] : kShapes) {
    for (const auto& palette : {std::vector<double>{}, kPalette}) {
      const mlSparseMatrix a = random_sparse(random, r, c, per_row, palette);
      const mlSparseSymMatrix ata(mlMatrixPremultiplyTranspose, a);
      literal_premultiply_transpose(a, reference);
      ASSERT_TRUE(same_sparse(ata, reference)) << r << "x" << c;
      // The upper triangle of the general product of the transpose with a, bit for bit.
      const mlSparseMatrix product(mlMatrixProduct, mlSparseMatrix(mlMatrixTranspose, a), a);
      EXPECT_TRUE(same_sparse(ata, upper_of(product)));
    }
  }
}

TEST(mlSparseMatrixSymmetric, BordersAndStacksDiagonalBlocks) {
  mlRandom random(41);
  const mlSparseSymMatrix s = upper_of(random_sparse(random, 7, 7, 3));
  const mlSparseSymMatrix t = upper_of(random_sparse(random, 4, 4, 2));
  const mlSparseMatrix b = random_sparse(random, 7, 3, 2);
  const mlMatrix ds = dense(s), dt = dense(t), db = dense(b), dbt(mlMatrixTranspose, db);
  mlSparseSymMatrix bordered(utCopy, s), diagonal(utCopy, s);
  bordered.concatenate(b);
  diagonal.concatenate_diagonal(t);
  EXPECT_TRUE(same_sparse(mlSparseMatrix(utCopy, bordered),
                          from_dense(layout(10, 10, {{ds, 0, 0}, {db, 0, 7}, {dbt, 7, 0}}))));
  EXPECT_TRUE(same_sparse(mlSparseMatrix(utCopy, diagonal),
                          from_dense(layout(11, 11, {{ds, 0, 0}, {dt, 7, 7}}))));
}

}  // namespace
