#ifndef PASKOSDA_DECOMP_MLLUDECOMPOSITION_H
#define PASKOSDA_DECOMP_MLLUDECOMPOSITION_H

/// \file
/// The LU decomposition with partial pivoting, `mlLUDecomposition`, and its elimination
/// kernel `ml_lu_eliminate`.

#include "containers/coDynArr.h"
#include "linalg/mlMatrix.h"
#include "linalg/mlVector.h"
#include "paskosda_export.h"

/// P * A = L * U of a square matrix by Gaussian elimination with partial (row) pivoting, done
/// once in the constructor; determinant, inverse and solves are answered from the stored
/// factors. A pivot whose magnitude is below 1e-20 stops the elimination and marks the
/// decomposition singular; the queries never test that flag (test `is_singular()` first).
///
/// A matrix that is not square is rejected: it is marked singular without being eliminated,
/// and its factors are an n by n matrix of zeros (n its row count), so that every query stays
/// well defined. A 0 by 0 matrix is the empty, regular system: not singular, determinant 1.0,
/// and every solve returns an empty result.
class PASKOSDA_EXPORT mlLUDecomposition {
 public:
  /// Factorises a (copied; a is not read afterwards).
  explicit mlLUDecomposition(const mlMatrix& a) noexcept;
  mlLUDecomposition(const mlLUDecomposition&) = delete;
  mlLUDecomposition& operator=(const mlLUDecomposition&) = delete;
  ~mlLUDecomposition() = default;

  /// Factorises a in place of the current factors, as the constructor does; returns this.
  mlLUDecomposition& become(const mlMatrix& a) noexcept;

  /// 1 when the elimination met a pivot below 1e-20 (or the matrix was not square), else 0.
  int is_singular() const noexcept { return singular_; }
  /// The order n of the factored matrix (its row count).
  int dimension() const noexcept { return factors_.rows(); }

  /// The determinant: -1.0 or +1.0 by the parity of the row swaps, times the diagonal of U in
  /// row order.
  double determinant() const noexcept;
  /// l becomes the unit lower triangular factor L (n by n).
  void lower_matrix(mlMatrix& l) const noexcept;
  /// u becomes the upper triangular factor U (n by n).
  void upper_matrix(mlMatrix& u) const noexcept;
  /// p becomes the permutation matrix P, with p(i, source row of row i) = 1.0.
  void permutation_matrix(mlMatrix& p) const noexcept;

  /// x becomes the solution of A * x = b (b must have n elements and is not changed; x must
  /// not be b). The last back-substitution step divides by U(n-1, n-1).
  void solve(const mlVector& b, mlVector& x) const noexcept;
  /// x becomes the solution of A * X = B for the n by k matrix b (x must not be b). The last
  /// row is multiplied by the reciprocal of U(n-1, n-1), so a column may differ in the last
  /// bit from the vector solve of the same right-hand side.
  void solve(const mlMatrix& b, mlMatrix& x) const noexcept;
  /// inv becomes A^-1, the matrix solve of the identity.
  void inverse(mlMatrix& inv) const noexcept;

 private:
  [[maybe_unused]] const mlMatrix* source_ = nullptr;  // the matrix given; never read
  mlMatrix factors_;  // L strictly below the diagonal (unit diagonal not stored), U on and above
  int singular_ = 0;
  intcoDynArr permutation_;  // permutation_[i]: the source row that ended in row i
  int swaps_ = 0;
};

/// Gaussian elimination with partial pivoting, in place, of an r by c matrix with c >= r:
/// the first r columns become L (strictly below the diagonal) and U, and each further column,
/// carried along as a right-hand side, ends up holding the solution X of A * X = B. Among rows
/// of equal pivot magnitude the topmost wins. permutation (r entries) receives the source row
/// of each row and *swaps the number of row interchanges. Returns 1, or 0 as soon as a pivot's
/// magnitude is below `tolerance` (strictly), leaving the matrix as far as it had come. An
/// empty matrix (r = 0) returns 1.
PASKOSDA_EXPORT int ml_lu_eliminate(mlMatrix& a, int* permutation, int* swaps,
                                    double tolerance) noexcept;

/// Exchanges two ints.
PASKOSDA_EXPORT void ml_swap(int& a, int& b) noexcept;

#endif  // PASKOSDA_DECOMP_MLLUDECOMPOSITION_H
