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
// element a running sum from +0.0 over ascending k. This is that form.
void rotate_by_products(mlMatrix& a, mlMatrix& v, int p, int q, const mlVector& e1,
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
  v.become(mlMatrixProduct, v, r);
}

// The same rotation touching only rows and columns p and q, with the products' exact bits.
//
// Why it is exact: in the sum for an element of R^T A or of (R^T A) R, every term but the ones
// at k = p and k = q (p < q) multiplies a matrix element by an exact 0.0 or 1.0. When every
// element of A, of V and of the new rows p and q of R^T A is finite, the zero terms are signed
// zeros, and adding a signed zero never changes a running sum that started at +0.0 (such a sum
// is never -0.0 in round-to-nearest). So an element outside rows and columns p, q is just
// x + 0.0 (its value, with -0.0 turned into +0.0), and the others are
// (0.0 + t_p) + t_q with the two products formed as the full product forms them. The products
// leave no -0.0 behind, so only the input can hold one: `sanitise` is set for the first
// rotation. A non-finite element would instead turn the zero terms into NaN along whole rows,
// so those cases go through the products themselves.
//
// Returns false, leaving a and v untouched, when the new rows p and q of R^T A are not all
// finite (the caller then rotates by the products). Otherwise applies the rotation and sets
// `finite` to whether the new columns p and q of A and V are finite (the rest stays finite).
// rows must hold 2 * n doubles.
bool rotate_in_place(mlMatrix& a, mlMatrix& v, int p, int q, const mlVector& e1, const mlVector& e2,
                     bool sanitise, double* rows, bool& finite) noexcept {
  const int n = a.rows();
  double* pa = a.data();
  double* pv = v.data();
  // Rows p and q of R^T: R^T(p,p) = e1[0], R^T(p,q) = e1[1], R^T(q,p) = e2[0], R^T(q,q) = e2[1].
  const double tpp = e1[0], tpq = e1[1], tqp = e2[0], tqq = e2[1];
  double* row_p = rows;
  double* row_q = rows + n;
  const double* ap = pa + n * p;
  const double* aq = pa + n * q;
  // Collected without branches: the flags and the elements do not depend on each other.
  int ok = 1;
  for (int j = 0; j < n; ++j) {
    row_p[j] = (0.0 + tpp * ap[j]) + tpq * aq[j];
    row_q[j] = (0.0 + tqp * ap[j]) + tqq * aq[j];
    ok &= static_cast<int>(std::isfinite(row_p[j])) & static_cast<int>(std::isfinite(row_q[j]));
  }
  if (ok == 0) return false;

  if (sanitise) {
    for (int i = 0; i < n * n; ++i)
      pa[i] = pa[i] + 0.0;
  }
  for (int j = 0; j < n; ++j) {
    pa[n * p + j] = row_p[j];
    pa[n * q + j] = row_q[j];
  }
  // Columns p and q of R: (R(p,p), R(q,p)) = e1 and (R(p,q), R(q,q)) = e2.
  const double rpp = e1[0], rqp = e1[1], rpq = e2[0], rqq = e2[1];
  for (double* m : {pa, pv}) {
    for (int i = 0; i < n; ++i) {
      double* mi = m + n * i;
      const double x = mi[p];
      const double y = mi[q];
      const double new_p = (0.0 + x * rpp) + y * rqp;
      const double new_q = (0.0 + x * rpq) + y * rqq;
      mi[p] = new_p;
      mi[q] = new_q;
      ok &= static_cast<int>(std::isfinite(new_p)) & static_cast<int>(std::isfinite(new_q));
    }
  }
  finite = ok != 0;
  return true;
}

}  // namespace

mlSymEigenVecs& mlSymEigenVecs::become(const mlMatrix& m) noexcept {
  mlEigenVecs::become(m);
  return *this;
}

void mlSymEigenVecs::calculate() noexcept {
  const mlMatrix& input = *matrix_;
  const int n = input.rows();
  PASKOSDA_CHECK(input.cols() == n && input.size() >= n * n,
                 "mlSymEigenVecs::calculate: the matrix is %dx%d (%d stored), not square",
                 input.rows(), input.cols(), input.size());
  mlMatrix& a = rotated_.become(utCopy, input);
  mlMatrix& v = rotations_.become(mlMatrixIdentity, n);
  mlMatrix& s = block_.become(2, 2);
  mlVector& e1 = e1_;
  mlVector& e2 = e2_;
  mlVector& scratch = rows_.become(mlVectorDim, 2 * n);
  const double threshold = tolerance_ * 0.01;
  bool finite = all_finite(a.data(), n * n);  // V starts as the identity
  bool first = true;
  long count = 0;
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
  paskosda_detail::OffDiagonalMaxima maxima(row_largest_, row_largest_column_);
  maxima.build(a.data(), n);
  for (;;) {
    int p = -1;
    int q = -1;
    const double largest = maxima.largest(p, q);
    if (threshold > largest) break;
    // Only a NaN tolerance gets here without a position (when no off-diagonal element is a
    // number, or n < 2): there is nothing to rotate, so this counts as converged.
    if (p < 0) break;

    s(0, 0) = a(p, p);
    s(0, 1) = a(p, q);
    s(1, 0) = a(q, p);
    s(1, 1) = a(q, q);
    double l1 = 0.0;
    double l2 = 0.0;
    eigens2(s, l1, l2, e1, e2);

    if (finite && rotate_in_place(a, v, p, q, e1, e2, first, scratch.data(), finite)) {
      maxima.rotated(a.data(), p, q);
    } else {
      rotate_by_products(a, v, p, q, e1, e2);
      finite = all_finite(a.data(), n * n) && all_finite(v.data(), n * n);
      // The products may change any element (a non-finite one spreads along whole rows).
      maxima.build(a.data(), n);
    }
    first = false;

    count = count + 1;
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
  const double a = s(0, 0);
  const double b = s(0, 1);
  const double c = s(1, 0);
  const double d = s(1, 1);
  const double diff = a - d;
  const double r = std::sqrt(diff * diff * 0.25 + b * b);
  const double m = (a + d) * 0.5;
  // Kept in locals: l1 and l2 may share storage with s.
  const double larger = m + r;
  const double smaller = m - r;
  // The rows of S - l1 I; the longer one (row 0 on a tie) is perpendicular to l1's vector.
  // Their squared lengths are scalar products; the sum's 0.0 start is left out, as adding a
  // square (never -0.0) to +0.0 returns it unchanged.
  const double m00 = a - larger;
  const double m11 = d - larger;
  const double length0 = m00 * m00 + b * b;
  const double length1 = c * c + m11 * m11;
  double w0 = m00;
  double w1 = b;
  double length_squared = length0;
  if (length1 > length0) {
    w0 = c;
    w1 = m11;
    length_squared = length1;
  }
  const double length = std::sqrt(length_squared);
  if (e1.dimension() != 2) e1.become(mlVectorDim, 2);
  if (e2.dimension() != 2) e2.become(mlVectorDim, 2);
  e1[0] = w1 / length;
  e1[1] = -w0 / length;
  e2[0] = w0 / length;
  e2[1] = w1 / length;
  l1 = larger;
  l2 = smaller;
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
