// The real-root driver and the public operations. Rule: leading zero coefficients lower the
// degree, trailing ones are the exact root 0 (divided out, reported once, absorbing the roots
// closer to it than kMergeTolerance); the rest is balanced by powers of two (exact), solved in
// [lower, upper] cut to a power-of-two bound on its roots, and mapped back. Constants: the
// variable's scaling exponent is clamped to kShiftLimit, the root bound to 2^kBoundMaxExponent
// above and 2^kBoundMinExponent below.

#include "roots/mlPolynomialSolver.h"

#include <climits>
#include <cmath>

#include "containers/utCheck.h"
#include "containers/utMath.h"
#include "linalg/mlMath.h"
#include "roots/mlPolynomial.h"
#include "roots/mlPolynomialSolverDetail.h"
#include "roots/mlRootSolve.h"

using namespace paskosda_detail::polysolve;

namespace {

// The scaling exponent of the variable: any exponent difference of finite doubles divided by
// the degree lies within it, and it keeps i·shift far from overflowing a long long.
constexpr long long kShiftLimit = 2200;
// The root bound stays a finite power of two (the largest) ...
constexpr long long kBoundMaxExponent = 1023;
// ... and a normal one, far above any underflow, when the bound itself would be tiny.
constexpr long long kBoundMinExponent = -1000;

long long floor_div(long long a, long long b) noexcept {
  return a >= 0 ? a / b : -((-a + b - 1) / b);
}

// q[i] = c[i]·2^(i·shift - top): the variable is scaled by 2^shift (t = 2^shift·u) so that
// the roots have geometric mean near 1, and the coefficients so that the largest lies in
// [0.5, 1). Powers of two are exact (unless a coefficient leaves the range of doubles), so q
// has exactly the roots of c divided by 2^shift, and every evaluation of q rounds exactly as
// the same evaluation of c would. c[0] and c[m] are non-zero. Returns shift.
int balance(int m, const double* c, double* q) noexcept {
  long long shift = 0;
  if (m > 0) {
    shift = clamp_exponent(floor_div(exponent_of(c[0]) - exponent_of(c[m]), m), kShiftLimit);
  }
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
  return scaled_by_power_of_two(1.0, e > kBoundMaxExponent
                                         ? kBoundMaxExponent
                                         : (e < kBoundMinExponent ? kBoundMinExponent : e));
}

// The degree without leading zero coefficients; -1 for the zero polynomial.
int effective_degree(int degree, const double* c) noexcept {
  int d = degree;
  while (d >= 0 && c[d] == 0.0)
    --d;
  return d;
}

bool all_finite(int d, const double* c) noexcept {
  for (int i = 0; i <= d; ++i) {
    if (!std::isfinite(c[i])) return false;
  }
  return true;
}

// The number of trailing zero coefficients (c has a non-zero one).
int trailing_zeros(const double* c) noexcept {
  int zeros = 0;
  while (c[zeros] == 0.0)
    ++zeros;
  return zeros;
}

// The roots of the balanced q (degree m >= 1) in [lower, upper], in the balanced variable.
int balanced_roots(int m, const double* q, double lower, double upper, int shift,
                   Workspace& w) noexcept {
  const double bound = root_bound(m, q);
  const double lo = utMath::max(scaled_by_power_of_two(lower, -shift), -bound);
  const double hi = utMath::min(scaled_by_power_of_two(upper, -shift), bound);
  if (!(lo <= hi)) return 0;
  double* dq = w.dq();
  int dm = m;
  mlPolynomial::copy(m, q, dq);
  mlPolynomial::derivative(1, dm, dq);
  return find_real_roots(q, dq, m, lo, hi, shift, w);
}

// Back to the caller's variable; p = t^zeros·q changes sign at negative t when zeros is odd.
// A root beyond the range of doubles overflows on the way back: it is no real number and is
// left out (else two such roots would come back as the same infinity). Returns those kept.
int to_caller_variable(Root* roots, int n, int shift, int zeros, double lower,
                       double upper) noexcept {
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
  return kept;
}

// The exact root 0 of t^zeros·q (q(0) of sign s) into the ascending roots[0 .. n), absorbing
// those closer to it than the merge tolerance. Returns the new count.
int insert_zero_root(Root* roots, int n, int zeros, int s) noexcept {
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
  return n - removed + 1;
}

// The distinct real roots of p (degree, c) in [lower, upper], ascending, in the caller's
// variable, with the trusted signs of p beside each; returns their number (at most the
// effective degree), -1 for the zero polynomial and 0 for bad limits (tested first), a
// non-finite coefficient or a failed allocation.
int real_roots(int degree, const double* c, double lower, double upper, Workspace& w) noexcept {
  if (mlPolynomialSolver::limits_good(lower, upper) == 0) return 0;
  const int d = effective_degree(degree, c);
  if (d < 0) return mlRootsEverywhere;
  if (!all_finite(d, c)) return 0;
  const int zeros = trailing_zeros(c);
  const int m = d - zeros;
  if (!w.reserve(m)) return 0;
  double* q = w.q();
  const int shift = balance(m, c + zeros, q);
  int n = m > 0 ? balanced_roots(m, q, lower, upper, shift, w) : 0;
  n = to_caller_variable(w.roots(), n, shift, zeros, lower, upper);
  if (zeros > 0 && lower <= 0.0 && 0.0 <= upper) {
    n = insert_zero_root(w.roots(), n, zeros, sign_of(q[0]));
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

// The extrema are the roots of p' where its trusted sign changes; the sign to their right
// tells a minimum (+) from a maximum (-).
int mlPolynomialSolver::solve_polynomial_extrema(int degree, const double* c, double lower,
                                                 double upper, double* t, int* kind) noexcept {
  PASKOSDA_CHECK(degree >= -1, "solve_polynomial_extrema: degree %d", degree);
  if (degree < 2 || limits_good(lower, upper) == 0) return 0;
  // The derivative drops c[0], but a polynomial with a non-finite coefficient has no
  // extrema to report either.
  if (!all_finite(degree, c)) return 0;
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
  const int d = effective_degree(degree, c);
  if (d <= 0) return 0;
  if (!all_finite(d, c)) return -1;
  const int zeros = trailing_zeros(c);
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
