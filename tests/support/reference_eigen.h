#ifndef PASKOSDA_TESTS_SUPPORT_REFERENCE_EIGEN_H
#define PASKOSDA_TESTS_SUPPORT_REFERENCE_EIGEN_H

// The Jacobi eigen-solver for symmetric matrices written literally: every rotation is the
// three whole dense products R^T, (R^T A), (R^T A) R and V R, computed by the plain product
// loops. The solver's row-and-column update must reproduce these bits exactly.

#include <cfloat>
#include <cmath>
#include <vector>

#include "containers/coPageArr.h"
#include "containers/coQuickSort.h"
#include "eigen/mlEigenVecs.h"
#include "linalg/mlMatrix.h"
#include "support/reference_kernels.h"

namespace paskosda_test {

struct LiteralJacobiResult {
  long rotations = 0;  // rotations done
  // Empty when the rotation limit was reached; else the values by decreasing square, and the
  // vectors n by n, row-major, column k for values[k].
  std::vector<double> values, vectors;
};

// The classical Jacobi method on the square matrix m with the given tolerance, giving up
// after max_rotations rotations.
inline LiteralJacobiResult literal_jacobi(const mlMatrix& m, double tolerance, long max_rotations) {
  const int n = m.rows();
  mlMatrix a(utCopy, m), v(mlMatrixIdentity, n), r, t, ta(n, n), vr(n, n);
  LiteralJacobiResult result;
  for (;;) {
    double largest = -DBL_MAX;
    int p = -1, q = -1;
    for (int i = 0; i < n; ++i)
      for (int j = i + 1; j < n; ++j)
        if (std::fabs(a(i, j)) > largest) largest = std::fabs(a(i, j)), p = i, q = j;
    if (std::fabs(tolerance) * 0.01 > largest || p < 0) break;

    // The 2 by 2 block in closed form: the longer row of S - l1 I (row 0 on a tie) is
    // perpendicular to the eigenvector of the larger value l1.
    const double sa = a(p, p), sb = a(p, q), sc = a(q, p), sd = a(q, q);
    const double l1 = (sa + sd) * 0.5 + std::sqrt((sa - sd) * (sa - sd) * 0.25 + sb * sb);
    const double row0[2] = {sa - l1, sb}, row1[2] = {sc, sd - l1};
    const double len0 = 0.0 + row0[0] * row0[0] + row0[1] * row0[1];
    const double len1 = 0.0 + row1[0] * row1[0] + row1[1] * row1[1];
    const double* w = len1 > len0 ? row1 : row0;
    const double len = std::sqrt(len1 > len0 ? len1 : len0);
    r.become(mlMatrixIdentity, n);
    r(p, p) = w[1] / len, r(q, p) = -w[0] / len, r(p, q) = w[0] / len, r(q, q) = w[1] / len;
    t.become(mlMatrixTranspose, r);
    literal_multiply(n, n, n, t.data(), n, a.data(), n, ta.data(), n);
    literal_multiply(n, n, n, ta.data(), n, r.data(), n, a.data(), n);
    literal_multiply(n, n, n, v.data(), n, r.data(), n, vr.data(), n);
    v.become(utCopy, vr);
    if (++result.rotations >= max_rotations) return result;
  }

  doublecoPageArr keys;
  for (int i = 0; i < n; ++i)
    keys.append(a(i, i) * a(i, i));
  intcoPageArr index;
  const doublecoQuickSortIndex ascending(keys, index);
  for (int k = 0; k < n; ++k)
    result.values.push_back(a(index[n - 1 - k], index[n - 1 - k]));
  for (int i = 0; i < n * n; ++i)
    result.vectors.push_back(v(i / n, index[n - 1 - i % n]));
  return result;
}

// The stored eigenvalues, in order.
inline std::vector<double> stored_values(const mlEigenVecs& e) {
  return std::vector<double>(e.eigen_values().begin(), e.eigen_values().end());
}

// max |(A v)_i - lambda v_i|, v column k of e's vectors and lambda its value.
inline double eigen_residual(const mlMatrix& a, const mlEigenVecs& e, int k) {
  mlVector v(utCopy, e.eigen_vector(k)), residual(mlMatrixProduct, a, v);
  return (residual -= v *= e.eigen_value(k)).max_absolute_value();
}

}  // namespace paskosda_test

#endif  // PASKOSDA_TESTS_SUPPORT_REFERENCE_EIGEN_H
