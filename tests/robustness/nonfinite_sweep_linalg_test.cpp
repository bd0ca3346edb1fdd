// NaN, +-Inf and +-DBL_MAX through the decompositions and the eigen-solvers.
// The table and the sweep are in nonfinite_sweep.h.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <string>
#include <vector>

#include "paskosda.h"
#include "robustness/nonfinite_sweep.h"
#include "support/test_support.h"

namespace {

using namespace paskosda_test;
using namespace paskosda_test::nonfinite;

// ---- decompositions -------------------------------------------------------------------------

void lu(Inputs& in, const Poison& poison) {
  const mlMatrix a = in.matrix(3, 3);
  const mlVector b = in.vector(3);
  const mlLUDecomposition lu(a);
  mlVector x;
  mlMatrix bm(utConvert, b.data(), 3, 1), m;
  lu.solve(b, x);
  lu.solve(bm, m);
  lu.inverse(m);
  lu.lower_matrix(m);
  lu.upper_matrix(m);
  (void)lu.determinant();
  EXPECT_TRUE(!poison.clean || lu.is_singular() == 0);
  // However the pivots compared, P is a permutation.
  lu.permutation_matrix(m);
  ASSERT_TRUE(m.rows() == 3 && m.cols() == 3);
  for (int i = 0; i < 3; ++i)
    EXPECT_TRUE(m.row(i).sum() == 1.0 && m.col(i).sum() == 1.0) << m;
}

void cholesky(Inputs& in, const Poison& poison) {
  const mlMatrix a = in.matrix(3, 3);
  const mlVector b = in.vector(3);
  const mlCholeskyDecomposition chol(a);
  mlVector x;
  mlMatrix bm(utConvert, b.data(), 3, 1), m;
  chol.solve(b, x);
  chol.solve(bm, m);
  chol.inverse(m);
  chol.matrix_l(m);
  chol.matrix_l_inverted(m);
  chol.matrix_original(m);
  (void)chol.determinant();
  // A diagonal entry of -Inf or -DBL_MAX leaves a pivot that is not positive.
  const bool negative = a(0, 0) <= -DBL_MAX || a(1, 1) <= -DBL_MAX || a(2, 2) <= -DBL_MAX;
  EXPECT_EQ(chol.is_singular(), poison.clean ? 0 : negative ? 1 : chol.is_singular());
}

// Q grows by a row exactly when a vector is accepted.
void qr(Inputs& in, const Poison& poison, bool orthonormal) {
  const mlMatrix rows = in.matrix(3, 4);
  mlMatrix q, r, unit;
  mlQRDecomposition qr(&q, &r);
  if (orthonormal) qr.set_Q_orthonormal();
  int accepted = 0;
  for (int i = 0; i < 3; ++i) {
    const mlVector a(utCopy, rows.row(i));
    qr.add(&a);
    accepted += qr.status() == mlQRAccepted ? 1 : 0;
    EXPECT_EQ(q.rows(), accepted);
  }
  EXPECT_TRUE(!poison.clean || accepted == 3);
  if (orthonormal) qr.get_orthonormal_Q(unit);
}

// The set grows by a row exactly when `add` reports success and keeps the vector.
void gram_schmidt(Inputs& in, const Poison& poison) {
  mlMatrix m = in.matrix(2, 4);
  mlVector w = in.vector(4);
  mlGramSchmidt gs(&m);
  const int rows = m.rows();
  (void)gs.add(&w, 0);
  EXPECT_EQ(m.rows(), rows);
  (void)gs.add(&w, 1);
  EXPECT_EQ(m.rows(), rows + (gs.status() == mlGSSuccess ? 1 : 0));
  EXPECT_TRUE(!poison.clean || m.rows() == 3);
}

// The shapes follow the jobs; a converged decomposition has non-negative values in decreasing
// order; rank and singularity agree.
void svd(Inputs& in, const Poison& poison, int m, int n, int job_u, int job_v, bool inverse) {
  using Svd = mlSingularValueDecomposition;
  const int k = std::min(m, n);
  const mlMatrix a = in.matrix(m, n);
  const Svd svd(a, static_cast<Svd::mlJOB_U>(job_u), static_cast<Svd::mlJOB_V>(job_v));
  const mlVector& s = svd.diagonal();
  ASSERT_EQ(s.dimension(), k);
  EXPECT_EQ(svd.U().rows(), job_u == 1 ? m : 1);
  EXPECT_EQ(svd.V().cols(), job_v == 0 ? 1 : job_v == 1 ? n : k);
  EXPECT_TRUE(!poison.clean || svd.invalid() == 0);
  for (int i = 0; i < k && svd.invalid() == 0; ++i)
    EXPECT_TRUE(s[i] >= 0.0 && (i == 0 || s[i - 1] >= s[i])) << "s = " << s;
  const double tol = inverse ? in.scalar() : 1e-7;
  const int rank = svd.rank(tol);
  EXPECT_TRUE(rank >= 0 && rank <= k) << rank;
  EXPECT_EQ(svd.is_singular(tol), rank == 0 || rank < k ? 1 : 0);
  if (!inverse) return;
  const mlVector b = in.vector(m);
  const mlMatrix& pinv = svd.inverse(tol);
  EXPECT_TRUE(pinv.rows() == n && pinv.cols() == m);
  mlVector x;
  mlMatrix bm(utConvert, b.data(), m, 1), xm;
  svd.solve(b, x);
  svd.solve(bm, xm);
  EXPECT_EQ(x.dimension(), n);
}

void one_sided_svd(Inputs& in, int m, int n) {
  const mlMatrix a = in.matrix(m, n);
  std::vector<double> w((m + n) * n), z(n);
  std::copy(a.data(), a.data() + m * n, w.begin());
  ml_svd(w.data(), z.data(), m, n);
}

void tridiagonal(Inputs& in, const Poison&) {
  const mlVector lower = in.vector(4), diagonal = in.vector(4), upper = in.vector(4),
                 d = in.vector(4);
  mlVector x(mlVectorZero, 4);
  mlSlice xs = x.slice();
  const mlTridiagonal t(4, lower.slice(), diagonal.slice(), upper.slice());
  t.solve(d.slice(), xs);
  t.solve_periodic(d.slice(), xs);
  (void)t.diagonally_dominant();
  (void)t.same_sign_corners();
  EXPECT_EQ(t.non_zero_diagonal(), 1);  // a NaN or an infinity is not zero
}

std::vector<Problem> decompositions() {
  std::vector<Problem> p;
  p.push_back(Problem("LU", 0, lu)
                  .matrix("A", 3, 3, {2, 1, 1, 4, -6, 0, -2, 7, 2})
                  .vector("b", {5, -2, 9}));
  p.push_back(Problem("Cholesky", 0, cholesky)
                  .matrix("A", 3, 3, {4, 2, 0.4, 2, 5, 1, 0.4, 1, 3}, true)
                  .vector("b", {1, 2, 3}));
  for (bool orthonormal : {false, true}) {
    p.push_back(Problem(orthonormal ? "QR orthonormal" : "QR", 0, [=](Inputs& in, const Poison& q) {
                  qr(in, q, orthonormal);
                }).matrix("V", 3, 4, {1, 1, 0, 0, 1, 0, 1, 0, 0, 1, 1, 1}));
  }
  p.push_back(Problem("Gram-Schmidt", 0, gram_schmidt)
                  .matrix("M", 2, 4, {1, 1, 0, 0, 1, 0, 1, 0})
                  .vector("w", {0, 1, 1, 1}));
  // Zero and rank-one matrices as well as general ones, in every combination of jobs.
  const struct {
    const char* name;
    int m, n;
    std::vector<double> a;
  } bases[] = {{"2x1 zero", 2, 1, {0, 0}},
               {"2x2 zero", 2, 2, {0, 0, 0, 0}},
               {"2x2 ones", 2, 2, {1, 1, 1, 1}},
               {"3x2", 3, 2, {1, 2, 3, 4, 5, 7}},
               {"2x3", 2, 3, {1, -2, 3, 0.5, 4, -1}},
               {"3x3", 3, 3, {2, -1, 0, -1, 2, -1, 0, -1, 2}}};
  for (const auto& base : bases) {
    const int m = base.m, n = base.n;
    for (int job_u = 0; job_u < 2; ++job_u) {
      for (int job_v = 0; job_v < 3; ++job_v) {
        const bool inverse = job_u == 1 && (job_v == 1 || (job_v == 2 && m >= n));
        const std::string jobs = std::string(" U") + "-F"[job_u] + " V" + "-FR"[job_v];
        Problem problem(
            "SVD " + std::string(base.name) + jobs, 0,
            [=](Inputs& in, const Poison& q) { svd(in, q, m, n, job_u, job_v, inverse); });
        problem.matrix("A", m, n, base.a);
        if (inverse) problem.scalar("tol", 1e-7).vector("b", std::vector<double>(m, 1.0));
        p.push_back(problem);
      }
    }
    p.push_back(Problem("ml_svd " + std::string(base.name), 0, [=](Inputs& in, const Poison&) {
                  one_sided_svd(in, m, n);
                }).matrix("A", m, n, base.a));
  }
  p.push_back(Problem("tridiagonal", 0, tridiagonal)
                  .vector("lower", {0.5, 1, 1, 1})
                  .vector("diagonal", {4, 4, 4, 4})
                  .vector("upper", {1, 1, 1, 0.5})
                  .vector("d", {1, 2, 3, 4}));
  return p;
}

// ---- eigen-solvers --------------------------------------------------------------------------

// Success stores every value; giving up (the rotation limit) stores none.
void jacobi(Inputs& in, const Poison& poison, int n, mlEigenVecsStatus expected) {
  const mlMatrix a = in.matrix(n, n);
  mlSymEigenVecs e(a);
  e.set_tolerance(in.scalar());
  e.calculate();
  EXPECT_TRUE(!poison.clean || e.status() == expected) << e.status();
  EXPECT_TRUE(e.status() == mlEigenVecsOk || e.status() == mlEigenVecsFailed) << e.status();
  EXPECT_EQ(e.num_real_eigen_values(), e.status() == mlEigenVecsOk ? n : 0);
}

// The closed-form solvers always finish, with at most n real values and a vector for each.
void asymmetric(Inputs& in, const Poison& poison, int n) {
  const mlMatrix a = in.matrix(n, n);
  const double tol = in.scalar();
  mlAsymEigenVecs2 e2(a);
  mlAsymEigenVecs3 e3(a);
  mlEigenVecs& e = n == 2 ? static_cast<mlEigenVecs&>(e2) : e3;
  e.set_tolerance(tol);
  if (n == 2) e2.calculate();
  if (n == 3) e3.calculate();
  const int count = e.num_real_eigen_values();
  EXPECT_EQ(e.status(), mlEigenVecsOk);
  EXPECT_TRUE(count >= 0 && count <= n) << count;
  EXPECT_TRUE(n == 2 || e.eigen_vectors().cols() == count);
  EXPECT_TRUE(!poison.clean || n == 2 || count == 3);
}

// A^T A stores its n values whatever the decomposition did.
void ata(Inputs& in, int m) {
  const mlMatrix a = in.matrix(m, 3);
  mlATAEigenVecs e(a);
  e.calculate();
  EXPECT_EQ(e.status(), mlEigenVecsOk);
  EXPECT_TRUE(e.num_real_eigen_values() == 3 && e.eigen_vectors().cols() == 3);
}

// Five points in three dimensions are enough, whatever their coordinates.
void pca(Inputs& in, const Poison&) {
  const mlMatrix points = in.matrix(5, 3);
  doublecoDynArr2D cloud;
  for (int i = 0; i < 15; ++i)
    cloud(i / 3, i % 3) = points.data()[i];
  const mlPCA pca(cloud);
  mlVector values, axis;
  EXPECT_TRUE(pca.status() == mlPCAOk && pca.eigenvalues(values) == mlPCAOk &&
              values.dimension() == 3 && pca.principal_axis(axis) == mlPCAOk &&
              pca.least_axis(axis) == mlPCAOk && pca.axis(1, axis) == mlPCAOk &&
              pca.axis(3, axis) == mlPCAAxisOutOfRange);
}

std::vector<Problem> eigen_solvers() {
  std::vector<Problem> p;
  // Rounding at large entries and a zero tolerance make runs that never converge: they fail.
  const struct {
    const char* name;
    int n;
    std::vector<double> a;
    double tol;
    mlEigenVecsStatus expected;
  } symmetric[] = {
      {"2x2", 2, {2, 1, 1, 3}, 1e-6, mlEigenVecsOk},
      {"3x3", 3, {4, 1, 0.5, 1, 3, 0.2, 0.5, 0.2, 2}, 1e-6, mlEigenVecsOk},
      {"2x2 near 8e8",
       2,
       {800000133.12315035, 942.00550717359238, 942.00550717359238, 800000491.56351447},
       1e-6,
       mlEigenVecsFailed},
      {"2x2 tol 0", 2, {2, 1, 1, 3}, 0.0, mlEigenVecsFailed},
      {"3x3 tol 0", 3, {4, 1, 0.5, 1, 3, 0.2, 0.5, 0.2, 2}, 0.0, mlEigenVecsFailed}};
  for (const auto& base : symmetric) {
    const int n = base.n;
    const mlEigenVecsStatus expected = base.expected;
    p.push_back(Problem(std::string("Jacobi ") + base.name, 0,
                        [=](Inputs& in, const Poison& q) { jacobi(in, q, n, expected); })
                    .matrix("A", n, n, base.a, true)
                    .scalar("tol", base.tol));
  }
  const std::pair<const char*, std::vector<double>> bases[] = {
      {"2x2 real", {1, 0, 1, -8}},
      {"2x2 repeated", {3, 0, 0, 3}},
      {"2x2 complex", {0, -1, 1, 0}},
      {"3x3 triangular", {1, 2, 3, 0, 4, 5, 0, 0, 6}},
      {"3x3 repeated", {2, 0, 0, 0, 2, 0, 0, 0, 5}}};
  for (const auto& base : bases) {
    const int n = base.second.size() == 4 ? 2 : 3;
    p.push_back(Problem(std::string("asymmetric ") + base.first, 0,
                        [=](Inputs& in, const Poison& q) { asymmetric(in, q, n); })
                    .matrix("A", n, n, base.second)
                    .scalar("tol", 1e-6));
  }
  p.push_back(Problem("ATA 4x3", 0, [](Inputs& in, const Poison&) {
                ata(in, 4);
              }).matrix("A", 4, 3, {1, 2, 0, 0, 1, 1, 3, 0, 1, 1, 1, 1}));
  p.push_back(Problem("ATA 2x3", 0, [](Inputs& in, const Poison&) {
                ata(in, 2);
              }).matrix("A", 2, 3, {1, 2, 0, 0, 1, 1}));
  p.push_back(Problem("PCA", 0, pca)
                  .matrix("P", 5, 3, {0, 0, 0, 1, 0.1, 0, 2, 0.3, 0.1, 3, 0.2, -0.1, 4, 0.5, 0.2}));
  return p;
}

TEST(NonfiniteSweep, DecompositionsReturn) { sweep(decompositions()); }
TEST(NonfiniteSweep, EigenSolversReturn) { sweep(eigen_solvers()); }

}  // namespace
