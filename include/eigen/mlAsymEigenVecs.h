#ifndef PASKOSDA_EIGEN_MLASYMEIGENVECS_H
#define PASKOSDA_EIGEN_MLASYMEIGENVECS_H

/// \file
/// Closed-form eigenvalues and eigenvectors of general real 2 by 2 and 3 by 3 matrices
/// (`mlAsymEigenVecs2`, `mlAsymEigenVecs3`), and the eigenvectors of A^T A (`mlATAEigenVecs`).

#include "eigen/mlEigenVecs.h"
#include "linalg/mlMatrix.h"
#include "linalg/mlSlice.h"
#include "paskosda_export.h"

/// The base of the closed-form solvers for small general real matrices: eigenvalues are the
/// real roots of the characteristic polynomial, stored by decreasing magnitude (of two equal
/// magnitudes the larger value first), and each eigenvector (or eigenspace, for a repeated
/// value) is the null space of A - lambda I taken from a singular value decomposition. Complex
/// eigenvalues are simply not reported, so fewer values than the dimension (possibly none) can
/// come back; nothing sets `mlEigenVecsFailed`. The lambda I test uses
/// `mlMatrix::max_absolute_value`, which can overlook negative elements.
class PASKOSDA_EXPORT mlAsymEigenVecs : public mlEigenVecs {
 public:
  virtual ~mlAsymEigenVecs();

 protected:
  /// Holds m, as `mlEigenVecs` does; computes nothing.
  explicit mlAsymEigenVecs(const mlMatrix& m) noexcept : mlEigenVecs(m) {}

  /// out receives a unit null vector of A - lambda I: the right singular vector of its
  /// smallest singular value, or the first unit vector when every element of A - lambda I is
  /// below the tolerance (A is lambda I).
  virtual void calculate_eigen_vector(double lambda, mlSlice& out) const noexcept;
  /// out becomes rows by dim: the right singular vectors of A - lambda I for the dim smallest
  /// singular values, smallest first, or the first dim unit vectors when A is lambda I within
  /// the tolerance.
  void calculate_eigen_space(double lambda, int dim, mlMatrix& out) const noexcept;
  /// Fills columns first ... first + dim - 1 of the vector matrix with
  /// `calculate_eigen_space(lambda, dim, ...)`.
  void store_eigen_space(double lambda, int dim, int first) noexcept;
  /// Fills column k of the vector matrix with `calculate_eigen_vector(lambda, ...)`.
  void store_eigen_vector(double lambda, int k) noexcept;
};

/// Eigenvalues and eigenvectors of a general real 2 by 2 matrix in closed form. Vectors are
/// computed only when both eigenvalues are real; two values equal within 0.0001 share the
/// two-dimensional null space of A - lambda I.
class PASKOSDA_EXPORT mlAsymEigenVecs2 : public mlAsymEigenVecs {
 public:
  /// Holds the 2 by 2 matrix a (it must outlive the solver); computes nothing until
  /// `calculate`.
  explicit mlAsymEigenVecs2(const mlMatrix& a) noexcept : mlAsymEigenVecs(a) {}
  /// A temporary would be gone before `calculate` reads it.
  explicit mlAsymEigenVecs2(const mlMatrix&& a) = delete;
  ~mlAsymEigenVecs2() override;

  /// Returns to the constructed state holding a (tolerance 1e-6, nothing computed).
  mlAsymEigenVecs2& become(const mlMatrix& a) noexcept;
  mlAsymEigenVecs2& become(const mlMatrix&& a) = delete;

  /// The real eigenvalues (none, one or two, by decreasing magnitude) and, when there are
  /// two, a vector matrix of 2 by 2. Always sets `mlEigenVecsOk`.
  void calculate() noexcept;

 private:
  /// The value array becomes the real roots of the characteristic polynomial.
  void calculate_eigen_values() noexcept;
};

/// Eigenvalues and eigenvectors of a general real 3 by 3 matrix in closed form: one, two or
/// three real values by decreasing magnitude, and one vector per value, where values equal
/// within 0.0001 share the null space of A - lambda I of their multiplicity.
class PASKOSDA_EXPORT mlAsymEigenVecs3 : public mlAsymEigenVecs {
 public:
  /// Holds the 3 by 3 matrix a (it must outlive the solver); computes nothing until
  /// `calculate`.
  explicit mlAsymEigenVecs3(const mlMatrix& a) noexcept : mlAsymEigenVecs(a) {}
  /// A temporary would be gone before `calculate` reads it.
  explicit mlAsymEigenVecs3(const mlMatrix&& a) = delete;
  ~mlAsymEigenVecs3() override;

  /// Returns to the constructed state holding a (tolerance 1e-6, nothing computed).
  mlAsymEigenVecs3& become(const mlMatrix& a) noexcept;
  mlAsymEigenVecs3& become(const mlMatrix&& a) = delete;

  /// The real eigenvalues by decreasing magnitude and a 3 by k vector matrix (k values).
  /// Always sets `mlEigenVecsOk`.
  void calculate() noexcept;

 private:
  /// The value array becomes the real roots of the characteristic polynomial.
  void calculate_eigen_values() noexcept;
};

/// Eigenvalues and eigenvectors of A^T A for an m by n matrix A (m >= n), read from the
/// singular value decomposition of A without forming the product: the values are the squared
/// singular values (decreasing), the vectors the right singular vectors.
class PASKOSDA_EXPORT mlATAEigenVecs : public mlEigenVecs {
 public:
  /// Holds a (it must outlive the solver); computes nothing until `calculate`.
  explicit mlATAEigenVecs(const mlMatrix& a) noexcept : mlEigenVecs(a) {}
  /// A temporary would be gone before `calculate` reads it.
  explicit mlATAEigenVecs(const mlMatrix&& a) = delete;
  ~mlATAEigenVecs() = default;

  /// Returns to the constructed state holding a (tolerance 1e-6, nothing computed).
  mlATAEigenVecs& become(const mlMatrix& a) noexcept;
  mlATAEigenVecs& become(const mlMatrix&& a) = delete;

  /// Appends the n values to the value array (not cleared first: call it once per input),
  /// makes the vector matrix n by n and sets `mlEigenVecsOk`. With fewer rows than columns the
  /// values past the min(m, n) singular values are 0.0. The decomposition's own convergence
  /// flag is not consulted.
  void calculate() noexcept;
};

#endif  // PASKOSDA_EIGEN_MLASYMEIGENVECS_H
