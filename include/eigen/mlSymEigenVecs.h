#ifndef PASKOSDA_EIGEN_MLSYMEIGENVECS_H
#define PASKOSDA_EIGEN_MLSYMEIGENVECS_H

/// \file
/// `mlSymEigenVecs`: every eigenvalue and eigenvector of a real symmetric matrix by the Jacobi
/// method.

#include "containers/coDynArr.h"
#include "containers/coPageArr.h"
#include "eigen/mlEigenVecs.h"
#include "linalg/mlMatrix.h"
#include "linalg/mlSlice.h"
#include "linalg/mlVector.h"
#include "paskosda_export.h"

/// All eigenvalues and eigenvectors of a real symmetric matrix by the classical Jacobi method:
/// each step annihilates the off-diagonal element of largest magnitude with a rotation taken
/// from the closed-form eigenvectors of its 2 by 2 block. Iteration stops when no off-diagonal
/// element reaches tolerance * 0.01; results are ordered by decreasing eigenvalue magnitude,
/// and values of equal magnitude by decreasing position on the final diagonal.
/// After 10,000,000 rotations it gives up with `mlEigenVecsFailed`, storing nothing.
/// Symmetry is not checked; a non-symmetric input is rotated all the same.
class PASKOSDA_EXPORT mlSymEigenVecs : public mlEigenVecs {
 public:
  /// Holds m (square; it must outlive the solver); computes nothing until `calculate`.
  explicit mlSymEigenVecs(const mlMatrix& m) noexcept : mlEigenVecs(m) {}
  /// A temporary would be gone before `calculate` reads it.
  explicit mlSymEigenVecs(const mlMatrix&& m) = delete;
  ~mlSymEigenVecs() = default;

  /// Returns to the constructed state holding m (tolerance 1e-6, nothing computed).
  mlSymEigenVecs& become(const mlMatrix& m) noexcept;
  mlSymEigenVecs& become(const mlMatrix&& m) = delete;

  /// Runs the Jacobi method on the input and sets status `mlEigenVecsOk`, or
  /// `mlEigenVecsFailed` when the rotation limit is reached. The values are appended to the
  /// value array, which is not cleared first: call it once per input.
  void calculate() noexcept;

 private:
  /// 1 when no pair m(i, j), m(j, i) differs by more than the tolerance (an empty matrix
  /// passes), else 0.
  int check_symmetric(const mlMatrix& m) const noexcept;
  /// The eigenvalues l1 >= l2 of the symmetric 2 by 2 matrix s, and their unit eigenvectors
  /// e1 and e2 (each made two elements long).
  void eigens2(const mlMatrix& s, double& l1, double& l2, mlVector& e1,
               mlVector& e2) const noexcept;
  /// Stores the diagonal values ordered by decreasing square, and the matching columns of
  /// vectors.
  void sort(const mlSlice& diagonal, const mlMatrix& vectors) noexcept;

  // The work memory of `calculate`, kept so that a solver used again at the same order
  // allocates nothing: the matrix being rotated, the rotations' product (transposed while
  // rotating, then as it is), the 2 by 2 block and its eigenvectors, two new rows, a state
  // kept to detect a cycle, each row's largest off-diagonal magnitude and its column, and the
  // sort's keys and index.
  mlMatrix rotated_;
  mlMatrix rotations_;
  mlMatrix vectors_;
  mlMatrix block_;
  mlVector e1_;
  mlVector e2_;
  mlVector rows_;
  mlMatrix seen_;
  doublecoDynArr search_;
  doublecoPageArr keys_;
  intcoPageArr index_;
};

#endif  // PASKOSDA_EIGEN_MLSYMEIGENVECS_H
