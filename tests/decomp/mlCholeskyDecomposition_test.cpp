#include "decomp/mlCholeskyDecomposition.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "kernels/mlDecompKernel.h"
#include "support/reference_decomp.h"
#include "support/reference_kernels.h"
#include "support/test_support.h"

namespace {

using namespace paskosda_test;
using paskosda_detail::KernelIsa;

// M^T M + n I: symmetric positive definite and well conditioned.
mlMatrix random_spd(mlRandom& random, int n) {
  const mlMatrix m = random_matrix(random, n, n);
  mlMatrix a(mlMatrixProduct, mlMatrix(mlMatrixTranspose, m), m);
  for (int i = 0; i < n; ++i)
    a(i, i) += n;
  return a;
}

TEST(mlCholeskyDecomposition, FactorsExactlyReadingOnlyTheUpperTriangle) {
  // L = [2 0 0; 1 2 0; 0 1 1]; the 99s below the diagonal are never read.
  const mlCholeskyDecomposition c(mat(3, 3, {4, 2, 0, 99, 5, 2, 99, 99, 2}));
  mlMatrix l, original;
  c.matrix_l(l);
  c.matrix_original(original);
  EXPECT_EQ(values(l), (std::vector<double>{2, 0, 0, 1, 2, 0, 0, 1, 1}));
  EXPECT_EQ(values(original), (std::vector<double>{4, 2, 0, 2, 5, 2, 0, 2, 2}));
  EXPECT_TRUE(c.is_singular() == 0 && c.determinant() == 16.0);
  // The product of L's diagonal is squared: (sqrt(2) sqrt(3))^2 is 6 + 2^-50, where the
  // product of the squares would be 6.
  const double d = std::sqrt(2.0) * std::sqrt(3.0);
  EXPECT_EQ(mlCholeskyDecomposition(mat(2, 2, {2, 0, 0, 3})).determinant(), d * d);
  EXPECT_EQ(mlCholeskyDecomposition(mlMatrix()).determinant(), 1.0);
}

TEST(mlCholeskyDecomposition, ReportsPivotsThatAreNotPositive) {
  const std::pair<mlMatrix, int> cases[] = {
      {mat(1, 1, {0.0}), 1},         // 0.0 >= s: a zero pivot fails too
      {mat(1, 1, {1e-300}), 0},      // no threshold above zero
      {mat(2, 2, {1, 1, 1, 1}), 1},  // the second pivot is exactly 0
      {mat(1, 1, {kNaN}), 0},        // NaN passes the test
  };
  for (const auto& [a, singular] : cases)
    EXPECT_EQ(mlCholeskyDecomposition(a).is_singular(), singular) << a;
  // The same test in the blocked factorisation of larger matrices: a zero pivot fails at the
  // start, inside and at the end, 1e-300 passes.
  for (const int k : {0, 37, 79}) {
    for (const double pivot : {0.0, 1e-300}) {
      mlMatrix a(mlMatrixIdentity, 80);
      a(k, k) = pivot;
      EXPECT_EQ(mlCholeskyDecomposition(a).is_singular(), pivot == 0.0 ? 1 : 0) << k;
    }
  }
}

TEST(mlCholeskyDecomposition, ReconstructsAndSolvesRandomMatrices) {
  mlRandom random(8);
  for (int n : {1, 16, 60}) {
    const mlMatrix a = random_spd(random, n);
    const mlCholeskyDecomposition c(a);
    ASSERT_EQ(c.is_singular(), 0);
    mlMatrix l, inv_l, inv;
    c.matrix_l(l);
    c.matrix_l_inverted(inv_l);
    c.inverse(inv);
    const mlMatrix identity(mlMatrixIdentity, n), lt(mlMatrixTranspose, l);
    EXPECT_TRUE(equal(mlMatrix(mlMatrixProduct, l, lt), a, 1e-12 * n)) << "n = " << n;
    EXPECT_TRUE(equal(mlMatrix(mlMatrixProduct, inv_l, l), identity, 1e-13 * n));
    EXPECT_TRUE(equal(mlMatrix(mlMatrixProduct, inv, a), identity, 1e-12 * n));
    const mlVector b(utCopy, random_matrix(random, n, 1).col(0));
    mlVector x;
    c.solve(b, x);
    EXPECT_LT(residual(a, x, b), 1e-12 * n);
  }
}

TEST(mlCholeskyDecomposition, ResizesTheMatrixSolutionOnlyWhenItsShapeDiffers) {
  const mlCholeskyDecomposition c(mat(2, 2, {4, 2, 2, 3}));
  const mlMatrix b = mat(2, 1, {6, 5}), ones = mat(2, 1, {1, 1});  // b = A * ones
  // A 2 by 1 matrix that still holds 6 doubles (expand never lowers the used count) keeps
  // them: it is not re-made. A 1 by 2 one is re-made as 2 by 1.
  mlMatrix x(mlMatrixZero, 3, 2), y(mlMatrixZero, 1, 2);
  x.expand(2, 1, 0.0);
  c.solve(b, x);
  c.solve(b, y);
  // equal reads the 2 elements of ones, so x's first 2.
  EXPECT_TRUE(x.size() == 6 && y.rows() == 2 && y.cols() == 1 && equal(ones, x, 1e-15) &&
              equal(ones, y, 1e-15));
}

TEST(mlCholeskyDecomposition, MatrixSolveIsTheVectorSolveOfEachColumnBitForBit) {
  mlRandom random(4);
  for (int n : {1, 5, 40, 90}) {
    const mlCholeskyDecomposition c(random_spd(random, n));
    mlMatrix factors;
    c.matrix_l(factors);  // L with its diagonal: the stored factors below the diagonal
    const mlVector diagonal(utCopy, factors.diagonal());
    mlVector expected;
    for (int k : {2, 37}) {
      mlMatrix b = random_matrix(random, n, k);
      b(random.integer(n), random.integer(k)) = -0.0;
      b(random.integer(n), random.integer(k)) = kNaN;
      for (const KernelIsa isa : best_and_kernel_isas()) {
        mlMatrix x(utCopy, b);
        isa == KernelIsa::Best ? c.solve(b, x)
                               : paskosda_detail::cholesky_solve_matrix(
                                     factors.data(), n, diagonal.data(), x.data(), k, isa);
        for (int col = 0; col < k; ++col) {
          c.solve(mlVector(utCopy, b.col(col)), expected);
          ASSERT_TRUE(same_bits(mlVector(utCopy, x.col(col)).data(), expected.data(), n))
              << "n " << n << ", col " << col;
        }
      }
    }
  }
}

TEST(mlCholeskyDecomposition, VectorSolveMatchesThePlainLoopsBitForBit) {
  mlRandom random(12);
  // Orders around the blocks of the backward sweep and the powers of two.
  for (int n : {1, 7, 8, 9, 17, 64, 255, 256, 300}) {
    const mlMatrix a = random_spd(random, n);
    const mlCholeskyDecomposition c(a);
    mlMatrix factors(utCopy, a);
    std::vector<double> diagonal(n), expected(n);
    ASSERT_EQ(literal_cholesky_factor(factors.data(), n, diagonal.data()), 1);
    mlVector b(utCopy, random_matrix(random, n, 1).col(0)), x;
    b[random.integer(n)] = -0.0;
    for (int nan = 0; nan < 2; ++nan) {
      if (nan == 1) b[random.integer(n)] = kNaN;
      c.solve(b, x);
      literal_cholesky_substitute(factors.data(), n, diagonal.data(), b.data(), expected.data());
      ASSERT_TRUE(same_bits(x.data(), expected.data(), n)) << "n " << n << ", NaN " << nan;
    }
  }
}

TEST(mlCholeskyDecomposition, FastFactorisationMatchesThePlainLoopsBitForBit) {
  for (const KernelIsa isa : best_and_kernel_isas()) {
    mlRandom random(99);
    int failures = 0;
    // Up to ten panels of the widest tiles, failing pivots among them.
    for (int trial = 0; trial < 60; ++trial) {
      const int n = trial < 40 ? 1 + random.integer(80) : 100 + random.integer(220);
      mlMatrix a = random_spd(random, n);
      const int kind = trial % 5, k = random.integer(n);
      if (kind == 1) a(k, k) = -a(k, k);  // fails at row k (or earlier)
      if (kind == 2) a(k, k) = kNaN;
      for (int j = 0; j < n && kind == 3; ++j)
        a(random.integer(n), random.integer(n)) = random.integer(2) == 0 ? 0.0 : -0.0;
      for (int i = 0; i < n * n && kind == 4; ++i)
        a.data()[i] = random.uniform(-1.0, 1.0);  // not positive definite: fails early
      mlMatrix expected(utCopy, a);
      doublecoDynArr diagonal(n, 1);
      diagonal.expand(n);
      std::vector<double> expected_diagonal(n, 0.0);
      const int ok = isa == KernelIsa::Best
                         ? ml_cholesky_factor(a, diagonal)
                         : paskosda_detail::cholesky_factor_kernel(a.data(), n, diagonal, isa);
      const int expected_ok = literal_cholesky_factor(expected.data(), n, expected_diagonal.data());
      failures += expected_ok == 0;
      // The diagonal is set up to the failing pivot (a square root is never 0 here).
      const int set =
          static_cast<int>(std::find(expected_diagonal.begin(), expected_diagonal.end(), 0.0) -
                           expected_diagonal.begin());
      ASSERT_TRUE(ok == expected_ok && same_bits(a.data(), expected.data(), n * n) &&
                  same_bits(diagonal.data(), expected_diagonal.data(), set))
          << "trial " << trial << ", n " << n;
    }
    EXPECT_GT(failures, 12);
  }
}

}  // namespace
