#include "eigen/mlAsymEigenVecs.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <type_traits>
#include <vector>

#include "decomp/mlSingularValueDecomposition.h"
#include "support/test_support.h"

namespace {

using paskosda_test::mat;
using paskosda_test::random_matrix;
using paskosda_test::same_bits;

static_assert(std::has_virtual_destructor_v<mlAsymEigenVecs>);
static_assert(std::is_base_of_v<mlAsymEigenVecs, mlAsymEigenVecs2>);
static_assert(std::is_base_of_v<mlAsymEigenVecs, mlAsymEigenVecs3>);
static_assert(!std::is_polymorphic_v<mlATAEigenVecs>);

std::vector<double> stored_values(const mlEigenVecs& e) {
  return std::vector<double>(e.eigen_values().begin(), e.eigen_values().end());
}

// Column k is a unit vector v with A v = eigen_value(k) v, within bound * eps * scale.
void expect_eigen_vector(const mlMatrix& a, const mlEigenVecs& e, int k, double bound) {
  const int n = a.rows();
  const mlSlice v = e.eigen_vector(k);
  EXPECT_NEAR(v.modulus(), 1.0, 8 * DBL_EPSILON) << "column " << k;
  const double scale = std::fabs(e.eigen_value(k)) + 1.0;
  for (int i = 0; i < n; ++i) {
    double av = 0.0;
    for (int j = 0; j < n; ++j)
      av += a(i, j) * v[j];
    EXPECT_NEAR(av, e.eigen_value(k) * v[i], bound * DBL_EPSILON * scale)
        << "column " << k << " row " << i;
  }
}

// A solver whose vector slot counts its calls, passing them on.
class CountingEigenVecs2 : public mlAsymEigenVecs2 {
 public:
  using mlAsymEigenVecs2::mlAsymEigenVecs2;
  mutable int calls = 0;

 protected:
  void calculate_eigen_vector(double lambda, mlSlice& out) const noexcept override {
    ++calls;
    mlAsymEigenVecs2::calculate_eigen_vector(lambda, out);
  }
};

TEST(AsymEigenVecs2, FindsRealEigenvaluesByDecreasingMagnitude) {
  struct Case {
    mlMatrix a;
    std::vector<double> values;
  };
  const Case cases[] = {
      {mat(2, 2, {2, 0, 0, 3}), {3, 2}},
      {mat(2, 2, {1, 2, 3, -4}), {-5, 2}},
      {mat(2, 2, {4, 1, 2, 3}), {5, 2}},
      {mat(2, 2, {0.5, -7, 0.25, 1}), {}},  // a complex pair
  };
  for (const Case& c : cases) {
    mlAsymEigenVecs2 e(c.a);
    EXPECT_EQ(e.status(), mlEigenVecsNotCalculated);
    e.calculate();
    EXPECT_EQ(e.status(), mlEigenVecsOk);
    ASSERT_EQ(e.num_real_eigen_values(), static_cast<int>(c.values.size()));
    for (int k = 0; k < e.num_real_eigen_values(); ++k) {
      EXPECT_NEAR(e.eigen_value(k), c.values[static_cast<std::size_t>(k)], 1e-14);
      expect_eigen_vector(c.a, e, k, 16.0);
    }
  }
}

TEST(AsymEigenVecs2, LeavesVectorsAloneForComplexEigenvalues) {
  const mlMatrix rotation = mat(2, 2, {0, -1, 1, 0});
  CountingEigenVecs2 e(rotation);
  e.calculate();
  EXPECT_EQ(e.status(), mlEigenVecsOk);
  EXPECT_EQ(e.num_real_eigen_values(), 0);
  EXPECT_EQ(e.eigen_vectors().rows(), 0);
  EXPECT_EQ(e.calls, 0);
}

TEST(AsymEigenVecs2, SharesTheNullSpaceOfARepeatedValue) {
  // Distinct values: one call of the vector slot per value.
  const mlMatrix distinct = mat(2, 2, {4, 1, 2, 3});
  CountingEigenVecs2 counted(distinct);
  counted.calculate();
  EXPECT_EQ(counted.calls, 2);

  // 2 I: the double root is one eigenspace; A - 2 I vanishes, so it is the unit columns.
  const mlMatrix twice = mat(2, 2, {2, 0, 0, 2});
  CountingEigenVecs2 scalar(twice);
  scalar.calculate();
  EXPECT_EQ(scalar.calls, 0);
  EXPECT_EQ(stored_values(scalar), (std::vector<double>{2, 2}));
  EXPECT_EQ(paskosda_test::values(scalar.eigen_vectors()), (std::vector<double>{1, 0, 0, 1}));

  // Defective: one eigenvector (1, 0); the space's second column is the singular vector of
  // the non-zero singular value of A - I, (0, 1).
  const mlMatrix jordan = mat(2, 2, {1, 1, 0, 1});
  mlAsymEigenVecs2 defective(jordan);
  defective.calculate();
  EXPECT_EQ(stored_values(defective), (std::vector<double>{1, 1}));
  EXPECT_EQ(std::fabs(defective.eigen_vector(0)[0]), 1.0);
  EXPECT_EQ(defective.eigen_vector(0)[1], 0.0);
  EXPECT_EQ(defective.eigen_vector(1)[0], 0.0);
  EXPECT_EQ(std::fabs(defective.eigen_vector(1)[1]), 1.0);

  // The shortcut reads the matrix maximum, which lets a negative element count only while it
  // exceeds the running maximum. A - 2 I = [[0, 0], [-3, 0]] so looks like zero, and this
  // defective matrix gets both unit columns, although only (0, 1) is an eigenvector.
  const mlMatrix lower = mat(2, 2, {2, 0, -3, 2});
  mlAsymEigenVecs2 kept(lower);
  kept.calculate();
  EXPECT_EQ(paskosda_test::values(kept.eigen_vectors()), (std::vector<double>{1, 0, 0, 1}));
}

TEST(AsymEigenVecs3, OrdersRealEigenvaluesByDecreasingMagnitude) {
  struct Case {
    const char* what;
    mlMatrix a;
    std::vector<double> values;
  };
  const Case cases[] = {
      {"diagonal", mat(3, 3, {1, 0, 0, 0, -3, 0, 0, 0, 2}), {-3, 2, 1}},
      {"upper triangular", mat(3, 3, {1, 2, 3, 0, 4, 5, 0, 0, 6}), {6, 4, 1}},
      {"equal magnitudes, larger value first", mat(3, 3, {2, 1, 0, 0, -2, 0, 0, 0, 1}), {2, -2, 1}},
      {"a complex pair and a real value", mat(3, 3, {0, -1, 0, 1, 0, 0, 0, 0, 2}), {2}},
      {"symmetric", mat(3, 3, {4, 1, -2, 1, 2, 0.5, -2, 0.5, 3}), {}},
  };
  for (const Case& c : cases) {
    mlAsymEigenVecs3 e(c.a);
    e.calculate();
    EXPECT_EQ(e.status(), mlEigenVecsOk) << c.what;
    // An empty list stands for three values known only by their residuals.
    const int count = c.values.empty() ? 3 : static_cast<int>(c.values.size());
    ASSERT_EQ(e.num_real_eigen_values(), count) << c.what;
    ASSERT_EQ(e.eigen_vectors().rows(), 3);
    ASSERT_EQ(e.eigen_vectors().cols(), count);
    for (int k = 0; k < count; ++k) {
      if (!c.values.empty()) {
        EXPECT_NEAR(e.eigen_value(k), c.values[static_cast<std::size_t>(k)], 1e-13) << c.what;
      }
      if (k > 0) {
        EXPECT_GE(std::fabs(e.eigen_value(k - 1)), std::fabs(e.eigen_value(k))) << c.what;
      }
      SCOPED_TRACE(c.what);
      expect_eigen_vector(c.a, e, k, 64.0);
    }
  }
}

TEST(AsymEigenVecs3, TakesAShiftWithOnlyNegativeElementsForLambdaI) {
  // The lambda I shortcut reads the matrix maximum, in which an element counts only while it
  // exceeds the running maximum: for tridiag(-1, 2, -1) and lambda = 2, A - 2 I has a zero
  // diagonal and -1 elsewhere, which reads as 0. So the vector of 2 is (1, 0, 0), not the
  // eigenvector (1, 0, -1) / sqrt 2. The other two are true eigenvectors.
  const mlMatrix stiffness = mat(3, 3, {2, -1, 0, -1, 2, -1, 0, -1, 2});
  mlAsymEigenVecs3 e(stiffness);
  e.calculate();
  ASSERT_EQ(e.num_real_eigen_values(), 3);
  EXPECT_NEAR(e.eigen_value(0), 2 + std::sqrt(2.0), 1e-14);
  EXPECT_NEAR(e.eigen_value(1), 2.0, 1e-14);
  EXPECT_NEAR(e.eigen_value(2), 2 - std::sqrt(2.0), 1e-14);
  const mlVector second(utCopy, e.eigen_vector(1));
  EXPECT_EQ(paskosda_test::values(second), (std::vector<double>{1, 0, 0}));
  expect_eigen_vector(stiffness, e, 0, 64.0);
  expect_eigen_vector(stiffness, e, 2, 64.0);
}

TEST(AsymEigenVecs3, SharesEigenspacesOfRepeatedValues) {
  // 2 I: every column from the lambda I shortcut, so exactly the unit vectors.
  const mlMatrix scalar = mat(3, 3, {2, 0, 0, 0, 2, 0, 0, 0, 2});
  mlAsymEigenVecs3 s(scalar);
  s.calculate();
  EXPECT_EQ(stored_values(s), (std::vector<double>{2, 2, 2}));
  EXPECT_EQ(paskosda_test::values(s.eigen_vectors()),
            (std::vector<double>{1, 0, 0, 0, 1, 0, 0, 0, 1}));

  // (lambda - 2)^2 (lambda - 5), diagonalisable: columns 1 and 2 span the plane of 2.
  const mlMatrix double_root = mat(3, 3, {2, 0, 0, 0, 2, 0, 0, 0, 5});
  mlAsymEigenVecs3 d(double_root);
  d.calculate();
  EXPECT_EQ(stored_values(d), (std::vector<double>{5, 2, 2}));
  for (int k = 0; k < 3; ++k)
    expect_eigen_vector(double_root, d, k, 16.0);
  EXPECT_EQ(std::fabs(d.eigen_vector(0)[2]), 1.0);

  // The same polynomial, defective: the space's first column is the one eigenvector (1, 0, 0),
  // the second is the singular vector of the singular value 1 of A - 2 I, (0, 1, 0).
  const mlMatrix jordan = mat(3, 3, {2, 1, 0, 0, 2, 0, 0, 0, 5});
  mlAsymEigenVecs3 j(jordan);
  j.calculate();
  EXPECT_EQ(stored_values(j), (std::vector<double>{5, 2, 2}));
  expect_eigen_vector(jordan, j, 0, 16.0);
  expect_eigen_vector(jordan, j, 1, 16.0);
  EXPECT_EQ(std::fabs(j.eigen_vector(1)[0]), 1.0);
  EXPECT_EQ(std::fabs(j.eigen_vector(2)[1]), 1.0);
}

TEST(ATAEigenVecs, SquaresTheSingularValues) {
  mlRandom random(31);
  for (int trial = 0; trial < 8; ++trial) {
    const int n = 2 + trial % 4;
    const mlMatrix a = random_matrix(random, n + trial % 3, n);
    mlATAEigenVecs e(a);
    e.calculate();
    EXPECT_EQ(e.status(), mlEigenVecsOk);
    const mlSingularValueDecomposition svd(a);
    ASSERT_EQ(e.num_real_eigen_values(), n);
    for (int k = 0; k < n; ++k)
      EXPECT_EQ(e.eigen_value(k), svd.diagonal()[k] * svd.diagonal()[k]);
    ASSERT_EQ(e.eigen_vectors().rows(), n);
    ASSERT_EQ(e.eigen_vectors().cols(), n);
    EXPECT_TRUE(same_bits(e.eigen_vectors().data(), svd.V().data(), n * n));
    // And they are the eigenpairs of the product A^T A.
    mlMatrix ata(mlMatrixZero, n, n);
    for (int i = 0; i < n; ++i) {
      for (int j = 0; j < n; ++j) {
        for (int r = 0; r < a.rows(); ++r)
          ata(i, j) += a(r, i) * a(r, j);
      }
    }
    for (int k = 0; k < n; ++k)
      expect_eigen_vector(ata, e, k, 64.0);
  }

  // Fewer rows than columns: past the min(m, n) singular values the eigenvalue is 0.0.
  const mlMatrix wide = mat(1, 3, {3, 0, 4});
  mlATAEigenVecs w(wide);
  w.calculate();
  ASSERT_EQ(w.num_real_eigen_values(), 3);
  EXPECT_NEAR(w.eigen_value(0), 25.0, 1e-13);
  EXPECT_EQ(w.eigen_value(1), 0.0);
  EXPECT_EQ(w.eigen_value(2), 0.0);
}

}  // namespace
