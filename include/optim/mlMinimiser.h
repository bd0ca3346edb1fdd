#ifndef PASKOSDA_OPTIM_MLMINIMISER_H
#define PASKOSDA_OPTIM_MLMINIMISER_H

/// \file
/// Minimisation of a function of one variable: bracketing a minimum from two abscissae,
/// Brent's method inside a bracket, and `mlMinimiser`, a stateful search over a closed range
/// that uses the function's analytic derivatives where it declares them. All evaluation goes
/// through the `mlFunction` interface; nothing here throws, logs or allocates.

#include "functions/mlFunction.h"
#include "functions/mlFunctionValue.h"
#include "paskosda_export.h"

/// Walks downhill from a and b until a, b, c bracket a minimum, f(b) no higher than f(a) and
/// below f(c), and leaves the function's values there in fa, fb, fc. The walk starts from a
/// towards b, or from b towards a when f(b) > f(a) (a and b come back swapped then); each step
/// grows by the golden ratio 1.618034 or extrapolates a parabola, at most 100 times the last
/// step. After a parabolic step beyond c that lowers the value, the next point is grown from
/// the pair before that step, not from the new one (kept so): it can then fall short of the
/// new middle point, and the triple comes back as a < c < b (or a > c > b). The entry values
/// of c, fa, fb and fc are ignored. There is no iteration limit: the walk goes on while the
/// far value keeps falling, so on a function that keeps decreasing in the walking direction it
/// ends only when the abscissae overflow to infinity (some 1,500 steps from a unit spacing),
/// where the middle and far points coincide. A NaN value at the middle or far point ends the
/// walk.
PASKOSDA_EXPORT void ml_minimum_bracketing(const mlFunction& f, double& a, double& b, double& c,
                                           double& fa, double& fb, double& fc);

/// Brent's method (golden section 0.381966 combined with parabolic interpolation) inside the
/// bracket a, b, c (b between a and c, f(b) below f(a) and f(c); a and c in either order).
/// Stops when the bracket around the best point x has shrunk to about 4 (tolerance |x| +
/// 1e-20), or after `max_iterations` new points (none when it is below 1). Writes the best
/// point through x_min (nothing is written when x_min is null) and returns the function's
/// value there; running out of iterations returns the best point the same way.
PASKOSDA_EXPORT double ml_brent_minimum_search(const mlFunction& f, double a, double b, double c,
                                               double tolerance, int max_iterations, double* x_min);

/// How an `mlMinimiser` search ended (the last two only come out of `which_way`).
enum mlMinimiserState {
  /// The iteration budget ran out while the bracket was still wider than the tolerance.
  mlMinimiserMaxIterations = 0,
  /// A probe that reached a range end found exactly the current value there.
  mlMinimiserFlat = 1,
  /// A Newton step left the parameter unchanged: converged to machine precision.
  mlMinimiserNewtonStalled = 2,
  /// The bracket is no wider than the tolerance.
  mlMinimiserConverged = 3,
  /// Both probes one step either side are higher: the current point is the minimum at the
  /// probe's resolution.
  mlMinimiserBracketed = 4,
  /// At the range end the search proceeds from, the derivative points out of the range.
  mlMinimiserAtEnd = 5,
  /// The minimum lies below the current parameter.
  mlMinimiserGoDown = 6,
  /// The minimum lies above the current parameter.
  mlMinimiserGoUp = 7
};

/// Minimises an `mlFunction` over the closed range [lower, upper] by bisection of a bracket,
/// Newton steps (where the function offers two derivatives, `max_deriv` >= 2), a derivative
/// test at the range ends (`max_deriv` >= 1) and a growing probe towards an end at +-DBL_MAX.
/// The value and the derivatives at each point are computed at most once (each point is an
/// `mlFunctionValue`); the current best point carries over between searches. The function is
/// borrowed and must outlive the minimiser.
class PASKOSDA_EXPORT mlMinimiser {
 public:
  /// A minimiser of f over [lower, upper] (the order is not checked) starting at `start`
  /// clamped into the range, nothing evaluated yet. The search stops when its bracket is no
  /// wider than `tolerance`, which is also the first probe step and the length below which a
  /// Newton step counts as short. At most 100 passes per search.
  mlMinimiser(const mlFunction& f, double start, double lower, double upper,
              double tolerance) noexcept;
  // The minimiser keeps a pointer to f: a temporary would be gone before the search.
  mlMinimiser(const mlFunction&&, double, double, double, double) = delete;
  /// Re-initialises as the constructor does. Returns this.
  mlMinimiser& become(const mlFunction& f, double start, double lower, double upper,
                      double tolerance) noexcept;
  mlMinimiser& become(const mlFunction&&, double, double, double, double) = delete;
  mlMinimiser(const mlMinimiser&) = delete;
  mlMinimiser& operator=(const mlMinimiser&) = delete;
  ~mlMinimiser() = default;

  /// Searches and returns the parameter of the minimum found. found is 1 unless the passes
  /// ran out (then out_of_iterations is 1). When the search ended with `mlMinimiserAtEnd`, or
  /// whenever the function offers fewer than two derivatives, a result at `lower` with the
  /// function's `t_min()` below it sets beyond_range to -1, and one at `upper` with `t_max()`
  /// above it to +1, and found to 0: the minimum may lie outside the range (continue with
  /// `change_range`). Otherwise beyond_range is 0.
  double minimise(int& found, int& beyond_range, int& out_of_iterations);

  /// Moves the range to the neighbouring interval ending at `limit`: [upper, limit] when
  /// limit >= lower, else [limit, lower]. A limit inside the old range gives an inverted range,
  /// which is left so. The value cached at the current point is kept, its derivatives are
  /// dropped.
  void change_range(double limit) noexcept;

  /// Stores a known lower bound of the function's values (-DBL_MAX unless set). The search
  /// itself never reads it: it is kept for callers that stop early on reaching it.
  void set_absolute_minimum(double value) noexcept { absolute_minimum_ = value; }
  /// The bound stored by `set_absolute_minimum`.
  double absolute_minimum() const noexcept { return absolute_minimum_; }
  /// The passes used by the last search (also counting `which_way`'s probe growths).
  int iterations() const noexcept { return iterations_; }

 protected:
  /// The search proper: at most 100 passes, each narrowing the bracket [L, H] made afresh at
  /// [lower, upper] or moving the current point. Returns the state it ended in (never
  /// `mlMinimiserGoDown` or `mlMinimiserGoUp`).
  mlMinimiserState search();
  /// On which side of the current point the minimum lies, from the first derivative when the
  /// function offers it and it is non-zero, else from two probes at +-step (clamped to
  /// [low, high], not cached) with the step growing by 1.7301 while both probes are lower or
  /// both equal. Returns `mlMinimiserGoDown`, `mlMinimiserGoUp`, `mlMinimiserBracketed`,
  /// `mlMinimiserFlat` or, when the passes run out, `mlMinimiserMaxIterations`.
  mlMinimiserState which_way(double low, double high);

 protected:
  // Protected like the search itself, for minimisers that drive it.
  const mlFunction* objective_ = nullptr;  ///< The function minimised (borrowed).
  mlFunctionValue current_;                ///< The current best point, with what is known there.
  double lower_ = 0.0;                     ///< The lower end of the range.
  double upper_ = 0.0;                     ///< The upper end of the range.
  double tolerance_ = 0.0;                 ///< The bracket width that ends a search.
  double absolute_minimum_ = 0.0;          ///< See `set_absolute_minimum`.
  int max_iterations_ = 0;                 ///< The passes allowed per search (100).
  int iterations_ = 0;                     ///< The passes used by the last search.
};

#endif  // PASKOSDA_OPTIM_MLMINIMISER_H
