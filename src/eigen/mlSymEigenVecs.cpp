#include "eigen/mlSymEigenVecs.h"

#include <cmath>
#include <cstring>

#include "containers/coPageArr.h"
#include "containers/coQuickSort.h"
#include "containers/utCheck.h"
#include "kernels/mlEigenKernel.h"

namespace {

// The safeguard on the number of rotations.
constexpr long kMaxRotations = 10000000;

// The rotation count from which `calculate` looks for a repeated state (about twenty sweeps
// beyond what converging matrices need, so they never pay for it).
long watch_from(int n) noexcept { return 1024 + 64L * n * n; }

bool all_finite(const double* x, int n) noexcept {
  for (int i = 0; i < n; ++i) {
    if (!std::isfinite(x[i])) return false;
  }
  return true;
}

// The rotation R is the identity except R(p,p) = e1[0], R(q,p) = e1[1], R(p,q) = e2[0] and
// R(q,q) = e2[1]. Its defining form is whole dense products: A := (R^T A) R, V := V R, each
// element a running sum from +0.0 over ascending k. This is that form, with V kept transposed
// as vt: R^T V^T sums the same products in the same order as V R.
void rotate_by_products(mlMatrix& a, mlMatrix& vt, int p, int q, const mlVector& e1,
                        const mlVector& e2) noexcept {
  mlMatrix r(mlMatrixIdentity, a.rows());
  r(p, p) = e1[0];
  r(q, p) = e1[1];
  r(p, q) = e2[0];
  r(q, q) = e2[1];
  const mlMatrix t(mlMatrixTranspose, r);
  const mlMatrix ta(mlMatrixProduct, t, a);
  const mlMatrix tar(mlMatrixProduct, ta, r);
  a.become(utCopy, tar);
  vt.become(mlMatrixProduct, t, vt);
}

}  // namespace

mlSymEigenVecs& mlSymEigenVecs::become(const mlMatrix& m) noexcept {
  mlEigenVecs::become(m);
  return *this;
}

void mlSymEigenVecs::calculate() noexcept {
  using paskosda_detail::JacobiStop;
  const mlMatrix& input = *matrix_;
  const int n = input.rows();
  PASKOSDA_CHECK(input.cols() == n && input.size() >= n * n,
                 "mlSymEigenVecs::calculate: the matrix is %dx%d (%d stored), not square",
                 input.rows(), input.cols(), input.size());
  mlMatrix& a = rotated_.become(utCopy, input);
  // The product of the rotations is kept transposed, so that a rotation updates two of its
  // rows rather than two strided columns.
  mlMatrix& vt = rotations_.become(mlMatrixIdentity, n);
  mlMatrix& s = block_.become(2, 2);
  mlVector& e1 = e1_;
  mlVector& e2 = e2_;
  mlVector& scratch = rows_.become(mlVectorDim, 2 * n);
  paskosda_detail::JacobiRotations run;
  run.a = a.data();
  run.vt = vt.data();
  run.rows = scratch.data();
  run.n = n;
  run.threshold = tolerance_ * 0.01;
  run.finite = all_finite(a.data(), n * n);  // V starts as the identity
  // Each pass depends on A alone (the scan, the 2 by 2 problem and so the rotation), so once
  // A repeats a state it cycles for ever and the cap is certain to be reached with nothing
  // stored. Rounding brings that about with large entries (2 by 2 near 1e9 under the default
  // tolerance) and a tolerance of 0 nearly always does (no element passes it, not even an
  // exact zero). Brent's cycle finding, on A's bits, ends such a run at once with the result
  // the cap gives.
  mlMatrix& seen = seen_;
  long power = 1;
  long length = 0;
  const std::size_t bytes = sizeof(double) * static_cast<std::size_t>(n) * n;
  paskosda_detail::OffDiagonalMaxima maxima(search_);
  maxima.build<double>(a.data(), n);
  for (;;) {
    // Up to the watch, the rotations run uninterrupted; from then on one at a time.
    const long until = run.count < watch_from(n) ? watch_from(n) : run.count + 1;
    const JacobiStop stop =
        paskosda_detail::jacobi_rotations(paskosda_detail::KernelIsa::Best, run, maxima, until);
    if (stop == JacobiStop::Converged) break;
    if (stop == JacobiStop::Products) {
      const int p = run.p;
      const int q = run.q;
      s(0, 0) = a(p, p);
      s(0, 1) = a(p, q);
      s(1, 0) = a(q, p);
      s(1, 1) = a(q, q);
      double l1 = 0.0;
      double l2 = 0.0;
      eigens2(s, l1, l2, e1, e2);
      rotate_by_products(a, vt, p, q, e1, e2);
      run.a = a.data();
      run.vt = vt.data();
      run.first = false;
      run.finite = all_finite(a.data(), n * n) && all_finite(vt.data(), n * n);
      // The products may change any element (a non-finite one spreads along whole rows).
      maxima.build<double>(a.data(), n);
      run.count = run.count + 1;
    }
    const long count = run.count;
    const bool cycling = count > watch_from(n) && std::memcmp(seen.data(), a.data(), bytes) == 0;
    if (cycling || count >= kMaxRotations) {
      status_ = mlEigenVecsFailed;
      return;
    }
    if (count >= watch_from(n)) {
      if (length == power || count == watch_from(n)) {
        seen.become(utCopy, a);
        power = 2 * power;
        length = 0;
      }
      length = length + 1;
    }
  }
  // The vectors are the columns of V: transposed back for the sort.
  mlMatrix& v = vectors_.become(mlMatrixTranspose, vt);
  sort(a.diagonal(), v);
  status_ = mlEigenVecsOk;
}

int mlSymEigenVecs::check_symmetric(const mlMatrix& m) const noexcept {
  for (int i = 0; i < m.rows(); ++i) {
    for (int j = 0; j < i; ++j) {
      if (std::fabs(m(i, j) - m(j, i)) > tolerance_) return 0;
    }
  }
  return 1;
}

void mlSymEigenVecs::eigens2(const mlMatrix& s, double& l1, double& l2, mlVector& e1,
                             mlVector& e2) const noexcept {
  double v1[2];
  double v2[2];
  paskosda_detail::symmetric_2x2(s(0, 0), s(0, 1), s(1, 0), s(1, 1), l1, l2, v1, v2);
  if (e1.dimension() != 2) e1.become(mlVectorDim, 2);
  if (e2.dimension() != 2) e2.become(mlVectorDim, 2);
  e1[0] = v1[0];
  e1[1] = v1[1];
  e2[0] = v2[0];
  e2[1] = v2[1];
}

void mlSymEigenVecs::sort(const mlSlice& diagonal, const mlMatrix& vectors) noexcept {
  const int n = diagonal.dimension();
  doublecoPageArr& keys = keys_;
  keys.clear(0);
  for (int i = 0; i < n; ++i)
    keys.append(diagonal[i] * diagonal[i]);
  intcoPageArr& index = index_;
  const doublecoQuickSortIndex ascending(keys, index);
  eigen_values_.reserve(n);
  eigen_vectors_.become(n, n);
  const int rows = vectors.rows();
  for (int k = 0; k < n; ++k) {
    const int j = index[n - 1 - k];
    eigen_values_.append(diagonal[j]);
    for (int i = 0; i < rows; ++i)
      eigen_vectors_(i, k) = vectors(i, j);
  }
}
