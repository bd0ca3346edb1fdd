#include "eigen/mlSymEigenVecs.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <limits>
#include <vector>

#include "support/reference_eigen.h"
#include "support/test_support.h"

namespace {

using paskosda_test::literal_jacobi;
using paskosda_test::LiteralJacobiResult;
using paskosda_test::mat;
using paskosda_test::same_bits;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

mlMatrix random_symmetric(mlRandom& random, int n, double scale = 1.0) {
  mlMatrix a(n, n);
  for (int i = 0; i < n; ++i) {
    for (int j = i; j < n; ++j) {
      a(i, j) = random.uniform(-scale, scale);
      a(j, i) = a(i, j);
    }
  }
  return a;
}

// Q diag(d) Q^T, Q the Jacobi vectors of a random symmetric matrix: chosen eigenvalues.
mlMatrix with_eigenvalues(mlRandom& random, const std::vector<double>& d) {
  const int n = static_cast<int>(d.size());
  const mlMatrix seed = random_symmetric(random, n);
  mlSymEigenVecs basis(seed);
  basis.calculate();
  const mlMatrix& q = basis.eigen_vectors();
  mlMatrix a(mlMatrixZero, n, n);
  for (int i = 0; i < n; ++i) {
    for (int j = i; j < n; ++j) {
      for (int k = 0; k < n; ++k)
        a(i, j) += q(i, k) * d[static_cast<std::size_t>(k)] * q(j, k);
      a(j, i) = a(i, j);
    }
  }
  return a;
}

// Residual max |A v_k - l_k v_k| and orthonormality max |V^T V - I|, in units of n eps |A|
// and n eps.
void expect_eigen_decomposition(const mlMatrix& a, const mlSymEigenVecs& e, double bound) {
  const int n = a.rows();
  ASSERT_EQ(e.status(), mlEigenVecsOk);
  ASSERT_EQ(e.num_real_eigen_values(), n);
  const mlMatrix& v = e.eigen_vectors();
  double norm = 0.0;
  for (int k = 0; k < n; ++k)
    norm = std::max(norm, std::fabs(e.eigen_value(k)));
  const double unit = n * DBL_EPSILON;
  for (int k = 0; k < n; ++k) {
    if (k > 0) {
      EXPECT_GE(std::fabs(e.eigen_value(k - 1)), std::fabs(e.eigen_value(k)));
    }
    for (int i = 0; i < n; ++i) {
      double av = 0.0;
      for (int j = 0; j < n; ++j)
        av += a(i, j) * v(j, k);
      EXPECT_LE(std::fabs(av - e.eigen_value(k) * v(i, k)), bound * unit * norm)
          << "n " << n << " column " << k;
    }
    for (int l = 0; l < n; ++l) {
      double dot = 0.0;
      for (int i = 0; i < n; ++i)
        dot += v(i, k) * v(i, l);
      EXPECT_LE(std::fabs(dot - (k == l ? 1.0 : 0.0)), bound * unit) << k << " " << l;
    }
  }
}

// The solver against the literal whole-product rotations, bit for bit.
void expect_same_as_products(const mlMatrix& a, double tolerance, const char* what) {
  const LiteralJacobiResult expected = literal_jacobi(a, tolerance, 10000000);
  mlSymEigenVecs e(a);
  e.set_tolerance(tolerance);
  e.calculate();
  ASSERT_EQ(e.status(), expected.converged ? mlEigenVecsOk : mlEigenVecsFailed) << what;
  ASSERT_EQ(e.num_real_eigen_values(), static_cast<int>(expected.values.size())) << what;
  if (!expected.converged) return;
  const int n = a.rows();
  EXPECT_TRUE(same_bits(e.eigen_values().data(), expected.values.data(), n)) << what;
  ASSERT_EQ(e.eigen_vectors().rows(), n);
  ASSERT_EQ(e.eigen_vectors().cols(), n);
  EXPECT_TRUE(same_bits(e.eigen_vectors().data(), expected.vectors.data(), n * n)) << what;
}

TEST(SymEigenVecs, RotatesExactlyAsTheWholeProducts) {
  mlRandom random(2024);
  for (int n = 1; n <= 10; ++n) {
    for (int trial = 0; trial < 40; ++trial) {
      mlMatrix a = random_symmetric(random, n, trial < 20 ? 1.0 : 1e3);
      // Signed and exact zeros, and small integers, which make exact rotations and ties.
      if (trial % 3 == 1) {
        for (int i = 0; i < n; ++i) {
          for (int j = i; j < n; ++j) {
            const int pick = random.integer(4);
            const double x = pick == 0 ? -0.0 : pick == 1 ? 0.0 : a(i, j);
            a(i, j) = x;
            a(j, i) = x;
          }
        }
      }
      if (trial % 3 == 2) {
        for (int i = 0; i < n; ++i) {
          for (int j = i; j < n; ++j) {
            a(i, j) = std::floor(a(i, j) * 4.0);
            a(j, i) = a(i, j);
          }
        }
      }
      const double tolerance = trial % 4 == 3 ? -1e-2 : 1e-6;
      expect_same_as_products(a, tolerance, "random");
    }
  }

  // Cases that turn on every branch of the in-place update.
  struct Case {
    const char* what;
    mlMatrix a;
  };
  const Case cases[] = {
      {"a -0.0 outside the rotated rows stays in the products only as +0.0",
       mat(3, 3, {1, 0.5, -0.0, 0.5, 2, -0.0, -0.0, -0.0, -0.0})},
      {"-0.0 on the diagonal without any rotation", mat(2, 2, {-0.0, 0, 0, 3})},
      {"a NaN spreads along whole rows", mat(3, 3, {1, 2, 0, 2, kNaN, 1, 0, 1, 3})},
      {"an infinity outside the block", mat(3, 3, {1, 2, 0, 2, 1, 0, 0, 0, kInf})},
      {"an infinite block", mat(2, 2, {1e308, 1e308, 1e308, 1e308})},
      // The lower triangle is never scanned, so it can hold what the block could not.
      {"new rows that overflow", mat(3, 3, {1, 0, 0, 1.5e308, 1, 1, 1.5e308, 1, 1})},
      {"new columns that overflow, then more rotations",
       mat(3, 3, {1, 1, 0.5, 1, 1, 0.3, 1.5e308, 1.5e308, 1})},
      {"an asymmetry far below the threshold", mat(3, 3, {4, 1, 2, 1 + 1e-12, 3, 0.5, 2, 0.5, 1})},
      {"an empty matrix", mlMatrix(0, 0)},
  };
  for (const Case& c : cases)
    expect_same_as_products(c.a, 1e-6, c.what);
}

TEST(SymEigenVecs, SolvesRandomMatricesAndRepeatedEigenvalues) {
  mlRandom random(7);
  std::vector<mlMatrix> inputs;
  for (int n = 2; n <= 8; ++n) {
    for (int trial = 0; trial < 10; ++trial)
      inputs.push_back(random_symmetric(random, n));
  }
  for (const std::vector<double>& d : std::vector<std::vector<double>>{
           {3, 3, 1}, {2, 2, 2, -5}, {1, 1, -1, -1}, {4, 4, 4, 4, 1, 0}})
    inputs.push_back(with_eigenvalues(random, d));
  for (const mlMatrix& a : inputs) {
    mlSymEigenVecs e(a);
    e.set_tolerance(1e-12);
    e.calculate();
    expect_eigen_decomposition(a, e, 64.0);
  }
}

TEST(SymEigenVecs, OrdersByDecreasingMagnitude) {
  // Already diagonal: no rotation, the values and unit columns are only reordered.
  const mlMatrix d = mat(3, 3, {1, 0, 0, 0, -3, 0, 0, 0, 2});
  mlSymEigenVecs e(d);
  EXPECT_EQ(e.status(), mlEigenVecsNotCalculated);
  e.calculate();
  EXPECT_EQ(e.status(), mlEigenVecsOk);
  EXPECT_EQ(std::vector<double>(e.eigen_values().begin(), e.eigen_values().end()),
            (std::vector<double>{-3, 2, 1}));
  EXPECT_EQ(paskosda_test::values(e.eigen_vectors()),
            (std::vector<double>{0, 0, 1, 1, 0, 0, 0, 1, 0}));

  // Equal magnitudes: the index sort keeps ties in index order, and the reversal puts the
  // last index first.
  const mlMatrix ties = mat(3, 3, {2, 0, 0, 0, -2, 0, 0, 0, 2});
  mlSymEigenVecs t(ties);
  t.calculate();
  EXPECT_EQ(std::vector<double>(t.eigen_values().begin(), t.eigen_values().end()),
            (std::vector<double>{2, -2, 2}));
  EXPECT_EQ(paskosda_test::values(t.eigen_vectors()),
            (std::vector<double>{0, 0, 1, 0, 1, 0, 1, 0, 0}));
}

TEST(SymEigenVecs, DiagonalisesTwoByTwoInOneRotation) {
  const mlMatrix a = mat(2, 2, {2, 1, 1, 2});
  EXPECT_EQ(literal_jacobi(a, 1e-6, 100).rotations, 1);
  mlSymEigenVecs e(a);
  e.calculate();
  ASSERT_EQ(e.num_real_eigen_values(), 2);
  EXPECT_NEAR(e.eigen_value(0), 3.0, 4 * DBL_EPSILON);
  EXPECT_NEAR(e.eigen_value(1), 1.0, 4 * DBL_EPSILON);
  const double h = 1.0 / std::sqrt(2.0);
  // eigens2 picks row 0 of S - 3 I = (-1, 1): e1 = (1, 1) / sqrt 2, e2 = (-1, 1) / sqrt 2.
  EXPECT_EQ(e.eigen_vector(0)[0], h);
  EXPECT_EQ(e.eigen_vector(0)[1], h);
  EXPECT_EQ(e.eigen_vector(1)[0], -h);
  EXPECT_EQ(e.eigen_vector(1)[1], h);
}

TEST(SymEigenVecs, StopsAtOnePercentOfTheTolerance) {
  // Off-diagonal 0.05: rotated at tolerance 5 (threshold 0.05 is not above it), left alone
  // at tolerance 5.0001 and at -5.0001 (its magnitude counts).
  const mlMatrix a = mat(2, 2, {1, 0.05, 0.05, 4});
  for (double tolerance : {5.0001, -5.0001}) {
    mlSymEigenVecs e(a);
    e.set_tolerance(tolerance);
    e.calculate();
    EXPECT_EQ(std::vector<double>(e.eigen_values().begin(), e.eigen_values().end()),
              (std::vector<double>{4, 1}))
        << tolerance;
  }
  mlSymEigenVecs rotated(a);
  rotated.set_tolerance(5.0);
  rotated.calculate();
  EXPECT_NE(rotated.eigen_value(0), 4.0);
}

TEST(SymEigenVecs, GivesUpAfterTenMillionRotations) {
  // A zero tolerance can never be beaten: the threshold 0 is not above any magnitude.
  const mlMatrix a = mat(2, 2, {1, 1, 1, 2});
  mlSymEigenVecs e(a);
  e.set_tolerance(0.0);
  e.calculate();
  EXPECT_EQ(e.status(), mlEigenVecsFailed);
  EXPECT_EQ(e.num_real_eigen_values(), 0);
  EXPECT_EQ(e.eigen_vectors().rows(), 0);

  // A NaN tolerance with nothing to rotate (n < 2) counts as converged.
  const mlMatrix one = mat(1, 1, {5});
  mlSymEigenVecs single(one);
  single.set_tolerance(kNaN);
  single.calculate();
  EXPECT_EQ(single.status(), mlEigenVecsOk);
  EXPECT_EQ(single.eigen_value(0), 5.0);
}

TEST(SymEigenVecs, AppendsValuesWhenCalculatedAgain) {
  const mlMatrix a = mat(2, 2, {2, 1, 1, 2});
  mlSymEigenVecs e(a);
  e.calculate();
  e.calculate();
  ASSERT_EQ(e.num_real_eigen_values(), 4);
  EXPECT_EQ(e.eigen_value(2), e.eigen_value(0));
  EXPECT_EQ(e.eigen_vectors().cols(), 2);

  // become starts over.
  const mlMatrix b = mat(2, 2, {5, 0, 0, 1});
  e.set_tolerance(3.0);
  e.become(b);
  EXPECT_EQ(e.status(), mlEigenVecsNotCalculated);
  EXPECT_EQ(e.num_real_eigen_values(), 0);
  e.calculate();
  EXPECT_EQ(std::vector<double>(e.eigen_values().begin(), e.eigen_values().end()),
            (std::vector<double>{5, 1}));
}

}  // namespace
