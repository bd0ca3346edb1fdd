#ifndef PASKOSDA_CONTAINERS_COBUFFERGUARD_H
#define PASKOSDA_CONTAINERS_COBUFFERGUARD_H

/// \file
/// The guarded element copy of the container layer, `coBufferGuard`, and its count type
/// `utUInt64`.

#include <cstdint>
#include <cstring>
#include <type_traits>

/// The unsigned 64-bit count type of the container layer.
using utUInt64 = std::uint64_t;

/// Guards a destination buffer during element copies: a copy that would write outside
/// [buffer, buffer + capacity), or that has a null end, is skipped silently. With
/// `bitwise` true the elements are copied as raw bytes, otherwise by T's assignment.
template <class T, bool bitwise>
class coBufferGuard {
 public:
  /// Guards `capacity` elements from `buffer` (a negative capacity guards none).
  coBufferGuard(T* buffer, int capacity) noexcept : buffer_(buffer), capacity_(convert(capacity)) {}

  /// Copies n elements from src to dst if they fit in the guarded buffer; otherwise nothing.
  void copy(T* dst, const T* src, int n) const { copy(dst, src, convert(n)); }

  /// Copies n elements from src to dst if they fit in the guarded buffer; otherwise nothing.
  void copy(T* dst, const T* src, utUInt64 n) const {
    if (dst == nullptr || src == nullptr || !fits(dst, n)) return;
    if constexpr (bitwise) {
      std::memcpy(static_cast<void*>(dst), static_cast<const void*>(src), n * sizeof(T));
    } else {
      for (utUInt64 i = 0; i < n; ++i)
        dst[i] = src[i];
    }
  }

  /// A count in the unsigned width; negative counts become 0.
  static utUInt64 convert(int n) noexcept { return n < 0 ? 0 : static_cast<utUInt64>(n); }

 private:
  // Compares addresses as integers: dst need not point into the buffer at all, and pointer
  // arithmetic past it would be undefined.
  bool fits(const T* dst, utUInt64 n) const noexcept {
    const auto d = reinterpret_cast<std::uintptr_t>(dst);
    const auto b = reinterpret_cast<std::uintptr_t>(buffer_);
    if (buffer_ == nullptr || d < b) return false;
    const utUInt64 offset = (d - b) / sizeof(T);
    return offset <= capacity_ && n <= capacity_ - offset;
  }

  T* buffer_ = nullptr;
  utUInt64 capacity_;
};

namespace paskosda_detail {

/// Whether the containers copy elements of type T as raw bytes (types whose copies are plain
/// byte copies anyway) or through T's assignment.
template <class T>
inline constexpr bool copies_bitwise = std::is_trivially_copyable<T>::value;

}  // namespace paskosda_detail

#endif  // PASKOSDA_CONTAINERS_COBUFFERGUARD_H
