#ifndef PASKOSDA_TESTS_SUPPORT_REFERENCE_DECOMP_H
#define PASKOSDA_TESTS_SUPPORT_REFERENCE_DECOMP_H

// The LU and Cholesky computations written as the plain loops that define their results,
// step by step. The library's kernels must reproduce these bits exactly.

#include <cmath>
#include <cstddef>
#include <vector>

namespace paskosda_test {

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
    for (int i = k + 1; i < r; ++i) {
      if (std::fabs(at(i, k)) > std::fabs(at(p, k))) p = i;
    }
    if (p != k) {
      const int t = permutation[k];
      permutation[k] = permutation[p];
      permutation[p] = t;
      for (int j = 0; j < c; ++j) {
        const double x = at(k, j);
        at(k, j) = at(p, j);
        at(p, j) = x;
      }
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
  for (int j = r; j < c; ++j) {
    at(r - 1, j) = at(r - 1, j) / at(r - 1, r - 1);
    for (int i = r - 2; i >= 0; --i) {
      double s = at(i, j);
      for (int m = i + 1; m < r; ++m)
        s = s - at(i, m) * at(m, j);
      at(i, j) = s / at(i, i);
    }
  }
  return 1;
}

// The solve for b (n x k) with the factors lu (n x n) and the permutation: b permuted, forward
// substitution column by column, back substitution. The matrix solve multiplies the last row by
// the reciprocal of U(n-1, n-1); the vector solve (k = 1, by_reciprocal false) divides it.
inline std::vector<double> literal_lu_solve_matrix(const double* lu, const int* permutation, int n,
                                                   const double* b, int k,
                                                   bool by_reciprocal = true) {
  const std::ptrdiff_t ld = n;
  const std::ptrdiff_t ldx = k;
  std::vector<double> x(b, b + n * ldx);
  for (int i = 0; i < n; ++i) {
    if (permutation[i] == i) continue;
    for (int col = 0; col < k; ++col)
      x[i * ldx + col] = b[permutation[i] * ldx + col];
  }
  for (int j = 0; j < n; ++j) {
    for (int i = j + 1; i < n; ++i) {
      for (int col = 0; col < k; ++col)
        x[i * ldx + col] = x[i * ldx + col] - x[j * ldx + col] * lu[i * ld + j];
    }
  }
  const double u = lu[(n - 1) * ld + (n - 1)], q = 1.0 / u;
  for (int col = 0; col < k; ++col) {
    double& last = x[(n - 1) * ldx + col];
    last = by_reciprocal ? last * q : last / u;
    for (int i = n - 2; i >= 0; --i) {
      double s = x[i * ldx + col];
      for (int m = i + 1; m < n; ++m)
        s = s - x[m * ldx + col] * lu[i * ld + m];
      x[i * ldx + col] = s / lu[i * ld + i];
    }
  }
  return x;
}

// The Cholesky factorisation of the n x n matrix a, row by row, descending inner order.
inline int literal_cholesky_factor(double* a, int n, double* diagonal) {
  const std::ptrdiff_t ld = n;
  for (int i = 0; i < n; ++i) {
    for (int j = i; j < n; ++j) {
      double s = a[i * ld + j];
      for (int k = i - 1; k >= 0; --k)
        s = s - a[i * ld + k] * a[j * ld + k];
      if (j == i) {
        if (0.0 >= s) return 0;
        diagonal[i] = std::sqrt(s);
      } else {
        a[j * ld + i] = s / diagonal[i];
      }
    }
  }
  return 1;
}

}  // namespace paskosda_test

#endif  // PASKOSDA_TESTS_SUPPORT_REFERENCE_DECOMP_H
