// The real roots of a balanced polynomial q in [lo, hi]. Rule: the candidates are the real
// parts of the Laguerre roots within kNearReal of the axis (relative), the range ends when a
// root lies just beyond one, and the mean of each cluster (neighbours within kClusterWidth); each
// is polished where q changes sign inside a bracket of trusted signs, and kept without a sign
// change only where |q| is rounding noise (an even-multiplicity root). Roots that are one by
// the merge rule are merged, every unexplained trusted sign change is searched by bisection,
// and at most m roots are kept. Constants: Newton from a candidate takes at most kLocateSteps
// steps within kNearReal of it; the trusted signs beside a point are sought in at most
// kProbeSteps steps from kProbeSmallest up, the first step at most kProbeLargest (relative),
// each kProbeGrowth times the last.

#include <cfloat>
#include <cmath>

#include "containers/utMath.h"
#include "linalg/mlMath.h"
#include "roots/mlPolynomialSolverComplex.h"
#include "roots/mlPolynomialSolverDetail.h"

namespace paskosda_detail::polysolve {

namespace {

// A complex root whose imaginary part is below this fraction of its modulus may be a real
// root that rounding pushed off the axis: a k-fold root splits by about eps^(1/k), so this
// covers multiplicities up to about eight. Newton from a candidate stays this close to it too.
constexpr double kNearReal = 1e-2;
// Near-real roots closer than this (relative) form a cluster, as a rounded multiple root does
// (a k-fold root splits by about eps^(1/k): up to five-fold).
constexpr double kClusterWidth = 1e-3;
// Newton steps from a candidate, which contract only linearly near a multiple root: a bounded
// effort, after which the probe and the bracket take over.
constexpr int kLocateSteps = 16;
// Probe steps on each side: growing fourfold, they reach 2^80 times the first step, past any
// region of rounding noise to a trusted sign or a range end.
constexpr int kProbeSteps = 40;
// The first probe step is at least this (relative): a few ulps, past the point itself.
constexpr double kProbeSmallest = 4.0 * DBL_EPSILON;
// ... and at most this (relative), so that a tiny |q'| does not send it past a neighbour.
constexpr double kProbeLargest = 0x1p-20;
// Each probe step is this times the last.
constexpr double kProbeGrowth = 4.0;

// A multiple root splits into a small cluster of roots around it whose mean is far more
// accurate than any member: the mean of each cluster of the sorted candidates[0 .. nc) is
// appended as a candidate too, and the whole list sorted again. Returns the new count.
int add_cluster_means(double* candidates, int nc) noexcept {
  const int listed = nc;
  for (int i = 0; i < listed;) {
    int j = i + 1;
    double sum = candidates[i];
    while (j < listed && candidates[j] - candidates[j - 1] <=
                             kClusterWidth * utMath::max(std::fabs(candidates[j]), DBL_MIN)) {
      sum += candidates[j];
      ++j;
    }
    if (j - i > 1 && candidates[j - 1] != candidates[i]) candidates[nc++] = sum / (j - i);
    i = j;
  }
  if (nc > listed) sort_values(candidates, nc);
  return nc;
}

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
    double* candidates = w.candidates();
    const int nc = add_cluster_means(candidates, near_real(found, w.re(), w.im(), candidates));
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
  // The real parts of the near-real roots in the range, sorted, and a range end beyond which
  // such a root lies when that end is itself a root within rounding. Returns their number.
  int near_real(int found, const double* re, const double* im, double* candidates) const noexcept {
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
    if (below && accepted_at(lo_)) candidates[nc++] = lo_;
    if (above && accepted_at(hi_)) candidates[nc++] = hi_;
    sort_values(candidates, nc);
    return nc;
  }

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

  // Degree 1: -q0/q1. Degree 2: the stable formula, for a discriminant > 0 only (a zero one
  // is the vertex below). Two roots that are one by the merge rule, or that rounding cannot
  // separate (q at their midpoint is noise), are the vertex, which also stands for a double
  // root pushed off the axis (kept when |q| there is rounding).
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
    const double discriminant = quadratic_discriminant(a, b, c);
    if (discriminant > 0.0) {
      double r[2];
      stable_quadratic_roots(a, b, c, discriminant, r[0], r[1]);
      sort_values(r, 2);
      if (!close(r[0], r[1]) && trusted_sign(value(vertex)) != 0) return two_roots(r, s, roots);
    }
    if (!flat(value(vertex), vertex)) return 0;
    return place(vertex, s, s, roots);
  }

  // The quadratic's roots r[0] < r[1] (leading sign s) as placed in the range.
  int two_roots(const double* r, int s, Root* roots) const noexcept {
    const int n = place(r[0], s, -s, roots);
    const int both = n + place(r[1], -s, s, roots + n);
    // A root beyond a range end that is moved onto it meets the other root when that one
    // lies on the same end (or was moved there too): one root, the one in the range.
    if (both == 2 && roots[0].t == roots[1].t) {
      if (r[0] != roots[0].t) roots[0] = roots[1];
      return 1;
    }
    return both;
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

  // The innermost points with a trusted sign of p on either side of x, searched outwards from
  // a distance just past x's own rounding noise (for a simple root) in growing steps; a side
  // that reaches a range end without a trusted sign has sign 0.
  void probe(const double* p, int n, double x, const Value& v, Side& left,
             Side& right) const noexcept {
    const double size = utMath::max(std::fabs(x), DBL_MIN);
    const double smallest = kProbeSmallest * size;
    const double largest = kProbeLargest * size;
    double h = 2.0 * (std::fabs(v.f) + v.err) / std::fabs(v.df);
    if (!(h >= smallest)) h = smallest;
    if (!(h <= largest)) h = largest;
    left = {x, 0};
    right = {x, 0};
    bool left_done = x <= lo_;
    bool right_done = x >= hi_;
    for (int k = 0; k < kProbeSteps && !(left_done && right_done); ++k, h *= kProbeGrowth) {
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
    double x = 0.0;
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
    return fallback(at, s, r);
  }

  // Without a usable extremum the located point itself, when |q| there is below the rounding
  // bound (merged later with any better root of the same flat region), or a root that a range
  // end hides.
  bool fallback(const Located& at, int s, Root& r) const noexcept {
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

  // Whether r[i] is one root with c, the last kept root (at `last`): closer than the merge
  // tolerance, in one region of rounding noise (q at their midpoint is noise, so the
  // evaluation cannot tell them apart), or in one flat region of an even-multiplicity root
  // (no sign change, the same sign around and between them, |q| within the rounding bound).
  bool same_root(const Root& c, double last, const Root& ri) const noexcept {
    const double mid = 0.5 * last + 0.5 * ri.t;
    const Value v = value(mid);
    if (close(last, ri.t) || trusted_sign(v) == 0) return true;
    const int side = c.left.sign;
    if (side != 0 && c.right.sign == side && ri.left.sign == side && ri.right.sign == side &&
        trusted_sign(v) == side) {
      return flat(v, mid);
    }
    return false;
  }

  // Sorts the roots and merges those that are one. A merged root keeps the member with the
  // smallest |q| and the outermost trusted sides.
  int merge(Root* r, int n) const noexcept {
    sort_roots(r, n);
    int out = 0;
    double last = 0.0;
    for (int i = 0; i < n; ++i) {
      if (out > 0 && same_root(r[out - 1], last, r[i])) {
        Root& c = r[out - 1];
        if (r[i].left.x < c.left.x) c.left = r[i].left;
        if (r[i].right.x > c.right.x) c.right = r[i].right;
        if (r[i].value < c.value) {
          c.t = r[i].t;
          c.value = r[i].value;
        }
      } else {
        r[out++] = r[i];
      }
      last = r[i].t;
    }
    return out;
  }

  // The points with a trusted sign in gap g (between root g - 1 and root g, or a range end):
  // the sides of its roots (or the range ends), and its midpoint when a side is missing; at
  // most three, ascending. Returns their number.
  int gap_points(const Root* r, int n, int g, Side* points) const noexcept {
    const double from = g > 0 ? r[g - 1].t : lo_;
    const double to = g < n ? r[g].t : hi_;
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
    insertion_sort(points, np, [](const Side& p) { return p.x; });
    return np;
  }

  // Every trusted sign change between two neighbouring roots (or a root and a range end)
  // that no root explains hides a root: it is found by bisection in the bracket.
  int fill_gaps(Root* r, int n) const noexcept {
    int added = 0;
    for (int g = 0; g <= n; ++g) {
      Side points[3];
      const int np = gap_points(r, n, g, points);
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

  const double* q_ = nullptr;
  const double* dq_ = nullptr;
  int m_ = 0;
  double lo_ = 0.0;
  double hi_ = 0.0;
  int shift_ = 0;
};

}  // namespace

int find_real_roots(const double* q, const double* dq, int m, double lo, double hi, int shift,
                    Workspace& w) noexcept {
  return RealRootFinder(q, dq, m, lo, hi, shift).find(w);
}

}  // namespace paskosda_detail::polysolve
