#include "roots/mlRootSolve.h"

#include <cfloat>
#include <cmath>

#include "containers/utMath.h"

namespace {

// A quartic's root within this distance of its predecessor in the sorted list is the same root.
constexpr double kSameQuarticRoot = 1e-6;
// A quadratic whose leading coefficient is below this, relative to its largest coefficient, is
// solved as the linear equation it nearly is.
constexpr double kNegligibleQuadratic = 1e-11;
// A discriminant below this, relative to b^2, in magnitude gives the double root -b / 2a.
constexpr double kDoubleRoot = 1e-11;
// A cubic or quartic whose leading coefficient is below this, relative to the next, is solved
// as the polynomial of one degree less.
constexpr double kNegligibleLeading = 1e-10;

void order(double& p, double& q) noexcept {
  if (p > q) {
    const double t = p;
    p = q;
    q = t;
  }
}

// pow with the sign of the base carried through, for odd roots of negative numbers.
double signed_power(double base, double e) noexcept {
  return base < 0.0 ? -utMath::pow(-base, e) : utMath::pow(base, e);
}

double signed_cube_root(double x) noexcept { return signed_power(x, 0.3333333333333333); }
double signed_sixth_root(double x) noexcept { return signed_power(x, 0.16666666666666666); }

// The quartic's sorted root list: a root goes after the last root not greater than it, and is
// dropped when it lies within 1e-6 of that predecessor (only the predecessor is compared).
class SortedRoots {
 public:
  void insert(double v) noexcept {
    if (n_ == 0 || v < r_[0]) {
      for (int k = n_; k > 0; --k)
        r_[k] = r_[k - 1];
      r_[0] = v;
      ++n_;
      return;
    }
    int p = n_ - 1;
    while (p >= 0 && !(r_[p] <= v))
      --p;
    // Only a NaN is below no root at all; it is kept at the end rather than compared with a
    // predecessor it does not have.
    if (p < 0) p = n_ - 1;
    if (std::fabs(v - r_[p]) <= kSameQuarticRoot) return;
    for (int k = n_; k > p + 1; --k)
      r_[k] = r_[k - 1];
    r_[p + 1] = v;
    ++n_;
  }
  int count() const noexcept { return n_; }
  void write(double& r1, double& r2, double& r3, double& r4) const noexcept {
    r1 = r_[0];
    r2 = r_[1];
    r3 = r_[2];
    r4 = r_[3];
  }

 private:
  // Room for one more than the quartic can accept, so that a shift never writes past the end.
  double r_[5] = {0.0, 0.0, 0.0, 0.0, 0.0};
  int n_ = 0;
};

// One Newton step from x: the value and then the first derivative are always evaluated (also
// when the value is 0). A zero value keeps x (step 0); a zero derivative fails and leaves the
// new point at DBL_MAX.
struct NewtonStep {
  NewtonStep(const mlFunction& f, double x)
      : fx(f.function(x)), derivative(f.function_derivative(1, x)) {
    if (fx == 0.0) {
      next = x;
    } else if (derivative == 0.0) {
      failed = true;
      next = DBL_MAX;
    } else {
      dx = fx / derivative;
      next = x - dx;
    }
  }
  double fx = 0.0;
  double derivative = 0.0;
  double dx = 0.0;
  double next = 0.0;
  bool failed = false;
};

// Evaluates f at a and then, unless a is already within tol of a root, at b. Returns true
// with that end in `root` when one of them is.
bool root_at_an_end(const mlFunction& f, double a, double b, double tol, double& fa, double& fb,
                    double& root) {
  fa = f.function(a);
  if (std::fabs(fa) <= tol) {
    root = a;
    return true;
  }
  fb = f.function(b);
  if (std::fabs(fb) <= tol) {
    root = b;
    return true;
  }
  return false;
}

// The secant through the bracket ends.
double false_position(double a, double fa, double b, double fb) noexcept {
  return (fa * b - fb * a) / (fa - fb);
}

}  // namespace

mlRootType mlRootSolve::quadratic_solve(double a, double b, double c, double& r1,
                                        double& r2) noexcept {
  r1 = 0.0;
  r2 = 0.0;
  double s = std::fabs(a);
  if (std::fabs(b) > s) s = std::fabs(b);
  if (std::fabs(c) > s) s = std::fabs(c);
  if (s == 0.0) return mlRootsEverywhere;
  if (a < 0.0) s = -s;
  a /= s;
  b /= s;
  c /= s;
  if (std::fabs(a) < kNegligibleQuadratic) {
    if (b == 0.0) return mlRootsNone;
    r1 = -c / b;
    return mlRootsOne;
  }
  if (c == 0.0) {
    r1 = -b / a;
    r2 = 0.0;
    order(r1, r2);
    return mlRootsTwo;
  }
  const double discriminant = b * b - 4 * a * c;
  const bool nearly_double =
      b != 0.0 && -kDoubleRoot < discriminant / (b * b) && discriminant / (b * b) < kDoubleRoot;
  if (nearly_double || discriminant == 0.0) {
    r1 = -b / (2 * a);
    r2 = r1;
    return mlRootsTwo;
  }
  if (discriminant < 0.0) return mlRootsNone;
  // The larger-magnitude root from the formula, the other from the product of the roots:
  // no cancellation between b and the square root.
  const double q =
      b > 0.0 ? -0.5 * (b + std::sqrt(discriminant)) : -0.5 * (b - std::sqrt(discriminant));
  r1 = q / a;
  r2 = c / q;
  order(r1, r2);
  return mlRootsTwo;
}

mlRootType mlRootSolve::cubic_solve(double a, double b, double c, double d, double& r1, double& r2,
                                    double& r3) noexcept {
  r1 = 0.0;
  r2 = 0.0;
  r3 = 0.0;
  if (a == 0.0 && b == 0.0 && c == 0.0 && d == 0.0) return mlRootsEverywhere;
  if (a == 0.0 || (b != 0.0 && std::fabs(a) / std::fabs(b) < kNegligibleLeading)) {
    return quadratic_solve(b, c, d, r1, r2);
  }
  if (d == 0.0) {
    // x = 0 is a root; the others are the quadratic's, merged in order.
    const int t = quadratic_solve(a, b, c, r1, r2);
    if (t == 2) {
      order(r1, r3);
      order(r2, r3);
      return mlRootsThree;
    }
    if (t == 1) {
      order(r1, r2);
      return mlRootsTwo;
    }
    return mlRootsOne;
  }
  const double p = b / a;
  const double q = c / a;
  const double r = d / a;
  const double w = p * q - 3 * r;
  const double big_r = w / 6 - p * p * p / 27;
  const double big_d = (0.75 * (w * w) + q * q * q + (p * r - q * q) * (p * p)) / 27;
  const double s = p / 3;
  if (big_d > 0.0) {
    const double root_d = std::sqrt(big_d);
    const double big_a = big_r + root_d == 0.0 ? 0.0 : signed_cube_root(big_r + root_d);
    if (big_r - root_d == 0.0) {
      r1 = big_a - s;
    } else {
      r1 = signed_cube_root(big_r - root_d) + big_a - s;
    }
    return mlRootsOne;
  }
  if (big_d < 0.0) {
    const double radius_squared = big_r * big_r - big_d;
    const double rho = radius_squared == 0.0 ? 0.0 : signed_sixth_root(radius_squared);
    const double theta = utMath::atan2(std::sqrt(-big_d), big_r) / 3;
    const double k = rho * utMath::cos(theta);
    const double t = std::sqrt(3.0) * rho * utMath::sin(theta);
    r1 = 2 * k - s;
    r2 = (-k - s) - t;
    r3 = t - (s + k);
    order(r1, r2);
    order(r1, r3);
    order(r2, r3);
    return mlRootsThree;
  }
  const double big_a = big_r == 0.0 ? 0.0 : signed_cube_root(big_r);
  r1 = 2 * big_a - s;
  r2 = -big_a - s;
  r3 = r2;
  order(r1, r3);
  return mlRootsThree;
}

mlRootType mlRootSolve::quartic_solve(double a, double b, double c, double d, double e, double& r1,
                                      double& r2, double& r3, double& r4) noexcept {
  if (a == 0.0 || (b != 0.0 && std::fabs(a) / std::fabs(b) < kNegligibleLeading)) {
    return cubic_solve(b, c, d, e, r1, r2, r3);
  }
  // Depressed to y^4 + p y^2 + q y + r with x = y - s4.
  const double s4 = b / (4 * a);
  const double a2 = a * a;
  const double a3 = a2 * a;
  const double b2 = b * b;
  const double b3 = b2 * b;
  const double p = (8 * a * c - 3 * b2) / (8 * a2);
  const double q = (b3 - 4 * a * b * c + 8 * a2 * d) / (8 * a3);
  const double r =
      (16 * a * b2 * c + 256 * a3 * e - 3 * (b3 * b) - 64 * a2 * b * d) / (256 * (a3 * a));
  SortedRoots roots;
  if (q != 0.0) {
    double z1 = 0.0, z2 = 0.0, z3 = 0.0;
    const int t = cubic_solve(1.0, -p, -4 * r, 4 * p * r - q * q, z1, z2, z3);
    const double z = t == 1 ? z1 : (t == 2 ? z2 : z3);
    const double big_w = z - p;
    const double m = std::sqrt(big_w > 0.0 ? big_w : 0.0);
    const double h = z / 2;
    const double k = m * q / (2 * big_w);
    double y1 = 0.0, y2 = 0.0;
    const int t1 = quadratic_solve(1.0, m, h - k, y1, y2);
    if (t1 >= 1) roots.insert(y1 - s4);
    if (t1 == 2) roots.insert(y2 - s4);
    const int t2 = quadratic_solve(1.0, -m, h + k, y1, y2);
    if (t2 >= 1) roots.insert(y1 - s4);
    if (t2 == 2) roots.insert(y2 - s4);
  } else {
    // Biquadratic: a quadratic in u = y^2.
    double u1 = 0.0, u2 = 0.0;
    int t = quadratic_solve(1.0, p, r, u1, u2);
    if (t == 2 && u2 < 0.0) t = 1;
    bool usable = t != 0;
    if (u1 < 0.0) {
      // Only u2 gives real roots; its pair is offered twice and the repeat is rejected.
      usable = t == 2;
      u1 = u2;
    }
    if (usable) {
      roots.insert(std::sqrt(u1) - s4);
      roots.insert(-std::sqrt(u1) - s4);
      roots.insert(std::sqrt(u2) - s4);
      roots.insert(-std::sqrt(u2) - s4);
    }
  }
  roots.write(r1, r2, r3, r4);
  return static_cast<mlRootType>(roots.count());
}

double mlRootSolve::newton_raphson(const mlFunction& f, double x, double tol, int& ok,
                                   int max_iter) {
  ok = 1;
  if (max_iter < 1) {
    ok = 0;
    return x;
  }
  for (int i = 1; i <= max_iter; ++i) {
    const NewtonStep step(f, x);
    x = step.next;
    if (step.failed) {
      ok = 0;
      return x;
    }
    if (x <= f.t_min()) {
      x = f.t_min();
      const double fx = f.function(x);
      if (f.function_derivative(1, x) * fx > 0.0) {
        ok = 0;
        return x;
      }
      continue;
    }
    if (x >= f.t_max()) {
      x = f.t_max();
      const double fx = f.function(x);
      if (f.function_derivative(1, x) * fx < 0.0) {
        ok = 0;
        return x;
      }
      continue;
    }
    if (step.fx == 0.0 || std::fabs(step.dx) < tol) return x;
  }
  ok = 0;
  return x;
}

double mlRootSolve::newton_raphson(const mlFunction& f, double a, double b, double tol, int& ok,
                                   int max_iter) {
  ok = 1;
  double fa = 0.0, fb = 0.0, root = 0.0;
  if (root_at_an_end(f, a, b, tol, fa, fb, root)) return root;
  double x = false_position(a, fa, b, fb);
  if (max_iter < 1) {
    ok = 0;
    return x;
  }
  for (int i = 1; i <= max_iter; ++i) {
    const NewtonStep step(f, x);
    const double fx = step.fx;
    if (fx == 0.0) return x;
    bool use_false_position = std::fabs(step.derivative) < tol || step.failed;
    if (!use_false_position) {
      // The point before the step is returned: the step itself is already below tol.
      if (std::fabs(step.dx) < tol) return x;
      use_false_position = (fx * fa < 0.0 && (step.dx < 0.0 || step.next < a)) ||
                           (fx * fb < 0.0 && (step.dx > 0.0 || step.next > b));
    }
    if (!use_false_position) {
      x = step.next;
      continue;
    }
    if (fx * fa < 0.0) {
      b = x;
      fb = fx;
    } else {
      a = x;
      fa = fx;
    }
    x = false_position(a, fa, b, fb);
    // Signed on purpose: the bracket is expected to run from a up to b.
    if (b - a < tol) return x;
  }
  ok = 0;
  return x;
}

double mlRootSolve::regula_falsi(const mlFunction& f, double a, double b, double tol, int& ok,
                                 int max_iter) {
  ok = 1;
  double fa = 0.0, fb = 0.0, root = 0.0;
  if (root_at_an_end(f, a, b, tol, fa, fb, root)) return root;
  double previous = f.function(a);
  double x = a;
  double fx = previous;
  for (int i = 1; i <= max_iter; ++i) {
    if (fx == 0.0 || std::fabs(b - a) <= tol) return x;
    x = false_position(a, fa, b, fb);
    fx = f.function(x);
    if (fx * fa > 0.0) {
      a = x;
      fa = fx;
      if (fx * previous > 0.0) fb = 0.5 * fb;
    } else {
      b = x;
      fb = fx;
      if (fx * previous > 0.0) fa = 0.5 * fa;
    }
    previous = fx;
  }
  ok = std::fabs(b - a) <= tol ? 1 : 0;
  return x;
}
