#ifndef PASKOSDA_SRC_KERNELS_MLKERNELSUPPORT_H
#define PASKOSDA_SRC_KERNELS_MLKERNELSUPPORT_H

// What the vectorised kernels share: index arithmetic in the pointer's width, the choice of
// instruction set, and the packing of a block of b for a register tile. Private to the
// library.

#include <algorithm>
#include <climits>
#include <cstddef>

#include "containers/coDynArr.h"

namespace paskosda_detail {

using Index = std::ptrdiff_t;

/// x rounded up to a multiple of `multiple`.
inline int round_up(int x, int multiple) noexcept {
  return (x + multiple - 1) / multiple * multiple;
}

// The vector instructions a kernel may use: the best the processor offers (what the library
// always uses), or a named set, which the tests and benchmarks force to check every path.
// Every variant rounds exactly as the others, so the choice changes speed, never results.
enum class KernelIsa { Best, Baseline, Avx2, Avx512 };

/// The instruction set a kernel asked for `isa` runs on this processor: Best is the widest it
/// has; a named set it lacks gives the baseline of the build (SSE2 on x86-64).
inline KernelIsa resolve_isa(KernelIsa isa) noexcept {
#if defined(__GNUC__) && (defined(__x86_64__) || defined(__i386__))
  // Asked once. The processor's answer includes the operating system's support for the
  // wider registers.
  static const bool avx2 = (__builtin_cpu_init(), __builtin_cpu_supports("avx2") != 0);
  // AVX-512 as every processor since Skylake-SP has it: the foundation with the doubleword
  // and quadword, byte and word, and vector-length extensions (comparisons give lane masks).
  static const bool avx512 =
      avx2 && __builtin_cpu_supports("avx512f") != 0 && __builtin_cpu_supports("avx512dq") != 0 &&
      __builtin_cpu_supports("avx512bw") != 0 && __builtin_cpu_supports("avx512vl") != 0;
  switch (isa) {
    case KernelIsa::Best:
      return avx512 ? KernelIsa::Avx512 : avx2 ? KernelIsa::Avx2 : KernelIsa::Baseline;
    case KernelIsa::Avx2:
      return avx2 ? isa : KernelIsa::Baseline;
    case KernelIsa::Avx512:
      return avx512 ? isa : KernelIsa::Baseline;
    default:
      return KernelIsa::Baseline;
  }
#else
  static_cast<void>(isa);
  return KernelIsa::Baseline;
#endif
}

/// The named instruction sets this processor runs, the baseline first: the paths a test of a
/// kernel must cover. Returns how many of the three were written to `out`.
inline int available_isas(KernelIsa out[3]) noexcept {
  int count = 0;
  for (const KernelIsa isa : {KernelIsa::Baseline, KernelIsa::Avx2, KernelIsa::Avx512}) {
    if (resolve_isa(isa) == isa) out[count++] = isa;
  }
  return count;
}

/// Work memory of `count` elements of T for the length of one call. A request that fits what a
/// thread keeps (up to 8 MB) takes one of the calling thread's kept buffers for T, the next one
/// free (works live in scopes, so they are released in the reverse order), so that calls made
/// again and again allocate only the first time; a larger request, or one beyond kKeptBuffers
/// at once, gets memory of its own, freed at the end. data() is null for no elements and when
/// the memory is not there.
template <class T>
class WorkOf {
 public:
  static constexpr Index kKeptWork = (Index{8} << 20) / Index{sizeof(T)};
  static constexpr int kKeptBuffers = 4;

  explicit WorkOf(Index count) noexcept {
    if (count < 1 || count > INT_MAX) return;
    thread_local coDynArr<T> kept[kKeptBuffers];
    thread_local int taken = 0;
    const int size = static_cast<int>(count);
    if (taken < kKeptBuffers && count <= kKeptWork && kept[taken].reserve(size) != 0) {
      data_ = kept[taken].data();
      taken_ = &taken;
      ++taken;
    } else if (own_.reserve(size) != 0) {
      data_ = own_.data();
    }
  }
  WorkOf(const WorkOf&) = delete;
  WorkOf& operator=(const WorkOf&) = delete;
  ~WorkOf() {
    if (taken_ != nullptr) --*taken_;
  }

  T* data() noexcept { return data_; }

 private:
  coDynArr<T> own_;
  T* data_ = nullptr;
  int* taken_ = nullptr;
};
using Work = WorkOf<double>;

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
