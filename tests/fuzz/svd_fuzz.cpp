// Fuzzes the singular value decomposition with every combination of vector jobs: rank and
// singularity at any tolerance, and for the full decomposition the pseudo-inverse and the
// least-squares solves; then re-decomposes the same object with the full jobs, and runs the
// one-sided Jacobi kernel on the same matrix. Input: the shape (1 ... 6 by 1 ... 6), the U
// and V jobs, the values row by row, a tolerance, and the right-hand sides.

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "decomp/mlSingularValueDecomposition.h"
#include "fuzz_input.h"
#include "linalg/mlMatrix.h"
#include "linalg/mlVector.h"

namespace {

using Svd = mlSingularValueDecomposition;

// The shapes the jobs promise, and, for a converged decomposition of a finite matrix,
// singular values that are non-negative and decreasing.
void expect_decomposition(const Svd& svd, const mlMatrix& a, int job_u, int job_v) {
  const int m = a.rows();
  const int n = a.cols();
  const int k = m < n ? m : n;
  const mlVector& s = svd.diagonal();
  FUZZ_EXPECT(s.dimension() == k);
  FUZZ_EXPECT(svd.U().rows() == (job_u == 1 ? m : 1) && svd.U().cols() == svd.U().rows());
  const int v_cols = job_v == 1 ? n : job_v == 2 ? k : 1;
  FUZZ_EXPECT(svd.V().rows() == (job_v == 0 ? 1 : n) && svd.V().cols() == v_cols);
  if (svd.invalid() != 0 || !paskosda_fuzz::all_finite(a.data(), m * n)) return;
  for (int i = 0; i < k; ++i) {
    if (!std::isfinite(s[i])) return;  // overflow in the reduction of huge values
  }
  for (int i = 0; i < k; ++i) {
    FUZZ_EXPECT(s[i] >= 0.0);
    if (i > 0) FUZZ_EXPECT(s[i - 1] >= s[i]);
  }
}

void queries(const Svd& svd, double tol) {
  const int k = svd.diagonal().dimension();
  const int rank = svd.rank(tol);
  FUZZ_EXPECT(rank >= 0 && rank <= k);
  const int singular = svd.is_singular(tol);
  FUZZ_EXPECT(singular == ((rank == 0 || rank < k) ? 1 : 0));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  paskosda_fuzz::Input in(data, size);
  const int m = in.integer(1, 6);
  const int n = in.integer(1, 6);
  const int job_u = in.integer(0, 1);
  const int job_v = in.integer(0, 2);
  const mlMatrix a = in.matrix(m, n);
  const double tol = in.real();

  Svd svd(a, static_cast<Svd::mlJOB_U>(job_u), static_cast<Svd::mlJOB_V>(job_v));
  expect_decomposition(svd, a, job_u, job_v);
  queries(svd, tol);

  // The pseudo-inverse needs both full vector sets.
  Svd& full = job_u == 1 && job_v == 1 ? svd : svd.become(a);
  expect_decomposition(full, a, 1, 1);
  const mlMatrix& inv = full.inverse(tol);
  FUZZ_EXPECT(inv.rows() == n && inv.cols() == m);
  const mlVector b = in.vector(m);
  mlVector x;
  full.solve(b, x);
  FUZZ_EXPECT(x.dimension() == n);
  const int cols = in.integer(1, 3);
  const mlMatrix bm = in.matrix(m, cols);
  mlMatrix xm;
  full.solve(bm, xm);
  FUZZ_EXPECT(xm.rows() == n && xm.cols() == cols);

  // The Jacobi kernel: A in the first m rows of an (m + n) by n array.
  std::vector<double> w(static_cast<std::size_t>((m + n) * n));
  std::vector<double> z(static_cast<std::size_t>(n));
  for (int i = 0; i < m; ++i) {
    for (int j = 0; j < n; ++j)
      w[static_cast<std::size_t>(i * n + j)] = a(i, j);
  }
  ml_svd(w.data(), z.data(), m, n);
  return 0;
}
