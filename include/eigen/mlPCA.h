#ifndef PASKOSDA_EIGEN_MLPCA_H
#define PASKOSDA_EIGEN_MLPCA_H

/// \file
/// Principal component analysis of a set of points, `mlPCA`.

#include "containers/coDynArr.h"
#include "containers/doublecoDynArr2D.h"
#include "linalg/mlMatrix.h"
#include "linalg/mlSlice.h"
#include "linalg/mlVector.h"
#include "paskosda_export.h"

/// The state of a principal component analysis, and the answer of `mlPCA::axis` to a bad
/// index.
enum mlPCAStatus {
  mlPCANotAnalysed = 0,    ///< no analysis has run
  mlPCAOk = 1,             ///< the analysis is done
  mlPCATooFewPoints = 2,   ///< fewer points than dimensions, fewer than 2 points or dimensions
  mlPCAAxisOutOfRange = 3  ///< returned (never stored) by `axis` for an index out of range
};

/// Principal component analysis of n points in d dimensions, done once at construction: the
/// mass centre, the principal axes of the scatter and the sample variance along each axis
/// (decreasing; axes of equal variance in the order the singular value decomposition gives
/// them). The centred points, divided by sqrt(n - 1), go to the A^T A eigen-solver, so
/// the covariance matrix is never formed. The queries with an output argument return the
/// status and fill the output only after a successful analysis; the view queries are
/// unchecked.
class PASKOSDA_EXPORT mlPCA {
 public:
  /// Analyses the points (first index the point, second the coordinate) when there are at
  /// least as many points as dimensions and at least 2 dimensions; otherwise the status is
  /// `mlPCATooFewPoints` and nothing is stored.
  explicit mlPCA(const doublecoDynArr2D& points) noexcept;
  mlPCA(const mlPCA&) = delete;
  mlPCA& operator=(const mlPCA&) = delete;
  ~mlPCA() = default;

  /// Analyses a new set of points as the constructor does; returns this.
  mlPCA& become(const doublecoDynArr2D& points) noexcept;

  /// The state of the analysis.
  mlPCAStatus status() const noexcept { return status_; }
  /// The mean point (d elements; empty without an analysis).
  const doublecoDynArr& mass_centre() const noexcept { return centre_; }
  /// The variances along the axes, decreasing.
  const mlVector& eigenvalues() const noexcept { return eigenvalues_; }
  /// out becomes a copy of the variances when the analysis succeeded; returns the status.
  mlPCAStatus eigenvalues(mlVector& out) const noexcept;
  /// Variance i (index not checked), or the largest double without a successful analysis.
  double eigenvalue(int i) const noexcept;
  /// out becomes the axis of largest variance when the analysis succeeded; returns the
  /// status.
  mlPCAStatus principal_axis(mlVector& out) const noexcept;
  /// A view of the axis of largest variance (unchecked).
  mlSlice principal_axis() const noexcept { return axes_.col(0); }
  /// out becomes the axis of least variance when the analysis succeeded; returns the status.
  mlPCAStatus least_axis(mlVector& out) const noexcept;
  /// A view of the axis of least variance (unchecked).
  mlSlice least_axis() const noexcept { return axes_.col(eigenvalues_.dimension() - 1); }
  /// `mlPCAAxisOutOfRange` when i is not the index of a variance, leaving out untouched;
  /// otherwise out becomes axis i when the analysis succeeded, and the status is returned.
  mlPCAStatus axis(int i, mlVector& out) const noexcept;
  /// A view of axis i (unchecked).
  mlSlice axis(int i) const noexcept { return axes_.col(i); }

 private:
  /// Centres and scales the points and runs the A^T A eigen-solver on them.
  void do_pca(const doublecoDynArr2D& points) noexcept;

  mlVector eigenvalues_;
  mlMatrix axes_;
  doublecoDynArr centre_;
  mlPCAStatus status_ = mlPCANotAnalysed;
};

#endif  // PASKOSDA_EIGEN_MLPCA_H
