#ifndef PASKOSDA_SRC_KERNELS_MLSVDKERNEL_H
#define PASKOSDA_SRC_KERNELS_MLSVDKERNEL_H

// The kernels behind the singular value decomposition, and the level-1 daxpy they share with
// the decomposition's driver. Private to the library: not installed, not exported; the tests
// link the kernel objects themselves.
//
// Each gives exactly the bits of the plain level-1 loops it replaces: every element receives
// the same operations, with the same operands in the same order. The kernels only reorder
// work between independent elements (the rows of a matrix under column operations, the
// columns of a matrix under reflections), never the operations on one element.

#include <cstddef>

#include "containers/coDynArr.h"
#include "kernels/mlKernelSupport.h"

namespace paskosda_detail {

// y = y + a * x; nothing at all for a zero factor.
inline void daxpy(int n, double a, const double* x, double* y) noexcept {
  if (n <= 0) return;
  if (a == 0.0) return;
  for (int i = 0; i < n; ++i)
    y[i] = y[i] + a * x[i];
}

// Step l of the bidiagonalisation on the ncols columns right of the pivot column: len
// elements of each (rows l ... n), the first at c, columns ld apart. Column by column, exactly
// as the plain loops
//   if work: daxpy(len, -e[j] / divisor, work, c_j)         the previous step's row reflection
//   if h:    daxpy(len, -ddot(len, h, c_j) / h[0], h, c_j)  this step's column reflection
//   e[j] = c_j[0]
// with ddot the sequential sum from 0.0 in ascending i. e holds the previous step's row on
// entry, this step's on return. The columns must not overlap work, h or e.
void svd_reduce_columns(int len, int ncols, double* c, std::ptrdiff_t ld, double* e, double divisor,
                        const double* work, const double* h,
                        KernelIsa isa = KernelIsa::Best) noexcept;

// The product of a row reflection: work[i] = 0.0, then daxpy(len, e[j], c_j, work) for
// j = 0 ... ncols - 1 (len elements of each column, columns ld apart; a zero e[j] adds
// nothing at all).
void svd_row_products(int len, int ncols, const double* c, std::ptrdiff_t ld, const double* e,
                      double* work, KernelIsa isa = KernelIsa::Best) noexcept;

// Builds a matrix of singular vectors q (column-major, `rows` by `cols`, columns ld apart) from
// the Householder vectors the bidiagonalisation left in it, with exactly the bits of the plain
// loops
//   for j in [steps, cols): column j = e_j
//   for l = steps - 1 down to 0:
//     h = q(l + offset ..., l), rows - l - offset elements (h[0] its pivot)
//     if l < reflections and flags[l] != 0:
//       for j in (l, cols): y = q(l + offset ..., j); daxpy(-ddot(h, y) / h[0], h, y)
//       if householder: q(l ..., l) = minus_one * q(l ..., l) (dscal); q(l, l) = 1 + q(l, l);
//                       q(0 ... l - 1, l) = 0; next l
//     column l = e_l
// (householder goes with offset 0). Every column receives its own operations in that order
// whatever the blocking; minus_one is dscal's factor -1.0, a product (a sign flip would treat
// a NaN differently), taken as an argument so that no compiler folds it into one.
void svd_accumulate(double* q, int rows, std::ptrdiff_t ld, int cols, int steps, int offset,
                    const double* flags, int reflections, bool householder, double minus_one,
                    KernelIsa isa = KernelIsa::Best) noexcept;

// The column operations of the QR sweeps on a matrix of singular vectors (column-major, `rows`
// rows, columns ld apart), recorded as they come and applied later in batches: plane
// rotations (x, y) -> (c x + s y, c y - s x) as the level-1 drot does them, scalings by a
// factor (a x, as dscal) and exchanges of neighbouring columns. Every row of the matrix
// receives the recorded operations in their order, and rows do not interact under column
// operations, so the batch can go through the matrix block of rows by block of rows, each
// block staying in cache for all of it. Rotations come in chains, as a sweep makes them: one
// column of each rotation is the other column of the next, and stays in registers.
//
// Columns are numbered from 0. `flush` applies what is recorded; it must be called before the
// matrix is read. Recording never fails: without memory for a batch (or for a matrix without
// columns), a small one is used.
class SvdColumnOps {
 public:
  /// Records operations on the `cols` columns of q.
  SvdColumnOps(double* q, int rows, std::ptrdiff_t ld, int cols,
               KernelIsa isa = KernelIsa::Best) noexcept;
  SvdColumnOps(const SvdColumnOps&) = delete;
  SvdColumnOps& operator=(const SvdColumnOps&) = delete;
  ~SvdColumnOps() = default;

  /// Starts a chain of rotations: the t-th (from 0) acts on columns first + t and first + t + 1.
  void chain_adjacent(int first) noexcept { open(kAdjacent, first, 0); }
  /// Starts a chain of rotations: the t-th acts on columns first + t * step (as x) and
  /// `partner` (as y); step is +1 or -1.
  void chain_partner(int first, int step, int partner) noexcept {
    open(step > 0 ? kPartnerUp : kPartnerDown, first, partner);
  }
  /// The next rotation of the open chain.
  void rotate(double c, double s) noexcept {
    if (coefficients_used_ + 2 > coefficient_capacity_) continue_after_flush();
    coefficients_[coefficients_used_++] = c;
    coefficients_[coefficients_used_++] = s;
    ++ops_[ops_used_ - 1];
  }
  /// Column col becomes a * column col.
  void scale(int col, double a) noexcept;
  /// Columns col and col + 1 change places.
  void swap_next(int col) noexcept;
  /// Applies everything recorded.
  void flush() noexcept;

  // How an operation is recorded: four ints (kind, first column, partner column, number of
  // rotations), and two coefficients per rotation (c, s) or one per scaling.
  enum Kind { kAdjacent, kPartnerUp, kPartnerDown, kScale, kSwap };

 private:
  static constexpr int kSmall = 16;

  // Records an operation (kind, first, partner, count 0), making room first.
  void open(int kind, int first, int partner) noexcept;
  // The open chain is full: applies the batch, then reopens the chain where it stopped.
  void continue_after_flush() noexcept;

  double* q_ = nullptr;
  int rows_ = 0;
  std::ptrdiff_t ld_ = 0;
  KernelIsa isa_;
  // In memory kept by the thread.
  WorkOf<int> op_storage_;
  Work coefficient_storage_;
  int ops_small_[4 * kSmall]{};
  double coefficients_small_[2 * kSmall]{};
  int* ops_ = nullptr;
  int ops_used_ = 0;
  int op_capacity_ = 0;
  double* coefficients_ = nullptr;
  int coefficients_used_ = 0;
  int coefficient_capacity_ = 0;
};

}  // namespace paskosda_detail

#endif  // PASKOSDA_SRC_KERNELS_MLSVDKERNEL_H
