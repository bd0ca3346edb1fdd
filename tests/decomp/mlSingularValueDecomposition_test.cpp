#include "decomp/mlSingularValueDecomposition.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <limits>
#include <vector>

#include "support/test_support.h"

namespace {

using namespace paskosda_test;
using SVD = mlSingularValueDecomposition;

// The largest |x - y| over the elements of x.
double max_diff(const mlMatrix& x, const mlMatrix& y) {
  double d = 0.0;
  for (int i = 0; i < x.rows() * x.cols(); ++i)
    d = std::max(d, std::fabs(x.data()[i] - y.data()[i]));
  return d;
}

// Checks the shapes and that the values are non-negative (never -0.0) and decreasing; returns
// the worst of |A - U S V^T| / s[0], |U^T U - I| and |V^T V - I|, in units of N eps (N the
// larger dimension).
double error_units(const mlMatrix& a, const SVD& svd) {
  const int m = a.rows(), n = a.cols(), k = std::min(m, n);
  const mlMatrix &u = svd.U(), &v = svd.V();
  const mlVector& s = svd.diagonal();
  EXPECT_EQ(svd.invalid(), 0);
  EXPECT_TRUE(u.rows() == m && u.cols() == m && v.rows() == n && v.cols() == n);
  EXPECT_EQ(s.dimension(), k);
  mlMatrix us(utCopy, u);
  for (int c = 0; c < k; ++c) {
    EXPECT_TRUE(!std::signbit(s[c]) && (c == 0 || s[c - 1] >= s[c])) << "s = " << s;
    us.col(c) *= s[c];
  }
  us.expand(m, n, 0.0);  // U S: the columns of the values, then zeros
  const mlMatrix vt(mlMatrixTranspose, v);
  const double unit = std::max(m, n) * DBL_EPSILON;
  const double residual = max_diff(mlMatrix(mlMatrixProduct, us, vt), a);
  return std::max(
      {residual == 0.0 ? 0.0 : residual / (unit * s[0]),
       max_diff(mlMatrix(mlMatrixProduct, mlMatrix(mlMatrixTranspose, u), u),
                mlMatrix(mlMatrixIdentity, m)) /
           unit,
       max_diff(mlMatrix(mlMatrixProduct, vt, v), mlMatrix(mlMatrixIdentity, n)) / unit});
}

TEST(mlSingularValueDecomposition, DecomposesRandomAndStructuredMatrices) {
  mlRandom random(20240611);
  std::vector<mlMatrix> cases;
  cases.reserve(32);  // cases.back() is read while the next case is made
  const int shapes[][2] = {{1, 1},   {1, 6},   {6, 1},   {2, 3},  {3, 2},  {4, 4},
                           {7, 3},   {3, 7},   {10, 10}, {17, 9}, {9, 17}, {30, 30},
                           {45, 20}, {20, 45}, {2, 40},  {40, 2}};
  for (const auto& shape : shapes)
    cases.push_back(random_matrix(random, shape[0], shape[1]));
  // Rank one and rank two, 6 by 5 and 5 by 6.
  for (int rank : {1, 2}) {
    const mlMatrix x = random_matrix(random, 6, rank), y = random_matrix(random, rank, 5);
    cases.emplace_back(mlMatrixProduct, x, y);
    cases.emplace_back(mlMatrixTranspose, cases.back());
  }
  // A repeated column and a zero column; a zero row; rows graded by 10^-3i; elements scaled
  // by 10^(+-150) at random; everything near the bottom and near the top of the normal range;
  // all ones (rank one).
  cases.push_back(random_matrix(random, 5, 4));
  for (int i = 0; i < 5; ++i) {
    cases.back()(i, 2) = cases.back()(i, 0);
    cases.back()(i, 3) = 0.0;
  }
  cases.push_back(random_matrix(random, 4, 6));
  cases.back().row(1).fill(0.0);
  cases.push_back(random_matrix(random, 6, 6));
  for (int i = 0; i < 6; ++i)
    cases.back().row(i) *= std::pow(10.0, -3.0 * i);
  cases.push_back(random_matrix(random, 5, 5));
  for (int i = 0; i < 25; ++i)
    cases.back().data()[i] *= std::pow(10.0, random.integer(2) == 0 ? -150.0 : 150.0);
  cases.push_back(random_matrix(random, 5, 4, -1e-300, 1e-300));
  cases.push_back(random_matrix(random, 4, 5, -1e300, 1e300));
  cases.emplace_back(5, 3);
  cases.back().fill(1.0);
  for (std::size_t c = 0; c < cases.size(); ++c)
    EXPECT_LT(error_units(cases[c], SVD(cases[c])), 4.0) << "case " << c << "\n" << cases[c];
}

TEST(mlSingularValueDecomposition, AbsorbsNegativeDiagonalEntriesIntoTheVectors) {
  // A diagonal with mixed signs out of order comes back sorted, exactly.
  const mlMatrix d = mat(4, 4, {-1, 0, 0, 0, 0, 4, 0, 0, 0, 0, -0.5, 0, 0, 0, 0, 2});
  const SVD dsvd(d);
  EXPECT_EQ(values(dsvd.diagonal()), (std::vector<double>{4, 2, 1, 0.5}));
  EXPECT_EQ(error_units(d, dsvd), 0.0);
}

TEST(mlSingularValueDecomposition, ValuesDoNotDependOnTheVectorsAskedFor) {
  mlRandom random(5);
  const int shapes[][2] = {{6, 4}, {4, 6}, {5, 5}};
  for (const auto& [m, n] : shapes) {
    const int k = std::min(m, n);
    const mlMatrix a = random_matrix(random, m, n);
    const SVD full(a);
    for (SVD::mlJOB_U job_u : {SVD::mlJOB_U_NONE, SVD::mlJOB_U_FULL}) {
      for (SVD::mlJOB_V job_v : {SVD::mlJOB_V_NONE, SVD::mlJOB_V_FULL, SVD::mlJOB_V_REDUCED}) {
        SCOPED_TRACE(testing::Message() << m << "x" << n << " jobs " << job_u << job_v);
        const SVD svd(a, job_u, job_v);
        EXPECT_TRUE(svd.invalid() == 0 && svd.diagonal().dimension() == k);
        EXPECT_TRUE(same_bits(svd.diagonal().data(), full.diagonal().data(), k));
        const int u_size = job_u == SVD::mlJOB_U_NONE ? 1 : m;
        ASSERT_TRUE(svd.U().rows() == u_size && svd.U().cols() == u_size);
        EXPECT_TRUE(u_size == 1 || same_bits(svd.U().data(), full.U().data(), m * m));
        // The reduced set is the leading columns of the full one, bit for bit.
        const int v_rows = job_v == SVD::mlJOB_V_NONE ? 1 : n;
        const int v_cols = job_v == SVD::mlJOB_V_NONE ? 1 : job_v == SVD::mlJOB_V_FULL ? n : k;
        ASSERT_TRUE(svd.V().rows() == v_rows && svd.V().cols() == v_cols);
        for (int r = 0; r < n && v_rows > 1; ++r)
          EXPECT_TRUE(same_bits(svd.V().row_data(r), full.V().row_data(r), v_cols)) << r;
      }
    }
  }
}

TEST(mlSingularValueDecomposition, RankSwitchesFromAbsoluteToRelative) {
  struct Case {
    mlMatrix a;
    double tol;
    int rank, singular;
  };
  const Case cases[] = {
      {mat(2, 2, {5, 0, 0, 1e-6}), 1e-7, 2, 0},
      {mat(2, 2, {5, 0, 0, 1e-7}), 1e-7, 1, 1},            // 5e-7 > 1e-7: relative to s[0]
      {mat(1, 1, {0.5}), 1.0, 0, 1},                       // one value: absolute
      {mat(2, 3, {1e-9, 0, 0, 0, 1e-10, 0}), 1e-7, 2, 0},  // two values: relative only
      // Every value zero: nothing is below tol * s[0] = 0, so all of them count.
      {mat(2, 2, {0, 0, 0, 0}), 1e-7, 2, 0},
      {mlMatrix(0, 0), 1e-7, 0, 1},
  };
  for (const Case& c : cases) {
    const SVD svd(c.a);
    EXPECT_EQ(svd.rank(c.tol), c.rank) << "s = " << svd.diagonal() << " tol " << c.tol;
    EXPECT_EQ(svd.is_singular(c.tol), c.singular) << "s = " << svd.diagonal() << " tol " << c.tol;
  }
}

TEST(mlSingularValueDecomposition, PseudoInverseSatisfiesThePenroseConditions) {
  mlRandom random(99);
  const int shapes[][3] = {{3, 2, 2}, {2, 3, 2}, {5, 5, 5}, {8, 5, 3}, {5, 8, 2}, {6, 6, 4}};
  for (const auto& [m, n, r] : shapes) {
    // Rank r with well-separated values: X has norm of order 1.
    const mlMatrix a(mlMatrixProduct, random_matrix(random, m, r), random_matrix(random, r, n));
    const SVD svd(a);
    const mlMatrix& x = svd.inverse(1e-10);
    ASSERT_TRUE(x.rows() == n && x.cols() == m);
    EXPECT_EQ(svd.rank(1e-10), r);
    // A X A = A, X A X = X, (A X)^T = A X, (X A)^T = X A.
    const mlMatrix ax(mlMatrixProduct, a, x), xa(mlMatrixProduct, x, a);
    EXPECT_LT(std::max({max_diff(mlMatrix(mlMatrixProduct, ax, a), a),
                        max_diff(mlMatrix(mlMatrixProduct, xa, x), x),
                        max_diff(ax, mlMatrix(mlMatrixTranspose, ax)),
                        max_diff(xa, mlMatrix(mlMatrixTranspose, xa))}),
              1e-12)
        << m << "x" << n << " rank " << r;
  }
}

TEST(mlSingularValueDecomposition, PseudoInverseIsCachedWithTheFirstTolerance) {
  const mlMatrix a = mat(2, 2, {1, 0, 0, 1e-3});
  SVD svd(a);
  const mlMatrix& coarse = svd.inverse(0.5);  // drops 1e-3
  EXPECT_EQ(&svd.inverse(1e-9), &coarse);
  EXPECT_EQ(values(coarse), (std::vector<double>{1, 0, 0, 0}));
  // Both solves go through the cached inverse too.
  mlVector x;
  mlMatrix xm;
  svd.solve(vec({2, 3}), x);
  svd.solve(mat(2, 1, {2, 3}), xm);
  EXPECT_TRUE(values(x) == (std::vector<double>{2, 0}) && values(xm) == values(x));
  // Without a cache, a solve makes the inverse at 1e-7 (relative to s[0] = 1).
  SVD(mat(2, 2, {1, 0, 0, 1e-8})).solve(vec({1, 1}), x);
  EXPECT_EQ(values(x), (std::vector<double>{1, 0}));
  svd.become(a);  // a new decomposition starts without a cache
  EXPECT_EQ(values(svd.inverse(1e-9)), (std::vector<double>{1, 0, 0, 1e3}));
  // s[0] is inverted without the tolerance test; a zero matrix inverts to zero.
  EXPECT_EQ(values(SVD(mat(1, 2, {1e-30, 0})).inverse(1.0)), (std::vector<double>{1.0 / 1e-30, 0}));
  EXPECT_EQ(values(SVD(mlMatrix(mlMatrixZero, 2, 3)).inverse(1e-7)), std::vector<double>(6, 0.0));
}

TEST(mlSingularValueDecomposition, FlushesValuesBelowTheSmallestNormal) {
  // The first column's norm is a denormal: flushed to +0.0, it becomes the zero value.
  const SVD svd(mat(2, 2, {1e-310, 0, 0, 1}));
  const double expected[] = {1.0, 0.0};
  ASSERT_EQ(svd.diagonal().dimension(), 2);
  EXPECT_TRUE(same_bits(svd.diagonal().data(), expected, 2));
  // Values entirely in the denormal range vanish.
  const SVD all_tiny(mat(2, 2, {1e-315, 2e-315, 3e-315, -1e-316}));
  EXPECT_EQ(values(all_tiny.diagonal()), (std::vector<double>{0, 0}));
}

TEST(mlSingularValueDecomposition, HandlesEmptyAndNonFiniteMatrices) {
  const int shapes[][2] = {{0, 0}, {0, 3}, {3, 0}};
  for (const auto& [m, n] : shapes) {
    const mlMatrix a(m, n);
    const SVD svd(a);
    // The vectors of the empty side are the identity.
    EXPECT_EQ(error_units(a, svd), 0.0) << m << "x" << n;
    EXPECT_TRUE(svd.rank(1e-7) == 0 && svd.inverse(1e-7).rows() == n &&
                svd.inverse(1e-7).cols() == m);
  }
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const SVD svd(mat(3, 3, {1, 2, 3, 4, nan, 6, 7, 8, 9}));
  EXPECT_TRUE(svd.invalid() == 1 && svd.diagonal().dimension() == 3);
}

// ---- ml_svd ----------------------------------------------------------------------------------

TEST(ml_svd, ReconstructsAndAgreesWithTheBidiagonalMethod) {
  mlRandom random(8);
  const int shapes[][2] = {{2, 2}, {5, 3}, {8, 8}, {12, 5}, {30, 12}};
  for (const auto& [m, n] : shapes) {
    const mlMatrix a = random_matrix(random, m, n);
    std::vector<double> w(static_cast<std::size_t>((m + n) * n), -1.0), z(n, -1.0);
    std::copy(a.data(), a.data() + m * n, w.begin());
    ml_svd(w.data(), z.data(), m, n);
    // Rows 0 ... m-1 hold U diag(s), rows m ... hold V: V^T V = I, A = (U diag(s)) V^T, and z
    // holds the squared column norms of U diag(s).
    const mlMatrix us(utConvert, w.data(), m, n), v(utConvert, w.data() + m * n, n, n);
    const mlMatrix vt(mlMatrixTranspose, v);
    const SVD svd(a);
    const double unit = m * DBL_EPSILON, norm = svd.diagonal()[0];
    EXPECT_LT(max_diff(mlMatrix(mlMatrixProduct, vt, v), mlMatrix(mlMatrixIdentity, n)), 4 * unit);
    EXPECT_LT(max_diff(mlMatrix(mlMatrixProduct, us, vt), a), 4 * unit * norm);
    std::vector<double> sigma;
    for (int c = 0; c < n; ++c) {
      EXPECT_NEAR(z[c], us.col(c).modulus_squared(), 1e-12 * z[c]);
      sigma.push_back(std::sqrt(z[c]));
    }
    std::sort(sigma.rbegin(), sigma.rend());
    for (int c = 0; c < n; ++c)
      EXPECT_NEAR(sigma[c], svd.diagonal()[c], 8 * unit * norm) << m << "x" << n << " " << c;
  }
}

TEST(ml_svd, RotatesOnlyWhatNeedsRotating) {
  // Orthogonal columns of decreasing norm: the first sweep rotates nothing and ends it all.
  std::vector<double> w = {3, 0, 0, 2, 0, 0, -7, -7, -7, -7}, z(2, -1.0);
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
