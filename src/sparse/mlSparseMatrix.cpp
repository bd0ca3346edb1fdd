#include "sparse/mlSparseMatrix.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <new>
#include <utility>

#include "kernels/mlKernelSupport.h"

namespace {

// The position of the lowest set bit of a non-zero word, by a de Bruijn multiplication: the
// isolated bit times the constant has a distinct top six bits for each position.
constexpr std::uint64_t kDeBruijn = 0x03f79d71b4cb0a89u;

struct LowBitTable {
  int position[64];
};

constexpr LowBitTable make_low_bit_table() {
  LowBitTable t{};
  for (int i = 0; i < 64; ++i)
    t.position[((std::uint64_t{1} << i) * kDeBruijn) >> 58] = i;
  return t;
}

constexpr LowBitTable kLowBit = make_low_bit_table();

inline int lowest_set_bit(std::uint64_t w) noexcept {
  return kLowBit.position[((w & (~w + 1)) * kDeBruijn) >> 58];
}

// Accumulates one result row of a sparse product at a time, with the bits of an ordered map
// from column to sum: the first product met at a column is stored as it is (not added to
// 0.0), every later one is added in the order met, and the columns come out ascending. A
// dense array indexed by column replaces the map's search. A bit per column marks the columns
// met in the current row, and a bit per word of those marks the words in use, so that reading
// the columns back in order skips the empty stretches of a wide row.
class RowAccumulator {
 public:
  explicit RowAccumulator(int cols) noexcept
      : words_(cols / 64 + 1), summary_words_(cols / 4096 + 1) {
    ok_ = sums_.expand(cols) != 0 && touched_.expand(cols) != 0 && met_.expand(words_) != 0 &&
          summary_.expand(summary_words_) != 0 && staged_.expand(cols) != 0;
    if (!ok_) return;
    for (int w = 0; w < words_; ++w)
      met_.data()[w] = 0;
    for (int w = 0; w < summary_words_; ++w)
      summary_.data()[w] = 0;
  }

  bool ok() const noexcept { return ok_; }

  void add(int j, double product) noexcept {
    PASKOSDA_CHECK(j >= 0 && j < sums_.size(), "sparse product: column %d of %d", j, sums_.size());
    std::uint64_t& word = met_.data()[j >> 6];
    const std::uint64_t bit = std::uint64_t{1} << (j & 63);
    if ((word & bit) == 0) {
      word |= bit;
      summary_.data()[j >> 12] |= std::uint64_t{1} << ((j >> 6) & 63);
      sums_.data()[j] = product;
      touched_.data()[count_++] = j;
    } else {
      sums_.data()[j] += product;
    }
  }

  // Appends the row's sums in ascending column order (zero sums included) and starts the next.
  void flush(mlSparseRow& out) noexcept {
    const double* sums = sums_.data();
    std::uint64_t* met = met_.data();
    std::uint64_t* summary = summary_.data();
    mlSparseElement* staged = staged_.data();
    // The columns are read back from the marks in column order, unless the row met so few
    // that sorting its list of columns is cheaper than visiting the marks' summary.
    if (summary_words_ <= count_ * 8) {
      int n = 0;
      for (int s = 0; s < summary_words_; ++s) {
        for (std::uint64_t in_use = summary[s]; in_use != 0; in_use &= in_use - 1) {
          const int w = 64 * s + lowest_set_bit(in_use);
          for (std::uint64_t word = met[w]; word != 0; word &= word - 1) {
            const int j = 64 * w + lowest_set_bit(word);
            staged[n++] = mlSparseElement(j, sums[j]);
          }
          met[w] = 0;
        }
        summary[s] = 0;
      }
    } else {
      int* touched = touched_.data();
      std::sort(touched, touched + count_);
      for (int t = 0; t < count_; ++t) {
        const int j = touched[t];
        met[j >> 6] = 0;
        summary[j >> 12] = 0;
        staged[t] = mlSparseElement(j, sums[j]);
      }
    }
    out.append_elements(staged, count_);
    count_ = 0;
  }

 private:
  int words_;
  int summary_words_;
  bool ok_ = false;
  int count_ = 0;
  doublecoDynArr sums_;
  intcoDynArr touched_;
  coDynArr<std::uint64_t> met_;
  coDynArr<std::uint64_t> summary_;
  coDynArr<mlSparseElement> staged_;
};

// A matrix's rows copied into three flat arrays (row starts, columns, values), so that a
// product reaching b's rows in random order finds each with one lookup into a small table and
// reads its columns and values from contiguous memory, instead of going through the row's
// owner and the row object to its own buffer.
class PackedRows {
 public:
  template <class RowOf>
  PackedRows(int rows, RowOf row_of) noexcept {
    int nnz = 0;
    for (int k = 0; k < rows; ++k)
      nnz += row_of(k).size();
    ok_ = start_.expand(rows + 1) != 0 && columns_.expand(nnz) != 0 && values_.expand(nnz) != 0;
    if (!ok_) return;
    int p = 0;
    for (int k = 0; k < rows; ++k) {
      start_.data()[k] = p;
      for (const mlSparseElement& e : row_of(k)) {
        columns_.data()[p] = e.column();
        values_.data()[p] = e.value();
        ++p;
      }
    }
    start_.data()[rows] = p;
  }

  bool ok() const noexcept { return ok_; }
  const int* start() const noexcept { return start_.data(); }
  const int* columns() const noexcept { return columns_.data(); }
  const double* values() const noexcept { return values_.data(); }

 private:
  bool ok_ = false;
  intcoDynArr start_;
  intcoDynArr columns_;
  doublecoDynArr values_;
};

// The entries of packed rows listed by column: column c's list holds, for each row k holding
// c in ascending k, k and the entry's place in the packed arrays.
class PackedColumns {
 public:
  PackedColumns(const PackedRows& rows, int nrows, int ncols) noexcept {
    const int* start = rows.start();
    const int nnz = start[nrows];
    ok_ = first_.expand(ncols + 1) != 0 && row_.expand(nnz) != 0 && place_.expand(nnz) != 0;
    if (!ok_) return;
    int* first = first_.data();
    for (int c = 0; c <= ncols; ++c)
      first[c] = 0;
    const int* columns = rows.columns();
    for (int p = 0; p < nnz; ++p)
      ++first[columns[p] + 1];
    for (int c = 0; c < ncols; ++c)
      first[c + 1] += first[c];
    // Filling moves each start on to the next column's; walking them back afterwards restores
    // them.
    for (int k = 0; k < nrows; ++k) {
      for (int p = start[k]; p < start[k + 1]; ++p) {
        const int q = first[columns[p]]++;
        row_.data()[q] = k;
        place_.data()[q] = p;
      }
    }
    for (int c = ncols; c > 0; --c)
      first[c] = first[c - 1];
    first[0] = 0;
  }

  bool ok() const noexcept { return ok_; }
  /// Column c's list is [first()[c], first()[c + 1]).
  const int* first() const noexcept { return first_.data(); }
  const int* row() const noexcept { return row_.data(); }
  const int* place() const noexcept { return place_.data(); }

 private:
  bool ok_ = false;
  intcoDynArr first_;
  intcoDynArr row_;
  intcoDynArr place_;
};

// Asks for `lines` cache lines of 64 bytes from p on (p may be null: a prefetch reads nothing).
inline void prefetch(const void* p, int lines = 1) noexcept {
#if defined(__GNUC__)
  // In integers: offsets from a null pointer are not pointer arithmetic.
  const std::uintptr_t at = reinterpret_cast<std::uintptr_t>(p);
  for (int l = 0; l < lines; ++l)
    __builtin_prefetch(reinterpret_cast<const void*>(at + 64 * static_cast<std::uintptr_t>(l)));
#else
  static_cast<void>(p);
  static_cast<void>(lines);
#endif
}

// Calls visit(i, row i) for the rows of m in ascending order while it returns true; returns
// false when a visit did. A row's elements lie two dependent loads away (its owner, then the
// row object), which the processor does not look ahead through on its own: the row objects
// 2 * kAhead rows ahead and the first two cache lines of the elements kAhead rows ahead are
// prefetched.
template <class Visit>
bool for_each_row(const mlSparseMatrixBase& m, Visit visit) noexcept {
  constexpr int kAhead = 8;
  const int n = m.rows();
  for (int i = 0; i < n; ++i) {
    if (i + 2 * kAhead < n) prefetch(&m.row(m, i + 2 * kAhead));
    if (i + kAhead < n) prefetch(m.row(m, i + kAhead).begin(), 2);
    if (!visit(i, m.row(m, i))) return false;
  }
  return true;
}

// The sum from 0.0 of v * x[j] over the row's entries (j, v), in stored order. The first
// eight steps are unrolled, each leaving when the row ends: on rows of varying length this
// runs markedly faster than one loop over the row.
double sum_of_products(const mlSparseRow& r, const double* x) noexcept {
  const mlSparseElement* e = r.begin();
  const int n = r.size();
  const int head = std::min(n, 8);
  double s = 0.0;
  int k = 0;
#pragma GCC unroll 8
  for (; k < head; ++k)
    s += e[k].value() * x[e[k].column()];
  for (; k < n; ++k)
    s += e[k].value() * x[e[k].column()];
  return s;
}

// out = a + b or a - b, merged column by column; out is empty and a may be b.
void merge_rows(const mlSparseRow& a, const mlSparseRow& b, bool add, mlSparseRow& out) noexcept {
  const mlSparseElement* pa = a.begin();
  const mlSparseElement* pb = b.begin();
  const mlSparseElement* const ea = a.end();
  const mlSparseElement* const eb = b.end();
  out.reserve(a.size() + b.size());
  while (pa != ea && pb != eb) {
    if (pa->column() < pb->column()) {
      out.append_element(pa->column(), pa->value());
      ++pa;
    } else if (pa->column() > pb->column()) {
      out.append_element(pb->column(), add ? pb->value() : -pb->value());
      ++pb;
    } else {
      out.append_element(pa->column(), add ? pa->value() + pb->value() : pa->value() - pb->value());
      ++pa;
      ++pb;
    }
  }
  for (; pa != ea; ++pa)
    out.append_element(pa->column(), pa->value());
  for (; pb != eb; ++pb)
    out.append_element(pb->column(), add ? pb->value() : -pb->value());
}

}  // namespace

// ---- mlSparseMatrixBase ----------------------------------------------------------------------

void mlSparseMatrixBase::resize_rows(int n) noexcept {
  if (rows_.size() > n) {
    // The rows past n are deleted through their owners when the old row table goes.
    rows_.shrink(n, 1);
    return;
  }
  if (rows_.reserve(n) == 0) return;
  while (rows_.size() < n) {
    mlSparseRow* row = new (std::nothrow) mlSparseRow();
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
  const bool filled = for_each_row(a, [this, to, n](int k, const mlSparseRow& r) {
    for (const mlSparseElement& e : r) {
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

// ---- mlSparseSymMatrix -----------------------------------------------------------------------

mlSparseSymMatrix& mlSparseSymMatrix::become(mlMatrixZeroTag, int n) noexcept {
  mlSparseMatrixBase::become(n, n);
  return *this;
}

mlSparseSymMatrix& mlSparseSymMatrix::become(mlMatrixIdentityTag, int n) noexcept {
  mlSparseMatrixBase::become(mlMatrixIdentity, n);
  return *this;
}

mlSparseSymMatrix& mlSparseSymMatrix::become(utCopyTag, const mlSparseSymMatrix& s) noexcept {
  mlSparseMatrixBase::become(utCopy, s);
  return *this;
}

mlSparseSymMatrix& mlSparseSymMatrix::become(mlMatrixPremultiplyTransposeTag,
                                             const mlSparseMatrix& a) noexcept {
  const int n = a.cols();
  const int m = a.rows();
  // Result row c walks, for each row k of a holding column c (ascending k), row k from that
  // entry on: in a sorted row everything after it has a column above c.
  const PackedRows packed(m, [this, &a](int k) -> const mlSparseRow& { return row(a, k); });
  RowAccumulator sums(n);
  if (!packed.ok() || !sums.ok()) {
    set_invalid();
    return *this;
  }
  const PackedColumns by_column(packed, m, n);
  if (!by_column.ok()) {
    set_invalid();
    return *this;
  }
  mlSparseMatrixBase::become(n, n);
  const int* start = packed.start();
  const int* columns = packed.columns();
  const double* values = packed.values();
  const int* first = by_column.first();
  for (int c = 0; c < n; ++c) {
    for (int q = first[c]; q < first[c + 1]; ++q) {
      const int p0 = by_column.place()[q];
      const int end = start[by_column.row()[q] + 1];
      const double x = values[p0];
      for (int p = p0; p < end; ++p)
        sums.add(columns[p], x * values[p]);
    }
    sums.flush(row_at(c));
  }
  return *this;
}

mlSparseSymMatrix& mlSparseSymMatrix::operator+=(const mlSparseSymMatrix& s) noexcept {
  add_or_subtract(s, 1);
  return *this;
}

mlSparseSymMatrix& mlSparseSymMatrix::operator-=(const mlSparseSymMatrix& s) noexcept {
  add_or_subtract(s, 0);
  return *this;
}

// The products below visit the stored rows in ascending order and send each entry (i, j, v)
// with j > i to both row i (times x[j]) and row j (times x[i]). Row p of the result so gets
// its lower-triangle products from rows i < p in ascending i, then its own stored entries in
// ascending j: the ascending column order of the full row p, the order of the full matrix.

void mlSparseSymMatrix::multiply_vector(const mlVector& x, mlVector& y) const noexcept {
  PASKOSDA_CHECK(&x != &y, "mlSparseSymMatrix::multiply_vector: x and y are one vector");
  PASKOSDA_CHECK(x.dimension() == cols(), "mlSparseSymMatrix::multiply_vector: %d columns, x of %d",
                 cols(), x.dimension());
  const int n = rows();
  y.clear(0);
  y.expand(n);
  const double* px = x.data();
  double* py = y.data();
  for (int i = 0; i < n; ++i)
    py[i] = 0.0;
  for (int i = 0; i < n; ++i) {
    const double xi = px[i];
    double s = py[i];
    for (const mlSparseElement& e : row_at(i)) {
      const int j = e.column();
      if (j == i) {
        s += e.value() * xi;
      } else {
        s += e.value() * px[j];
        py[j] += e.value() * xi;
      }
    }
    py[i] = s;
  }
}

void mlSparseSymMatrix::multiply_matrix(const mlMatrix& m, mlMatrix& c) const noexcept {
  PASKOSDA_CHECK(&m != &c, "mlSparseSymMatrix::multiply_matrix: m and c are one matrix");
  PASKOSDA_CHECK(m.rows() == cols(),
                 "mlSparseSymMatrix::multiply_matrix: %d columns, m has %d rows", cols(), m.rows());
  const int n = m.cols();
  c.become(mlMatrixZero, rows(), n);
  for (int i = 0; i < rows(); ++i) {
    double* ci = c.data() + static_cast<std::ptrdiff_t>(n) * i;
    const double* mi = m.row_data(i);
    for (const mlSparseElement& e : row_at(i)) {
      const int j = e.column();
      const double v = e.value();
      const double* mj = m.row_data(j);
      for (int q = 0; q < n; ++q)
        ci[q] += v * mj[q];
      if (j != i) {
        double* cj = c.data() + static_cast<std::ptrdiff_t>(n) * j;
        for (int q = 0; q < n; ++q)
          cj[q] += v * mi[q];
      }
    }
  }
}

void mlSparseSymMatrix::decompress(mlMatrix& m) const noexcept {
  const int n = cols();
  m.become(mlMatrixZero, rows(), n);
  double* d = m.data();
  for (int i = 0; i < rows(); ++i) {
    for (const mlSparseElement& e : row_at(i)) {
      d[static_cast<std::ptrdiff_t>(n) * i + e.column()] = e.value();
      d[static_cast<std::ptrdiff_t>(n) * e.column() + i] = e.value();
    }
  }
}

void mlSparseSymMatrix::concatenate(const mlSparseMatrix& b) noexcept {
  const int n = rows();
  const int p = b.cols();
  append_right_block(b);
  resize_rows(n + p);
}

void mlSparseSymMatrix::concatenate_diagonal(const mlSparseSymMatrix& s) noexcept {
  append_diagonal_block(s);
}

double mlSparseSymMatrix::row_dot_self(mlSparseRowIT& it) noexcept {
  it.reset();
  double s = 0.0;
  for (const mlSparseElement* e = it.advance(); e != nullptr; e = it.advance())
    s += e->value() * e->value();
  return s;
}
