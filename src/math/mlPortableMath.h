#ifndef PASKOSDA_MATH_MLPORTABLEMATH_H
#define PASKOSDA_MATH_MLPORTABLEMATH_H

// The library's own elementary functions. They use plain binary64 arithmetic in a fixed order:
// no fused multiply-add, no extended precision, no platform mathematical library and no
// compiler built-in. So every IEEE-754 machine computes the same bits for the same argument.
// Each is below one unit in the last place and correctly rounded for almost every argument.
// Special values follow C99 Annex F. A build with PASKOSDA_PORTABLE_MATH routes `utMath`, and
// through it every internal call, to these functions.

namespace paskosda_detail {

double portable_sin(double x) noexcept;
double portable_cos(double x) noexcept;
double portable_atan2(double y, double x) noexcept;
double portable_hypot(double x, double y) noexcept;

double portable_exp(double x) noexcept;
double portable_log(double x) noexcept;
double portable_pow(double x, double y) noexcept;
double portable_sinh(double x) noexcept;
double portable_cosh(double x) noexcept;

}  // namespace paskosda_detail

#endif  // PASKOSDA_MATH_MLPORTABLEMATH_H
