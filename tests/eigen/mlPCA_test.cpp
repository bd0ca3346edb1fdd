#include "eigen/mlPCA.h"

#include <gtest/gtest.h>

#include <cfloat>

#include "eigen/mlAsymEigenVecs.h"
#include "support/test_support.h"

namespace {

using paskosda_test::same_bits;
using paskosda_test::values;

TEST(mlPCA, IsTheAtaSolverOnCentredPointsDividedBySqrtNMinusOne) {
  mlRandom random(5);
  for (int d = 2; d <= 4; ++d) {
    const int n = 3 * d + 1;
    // The steps in their order: sums from 0.0 over ascending points, a division by n, the
    // centre subtracted, a division by sqrt(n - 1).
    doublecoDynArr2D p;
    mlMatrix m(n, d);
    std::vector<double> centre(d, 0.0);
    for (int i = 0; i < n * d; ++i)
      centre[i % d] += m.data()[i] = p(i / d, i % d) = random.uniform(-1, 1) * (i % d + 1) + i % d;
    for (double& c : centre)
      c /= n;
    for (int i = 0; i < n * d; ++i)
      m.data()[i] = (m.data()[i] - centre[i % d]) / std::sqrt(n - 1.0);
    mlATAEigenVecs expected(m);
    expected.calculate();
    const mlPCA pca(p);
    ASSERT_EQ(pca.status(), mlPCAOk);
    EXPECT_TRUE(same_bits(pca.mass_centre().data(), centre.data(), d));
    EXPECT_TRUE(same_bits(pca.eigenvalues().data(), expected.eigen_values().data(), d));
    auto column = [&expected](int k) { return values(mlVector(utCopy, expected.eigen_vector(k))); };
    mlVector axis;
    for (int k = 0; k < d; ++k)
      EXPECT_TRUE(pca.axis(k, axis) == mlPCAOk && values(axis) == column(k)) << k;
    EXPECT_TRUE(pca.principal_axis(axis) == mlPCAOk && values(axis) == column(0));
    EXPECT_TRUE(pca.least_axis(axis) == mlPCAOk && values(axis) == column(d - 1));
    EXPECT_EQ(pca.axis(-1, axis) + pca.axis(d, axis), 2 * mlPCAAxisOutOfRange);
    EXPECT_EQ(values(axis), column(d - 1));  // untouched
  }
}

TEST(mlPCA, ReportsTooFewPointsClearingResultsAndLeavingOutputsAlone) {
  const int shapes[][2] = {{1, 2}, {2, 3}, {3, 1}, {0, 0}};  // points by dimensions
  for (const auto& [n, d] : shapes) {
    doublecoDynArr2D good, p;
    good(1, 0) = good(2, 1) = 1.0;  // (0, 0), (1, 0), (0, 1)
    mlPCA pca(good);
    p.expand(n, d);
    pca.become(p);
    EXPECT_EQ(pca.status(), mlPCATooFewPoints);
    EXPECT_EQ(pca.eigenvalue(0), DBL_MAX);
    EXPECT_EQ(pca.eigenvalues().dimension() + pca.mass_centre().size(), 0);
    mlVector out = paskosda_test::vec({7, 8});
    EXPECT_EQ(pca.eigenvalues(out), mlPCATooFewPoints);
    EXPECT_EQ(pca.principal_axis(out), mlPCATooFewPoints);
    EXPECT_EQ(pca.least_axis(out), mlPCATooFewPoints);
    EXPECT_EQ(pca.axis(0, out), mlPCAAxisOutOfRange);  // no variances: every index is out
    EXPECT_EQ(values(out), (std::vector<double>{7, 8})) << n << "x" << d;
  }
  // As many points as dimensions are enough: (1, 0) and (0, 1).
  doublecoDynArr2D two;
  two(0, 0) = two(1, 1) = 1.0;
  EXPECT_EQ(mlPCA(two).status(), mlPCAOk);
}

}  // namespace
