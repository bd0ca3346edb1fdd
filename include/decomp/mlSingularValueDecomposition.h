#ifndef PASKOSDA_DECOMP_MLSINGULARVALUEDECOMPOSITION_H
#define PASKOSDA_DECOMP_MLSINGULARVALUEDECOMPOSITION_H

/// \file
/// The singular value decomposition `mlSingularValueDecomposition`, with rank, pseudo-inverse
/// and least-squares solves, and the one-sided Jacobi decomposition `ml_svd`.

#include "linalg/mlMatrix.h"
#include "linalg/mlVector.h"
#include "paskosda_export.h"

/// The singular value decomposition A = U * diag(s) * V^T of an m by n matrix by Householder
/// bidiagonalisation and implicitly shifted QR sweeps (Golub-Kahan-Reinsch, in the structure
/// of LINPACK's DSVDC). The whole computation runs in the constructor; `invalid()` is 1 when
/// some singular value did not converge within 100 sweeps, and the members then hold what the
/// iteration left. The queries never test that flag.
class PASKOSDA_EXPORT mlSingularValueDecomposition {
 public:
  /// Which left singular vectors to compute.
  enum mlJOB_U {
    mlJOB_U_NONE = 0,  ///< none: U() is 1 by 1
    mlJOB_U_FULL = 1   ///< all of them: U() is m by m
  };
  /// Which right singular vectors to compute.
  enum mlJOB_V {
    mlJOB_V_NONE = 0,    ///< none: V() is 1 by 1
    mlJOB_V_FULL = 1,    ///< all of them: V() is n by n
    mlJOB_V_REDUCED = 2  ///< the first min(m, n) of them: V() is n by min(m, n)
  };

  /// Decomposes a with both full sets of singular vectors. `a` must outlive the object.
  explicit mlSingularValueDecomposition(const mlMatrix& a) noexcept;
  /// Decomposes a, computing the singular vectors the two jobs ask for.
  mlSingularValueDecomposition(const mlMatrix& a, mlJOB_U job_u, mlJOB_V job_v) noexcept;
  mlSingularValueDecomposition(const mlSingularValueDecomposition&) = delete;
  mlSingularValueDecomposition& operator=(const mlSingularValueDecomposition&) = delete;
  ~mlSingularValueDecomposition() = default;

  /// Re-decomposes with a new matrix, as the constructors do (the pseudo-inverse cache is
  /// emptied); returns this.
  ///@{
  mlSingularValueDecomposition& become(const mlMatrix& a) noexcept;
  mlSingularValueDecomposition& become(const mlMatrix& a, mlJOB_U job_u, mlJOB_V job_v) noexcept;
  ///@}

  /// The left singular vectors as columns (m by m, or 1 by 1 when not computed).
  const mlMatrix& U() const noexcept { return u_; }
  /// The right singular vectors as columns (n by n, n by min(m, n), or 1 by 1 when not
  /// computed).
  const mlMatrix& V() const noexcept { return v_; }
  /// The min(m, n) singular values, non-negative and in decreasing order.
  const mlVector& diagonal() const noexcept { return s_; }
  /// 1 when the iteration failed to converge, else 0.
  int invalid() const noexcept { return invalid_; }

  /// The number of singular values that count at tolerance tol. With a single value the
  /// test is absolute (0 when tol > s[0]); with two or more it is relative: s[0] always
  /// counts, and counting stops at the first later value below tol * s[0].
  int rank(double tol) const noexcept;
  /// 1 when rank(tol) is 0 or smaller than the number of singular values, else 0.
  int is_singular(double tol) const noexcept;
  /// The pseudo-inverse V * diag(w) * U^T, with w[i] = 1 / s[i] for the values above
  /// tol * s[0] (always for s[0] unless it is zero) and 0 otherwise. Computed on the first
  /// call and cached: the tolerance of later calls is ignored. Needs both vector sets.
  const mlMatrix& inverse(double tol) const noexcept;
  /// x = inverse(1e-7) * b: the minimum-norm least-squares solution for each column of b.
  void solve(const mlMatrix& b, mlMatrix& x) const noexcept;
  /// x = inverse(1e-7) * b: the minimum-norm least-squares solution of A x = b.
  void solve(const mlVector& b, mlVector& x) const noexcept;

 protected:
  /// Decomposes a into s, u and v with job = jobU + 10 * jobV. Returns 1, or 0 when some
  /// singular value did not converge.
  static int SVD(const mlMatrix& a, mlVector& s, mlMatrix& u, mlMatrix& v, int job) noexcept;

 private:
  const mlMatrix* matrix_ = nullptr;
  mlMatrix u_;
  mlVector s_;
  mlMatrix v_;
  mutable mlMatrix inverse_cache_;
  int invalid_ = 0;
};

/// One-sided Jacobi (Hestenes) singular value decomposition after Nash, in place on raw
/// arrays. w is row-major with m + n rows and n columns: rows 0 ... m-1 hold A on entry and
/// U * diag(singular values) on return; rows m ... m+n-1 receive V. z (n values) receives the
/// squared column norms, the squares of the singular values, unordered. Sweeps stop when a
/// sweep rotates nothing or after max(n / 4, 6) + 1 sweeps; columns whose squared norm falls
/// below 1e-23 of the first stop taking part (down to two).
PASKOSDA_EXPORT void ml_svd(double* w, double* z, int m, int n) noexcept;

#endif  // PASKOSDA_DECOMP_MLSINGULARVALUEDECOMPOSITION_H
