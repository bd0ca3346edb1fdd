#ifndef PASKOSDA_SRC_KERNELS_MLEIGENKERNEL_H
#define PASKOSDA_SRC_KERNELS_MLEIGENKERNEL_H

// The search behind the symmetric Jacobi eigen-solver. Private to the library: not installed,
// not exported; the tests and benchmarks link the kernel objects themselves.

#include "kernels/mlKernelSupport.h"

namespace paskosda_detail {

// The largest magnitude in the strict upper triangle of the n by n matrix a (row stride n),
// starting from -DBL_MAX, and in (p, q) the first element in row-major order that has it; p
// and q stay -1 when no element is a number. This is what a running maximum replaced only by a
// strictly larger element gives (a NaN never replaces it). A maximum does not depend on the
// order it is taken in, so the kernel takes many at once, across vector lanes.
double largest_off_diagonal(const double* a, int n, int& p, int& q,
                            KernelIsa isa = KernelIsa::Best) noexcept;

}  // namespace paskosda_detail

#endif  // PASKOSDA_SRC_KERNELS_MLEIGENKERNEL_H
