#ifndef PASKOSDA_SRC_KERNELS_MLSVDKERNEL_H
#define PASKOSDA_SRC_KERNELS_MLSVDKERNEL_H

// The Householder application behind the singular value decomposition, and the two level-1
// routines it shares with the decomposition's driver. Private to the library: not installed,
// not exported; the tests link the kernel objects themselves.

#include <cstddef>

namespace paskosda_detail {

// Unrolled by 5; the five products join the sum one at a time, so the result is the plain
// sequential sum from 0.0.
inline double ddot(int n, const double* x, const double* y) noexcept {
  double t = 0.0;
  if (n <= 0) return t;
  const int head = n % 5;
  for (int i = 0; i < head; ++i)
    t = t + x[i] * y[i];
  for (int i = head; i < n; i += 5)
    t = t + x[i] * y[i] + x[i + 1] * y[i + 1] + x[i + 2] * y[i + 2] + x[i + 3] * y[i + 3] +
        x[i + 4] * y[i + 4];
  return t;
}

// y = y + a * x; nothing at all for a zero factor.
inline void daxpy(int n, double a, const double* x, double* y) noexcept {
  if (n <= 0) return;
  if (a == 0.0) return;
  for (int i = 0; i < n; ++i)
    y[i] = y[i] + a * x[i];
}

// Applies the Householder reflector h (len elements, h[0] its pivot) to ncols columns of len
// elements starting at c, ld apart, exactly as the plain loop
//   for each column c_j: t = -ddot(len, h, c_j) / h[0]; daxpy(len, t, h, c_j)
// does: each dot product is the sequential sum from 0.0 of h[i] * c_j[i] in ascending i, and a
// zero t leaves its column untouched. Several columns' sums are carried at once; the columns
// must not overlap h or each other.
void svd_reflect_columns(int len, const double* h, double* c, std::ptrdiff_t ld,
                         int ncols) noexcept;

}  // namespace paskosda_detail

#endif  // PASKOSDA_SRC_KERNELS_MLSVDKERNEL_H
