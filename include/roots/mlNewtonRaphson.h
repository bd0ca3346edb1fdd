#ifndef PASKOSDA_ROOTS_MLNEWTONRAPHSON_H
#define PASKOSDA_ROOTS_MLNEWTONRAPHSON_H

/// \file
/// `mlNewtonRaphson`: Newton's method for a square system of equations given as an
/// `mlFunctionN`.

#include "functions/mlFunction.h"
#include "linalg/mlMatrix.h"
#include "linalg/mlVector.h"
#include "paskosda_export.h"

/// The outcome of `mlNewtonRaphson::solve`.
enum mlNRStatus {
  mlNRConverged = 0,       ///< the largest residual component is within the tolerance
  mlNRSingular = 1,        ///< the Jacobian at the working point is singular
  mlNRIterationLimit = 2,  ///< `max_iterations` steps were taken
  mlNRStalled = 4,         ///< five successive steps without sufficient progress
  mlNRCycled = 5           ///< a step came back to the best point with the same residual
};

/// Selects the dimension constructor of `mlNewtonRaphson`.
enum mlNRDim { mlNRDimension };

/// Newton's method for a square system f(x) = 0 of an `mlFunctionN` (n variables, n
/// components): each step solves J step = f by LU and subtracts it. Progress is measured by
/// the largest absolute component of f (+infinity when a component is NaN); the best point so
/// far is kept and returned.
class PASKOSDA_EXPORT mlNewtonRaphson {
 public:
  /// A solver for systems of n equations in n unknowns, at most 20 iterations per solve.
  mlNewtonRaphson(mlNRDim, int n) noexcept;
  mlNewtonRaphson(const mlNewtonRaphson&) = delete;
  mlNewtonRaphson& operator=(const mlNewtonRaphson&) = delete;
  ~mlNewtonRaphson() = default;
  /// Re-initialises for n unknowns (20 iterations per solve); returns this.
  mlNewtonRaphson& become(mlNRDim, int n) noexcept;

  /// Iterates from x (n elements) and leaves the best point found in x. The tolerance is
  /// raised to 1e-14 when smaller; iteration stops early once the residual is within 1e-14.
  /// ok = 1 when the best residual is within the tolerance (status mlNRConverged), else 0,
  /// with the reason in status(). A step that made things worse stays in the working point
  /// only.
  void solve(const mlFunctionN& f, mlVector& x, double tol, int& ok);

  /// The outcome of the last solve.
  mlNRStatus status() const noexcept { return status_; }
  /// The iterations done by the last solve.
  int iteration() const noexcept { return iteration_; }
  /// The iteration limit (20 unless set).
  int max_iterations() const noexcept { return max_iterations_; }
  /// Sets the iteration limit of the following solves.
  void set_max_iterations(int n) noexcept { max_iterations_ = n; }

 private:
  mlVector x_;  // the working point
  mlMatrix jacobian_;
  mlVector values_;  // f at the working point
  int iteration_ = 0;
  int max_iterations_ = 20;
  mlNRStatus status_ = mlNRConverged;
  mlVector step_;  // the last Newton step
};

#endif  // PASKOSDA_ROOTS_MLNEWTONRAPHSON_H
