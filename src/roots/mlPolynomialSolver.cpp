#include "roots/mlPolynomialSolver.h"

#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "containers/coDynArr.h"
#include "containers/utCheck.h"
#include "containers/utMath.h"
#include "linalg/mlMath.h"
#include "roots/mlPolynomial.h"
#include "roots/mlRootSolve.h"

namespace {

using Complex = std::complex<double>;

constexpr double kUnitRoundoff = 0.5 * DBL_EPSILON;  // 2^-53
constexpr int kLaguerreIterations = 100;
// Roots closer than this, relative to max(1, |t|), are one root.
constexpr double kMergeTolerance = 1e-10;
// A complex root whose imaginary part is below this fraction of its modulus may be a real
// root that rounding pushed off the axis: a k-fold root splits by about eps^(1/k), so this
// covers multiplicities up to about eight.
constexpr double kNearReal = 1e-2;
// Near-real roots closer than this (relative) form a cluster, as a rounded multiple root does.
constexpr double kCluster = 1e-3;
constexpr int kLocateSteps = 16;
constexpr int kProbeSteps = 40;
constexpr int kBracketSteps = 200;
// Degrees up to this are solved in fixed arrays, without allocation.
constexpr int kFixedDegree = 64;

// ---------------------------------------------------------------------------------------------
// Complex arithmetic from real operations only. The run-time library's complex division,
// modulus (hypot) and square root differ between libraries; these give the same bits
// everywhere, like the rest of the library.

Complex times(Complex z, Complex w) noexcept {
  return {z.real() * w.real() - z.imag() * w.imag(), z.real() * w.imag() + z.imag() * w.real()};
}

Complex scaled(double s, Complex z) noexcept { return {s * z.real(), s * z.imag()}; }

// Smith's division: the ratio of the smaller to the larger part of w keeps it from
// overflowing where the plain formula would.
Complex divided(Complex z, Complex w) noexcept {
  if (std::fabs(w.real()) >= std::fabs(w.imag())) {
    const double r = w.imag() / w.real();
    const double den = w.real() + w.imag() * r;
    return {(z.real() + z.imag() * r) / den, (z.imag() - z.real() * r) / den};
  }
  const double r = w.real() / w.imag();
  const double den = w.imag() + w.real() * r;
  return {(z.real() * r + z.imag()) / den, (z.imag() * r - z.real()) / den};
}

double modulus(double x, double y) noexcept {
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

double modulus(Complex z) noexcept { return modulus(z.real(), z.imag()); }

// The principal square root; the halves are formed before the sum so that it cannot overflow.
Complex square_root(Complex z) noexcept {
  const double x = z.real();
  const double y = z.imag();
  if (x == 0.0 && y == 0.0) return {0.0, 0.0};
  const double t = std::sqrt(0.5 * std::fabs(x) + 0.5 * modulus(z));
  if (x >= 0.0) return {t, y / (2.0 * t)};
  return {std::fabs(y) / (2.0 * t), y < 0.0 ? -t : t};
}

// ---------------------------------------------------------------------------------------------
// Laguerre's method.

// Every tenth Laguerre step is cut to one of these fractions, which breaks the rare limit
// cycles.
constexpr double kFraction[8] = {0.5, 0.25, 0.75, 0.13, 0.38, 0.62, 0.88, 1.0};

// Convergence is cubic near a simple root: after a step this small (relative) the new iterate
// is already accurate to working precision, and the step to confirm it can be saved.
constexpr double kFinalStep = 0x1p-26;

int laguerre(int degree, const Complex* a, Complex& x, int& iterations) noexcept {
  // Where both Laguerre denominators vanish the step goes a fixed distance in one of these
  // directions (unit vectors), chosen by the iteration count: deterministic, no random start.
  static constexpr double kDirection[8][2] = {{0.6, 0.8}, {-0.8, 0.6}, {-0.6, -0.8}, {0.8, -0.6},
                                              {1.0, 0.0}, {0.0, 1.0},  {-1.0, 0.0},  {0.0, -1.0}};
  iterations = 0;
  if (degree < 1) return 0;
  const double m = degree;
  for (int iter = 1; iter <= kLaguerreIterations; ++iter) {
    iterations = iter;
    // p, p' and p''/2 by Horner's rule, with a running bound on the rounding of p (in the
    // 1-norm |re| + |im|, which is within a factor sqrt(2) of the modulus and needs no root).
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
    if (std::fabs(b.real()) + std::fabs(b.imag()) <= 2.0 * DBL_EPSILON * err) return 1;
    const Complex g = divided(d, b);
    const Complex g2 = times(g, g);
    const Complex h = g2 - scaled(2.0, divided(f, b));
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
      const double* u = kDirection[iter % 8];
      dx = scaled(1.0 + modulus(x), Complex(u[0], u[1]));
    }
    const Complex x1 = x - dx;
    if (x1 == x) return 1;
    if (std::fabs(dx.real()) + std::fabs(dx.imag()) <=
        kFinalStep * (std::fabs(x1.real()) + std::fabs(x1.imag()))) {
      x = x1;
      return 1;
    }
    if (iter % 10 != 0) {
      x = x1;
    } else {
      x = x - scaled(kFraction[(iter / 10) % 8], dx);
    }
  }
  return 0;
}

// Rounding may leave a real root with an imaginary part of a few ulps.
Complex clean(Complex x) noexcept {
  if (std::fabs(x.imag()) <= 2.0 * DBL_EPSILON * std::fabs(x.real())) return {x.real(), 0.0};
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
    if (std::fabs(b) <= 2.0 * DBL_EPSILON * err) return 1;
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
    x = iter % 10 != 0 ? x1 : x - kFraction[(iter / 10) % 8] * dx;
    if (x != x) return 0;
  }
  return 0;
}

// Whether a complex root z of the real polynomial a[0 .. j] should be deflated with its
// conjugate: a real root reached through complex arithmetic keeps a small imaginary part, and
// deflating it as a pair would remove it twice. Below sqrt(eps)·|z| the imaginary part is
// dropped (dividing by t - Re z then leaves a remainder at rounding level even for a true
// pair); above, the quadratic (t - z)(t - conj z) must divide a true pair out with a smaller
// remainder at Re z than the linear factor t - Re z leaves.
bool is_pair(int j, const double* a, Complex z) noexcept {
  if (std::fabs(z.imag()) <= 0x1p-26 * modulus(z)) return false;
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

// All roots of the real polynomial q[0 .. m] by Laguerre's method from the origin with
// deflation (the smallest roots come first, which keeps forward deflation stable): real
// arithmetic while the iteration stays on the axis, complex beyond it, a complex root deflated
// together with its conjugate (so the deflated polynomial stays real), and the last quadratic
// solved in closed form. With `polish` each root is then polished on q itself. `real_work`
// has room for m + 1 doubles, `complex_work` and `original` for m + 1 complex values. Returns
// the number of roots found: m, or fewer when an iteration did not converge.
int laguerre_roots(int m, const double* q, double* real_work, Complex* complex_work,
                   Complex* original, double* re, double* im, bool polish) noexcept {
  double* a = real_work;
  for (int i = 0; i <= m; ++i)
    a[i] = q[i];
  int found = 0;
  int j = m;
  while (j >= 3) {
    double x = 0.0;
    const int result = real_laguerre(j, a, x);
    if (result == 0) return found;
    Complex z(x, 0.0);
    if (result == 2) {
      for (int i = 0; i <= j; ++i)
        complex_work[i] = Complex(a[i], 0.0);
      int iterations = 0;
      if (laguerre(j, complex_work, z, iterations) == 0) return found;
      z = clean(z);
    }
    if (z.imag() != 0.0 && !is_pair(j, a, z)) z = Complex(z.real(), 0.0);
    if (z.imag() == 0.0) {
      re[found] = z.real();
      im[found] = 0.0;
      ++found;
      double b = a[j];
      for (int k = j - 1; k >= 0; --k) {
        const double t = a[k];
        a[k] = b;
        b = z.real() * b + t;
      }
      j -= 1;
    } else {
      re[found] = z.real();
      im[found] = z.imag();
      re[found + 1] = z.real();
      im[found + 1] = -z.imag();
      found += 2;
      // Division by t^2 + p t + r, the quotient built in a[2 .. j] from the top down (each
      // a[k + 2] is read before it is overwritten), then moved down two places.
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
      j -= 2;
    }
  }
  if (j == 2) {
    // The stable formula: the larger root from it, the other from the product of the roots.
    const double discriminant = a[1] * a[1] - 4 * a[2] * a[0];
    if (discriminant >= 0.0) {
      const double s = std::sqrt(discriminant);
      const double big = a[1] > 0.0 ? -0.5 * (a[1] + s) : -0.5 * (a[1] - s);
      re[found] = big / a[2];
      re[found + 1] = big != 0.0 ? a[0] / big : 0.0;
      im[found] = 0.0;
      im[found + 1] = 0.0;
    } else {
      re[found] = -a[1] / (2 * a[2]);
      re[found + 1] = re[found];
      im[found] = std::sqrt(-discriminant) / (2 * std::fabs(a[2]));
      im[found + 1] = -im[found];
    }
    found += 2;
  } else if (j == 1) {
    re[found] = -a[0] / a[1];
    im[found] = 0.0;
    found += 1;
  }
  if (!polish) return found;
  for (int i = 0; i <= m; ++i)
    original[i] = Complex(q[i], 0.0);
  for (int i = 0; i < found; ++i) {
    Complex x(re[i], im[i]);
    int iterations = 0;
    // A polish that does not converge keeps the deflated estimate.
    if (laguerre(m, original, x, iterations) == 0) continue;
    x = clean(x);
    re[i] = x.real();
    im[i] = x.imag();
  }
  return found;
}

int keep_bracket(double x, double fx, double& a, double& fa, double& b, double& fb,
                 double tolerance) noexcept {
  if (!(a <= x && x <= b) || fx != fx) return 0;
  if (fx == 0.0) {
    a = x;
    b = x;
    fa = 0.0;
    fb = 0.0;
    return 0;
  }
  if ((fx < 0.0) == (fa < 0.0)) {
    a = x;
    fa = fx;
  } else {
    b = x;
    fb = fx;
  }
  const bool change = (fa < 0.0 && fb > 0.0) || (fa > 0.0 && fb < 0.0);
  return change && b - a > tolerance ? 1 : 0;
}

// ---------------------------------------------------------------------------------------------
// Real evaluation.

struct Value {
  double f;    // q(x)
  double df;   // q'(x)
  double err;  // bound on the rounding error of f
};

// Horner's rule for q and q', with Higham's running error bound u·(2μ - |q|) of the value (a
// bound to first order in u). Where |q| exceeds it, rounding cannot have changed the sign;
// where it does not, q is rounding noise and points there cannot be told apart from a root.
Value evaluate(const double* q, int m, double x) noexcept {
  double f = q[m];
  double df = 0.0;
  double mu = 0.5 * std::fabs(f);
  const double ax = std::fabs(x);
  for (int i = m - 1; i >= 0; --i) {
    df = df * x + f;
    f = f * x + q[i];
    mu = mu * ax + std::fabs(f);
  }
  return {f, df, kUnitRoundoff * (2.0 * mu - std::fabs(f))};
}

// Within rounding of a root Newton may still reach a point with a smaller |p| (often an exact
// zero): a few more steps inside [lo, hi] while |p| keeps falling.
double settle(const double* p, int n, double x, Value& v, double lo, double hi) noexcept {
  for (int i = 0; i < 4 && v.f != 0.0; ++i) {
    const double next = x - v.f / v.df;
    if (!(lo <= next && next <= hi) || next == x) break;
    const Value w = evaluate(p, n, next);
    if (!(std::fabs(w.f) < std::fabs(v.f))) break;
    x = next;
    v = w;
  }
  return x;
}

// The sign of q(x) when rounding cannot have changed it, else 0 (also for NaN).
int trusted_sign(const Value& v) noexcept {
  if (!(std::fabs(v.f) > v.err)) return 0;
  return v.f < 0.0 ? -1 : 1;
}

// The backward-error bound a root must meet: 64·eps·m·Σ|q_i||x|^i.
double rounding_bound(const double* q, int m, double x) noexcept {
  const double ax = std::fabs(x);
  double s = std::fabs(q[m]);
  for (int i = m - 1; i >= 0; --i)
    s = s * ax + std::fabs(q[i]);
  return 64.0 * DBL_EPSILON * m * s;
}

int sign_of(double x) noexcept { return x < 0.0 ? -1 : 1; }

long long floor_div(long long a, long long b) noexcept {
  return a >= 0 ? a / b : -((-a + b - 1) / b);
}

long long clamp_exponent(long long e, long long limit) noexcept {
  if (e > limit) return limit;
  if (e < -limit) return -limit;
  return e;
}

// The binary exponent e of x = f·2^e with 0.5 <= |f| < 1 (as std::frexp gives it), read from
// the bits for normal numbers.
int exponent_of(double x) noexcept {
  std::uint64_t bits = 0;
  std::memcpy(&bits, &x, sizeof bits);
  const int field = static_cast<int>((bits >> 52) & 0x7ff);
  if (field == 0 || field == 0x7ff) {
    int e = 0;
    std::frexp(x, &e);
    return e;
  }
  return field - 1022;
}

// x·2^e, bit for bit what std::ldexp gives: while 2^e is a normal double the product is the
// correctly rounded scaled value, exact unless it leaves the normal range.
double scaled_by_power_of_two(double x, long long e) noexcept {
  if (e < -1022 || e > 1023) return std::ldexp(x, static_cast<int>(clamp_exponent(e, 100000)));
  const std::uint64_t bits = static_cast<std::uint64_t>(e + 1023) << 52;
  double power = 0.0;
  std::memcpy(&power, &bits, sizeof power);
  return x * power;
}

// q[i] = c[i]·2^(i·shift - top): the variable is scaled by 2^shift (t = 2^shift·u) so that
// the roots have geometric mean near 1, and the coefficients so that the largest lies in
// [0.5, 1). Powers of two are exact (unless a coefficient leaves the range of doubles), so q
// has exactly the roots of c divided by 2^shift, and every evaluation of q rounds exactly as
// the same evaluation of c would. c[0] and c[m] are non-zero. Returns shift.
int balance(int m, const double* c, double* q) noexcept {
  long long shift = 0;
  if (m > 0) shift = clamp_exponent(floor_div(exponent_of(c[0]) - exponent_of(c[m]), m), 2200);
  long long top = LLONG_MIN;
  for (int i = 0; i <= m; ++i) {
    if (c[i] == 0.0) continue;
    const long long e = exponent_of(c[i]) + i * shift;
    if (e > top) top = e;
  }
  for (int i = 0; i <= m; ++i)
    q[i] = scaled_by_power_of_two(c[i], i * shift - top);
  return static_cast<int>(shift);
}

// A power of two above the modulus of every root of q (Fujiwara's bound
// 2·max |q[m-i]/q[m]|^(1/i), with each ratio rounded up to a power of two from the exponents).
double root_bound(int m, const double* q) noexcept {
  const int em = exponent_of(q[m]);
  long long best = LLONG_MIN;
  for (int i = 1; i <= m; ++i) {
    if (q[m - i] == 0.0) continue;
    // |q[m-i]| < 2^e and |q[m]| >= 2^(em - 1).
    const long long e = exponent_of(q[m - i]) - em + 1;
    const long long root = -floor_div(-e, i);
    if (root > best) best = root;
  }
  const long long e = best + 1;
  return scaled_by_power_of_two(1.0, e > 1023 ? 1023 : (e < -1000 ? -1000 : e));
}

// ---------------------------------------------------------------------------------------------
// Workspace: fixed arrays for small degrees, a growable array beyond.

template <class T, int N>
class Scratch {
 public:
  T* get(int n) noexcept {
    if (n <= N) return fixed_;
    if (heap_.reserve(n) == 0) return nullptr;
    return heap_.data();
  }

 private:
  T fixed_[N];
  coDynArr<T> heap_;
};

struct Side {
  double x;
  int sign;  // the trusted sign of the polynomial at x, 0 when unknown
};

struct Root {
  double t;
  double value;  // |q(t)|
  Side left;     // the innermost points beside t where the sign is trusted
  Side right;
};

class Workspace {
 public:
  // Room for a polynomial of degree m; false when the memory is not available.
  bool reserve(int m) noexcept {
    const int n = m + 1;
    reals_ = reals_store_.get(7 * n + 4);
    complexes_ = complexes_store_.get(2 * n);
    // Roots: one per candidate (m Laguerre roots, two range ends and a mean per cluster of two
    // or more: at most 1.5m + 3), or at most m kept ones and two per gap (3m + 2), and the
    // root 0.
    roots_ = roots_store_.get(3 * n + 8);
    n_ = n;
    return reals_ != nullptr && complexes_ != nullptr && roots_ != nullptr;
  }
  double* q() noexcept { return reals_; }
  double* dq() noexcept { return reals_ + n_; }
  double* re() noexcept { return reals_ + 2 * n_; }
  double* im() noexcept { return reals_ + 3 * n_; }
  double* deflated() noexcept { return reals_ + 4 * n_; }
  double* candidates() noexcept { return reals_ + 5 * n_; }  // room for 2n + 4
  Complex* complexes() noexcept { return complexes_; }
  Root* roots() noexcept { return roots_; }

 private:
  Scratch<double, 7 * (kFixedDegree + 1) + 4> reals_store_;
  Scratch<Complex, 2 * (kFixedDegree + 1)> complexes_store_;
  Scratch<Root, 3 * (kFixedDegree + 1) + 8> roots_store_;
  double* reals_ = nullptr;
  Complex* complexes_ = nullptr;
  Root* roots_ = nullptr;
  int n_ = 0;
};

// Sorts by t; the lists are short and nearly ordered, and equal keys keep their order.
void sort_roots(Root* r, int n) noexcept {
  for (int i = 1; i < n; ++i) {
    const Root x = r[i];
    int j = i;
    while (j > 0 && r[j - 1].t > x.t) {
      r[j] = r[j - 1];
      --j;
    }
    r[j] = x;
  }
}

void sort_values(double* x, int n) noexcept {
  for (int i = 1; i < n; ++i) {
    const double v = x[i];
    int j = i;
    while (j > 0 && x[j - 1] > v) {
      x[j] = x[j - 1];
      --j;
    }
    x[j] = v;
  }
}

// ---------------------------------------------------------------------------------------------
// The real roots of the balanced polynomial q (degree m >= 1, q[0] != 0) in [lo, hi].

class RealRootFinder {
 public:
  RealRootFinder(const double* q, const double* dq, int m, double lo, double hi, int shift) noexcept
      : q_(q), dq_(dq), m_(m), lo_(lo), hi_(hi), shift_(shift) {}

  // The roots, ascending and distinct, with trusted signs of q beside them; returns their
  // number (at most m).
  int find(Workspace& w) noexcept {
    Root* roots = w.roots();
    if (m_ <= 2) return closed_form(roots);
    const int found = laguerre_roots(m_, q_, w.deflated(), w.complexes(), w.complexes() + m_ + 1,
                                     w.re(), w.im(), false);
    const double* re = w.re();
    const double* im = w.im();
    double* candidates = w.candidates();
    int nc = 0;
    bool below = false;
    bool above = false;
    for (int i = 0; i < found; ++i) {
      if (!(std::fabs(im[i]) <= kNearReal * modulus(re[i], im[i]))) continue;
      if (re[i] < lo_) {
        below = true;
      } else if (re[i] > hi_) {
        above = true;
      } else {
        candidates[nc++] = re[i];
      }
    }
    // A root just beyond a range end may be the end itself within rounding.
    if (below && accepted_at(lo_)) candidates[nc++] = lo_;
    if (above && accepted_at(hi_)) candidates[nc++] = hi_;
    sort_values(candidates, nc);
    // A multiple root splits into a small cluster of roots around it whose mean is far more
    // accurate than any member: the mean of each cluster is a candidate as well.
    const int listed = nc;
    for (int i = 0; i < listed;) {
      int j = i + 1;
      double sum = candidates[i];
      while (j < listed && candidates[j] - candidates[j - 1] <=
                               kCluster * utMath::max(std::fabs(candidates[j]), DBL_MIN)) {
        sum += candidates[j];
        ++j;
      }
      if (j - i > 1 && candidates[j - 1] != candidates[i]) candidates[nc++] = sum / (j - i);
      i = j;
    }
    if (nc > listed) sort_values(candidates, nc);
    int n = 0;
    for (int i = 0; i < nc; ++i) {
      // Candidates that are one root by the merge rule need polishing once.
      if (i > 0 && close(candidates[i - 1], candidates[i])) continue;
      if (polish_candidate(candidates[i], roots[n])) ++n;
    }
    // Capped before the gap search too, which keeps the list within 3m + 2 entries.
    n = cap(roots, merge(roots, n));
    n = fill_gaps(roots, n);
    return cap(roots, n);
  }

 private:
  Value value(double x) const noexcept { return evaluate(q_, m_, x); }
  bool accepted_at(double x) const noexcept {
    return std::fabs(value(x).f) <= rounding_bound(q_, m_, x);
  }
  // Where q has no sign change, a point is a root only when |q| is below the rounding bound
  // and also below m times the running error bound of its evaluation: at high degrees the
  // rounding bound alone admits the real parts of complex pairs well off the axis.
  bool flat(const Value& v, double x) const noexcept {
    return std::fabs(v.f) <= rounding_bound(q_, m_, x) && std::fabs(v.f) <= m_ * v.err;
  }

  // Closer than the merge tolerance in the caller's variable t = 2^shift·u.
  bool close(double u1, double u2) const noexcept {
    const double d = scaled_by_power_of_two(std::fabs(u1 - u2), shift_);
    const double size = scaled_by_power_of_two(utMath::max(std::fabs(u1), std::fabs(u2)), shift_);
    return d < kMergeTolerance * utMath::max(1.0, size);
  }

  // Degree 1: -q0/q1. Degree 2: the numerically stable formula (the larger root from the
  // formula, the other from the product of the roots); two roots that are one by the merge
  // rule, or that rounding cannot separate (q at their midpoint is noise), are the vertex,
  // which also stands for a double root pushed off the axis (kept when |q| there is rounding).
  int closed_form(Root* roots) const noexcept {
    if (m_ == 1) {
      const int s = sign_of(q_[1]);
      return place(-q_[0] / q_[1], -s, s, roots);
    }
    const double a = q_[2];
    const double b = q_[1];
    const double c = q_[0];
    const int s = sign_of(a);
    const double vertex = -b / (2 * a);
    const double discriminant = b * b - 4 * a * c;
    if (discriminant > 0.0) {
      const double root = std::sqrt(discriminant);
      const double big = b > 0.0 ? -0.5 * (b + root) : -0.5 * (b - root);
      double r1 = big / a;
      double r2 = c / big;
      if (r1 > r2) {
        const double t = r1;
        r1 = r2;
        r2 = t;
      }
      if (!close(r1, r2) && trusted_sign(value(vertex)) != 0) {
        const int n = place(r1, s, -s, roots);
        const int both = n + place(r2, -s, s, roots + n);
        // A root beyond a range end that is moved onto it meets the other root when that one
        // lies on the same end (or was moved there too): one root, the one in the range.
        if (both == 2 && roots[0].t == roots[1].t) {
          if (r1 != roots[0].t) roots[0] = roots[1];
          return 1;
        }
        return both;
      }
    }
    if (!flat(value(vertex), vertex)) return 0;
    return place(vertex, s, s, roots);
  }

  // A closed-form root, moved onto a range end it lies beyond by no more than rounding.
  int place(double u, int left_sign, int right_sign, Root* root) const noexcept {
    if (u != u) return 0;
    if (u < lo_) {
      if (!accepted_at(lo_)) return 0;
      u = lo_;
    } else if (u > hi_) {
      if (!accepted_at(hi_)) return 0;
      u = hi_;
    }
    *root = {u, std::fabs(value(u).f), {u, left_sign}, {u, right_sign}};
    return 1;
  }

  // The root of p (q or q', degree n) in the bracket [a, b] whose ends have trusted signs of
  // opposite value: Newton from the better end, bisection when Newton leaves the bracket or
  // does not halve its step. Stops at a point whose value is rounding noise (as close as the
  // evaluation can tell) or when the bracket is down to the tolerance; a and b return the
  // final bracket, `at` the value at the returned point.
  static double bracket_root(const double* p, int n, double& a, const Value& va, double& b,
                             const Value& vb, double& at) noexcept {
    double fa = va.f;
    double fb = vb.f;
    double x = a;
    Value v = va;
    if (std::fabs(fb) < std::fabs(fa)) {
      x = b;
      v = vb;
    }
    double last = b - a;
    for (int i = 0; i < kBracketSteps; ++i) {
      const double step = v.f / v.df;
      double next = x - step;
      if (!(a < next && next < b && std::fabs(step) <= 0.5 * last)) {
        next = 0.5 * a + 0.5 * b;
        last = 0.5 * (b - a);
      } else {
        last = std::fabs(step);
      }
      // Adjacent doubles: no point left between the ends.
      if (!(a < next && next < b)) break;
      x = next;
      v = evaluate(p, n, x);
      if (trusted_sign(v) == 0) {
        x = settle(p, n, x, v, a, b);
        at = std::fabs(v.f);
        return x;
      }
      const double tolerance = 4.0 * DBL_EPSILON * utMath::max(std::fabs(a), std::fabs(b));
      if (keep_bracket(x, v.f, a, fa, b, fb, tolerance) == 0) break;
    }
    if (std::fabs(fa) <= std::fabs(fb)) {
      at = std::fabs(fa);
      return a;
    }
    at = std::fabs(fb);
    return b;
  }

  // The innermost points with a trusted sign of p on either side of x, searched outwards from
  // a distance just past x's own rounding noise (for a simple root) in steps growing fourfold;
  // a side that reaches a range end without a trusted sign has sign 0.
  void probe(const double* p, int n, double x, const Value& v, Side& left,
             Side& right) const noexcept {
    const double size = utMath::max(std::fabs(x), DBL_MIN);
    const double smallest = 4.0 * DBL_EPSILON * size;
    const double largest = 0x1p-20 * size;
    double h = 2.0 * (std::fabs(v.f) + v.err) / std::fabs(v.df);
    if (!(h >= smallest)) h = smallest;
    if (!(h <= largest)) h = largest;
    left = {x, 0};
    right = {x, 0};
    bool left_done = x <= lo_;
    bool right_done = x >= hi_;
    for (int k = 0; k < kProbeSteps && !(left_done && right_done); ++k, h *= 4.0) {
      if (!left_done) {
        const double y = utMath::max(x - h, lo_);
        left = {y, trusted_sign(evaluate(p, n, y))};
        left_done = left.sign != 0 || y <= lo_;
      }
      if (!right_done) {
        const double y = utMath::min(x + h, hi_);
        right = {y, trusted_sign(evaluate(p, n, y))};
        right_done = right.sign != 0 || y >= hi_;
      }
    }
  }

  // What is known of p around a point.
  struct Located {
    double x;
    Value v;
    Side left;
    Side right;
  };

  // Newton from x0 towards a root of p (a candidate of a multiple root is rough), kept in the
  // range and near x0 (beside a minimum of |p| that is no root, Newton would jump to another
  // root's basin), stopped in the rounding noise or when it no longer contracts; then the
  // trusted signs around the point with the smallest |p| seen.
  Located locate(const double* p, int n, double x0) const noexcept {
    double x = mlMath::clip_to_range(x0, lo_, hi_);
    Value v = evaluate(p, n, x);
    Located best = {x, v, {x, 0}, {x, 0}};
    const double reach = kNearReal * utMath::max(std::fabs(x), DBL_MIN);
    const double start = x;
    double last = HUGE_VAL;
    for (int i = 0; i < kLocateSteps && trusted_sign(v) != 0; ++i) {
      const double step = v.f / v.df;
      if (!(std::fabs(step) < last) || !(std::fabs(x - step - start) <= reach)) break;
      last = std::fabs(step);
      const double next = mlMath::clip_to_range(x - step, lo_, hi_);
      if (next == x) break;
      x = next;
      v = evaluate(p, n, x);
      if (std::fabs(v.f) < std::fabs(best.v.f)) {
        best.x = x;
        best.v = v;
      }
    }
    probe(p, n, best.x, best.v, best.left, best.right);
    return best;
  }

  // The root of p at or beside a located point where p changes sign: the point itself when
  // it is rounding noise, else the root of the bracket it forms with a side of the other sign.
  // False when there is no sign change (the sides have the point's sign or are unknown).
  bool root_at(const double* p, int n, Located& at, Root& r) const noexcept {
    const int s = trusted_sign(at.v);
    if (s == 0) {
      at.x = settle(p, n, at.x, at.v, at.left.x, at.right.x);
      r = {at.x, std::fabs(at.v.f), at.left, at.right};
      return true;
    }
    if (at.left.sign != -s && at.right.sign != -s) return false;
    const bool on_left = at.left.sign == -s;
    double a = on_left ? at.left.x : at.x;
    double b = on_left ? at.x : at.right.x;
    const int sa = on_left ? -s : s;
    double value_at = 0.0;
    const double t = bracket_root(p, n, a, on_left ? evaluate(p, n, a) : at.v, b,
                                  on_left ? at.v : evaluate(p, n, b), value_at);
    // The bracket's ends keep their signs as it shrinks.
    r = {t, value_at, {a, sa}, {b, -sa}};
    return true;
  }

  // Polishes one candidate; true with the root in r when it is accepted.
  bool polish_candidate(double x0, Root& r) const noexcept {
    Located at = locate(q_, m_, x0);
    const int s = trusted_sign(at.v);
    const bool touching = at.left.sign != 0 && at.left.sign == at.right.sign;
    if (!touching && root_at(q_, m_, at, r)) {
      return s != 0 || r.value <= rounding_bound(q_, m_, r.t);
    }
    // No sign change around the point: an even-multiplicity root, best located as the nearby
    // root of the derivative, kept when |q| there is below the rounding bound.
    Located slope = locate(dq_, m_ - 1, at.x);
    Root extremum;
    if (root_at(dq_, m_ - 1, slope, extremum)) {
      const double t = extremum.t;
      const Value v = value(t);
      if (flat(v, t)) {
        r = {t, std::fabs(v.f), {t, 0}, {t, 0}};
        probe(q_, m_, t, v, r.left, r.right);
        return true;
      }
    }
    // Without a usable extremum the point itself, when |q| there is below the rounding bound
    // (merged later with any better root of the same flat region), or a root that a range end
    // hides.
    if (s == 0 && std::fabs(at.v.f) <= rounding_bound(q_, m_, at.x)) {
      r = {at.x, std::fabs(at.v.f), at.left, at.right};
      return true;
    }
    if (at.left.sign == 0 && at.left.x <= lo_ && accepted_at(lo_)) {
      r = {lo_, std::fabs(value(lo_).f), at.left, at.right};
      return true;
    }
    if (at.right.sign == 0 && at.right.x >= hi_ && accepted_at(hi_)) {
      r = {hi_, std::fabs(value(hi_).f), at.left, at.right};
      return true;
    }
    return false;
  }

  // Sorts the roots and merges those that are one: closer than the merge tolerance, in one
  // region of rounding noise (q at their midpoint is noise, so the evaluation cannot tell them
  // apart), or in one flat region of an even-multiplicity root. A merged root keeps the member
  // with the smallest |q| and the outermost trusted sides.
  int merge(Root* r, int n) const noexcept {
    sort_roots(r, n);
    int out = 0;
    double last = 0.0;
    for (int i = 0; i < n; ++i) {
      if (out > 0) {
        Root& c = r[out - 1];
        const double mid = 0.5 * last + 0.5 * r[i].t;
        const Value v = value(mid);
        bool same = close(last, r[i].t) || trusted_sign(v) == 0;
        // Two roots without a sign change, with the same sign around them and between them
        // and |q| within the rounding bound all along: one flat even-multiplicity region.
        const int side = c.left.sign;
        if (!same && side != 0 && c.right.sign == side && r[i].left.sign == side &&
            r[i].right.sign == side && trusted_sign(v) == side) {
          same = flat(v, mid);
        }
        if (same) {
          if (r[i].left.x < c.left.x) c.left = r[i].left;
          if (r[i].right.x > c.right.x) c.right = r[i].right;
          if (r[i].value < c.value) {
            c.t = r[i].t;
            c.value = r[i].value;
          }
          last = r[i].t;
          continue;
        }
      }
      r[out++] = r[i];
      last = r[i].t;
    }
    return out;
  }

  // Every trusted sign change between two neighbouring roots (or a root and a range end)
  // that no root explains hides a root: it is found by bisection in the bracket.
  int fill_gaps(Root* r, int n) const noexcept {
    int added = 0;
    for (int g = 0; g <= n; ++g) {
      const double from = g > 0 ? r[g - 1].t : lo_;
      const double to = g < n ? r[g].t : hi_;
      // The points with a trusted sign in the gap: the sides of its roots (or the range
      // ends), and its midpoint when a side is missing.
      Side points[3];
      int np = 0;
      const Side left = g > 0 ? r[g - 1].right : Side{lo_, trusted_sign(value(lo_))};
      const Side right = g < n ? r[g].left : Side{hi_, trusted_sign(value(hi_))};
      const bool left_known = left.sign != 0 && left.x < to && (g == 0 || left.x > from);
      const bool right_known = right.sign != 0 && right.x > from && (g == n || right.x < to);
      if (left_known) points[np++] = left;
      if (right_known) points[np++] = right;
      if ((!left_known || !right_known) && from < to) {
        const double mid = 0.5 * from + 0.5 * to;
        const int sign = trusted_sign(value(mid));
        if (sign != 0) points[np++] = {mid, sign};
      }
      // Order the (at most three) points.
      for (int i = 1; i < np; ++i) {
        for (int j = i; j > 0 && points[j - 1].x > points[j].x; --j) {
          const Side t = points[j];
          points[j] = points[j - 1];
          points[j - 1] = t;
        }
      }
      for (int i = 0; i + 1 < np; ++i) {
        if (points[i].sign == points[i + 1].sign || !(points[i].x < points[i + 1].x)) continue;
        double a = points[i].x;
        double b = points[i + 1].x;
        double at = 0.0;
        const double t = bracket_root(q_, m_, a, value(a), b, value(b), at);
        r[n + added] = {t, at, {a, points[i].sign}, {b, points[i + 1].sign}};
        ++added;
      }
    }
    if (added == 0) return n;
    return merge(r, n + added);
  }

  // A polynomial of degree m has at most m roots: should rounding have let more through,
  // those without a sign change and with the largest |q| go first.
  int cap(Root* r, int n) const noexcept {
    while (n > m_) {
      int worst = -1;
      for (int i = 0; i < n; ++i) {
        const bool crossing = r[i].left.sign * r[i].right.sign < 0;
        if (crossing) continue;
        if (worst < 0 || r[i].value > r[worst].value) worst = i;
      }
      if (worst < 0) {
        worst = 0;
        for (int i = 1; i < n; ++i) {
          if (r[i].value > r[worst].value) worst = i;
        }
      }
      for (int i = worst; i + 1 < n; ++i)
        r[i] = r[i + 1];
      --n;
    }
    return n;
  }

  const double* q_;
  const double* dq_;
  int m_;
  double lo_;
  double hi_;
  int shift_;
};

// The distinct real roots of p (degree, c) in [lower, upper], ascending, in the caller's
// variable, with the trusted signs of p beside each; returns their number (at most the
// effective degree), -1 for the zero polynomial and 0 for bad limits (tested first), a
// non-finite coefficient or a failed allocation.
int real_roots(int degree, const double* c, double lower, double upper, Workspace& w) noexcept {
  if (mlPolynomialSolver::limits_good(lower, upper) == 0) return 0;
  int d = degree;
  while (d >= 0 && c[d] == 0.0)
    --d;
  if (d < 0) return mlRootsEverywhere;
  for (int i = 0; i <= d; ++i) {
    if (!std::isfinite(c[i])) return 0;
  }
  int zeros = 0;
  while (c[zeros] == 0.0)
    ++zeros;
  const int m = d - zeros;
  if (!w.reserve(m)) return 0;
  double* q = w.q();
  const int shift = balance(m, c + zeros, q);
  Root* roots = w.roots();
  int n = 0;
  if (m > 0) {
    const double bound = root_bound(m, q);
    const double lo = utMath::max(scaled_by_power_of_two(lower, -shift), -bound);
    const double hi = utMath::min(scaled_by_power_of_two(upper, -shift), bound);
    if (lo <= hi) {
      double* dq = w.dq();
      int dm = m;
      mlPolynomial::copy(m, q, dq);
      mlPolynomial::derivative(1, dm, dq);
      n = RealRootFinder(q, dq, m, lo, hi, shift).find(w);
    }
  }
  // Back to the caller's variable; p = t^zeros·q changes sign at negative t when zeros is odd.
  // A root beyond the range of doubles overflows on the way back: it is no real number and is
  // left out (else two such roots would come back as the same infinity).
  int kept = 0;
  for (int i = 0; i < n; ++i) {
    Root r = roots[i];
    r.t = mlMath::clip_to_range(scaled_by_power_of_two(r.t, shift), lower, upper);
    if (!std::isfinite(r.t)) continue;
    r.left.x = scaled_by_power_of_two(r.left.x, shift);
    r.right.x = scaled_by_power_of_two(r.right.x, shift);
    if (zeros % 2 == 1) {
      if (r.left.x < 0.0) r.left.sign = -r.left.sign;
      if (r.right.x < 0.0) r.right.sign = -r.right.sign;
    }
    roots[kept++] = r;
  }
  n = kept;
  if (zeros > 0 && lower <= 0.0 && 0.0 <= upper) {
    // The exact root 0, which absorbs the roots of q closer to it than the merge tolerance.
    const int s = sign_of(q[0]);
    Root zero = {0.0, 0.0, {0.0, zeros % 2 == 1 ? -s : s}, {0.0, s}};
    int first = 0;
    while (first < n && roots[first].t <= -kMergeTolerance)
      ++first;
    int end = first;
    while (end < n && roots[end].t < kMergeTolerance) {
      if (roots[end].left.x < zero.left.x) zero.left = roots[end].left;
      if (roots[end].right.x > zero.right.x) zero.right = roots[end].right;
      ++end;
    }
    const int removed = end - first;
    if (removed == 0) {
      for (int i = n; i > first; --i)
        roots[i] = roots[i - 1];
    } else {
      for (int i = end; i < n; ++i)
        roots[i - removed + 1] = roots[i];
    }
    roots[first] = zero;
    n = n - removed + 1;
  }
  return n;
}

}  // namespace

int mlPolynomialSolver::solve_polynomial(int degree, const double* c, double lower, double upper,
                                         double* roots) noexcept {
  PASKOSDA_CHECK(degree >= -1, "solve_polynomial: degree %d", degree);
  Workspace w;
  const int n = real_roots(degree, c, lower, upper, w);
  for (int i = 0; i < n; ++i)
    roots[i] = w.roots()[i].t;
  return n;
}

int mlPolynomialSolver::solve_polynomial_allroots(int degree, const double* c,
                                                  double* roots) noexcept {
  return solve_polynomial(degree, c, -HUGE_VAL, HUGE_VAL, roots);
}

int mlPolynomialSolver::solve_polynomial_extrema(int degree, const double* c, double lower,
                                                 double upper, double* t, int* kind) noexcept {
  PASKOSDA_CHECK(degree >= -1, "solve_polynomial_extrema: degree %d", degree);
  if (degree < 2 || limits_good(lower, upper) == 0) return 0;
  // The derivative drops c[0], but a polynomial with a non-finite coefficient has no
  // extrema to report either.
  for (int i = 0; i <= degree; ++i) {
    if (!std::isfinite(c[i])) return 0;
  }
  Scratch<double, kFixedDegree + 1> store;
  double* derivative = store.get(degree + 1);
  if (derivative == nullptr) return 0;
  int dd = degree;
  mlPolynomial::copy(degree, c, derivative);
  mlPolynomial::derivative(1, dd, derivative);
  Workspace w;
  const int n = real_roots(dd, derivative, lower, upper, w);
  int count = 0;
  for (int i = 0; i < n; ++i) {
    const Root& r = w.roots()[i];
    if (!(lower < r.t && r.t < upper) || r.left.sign * r.right.sign >= 0) continue;
    t[count] = r.t;
    kind[count] = r.right.sign > 0 ? 1 : -1;
    ++count;
  }
  return count;
}

int mlPolynomialSolver::zerpol(int degree, const double* c, double* re, double* im) noexcept {
  PASKOSDA_CHECK(degree >= -1, "zerpol: degree %d", degree);
  int d = degree;
  while (d >= 0 && c[d] == 0.0)
    --d;
  if (d <= 0) return 0;
  for (int i = 0; i <= d; ++i) {
    if (!std::isfinite(c[i])) return -1;
  }
  int zeros = 0;
  while (c[zeros] == 0.0)
    ++zeros;
  for (int i = 0; i < zeros; ++i) {
    re[i] = 0.0;
    im[i] = 0.0;
  }
  const int m = d - zeros;
  if (m == 0) return d;
  Workspace w;
  if (!w.reserve(m)) return -1;
  const int shift = balance(m, c + zeros, w.q());
  const int found = laguerre_roots(m, w.q(), w.deflated(), w.complexes(), w.complexes() + m + 1,
                                   re + zeros, im + zeros, true);
  for (int i = zeros; i < zeros + found; ++i) {
    re[i] = scaled_by_power_of_two(re[i], shift);
    im[i] = scaled_by_power_of_two(im[i], shift);
  }
  return found == m ? d : -1;
}

int mlPolynomialSolver::laguer(int degree, const std::complex<double>* a, std::complex<double>& x,
                               int& iterations) noexcept {
  return laguerre(degree, a, x, iterations);
}

int mlPolynomialSolver::update_and_check_bracket(double x, double fx, double& a, double& fa,
                                                 double& b, double& fb, double tolerance) noexcept {
  return keep_bracket(x, fx, a, fa, b, fb, tolerance);
}
