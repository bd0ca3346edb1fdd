#ifndef PASKOSDA_TESTS_SUPPORT_REFERENCE_DECOMP_H
#define PASKOSDA_TESTS_SUPPORT_REFERENCE_DECOMP_H

// The LU and Cholesky computations written as the plain loops that define their results,
// step by step (the library's kernels must reproduce these bits exactly), and the residual of
// a solution.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <utility>
#include <vector>

#include "linalg/mlMatrix.h"

namespace paskosda_test {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// Gaussian elimination with partial pivoting of the r x c row-major matrix a (c >= r >= 1).
inline int literal_lu_eliminate(double* a, int r, int c, int* permutation, int* swaps,
                                double tolerance) {
  const std::ptrdiff_t ld = c;
  auto at = [&](std::ptrdiff_t i, std::ptrdiff_t j) -> double& { return a[i * ld + j]; };
  *swaps = 0;
  for (int i = 0; i < r; ++i)
    permutation[i] = i;
  for (int k = 0; k < r; ++k) {
    int p = k;
    for (int i = k + 1; i < r; ++i)
      if (std::fabs(at(i, k)) > std::fabs(at(p, k))) p = i;
    if (p != k) {
      std::swap(permutation[k], permutation[p]);
      std::swap_ranges(&at(k, 0), &at(k, 0) + c, &at(p, 0));
      ++*swaps;
    }
    if (tolerance > std::fabs(at(k, k))) return 0;
    for (int i = k + 1; i < r; ++i) {
      at(i, k) = at(i, k) / at(k, k);
      for (int j = k + 1; j < c; ++j)
        at(i, j) = at(i, j) - at(i, k) * at(k, j);
    }
  }
  if (tolerance > std::fabs(at(r - 1, r - 1))) return 0;
  // Row r - 1 of an extra column is a(r - 1, j) / a(r - 1, r - 1): the sum below is empty.
  for (int j = r; j < c; ++j)
    for (int i = r - 1; i >= 0; --i) {
      double s = at(i, j);
      for (int m = i + 1; m < r; ++m)
        s = s - at(i, m) * at(m, j);
      at(i, j) = s / at(i, i);
    }
  return 1;
}

// The solve for b (n x k) with the factors lu (n x n) and the permutation: b permuted, forward
// substitution column by column, back substitution. The matrix solve multiplies the last row by
// the reciprocal of U(n-1, n-1); the vector solve (k = 1, by_reciprocal false) divides it.
inline std::vector<double> literal_lu_solve_matrix(const double* lu, const int* permutation, int n,
                                                   const double* b, int k,
                                                   bool by_reciprocal = true) {
  const std::ptrdiff_t ld = n, ldx = k;
  std::vector<double> x(n * ldx);
  for (int i = 0; i < n; ++i)
    std::copy_n(b + permutation[i] * ldx, k, x.begin() + i * ldx);
  for (int j = 0; j < n; ++j)
    for (int i = j + 1; i < n; ++i)
      for (int col = 0; col < k; ++col)
        x[i * ldx + col] = x[i * ldx + col] - x[j * ldx + col] * lu[i * ld + j];
  for (int col = 0; col < k; ++col)
    for (int i = n - 1; i >= 0; --i) {
      double s = x[i * ldx + col];
      for (int m = i + 1; m < n; ++m)
        s = s - x[m * ldx + col] * lu[i * ld + m];
      const double u = lu[i * ld + i];
      x[i * ldx + col] = i == n - 1 && by_reciprocal ? s * (1.0 / u) : s / u;
    }
  return x;
}

// max |A x - b|: the residual of a solution.
inline double residual(const mlMatrix& a, const mlVector& x, const mlVector& b) {
  mlVector r(mlMatrixProduct, a, x);
  return (r -= b).max_absolute_value();
}

// The Cholesky factorisation of the n x n matrix a, row by row, descending inner order.
inline int literal_cholesky_factor(double* a, int n, double* diagonal) {
  const std::ptrdiff_t ld = n;
  for (int i = 0; i < n; ++i)
    for (int j = i; j < n; ++j) {
      double s = a[i * ld + j];
      for (int k = i - 1; k >= 0; --k)
        s = s - a[i * ld + k] * a[j * ld + k];
      if (j == i && 0.0 >= s) return 0;
      if (j == i) diagonal[i] = std::sqrt(s);
      if (j > i) a[j * ld + i] = s / diagonal[i];
    }
  return 1;
}

// L y = b, then L^T x = y, for the stored factors: each sum takes the unknown just found first.
inline void literal_cholesky_substitute(const double* a, int n, const double* diagonal,
                                        const double* b, double* x) {
  const std::ptrdiff_t ld = n;
  for (int i = 0; i < n; ++i) {
    double s = b[i];
    for (int k = i - 1; k >= 0; --k)
      s = s - a[i * ld + k] * x[k];
    x[i] = s / diagonal[i];
  }
  for (int i = n - 1; i >= 0; --i) {
    double s = x[i];
    for (int k = i + 1; k < n; ++k)
      s = s - a[k * ld + i] * x[k];
    x[i] = s / diagonal[i];
  }
}

}  // namespace paskosda_test

#endif  // PASKOSDA_TESTS_SUPPORT_REFERENCE_DECOMP_H
