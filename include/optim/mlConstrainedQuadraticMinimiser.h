#ifndef PASKOSDA_OPTIM_MLCONSTRAINEDQUADRATICMINIMISER_H
#define PASKOSDA_OPTIM_MLCONSTRAINEDQUADRATICMINIMISER_H

/// \file
/// Minimisation of a quadratic 1/2 x^T H x + g^T x under linear inequality constraints
/// A_i x >= b_i by a two-stage active-set method. Null spaces and pseudo-inverses of the
/// active constraint normals come from the singular value decomposition at tolerance 1e-7.

#include "containers/coDynArr.h"
#include "linalg/mlMatrix.h"
#include "linalg/mlVector.h"
#include "paskosda_export.h"

/// Minimises 1/2 x^T H x + g^T x over x subject to A x >= b. Stage 1 moves a start point until
/// no constraint is violated by more than 1e-7 (projected steepest descent on the sum of the
/// violated constraints). Stage 2 takes Newton steps in the null space of the active
/// constraints, shortens them at the first constraint they would cross, makes that one active
/// and releases active constraints whose multipliers fall below -1e-7. The rows of A are kept
/// scaled to unit length, so that a residual A_i x - b_i is a signed distance, positive on
/// the feasible side. Constraints that cannot be met together are deleted on request and
/// reported by their index in the constructor's matrix.
///
/// H should be positive definite on the null spaces the method meets: the Newton step uses the
/// pseudo-inverse of the reduced Hessian at tolerance 1e-7, so it does not move along
/// directions of zero (or relatively tiny) curvature, and with a semi-definite H (a linear
/// objective, say) stage 2 can stop short of the minimum.
class PASKOSDA_EXPORT mlConstrainedQuadraticMinimiser {
 public:
  /// A minimiser for the constraints A x >= b (A is m by n; rows are scaled to unit length,
  /// with b scaled alike; a zero row is not guarded against, see `are_valid`). With
  /// delete_overdetermined non-zero, `solve` deletes the constraints stage 1 could not meet
  /// and goes on with the rest.
  mlConstrainedQuadraticMinimiser(const mlMatrix& A, const mlVector& b,
                                  int delete_overdetermined) noexcept;
  /// Re-initialises as the constructor does (all lists emptied). Returns this.
  mlConstrainedQuadraticMinimiser& become(const mlMatrix& A, const mlVector& b,
                                          int delete_overdetermined) noexcept;
  mlConstrainedQuadraticMinimiser(const mlConstrainedQuadraticMinimiser&) = delete;
  mlConstrainedQuadraticMinimiser& operator=(const mlConstrainedQuadraticMinimiser&) = delete;
  ~mlConstrainedQuadraticMinimiser() = default;

  /// 0 when some row of A has length 1e-7 or less, else 1 (also for a matrix without rows).
  /// b is not examined.
  static int are_valid(const mlMatrix& A, const mlVector& b) noexcept;

  /// Minimises from the start point x (n entries), leaving the result in x. Returns 1, or 0
  /// when stage 1 could not meet every constraint (and deletion is off) or stage 2 could not
  /// restore feasibility.
  int solve(const mlMatrix& H, const mlVector& g, mlVector& x) noexcept;
  /// Moves x until no constraint is violated by more than 1e-7, in at most 3 m steps. Returns
  /// 1 when x ends feasible, else 0. Clears the active, deleted and overdetermined lists.
  int stage1(mlVector& x) noexcept;
  /// Minimises the quadratic from the feasible x with the current active set, in at most 3 m
  /// steps (none when there are no constraints: x is then left as it is). Returns 1, also when
  /// the steps run out, or 0 when 30 snapping passes could not restore feasibility.
  int stage2(const mlMatrix& H, const mlVector& g, mlVector& x) noexcept;

  /// Deletes the currently violated constraints and records their indices, in the numbering
  /// of the constructor's matrix, as the overdetermined ones.
  void delete_overdetermined_constraints() noexcept;
  /// The indices recorded by the last `delete_overdetermined_constraints`.
  const intcoDynArr& overdetermined_constraints() const noexcept { return overdetermined_; }

  /// Sorts `list` (indices of deleted constraints) ascending, then turns the indices in
  /// `more`, counted after those deletions, back into the numbering before them and appends
  /// them (in ascending order) to `list`.
  static void append_constraint_indices(intcoDynArr& list, const intcoDynArr& more) noexcept;

 protected:
  /// Rebuilds good (residual >= -1e-7) and bad (the rest) from x, in index order.
  void find_good_bad(const mlVector& x) noexcept;
  /// v becomes minus the sum of the normals of the violated constraints.
  void bad_gradient(mlVector& v) const noexcept;
  /// Rebuilds normals, pinv, Z and Zt from the active set, first dropping the newest active
  /// constraints while the normals are linearly dependent (dropped becomes 1 then). At the
  /// second drop it stops with Zt remade from the old Z and pinv left as it was.
  void Z_from_active(int& dropped) noexcept;
  /// step = -(Z Zt) grad: grad projected onto the null space of the active normals, negated.
  void step_direction(const mlVector& grad, mlVector& step) const noexcept;
  /// step = -Z (Zt H Z)^+ Zt grad: the Newton step in the null space of the active normals.
  void step_direction(const mlVector& grad, const mlMatrix& H, mlVector& step) const noexcept;
  /// The largest multiple t of step that x may take before it crosses a constraint; DBL_MAX
  /// when nothing limits the step. hit becomes the limiting constraint or -1.
  double trim_step_by_constraints(const mlVector& x, const mlVector& step, int stage2,
                                  int& hit) const noexcept;
  /// t becomes the limit constraint i puts on the step (DBL_MAX for none). Returns 0 when the
  /// step is nearly parallel to the constraint's plane and i is not active (degenerate).
  int trim_step_by_constraint(int i, const mlVector& x, const mlVector& step, int stage2,
                              double& t) const noexcept;
  /// Shortens t to the point where the degenerate constraint i changes sign along the step,
  /// by linear interpolation of its residuals at x and x + t step.
  void trim_step_by_degenerate_constraint(int i, const mlVector& x, const mlVector& step,
                                          int stage2, double& t) const noexcept;
  /// 1 when i is active and x + step lies on its plane within 1e-7, else 0.
  int test_step_on_active(int i, const mlVector& x, const mlVector& step) const noexcept;
  /// Moves x perpendicularly onto the plane of constraint i.
  void snap_to_constraint(mlVector& x, int i) const noexcept;
  /// Releases the active constraints with a multiplier below -1e-7 (projected steps). Returns
  /// 1 when the number of active constraints changed, else 0.
  int remove_active_constraints(const mlVector& grad) noexcept;
  /// The same with Newton steps of the quadratic with Hessian H (projected steps when H has
  /// no elements).
  int remove_active_constraints(const mlVector& grad, const mlMatrix& H) noexcept;
  /// Removes constraint i from A and b and renumbers the lists; appends i to deleted.
  void delete_constraint(int i) noexcept;
  /// A_i x - b_i.
  double residual(int i, const mlVector& x) const noexcept;
  /// A_i v.
  double product(int i, const mlVector& v) const noexcept;

  int delete_overdetermined_ = 0;  ///< Whether `solve` deletes what stage 1 cannot meet.
  int n_ = 0;                      ///< The number of variables (columns of A).
  int m_ = 0;                      ///< The number of constraints (rows of A).
  mlMatrix A_;                     ///< The constraint normals, scaled to unit length.
  mlVector b_;                     ///< The right-hand sides, scaled alike.
  intcoDynArr active_;             ///< The active constraints, in the order they became active.
  intcoDynArr good_;               ///< The constraints met within 1e-7 at the last test.
  intcoDynArr bad_;                ///< The constraints violated at the last test.
  mlMatrix normals_;               ///< The active normals as columns (n by active count).
  mlMatrix pinv_;                  ///< The pseudo-inverse of `normals_`.
  mlMatrix Z_;                     ///< A basis of the null space of the active normals.
  mlMatrix Zt_;                    ///< The transpose of `Z_`.
  intcoDynArr deleted_;            ///< The deleted constraints, each in the numbering of its time.
  intcoDynArr overdetermined_;     ///< See `overdetermined_constraints`.

 private:
  int is_active(int i) const noexcept;
};

#endif  // PASKOSDA_OPTIM_MLCONSTRAINEDQUADRATICMINIMISER_H
