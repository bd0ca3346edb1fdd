#include "eigen/mlSymEigenVecs.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "support/reference_eigen.h"
#include "support/test_support.h"

namespace {

using namespace paskosda_test;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

static_assert(!std::is_constructible_v<mlSymEigenVecs, mlMatrix>, "a temporary would dangle");

// Uniform in [-scale, scale); kind 1 turns about half the elements into signed zeros, kind 2
// rounds them down to integers (exact rotations and ties).
mlMatrix random_symmetric(mlRandom& random, int n, double scale, int kind) {
  mlMatrix a(n, n);
  for (int i = 0; i < n; ++i)
    for (int j = i; j < n; ++j) {
      const double x = random.uniform(-scale, scale);
      const int pick = random.integer(4);
      const double zero = pick == 0 ? -0.0 : 0.0;
      a(i, j) = a(j, i) = kind == 2 ? std::floor(4.0 * x) : kind == 1 && pick < 2 ? zero : x;
    }
  return a;
}

void calculate(mlSymEigenVecs& e, double tolerance) { e.set_tolerance(tolerance), e.calculate(); }

void expect_same_as_products(const mlMatrix& a, double tolerance, const std::string& what) {
  const LiteralJacobiResult expected = literal_jacobi(a, tolerance, 10000000);
  mlSymEigenVecs e(a);
  calculate(e, tolerance);
  const int n = a.rows();
  const mlMatrix& v = e.eigen_vectors();
  ASSERT_TRUE(e.status() == mlEigenVecsOk && e.num_real_eigen_values() == n) << what;
  ASSERT_TRUE(expected.values.size() == std::size_t(n) && v.rows() == n && v.cols() == n) << what;
  EXPECT_TRUE(same_bits_or_nan(expected.values.data(), e.eigen_values().data(), n)) << what;
  EXPECT_TRUE(same_bits_or_nan(expected.vectors.data(), v.data(), n * n)) << what;
}

TEST(mlSymEigenVecs, RotatesExactlyAsTheWholeProducts) {
  mlRandom random(2024);
  for (int k = 0; k < 96; ++k) {
    const int n = 1 + k / 12, trial = k % 12;
    const mlMatrix a = random_symmetric(random, n, trial < 6 ? 1.0 : 1e3, trial % 3);
    expect_same_as_products(a, trial % 4 == 3 ? -1e-2 : 1e-6, "random " + std::to_string(k));
  }
  // Every branch of the in-place update and of its fall-back to the products. The lower
  // triangle is never scanned, so it can hold what the block could not.
  expect_same_as_products(mat(3, 3, {1, 0.5, -0.0, 0.5, 2, -0.0, -0.0, -0.0, -0.0}), 1e-6, "-0.0");
  expect_same_as_products(mat(2, 2, {-0.0, 0, 0, 3}), 1e-6, "-0.0, no rotation");
  expect_same_as_products(mat(3, 3, {1, 2, 0, 2, kNaN, 1, 0, 1, 3}), 1e-6, "NaN");
  expect_same_as_products(mat(3, 3, {1, 2, 0, 2, 1, 0, 0, 0, kInf}), 1e-6, "infinity");
  expect_same_as_products(mat(2, 2, {1e308, 1e308, 1e308, 1e308}), 1e-6, "an infinite block");
  expect_same_as_products(mat(3, 3, {1, 0, 0, 1.5e308, 1, 1, 1.5e308, 1, 1}), 1e-6, "new rows");
  expect_same_as_products(mat(3, 3, {1, 1, 0.5, 1, 1, 0.3, 1.5e308, 1.5e308, 1}), 1e-6, "columns");
  expect_same_as_products(mat(3, 3, {4, 1, 2, 1 + 1e-12, 3, 0.5, 2, 0.5, 1}), 1e-6, "asymmetric");
  expect_same_as_products(mlMatrix(0, 0), 1e-6, "empty");
  expect_same_as_products(mat(1, 1, {5}), kNaN, "a NaN tolerance, nothing to rotate");
}

TEST(mlSymEigenVecs, ChoosesEveryRotationAsTheWholeScanDoes) {
  // Between rotations the search keeps each row's largest element; the literal method scans
  // the whole triangle. Random, graded, clustered and tie-rich inputs.
  mlRandom random(31);
  for (int n : {3, 6, 12, 20, 30}) {
    for (int kind = 0; kind < 4; ++kind) {
      mlMatrix a(n, n);
      for (int i = 0; i < n; ++i)
        for (int j = i; j < n; ++j) {
          const double x = random.uniform(-1.0, 1.0);
          a(i, j) = a(j, i) = kind == 0   ? x
                              : kind == 1 ? std::ldexp(x, -(i + j))
                              : kind == 2 ? (i == j ? 1.0 + 1e-9 * x : 1e-8 * x)
                                          : static_cast<double>(random.integer(5) - 2);
        }
      expect_same_as_products(a, 1e-6, "n " + std::to_string(n) + ", kind " + std::to_string(kind));
    }
  }
}

TEST(mlSymEigenVecs, DiagonalisesRandomMatricesWithOrthonormalVectors) {
  mlRandom random(7);
  for (int n = 2; n <= 8; ++n) {
    const mlMatrix a = random_symmetric(random, n, 1.0, 0);
    mlSymEigenVecs e(a);
    calculate(e, 1e-12);
    const mlMatrix &v = e.eigen_vectors(), vtv(mlMatrixProduct, mlMatrix(mlMatrixTranspose, v), v);
    const double bound = 64 * n * DBL_EPSILON;
    EXPECT_EQ(equal(vtv, mlMatrix(mlMatrixIdentity, n), bound), 1) << n;
    for (int k = 0; k < n; ++k)
      EXPECT_LE(eigen_residual(a, e, k), bound * std::fabs(e.eigen_value(0))) << n << " " << k;
  }
}

TEST(mlSymEigenVecs, OrdersEqualMagnitudesByLaterPositionAndCopiesThemOut) {
  const mlMatrix a = mat(3, 3, {2, 0, 0, 0, -2, 0, 0, 0, 2});  // diagonal: nothing rotates
  mlSymEigenVecs e(a);
  e.calculate();
  EXPECT_EQ(stored_values(e), (std::vector<double>{2, -2, 2}));
  EXPECT_EQ(values(e.eigen_vectors()), (std::vector<double>{0, 0, 1, 0, 1, 0, 1, 0, 0}));
  mlVector longer = vec({9, 9, 9, 9});
  e.eigen_values(longer);
  EXPECT_EQ(values(longer), (std::vector<double>{2, -2, 2, 9}));  // the tail is kept
}

TEST(mlSymEigenVecs, StopsBelowOnePercentOfTheToleranceOrAfterTenMillionRotations) {
  // 0.05 is rotated away at tolerance 5 (the threshold 5 * 0.01 is 0.05, not above it), not
  // at +-5 plus one unit in the last place.
  const mlMatrix a = mat(2, 2, {1, 0.05, 0.05, 4}), b = mat(2, 2, {1, 1, 1, 2});
  const double above = std::nextafter(5.0, 6.0);
  for (double tolerance : {5.0, above, -above}) {
    mlSymEigenVecs e(a);
    calculate(e, tolerance);
    EXPECT_EQ(e.eigen_value(0) == 4.0, tolerance != 5.0) << tolerance;
  }
  // The threshold of a zero tolerance is above no magnitude: the solver gives up, storing
  // nothing. So does rounding at large magnitudes, where the last rotation leaves 2^-24
  // behind. These runs repeat a state of A, which ends them long before the cap; the literal
  // method's first 20,000 rotations show that they indeed never converge.
  mlRandom random(5);
  std::vector<std::pair<mlMatrix, double>> stuck;
  stuck.emplace_back(
      mat(2, 2, {800000133.12315035, 942.00550717359238, 942.00550717359238, 800000491.56351447}),
      1e-6);
  stuck.emplace_back(mlMatrix(utCopy, b), 0.0);
  for (int n = 3; n <= 6; ++n)
    stuck.emplace_back(random_symmetric(random, n, 1.0, n % 3), 0.0);
  for (const auto& [m, tolerance] : stuck) {
    EXPECT_TRUE(literal_jacobi(m, tolerance, 20000).values.empty()) << m;
    mlSymEigenVecs e(m);
    calculate(e, tolerance);
    EXPECT_EQ(e.status(), mlEigenVecsFailed) << m;
    EXPECT_TRUE(e.num_real_eigen_values() == 0 && e.eigen_vectors().rows() == 0);
  }
}

TEST(mlSymEigenVecs, AppendsValuesWhenCalculatedAgainUntilBecome) {
  const mlMatrix a = mat(2, 2, {5, 0, 0, 1}), b = mat(2, 2, {1, 0.001, 0.001, 2});
  mlSymEigenVecs e(a);
  e.calculate();
  e.calculate();
  EXPECT_EQ(stored_values(e), (std::vector<double>{5, 1, 5, 1}));
  // become starts over, the tolerance too: 1e-6 rotates what tolerance 1 would leave alone.
  e.set_tolerance(1.0);
  e.become(b);
  EXPECT_EQ(e.status(), mlEigenVecsNotCalculated);
  e.calculate();
  EXPECT_TRUE(e.num_real_eigen_values() == 2 && e.eigen_value(0) != 2.0);
  // The default 1e-6 exactly, as constructed and after become: its threshold 1e-8 rotates
  // 1e-8 away, not the double below.
  for (const double off : {1e-8, std::nextafter(1e-8, 0.0)}) {
    const mlMatrix c = mat(2, 2, {1, off, off, 2});
    mlSymEigenVecs d(c);
    d.calculate();
    e.set_tolerance(1.0);
    e.become(c);
    e.calculate();
    EXPECT_EQ(d.eigen_vector(0)[0] != 0.0, off == 1e-8) << off;
    EXPECT_EQ(e.eigen_vector(0)[0] != 0.0, off == 1e-8) << off;
  }
}

}  // namespace
