#include "functions/mlIntegrate.h"

#include <cmath>
#include <cstdint>

#include "containers/coDynArr.h"

namespace {

// ml_sum with a 64-bit count. The number of new points doubles at every halving and leaves
// the int range after 31 halvings, which a large step limit and a small tolerance can reach;
// for every count an int holds the result is ml_sum's, bit for bit (i converts to double
// exactly up to 2^53).
double sum_points(const mlFunction& f, double x0, double dx, std::int64_t n) {
  double s = 0.0;
  for (std::int64_t i = 0; i < n; ++i)
    s += f.function(static_cast<double>(i) * dx + x0);
  return s;
}

// The one-interval trapezoid, f(a) evaluated before f(b).
double first_trapezoid(const mlFunction& f, double a, double b) {
  const double fa = f.function(a);
  const double fb = f.function(b);
  return 0.5 * (fa + fb) * (b - a);
}

}  // namespace

double ml_sum(const mlFunction& f, double x0, double dx, int n) { return sum_points(f, x0, dx, n); }

mlIntegrate::~mlIntegrate() = default;

// ---- mlIntegrateTrapezoid -------------------------------------------------------------------

mlIntegrateTrapezoid& mlIntegrateTrapezoid::become(double tolerance, int max_steps) noexcept {
  max_steps_ = max_steps;
  tolerance_ = tolerance;
  converged_ = 0;
  return *this;
}

double mlIntegrateTrapezoid::integrate(const mlFunction& f, double a, double b) const {
  converged_ = 1;
  double h = b - a;
  double t = first_trapezoid(f, a, b);
  std::int64_t n = 1;
  // The initial estimate counts as step 1.
  for (int j = 1; j < max_steps_; ++j) {
    h = 0.5 * h;
    const double next = sum_points(f, a + h, 2.0 * h, n) * h + 0.5 * t;
    n *= 2;
    if (std::fabs(next - t) < tolerance_) return next;
    t = next;
  }
  converged_ = 0;
  return t;
}

// ---- mlIntegrateSimpson ---------------------------------------------------------------------

mlIntegrateSimpson& mlIntegrateSimpson::become(double tolerance, int max_steps) noexcept {
  max_steps_ = static_cast<double>(max_steps);
  tolerance_ = tolerance;
  converged_ = 0;
  return *this;
}

double mlIntegrateSimpson::integrate(const mlFunction& f, double a, double b) const {
  converged_ = 1;
  double h = 0.5 * (b - a);
  // Half the end values plus every interior point evaluated so far.
  const double fa = f.function(a);
  const double fb = f.function(b);
  double ends_and_interior = 0.5 * (fa + fb);
  double previous = 0.0;
  std::int64_t n = 1;
  // Estimates are counted from 0 and the count is compared as a double.
  for (int j = 0; static_cast<double>(j) < max_steps_; ++j) {
    const double midpoints = sum_points(f, a + h, 2.0 * h, n);
    const double s = (4.0 * midpoints + 2.0 * ends_and_interior) * h / 3.0;
    // The first estimate is never accepted.
    if (j > 0 && std::fabs(s - previous) < tolerance_) return s;
    n *= 2;
    ends_and_interior = ends_and_interior + midpoints;
    h = 0.5 * h;
    previous = s;
  }
  converged_ = 0;
  return previous;
}

// ---- mlIntegrateRomberg ---------------------------------------------------------------------

mlIntegrateRomberg& mlIntegrateRomberg::become(double tolerance, int max_steps) noexcept {
  max_steps_ = max_steps;
  tolerance_ = tolerance;
  converged_ = 0;
  return *this;
}

double mlIntegrateRomberg::integrate(const mlFunction& f, double a, double b) const {
  double h = b - a;
  double t = first_trapezoid(f, a, b);
  // Room for the whole table up to a generous 64 rows: more halvings would take 2^64
  // evaluations, so a larger step limit only means "no limit" and is not allocated for.
  // The array grows by itself should a row ever need it.
  const int room = max_steps_ < 63 ? (max_steps_ < 0 ? 1 : max_steps_ + 1) : 64;
  doublecoDynArr r(room, 1);
  r[0] = t;
  std::int64_t n = 1;
  double result = 0.0;
  converged_ = 1;
  // A 64-bit counter: k runs through max_steps inclusive, which may be INT_MAX.
  for (std::int64_t k = 1; k <= max_steps_; ++k) {
    const int row = static_cast<int>(k);
    h = 0.5 * h;
    t = sum_points(f, a + h, 2.0 * h, n) * h + 0.5 * t;
    r[row] = t;
    n *= 2;
    // The divisor 2^(2m) - 1 as a double without integer arithmetic (which overflows an int
    // from m = 16 on): 4^m is a power of two, exact in double, and the subtraction rounds
    // the exact integer correctly, so four_m - 1.0 is 2^(2m) - 1 exactly up to m = 26,
    // rounds to 4^m from m = 27 on, and is +infinity where 4^m leaves the double range
    // (m >= 512), as the conversion of the exact integer would be.
    double four_m = 1.0;
    for (int j = row; j >= 1; --j) {
      four_m *= 4.0;
      r[j - 1] = r[j] + (r[j] - r[j - 1]) / (four_m - 1.0);
    }
    if (k > 1 && std::fabs(r[0] - result) < tolerance_) return r[0];
    result = r[0];
  }
  converged_ = 0;
  return result;
}
