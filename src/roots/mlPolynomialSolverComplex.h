#ifndef PASKOSDA_SRC_ROOTS_MLPOLYNOMIALSOLVERCOMPLEX_H
#define PASKOSDA_SRC_ROOTS_MLPOLYNOMIALSOLVERCOMPLEX_H

// Complex arithmetic of the polynomial solver, from real operations only. The run-time
// library's complex division, modulus (hypot) and square root differ between libraries; these
// give the same bits everywhere, like the rest of the library. No constants: Smith's division
// and the scaled modulus avoid overflow by their order of operations alone. Private to the
// library.

#include <cmath>
#include <complex>

namespace paskosda_detail::polysolve {

using Complex = std::complex<double>;

inline Complex times(Complex z, Complex w) noexcept {
  return {z.real() * w.real() - z.imag() * w.imag(), z.real() * w.imag() + z.imag() * w.real()};
}

inline Complex scaled(double s, Complex z) noexcept { return {s * z.real(), s * z.imag()}; }

// Smith's division: the ratio of the smaller to the larger part of w keeps it from
// overflowing where the plain formula would.
inline Complex divided(Complex z, Complex w) noexcept {
  if (std::fabs(w.real()) >= std::fabs(w.imag())) {
    const double r = w.imag() / w.real();
    const double den = w.real() + w.imag() * r;
    return {(z.real() + z.imag() * r) / den, (z.imag() - z.real() * r) / den};
  }
  const double r = w.real() / w.imag();
  const double den = w.imag() + w.real() * r;
  return {(z.real() * r + z.imag()) / den, (z.imag() * r - z.real()) / den};
}

// |x + iy| as the larger part times sqrt(1 + r²), r the ratio of the parts: no overflow.
inline double modulus(double x, double y) noexcept {
  double a = std::fabs(x);
  double b = std::fabs(y);
  if (a < b) {
    const double t = a;
    a = b;
    b = t;
  }
  if (a == 0.0) return 0.0;
  const double r = b / a;
  return a * std::sqrt(1.0 + r * r);
}

inline double modulus(Complex z) noexcept { return modulus(z.real(), z.imag()); }

// The principal square root; the halves are formed before the sum so that it cannot overflow.
inline Complex square_root(Complex z) noexcept {
  const double x = z.real();
  const double y = z.imag();
  if (x == 0.0 && y == 0.0) return {0.0, 0.0};
  const double t = std::sqrt(0.5 * std::fabs(x) + 0.5 * modulus(z));
  if (x >= 0.0) return {t, y / (2.0 * t)};
  return {std::fabs(y) / (2.0 * t), y < 0.0 ? -t : t};
}

}  // namespace paskosda_detail::polysolve

#endif  // PASKOSDA_SRC_ROOTS_MLPOLYNOMIALSOLVERCOMPLEX_H
