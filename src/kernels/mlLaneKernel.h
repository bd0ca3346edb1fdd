#ifndef PASKOSDA_SRC_KERNELS_MLLANEKERNEL_H
#define PASKOSDA_SRC_KERNELS_MLLANEKERNEL_H

// Lane-level tools of the vectorised kernels: a block of vectors transposed in registers, and a
// walk over the rows of a matrix in blocks of whole vectors. Both only move elements between
// lanes or choose which rows a vector holds; no value is computed here. Private to the
// library.

#include <cstddef>
#include <utility>

#include "kernels/mlKernelDispatch.h"

#if defined(__GNUC__)

namespace paskosda_detail {

// Lane i of the interleave of a and b at block size B: the lower (or, kHigh, the upper) halves
// of each pair of B-lane blocks, a's first.
template <int L, int B, bool kHigh>
constexpr int interleave_lane(int i) noexcept {
  return (i & B) == 0 ? (kHigh ? i + B : i) : (kHigh ? L + i : L + i - B);
}

template <class V, int B, bool kHigh, std::size_t... I>
__attribute__((always_inline)) inline void interleave(V& out, const V& a, const V& b,
                                                      std::index_sequence<I...>) noexcept {
  constexpr int L = lanes<V>();
#if defined(__clang__)
  out = __builtin_shufflevector(a, b, interleave_lane<L, B, kHigh>(I)...);
#else
  out = __builtin_shuffle(a, b, MaskOf<V>{interleave_lane<L, B, kHigh>(I)...});
#endif
}

// Transposes the lanes x lanes block v (v[k] lane i becomes v[i] lane k): only moves bits.
template <class V, int B = 1>
__attribute__((always_inline)) inline void transpose_lanes(V (&v)[lanes<V>()]) noexcept {
  constexpr int L = lanes<V>();
  if constexpr (B < L) {
#pragma GCC unroll 8
    for (int k = 0; k < L; ++k) {
      if ((k & B) != 0) continue;
      V lo, hi;
      interleave<V, B, false>(lo, v[k], v[k + B], std::make_index_sequence<L>());
      interleave<V, B, true>(hi, v[k], v[k + B], std::make_index_sequence<L>());
      v[k] = lo;
      v[k + B] = hi;
    }
    transpose_lanes<V, 2 * B>(v);
  }
}

// body.template rows<V, vectors>(i) for the few (at most NV) whole vectors left from row i.
template <class V, int NV, class Body>
__attribute__((always_inline)) inline void few_vectors(int vectors, int i, Body& body) noexcept {
  if constexpr (NV > 1) {
    if (vectors < NV) {
      few_vectors<V, NV - 1>(vectors, i, body);
      return;
    }
  }
  if (vectors > 0) body.template rows<V, NV>(i);
}

// Runs body.template rows<W, N>(i) over the rows [0, count): blocks of NV vectors of V, then
// the vectors left over together, then the last rows as vectors of one (W = double).
template <class V, int NV, class Body>
__attribute__((always_inline)) inline void over_rows(int count, Body& body) noexcept {
  constexpr int L = lanes<V>();
  int i = 0;
  for (; i + NV * L <= count; i += NV * L)
    body.template rows<V, NV>(i);
  const int vectors = (count - i) / L;
  few_vectors<V, NV>(vectors, i, body);
  i += vectors * L;
  if constexpr (L > 1) few_vectors<double, L - 1>(count - i, i, body);
}

}  // namespace paskosda_detail

#endif

#endif  // PASKOSDA_SRC_KERNELS_MLLANEKERNEL_H
