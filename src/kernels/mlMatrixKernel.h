#ifndef PASKOSDA_SRC_KERNELS_MLMATRIXKERNEL_H
#define PASKOSDA_SRC_KERNELS_MLMATRIXKERNEL_H

// The dense product kernels behind the matrix and matrix-vector `multiply`. Private to the
// library: not installed, not exported; the tests and benchmarks link the kernel objects
// themselves.
//
// Both give exactly the bits of the plain loops: every result element is its own running sum,
// started at +0.0, to which the products a(i, p) * b(p, j) are added one at a time in
// ascending p, each product rounded on its own (never fused). The kernels only reorder work
// between independent elements, never the operations on one element.

#include "kernels/mlKernelSupport.h"

namespace paskosda_detail {

// c (m x n, row stride ldc) = a (m x k, row stride lda) * b (k x n, row stride ldb).
// c must not overlap a or b. `isa` chooses the instruction set of the packed path.
void multiply_kernel(int m, int n, int k, const double* a, int lda, const double* b, int ldb,
                     double* c, int ldc, KernelIsa isa = KernelIsa::Best) noexcept;

// w[i] = +0.0 + a(i,0)*v[0] + a(i,1)*v[incv] + ... in ascending order, for i < m; w must not
// overlap a or v.
void multiply_vector_kernel(int m, int k, const double* a, int lda, const double* v, int incv,
                            double* w) noexcept;

}  // namespace paskosda_detail

#endif  // PASKOSDA_SRC_KERNELS_MLMATRIXKERNEL_H
