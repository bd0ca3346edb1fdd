#include "decomp/mlSingularValueDecomposition.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <limits>
#include <vector>

#include "support/test_support.h"

namespace {

using paskosda_test::mat;
using paskosda_test::random_matrix;
using paskosda_test::same_bits;
using paskosda_test::values;
using paskosda_test::vec;
using SVD = mlSingularValueDecomposition;

constexpr double kEps = DBL_EPSILON;

// Errors of a decomposition in units of N * eps * |A| (N the larger dimension, |A| = s[0]):
// the largest element of A - U diag(s) V^T, and of U^T U - I and V^T V - I.
struct Errors {
  double reconstruction = 0.0;
  double orthogonality = 0.0;
};

Errors measure(const mlMatrix& a, const SVD& svd) {
  const mlMatrix& u = svd.U();
  const mlMatrix& v = svd.V();
  const mlVector& s = svd.diagonal();
  const int m = a.rows();
  const int n = a.cols();
  const int k = s.dimension();
  const double unit = std::max(m, n) * kEps;
  Errors errors;
  double residual = 0.0;
  for (int i = 0; i < m; ++i) {
    for (int j = 0; j < n; ++j) {
      double sum = 0.0;
      for (int c = 0; c < k; ++c)
        sum += u(i, c) * s[c] * v(j, c);
      residual = std::max(residual, std::fabs(a(i, j) - sum));
    }
  }
  const double norm = k > 0 ? s[0] : 0.0;
  errors.reconstruction = residual == 0.0 ? 0.0 : residual / (unit * norm);
  for (const mlMatrix* q : {&u, &v}) {
    for (int i = 0; i < q->cols(); ++i) {
      for (int j = 0; j < q->cols(); ++j) {
        double sum = 0.0;
        for (int r = 0; r < q->rows(); ++r)
          sum += (*q)(r, i) * (*q)(r, j);
        errors.orthogonality =
            std::max(errors.orthogonality, std::fabs(sum - (i == j ? 1.0 : 0.0)) / unit);
      }
    }
  }
  return errors;
}

// Shapes, non-negativity and decreasing order of the values.
void expect_well_formed(const mlMatrix& a, const SVD& svd) {
  const int m = a.rows();
  const int n = a.cols();
  EXPECT_EQ(svd.invalid(), 0);
  EXPECT_EQ(svd.U().rows(), m);
  EXPECT_EQ(svd.U().cols(), m);
  EXPECT_EQ(svd.V().rows(), n);
  EXPECT_EQ(svd.V().cols(), n);
  const mlVector& s = svd.diagonal();
  ASSERT_EQ(s.dimension(), std::min(m, n));
  for (int i = 0; i < s.dimension(); ++i) {
    EXPECT_GE(s[i], 0.0) << i;
    EXPECT_FALSE(std::signbit(s[i])) << i;
    if (i > 0) {
      EXPECT_GE(s[i - 1], s[i]) << i;
    }
  }
}

TEST(mlSingularValueDecomposition, DecomposesRandomMatricesOfEveryShape) {
  const int shapes[][2] = {{1, 1},   {1, 6},   {6, 1},   {2, 3},  {3, 2},  {4, 4},
                           {7, 3},   {3, 7},   {10, 10}, {17, 9}, {9, 17}, {30, 30},
                           {45, 20}, {20, 45}, {2, 40},  {40, 2}};
  mlRandom random(20240611);
  Errors worst;
  for (const auto& shape : shapes) {
    for (int trial = 0; trial < 3; ++trial) {
      const mlMatrix a = random_matrix(random, shape[0], shape[1]);
      const SVD svd(a);
      expect_well_formed(a, svd);
      const Errors e = measure(a, svd);
      worst.reconstruction = std::max(worst.reconstruction, e.reconstruction);
      worst.orthogonality = std::max(worst.orthogonality, e.orthogonality);
    }
  }
  EXPECT_LT(worst.reconstruction, 4.0);
  EXPECT_LT(worst.orthogonality, 4.0);
}

TEST(mlSingularValueDecomposition, DecomposesStructuredMatrices) {
  mlRandom random(77);
  std::vector<mlMatrix> cases;
  // Rank one and rank two, 6 by 5 and 5 by 6.
  for (int rank : {1, 2}) {
    for (int transposed = 0; transposed < 2; ++transposed) {
      const mlMatrix x = random_matrix(random, 6, rank);
      const mlMatrix y = random_matrix(random, rank, 5);
      mlMatrix a(mlMatrixProduct, x, y);
      cases.push_back(transposed != 0 ? mlMatrix(mlMatrixTranspose, a) : std::move(a));
    }
  }
  // Repeated columns, a zero column and a zero row.
  mlMatrix repeated = random_matrix(random, 5, 4);
  for (int i = 0; i < 5; ++i) {
    repeated(i, 2) = repeated(i, 0);
    repeated(i, 3) = 0.0;
  }
  cases.push_back(std::move(repeated));
  mlMatrix zero_row = random_matrix(random, 4, 6);
  zero_row.row(1).fill(0.0);
  cases.push_back(std::move(zero_row));
  // Graded: row i scaled by 10^-3i; and each element scaled by 10^(+-150) at random.
  mlMatrix graded = random_matrix(random, 6, 6);
  for (int i = 0; i < 6; ++i)
    graded.row(i) *= std::pow(10.0, -3.0 * i);
  cases.push_back(std::move(graded));
  mlMatrix wild = random_matrix(random, 5, 5);
  for (int i = 0; i < 25; ++i)
    wild.data()[i] *= std::pow(10.0, random.integer(2) == 0 ? -150.0 : 150.0);
  cases.push_back(std::move(wild));
  // Everything near the bottom of the normal range, and near the top.
  cases.push_back(random_matrix(random, 5, 4, -1e-300, 1e-300));
  cases.push_back(random_matrix(random, 4, 5, -1e300, 1e300));
  // A matrix of ones: one value sqrt(mn), all others zero.
  mlMatrix ones(5, 3);
  ones.fill(1.0);
  cases.push_back(std::move(ones));

  for (std::size_t c = 0; c < cases.size(); ++c) {
    SCOPED_TRACE(c);
    const mlMatrix& a = cases[c];
    const SVD svd(a);
    expect_well_formed(a, svd);
    const Errors e = measure(a, svd);
    EXPECT_LT(e.reconstruction, 4.0);
    EXPECT_LT(e.orthogonality, 4.0);
  }

  const SVD ones_svd(cases.back());
  EXPECT_NEAR(ones_svd.diagonal()[0], std::sqrt(15.0), 4 * kEps * std::sqrt(15.0));
  EXPECT_LT(ones_svd.diagonal()[1], 8 * kEps);
  EXPECT_EQ(ones_svd.rank(1e-7), 1);
}

TEST(mlSingularValueDecomposition, AbsorbsNegativeDiagonalEntriesIntoTheVectors) {
  const mlMatrix a = mat(2, 2, {3, 0, 0, -2});
  const SVD svd(a);
  EXPECT_EQ(values(svd.diagonal()), (std::vector<double>{3, 2}));
  // One of the two vectors of the second value carries the sign.
  EXPECT_EQ(svd.U()(1, 1) * svd.V()(1, 1), -1.0);
  EXPECT_EQ(std::fabs(svd.U()(0, 0) * svd.V()(0, 0)), 1.0);

  // A diagonal with mixed signs out of order comes back sorted, exactly.
  const mlMatrix d = mat(4, 4, {-1, 0, 0, 0, 0, 4, 0, 0, 0, 0, -0.5, 0, 0, 0, 0, 2});
  const SVD dsvd(d);
  EXPECT_EQ(values(dsvd.diagonal()), (std::vector<double>{4, 2, 1, 0.5}));
  EXPECT_EQ(measure(d, dsvd).reconstruction, 0.0);
  EXPECT_EQ(measure(d, dsvd).orthogonality, 0.0);

  // 1 by 1: the sign goes into U.
  const SVD one(mat(1, 1, {-3}));
  EXPECT_EQ(one.diagonal()[0], 3.0);
  EXPECT_EQ(one.U()(0, 0), -1.0);
  EXPECT_EQ(one.V()(0, 0), 1.0);
}

TEST(mlSingularValueDecomposition, ValuesDoNotDependOnTheVectorsAskedFor) {
  mlRandom random(5);
  const int shapes[][2] = {{6, 4}, {4, 6}, {5, 5}};
  for (const auto& shape : shapes) {
    const int m = shape[0];
    const int n = shape[1];
    const int k = std::min(m, n);
    const mlMatrix a = random_matrix(random, m, n);
    const SVD full(a);
    for (SVD::mlJOB_U job_u : {SVD::mlJOB_U_NONE, SVD::mlJOB_U_FULL}) {
      for (SVD::mlJOB_V job_v : {SVD::mlJOB_V_NONE, SVD::mlJOB_V_FULL, SVD::mlJOB_V_REDUCED}) {
        SCOPED_TRACE(testing::Message() << m << "x" << n << " jobs " << job_u << job_v);
        const SVD svd(a, job_u, job_v);
        EXPECT_EQ(svd.invalid(), 0);
        ASSERT_EQ(svd.diagonal().dimension(), k);
        EXPECT_TRUE(same_bits(svd.diagonal().data(), full.diagonal().data(), k));

        const int u_size = job_u == SVD::mlJOB_U_NONE ? 1 : m;
        EXPECT_EQ(svd.U().rows(), u_size);
        EXPECT_EQ(svd.U().cols(), u_size);
        if (job_u != SVD::mlJOB_U_NONE) {
          EXPECT_TRUE(same_bits(svd.U().data(), full.U().data(), m * m));
        }

        const int v_rows = job_v == SVD::mlJOB_V_NONE ? 1 : n;
        const int v_cols = job_v == SVD::mlJOB_V_NONE ? 1 : job_v == SVD::mlJOB_V_FULL ? n : k;
        EXPECT_EQ(svd.V().rows(), v_rows);
        ASSERT_EQ(svd.V().cols(), v_cols);
        if (job_v != SVD::mlJOB_V_NONE) {
          // The reduced set is the leading columns of the full one, bit for bit.
          for (int r = 0; r < n; ++r) {
            EXPECT_TRUE(same_bits(svd.V().row_data(r), full.V().row_data(r), v_cols)) << r;
          }
        }
      }
    }
  }
}

TEST(mlSingularValueDecomposition, RankSwitchesFromAbsoluteToRelative) {
  struct Case {
    mlMatrix a;
    double tol;
    int rank;
    int singular;
  };
  Case cases[] = {
      {mat(2, 2, {5, 0, 0, 0}), 1e-7, 1, 1},
      {mat(2, 2, {5, 0, 0, 1e-6}), 1e-7, 2, 0},
      {mat(2, 2, {5, 0, 0, 1e-7}), 1e-7, 1, 1},  // 5e-7 > 1e-7: relative to s[0]
      {mat(1, 1, {0.5}), 1.0, 0, 1},             // one value: absolute
      {mat(1, 1, {0.5}), 0.4, 1, 0},
      {mat(1, 1, {1e-9}), 1e-7, 0, 1},
      {mat(1, 1, {0.0}), 1e-7, 0, 1},
      {mat(2, 3, {1e-9, 0, 0, 0, 1e-10, 0}), 1e-7, 2, 0},  // two values: relative only
      {mat(3, 3, {4, 0, 0, 0, 0, 0, 0, 0, 1}), 1e-7, 2, 1},
      // Every value zero: nothing is below tol * s[0] = 0, so all of them count.
      {mat(2, 2, {0, 0, 0, 0}), 1e-7, 2, 0},
      {mlMatrix(0, 0), 1e-7, 0, 1},
  };
  for (const Case& c : cases) {
    const SVD svd(c.a);
    SCOPED_TRACE(testing::Message() << "s = " << svd.diagonal() << " tol " << c.tol);
    EXPECT_EQ(svd.rank(c.tol), c.rank);
    EXPECT_EQ(svd.is_singular(c.tol), c.singular);
  }
}

// The four Penrose conditions A X A = A, X A X = X, (A X)^T = A X, (X A)^T = X A.
double penrose_error(const mlMatrix& a, const mlMatrix& x) {
  const mlMatrix ax(mlMatrixProduct, a, x);
  const mlMatrix xa(mlMatrixProduct, x, a);
  const mlMatrix axa(mlMatrixProduct, ax, a);
  const mlMatrix xax(mlMatrixProduct, xa, x);
  double worst = 0.0;
  for (int i = 0; i < a.rows() * a.cols(); ++i)
    worst = std::max(worst, std::fabs(axa.data()[i] - a.data()[i]));
  for (int i = 0; i < x.rows() * x.cols(); ++i)
    worst = std::max(worst, std::fabs(xax.data()[i] - x.data()[i]));
  for (int i = 0; i < ax.rows(); ++i) {
    for (int j = 0; j < ax.cols(); ++j)
      worst = std::max(worst, std::fabs(ax(i, j) - ax(j, i)));
  }
  for (int i = 0; i < xa.rows(); ++i) {
    for (int j = 0; j < xa.cols(); ++j)
      worst = std::max(worst, std::fabs(xa(i, j) - xa(j, i)));
  }
  return worst;
}

TEST(mlSingularValueDecomposition, PseudoInverseSatisfiesThePenroseConditions) {
  mlRandom random(99);
  const int shapes[][3] = {{3, 2, 2}, {2, 3, 2}, {5, 5, 5}, {8, 5, 3}, {5, 8, 2}, {6, 6, 4}};
  for (const auto& shape : shapes) {
    const int m = shape[0];
    const int n = shape[1];
    const int r = shape[2];
    // Rank r with well-separated values: X has norm of order 1.
    const mlMatrix a(mlMatrixProduct, random_matrix(random, m, r), random_matrix(random, r, n));
    const SVD svd(a);
    const mlMatrix& x = svd.inverse(1e-10);
    SCOPED_TRACE(testing::Message() << m << "x" << n << " rank " << r);
    EXPECT_EQ(x.rows(), n);
    EXPECT_EQ(x.cols(), m);
    EXPECT_EQ(svd.rank(1e-10), r);
    EXPECT_LT(penrose_error(a, x), 1e-12);
  }
}

TEST(mlSingularValueDecomposition, PseudoInverseIsCachedWithTheFirstTolerance) {
  const mlMatrix a = mat(2, 2, {1, 0, 0, 1e-3});
  SVD svd(a);
  const mlMatrix& coarse = svd.inverse(0.5);  // drops 1e-3
  EXPECT_EQ(values(coarse), (std::vector<double>{1, 0, 0, 0}));
  const mlMatrix& again = svd.inverse(1e-9);
  EXPECT_EQ(&again, &coarse);
  EXPECT_EQ(values(again), (std::vector<double>{1, 0, 0, 0}));
  // solve uses the cached inverse too.
  mlVector x;
  svd.solve(vec({2, 3}), x);
  EXPECT_EQ(values(x), (std::vector<double>{2, 0}));

  // A new decomposition starts without a cache.
  svd.become(a);
  EXPECT_EQ(values(svd.inverse(1e-9)), (std::vector<double>{1, 0, 0, 1e3}));

  // s[0] is inverted without the tolerance test; a zero matrix inverts to zero.
  const SVD tiny(mat(1, 2, {1e-30, 0}));
  EXPECT_EQ(values(tiny.inverse(1.0)), (std::vector<double>{1.0 / 1e-30, 0}));
  const SVD zero(mlMatrix(mlMatrixZero, 2, 3));
  EXPECT_EQ(values(zero.inverse(1e-7)), std::vector<double>(6, 0.0));
}

TEST(mlSingularValueDecomposition, SolvesLeastSquaresProblems) {
  // An overdetermined, consistent system recovers its solution; adding a residual orthogonal
  // to the columns leaves the solution unchanged.
  mlRandom random(3);
  const mlMatrix a = random_matrix(random, 8, 3);
  const mlVector x0 = vec({1.5, -2, 0.25});
  mlVector b(mlMatrixProduct, a, x0);
  const SVD svd(a);
  mlVector x;
  svd.solve(b, x);
  ASSERT_EQ(x.dimension(), 3);
  for (int i = 0; i < 3; ++i)
    EXPECT_NEAR(x[i], x0[i], 1e-13);
  // Column 7 of U is orthogonal to A's range.
  for (int i = 0; i < 8; ++i)
    b[i] += 0.5 * svd.U()(i, 7);
  mlVector y;
  svd.solve(b, y);
  for (int i = 0; i < 3; ++i)
    EXPECT_NEAR(y[i], x0[i], 1e-13);

  // The matrix form solves every column as the vector form does, bit for bit.
  mlMatrix rhs(8, 2);
  for (int i = 0; i < 8; ++i) {
    rhs(i, 0) = b[i];
    rhs(i, 1) = -b[i];
  }
  mlMatrix xs;
  svd.solve(rhs, xs);
  ASSERT_EQ(xs.rows(), 3);
  ASSERT_EQ(xs.cols(), 2);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(xs(i, 0), y[i]);
    EXPECT_EQ(xs(i, 1), -y[i]);
  }

  // Underdetermined: the minimum-norm solution of x0 + x1 = 2 is (1, 1).
  const SVD wide(mat(1, 2, {1, 1}));
  mlVector z;
  wide.solve(vec({2}), z);
  EXPECT_NEAR(z[0], 1.0, 4 * kEps);
  EXPECT_NEAR(z[1], 1.0, 4 * kEps);
}

TEST(mlSingularValueDecomposition, FlushesValuesBelowTheSmallestNormal) {
  // The first column's norm is a denormal: flushed to +0.0, it becomes the zero value.
  const SVD svd(mat(2, 2, {1e-310, 0, 0, 1}));
  ASSERT_EQ(svd.diagonal().dimension(), 2);
  const double expected[] = {1.0, 0.0};
  EXPECT_TRUE(same_bits(svd.diagonal().data(), expected, 2));
  EXPECT_EQ(svd.rank(1e-7), 1);

  // Denormal entries in a larger matrix: no denormal value comes out, and the rest holds.
  mlRandom random(11);
  mlMatrix a = random_matrix(random, 5, 4);
  for (int j = 0; j < 4; ++j)
    a(4, j) = 1e-312 * (j + 1);
  a(2, 3) = -4e-320;
  const SVD b(a);
  expect_well_formed(a, b);
  for (int i = 0; i < 4; ++i)
    EXPECT_TRUE(b.diagonal()[i] == 0.0 || b.diagonal()[i] >= DBL_MIN) << i;
  EXPECT_LT(measure(a, b).reconstruction, 4.0);
  EXPECT_LT(measure(a, b).orthogonality, 4.0);

  // Values entirely in the denormal range vanish.
  const SVD all_tiny(mat(2, 2, {1e-315, 2e-315, 3e-315, -1e-316}));
  EXPECT_EQ(values(all_tiny.diagonal()), (std::vector<double>{0, 0}));
}

TEST(mlSingularValueDecomposition, ReportsNonConvergence) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const SVD svd(mat(3, 3, {1, 2, 3, 4, nan, 6, 7, 8, 9}));
  EXPECT_EQ(svd.invalid(), 1);
  EXPECT_EQ(svd.diagonal().dimension(), 3);
  const SVD fine(mat(3, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9}));
  EXPECT_EQ(fine.invalid(), 0);
}

TEST(mlSingularValueDecomposition, HandlesEmptyMatrices) {
  const int shapes[][2] = {{0, 0}, {0, 3}, {3, 0}};
  for (const auto& shape : shapes) {
    const mlMatrix a(shape[0], shape[1]);
    const SVD svd(a);
    SCOPED_TRACE(testing::Message() << shape[0] << "x" << shape[1]);
    expect_well_formed(a, svd);
    // The vectors of the empty side are the identity.
    EXPECT_EQ(values(svd.U()), values(mlMatrix(mlMatrixIdentity, shape[0])));
    EXPECT_EQ(values(svd.V()), values(mlMatrix(mlMatrixIdentity, shape[1])));
    EXPECT_EQ(svd.rank(1e-7), 0);
    EXPECT_EQ(svd.inverse(1e-7).rows(), shape[1]);
    EXPECT_EQ(svd.inverse(1e-7).cols(), shape[0]);
  }
}

// ---- ml_svd ----------------------------------------------------------------------------------

TEST(ml_svd, ReconstructsAndAgreesWithTheBidiagonalMethod) {
  mlRandom random(8);
  const int shapes[][2] = {{2, 2}, {5, 3}, {8, 8}, {12, 5}, {30, 12}};
  for (const auto& shape : shapes) {
    const int m = shape[0];
    const int n = shape[1];
    SCOPED_TRACE(testing::Message() << m << "x" << n);
    const mlMatrix a = random_matrix(random, m, n);
    std::vector<double> w(static_cast<std::size_t>((m + n) * n), -1.0);
    std::copy(a.data(), a.data() + m * n, w.begin());
    std::vector<double> z(n, -1.0);
    ml_svd(w.data(), z.data(), m, n);

    // Rows m... hold V (orthogonal); A = (U diag(s)) V^T; z = squared column norms.
    const double unit = m * kEps;
    for (int i = 0; i < n; ++i) {
      for (int j = 0; j < n; ++j) {
        double vtv = 0.0;
        for (int r = 0; r < n; ++r)
          vtv += w[(m + r) * n + i] * w[(m + r) * n + j];
        EXPECT_NEAR(vtv, i == j ? 1.0 : 0.0, 4 * unit);
      }
    }
    const SVD svd(a);
    const double norm = svd.diagonal()[0];
    for (int i = 0; i < m; ++i) {
      for (int j = 0; j < n; ++j) {
        double sum = 0.0;
        for (int c = 0; c < n; ++c)
          sum += w[i * n + c] * w[(m + j) * n + c];
        EXPECT_NEAR(sum, a(i, j), 4 * unit * norm);
      }
    }
    std::vector<double> sigma;
    for (int c = 0; c < n; ++c) {
      double q = 0.0;
      for (int i = 0; i < m; ++i)
        q += w[i * n + c] * w[i * n + c];
      EXPECT_NEAR(z[c], q, 1e-12 * q);
      sigma.push_back(std::sqrt(z[c]));
    }
    std::sort(sigma.rbegin(), sigma.rend());
    for (int c = 0; c < n; ++c)
      EXPECT_NEAR(sigma[c], svd.diagonal()[c], 8 * unit * norm) << c;
  }
}

TEST(ml_svd, RotatesOnlyWhatNeedsRotating) {
  // Orthogonal columns of decreasing norm: the first sweep rotates nothing and ends it all.
  std::vector<double> w = {3, 0, 0, 2, 0, 0, -7, -7, -7, -7};
  std::vector<double> z(2, -1.0);
  ml_svd(w.data(), z.data(), 3, 2);
  EXPECT_EQ(w, (std::vector<double>{3, 0, 0, 2, 0, 0, 1, 0, 0, 1}));
  EXPECT_EQ(z, (std::vector<double>{9, 4}));

  // Increasing norms: the second branch always rotates, here exchanging the columns (c = 0,
  // s = 1); the next sweep finds nothing to do.
  w = {2, 0, 0, 3, -7, -7, -7, -7};
  ml_svd(w.data(), z.data(), 2, 2);
  const double expected[] = {0, -2, 3, 0, 0, -1, 1, 0};
  EXPECT_TRUE(same_bits(w.data(), expected, 8));
  EXPECT_EQ(z, (std::vector<double>{9, 4}));

  // One column: only the identity is written, z is untouched.
  w = {5, -1, 2, 9};
  z = {-1};
  ml_svd(w.data(), z.data(), 3, 1);
  EXPECT_EQ(w, (std::vector<double>{5, -1, 2, 1}));
  EXPECT_EQ(z, (std::vector<double>{-1}));
}

}  // namespace
