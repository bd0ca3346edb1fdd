#ifndef PASKOSDA_SRC_KERNELS_MLTILEKERNEL_H
#define PASKOSDA_SRC_KERNELS_MLTILEKERNEL_H

// The register-tile micro-kernel shared by the product and the decompositions: MR rows by NV
// vectors of c take the products a(r, p) * b(p, j) of a depth block one p after another, each
// product rounded by itself and added to or subtracted from the element's running value. p is
// the outer loop, so every element receives its products in ascending depth; vectors only run
// across independent elements. Private to the library.
//
// Callers compile it without contraction (-ffp-contract=off is a public option of the
// library), so every `x + y * z` below is a rounded multiply and a rounded add.

#include <cstring>

#include "kernels/mlKernelDispatch.h"
#include "kernels/mlKernelSupport.h"

#if defined(__GNUC__)
#if defined(__clang__)
#pragma clang fp contract(off)
#endif

namespace paskosda_detail {

/// How a tile takes its products into c.
enum class TileUpdate {
  Add,             ///< c + a * b, the product
  Subtract,        ///< c - a * b, the product written with a's element first
  SubtractBFirst,  ///< c - b * a, the product written with b's element first
};

/// One MR x (NV * lanes) tile of c over the depth block kc. `bp` holds the tile's columns of b
/// packed p by p (pack_b_panels). The operand a is either packed (copies >= 1: for each p the
/// tile's MR values, each repeated `copies` times, so that a vector of it is a plain load where
/// a broadcast would cost a shuffle) or read from the rows of a matrix (copies = 0: a(r, p) at
/// a[r * lda + p]). With `load` the running values start from c, otherwise at +0.0.
template <class V, int MR, int NV, TileUpdate update, int copies>
__attribute__((always_inline)) inline void tile_update(int kc, const double* a, Index lda,
                                                       const double* bp, double* c, Index ldc,
                                                       bool load) noexcept {
  constexpr int L = lanes<V>();
  static_assert(copies == 0 || copies == 1 || copies == L,
                "a is read from rows, or packed as scalars or as whole vectors");
  static_assert(copies < L || L == 1 || update == TileUpdate::Add,
                "a packed as whole vectors serves the product only");
  V acc[MR][NV];
#pragma GCC unroll 8
  for (int r = 0; r < MR; ++r) {
#pragma GCC unroll 4
    for (int v = 0; v < NV; ++v) {
      if (load) {
        std::memcpy(&acc[r][v], c + r * ldc + v * L, sizeof(V));
      } else {
        acc[r][v] = V{};
      }
    }
  }
  for (int p = 0; p < kc; ++p) {
    V b[NV];
#pragma GCC unroll 4
    for (int v = 0; v < NV; ++v)
      std::memcpy(&b[v], bp + v * L, sizeof(V));
#pragma GCC unroll 8
    for (int r = 0; r < MR; ++r) {
      if constexpr (copies == L && L > 1) {
        V x;
        std::memcpy(&x, a + r * copies, sizeof(V));
#pragma GCC unroll 4
        for (int v = 0; v < NV; ++v)
          acc[r][v] = acc[r][v] + x * b[v];
      } else {
        // The scalar operand is broadcast to every lane.
        const double x = copies == 0 ? a[r * lda + p] : a[r];
#pragma GCC unroll 4
        for (int v = 0; v < NV; ++v) {
          if constexpr (update == TileUpdate::Add) {
            acc[r][v] = acc[r][v] + x * b[v];
          } else if constexpr (update == TileUpdate::Subtract) {
            acc[r][v] = acc[r][v] - x * b[v];
          } else {
            acc[r][v] = acc[r][v] - b[v] * x;
          }
        }
      }
    }
    if constexpr (copies > 0) a += MR * copies;
    bp += NV * L;
  }
#pragma GCC unroll 8
  for (int r = 0; r < MR; ++r) {
#pragma GCC unroll 4
    for (int v = 0; v < NV; ++v)
      std::memcpy(c + r * ldc + v * L, &acc[r][v], sizeof(V));
  }
}

/// A tile cut by the edge of c: `tile(copy, NR)` runs on a full MR x NR copy of c's rows x
/// cols corner (c's values with `load`, zeros otherwise), and the corner is written back. The
/// callable must be always_inline, so that it is compiled for its caller's instruction set.
template <int MR, int NR, class Tile>
__attribute__((always_inline)) inline void edge_tile(double* c, Index ldc, int rows, int cols,
                                                     bool load, const Tile& tile) noexcept {
  double copy[MR * NR] = {};
  for (int r = 0; r < rows && load; ++r)
    std::memcpy(copy + r * NR, c + r * ldc, sizeof(double) * cols);
  tile(copy, Index{NR});
  for (int r = 0; r < rows; ++r)
    std::memcpy(c + r * ldc, copy + r * NR, sizeof(double) * cols);
}

}  // namespace paskosda_detail

#endif  // defined(__GNUC__)

#endif  // PASKOSDA_SRC_KERNELS_MLTILEKERNEL_H
