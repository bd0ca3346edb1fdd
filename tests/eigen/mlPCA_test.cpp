#include "eigen/mlPCA.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <vector>

#include "eigen/mlAsymEigenVecs.h"
#include "support/test_support.h"

namespace {

using paskosda_test::same_bits;
using paskosda_test::values;

void fill(doublecoDynArr2D& p, const std::vector<std::vector<double>>& rows) {
  for (std::size_t i = 0; i < rows.size(); ++i) {
    for (std::size_t j = 0; j < rows[i].size(); ++j)
      p(static_cast<int>(i), static_cast<int>(j)) = rows[i][j];
  }
}

TEST(PCA, IsTheAtaSolverOnCentredPointsDividedBySqrtNMinusOne) {
  mlRandom random(5);
  for (int d = 2; d <= 4; ++d) {
    const int n = 3 * d + 1;
    // The steps in their order: sums from 0.0 over ascending points, a division by n, the
    // centre subtracted, a division by sqrt(n - 1).
    doublecoDynArr2D p;
    std::vector<double> centre(d, 0.0);
    for (int i = 0; i < n; ++i) {
      for (int j = 0; j < d; ++j)
        centre[j] += p(i, j) = random.uniform(-1.0, 1.0) * (j + 1) + 10.0 * j;
    }
    for (double& c : centre)
      c /= n;
    mlMatrix m(n, d);
    for (int i = 0; i < n; ++i) {
      for (int j = 0; j < d; ++j)
        m(i, j) = (p(i, j) - centre[j]) / std::sqrt(n - 1.0);
    }
    mlATAEigenVecs expected(m);
    expected.calculate();
    const mlPCA pca(p);
    ASSERT_EQ(pca.status(), mlPCAOk);
    EXPECT_TRUE(same_bits(pca.mass_centre().data(), centre.data(), d));
    EXPECT_TRUE(same_bits(pca.eigenvalues().data(), expected.eigen_values().data(), d));
    mlVector axis;
    for (int k = 0; k < d; ++k) {
      EXPECT_EQ(pca.axis(k, axis), mlPCAOk);
      EXPECT_EQ(values(axis), values(mlVector(utCopy, expected.eigen_vector(k)))) << k;
    }
    EXPECT_EQ(pca.principal_axis(axis), mlPCAOk);
    EXPECT_EQ(values(axis), values(mlVector(utCopy, expected.eigen_vector(0))));
    EXPECT_EQ(pca.least_axis(axis), mlPCAOk);
    EXPECT_EQ(values(axis), values(mlVector(utCopy, expected.eigen_vector(d - 1))));
    EXPECT_EQ(pca.axis(-1, axis), mlPCAAxisOutOfRange);
    EXPECT_EQ(pca.axis(d, axis), mlPCAAxisOutOfRange);
    EXPECT_EQ(values(axis), values(mlVector(utCopy, expected.eigen_vector(d - 1))));  // untouched
  }
}

TEST(PCA, ReportsTooFewPointsClearingResultsAndLeavingOutputsAlone) {
  const std::vector<std::vector<double>> few[] = {
      {{1, 2}}, {{1, 2, 3}, {4, 5, 6}}, {{1}, {2}, {3}}, {}};
  for (const std::vector<std::vector<double>>& rows : few) {
    doublecoDynArr2D good;
    fill(good, {{0, 0}, {1, 0}, {0, 1}});
    mlPCA pca(good);
    doublecoDynArr2D p;
    fill(p, rows);
    pca.become(p);
    EXPECT_EQ(pca.status(), mlPCATooFewPoints);
    EXPECT_EQ(pca.eigenvalue(0), DBL_MAX);
    EXPECT_EQ(pca.eigenvalues().dimension() + pca.mass_centre().size(), 0);
    mlVector out = paskosda_test::vec({7, 8});
    EXPECT_EQ(pca.eigenvalues(out), mlPCATooFewPoints);
    EXPECT_EQ(pca.principal_axis(out), mlPCATooFewPoints);
    EXPECT_EQ(pca.least_axis(out), mlPCATooFewPoints);
    EXPECT_EQ(pca.axis(0, out), mlPCAAxisOutOfRange);  // no variances: every index is out
    EXPECT_EQ(values(out), (std::vector<double>{7, 8}));
  }
}

}  // namespace
