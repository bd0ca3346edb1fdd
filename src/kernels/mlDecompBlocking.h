#ifndef PASKOSDA_KERNELS_MLDECOMPBLOCKING_H
#define PASKOSDA_KERNELS_MLDECOMPBLOCKING_H

// The blocking of the LU and Cholesky kernels: the orders from which the blocked paths pay, the
// panel widths, and the register tiles of each instruction set.

#include "kernels/mlKernelDispatch.h"
#include "kernels/mlKernelSupport.h"

namespace paskosda_detail {

// Below this order the plain loops are as fast as the blocked ones.
inline constexpr int kBlockedMinimum = 24;
inline constexpr int kCholeskyBlockedMinimum = 16;
// Columns factorised together before the rest of the matrix is updated.
inline constexpr int kPanel = 32;
// Column chunk of the panel-row update (kept in the first-level cache).
inline constexpr int kChunk = 128;
// The widest column panel of any register tile, and the widest back-substitution strip.
inline constexpr int kMaxTileColumns = 16;
inline constexpr int kMaxStripColumns = 64;
// The widest panel of the Cholesky factorisation, and the most sums one of its tiles makes.
inline constexpr int kMaxColumnPanel = 32;
inline constexpr int kMaxColumnSums = 4 * kMaxColumnPanel;

#if defined(__GNUC__) && (defined(__SSE2__) || defined(__aarch64__))

// Whether the blocked vector paths exist in this build.
inline constexpr bool kVectorPath = true;

// A register tile of the product update is kRows rows by kVectors vectors; a Cholesky column
// back-substitution strip is kWide vectors, a Cholesky column tile kColumn vectors, with
// kFused panels below the pivots' panel computed alongside it.
template <class Isa>
struct Blocking;
template <>
struct Blocking<IsaBaseline> {
  using V = v2d;
  static constexpr int kRows = 4, kVectors = 2, kWide = 8, kColumn = 8, kFused = 0, kBelow = 2;
};
template <>
struct Blocking<IsaAvx2> {
  using V = v4d;
  static constexpr int kRows = 6, kVectors = 2, kWide = 8, kColumn = 8, kFused = 0, kBelow = 2;
};
template <>
struct Blocking<IsaAvx512> {
  using V = v8d;
  static constexpr int kRows = 8, kVectors = 2, kWide = 8, kColumn = 4, kFused = 2, kBelow = 3;
};

#else

inline constexpr bool kVectorPath = false;

#endif

}  // namespace paskosda_detail

#endif  // PASKOSDA_KERNELS_MLDECOMPBLOCKING_H
