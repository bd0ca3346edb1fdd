#ifndef PASKOSDA_SRC_ROOTS_MLPOLYNOMIALSOLVERDETAIL_H
#define PASKOSDA_SRC_ROOTS_MLPOLYNOMIALSOLVERDETAIL_H

// What the pieces of the polynomial solver share: the evaluation of a real polynomial with its
// own rounding bound (a sign is trusted only where |p| exceeds it), exact scaling by powers of
// two, the one sort and the one quadratic formula, the fixed workspace, and the entry points of
// the pieces (Laguerre's method, the bracket keeper, the real-root finder). The constants here
// are the ones more than one piece relies on. Private to the library.

#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "containers/coDynArr.h"
#include "roots/mlPolynomialSolverComplex.h"

namespace paskosda_detail::polysolve {

// The unit roundoff 2^-53 of Horner's running error bound.
constexpr double kUnitRoundoff = 0.5 * DBL_EPSILON;
// γ/degree of the backward-error bound γ·Σ|q_i||x|^i a root without a sign change must meet:
// generous enough for the rounding of a deflated, polished root, tight enough to reject a
// minimum of |q| that is no root.
constexpr double kRoundingBoundFactor = 64.0 * DBL_EPSILON;
// Roots closer than this, relative to max(1, |t|) in the caller's variable, are one root: far
// above the few ulps between two polishings of one simple root, far below the spacing of roots
// a user tells apart.
constexpr double kMergeTolerance = 1e-10;
// Degrees up to this are solved in fixed arrays, without allocation.
constexpr int kFixedDegree = 64;

// ---------------------------------------------------------------------------------------------
// The one sort and the one quadratic formula.

// Sorts x[0 .. n) by key ascending. Insertion: the lists are short and nearly ordered; an
// element moves past another only when that one's key is greater, so equal keys keep their
// order (and a NaN key stops it where it stands).
template <class T, class Key>
void insertion_sort(T* x, int n, Key key) noexcept {
  for (int i = 1; i < n; ++i) {
    const T v = x[i];
    int j = i;
    while (j > 0 && key(x[j - 1]) > key(v)) {
      x[j] = x[j - 1];
      --j;
    }
    x[j] = v;
  }
}

inline void sort_values(double* x, int n) noexcept {
  insertion_sort(x, n, [](double v) { return v; });
}

// a1² - 4·a2·a0, in this order, for a2·t² + a1·t + a0.
inline double quadratic_discriminant(double a2, double a1, double a0) noexcept {
  return a1 * a1 - 4 * a2 * a0;
}

// The two real roots of a2·t² + a1·t + a0 for a discriminant d >= 0 by the stable formula:
// big = -(a1 + sign(a1)·√d)/2 has no cancellation, big/a2 is the root of larger magnitude and
// a0/big the other, from the product of the roots (0 when big is 0, which needs d = 0 and
// a1 = 0; for d > 0 big is never 0, so that branch never applies).
inline void stable_quadratic_roots(double a2, double a1, double a0, double d, double& larger,
                                   double& other) noexcept {
  const double s = std::sqrt(d);
  const double big = a1 > 0.0 ? -0.5 * (a1 + s) : -0.5 * (a1 - s);
  larger = big / a2;
  other = big != 0.0 ? a0 / big : 0.0;
}

// ---------------------------------------------------------------------------------------------
// Real evaluation.

struct Value {
  double f = 0.0;    // q(x)
  double df = 0.0;   // q'(x)
  double err = 0.0;  // bound on the rounding error of f
};

// Horner's rule for q and q', with Higham's running error bound u·(2μ - |q|) of the value (a
// bound to first order in u). Where |q| exceeds it, rounding cannot have changed the sign;
// where it does not, q is rounding noise and points there cannot be told apart from a root.
inline Value evaluate(const double* q, int m, double x) noexcept {
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

// The sign of q(x) when rounding cannot have changed it, else 0 (also for NaN).
inline int trusted_sign(const Value& v) noexcept {
  if (!(std::fabs(v.f) > v.err)) return 0;
  return v.f < 0.0 ? -1 : 1;
}

// The backward-error bound a root must meet: 64·eps·m·Σ|q_i||x|^i.
inline double rounding_bound(const double* q, int m, double x) noexcept {
  const double ax = std::fabs(x);
  double s = std::fabs(q[m]);
  for (int i = m - 1; i >= 0; --i)
    s = s * ax + std::fabs(q[i]);
  return kRoundingBoundFactor * m * s;
}

inline int sign_of(double x) noexcept { return x < 0.0 ? -1 : 1; }

// ---------------------------------------------------------------------------------------------
// Exact scaling by powers of two.

inline long long clamp_exponent(long long e, long long limit) noexcept {
  if (e > limit) return limit;
  if (e < -limit) return -limit;
  return e;
}

// The binary exponent e of x = f·2^e with 0.5 <= |f| < 1 (as std::frexp gives it), read from
// the bits for normal numbers.
inline int exponent_of(double x) noexcept {
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
// correctly rounded scaled value, exact unless it leaves the normal range. Beyond that range
// std::ldexp itself, with the exponent clamped to an int that still over- or underflows.
inline double scaled_by_power_of_two(double x, long long e) noexcept {
  if (e < -1022 || e > 1023) return std::ldexp(x, static_cast<int>(clamp_exponent(e, 100000)));
  const std::uint64_t bits = static_cast<std::uint64_t>(e + 1023) << 52;
  double power = 0.0;
  std::memcpy(&power, &bits, sizeof power);
  return x * power;
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
  double x = 0.0;
  int sign = 0;  // the trusted sign of the polynomial at x, 0 when unknown
};

struct Root {
  double t = 0.0;
  double value = 0.0;  // |q(t)|
  Side left;           // the innermost points beside t where the sign is trusted
  Side right;
};

// Sorts by t, equal ones keeping their order.
inline void sort_roots(Root* r, int n) noexcept {
  insertion_sort(r, n, [](const Root& x) { return x.t; });
}

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

// ---------------------------------------------------------------------------------------------
// The pieces.

// Laguerre's iteration for one root of the complex polynomial a[0 .. degree] from x (the
// contract of mlPolynomialSolver::laguer).
int laguerre(int degree, const Complex* a, Complex& x, int& iterations) noexcept;

// All roots of the real polynomial q[0 .. m] by Laguerre's method from the origin with
// deflation, polished on q itself when `polish` is set. `real_work` has room for m + 1
// doubles, `complex_work` and `original` for m + 1 complex values. Returns the number of roots
// found: m, or fewer when an iteration did not converge.
int laguerre_roots(int m, const double* q, double* real_work, Complex* complex_work,
                   Complex* original, double* re, double* im, bool polish) noexcept;

// The bracket keeper (the contract of mlPolynomialSolver::update_and_check_bracket).
int keep_bracket(double x, double fx, double& a, double& fa, double& b, double& fb,
                 double tolerance) noexcept;

// A few more Newton steps inside [lo, hi] from x (value v) while |p| keeps falling; returns the
// point reached, its value in v.
double settle(const double* p, int n, double x, Value& v, double lo, double hi) noexcept;

// The root of p (degree n) in the bracket [a, b] whose ends have trusted signs of opposite
// value (values va, vb); a and b return the final bracket, `at` |p| at the returned point.
double bracket_root(const double* p, int n, double& a, const Value& va, double& b, const Value& vb,
                    double& at) noexcept;

// The distinct real roots of the balanced polynomial q (degree m >= 1, q[0] != 0, derivative
// dq) in [lo, hi], ascending, written to w.roots() with the trusted signs of q beside them;
// shift is the scaling of the variable (t = 2^shift·u), for the merge rule. Returns their
// number (at most m).
int find_real_roots(const double* q, const double* dq, int m, double lo, double hi, int shift,
                    Workspace& w) noexcept;

}  // namespace paskosda_detail::polysolve

#endif  // PASKOSDA_SRC_ROOTS_MLPOLYNOMIALSOLVERDETAIL_H
