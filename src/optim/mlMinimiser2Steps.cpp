// The step strategies of the surface minimisers: Newton, Polak-Ribiere and steepest descent
// steps, the line step along a direction, and the steps along and just inside a held edge.
#include <cfloat>
#include <cmath>
#include <limits>

#include "containers/utMath.h"
#include "linalg/mlMath.h"
#include "optim/mlMinimiser2.h"
#include "optim/mlMinimiser2Detail.h"

using namespace paskosda_detail::minimiser2;

// ---- step strategies ------------------------------------------------------------------------

mlBaseMinimiser2::Step mlBaseMinimiser2::tangent_plane_step() { return StepFailed; }

double mlBaseMinimiser2::newton_threshold(double curvature) const noexcept {
  if (derivatives_.offered[1] != 0) return tol_;
  // A gradient by differences is only known to about epsilon |f| / h: no step shorter than
  // that noise divided by the curvature can be resolved.
  const double h = kGradientStep * utMath::min(difference_scale(0), difference_scale(1));
  const double noise = kDifferenceNoise * DBL_EPSILON * std::fabs(f_) / h;
  return curvature > 0.0 ? utMath::max(tol_, noise / curvature) : tol_;
}

mlBaseMinimiser2::Step mlBaseMinimiser2::newton_step() {
  ensure_hessian();
  const double det = hessian_.uu * hessian_.vv - hessian_.uv * hessian_.uv;
  if (!(hessian_.uu > 0.0 && det > 0.0)) return StepFailed;
  double du = -(hessian_.vv * gu_ - hessian_.uv * gv_) / det;
  double dv = -(hessian_.uu * gv_ - hessian_.uv * gu_) / det;
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
      if (f <= f_ + kValueNoise * std::fabs(f_)) move_to(u, v, f);
    }
    return StepConverged;
  }
  if (du == 0.0 && dv == 0.0) return StepFailed;
  return take_model_step(u, v, evaluate(u, v), -1) ? StepTaken : StepFailed;
}

mlBaseMinimiser2::Step mlBaseMinimiser2::polak_ribiere_step() {
  if (!steps_.conjugate_available) return StepFailed;
  const double yu = gu_ - steps_.gu_prev;
  const double yv = gv_ - steps_.gv_prev;
  const double beta =
      (gu_ * yu + gv_ * yv) / (steps_.gu_prev * steps_.gu_prev + steps_.gv_prev * steps_.gv_prev);
  // beta = 0 is the steepest-descent direction, which the next strategy searches.
  if (!(beta > 0.0)) return StepFailed;
  const double du = -gu_ + beta * steps_.du_prev;
  const double dv = -gv_ + beta * steps_.dv_prev;
  if (!(gu_ * du + gv_ * dv < 0.0)) return StepFailed;
  return line_step(du, dv);
}

mlBaseMinimiser2::Step mlBaseMinimiser2::steepest_descent_step() {
  if (gu_ != 0.0 || gv_ != 0.0) {
    if (line_step(-gu_, -gv_) == StepTaken) {
      // The gradient and direction at the point the step left, for Polak-Ribiere next time.
      steps_.conjugate_ready = true;
      steps_.gu_prev = gu_;
      steps_.gv_prev = gv_;
      steps_.du_prev = -gu_;
      steps_.dv_prev = -gv_;
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
  double low[2];
  double high[2];
  line_window(x, low, high);
  const PatchFunction objective(*this);
  mlLineOnFunction2 line(d[0], d[1], x[0], x[1], &objective);
  // Values only: a line step needs progress, not precision, and a value costs the least.
  line.set_max_deriv(0);
  line.set_window(low[0], high[0], low[1], high[1]);
  const double t_hi = line.t_max();
  if (!(t_hi > 0.0)) return StepFailed;
  const double resolution = t_hi < DBL_MAX ? kLineResolution * t_hi : kLineResolution;
  LineSearch search(line, 0.0, 0.0, t_hi, utMath::max(tol_, resolution));
  search.run();
  const double t = search.parameter();
  if (!(t > 0.0)) return StepFailed;

  double y[2];
  const bool off_line = line_point(t, t_hi, d, x, low, high, y);
  const double f = off_line ? evaluate(y[0], y[1]) : search.value();
  if (!(f < f_)) return StepFailed;
  move_to(y[0], y[1], f);
  return StepTaken;
}

void mlBaseMinimiser2::line_window(const double x[2], double low[2],
                                   double high[2]) const noexcept {
  // A periodic coordinate may travel half a period either way; the others stay in the patch.
  for (int a = 0; a < 2; ++a) {
    if (is_periodic(a)) {
      low[a] = x[a] - width(a) / 2.0;
      high[a] = x[a] + width(a) / 2.0;
    } else {
      low[a] = patch_.lo[a];
      high[a] = patch_.hi[a];
    }
  }
}

bool mlBaseMinimiser2::line_point(double t, double t_hi, const double d[2], const double x[2],
                                  const double low[2], const double high[2],
                                  double y[2]) const noexcept {
  bool off_line = false;
  for (int a = 0; a < 2; ++a) {
    // As the line computes its point, so that the value found belongs to it.
    y[a] = mlMath::clip_to_range(t * d[a] + x[a], low[a], high[a]);
    if (is_periodic(a)) {
      y[a] = wrap(a, y[a]);
    } else if (t == t_hi && d[a] != 0.0) {
      // At the end of the line the coordinate that ends it goes exactly onto its bound.
      const double bound = d[a] > 0.0 ? patch_.hi[a] : patch_.lo[a];
      if (std::fabs(bound) < DBL_MAX && (bound - x[a]) / d[a] == t_hi && y[a] != bound) {
        y[a] = bound;
        off_line = true;
      }
    }
  }
  return off_line;
}

mlBaseMinimiser2::EdgeLine::EdgeLine(const mlBaseMinimiser2& minimiser, int free, double held,
                                     int max_deriv) noexcept
    : objective_(minimiser),
      line(free == 0 ? 1.0 : 0.0, free == 0 ? 0.0 : 1.0, free == 0 ? 0.0 : held,
           free == 0 ? held : 0.0, &objective_) {
  line.set_max_deriv(max_deriv);
  const Patch& patch = minimiser.patch_;
  const double x = free == 0 ? minimiser.u_ : minimiser.v_;
  // A periodic free coordinate is searched over the period centred on it, the line left
  // unclipped (the objective wraps it); otherwise over the patch.
  const bool periodic = minimiser.is_periodic(free);
  low = periodic ? x - minimiser.width(free) / 2.0 : patch.lo[free];
  high = periodic ? x + minimiser.width(free) / 2.0 : patch.hi[free];
  if (free == 0) {
    line.set_window(periodic ? -DBL_MAX : patch.lo[0], periodic ? DBL_MAX : patch.hi[0],
                    patch.lo[1], patch.hi[1]);
  } else {
    line.set_window(patch.lo[0], patch.hi[0], periodic ? -DBL_MAX : patch.lo[1],
                    periodic ? DBL_MAX : patch.hi[1]);
  }
}

mlBaseMinimiser2::Step mlBaseMinimiser2::edge_step(int axis) {
  const int free = 1 - axis;
  if (steps_.edge_done != axis + 1) {
    const double x_free = free == 0 ? u_ : v_;
    // The sign of the derivative decides on which side of a point the minimum lies.
    EdgeLine edge(*this, free, free == 0 ? v_ : u_, 1);
    LineSearch search(edge.line, x_free, edge.low, edge.high, tol_);
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
      steps_.edge_done = converged ? axis + 1 : 0;
      return StepTaken;
    }
    steps_.edge_done = axis + 1;
  }
  // The search bisects by comparing values, which stop resolving the point well before the
  // tolerance when the value is large: Newton steps along the edge finish it.
  const Step step = edge_newton_step(free);
  if (step == StepFailed) steps_.edge_done = 0;
  return step;
}

mlBaseMinimiser2::Step mlBaseMinimiser2::edge_newton_step(int free) {
  ensure_hessian();
  const double g = free == 0 ? gu_ : gv_;
  const double h = free == 0 ? hessian_.uu : hessian_.vv;
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
      if (f <= f_ + kValueNoise * std::fabs(f_)) move_to(u, v, f);
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
      std::isfinite(w) ? kInsideOffset * w : kInsideOffset * utMath::max(1.0, std::fabs(x_held));
  // Clipped for a patch narrower than the offset, down to a single value at an open end
  // (where the offset grows with the coordinate), so that the probe stays in the patch.
  const double inner =
      mlMath::clip_to_range(x_held == patch_.lo[axis] ? x_held + offset : x_held - offset,
                            patch_.lo[axis], patch_.hi[axis]);
  // Values only: the probe looks for any lower point, as a line step does.
  EdgeLine edge(*this, free, inner, 0);
  const double range = edge.high - edge.low;
  const double resolution =
      std::isfinite(range) && range < DBL_MAX ? kLineResolution * range : kLineResolution;
  LineSearch search(edge.line, x_free, edge.low, edge.high, utMath::max(tol_, resolution));
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
