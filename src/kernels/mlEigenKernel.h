#ifndef PASKOSDA_SRC_KERNELS_MLEIGENKERNEL_H
#define PASKOSDA_SRC_KERNELS_MLEIGENKERNEL_H

// The search behind the symmetric Jacobi eigen-solver. Private to the library: not installed,
// not exported; the tests and benchmarks link the kernel objects themselves.

#include <cfloat>
#include <cmath>
#include <cstddef>

#include "containers/coDynArr.h"

namespace paskosda_detail {

// The largest magnitude in the strict upper triangle of an n by n matrix (row stride n), kept
// row by row, so that after a rotation only the rows it touched and the rows whose largest
// element it touched are looked at again: O(n) per rotation instead of O(n^2).
//
// `largest` gives exactly what one running maximum over the triangle in row-major order gives
// when it starts from -DBL_MAX and is replaced only by a strictly larger magnitude (a NaN never
// replaces it): the largest magnitude and the first position holding it, or -DBL_MAX and
// (-1, -1) when no element is a number. Each row keeps its own maximum and first position by
// the same rule; the rows are then taken in order by the same rule, which picks the first row
// holding the overall maximum and, in it, the first position.
class OffDiagonalMaxima {
 public:
  // Keeps the rows' maxima in the caller's arrays (whose room is used again).
  OffDiagonalMaxima(doublecoDynArr& magnitude, intcoDynArr& column) noexcept
      : magnitude_(magnitude), column_(column) {}

  // Below this order a whole scan costs less than keeping the rows.
  static constexpr int kKeptFrom = 8;

  // Looks at every row of a. For small orders, or without the memory for the rows, `largest`
  // scans the whole triangle each time instead.
  void build(const double* a, int n) noexcept {
    a_ = a;
    n_ = n;
    magnitude_.clear(0);
    column_.clear(0);
    kept_ = n >= kKeptFrom && magnitude_.expand(n) != 0 && column_.expand(n) != 0;
    for (int r = 0; r < n && kept_; ++r)
      scan(r);
  }

  // After rows and columns p and q (p < q) of a changed, and no other element.
  void rotated(const double* a, int p, int q) noexcept {
    a_ = a;
    if (!kept_) return;
    scan(p);
    scan(q);
    // Rows above q hold the changed columns p (rows above p) and q.
    const int* column = column_.data();
    for (int r = 0; r < q; ++r) {
      if (r == p) continue;
      if (column[r] == p || column[r] == q) {
        scan(r);
        continue;
      }
      const double* row = a + std::ptrdiff_t{n_} * r;
      if (r < p) offer(r, p, std::fabs(row[p]));
      offer(r, q, std::fabs(row[q]));
    }
  }

  double largest(int& p, int& q) const noexcept {
    double best = -DBL_MAX;
    p = -1;
    q = -1;
    if (!kept_) {
      for (int r = 0; r < n_; ++r) {
        const double* row = a_ + std::ptrdiff_t{n_} * r;
        for (int c = r + 1; c < n_; ++c) {
          const double x = std::fabs(row[c]);
          if (x > best) {
            best = x;
            p = r;
            q = c;
          }
        }
      }
      return best;
    }
    const double* magnitude = magnitude_.data();
    const int* column = column_.data();
    for (int r = 0; r < n_; ++r) {
      if (magnitude[r] > best) {
        best = magnitude[r];
        p = r;
        q = column[r];
      }
    }
    return best;
  }

 private:
  // Row r's largest magnitude of a(r, r+1 .. n-1) and the first column holding it: the
  // maximum first, without branches, then where it first is (a maximum does not depend on the
  // order it is taken in).
  void scan(int r) noexcept {
    const double* row = a_ + std::ptrdiff_t{n_} * r;
    double m = -DBL_MAX;
    for (int j = r + 1; j < n_; ++j) {
      const double x = std::fabs(row[j]);
      m = x > m ? x : m;
    }
    int c = r + 1;
    while (c < n_ && std::fabs(row[c]) != m)
      ++c;
    magnitude_.data()[r] = m;
    column_.data()[r] = c < n_ ? c : -1;
  }
  // Element (r, c), not the row's recorded largest, now has magnitude x.
  void offer(int r, int c, double x) noexcept {
    double& m = magnitude_.data()[r];
    int& at = column_.data()[r];
    if (x > m || (x == m && c < at)) {
      m = x;
      at = c;
    }
  }

  const double* a_ = nullptr;
  int n_ = 0;
  doublecoDynArr& magnitude_;  // per row: its largest magnitude
  intcoDynArr& column_;        // per row: the first column holding it
  bool kept_ = false;          // whether the rows' maxima are kept
};

}  // namespace paskosda_detail

#endif  // PASKOSDA_SRC_KERNELS_MLEIGENKERNEL_H
