#include "optim/mlMinimiser2.h"

#include <cfloat>
#include <cmath>
#include <limits>

#include "containers/utCheck.h"
#include "containers/utMath.h"
#include "linalg/mlMath.h"
#include "optim/mlMinimiser2Detail.h"

using namespace paskosda_detail::minimiser2;

// ---- settings -------------------------------------------------------------------------------

mlBaseMinimiser2::~mlBaseMinimiser2() = default;

void mlBaseMinimiser2::set_patch(double u_min, double u_max, double v_min, double v_max) noexcept {
  PASKOSDA_CHECK(u_min <= u_max && v_min <= v_max,
                 "set_patch: u range [%g, %g] and v range [%g, %g] must be ordered", u_min, u_max,
                 v_min, v_max);
  patch_.lo[0] = u_min;
  patch_.hi[0] = u_max;
  patch_.lo[1] = v_min;
  patch_.hi[1] = v_max;
}

void mlBaseMinimiser2::set_periodic(int u_periodic, int v_periodic) noexcept {
  patch_.periodic[0] = u_periodic != 0;
  patch_.periodic[1] = v_periodic != 0;
}

void mlBaseMinimiser2::set_tolerance(double parameter_tolerance) noexcept {
  settings_.user_tolerance = parameter_tolerance > 0.0 ? parameter_tolerance : 0.0;
}

double mlBaseMinimiser2::width(int axis) const noexcept {
  if (patch_.lo[axis] == -DBL_MAX || patch_.hi[axis] == DBL_MAX) return kInfinity;
  return patch_.hi[axis] - patch_.lo[axis];
}

double mlBaseMinimiser2::tolerance() const noexcept {
  if (settings_.user_tolerance > 0.0) return settings_.user_tolerance;
  const double w = utMath::max(width(0), width(1));
  return std::isfinite(w) && w > 0.0 ? kDefaultTolerance * w : kDefaultTolerance;
}

// ---- the patch ------------------------------------------------------------------------------

bool mlBaseMinimiser2::is_periodic(int axis) const noexcept {
  const double w = width(axis);
  return patch_.periodic[axis] && std::isfinite(w) && w > 0.0;
}

double mlBaseMinimiser2::wrap(int axis, double x) const noexcept {
  if (!is_periodic(axis)) return x;
  // An infinite or NaN parameter has no place in the period (fmod would give NaN): the
  // period's start stands for it, so that every point handed on lies in the patch.
  if (!std::isfinite(x)) return patch_.lo[axis];
  const double w = width(axis);
  // Far from the patch, x - lo can overflow: the two are then reduced one at a time.
  const double offset = x - patch_.lo[axis];
  double r = std::isfinite(offset) ? std::fmod(offset, w)
                                   : std::fmod(std::fmod(x, w) - std::fmod(patch_.lo[axis], w), w);
  if (r < 0.0) r += w;
  const double y = patch_.lo[axis] + r;
  // lo + r can round up to the upper end, which belongs to the next period.
  return y >= patch_.hi[axis] ? patch_.lo[axis] : y;
}

double mlBaseMinimiser2::into_patch(int axis, double x) const noexcept {
  if (is_periodic(axis)) return wrap(axis, x);
  // A NaN passes every comparison of the clip: the point of the range nearest 0 replaces it.
  return mlMath::clip_to_range(std::isnan(x) ? 0.0 : x, patch_.lo[axis], patch_.hi[axis]);
}

double mlBaseMinimiser2::difference_scale(int axis) const noexcept {
  const double w = width(axis);
  return std::isfinite(w) && w > 0.0 ? w : 1.0;
}

bool mlBaseMinimiser2::is_held(int axis) const noexcept {
  if (is_periodic(axis)) return false;
  const double x = axis == 0 ? u_ : v_;
  const double g = axis == 0 ? gu_ : gv_;
  return (x == patch_.lo[axis] && g > 0.0) || (x == patch_.hi[axis] && g < 0.0);
}

void mlBaseMinimiser2::snap_to_patch(double& du, double& dv, double& u, double& v) const noexcept {
  double d[2] = {du, dv};
  const double x[2] = {u_, v_};
  double reach[2] = {1.0, 1.0};
  for (int a = 0; a < 2; ++a) {
    if (is_periodic(a)) continue;
    if ((x[a] >= patch_.hi[a] && d[a] > 0.0) || (x[a] <= patch_.lo[a] && d[a] < 0.0)) d[a] = 0.0;
    if (x[a] + d[a] > patch_.hi[a]) {
      reach[a] = (patch_.hi[a] - x[a]) / d[a];
    } else if (x[a] + d[a] < patch_.lo[a]) {
      reach[a] = (patch_.lo[a] - x[a]) / d[a];
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
      y[a] = outward > 0.0 ? patch_.hi[a] : patch_.lo[a];
    } else {
      y[a] = mlMath::clip_to_range(y[a], patch_.lo[a], patch_.hi[a]);
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
  derivatives_.gradient_ready = false;
}

bool mlBaseMinimiser2::take_model_step(double u, double v, double f, int axis) {
  if (f <= f_ + kRoundingSlack * std::fabs(f_)) {
    move_to(u, v, f);
    return true;
  }
  // A rise this small is rounding in a value formed from much larger terms (the squared
  // length of a small difference of large vectors): the gradient, free of that cancellation,
  // decides instead.
  if (!(f - f_ <= kValueNoise * std::fabs(f_))) return false;
  const double gu = derivative(1, 0, u, v);
  const double gv = derivative(0, 1, u, v);
  const double before = axis == 0 ? gu_ * gu_ : axis == 1 ? gv_ * gv_ : gu_ * gu_ + gv_ * gv_;
  const double after = axis == 0 ? gu * gu : axis == 1 ? gv * gv : gu * gu + gv * gv;
  if (!(after < before)) return false;
  move_to(u, v, f);
  gu_ = gu;
  gv_ = gv;
  derivatives_.gradient_ready = true;
  return true;
}

void mlBaseMinimiser2::offer_candidate(double u, double v, double f, double du,
                                       double dv) noexcept {
  candidate_.offered = true;
  candidate_.u = u;
  candidate_.v = v;
  candidate_.f = f;
  candidate_.du = du;
  candidate_.dv = dv;
}

double mlBaseMinimiser2::derivative(int i, int j, double u, double v) const {
  if (derivatives_.offered[1] != 0) {
    const double d = partial(i, j, u, v);
    if (d != kNoDerivative) {
      derivatives_.offered[1] = 1;
      return d;
    }
    derivatives_.offered[1] = 0;
  }
  return difference(i == 1 ? 0 : 1, u, v);
}

double mlBaseMinimiser2::difference(int axis, double u, double v) const {
  const double h = kGradientStep * difference_scale(axis);
  const double x = axis == 0 ? u : v;
  const auto at = [&](double y) { return axis == 0 ? evaluate(y, v) : evaluate(u, y); };
  if (is_periodic(axis) || (x - h >= patch_.lo[axis] && x + h <= patch_.hi[axis])) {
    const double below = x - h;
    const double above = x + h;
    const double f_below = at(below);
    return (at(above) - f_below) / (above - below);
  }
  // Near a bound the stencil turns inward: the one-sided second-order difference
  // (-3 f(x) + 4 f(x + k) - f(x + 2k)) / 2k, with k = +-h as actually represented.
  const double near = x - h < patch_.lo[axis] ? x + h : x - h;
  const double k = near - x;
  const double f0 = (u == u_ && v == v_) ? f_ : at(x);
  const double f1 = at(near);
  const double f2 = at(near + k);
  return ((4.0 * f1 - 3.0 * f0) - f2) / (2.0 * k);
}

void mlBaseMinimiser2::ensure_hessian() {
  if (hessian_.ready) return;
  hessian_.ready = true;
  if (derivatives_.offered[2] != 0) {
    const double uu = partial(2, 0, u_, v_);
    if (uu != kNoDerivative) {
      const double uv = partial(1, 1, u_, v_);
      const double vv = partial(0, 2, u_, v_);
      if (uv != kNoDerivative && vv != kNoDerivative) {
        derivatives_.offered[2] = 1;
        hessian_.uu = uu;
        hessian_.uv = uv;
        hessian_.vv = vv;
        return;
      }
    }
    derivatives_.offered[2] = 0;
  }
  // Second differences about a centre moved inside the patch far enough for the stencil.
  const double hu = kHessianStep * difference_scale(0);
  const double hv = kHessianStep * difference_scale(1);
  double cu = u_;
  double cv = v_;
  if (!is_periodic(0)) cu = mlMath::clip_to_range(cu, patch_.lo[0] + hu, patch_.hi[0] - hu);
  if (!is_periodic(1)) cv = mlMath::clip_to_range(cv, patch_.lo[1] + hv, patch_.hi[1] - hv);
  const double f0 = (cu == u_ && cv == v_) ? f_ : evaluate(cu, cv);
  const double f_pu = evaluate(cu + hu, cv);
  const double f_mu = evaluate(cu - hu, cv);
  const double f_pv = evaluate(cu, cv + hv);
  const double f_mv = evaluate(cu, cv - hv);
  const double f_pp = evaluate(cu + hu, cv + hv);
  const double f_mm = evaluate(cu - hu, cv - hv);
  hessian_.uu = ((f_pu - f0) - (f0 - f_mu)) / (hu * hu);
  hessian_.vv = ((f_pv - f0) - (f0 - f_mv)) / (hv * hv);
  // f(+,+) + f(-,-) - f(+,0) - f(-,0) - f(0,+) - f(0,-) + 2 f(0,0) = 2 hu hv f_uv + O(h^4).
  hessian_.uv = (((f_pp - f_pu) - (f_pv - f0)) + ((f_mm - f_mu) - (f_mv - f0))) / (2.0 * hu * hv);
}

double mlBaseMinimiser2::lowest_curvature(double& eu, double& ev) const noexcept {
  const double mean = (hessian_.uu + hessian_.vv) / 2.0;
  const double half = (hessian_.uu - hessian_.vv) / 2.0;
  const double lowest = mean - std::sqrt(half * half + hessian_.uv * hessian_.uv);
  // Of the two forms of the eigenvector, the longer one is the better conditioned.
  const double x1 = hessian_.uv;
  const double y1 = lowest - hessian_.uu;
  const double x2 = lowest - hessian_.vv;
  const double y2 = hessian_.uv;
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
  PASKOSDA_CHECK(!patch_.periodic[0] || std::isfinite(width(0)),
                 "minimise: periodic u needs a bounded patch, u range [%g, %g]", patch_.lo[0],
                 patch_.hi[0]);
  PASKOSDA_CHECK(!patch_.periodic[1] || std::isfinite(width(1)),
                 "minimise: periodic v needs a bounded patch, v range [%g, %g]", patch_.lo[1],
                 patch_.hi[1]);
  prepare();
  counters_.evaluations = 0;
  counters_.iterations = 0;
  derivatives_.offered[0] = derivatives_.offered[1] = derivatives_.offered[2] = -1;
  hessian_.ready = false;
  derivatives_.gradient_ready = false;
  steps_.conjugate_ready = false;
  steps_.edge_done = 0;
  tol_ = tolerance();
  u_ = into_patch(0, u);
  v_ = into_patch(1, v);
  f_ = evaluate(u_, v_);
  mlMinimiser2State state = mlMinimiser2MaxIterations;
  while (counters_.iterations < settings_.max_iterations) {
    ++counters_.iterations;
    const Pass pass = iterate();
    if (pass != Pass::Continue) {
      // The final passes share their values with the public states.
      state = static_cast<mlMinimiser2State>(pass);
      break;
    }
  }
  u = u_;
  v = v_;
  counters_.minimum_value = f_;
  return state;
}

mlBaseMinimiser2::Pass mlBaseMinimiser2::iterate() {
  start_pass();
  const bool held_u = is_held(0);
  const bool held_v = is_held(1);
  if (held_u && held_v) return Pass::AtCorner;
  if (held_u || held_v) return pass_on_edge(held_u ? 0 : 1);
  steps_.edge_done = 0;
  if (gu_ == 0.0 && gv_ == 0.0) return pass_at_zero_gradient();
  return pass_by_descent();
}

void mlBaseMinimiser2::start_pass() {
  hessian_.ready = false;
  candidate_.offered = false;
  // Polak-Ribiere needs the steepest-descent step of the iteration just before this one.
  steps_.conjugate_available = steps_.conjugate_ready;
  steps_.conjugate_ready = false;
  if (!derivatives_.gradient_ready) {
    gu_ = derivative(1, 0, u_, v_);
    gv_ = derivative(0, 1, u_, v_);
    derivatives_.gradient_ready = true;
  }
}

mlBaseMinimiser2::Pass mlBaseMinimiser2::pass_on_edge(int axis) {
  if (edge_step(axis) == StepTaken) return Pass::Continue;
  steps_.edge_done = 0;
  if (inside_probe(axis) == StepTaken) return Pass::Continue;
  return Pass::OnEdge;
}

mlBaseMinimiser2::Pass mlBaseMinimiser2::pass_at_zero_gradient() {
  if (steepest_descent_step() == StepTaken) return Pass::Continue;
  double eu;
  double ev;
  return lowest_curvature(eu, ev) < 0.0 ? Pass::NoProgress : Pass::Converged;
}

mlBaseMinimiser2::Pass mlBaseMinimiser2::pass_by_descent() {
  Step step = tangent_plane_step();
  if (step == StepTaken) return Pass::Continue;
  if (step == StepConverged) return Pass::Converged;
  const bool short_step = step == StepShort;
  step = newton_step();
  if (step == StepTaken) return Pass::Continue;
  if (step == StepConverged) return Pass::Converged;
  if (candidate_.offered) {
    take_candidate();
    return Pass::Continue;
  }
  if (short_step) return Pass::Converged;
  if (polak_ribiere_step() == StepTaken) return Pass::Continue;
  if (steepest_descent_step() == StepTaken) return Pass::Continue;
  return Pass::NoProgress;
}

void mlBaseMinimiser2::take_candidate() {
  const double u = candidate_.u;
  const double v = candidate_.v;
  const double f = candidate_.f;
  // The search along the candidate's step wins only when it ends no higher than the candidate.
  if ((candidate_.du != 0.0 || candidate_.dv != 0.0) &&
      line_step(candidate_.du, candidate_.dv) == StepTaken && f_ <= f)
    return;
  move_to(u, v, f);
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
  if (function_->max_deriv() < i + j) return kNoDerivative;
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
  second_.fill(kNoDerivative);
  int orders[2] = {i, j};
  count_evaluation();
  function_->function_derivative(argument_.slice(), orders, second_);
  bool untouched = second_.dimension() == n;
  for (int r = 0; r < n && untouched; ++r)
    untouched = second_[r] == kNoDerivative;
  if (untouched) return kNoDerivative;
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

mlVectorMinimiser2::NormalEquations mlVectorMinimiser2::normal_equations() const {
  const int n = function_->dimension();
  NormalEquations s;
  for (int r = 0; r < n; ++r) {
    const double ju = jacobian_(r, 0);
    const double jv = jacobian_(r, 1);
    s.a += ju * ju;
    s.b += ju * jv;
    s.c += jv * jv;
    s.r0 += ju * residual_[r];
    s.r1 += jv * residual_[r];
  }
  return s;
}

double mlVectorMinimiser2::predicted_fall(double du, double dv, const NormalEquations& s) const {
  // The model's decrease |F|^2 - |F + J d|^2 = -(2 d.J^T F + |J d|^2), formed without the
  // cancellation of the difference.
  const int n = function_->dimension();
  double model = 0.0;
  for (int r = 0; r < n; ++r) {
    const double jd = jacobian_(r, 0) * du + jacobian_(r, 1) * dv;
    model += jd * jd;
  }
  return -(2.0 * (du * s.r0 + dv * s.r1) + model);
}

mlBaseMinimiser2::Step mlVectorMinimiser2::tangent_plane_step() {
  ensure_jacobian(u_, v_);
  const NormalEquations s = normal_equations();
  const double det = s.a * s.c - s.b * s.b;
  if (!(s.a > 0.0 && s.c > 0.0 && det > kParallelColumns * (s.a * s.c))) return StepFailed;
  double du = -(s.c * s.r0 - s.b * s.r1) / det;
  double dv = -(s.a * s.r1 - s.b * s.r0) / det;
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
  const double predicted = predicted_fall(du, dv, s);
  const double actual = f_ - f;
  if (actual > 0.0 && predicted > 0.0 &&
      std::fabs(actual - predicted) <= kModelAgreement * predicted) {
    move_to(u, v, f);
    return StepTaken;
  }
  // A fall far beyond the model's (negative curvature, as near a maximum across the
  // surface) means the step was too short, a fall far below it that it overshot: the
  // candidate then asks for a search along the step.
  if (f < f_) {
    if (actual > kStretchedFall * predicted || actual < kShortFall * predicted) {
      offer_candidate(u, v, f, du, dv);
    } else {
      offer_candidate(u, v, f, 0.0, 0.0);
    }
  }
  return StepFailed;
}
