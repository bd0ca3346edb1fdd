#include "decomp/mlCholeskyDecomposition.h"

#include <algorithm>
#include <cstddef>

#include "containers/utCheck.h"
#include "kernels/mlDecompKernel.h"
#include "kernels/mlKernelSupport.h"

mlCholeskyDecomposition::mlCholeskyDecomposition(const mlMatrix& a) noexcept
    : diagonal_(a.rows(), 1) {
  become(a);
}

mlCholeskyDecomposition& mlCholeskyDecomposition::become(const mlMatrix& a) noexcept {
  factors_.become(utCopy, a);
  diagonal_.clear(0);
  diagonal_.expand(a.rows());
  // A failed factorisation leaves the later entries unset; zeros keep the unguarded queries
  // from reading indeterminate values.
  for (double& d : diagonal_)
    d = 0.0;
  singular_ = ml_cholesky_factor(factors_, diagonal_) == 0;
  return *this;
}

double mlCholeskyDecomposition::determinant() const noexcept {
  const int n = dimension();
  double p = 1.0;
  for (int i = 0; i < n; ++i)
    p *= diagonal_[i];
  return p * p;
}

void mlCholeskyDecomposition::matrix_l(mlMatrix& l) const noexcept {
  const int n = dimension();
  l.become(mlMatrixZero, n, n);
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j < i; ++j)
      l(i, j) = factors_(i, j);
  }
  for (int i = 0; i < n; ++i)
    l(i, i) = diagonal_[i];
}

void mlCholeskyDecomposition::matrix_l_inverted(mlMatrix& m) const noexcept {
  const int n = dimension();
  m.become(utCopy, factors_);
  for (int i = 0; i < n; ++i) {
    m(i, i) = 1.0 / diagonal_[i];
    // m(j, k) for k < j is still the stored L: column i is complete before any later column
    // is touched.
    for (int j = i + 1; j < n; ++j) {
      double s = 0.0;
      for (int k = i; k < j; ++k)
        s = s - m(j, k) * m(k, i);
      m(j, i) = s / diagonal_[j];
    }
  }
  for (int i = 0; i < n; ++i) {
    for (int j = i + 1; j < n; ++j)
      m(i, j) = 0.0;
  }
}

void mlCholeskyDecomposition::matrix_original(mlMatrix& m) const noexcept {
  const int n = dimension();
  m.become(n, n);
  for (int i = 0; i < n; ++i) {
    for (int j = i; j < n; ++j) {
      m(j, i) = factors_(i, j);
      m(i, j) = factors_(i, j);
    }
  }
}

void mlCholeskyDecomposition::solve(const mlVector& b, mlVector& x) const noexcept {
  PASKOSDA_CHECK(&b != &x, "mlCholeskyDecomposition::solve: x is b");
  PASKOSDA_CHECK(b.dimension() == dimension(),
                 "mlCholeskyDecomposition::solve: b has %d elements, n = %d", b.dimension(),
                 dimension());
  ml_cholesky_substitute(factors_, diagonal_, b.data(), x);
}

void mlCholeskyDecomposition::solve(const mlMatrix& b, mlMatrix& x) const noexcept {
  const int n = dimension();
  const int k = b.cols();
  PASKOSDA_CHECK(&b != &x, "mlCholeskyDecomposition::solve: x is b");
  PASKOSDA_CHECK(b.rows() == n, "mlCholeskyDecomposition::solve: b is %dx%d, n = %d", b.rows(), k,
                 n);
  if (x.rows() != n || x.cols() != k) x.become(n, k);
  if (n == 0 || k == 0) return;
  // Column by column, each exactly as the vector solve; the kernel runs several side by side.
  double* px = x.data();
  const double* pb = b.data();
  for (std::ptrdiff_t i = 0; i < std::ptrdiff_t{n} * k; ++i)
    px[i] = pb[i];
  paskosda_detail::cholesky_solve_matrix(factors_.data(), n, diagonal_.data(), px, k);
}

void mlCholeskyDecomposition::inverse(mlMatrix& inv) const noexcept {
  const int n = dimension();
  if (inv.rows() != n || inv.cols() != n) inv.become(n, n);
  const mlMatrix identity(mlMatrixIdentity, n);
  solve(identity, inv);
}

int ml_cholesky_factor(mlMatrix& a, doublecoDynArr& diagonal) noexcept {
  const int n = a.rows();
  PASKOSDA_CHECK(a.cols() == n, "ml_cholesky_factor: a is %dx%d, not square", n, a.cols());
  if (n == 0) return 1;
  return paskosda_detail::cholesky_factor_kernel(a.data(), n, diagonal);
}

void ml_cholesky_substitute(const mlMatrix& a, const doublecoDynArr& diagonal, const double* b,
                            mlVector& x) noexcept {
  const int n = a.rows();
  x.clear(0);
  x.expand(n);
  if (n == 0) return;
  double* px = x.data();
  const double* pa = a.data();
  const std::ptrdiff_t ld = a.cols();
  const double* d = diagonal.data();
  // Both sweeps subtract the unknown just found first, so the rows go strictly one by one.
  for (int i = 0; i < n; ++i) {
    const double* ai = pa + ld * i;
    double s = b[i];
    for (int k = i - 1; k >= 0; --k)
      s = s - ai[k] * px[k];
    px[i] = s / d[i];
  }
  // The backward sweep reads L down its columns, and a power-of-two order sends a column's
  // elements to a few cache sets. So the unknowns go kBack at a time: the products of their
  // columns with the unknowns already found are formed first, a row of L at a time, and each
  // sum then takes them in its own order. Every product rounds by itself, so nothing changes.
  constexpr int kBack = 8;
  paskosda_detail::Work products_memory(std::ptrdiff_t{kBack} * n);
  double* work = products_memory.data();
  const int block = work != nullptr ? kBack : 1;
  for (int hi = n; hi > 0; hi -= block) {
    const int lo = std::max(hi - block, 0);
    const bool products = work != nullptr;
    if (products) {
      for (int k = hi; k < n; ++k) {
        const double* ak = pa + ld * k + lo;
        const double xk = px[k];
        double* q = work + std::ptrdiff_t{kBack} * (k - hi);
        for (int c = 0; c < hi - lo; ++c)
          q[c] = ak[c] * xk;
      }
    }
    for (int i = hi - 1; i >= lo; --i) {
      double s = px[i];
      for (int k = i + 1; k < hi; ++k)
        s = s - pa[ld * k + i] * px[k];
      if (products) {
        const double* q = work + (i - lo);
        for (int k = hi; k < n; ++k)
          s = s - q[std::ptrdiff_t{kBack} * (k - hi)];
      } else {
        for (int k = hi; k < n; ++k)
          s = s - pa[ld * k + i] * px[k];
      }
      px[i] = s / d[i];
    }
  }
}
