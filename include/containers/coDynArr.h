#ifndef PASKOSDA_CONTAINERS_CODYNARR_H
#define PASKOSDA_CONTAINERS_CODYNARR_H

/// \file
/// The contiguous growable array `coDynArr`, its iterator `coDynArrcoIterator` and the `double`
/// and `int` instances (`doublecoDynArr`, `intcoDynArr`).

#include <climits>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <new>
#include <ostream>

#include "containers/coBufferGuard.h"
#include "containers/utCheck.h"
#include "containers/utOstream.h"
#include "containers/utTags.h"

namespace paskosda_detail {

/// n default-initialised elements from the global array operator new, or null when n < 1 or
/// the memory is not available. Never throws.
template <class T>
T* allocate_elements(int n) noexcept {
  if (n < 1) return nullptr;
  // The byte count of an int number of elements cannot overflow a 64-bit size_t; on a
  // narrower size_t an oversized request fails like any other allocation.
  if (static_cast<std::size_t>(n) > SIZE_MAX / sizeof(T)) return nullptr;
  return new (std::nothrow) T[static_cast<std::size_t>(n)];
}

/// The capacity reached from `allocated` by whole `increment`s until element `index` fits:
/// allocated + ((index - allocated) / increment + 1) * increment, formed in 64 bits because
/// the int form overflows near INT_MAX.
inline std::int64_t grown_capacity(int allocated, int index, int increment) noexcept {
  return std::int64_t{allocated} +
         ((std::int64_t{index} - allocated) / increment + 1) * std::int64_t{increment};
}

}  // namespace paskosda_detail

template <class T>
class coDynArrcoIterator;

/// A contiguous growable array. Fields (in this order, which inline code relies on): the
/// buffer, its capacity (`allocated`), the number of elements in use (`size()`) and the growth
/// increment. Growing operations enlarge the buffer by whole increments; they report an
/// allocation failure by returning 0 and leave the array as it was. Indices are not checked.
template <class T>
class coDynArr {
 public:
  /// The element type.
  using value_type = T;

  /// An empty array with increment 1.
  coDynArr() noexcept = default;
  /// An empty array with room for n elements (none allocated when n < 1) that grows by
  /// `increment` elements at a time.
  coDynArr(int n, int increment) noexcept : increment_(increment) {
    PASKOSDA_CHECK(increment >= 1, "coDynArr(n = %d, increment = %d)", n, increment);
    if (n >= 1) {
      data_ = paskosda_detail::allocate_elements<T>(n);
      if (data_ != nullptr) allocated_ = n;
    }
  }
  /// Exactly the list's elements, in order.
  coDynArr(std::initializer_list<T> list) {
    const int n = static_cast<int>(list.size());
    if (reserve(n) == 0) return;
    for (const T& x : list)
      data_[used_++] = x;
  }
  /// A deep copy of the other array's used elements.
  coDynArr(utCopyTag, const coDynArr& other) { become(utCopy, other); }
  /// Takes over the other array's buffer, leaving it empty (with its increment).
  coDynArr(coDynArr&& other) noexcept
      : data_(other.data_),
        allocated_(other.allocated_),
        used_(other.used_),
        increment_(other.increment_) {
    other.data_ = nullptr;
    other.allocated_ = 0;
    other.used_ = 0;
  }
  coDynArr(const coDynArr&) = delete;
  coDynArr& operator=(const coDynArr&) = delete;
  ~coDynArr() { release_buffer(); }

  /// Growing access: an index at or past `size()` raises the used count to i + 1, enlarging
  /// the buffer when needed. Elements between the old end and i keep whatever the buffer held.
  T& operator[](int i) noexcept {
    PASKOSDA_CHECK(i >= 0, "coDynArr::operator[](i = %d)", i);
    if (i >= used_) {
      if (i >= allocated_) {
        [[maybe_unused]] const int grown = resize(i);
        PASKOSDA_CHECK(grown != 0, "coDynArr::operator[](i = %d): allocation failed", i);
      }
      used_ = i + 1;
    }
    return data_[i];
  }
  /// Plain access, within `size()` (asserted in checked builds).
  const T& operator[](int i) const noexcept {
    PASKOSDA_CHECK(i >= 0 && i < used_, "coDynArr::operator[](i = %d) const of %d elements", i,
                   used_);
    return data_[i];
  }

  /// Appends x at the end, growing as `operator[]` does.
  void append(const T& x) {
    const int i = used_;
    if (i >= allocated_) {
      [[maybe_unused]] const int grown = resize(i);
      PASKOSDA_CHECK(grown != 0, "coDynArr::append at %d: allocation failed", i);
    }
    used_ = i + 1;
    data_[i] = x;
  }

  /// Makes this a deep copy of the other array's used elements (by assignment). Returns this.
  coDynArr& become(utCopyTag, const coDynArr& other) {
    if (&other == this) return *this;
    used_ = 0;
    if (reserve(other.used_) == 0) return *this;
    for (int i = 0; i < other.used_; ++i)
      data_[i] = other.data_[i];
    used_ = other.used_;
    return *this;
  }

  /// release = 0: used becomes 0 and the buffer is kept; otherwise the buffer is given back.
  void clear(int release) noexcept {
    if (release != 0) {
      release_buffer();
      data_ = nullptr;
      allocated_ = 0;
    }
    used_ = 0;
  }

  /// Makes room for n elements. Returns 1, or 0 when the allocation failed.
  int reserve(int n) noexcept {
    if (n <= allocated_) return 1;
    return resize(n - 1);
  }

  /// Makes room for n elements and raises the used count to n if it is lower (new elements
  /// are not initialised). Returns 1, or 0 when the allocation failed.
  int expand(int n) noexcept {
    const int r = reserve(n);
    if (r != 0 && n > used_) used_ = n;
    return r;
  }

  /// Lowers the used count to n if it is higher; with `release` non-zero the buffer is also
  /// cut to exactly n elements (n = 0 frees it). Returns 1, or 0 when the smaller buffer could
  /// not be allocated (the used count is lowered all the same).
  int shrink(int n, int release) noexcept {
    if (n == 0) {
      clear(release);
      return 1;
    }
    int result = 1;
    if (n < allocated_ && release != 0) {
      T* buffer = paskosda_detail::allocate_elements<T>(n);
      if (buffer != nullptr) {
        coBufferGuard<T, paskosda_detail::copies_bitwise<T>>(buffer, n).copy(buffer, data_, n);
        release_buffer();
        data_ = buffer;
        allocated_ = n;
      } else {
        result = 0;
      }
    }
    if (n < used_) used_ = n;
    return result;
  }

  /// The number of elements in use.
  int size() const noexcept { return used_; }

  /// The buffer (null when nothing is allocated).
  T* data() noexcept { return data_; }
  /// The buffer (null when nothing is allocated).
  const T* data() const noexcept { return data_; }
  /// The first used element: the buffer.
  T* begin() noexcept { return data_; }
  /// One past the last used element.
  T* end() noexcept { return data_ + used_; }
  /// The first used element: the buffer.
  const T* begin() const noexcept { return data_; }
  /// One past the last used element.
  const T* end() const noexcept { return data_ + used_; }

 protected:
  /// Grows the buffer by whole increments until element `index` fits; the used count is not
  /// changed. Returns 1, or 0 (array unchanged) when the allocation failed.
  int resize(int index) noexcept {
    // A capacity an int cannot hold cannot be allocated either: it fails like an allocation.
    const std::int64_t wanted = paskosda_detail::grown_capacity(allocated_, index, increment_);
    if (wanted > INT_MAX) return 0;
    const int capacity = static_cast<int>(wanted);
    T* buffer = paskosda_detail::allocate_elements<T>(capacity);
    if (buffer == nullptr) return 0;
    if (used_ > 0) {
      coBufferGuard<T, paskosda_detail::copies_bitwise<T>>(buffer, capacity)
          .copy(buffer, data_, used_);
    }
    release_buffer();
    data_ = buffer;
    allocated_ = capacity;
    return 1;
  }

  T* data_ = nullptr;  ///< The buffer; null when nothing is allocated.
  int allocated_ = 0;  ///< The capacity of the buffer, in elements.
  int used_ = 0;       ///< The number of elements in use.
  int increment_ = 1;  ///< The growth increment, in elements.

 private:
  friend class coDynArrcoIterator<T>;

  void release_buffer() noexcept {
    if (allocated_ > 0) delete[] data_;
  }
};

/// A forward iterator over a `coDynArr`, valid until the array reallocates or changes size.
///
///     for (const T* p = it.next(); p != nullptr; p = it.next()) ...
template <class T>
class coDynArrcoIterator {
 public:
  /// An iterator over `array` (borrowed), positioned before the first element.
  explicit coDynArrcoIterator(const coDynArr<T>* array) noexcept : array_(array) { reset(); }

  /// Re-reads the array's extent and positions before the first element.
  void reset() noexcept {
    begin_ = array_->data_;
    end_ = begin_ + array_->used_;
    current_ = nullptr;
  }

  /// The next element, or null past the last.
  const T* next() noexcept {
    PASKOSDA_CHECK(invariant(), "coDynArrcoIterator::next: the array changed under the iterator");
    if (current_ == end_) return nullptr;
    current_ = current_ == nullptr ? begin_ : current_ + 1;
    return current_ == end_ ? nullptr : current_;
  }

 protected:
  /// True while the array still has the buffer and the size the iterator recorded.
  bool invariant() const noexcept {
    return array_->data_ == begin_ && end_ - begin_ == array_->used_;
  }

  // Derived iterators (the sparse row iterator) step with their own rule over these fields.
  const coDynArr<T>* array_ = nullptr;  ///< The array walked (borrowed).
  const T* begin_ = nullptr;            ///< Its buffer when the iterator was last reset.
  const T* end_ = nullptr;              ///< One past its last used element at that time.
  const T* current_ = nullptr;          ///< The element last returned; null before the first.
};

namespace paskosda_detail {

/// The container print form: the title, then (one level deeper) "size " and the used count,
/// then each element on its own line, then "}"; every line ends with std::endl.
template <class Array>
utOstream& print_array(utOstream& out, const char* title, const Array& array) {
  out << title << std::endl;
  {
    utOstream nested(utOstreamTabSpaces, out, 1, 0);
    nested << "size " << array.size() << std::endl;
    for (int i = 0; i < array.size(); ++i)
      nested << array[i] << std::endl;
  }
  out << "}" << std::endl;
  return out;
}

}  // namespace paskosda_detail

/// Prints "coDynArr {", then (one level deeper) "size " and the used count, then each element
/// on its own line, then "}"; every line ends with std::endl.
template <class T>
utOstream& operator<<(utOstream& out, const coDynArr<T>& array) {
  return paskosda_detail::print_array(out, "coDynArr {", array);
}

/// Prints the array in the form above on a top-level `utOstream`.
template <class T>
std::ostream& operator<<(std::ostream& os, const coDynArr<T>& array) {
  return paskosda_detail::print_on_ostream(os, array);
}

using doublecoDynArr = coDynArr<double>;                      ///< A growable array of double.
using intcoDynArr = coDynArr<int>;                            ///< A growable array of int.
using doublecoDynArrcoIterator = coDynArrcoIterator<double>;  ///< Iterator of a `doublecoDynArr`.
using intcoDynArrcoIterator = coDynArrcoIterator<int>;        ///< Iterator of an `intcoDynArr`.

#endif  // PASKOSDA_CONTAINERS_CODYNARR_H
