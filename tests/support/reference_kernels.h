#ifndef PASKOSDA_TESTS_SUPPORT_REFERENCE_KERNELS_H
#define PASKOSDA_TESTS_SUPPORT_REFERENCE_KERNELS_H

// The matrix products written as the plain loops that define their results, element by
// element. The fast kernels must reproduce these bits exactly.

#include <cstddef>
#include <vector>

#include "kernels/mlKernelSupport.h"

namespace paskosda_test {

/// Every instruction set this processor runs: each kernel test covers all of them.
inline std::vector<paskosda_detail::KernelIsa> kernel_isas() {
  paskosda_detail::KernelIsa isas[3];
  return {isas, isas + paskosda_detail::available_isas(isas)};
}

/// Best (the public entry points) followed by every named instruction set.
inline std::vector<paskosda_detail::KernelIsa> best_and_kernel_isas() {
  std::vector<paskosda_detail::KernelIsa> isas = kernel_isas();
  isas.insert(isas.begin(), paskosda_detail::KernelIsa::Best);
  return isas;
}

inline const char* isa_name(paskosda_detail::KernelIsa isa) {
  switch (isa) {
    case paskosda_detail::KernelIsa::Avx2:
      return "AVX2";
    case paskosda_detail::KernelIsa::Avx512:
      return "AVX-512";
    case paskosda_detail::KernelIsa::Baseline:
      return "baseline";
    default:
      return "best";
  }
}

// c (m x n, row stride ldc) = a (m x k, row stride lda) * b (k x n, row stride ldb).
inline void literal_multiply(int m, int n, int k, const double* a, int lda, const double* b,
                             int ldb, double* c, int ldc) noexcept {
  for (std::ptrdiff_t i = 0; i < m; ++i) {
    for (std::ptrdiff_t j = 0; j < n; ++j) {
      double& sum = c[i * ldc + j];
      sum = 0.0;
      for (std::ptrdiff_t p = 0; p < k; ++p)
        sum += a[i * lda + p] * b[p * ldb + j];
    }
  }
}

// w[i] = +0.0 + a(i,0)*v[0] + a(i,1)*v[incv] + ... for i < m.
inline void literal_multiply_vector(int m, int k, const double* a, int lda, const double* v,
                                    int incv, double* w) noexcept {
  for (std::ptrdiff_t i = 0; i < m; ++i) {
    w[i] = 0.0;
    for (std::ptrdiff_t p = 0; p < k; ++p)
      w[i] += a[i * lda + p] * v[p * incv];
  }
}

}  // namespace paskosda_test

#endif  // PASKOSDA_TESTS_SUPPORT_REFERENCE_KERNELS_H
