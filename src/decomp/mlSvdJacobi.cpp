// ml_svd: the one-sided Jacobi singular value decomposition, rotating pairs of columns of the
// working array until they are orthogonal, with the accumulated rotations in its last n rows.
#include <cmath>
#include <cstddef>

#include "containers/utMath.h"
#include "decomp/mlSingularValueDecomposition.h"

void ml_svd(double* w, double* z, int m, int n) noexcept {
  const double eps = 1e-22;
  const double e2 = static_cast<double>(m) * 10.0 * eps * eps;
  const double tol = 1e-23;
  const double tol2 = 1e-46;  // the constant, not tol * tol
  const int sweep_limit = utMath::max(n / 4, 6);
  const std::ptrdiff_t ld = n;
  const std::ptrdiff_t rows = static_cast<std::ptrdiff_t>(m) + n;

  for (int i = 0; i < n; ++i) {
    double* row = w + ld * (m + i);
    for (int j = 0; j < n; ++j)
      row[j] = 0.0;
    row[i] = 1.0;
  }

  int r = n;
  // Counted in 64 bits: r (r - 1) overflows an int for r above 46341.
  long long count = static_cast<long long>(r) * (r - 1) / 2;
  int sweep = 0;
  while (count != 0 && sweep <= sweep_limit) {
    count = static_cast<long long>(r) * (r - 1) / 2;
    ++sweep;
    for (int j = 0; j < r - 1; ++j) {
      for (int k = j + 1; k < r; ++k) {
        double p = 0.0;
        double q = 0.0;
        double rr = 0.0;
        for (int i = 0; i < m; ++i) {
          const double x = w[ld * i + j];
          const double y = w[ld * i + k];
          p += x * y;
          q += x * x;
          rr += y * y;
        }
        z[j] = q;
        z[k] = rr;
        double c = 0.0;
        double s = 0.0;
        if (q >= rr) {
          if (q <= e2 * z[0] || std::fabs(p) <= tol * q) {
            --count;
            continue;
          }
          p = p / q;
          const double t = 1.0 - rr / q;
          const double vt = std::sqrt(4.0 * (p * p) + t * t);
          c = std::sqrt(std::fabs(0.5 * (1.0 + t / vt)));
          s = p / (vt * c);
        } else {
          // This branch always rotates and never lowers the count.
          p = p / rr;
          const double t = q / rr - 1.0;
          const double vt = std::sqrt(4.0 * (p * p) + t * t);
          s = std::sqrt(std::fabs(0.5 * (1.0 - t / vt)));
          if (p < 0.0) s = -s;
          c = p / (vt * s);
        }
        for (std::ptrdiff_t i = 0; i < rows; ++i) {
          const double x = w[ld * i + j];
          const double y = w[ld * i + k];
          w[ld * i + j] = x * c + y * s;
          w[ld * i + k] = -x * s + y * c;
        }
      }
    }
    while (r >= 3 && z[r - 1] <= z[0] * tol + tol2)
      --r;
  }
}
