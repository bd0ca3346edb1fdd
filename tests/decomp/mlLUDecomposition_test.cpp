#include "decomp/mlLUDecomposition.h"

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

std::vector<int> permutation_of(const mlLUDecomposition& lu) {
  mlMatrix p;
  lu.permutation_matrix(p);
  std::vector<int> rows;
  for (int i = 0; i < p.rows(); ++i) {
    for (int j = 0; j < p.cols(); ++j) {
      if (p(i, j) == 1.0) rows.push_back(j);
    }
  }
  return rows;
}

// The largest |(P A - L U)(i, j)|.
double reconstruction_error(const mlLUDecomposition& lu, const mlMatrix& a) {
  mlMatrix p, l, u, pa, lu_product;
  lu.permutation_matrix(p);
  lu.lower_matrix(l);
  lu.upper_matrix(u);
  multiply(p, a, pa);
  multiply(l, u, lu_product);
  double e = 0.0;
  for (int i = 0; i < a.rows() * a.cols(); ++i)
    e = std::fmax(e, std::fabs(pa.data()[i] - lu_product.data()[i]));
  return e;
}

TEST(LUDecomposition, FactorsASmallIntegerMatrixExactly) {
  // Both steps pivot: the multipliers 1/4, 1/2 and 1/4 are exact, so are the factors.
  const mlMatrix a = mat(3, 3, {1, 2, 0, 4, 4, 4, 2, 6, 3});
  const mlLUDecomposition lu(a);
  ASSERT_EQ(lu.is_singular(), 0);
  mlMatrix l, u;
  lu.lower_matrix(l);
  lu.upper_matrix(u);
  EXPECT_EQ(values(l), (std::vector<double>{1, 0, 0, 0.5, 1, 0, 0.25, 0.25, 1}));
  EXPECT_EQ(values(u), (std::vector<double>{4, 4, 4, 0, 4, 1, 0, 0, -1.25}));
  EXPECT_EQ(permutation_of(lu), (std::vector<int>{1, 2, 0}));
  EXPECT_EQ(lu.determinant(), -20.0);  // two swaps: +1 * 4 * 4 * -1.25

  mlVector x;
  lu.solve(vec({3, 12, 11}), x);  // A * (1, 1, 1)
  EXPECT_EQ(values(x), (std::vector<double>{1, 1, 1}));
}

TEST(LUDecomposition, PivotsOnTheLargestMagnitudeAndTheTopmostAmongEquals) {
  struct Case {
    mlMatrix a;
    std::vector<int> permutation;
    double determinant;
  };
  const Case cases[] = {
      {mat(2, 2, {0, 1, 1, 0}), {1, 0}, -1.0},
      {mat(2, 2, {1, 2, -1, 3}), {0, 1}, 5.0},                     // |1| = |-1|: no swap
      {mat(3, 3, {0, 1, 1, 2, 1, 0, -2, 0, 3}), {1, 0, 2}, -4.0},  // rows 1 and 2 tie: row 1
      {mat(3, 3, {1, 0, 0, 0, 1, 0, 0, 0, 1}), {0, 1, 2}, 1.0},
  };
  for (const Case& c : cases) {
    const mlLUDecomposition lu(c.a);
    EXPECT_EQ(permutation_of(lu), c.permutation);
    EXPECT_EQ(lu.determinant(), c.determinant);
    EXPECT_EQ(reconstruction_error(lu, c.a), 0.0);
  }
  // The identity: nothing moves, L = U = P = I.
  const mlMatrix identity(mlMatrixIdentity, 4);
  const mlLUDecomposition lu(identity);
  mlMatrix l, u, p;
  lu.lower_matrix(l);
  lu.upper_matrix(u);
  lu.permutation_matrix(p);
  EXPECT_TRUE(l == identity && u == identity && p == identity);
}

TEST(LUDecomposition, PivotTestIsAbsoluteAndStrictAt1e20) {
  struct Case {
    mlMatrix a;
    int singular;
  };
  const Case cases[] = {
      {mat(1, 1, {1e-20}), 0},
      {mat(1, 1, {0.99e-20}), 1},
      {mat(1, 1, {-1e-20}), 0},
      {mat(2, 2, {1, 0, 0, 1e-20}), 0},
      {mat(2, 2, {1, 0, 0, 0.99e-20}), 1},   // the last pivot, tested once more after the loop
      {mat(2, 2, {1e-30, 0, 0, 1e-30}), 1},  // no scaling by the matrix
      {mat(2, 2, {1, 2, 2, 4}), 1},
      {mat(3, 3, {1, 2, 3, 2, 4, 6, 1, 1, 1}), 1},
      {mat(2, 2, {std::numeric_limits<double>::quiet_NaN(), 1, 1, 1}), 0},  // NaN passes
  };
  for (const Case& c : cases)
    EXPECT_EQ(mlLUDecomposition(c.a).is_singular(), c.singular) << c.a;
}

TEST(LUDecomposition, AFailedEliminationStopsWhereItWas) {
  // Column 0 is zero: the first pivot fails at once, after no interchange.
  mlMatrix a = mat(2, 3, {0, 1, 2, 0, 3, 4});
  int permutation[2];
  int swaps = -1;
  EXPECT_EQ(ml_lu_eliminate(a, permutation, &swaps, 1e-20), 0);
  EXPECT_EQ(values(a), (std::vector<double>{0, 1, 2, 0, 3, 4}));
  EXPECT_EQ(swaps, 0);
  // The second pivot fails after the first step and its interchange.
  mlMatrix b = mat(2, 2, {1, 2, 2, 4});
  EXPECT_EQ(ml_lu_eliminate(b, permutation, &swaps, 1e-20), 0);
  EXPECT_EQ(values(b), (std::vector<double>{2, 4, 0.5, 0}));
  EXPECT_EQ(swaps, 1);
  EXPECT_EQ(permutation[0], 1);
}

TEST(LUDecomposition, RejectsNonSquareMatricesAndAcceptsTheEmptyOne) {
  for (const mlMatrix& a : {mat(2, 3, {1, 0, 0, 0, 1, 0}), mat(3, 2, {1, 0, 0, 1, 0, 0})}) {
    const mlLUDecomposition lu(a);
    EXPECT_EQ(lu.is_singular(), 1);
    EXPECT_EQ(lu.dimension(), a.rows());
    EXPECT_EQ(lu.determinant(), 0.0);
    mlMatrix u;
    lu.upper_matrix(u);
    EXPECT_EQ(values(u), std::vector<double>(a.rows() * a.rows(), 0.0));
  }
  const mlMatrix empty;
  const mlLUDecomposition lu(empty);
  EXPECT_EQ(lu.is_singular(), 0);
  EXPECT_EQ(lu.dimension(), 0);
  EXPECT_EQ(lu.determinant(), 1.0);
  mlVector x = vec({7});
  lu.solve(mlVector(), x);
  EXPECT_EQ(x.dimension(), 0);
  mlMatrix inv(2, 2);
  lu.inverse(inv);
  EXPECT_EQ(inv.rows(), 0);
  EXPECT_EQ(inv.cols(), 0);
}

TEST(LUDecomposition, MatrixSolveMultipliesByTheReciprocalWhereTheVectorSolveDivides) {
  // 5 / 3 and 5 * (1 / 3) differ in the last bit.
  const mlLUDecomposition lu(mat(1, 1, {3}));
  mlVector x;
  lu.solve(vec({5}), x);
  mlMatrix xm;
  lu.solve(mat(1, 1, {5}), xm);
  EXPECT_EQ(x[0], 5.0 / 3.0);
  EXPECT_EQ(xm(0, 0), 5.0 * (1.0 / 3.0));
  EXPECT_NE(x[0], xm(0, 0));
}

TEST(LUDecomposition, ReconstructsAndSolvesRandomMatrices) {
  mlRandom random(31);
  for (int n : {1, 2, 5, 17, 40, 77}) {
    const mlMatrix a = random_matrix(random, n, n);
    const mlLUDecomposition lu(a);
    ASSERT_EQ(lu.is_singular(), 0);
    EXPECT_LT(reconstruction_error(lu, a), 1e-13 * n);

    mlMatrix inv, product;
    lu.inverse(inv);
    multiply(inv, a, product);
    const mlMatrix identity(mlMatrixIdentity, n);
    EXPECT_EQ(equal(product, identity, 1e-10 * n), 1) << "n = " << n;

    const mlVector b(utCopy, random_matrix(random, n, 1).col(0));
    mlVector x;
    lu.solve(b, x);
    mlVector residual(mlMatrixProduct, a, x);
    residual -= b;
    EXPECT_LT(residual.max_absolute_value(), 1e-12 * n);
  }
}

TEST(LUDecomposition, SolvesIllConditionedHilbertSystems) {
  // cond(H8) is about 1.5e10: the residual stays at rounding level while the error grows.
  for (int n : {4, 8}) {
    const mlMatrix h(mlMatrixHilbert, n);
    const mlLUDecomposition lu(h);
    ASSERT_EQ(lu.is_singular(), 0);
    mlVector ones(mlVectorZero, n);
    ones += 1.0;
    const mlVector b(mlMatrixProduct, h, ones);
    mlVector x;
    lu.solve(b, x);
    mlVector residual(mlMatrixProduct, h, x);
    residual -= b;
    EXPECT_LT(residual.max_absolute_value(), 1e-14);
    EXPECT_LT(norm_diff(x, ones), n == 4 ? 1e-11 : 1e-5);
  }
  // The inverse of H4 has integer elements (the first row is 16, -120, 240, -140).
  mlMatrix inv;
  mlLUDecomposition(mlMatrix(mlMatrixHilbert, 4)).inverse(inv);
  const double first_row[] = {16, -120, 240, -140};
  for (int j = 0; j < 4; ++j)
    EXPECT_NEAR(inv(0, j), first_row[j], 1e-9);
}

TEST(LUDecomposition, EliminatesAugmentedMatricesIntoTheirSolutions) {
  mlRandom random(5);
  const int n = 30, k = 4;
  const mlMatrix a = random_matrix(random, n, n);
  const mlMatrix x_true = random_matrix(random, n, k);
  mlMatrix b;
  multiply(a, x_true, b);
  mlMatrix augmented(n, n + k);
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j < n + k; ++j)
      augmented(i, j) = j < n ? a(i, j) : b(i, j - n);
  }
  std::vector<int> permutation(n);
  int swaps = 0;
  ASSERT_EQ(ml_lu_eliminate(augmented, permutation.data(), &swaps, 1e-20), 1);
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j < k; ++j)
      EXPECT_NEAR(augmented(i, n + j), x_true(i, j), 1e-10);
  }
}

// ---- The fast elimination and solves against the plain loops, bit for bit -------------------

// Fills a with a pattern chosen by `kind`, from a fixed seed.
void fill(mlRandom& random, mlMatrix& a, int kind) {
  const int r = a.rows(), c = a.cols();
  const double nan = std::numeric_limits<double>::quiet_NaN();
  for (int i = 0; i < r * c; ++i) {
    double x = random.uniform(-1.0, 1.0);
    if (kind == 1) x = static_cast<double>(random.integer(5) - 2);  // ties, exact zeros
    if (kind == 2 && random.integer(3) == 0) x = random.integer(2) == 0 ? 0.0 : -0.0;
    a.data()[i] = x;
  }
  if (r == 0) return;
  const int k = random.integer(r);
  if (kind == 3) {
    for (int i = 0; i < r; ++i)
      a(i, k) = 0.0;  // the elimination fails at step k (or earlier)
  }
  if (kind == 4) {
    // A column at the scale of the tolerance: the pivot there passes or fails by a hair.
    const double scale = random.integer(2) == 0 ? 1e-21 : 1e-19;
    for (int i = 0; i < r; ++i)
      a(i, k) *= scale;
  }
  if (kind == 5) a(random.integer(r), k) = nan;
}

using paskosda_detail::KernelIsa;

// The public functions use the best instruction set; the baseline one is checked directly.
constexpr KernelIsa kIsas[] = {KernelIsa::Best, KernelIsa::Baseline};

TEST(LUDecomposition, FastEliminationMatchesThePlainLoopsBitForBit) {
  for (const KernelIsa isa : kIsas) {
    mlRandom random(2024);
    int failures = 0;
    for (int trial = 0; trial < 100; ++trial) {
      const int r = 1 + random.integer(trial < 75 ? 90 : 130);
      const int c = r + (random.integer(4) == 0 ? 1 + random.integer(40) : 0);
      const int kind = trial % 6;
      mlMatrix a(r, c);
      fill(random, a, kind);
      mlMatrix expected(utCopy, a);
      std::vector<int> perm(r, -1), expected_perm(r, -1);
      int swaps = -1, expected_swaps = -1;
      const int ok = isa == KernelIsa::Best ? ml_lu_eliminate(a, perm.data(), &swaps, 1e-20)
                                            : paskosda_detail::lu_eliminate_kernel(
                                                  a.data(), r, c, perm.data(), &swaps, 1e-20, isa);
      const int expected_ok = paskosda_test::literal_lu_eliminate(
          expected.data(), r, c, expected_perm.data(), &expected_swaps, 1e-20);
      failures += expected_ok == 0;
      ASSERT_EQ(ok, expected_ok) << "trial " << trial;
      ASSERT_EQ(swaps, expected_swaps) << "trial " << trial;
      ASSERT_EQ(perm, expected_perm) << "trial " << trial;
      ASSERT_TRUE(same_bits(a.data(), expected.data(), r * c))
          << "trial " << trial << ", " << r << "x" << c << ", kind " << kind;
    }
    EXPECT_GT(failures, 15);  // the failing paths were exercised too
  }
}

TEST(LUDecomposition, FastSolvesMatchThePlainLoopsBitForBit) {
  for (const KernelIsa isa : kIsas) {
    mlRandom random(77);
    for (int trial = 0; trial < 30; ++trial) {
      const int n = 1 + random.integer(trial < 22 ? 70 : 130);
      const int k = 1 + random.integer(trial % 2 == 0 ? 3 : 40);
      mlMatrix a(n, n);
      fill(random, a, trial % 3 == 2 ? 2 : 0);
      const mlLUDecomposition lu(a);
      if (lu.is_singular() != 0) continue;
      mlMatrix factors(utCopy, a);
      std::vector<int> perm(n);
      int swaps = 0;
      paskosda_test::literal_lu_eliminate(factors.data(), n, n, perm.data(), &swaps, 1e-20);

      mlMatrix b(n, k);
      fill(random, b, trial % 3 == 2 ? 2 : 0);
      const std::vector<double> expected =
          paskosda_test::literal_lu_solve_matrix(factors.data(), perm.data(), n, b.data(), k);
      mlMatrix x;
      if (isa == KernelIsa::Best) {
        lu.solve(b, x);
      } else {
        x.become(n, k);
        for (int i = 0; i < n; ++i) {
          for (int j = 0; j < k; ++j)
            x(i, j) = b(perm[i], j);
        }
        paskosda_detail::lu_forward_matrix(factors.data(), n, x.data(), k, isa);
        paskosda_detail::lu_back_matrix(factors.data(), n, x.data(), k, isa);
      }
      ASSERT_TRUE(same_bits(x.data(), expected.data(), n * k)) << "trial " << trial;

      const mlVector bv(utCopy, b.col(0));
      mlVector xv;
      lu.solve(bv, xv);
      const std::vector<double> expected_v =
          paskosda_test::literal_lu_solve(factors.data(), perm.data(), n, bv.data());
      ASSERT_TRUE(same_bits(xv.data(), expected_v.data(), n)) << "trial " << trial;
    }
  }
}

}  // namespace
