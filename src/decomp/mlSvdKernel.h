#ifndef PASKOSDA_SRC_DECOMP_MLSVDKERNEL_H
#define PASKOSDA_SRC_DECOMP_MLSVDKERNEL_H

// The Householder application behind the singular value decomposition. Private to the
// library: not installed; exported from the shared library only so that the tests can reach
// it.

#include <cstddef>

#include "paskosda_export.h"

namespace paskosda_detail {

// Applies the Householder reflector h (len elements, h[0] its pivot) to ncols columns of len
// elements starting at c, ld apart, exactly as the plain loop
//   for each column c_j: t = -ddot(len, h, c_j) / h[0]; daxpy(len, t, h, c_j)
// does: each dot product is the sequential sum from 0.0 of h[i] * c_j[i] in ascending i, and a
// zero t leaves its column untouched. Several columns' sums are carried at once; the columns
// must not overlap h or each other.
PASKOSDA_EXPORT void svd_reflect_columns(int len, const double* h, double* c, std::ptrdiff_t ld,
                                         int ncols) noexcept;

}  // namespace paskosda_detail

#endif  // PASKOSDA_SRC_DECOMP_MLSVDKERNEL_H
