// Bracket keeping: a real root is polished inside [a, b] whose ends have trusted signs of
// opposite value, so it can never leave its sign change. Rule: Newton from the end with the
// smaller |p|, bisection when Newton leaves the bracket or does not halve its step; stop at a
// point whose value is rounding noise (then settle there), when the bracket is down to
// kBracketTolerance relative, at adjacent doubles, or after kBracketSteps steps. Settling takes
// at most kSettleSteps Newton steps while |p| keeps falling.

#include <cfloat>
#include <cmath>

#include "containers/utMath.h"
#include "roots/mlPolynomialSolverDetail.h"

namespace paskosda_detail::polysolve {

namespace {

// Bisection needs about 53 halvings plus one per binade the bracket spans; Newton and the
// noise test end the search far sooner, and this cap bounds only the pathological case.
constexpr int kBracketSteps = 200;
// A bracket this narrow relative to its ends (a few ulps) holds nothing finer to find.
constexpr double kBracketTolerance = 4.0 * DBL_EPSILON;
// Newton steps past the first point of rounding noise: enough to reach the smallest |p| of the
// noise region (often an exact zero), few enough to cost nothing.
constexpr int kSettleSteps = 4;

}  // namespace

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

// Within rounding of a root Newton may still reach a point with a smaller |p| (often an exact
// zero): a few more steps inside [lo, hi] while |p| keeps falling.
double settle(const double* p, int n, double x, Value& v, double lo, double hi) noexcept {
  for (int i = 0; i < kSettleSteps && v.f != 0.0; ++i) {
    const double next = x - v.f / v.df;
    if (!(lo <= next && next <= hi) || next == x) break;
    const Value w = evaluate(p, n, next);
    if (!(std::fabs(w.f) < std::fabs(v.f))) break;
    x = next;
    v = w;
  }
  return x;
}

double bracket_root(const double* p, int n, double& a, const Value& va, double& b, const Value& vb,
                    double& at) noexcept {
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
    const double tolerance = kBracketTolerance * utMath::max(std::fabs(a), std::fabs(b));
    if (keep_bracket(x, v.f, a, fa, b, fb, tolerance) == 0) break;
  }
  // The end with the smaller |p|; the left one when they tie.
  if (std::fabs(fa) <= std::fabs(fb)) {
    at = std::fabs(fa);
    return a;
  }
  at = std::fabs(fb);
  return b;
}

}  // namespace paskosda_detail::polysolve
