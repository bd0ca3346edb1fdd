#ifndef PASKOSDA_ROOTS_MLPOLYNOMIALSOLVER_H
#define PASKOSDA_ROOTS_MLPOLYNOMIALSOLVER_H

/// \file
/// `mlPolynomialSolver`: the real roots and extrema of a real polynomial of any degree.

#include <complex>

#include "paskosda_export.h"

/// Real roots and extrema of a real polynomial of any degree, given as mlPolynomial gives
/// polynomials: an int degree d and the coefficients c[0 ... d], lowest power first. All
/// operations are static; they do not allocate for degrees up to 64 and are deterministic (no
/// random starts), so the same input gives the same bits.
///
/// Method: Laguerre's method with deflation gives every complex root; the real ones, the real
/// parts of near-real ones (|Im z| <= 0.01·|z|, where rounded multiple roots land) and the mean
/// of each cluster of them are candidates, each polished by Newton's method and, where p
/// changes sign, inside a bracket of opposite signs. Degrees 1 and 2 (after the root 0 is
/// divided out) use the closed forms, -c0/c1 and the stable quadratic formula.
///
/// Contract of the real roots:
/// - Trust: the sign of p at a point is trusted only where |p| exceeds the running rounding
///   error bound of Horner's rule there; elsewhere p is rounding noise. A root with a trusted
///   sign change lies in a bracket whose ends have trusted opposite signs, and is the point of
///   it where p is noise or, failing that, the end with the smaller |p| once the bracket is down
///   to a few ulps. A root without a sign change (even multiplicity) is reported only where
///   |p(t)| <= 64·eps·d·Σ|c_i||t|^i and |p(t)| <= d times the running bound.
/// - Multiple roots are reported once when the coefficients are exact. A multiple root whose
///   coefficients were rounded is reported as the rounded polynomial has it: once while its
///   roots lie in each other's rounding noise, as distinct roots where double evaluation tells
///   them apart.
/// - Close roots are one root when closer than 1e-10·max(1, |t|), when p at their midpoint is
///   noise, or when they share one flat region of an even-multiplicity root; the member with
///   the smallest |p| is reported. So distinct roots that double evaluation cannot separate
///   come back as one.
/// - No real roots gives 0. A minimum of |p| that only reaches rounding noise (two complex
///   roots within rounding of the axis) meets the bound above and is reported as a double root.
/// - Lost roots: the trusted signs beside neighbouring roots, and at a range end and beside the
///   root nearest it, are compared before returning; a sign change that no root explains is
///   resolved by bisection. A lost pair of roots leaves no sign change and is not looked for.
/// - Range ends: [lower, upper] is closed and its limits may be infinite; a root on a limit is
///   included, and a root beyond a limit by no more than rounding (|p(limit)| within the bound
///   above) is reported as the limit itself.
/// - Scale: the polynomial is first scaled by powers of two (coefficients and variable, both
///   exact), so coefficients from 1e-30 to 1e30 and roots from 1e-8 to 1e8 are handled alike.
///   Trailing zero coefficients are the exact root 0, which absorbs roots closer to it than
///   1e-10.
class PASKOSDA_EXPORT mlPolynomialSolver {
 public:
  mlPolynomialSolver() = delete;

  /// The distinct real roots t with lower <= t <= upper, ascending, written to roots (room
  /// for `degree` values); returns their number. Returns 0 when `limits_good` fails (checked
  /// first), a coefficient is not finite or a workspace for a degree above 64 cannot be had,
  /// and -1 (mlRootsEverywhere) when every coefficient is 0. Infinite limits are allowed. Leading
  /// zero coefficients lower the degree; trailing ones are the root 0, reported once.
  static int solve_polynomial(int degree, const double* c, double lower, double upper,
                              double* roots) noexcept;
  /// The distinct real roots on the whole real line, ascending (room for `degree` values);
  /// returns their number, -1 for the zero polynomial, 0 for a non-finite coefficient. Roots
  /// too large for a double are not reported.
  static int solve_polynomial_allroots(int degree, const double* c, double* roots) noexcept;
  /// The local extrema strictly inside (lower, upper): the parameters where the derivative
  /// has a root of odd multiplicity (a trusted sign change), ascending, with kind[i] = +1 for a
  /// minimum and -1 for a maximum (room for degree - 1 values each). Returns their number; 0
  /// for a degree below 2, a constant derivative, a non-finite coefficient or bad limits.
  static int solve_polynomial_extrema(int degree, const double* c, double lower, double upper,
                                      double* t, int* kind) noexcept;
  /// 1 when neither limit is NaN and lower <= upper, else 0.
  static int limits_good(double lower, double upper) noexcept { return lower <= upper ? 1 : 0; }

 protected:
  /// All complex roots, with multiplicity, written to re[] and im[] (room for `degree`
  /// values each) in the order found: exact zeros for trailing zero coefficients, then
  /// Laguerre's method from the origin with deflation (smallest roots first; real arithmetic
  /// while the iteration stays real, a complex root deflated with its conjugate, the last
  /// quadratic in closed form), each root then polished on the undeflated polynomial. Returns
  /// the effective degree (the number of roots; 0 for a constant or the zero polynomial), or
  /// -1 when an iteration did not converge or a coefficient is not finite (the roots found
  /// before are written all the same).
  static int zerpol(int degree, const double* c, double* re, double* im) noexcept;
  /// Laguerre's iteration for one root of the complex polynomial a[0 ... degree] from x.
  /// Converged (returns 1) when |p(x)| is within the rounding of its own evaluation, or the
  /// step no longer changes x or is below 2^-26·|x| (x then takes it); every tenth step is
  /// shortened to break limit cycles. Returns 0 when 100 iterations ran out (or degree < 1); x
  /// holds the last iterate and `iterations` the number of iterations done.
  static int laguer(int degree, const std::complex<double>* a, std::complex<double>& x,
                    int& iterations) noexcept;
  /// The bracket keeper of the root polishing: [a, b] holds a sign change (fa, fb of
  /// opposite signs) and x in [a, b] has the value fx. The end whose value has the sign of fx
  /// moves to x. Returns 1 when [a, b] still holds a sign change and b - a > tolerance; 0
  /// when it has shrunk to the tolerance, when fx is 0 (both ends become x with value 0), and
  /// when fx is NaN or x lies outside [a, b] (the bracket is then left as it was).
  static int update_and_check_bracket(double x, double fx, double& a, double& fa, double& b,
                                      double& fb, double tolerance) noexcept;
};

#endif  // PASKOSDA_ROOTS_MLPOLYNOMIALSOLVER_H
