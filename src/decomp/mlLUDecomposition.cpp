#include "decomp/mlLUDecomposition.h"

#include "containers/utCheck.h"
#include "kernels/mlDecompKernel.h"

namespace {

// The pivot tolerance of the decomposition: absolute, not scaled by the matrix.
constexpr double kPivotTolerance = 1e-20;

}  // namespace

mlLUDecomposition::mlLUDecomposition(const mlMatrix& a) noexcept { become(a); }

mlLUDecomposition& mlLUDecomposition::become(const mlMatrix& a) noexcept {
  source_ = &a;
  const int n = a.rows();
  permutation_.clear(0);
  permutation_.expand(n);
  swaps_ = 0;
  if (a.cols() != n) {
    // Not square: rejected. Zero factors keep every query well defined (a zero pivot).
    for (int i = 0; i < n; ++i)
      permutation_[i] = i;
    factors_.become(mlMatrixZero, n, n);
    singular_ = 1;
    return *this;
  }
  factors_.become(utCopy, a);
  singular_ = ml_lu_eliminate(factors_, permutation_.data(), &swaps_, kPivotTolerance) == 0;
  return *this;
}

double mlLUDecomposition::determinant() const noexcept {
  const int n = dimension();
  double d = swaps_ % 2 != 0 ? -1.0 : 1.0;
  for (int i = 0; i < n; ++i)
    d *= factors_(i, i);
  return d;
}

void mlLUDecomposition::lower_matrix(mlMatrix& l) const noexcept {
  const int n = dimension();
  l.become(mlMatrixZero, n, n);
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j < i; ++j)
      l(i, j) = factors_(i, j);
  }
  for (int i = 0; i < n; ++i)
    l(i, i) += 1.0;
}

void mlLUDecomposition::upper_matrix(mlMatrix& u) const noexcept {
  const int n = dimension();
  u.become(mlMatrixZero, n, n);
  for (int i = 0; i < n; ++i) {
    for (int j = i; j < n; ++j)
      u(i, j) = factors_(i, j);
  }
}

void mlLUDecomposition::permutation_matrix(mlMatrix& p) const noexcept {
  const int n = dimension();
  p.become(mlMatrixZero, n, n);
  for (int i = 0; i < n; ++i)
    p(i, permutation_[i]) = 1.0;
}

void mlLUDecomposition::solve(const mlVector& b, mlVector& x) const noexcept {
  const int n = dimension();
  PASKOSDA_CHECK(&b != &x, "mlLUDecomposition::solve: x is b");
  PASKOSDA_CHECK(b.dimension() == n, "mlLUDecomposition::solve: b has %d elements, n = %d",
                 b.dimension(), n);
  x.become(utCopy, b);
  // An empty system has nothing to substitute (the last step would address row -1).
  if (n == 0) return;
  double* px = x.data();
  if (n <= paskosda_detail::kSmallOrder) {
    paskosda_detail::lu_solve_small(factors_.data(), permutation_.data(), n, b.data(), px);
    return;
  }
  for (int i = 0; i < n; ++i) {
    if (permutation_[i] != i) px[i] = b[permutation_[i]];
  }
  const double* lu = factors_.data();
  paskosda_detail::lu_forward_vector(lu, n, px);
  paskosda_detail::lu_back_vector(lu, n, px);
}

void mlLUDecomposition::solve(const mlMatrix& b, mlMatrix& x) const noexcept {
  const int n = dimension();
  const int k = b.cols();
  PASKOSDA_CHECK(&b != &x, "mlLUDecomposition::solve: x is b");
  PASKOSDA_CHECK(b.rows() == n, "mlLUDecomposition::solve: b is %dx%d, n = %d", b.rows(), k, n);
  x.become(utCopy, b);
  if (n == 0 || k == 0) return;
  double* px = x.data();
  const double* pb = b.data();
  for (int i = 0; i < n; ++i) {
    const int from = permutation_[i];
    if (from == i) continue;
    for (int col = 0; col < k; ++col)
      px[static_cast<std::ptrdiff_t>(k) * i + col] =
          pb[static_cast<std::ptrdiff_t>(k) * from + col];
  }
  paskosda_detail::lu_forward_matrix(factors_.data(), n, px, k);
  paskosda_detail::lu_back_matrix(factors_.data(), n, px, k);
}

void mlLUDecomposition::inverse(mlMatrix& inv) const noexcept {
  const int n = dimension();
  const mlMatrix identity(mlMatrixIdentity, n);
  inv.become(n, n);
  solve(identity, inv);
}

int ml_lu_eliminate(mlMatrix& a, int* permutation, int* swaps, double tolerance) noexcept {
  const int r = a.rows();
  const int c = a.cols();
  PASKOSDA_CHECK(c >= r, "ml_lu_eliminate: a is %dx%d, needs at least as many columns as rows", r,
                 c);
  *swaps = 0;
  // An empty matrix has no pivot to re-test at the end (that would read element (-1, -1)).
  if (r == 0) return 1;
  return paskosda_detail::lu_eliminate_kernel(a.data(), r, c, permutation, swaps, tolerance);
}

void ml_swap(int& a, int& b) noexcept {
  const int t = a;
  a = b;
  b = t;
}
