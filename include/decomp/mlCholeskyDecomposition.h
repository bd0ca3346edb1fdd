#ifndef PASKOSDA_DECOMP_MLCHOLESKYDECOMPOSITION_H
#define PASKOSDA_DECOMP_MLCHOLESKYDECOMPOSITION_H

/// \file
/// The Cholesky decomposition A = L L^T of a symmetric positive-definite matrix
/// (`mlCholeskyDecomposition`), with its factorisation and substitution kernels.

#include "containers/coDynArr.h"
#include "linalg/mlMatrix.h"
#include "linalg/mlVector.h"
#include "paskosda_export.h"

/// A = L * L^T of a symmetric positive-definite matrix, done once in the constructor, with
/// determinant, inverse, solves and the factor answered from the stored result. Only the upper
/// triangle and the diagonal of the input are read (symmetry is not tested). A pivot that is
/// not positive (0.0 >= s) stops the factorisation and marks it singular; the queries never
/// test that flag, and their results are then meaningless.
class PASKOSDA_EXPORT mlCholeskyDecomposition {
 public:
  /// Factorises a (a square matrix; copied, not read afterwards).
  explicit mlCholeskyDecomposition(const mlMatrix& a) noexcept;
  mlCholeskyDecomposition(const mlCholeskyDecomposition&) = delete;
  mlCholeskyDecomposition& operator=(const mlCholeskyDecomposition&) = delete;
  ~mlCholeskyDecomposition() = default;

  /// Factorises a in place of the current factors, as the constructor does; returns this.
  mlCholeskyDecomposition& become(const mlMatrix& a) noexcept;

  /// The order n of the factored matrix.
  int dimension() const noexcept { return factors_.rows(); }
  /// 1 when a pivot was not positive, else 0.
  int is_singular() const noexcept { return singular_; }

  /// The product of the diagonal of L in index order, squared; 1.0 for n = 0.
  double determinant() const noexcept;
  /// l becomes L (n by n, zero above the diagonal).
  void matrix_l(mlMatrix& l) const noexcept;
  /// m becomes L^-1 (lower triangular, zero above the diagonal).
  void matrix_l_inverted(mlMatrix& m) const noexcept;
  /// m becomes the symmetric matrix rebuilt from the input's upper triangle and diagonal.
  void matrix_original(mlMatrix& m) const noexcept;

  /// x becomes the solution of A * x = b (b has n elements; x must not be b).
  void solve(const mlVector& b, mlVector& x) const noexcept;
  /// x becomes the solution of A * X = B, column by column; x is resized only when it is not
  /// already n by b.cols(). x must not be b.
  void solve(const mlMatrix& b, mlMatrix& x) const noexcept;
  /// inv becomes A^-1 (resized only when it is not already n by n).
  void inverse(mlMatrix& inv) const noexcept;

 private:
  mlMatrix factors_;         // L strictly below the diagonal; the input on and above it
  doublecoDynArr diagonal_;  // the diagonal of L
  int singular_ = 0;
};

/// Factorises the square matrix a in place, row by row: L is written strictly below the
/// diagonal and its diagonal into `diagonal`; the diagonal and upper triangle of a are never
/// written. Each sum subtracts the products of earlier columns in descending column order.
/// Returns 1, or 0 at the first pivot s with 0.0 >= s (a NaN pivot passes); then only the
/// columns before it are complete. An empty matrix returns 1.
PASKOSDA_EXPORT int ml_cholesky_factor(mlMatrix& a, doublecoDynArr& diagonal) noexcept;

/// Solves L * y = b, then L^T * x = y, with L as `ml_cholesky_factor` left it in a and
/// `diagonal`; b points to n doubles. x is cleared and expanded to n elements.
PASKOSDA_EXPORT void ml_cholesky_substitute(const mlMatrix& a, const doublecoDynArr& diagonal,
                                            const double* b, mlVector& x) noexcept;

#endif  // PASKOSDA_DECOMP_MLCHOLESKYDECOMPOSITION_H
