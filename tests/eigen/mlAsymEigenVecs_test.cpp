#include "eigen/mlAsymEigenVecs.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "decomp/mlSingularValueDecomposition.h"
#include "support/reference_eigen.h"
#include "support/test_support.h"

namespace {

using namespace paskosda_test;

TEST(mlAsymEigenVecs, FindsRealValuesByMagnitudeAndANullVectorOrSpaceForEach) {
  const double s = std::sqrt(0.5), r2 = std::sqrt(2.0);
  struct Case {
    mlMatrix a;
    std::vector<double> values, vectors;  // vectors: |elements| by rows; empty: by the residuals
  };
  // The lambda I test reads the matrix maximum, which overlooks negative elements.
  const Case cases[] = {
      {mat(2, 2, {1, 2, 3, -4}), {-5, 2}, {}},
      {mat(2, 2, {0, 1, 1, 0}), {1, -1}, {}},  // of equal magnitudes, the larger value first
      {mat(2, 2, {0, -1, 1, 0}), {}, {}},      // a complex pair: no values, no vectors
      // Defective: the eigenvector, then the other right singular vector.
      {mat(2, 2, {1, 1, 0, 1}), {1, 1}, {1, 0, 0, 1}},
      {mat(2, 2, {2, 0, -3, 2}), {2, 2}, {1, 0, 0, 1}},           // A - 2 I reads as zero
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
    ASSERT_TRUE(e.status() == mlEigenVecsOk && e.num_real_eigen_values() == count) << which;
    ASSERT_EQ(values(e.eigen_vectors()).size(), c.values.size() * n) << which;
    for (int k = 0; k < count; ++k) {
      EXPECT_NEAR(e.eigen_value(k), c.values[k], 1e-13) << which;
      EXPECT_NEAR(e.eigen_vector(k).modulus(), 1.0, 8 * DBL_EPSILON) << which;
      const double residual = c.vectors.empty() ? eigen_residual(c.a, e, k) : 0.0;
      EXPECT_LE(residual, 64 * DBL_EPSILON * (std::fabs(c.values[k]) + 1)) << which;
      for (int i = 0; i < n && !c.vectors.empty(); ++i)
        EXPECT_NEAR(std::fabs(e.eigen_vector(k)[i]), c.vectors[i * count + k], 1e-14) << which;
    }
  }
}

TEST(mlAsymEigenVecs, SharesAnEigenspaceOnlyBelowTheBoundsOfSameValueAndOfZero) {
  // [[d, 1], [0, 0]] has the values d and 0, d tuned until the solver gives exactly the bound
  // 1e-4 or the double below it. At 1e-4 the values are distinct: e_1, then the null vector
  // (1, -d) of A, normalised; below it they share the space of the larger, e_1 and e_2.
  const auto with_value = [](double target) {
    double d = target;
    for (int i = 0; i < 64; ++i) {
      const mlMatrix a = mat(2, 2, {d, 1, 0, 0});
      mlAsymEigenVecs2 e(a);
      e.calculate();
      if (e.eigen_value(0) == target) break;
      d = std::nextafter(d, e.eigen_value(0) < target ? 1.0 : 0.0);
    }
    return d;
  };
  for (const double bound : {1e-4, std::nextafter(1e-4, 0.0)}) {
    const mlMatrix a = mat(2, 2, {with_value(bound), 1, 0, 0});
    mlAsymEigenVecs2 e(a);
    e.calculate();
    ASSERT_TRUE(e.num_real_eigen_values() == 2 && e.eigen_value(0) == bound &&
                e.eigen_value(1) == 0.0);
    const bool shared = bound != 1e-4;
    EXPECT_EQ(std::fabs(e.eigen_vector(1)[0]) < 0.5, shared) << bound;
    EXPECT_LE(eigen_residual(a, e, 0), DBL_EPSILON);
  }
  // A - 2 I = [[0, 0], [t, 0]] is decomposed when its largest element reaches the tolerance
  // 1e-6 (the space in the order of the singular vectors, e_2 first), and read as zero below.
  for (const double t : {1e-6, std::nextafter(1e-6, 0.0)}) {
    const mlMatrix a = mat(2, 2, {2, 0, t, 2});
    mlAsymEigenVecs2 e(a);
    e.calculate();
    ASSERT_EQ(e.num_real_eigen_values(), 2);
    EXPECT_EQ(std::fabs(e.eigen_vector(0)[1]), t == 1e-6 ? 1.0 : 0.0) << t;
  }
}

TEST(mlAsymEigenVecsATA, SquaresTheSingularValuesAndTakesTheRightSingularVectors) {
  // With fewer rows than columns, past the min(m, n) singular values the eigenvalue is 0.0.
  mlRandom random(31);
  const int shapes[][2] = {{2, 2}, {4, 3}, {4, 4}, {6, 5}, {1, 3}};
  for (const auto& [m, n] : shapes) {
    const mlMatrix a = random_matrix(random, m, n);
    mlATAEigenVecs e(a);
    e.calculate();
    const mlSingularValueDecomposition svd(a);
    const mlVector& s = svd.diagonal();
    ASSERT_TRUE(e.status() == mlEigenVecsOk && e.num_real_eigen_values() == n);
    for (int k = 0; k < n; ++k)
      EXPECT_EQ(e.eigen_value(k), k < std::min(m, n) ? s[k] * s[k] : 0.0) << m << "x" << n;
    ASSERT_TRUE(e.eigen_vectors().rows() == n && e.eigen_vectors().cols() == n);
    EXPECT_TRUE(same_bits(e.eigen_vectors().data(), svd.V().data(), n * n));
  }
}

}  // namespace
