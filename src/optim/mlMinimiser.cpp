#include "optim/mlMinimiser.h"

#include <cfloat>
#include <cmath>

#include "containers/utMath.h"

namespace {

constexpr double kGoldenRatio = 1.618034;
constexpr double kGrowthLimit = 100.0;
constexpr double kBracketGuard = 1e-20;
constexpr double kGoldenSection = 0.381966;
constexpr double kBrentGuard = 1e-20;
constexpr double kProbeGrowth = 1.7301;

// |magnitude| with the sign of `sign_of`: positive when `sign_of` is zero (either zero),
// negative for a NaN, as the test sign_of >= 0 decides.
double with_sign(double magnitude, double sign_of) {
  return sign_of >= 0.0 ? std::fabs(magnitude) : -std::fabs(magnitude);
}

double clamped(double start, double lower, double upper) {
  if (lower > start) return lower;
  if (start > upper) return upper;
  return start;
}

}  // namespace

void ml_minimum_bracketing(const mlFunction& f, double& a, double& b, double& c, double& fa,
                           double& fb, double& fc) {
  fa = f.function(a);
  fb = f.function(b);
  if (fb > fa) {
    const double t = a;
    a = b;
    b = t;
    const double ft = fa;
    fa = fb;
    fb = ft;
  }
  c = b + kGoldenRatio * (b - a);
  fc = f.function(c);
  while (fb > fc) {
    const double r = (b - a) * (fb - fc);
    const double q = (b - c) * (fb - fa);
    const double s = with_sign(utMath::max(std::fabs(q - r), kBracketGuard), q - r);
    double u = b - ((b - c) * q - (b - a) * r) / (2.0 * s);
    const double ulim = b + kGrowthLimit * (c - b);
    double fu;
    if ((b - u) * (u - c) > 0.0) {
      fu = f.function(u);
      if (fu < fc) {
        a = b;
        b = u;
        fa = fb;
        fb = fu;
        return;
      }
      if (fu > fb) {
        c = u;
        fc = fu;
        return;
      }
      u = c + kGoldenRatio * (c - b);
      fu = f.function(u);
    } else if ((c - u) * (u - ulim) > 0.0) {
      fu = f.function(u);
      if (fu < fc) {
        // The next point grows from the pair (b, c) as it was before this shift, not from the
        // new pair (c, u): kept so, it decides every later abscissa of the walk.
        const double grown = c + kGoldenRatio * (c - b);
        b = c;
        c = u;
        fb = fc;
        fc = fu;
        u = grown;
        fu = f.function(u);
      }
    } else if ((ulim - c) * (u - ulim) >= 0.0) {
      u = ulim;
      fu = f.function(u);
    } else {
      u = c + kGoldenRatio * (c - b);
      fu = f.function(u);
    }
    a = b;
    b = c;
    c = u;
    fa = fb;
    fb = fc;
    fc = fu;
  }
}

double ml_brent_minimum_search(const mlFunction& f, double a, double b, double c, double tolerance,
                               int max_iterations, double* x_min) {
  double lo = a < c ? a : c;
  double hi = a > c ? a : c;
  double x = b;
  double w = b;
  double v = b;
  double fx = f.function(b);
  double fw = fx;
  double fv = fx;
  double e = 0.0;
  double d = 0.0;
  for (int iteration = 0; iteration < max_iterations; ++iteration) {
    const double xm = (lo + hi) / 2.0;
    const double tol1 = tolerance * std::fabs(x) + kBrentGuard;
    const double tol2 = 2.0 * tol1;
    if (std::fabs(x - xm) <= tol2 - (hi - lo) / 2.0) break;
    bool parabolic = false;
    if (std::fabs(e) > tol1) {
      const double r = (x - w) * (fx - fv);
      double q = (x - v) * (fx - fw);
      double p = (x - v) * q - (x - w) * r;
      q = 2.0 * (q - r);
      if (q > 0.0) p = -p;
      q = std::fabs(q);
      const double e_old = e;
      e = d;
      if (!(std::fabs(p) >= std::fabs(q * e_old / 2.0) || p <= q * (lo - x) || p >= q * (hi - x))) {
        parabolic = true;
        d = p / q;
        const double u = x + d;
        if (u - lo < tol2 || hi - u < tol2) d = with_sign(tol1, xm - x);
      }
    }
    if (!parabolic) {
      e = x >= xm ? lo - x : hi - x;
      d = kGoldenSection * e;
    }
    const double u = std::fabs(d) >= tol1 ? x + d : x + with_sign(tol1, d);
    const double fu = f.function(u);
    if (fu <= fx) {
      if (u >= x) {
        lo = x;
      } else {
        hi = x;
      }
      v = w;
      w = x;
      x = u;
      fv = fw;
      fw = fx;
      fx = fu;
    } else {
      if (u < x) {
        lo = u;
      } else {
        hi = u;
      }
      if (fu <= fw || w == x) {
        v = w;
        w = u;
        fv = fw;
        fw = fu;
      } else if (fu <= fv || v == x || v == w) {
        v = u;
        fv = fu;
      }
    }
  }
  // A null destination is skipped rather than written through.
  if (x_min != nullptr) *x_min = x;
  return fx;
}

// ---- mlMinimiser ----------------------------------------------------------------------------

namespace {

// What a step of a search pass did: nothing decisive, moved the current point, or ended the
// search.
enum class Step { kNone, kMoved, kEnded };

// One pass of mlMinimiser::search from the bracket end at the current point x (near) towards
// the other one (far). near and far are the bracket's ends themselves, so assigning to far
// moves that end. Each step evaluates exactly what it needs, in a fixed order: the counts of
// evaluations are as much a result as the minimum.
struct Pass {
  const mlFunction& f;
  mlFunctionValue& current;
  const mlFunctionValue& low;
  const mlFunctionValue& high;
  mlFunctionValue& near;
  mlFunctionValue& far;
  double x = 0.0;
  int direction = 0;
  double tolerance = 0.0;
  double f_near = 0.0;

  // The Newton step from near, taken when the slope heads for far and the curvature is
  // positive: it ends the search when it stalls, moves the current point when it lowers the
  // value (unless short in a wide bracket), else becomes far. The curvature is always read.
  Step newton_step(int slope_sign) const {
    const double f2 = near.fn2(f);
    if (slope_sign == -direction && f2 > 0.0 && 1.0 + f2 > 1.0) {
      const double step = near.fn1(f) / f2;
      mlFunctionValue newton(x - step);
      if (newton.parameter() == x) return Step::kEnded;
      if (low.parameter() < newton.parameter() && newton.parameter() < high.parameter()) {
        const double f_newton = newton.fn0(f);
        if (f_near > f_newton) {
          // A short step while the bracket is still wide is dropped, value and all: the
          // bisection narrows the bracket instead.
          const bool short_step_in_wide_bracket =
              high.parameter() - low.parameter() > tolerance && std::fabs(step) <= tolerance;
          if (!short_step_in_wide_bracket) {
            current = newton;
            return Step::kMoved;
          }
        } else {
          far = newton;
        }
      }
    }
    return Step::kNone;
  }

  // Towards an end at +-DBL_MAX: a probe `growth` away from x (growth then ten times larger)
  // becomes the current point when no higher than near, else far. Returns whether it moved.
  bool probe_outwards(double& growth) const {
    mlFunctionValue probe(x + direction * growth);
    growth = growth * 10.0;
    if (f_near >= probe.fn0(f)) {
      current = probe;
      return true;
    }
    far = probe;
    return false;
  }

  // Moves to far when it is lower, else halves the bracket at the middle point, which ends
  // the search when the bracket is within the tolerance and the middle no lower than near.
  Step bisect() const {
    if (f_near > far.fn0(f)) {
      current = far;
      return Step::kMoved;
    }
    mlFunctionValue middle((near.parameter() + far.parameter()) / 2.0);
    const double f_middle = middle.fn0(f);
    if (high.parameter() - low.parameter() <= tolerance && f_middle >= f_near) return Step::kEnded;
    if (f_near > f_middle) {
      current = middle;
      return Step::kMoved;
    }
    far = middle;
    return Step::kNone;
  }
};

}  // namespace

mlMinimiser::mlMinimiser(const mlFunction& f, double start, double lower, double upper,
                         double tolerance) noexcept
    : objective_(&f),
      current_(start),
      lower_(lower),
      upper_(upper),
      tolerance_(tolerance),
      absolute_minimum_(-DBL_MAX),
      max_iterations_(100) {
  // Moving the point drops everything cached there, the derivatives with the value.
  current_ = clamped(start, lower, upper);
}

mlMinimiser& mlMinimiser::become(const mlFunction& f, double start, double lower, double upper,
                                 double tolerance) noexcept {
  objective_ = &f;
  current_ = clamped(start, lower, upper);
  lower_ = lower;
  upper_ = upper;
  tolerance_ = tolerance;
  absolute_minimum_ = -DBL_MAX;
  max_iterations_ = 100;
  iterations_ = 0;
  return *this;
}

mlMinimiserState mlMinimiser::which_way(double low, double high) {
  if (iterations_ >= max_iterations_) return mlMinimiserMaxIterations;
  const mlFunction& f = *objective_;
  const double x = current_.parameter();
  double step = tolerance_;
  for (;;) {
    if (f.max_deriv() >= 1) {
      const double slope = current_.fn1(f);
      if (slope > 0.0) return mlMinimiserGoDown;
      if (slope < 0.0) return mlMinimiserGoUp;
    }
    const double f0 = current_.fn0(f);
    const double up = utMath::min(x + step, high);
    const double f_up = f.function(up);
    const double down = utMath::max(x - step, low);
    const double f_down = f.function(down);
    if (f_up > f0 && f_down > f0) return mlMinimiserBracketed;
    if (f0 > f_up && f_down >= f0) return mlMinimiserGoUp;
    if (f_up >= f0 && f0 > f_down) return mlMinimiserGoDown;
    if ((up == high && f_up == f0) || (down == low && f_down == f0)) return mlMinimiserFlat;
    ++iterations_;
    if (iterations_ >= max_iterations_) return mlMinimiserMaxIterations;
    step = step * kProbeGrowth;
  }
}

mlMinimiserState mlMinimiser::search() {
  const mlFunction& f = *objective_;
  const int max_deriv = f.max_deriv();
  mlFunctionValue low(lower_);
  mlFunctionValue high(upper_);
  iterations_ = 0;
  double growth = 1.0;
  while (iterations_ < max_iterations_) {
    const double x = current_.parameter();
    if (low.parameter() < x && x < high.parameter()) {
      const mlMinimiserState side = which_way(low.parameter(), high.parameter());
      if (side == mlMinimiserGoDown) {
        high = current_;
      } else if (side == mlMinimiserGoUp) {
        low = current_;
      } else {
        return side;
      }
    }

    const bool upwards = x == low.parameter();
    mlFunctionValue& near = upwards ? low : high;
    mlFunctionValue& far = upwards ? high : low;
    const int direction = upwards ? 1 : -1;
    const double f_near = near.fn0(f);
    const Pass pass{f, current_, low, high, near, far, x, direction, tolerance_, f_near};

    int slope_sign = 0;
    if (max_deriv >= 1) {
      slope_sign = utMath::sign(near.fn1(f));
      if (slope_sign == direction) return mlMinimiserAtEnd;
    }

    bool moved = false;
    if (max_deriv >= 2) {
      const Step newton = pass.newton_step(slope_sign);
      if (newton == Step::kEnded) return mlMinimiserNewtonStalled;
      moved = newton == Step::kMoved;
    }
    if (!moved && std::fabs(far.parameter()) == DBL_MAX) moved = pass.probe_outwards(growth);
    if (!moved && pass.bisect() == Step::kEnded) return mlMinimiserConverged;
    ++iterations_;
  }
  return high.parameter() - low.parameter() <= tolerance_ ? mlMinimiserConverged
                                                          : mlMinimiserMaxIterations;
}

double mlMinimiser::minimise(int& found, int& beyond_range, int& out_of_iterations) {
  const mlMinimiserState state = search();
  beyond_range = 0;
  found = state != mlMinimiserMaxIterations ? 1 : 0;
  const double x = current_.parameter();
  if (state == mlMinimiserAtEnd || objective_->max_deriv() <= 1) {
    if (x == lower_ && objective_->t_min() < lower_) {
      beyond_range = -1;
      found = 0;
    }
    if (x == upper_ && objective_->t_max() > upper_) {
      beyond_range = 1;
      found = 0;
    }
  }
  out_of_iterations = state == mlMinimiserMaxIterations ? 1 : 0;
  return x;
}

void mlMinimiser::change_range(double limit) noexcept {
  if (limit >= lower_) {
    lower_ = upper_;
    upper_ = limit;
  } else {
    upper_ = lower_;
    lower_ = limit;
  }
  current_.invalidate_derivatives();
}
