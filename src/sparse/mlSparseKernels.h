#ifndef PASKOSDA_SPARSE_MLSPARSEKERNELS_H
#define PASKOSDA_SPARSE_MLSPARSEKERNELS_H

// The row-level work the general and the symmetric sparse matrices share: accumulating rows of
// a product, packing rows and columns for the products, and the row sums and merges.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <new>
#include <utility>

#include "kernels/mlKernelSupport.h"
#include "sparse/mlSparseMatrix.h"

namespace paskosda_detail::sparse {

// The position of the lowest set bit of a non-zero word, by a de Bruijn multiplication: the
// isolated bit times the constant has a distinct top six bits for each position.
inline constexpr std::uint64_t kDeBruijn = 0x03f79d71b4cb0a89u;

struct LowBitTable {
  int position[64]{};
};

constexpr LowBitTable make_low_bit_table() {
  LowBitTable t{};
  for (int i = 0; i < 64; ++i)
    t.position[((std::uint64_t{1} << i) * kDeBruijn) >> 58] = i;
  return t;
}

inline constexpr LowBitTable kLowBit = make_low_bit_table();

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
  int words_ = 0;
  int summary_words_ = 0;
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
  const auto at = reinterpret_cast<std::uintptr_t>(p);
  for (int l = 0; l < lines; ++l) {
    // NOLINTNEXTLINE(performance-no-int-to-ptr): only a hint, never dereferenced.
    __builtin_prefetch(reinterpret_cast<const void*>(at + 64 * static_cast<std::uintptr_t>(l)));
  }
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
inline double sum_of_products(const mlSparseRow& r, const double* x) noexcept {
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
inline void merge_rows(const mlSparseRow& a, const mlSparseRow& b, bool add,
                       mlSparseRow& out) noexcept {
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

}  // namespace paskosda_detail::sparse

#endif  // PASKOSDA_SPARSE_MLSPARSEKERNELS_H
