#ifndef PASKOSDA_ROOTS_MLROOTSOLVE_H
#define PASKOSDA_ROOTS_MLROOTSOLVE_H

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
};

#endif  // PASKOSDA_ROOTS_MLROOTSOLVE_H
