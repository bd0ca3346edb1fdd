#ifndef PASKOSDA_DECOMP_MLQRDECOMPOSITION_H
#define PASKOSDA_DECOMP_MLQRDECOMPOSITION_H

/// \file
/// Modified Gram-Schmidt orthogonalisation (`mlGramSchmidt`) and the QR factorisation built on
/// it one vector at a time (`mlQRDecomposition`), with their status enumerations.

#include "containers/coDynArr.h"
#include "containers/coPageArr.h"
#include "linalg/mlMatrix.h"
#include "linalg/mlVector.h"
#include "paskosda_export.h"

/// The result of the last operation of an `mlGramSchmidt`.
enum mlGSStatus {
  mlGSNothingDone = 0,  ///< nothing done yet
  mlGSSuccess = 1,      ///< the rows (or the new row) were orthogonalised
  mlGSDependent = 2,    ///< a row was dependent and was removed, with every row after it
  mlGSTooShort = 3,     ///< the vector given to `add` was empty or its |v|^2 below tolerance
  mlGSSizeMismatch = 4  ///< the vector's size differs from the matrix's column count
};

/// The result of the last `add` of an `mlQRDecomposition`.
enum mlQRStatus {
  mlQRNothingAdded = 0,  ///< nothing added yet
  mlQRAccepted = 1,      ///< the vector was accepted: Q and R grew by one
  mlQRDependent = 2,     ///< the vector depended on the earlier ones; Q and R are unchanged
  mlQRTooShort = 3,      ///< the vector's squared length was below the tolerance
  mlQRSizeMismatch = 4   ///< the vector's size differs from Q's column count
};

/// A set of mutually orthogonal vectors kept as the rows of a caller-owned matrix (modified
/// Gram-Schmidt). A vector whose remainder has a squared length below 1e-10 counts as
/// dependent. The matrix must outlive the object, which never frees it.
class PASKOSDA_EXPORT mlGramSchmidt {
 public:
  /// Works on the rows of m; rows already there are orthogonalised at once (when m has
  /// columns), a dependent one being removed together with every row after it.
  explicit mlGramSchmidt(mlMatrix* m) noexcept;
  mlGramSchmidt(const mlGramSchmidt&) = delete;
  mlGramSchmidt& operator=(const mlGramSchmidt&) = delete;
  ~mlGramSchmidt() = default;

  /// Re-initialises on m, as the constructor does; returns this.
  mlGramSchmidt& become(mlMatrix* m) noexcept;

  /// Orthogonalises v against the rows and appends the remainder as a new row (keep = 1), or
  /// only computes it (keep = 0: the set is left as it was). On success v becomes the
  /// remainder and its squared length is returned; otherwise 0.0, with the status saying why
  /// (a dependent vector is not added).
  double add(mlVector* v, int keep) noexcept;

  /// The result of the last operation.
  mlGSStatus status() const noexcept { return status_; }

 private:
  void orthogonalize(int first) noexcept;

  mlMatrix* vectors_ = nullptr;
  doublecoDynArr norms_;  // squared length of each row
  mlGSStatus status_ = mlGSNothingDone;
  double tolerance_ = 1e-10;
};

/// A QR factorisation built one input vector at a time: each accepted vector adds its
/// orthogonalised remainder as a row of the caller's Q and its coefficients on the rows of Q
/// as a row of the caller's R, so that the inputs equal R * Q row by row (R lower triangular
/// as stored). In orthonormal mode the normalised rows are also kept, and R then holds the
/// coefficients on them. Both matrices must outlive the object, which never frees them.
///
/// When a vector depends on the earlier ones (its remainder's squared length is below 1e-10),
/// `add` reports mlQRDependent and leaves Q, R and the stored norms exactly as they were.
class PASKOSDA_EXPORT mlQRDecomposition : public mlGramSchmidt {
 public:
  /// Builds on q and r; rows already in q are orthogonalised as by `mlGramSchmidt`.
  mlQRDecomposition(mlMatrix* q, mlMatrix* r) noexcept;
  mlQRDecomposition(const mlQRDecomposition&) = delete;
  mlQRDecomposition& operator=(const mlQRDecomposition&) = delete;
  ~mlQRDecomposition() = default;

  /// Re-initialises on q and r, as the constructor does (and leaves orthonormal mode);
  /// returns this.
  mlQRDecomposition& become(mlMatrix* q, mlMatrix* r) noexcept;

  /// Adds the vector a (not changed); the status tells what happened.
  void add(const mlVector* a) noexcept;
  /// From now on also keeps Q's rows normalised and fills R with the coefficients on them.
  /// Call it before the first `add`.
  void set_Q_orthonormal() noexcept { q_orthonormal_ = 1; }
  /// m becomes the normalised rows of Q as columns (the transpose of the kept unit rows).
  void get_orthonormal_Q(mlMatrix& m) const noexcept;

  /// The result of the last `add`.
  mlQRStatus status() const noexcept { return status_; }

 private:
  void decompose() noexcept;
  void decompose_with_Q_orthonormal() noexcept;
  // Adds a copy of the current vector to the Gram-Schmidt set; false (status set) when the
  // set rejected it.
  bool add_to_set() noexcept;

  mlMatrix* q_ = nullptr;
  mlMatrix* r_ = nullptr;
  const mlVector* current_ = nullptr;  // the vector being added, only during `add`
  doublecoPageArr q_norms_;            // squared length of each row of Q
  int q_orthonormal_ = 0;
  mlMatrix q_unit_;  // the normalised rows of Q (orthonormal mode only)
  mlQRStatus status_ = mlQRNothingAdded;
  double tolerance_ = 1e-10;
};

#endif  // PASKOSDA_DECOMP_MLQRDECOMPOSITION_H
