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
using paskosda_test::vec;

// The array is not copyable, so the helpers fill one in place.
void fill(doublecoDynArr2D& p, const std::vector<std::vector<double>>& rows) {
  for (std::size_t i = 0; i < rows.size(); ++i) {
    for (std::size_t j = 0; j < rows[i].size(); ++j)
      p(static_cast<int>(i), static_cast<int>(j)) = rows[i][j];
  }
}

void fill_random(doublecoDynArr2D& p, mlRandom& random, int n, int d) {
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j < d; ++j)
      p(i, j) = random.uniform(-1.0, 1.0) * (j + 1) + 10.0 * j;
  }
}

TEST(PCA, AnalysesTheCornersOfASquare) {
  doublecoDynArr2D p;
  fill(p, {{0, 0}, {2, 0}, {0, 2}, {2, 2}});
  const mlPCA pca(p);
  ASSERT_EQ(pca.status(), mlPCAOk);
  ASSERT_EQ(pca.mass_centre().size(), 2);
  EXPECT_EQ(pca.mass_centre()[0], 1.0);
  EXPECT_EQ(pca.mass_centre()[1], 1.0);
  ASSERT_EQ(pca.eigenvalues().dimension(), 2);
  EXPECT_NEAR(pca.eigenvalue(0), 4.0 / 3.0, 4 * DBL_EPSILON);
  EXPECT_NEAR(pca.eigenvalue(1), 4.0 / 3.0, 4 * DBL_EPSILON);
}

TEST(PCA, IsTheAtaSolverOnCentredScaledPoints) {
  mlRandom random(5);
  for (int d = 2; d <= 4; ++d) {
    const int n = 3 * d + 1;
    doublecoDynArr2D p;
    fill_random(p, random, n, d);
    const mlPCA pca(p);
    ASSERT_EQ(pca.status(), mlPCAOk);

    // The same steps in the same order: sums from 0.0 over ascending points, a division by
    // n, the centre subtracted, a division by sqrt(n - 1).
    std::vector<double> centre(static_cast<std::size_t>(d), 0.0);
    for (int i = 0; i < n; ++i) {
      for (int j = 0; j < d; ++j)
        centre[static_cast<std::size_t>(j)] += p(i, j);
    }
    for (double& c : centre)
      c /= n;
    mlMatrix m(n, d);
    for (int i = 0; i < n; ++i) {
      for (int j = 0; j < d; ++j)
        m(i, j) = (p(i, j) - centre[static_cast<std::size_t>(j)]) / std::sqrt(n - 1.0);
    }
    mlATAEigenVecs expected(m);
    expected.calculate();
    EXPECT_TRUE(same_bits(pca.mass_centre().data(), centre.data(), d));
    EXPECT_TRUE(same_bits(pca.eigenvalues().data(), expected.eigen_values().data(), d));
    ASSERT_EQ(pca.principal_axis().dimension(), d);
    for (int k = 0; k < d; ++k) {
      const mlVector axis(utCopy, pca.axis(k));
      const mlVector column(utCopy, expected.eigen_vector(k));
      EXPECT_TRUE(same_bits(axis.data(), column.data(), d)) << k;
    }

    // And they are the eigenpairs of the sample covariance, summed by hand.
    for (int k = 0; k < d; ++k) {
      const mlSlice axis = pca.axis(k);
      for (int a = 0; a < d; ++a) {
        double cv = 0.0;
        for (int b = 0; b < d; ++b) {
          double cov = 0.0;
          for (int i = 0; i < n; ++i) {
            cov += (p(i, a) - centre[static_cast<std::size_t>(a)]) *
                   (p(i, b) - centre[static_cast<std::size_t>(b)]);
          }
          cv += cov / (n - 1) * axis[b];
        }
        EXPECT_NEAR(cv, pca.eigenvalue(k) * axis[a], 1e-12) << "d " << d << " axis " << k;
      }
      if (k > 0) {
        EXPECT_GE(pca.eigenvalue(k - 1), pca.eigenvalue(k));
      }
    }
  }
}

TEST(PCA, FindsTheDirectionOfALineAndTheNormalOfAPlane) {
  // Along y = x: the principal axis is (1, 1) / sqrt 2 up to sign, the least variance 0.
  doublecoDynArr2D line;
  fill(line, {{-1, -1}, {0.5, 0.5}, {2, 2}, {3, 3}, {7, 7}});
  const mlPCA l(line);
  ASSERT_EQ(l.status(), mlPCAOk);
  mlVector axis;
  EXPECT_EQ(l.principal_axis(axis), mlPCAOk);
  const double h = 1.0 / std::sqrt(2.0);
  EXPECT_NEAR(std::fabs(axis[0]), h, 4 * DBL_EPSILON);
  EXPECT_NEAR(axis[1], axis[0], 4 * DBL_EPSILON);
  EXPECT_NEAR(l.eigenvalue(1), 0.0, 1e-14);

  // Points of the plane x + 2y - 2z = 3: the least axis is its unit normal.
  mlRandom random(17);
  doublecoDynArr2D plane;
  for (int i = 0; i < 20; ++i) {
    const double x = random.uniform(-5.0, 5.0);
    const double y = random.uniform(-5.0, 5.0);
    plane(i, 0) = x;
    plane(i, 1) = y;
    plane(i, 2) = (x + 2 * y - 3) / 2;
  }
  const mlPCA pl(plane);
  ASSERT_EQ(pl.status(), mlPCAOk);
  mlVector normal;
  EXPECT_EQ(pl.least_axis(normal), mlPCAOk);
  const double sign = normal[0] > 0 ? 1.0 : -1.0;
  EXPECT_NEAR(sign * normal[0], 1.0 / 3.0, 1e-14);
  EXPECT_NEAR(sign * normal[1], 2.0 / 3.0, 1e-14);
  EXPECT_NEAR(sign * normal[2], -2.0 / 3.0, 1e-14);
  EXPECT_NEAR(pl.eigenvalue(2), 0.0, 1e-13);
  EXPECT_EQ(pl.least_axis()[1], normal[1]);
}

TEST(PCA, ReportsTooFewPointsAndLeavesOutputsAlone) {
  const std::vector<std::vector<std::vector<double>>> few = {
      {{1, 2}},                // one point in 2-D
      {{1, 2, 3}, {4, 5, 6}},  // two points in 3-D
      {{1}, {2}, {3}},         // one dimension
      {},                      // nothing at all
  };
  for (const std::vector<std::vector<double>>& rows : few) {
    doublecoDynArr2D p;
    fill(p, rows);
    const mlPCA pca(p);
    EXPECT_EQ(pca.status(), mlPCATooFewPoints);
    EXPECT_EQ(pca.eigenvalue(0), DBL_MAX);
    EXPECT_EQ(pca.mass_centre().size(), 0);
    mlVector out = vec({7, 8});
    EXPECT_EQ(pca.eigenvalues(out), mlPCATooFewPoints);
    EXPECT_EQ(pca.principal_axis(out), mlPCATooFewPoints);
    EXPECT_EQ(pca.least_axis(out), mlPCATooFewPoints);
    // No variances: every index is out of range.
    EXPECT_EQ(pca.axis(0, out), mlPCAAxisOutOfRange);
    EXPECT_EQ(values(out), (std::vector<double>{7, 8}));
  }
}

TEST(PCA, ChecksTheAxisIndex) {
  doublecoDynArr2D p;
  fill(p, {{0, 0, 1}, {2, 0, 0}, {0, 3, 0}, {1, 1, 1}});
  mlPCA pca(p);
  ASSERT_EQ(pca.status(), mlPCAOk);
  mlVector out = vec({7});
  EXPECT_EQ(pca.axis(-1, out), mlPCAAxisOutOfRange);
  EXPECT_EQ(pca.axis(3, out), mlPCAAxisOutOfRange);
  EXPECT_EQ(values(out), (std::vector<double>{7}));
  EXPECT_EQ(pca.axis(1, out), mlPCAOk);
  ASSERT_EQ(out.dimension(), 3);
  for (int i = 0; i < 3; ++i)
    EXPECT_EQ(out[i], pca.axis(1)[i]);
  // The column views: the axes matrix's row count long, its column count apart.
  EXPECT_EQ(&pca.least_axis()[1], &pca.axis(2)[0] + 3);

  // become analyses anew; too few points clear the earlier results.
  doublecoDynArr2D one;
  fill(one, {{1, 1}});
  pca.become(one);
  EXPECT_EQ(pca.status(), mlPCATooFewPoints);
  EXPECT_EQ(pca.eigenvalues().dimension(), 0);
}

}  // namespace
