#ifndef PASKOSDA_CONTAINERS_UT_NUMERIC_CAST_H
#define PASKOSDA_CONTAINERS_UT_NUMERIC_CAST_H

/// \file
/// Integer comparison by mathematical value across signedness (`ut_compare`) and the
/// overflow-reporting integer conversion `ut_numeric_cast`.

#include <cstdint>
#include <limits>
#include <type_traits>

#include "containers/coBufferGuard.h"

/// Compares integers of mixed signedness by their mathematical values: a negative signed value
/// is below every unsigned value; otherwise both are compared as unsigned.
template <class T, class U, bool t_signed = std::is_signed<T>::value,
          bool u_signed = std::is_signed<U>::value>
struct utNumericHelper {
  static_assert(std::is_integral<T>::value && std::is_integral<U>::value,
                "utNumericHelper compares integers");
  /// Whether a < b by mathematical value.
  static constexpr bool less(T a, U b) noexcept { return a < b; }
  /// Whether a > b by mathematical value.
  static constexpr bool greater(T a, U b) noexcept { return a > b; }
};

/// Signed against unsigned: a negative a is below every b.
template <class T, class U>
struct utNumericHelper<T, U, true, false> {
  /// Whether a < b by mathematical value.
  static constexpr bool less(T a, U b) noexcept {
    return a < 0 || static_cast<std::make_unsigned_t<T>>(a) < b;
  }
  /// Whether a > b by mathematical value.
  static constexpr bool greater(T a, U b) noexcept {
    return a >= 0 && static_cast<std::make_unsigned_t<T>>(a) > b;
  }
};

/// Unsigned against signed: a negative b is below every a.
template <class T, class U>
struct utNumericHelper<T, U, false, true> {
  /// Whether a < b by mathematical value.
  static constexpr bool less(T a, U b) noexcept {
    return b >= 0 && a < static_cast<std::make_unsigned_t<U>>(b);
  }
  /// Whether a > b by mathematical value.
  static constexpr bool greater(T a, U b) noexcept {
    return b < 0 || a > static_cast<std::make_unsigned_t<U>>(b);
  }
};

/// A value wrapped for comparison against a value of another integer type by mathematical
/// value (see `utNumericHelper`).
template <class T>
class utCompare {
 public:
  /// Wraps value.
  explicit constexpr utCompare(T value) noexcept : value_(value) {}
  /// Whether the wrapped value is below other by mathematical value.
  template <class U>
  constexpr bool operator<(U other) const noexcept {
    return utNumericHelper<T, U>::less(value_, other);
  }
  /// Whether the wrapped value is above other by mathematical value.
  template <class U>
  constexpr bool operator>(U other) const noexcept {
    return utNumericHelper<T, U>::greater(value_, other);
  }

 private:
  T value_;
};

/// Wraps x for a mixed-type comparison.
template <class T>
constexpr utCompare<T> ut_compare(T x) noexcept {
  return utCompare<T>(x);
}

/// Converts x to To, setting `overflow` exactly when x lies outside To's range. The result
/// keeps x's low bits (two's complement) when it does not fit.
template <class To, class From>
constexpr To ut_numeric_cast(From x, bool& overflow) noexcept {
  static_assert(std::is_integral<To>::value && std::is_integral<From>::value,
                "ut_numeric_cast converts integers");
  overflow = ut_compare(x) > std::numeric_limits<To>::max() ||
             ut_compare(x) < std::numeric_limits<To>::min();
  // Through the unsigned type of To's width, whose conversion is modular and so defined for
  // every x; the final signed conversion keeps the bits.
  using Bits = std::make_unsigned_t<To>;
  const Bits bits = static_cast<Bits>(x);
  if constexpr (std::is_signed<To>::value) {
    if (bits > static_cast<Bits>(std::numeric_limits<To>::max())) {
      return static_cast<To>(
          static_cast<To>(bits - static_cast<Bits>(std::numeric_limits<To>::min())) +
          std::numeric_limits<To>::min());
    }
  }
  return static_cast<To>(bits);
}

#endif  // PASKOSDA_CONTAINERS_UT_NUMERIC_CAST_H
