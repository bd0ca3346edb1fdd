#include "decomp/mlSingularValueDecomposition.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <limits>
#include <tuple>

#include "support/reference_svd.h"
#include "support/test_support.h"

namespace {

using namespace paskosda_test;
using SVD = mlSingularValueDecomposition;

// Checks the shapes, that the values are non-negative (never -0.0) and decreasing, and that
// |A - U S V^T| is within units N eps s[0], |U^T U - I| and |V^T V - I| within units N eps (N
// the larger dimension).
void expect_decomposes(const mlMatrix& a, const SVD& svd, double units) {
  const int m = a.rows(), n = a.cols(), k = std::min(m, n);
  const mlMatrix &u = svd.U(), &v = svd.V(), vt(mlMatrixTranspose, v);
  const mlVector& s = svd.diagonal();
  ASSERT_TRUE(svd.invalid() == 0 && s.dimension() == k);
  ASSERT_TRUE(u.rows() == m && u.cols() == m && v.rows() == n && v.cols() == n);
  mlMatrix us(utCopy, u);
  for (int c = 0; c < k; ++c) {
    EXPECT_TRUE(!std::signbit(s[c]) && (c == 0 || s[c - 1] >= s[c])) << "s = " << s;
    us.col(c) *= s[c];
  }
  us.expand(m, n, 0.0);  // U S: the columns of the values, then zeros
  const double tol = units * std::max(m, n) * DBL_EPSILON;
  EXPECT_TRUE(equal(mlMatrix(mlMatrixProduct, us, vt), a, tol * (k > 0 ? s[0] : 0.0)));
  const mlMatrix utu(mlMatrixProduct, mlMatrix(mlMatrixTranspose, u), u);
  EXPECT_TRUE(equal(utu, mlMatrix(mlMatrixIdentity, m), tol));
  EXPECT_TRUE(equal(mlMatrix(mlMatrixProduct, vt, v), mlMatrix(mlMatrixIdentity, n), tol));
}

TEST(mlSingularValueDecomposition, DecomposesRandomAndStructuredMatrices) {
  mlRandom random(20240611);
  std::vector<mlMatrix> cases;
  cases.reserve(32);  // references into cases stay valid
  const int shapes[][2] = {{1, 1},   {1, 6},   {6, 1},   {2, 3},  {3, 2},  {4, 4},
                           {7, 3},   {3, 7},   {10, 10}, {17, 9}, {9, 17}, {30, 30},
                           {45, 20}, {20, 45}, {2, 40},  {40, 2}};
  for (const auto& shape : shapes)
    cases.push_back(random_matrix(random, shape[0], shape[1]));
  // Rank one and rank two, 6 by 5 and 5 by 6.
  for (int rank : {1, 2}) {
    const mlMatrix x = random_matrix(random, 6, rank), y = random_matrix(random, rank, 5);
    cases.emplace_back(mlMatrixTranspose, cases.emplace_back(mlMatrixProduct, x, y));
  }
  // A repeated column and a zero column; a zero row; rows graded by 10^-3i; elements scaled
  // by 10^(+-150) at random; everything near the bottom and near the top of the normal range;
  // all ones (rank one).
  mlMatrix& columns = cases.emplace_back(random_matrix(random, 5, 4));
  for (int i = 0; i < 5; ++i)
    columns(i, 2) = columns(i, 0), columns(i, 3) = 0.0;
  cases.emplace_back(random_matrix(random, 4, 6)).row(1).fill(0.0);
  mlMatrix& graded = cases.emplace_back(random_matrix(random, 6, 6));
  for (int i = 0; i < 6; ++i)
    graded.row(i) *= std::pow(10.0, -3.0 * i);
  mlMatrix& scaled = cases.emplace_back(random_matrix(random, 5, 5));
  for (int i = 0; i < 25; ++i)
    scaled.data()[i] *= std::pow(10.0, random.integer(2) == 0 ? -150.0 : 150.0);
  cases.push_back(random_matrix(random, 5, 4, -1e-300, 1e-300));
  cases.push_back(random_matrix(random, 4, 5, -1e300, 1e300));
  cases.emplace_back(5, 3).fill(1.0);
  for (std::size_t c = 0; c < cases.size(); ++c) {
    SCOPED_TRACE(testing::Message() << "case " << c << "\n" << cases[c]);
    expect_decomposes(cases[c], SVD(cases[c]), 4.0);
  }
}

// Matrices of every kind the iteration treats differently: values spread over nine decades,
// low rank, repeated rows and zero rows and columns of signed zeros, mostly zeros of either
// sign, and infinities and NaNs (which end as non-converged).
std::vector<mlMatrix> literal_cases(mlRandom& random, int m, int n) {
  auto spread = [&random] {
    return random.uniform(-1.0, 1.0) * std::pow(10.0, random.integer(9) - 4);
  };
  std::vector<mlMatrix> cases;
  mlMatrix& a = cases.emplace_back(m, n);
  for (int i = 0; i < m * n; ++i)
    a.data()[i] = spread();
  const int rank = std::max(1, std::min(m, n) / 3);
  cases.emplace_back(mlMatrixProduct, random_matrix(random, m, rank),
                     random_matrix(random, rank, n));
  mlMatrix& rows = cases.emplace_back(random_matrix(random, m, n));
  for (int j = 0; j < n; ++j) {
    rows(m - 1, j) = j % 2 == 0 ? 0.0 : -0.0;
    rows(m / 2, j) = j % 3 == 0 ? 0.0 : -0.0;
    if (m > 2) rows(1, j) = rows(0, j);
  }
  for (int i = 0; i < m; ++i)
    rows(i, n / 2) = -0.0;
  mlMatrix& zeros = cases.emplace_back(m, n);
  for (int i = 0; i < m * n; ++i) {
    const int pick = random.integer(4);
    zeros.data()[i] = pick == 0 ? 0.0 : pick == 1 ? -0.0 : spread();
  }
  for (const double special : {std::numeric_limits<double>::quiet_NaN(), HUGE_VAL, -HUGE_VAL}) {
    mlMatrix& b = cases.emplace_back(random_matrix(random, m, n));
    b.data()[random.integer(m * n)] = special;
  }
  return cases;
}

// The decomposition against the plain loops: values, both vector sets, their shapes and the
// convergence flag, bit for bit, for every job. Once the input holds an infinity or a NaN, the
// sign of a NaN that two NaN operands produce is the compiler's choice (it may swap the
// operands of + and *), so there any NaN matches any NaN; every other bit must agree.
void expect_literal_bits(const SVD& svd, const mlMatrix& a, int job_u, int job_v) {
  const LiteralSvd expected = literal_svd(a, job_u, job_v);
  const mlMatrix &u = svd.U(), &v = svd.V();
  ASSERT_TRUE(u.rows() == expected.u_rows && u.cols() == expected.u_cols &&
              v.rows() == expected.v_rows && v.cols() == expected.v_cols &&
              svd.diagonal().dimension() == static_cast<int>(expected.s.size()));
  EXPECT_EQ(svd.invalid(), 1 - expected.converged);
  const double* end = a.data() + a.rows() * a.cols();
  if (std::all_of(a.data(), end, [](double x) { return std::isfinite(x); })) {
    EXPECT_TRUE(same_bits(svd.diagonal().data(), expected.s.data(), svd.diagonal().dimension()));
    EXPECT_TRUE(same_bits(u.data(), expected.u.data(), u.rows() * u.cols()));
    EXPECT_TRUE(same_bits(v.data(), expected.v.data(), v.rows() * v.cols()));
  } else {
    EXPECT_TRUE(
        same_bits_or_nan(expected.s.data(), svd.diagonal().data(), svd.diagonal().dimension()));
    EXPECT_TRUE(same_bits_or_nan(expected.u.data(), u.data(), u.rows() * u.cols()));
    EXPECT_TRUE(same_bits_or_nan(expected.v.data(), v.data(), v.rows() * v.cols()));
  }
}

TEST(mlSingularValueDecomposition, GivesTheBitsOfThePlainLoops) {
  mlRandom random(77);
  const int shapes[][2] = {{1, 1},   {1, 2},   {2, 1},    {2, 2},   {3, 5},   {5, 3},
                           {4, 4},   {7, 2},   {2, 7},    {9, 9},   {13, 8},  {8, 13},
                           {16, 16}, {17, 17}, {33, 20},  {20, 33}, {40, 40}, {64, 9},
                           {9, 64},  {70, 70}, {130, 70}, {70, 130}};
  for (const auto& [m, n] : shapes) {
    // Every job decides anew where the matrix is worked on; the larger shapes take the jobs
    // that place it in U, in V and in an array of its own.
    const std::vector<int> jobs =
        m * n < 4096 ? std::vector<int>{11, 10, 1, 0, 21, 20} : std::vector<int>{11, 20, 1};
    const std::vector<mlMatrix> cases = literal_cases(random, m, n);
    for (std::size_t c = 0; c < cases.size(); ++c) {
      for (const int job : jobs) {
        SCOPED_TRACE(testing::Message() << m << "x" << n << " case " << c << " job " << job);
        const SVD svd(cases[c], static_cast<SVD::mlJOB_U>(job % 10),
                      static_cast<SVD::mlJOB_V>(job / 10));
        expect_literal_bits(svd, cases[c], job % 10, job / 10);
      }
    }
  }
  // Large enough for every blocking of the vectors to take several blocks; one of them never
  // converges.
  const int large[][2] = {{300, 200}, {200, 300}};
  for (const auto& [m, n] : large) {
    const std::vector<mlMatrix> cases = literal_cases(random, m, n);
    for (std::size_t c : {0, 4}) {
      SCOPED_TRACE(testing::Message() << m << "x" << n << " case " << c);
      expect_literal_bits(SVD(cases[c]), cases[c], 1, 1);
    }
  }
}

TEST(mlSingularValueDecomposition, DecomposesItsOwnVectors) {
  // The vectors are built in the storage of U and V (and a set not asked for becomes 0.0): a
  // matrix that is one of them must be read before they change.
  mlRandom random(31);
  const int shapes[][2] = {{7, 4}, {4, 7}};
  for (const auto& [m, n] : shapes) {
    const mlMatrix a = random_matrix(random, m, n);
    for (const int job : {11, 10, 1}) {
      const auto job_u = static_cast<SVD::mlJOB_U>(job % 10);
      const auto job_v = static_cast<SVD::mlJOB_V>(job / 10);
      SVD svd(a);
      const mlMatrix u(utCopy, svd.U());
      expect_literal_bits(svd.become(svd.U(), job_u, job_v), u, job % 10, job / 10);
      SVD other(a);
      const mlMatrix v(utCopy, other.V());
      expect_literal_bits(other.become(other.V(), job_u, job_v), v, job % 10, job / 10);
    }
  }
}

TEST(mlSingularValueDecomposition, AbsorbsNegativeDiagonalEntriesIntoTheVectors) {
  // A diagonal with mixed signs out of order comes back sorted, exactly.
  const mlMatrix d = mat(4, 4, {-1, 0, 0, 0, 0, 4, 0, 0, 0, 0, -0.5, 0, 0, 0, 0, 2});
  const SVD dsvd(d);
  EXPECT_EQ(values(dsvd.diagonal()), (std::vector<double>{4, 2, 1, 0.5}));
  expect_decomposes(d, dsvd, 0.0);
}

TEST(mlSingularValueDecomposition, ReducedVHoldsTheLeadingColumnsOfTheFullOne) {
  mlRandom random(5);
  const int shapes[][2] = {{6, 4}, {4, 6}, {5, 5}};
  for (const auto& [m, n] : shapes) {
    const int k = std::min(m, n);
    const mlMatrix a = random_matrix(random, m, n);
    const SVD full(a), svd(a, SVD::mlJOB_U_NONE, SVD::mlJOB_V_REDUCED);
    ASSERT_TRUE(svd.invalid() == 0 && svd.diagonal().dimension() == k && svd.U().rows() == 1 &&
                svd.V().rows() == n && svd.V().cols() == k);
    EXPECT_TRUE(same_bits(svd.diagonal().data(), full.diagonal().data(), k));
    for (int r = 0; r < n; ++r)
      EXPECT_TRUE(same_bits(svd.V().row_data(r), full.V().row_data(r), k)) << m << "x" << n;
  }
}

TEST(mlSingularValueDecomposition, RankSwitchesFromAbsoluteToRelative) {
  const std::tuple<mlMatrix, double, int, int> cases[] = {
      // A, tol, rank, singular
      {mat(2, 2, {5, 0, 0, 1e-6}), 1e-7, 2, 0},
      {mat(2, 2, {5, 0, 0, 1e-7}), 1e-7, 1, 1},            // 5e-7 > 1e-7: relative to s[0]
      {mat(1, 1, {0.5}), 1.0, 0, 1},                       // one value: absolute
      {mat(2, 3, {1e-9, 0, 0, 0, 1e-10, 0}), 1e-7, 2, 0},  // two values: relative only
      // Every value zero: nothing is below tol * s[0] = 0, so all of them count.
      {mat(2, 2, {0, 0, 0, 0}), 1e-7, 2, 0},
      {mlMatrix(0, 0), 1e-7, 0, 1},
  };
  for (const auto& [a, tol, rank, singular] : cases) {
    const SVD svd(a);
    EXPECT_TRUE(svd.rank(tol) == rank && svd.is_singular(tol) == singular)
        << "s = " << svd.diagonal() << " tol " << tol;
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
    ASSERT_TRUE(x.rows() == n && x.cols() == m && svd.rank(1e-10) == r);
    // A X A = A, X A X = X, (A X)^T = A X, (X A)^T = X A.
    const mlMatrix ax(mlMatrixProduct, a, x), xa(mlMatrixProduct, x, a);
    EXPECT_TRUE(equal(mlMatrix(mlMatrixProduct, ax, a), a, 1e-12) &&
                equal(mlMatrix(mlMatrixProduct, xa, x), x, 1e-12) &&
                equal(ax, mlMatrix(mlMatrixTranspose, ax), 1e-12) &&
                equal(xa, mlMatrix(mlMatrixTranspose, xa), 1e-12))
        << m << "x" << n << " rank " << r;
  }
}

TEST(mlSingularValueDecomposition, PseudoInverseIsCachedWithTheFirstTolerance) {
  const mlMatrix a = mat(2, 2, {1, 0, 0, 1e-3});
  SVD svd(a);
  const mlMatrix& coarse = svd.inverse(0.5);  // drops 1e-3
  EXPECT_TRUE(&svd.inverse(1e-9) == &coarse && values(coarse) == std::vector<double>({1, 0, 0, 0}));
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
  const double expected[] = {1.0, 0.0};
  EXPECT_TRUE(same_bits(SVD(mat(2, 2, {1e-310, 0, 0, 1})).diagonal().data(), expected, 2));
  // Values entirely in the denormal range vanish.
  EXPECT_EQ(values(SVD(mat(2, 2, {1e-315, 2e-315, 3e-315, -1e-316})).diagonal()),
            (std::vector<double>{0, 0}));
}

TEST(mlSingularValueDecomposition, HandlesEmptyAndNonFiniteMatrices) {
  const int shapes[][2] = {{0, 0}, {0, 3}, {3, 0}};
  for (const auto& [m, n] : shapes) {
    const mlMatrix a(m, n);
    const SVD svd(a);
    expect_decomposes(a, svd, 0.0);  // the vectors of the empty side are the identity
    EXPECT_TRUE(svd.rank(1e-7) == 0 && svd.inverse(1e-7).rows() == n &&
                svd.inverse(1e-7).cols() == m)
        << m << "x" << n;
  }
  const SVD svd(mat(3, 3, {1, 2, 3, 4, std::numeric_limits<double>::quiet_NaN(), 6, 7, 8, 9}));
  EXPECT_TRUE(svd.invalid() == 1 && svd.diagonal().dimension() == 3);
  // A NaN on the bidiagonal defeats the exact negligibility tests, so the same split would
  // repeat for ever; these end as non-converged, whatever the job. Two of them are finite
  // and overflow on the way.
  const double nan = std::numeric_limits<double>::quiet_NaN(), inf = HUGE_VAL, big = DBL_MAX;
  const mlMatrix stuck[] = {mat(2, 1, {nan, 0}),
                            mat(2, 1, {0, inf}),
                            mat(2, 1, {big, big}),
                            mat(2, 2, {1, 1, 1, big}),
                            mat(2, 2, {1, 1, 1, inf}),
                            mat(2, 2, {0, 0, 0, nan}),
                            mat(3, 2, {0, 0, 0, nan, 1, 1})};
  for (const mlMatrix& a : stuck) {
    for (auto job_v : {SVD::mlJOB_V_NONE, SVD::mlJOB_V_FULL, SVD::mlJOB_V_REDUCED}) {
      const SVD broken(a, SVD::mlJOB_U_FULL, job_v);
      EXPECT_EQ(broken.invalid(), 1) << a;
    }
  }
}

// ---- ml_svd ----------------------------------------------------------------------------------

TEST(mlSingularValueDecompositionJacobi, ReconstructsAndAgreesWithTheBidiagonalMethod) {
  mlRandom random(8);
  const int shapes[][2] = {{2, 2}, {5, 3}, {8, 8}, {12, 5}, {30, 12}};
  for (const auto& [m, n] : shapes) {
    const mlMatrix a = random_matrix(random, m, n);
    std::vector<double> w(a.data(), a.data() + m * n), z(n, -1.0);
    w.resize(static_cast<std::size_t>((m + n) * n), -1.0);
    ml_svd(w.data(), z.data(), m, n);
    // Rows 0 ... m-1 hold U diag(s), rows m ... hold V: V^T V = I, A = (U diag(s)) V^T, and z
    // holds the squared column norms of U diag(s).
    const mlMatrix us(utConvert, w.data(), m, n), v(utConvert, w.data() + m * n, n, n),
        vt(mlMatrixTranspose, v);
    const SVD svd(a);
    const double unit = m * DBL_EPSILON, norm = svd.diagonal()[0];
    EXPECT_TRUE(equal(mlMatrix(mlMatrixProduct, vt, v), mlMatrix(mlMatrixIdentity, n), 4 * unit));
    EXPECT_TRUE(equal(mlMatrix(mlMatrixProduct, us, vt), a, 4 * unit * norm));
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

TEST(mlSingularValueDecompositionJacobi, RotatesOnlyWhatNeedsRotating) {
  using V = std::vector<double>;
  const std::tuple<int, int, V, V, V, V> cases[] = {
      // m, n, w and z before, w and z after
      // Orthogonal columns of decreasing norm: the first sweep rotates nothing and ends it all.
      {3, 2, {3, 0, 0, 2, 0, 0, -7, -7, -7, -7}, {-1, -1}, {3, 0, 0, 2, 0, 0, 1, 0, 0, 1}, {9, 4}},
      // Increasing norms: the second branch always rotates, here exchanging the columns (c = 0,
      // s = 1); the next sweep finds nothing to do.
      {2, 2, {2, 0, 0, 3, -7, -7, -7, -7}, {-1, -1}, {0, -2, 3, 0, 0, -1, 1, 0}, {9, 4}},
      // One column: only the identity is written, z is untouched.
      {3, 1, {5, -1, 2, 9}, {-1}, {5, -1, 2, 1}, {-1}},
  };
  for (auto [m, n, w, z, w_after, z_after] : cases) {
    ml_svd(w.data(), z.data(), m, n);
    ASSERT_TRUE(w.size() == w_after.size() && z == z_after) << m << "x" << n;
    EXPECT_TRUE(same_bits(w.data(), w_after.data(), static_cast<int>(w.size()))) << m << "x" << n;
  }
}

}  // namespace
