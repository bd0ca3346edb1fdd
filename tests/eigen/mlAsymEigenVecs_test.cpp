#include "eigen/mlAsymEigenVecs.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <vector>

#include "decomp/mlSingularValueDecomposition.h"
#include "support/reference_eigen.h"
#include "support/test_support.h"

namespace {

using paskosda_test::mat;

TEST(AsymEigenVecs, FindsRealValuesByMagnitudeAndANullVectorOrSpaceForEach) {
  const double s = std::sqrt(0.5), r2 = std::sqrt(2.0);
  struct Case {
    mlMatrix a;
    std::vector<double> values;
    std::vector<double> vectors;  // |elements|, row by row; empty: checked by the residuals
  };
  // The lambda I test reads the matrix maximum, which overlooks negative elements.
  const Case cases[] = {
      {mat(2, 2, {1, 2, 3, -4}), {-5, 2}, {}},
      {mat(2, 2, {0, -1, 1, 0}), {}, {}},  // a complex pair: no values, no vectors
      // Defective: the eigenvector, then the other right singular vector.
      {mat(2, 2, {1, 1, 0, 1}), {1, 1}, {1, 0, 0, 1}},
      {mat(2, 2, {2, 0, -3, 2}), {2, 2}, {1, 0, 0, 1}},  // A - 2 I reads as zero
      {mat(3, 3, {1, 2, 3, 0, 4, 5, 0, 0, 6}), {6, 4, 1}, {}},
      {mat(3, 3, {2, 1, 0, 0, -2, 0, 0, 0, 1}), {2, -2, 1}, {}},  // the larger value first
      {mat(3, 3, {0, -1, 0, 1, 0, 0, 0, 0, 2}), {2}, {0, 0, 1}},  // and a complex pair
      // Repeated values share the null space of their multiplicity (here the unit vectors).
      {mat(3, 3, {2, 0, 0, 0, 2, 0, 0, 0, 2}), {2, 2, 2}, {1, 0, 0, 0, 1, 0, 0, 0, 1}},
      {mat(3, 3, {5, 0, 0, 0, 5, 0, 0, 0, 2}), {5, 5, 2}, {1, 0, 0, 0, 1, 0, 0, 0, 1}},
      {mat(3, 3, {2, 1, 0, 0, 2, 0, 0, 0, 5}), {5, 2, 2}, {0, 1, 0, 0, 0, 1, 1, 0, 0}},
      // A - 2 I reads as zero, so 2 gets (1, 0, 0).
      {mat(3, 3, {2, -1, 0, -1, 2, -1, 0, -1, 2}),
       {2 + r2, 2, 2 - r2},
       {0.5, 1, 0.5, s, 0, s, 0.5, 0, 0.5}},
  };
  for (const Case& c : cases) {
    const int which = static_cast<int>(&c - cases);
    const int n = c.a.rows(), count = static_cast<int>(c.values.size());
    mlAsymEigenVecs2 two(c.a);
    mlAsymEigenVecs3 three(c.a);
    n == 2 ? two.calculate() : three.calculate();
    const mlEigenVecs& e = n == 2 ? static_cast<const mlEigenVecs&>(two) : three;
    EXPECT_EQ(e.status(), mlEigenVecsOk) << which;
    ASSERT_EQ(e.num_real_eigen_values(), count) << which;
    ASSERT_EQ(paskosda_test::values(e.eigen_vectors()).size(), c.values.size() * n) << which;
    for (int k = 0; k < count; ++k) {
      const double bound = 64 * DBL_EPSILON * (std::fabs(c.values[k]) + 1);
      EXPECT_NEAR(e.eigen_value(k), c.values[k], 1e-13) << which;
      EXPECT_NEAR(e.eigen_vector(k).modulus(), 1.0, 8 * DBL_EPSILON) << which;
      EXPECT_LE(c.vectors.empty() ? paskosda_test::eigen_residual(c.a, e, k) : 0.0, bound) << which;
      for (int i = 0; i < n && !c.vectors.empty(); ++i)
        EXPECT_NEAR(std::fabs(e.eigen_vector(k)[i]), c.vectors[i * count + k], 1e-14) << which;
    }
  }
}

TEST(ATAEigenVecs, SquaresTheSingularValuesAndTakesTheRightSingularVectors) {
  mlRandom random(31);
  for (int n = 2; n <= 5; ++n) {
    const mlMatrix a = paskosda_test::random_matrix(random, n + n % 2, n);
    mlATAEigenVecs e(a);
    e.calculate();
    const mlSingularValueDecomposition svd(a);
    ASSERT_EQ(e.num_real_eigen_values(), n);
    for (int k = 0; k < n; ++k)
      EXPECT_EQ(e.eigen_value(k), svd.diagonal()[k] * svd.diagonal()[k]);
    ASSERT_TRUE(e.eigen_vectors().rows() == n && e.eigen_vectors().cols() == n);
    EXPECT_TRUE(paskosda_test::same_bits(e.eigen_vectors().data(), svd.V().data(), n * n));
  }
  // Fewer rows than columns: past the min(m, n) singular values the eigenvalue is 0.0.
  const mlMatrix wide = mat(1, 3, {3, 0, 4});
  mlATAEigenVecs w(wide);
  w.calculate();
  EXPECT_EQ(w.status(), mlEigenVecsOk);
  EXPECT_NEAR(w.eigen_value(0), 25.0, 1e-13);
  EXPECT_EQ(paskosda_test::stored_values(w), (std::vector<double>{w.eigen_value(0), 0, 0}));
}

}  // namespace
