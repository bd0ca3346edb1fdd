#include "optim/mlMinimiser2.h"

#include <cfloat>
#include <cmath>
#include <limits>

#include "containers/utCheck.h"
#include "containers/utMath.h"
#include "functions/mlLineOnFunction2.h"
#include "linalg/mlMath.h"
#include "optim/mlMinimiser.h"

namespace {

// What the default derivative operations return when a function offers no derivative.
constexpr double no_derivative = -666.0;
// The default tolerance, relative to the larger patch width (absolute for an open patch).
constexpr double default_tolerance = 1e-10;
// Central-difference steps relative to the patch width: the gradient's balances truncation
// against rounding (about the cube root of the machine epsilon), the Hessian's the same for
// second differences (about its fourth root).
constexpr double gradient_step = 1e-5;
constexpr double hessian_step = 1e-4;
// A Newton step may raise the value by this much relative to |f|: close to a minimum with a
// large value, steps of about 1e-8 no longer change the value beyond its last bits.
constexpr double rounding_slack = 64.0 * DBL_EPSILON;
// A rise of a Newton step's value below this fraction of |f| may be rounding alone: the
// gradient at the new point decides then.
constexpr double value_noise = 1e-10;
// The noise of a central-difference gradient, in units of epsilon |f| / h.
constexpr double difference_noise = 16.0;
// A tangent-plane step is taken at once when the value falls within this fraction of what its
// linear model predicts: the model error then shrinks the distance at least ten-fold per step.
constexpr double model_agreement = 0.1;
// A tangent-plane step whose value falls by more than this multiple of the predicted fall was
// too short: the line along it is searched.
constexpr double stretched_fall = 2.0;
// ... and one whose value falls by less than this fraction of it overshot.
constexpr double short_fall = 0.25;
// Below this value of det(J^T J) / (a c) the columns of the Jacobian count as parallel.
constexpr double parallel_columns = 1e-12;
// Line searches only need to make progress: their bracket stops at this fraction of the range.
constexpr double line_resolution = 1e-4;
// The line searched just inside an edge before an edge minimum is reported, as a fraction of
// the patch width.
constexpr double inside_offset = 1e-3;

constexpr double infinity = std::numeric_limits<double>::infinity();

}  // namespace

// ---- the objective seen by the one-dimensional searches -------------------------------------

// The minimiser's function as an `mlFunction2`: periodic coordinates wrapped, every call
// counted, first derivatives analytic or by differences. Lines on it are searched with
// `mlMinimiser`.
class mlBaseMinimiser2::PatchFunction : public mlFunction2 {
 public:
  explicit PatchFunction(const mlBaseMinimiser2& minimiser) noexcept { become(minimiser); }
  PatchFunction& become(const mlBaseMinimiser2& minimiser) noexcept {
    minimiser_ = &minimiser;
    set_max_deriv(1);
    return *this;
  }

  double function(double u, double v) const override { return minimiser_->evaluate(u, v); }
  double uv_function_derivative(int i, int j, double u, double v) const override {
    if (i < 0 || j < 0 || i + j != 1) return no_derivative;
    return minimiser_->derivative(i, j, minimiser_->wrap(0, u), minimiser_->wrap(1, v));
  }

 private:
  const mlBaseMinimiser2* minimiser_;
};

// `mlMinimiser` with its search and its current point reachable.
class mlBaseMinimiser2::LineSearch : public mlMinimiser {
 public:
  using mlMinimiser::mlMinimiser;

  mlMinimiserState run() { return search(); }
  double parameter() const noexcept { return current_.parameter(); }
  // The value at the current point, computed only if the search has not.
  double value() const { return current_.fn0(*objective_); }
};

// ---- settings -------------------------------------------------------------------------------

mlBaseMinimiser2::~mlBaseMinimiser2() = default;

void mlBaseMinimiser2::set_patch(double u_min, double u_max, double v_min, double v_max) noexcept {
  PASKOSDA_CHECK(u_min <= u_max && v_min <= v_max,
                 "set_patch: u range [%g, %g] and v range [%g, %g] must be ordered", u_min, u_max,
                 v_min, v_max);
  lo_[0] = u_min;
  hi_[0] = u_max;
  lo_[1] = v_min;
  hi_[1] = v_max;
}

void mlBaseMinimiser2::set_periodic(int u_periodic, int v_periodic) noexcept {
  periodic_[0] = u_periodic != 0;
  periodic_[1] = v_periodic != 0;
}

void mlBaseMinimiser2::set_tolerance(double parameter_tolerance) noexcept {
  user_tolerance_ = parameter_tolerance > 0.0 ? parameter_tolerance : 0.0;
}

double mlBaseMinimiser2::width(int axis) const noexcept {
  if (lo_[axis] == -DBL_MAX || hi_[axis] == DBL_MAX) return infinity;
  return hi_[axis] - lo_[axis];
}

double mlBaseMinimiser2::tolerance() const noexcept {
  if (user_tolerance_ > 0.0) return user_tolerance_;
  const double w = utMath::max(width(0), width(1));
  return std::isfinite(w) && w > 0.0 ? default_tolerance * w : default_tolerance;
}

// ---- the patch ------------------------------------------------------------------------------

bool mlBaseMinimiser2::is_periodic(int axis) const noexcept {
  const double w = width(axis);
  return periodic_[axis] && std::isfinite(w) && w > 0.0;
}

double mlBaseMinimiser2::wrap(int axis, double x) const noexcept {
  if (!is_periodic(axis)) return x;
  // An infinite or NaN parameter has no place in the period (fmod would give NaN): the
  // period's start stands for it, so that every point handed on lies in the patch.
  if (!std::isfinite(x)) return lo_[axis];
  const double w = width(axis);
  // Far from the patch, x - lo can overflow: the two are then reduced one at a time.
  const double offset = x - lo_[axis];
  double r = std::isfinite(offset) ? std::fmod(offset, w)
                                   : std::fmod(std::fmod(x, w) - std::fmod(lo_[axis], w), w);
  if (r < 0.0) r += w;
  const double y = lo_[axis] + r;
  // lo + r can round up to the upper end, which belongs to the next period.
  return y >= hi_[axis] ? lo_[axis] : y;
}

double mlBaseMinimiser2::into_patch(int axis, double x) const noexcept {
  if (is_periodic(axis)) return wrap(axis, x);
  // A NaN passes every comparison of the clip: the point of the range nearest 0 replaces it.
  return mlMath::clip_to_range(std::isnan(x) ? 0.0 : x, lo_[axis], hi_[axis]);
}

double mlBaseMinimiser2::difference_scale(int axis) const noexcept {
  const double w = width(axis);
  return std::isfinite(w) && w > 0.0 ? w : 1.0;
}

bool mlBaseMinimiser2::is_held(int axis) const noexcept {
  if (is_periodic(axis)) return false;
  const double x = axis == 0 ? u_ : v_;
  const double g = axis == 0 ? gu_ : gv_;
  return (x == lo_[axis] && g > 0.0) || (x == hi_[axis] && g < 0.0);
}

void mlBaseMinimiser2::snap_to_patch(double& du, double& dv, double& u, double& v) const noexcept {
  double d[2] = {du, dv};
  const double x[2] = {u_, v_};
  double reach[2] = {1.0, 1.0};
  for (int a = 0; a < 2; ++a) {
    if (is_periodic(a)) continue;
    if ((x[a] >= hi_[a] && d[a] > 0.0) || (x[a] <= lo_[a] && d[a] < 0.0)) d[a] = 0.0;
    if (x[a] + d[a] > hi_[a]) {
      reach[a] = (hi_[a] - x[a]) / d[a];
    } else if (x[a] + d[a] < lo_[a]) {
      reach[a] = (lo_[a] - x[a]) / d[a];
    }
  }
  const double s = utMath::min(reach[0], reach[1]);
  double y[2];
  for (int a = 0; a < 2; ++a) {
    const bool limits = s < 1.0 && reach[a] == s;
    const double outward = d[a];
    if (s < 1.0) d[a] = s * d[a];
    y[a] = x[a] + d[a];
    if (is_periodic(a)) {
      y[a] = wrap(a, y[a]);
    } else if (limits) {
      // The coordinate that limited the step lands exactly on its bound, so that the next
      // iteration finds the point on the edge.
      y[a] = outward > 0.0 ? hi_[a] : lo_[a];
    } else {
      y[a] = mlMath::clip_to_range(y[a], lo_[a], hi_[a]);
    }
    // A NaN step (from infinite values or derivatives), or an infinite one from an infinite
    // coordinate, would leave the patch: the coordinate stays where it is.
    if (std::isnan(y[a])) {
      y[a] = x[a];
      d[a] = 0.0;
    }
  }
  du = d[0];
  dv = d[1];
  u = y[0];
  v = y[1];
}

// ---- evaluation -----------------------------------------------------------------------------

double mlBaseMinimiser2::evaluate(double u, double v) const {
  return value(wrap(0, u), wrap(1, v));
}

void mlBaseMinimiser2::move_to(double u, double v, double f) noexcept {
  // Every point reached lies in the patch; a NaN coordinate (reached only through infinite
  // bounds or values) is no point of it, and the iteration stays where it is.
  if (std::isnan(u) || std::isnan(v)) return;
  u_ = u;
  v_ = v;
  f_ = f;
  gradient_ready_ = false;
}

bool mlBaseMinimiser2::take_model_step(double u, double v, double f, int axis) {
  if (f <= f_ + rounding_slack * std::fabs(f_)) {
    move_to(u, v, f);
    return true;
  }
  // A rise this small is rounding in a value formed from much larger terms (the squared
  // length of a small difference of large vectors): the gradient, free of that cancellation,
  // decides instead.
  if (!(f - f_ <= value_noise * std::fabs(f_))) return false;
  const double gu = derivative(1, 0, u, v);
  const double gv = derivative(0, 1, u, v);
  const double before = axis == 0 ? gu_ * gu_ : axis == 1 ? gv_ * gv_ : gu_ * gu_ + gv_ * gv_;
  const double after = axis == 0 ? gu * gu : axis == 1 ? gv * gv : gu * gu + gv * gv;
  if (!(after < before)) return false;
  move_to(u, v, f);
  gu_ = gu;
  gv_ = gv;
  gradient_ready_ = true;
  return true;
}

void mlBaseMinimiser2::offer_candidate(double u, double v, double f, double du,
                                       double dv) noexcept {
  candidate_ = true;
  candidate_u_ = u;
  candidate_v_ = v;
  candidate_f_ = f;
  candidate_du_ = du;
  candidate_dv_ = dv;
}

double mlBaseMinimiser2::derivative(int i, int j, double u, double v) const {
  if (offered_[1] != 0) {
    const double d = partial(i, j, u, v);
    if (d != no_derivative) {
      offered_[1] = 1;
      return d;
    }
    offered_[1] = 0;
  }
  return difference(i == 1 ? 0 : 1, u, v);
}

double mlBaseMinimiser2::difference(int axis, double u, double v) const {
  const double h = gradient_step * difference_scale(axis);
  const double x = axis == 0 ? u : v;
  const auto at = [&](double y) { return axis == 0 ? evaluate(y, v) : evaluate(u, y); };
  if (is_periodic(axis) || (x - h >= lo_[axis] && x + h <= hi_[axis])) {
    const double below = x - h;
    const double above = x + h;
    const double f_below = at(below);
    return (at(above) - f_below) / (above - below);
  }
  // Near a bound the stencil turns inward: the one-sided second-order difference
  // (-3 f(x) + 4 f(x + k) - f(x + 2k)) / 2k, with k = +-h as actually represented.
  const double near = x - h < lo_[axis] ? x + h : x - h;
  const double k = near - x;
  const double f0 = (u == u_ && v == v_) ? f_ : at(x);
  const double f1 = at(near);
  const double f2 = at(near + k);
  return ((4.0 * f1 - 3.0 * f0) - f2) / (2.0 * k);
}

void mlBaseMinimiser2::ensure_hessian() {
  if (hessian_ready_) return;
  hessian_ready_ = true;
  if (offered_[2] != 0) {
    const double uu = partial(2, 0, u_, v_);
    if (uu != no_derivative) {
      const double uv = partial(1, 1, u_, v_);
      const double vv = partial(0, 2, u_, v_);
      if (uv != no_derivative && vv != no_derivative) {
        offered_[2] = 1;
        huu_ = uu;
        huv_ = uv;
        hvv_ = vv;
        return;
      }
    }
    offered_[2] = 0;
  }
  // Second differences about a centre moved inside the patch far enough for the stencil.
  const double hu = hessian_step * difference_scale(0);
  const double hv = hessian_step * difference_scale(1);
  double cu = u_;
  double cv = v_;
  if (!is_periodic(0)) cu = mlMath::clip_to_range(cu, lo_[0] + hu, hi_[0] - hu);
  if (!is_periodic(1)) cv = mlMath::clip_to_range(cv, lo_[1] + hv, hi_[1] - hv);
  const double f0 = (cu == u_ && cv == v_) ? f_ : evaluate(cu, cv);
  const double f_pu = evaluate(cu + hu, cv);
  const double f_mu = evaluate(cu - hu, cv);
  const double f_pv = evaluate(cu, cv + hv);
  const double f_mv = evaluate(cu, cv - hv);
  const double f_pp = evaluate(cu + hu, cv + hv);
  const double f_mm = evaluate(cu - hu, cv - hv);
  huu_ = ((f_pu - f0) - (f0 - f_mu)) / (hu * hu);
  hvv_ = ((f_pv - f0) - (f0 - f_mv)) / (hv * hv);
  // f(+,+) + f(-,-) - f(+,0) - f(-,0) - f(0,+) - f(0,-) + 2 f(0,0) = 2 hu hv f_uv + O(h^4).
  huv_ = (((f_pp - f_pu) - (f_pv - f0)) + ((f_mm - f_mu) - (f_mv - f0))) / (2.0 * hu * hv);
}

double mlBaseMinimiser2::lowest_curvature(double& eu, double& ev) const noexcept {
  const double mean = (huu_ + hvv_) / 2.0;
  const double half = (huu_ - hvv_) / 2.0;
  const double lowest = mean - std::sqrt(half * half + huv_ * huv_);
  // Of the two forms of the eigenvector, the longer one is the better conditioned.
  const double x1 = huv_;
  const double y1 = lowest - huu_;
  const double x2 = lowest - hvv_;
  const double y2 = huv_;
  const double n1 = x1 * x1 + y1 * y1;
  const double n2 = x2 * x2 + y2 * y2;
  if (n1 >= n2 && n1 > 0.0) {
    eu = x1;
    ev = y1;
  } else if (n2 > 0.0) {
    eu = x2;
    ev = y2;
  } else {
    eu = 1.0;
    ev = 0.0;
  }
  return lowest;
}

// ---- the iteration --------------------------------------------------------------------------

mlMinimiser2State mlBaseMinimiser2::minimise(double& u, double& v) {
  PASKOSDA_CHECK(!periodic_[0] || std::isfinite(width(0)),
                 "minimise: periodic u needs a bounded patch, u range [%g, %g]", lo_[0], hi_[0]);
  PASKOSDA_CHECK(!periodic_[1] || std::isfinite(width(1)),
                 "minimise: periodic v needs a bounded patch, v range [%g, %g]", lo_[1], hi_[1]);
  prepare();
  evaluations_ = 0;
  iterations_ = 0;
  offered_[0] = offered_[1] = offered_[2] = -1;
  hessian_ready_ = false;
  gradient_ready_ = false;
  conjugate_ready_ = false;
  edge_done_ = 0;
  tol_ = tolerance();
  u_ = into_patch(0, u);
  v_ = into_patch(1, v);
  f_ = evaluate(u_, v_);
  int state = mlMinimiser2MaxIterations;
  while (iterations_ < max_iterations_) {
    ++iterations_;
    const int outcome = iterate();
    if (outcome >= 0) {
      state = outcome;
      break;
    }
  }
  u = u_;
  v = v_;
  minimum_value_ = f_;
  return static_cast<mlMinimiser2State>(state);
}

int mlBaseMinimiser2::iterate() {
  hessian_ready_ = false;
  candidate_ = false;
  // Polak-Ribiere needs the steepest-descent step of the iteration just before this one.
  conjugate_available_ = conjugate_ready_;
  conjugate_ready_ = false;
  if (!gradient_ready_) {
    gu_ = derivative(1, 0, u_, v_);
    gv_ = derivative(0, 1, u_, v_);
    gradient_ready_ = true;
  }

  const bool held_u = is_held(0);
  const bool held_v = is_held(1);
  if (held_u && held_v) return mlMinimiser2AtCorner;
  if (held_u || held_v) {
    const int axis = held_u ? 0 : 1;
    if (edge_step(axis) == StepTaken) return -1;
    edge_done_ = 0;
    if (inside_probe(axis) == StepTaken) return -1;
    return mlMinimiser2OnEdge;
  }
  edge_done_ = 0;

  if (gu_ == 0.0 && gv_ == 0.0) {
    if (steepest_descent_step() == StepTaken) return -1;
    double eu;
    double ev;
    return lowest_curvature(eu, ev) < 0.0 ? mlMinimiser2NoProgress : mlMinimiser2Converged;
  }

  Step step = tangent_plane_step();
  if (step == StepTaken) return -1;
  if (step == StepConverged) return mlMinimiser2Converged;
  const bool short_step = step == StepShort;
  step = newton_step();
  if (step == StepTaken) return -1;
  if (step == StepConverged) return mlMinimiser2Converged;
  if (candidate_) {
    const double u = candidate_u_;
    const double v = candidate_v_;
    const double f = candidate_f_;
    if ((candidate_du_ != 0.0 || candidate_dv_ != 0.0) &&
        line_step(candidate_du_, candidate_dv_) == StepTaken && f_ <= f)
      return -1;
    move_to(u, v, f);
    return -1;
  }
  if (short_step) return mlMinimiser2Converged;
  if (polak_ribiere_step() == StepTaken) return -1;
  if (steepest_descent_step() == StepTaken) return -1;
  return mlMinimiser2NoProgress;
}

// ---- step strategies ------------------------------------------------------------------------

mlBaseMinimiser2::Step mlBaseMinimiser2::tangent_plane_step() { return StepFailed; }

double mlBaseMinimiser2::newton_threshold(double curvature) const noexcept {
  if (offered_[1] != 0) return tol_;
  // A gradient by differences is only known to about epsilon |f| / h: no step shorter than
  // that noise divided by the curvature can be resolved.
  const double h = gradient_step * utMath::min(difference_scale(0), difference_scale(1));
  const double noise = difference_noise * DBL_EPSILON * std::fabs(f_) / h;
  return curvature > 0.0 ? utMath::max(tol_, noise / curvature) : tol_;
}

mlBaseMinimiser2::Step mlBaseMinimiser2::newton_step() {
  ensure_hessian();
  const double det = huu_ * hvv_ - huv_ * huv_;
  if (!(huu_ > 0.0 && det > 0.0)) return StepFailed;
  double du = -(hvv_ * gu_ - huv_ * gv_) / det;
  double dv = -(huu_ * gv_ - huv_ * gu_) / det;
  if (!std::isfinite(du) || !std::isfinite(dv)) return StepFailed;
  const double length = std::sqrt(du * du + dv * dv);
  double eu;
  double ev;
  const double threshold = newton_threshold(lowest_curvature(eu, ev));
  double u;
  double v;
  snap_to_patch(du, dv, u, v);
  if (length <= threshold) {
    if (du != 0.0 || dv != 0.0) {
      const double f = evaluate(u, v);
      if (f <= f_ + value_noise * std::fabs(f_)) move_to(u, v, f);
    }
    return StepConverged;
  }
  if (du == 0.0 && dv == 0.0) return StepFailed;
  return take_model_step(u, v, evaluate(u, v), -1) ? StepTaken : StepFailed;
}

mlBaseMinimiser2::Step mlBaseMinimiser2::polak_ribiere_step() {
  if (!conjugate_available_) return StepFailed;
  const double yu = gu_ - gu_prev_;
  const double yv = gv_ - gv_prev_;
  const double beta = (gu_ * yu + gv_ * yv) / (gu_prev_ * gu_prev_ + gv_prev_ * gv_prev_);
  // beta = 0 is the steepest-descent direction, which the next strategy searches.
  if (!(beta > 0.0)) return StepFailed;
  const double du = -gu_ + beta * du_prev_;
  const double dv = -gv_ + beta * dv_prev_;
  if (!(gu_ * du + gv_ * dv < 0.0)) return StepFailed;
  return line_step(du, dv);
}

mlBaseMinimiser2::Step mlBaseMinimiser2::steepest_descent_step() {
  if (gu_ != 0.0 || gv_ != 0.0) {
    if (line_step(-gu_, -gv_) == StepTaken) {
      // The gradient and direction at the point the step left, for Polak-Ribiere next time.
      conjugate_ready_ = true;
      gu_prev_ = gu_;
      gv_prev_ = gv_;
      du_prev_ = -gu_;
      dv_prev_ = -gv_;
      return StepTaken;
    }
  }
  ensure_hessian();
  double eu;
  double ev;
  if (lowest_curvature(eu, ev) < 0.0) {
    if (line_step(eu, ev) == StepTaken) return StepTaken;
    if (line_step(-eu, -ev) == StepTaken) return StepTaken;
  }
  return StepFailed;
}

mlBaseMinimiser2::Step mlBaseMinimiser2::line_step(double du, double dv) {
  const double length = std::sqrt(du * du + dv * dv);
  if (!(length > 0.0) || !std::isfinite(length)) return StepFailed;
  const double d[2] = {du / length, dv / length};
  const double x[2] = {u_, v_};
  // A periodic coordinate may travel half a period either way; the others stay in the patch.
  double low[2];
  double high[2];
  for (int a = 0; a < 2; ++a) {
    if (is_periodic(a)) {
      low[a] = x[a] - width(a) / 2.0;
      high[a] = x[a] + width(a) / 2.0;
    } else {
      low[a] = lo_[a];
      high[a] = hi_[a];
    }
  }
  const PatchFunction objective(*this);
  mlLineOnFunction2 line(d[0], d[1], x[0], x[1], &objective);
  // Values only: a line step needs progress, not precision, and a value costs the least.
  line.set_max_deriv(0);
  line.set_window(low[0], high[0], low[1], high[1]);
  const double t_hi = line.t_max();
  if (!(t_hi > 0.0)) return StepFailed;
  const double resolution = t_hi < DBL_MAX ? line_resolution * t_hi : line_resolution;
  LineSearch search(line, 0.0, 0.0, t_hi, utMath::max(tol_, resolution));
  search.run();
  const double t = search.parameter();
  if (!(t > 0.0)) return StepFailed;

  double y[2];
  bool off_line = false;
  for (int a = 0; a < 2; ++a) {
    // As the line computes its point, so that the value found belongs to it.
    y[a] = mlMath::clip_to_range(t * d[a] + x[a], low[a], high[a]);
    if (is_periodic(a)) {
      y[a] = wrap(a, y[a]);
    } else if (t == t_hi && d[a] != 0.0) {
      // At the end of the line the coordinate that ends it goes exactly onto its bound.
      const double bound = d[a] > 0.0 ? hi_[a] : lo_[a];
      if (std::fabs(bound) < DBL_MAX && (bound - x[a]) / d[a] == t_hi && y[a] != bound) {
        y[a] = bound;
        off_line = true;
      }
    }
  }
  const double f = off_line ? evaluate(y[0], y[1]) : search.value();
  if (!(f < f_)) return StepFailed;
  move_to(y[0], y[1], f);
  return StepTaken;
}

void mlBaseMinimiser2::along_edge(int free, mlLineOnFunction2& line, double& low,
                                  double& high) const noexcept {
  const double x = free == 0 ? u_ : v_;
  // A periodic free coordinate is searched over the period centred on it, the line left
  // unclipped (the objective wraps it); otherwise over the patch.
  const bool periodic = is_periodic(free);
  low = periodic ? x - width(free) / 2.0 : lo_[free];
  high = periodic ? x + width(free) / 2.0 : hi_[free];
  if (free == 0) {
    line.set_window(periodic ? -DBL_MAX : lo_[0], periodic ? DBL_MAX : hi_[0], lo_[1], hi_[1]);
  } else {
    line.set_window(lo_[0], hi_[0], periodic ? -DBL_MAX : lo_[1], periodic ? DBL_MAX : hi_[1]);
  }
}

mlBaseMinimiser2::Step mlBaseMinimiser2::edge_step(int axis) {
  const int free = 1 - axis;
  if (edge_done_ != axis + 1) {
    const double x_free = free == 0 ? u_ : v_;
    const PatchFunction objective(*this);
    // The line's parameter is the free coordinate itself: direction 1 along it, origin 0.
    mlLineOnFunction2 line(free == 0 ? 1.0 : 0.0, free == 0 ? 0.0 : 1.0, free == 0 ? 0.0 : u_,
                           free == 0 ? v_ : 0.0, &objective);
    // The sign of the derivative decides on which side of a point the minimum lies.
    line.set_max_deriv(1);
    double low;
    double high;
    along_edge(free, line, low, high);
    LineSearch search(line, x_free, low, high, tol_);
    const bool converged = search.run() != mlMinimiserMaxIterations;
    const double t = search.parameter();
    const double f = t == x_free ? f_ : search.value();
    if (f < f_) {
      const double y = wrap(free, t);
      if (free == 0) {
        move_to(y, v_, f);
      } else {
        move_to(u_, y, f);
      }
      edge_done_ = converged ? axis + 1 : 0;
      return StepTaken;
    }
    edge_done_ = axis + 1;
  }
  // The search bisects by comparing values, which stop resolving the point well before the
  // tolerance when the value is large: Newton steps along the edge finish it.
  const Step step = edge_newton_step(free);
  if (step == StepFailed) edge_done_ = 0;
  return step;
}

mlBaseMinimiser2::Step mlBaseMinimiser2::edge_newton_step(int free) {
  ensure_hessian();
  const double g = free == 0 ? gu_ : gv_;
  const double h = free == 0 ? huu_ : hvv_;
  if (!(h > 0.0)) return StepFailed;
  const double d = -g / h;
  if (!std::isfinite(d)) return StepFailed;
  const double x = free == 0 ? u_ : v_;
  const double y = into_patch(free, x + d);
  const double u = free == 0 ? y : u_;
  const double v = free == 0 ? v_ : y;
  if (std::fabs(d) <= newton_threshold(h)) {
    if (y != x) {
      const double f = evaluate(u, v);
      if (f <= f_ + value_noise * std::fabs(f_)) move_to(u, v, f);
    }
    return StepConverged;
  }
  if (y == x) return StepFailed;
  return take_model_step(u, v, evaluate(u, v), free) ? StepTaken : StepFailed;
}

mlBaseMinimiser2::Step mlBaseMinimiser2::inside_probe(int axis) {
  const int free = 1 - axis;
  const double x_held = axis == 0 ? u_ : v_;
  const double x_free = free == 0 ? u_ : v_;
  const double w = width(axis);
  const double offset =
      std::isfinite(w) ? inside_offset * w : inside_offset * utMath::max(1.0, std::fabs(x_held));
  // Clipped for a patch narrower than the offset, down to a single value at an open end
  // (where the offset grows with the coordinate), so that the probe stays in the patch.
  const double inner = mlMath::clip_to_range(
      x_held == lo_[axis] ? x_held + offset : x_held - offset, lo_[axis], hi_[axis]);
  const PatchFunction objective(*this);
  mlLineOnFunction2 line(free == 0 ? 1.0 : 0.0, free == 0 ? 0.0 : 1.0, free == 0 ? 0.0 : inner,
                         free == 0 ? inner : 0.0, &objective);
  line.set_max_deriv(0);
  double low;
  double high;
  along_edge(free, line, low, high);
  const double range = high - low;
  const double resolution =
      std::isfinite(range) && range < DBL_MAX ? line_resolution * range : line_resolution;
  LineSearch search(line, x_free, low, high, utMath::max(tol_, resolution));
  search.run();
  const double f = search.value();
  if (!(f < f_)) return StepFailed;
  const double y = wrap(free, search.parameter());
  if (free == 0) {
    move_to(y, inner, f);
  } else {
    move_to(inner, y, f);
  }
  return StepTaken;
}

// ---- mlMinimiser2 ---------------------------------------------------------------------------

mlMinimiser2::mlMinimiser2(const mlFunction2& f) noexcept { become(f); }

mlMinimiser2& mlMinimiser2::become(const mlFunction2& f) noexcept {
  function_ = &f;
  set_patch(f.u_min(), f.u_max(), f.v_min(), f.v_max());
  set_periodic(0, 0);
  set_tolerance(0.0);
  set_max_iterations(100);
  return *this;
}

double mlMinimiser2::value(double u, double v) const {
  count_evaluation();
  return function_->function(u, v);
}

double mlMinimiser2::partial(int i, int j, double u, double v) const {
  if (function_->max_deriv() < i + j) return no_derivative;
  count_evaluation();
  return function_->uv_function_derivative(i, j, u, v);
}

// ---- mlVectorMinimiser2 ---------------------------------------------------------------------

mlVectorMinimiser2::mlVectorMinimiser2(const mlFunctionN& F) noexcept : length_(&F) { become(F); }

mlVectorMinimiser2::~mlVectorMinimiser2() = default;

mlVectorMinimiser2& mlVectorMinimiser2::become(const mlFunctionN& F) noexcept {
  PASKOSDA_CHECK(F.variables() == 2, "mlVectorMinimiser2: F has %d variables, not 2",
                 F.variables());
  function_ = &F;
  length_.become(&F);
  argument_.become(mlVectorDim, 2);
  residual_.become(mlVectorDim, F.dimension());
  second_.become(mlVectorDim, F.dimension());
  jacobian_.become(F.dimension(), 2);
  jacobian_ready_ = false;
  set_patch(-DBL_MAX, DBL_MAX, -DBL_MAX, DBL_MAX);
  set_periodic(0, 0);
  set_tolerance(0.0);
  set_max_iterations(100);
  return *this;
}

void mlVectorMinimiser2::prepare() { jacobian_ready_ = false; }

double mlVectorMinimiser2::value(double u, double v) const {
  count_evaluation();
  return length_.function(u, v);
}

void mlVectorMinimiser2::ensure_jacobian(double u, double v) const {
  if (jacobian_ready_ && u == jacobian_u_ && v == jacobian_v_) return;
  argument_[0] = u;
  argument_[1] = v;
  count_evaluation();
  function_->function(argument_.slice(), residual_);
  count_evaluation();
  function_->function_gradient(argument_.slice(), jacobian_);
  jacobian_ready_ = true;
  jacobian_u_ = u;
  jacobian_v_ = v;
}

double mlVectorMinimiser2::partial(int i, int j, double u, double v) const {
  ensure_jacobian(u, v);
  const int n = function_->dimension();
  if (i + j == 1) {
    // 2 (F_a . F), as the squared length forms it, with F_a a column of the Jacobian.
    const int a = i == 1 ? 0 : 1;
    double s = 0.0;
    for (int r = 0; r < n; ++r)
      s += jacobian_(r, a) * residual_[r];
    return 2.0 * s;
  }
  // F leaves the result untouched when it offers no second derivative: it is filled with the
  // no-derivative value first.
  if (second_.dimension() != n) second_.become(mlVectorDim, n);
  second_.fill(no_derivative);
  int orders[2] = {i, j};
  count_evaluation();
  function_->function_derivative(argument_.slice(), orders, second_);
  bool untouched = second_.dimension() == n;
  for (int r = 0; r < n && untouched; ++r)
    untouched = second_[r] == no_derivative;
  if (untouched) return no_derivative;
  // 2 (F_ab . F + F_a . F_b).
  const int a = i >= 1 ? 0 : 1;
  const int b = j >= 1 ? 1 : 0;
  double curvature = 0.0;
  for (int r = 0; r < n; ++r)
    curvature += second_[r] * residual_[r];
  double metric = 0.0;
  for (int r = 0; r < n; ++r)
    metric += jacobian_(r, a) * jacobian_(r, b);
  return 2.0 * (curvature + metric);
}

mlBaseMinimiser2::Step mlVectorMinimiser2::tangent_plane_step() {
  ensure_jacobian(u_, v_);
  const int n = function_->dimension();
  double a = 0.0;
  double b = 0.0;
  double c = 0.0;
  double r0 = 0.0;
  double r1 = 0.0;
  for (int r = 0; r < n; ++r) {
    const double ju = jacobian_(r, 0);
    const double jv = jacobian_(r, 1);
    a += ju * ju;
    b += ju * jv;
    c += jv * jv;
    r0 += ju * residual_[r];
    r1 += jv * residual_[r];
  }
  const double det = a * c - b * b;
  if (!(a > 0.0 && c > 0.0 && det > parallel_columns * (a * c))) return StepFailed;
  double du = -(c * r0 - b * r1) / det;
  double dv = -(a * r1 - b * r0) / det;
  if (!std::isfinite(du) || !std::isfinite(dv)) return StepFailed;
  const double length = std::sqrt(du * du + dv * dv);
  // A short step does not end the iteration by itself: with a residual the step falls short
  // of the distance to the minimum by an unknown factor, which the Newton step knows.
  if (length <= tol_) return StepShort;
  double u;
  double v;
  snap_to_patch(du, dv, u, v);
  if (du == 0.0 && dv == 0.0) return StepFailed;
  const double f = evaluate(u, v);
  // The model's decrease |F|^2 - |F + J d|^2 = -(2 d.J^T F + |J d|^2), formed without the
  // cancellation of the difference.
  double model = 0.0;
  for (int r = 0; r < n; ++r) {
    const double jd = jacobian_(r, 0) * du + jacobian_(r, 1) * dv;
    model += jd * jd;
  }
  const double predicted = -(2.0 * (du * r0 + dv * r1) + model);
  const double actual = f_ - f;
  if (actual > 0.0 && predicted > 0.0 &&
      std::fabs(actual - predicted) <= model_agreement * predicted) {
    move_to(u, v, f);
    return StepTaken;
  }
  // A fall far beyond the model's (negative curvature, as near a maximum across the
  // surface) means the step was too short, a fall far below it that it overshot: the
  // candidate then asks for a search along the step.
  if (f < f_) {
    if (actual > stretched_fall * predicted || actual < short_fall * predicted) {
      offer_candidate(u, v, f, du, dv);
    } else {
      offer_candidate(u, v, f, 0.0, 0.0);
    }
  }
  return StepFailed;
}
