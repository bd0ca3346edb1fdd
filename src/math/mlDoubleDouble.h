#ifndef PASKOSDA_MATH_MLDOUBLEDOUBLE_H
#define PASKOSDA_MATH_MLDOUBLEDOUBLE_H

// Error-free transformations and double-double helpers in plain binary64 arithmetic. They are
// exact only because every operation is rounded once to binary64: the library is compiled
// without floating-point contraction, and these must never be fused.

#include <cstdint>
#include <cstring>

namespace paskosda_detail {

/// An unevaluated sum hi + lo with |lo| at most half an ulp of hi.
struct DoubleDouble {
  double hi = 0.0;
  double lo = 0.0;
};

/// The bits of x, and the double with the given bits.
inline std::uint64_t bits_of(double x) noexcept {
  std::uint64_t b = 0;
  std::memcpy(&b, &x, sizeof b);
  return b;
}
inline double double_from_bits(std::uint64_t b) noexcept {
  double x = 0.0;
  std::memcpy(&x, &b, sizeof x);
  return x;
}

/// s + e = a + b exactly, for |a| >= |b| or a == 0 (Dekker).
inline DoubleDouble fast_two_sum(double a, double b) noexcept {
  const double s = a + b;
  return {s, b - (s - a)};
}

/// s + e = a + b exactly, for any finite a and b (Knuth).
inline DoubleDouble two_sum(double a, double b) noexcept {
  const double s = a + b;
  const double b_part = s - a;
  const double a_part = s - b_part;
  return {s, (a - a_part) + (b - b_part)};
}

/// a = hi + lo with hi of at most 26 significant bits (Veltkamp). Needs |a| < 2^996.
inline DoubleDouble split(double a) noexcept {
  const double c = 134217729.0 * a;  // 2^27 + 1
  const double hi = c - (c - a);
  return {hi, a - hi};
}

/// p + e = a * b exactly (Dekker), unless the product is near the bottom of the range.
/// Needs |a|, |b| < 2^996.
inline DoubleDouble two_product(double a, double b) noexcept {
  const double p = a * b;
  const DoubleDouble x = split(a);
  const DoubleDouble y = split(b);
  return {p, ((x.hi * y.hi - p) + x.hi * y.lo + x.lo * y.hi) + x.lo * y.lo};
}

}  // namespace paskosda_detail

#endif  // PASKOSDA_MATH_MLDOUBLEDOUBLE_H
