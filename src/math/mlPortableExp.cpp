#include "math/mlPortableMath.h"

#include <cstdint>

#include "math/mlDoubleDouble.h"
#include "math/mlPortableExpTables.h"

// Exponential and logarithm by table and short polynomial, the leading terms carried as
// double-double so that the error before the last rounding stays near 2^-70: the result is below
// one ulp everywhere and correctly rounded for all but a few arguments in 10^5. pow, sinh and
// cosh are built on the same kernels. The polynomial coefficients interpolate the remainder of the
// Taylor series at Chebyshev nodes of the reduced interval (computed with MPFR).

namespace paskosda_detail {
namespace {

constexpr std::uint64_t kSignBit = 0x8000000000000000;
constexpr std::uint64_t kInfinityBits = 0x7ff0000000000000;
constexpr std::uint64_t kOneBits = 0x3ff0000000000000;
constexpr std::uint64_t kMinNormalBits = 0x0010000000000000;
const double kInfinity = double_from_bits(kInfinityBits);

// NaN results carry fixed bits: hardware differs in the NaN it makes (x86 sets the sign, ARM does
// not) and in which operand's payload it passes on.
double quiet(double nan) noexcept { return double_from_bits(bits_of(nan) | 0x0008000000000000); }
double invalid() noexcept { return double_from_bits(0x7ff8000000000000); }

// 2^m for -1022 <= m <= 1023.
double pow2(std::int64_t m) noexcept {
  return double_from_bits(static_cast<std::uint64_t>(m + 1023) << 52);
}

// --- Exponential ---------------------------------------------------------------------------

constexpr double kInvLn2N = 0x1.71547652b82fep+8;  // 256 / ln 2
// ln 2 / 256 with a 34-bit leading part: k times it is exact for |k| < 2^19, i.e. |x| < 1400.
constexpr double kLn2NHi = 0x1.62e42fef8p-9;
constexpr double kLn2NLo = 0x1.1cf79abc9e3b4p-44;
// (x + kRoundShift) - kRoundShift rounds x to an integer, the others to multiples of 2^-26 and
// 2^-34.
constexpr double kRoundShift = 0x1.8p52;
constexpr double kRoundShift26 = 0x1.8p26;
constexpr double kRoundShift34 = 0x1.8p18;
constexpr std::uint64_t k708Bits = 0x4086200000000000;  // past 708 e^x may leave the normal range
// e^r = 1 + r + r^2/2 + r^3 (kE3 + kE4 r + kE5 r^2 + kE6 r^3), |r| <= 1.001 ln 2 / 512, within
// 2^-81.8.
constexpr double kE3 = 0x1.5555555555552p-3;
constexpr double kE4 = 0x1.5555555555554p-5;
constexpr double kE5 = 0x1.111111d95fe4fp-7;
constexpr double kE6 = 0x1.6c16c23465954p-10;

// x - k ln2/256 = r1 + rest to about 2^-77, with r1 on the grid of 2^-26 and |r1 + rest| <=
// 1.001 ln 2 / 512, and rh = r1 + rest rounded; k as an integer and as its two's complement bits.
struct ExpArgument {
  double r1 = 0.0;
  double rest = 0.0;
  double rh = 0.0;
  double k = 0.0;
  std::uint64_t k_bits = 0;
};

ExpArgument reduce(double x) noexcept {
  const double shifted = x * kInvLn2N + kRoundShift;
  const double k = shifted - kRoundShift;
  // Exact: k kLn2NHi is, and it is within a factor 2 of x unless k is 0. So is a - r1, below
  // 2^-27 in magnitude; |b| < 2^-25.
  const double a = x - k * kLn2NHi;
  const double b = k * kLn2NLo;
  const double r1 = (a + kRoundShift26) - kRoundShift26;
  return {r1, (a - r1) - b, a - b, k, bits_of(shifted) - bits_of(kRoundShift)};
}

// 2^m 2^(bias - 1023) for k = 256 m + j, given as two's complement bits, when that is a normal
// number: the exponent field is m + bias modulo 2^12.
double scale_factor(std::uint64_t k_bits, std::uint64_t bias) noexcept {
  return double_from_bits(((k_bits << 44) & 0xfff0000000000000) + (bias << 52));
}

// e^r - 1 - r = even + odd, so that e^-r - 1 + r = even - odd.
struct ExpTail {
  double even = 0.0;
  double odd = 0.0;
};
ExpTail exp_tail(double r) noexcept {
  const double rr = r * r;
  return {rr * 0.5 + (rr * rr) * (kE4 + rr * kE6), (r * rr) * (kE3 + rr * kE5)};
}

// 2^(j/256) e^r as hi + lo, |lo| < 2^-23 hi, within about 2^-71 relative, for r = r1 + rest,
// r1 on the grid of 2^-26, |rest| < 2^-24, rh within 2^-50 of r, and e^r = 1 + r + q to about
// 2^-75. With t1 on the grid of 2^-25, t1 r1 and t1 + t1 r1 < 4 are exact; every other term is
// below 2^-19 of the result.
DoubleDouble exp_kernel(double r1, double rest, double rh, double q, unsigned j) noexcept {
  const double t1 = kExp2Table[j].hi;
  const double t2 = kExp2Table[j].lo;
  return {t1 + t1 * r1, (t1 * rest + (t2 + t2 * rh)) + (t1 + t2) * q};
}

DoubleDouble exp_kernel(const ExpArgument& r) noexcept {
  const ExpTail q = exp_tail(r.rh);
  return exp_kernel(r.r1, r.rest, r.rh, q.even + q.odd, static_cast<unsigned>(r.k_bits & 255));
}

// (v.hi + v.lo) 2^m rounded once, for v in [0.99, 2.01] and -1077 <= m <= 1100: the result may
// overflow or be subnormal.
double scale(DoubleDouble v, std::int64_t m) noexcept {
  const double w = v.hi + v.lo;
  if (m > -1022) return m < 1023 ? w * pow2(m) : (w * pow2(m - 100)) * 0x1p100;
  // Below 2^-1022 the spacing is 2^-1074, which is 2^m times the ulp of c = 2^(-1022 - m): c + v
  // rounds on that spacing and (c + v) - c is then exact. w is right when it reaches c: if v is
  // just below, w rounds up to c only where the subnormal rounding does too.
  const double c = pow2(-1022 - m);
  const double down = pow2(m + 1022);
  if (w >= c) return (w * down) * 0x1p-1022;
  const DoubleDouble u = fast_two_sum(c, v.hi);
  return (((u.hi + (u.lo + v.lo)) - c) * down) * 0x1p-1022;
}

// e^(hi + lo) 2^shift, |lo| <= 2^-40, for pow's sums and for sinh and cosh near overflow (shift
// -1 and hi >= 26).
double exp_sum(double hi, double lo, std::int64_t shift) noexcept {
  const bool far = (bits_of(hi) & ~kSignBit) >= k708Bits;
  if (far && hi > 711.0) return kInfinity;
  if (far && hi < -746.0) return 0.0;
  ExpArgument r = reduce(hi);
  r.rest += lo;
  r.rh += lo;
  const DoubleDouble v = exp_kernel(r);
  if (!far) return (v.hi + v.lo) * scale_factor(r.k_bits, static_cast<std::uint64_t>(1023 + shift));
  const auto j = static_cast<std::int64_t>(r.k_bits & 255);
  return scale(v, (static_cast<std::int64_t>(r.k) - j) / 256 + shift);
}

// (e^x + kSign e^-x) / 2 for 2^-26 <= x < 26 and kSign +-1: one reduction serves both. The
// leading part of e^x is at least 1 and that of e^-x at most 1, so their sum is exact.
template <int kSign>
double half_sum_of_exps(double x) noexcept {
  const ExpArgument r = reduce(x);
  const ExpTail q = exp_tail(r.rh);
  const std::uint64_t k_minus = 0 - r.k_bits;
  const DoubleDouble v =
      exp_kernel(r.r1, r.rest, r.rh, q.even + q.odd, static_cast<unsigned>(r.k_bits & 255));
  const DoubleDouble w =
      exp_kernel(-r.r1, -r.rest, -r.rh, q.even - q.odd, static_cast<unsigned>(k_minus & 255));
  const double p = scale_factor(r.k_bits, 1022);
  const double pn = kSign * scale_factor(k_minus, 1022);
  const DoubleDouble h = fast_two_sum(v.hi * p, w.hi * pn);
  return h.hi + (h.lo + (v.lo * p + w.lo * pn));
}

// --- Logarithm -----------------------------------------------------------------------------

// ln 2 with a 42-bit leading part: e times it is exact for |e| < 2^11.
constexpr double kLn2Hi = 0x1.62e42fefa38p-1;
constexpr double kLn2Lo = 0x1.ef35793c7673p-45;
// log(1 + r) = r - r^2/2 + r^3 (kL3 + kL4 r + ... + kL8 r^5), |r| <= 0x1.8p-9, within 2^-80.5.
constexpr double kL3 = 0x1.5555555555555p-2;
constexpr double kL4 = -0x1p-2;
constexpr double kL5 = 0x1.9999999971271p-3;
constexpr double kL6 = -0x1.5555555530ee4p-3;
constexpr double kL7 = 0x1.24930904d6e8dp-3;
constexpr double kL8 = -0x1.0000acb03f6a8p-3;

// log(x) as hi + lo, |lo| <= 2^-17 |hi|, within about 2^-77 + 2^-90 |log x|, for x positive
// and finite; `bits` are those of x 2^-shift, a normal number.
DoubleDouble log_kernel(std::uint64_t bits, std::int64_t shift) noexcept {
  // x = 2^e z with z in [kLogTableStart, 2 kLogTableStart), the exponent e sign-extended from
  // the top 12 bits.
  const std::uint64_t t = bits - kLogTableStart;
  const std::uint64_t top = t & 0xfff0000000000000;
  const std::int64_t e = static_cast<std::int64_t>((t >> 52) ^ 0x800) - 0x800 + shift;
  const LogTableEntry& entry = kLogTable[(t >> 44) & 255];
  const std::uint64_t z_bits = bits - top;
  // r = z c - 1 exactly: zh (44 bits) times c (9 bits) is exact and within a factor 2 of 1,
  // zl c is exact, and r itself is a double.
  const double z = double_from_bits(z_bits);
  const double zh = double_from_bits(z_bits & ~std::uint64_t{0x1ff});
  const double r = (zh * entry.c - 1.0) + (z - zh) * entry.c;
  // r^2 = rr + rr_error exactly, from the exact square of r1, r rounded to a multiple of 2^-34
  // (26 bits).
  const double rr = r * r;
  const double r1 = (r + kRoundShift34) - kRoundShift34;
  const double rr_error = (r1 * r1 - rr) + (r - r1) * (r + r1);
  const DoubleDouble h = fast_two_sum(r, -0.5 * rr);
  const double tail =
      (r * rr) * (((kL3 + r * kL4) + rr * (kL5 + r * kL6)) + (rr * rr) * (kL7 + r * kL8));
  const auto ed = static_cast<double>(e);
  // Exact, on the grid of 2^-42; its magnitude exceeds |r| unless it is 0.
  const double a = ed * kLn2Hi + entry.log_hi;
  const DoubleDouble s = fast_two_sum(a, h.hi);
  const double lo = ((s.lo + h.lo) + (-0.5 * rr_error + (ed * kLn2Lo + entry.log_lo))) + tail;
  return {s.hi, lo};
}

// --- pow -----------------------------------------------------------------------------------

constexpr std::uint64_t kPowLargeYBits = 0x43f0000000000000;  // 2^64

// x^y for positive finite x (`bits` those of x 2^-shift, normal) and |y| < 2^64. y log x is
// formed as a double-double; its error, about |y| 2^-77 from the log's, is the relative error it
// gives the result.
double pow_positive(std::uint64_t bits, std::int64_t shift, double y) noexcept {
  const DoubleDouble l = log_kernel(bits, shift);
  const DoubleDouble ln = fast_two_sum(l.hi, l.lo);
  const DoubleDouble p = two_product(y, ln.hi);
  return exp_sum(p.hi, p.lo + y * ln.lo, 0);
}

enum class Parity { kNone, kOdd, kEven };

// Whether finite, non-zero y is an integer, and which. Every |y| >= 2^53 is even.
Parity integer_parity(std::uint64_t y_bits) noexcept {
  const int e = static_cast<int>((y_bits >> 52) & 0x7ff) - 1023;
  if (e < 0) return Parity::kNone;
  if (e >= 53) return Parity::kEven;
  const std::uint64_t significand = (y_bits & 0x000fffffffffffff) | kMinNormalBits;
  const int fraction_bits = 52 - e;
  if ((significand & ((std::uint64_t{1} << fraction_bits) - 1)) != 0) return Parity::kNone;
  return ((significand >> fraction_bits) & 1) != 0 ? Parity::kOdd : Parity::kEven;
}

// pow where x is not a positive normal number or |y| >= 2^64: the special values of C99 Annex F,
// negative and subnormal x.
double pow_special(double x, double y) noexcept {
  const std::uint64_t x_bits = bits_of(x);
  const std::uint64_t y_bits = bits_of(y);
  const std::uint64_t x_abs = x_bits & ~kSignBit;
  const std::uint64_t y_abs = y_bits & ~kSignBit;
  if (y_abs == 0 || x_bits == kOneBits) return 1.0;
  if (x_abs > kInfinityBits || y_abs > kInfinityBits) return quiet(x_abs > kInfinityBits ? x : y);
  const bool y_negative = (y_bits & kSignBit) != 0;
  if (y_abs == kInfinityBits) {
    if (x_abs == kOneBits) return 1.0;
    return (x_abs < kOneBits) == y_negative ? kInfinity : 0.0;
  }
  const Parity parity = integer_parity(y_bits);
  const bool negate = (x_bits & kSignBit) != 0 && parity == Parity::kOdd;
  double r = 0.0;
  if (x_abs == 0 || x_abs == kInfinityBits) {
    r = (x_abs == 0) == y_negative ? kInfinity : 0.0;
  } else if ((x_bits & kSignBit) != 0 && parity == Parity::kNone) {
    return invalid();
  } else if (y == 2.0) {
    r = x * x;
  } else if (y_abs >= kPowLargeYBits) {
    // Such y are even integers; unless |x| = 1, |log |x|| >= 2^-53 puts |y log |x|| beyond 2^11.
    r = x_abs == kOneBits ? 1.0 : (x_abs < kOneBits) == y_negative ? kInfinity : 0.0;
  } else if (x_abs < kMinNormalBits) {
    r = pow_positive(bits_of(double_from_bits(x_abs) * 0x1p54), -54, y);
  } else {
    r = pow_positive(x_abs, 0, y);
  }
  return negate ? -r : r;
}

// --- sinh, cosh ----------------------------------------------------------------------------

// sinh x = x + x^3 (kS3 + kS5 x^2 + kS7 x^4) for |x| < 2^-6, within 2^-68 relative.
constexpr double kS3 = 0x1.5555555555555p-3;
constexpr double kS5 = 0x1.1111111104104p-7;
constexpr double kS7 = 0x1.a01a8c538693fp-13;
constexpr std::uint64_t kSinhPolynomialBits = 0x3f90000000000000;  // 2^-6
// From 26 on e^-x is below 2^-75 of e^x and is left out.
constexpr std::uint64_t kHyperbolicSingleExpBits = 0x403a000000000000;  // 26

}  // namespace

double portable_exp(double x) noexcept {
  const std::uint64_t abs_bits = bits_of(x) & ~kSignBit;
  constexpr std::uint64_t tiny = 0x3ca0000000000000;  // 2^-53
  if (abs_bits - (tiny + 1) >= k708Bits - (tiny + 1)) {
    if (abs_bits > tiny) return abs_bits > kInfinityBits ? quiet(x) : exp_sum(x, 0.0, 0);
    // e^x = 1 + x + x^2/2 rounds as 1 + x, but for 2^-53, where 1 + x is a midpoint and x^2/2
    // (which the kernel's low part would lose) decides upwards.
    return x == 0x1p-53 ? 0x1.0000000000001p0 : 1.0 + x;
  }
  const ExpArgument r = reduce(x);
  const DoubleDouble v = exp_kernel(r);
  return (v.hi + v.lo) * scale_factor(r.k_bits, 1023);
}

double portable_log(double x) noexcept {
  std::uint64_t bits = bits_of(x);
  std::int64_t shift = 0;
  // Zero, subnormal, negative, infinite or NaN.
  if (bits - kMinNormalBits >= kInfinityBits - kMinNormalBits) {
    if ((bits & ~kSignBit) > kInfinityBits) return quiet(x);
    if ((bits & ~kSignBit) == 0) return -kInfinity;
    if ((bits & kSignBit) != 0) return invalid();
    if (bits == kInfinityBits) return x;
    bits = bits_of(x * 0x1p54);
    shift = -54;
  }
  const DoubleDouble l = log_kernel(bits, shift);
  return l.hi + l.lo;
}

double portable_pow(double x, double y) noexcept {
  const std::uint64_t x_bits = bits_of(x);
  const bool x_positive_normal = x_bits - kMinNormalBits < kInfinityBits - kMinNormalBits;
  if (!x_positive_normal || (bits_of(y) & ~kSignBit) >= kPowLargeYBits) return pow_special(x, y);
  if (y == 2.0) return x * x;  // one rounding, so correctly rounded also at the midpoints
  return pow_positive(x_bits, 0, y);
}

double portable_sinh(double x) noexcept {
  const std::uint64_t abs_bits = bits_of(x) & ~kSignBit;
  const std::uint64_t sign = bits_of(x) & kSignBit;
  const double ax = double_from_bits(abs_bits);
  if (abs_bits - kSinhPolynomialBits < kHyperbolicSingleExpBits - kSinhPolynomialBits) {
    // From 2^-6 on e^x - e^-x loses at most 6 bits to cancellation.
    return double_from_bits(bits_of(half_sum_of_exps<-1>(ax)) | sign);
  }
  if (abs_bits < kSinhPolynomialBits) {
    if (abs_bits < 0x3e50000000000000) return x;  // 2^-26: x^3/6 is below half an ulp of x
    const double s = x * x;
    return x + x * (s * (kS3 + s * (kS5 + s * kS7)));
  }
  if (abs_bits > kInfinityBits) return quiet(x);
  return double_from_bits(bits_of(exp_sum(ax, 0.0, -1)) | sign);
}

double portable_cosh(double x) noexcept {
  const std::uint64_t abs_bits = bits_of(x) & ~kSignBit;
  const double ax = double_from_bits(abs_bits);
  constexpr std::uint64_t tiny = 0x3e50000000000000;  // 2^-26
  if (abs_bits - (tiny + 1) < kHyperbolicSingleExpBits - (tiny + 1)) {
    return half_sum_of_exps<1>(ax);
  }
  // Below 2^-26 x^2/2 is less than half an ulp of 1; at 2^-26 it is exactly that, and x^4/24
  // (which the kernel's low part would lose) decides upwards.
  if (abs_bits <= tiny) return abs_bits < tiny ? 1.0 : 0x1.0000000000001p0;
  return abs_bits > kInfinityBits ? quiet(x) : exp_sum(ax, 0.0, -1);
}

}  // namespace paskosda_detail
