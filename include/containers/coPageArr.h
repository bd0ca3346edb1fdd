#ifndef PASKOSDA_CONTAINERS_COPAGEARR_H
#define PASKOSDA_CONTAINERS_COPAGEARR_H

/// \file
/// The paged array `coPageArr`, whose elements never move while it grows, its iterator
/// `coPageArrcoIterator` and the `double` and `int` instances (`doublecoPageArr`, `intcoPageArr`).

#include <algorithm>
#include <initializer_list>
#include <ostream>
#include <utility>

#include "containers/coBufferGuard.h"
#include "containers/coDynArr.h"
#include "containers/utCheck.h"
#include "containers/utOstream.h"
#include "containers/utTags.h"

/// The table of untyped block pointers behind every paged array.
using utAnycoPageArrINTERNALcoDynArr = coDynArr<void*>;

template <class T>
class coPageArrcoIterator;

/// A paged array: elements live in blocks of 2^shift elements reached through a table of
/// block pointers. Blocks never move once allocated, so references to elements stay valid
/// while the array grows. Element i is in block i >> shift at position i & (block size - 1).
/// Growing operations report an allocation failure by returning 0. Indices are not checked.
template <class T>
class coPageArr {
 public:
  /// The element type.
  using value_type = T;

  /// An empty array with blocks of 2^shift elements; the block table starts with room for
  /// `page_initial` blocks and grows by `page_increment`.
  coPageArr(int shift, int page_initial, int page_increment) noexcept
      : block_size_(1 << shift), block_shift_(shift), pages_(page_initial, page_increment) {
    PASKOSDA_CHECK(shift >= 0 && shift < 31, "coPageArr(shift = %d)", shift);
  }
  /// An empty array with blocks of 256 elements.
  coPageArr() noexcept : coPageArr(8, 5, 10) {}
  /// Exactly the list's elements, in order, in blocks of 256.
  coPageArr(std::initializer_list<T> list) : coPageArr() {
    int i = 0;
    for (const T& x : list)
      enter(i++, x);
  }
  /// A deep copy of the other array's used elements, with the same block size.
  coPageArr(utCopyTag, const coPageArr& other) : coPageArr(other.block_shift_, 5, 10) {
    become(utCopy, other);
  }
  coPageArr(const coPageArr&) = delete;
  coPageArr& operator=(const coPageArr&) = delete;
  ~coPageArr() { release_blocks(); }

  /// Growing access: an index at or past `size()` allocates its block and raises the used
  /// count to i + 1.
  T& operator[](int i) noexcept {
    PASKOSDA_CHECK(i >= 0, "coPageArr::operator[](i = %d)", i);
    if (i >= used_) {
      [[maybe_unused]] const int grown = get_block(i >> block_shift_);
      PASKOSDA_CHECK(grown != 0, "coPageArr::operator[](i = %d): allocation failed", i);
      used_ = i + 1;
    }
    return element(i);
  }
  /// Plain access, within `size()` (asserted in checked builds).
  const T& operator[](int i) const noexcept {
    PASKOSDA_CHECK(i >= 0 && i < used_, "coPageArr::operator[](i = %d) const of %d elements", i,
                   used_);
    return element(i);
  }
  /// Plain access, within `size()` (asserted in checked builds).
  const T& read(int i) const noexcept {
    PASKOSDA_CHECK(i >= 0 && i < used_, "coPageArr::read(i = %d) of %d elements", i, used_);
    return element(i);
  }

  /// Appends x at the end.
  void append(const T& x) { enter(used_, x); }
  /// Stores x at position i, growing as `operator[]` does.
  void enter(int i, const T& x) { (*this)[i] = x; }

  /// Makes this a deep copy of the other array's used elements (by assignment), keeping this
  /// array's block size. Returns this.
  coPageArr& become(utCopyTag, const coPageArr& other) {
    if (&other == this) return *this;
    used_ = 0;
    for (int i = 0; i < other.used_; ++i)
      enter(i, other.element(i));
    return *this;
  }

  /// release = 0: used becomes 0 and every block is kept; otherwise every block is given back.
  void clear(int release) noexcept {
    if (release != 0) {
      release_blocks();
      pages_.clear(release);
      blocks_ = 0;
      current_block_ = -1;
      current_ = nullptr;
    }
    used_ = 0;
  }

  /// Makes room for n elements. Returns 1, or 0 when the allocation failed.
  int reserve(int n) noexcept {
    PASKOSDA_CHECK(n >= 0, "coPageArr::reserve(n = %d)", n);
    if (n == 0) return 1;
    return get_block((n - 1) >> block_shift_);
  }

  /// Makes room for n elements and raises the used count to n if it is lower (new elements
  /// are not initialised). Returns 1, or 0 when the allocation failed.
  int expand(int n) noexcept {
    PASKOSDA_CHECK(n >= 0, "coPageArr::expand(n = %d)", n);
    int r = 1;
    if (n != 0) {
      r = get_block((n - 1) >> block_shift_);
      if (r == 0) return r;
    }
    if (n > used_) used_ = n;
    return r;
  }

  /// Lowers the used count to n if it is higher; with `release` non-zero the blocks no longer
  /// needed for n elements are given back, last first. Returns 1, or 0 when the block table
  /// could not be cut.
  int shrink(int n, int release) noexcept {
    PASKOSDA_CHECK(n >= 0, "coPageArr::shrink(n = %d)", n);
    int result = 1;
    if (release != 0) {
      const int keep = (n - 1 + block_size_) >> block_shift_;
      while (blocks_ > keep) {
        --blocks_;
        delete[] block(blocks_);
        pages_[blocks_] = nullptr;
      }
      result = pages_.shrink(blocks_, 1);
      if (current_block_ >= blocks_) {
        current_block_ = -1;
        current_ = nullptr;
      }
    }
    if (n < used_) used_ = n;
    return result;
  }

  /// Copies src[from ... from + n - 1] into positions at ... at + n - 1, block by block, first
  /// making sure the last position's block exists and raising the used count to at + n.
  /// Returns 1, or 0 when a block could not be allocated (nothing copied).
  int copyin(const T* src, int n, int at, int from) {
    // A zero count has no last position, so there is no block to make.
    if (n <= 0) return 1;
    if (get_block((at + n - 1) >> block_shift_) == 0) return 0;
    if (at + n > used_) used_ = at + n;
    src += from;
    while (n > 0) {
      const int offset = at & (block_size_ - 1);
      const int chunk = std::min(n, block_size_ - offset);
      T* dst = block(at >> block_shift_);
      coBufferGuard<T, paskosda_detail::copies_bitwise<T>>(dst, block_size_)
          .copy(dst + offset, src, chunk);
      src += chunk;
      at += chunk;
      n -= chunk;
    }
    return 1;
  }

  /// Copies the other array's elements from ... from + n - 1 into positions at ... at + n - 1
  /// of this one, growing it as `copyin` does. Returns 1, or 0 when a block could not be
  /// allocated.
  int copy(const coPageArr& other, int n, int at, int from) {
    if (n <= 0) return 1;
    if (&other == this) {
      // Overlapping ranges of one array: go through a plain buffer.
      T* buffer = paskosda_detail::allocate_elements<T>(n);
      if (buffer == nullptr) return 0;
      other.copyout(buffer, n, 0, from);
      const int r = copyin(buffer, n, at, 0);
      delete[] buffer;
      return r;
    }
    while (n > 0) {
      const int offset = from & (other.block_size_ - 1);
      const int chunk = std::min(n, other.block_size_ - offset);
      if (copyin(other.block(from >> other.block_shift_) + offset, chunk, at, 0) == 0) return 0;
      from += chunk;
      at += chunk;
      n -= chunk;
    }
    return 1;
  }

  /// Copies elements from ... from + n - 1 of this array into dst[at ... at + n - 1].
  void copyout(T* dst, int n, int at, int from) const {
    dst += at;
    while (n > 0) {
      const int offset = from & (block_size_ - 1);
      const int chunk = std::min(n, block_size_ - offset);
      const T* src = block(from >> block_shift_) + offset;
      for (int k = 0; k < chunk; ++k)
        dst[k] = src[k];
      dst += chunk;
      from += chunk;
      n -= chunk;
    }
  }

  /// Reverses the order of the used elements.
  void reverse() noexcept {
    using std::swap;
    for (int i = 0, j = used_ - 1; i < j; ++i, --j)
      swap(element(i), element(j));
  }

  /// Gives an array whose elements all fit in one block the smallest block size (a power of
  /// two, never larger than before) that holds them. Returns the number of element places
  /// saved; 0, with nothing changed, when the elements fill at least one whole block.
  int repaginate() {
    if (used_ >= block_size_) return 0;
    const int saved = block_size_ * blocks_;
    if (used_ == 0) {
      clear(1);
      return saved;
    }
    int s = block_shift_;
    while (s > 0 && (1 << (s - 1)) >= used_)
      --s;
    if (s != block_shift_) {
      T* detached = block(0);
      pages_[0] = nullptr;
      const int n = used_;
      clear(1);
      block_shift_ = s;
      block_size_ = 1 << s;
      current_block_ = -1;
      current_ = nullptr;
      copyin(detached, n, 0, 0);
      delete[] detached;
    } else {
      shrink(used_, 1);
    }
    return saved - (1 << s);
  }

  /// Elements per block (a power of two).
  int block_size() const noexcept { return block_size_; }
  /// The number of elements in use.
  int size() const noexcept { return used_; }

 protected:
  /// Makes sure blocks 0 ... b exist and switches to block b. Returns 1, or 0 when a block
  /// could not be allocated (the blocks made before the failure are kept).
  int get_block(int b) noexcept {
    if (pages_.reserve(b) == 0) return 0;
    if (blocks_ > b) {
      switch_block(b);
      return 1;
    }
    while (blocks_ <= b) {
      T* fresh = paskosda_detail::allocate_elements<T>(block_size_);
      if (fresh == nullptr) return 0;
      pages_[blocks_] = fresh;
      blocks_ += 1;
    }
    switch_block(b);
    return 1;
  }

  /// Makes block b the current block.
  void switch_block(int b) noexcept {
    current_block_ = b;
    current_ = static_cast<T*>(pages_[b]);
  }

  int blocks_ = 0;                        ///< The number of blocks allocated.
  int used_ = 0;                          ///< The number of elements in use.
  int block_size_ = 0;                    ///< Elements per block, 2^block_shift_.
  int block_shift_ = 0;                   ///< The base-2 logarithm of the block size.
  utAnycoPageArrINTERNALcoDynArr pages_;  ///< The table of block pointers.
  int current_block_ = -1;                ///< The block last switched to, or -1.
  T* current_ = nullptr;                  ///< That block's elements, or null.

 private:
  friend class coPageArrcoIterator<T>;

  T* block(int b) const noexcept { return static_cast<T*>(pages_[b]); }
  T& element(int i) const noexcept { return block(i >> block_shift_)[i & (block_size_ - 1)]; }

  void release_blocks() noexcept {
    for (int b = blocks_ - 1; b >= 0; --b)
      delete[] block(b);
  }
};

/// A forward iterator over a `coPageArr`, valid until the array's block table moves or its
/// size changes.
///
///     for (const T* p = it.next(); p != nullptr; p = it.next()) ...
template <class T>
class coPageArrcoIterator {
 public:
  /// An iterator over `array` (borrowed), positioned before the first element.
  explicit coPageArrcoIterator(const coPageArr<T>* array) noexcept : array_(array) { reset(); }

  /// Re-reads the array's extent and positions before the first element.
  void reset() noexcept {
    begin_ = array_->pages_.data();
    end_ = array_->used_;
    index_ = -1;
    current_ = nullptr;
  }

  /// The next element, or null past the last.
  const T* next() noexcept {
    PASKOSDA_CHECK(invariant(), "coPageArrcoIterator::next: the array changed under the iterator");
    if (current_ == nullptr) {
      if (index_ >= 0) return nullptr;
      do_first();
      return current_;
    }
    ++index_;
    if (index_ >= end_) {
      current_ = nullptr;
      return nullptr;
    }
    const int mask = array_->block_size_ - 1;
    current_ = (index_ & mask) == 0 ? array_->block(index_ >> array_->block_shift_) : current_ + 1;
    return current_;
  }

 protected:
  /// Positions on the first element (none when the array is empty).
  void do_first() noexcept {
    index_ = 0;
    current_ = end_ > 0 ? array_->block(0) : nullptr;
  }

  /// True while the array still has the block table and the size the iterator recorded.
  bool invariant() const noexcept {
    return array_->pages_.data() == begin_ && end_ == array_->used_;
  }

 private:
  const coPageArr<T>* array_ = nullptr;
  void* const* begin_ = nullptr;
  int end_ = 0;
  int index_ = -1;
  const T* current_ = nullptr;
};

/// Prints "coPageArr {", then (one level deeper) "size " and the used count, then each
/// element on its own line, then "}"; every line ends with std::endl.
template <class T>
utOstream& operator<<(utOstream& out, const coPageArr<T>& array) {
  return paskosda_detail::print_array(out, "coPageArr {", array);
}

/// Prints the array in the form above on a top-level `utOstream`.
template <class T>
std::ostream& operator<<(std::ostream& os, const coPageArr<T>& array) {
  return paskosda_detail::print_on_ostream(os, array);
}

/// A paged array of double.
using doublecoPageArr = coPageArr<double>;
/// A paged array of int.
using intcoPageArr = coPageArr<int>;
/// The iterator of a `doublecoPageArr`.
using doublecoPageArrcoIterator = coPageArrcoIterator<double>;
/// The iterator of an `intcoPageArr`.
using intcoPageArrcoIterator = coPageArrcoIterator<int>;

#endif  // PASKOSDA_CONTAINERS_COPAGEARR_H
