#ifndef PASKOSDA_EIGEN_MLEIGENVECS_H
#define PASKOSDA_EIGEN_MLEIGENVECS_H

/// \file
/// `mlEigenVecs`, the common base of the eigen-solvers, and their state `mlEigenVecsStatus`.

#include "containers/coDynArr.h"
#include "linalg/mlMatrix.h"
#include "linalg/mlSlice.h"
#include "linalg/mlVector.h"
#include "paskosda_export.h"

/// The state of an eigen-solver.
enum mlEigenVecsStatus {
  mlEigenVecsNotCalculated = 0,  ///< constructed; `calculate` has not run
  mlEigenVecsFailed = 1,         ///< `calculate` gave up; values and vectors are not filled
  mlEigenVecsOk = 2              ///< `calculate` succeeded
};

/// The common base of the eigen-solvers: the input matrix (held by pointer, not owned), the
/// eigenvalues in result order, one eigenvector per column of a matrix (column k belongs to
/// eigenvalue k), a tolerance and a status. The solvers compute in an explicit `calculate`;
/// the queries read the stored results and never test the status themselves.
class PASKOSDA_EXPORT mlEigenVecs {
 public:
  mlEigenVecs(const mlEigenVecs&) = delete;
  mlEigenVecs& operator=(const mlEigenVecs&) = delete;

  /// Sets the tolerance to |t| (the default is 1e-6).
  void set_tolerance(double t) noexcept;
  /// The solver's state.
  mlEigenVecsStatus status() const noexcept { return status_; }

  /// The number of (real) eigenvalues stored.
  int num_real_eigen_values() const noexcept { return eigen_values_.size(); }
  /// Eigenvalue i (index not checked).
  double eigen_value(int i) const noexcept { return eigen_values_[i]; }
  /// The eigenvalues in result order.
  const doublecoDynArr& eigen_values() const noexcept { return eigen_values_; }
  /// v takes the eigenvalues through `mlVector::become(utConvert, ...)`: it grows to their
  /// number if shorter, and a longer v keeps its extra elements.
  void eigen_values(mlVector& v) const noexcept;
  /// The eigenvectors, one per column.
  const mlMatrix& eigen_vectors() const noexcept { return eigen_vectors_; }
  /// A view of column i of the eigenvector matrix (it aliases the solver's storage).
  mlSlice eigen_vector(int i) const noexcept { return eigen_vectors_.col(i); }

  /// 1 when tol > |a - b| (strictly), else 0.
  static int equals(double a, double b, double tol) noexcept;
  /// 1 when the scalar product of u and v equals 1.0 or -1.0 within tol (as above), so two
  /// unit vectors count as equal when parallel or anti-parallel; else 0.
  static int equals(const mlSlice& u, const mlSlice& v, double tol) noexcept;

 protected:
  /// The tolerance a new or re-initialised solver starts with.
  static constexpr double kDefaultTolerance = 1e-6;

  /// Holds m (which must outlive the solver and stay unchanged until `calculate` has run);
  /// no values or vectors, tolerance 1e-6, status `mlEigenVecsNotCalculated`.
  explicit mlEigenVecs(const mlMatrix& m) noexcept : matrix_(&m) {}
  ~mlEigenVecs() = default;

  /// Returns to the state the constructor leaves, holding m instead (the tolerance too goes
  /// back to 1e-6); the storage is kept.
  mlEigenVecs& become(const mlMatrix& m) noexcept;

  const mlMatrix* matrix_ = nullptr;                     ///< The input matrix (borrowed).
  mlMatrix eigen_vectors_;                               ///< One eigenvector per column.
  doublecoDynArr eigen_values_;                          ///< The eigenvalues in result order.
  double tolerance_ = kDefaultTolerance;                 ///< The solver's tolerance.
  mlEigenVecsStatus status_ = mlEigenVecsNotCalculated;  ///< The solver's state.
};

#endif  // PASKOSDA_EIGEN_MLEIGENVECS_H
