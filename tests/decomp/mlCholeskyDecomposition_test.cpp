#include "decomp/mlCholeskyDecomposition.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "../../src/decomp/mlDecompKernel.h"
#include "support/reference_decomp.h"
#include "support/test_support.h"

namespace {

using paskosda_test::mat;
using paskosda_test::random_matrix;
using paskosda_test::same_bits;
using paskosda_test::values;
using paskosda_test::vec;

// M^T M + n I: symmetric positive definite and well conditioned.
mlMatrix random_spd(mlRandom& random, int n) {
  const mlMatrix m = random_matrix(random, n, n);
  mlMatrix a(mlMatrixZero, n, n);
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j < n; ++j) {
      double s = i == j ? n : 0.0;
      for (int k = 0; k < n; ++k)
        s += m(k, i) * m(k, j);
      a(i, j) = s;
    }
  }
  return a;
}

TEST(CholeskyDecomposition, FactorsSmallMatricesAsExpected) {
  const mlCholeskyDecomposition c(mat(2, 2, {4, 2, 2, 3}));
  ASSERT_EQ(c.is_singular(), 0);
  mlMatrix l;
  c.matrix_l(l);
  EXPECT_EQ(values(l), (std::vector<double>{2, 0, 1, std::sqrt(2.0)}));
  // (2 * sqrt(2))^2 rounds to 8 + 2^-49, not to 8.
  EXPECT_EQ(c.determinant(), (2 * std::sqrt(2.0)) * (2 * std::sqrt(2.0)));
  EXPECT_NEAR(c.determinant(), 8.0, 1e-14);

  const mlMatrix identity(mlMatrixIdentity, 3);
  const mlCholeskyDecomposition ci(identity);
  mlMatrix li, inv_l;
  ci.matrix_l(li);
  ci.matrix_l_inverted(inv_l);
  EXPECT_TRUE(li == identity && inv_l == identity);
  EXPECT_EQ(ci.determinant(), 1.0);
  EXPECT_EQ(mlCholeskyDecomposition(mlMatrix()).determinant(), 1.0);
}

TEST(CholeskyDecomposition, ReportsPivotsThatAreNotPositive) {
  struct Case {
    mlMatrix a;
    int singular;
  };
  const Case cases[] = {
      {mat(1, 1, {0.0}), 1},  // 0.0 >= s: a zero pivot fails too
      {mat(1, 1, {-1.0}), 1},
      {mat(1, 1, {1e-300}), 0},
      {mat(2, 2, {1, 1, 1, 1}), 1},  // the second pivot is exactly 0
      {mat(2, 2, {1, 2, 2, 1}), 1},
      {mat(2, 2, {0, 1, 1, 4}), 1},
      {mat(1, 1, {std::numeric_limits<double>::quiet_NaN()}), 0},  // NaN passes the test
  };
  for (const Case& c : cases)
    EXPECT_EQ(mlCholeskyDecomposition(c.a).is_singular(), c.singular) << c.a;
}

TEST(CholeskyDecomposition, ReadsOnlyTheUpperTriangle) {
  // The lower triangle (99) is never read: the symmetrised upper triangle comes back.
  const mlMatrix a = mat(3, 3, {4, 2, 0, 99, 5, 1, 99, 99, 3});
  const mlCholeskyDecomposition c(a);
  ASSERT_EQ(c.is_singular(), 0);
  mlMatrix original;
  c.matrix_original(original);
  EXPECT_EQ(values(original), (std::vector<double>{4, 2, 0, 2, 5, 1, 0, 1, 3}));
  mlMatrix l, lt, llt;
  c.matrix_l(l);
  lt.become(mlMatrixTranspose, l);
  multiply(l, lt, llt);
  EXPECT_EQ(equal(llt, original, 1e-14), 1);
}

TEST(CholeskyDecomposition, ReconstructsAndSolvesRandomMatrices) {
  mlRandom random(8);
  for (int n : {1, 3, 16, 33, 60}) {
    const mlMatrix a = random_spd(random, n);
    const mlCholeskyDecomposition c(a);
    ASSERT_EQ(c.is_singular(), 0);
    mlMatrix l, lt, llt;
    c.matrix_l(l);
    lt.become(mlMatrixTranspose, l);
    multiply(l, lt, llt);
    EXPECT_EQ(equal(llt, a, 1e-12 * n), 1) << "n = " << n;

    mlMatrix inv_l, product;
    c.matrix_l_inverted(inv_l);
    multiply(inv_l, l, product);
    EXPECT_EQ(equal(product, mlMatrix(mlMatrixIdentity, n), 1e-13 * n), 1);

    mlMatrix inv;
    c.inverse(inv);
    multiply(inv, a, product);
    EXPECT_EQ(equal(product, mlMatrix(mlMatrixIdentity, n), 1e-12 * n), 1);

    const mlVector b(utCopy, random_matrix(random, n, 1).col(0));
    mlVector x;
    c.solve(b, x);
    mlVector residual(mlMatrixProduct, a, x);
    residual -= b;
    EXPECT_LT(residual.max_absolute_value(), 1e-12 * n);
  }
}

TEST(CholeskyDecomposition, SolvesHilbertSystems) {
  const int n = 8;
  const mlMatrix h(mlMatrixHilbert, n);
  const mlCholeskyDecomposition c(h);
  ASSERT_EQ(c.is_singular(), 0);
  mlVector ones(mlVectorZero, n);
  ones += 1.0;
  const mlVector b(mlMatrixProduct, h, ones);
  mlVector x;
  c.solve(b, x);
  mlVector residual(mlMatrixProduct, h, x);
  residual -= b;
  EXPECT_LT(residual.max_absolute_value(), 1e-14);
  EXPECT_LT(norm_diff(x, ones), 1e-5);
  // H13 is positive definite, but in doubles its last pivot cancels to below zero.
  EXPECT_EQ(mlCholeskyDecomposition(mlMatrix(mlMatrixHilbert, 12)).is_singular(), 0);
  EXPECT_EQ(mlCholeskyDecomposition(mlMatrix(mlMatrixHilbert, 13)).is_singular(), 1);
}

TEST(CholeskyDecomposition, ResizesTheMatrixSolutionOnlyWhenItsShapeDiffers) {
  const mlCholeskyDecomposition c(mat(2, 2, {4, 2, 2, 3}));
  const mlMatrix b = mat(2, 1, {6, 5});
  // A 2 by 1 matrix that still holds 6 doubles (expand never lowers the used count) keeps
  // them: it is not re-made.
  mlMatrix x(mlMatrixZero, 3, 2);
  x.expand(2, 1, 0.0);
  c.solve(b, x);
  EXPECT_EQ(x.size(), 6);
  EXPECT_DOUBLE_EQ(x(0, 0), 1.0);
  EXPECT_DOUBLE_EQ(x(1, 0), 1.0);
  // A 1 by 2 one is re-made as 2 by 1.
  mlMatrix y(mlMatrixZero, 1, 2);
  c.solve(b, y);
  EXPECT_EQ(y.rows(), 2);
  EXPECT_EQ(y.cols(), 1);
  EXPECT_DOUBLE_EQ(y(0, 0), 1.0);
  EXPECT_DOUBLE_EQ(y(1, 0), 1.0);
}

TEST(CholeskyDecomposition, MatrixSolveIsTheVectorSolveOfEachColumnBitForBit) {
  using paskosda_detail::KernelIsa;
  mlRandom random(4);
  for (int n : {1, 5, 40, 90}) {
    const mlCholeskyDecomposition c(random_spd(random, n));
    mlMatrix factors;
    c.matrix_l(factors);  // L with its diagonal: the stored factors below the diagonal
    mlVector diagonal(utCopy, factors.diagonal());
    for (int k : {2, 37}) {
      mlMatrix b = random_matrix(random, n, k);
      b(random.integer(n), random.integer(k)) = -0.0;
      b(random.integer(n), random.integer(k)) = std::numeric_limits<double>::quiet_NaN();
      for (const KernelIsa isa : {KernelIsa::Best, KernelIsa::Baseline}) {
        mlMatrix x;
        if (isa == KernelIsa::Best) {
          c.solve(b, x);
        } else {
          x.become(utCopy, b);
          paskosda_detail::cholesky_solve_matrix(factors.data(), n, diagonal.data(), x.data(), k,
                                                 isa);
        }
        for (int col = 0; col < k; ++col) {
          const mlVector bc(utCopy, b.col(col));
          mlVector expected;
          c.solve(bc, expected);
          const mlVector got(utCopy, x.col(col));
          ASSERT_TRUE(same_bits(got.data(), expected.data(), n)) << "n " << n << ", col " << col;
        }
      }
    }
  }
}

TEST(CholeskyDecomposition, FastFactorisationMatchesThePlainLoopsBitForBit) {
  using paskosda_detail::KernelIsa;
  for (const KernelIsa isa : {KernelIsa::Best, KernelIsa::Baseline}) {
    mlRandom random(99);
    int failures = 0;
    for (int trial = 0; trial < 80; ++trial) {
      const int n = 1 + random.integer(trial < 65 ? 80 : 140);
      mlMatrix a = random_spd(random, n);
      const int kind = trial % 5;
      const int k = random.integer(n);
      if (kind == 1) a(k, k) = -a(k, k);  // fails at row k (or earlier)
      if (kind == 2) a(k, k) = std::numeric_limits<double>::quiet_NaN();
      if (kind == 3) {
        for (int j = 0; j < n; ++j)
          a(random.integer(n), random.integer(n)) = random.integer(2) == 0 ? 0.0 : -0.0;
      }
      if (kind == 4) {
        for (int i = 0; i < n * n; ++i)
          a.data()[i] = random.uniform(-1.0, 1.0);  // not positive definite: fails early
      }
      mlMatrix expected(utCopy, a);
      doublecoDynArr diagonal(n, 1);
      diagonal.expand(n);
      std::vector<double> expected_diagonal(n, 0.0);
      const int ok = isa == KernelIsa::Best
                         ? ml_cholesky_factor(a, diagonal)
                         : paskosda_detail::cholesky_factor_kernel(a.data(), n, diagonal, isa);
      const int expected_ok =
          paskosda_test::literal_cholesky_factor(expected.data(), n, expected_diagonal.data());
      failures += expected_ok == 0;
      ASSERT_EQ(ok, expected_ok) << "trial " << trial;
      ASSERT_TRUE(same_bits(a.data(), expected.data(), n * n)) << "trial " << trial << ", n " << n;
      // The diagonal is set up to the failing pivot (a square root is never 0 here).
      int set = 0;
      while (set < n && expected_diagonal[set] != 0.0)
        ++set;
      ASSERT_TRUE(same_bits(diagonal.data(), expected_diagonal.data(), set)) << "trial " << trial;
    }
    EXPECT_GT(failures, 20);
  }
}

}  // namespace
