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

#include <climits>
#include <cstring>
#include <utility>

#include "kernels/mlKernelSupport.h"

#if defined(__clang__)
#pragma clang fp contract(off)
#endif

namespace paskosda_detail {

/// The number of doubles in the vector type V (1 for double itself).
template <class V>
constexpr int lanes() noexcept {
  // V may be double itself, which the check takes for a suspicious sizeof(T) / sizeof(T).
  // NOLINTNEXTLINE(bugprone-sizeof-expression)
  return static_cast<int>(sizeof(V) / sizeof(double));
}

#if defined(__GNUC__)
using v2d = double __attribute__((vector_size(16)));
using v4d = double __attribute__((vector_size(32)));
using v8d = double __attribute__((vector_size(64)));

/// The instruction sets, each with the vector type its kernels use.
struct IsaBaseline {
  using V = v2d;
};
struct IsaAvx2 {
  using V = v4d;
};
struct IsaAvx512 {
  using V = v8d;
};

// ---- Vectors --------------------------------------------------------------------------------
// Vectors go in and out of these by reference: passing one by value would depend on the
// instruction set's calling convention.

template <class V>
__attribute__((always_inline)) inline void load(V& x, const double* p) noexcept {
  std::memcpy(&x, p, sizeof(V));
}

template <class V>
__attribute__((always_inline)) inline void store(double* p, const V& x) noexcept {
  std::memcpy(p, &x, sizeof(V));
}

template <class V, std::size_t... I>
__attribute__((always_inline)) inline void iota(V& x, std::index_sequence<I...>) noexcept {
  x = V{static_cast<double>(I)...};
}

/// Lane k of x holds k.
template <class V>
__attribute__((always_inline)) inline void iota(V& x) noexcept {
  iota(x, std::make_index_sequence<lanes<V>()>());
}

// The lane masks of the vector type V, as its comparisons give them.
template <class V>
using MaskOf = decltype(V{} != V{});

/// Every lane of x holds a, bit for bit, by one broadcast. (Taken through the bits: inlined
/// into a wider instruction set, GCC 12 builds the plain vector forms lane by lane, and
/// 0.0 + a would turn -0.0 into +0.0.)
template <class V>
__attribute__((always_inline)) inline void splat(V& x, double a) noexcept {
  long long bits;
  std::memcpy(&bits, &a, sizeof(double));
  const MaskOf<V> all = MaskOf<V>{} + bits;
  std::memcpy(&x, &all, sizeof(V));
}

// x becomes a in the lanes the mask sets, bit for bit. (GCC 12 merges a blend whose other
// operand is itself a blend with the same fallback into one select on combined masks, and then
// takes that apart lane by lane for 512-bit vectors: callers avoid that shape.)
template <class V>
__attribute__((always_inline)) inline void blend(V& x, const MaskOf<V>& lanes_set,
                                                 const V& a) noexcept {
  const MaskOf<V>& mask = lanes_set;
  MaskOf<V> xm, am;
  std::memcpy(&xm, &x, sizeof(V));
  std::memcpy(&am, &a, sizeof(V));
  xm = (am & mask) | (xm & ~mask);
  std::memcpy(&x, &xm, sizeof(V));
}

// Each lane of x made its magnitude (the sign bit cleared, as fabs does).
template <class V>
__attribute__((always_inline)) inline void magnitude(V& x) noexcept {
  MaskOf<V> bits;
  std::memcpy(&bits, &x, sizeof(V));
  bits &= LLONG_MAX;
  std::memcpy(&x, &bits, sizeof(V));
}
#else
// Without vector types the baseline is scalar.
struct IsaBaseline {
  using V = double;
};
#endif

#if defined(__GNUC__) && (defined(__x86_64__) || defined(__i386__))
template <class Op, class... Args>
__attribute__((target("avx2"))) auto run_avx2(Args&&... args) noexcept {
  return Op::template run<IsaAvx2>(std::forward<Args>(args)...);
}

template <class Op, class... Args>
__attribute__((target("avx512f,avx512dq,avx512bw,avx512vl"))) auto run_avx512(
    Args&&... args) noexcept {
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
  return Op::template run<IsaBaseline>(std::forward<Args>(args)...);
}

}  // namespace paskosda_detail

#endif  // PASKOSDA_SRC_KERNELS_MLKERNELDISPATCH_H
