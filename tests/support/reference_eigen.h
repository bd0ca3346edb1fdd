#ifndef PASKOSDA_TESTS_SUPPORT_REFERENCE_EIGEN_H
#define PASKOSDA_TESTS_SUPPORT_REFERENCE_EIGEN_H

// The Jacobi eigen-solver for symmetric matrices written literally: every rotation is the
// three whole dense products R^T, (R^T A), (R^T A) R and V R, computed by the plain product
// loops. The solver's row-and-column update must reproduce these bits exactly.

#include <cfloat>
#include <cmath>
#include <cstddef>
#include <vector>

#include "containers/coPageArr.h"
#include "containers/coQuickSort.h"
#include "linalg/mlMatrix.h"
#include "support/reference_kernels.h"

namespace paskosda_test {

struct LiteralJacobiResult {
  int converged = 0;            // 0 when the rotation limit was reached
  long rotations = 0;           // rotations done
  std::vector<double> values;   // by decreasing square
  std::vector<double> vectors;  // n by n, row-major, column k for values[k]
};

// The classical Jacobi method on the square matrix m with the given tolerance, giving up
// after max_rotations rotations.
inline LiteralJacobiResult literal_jacobi(const mlMatrix& m, double tolerance, long max_rotations) {
  const int n = m.rows();
  const std::size_t nn = static_cast<std::size_t>(n) * static_cast<std::size_t>(n);
  std::vector<double> a(m.data(), m.data() + nn);
  std::vector<double> v(nn, 0.0);
  for (int i = 0; i < n; ++i)
    v[static_cast<std::size_t>(n * i + i)] = 1.0;
  std::vector<double> r(nn);
  std::vector<double> t(nn);
  std::vector<double> ta(nn);
  std::vector<double> out(nn);
  LiteralJacobiResult result;
  const double threshold = std::fabs(tolerance) * 0.01;
  for (;;) {
    double largest = -DBL_MAX;
    int p = -1;
    int q = -1;
    for (int i = 0; i < n; ++i) {
      for (int j = i + 1; j < n; ++j) {
        if (std::fabs(a[static_cast<std::size_t>(n * i + j)]) > largest) {
          largest = std::fabs(a[static_cast<std::size_t>(n * i + j)]);
          p = i;
          q = j;
        }
      }
    }
    if (threshold > largest || p < 0) break;

    // The 2 by 2 block in closed form.
    const double sa = a[static_cast<std::size_t>(n * p + p)];
    const double sb = a[static_cast<std::size_t>(n * p + q)];
    const double sc = a[static_cast<std::size_t>(n * q + p)];
    const double sd = a[static_cast<std::size_t>(n * q + q)];
    const double rr = std::sqrt((sa - sd) * (sa - sd) * 0.25 + sb * sb);
    const double l1 = (sa + sd) * 0.5 + rr;
    const double row0[2] = {sa - l1, sb};
    const double row1[2] = {sc, sd - l1};
    const double len0 = 0.0 + row0[0] * row0[0] + row0[1] * row0[1];
    const double len1 = 0.0 + row1[0] * row1[0] + row1[1] * row1[1];
    const double* w = len1 > len0 ? row1 : row0;
    const double len = std::sqrt(len1 > len0 ? len1 : len0);

    for (std::size_t k = 0; k < nn; ++k)
      r[k] = 0.0;
    for (int i = 0; i < n; ++i)
      r[static_cast<std::size_t>(n * i + i)] = 1.0;
    r[static_cast<std::size_t>(n * p + p)] = w[1] / len;
    r[static_cast<std::size_t>(n * q + p)] = -w[0] / len;
    r[static_cast<std::size_t>(n * p + q)] = w[0] / len;
    r[static_cast<std::size_t>(n * q + q)] = w[1] / len;
    for (int i = 0; i < n; ++i) {
      for (int j = 0; j < n; ++j)
        t[static_cast<std::size_t>(n * j + i)] = r[static_cast<std::size_t>(n * i + j)];
    }
    literal_multiply(n, n, n, t.data(), n, a.data(), n, ta.data(), n);
    literal_multiply(n, n, n, ta.data(), n, r.data(), n, a.data(), n);
    literal_multiply(n, n, n, v.data(), n, r.data(), n, out.data(), n);
    v.swap(out);

    result.rotations += 1;
    if (result.rotations >= max_rotations) return result;
  }

  doublecoPageArr keys;
  for (int i = 0; i < n; ++i) {
    const double x = a[static_cast<std::size_t>(n * i + i)];
    keys.append(x * x);
  }
  intcoPageArr index;
  const doublecoQuickSortIndex ascending(keys, index);
  result.values.resize(static_cast<std::size_t>(n));
  result.vectors.resize(nn);
  for (int k = 0; k < n; ++k) {
    const int j = index[n - 1 - k];
    result.values[static_cast<std::size_t>(k)] = a[static_cast<std::size_t>(n * j + j)];
    for (int i = 0; i < n; ++i)
      result.vectors[static_cast<std::size_t>(n * i + k)] = v[static_cast<std::size_t>(n * i + j)];
  }
  result.converged = 1;
  return result;
}

}  // namespace paskosda_test

#endif  // PASKOSDA_TESTS_SUPPORT_REFERENCE_EIGEN_H
