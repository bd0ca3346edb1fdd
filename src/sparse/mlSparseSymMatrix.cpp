#include <cstddef>

#include "sparse/mlSparseKernels.h"
#include "sparse/mlSparseMatrix.h"

using namespace paskosda_detail::sparse;

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
