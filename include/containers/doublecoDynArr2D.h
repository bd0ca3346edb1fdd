#ifndef PASKOSDA_CONTAINERS_DOUBLECODYNARR2D_H
#define PASKOSDA_CONTAINERS_DOUBLECODYNARR2D_H

/// \file
/// `doublecoDynArr2D`, a growable two-dimensional array of doubles.

#include "containers/utCheck.h"
#include "containers/utTags.h"
#include "paskosda_export.h"

/// A growable two-dimensional array of double, i_size() by j_size(), stored row by row (the
/// first index selects the row). Each dimension's capacity grows by whole increments, as a
/// `coDynArr` does. Elements that come into view through growth are 0.0. Growing operations
/// return 1, or 0 when the memory was not available (the array is then unchanged).
class PASKOSDA_EXPORT doublecoDynArr2D {
 public:
  /// An empty array whose capacities grow by one row or column at a time.
  doublecoDynArr2D() noexcept = default;
  /// An empty (0 by 0) array with room for `rows` by `cols` elements, growing by
  /// `row_increment` rows and `col_increment` columns at a time.
  doublecoDynArr2D(int rows, int cols, int row_increment, int col_increment) noexcept;
  /// A deep copy of the other array.
  doublecoDynArr2D(utCopyTag, const doublecoDynArr2D& other) noexcept;
  doublecoDynArr2D(const doublecoDynArr2D&) = delete;
  doublecoDynArr2D& operator=(const doublecoDynArr2D&) = delete;
  ~doublecoDynArr2D();

  /// Makes this a deep copy of the other array; returns this.
  doublecoDynArr2D& become(utCopyTag, const doublecoDynArr2D& other) noexcept;

  ///@{
  /// Number of rows (first index) and of columns (second index).
  int i_size() const noexcept { return i_size_; }
  int j_size() const noexcept { return j_size_; }
  ///@}

  /// Grows to at least `rows` by `cols`, never lowering either size; existing elements keep
  /// their (i, j). Returns 1, or 0 when the allocation failed.
  int expand(int rows, int cols) noexcept;
  /// Makes the array exactly `rows` by `cols`, keeping the elements of the common top-left
  /// block. Returns 1, or 0 when the allocation failed.
  int resize(int rows, int cols) noexcept;
  /// release = 0: the sizes become 0 and the storage is kept; otherwise it is given back.
  void clear(int release) noexcept;

  /// Growing access: an element outside the current sizes grows the array to include it.
  double& operator()(int i, int j) noexcept {
    PASKOSDA_CHECK(i >= 0 && j >= 0, "doublecoDynArr2D::operator()(%d, %d)", i, j);
    if (i >= i_size_ || j >= j_size_) {
      [[maybe_unused]] const int grown = expand(i + 1, j + 1);
      PASKOSDA_CHECK(grown != 0, "doublecoDynArr2D::operator()(%d, %d): allocation failed", i, j);
    }
    return data_[i * j_allocated_ + j];
  }
  /// Plain access, no check.
  double operator()(int i, int j) const noexcept { return data_[i * j_allocated_ + j]; }

  /// Row i's j_size() contiguous elements.
  const double* row(int i) const noexcept { return data_ + i * j_allocated_; }

 private:
  int reserve(int rows, int cols) noexcept;
  void set_sizes(int rows, int cols) noexcept;

  double* data_ = nullptr;
  int i_size_ = 0;
  int j_size_ = 0;
  int i_allocated_ = 0;
  int j_allocated_ = 0;
  int i_increment_ = 1;
  int j_increment_ = 1;
};

#endif  // PASKOSDA_CONTAINERS_DOUBLECODYNARR2D_H
