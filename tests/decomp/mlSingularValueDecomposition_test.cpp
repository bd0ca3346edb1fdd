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
  // Exact ties and boundaries: rotations of operands of equal magnitude and opposite sign,
  // denormal diagonal and row elements beside normal norms, a cosine and a shift numerator
  // below the smallest normal (a bidiagonal graded by r = 10^(-158 / 11), so that
  // s(4) e(3) = r^11), and a shift whose b is exactly 0 (3^2 + 4^2 = 5^2 on the scale 8 of the
  // block's first value).
  const double dn = 1e-310, r = std::pow(10.0, -158.0 / 11.0);
  const mlMatrix edges[] = {mat(2, 2, {1, 0, -1, 0}),
                            mat(2, 2, {1, -1, 0, 0}),
                            mat(2, 2, {1, 1, -1, 1}),
                            mat(3, 3, {1, 1, 0, -1, 1, 1, 0, -1, 1}),
                            mat(2, 1, {-dn, 1}),
                            mat(3, 1, {1, -dn, dn}),
                            mat(3, 2, {-dn, 1, 2, -dn, 1, 1}),
                            mat(2, 2, {1e-200, 1e150, 0, 1}),
                            mat(4, 4,
                                {1, 0, 0, 0, r, r * r, 0, 0, 0, r * r * r, std::pow(r, 4), 0, 0, 0,
                                 std::pow(r, 5), std::pow(r, 6)}),
                            mat(3, 3, {8, 1, 0, 0, 3, 4, 0, 0, 5}),
                            mat(3, 3, {8, 0, 0, 1, 3, 0, 0, 4, 5})};
  for (const mlMatrix& a : edges) {
    for (const int job : {11, 1}) {
      SCOPED_TRACE(testing::Message() << a << "job " << job);
      const SVD svd(a, static_cast<SVD::mlJOB_U>(job % 10), static_cast<SVD::mlJOB_V>(job / 10));
      expect_literal_bits(svd, a, job % 10, job / 10);
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
      // At the threshold itself a value counts, whether absolute or relative.
      {mat(1, 1, {0.25}), 0.25, 1, 0},
      {mat(2, 2, {4, 0, 0, 1}), 0.25, 2, 0},
      {mat(2, 2, {4, 0, 0, 1}), std::nextafter(0.25, 1.0), 1, 1},
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
  // A value is inverted only above tol * s[0], not at it (where rank still counts it).
  EXPECT_EQ(values(SVD(mat(2, 2, {4, 0, 0, 1})).inverse(0.25)),
            (std::vector<double>{0.25, 0, 0, 0}));
  EXPECT_EQ(values(SVD(mat(2, 2, {4, 0, 0, 1})).inverse(std::nextafter(0.25, 0.0))),
            (std::vector<double>{0.25, 0, 0, 1}));
  // The solves' 1e-7 exactly: s[1] = 1e-7 is dropped, the next double up is not.
  for (const double s1 : {1e-7, std::nextafter(1e-7, 1.0)}) {
    const SVD tiny(mat(2, 2, {1, 0, 0, s1}));
    tiny.solve(vec({1, s1}), x);
    SVD(mat(2, 2, {1, 0, 0, s1})).solve(mat(2, 1, {1, s1}), xm);
    const std::vector<double> expected = {1, s1 == 1e-7 ? 0.0 : 1.0};
    EXPECT_TRUE(values(x) == expected && values(xm) == expected) << s1;
  }
  // s[0] is inverted without the tolerance test; a zero matrix inverts to zero.
  EXPECT_EQ(values(SVD(mat(1, 2, {1e-30, 0})).inverse(1.0)), (std::vector<double>{1.0 / 1e-30, 0}));
  EXPECT_EQ(values(SVD(mlMatrix(mlMatrixZero, 2, 3)).inverse(1e-7)), std::vector<double>(6, 0.0));
}

TEST(mlSingularValueDecomposition, FlushesValuesBelowTheSmallestNormal) {
  // The first column's norm is a denormal: flushed to +0.0, it becomes the zero value.
  const double expected[] = {1.0, 0.0};
  EXPECT_TRUE(same_bits(SVD(mat(2, 2, {1e-310, 0, 0, 1})).diagonal().data(), expected, 2));
  // The smallest normal itself is kept, the largest denormal is not.
  const double dbl_min = std::numeric_limits<double>::min();
  EXPECT_EQ(values(SVD(mat(2, 2, {dbl_min, 0, 0, 1})).diagonal()),
            (std::vector<double>{1, dbl_min}));
  EXPECT_TRUE(same_bits(SVD(mat(2, 2, {std::nextafter(dbl_min, 0.0), 0, 0, 1})).diagonal().data(),
                        expected, 2));
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
      // Orthogonal columns of equal norm take the branch that can leave them alone (the other
      // would divide 0 by 0).
      {2, 2, {0, 2, 2, 0, -7, -7, -7, -7}, {-1, -1}, {0, 2, 2, 0, 1, 0, 0, 1}, {4, 4}},
      // One column: only the identity is written, z is untouched.
      {3, 1, {5, -1, 2, 9}, {-1}, {5, -1, 2, 1}, {-1}},
  };
  for (auto [m, n, w, z, w_after, z_after] : cases) {
    ml_svd(w.data(), z.data(), m, n);
    ASSERT_TRUE(w.size() == w_after.size() && z == z_after) << m << "x" << n;
    EXPECT_TRUE(same_bits(w.data(), w_after.data(), static_cast<int>(w.size()))) << m << "x" << n;
  }
}

// ml_svd written out with its sweep limit as a parameter. Returns the sweeps made.
int literal_jacobi_svd(std::vector<double>& w, std::vector<double>& z, int m, int n,
                       int sweep_limit) {
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j)
      w[static_cast<std::size_t>((m + i) * n + j)] = i == j ? 1.0 : 0.0;
  const double e2 = m * 10.0 * 1e-22 * 1e-22;
  auto at = [&w, n](int i, int j) -> double& { return w[static_cast<std::size_t>(i * n + j)]; };
  int r = n, sweep = 0;
  long long count = r * (r - 1LL) / 2;
  while (count != 0 && sweep <= sweep_limit) {
    count = r * (r - 1LL) / 2;
    ++sweep;
    for (int j = 0; j < r - 1; ++j) {
      for (int k = j + 1; k < r; ++k) {
        double p = 0.0, q = 0.0, rr = 0.0;
        for (int i = 0; i < m; ++i) {
          p += at(i, j) * at(i, k);
          q += at(i, j) * at(i, j);
          rr += at(i, k) * at(i, k);
        }
        z[j] = q;
        z[k] = rr;
        double c, s;
        if (q >= rr) {
          if (q <= e2 * z[0] || std::fabs(p) <= 1e-23 * q) {
            --count;
            continue;
          }
          p = p / q;
          const double t = 1.0 - rr / q, vt = std::sqrt(4.0 * (p * p) + t * t);
          c = std::sqrt(std::fabs(0.5 * (1.0 + t / vt)));
          s = p / (vt * c);
        } else {
          p = p / rr;
          const double t = q / rr - 1.0, vt = std::sqrt(4.0 * (p * p) + t * t);
          s = std::sqrt(std::fabs(0.5 * (1.0 - t / vt)));
          if (p < 0.0) s = -s;
          c = p / (vt * s);
        }
        for (int i = 0; i < m + n; ++i) {
          const double x = at(i, j), y = at(i, k);
          at(i, j) = x * c + y * s;
          at(i, k) = -x * s + y * c;
        }
      }
    }
    while (r >= 3 && z[r - 1] <= z[0] * 1e-23 + 1e-46)
      --r;
  }
  return sweep;
}

TEST(mlSingularValueDecompositionJacobi, StopsAfterMaxOfAQuarterOfNAndSixPlusOneSweeps) {
  // Orthogonality to 1e-23 is below the rounding, so random columns never stop rotating and
  // every run takes the full max(n / 4, 6) + 1 sweeps: 7 up to n = 27, 8 from n = 28 on.
  mlRandom random(12);
  for (const int n : {3, 5, 27, 28}) {
    const int m = n + 3, limit = std::max(n / 4, 6);
    const mlMatrix a = random_matrix(random, m, n);
    std::vector<double> w(a.data(), a.data() + m * n), z(n, -1.0);
    w.resize(static_cast<std::size_t>((m + n) * n), -1.0);
    std::vector<double> expected[3] = {w, w, w}, expected_z[3] = {z, z, z};
    for (int d = -1; d <= 1; ++d) {
      const int sweeps = literal_jacobi_svd(expected[d + 1], expected_z[d + 1], m, n, limit + d);
      ASSERT_EQ(sweeps, limit + d + 1) << n;
    }
    ml_svd(w.data(), z.data(), m, n);
    const int size = static_cast<int>(w.size());
    EXPECT_TRUE(same_bits(w.data(), expected[1].data(), size) &&
                same_bits(z.data(), expected_z[1].data(), n))
        << n;
    // One sweep fewer or more changes the bits.
    EXPECT_FALSE(same_bits(w.data(), expected[0].data(), size)) << n;
    EXPECT_FALSE(same_bits(w.data(), expected[2].data(), size)) << n;
  }
}

// The last two of `rows` elements set so that their squares, summed from 0.0 in order as
// ml_svd sums them, give exactly `target` (a normal number).
std::vector<double> column_with_squared_norm(int rows, double target) {
  double a = std::sqrt(target);
  while (a * a > target)
    a = std::nextafter(a, 0.0);
  // Exact (Sterbenz): a * a is within a few units of the last place below target.
  const double c = std::sqrt(target - a * a);
  std::vector<double> column(rows, 0.0);
  column[rows - 2] = a;
  column[rows - 1] = c;
  double sum = 0.0;
  for (const double x : column)
    sum += x * x;
  EXPECT_EQ(sum, target);
  return column;
}

// w of ml_svd (m + n rows of n) for the given columns of A, the rows of V marked -7.
std::vector<double> jacobi_array(const std::vector<std::vector<double>>& columns) {
  const int n = static_cast<int>(columns.size()), m = static_cast<int>(columns[0].size());
  std::vector<double> w(static_cast<std::size_t>((m + n) * n), -7.0);
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < m; ++i)
      w[static_cast<std::size_t>(i * n + j)] = columns[j][i];
  return w;
}

// ml_svd of the given columns: returns w and z.
std::pair<std::vector<double>, std::vector<double>> jacobi(
    const std::vector<std::vector<double>>& columns) {
  std::vector<double> w = jacobi_array(columns), z(columns.size(), -1.0);
  ml_svd(w.data(), z.data(), static_cast<int>(columns[0].size()), static_cast<int>(columns.size()));
  return {w, z};
}

TEST(mlSingularValueDecompositionJacobi, LeavesAPairWhoseProductIsAtMost1e23OfTheLargerNorm) {
  // Columns (1, 0) and (t, 0.5): p = t, q = 1. At t = 1e-23 nothing rotates (w keeps A, V is
  // the identity); at the next double up the pair rotates.
  for (const double t : {1e-23, std::nextafter(1e-23, 1.0)}) {
    const auto [w, z] = jacobi({{1.0, 0.0}, {t, 0.5}});
    const bool rotated = t != 1e-23;
    const std::vector<double> unrotated = {1.0, t, 0.0, 0.5, 1.0, 0.0, 0.0, 1.0};
    EXPECT_EQ(w != unrotated, rotated) << t;
    EXPECT_EQ(z, (std::vector<double>{1.0, t * t + 0.25})) << t;
  }
}

TEST(mlSingularValueDecompositionJacobi, LeavesAColumnAtMostM10E2Times1e44OfTheFirst) {
  // Three rows: a first column of squared norm 2^142 orthogonal to the others, and a pair
  // (1, 2) far from orthogonal whose larger squared norm q is exactly 3 * 10 * 1e-22 * 1e-22
  // times 2^142: that pair is left alone, one of a double larger is rotated.
  const double z0 = std::ldexp(1.0, 142), bound = 3.0 * 10.0 * 1e-22 * 1e-22 * z0;
  for (const double q : {bound, std::nextafter(bound, 2 * bound)}) {
    const std::vector<double> first = {std::ldexp(1.0, 71), 0.0, 0.0};
    const std::vector<double> second = column_with_squared_norm(3, q);
    const std::vector<double> third = {0.0, 0.5 * second[1], 0.0};
    const auto [w, z] = jacobi({first, second, third});
    std::vector<double> unrotated = jacobi_array({first, second, third});
    for (int i = 3; i < 6; ++i)
      for (int j = 0; j < 3; ++j)
        unrotated[static_cast<std::size_t>(3 * i + j)] = i - 3 == j ? 1.0 : 0.0;
    EXPECT_EQ(w != unrotated, q != bound) << q;
    EXPECT_EQ(z[0], z0);
  }
}

TEST(mlSingularValueDecompositionJacobi, DropsColumnsAtMost1e23OfTheFirstPlus1e46DownToTwo) {
  // The first column (2^-39, 0, 0) is orthogonal to the others; the pair (1, 2) rotates in the
  // first sweep. The third column's squared norm then reads exactly 2^-78 1e-23 + 1e-46: it is
  // dropped, and the second sweep no longer writes its z; a double above, it is still rotated.
  // With two columns, the second one is never dropped, however small.
  const double z0 = std::ldexp(1.0, -78), bound = z0 * 1e-23 + 1e-46;
  for (const double rr : {bound, std::nextafter(bound, 1.0)}) {
    const std::vector<double> first = {std::ldexp(1.0, -39), 0.0, 0.0},
                              second = {0.0, std::ldexp(1.0, -40), std::ldexp(1.0, -41)},
                              third = column_with_squared_norm(3, rr);
    const auto [w, z] = jacobi({first, second, third});
    EXPECT_EQ(z[2] == rr, rr == bound) << rr;
  }
  const auto [w, z] = jacobi({{1.0, 0.0}, {1e-13, 1e-13}});
  EXPECT_EQ(z[1], w[1] * w[1] + w[3] * w[3]);  // the second sweep's, after the rotation
  EXPECT_NE(z[1], 2e-26);
}

}  // namespace
