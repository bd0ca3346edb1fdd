#include "linalg/mlMatrix.h"

#include <gtest/gtest.h>

#include <cmath>
#include <iomanip>
#include <sstream>
#include <vector>

#include "support/test_support.h"

namespace {

using paskosda_test::mat;
using paskosda_test::random_matrix;
using paskosda_test::same_bits;
using paskosda_test::values;
using paskosda_test::vec;

TEST(mlMatrix, ConstructionForms) {
  const mlMatrix zero(mlMatrixZero, 2, 3);
  EXPECT_EQ(zero.rows(), 2);
  EXPECT_EQ(zero.cols(), 3);
  EXPECT_EQ(values(zero), std::vector<double>(6, 0.0));

  EXPECT_EQ(values(mlMatrix(mlMatrixIdentity, 3)),
            (std::vector<double>{1, 0, 0, 0, 1, 0, 0, 0, 1}));
  const mlMatrix h(mlMatrixHilbert, 3);
  EXPECT_EQ(h(1, 2), 1.0 / 4);
  EXPECT_EQ(h(2, 2), 1.0 / 5);

  const mlMatrix a = mat(2, 3, {1, 2, 3, 4, 5, 6});
  const mlMatrix t(mlMatrixTranspose, a);
  EXPECT_EQ(t.rows(), 3);
  EXPECT_EQ(values(t), (std::vector<double>{1, 4, 2, 5, 3, 6}));
  mlMatrix copy(utCopy, a);
  copy(0, 0) = 10;
  EXPECT_EQ(a(0, 0), 1.0);
  EXPECT_EQ(copy(1, 2), 6.0);

  // An empty matrix: handing out a view takes the address of element 0 by growing access.
  mlMatrix empty;
  const mlSlice r = empty.row(0);
  EXPECT_EQ(r.dimension(), 0);
  EXPECT_EQ(empty.size(), 1);
  mlMatrix identity0(mlMatrixIdentity, 0);
  EXPECT_EQ(identity0.size(), 1);
  mlMatrix copy_of_empty(utCopy, mlMatrix());
  EXPECT_EQ(copy_of_empty.size(), 1);
  EXPECT_EQ(copy_of_empty.rows(), 0);
}

TEST(mlMatrix, RowsColumnsAndDiagonalAreViewsOfTheStorage) {
  mlMatrix m = mat(3, 4, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12});
  EXPECT_EQ(values(mlVector(utCopy, m.row(1))), (std::vector<double>{5, 6, 7, 8}));
  EXPECT_EQ(values(mlVector(utCopy, m.col(2))), (std::vector<double>{3, 7, 11}));
  EXPECT_EQ(values(mlVector(utCopy, m.diagonal())), (std::vector<double>{1, 6, 11}));
  m.col(0) *= -1.0;
  EXPECT_EQ(m(2, 0), -9.0);
  EXPECT_EQ(*m.row_data(2), -9.0);

  m.swap_rows(0, 2);
  m.swap_cols(1, 3);
  EXPECT_EQ(values(m), (std::vector<double>{-9, 12, 11, 10, -5, 8, 7, 6, -1, 4, 3, 2}));
  m.delete_row(1);
  EXPECT_EQ(m.rows(), 2);
  EXPECT_EQ(values(m), (std::vector<double>{-9, 12, 11, 10, -1, 4, 3, 2}));
  m.delete_col(0);
  EXPECT_EQ(m.cols(), 3);
  EXPECT_EQ(values(m), (std::vector<double>{12, 11, 10, 4, 3, 2}));
  m.delete_col(2);
  EXPECT_EQ(values(m), (std::vector<double>{12, 11, 4, 3}));
  m /= 2.0;
  EXPECT_EQ(values(m), (std::vector<double>{6, 5.5, 2, 1.5}));
  m.fill(3.0);
  EXPECT_EQ(values(m), std::vector<double>(4, 3.0));
}

TEST(mlMatrix, AppendAndExpand) {
  mlMatrix m;
  m.append_row(vec({1, 2}));
  m.append_row(vec({3, 4}));
  EXPECT_EQ(m.rows(), 2);
  EXPECT_EQ(m.cols(), 2);
  m.append_col(vec({5, 6}));
  EXPECT_EQ(m.cols(), 3);
  EXPECT_EQ(values(m), (std::vector<double>{1, 2, 5, 3, 4, 6}));

  mlMatrix column;
  column.append_col(vec({7, 8, 9}));
  EXPECT_EQ(column.rows(), 3);
  EXPECT_EQ(column.cols(), 1);
  EXPECT_EQ(values(column), (std::vector<double>{7, 8, 9}));

  mlMatrix square = mat(2, 2, {1, 2, 3, 4});
  square.expand(3, 3, 9.0);
  EXPECT_EQ(values(square), (std::vector<double>{1, 2, 9, 3, 4, 9, 9, 9, 9}));
  // Shrinking keeps the top-left block; the stored count stays as it was.
  square.expand(2, 1, 0.0);
  EXPECT_EQ(square.rows(), 2);
  EXPECT_EQ(square.cols(), 1);
  EXPECT_EQ(values(square), (std::vector<double>{1, 3}));
  EXPECT_EQ(square.size(), 9);
}

TEST(mlMatrix, ComparisonsWalkTheFirstOperandsStorage) {
  const mlMatrix a = mat(2, 3, {1, 2, 3, 4, 5, 6});
  const mlMatrix b = mat(3, 2, {1, 2, 3, 4, 5, 6});
  EXPECT_EQ(a == b, 1);  // shapes are not compared
  EXPECT_EQ(equal(a, mat(2, 3, {1.05, 2, 3, 4, 5, 5.95}), 0.1), 1);
  EXPECT_EQ(equal(a, mat(2, 3, {1.2, 2, 3, 4, 5, 6}), 0.1), 0);
  const mlMatrix with_nan = mat(1, 2, {std::nan(""), 1});
  EXPECT_EQ(equal(with_nan, mat(1, 2, {5, 1.05}), 0.1), 1);  // a NaN difference passes
  EXPECT_EQ(with_nan == with_nan, 0);
  EXPECT_EQ(equal(mlMatrix(), a, 0.0), 1);

  // The signed test: a negative element counts only while it exceeds the maximum so far.
  EXPECT_EQ(mat(1, 3, {-5, -7, 1}).max_absolute_value(), 5.0);
  EXPECT_EQ(mat(1, 3, {1, -7, 2}).max_absolute_value(), 2.0);
  EXPECT_EQ(mlMatrix().max_absolute_value(), -1.7976931348623157e308);
}

TEST(mlMatrix, ProductsAreTheLiteralLoops) {
  mlRandom random(17);
  for (const auto& shape : std::vector<std::vector<int>>{
           {1, 1, 1}, {3, 5, 2}, {7, 1, 9}, {16, 16, 16}, {33, 20, 17}, {4, 0, 3}}) {
    const int m = shape[0], k = shape[1], n = shape[2];
    const mlMatrix a = random_matrix(random, m, k, -1e3, 1e3);
    const mlMatrix b = random_matrix(random, k, n, -1e-3, 1e-3);
    std::vector<double> expected(m * n);
    for (int i = 0; i < m; ++i) {
      for (int j = 0; j < n; ++j) {
        double s = 0.0;
        for (int p = 0; p < k; ++p)
          s += a(i, p) * b(p, j);
        expected[n * i + j] = s;
      }
    }
    const mlMatrix c(mlMatrixProduct, a, b);
    EXPECT_EQ(c.rows(), m);
    EXPECT_EQ(c.cols(), n);
    EXPECT_TRUE(same_bits(c.data(), expected.data(), m * n)) << m << "x" << k << "x" << n;

    const mlVector v = vec(std::vector<double>(b.data(), b.data() + k));
    const mlVector w(mlMatrixProduct, a, v);
    ASSERT_EQ(w.dimension(), m);
    for (int i = 0; i < m; ++i) {
      double s = 0.0;
      for (int p = 0; p < k; ++p)
        s += a(i, p) * v[p];
      EXPECT_EQ(w[i], s);
    }
    mlVector ws;
    ws.become(mlMatrixProduct, a, b.col(0));
    for (int i = 0; i < m && n > 0; ++i)
      EXPECT_EQ(ws[i], c(i, 0));
  }
}

TEST(mlMatrix, ProductIntoAnOperandUsesATemporary) {
  mlMatrix a = mat(2, 2, {1, 2, 3, 4});
  const mlMatrix b = mat(2, 2, {0, 1, 1, 0});
  multiply(a, b, a);
  EXPECT_EQ(values(a), (std::vector<double>{2, 1, 4, 3}));
  mlMatrix c = mat(2, 2, {1, 1, 0, 1});
  multiply(b, c, c);
  EXPECT_EQ(values(c), (std::vector<double>{0, 1, 1, 1}));
  mlMatrix sq = mat(2, 2, {1, 1, 0, 1});
  sq.become(mlMatrixProduct, sq, sq);
  EXPECT_EQ(values(sq), (std::vector<double>{1, 2, 0, 1}));
}

TEST(mlMatrix, PrintsFixedSixDecimalsAndLeavesThePrecisionBehind) {
  std::ostringstream os;
  os << std::setprecision(2) << mat(1, 2, {1, 2}) << 0.125;
  EXPECT_EQ(os.str(), "| 1.000000 2.000000 | \n0.125");
  EXPECT_EQ(os.precision(), 6);
  EXPECT_FALSE(os.flags() & std::ios::fixed);
}

}  // namespace
