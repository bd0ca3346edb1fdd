#ifndef PASKOSDA_TESTS_FUZZ_FUZZ_INPUT_H
#define PASKOSDA_TESTS_FUZZ_FUZZ_INPUT_H

// The byte decoder shared by the fuzz harnesses. A harness reads its whole problem from the
// fuzzer's bytes through an `Input`: small integers in a range (dimensions, counts, degrees,
// job codes, iteration limits) and doubles, a large share of which are the values numerical
// code trips over (NaN, infinities, the extremes of the range, signed zeros, denormals).
// Running out of bytes reads zeros, so every byte string is a complete, valid input and a
// short one is a small problem.
//
// The format, which tests/fuzz/make_corpus.py writes by hand for the seed corpus:
//  - an integer in [lo, hi] is one byte b, giving lo + b % (hi - lo + 1), or two bytes
//    (little-endian) when the range has more than 256 values;
//  - a flag is one byte, set when odd;
//  - a double is a selector byte s and what it asks for:
//      s < 112        the special value kSpecials[s % 28] (44 % of all selectors);
//      112 <= s < 176 the next 8 bytes as an IEEE double, little-endian;
//      176 <= s       a "nice" value: the next 2 bytes as a little-endian int16 times
//                     2^((s - 176) % 20 - 12), exact and of moderate size.

#include <cfloat>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "linalg/mlMatrix.h"
#include "linalg/mlVector.h"

namespace paskosda_fuzz {

/// The special values of the double selectors 0 ... 27 (repeated for 28 ... 111). Index 0 is
/// 0.0, so exhausted input reads zeros.
inline constexpr double kSpecials[28] = {
    0.0,
    -0.0,
    1.0,
    -1.0,
    2.0,
    -2.0,
    3.0,
    0.5,
    std::numeric_limits<double>::quiet_NaN(),
    std::numeric_limits<double>::infinity(),
    -std::numeric_limits<double>::infinity(),
    DBL_MAX,
    -DBL_MAX,
    DBL_MIN,
    -DBL_MIN,
    std::numeric_limits<double>::denorm_min(),
    -std::numeric_limits<double>::denorm_min(),
    DBL_MIN - std::numeric_limits<double>::denorm_min(),  // the largest denormal
    1e-300,
    1e300,
    8e8,
    -8e8,
    799999999.9,
    800000000.1,
    4.0,
    10.0,
    -1e300,
    1e-7,
};

inline constexpr int kSpecialCount = 28;
inline constexpr int kSpecialSelectors = 4 * kSpecialCount;
inline constexpr int kRawSelectors = 64;

/// A cursor over the fuzzer's bytes.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) noexcept : data_(data), size_(size) {}

  /// The next byte, 0 once the input is used up.
  std::uint8_t byte() noexcept { return pos_ < size_ ? data_[pos_++] : 0; }

  /// An integer in [lo, hi] (lo <= hi).
  int integer(int lo, int hi) noexcept {
    const unsigned span = static_cast<unsigned>(hi - lo) + 1u;
    unsigned raw = byte();
    if (span > 256u) raw |= static_cast<unsigned>(byte()) << 8;
    return lo + static_cast<int>(raw % span);
  }

  /// A yes/no choice.
  bool flag() noexcept { return (byte() & 1u) != 0; }

  /// A double: special, raw or nice (see the file comment).
  double real() noexcept {
    const int s = byte();
    if (s < kSpecialSelectors) return kSpecials[s % kSpecialCount];
    if (s < kSpecialSelectors + kRawSelectors) {
      std::uint64_t bits = 0;
      for (int k = 0; k < 8; ++k)
        bits |= static_cast<std::uint64_t>(byte()) << (8 * k);
      double x;
      std::memcpy(&x, &bits, sizeof x);
      return x;
    }
    const int exponent = (s - kSpecialSelectors - kRawSelectors) % 20 - 12;
    const unsigned lo = byte();
    const unsigned hi = byte();
    const auto mantissa = static_cast<std::int16_t>(static_cast<std::uint16_t>(lo | (hi << 8)));
    return std::ldexp(static_cast<double>(mantissa), exponent);
  }

  /// A vector of n decoded doubles.
  mlVector vector(int n) noexcept {
    mlVector v(mlVectorDim, n);
    for (int i = 0; i < n; ++i)
      v[i] = real();
    return v;
  }

  /// An r by c matrix of decoded doubles, row by row.
  mlMatrix matrix(int r, int c) noexcept {
    mlMatrix m(mlMatrixZero, r, c);
    for (int i = 0; i < r; ++i) {
      for (int j = 0; j < c; ++j)
        m(i, j) = real();
    }
    return m;
  }

  /// A symmetric n by n matrix: the upper triangle and diagonal decoded row by row, mirrored.
  mlMatrix symmetric_matrix(int n) noexcept {
    mlMatrix m(mlMatrixZero, n, n);
    for (int i = 0; i < n; ++i) {
      for (int j = i; j < n; ++j)
        m(i, j) = m(j, i) = real();
    }
    return m;
  }

 private:
  const std::uint8_t* data_;
  std::size_t size_;
  std::size_t pos_ = 0;
};

/// Stops the run with a message when a property the library promises does not hold: the
/// fuzzer reports it as a crash with this input.
#define FUZZ_EXPECT(condition)                                                                 \
  ((condition)                                                                                 \
       ? static_cast<void>(0)                                                                  \
       : (std::fprintf(stderr, "%s:%d: promise broken: %s\n", __FILE__, __LINE__, #condition), \
          std::abort()))

/// Whether each of the first n doubles at p is finite.
inline bool all_finite(const double* p, int n) noexcept {
  for (int i = 0; i < n; ++i) {
    if (!std::isfinite(p[i])) return false;
  }
  return true;
}

}  // namespace paskosda_fuzz

#endif  // PASKOSDA_TESTS_FUZZ_FUZZ_INPUT_H
