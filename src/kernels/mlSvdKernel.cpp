#include "kernels/mlSvdKernel.h"

#if defined(__clang__)
#pragma clang fp contract(off)
#endif

void paskosda_detail::svd_reflect_columns(int len, const double* h, double* c, std::ptrdiff_t ld,
                                          int ncols) noexcept {
  // Eight columns at a time: eight independent running sums, each in the order of ddot, so
  // the loop is bound by throughput instead of by the latency of one chain of additions.
  constexpr int kBlock = 8;
  const double pivot = h[0];
  int j = 0;
  for (; j + kBlock <= ncols; j += kBlock) {
    double* col[kBlock];
    double d[kBlock];
    for (int b = 0; b < kBlock; ++b) {
      col[b] = c + ld * (j + b);
      d[b] = 0.0;
    }
    for (int i = 0; i < len; ++i) {
      const double hi = h[i];
      for (int b = 0; b < kBlock; ++b)
        d[b] = d[b] + hi * col[b][i];
    }
    for (int b = 0; b < kBlock; ++b)
      daxpy(len, -d[b] / pivot, h, col[b]);
  }
  for (; j < ncols; ++j) {
    double* cj = c + ld * j;
    daxpy(len, -ddot(len, h, cj) / pivot, h, cj);
  }
}
