#ifndef PASKOSDA_SPARSE_MLSPARSEROW_H
#define PASKOSDA_SPARSE_MLSPARSEROW_H

/// \file
/// Sparse rows: the entry `mlSparseElement`, the row `mlSparseRow` and its iterator
/// `mlSparseRowIT`.

#include <cfloat>
#include <climits>
#include <type_traits>

#include "containers/coBufferGuard.h"
#include "containers/coDynArr.h"
#include "containers/utCheck.h"
#include "containers/utTags.h"
#include "paskosda_export.h"

/// One stored entry of a sparse row: a column index and its value. Arrays of elements copy
/// them as raw bytes.
class mlSparseElement {
 public:
  /// A placeholder: column INT_MIN + 1 and value -DBL_MAX. It is not `invalid()` (that marker
  /// is column INT_MAX); the two sentinels differ deliberately and are kept apart.
  mlSparseElement() noexcept = default;
  /// The entry (column, value).
  mlSparseElement(int column, double value) noexcept : column_(column), value_(value) {}
  /// Copies column and value.
  ///@{
  mlSparseElement(const mlSparseElement&) noexcept = default;
  mlSparseElement& operator=(const mlSparseElement&) noexcept = default;
  ///@}
  ~mlSparseElement() = default;

  /// Multiplies the value (the column is kept); returns this element.
  mlSparseElement& operator*=(double s) noexcept {
    value_ *= s;
    return *this;
  }
  /// Divides the value (the column is kept); returns this element.
  mlSparseElement& operator/=(double s) noexcept {
    value_ /= s;
    return *this;
  }
  /// 1 when the column is INT_MAX, the marker of an invalid element; else 0.
  int invalid() const noexcept { return column_ == INT_MAX ? 1 : 0; }

  /// The column index.
  int column() const noexcept { return column_; }
  /// The stored value.
  double value() const noexcept { return value_; }

 private:
  int column_ = -INT_MAX;  // INT_MIN + 1
  double value_ = -DBL_MAX;
};

static_assert(std::is_standard_layout<mlSparseElement>::value && sizeof(mlSparseElement) == 16,
              "mlSparseElement is laid out as an int column followed by a double value");
static_assert(paskosda_detail::copies_bitwise<mlSparseElement>,
              "arrays of mlSparseElement copy their elements as raw bytes");

/// A growable array of sparse elements: the storage of an `mlSparseRow`.
using mlSparseElementcoDynArr = coDynArr<mlSparseElement>;

class mlSparseRow;

/// A forward iterator over the elements of a sparse row (the array iterator of
/// `mlSparseElementcoDynArr`). It starts before the first element; `advance()` steps onto the
/// first, then each following element, and past the last it resets itself, so that the next
/// walk starts again at the first element. It stays valid while the row is not reallocated
/// or resized.
///
///     for (const mlSparseElement* e = it.advance(); e != nullptr; e = it.advance()) ...
class mlSparseRowIT : public coDynArrcoIterator<mlSparseElement> {
 public:
  /// Another iterator over the same row, at the same position.
  ///@{
  mlSparseRowIT(const mlSparseRowIT&) noexcept = default;
  mlSparseRowIT& operator=(const mlSparseRowIT&) noexcept = default;
  ///@}
  ~mlSparseRowIT() = default;

  /// Steps to the next element (the first one after `reset()`) and returns it; past the last
  /// element the iterator resets and null is returned.
  const mlSparseElement* advance() noexcept {
    PASKOSDA_CHECK(invariant(), "mlSparseRowIT::advance: the row changed under the iterator");
    const mlSparseElement* next = current_ != nullptr ? current_ + 1 : begin_;
    current_ = next < end_ ? next : nullptr;
    return current_;
  }

  /// 1 when the iterator stands on no element (before the first, or past the last); else 0.
  int undefined() const noexcept { return current_ == nullptr ? 1 : 0; }

  /// The element the iterator stands on; not to be used while `undefined()`.
  ///@{
  const mlSparseElement& operator*() const noexcept { return *current_; }
  const mlSparseElement* operator->() const noexcept { return current_; }
  ///@}

 protected:
  /// An iterator over row, before its first element (see `mlSparseRow::iterator`).
  explicit mlSparseRowIT(const mlSparseElementcoDynArr* row) noexcept
      : coDynArrcoIterator<mlSparseElement>(row) {}

 private:
  friend class mlSparseRow;
};

/// A sparse row: its elements in strictly ascending column order, as the caller appends them
/// (nothing checks the order; `element` and every merge rely on it). The row reserves room
/// geometrically on its own, 8 elements first, then twice the previous reservation.
class PASKOSDA_EXPORT mlSparseRow : public mlSparseElementcoDynArr {
 public:
  /// An empty row.
  mlSparseRow() noexcept = default;
  /// A copy of r (its reservation and its elements).
  mlSparseRow(utCopyTag, const mlSparseRow& r) noexcept { become(utCopy, r); }
  mlSparseRow(const mlSparseRow&) = delete;
  mlSparseRow& operator=(const mlSparseRow&) = delete;
  ~mlSparseRow() = default;

  /// Makes this a copy of r: r's reservation is taken over and reserved, then r's elements are
  /// copied. Returns this.
  mlSparseRow& become(utCopyTag, const mlSparseRow& r) noexcept;

  /// Appends (column, value) at the end. When the row is full to its reservation it first
  /// reserves 8 elements (the first time) or twice the previous reservation.
  void append_element(int column, double value) noexcept {
    if (used_ == reserved_) {
      reserved_ = next_reservation(reserved_);
      reserve(reserved_);
    }
    append(mlSparseElement(column, value));
  }

  /// Appends n elements at the end, leaving the row exactly as n calls of `append_element`
  /// would (the same reservations), with a single copy.
  void append_elements(const mlSparseElement* elements, int n) noexcept;

  /// The value stored at `column`, or 0.0 when the row has no element there (found by a range
  /// test and a binary search, so the row must be in ascending column order).
  double element(int column) const noexcept;

  /// 1 when the row has no elements; else 0.
  int empty() const noexcept { return used_ == 0 ? 1 : 0; }
  /// The number of stored elements.
  int num_non_zero_elements() const noexcept { return used_; }
  /// The column of the last element, or -1 for an empty row.
  int last_column_index() const noexcept { return used_ == 0 ? -1 : data_[used_ - 1].column(); }

  /// Multiplies every stored value by s.
  void multiply_all_elements(double s) noexcept;
  /// Divides every stored value by s (a true division per element).
  void divide_all_elements(double s) noexcept;

  /// Drops every element; with `release` non-zero the storage is given back and the
  /// reservation starts over at 8.
  void clear(int release) noexcept {
    mlSparseElementcoDynArr::clear(release);
    if (release != 0) reserved_ = 0;
  }

  /// An iterator standing before the first element of this row.
  mlSparseRowIT iterator() const noexcept { return mlSparseRowIT(this); }

 private:
  friend class mlSparseMatrix;

  // A fill in place (the transposition appends to all its rows at once): the writer appends
  // at `next` up to `end`, the place where `append_element` would next change the reservation
  // or the buffer. There `make_room` does what `append_element` does, and `close` takes the
  // elements written up to `next` into the row.
  struct Cursor {
    mlSparseElement* next = nullptr;
    mlSparseElement* end = nullptr;
  };
  Cursor cursor() noexcept {
    const int room = used_ <= reserved_ && reserved_ < allocated_ ? reserved_ : allocated_;
    return {data_ + used_, data_ + room};
  }
  // 0 when the buffer cannot grow (the row then holds what was written before).
  int make_room(Cursor& c) noexcept;
  void close(const Cursor& c) noexcept { used_ = static_cast<int>(c.next - data_); }

  // Reserves as n calls of `append_element` would.
  void reserve_for_appends(int n) noexcept;

  // 8 first, then twice the previous reservation (held at INT_MAX rather than overflowing; no
  // such row can be allocated anyway).
  static int next_reservation(int reserved) noexcept {
    return reserved == 0 ? 8 : reserved > INT_MAX / 2 ? INT_MAX : reserved * 2;
  }

  int reserved_ = 0;
};

#endif  // PASKOSDA_SPARSE_MLSPARSEROW_H
