#ifndef PASKOSDA_FUNCTIONS_MLINTEGRATE_H
#define PASKOSDA_FUNCTIONS_MLINTEGRATE_H

/// \file
/// Definite integrals of an `mlFunction` over [a, b] by successive halving of the step. All
/// three rules start from the one-interval trapezoid 0.5 (f(a) + f(b)) (b - a), f(a) evaluated
/// first, and at each halving evaluate the n new midpoints a + h, a + 3h, ... (n = 1, 2, 4, ...)
/// through `ml_sum`. Convergence is tested absolutely and strictly: |new - previous| <
/// tolerance. Nothing checks a < b; with a > b the signs follow from b - a. After s halvings
/// (s estimates for Simpson) 2 + (2^s - 1) function values have been taken.

#include "functions/mlFunction.h"
#include "paskosda_export.h"

/// f(x0 + i dx) summed for i = 0 ... n - 1 in ascending order, each abscissa formed as
/// (double)i * dx + x0; 0.0 without any evaluation for n < 1.
PASKOSDA_EXPORT double ml_sum(const mlFunction& f, double x0, double dx, int n);

/// The interface of the integrators.
class PASKOSDA_EXPORT mlIntegrate {
 public:
  /// The integral of f over [a, b]; the last estimate when the step limit runs out.
  virtual double integrate(const mlFunction& f, double a, double b) const = 0;
  virtual ~mlIntegrate();

 protected:
  /// For the derived integrators.
  mlIntegrate() noexcept = default;
  /// Copying belongs to the concrete classes (protected: a copy through the base would
  /// slice).
  ///@{
  mlIntegrate(const mlIntegrate&) noexcept = default;
  mlIntegrate& operator=(const mlIntegrate&) noexcept = default;
  ///@}
};

/// The trapezoidal rule with step halving. The initial estimate counts as a step: at most
/// max_steps - 1 halvings, so max_steps <= 1 returns the one-interval trapezoid.
class PASKOSDA_EXPORT mlIntegrateTrapezoid : public mlIntegrate {
 public:
  /// Stops when two successive estimates differ by less than `tolerance` (absolute).
  mlIntegrateTrapezoid(double tolerance, int max_steps) noexcept
      : max_steps_(max_steps), tolerance_(tolerance) {}
  /// Re-initialises with a new tolerance and step limit. Returns this.
  mlIntegrateTrapezoid& become(double tolerance, int max_steps) noexcept;

  /// Sets `converged` to 1 and returns the first estimate within tolerance of the one before;
  /// when the halvings run out, sets it to 0 and returns the last estimate.
  double integrate(const mlFunction& f, double a, double b) const override;

  /// 1 when the last `integrate` met the tolerance, 0 when its step limit ran out (0 before
  /// the first call).
  int converged() const noexcept { return converged_; }

 private:
  int max_steps_ = 0;
  double tolerance_ = 0.0;
  mutable int converged_ = 0;
};

/// Simpson's rule with step halving. Estimates are counted from 0: at most max_steps
/// estimates (none for max_steps <= 0, which returns 0.0). The first estimate is never
/// accepted, even when it is exact.
class PASKOSDA_EXPORT mlIntegrateSimpson : public mlIntegrate {
 public:
  /// Stops when two successive estimates differ by less than `tolerance` (absolute). The step
  /// limit is kept and compared as a double, by design.
  mlIntegrateSimpson(double tolerance, int max_steps) noexcept
      : max_steps_(static_cast<double>(max_steps)), tolerance_(tolerance) {}
  /// Re-initialises with a new tolerance and step limit. Returns this.
  mlIntegrateSimpson& become(double tolerance, int max_steps) noexcept;

  /// Sets `converged` to 1 and returns the first estimate (after the first) within tolerance
  /// of the one before; when the estimates run out, sets it to 0 and returns the last one.
  double integrate(const mlFunction& f, double a, double b) const override;

  /// 1 when the last `integrate` met the tolerance, 0 when its step limit ran out (0 before
  /// the first call).
  int converged() const noexcept { return converged_; }

 private:
  double max_steps_ = 0.0;
  double tolerance_ = 0.0;
  mutable int converged_ = 0;
};

/// Romberg extrapolation of the halved trapezoids. Halvings are counted from 1 through
/// max_steps; the tolerance is first tested at the second, so max_steps 1 returns the
/// order-1 extrapolation (Simpson's value) unconverged and max_steps < 1 returns 0.0.
class PASKOSDA_EXPORT mlIntegrateRomberg : public mlIntegrate {
 public:
  /// Stops when the highest-order estimates of two successive rows differ by less than
  /// `tolerance` (absolute).
  mlIntegrateRomberg(double tolerance, int max_steps) noexcept
      : max_steps_(max_steps), tolerance_(tolerance) {}
  /// Re-initialises with a new tolerance and step limit. Returns this.
  mlIntegrateRomberg& become(double tolerance, int max_steps) noexcept;

  /// Sets `converged` to 1 and returns the first row's best estimate within tolerance of the
  /// previous row's; when the halvings run out, sets it to 0 and returns the last row's.
  /// Row k extrapolates in place, R[j - 1] = R[j] + (R[j] - R[j - 1]) / (4^m - 1) for
  /// j = k ... 1 and m = 1 ... k, the divisor being the integer 2^(2m) - 1 rounded to double.
  double integrate(const mlFunction& f, double a, double b) const override;

  /// 1 when the last `integrate` met the tolerance, 0 when its step limit ran out (0 before
  /// the first call).
  int converged() const noexcept { return converged_; }

 private:
  int max_steps_ = 0;
  double tolerance_ = 0.0;
  mutable int converged_ = 0;
};

#endif  // PASKOSDA_FUNCTIONS_MLINTEGRATE_H
