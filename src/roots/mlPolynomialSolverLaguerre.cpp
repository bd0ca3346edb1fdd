// Laguerre's method and deflation: every complex root of a real polynomial, smallest first,
// from the origin without random starts. Rule: real arithmetic while the iteration stays on
// the axis, complex beyond it; a complex root is deflated with its conjugate only when that
// divides it out better than its real part would; the last quadratic is solved in closed form.
// Constants: at most kLaguerreIterations steps per root; converged when |p| is within
// kConvergedNoise of its evaluation's error bound or the last step was below kFinalStep
// (relative); every kCycleBreak-th step shortened by kStepFractions; kPairThreshold splits real
// roots from pairs, kImaginaryNoise cleans a real root's imaginary rounding.

#include <cfloat>
#include <cmath>

#include "roots/mlPolynomialSolverComplex.h"
#include "roots/mlPolynomialSolverDetail.h"

namespace paskosda_detail::polysolve {

namespace {

// Steps allowed per root; convergence is cubic near a simple root and linear near a multiple
// one, so a run this long only happens on a limit cycle the shortened steps did not break.
constexpr int kLaguerreIterations = 100;
// |p| below this times the running error bound of its evaluation is rounding noise: converged.
constexpr double kConvergedNoise = 2.0 * DBL_EPSILON;
// Convergence is cubic near a simple root: after a step this small (relative) the new iterate
// is already accurate to working precision, and the step to confirm it can be saved.
constexpr double kFinalStep = 0x1p-26;
// Every this many steps the step is shortened, which breaks the rare limit cycles.
constexpr int kCycleBreak = 10;
// The fractions the shortened steps are cut to, in turn.
constexpr double kStepFractions[8] = {0.5, 0.25, 0.75, 0.13, 0.38, 0.62, 0.88, 1.0};
// Where both Laguerre denominators vanish the step goes a fixed distance in one of these
// directions (unit vectors), chosen by the iteration count: deterministic, no random start.
constexpr double kStallDirections[8][2] = {{0.6, 0.8}, {-0.8, 0.6}, {-0.6, -0.8}, {0.8, -0.6},
                                           {1.0, 0.0}, {0.0, 1.0},  {-1.0, 0.0},  {0.0, -1.0}};
// An imaginary part within this of the real part (relative) is rounding of a real root.
constexpr double kImaginaryNoise = 2.0 * DBL_EPSILON;
// sqrt(eps): below this fraction of |z| an imaginary part is dropped before deflation (dividing
// by t - Re z then leaves a remainder at rounding level even for a true pair).
constexpr double kPairThreshold = 0x1p-26;

// p, p' and p''/2 at x by Horner's rule, with a running bound on the rounding of p (in the
// 1-norm |re| + |im|, which is within a factor sqrt(2) of the modulus and needs no root).
struct ComplexValue {
  Complex p;
  Complex dp;
  Complex half_d2p;
  double err = 0.0;
};

ComplexValue evaluate_complex(int degree, const Complex* a, Complex x) noexcept {
  Complex b = a[degree];
  Complex d(0.0, 0.0);
  Complex f(0.0, 0.0);
  const double abx = std::fabs(x.real()) + std::fabs(x.imag());
  double err = std::fabs(b.real()) + std::fabs(b.imag());
  for (int j = degree - 1; j >= 0; --j) {
    f = times(x, f) + d;
    d = times(x, d) + b;
    b = times(x, b) + a[j];
    err = std::fabs(b.real()) + std::fabs(b.imag()) + abx * err;
  }
  return {b, d, f, err};
}

// Rounding may leave a real root with an imaginary part of a few ulps.
Complex clean(Complex x) noexcept {
  if (std::fabs(x.imag()) <= kImaginaryNoise * std::fabs(x.real())) return {x.real(), 0.0};
  return x;
}

// Laguerre's iteration in real arithmetic for a real polynomial from a real start: the steps
// of `laguerre` while they stay on the axis (always, when every root is real), at a quarter of
// the cost. Returns 1 on convergence, 0 when the iterations ran out and 2 when the step leaves
// the axis (x then holds the point to continue from in complex arithmetic).
int real_laguerre(int degree, const double* a, double& x) noexcept {
  const double m = degree;
  for (int iter = 1; iter <= kLaguerreIterations; ++iter) {
    double b = a[degree];
    double d = 0.0;
    double f = 0.0;
    const double abx = std::fabs(x);
    double err = std::fabs(b);
    for (int j = degree - 1; j >= 0; --j) {
      f = x * f + d;
      d = x * d + b;
      b = x * b + a[j];
      err = std::fabs(b) + abx * err;
    }
    if (std::fabs(b) <= kConvergedNoise * err) return 1;
    const double g = d / b;
    const double g2 = g * g;
    const double h = g2 - 2.0 * (f / b);
    const double radicand = (m - 1.0) * (m * h - g2);
    if (radicand < 0.0) return 2;
    const double sq = std::sqrt(radicand);
    const double gp = std::fabs(g + sq) >= std::fabs(g - sq) ? g + sq : g - sq;
    // Both denominators zero: a fixed step, alternately right and left.
    const double dx = gp != 0.0 ? m / gp : (iter % 2 == 1 ? 1.0 + abx : -(1.0 + abx));
    const double x1 = x - dx;
    if (x1 == x) return 1;
    if (std::fabs(dx) <= kFinalStep * std::fabs(x1)) {
      x = x1;
      return 1;
    }
    x = iter % kCycleBreak != 0 ? x1 : x - kStepFractions[(iter / kCycleBreak) % 8] * dx;
    if (x != x) return 0;
  }
  return 0;
}

// Whether a complex root z of the real polynomial a[0 .. j] should be deflated with its
// conjugate: a real root reached through complex arithmetic keeps a small imaginary part, and
// deflating it as a pair would remove it twice. Above kPairThreshold·|z| the quadratic
// (t - z)(t - conj z) must divide a true pair out with a smaller remainder at Re z than the
// linear factor t - Re z leaves.
bool is_pair(int j, const double* a, Complex z) noexcept {
  if (std::fabs(z.imag()) <= kPairThreshold * modulus(z)) return false;
  const double x = z.real();
  const double p = -2.0 * x;
  const double r = x * x + z.imag() * z.imag();
  // Horner for the linear remainder a(x); the quadratic division from the top for the other.
  double linear = a[j];
  for (int k = j - 1; k >= 0; --k)
    linear = linear * x + a[k];
  double q1 = 0.0;  // the quotient coefficient above the current one
  double q0 = a[j];
  for (int k = j - 1; k >= 2; --k) {
    const double next = a[k] - p * q0 - r * q1;
    q1 = q0;
    q0 = next;
  }
  const double r1 = a[1] - p * q0 - r * q1;
  const double r0 = a[0] - r * q0;
  return std::fabs(r1 * x + r0) < std::fabs(linear);
}

// One root z of a[0 .. j] (j >= 3) from the origin: real arithmetic first, complex from where
// the step leaves the axis; z is made real unless it is to be deflated as a pair. False when
// an iteration did not converge.
bool next_root(int j, const double* a, Complex* complex_work, Complex& z) noexcept {
  double x = 0.0;
  const int result = real_laguerre(j, a, x);
  if (result == 0) return false;
  z = Complex(x, 0.0);
  if (result == 2) {
    for (int i = 0; i <= j; ++i)
      complex_work[i] = Complex(a[i], 0.0);
    int iterations = 0;
    if (laguerre(j, complex_work, z, iterations) == 0) return false;
    z = clean(z);
  }
  if (z.imag() != 0.0 && !is_pair(j, a, z)) z = Complex(z.real(), 0.0);
  return true;
}

// Divides a[0 .. j] by t - x in place: the quotient in a[0 .. j - 1].
void deflate_real(int j, double* a, double x) noexcept {
  double b = a[j];
  for (int k = j - 1; k >= 0; --k) {
    const double t = a[k];
    a[k] = b;
    b = x * b + t;
  }
}

// Divides a[0 .. j] by (t - z)(t - conj z) = t^2 + p t + r in place: the quotient is built in
// a[2 .. j] from the top down (each a[k + 2] is read before it is overwritten), then moved down
// two places.
void deflate_pair(int j, double* a, Complex z) noexcept {
  const double p = -2.0 * z.real();
  const double r = z.real() * z.real() + z.imag() * z.imag();
  for (int k = j - 2; k >= 0; --k) {
    double v = a[k + 2];
    if (k + 3 <= j) v -= p * a[k + 3];
    if (k + 4 <= j) v -= r * a[k + 4];
    a[k + 2] = v;
  }
  for (int k = 0; k <= j - 2; ++k)
    a[k] = a[k + 2];
}

// The roots of what deflation leaves, a[0 .. j] with j <= 2, in closed form; returns how many
// were written to re and im. A quadratic with a discriminant >= 0 has its real roots by the
// stable formula, else the conjugate pair.
int closed_form_roots(int j, const double* a, double* re, double* im) noexcept {
  if (j == 2) {
    const double discriminant = quadratic_discriminant(a[2], a[1], a[0]);
    if (discriminant >= 0.0) {
      stable_quadratic_roots(a[2], a[1], a[0], discriminant, re[0], re[1]);
      im[0] = 0.0;
      im[1] = 0.0;
    } else {
      re[0] = -a[1] / (2 * a[2]);
      re[1] = re[0];
      im[0] = std::sqrt(-discriminant) / (2 * std::fabs(a[2]));
      im[1] = -im[0];
    }
    return 2;
  }
  if (j == 1) {
    re[0] = -a[0] / a[1];
    im[0] = 0.0;
    return 1;
  }
  return 0;
}

// Each of the n roots polished by Laguerre's iteration on the undeflated q[0 .. m]; a polish
// that does not converge keeps the deflated estimate.
void polish_roots(int m, const double* q, Complex* original, int n, double* re,
                  double* im) noexcept {
  for (int i = 0; i <= m; ++i)
    original[i] = Complex(q[i], 0.0);
  for (int i = 0; i < n; ++i) {
    Complex x(re[i], im[i]);
    int iterations = 0;
    if (laguerre(m, original, x, iterations) == 0) continue;
    x = clean(x);
    re[i] = x.real();
    im[i] = x.imag();
  }
}

}  // namespace

int laguerre(int degree, const Complex* a, Complex& x, int& iterations) noexcept {
  iterations = 0;
  if (degree < 1) return 0;
  const double m = degree;
  for (int iter = 1; iter <= kLaguerreIterations; ++iter) {
    iterations = iter;
    const ComplexValue v = evaluate_complex(degree, a, x);
    const Complex b = v.p;
    if (std::fabs(b.real()) + std::fabs(b.imag()) <= kConvergedNoise * v.err) return 1;
    const Complex g = divided(v.dp, b);
    const Complex g2 = times(g, g);
    const Complex h = g2 - scaled(2.0, divided(v.half_d2p, b));
    const Complex sq = square_root(scaled(m - 1.0, scaled(m, h) - g2));
    Complex gp = g + sq;
    const Complex gm = g - sq;
    const double abp = modulus(gp);
    const double abm = modulus(gm);
    if (abp < abm) gp = gm;
    Complex dx;
    if (abp > 0.0 || abm > 0.0) {
      dx = divided(Complex(m, 0.0), gp);
    } else {
      const double* u = kStallDirections[iter % 8];
      dx = scaled(1.0 + modulus(x), Complex(u[0], u[1]));
    }
    const Complex x1 = x - dx;
    if (x1 == x) return 1;
    if (std::fabs(dx.real()) + std::fabs(dx.imag()) <=
        kFinalStep * (std::fabs(x1.real()) + std::fabs(x1.imag()))) {
      x = x1;
      return 1;
    }
    if (iter % kCycleBreak != 0) {
      x = x1;
    } else {
      x = x - scaled(kStepFractions[(iter / kCycleBreak) % 8], dx);
    }
  }
  return 0;
}

// Forward deflation from the smallest roots keeps the quotients accurate; a complex root goes
// with its conjugate, so the deflated polynomial stays real.
int laguerre_roots(int m, const double* q, double* real_work, Complex* complex_work,
                   Complex* original, double* re, double* im, bool polish) noexcept {
  double* a = real_work;
  for (int i = 0; i <= m; ++i)
    a[i] = q[i];
  int found = 0;
  int j = m;
  while (j >= 3) {
    Complex z;
    if (!next_root(j, a, complex_work, z)) return found;
    re[found] = z.real();
    if (z.imag() == 0.0) {
      im[found] = 0.0;
      found += 1;
      deflate_real(j, a, z.real());
      j -= 1;
    } else {
      im[found] = z.imag();
      re[found + 1] = z.real();
      im[found + 1] = -z.imag();
      found += 2;
      deflate_pair(j, a, z);
      j -= 2;
    }
  }
  found += closed_form_roots(j, a, re + found, im + found);
  if (polish) polish_roots(m, q, original, found, re, im);
  return found;
}

}  // namespace paskosda_detail::polysolve
