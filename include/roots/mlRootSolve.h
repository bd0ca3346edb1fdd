#ifndef PASKOSDA_ROOTS_MLROOTSOLVE_H
#define PASKOSDA_ROOTS_MLROOTSOLVE_H

/// \file
/// `mlRootSolve`: closed-form roots of quadratic, cubic and quartic equations, and Newton and
/// regula falsi iterations for functions of one variable.

#include "functions/mlFunction.h"
#include "paskosda_export.h"

/// The outcome of a closed-form solver: the number of distinct real roots written (0 to 4),
/// or mlRootsEverywhere when every coefficient is zero (the equation holds for all x).
enum mlRootType {
  mlRootsEverywhere = -1,
  mlRootsNone = 0,
  mlRootsOne = 1,
  mlRootsTwo = 2,
  mlRootsThree = 3,
  mlRootsFour = 4
};

/// Real roots of polynomial equations in closed form, and iterative root finders for
/// functions of one variable. The closed-form solvers write their roots in ascending order
/// into the first outputs.
class PASKOSDA_EXPORT mlRootSolve {
 public:
  mlRootSolve() = delete;

  /// a x^2 + b x + c = 0, after scaling by the largest coefficient magnitude. A double root
  /// (also one within a relative 1e-11 of the discriminant) counts as two equal roots; a
  /// leading coefficient below 1e-11 of the largest makes the equation linear. Outputs beyond
  /// the count are 0.
  static mlRootType quadratic_solve(double a, double b, double c, double& r1, double& r2) noexcept;
  /// a x^3 + b x^2 + c x + d = 0 (Cardano's formulas, trigonometric for three real roots). A
  /// leading coefficient below 1e-10 of the next hands the equation to `quadratic_solve`.
  /// Outputs beyond the count are 0.
  static mlRootType cubic_solve(double a, double b, double c, double d, double& r1, double& r2,
                                double& r3) noexcept;
  /// a x^4 + b x^3 + c x^2 + d x + e = 0 (Ferrari's method). Roots within 1e-6 of the root
  /// just below them are reported once. Outputs beyond the count are unspecified.
  static mlRootType quartic_solve(double a, double b, double c, double d, double e, double& r1,
                                  double& r2, double& r3, double& r4) noexcept;

  /// Newton's method from x: each step evaluates f and f' and moves by f / f'. A point
  /// leaving the domain [t_min, t_max] is clamped to it and fails (ok = 0) when the next step
  /// would leave again. Converged (ok = 1) when f = 0 or the step is below tol. A zero
  /// derivative fails with the point DBL_MAX; running out of max_iter iterations fails with
  /// the last point.
  static double newton_raphson(const mlFunction& f, double x, double tol, int& ok, int max_iter);
  /// Newton's method safeguarded by the bracket [a, b] (a < b expected, the signs of f(a) and
  /// f(b) not checked): an end within tol of a root is returned at once; a Newton point that
  /// leaves the bracket's sign pattern, or a derivative below tol, is replaced by a
  /// false-position move that narrows the bracket. ok = 0 only when max_iter runs out.
  static double newton_raphson(const mlFunction& f, double a, double b, double tol, int& ok,
                               int max_iter);
  /// False position on [a, b], Illinois variant (the value kept at the end that stays is
  /// halved when the same end is kept twice). Stops at f = 0 or |b - a| <= tol; ok is 1 when
  /// the bracket finally is that narrow, else 0.
  static double regula_falsi(const mlFunction& f, double a, double b, double tol, int& ok,
                             int max_iter);
};

#endif  // PASKOSDA_ROOTS_MLROOTSOLVE_H
