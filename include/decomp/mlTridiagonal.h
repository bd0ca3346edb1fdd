#ifndef PASKOSDA_DECOMP_MLTRIDIAGONAL_H
#define PASKOSDA_DECOMP_MLTRIDIAGONAL_H

/// \file
/// `mlTridiagonal`: solvers for tridiagonal and cyclic (periodic) tridiagonal systems.

#include "linalg/mlSlice.h"
#include "paskosda_export.h"

/// A tridiagonal system of order n described by three caller-owned views, and its cyclic
/// (periodic) form with the two corner elements: lower[i] is A(i, i-1), with lower[0] the
/// top-right corner A(0, n-1); diagonal[i] is A(i, i); upper[i] is A(i, i+1), with
/// upper[n-1] the bottom-left corner A(n-1, 0). The numbers stay in the caller's storage,
/// which must outlive the object and is never modified by it; each view needs n elements.
class PASKOSDA_EXPORT mlTridiagonal {
 public:
  /// The system of order n with the given bands (each viewing n elements of the caller's
  /// storage, which is borrowed).
  mlTridiagonal(int n, const mlSlice& lower, const mlSlice& diagonal,
                const mlSlice& upper) noexcept;
  mlTridiagonal(const mlTridiagonal&) = delete;
  mlTridiagonal& operator=(const mlTridiagonal&) = delete;
  ~mlTridiagonal() = default;

  /// Describes another system, as the constructor does; returns this.
  mlTridiagonal& become(int n, const mlSlice& lower, const mlSlice& diagonal,
                        const mlSlice& upper) noexcept;

  /// The order n.
  int size() const noexcept { return size_; }

  /// Writes into x (n elements) the solution of A * x = d for the band alone (the corners are
  /// not used), by elimination without pivoting: a zero pivot gives infinities or NaNs. Does
  /// nothing for n < 1.
  void solve(const mlSlice& d, mlSlice& x) const noexcept;
  /// Writes into x the solution of the cyclic system, corners included, by a rank-one
  /// (Sherman-Morrison) correction of the band. The correction is made only when
  /// `same_sign_corners()` holds; otherwise the corners are ignored and the band alone is
  /// solved (test `same_sign_corners()` first when they matter). For n = 1 both corners lie
  /// on the diagonal: x[0] = d[0] / ((diagonal[0] + upper[0]) + lower[0]) when the signs agree,
  /// else d[0] / diagonal[0]. Does nothing for n < 1.
  void solve_periodic(const mlSlice& d, mlSlice& x) const noexcept;

  /// 1 when every row's off-diagonal magnitudes sum to no more than its diagonal magnitude
  /// (weakly; the first and last rows count only their in-band neighbour), else 0. 1 for
  /// n < 1.
  int diagonally_dominant() const noexcept;
  /// 1 when no diagonal element equals 0.0 (a NaN counts as non-zero), else 0.
  int non_zero_diagonal() const noexcept;
  /// 1 when both corners and the first and last diagonal elements are all >= 0.0, or all
  /// <= 0.0 (zeros fit either sign), else 0. 1 for n < 1.
  int same_sign_corners() const noexcept;

 private:
  int size_ = 0;
  mlSlice lower_;
  mlSlice diagonal_;
  mlSlice upper_;
};

#endif  // PASKOSDA_DECOMP_MLTRIDIAGONAL_H
