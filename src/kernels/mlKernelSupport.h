#ifndef PASKOSDA_SRC_KERNELS_MLKERNELSUPPORT_H
#define PASKOSDA_SRC_KERNELS_MLKERNELSUPPORT_H

// What the vectorised kernels share: index arithmetic in the pointer's width and the one
// question put to the processor. Private to the library.

#include <cstddef>

namespace paskosda_detail {

using Index = std::ptrdiff_t;

/// x rounded up to a multiple of `multiple`.
inline int round_up(int x, int multiple) noexcept {
  return (x + multiple - 1) / multiple * multiple;
}

#if defined(__GNUC__) && (defined(__x86_64__) || defined(__i386__))
/// Whether the processor runs AVX2 instructions; asked once. The AVX2 variants of the kernels
/// round exactly as the SSE2 and scalar ones do, so the answer changes speed, never results.
inline bool has_avx2() noexcept {
  static const bool avx2 = (__builtin_cpu_init(), __builtin_cpu_supports("avx2") != 0);
  return avx2;
}
#endif

}  // namespace paskosda_detail

#endif  // PASKOSDA_SRC_KERNELS_MLKERNELSUPPORT_H
