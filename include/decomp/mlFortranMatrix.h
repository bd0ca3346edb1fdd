#ifndef PASKOSDA_DECOMP_MLFORTRANMATRIX_H
#define PASKOSDA_DECOMP_MLFORTRANMATRIX_H

#include "containers/coDynArr.h"
#include "containers/utCheck.h"

/// \file
/// One-based, column-major views in the manner of Fortran arrays, on which the classical
/// LINPACK-style kernels are written. Element (i, j) of a matrix with `rows` rows is storage
/// element (j - 1) * rows + (i - 1). The address is formed from the zero-based storage
/// pointer each time, never from a pointer placed before the storage (which would be
/// undefined behaviour).

/// An owning one-based column-major matrix: rows (also the leading dimension) by cols
/// doubles, values unset. Indices are not checked in release builds.
class mlFortranMatrix {
 public:
  /// An empty (0 by 0) matrix.
  mlFortranMatrix() noexcept = default;
  /// A rows by cols matrix, values unset.
  mlFortranMatrix(int rows, int cols) noexcept { become(rows, cols); }
  mlFortranMatrix(const mlFortranMatrix&) = delete;
  mlFortranMatrix& operator=(const mlFortranMatrix&) = delete;
  ~mlFortranMatrix() = default;

  /// Re-shapes to rows by cols (values unset); returns this.
  mlFortranMatrix& become(int rows, int cols) noexcept {
    PASKOSDA_CHECK(rows >= 0 && cols >= 0, "mlFortranMatrix::become(rows = %d, cols = %d)", rows,
                   cols);
    storage_.clear(0);
    storage_.expand(rows * cols);
    rows_ = rows;
    cols_ = cols;
    return *this;
  }

  /// Element (i, j), i in 1 ... rows, j in 1 ... cols.
  ///@{
  double& operator()(int i, int j) noexcept {
    PASKOSDA_CHECK(i >= 1 && i <= rows_ && j >= 1 && j <= cols_,
                   "mlFortranMatrix(%d, %d) of a %d by %d matrix", i, j, rows_, cols_);
    return storage_.data()[static_cast<long>(rows_) * (j - 1) + (i - 1)];
  }
  double operator()(int i, int j) const noexcept {
    PASKOSDA_CHECK(i >= 1 && i <= rows_ && j >= 1 && j <= cols_,
                   "mlFortranMatrix(%d, %d) of a %d by %d matrix", i, j, rows_, cols_);
    return storage_.data()[static_cast<long>(rows_) * (j - 1) + (i - 1)];
  }
  ///@}

  /// The number of rows, which is also the leading dimension.
  int rows() const noexcept { return rows_; }
  /// The number of columns.
  int cols() const noexcept { return cols_; }
  /// The column-major storage (null when empty).
  ///@{
  double* data() noexcept { return storage_.data(); }
  const double* data() const noexcept { return storage_.data(); }
  ///@}

 private:
  doublecoDynArr storage_;
  int rows_ = 0;
  int cols_ = 0;
};

/// A one-based vector of doubles that either owns its storage or wraps a caller's array
/// (which it then never frees). Indices are not checked in release builds.
class mlFortranVector {
 public:
  /// An empty, non-owning vector.
  mlFortranVector() noexcept = default;
  /// n owned doubles, values unset.
  explicit mlFortranVector(int n) noexcept { become(n); }
  /// A view of the caller's array p: element 1 is p[0].
  explicit mlFortranVector(double* p) noexcept { become(p); }
  mlFortranVector(const mlFortranVector&) = delete;
  mlFortranVector& operator=(const mlFortranVector&) = delete;
  ~mlFortranVector() = default;

  /// n owned doubles, values unset; returns this.
  mlFortranVector& become(int n) noexcept {
    PASKOSDA_CHECK(n >= 0, "mlFortranVector::become(n = %d)", n);
    storage_.clear(0);
    storage_.expand(n);
    first_ = storage_.data();
    owns_ = 1;
    return *this;
  }
  /// Wraps p (not owned; any owned storage is released); returns this.
  mlFortranVector& become(double* p) noexcept {
    storage_.clear(1);
    first_ = p;
    owns_ = 0;
    return *this;
  }

  /// Element i, i from 1.
  ///@{
  double& operator()(int i) noexcept { return first_[i - 1]; }
  double operator()(int i) const noexcept { return first_[i - 1]; }
  ///@}

  /// 1 when the storage is owned, 0 when it wraps a caller's array.
  int owns() const noexcept { return owns_; }

 private:
  doublecoDynArr storage_;
  double* first_ = nullptr;
  int owns_ = 0;
};

/// A one-based read-only view of a caller's array: element 1 is p[0].
class mlFortranVectorConst {
 public:
  /// A view of p: element 1 is p[0].
  explicit mlFortranVectorConst(const double* p) noexcept : first_(p) {}
  /// Views p instead; returns this.
  mlFortranVectorConst& become(const double* p) noexcept {
    first_ = p;
    return *this;
  }

  /// Element i, i from 1.
  const double& operator()(int i) const noexcept { return first_[i - 1]; }

 private:
  const double* first_ = nullptr;
};

#endif  // PASKOSDA_DECOMP_MLFORTRANMATRIX_H
