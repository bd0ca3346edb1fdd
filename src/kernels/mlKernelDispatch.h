#ifndef PASKOSDA_SRC_KERNELS_MLKERNELDISPATCH_H
#define PASKOSDA_SRC_KERNELS_MLKERNELDISPATCH_H

// One computation compiled once per instruction set and chosen at run time. Private to the
// library.
//
// An operation is a struct whose `template <class Isa> static ... run(args)` holds the whole
// computation, inlined (always_inline on everything it calls that matters for speed), written
// with the vector type `Isa::V`. run_isa<Op>(isa, args...) compiles it once for the baseline
// of the build and once more, in functions of their own, for AVX2 and AVX-512, and calls the
// one `isa` resolves to. The wider variants are only called after the processor has been
// asked, so the library still runs on any x86-64; each performs the same operations as the
// baseline on more lanes, and every multiply, add, subtract and divide rounds alike in every
// width.
//
// Callers compile without contraction (-ffp-contract=off is a public option of the library):
// the AVX-512 target includes FMA instructions, which a contracted `x + y * z` would use.

#include <utility>

#include "kernels/mlKernelSupport.h"

#if defined(__clang__)
#pragma clang fp contract(off)
#endif

namespace paskosda_detail {

#if defined(__GNUC__)
typedef double v2d __attribute__((vector_size(16)));
typedef double v4d __attribute__((vector_size(32)));
typedef double v8d __attribute__((vector_size(64)));

/// The number of doubles in the vector type V.
template <class V>
constexpr int lanes() noexcept {
  return static_cast<int>(sizeof(V) / sizeof(double));
}

/// The instruction sets, each with the vector type its kernels use.
struct IsaBaseline {
  typedef v2d V;
};
struct IsaAvx2 {
  typedef v4d V;
};
struct IsaAvx512 {
  typedef v8d V;
};
#endif

#if defined(__GNUC__) && (defined(__x86_64__) || defined(__i386__))
template <class Op, class... Args>
__attribute__((target("avx2"))) auto run_avx2(Args&&... args) noexcept {
  return Op::template run<IsaAvx2>(std::forward<Args>(args)...);
}

template <class Op, class... Args>
__attribute__((target("avx512f"))) auto run_avx512(Args&&... args) noexcept {
  return Op::template run<IsaAvx512>(std::forward<Args>(args)...);
}
#endif

/// Op::run compiled for the instruction set `isa` resolves to on this processor.
template <class Op, class... Args>
auto run_isa(KernelIsa isa, Args&&... args) noexcept {
#if defined(__GNUC__) && (defined(__x86_64__) || defined(__i386__))
  switch (resolve_isa(isa)) {
    case KernelIsa::Avx512:
      return run_avx512<Op>(std::forward<Args>(args)...);
    case KernelIsa::Avx2:
      return run_avx2<Op>(std::forward<Args>(args)...);
    default:
      break;
  }
#else
  static_cast<void>(isa);
#endif
#if defined(__GNUC__)
  return Op::template run<IsaBaseline>(std::forward<Args>(args)...);
#else
  return Op::template run<void>(std::forward<Args>(args)...);
#endif
}

}  // namespace paskosda_detail

#endif  // PASKOSDA_SRC_KERNELS_MLKERNELDISPATCH_H
