#ifndef PASKOSDA_SRC_KERNELS_MLKERNELSUPPORT_H
#define PASKOSDA_SRC_KERNELS_MLKERNELSUPPORT_H

// What the vectorised kernels share: index arithmetic in the pointer's width, the choice of
// instruction set, and the packing of a block of b for a register tile. Private to the
// library.

#include <algorithm>
#include <cstddef>

namespace paskosda_detail {

using Index = std::ptrdiff_t;

/// x rounded up to a multiple of `multiple`.
inline int round_up(int x, int multiple) noexcept {
  return (x + multiple - 1) / multiple * multiple;
}

// The vector instructions a kernel may use: the best the processor offers (what the library
// always uses), or the baseline of the build (SSE2 on x86-64), which the tests also check.
// Every variant rounds exactly as the others, so the choice changes speed, never results.
enum class KernelIsa { Best, Baseline };

/// Whether a kernel asked for `isa` runs its AVX2 variant: only for Best, on a processor that
/// has AVX2 (asked once).
inline bool use_avx2(KernelIsa isa) noexcept {
#if defined(__GNUC__) && (defined(__x86_64__) || defined(__i386__))
  static const bool avx2 = (__builtin_cpu_init(), __builtin_cpu_supports("avx2") != 0);
  return isa == KernelIsa::Best && avx2;
#else
  static_cast<void>(isa);
  return false;
#endif
}

/// Columns 0 .. n - 1 of b, depth 0 .. kb - 1, as panels of NR columns, each panel row by row
/// (p by p), so that a register tile reads its panel in sequence whatever b's row stride.
/// Columns past n are zero: they only feed tile columns that are never stored.
template <int NR>
void pack_b_panels(int kb, int n, const double* b, Index ldb, double* out) noexcept {
  for (int j0 = 0; j0 < n; j0 += NR) {
    const int cols = std::min(NR, n - j0);
    for (int p = 0; p < kb; ++p) {
      const double* row = b + p * ldb + j0;
      for (int j = 0; j < NR; ++j)
        out[j] = j < cols ? row[j] : 0.0;
      out += NR;
    }
  }
}

}  // namespace paskosda_detail

#endif  // PASKOSDA_SRC_KERNELS_MLKERNELSUPPORT_H
