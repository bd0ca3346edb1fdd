#include "decomp/mlLUDecomposition.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "kernels/mlDecompKernel.h"
#include "support/reference_decomp.h"
#include "support/reference_kernels.h"
#include "support/test_support.h"

namespace {

using namespace paskosda_test;
using paskosda_detail::KernelIsa;

// The public functions use the best instruction set; each named one is checked directly.
const std::vector<KernelIsa> kIsas = best_and_kernel_isas();

// P, L and U as matrices.
struct Factors {
  explicit Factors(const mlLUDecomposition& lu) {
    lu.permutation_matrix(p), lu.lower_matrix(l), lu.upper_matrix(u);
  }
  mlMatrix p, l, u;
};

TEST(mlLUDecomposition, FactorsSmallIntegerMatricesExactly) {
  // Both steps pivot: the multipliers 1/4, 1/2 and 1/4 are exact, so are the factors.
  const mlLUDecomposition lu(mat(3, 3, {1, 2, 0, 4, 4, 4, 2, 6, 3}));
  const Factors f(lu);
  EXPECT_EQ(values(f.l), (std::vector<double>{1, 0, 0, 0.5, 1, 0, 0.25, 0.25, 1}));
  EXPECT_EQ(values(f.u), (std::vector<double>{4, 4, 4, 0, 4, 1, 0, 0, -1.25}));
  EXPECT_EQ(values(f.p), (std::vector<double>{0, 1, 0, 0, 0, 1, 1, 0, 0}));
  EXPECT_TRUE(lu.is_singular() == 0 && lu.determinant() == -20.0);  // two swaps: 4 * 4 * -1.25
  mlVector x;
  lu.solve(vec({3, 12, 11}), x);  // A * (1, 1, 1)
  EXPECT_EQ(values(x), (std::vector<double>{1, 1, 1}));
  // Ties go to the topmost row: |2| = |-2| in the first column, 1 = 1 in the second.
  EXPECT_EQ(values(Factors(mlLUDecomposition(mat(3, 3, {0, 1, 1, 2, 1, 0, -2, 0, 3}))).p),
            (std::vector<double>{0, 1, 0, 1, 0, 0, 0, 0, 1}));
}

TEST(mlLUDecomposition, PivotTestIsAbsoluteAndStrictAt1e20) {
  const double below = std::nextafter(1e-20, 0.0);  // the double just under the tolerance
  const std::pair<mlMatrix, int> cases[] =
      {
          {mat(1, 1, {1e-20}), 0},          {mat(1, 1, {below}), 1},
          {mat(1, 1, {-1e-20}), 0},         {mat(2, 2, {1, 0, 0, 1e-20}), 0},
          {mat(2, 2, {1, 0, 0, below}), 1},  // the last pivot, tested once more after the loop
          {mat(2, 2, {kNaN, 1, 1, 1}), 0},   // NaN passes
      };
  for (const auto& [a, singular] : cases)
    EXPECT_EQ(mlLUDecomposition(a).is_singular(), singular) << a;
  // The same test in the blocked elimination of larger matrices: a pivot inside a panel, the
  // first of a later panel, and the last pivot.
  for (const int k : {5, 32, 39}) {
    for (const double pivot : {1e-20, below}) {
      mlMatrix a(mlMatrixIdentity, 40);
      a(k, k) = pivot;
      EXPECT_EQ(mlLUDecomposition(a).is_singular(), pivot == below ? 1 : 0) << k;
    }
  }
}

TEST(mlLUDecomposition, RejectsNonSquareMatricesAndAcceptsTheEmptyOne) {
  for (const mlMatrix& a : {mat(2, 3, {1, 0, 0, 0, 1, 0}), mat(3, 2, {1, 0, 0, 1, 0, 0})}) {
    const mlLUDecomposition lu(a);
    EXPECT_TRUE(lu.is_singular() == 1 && lu.dimension() == a.rows() && lu.determinant() == 0.0);
    EXPECT_EQ(values(Factors(lu).u), std::vector<double>(a.rows() * a.rows(), 0.0));
  }
  const mlLUDecomposition lu{mlMatrix()};
  EXPECT_TRUE(lu.is_singular() == 0 && lu.dimension() == 0 && lu.determinant() == 1.0);
  mlVector x = vec({7});
  mlMatrix inv(2, 2);
  lu.solve(mlVector(), x);
  lu.inverse(inv);
  EXPECT_TRUE(x.dimension() == 0 && inv.rows() == 0 && inv.cols() == 0);
}

TEST(mlLUDecomposition, MatrixSolveMultipliesByTheReciprocalWhereTheVectorSolveDivides) {
  const mlLUDecomposition lu(mat(1, 1, {3}));
  mlVector x;
  mlMatrix xm;
  lu.solve(vec({5}), x);
  lu.solve(mat(1, 1, {5}), xm);
  // The two differ by the last bit.
  EXPECT_TRUE(x[0] == 5.0 / 3.0 && xm(0, 0) == 5.0 * (1.0 / 3.0) && x[0] != xm(0, 0));
}

TEST(mlLUDecomposition, ReconstructsAndSolvesRandomMatrices) {
  mlRandom random(31);
  for (int n : {1, 2, 17, 77}) {
    // A, and A with b as an extra column: its elimination leaves the solution there.
    mlMatrix augmented = random_matrix(random, n, n + 1), a(utCopy, augmented);
    a.expand(n, n, 0.0);
    const mlVector b(utCopy, augmented.col(n));
    const mlLUDecomposition lu(a);
    ASSERT_EQ(lu.is_singular(), 0);
    const Factors f(lu);
    mlMatrix inv;
    lu.inverse(inv);
    EXPECT_TRUE(
        equal(mlMatrix(mlMatrixProduct, f.p, a), mlMatrix(mlMatrixProduct, f.l, f.u), 1e-13 * n));
    EXPECT_TRUE(equal(mlMatrix(mlMatrixProduct, inv, a), mlMatrix(mlMatrixIdentity, n), 1e-10 * n));
    mlVector x;
    lu.solve(b, x);
    EXPECT_LT(residual(a, x, b), 1e-12 * n);
    std::vector<int> permutation(n);
    int swaps = 0;
    ASSERT_EQ(ml_lu_eliminate(augmented, permutation.data(), &swaps, 1e-20), 1);
    EXPECT_LT(residual(a, mlVector(utCopy, augmented.col(n)), b), 1e-12 * n);
  }
}

// ---- The fast elimination and solves against the plain loops, bit for bit -------------------

// Fills a with a pattern chosen by `kind`: random values, small integers (ties, exact zeros),
// signed zeros, a zero column (the elimination fails there), a column at the scale of the
// tolerance (the pivot passes or fails by a hair), a NaN.
void fill(mlRandom& random, mlMatrix& a, int kind) {
  const int r = a.rows(), c = a.cols();
  for (int i = 0; i < r * c; ++i) {
    double x = random.uniform(-1.0, 1.0);
    if (kind == 1) x = static_cast<double>(random.integer(5) - 2);
    if (kind == 2 && random.integer(3) == 0) x = random.integer(2) == 0 ? 0.0 : -0.0;
    a.data()[i] = x;
  }
  if (kind < 3) return;
  const int k = random.integer(r);
  const double scale = kind == 3 ? 0.0 : random.integer(2) == 0 ? 1e-21 : 1e-19;
  for (int i = 0; i < r && kind < 5; ++i)
    a(i, k) *= scale;
  if (kind == 5) a(random.integer(r), k) = kNaN;
}

TEST(mlLUDecomposition, FastEliminationMatchesThePlainLoopsBitForBit) {
  for (const KernelIsa isa : kIsas) {
    mlRandom random(2024);
    int failures = 0;
    for (int trial = 0; trial < 60; ++trial) {
      // The last trials are past several panels, half of them with over a chunk of columns
      // to the right of the first panel.
      const int r = trial < 50 ? 1 + random.integer(90) : 120 + random.integer(20);
      const int c = r + (trial >= 50 && trial % 2 == 0 ? 41 + random.integer(20)
                         : random.integer(4) == 0      ? 1 + random.integer(40)
                                                       : 0);
      const int kind = trial % 6;
      mlMatrix a(r, c);
      fill(random, a, kind);
      mlMatrix expected(utCopy, a);
      std::vector<int> perm(r, -1), expected_perm(r, -1);
      int swaps = -1, expected_swaps = -1;
      const int ok = isa == KernelIsa::Best ? ml_lu_eliminate(a, perm.data(), &swaps, 1e-20)
                                            : paskosda_detail::lu_eliminate_kernel(
                                                  a.data(), r, c, perm.data(), &swaps, 1e-20, isa);
      const int expected_ok =
          literal_lu_eliminate(expected.data(), r, c, expected_perm.data(), &expected_swaps, 1e-20);
      failures += expected_ok == 0;
      ASSERT_TRUE(ok == expected_ok && swaps == expected_swaps && perm == expected_perm &&
                  same_bits(a.data(), expected.data(), r * c))
          << "trial " << trial << ", " << r << "x" << c << ", kind " << kind;
    }
    EXPECT_GT(failures, 10);  // the failing paths were exercised too
  }
}

// Orders 1 to 4 take unrolled loops of their own: every kind of input, with the failing paths,
// through the decomposition and its vector solve (which runs on whatever factors a failed
// elimination left).
TEST(mlLUDecomposition, SmallOrdersMatchThePlainLoopsBitForBit) {
  mlRandom random(4);
  int failures = 0;
  for (int trial = 0; trial < 2400; ++trial) {
    const int n = 1 + trial % 4;
    mlMatrix a(n, n);
    fill(random, a, trial / 4 % 6);
    mlVector b(mlVectorDim, n);
    for (int i = 0; i < n; ++i)
      b[i] = random.uniform(-1.0, 1.0);
    mlMatrix factors(utCopy, a);
    std::vector<int> perm(n);
    int swaps = -1;
    const int ok = literal_lu_eliminate(factors.data(), n, n, perm.data(), &swaps, 1e-20);
    failures += ok == 0;
    const mlLUDecomposition lu(a);
    mlMatrix got_perm;
    lu.permutation_matrix(got_perm);
    bool same_perm = true;
    for (int i = 0; i < n; ++i)
      same_perm = same_perm && got_perm(i, perm[i]) == 1.0;
    mlMatrix l, u;
    lu.lower_matrix(l);
    lu.upper_matrix(u);
    mlMatrix got(n, n);
    for (int i = 0; i < n * n; ++i)
      got.data()[i] = i / n > i % n ? l.data()[i] : u.data()[i];
    double determinant = swaps % 2 != 0 ? -1.0 : 1.0;
    for (int i = 0; i < n; ++i)
      determinant *= factors(i, i);
    const double got_determinant = lu.determinant();
    mlVector x;
    lu.solve(b, x);
    const auto expected_x =
        literal_lu_solve_matrix(factors.data(), perm.data(), n, b.data(), 1, false);
    ASSERT_TRUE(lu.is_singular() == (ok == 0 ? 1 : 0) && same_perm &&
                same_bits(got.data(), factors.data(), n * n) &&
                same_bits(&got_determinant, &determinant, 1) &&
                same_bits(x.data(), expected_x.data(), n))
        << "trial " << trial << ", order " << n;
  }
  EXPECT_GT(failures, 300);
}

TEST(mlLUDecomposition, FastSolvesMatchThePlainLoopsBitForBit) {
  for (const KernelIsa isa : kIsas) {
    mlRandom random(77);
    for (int trial = 0; trial < 30; ++trial) {
      // The last trials are past several panels, half of them with more than a strip of
      // right-hand sides.
      const int n = trial < 22 ? 1 + random.integer(70) : 100 + random.integer(31);
      const int k =
          1 + (trial % 2 == 0 ? random.integer(3) : random.integer(40) + (n > 99 ? 32 : 0));
      mlMatrix a(n, n), b(n, k);
      fill(random, a, trial % 3 == 2 ? 2 : 0);
      fill(random, b, trial % 3 == 2 ? 2 : 0);
      const mlLUDecomposition lu(a);
      if (lu.is_singular() != 0) continue;
      mlMatrix factors(utCopy, a), x(n, k);
      std::vector<int> perm(n);
      int swaps = 0;
      literal_lu_eliminate(factors.data(), n, n, perm.data(), &swaps, 1e-20);
      if (isa == KernelIsa::Best) {
        lu.solve(b, x);
      } else {
        for (int i = 0; i < n * k; ++i)
          x(i / k, i % k) = b(perm[i / k], i % k);
        paskosda_detail::lu_forward_matrix(factors.data(), n, x.data(), k, isa);
        paskosda_detail::lu_back_matrix(factors.data(), n, x.data(), k, isa);
      }
      const mlVector bv(utCopy, b.col(0));
      mlVector xv;
      lu.solve(bv, xv);
      const auto expected = literal_lu_solve_matrix(factors.data(), perm.data(), n, b.data(), k);
      const auto expected_v =
          literal_lu_solve_matrix(factors.data(), perm.data(), n, bv.data(), 1, false);
      ASSERT_TRUE(same_bits(x.data(), expected.data(), n * k) &&
                  same_bits(xv.data(), expected_v.data(), n))
          << "trial " << trial;
    }
  }
}

}  // namespace
