#ifndef PASKOSDA_SPARSE_MLSPARSEMATRIX_H
#define PASKOSDA_SPARSE_MLSPARSEMATRIX_H

/// \file
/// Sparse matrices: the general `mlSparseMatrix` and the symmetric `mlSparseSymMatrix`, on
/// their common base `mlSparseMatrixBase`.

#include <memory>
#include <utility>

#include "containers/coBufferGuard.h"
#include "containers/coDynArr.h"
#include "containers/utCheck.h"
#include "containers/utTags.h"
#include "linalg/mlMatrix.h"
#include "linalg/mlVector.h"
#include "paskosda_export.h"
#include "sparse/mlSparseRow.h"

/// The single owner of one heap-allocated `mlSparseRow`. Assignment moves ownership: the
/// target deletes its own row and takes over the source's, which is left owning nothing (also
/// from a const source, since the arrays copy their elements by assignment). A
/// default-constructed owner owns nothing, so arrays of owners neither leak nor delete twice
/// when they reallocate.
class mlSparseRowcoDynArrPrgcoPrg {
 public:
  /// Owns nothing.
  mlSparseRowcoDynArrPrgcoPrg() noexcept = default;
  /// Takes ownership of `row` (which must come from `new`, or be null).
  explicit mlSparseRowcoDynArrPrgcoPrg(mlSparseRow* row) noexcept : row_(row) {}
  mlSparseRowcoDynArrPrgcoPrg(const mlSparseRowcoDynArrPrgcoPrg&) = delete;
  /// Deletes the owned row.
  ~mlSparseRowcoDynArrPrgcoPrg() { delete_ptr(); }

  /// Deletes the owned row and takes over the other's; the other owns nothing afterwards.
  mlSparseRowcoDynArrPrgcoPrg& operator=(const mlSparseRowcoDynArrPrgcoPrg& other) noexcept {
    if (&other != this) row_ = std::move(other.row_);
    return *this;
  }

  /// The owned row; only while one is owned.
  ///@{
  mlSparseRow* operator->() const noexcept { return row_.get(); }
  mlSparseRow& operator*() const noexcept { return *row_; }
  ///@}
  /// Gives up ownership and returns the row (null when nothing was owned).
  mlSparseRow* release() noexcept { return row_.release(); }

 private:
  void delete_ptr() noexcept { row_.reset(); }

  // Mutable because ownership leaves a const source of assignment (see the class comment).
  mutable std::unique_ptr<mlSparseRow> row_;
};

static_assert(sizeof(mlSparseRowcoDynArrPrgcoPrg) == sizeof(void*),
              "a row owner is a single pointer");
static_assert(!paskosda_detail::copies_bitwise<mlSparseRowcoDynArrPrgcoPrg>,
              "arrays of row owners copy their elements by assignment (moving ownership)");

/// The row table of a sparse matrix: a growable array of row owners.
using mlSparseRowcoDynArrPrgcoPrgcoDynArr = coDynArr<mlSparseRowcoDynArrPrgcoPrg>;

class mlSparseMatrix;
class mlSparseSymMatrix;

/// What the general and the symmetric sparse matrix share: a column count and one owned
/// `mlSparseRow` per row. A matrix without rows is `invalid()`. Shapes and indices are not
/// checked (checked builds assert them).
class PASKOSDA_EXPORT mlSparseMatrixBase {
 public:
  mlSparseMatrixBase(const mlSparseMatrixBase&) = delete;
  mlSparseMatrixBase& operator=(const mlSparseMatrixBase&) = delete;

  /// Exactly n rows: rows past n are deleted (and the row table cut to n); missing rows are
  /// appended as new empty rows. Stops short when a row cannot be allocated.
  void resize_rows(int n) noexcept;
  /// `mlSparseRow::clear(release)` on every row; the rows themselves stay.
  void clear(int release) noexcept;
  /// No rows and no columns (the row table keeps its storage).
  void set_invalid() noexcept;
  /// 1 when the matrix has no rows; else 0.
  int invalid() const noexcept { return rows_.size() == 0 ? 1 : 0; }
  /// The number of rows.
  int rows() const noexcept { return rows_.size(); }
  /// The number of columns.
  int cols() const noexcept { return cols_; }
  /// The number of stored entries (zeros included) over all rows.
  int num_non_zero_elements() const noexcept;

  /// Multiplies every stored value by s; returns this.
  mlSparseMatrixBase& operator*=(double s) noexcept;
  /// Divides every stored value by s; returns this.
  mlSparseMatrixBase& operator/=(double s) noexcept;

  /// Row by row, this := this + other (add non-zero) or this - other (add = 0). Each result
  /// row is built fresh by merging the two rows: a column held by both is appended once, as
  /// the sum or the difference (a result of 0.0 is stored, like the product's cancellations);
  /// a column held by this alone keeps its value; one held by other alone is copied (added)
  /// or negated (subtracted). `other` may be this matrix (twice its values, or
  /// its entries all kept as 0.0).
  void add_or_subtract(const mlSparseMatrixBase& other, int add) noexcept;

  /// Row i of matrix m.
  const mlSparseRow& row(const mlSparseMatrixBase& m, int i) const noexcept { return m.row_at(i); }

 protected:
  mlSparseMatrixBase() noexcept = default;
  /// A deep copy of every row of m.
  mlSparseMatrixBase(utCopyTag, const mlSparseMatrixBase& m) noexcept { become(utCopy, m); }
  /// Takes over m's shape and rows, leaving m without rows.
  mlSparseMatrixBase(mlSparseMatrixBase&& m) noexcept : cols_(m.cols_), rows_(std::move(m.rows_)) {
    m.cols_ = 0;
  }
  ~mlSparseMatrixBase() = default;

  /// Every existing row emptied (storage kept), c columns, then exactly r rows.
  mlSparseMatrixBase& become(int r, int c) noexcept;
  /// The n by n identity: row i holds the single entry (i, 1.0).
  mlSparseMatrixBase& become(mlMatrixIdentityTag, int n) noexcept;
  /// A deep copy of every row of m.
  mlSparseMatrixBase& become(utCopyTag, const mlSparseMatrixBase& m) noexcept;

  /// Walks two rows in step and sums b's value times a's value over their common columns, in
  /// ascending column order from 0.0. Returns 1 when the rows share a column, else 0 (the
  /// result is 0.0 both for disjoint rows and for products that cancel).
  static int row_dot_product(mlSparseRowIT& a, mlSparseRowIT& b, double& result) noexcept;

  /// Row i (in range: asserted in checked builds).
  ///@{
  mlSparseRow& row_at(int i) noexcept {
    PASKOSDA_CHECK(i >= 0 && i < rows_.size(), "sparse matrix: row %d of %d rows", i, rows_.size());
    return *rows_.data()[i];
  }
  const mlSparseRow& row_at(int i) const noexcept {
    PASKOSDA_CHECK(i >= 0 && i < rows_.size(), "sparse matrix row %d of %d rows", i, rows_.size());
    return *rows_.data()[i];
  }
  ///@}
  /// Appends (j, v) to row i.
  void append_entry(int i, int j, double v) noexcept {
    PASKOSDA_CHECK(i >= 0 && i < rows_.size() && j >= 0 && j < cols_,
                   "set(%d, %d) on a %d by %d sparse matrix", i, j, rows_.size(), cols_);
    row_at(i).append_element(j, v);
  }
  /// Takes over the other's shape and rows; the other is left without rows.
  void take_over(mlSparseMatrixBase& other) noexcept;
  /// Appends b block-diagonally: b's row r goes to the new row rows() + r with its columns
  /// shifted by cols(); then cols() grows by b.cols(). b may be this matrix.
  void append_diagonal_block(const mlSparseMatrixBase& b) noexcept;
  /// Appends to each row i below rows() the entries of b's row i with their columns shifted by
  /// cols(); then cols() grows by b.cols(). b may be this matrix.
  void append_right_block(const mlSparseMatrixBase& b) noexcept;

 private:
  int cols_ = 0;
  mlSparseRowcoDynArrPrgcoPrgcoDynArr rows_;
};

/// A general sparse matrix of double, one `mlSparseRow` per row. Rows are filled with `set` in
/// ascending column order, each (i, j) at most once; every lookup and merge relies on that.
class PASKOSDA_EXPORT mlSparseMatrix : public mlSparseMatrixBase {
 public:
  /// No rows and no columns (invalid).
  mlSparseMatrix() noexcept = default;
  /// A deep copy of a.
  mlSparseMatrix(utCopyTag, const mlSparseMatrix& a) noexcept { become(utCopy, a); }
  /// The full matrix that the symmetric s stands for.
  mlSparseMatrix(utCopyTag, const mlSparseSymMatrix& s) noexcept { become(utCopy, s); }
  /// r empty rows of c columns.
  mlSparseMatrix(mlMatrixZeroTag, int r, int c) noexcept { become(mlMatrixZero, r, c); }
  /// The n by n identity.
  mlSparseMatrix(mlMatrixIdentityTag, int n) noexcept { become(mlMatrixIdentity, n); }
  /// The transpose of a.
  mlSparseMatrix(mlMatrixTransposeTag, const mlSparseMatrix& a) noexcept {
    become(mlMatrixTranspose, a);
  }
  /// The product a * b.
  mlSparseMatrix(mlMatrixProductTag, const mlSparseMatrix& a, const mlSparseMatrix& b) noexcept {
    become(mlMatrixProduct, a, b);
  }
  /// Takes over a's shape and rows, leaving a without rows.
  mlSparseMatrix(mlSparseMatrix&& a) noexcept = default;
  ~mlSparseMatrix() = default;

  /// Makes this a deep copy of a. Returns this.
  mlSparseMatrix& become(utCopyTag, const mlSparseMatrix& a) noexcept;
  /// The full matrix: row i of s gives (i, j, v) and, for j > i, (j, i, v); walking s's rows
  /// in ascending order keeps every row sorted.
  mlSparseMatrix& become(utCopyTag, const mlSparseSymMatrix& s) noexcept;
  /// r empty rows of c columns (the existing rows are emptied and reused). Returns this.
  mlSparseMatrix& become(mlMatrixZeroTag, int r, int c) noexcept;
  /// The n by n identity. Returns this.
  mlSparseMatrix& become(mlMatrixIdentityTag, int n) noexcept;
  /// The transpose of a (a may be this matrix): a's rows are walked in ascending order and
  /// each entry (i, j, v) appended as (j, i, v), which keeps every row sorted. When the
  /// working storage cannot be allocated the result is invalid.
  mlSparseMatrix& become(mlMatrixTransposeTag, const mlSparseMatrix& a) noexcept;
  /// The product a * b (either may be this matrix). Entry (i, j) is the sum of x * y over the
  /// entries (k, x) of a's row i in stored order and (j, y) of b's row k, starting from the
  /// first such product; every column met is stored, also when its sum is 0.0, in ascending
  /// column order. When the working storage cannot be allocated the result is invalid.
  mlSparseMatrix& become(mlMatrixProductTag, const mlSparseMatrix& a,
                         const mlSparseMatrix& b) noexcept;

  /// Appends (j, v) to row i; it neither searches nor replaces.
  void set(int i, int j, double v) noexcept { append_entry(i, j, v); }
  /// The value stored at (i, j), or 0.0.
  double element(int i, int j) const noexcept {
    PASKOSDA_CHECK(i >= 0 && i < rows() && j >= 0 && j < cols(),
                   "mlSparseMatrix::element(%d, %d) of a %d by %d matrix", i, j, rows(), cols());
    return row_at(i).element(j);
  }
  /// The last column stored in row i, or -1 for an empty row.
  int last_in_row(int i) const noexcept { return row_at(i).last_column_index(); }
  /// 1 when rows() = cols(); else 0.
  int is_square() const noexcept { return rows() == cols() ? 1 : 0; }
  /// An iterator standing before the first entry of row i.
  mlSparseRowIT row_iterator(int i) const noexcept { return row_at(i).iterator(); }

  /// y = this * x: y[i] is the sum over row i's entries (j, v), in stored order from 0.0, of
  /// v * x[j]. y must not be x.
  void multiply_vector(const mlVector& x, mlVector& y) const noexcept;
  /// c = this * m, dense: c(i, j) is the sum over row i's entries (k, v), in stored order from
  /// 0.0, of v * m(k, j). c must not be m.
  void multiply_matrix(const mlMatrix& m, mlMatrix& c) const noexcept;
  /// m = the dense rows() by cols() matrix: zeros, then every stored entry written in place.
  void decompress(mlMatrix& m) const noexcept;
  /// out = the nr by nc block whose top-left corner is (r0, c0) (out may be this matrix).
  void extract_sub_matrix(int r0, int c0, int nr, int nc, mlSparseMatrix& out) const noexcept;

  /// Appends copies of b's rows below this matrix's rows. The column count is not changed.
  void concatenate_below(const mlSparseMatrix& b) noexcept;
  /// Appends b's row i to row i (columns shifted by cols()) for every row of this matrix, then
  /// adds b.cols() columns; a matrix without rows only gains the columns.
  void concatenate_right(const mlSparseMatrix& b) noexcept;
  /// Appends b as a diagonal block: below and to the right of this matrix.
  void concatenate_diagonal(const mlSparseMatrix& b) noexcept;

  /// add_or_subtract(b, 1).
  mlSparseMatrix& operator+=(const mlSparseMatrix& b) noexcept;
  /// add_or_subtract(b, 0).
  mlSparseMatrix& operator-=(const mlSparseMatrix& b) noexcept;

 private:
  // Reserves each new row of the transpose of a once, at the reservation its appends reach.
  void reserve_transposed(const mlSparseMatrix& a) noexcept;
};

/// A symmetric sparse matrix that stores its upper triangle: row i holds the entries (j, v)
/// with j >= i in ascending j, and each stored (i, j) with j > i also stands for (j, i). Its
/// products and expansions act on the full symmetric matrix and give the same bits as the
/// full `mlSparseMatrix` made from it by `mlSparseMatrix(utCopy, s)`.
class PASKOSDA_EXPORT mlSparseSymMatrix : public mlSparseMatrixBase {
 public:
  /// No rows (invalid).
  mlSparseSymMatrix() noexcept = default;
  /// n by n, no entries.
  mlSparseSymMatrix(mlMatrixZeroTag, int n) noexcept { become(mlMatrixZero, n); }
  /// The n by n identity.
  mlSparseSymMatrix(mlMatrixIdentityTag, int n) noexcept { become(mlMatrixIdentity, n); }
  /// A deep copy of s.
  mlSparseSymMatrix(utCopyTag, const mlSparseSymMatrix& s) noexcept { become(utCopy, s); }
  /// The upper triangle of a^T a.
  mlSparseSymMatrix(mlMatrixPremultiplyTransposeTag, const mlSparseMatrix& a) noexcept {
    become(mlMatrixPremultiplyTranspose, a);
  }
  /// Takes over s's shape and rows, leaving s without rows.
  mlSparseSymMatrix(mlSparseSymMatrix&& s) noexcept = default;
  ~mlSparseSymMatrix() = default;

  /// n by n, no entries (the existing rows are emptied and reused). Returns this.
  mlSparseSymMatrix& become(mlMatrixZeroTag, int n) noexcept;
  /// The n by n identity. Returns this.
  mlSparseSymMatrix& become(mlMatrixIdentityTag, int n) noexcept;
  /// Makes this a deep copy of s. Returns this.
  mlSparseSymMatrix& become(utCopyTag, const mlSparseSymMatrix& s) noexcept;
  /// The upper triangle of a^T a, a.cols() by a.cols(): row c holds, for every j >= c that some
  /// row k of a has in common with c, the sum over ascending k of a(k, c) * a(k, j), starting
  /// from the first product; sums of 0.0 are stored. These are the bits of the upper triangle
  /// of the general product of a's transpose with a. When the working storage cannot be
  /// allocated the result is invalid.
  mlSparseSymMatrix& become(mlMatrixPremultiplyTransposeTag, const mlSparseMatrix& a) noexcept;

  /// Appends (j, v) to row i, exactly as `mlSparseMatrix::set`; callers pass j >= i, ascending.
  void set(int i, int j, double v) noexcept { append_entry(i, j, v); }
  /// The value at (i, j) of the full matrix: row min(i, j)'s value at column max(i, j).
  double element(int i, int j) const noexcept {
    PASKOSDA_CHECK(i >= 0 && i < rows() && j >= 0 && j < cols(),
                   "mlSparseSymMatrix::element(%d, %d) of a %d by %d matrix", i, j, rows(), cols());
    return i <= j ? row_at(i).element(j) : row_at(j).element(i);
  }
  /// The last column stored in row i; for an empty row i - 1, by design (not -1 as for the
  /// general matrix).
  int last_in_row(int i) const noexcept {
    const mlSparseRow& r = row_at(i);
    return r.empty() ? i - 1 : r.last_column_index();
  }
  /// An iterator standing before the first stored entry of row i.
  mlSparseRowIT upper_triangle_iterator(int i) const noexcept { return row_at(i).iterator(); }

  /// add_or_subtract(s, 1).
  mlSparseSymMatrix& operator+=(const mlSparseSymMatrix& s) noexcept;
  /// add_or_subtract(s, 0).
  mlSparseSymMatrix& operator-=(const mlSparseSymMatrix& s) noexcept;

  /// y = S * x for the full symmetric S: y[i] is the sum from 0.0 over the full row i in
  /// ascending column order. y must not be x.
  void multiply_vector(const mlVector& x, mlVector& y) const noexcept;
  /// c = S * m, dense, each c(i, j) summed from 0.0 over the full row i of S in ascending
  /// column order. c must not be m.
  void multiply_matrix(const mlMatrix& m, mlMatrix& c) const noexcept;
  /// m = the full dense symmetric matrix.
  void decompress(mlMatrix& m) const noexcept;
  /// Borders this n by n matrix S with b (n rows, p columns): the result is the symmetric
  /// (n + p) by (n + p) matrix [S b; b^T 0], stored as row i < n gaining b's row i with its
  /// columns shifted by n, and p new empty rows.
  void concatenate(const mlSparseMatrix& b) noexcept;
  /// Appends s as a diagonal block: the block-diagonal matrix [this 0; 0 s].
  void concatenate_diagonal(const mlSparseSymMatrix& s) noexcept;

 protected:
  /// Resets the iterator and returns the sum of the squares of the row's values, in stored
  /// order from 0.0 (the iterator ends reset).
  static double row_dot_self(mlSparseRowIT& it) noexcept;
};

#endif  // PASKOSDA_SPARSE_MLSPARSEMATRIX_H
