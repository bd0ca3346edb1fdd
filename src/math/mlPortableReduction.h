#ifndef PASKOSDA_MATH_MLPORTABLEREDUCTION_H
#define PASKOSDA_MATH_MLPORTABLEREDUCTION_H

// Reduction of huge arguments by multiples of π/2 (Payne and Hanek). Only the bits of 2/π
// whose product with x reaches below the units' place modulo 4 matter; they are taken from a
// table and multiplied by the integer significand of x exactly, in integer arithmetic.

#include <cstdint>

#include "math/mlDoubleDouble.h"

namespace paskosda_detail {

/// The fraction of 2/π, 32 bits a word, most significant first: 1216 bits, enough for the
/// largest exponent with more than 160 bits below the binary point.
inline constexpr int kTwoOverPiWordCount = 38;
extern const std::uint32_t kTwoOverPiWords[kTwoOverPiWordCount];

/// x = n π/2 + r with n = quadrant modulo 4 and |r| <= π/4 up to rounding.
struct HalfPiReduction {
  DoubleDouble r;
  int quadrant = 0;
};

/// For finite x >= 2^20. r.hi + r.lo is within about 2^-100 of r relative to r, even for the
/// arguments closest to a multiple of π/2 (|r| > 2^-61 for every binary64 x).
HalfPiReduction reduce_huge_by_half_pi(double x) noexcept;

}  // namespace paskosda_detail

#endif  // PASKOSDA_MATH_MLPORTABLEREDUCTION_H
