#ifndef PASKOSDA_OPTIM_MLMINIMISER2_H
#define PASKOSDA_OPTIM_MLMINIMISER2_H

/// \file
/// Minimisation over two parameters (u, v) inside a rectangular parameter patch, optionally
/// periodic in u or in v: `mlMinimiser2` minimises a scalar `mlFunction2`, `mlVectorMinimiser2`
/// the length of a vector function of (u, v) (projecting a point onto a parametric surface).
/// Both share `mlBaseMinimiser2`, which holds the patch, the tolerance, the iteration and its
/// step strategies.
///
/// `minimise` clamps (or wraps) the start into the patch, evaluates it, and runs passes until
/// one decides the state or the budget of passes runs out (`mlMinimiser2MaxIterations`). Each
/// pass, at the current point with value f and gradient g (analytic when offered, else central
/// differences with steps of 1e-5 of the patch width, turned one-sided near a bound; the
/// Hessian, when a step needs it, analytic or by second differences with steps of 1e-4 of the
/// width about a centre moved inside the patch), tries in order:
///  1. Corner. A non-periodic parameter exactly on a bound with -g pointing out of the patch
///     there is held; both held: `mlMinimiser2AtCorner`.
///  2. Edge, one parameter held:
///     a. the edge search: `mlMinimiser`, using the sign of the derivative, along the edge over
///        the free parameter's range (the period centred on it, when periodic) to the tolerance;
///        a lower value is taken. Once it has converged or found nothing lower, the next passes
///        skip it for as long as each moves the point along this edge;
///     b. otherwise Newton along the edge, -g_free / h_free when h_free > 0, clamped (wrapped)
///        into the patch: converged when no longer than the Newton threshold (4b; the point
///        still moves when the value rises by no more than 1e-10 |f|), else taken by the
///        model-step rule (4b);
///     c. when neither moved the point (a converged Newton step included), the inside probe: a
///        values-only search of the line parallel to the edge 1e-3 of the held parameter's
///        patch width inside it (1e-3 max(1, |x|) at an open side), to the larger of the
///        tolerance and 1e-4 of the range; a lower value is taken. A collapsed edge (a sphere's
///        pole) looks like a minimum from each of its points;
///     d. otherwise `mlMinimiser2OnEdge`.
///  3. Zero gradient (both components exactly 0): the negative-curvature escape (4f); when it
///     finds nothing, `mlMinimiser2NoProgress` if the Hessian has a negative eigenvalue (a
///     saddle that could not be left), else `mlMinimiser2Converged`.
///  4. Otherwise the first of these that decides:
///     a. the tangent-plane step (vector minimiser only): the Gauss-Newton step solving
///        (J^T J) d = -J^T F, not applicable when det(J^T J) <= 1e-12 of the product of its
///        diagonal. No longer than the tolerance, it is "short" and goes on to b. Otherwise it is
///        shortened to the patch and taken when the value falls as its linear model predicts
///        (-(2 d.J^T F + |J d|^2)) within 10%: the distance then shrinks at least ten-fold. A
///        lower value outside the 10% becomes the candidate (c), with its direction when it
///        fell by more than twice or less than a quarter of the prediction;
///     b. the Newton step -H^-1 g when H is positive definite, shortened to the patch. Converged
///        when the unshortened step is no longer than the Newton threshold: the tolerance, or
///        with difference gradients the larger of it and 16 eps |f| / (1e-5 of the narrower
///        patch width) over the lowest curvature (their noise); the point still moves when the
///        value rises by no more than 1e-10 |f|. Otherwise the model-step rule takes it when
///        the value rises by no more than 64 eps |f|, or by no more than 1e-10 |f| while the
///        gradient at the new point (on an edge its free component) is shorter: near a minimum
///        of large value the values stop resolving the step;
///     c. the candidate of a: with a direction, the line along it is searched first and its
///        point kept when no higher than the candidate; otherwise the candidate is taken;
///     d. a short tangent-plane step with nothing from b and c: `mlMinimiser2Converged`;
///     e. the Polak-Ribiere line step, only right after a steepest-descent line step (so every
///        second pass at most): -g + beta d_prev with beta = g.(g - g_prev) / |g_prev|^2 > 0,
///        when it descends;
///     f. the steepest-descent line step along -g; when it finds nothing lower, the
///        negative-curvature escape: if the Hessian's lowest eigenvalue is negative, line steps
///        along its eigenvector, then the opposite sense;
///     g. otherwise `mlMinimiser2NoProgress`.
/// A line step searches values only with `mlMinimiser` from the point forward to where the
/// line leaves the patch (a periodic parameter half a period either way), to the larger of the
/// tolerance and 1e-4 of that length, and is taken when the value is strictly lower. A full step
/// leaving the patch is shortened to the boundary, the coordinate that limits it exactly on its
/// bound; periodic parameters are wrapped back into the patch.
///
/// Nothing here throws or logs; nothing carries over between calls of `minimise` but the
/// settings.

#include <cfloat>

#include "functions/mlFunction.h"
#include "functions/mlSquaredLengthFunc2.h"
#include "linalg/mlMatrix.h"
#include "linalg/mlVector.h"
#include "paskosda_export.h"

class mlLineOnFunction2;

/// How `minimise` ended (values fixed).
enum mlMinimiser2State {
  /// An interior minimum: a Newton step shorter than the tolerance, or a zero gradient
  /// without a direction of negative curvature.
  mlMinimiser2Converged = 0,
  /// A minimum on a non-periodic patch edge: the gradient points out of the patch across the
  /// edge and the minimisation along the edge has converged.
  mlMinimiser2OnEdge = 1,
  /// A minimum at a patch corner: the gradient points out across both edges.
  mlMinimiser2AtCorner = 2,
  /// The iteration budget ran out; the best point is returned.
  mlMinimiser2MaxIterations = 3,
  /// No step strategy lowered the value (a NaN value included); the best point is returned.
  mlMinimiser2NoProgress = 4
};

/// The patch, periodicity, tolerance, iteration and step strategies shared by the two surface
/// minimisers. Abstract: a derived minimiser supplies the function's values and its analytic
/// derivatives (or declines them, and central differences are used). Not copyable; one object,
/// one thread at a time.
class PASKOSDA_EXPORT mlBaseMinimiser2 {
 public:
  virtual ~mlBaseMinimiser2();
  mlBaseMinimiser2(const mlBaseMinimiser2&) = delete;
  mlBaseMinimiser2& operator=(const mlBaseMinimiser2&) = delete;

  /// The patch [u_min, u_max] x [v_min, v_max]; a bound of -DBL_MAX or +DBL_MAX leaves that
  /// side open. Each pair must be ordered (checked in checked builds only).
  void set_patch(double u_min, double u_max, double v_min, double v_max) noexcept;
  /// A non-zero flag makes that parameter periodic: it wraps modulo its patch width into
  /// [min, max) and has no edge. Periodicity needs a finite patch width (checked in checked
  /// builds; otherwise the flag is ignored for an open side).
  void set_periodic(int u_periodic, int v_periodic) noexcept;
  /// The step length in parameter space (Euclidean in (u, v)) below which the iteration has
  /// converged. A value <= 0 restores the default: 1e-10 times the larger patch width, or an
  /// absolute 1e-10 when a side of the patch is open.
  void set_tolerance(double parameter_tolerance) noexcept;
  /// The iteration budget of `minimise` (100 by default; 0 or less evaluates the start only).
  void set_max_iterations(int n) noexcept { settings_.max_iterations = n; }

  /// Minimises from (u, v), first clamped (wrapped, for a periodic parameter) into the patch
  /// (a NaN start becomes the patch's point nearest 0, an infinite periodic one the period's
  /// start), and writes the point found back to u and v; it always lies inside the patch. Returns
  /// how the search ended; on `mlMinimiser2MaxIterations` and `mlMinimiser2NoProgress` the point is
  /// the best one found.
  mlMinimiser2State minimise(double& u, double& v);

  /// The function's value at the point of the last `minimise` (-DBL_MAX before the first).
  double minimum_value() const noexcept { return counters_.minimum_value; }
  /// The iterations of the last `minimise`: each step taken, and the final pass that decided
  /// the state.
  int iterations() const noexcept { return counters_.iterations; }
  /// The calls made to the user's function object by the last `minimise`: values, analytic
  /// derivatives and Jacobians alike, those of the finite differences and of the
  /// one-dimensional searches included. Each iteration runs at most five one-dimensional
  /// searches of at most 100 passes each, so the count is bounded by the iteration budget.
  int evaluations() const noexcept { return counters_.evaluations; }
  /// The parameter tolerance `minimise` uses with the present settings.
  double tolerance() const noexcept;

 protected:
  /// An unbounded, non-periodic patch, the default tolerance and 100 iterations.
  mlBaseMinimiser2() noexcept = default;

  /// The outcome of one step strategy.
  enum Step {
    /// Not applicable, or no lower value found: the point is unchanged.
    StepFailed = 0,
    /// The point moved to a lower value (for a Newton step: one no higher beyond rounding).
    StepTaken = 1,
    /// The step is shorter than the tolerance: converged (the point moved unless that raised
    /// the value by more than 1e-10 |f|).
    StepConverged = 2,
    /// A tangent-plane step shorter than the tolerance: with a residual it may fall short of
    /// the minimum by any factor, so the Newton step decides, and without one it counts as
    /// converged.
    StepShort = 3
  };

  /// The value at (u, v), a point of the patch (periodic parameters already wrapped). Each
  /// call to the user's function is counted with `count_evaluation`.
  virtual double value(double u, double v) const = 0;
  /// The analytic partial derivative of orders (i in u, j in v), i + j = 1 or 2, at a point of
  /// the patch, or -666.0 when the function does not offer that order (then central
  /// differences are used for the rest of the `minimise`).
  virtual double partial(int i, int j, double u, double v) const = 0;
  /// Called at the start of every `minimise`, to drop what a derived minimiser caches.
  virtual void prepare() {}

  /// The tangent-plane step of a vector minimiser; the base has none (StepFailed).
  virtual Step tangent_plane_step();
  /// The Newton step -H^-1 g when the Hessian H is positive definite, shortened to the patch.
  /// Taken when the value does not rise beyond rounding (64 ulps of |f|), or rises by less
  /// than 1e-10 |f| while the gradient shrinks; converged when shorter than the tolerance (or,
  /// with finite-difference derivatives, than the step their rounding noise allows).
  Step newton_step();
  /// The Polak-Ribiere direction -g + beta d_prev, beta = g·(g - g_prev) / |g_prev|^2, minimised
  /// along the line. Only right after a steepest-descent line step (so restarted every second
  /// iteration) and when beta > 0 and the direction descends; otherwise StepFailed.
  Step polak_ribiere_step();
  /// -g minimised along the line. When that finds nothing lower (a zero gradient included)
  /// and the Hessian has a negative eigenvalue, its eigenvector is searched in both senses,
  /// so that a saddle point is left.
  Step steepest_descent_step();
  /// The minimisation along the edge on which the parameter `axis` (0 for u, 1 for v) is held:
  /// `mlMinimiser` over the other parameter's range (a period centred on it when periodic) to
  /// the parameter tolerance, using the sign of the derivative along the edge; once that
  /// search has converged or found nothing lower, Newton steps along the edge (converged when
  /// shorter than the tolerance).
  Step edge_step(int axis);
  /// Shortens the step (du, dv) from the current point to the patch boundary (for a
  /// coordinate already on its bound and leaving at once, that component is dropped instead)
  /// and writes the point reached to (u, v): the coordinate that limited the step exactly on
  /// its bound, periodic coordinates wrapped.
  void snap_to_patch(double& du, double& dv, double& u, double& v) const noexcept;

  /// The value at any (u, v): periodic coordinates wrapped into the patch, then `value`.
  double evaluate(double u, double v) const;
  /// Moves the current point to (u, v) with value f (a point already in the patch).
  void move_to(double u, double v, double f) noexcept;
  /// Offers a point with a lower value found by a step that was not taken at once; it is
  /// taken when the Newton step fails too. A non-zero direction (du, dv) asks for the line
  /// along it to be searched first; the search's point is taken when it is no higher.
  void offer_candidate(double u, double v, double f, double du, double dv) noexcept;
  /// Adds one call of the user's function to the count.
  void count_evaluation() const noexcept { ++counters_.evaluations; }

  // The current point, its value and gradient, valid during `minimise`.
  double u_ = 0.0;      ///< The current u.
  double v_ = 0.0;      ///< The current v.
  double f_ = 0.0;      ///< The value at (u_, v_).
  double gu_ = 0.0;     ///< The derivative in u at (u_, v_).
  double gv_ = 0.0;     ///< The derivative in v at (u_, v_).
  double tol_ = 1e-10;  ///< The parameter tolerance of this `minimise`.

 private:
  class PatchFunction;
  class LineSearch;
  class EdgeLine;

  // How a pass of the iteration ends: with the state `minimise` reports (the same values), or
  // going on to the next pass.
  enum class Pass {
    Converged = mlMinimiser2Converged,
    OnEdge = mlMinimiser2OnEdge,
    AtCorner = mlMinimiser2AtCorner,
    NoProgress = mlMinimiser2NoProgress,
    Continue
  };

  // The patch as set: -DBL_MAX and DBL_MAX mark open sides.
  struct Patch {
    double lo[2] = {-DBL_MAX, -DBL_MAX};
    double hi[2] = {DBL_MAX, DBL_MAX};
    bool periodic[2] = {false, false};
  };
  // The settings other than the patch.
  struct Settings {
    double user_tolerance = 0.0;  // 0 asks for the default tolerance
    int max_iterations = 100;
  };
  // What the last `minimise` reports besides the point and the state.
  struct Counters {
    double minimum_value = -DBL_MAX;
    int iterations = 0;
    // Counted by the const evaluations.
    mutable int evaluations = 0;
  };
  // What is known of the derivatives, per `minimise`.
  struct Derivatives {
    // Which derivative orders the function offers (-1 unknown, 0 no, 1 yes), found out by the
    // const derivative queries.
    mutable int offered[3] = {-1, -1, -1};
    // Whether gu_ and gv_ belong to the current point.
    bool gradient_ready = false;
  };
  // The Hessian at the current point, computed at most once per pass.
  struct Hessian {
    bool ready = false;
    double uu = 0.0;
    double uv = 0.0;
    double vv = 0.0;
  };
  // What the steps carry from one pass to the next.
  struct StepMemory {
    // Polak-Ribiere needs a steepest-descent line step of the previous pass: `conjugate_ready`
    // is set by it, `conjugate_available` is what the present pass found.
    bool conjugate_ready = false;
    bool conjugate_available = false;
    double gu_prev = 0.0;
    double gv_prev = 0.0;
    double du_prev = 0.0;
    double dv_prev = 0.0;
    // The held axis + 1 whose edge search converged in an earlier pass, else 0.
    int edge_done = 0;
  };
  // A lower point offered during this pass, with the direction to search first (or 0, 0).
  struct Candidate {
    bool offered = false;
    double u = 0.0;
    double v = 0.0;
    double f = 0.0;
    double du = 0.0;
    double dv = 0.0;
  };

  // One pass: the state it decides, or Continue.
  Pass iterate();
  // The phases of a pass: its per-pass state and gradient; then one of the edge, the zero
  // gradient, or the descent cascade.
  void start_pass();
  Pass pass_on_edge(int axis);
  Pass pass_at_zero_gradient();
  Pass pass_by_descent();
  // Moves to the offered candidate, or to the point of the search along its direction when
  // that is no higher.
  void take_candidate();
  // The partial derivative of orders (i, j) at a patch point: analytic when offered, else
  // central differences.
  double derivative(int i, int j, double u, double v) const;
  double difference(int axis, double u, double v) const;
  // The Hessian at the current point, computed at most once per iteration.
  void ensure_hessian();
  // The smallest eigenvalue of the Hessian and its eigenvector.
  double lowest_curvature(double& eu, double& ev) const noexcept;
  bool is_periodic(int axis) const noexcept;
  bool is_held(int axis) const noexcept;
  double wrap(int axis, double x) const noexcept;
  double into_patch(int axis, double x) const noexcept;
  double width(int axis) const noexcept;
  double difference_scale(int axis) const noexcept;
  Step line_step(double du, double dv);
  // The window of a line step through x: the patch, a periodic coordinate half a period
  // either way.
  void line_window(const double x[2], double low[2], double high[2]) const noexcept;
  // The point y at parameter t of the line x + t d in that window; returns whether a
  // coordinate was moved off the line onto the bound that ends it (at t = t_hi).
  bool line_point(double t, double t_hi, const double d[2], const double x[2], const double low[2],
                  const double high[2], double y[2]) const noexcept;
  // A Newton step along the free coordinate of an edge already searched.
  Step edge_newton_step(int free);
  // Takes a Newton step to (u, v) with value f when the value does not rise beyond rounding,
  // or rises by less than 1e-10 |f| while the gradient (its `axis` component, or the whole for
  // -1) shrinks. Returns whether it took it.
  bool take_model_step(double u, double v, double f, int axis);
  // The Newton step length below which the iteration has converged, for the given curvature.
  double newton_threshold(double curvature) const noexcept;
  Step inside_probe(int axis);

  Patch patch_;
  Settings settings_;
  Counters counters_;
  Derivatives derivatives_;
  Hessian hessian_;
  StepMemory steps_;
  Candidate candidate_;
};

/// Minimises a scalar function f(u, v) over a patch, by default f's own domain. Uses f's
/// analytic first and second derivatives (`uv_function_derivative`) where f offers them:
/// `max_deriv` at least the order and a result other than -666.0 at the first request; central
/// differences with steps scaled to the patch otherwise. f is borrowed and must outlive the
/// minimiser.
class PASKOSDA_EXPORT mlMinimiser2 : public mlBaseMinimiser2 {
 public:
  /// A minimiser of f over its domain (`u_min()` ... `v_max()`, read now).
  explicit mlMinimiser2(const mlFunction2& f) noexcept;
  // The minimiser keeps a pointer to f: a temporary would be gone before the search.
  explicit mlMinimiser2(const mlFunction2&&) = delete;
  /// Re-initialises as the constructor does (patch, periodicity, tolerance and budget back to
  /// their defaults). Returns this.
  mlMinimiser2& become(const mlFunction2& f) noexcept;
  mlMinimiser2& become(const mlFunction2&&) = delete;

 protected:
  double value(double u, double v) const override;
  double partial(int i, int j, double u, double v) const override;

 private:
  const mlFunction2* function_ = nullptr;
};

/// Minimises the length |F(u, v)| of a vector function of two variables (an `mlFunctionN` with
/// `variables()` 2) over a patch that the caller sets (unbounded until then): with
/// F(u, v) = S(u, v) - P it projects the point P onto the surface S. It minimises the squared
/// length through `mlSquaredLengthFunc2`, takes the gradient 2 J^T F from F's Jacobian
/// (`function_gradient`) and the Hessian from F's second derivatives (`function_derivative`)
/// when F offers them (F counts as not offering them when it leaves the result vector
/// untouched), else by central differences. Its first strategy is the tangent-plane step.
/// `minimum_value()` is the squared length |F|^2 at the result. F is borrowed and must outlive
/// the minimiser.
class PASKOSDA_EXPORT mlVectorMinimiser2 : public mlBaseMinimiser2 {
 public:
  /// A minimiser of |F| (F.variables() must be 2, checked in checked builds only).
  explicit mlVectorMinimiser2(const mlFunctionN& F) noexcept;
  explicit mlVectorMinimiser2(const mlFunctionN&&) = delete;
  /// Re-initialises as the constructor does. Returns this.
  mlVectorMinimiser2& become(const mlFunctionN& F) noexcept;
  mlVectorMinimiser2& become(const mlFunctionN&&) = delete;
  ~mlVectorMinimiser2() override;

 protected:
  double value(double u, double v) const override;
  double partial(int i, int j, double u, double v) const override;
  void prepare() override;
  /// The Gauss-Newton step delta solving (J^T J) delta = -J^T F: the foot of the perpendicular
  /// from the target onto the tangent plane. Not applicable when J^T J is (nearly) singular.
  /// Taken when the value falls as its linear model predicts to within 10%; a lower value
  /// that disagrees with the model is offered as a candidate instead, with a search along
  /// the step when it fell by more than twice or less than a quarter of the prediction.
  /// StepShort when shorter than the tolerance.
  Step tangent_plane_step() override;

 private:
  // F and J at (u, v), kept for the last point asked.
  void ensure_jacobian(double u, double v) const;
  // J^T J = [[a, b], [b, c]] and J^T F = (r0, r1) at the point of the Jacobian, summed row by
  // row.
  struct NormalEquations {
    double a = 0.0;
    double b = 0.0;
    double c = 0.0;
    double r0 = 0.0;
    double r1 = 0.0;
  };
  NormalEquations normal_equations() const;
  // The fall of |F|^2 that the linear model predicts for the step (du, dv).
  double predicted_fall(double du, double dv, const NormalEquations& s) const;

  const mlFunctionN* function_ = nullptr;
  mlSquaredLengthFunc2 length_;
  mutable mlVector argument_;
  mutable mlVector residual_;
  mutable mlVector second_;
  mutable mlMatrix jacobian_;
  mutable bool jacobian_ready_ = false;
  mutable double jacobian_u_ = 0.0;
  mutable double jacobian_v_ = 0.0;
};

#endif  // PASKOSDA_OPTIM_MLMINIMISER2_H
