#ifndef PASKOSDA_SRC_KERNELS_MLEIGENKERNEL_H
#define PASKOSDA_SRC_KERNELS_MLEIGENKERNEL_H

// The search behind the symmetric Jacobi eigen-solver. Private to the library: not installed,
// not exported; the tests and benchmarks link the kernel objects themselves.

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
  // Looks at every row of a.
  void build(const double* a, int n) noexcept;
  // After rows and columns p and q (p < q) of a changed, and no other element.
  void rotated(const double* a, int p, int q) noexcept;
  double largest(int& p, int& q) const noexcept;

 private:
  void scan(int r) noexcept;
  // Element (r, c) now has magnitude x; the row's largest is elsewhere or (r, c) itself is
  // not it.
  void offer(int r, int c, double x) noexcept;

  const double* a_ = nullptr;
  int n_ = 0;
  // Per row: its largest magnitude and first column holding it. When the memory was not
  // there, `largest` scans the whole triangle instead.
  doublecoDynArr magnitude_;
  intcoDynArr column_;
  bool kept_ = false;
};

}  // namespace paskosda_detail

#endif  // PASKOSDA_SRC_KERNELS_MLEIGENKERNEL_H
