#ifndef PASKOSDA_TESTS_SUPPORT_REFERENCE_SPARSE_H
#define PASKOSDA_TESTS_SUPPORT_REFERENCE_SPARSE_H

// The sparse products written with the ordered map that defines their results, the transpose
// and the product with a dense vector written as plain loops, random sparse matrices, and a
// bitwise comparison of sparse matrices. Shared by the tests and the benchmarks: the fast
// routines must reproduce these bit for bit.

#include <algorithm>
#include <cstring>
#include <map>
#include <utility>
#include <vector>

#include "linalg/mlRandom.h"
#include "sparse/mlSparseMatrix.h"

namespace paskosda_test {

/// An r by c sparse matrix with about `per_row` entries per row (0 to 2 * per_row distinct
/// random columns, so some rows are empty). The values are uniform in [-1, 1) and never
/// exactly 0.0, or, with a palette, drawn from the palette (which may hold signed zeros, to
/// reach exact cancellations).
inline mlSparseMatrix random_sparse(mlRandom& random, int r, int c, int per_row,
                                    const std::vector<double>& palette = {}) {
  mlSparseMatrix a(mlMatrixZero, r, c);
  for (int i = 0; i < r; ++i) {
    std::vector<int> columns(c > 0 ? random.integer(2 * per_row + 1) : 0);
    for (int& j : columns)
      j = random.integer(c);
    std::sort(columns.begin(), columns.end());
    columns.erase(std::unique(columns.begin(), columns.end()), columns.end());
    for (int j : columns) {
      const double v = palette.empty() ? random.uniform(-1.0, 1.0)
                                       : palette[random.integer(static_cast<int>(palette.size()))];
      a.set(i, j, v == 0.0 && palette.empty() ? 0.5 : v);
    }
  }
  return a;
}

// Row i of a sparse matrix as (column, value) pairs.
inline std::vector<std::pair<int, double>> entries(const mlSparseMatrixBase& m, int i) {
  std::vector<std::pair<int, double>> e;
  for (const mlSparseElement& x : m.row(m, i))
    e.emplace_back(x.column(), x.value());
  return e;
}

/// Same shape, same stored columns in the same order, same value bits.
inline bool same_sparse(const mlSparseMatrixBase& x, const mlSparseMatrixBase& y) {
  if (x.rows() != y.rows() || x.cols() != y.cols()) return false;
  for (int i = 0; i < x.rows(); ++i) {
    const auto a = entries(x, i), b = entries(y, i);
    if (a.size() != b.size()) return false;
    for (std::size_t k = 0; k < a.size(); ++k) {
      if (a[k].first != b[k].first || std::memcmp(&a[k].second, &b[k].second, sizeof(double)) != 0)
        return false;
    }
  }
  return true;
}

/// t = the transpose of a as its definition reads: t becomes a.cols() by a.rows(), then each
/// entry (i, j, v) of a, walking a's rows in ascending order, is set at (j, i).
inline void literal_transpose(const mlSparseMatrix& a, mlSparseMatrix& t) {
  t.become(mlMatrixZero, a.cols(), a.rows());
  for (int i = 0; i < a.rows(); ++i) {
    for (const auto& [j, v] : entries(a, i))
      t.set(j, i, v);
  }
}

/// a x with each element the sum from 0.0 of v * x[j] over its row's entries (j, v), in
/// stored order.
inline std::vector<double> literal_multiply_vector(const mlSparseMatrix& a, const mlVector& x) {
  std::vector<double> y(a.rows());
  for (int i = 0; i < a.rows(); ++i) {
    double s = 0.0;
    for (const auto& [j, v] : entries(a, i))
      s += v * x[j];
    y[i] = s;
  }
  return y;
}

// The ordered map's step: p is stored as it is at a new column j, else added to the sum there.
inline void add_to(std::map<int, double>& sums, int j, double p) {
  const auto [at, inserted] = sums.try_emplace(j, p);
  if (!inserted) at->second += p;
}

/// c = a * b with one ordered map per result row: for each entry (k, x) of a's row i and
/// (j, y) of b's row k, the map's value at j is x * y when j is new, else x * y is added to it;
/// the map is then set into row i in ascending column order, zero sums included.
inline void literal_product(const mlSparseMatrix& a, const mlSparseMatrix& b, mlSparseMatrix& c) {
  c.become(mlMatrixZero, a.rows(), b.cols());
  for (int i = 0; i < a.rows(); ++i) {
    std::map<int, double> sums;
    mlSparseRowIT ia = a.row_iterator(i);
    for (const mlSparseElement* x = ia.advance(); x != nullptr; x = ia.advance()) {
      mlSparseRowIT ib = b.row_iterator(x->column());
      for (const mlSparseElement* y = ib.advance(); y != nullptr; y = ib.advance()) {
        add_to(sums, y->column(), x->value() * y->value());
      }
    }
    for (const auto& [j, v] : sums)
      c.set(i, j, v);
  }
}

/// s = the upper triangle of a^T a with one ordered map per result row c: for each row k of
/// a holding column c (ascending k), with x = a(k, c), and each entry (j, y) of row k with
/// j >= c, x * y goes into the map at j as above.
inline void literal_premultiply_transpose(const mlSparseMatrix& a, mlSparseSymMatrix& s) {
  std::vector<std::vector<std::pair<int, double>>> columns(a.cols());
  for (int k = 0; k < a.rows(); ++k) {
    for (const auto& [c, x] : entries(a, k))
      columns[c].emplace_back(k, x);
  }
  s.become(mlMatrixZero, a.cols());
  for (int c = 0; c < a.cols(); ++c) {
    std::map<int, double> sums;
    for (const auto& [k, x] : columns[c]) {
      mlSparseRowIT it = a.row_iterator(k);
      for (const mlSparseElement* y = it.advance(); y != nullptr; y = it.advance()) {
        if (y->column() < c) continue;
        add_to(sums, y->column(), x * y->value());
      }
    }
    for (const auto& [j, v] : sums)
      s.set(c, j, v);
  }
}

}  // namespace paskosda_test

#endif  // PASKOSDA_TESTS_SUPPORT_REFERENCE_SPARSE_H
