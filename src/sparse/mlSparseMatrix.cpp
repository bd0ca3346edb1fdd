#include "sparse/mlSparseMatrix.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <new>
#include <utility>

#include "sparse/mlSparseKernels.h"

using namespace paskosda_detail::sparse;

// ---- mlSparseMatrixBase ----------------------------------------------------------------------

void mlSparseMatrixBase::resize_rows(int n) noexcept {
  if (rows_.size() > n) {
    // The rows past n are deleted through their owners when the old row table goes.
    rows_.shrink(n, 1);
    return;
  }
  if (rows_.reserve(n) == 0) return;
  while (rows_.size() < n) {
    auto* row = new (std::nothrow) mlSparseRow();
    if (row == nullptr) return;
    rows_.append(mlSparseRowcoDynArrPrgcoPrg(row));
  }
}

void mlSparseMatrixBase::clear(int release) noexcept {
  for (int i = 0; i < rows_.size(); ++i)
    row_at(i).clear(release);
}

void mlSparseMatrixBase::set_invalid() noexcept {
  cols_ = 0;
  rows_.clear(0);
}

int mlSparseMatrixBase::num_non_zero_elements() const noexcept {
  int n = 0;
  for (int i = 0; i < rows_.size(); ++i)
    n += row_at(i).num_non_zero_elements();
  return n;
}

mlSparseMatrixBase& mlSparseMatrixBase::operator*=(double s) noexcept {
  for (int i = 0; i < rows_.size(); ++i)
    row_at(i).multiply_all_elements(s);
  return *this;
}

mlSparseMatrixBase& mlSparseMatrixBase::operator/=(double s) noexcept {
  for (int i = 0; i < rows_.size(); ++i)
    row_at(i).divide_all_elements(s);
  return *this;
}

void mlSparseMatrixBase::add_or_subtract(const mlSparseMatrixBase& other, int add) noexcept {
  PASKOSDA_CHECK(other.rows() >= rows(), "add_or_subtract: %d rows with %d rows", rows(),
                 other.rows());
  mlSparseRowcoDynArrPrgcoPrgcoDynArr old(std::move(rows_));
  resize_rows(old.size());
  // Adding a matrix to itself merges the old rows with themselves.
  const mlSparseRowcoDynArrPrgcoPrgcoDynArr& theirs = &other == this ? old : other.rows_;
  for (int i = 0; i < rows_.size(); ++i)
    merge_rows(*old.data()[i], *theirs.data()[i], add != 0, row_at(i));
}

mlSparseMatrixBase& mlSparseMatrixBase::become(int r, int c) noexcept {
  for (int i = 0; i < rows_.size(); ++i)
    row_at(i).clear(0);
  cols_ = c;
  resize_rows(r);
  return *this;
}

mlSparseMatrixBase& mlSparseMatrixBase::become(mlMatrixIdentityTag, int n) noexcept {
  become(n, n);
  for (int i = 0; i < rows_.size(); ++i)
    row_at(i).append_element(i, 1.0);
  return *this;
}

mlSparseMatrixBase& mlSparseMatrixBase::become(utCopyTag, const mlSparseMatrixBase& m) noexcept {
  if (&m == this) return *this;
  become(m.rows(), m.cols_);
  for (int i = 0; i < rows_.size(); ++i)
    row_at(i).become(utCopy, m.row_at(i));
  return *this;
}

int mlSparseMatrixBase::row_dot_product(mlSparseRowIT& a, mlSparseRowIT& b,
                                        double& result) noexcept {
  result = 0.0;
  a.reset();
  b.reset();
  const mlSparseElement* pa = a.advance();
  const mlSparseElement* pb = b.advance();
  if (pa == nullptr) return 0;
  int met = 0;
  while (pa != nullptr && pb != nullptr) {
    if (pa->column() < pb->column()) {
      pa = a.advance();
    } else if (pa->column() > pb->column()) {
      pb = b.advance();
    } else {
      result += pb->value() * pa->value();
      pa = a.advance();
      pb = b.advance();
      met = 1;
    }
  }
  return met;
}

void mlSparseMatrixBase::take_over(mlSparseMatrixBase& other) noexcept {
  if (&other == this) return;
  rows_.shrink(0, 1);
  const int n = other.rows_.size();
  if (rows_.reserve(n) != 0) {
    for (int i = 0; i < n; ++i)
      rows_.append(other.rows_.data()[i]);  // moves ownership
  }
  cols_ = other.cols_;
  other.rows_.clear(1);
  other.cols_ = 0;
}

void mlSparseMatrixBase::append_diagonal_block(const mlSparseMatrixBase& b) noexcept {
  const int n = rows_.size();
  const int nb = b.rows_.size();
  const int shift = cols_;
  const int bc = b.cols_;
  resize_rows(n + nb);
  // With b this matrix, row r < n is read while the new row n + r is filled: distinct rows.
  for (int r = 0; r < nb && n + r < rows_.size(); ++r) {
    const mlSparseRow& from = b.row_at(r);
    mlSparseRow& to = row_at(n + r);
    to.reserve(from.size());
    for (const mlSparseElement& e : from)
      to.append_element(shift + e.column(), e.value());
  }
  cols_ = shift + bc;
}

void mlSparseMatrixBase::append_right_block(const mlSparseMatrixBase& b) noexcept {
  PASKOSDA_CHECK(b.rows() >= rows(), "concatenating %d rows with %d rows", rows(), b.rows());
  const int shift = cols_;
  const int bc = b.cols_;
  for (int i = 0; i < rows_.size(); ++i) {
    const mlSparseRow& from = b.row_at(i);
    mlSparseRow& to = row_at(i);
    // Indexed with the count fixed up front: with b this matrix, `from` is `to` and grows
    // (and may move) while it is read.
    const int count = from.size();
    for (int k = 0; k < count; ++k) {
      const mlSparseElement e = from[k];
      to.append_element(shift + e.column(), e.value());
    }
  }
  cols_ = shift + bc;
}

// ---- mlSparseMatrix --------------------------------------------------------------------------

mlSparseMatrix& mlSparseMatrix::become(utCopyTag, const mlSparseMatrix& a) noexcept {
  mlSparseMatrixBase::become(utCopy, a);
  return *this;
}

mlSparseMatrix& mlSparseMatrix::become(utCopyTag, const mlSparseSymMatrix& s) noexcept {
  become(mlMatrixZero, s.rows(), s.cols());
  for (int i = 0; i < s.rows() && i < rows(); ++i) {
    for (const mlSparseElement& e : row(s, i)) {
      set(i, e.column(), e.value());
      if (e.column() > i) set(e.column(), i, e.value());
    }
  }
  return *this;
}

mlSparseMatrix& mlSparseMatrix::become(mlMatrixZeroTag, int r, int c) noexcept {
  mlSparseMatrixBase::become(r, c);
  return *this;
}

mlSparseMatrix& mlSparseMatrix::become(mlMatrixIdentityTag, int n) noexcept {
  mlSparseMatrixBase::become(mlMatrixIdentity, n);
  return *this;
}

mlSparseMatrix& mlSparseMatrix::become(mlMatrixTransposeTag, const mlSparseMatrix& a) noexcept {
  if (&a == this) {
    // a's rows are read while the result's are written: they are moved aside first.
    const mlSparseMatrix source(std::move(*this));
    return become(mlMatrixTranspose, source);
  }
  // Each entry (k, j, v) of a, in ascending k, is appended to row j in place through a cursor
  // per row: the rows keep their buffers and reservations, and a row grows (as append_element
  // would) only when it runs out of room.
  const int n = a.cols();
  const bool fresh = rows() == 0;
  mlSparseMatrixBase::become(n, a.rows());
  paskosda_detail::WorkOf<mlSparseRow::Cursor> cursors(n);
  mlSparseRow::Cursor* to = cursors.data();
  if (rows() != n || (n > 0 && to == nullptr)) {
    set_invalid();
    return *this;
  }
  // A matrix that had no rows (a new one, or this one with its rows moved aside) has no
  // buffers to reuse: its rows are sized from a count first, each allocated once.
  if (fresh) reserve_transposed(a);
  for (int j = 0; j < n; ++j)
    to[j] = row_at(j).cursor();
  // n is read by the checked build's assertion only.
  const bool filled = for_each_row(a, [=](int k, const mlSparseRow& r) {
    for (const mlSparseElement& e : r) {
      // NOLINTNEXTLINE(bugprone-lambda-function-name): the message names the transpose itself.
      PASKOSDA_CHECK(e.column() >= 0 && e.column() < n, "transpose: column %d of %d", e.column(),
                     n);
      mlSparseRow::Cursor& c = to[e.column()];
      if (c.next == c.end && row_at(e.column()).make_room(c) == 0) return false;
      *c.next++ = mlSparseElement(k, e.value());
    }
    return true;
  });
  if (!filled) {
    set_invalid();
    return *this;
  }
  for (int j = 0; j < n; ++j)
    row_at(j).close(to[j]);
  return *this;
}

void mlSparseMatrix::reserve_transposed(const mlSparseMatrix& a) noexcept {
  // Without memory for the counts, the rows grow as their entries arrive instead.
  intcoDynArr count(a.cols(), 1);
  if (count.expand(a.cols()) == 0) return;
  int* c = count.data();
  std::fill(c, c + a.cols(), 0);
  for_each_row(a, [c](int, const mlSparseRow& r) {
    for (const mlSparseElement& e : r)
      ++c[e.column()];
    return true;
  });
  for (int j = 0; j < rows(); ++j)
    row_at(j).reserve_for_appends(c[j]);
}

mlSparseMatrix& mlSparseMatrix::become(mlMatrixProductTag, const mlSparseMatrix& a,
                                       const mlSparseMatrix& b) noexcept {
  if (&a == this || &b == this) {
    mlSparseMatrix t(mlMatrixProduct, a, b);
    take_over(t);
    return *this;
  }
  PASKOSDA_CHECK(a.cols() == b.rows(), "sparse product of %d by %d with %d by %d", a.rows(),
                 a.cols(), b.rows(), b.cols());
  mlSparseMatrixBase::become(a.rows(), b.cols());
  RowAccumulator sums(b.cols());
  const PackedRows packed(b.rows(), [&b](int k) -> const mlSparseRow& { return b.row_at(k); });
  if (!sums.ok() || !packed.ok()) {
    set_invalid();
    return *this;
  }
  const int* start = packed.start();
  const int* columns = packed.columns();
  const double* values = packed.values();
  for (int i = 0; i < rows(); ++i) {
    for (const mlSparseElement& e : a.row_at(i)) {
      const int k = e.column();
      const double x = e.value();
      for (int p = start[k]; p < start[k + 1]; ++p)
        sums.add(columns[p], x * values[p]);
    }
    sums.flush(row_at(i));
  }
  return *this;
}

void mlSparseMatrix::multiply_vector(const mlVector& x, mlVector& y) const noexcept {
  PASKOSDA_CHECK(&x != &y, "mlSparseMatrix::multiply_vector: x and y are one vector");
  PASKOSDA_CHECK(x.dimension() == cols(), "mlSparseMatrix::multiply_vector: %d columns, x of %d",
                 cols(), x.dimension());
  y.clear(0);
  y.expand(rows());
  const double* px = x.data();
  double* py = y.data();
  for_each_row(*this, [px, py](int i, const mlSparseRow& r) {
    py[i] = sum_of_products(r, px);
    return true;
  });
}

void mlSparseMatrix::multiply_matrix(const mlMatrix& m, mlMatrix& c) const noexcept {
  PASKOSDA_CHECK(&m != &c, "mlSparseMatrix::multiply_matrix: m and c are one matrix");
  PASKOSDA_CHECK(m.rows() == cols(), "mlSparseMatrix::multiply_matrix: %d columns, m has %d rows",
                 cols(), m.rows());
  const int n = m.cols();
  c.become(mlMatrixZero, rows(), n);
  // Row i of c gathers whole rows of m, one per entry of row i in stored order: each c(i, j)
  // still receives its products in that order, starting from 0.0.
  for (int i = 0; i < rows(); ++i) {
    double* ci = c.data() + static_cast<std::ptrdiff_t>(n) * i;
    for (const mlSparseElement& e : row_at(i)) {
      const double v = e.value();
      const double* mk = m.row_data(e.column());
      for (int j = 0; j < n; ++j)
        ci[j] += v * mk[j];
    }
  }
}

void mlSparseMatrix::decompress(mlMatrix& m) const noexcept {
  const int n = cols();
  m.become(mlMatrixZero, rows(), n);
  for (int i = 0; i < rows(); ++i) {
    double* mi = m.data() + static_cast<std::ptrdiff_t>(n) * i;
    for (const mlSparseElement& e : row_at(i))
      mi[e.column()] = e.value();
  }
}

void mlSparseMatrix::extract_sub_matrix(int r0, int c0, int nr, int nc,
                                        mlSparseMatrix& out) const noexcept {
  if (&out == this) {
    mlSparseMatrix t;
    extract_sub_matrix(r0, c0, nr, nc, t);
    out.take_over(t);
    return;
  }
  PASKOSDA_CHECK(r0 >= 0 && nr >= 0 && r0 + nr <= rows(), "extract_sub_matrix: rows %d to %d of %d",
                 r0, r0 + nr - 1, rows());
  out.become(mlMatrixZero, nr, nc);
  const int c1 = c0 + nc;
  for (int i = 0; i < nr; ++i) {
    mlSparseRow& to = out.row_at(i);
    for (const mlSparseElement& e : row_at(r0 + i)) {
      if (e.column() >= c1) break;
      if (e.column() >= c0) to.append_element(e.column() - c0, e.value());
    }
  }
}

void mlSparseMatrix::concatenate_below(const mlSparseMatrix& b) noexcept {
  const int n = rows();
  const int nb = b.rows();
  resize_rows(n + nb);
  for (int r = 0; r < nb && n + r < rows(); ++r)
    row_at(n + r).become(utCopy, b.row_at(r));
}

void mlSparseMatrix::concatenate_right(const mlSparseMatrix& b) noexcept { append_right_block(b); }

void mlSparseMatrix::concatenate_diagonal(const mlSparseMatrix& b) noexcept {
  append_diagonal_block(b);
}

mlSparseMatrix& mlSparseMatrix::operator+=(const mlSparseMatrix& b) noexcept {
  add_or_subtract(b, 1);
  return *this;
}

mlSparseMatrix& mlSparseMatrix::operator-=(const mlSparseMatrix& b) noexcept {
  add_or_subtract(b, 0);
  return *this;
}
