#include "math/mlPortableMath.h"

#include <cmath>
#include <cstddef>
#include <cstdint>

#include "math/mlDoubleDouble.h"
#include "math/mlPortableReduction.h"

// sin and cos reduce x by multiples of π/2 to |r| <= π/4, r carried as hi + lo: by a
// four-part π/2 below 2^20 (Cody and Waite), by the bits of 2/π above. Then r = j/64 + t with
// sin and cos of j/64 from a table (Tang), and the short Taylor series of t, |t| <= 1/128, give
// sin r = S + C t + S (cos t - 1) + C (sin t - t), the first two terms as hi + lo and the two
// small ones, below 2^-14 of the result, in plain double. atan2 reduces y/x to [0, 1] by
// symmetry, then by a breakpoint c = i/64 to u = (y - c x) / (x + c y), never forming y/x
// itself; atan(u) + atan(c) is added to 0, π/2 or π as hi + lo. hypot corrects the square
// root of x^2 + y^2, formed exactly as hi + lo, by one Newton step; only arguments far from 1,
// where a square could overflow or lose bits to underflow, are scaled to [1, 2) first.
//
// Every result is one rounding of hi + lo, whose error stays near 2^-67 of the result: below
// one ulp always, and the correctly rounded value for all but about one argument in 10^5.

namespace paskosda_detail {
namespace {

constexpr std::uint64_t kSignBit = 0x8000000000000000u;
constexpr std::uint64_t kInfinityBits = 0x7ff0000000000000u;
constexpr std::uint64_t kSignificandBits = 0x000fffffffffffffu;

constexpr DoubleDouble kPi = {0x1.921fb54442d18p+1, 0x1.1a62633145c07p-53};
constexpr DoubleDouble kHalfPi = {0x1.921fb54442d18p+0, 0x1.1a62633145c07p-54};
constexpr double kQuarterPi = 0x1.921fb54442d18p-1;       // rounded to nearest
constexpr double kThreeQuarterPi = 0x1.2d97c7f3321d2p+1;  // rounded to nearest
constexpr double kTwoOverPi = 0x1.45f306dc9c883p-1;

// π/2 = P1 + P2 + P3 + P4 to 2^-156. P1, P2 and P3 have at most 33 significant bits, so k Pi
// is exact for k < 2^20; P4 is rounded to 53 bits.
constexpr double kHalfPiPart1 = 0x1.921fb544p+0;
constexpr double kHalfPiPart2 = 0x1.0b4611a6p-34;
constexpr double kHalfPiPart3 = 0x1.3198a2ep-69;
constexpr double kHalfPiPart4 = 0x1.b839a252049c1p-104;

// 2^n for -1074 <= n <= 1023.
double power_of_two(int n) noexcept {
  if (n >= -1022) return double_from_bits(static_cast<std::uint64_t>(n + 1023) << 52);
  return double_from_bits(std::uint64_t{1} << (n + 1074));
}

// a = significand 2^exponent with significand in [1, 2), for finite a > 0.
struct Normalized {
  double significand = 0.0;
  int exponent = 0;
};
Normalized normalize(double a) noexcept {
  std::uint64_t b = bits_of(a);
  int offset = 0;
  if (b >> 52 == 0) {  // subnormal: 2^64 a is exact
    b = bits_of(a * 0x1p64);
    offset = 64;
  }
  return {double_from_bits((b & kSignificandBits) | 0x3ff0000000000000u),
          static_cast<int>(b >> 52) - 1023 - offset};
}

// ---- sin and cos ----------------------------------------------------------------------------

// sin and cos of j/64, j = 0 .. 51, each as hi + lo: MPFR's values rounded to nearest, then the
// remainder rounded to nearest.
constexpr double kSinCos[52][4] = {
    {0x0p+0, 0x0p+0, 0x1p+0, 0x0p+0},
    {0x1.fffaaaaeeeed5p-7, -0x1.2ab639a9f0776p-63, 0x1.fff000155549fp-1, 0x1.28a28a03a5ef3p-55},
    {0x1.ffeaaaeeee86fp-6, -0x1.cd406fb224ae2p-60, 0x1.ffc00155527d3p-1, -0x1.3b54492d89b5bp-55},
    {0x1.7fdc01032fba9p-5, -0x1.599bdf46e997ap-59, 0x1.ff7006bfdf99fp-1, -0x1.8b3b560648d5fp-56},
    {0x1.ffaaaeeed4edbp-5, -0x1.2d16d32684b69p-59, 0x1.ff0015549f4d3p-1, 0x1.328387b99426fp-55},
    {0x1.3facb12d1755bp-4, -0x1.921915299468bp-58, 0x1.fe7034129ef6fp-1, -0x1.cbf4337c96f97p-57},
    {0x1.7f701032550e4p-4, 0x1.afc2d1800501ap-60, 0x1.fdc06bf7e6b9bp-1, 0x1.31902b535f8dbp-55},
    {0x1.bf1b78568391dp-4, 0x1.e91841dea4cc8p-58, 0x1.fcf0c800e99b1p-1, 0x1.ea3d786d186acp-57},
    {0x1.feaaeee86ee36p-4, -0x1.afcb2bcc6f03bp-59, 0x1.fc015527d5bd3p-1, 0x1.b68f35094efb8p-55},
    {0x1.1f0d3d7afceafp-3, -0x1.6ef95099769a5p-57, 0x1.faf22263c4bd3p-1, -0x1.52ace133a2769p-58},
    {0x1.3eb312c5d66cbp-3, 0x1.47d666b66cb91p-57, 0x1.f9c340a7cc428p-1, 0x1.c5b6b063b7462p-55},
    {0x1.5e44fcfa126f3p-3, -0x1.6f443063f89b6p-57, 0x1.f874c2e1eecf6p-1, -0x1.c6514e1332b16p-55},
    {0x1.7dc102fbaf2b5p-3, 0x1.5ab50e23c97c3p-59, 0x1.f706bdf9ece1cp-1, -0x1.698c80c36dcb4p-55},
    {0x1.9d252d0cec312p-3, 0x1.9c43d80b1137dp-58, 0x1.f57948cff6797p-1, 0x1.e3a0d3e03b1d4p-57},
    {0x1.bc6f84edc6199p-3, 0x1.9c1a56a7b0cabp-57, 0x1.f3cc7c3b3d16ep-1, -0x1.21a3ad28a3494p-57},
    {0x1.db9e15fb5a5dp-3, -0x1.32e20d6cc6fc2p-57, 0x1.f20073086649fp-1, 0x1.b940416c1984bp-56},
    {0x1.faaeed4f31577p-3, -0x1.15d88508e32b8p-57, 0x1.f01549f7deea1p-1, 0x1.d3c1e99e5cafdp-55},
    {0x1.0cd00cef36436p-2, -0x1.9fb0a0c93e2b4p-56, 0x1.ee0b1fbc0f11cp-1, -0x1.bfd2380bbc3b1p-59},
    {0x1.1c37d64c6b876p-2, 0x1.46076fe0dcff4p-56, 0x1.ebe214f76efa8p-1, -0x1.02f9f12ba543ep-55},
    {0x1.2b8ddc43eb49fp-2, 0x1.1553899f2d807p-57, 0x1.e99a4c3a7cd83p-1, -0x1.2264b1bc53ce8p-55},
    {0x1.3ad129769d3d8p-2, 0x1.03d550487839ap-63, 0x1.e733ea0193d4p-1, -0x1.6428b3546ce13p-55},
    {0x1.4a00c9b0f3d2p-2, 0x1.823ba6bb08eadp-56, 0x1.e4af14b2a449cp-1, -0x1.68ca02e8a6833p-55},
    {0x1.591bc9fa2f597p-2, 0x1.7c74bac3fe0cbp-57, 0x1.e20bf49acd6c1p-1, -0x1.660aec7ef636bp-58},
    {0x1.682138a38d7f7p-2, -0x1.d889202444aadp-56, 0x1.df4ab3ebd875ep-1, -0x1.e2d8a7e6736c4p-55},
    {0x1.7710255764214p-2, -0x1.6ead7314bb6cep-57, 0x1.dc6b7eb995912p-1, 0x1.4b364776dcd35p-58},
    {0x1.85e7a12826949p-2, 0x1.8a40e9b5facep-56, 0x1.d96e82f71a9dcp-1, 0x1.ff61bd5d2039dp-55},
    {0x1.94a6be9f546c5p-2, -0x1.69ce13e683f58p-56, 0x1.d653f073e404p-1, -0x1.76236434bec37p-55},
    {0x1.a34c91cc50ccap-2, -0x1.a310e3b50cecdp-58, 0x1.d31bf8d8d7c06p-1, 0x1.e60dd3089cbddp-56},
    {0x1.b1d8305321617p-2, -0x1.ae242cb99f519p-56, 0x1.cfc6cfa52ad9fp-1, 0x1.8b5b5508f2a0dp-55},
    {0x1.c048b17b140a3p-2, 0x1.19fe6757e9fa7p-57, 0x1.cc54aa2b2972ep-1, 0x1.4ee162ba83a98p-57},
    {0x1.ce9d2e3d4a51fp-2, -0x1.2fc8a12dae298p-57, 0x1.c8c5bf8ce1a84p-1, 0x1.ab3d1a1590123p-56},
    {0x1.dcd4c15329c9ap-2, 0x1.0d4c6e171fd9ap-56, 0x1.c51a48b8b175ep-1, -0x1.1bbb43b9aa88p-57},
    {0x1.eaee8744b05fp-2, -0x1.789b43c9b027dp-58, 0x1.c1528065b7d5p-1, -0x1.892111312e828p-55},
    {0x1.f8e99e76abc97p-2, 0x1.9d950af2d00a3p-58, 0x1.bd6ea310294f5p-1, 0x1.31bbcc88c109dp-56},
    {0x1.0362939c69955p-1, -0x1.2d8cd78397b01p-55, 0x1.b96eeef58840ep-1, 0x1.45a3cc78fadep-58},
    {0x1.0a4021e9e1001p-1, -0x1.6f643a13914f6p-55, 0x1.b553a410c104ep-1, 0x1.8ff7947027a15p-58},
    {0x1.110d0c4b69c3bp-1, 0x1.d918998809981p-55, 0x1.b11d04162a4c6p-1, 0x1.1dd561efbc0c2p-56},
    {0x1.17c8e5f2eedbp-1, 0x1.35e57102e2488p-57, 0x1.accb526f69de5p-1, 0x1.8fb6a8dd6b6ccp-55},
    {0x1.1e7343236574cp-1, 0x1.22a3fa4f41d5ap-56, 0x1.a85ed4373e02dp-1, 0x1.9be06385ec792p-57},
    {0x1.250bb93788bbbp-1, 0x1.ea3d02457bccep-56, 0x1.a3d7d0352bdcfp-1, -0x1.68dbaeca19669p-55},
    {0x1.2b91dea88421ep-1, -0x1.fa371db216abp-55, 0x1.9f368ed912f85p-1, -0x1.1d200c5791606p-55},
    {0x1.32054b148bc4fp-1, 0x1.f6b42095a135bp-55, 0x1.9a7b5a36a6514p-1, 0x1.722cfcc9fa7a9p-55},
    {0x1.386597456282bp-1, -0x1.10fada93b07a8p-56, 0x1.95a67e00cb1fdp-1, -0x1.0befda21f862dp-55},
    {0x1.3eb25d36cd53ap-1, -0x1.be570e1570fcp-58, 0x1.90b84784ddaf7p-1, -0x1.0feb10ab93b87p-56},
    {0x1.44eb381cf386bp-1, -0x1.3ed6c1e6a5505p-55, 0x1.8bb105a5dc9p-1, 0x1.863e03e9474c1p-55},
    {0x1.4b0fc46aab761p-1, 0x1.0da05738cc59cp-61, 0x1.869108d77a6c6p-1, 0x1.338ffe2bfe9ddp-56},
    {0x1.511f9fd7b351cp-1, -0x1.5c0e861c48831p-55, 0x1.8158a31916d5dp-1, -0x1.de8b90b8228dep-57},
    {0x1.571a6966d59b3p-1, 0x1.c843b4d0fb197p-58, 0x1.7c0827f09e54fp-1, -0x1.c73d6d72aee68p-57},
    {0x1.5cffc16bf8f0dp-1, 0x1.96cb370eb578ap-55, 0x1.769fec655211fp-1, -0x1.827d5cf8c68c5p-57},
    {0x1.62cf49921ac79p-1, -0x1.edd9855b6241ap-55, 0x1.712046fa77678p-1, 0x1.425b0a5029c81p-55},
    {0x1.6888a4e134b2fp-1, -0x1.6b7d37644d5e6p-55, 0x1.6b898fa9efb5dp-1, 0x1.15ac786ccf4b2p-56},
    {0x1.6e2b77c40bde1p-1, -0x1.0e729857fad53p-56, 0x1.65dc1fdeb8cbap-1, -0x1.97c1b47337c77p-58},
};

// The rows of kSinCos for j = -51 .. 51, row j mod 128, as {S, C, -S} each hi + lo: sin of
// j/64 + t is S cos t + C sin t and cos is C cos t + (-S) sin t, the four values from row
// offset 0 for sin and 2 for cos. Signed rows spare taking |r| and restoring the sign.
struct SinCosRow {
  double v[6];
};
struct SinCosRows {
  SinCosRow row[128];
};
constexpr SinCosRows make_sin_cos_rows() {
  SinCosRows t{};
  for (int j = 0; j < 52; ++j) {
    const double* e = kSinCos[j];
    t.row[j] = {{e[0], e[1], e[2], e[3], -e[0], -e[1]}};
    if (j > 0) t.row[128 - j] = {{-e[0], -e[1], e[2], e[3], e[0], e[1]}};
  }
  return t;
}
constexpr SinCosRows kSinCosRows = make_sin_cos_rows();

// Taylor coefficients of sin t - t and cos t - 1. For |t| <= 1/128 the first terms left out,
// t^9/9! and t^10/10!, are below 2^-74 of sin t and 2^-91 of cos t.
constexpr double kSin3 = -1.0 / 6;
constexpr double kSin5 = 1.0 / 120;
constexpr double kSin7 = -1.0 / 5040;
constexpr double kCos2 = -0.5;
constexpr double kCos4 = 1.0 / 24;
constexpr double kCos6 = -1.0 / 720;
constexpr double kCos8 = 1.0 / 40320;

// Keeps the sign, the exponent and the leading `bits` significant bits of x (counting the
// implicit one): the rest of x is then exactly x minus the result.
template <int bits>
double leading_bits(double x) noexcept {
  constexpr std::uint64_t kDropped = (std::uint64_t{1} << (53 - bits)) - 1;
  return double_from_bits(bits_of(x) & ~kDropped);
}

// x = n π/2 + r for finite x >= 0 where the short reduction below does not serve: x >= 2^20,
// or x within 2^-12 of a multiple of π/2 (x itself small included).
__attribute__((noinline)) HalfPiReduction reduce_rare(double x) noexcept {
  if (x <= kQuarterPi) return {{x, 0.0}, 0};
  if (x >= 0x1p20) return reduce_huge_by_half_pi(x);
  const double shifted = x * kTwoOverPi + 0x1.8p52;
  const double k = shifted - 0x1.8p52;
  // x - k P1 is exact: both are multiples of 2^-53 and the difference is below 1. So are the
  // products k P2 and k P3; k P4 errs by 2^-136 at most. The largest rounding left, in adding
  // k P3 to hi + lo, is 2^-106 of max(|r|, k P3 < 2^-48), and |r| > 2^-61 below 2^20.
  const DoubleDouble a = two_sum(x - k * kHalfPiPart1, -(k * kHalfPiPart2));
  const DoubleDouble b = two_sum(a.hi, -(k * kHalfPiPart3));
  const double lo = (a.lo + b.lo) - k * kHalfPiPart4;
  return {fast_two_sum(b.hi, lo), static_cast<int>(bits_of(shifted) & 3)};
}

// sin x (cosine = false) or cos x for finite x >= 2^-27, its sign bit xored with `sign`.
// Without branches on the quadrant, which random arguments would mispredict half the time.
template <bool cosine>
__attribute__((always_inline)) inline double sin_or_cos_positive(double x,
                                                                 std::uint64_t sign) noexcept {
  // x = k π/2 + r, k = x 2/π rounded to nearest by the 1.5 2^52 shift; its low bits are the
  // quadrant. Below 2^20, k < 2^20 and x - k P1, k P2 and k P3 are exact. If |hi| >= 2^-12,
  // hi = x - k P1 - k P2 has an exponent above that of k P2 < 2^-14, so (x - k P1 - hi) - k P2
  // is its exact rounding error; subtracting k P3 < 2^-49 and k P4 from it errs by 2^-101 at
  // most, 2^-89 of r. lo is left unnormalised, below 2^-49: the kernel takes it as it is.
  const double shifted = x * kTwoOverPi + 0x1.8p52;
  const double k = shifted - 0x1.8p52;
  const double r0 = x - k * kHalfPiPart1;
  const double w = k * kHalfPiPart2;
  double rh = r0 - w;
  double rl = (((r0 - rh) - w) - k * kHalfPiPart3) - k * kHalfPiPart4;
  auto quadrant = static_cast<unsigned>(bits_of(shifted));
  if (x >= 0x1p20 || double_from_bits(bits_of(rh) & ~kSignBit) < 0x1p-12) {
    const HalfPiReduction red = reduce_rare(x);
    rh = red.r.hi;
    rl = red.r.lo;
    quadrant = static_cast<unsigned>(red.quadrant);
  }
  // f(x) = ±sin r or ±cos r.
  const unsigned use_cos = (cosine ? ~quadrant : quadrant) & 1;
  sign ^= std::uint64_t{(cosine ? quadrant + 1 : quadrant) & 2} << 62;

  // r = j/64 + t, j by the same shift (either neighbour of a tie serves: the kernel only needs
  // |t| near 1/128 or less); |r| <= π/4 + 2^-30 keeps |j| <= 51. rh - j/64 is exact.
  const double j_shifted = rh * 64 + 0x1.8p52;
  const double th = rh - (j_shifted - 0x1.8p52) * (1.0 / 64);
  const double tl = rl;
  // sin or cos of j/64 + t = A cos t + B sin t: (A, B) = (S, C) for sin, (C, -S) for cos.
  const double* e = kSinCosRows.row[bits_of(j_shifted) & 127].v + 2 * use_cos;
  const double a_hi = e[0];
  const double a_lo = e[1];
  const double b_hi = e[2];
  const double b_lo = e[3];

  // The tails sin t - t and cos t - 1 of t = th + tl; tl enters to first order, through
  // -t^2/2 and -t: its square is below 2^-98.
  const double t2 = th * th;
  const double sin_tail = th * t2 * (kSin3 + t2 * (kSin5 + t2 * kSin7)) - 0.5 * t2 * tl;
  const double cos_tail = t2 * (kCos2 + t2 * (kCos4 + t2 * (kCos6 + t2 * kCos8))) - th * tl;
  // A + B t as hi + lo. B's leading 27 bits times t's leading 26 give an exact product, and
  // |B t| <= 1/128 <= |A| unless A = 0 (sin, j = 0); the rest of B t is below 2^-25 of it.
  const double t26 = leading_bits<26>(th);
  const double b27 = leading_bits<27>(b_hi);
  const DoubleDouble s = fast_two_sum(a_hi, b27 * t26);
  const double bt_rest = b27 * (th - t26) + ((b_hi - b27) + b_lo) * th + b_hi * tl;
  const double result = s.hi + (s.lo + ((a_lo + bt_rest) + (a_hi * cos_tail + b_hi * sin_tail)));
  return double_from_bits(bits_of(result) ^ sign);
}

// ---- atan2 ----------------------------------------------------------------------------------

// atan(i/64), i = 0 .. 64, as hi + lo, from MPFR as the table of sin and cos.
constexpr DoubleDouble kAtan[65] = {
    {0x0p+0, 0x0p+0},
    {0x1.fff555bbb729bp-7, -0x1.220c39d4dff5p-61},
    {0x1.ffd55bba97625p-6, -0x1.5ec431444912cp-60},
    {0x1.7fb818430da2ap-5, -0x1.86ef8f794f105p-63},
    {0x1.ff55bb72cfdeap-5, -0x1.c934d86d23f1dp-60},
    {0x1.3f59f0e7c559dp-4, 0x1.ac4ce285df847p-58},
    {0x1.7ee182602f10fp-4, -0x1.cfb654c0c3d98p-58},
    {0x1.be39ebe6f07c3p-4, 0x1.f7b8f29a05987p-58},
    {0x1.fd5ba9aac2f6ep-4, -0x1.cd37686760c17p-59},
    {0x1.1e1fafb043727p-3, -0x1.b485914dacf8cp-59},
    {0x1.3d6eee8c6626cp-3, 0x1.61a3b0ce9281bp-57},
    {0x1.5c9811e3ec26ap-3, -0x1.054ab2c010f3dp-58},
    {0x1.7b97b4bce5b02p-3, 0x1.347b0b4f881cap-58},
    {0x1.9a6a8e96c8626p-3, 0x1.cf601e7b4348ep-59},
    {0x1.b90d7529260a2p-3, 0x1.17b10d2e0e5abp-61},
    {0x1.d77d5df205736p-3, 0x1.c648d1534597ep-57},
    {0x1.f5b75f92c80ddp-3, 0x1.8ab6e3cf7afbdp-57},
    {0x1.09dc597d86362p-2, 0x1.62e47390cb865p-56},
    {0x1.18bf5a30bf178p-2, 0x1.30ca4748b1bf9p-57},
    {0x1.278372057ef46p-2, -0x1.077cdd36dfc81p-56},
    {0x1.362773707ebccp-2, -0x1.963a544b672d8p-57},
    {0x1.44aa436c2af0ap-2, -0x1.5d5e43c55b3bap-56},
    {0x1.530ad9951cd4ap-2, -0x1.2566480884082p-57},
    {0x1.614840309cfe2p-2, -0x1.a725715711fp-56},
    {0x1.6f61941e4def1p-2, -0x1.c63aae6f6e918p-56},
    {0x1.7d5604b63b3f7p-2, 0x1.69c885c2b249ap-56},
    {0x1.8b24d394a1b25p-2, 0x1.b6d0ba3748fa8p-56},
    {0x1.98cd5454d6b18p-2, 0x1.9e6c988fd0a77p-56},
    {0x1.a64eec3cc23fdp-2, -0x1.24dec1b50b7ffp-56},
    {0x1.b3a911da65c6cp-2, 0x1.ae187b1ca504p-56},
    {0x1.c0db4c94ec9fp-2, -0x1.cc1ce70934c34p-56},
    {0x1.cde53432c1351p-2, -0x1.a2cfa4418f1adp-56},
    {0x1.dac670561bb4fp-2, 0x1.a2b7f222f65e2p-56},
    {0x1.e77eb7f175a34p-2, 0x1.0e53dc1bf3435p-56},
    {0x1.f40dd0b541418p-2, -0x1.a3992dc382a23p-57},
    {0x1.0039c73c1a40cp-1, -0x1.b32c949c9d593p-55},
    {0x1.0657e94db30dp-1, -0x1.d5b495f6349e6p-56},
    {0x1.0c6145b5b43dap-1, 0x1.974fa13b5404fp-58},
    {0x1.1255d9bfbd2a9p-1, -0x1.2bdaee1c0ee35p-58},
    {0x1.1835a88be7c13p-1, 0x1.c621cec00c301p-55},
    {0x1.1e00babdefeb4p-1, -0x1.928df287a668fp-58},
    {0x1.23b71e2cc9e6ap-1, 0x1.c421c9f38224ep-57},
    {0x1.2958e59308e31p-1, -0x1.09e73b0c6c087p-56},
    {0x1.2ee628406cbcap-1, 0x1.c5d5e9ff0cf8dp-55},
    {0x1.345f01cce37bbp-1, 0x1.1021137c71102p-55},
    {0x1.39c391cd4171ap-1, -0x1.2304331d8bf46p-55},
    {0x1.3f13fb89e96f4p-1, 0x1.ecf8b492644fp-56},
    {0x1.445065b795b56p-1, -0x1.f76d0163f79c8p-56},
    {0x1.4978fa3269ee1p-1, 0x1.2419a87f2a458p-56},
    {0x1.4e8de5bb6ec04p-1, 0x1.4a33dbeb3796cp-55},
    {0x1.538f57b89061fp-1, -0x1.1bb74abda520cp-55},
    {0x1.587d81f732fbbp-1, -0x1.5e5c9d8c5a95p-56},
    {0x1.5d58987169b18p-1, 0x1.0028e4bc5e7cap-57},
    {0x1.6220d115d7b8ep-1, -0x1.2b785350ee8c1p-57},
    {0x1.66d663923e087p-1, -0x1.6ea6febe8bbbap-56},
    {0x1.6b798920b3d99p-1, -0x1.a80386188c50ep-55},
    {0x1.700a7c5784634p-1, -0x1.8c34d25aadef6p-56},
    {0x1.748978fba8e0fp-1, 0x1.7b2a6165884a1p-59},
    {0x1.78f6bbd5d315ep-1, 0x1.406a08980374p-55},
    {0x1.7d528289fa093p-1, 0x1.560821e2f3aa9p-55},
    {0x1.819d0b7158a4dp-1, -0x1.bf76229d3b917p-56},
    {0x1.85d69576cc2c5p-1, 0x1.6b66e7fc8b8c3p-57},
    {0x1.89ff5ff57f1f8p-1, -0x1.55b9a5e177a1bp-55},
    {0x1.8e17aa99cc05ep-1, -0x1.ec182ab042f61p-56},
    {0x1.921fb54442d18p-1, 0x1.1a62633145c07p-55},
};

// Taylor coefficients of atan u - u. For |u| <= 1/128 the first left out, u^11/11, is below
// 2^-73 of u.
constexpr double kAtan3 = -1.0 / 3;
constexpr double kAtan5 = 1.0 / 5;
constexpr double kAtan7 = -1.0 / 7;
constexpr double kAtan9 = 1.0 / 9;

constexpr DoubleDouble kAtan2Base[3] = {{0.0, 0.0}, kHalfPi, kPi};

// atan2(y, x) for finite y, x > 0 given by their bits, or its supplement π - atan2(y, x) when
// `supplement` is 1.
double atan2_positive(std::uint64_t y_bits, std::uint64_t x_bits, unsigned supplement) noexcept {
  // atan(y/x) = π/2 - atan(x/y): the quotient n/d of the smaller by the larger is at most 1.
  // The result is base ± atan(n/d), base 0, π/2 or π. All is chosen without branches, which
  // random arguments would mispredict half the time; positive doubles order as their bits.
  const unsigned swapped = y_bits > x_bits ? 1 : 0;
  const std::uint64_t mask = std::uint64_t{0} - swapped;
  const double n = double_from_bits((y_bits & ~mask) | (x_bits & mask));
  const double d = double_from_bits((y_bits & mask) | (x_bits & ~mask));
  const DoubleDouble& base = kAtan2Base[swapped + 2 * (supplement & ~swapped)];
  const std::uint64_t flip = std::uint64_t{swapped ^ supplement} << 63;

  // The kernel below needs n/d >= 2^-40 or so, and no product in it near underflow or
  // overflow. Every operation in it commutes with scaling both by a power of two, so for d in
  // [2^-400, 2^400) and n at most 40 binades below, n and d serve as they are; otherwise they
  // are scaled to d in [1, 2) first, with the same result.
  double num0 = n;
  double den0 = d;
  const std::uint64_t n_bits = bits_of(n);
  const std::uint64_t d_bits = bits_of(d);
  constexpr std::uint64_t kUnscaledLow = 0x26f0000000000000u;  // 2^-400
  constexpr std::uint64_t kUnscaledSpan = 0x58f0000000000000u - kUnscaledLow;
  if (d_bits - kUnscaledLow >= kUnscaledSpan || (d_bits >> 52) - (n_bits >> 52) > 40) {
    const Normalized nn = normalize(n);
    const Normalized nd = normalize(d);
    const int gap = nd.exponent - nn.exponent;
    if (gap > 40) {
      // n/d < 2^-39: atan(n/d) = n/d (1 - (n/d)^2/3) differs from n/d by less than 2^-80 of
      // it. The division rounds right even when the quotient is subnormal or underflows to
      // zero.
      const double q = double_from_bits(bits_of(n / d) ^ flip);
      return base.hi + (base.lo + q);
    }
    // d in [1, 2), n in [2^-40, d]: exact scaling.
    den0 = nd.significand;
    num0 = nn.significand * power_of_two(-gap);
  }
  // i = 64 n/d rounded by the 1.5 2^52 shift; either neighbour of a tie serves.
  const double i_shifted = num0 / den0 * 64 + 0x1.8p52;
  const auto i = static_cast<std::size_t>(bits_of(i_shifted) & 127);
  const double c = (i_shifted - 0x1.8p52) * (1.0 / 64);

  // u = (n - c d) / (d + c n) = tan(atan(n/d) - atan(c)), |u| <= 1/128. c has at most 7
  // significant bits: its products with the leading 46 bits of d and n, and with their rest,
  // are exact. So is n - c d46: for c >= 1/64, n/d lies within 1/128 of c, which puts n within
  // a factor 2 of c d46 (Sterbenz); for c = 0 it is n. The numerator is then exact as hi + lo,
  // the denominator d + c n, d >= c n, to 2^-99 of it.
  const double d46 = leading_bits<46>(den0);
  const double n46 = leading_bits<46>(num0);
  const DoubleDouble num = two_sum(num0 - c * d46, -(c * (den0 - d46)));
  const DoubleDouble den_part = fast_two_sum(den0, c * n46);
  const DoubleDouble den = fast_two_sum(den_part.hi, den_part.lo + c * (num0 - n46));
  // q = num.hi / den.hi from the reciprocal is within 2^-51 of u. uh, q cut to 26 bits, times
  // den.hi split into 27 + 26 bits gives two exact products; the first is within a factor 2
  // of num.hi and subtracts exactly (Sterbenz). So the remainder, below 2^-24 of num, is
  // formed to 2^-77 of num, and u = uh + ul to 2^-76 of u.
  const double reciprocal = 1 / den.hi;
  const double q = num.hi * reciprocal;
  const double uh = leading_bits<26>(q);
  const double den_head = leading_bits<27>(den.hi);
  const double remainder =
      ((num.hi - uh * den_head) - uh * (den.hi - den_head)) + (num.lo - uh * den.lo);
  const double ul = remainder * reciprocal;

  // atan u = u + T(u), T(u) = u^3 (-1/3 + ...) taken at q and carried to u through the
  // derivative -q^2: u - q = (uh - q) + ul, uh - q exact, is below 2^-50 of u.
  const double q2 = q * q;
  const double tail =
      q * q2 * (kAtan3 + q2 * (kAtan5 + q2 * (kAtan7 + q2 * kAtan9))) - q2 * ((uh - q) + ul);
  // atan(c) >= 1/64 > |u| unless c = 0.
  const DoubleDouble a = fast_two_sum(kAtan[i].hi, uh);
  const double a_lo = a.lo + (kAtan[i].lo + (ul + tail));
  const DoubleDouble s = fast_two_sum(base.hi, double_from_bits(bits_of(a.hi) ^ flip));
  return s.hi + (s.lo + (base.lo + double_from_bits(bits_of(a_lo) ^ flip)));
}

// hypot(x, y) outside the range of the short path above: special values, a zero, and
// arguments that must be scaled.
__attribute__((noinline)) double hypot_general(double x, double y) noexcept {
  std::uint64_t a_bits = bits_of(x) & ~kSignBit;
  std::uint64_t b_bits = bits_of(y) & ~kSignBit;
  if (a_bits == kInfinityBits || b_bits == kInfinityBits) return double_from_bits(kInfinityBits);
  if (a_bits > kInfinityBits || b_bits > kInfinityBits) return x + y;
  if (a_bits < b_bits) {
    const std::uint64_t t = a_bits;
    a_bits = b_bits;
    b_bits = t;
  }
  const double a = double_from_bits(a_bits);
  if (b_bits == 0) return a;
  const Normalized na = normalize(a);
  const Normalized nb = normalize(double_from_bits(b_bits));
  const int gap = na.exponent - nb.exponent;
  // b < 2^-27 a: a^2 + b^2 < a^2 (1 + 2^-54), whose root is within a quarter ulp of a.
  if (gap > 27) return a;

  // In [1, 2) and [2^-27, 2): the squares and their sum are exact as hi + lo.
  const double sa = na.significand;
  const double sb = nb.significand * power_of_two(-gap);
  const DoubleDouble a2 = two_product(sa, sa);
  const DoubleDouble b2 = two_product(sb, sb);
  const DoubleDouble s = fast_two_sum(a2.hi, b2.hi);
  const double s_lo = s.lo + (a2.lo + b2.lo);
  // One Newton step from the rounded root: r + (s - r^2) / 2r, s - r^2 exact to 2^-106 of s.
  const double r = std::sqrt(s.hi);
  const DoubleDouble rr = two_product(r, r);
  const double correction = (((s.hi - rr.hi) - rr.lo) + s_lo) / (2 * r);
  if (na.exponent >= -1022) return (r + correction) * power_of_two(na.exponent);

  // The result may be subnormal, spaced `grid` apart in the scaled unit: round r + correction
  // to that grid once, not first to 53 bits and then again.
  const double scale = power_of_two(na.exponent);
  const double grid = power_of_two(-1074 - na.exponent);
  double result = r * scale;
  const double rest = (r - result / scale) + correction;
  if (rest > 0.5 * grid) result += 0x1p-1074;
  if (rest < -0.5 * grid) result -= 0x1p-1074;
  return result;
}

}  // namespace

double portable_sin(double x) noexcept {
  const std::uint64_t magnitude = bits_of(x) & ~kSignBit;
  if (magnitude >= kInfinityBits) return x - x;  // NaN for infinities and NaNs
  // sin x = x (1 - x^2/6 + ...) rounds to x below 2^-26; this keeps ±0 and subnormals.
  if (magnitude < 0x3e50000000000000u) return x;
  return sin_or_cos_positive<false>(double_from_bits(magnitude), bits_of(x) & kSignBit);
}

double portable_cos(double x) noexcept {
  const std::uint64_t magnitude = bits_of(x) & ~kSignBit;
  if (magnitude >= kInfinityBits) return x - x;
  // cos x = 1 - x^2/2 + ... rounds to 1 below 2^-27.
  if (magnitude < 0x3e40000000000000u) return 1.0;
  return sin_or_cos_positive<true>(double_from_bits(magnitude), 0);
}

double portable_atan2(double y, double x) noexcept {
  const std::uint64_t y_bits = bits_of(y);
  const std::uint64_t x_bits = bits_of(x);
  const std::uint64_t ay = y_bits & ~kSignBit;
  const std::uint64_t ax = x_bits & ~kSignBit;
  if (ay > kInfinityBits || ax > kInfinityBits) return x + y;
  const bool x_negative = (x_bits & kSignBit) != 0;  // -0 counts: atan2(±0, -0) = ±π
  double magnitude;
  if (ay == kInfinityBits) {
    magnitude = ax != kInfinityBits ? kHalfPi.hi : x_negative ? kThreeQuarterPi : kQuarterPi;
  } else if (ay == 0 || ax == kInfinityBits) {
    magnitude = x_negative ? kPi.hi : 0.0;
  } else if (ax == 0) {
    magnitude = kHalfPi.hi;
  } else {
    magnitude = atan2_positive(ay, ax, x_negative ? 1 : 0);
  }
  // Every value is odd in y, the sign of zero included.
  return double_from_bits(bits_of(magnitude) | (y_bits & kSignBit));
}

double portable_hypot(double x, double y) noexcept {
  const std::uint64_t a_bits = bits_of(x) & ~kSignBit;
  const std::uint64_t b_bits = bits_of(y) & ~kSignBit;
  // |x| and |y| in [2^-450, 2^450): the squares and the residual below need no scaling, far from
  // overflow and underflow. Neither is ordered: a branch on which is larger would be
  // mispredicted for random arguments.
  constexpr std::uint64_t kFastLow = 0x23d0000000000000u;  // 2^-450
  constexpr std::uint64_t kFastSpan = 0x5c10000000000000u - kFastLow;
  if (a_bits - kFastLow < kFastSpan && b_bits - kFastLow < kFastSpan) {
    // a = x and b = y with their signs: only squares and products of like parts enter.
    const double a = x;
    const double b = y;
    // The root r of s = a*a + b*b, rounded twice, is within 3/4 ulp of the root of
    // a^2 + b^2 = s + e. Newton's step r + (s + e - r^2) / 2r then leaves an error of about
    // (s + e - r^2)^2 / 8r^3 < 2^-53 ulp, and the reciprocal, taken while the residual is
    // formed, adds 2^-52 of the step: the sum rounds as the root unless within 2^-50 ulp of a
    // midpoint.
    const double a2 = a * a;
    const double b2 = b * b;
    const double s = a2 + b2;
    const double r = std::sqrt(s);
    const double half_reciprocal = 0.5 / r;
    // e and s - r^2 to 2^-101 of s. With v = vh + vl, vh the leading 26 bits, vh^2 and 2 vh vl
    // are exact; so are a2 - ah^2 (Sterbenz) and that minus 2 ah al, a multiple of 2^-76 of a^2
    // below 2^-49 of it, and the same for b and r. Only the squares of the tails, below 2^-50
    // of s, and the sums after them round; the error of s itself is exact (Knuth).
    const double ah = leading_bits<26>(a);
    const double al = a - ah;
    const double bh = leading_bits<26>(b);
    const double bl = b - bh;
    const double rh = leading_bits<26>(r);
    const double rl = r - rh;
    const double b2_part = s - a2;
    const double a2_part = s - b2_part;
    const double e =
        ((a2 - a2_part) + (b2 - b2_part)) +
        ((((ah * ah - a2) + 2 * ah * al) + al * al) + (((bh * bh - b2) + 2 * bh * bl) + bl * bl));
    const double residual = ((s - rh * rh) - 2 * rh * rl) + (e - rl * rl);
    return r + residual * half_reciprocal;
  }
  return hypot_general(x, y);
}

}  // namespace paskosda_detail
