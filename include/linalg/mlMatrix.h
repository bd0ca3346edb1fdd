#ifndef PASKOSDA_LINALG_MLMATRIX_H
#define PASKOSDA_LINALG_MLMATRIX_H

/// \file
/// The dense row-major matrix `mlMatrix` and the free functions on matrices: the products
/// `multiply`, comparison and printing.

#include <ostream>

#include "containers/coDynArr.h"
#include "containers/utCheck.h"
#include "containers/utTags.h"
#include "linalg/mlSlice.h"
#include "linalg/mlVector.h"
#include "paskosda_export.h"

/// The library's dense matrix of double, stored row by row in its `doublecoDynArr`: element
/// (i, j) is at cols * i + j. The array's used count is normally rows * cols, but `expand`
/// can leave it larger, and handing out a view of an empty matrix raises it to 1; each
/// whole-array operation says which of the two it walks. Shapes and indices are not checked.
class PASKOSDA_EXPORT mlMatrix : public doublecoDynArr {
 public:
  /// An empty (0 by 0) matrix.
  mlMatrix() noexcept = default;
  /// An r by c matrix, values unset.
  mlMatrix(int r, int c) noexcept;
  /// A copy of a: its shape and its rows * cols elements.
  mlMatrix(utCopyTag, const mlMatrix& a) noexcept;
  /// An r by c matrix of 0.0.
  mlMatrix(mlMatrixZeroTag, int r, int c) noexcept;
  /// The n by n identity.
  mlMatrix(mlMatrixIdentityTag, int n) noexcept;
  /// The n by n Hilbert matrix, element (i, j) = 1.0 / (i + j + 1).
  mlMatrix(mlMatrixHilbertTag, int n) noexcept;
  /// The transpose of a.
  mlMatrix(mlMatrixTransposeTag, const mlMatrix& a) noexcept;
  /// The product a * b.
  mlMatrix(mlMatrixProductTag, const mlMatrix& a, const mlMatrix& b) noexcept;
  /// An r by c matrix read row by row from r * c doubles at p.
  mlMatrix(utConvertTag, const double* p, int r, int c) noexcept;
  /// Takes over a's storage and shape, leaving a empty.
  mlMatrix(mlMatrix&& a) noexcept;
  mlMatrix(const mlMatrix&) = delete;
  mlMatrix& operator=(const mlMatrix&) = delete;
  ~mlMatrix() = default;

  /// r by c (clear, then expand); values are whatever the storage held.
  mlMatrix& become(int r, int c) noexcept;
  /// a's shape, then this matrix's used count of doubles copied from a's storage.
  mlMatrix& become(utCopyTag, const mlMatrix& a) noexcept;
  /// r by c, all 0.0.
  mlMatrix& become(mlMatrixZeroTag, int r, int c) noexcept;
  /// The n by n identity.
  mlMatrix& become(mlMatrixIdentityTag, int n) noexcept;
  /// The n by n Hilbert matrix, element (i, j) = 1.0 / (i + j + 1).
  mlMatrix& become(mlMatrixHilbertTag, int n) noexcept;
  /// The transpose of a; a must not be this matrix.
  mlMatrix& become(mlMatrixTransposeTag, const mlMatrix& a) noexcept;
  /// The product a * b (either may be this matrix).
  mlMatrix& become(mlMatrixProductTag, const mlMatrix& a, const mlMatrix& b) noexcept;
  /// r by c, read row by row from r * c doubles at p.
  mlMatrix& become(utConvertTag, const double* p, int r, int c) noexcept;

  /// Growing access to element (i, j) through the array.
  double& operator()(int i, int j) noexcept { return (*this)[cols_ * i + j]; }
  /// Plain access, inside the matrix (asserted in checked builds).
  double operator()(int i, int j) const noexcept {
    PASKOSDA_CHECK(i >= 0 && i < rows_ && j >= 0 && j < cols_,
                   "mlMatrix::operator()(%d, %d) const of a %dx%d matrix", i, j, rows_, cols_);
    return data_[cols_ * i + j];
  }

  /// The first element of row i (the non-const form grows as element access does).
  ///@{
  double* row_data(int i) noexcept { return &(*this)[cols_ * i]; }
  const double* row_data(int i) const noexcept {
    PASKOSDA_CHECK(i >= 0 && i <= rows_, "mlMatrix::row_data(%d) const of %d rows", i, rows_);
    return data_ + cols_ * i;
  }
  ///@}

  /// Row i, column j and the diagonal as slices of the storage; i and j must lie inside the
  /// matrix unless the slice is empty (asserted in checked builds).
  ///@{
  mlSlice row(int i) noexcept {
    PASKOSDA_CHECK(i >= 0 && (i < rows_ || cols_ == 0), "mlMatrix::row(%d) of %d rows", i, rows_);
    return slice(cols_ * i, 1, cols_);
  }
  mlSlice row(int i) const noexcept {
    PASKOSDA_CHECK(i >= 0 && (i < rows_ || cols_ == 0), "mlMatrix::row(%d) const of %d rows", i,
                   rows_);
    return slice(cols_ * i, 1, cols_);
  }
  mlSlice col(int j) noexcept {
    PASKOSDA_CHECK(j >= 0 && (j < cols_ || rows_ == 0), "mlMatrix::col(%d) of %d columns", j,
                   cols_);
    return slice(j, cols_, rows_);
  }
  mlSlice col(int j) const noexcept {
    PASKOSDA_CHECK(j >= 0 && (j < cols_ || rows_ == 0), "mlMatrix::col(%d) const of %d columns", j,
                   cols_);
    return slice(j, cols_, rows_);
  }
  mlSlice diagonal() noexcept { return slice(0, cols_ + 1, rows_ < cols_ ? rows_ : cols_); }
  ///@}

  /// The number of rows.
  int rows() const noexcept { return rows_; }
  /// The number of columns.
  int cols() const noexcept { return cols_; }

  /// Sets the first rows * cols elements.
  void fill(double x) noexcept;
  /// Divides every stored element (the used count) by x.
  mlMatrix& operator/=(double x) noexcept;
  /// The running maximum over the used count, from -DBL_MAX: an element x replaces it with
  /// fabs(x) when x itself (signed) exceeds it. So after the first element a negative one
  /// only counts while it exceeds the maximum so far; kept as it has always been.
  double max_absolute_value() const noexcept;

  /// Appends v as a new last row (v's dimension is not compared with cols; a matrix without
  /// columns takes v's dimension).
  void append_row(const mlVector& v) noexcept;
  /// Appends v as a new last column (a matrix without rows takes v's dimension).
  void append_col(const mlVector& v) noexcept;
  /// Removes row i, moving the later elements up one row.
  void delete_row(int i) noexcept;
  /// Removes column j from every row.
  void delete_col(int j) noexcept;
  /// Exchanges rows a and b.
  void swap_rows(int a, int b) noexcept;
  /// Exchanges columns a and b.
  void swap_cols(int a, int b) noexcept;
  /// Reshapes to r by c keeping the top-left block; new places get `fill`. The used count
  /// never drops (it stays larger when the matrix shrinks).
  void expand(int r, int c, double fill) noexcept;

 protected:
  /// A slice with exactly these fields on the storage (the non-const form takes the address
  /// of element 0 by growing access, so an empty matrix ends with used count 1).
  ///@{
  mlSlice slice(int start, int stride, int count) noexcept {
    return {&(*this)[0], start, stride, count};
  }
  mlSlice slice(int start, int stride, int count) const noexcept {
    return {static_cast<const double*>(data_), start, stride, count};
  }
  ///@}

 private:
  using doublecoDynArr::expand;

  int cols_ = 0;
  int rows_ = 0;
};

/// c = a * b: each c(i, j) starts at 0.0 and adds a(i, k) * b(k, j) for ascending k, with
/// a.cols() as the inner dimension. c may be a or b (then a temporary is used).
PASKOSDA_EXPORT void multiply(const mlMatrix& a, const mlMatrix& b, mlMatrix& c) noexcept;
/// w = a * v: each w[i] starts at 0.0 and adds a(i, k) * v[k] for ascending k. w must not
/// be v.
///@{
PASKOSDA_EXPORT void multiply(const mlMatrix& a, const mlVector& v, mlVector& w) noexcept;
PASKOSDA_EXPORT void multiply(const mlMatrix& a, const mlSlice& v, mlVector& w) noexcept;
///@}
/// 1 unless some stored element (a's used count) differs from b's by more than tol; a NaN
/// difference is not more than tol. Shapes are not compared.
PASKOSDA_EXPORT int equal(const mlMatrix& a, const mlMatrix& b, double tol) noexcept;
/// 1 if every stored element of a (a's used count) equals b's exactly. Shapes are not
/// compared.
PASKOSDA_EXPORT int operator==(const mlMatrix& a, const mlMatrix& b) noexcept;
/// Each row as "| ", the elements in fixed notation with 6 decimals each followed by " ",
/// then "| " and std::endl. The format flags are restored; the precision stays at 6.
PASKOSDA_EXPORT std::ostream& operator<<(std::ostream& os, const mlMatrix& m);

#endif  // PASKOSDA_LINALG_MLMATRIX_H
