#include "math/mlPortableReduction.h"

#include <cstdint>

namespace paskosda_detail {

// Computed with MPFR at 2000 bits: the fraction of 2/π multiplied by 2^32, the integer part
// taken as a word and the rest multiplied again.
const std::uint32_t kTwoOverPiWords[kTwoOverPiWordCount] = {
    0xa2f9836e, 0x4e441529, 0xfc2757d1, 0xf534ddc0, 0xdb629599, 0x3c439041, 0xfe5163ab, 0xdebbc561,
    0xb7246e3a, 0x424dd2e0, 0x06492eea, 0x09d1921c, 0xfe1deb1c, 0xb129a73e, 0xe88235f5, 0x2ebb4484,
    0xe99c7026, 0xb45f7e41, 0x3991d639, 0x835339f4, 0x9c845f8b, 0xbdf9283b, 0x1ff897ff, 0xde05980f,
    0xef2f118b, 0x5a0a6d1f, 0x6d367ecf, 0x27cb09b7, 0x4f463f66, 0x9e5fea2d, 0x7527bac7, 0xebe5f17b,
    0x3d0739f7, 0x8a5292ea, 0x6bfb5fb1, 0x1f8d5d08, 0x56033046, 0xfc7b6bab,
};

namespace {

// π/2 as hi + lo, lo being the rounded remainder.
constexpr double kHalfPiHi = 0x1.921fb54442d18p+0;
constexpr double kHalfPiLo = 0x1.1a62633145c07p-54;

// The product of the significand (53 bits) by 8 words of 2/π has at most 309 bits; two more
// words of zeros let every 64-bit window below read in range.
constexpr int kProductWords = 12;

// The 64 bits of p starting at bit `low` (bit 0 the least significant).
std::uint64_t window(const std::uint32_t (&p)[kProductWords], int low) noexcept {
  const int w = low / 32;
  const int shift = low % 32;
  const std::uint64_t bottom = (static_cast<std::uint64_t>(p[w + 1]) << 32) | p[w];
  if (shift == 0) return bottom;
  return (bottom >> shift) | (static_cast<std::uint64_t>(p[w + 2]) << (64 - shift));
}

}  // namespace

HalfPiReduction reduce_huge_by_half_pi(double x) noexcept {
  // x = m 2^e with m an integer of 53 bits; e >= -32 since x >= 2^20.
  const std::uint64_t bits = bits_of(x);
  const int e = static_cast<int>(bits >> 52) - 1075;
  const std::uint64_t m = (bits & 0x000fffffffffffffu) | 0x0010000000000000u;

  // Word j of the table weighs 2^(-32 j - 32), so its product with x is m T_j 2^(e - 32 j - 32):
  // a multiple of 4, which changes neither sin nor cos, as soon as e - 32 j - 32 >= 2. The first
  // word that counts is j0, and the product's units lie at bit f of m times words j0 .. j0 + 7.
  const int j0 = e >= 34 ? (e - 34) / 32 + 1 : 0;
  const int f = 224 - (e - 32 * j0 - 32);  // 223 <= f <= 288

  // The words dropped after j0 + 7 add less than m 2^(e - 32 j0 - 256) = m 2^-f < 2^-170 to
  // the fraction: far below the 2^-62 the fraction can come down to.
  std::uint32_t p[kProductWords] = {};
  const std::uint64_t m_words[2] = {m & 0xffffffffu, m >> 32};
  for (int i = 0; i < 8; ++i) {
    const std::uint64_t t = kTwoOverPiWords[j0 + 7 - i];
    std::uint64_t carry = 0;
    for (int k = 0; k < 2; ++k) {
      const std::uint64_t s = t * m_words[k] + p[i + k] + carry;  // < 2^64
      p[i + k] = static_cast<std::uint32_t>(s);
      carry = s >> 32;
    }
    p[i + 2] = static_cast<std::uint32_t>(carry);
  }

  // Fraction to the nearest integer: a fraction of a half or more belongs to the next quadrant
  // and leaves the two's complement negative.
  int quadrant = static_cast<int>(window(p, f) & 3);
  std::uint64_t fraction[3] = {window(p, f - 64), window(p, f - 128), window(p, f - 192)};
  const bool negative = (fraction[0] >> 63) != 0;
  if (negative) {
    quadrant = (quadrant + 1) & 3;
    fraction[2] = ~fraction[2] + 1;
    fraction[1] = ~fraction[1] + (fraction[2] == 0 ? 1 : 0);
    fraction[0] = ~fraction[0] + (fraction[1] == 0 && fraction[2] == 0 ? 1 : 0);
  }

  // The six 32-bit pieces convert exactly and decrease, so adding them from the top as
  // hi + lo loses nothing above 2^-100 relative to the fraction.
  DoubleDouble sum;
  double weight = 0x1p-32;
  for (const std::uint64_t word : fraction) {
    for (int half = 0; half < 2; ++half) {
      const double piece =
          static_cast<double>(static_cast<std::uint32_t>(word >> (half == 0 ? 32 : 0))) * weight;
      const DoubleDouble s = two_sum(sum.hi, piece);
      sum = fast_two_sum(s.hi, s.lo + sum.lo);
      weight *= 0x1p-32;
    }
  }

  // r = fraction π/2, the products of the fraction's high part exact.
  const DoubleDouble product = two_product(sum.hi, kHalfPiHi);
  DoubleDouble r = fast_two_sum(product.hi, product.lo + (sum.hi * kHalfPiLo + sum.lo * kHalfPiHi));
  if (negative) r = {-r.hi, -r.lo};
  return {r, quadrant};
}

}  // namespace paskosda_detail
