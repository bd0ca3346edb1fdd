#ifndef PASKOSDA_FUNCTIONS_MLFUNCTIONVALUE_H
#define PASKOSDA_FUNCTIONS_MLFUNCTIONVALUE_H

/// \file
/// `mlFunctionValue`, a point on an `mlFunction` whose value and first two derivatives are
/// computed once and kept.

#include <cfloat>

#include "containers/utTags.h"
#include "functions/mlFunction.h"

/// A point t on an `mlFunction` with the value and the first two derivatives there, each
/// computed on first request and kept: every level is evaluated at most once until it is
/// dropped. The object does not remember the function: pass the same one every time, or
/// reset with `operator=(double)` / `invalidate_derivatives` when it changes.
///
/// Levels: nothing known -> f0 -> f0, f1 -> f0, f1, f2. A cached double equal to -DBL_MAX
/// counts as not computed, so a genuine value of -DBL_MAX is recomputed on every request.
/// The accessors are const but fill the cache: one object, one thread at a time.
class mlFunctionValue {
 public:
  /// The point t with nothing computed.
  explicit mlFunctionValue(double t) noexcept : t_(t) {}
  /// A copy of other under the copy rule of `operator=`.
  mlFunctionValue(utCopyTag, const mlFunctionValue& other) noexcept { *this = other; }
  mlFunctionValue(const mlFunctionValue&) = delete;
  ~mlFunctionValue() = default;

  /// Re-initialises to the point t with nothing computed. Returns this.
  mlFunctionValue& become(double t) noexcept { return *this = t; }
  /// Becomes a copy of other under the copy rule of `operator=`. Returns this.
  mlFunctionValue& become(utCopyTag, const mlFunctionValue& other) noexcept {
    return *this = other;
  }

  /// Moves to the point t and drops everything computed.
  mlFunctionValue& operator=(double t) noexcept {
    t_ = t;
    f0_ = unset;
    return *this;
  }
  /// Copies t and the value; the first derivative only if the value is known, and the second
  /// only if the first is. A level not copied keeps this object's old contents, which the
  /// unknown level below it makes unreachable.
  mlFunctionValue& operator=(const mlFunctionValue& other) noexcept {
    t_ = other.t_;
    f0_ = other.f0_;
    if (f0_ == unset) return *this;
    f1_ = other.f1_;
    if (f1_ == unset) return *this;
    f2_ = other.f2_;
    return *this;
  }

  /// The point t.
  double parameter() const noexcept { return t_; }

  /// f(t), evaluated once and kept.
  double fn0(const mlFunction& f) const {
    if (f0_ == unset) do_fn0(f);
    return f0_;
  }
  /// f'(t) through `function_derivative(1, t)`, evaluated once (after the value) and kept.
  double fn1(const mlFunction& f) const {
    if (f0_ == unset || f1_ == unset) do_fn1(f);
    return f1_;
  }
  /// f''(t) through `function_derivative(2, t)`, evaluated once (after the lower levels) and
  /// kept.
  double fn2(const mlFunction& f) const {
    if (f0_ == unset || f1_ == unset || f2_ == unset) do_fn2(f);
    return f2_;
  }

  /// Drops the derivatives and keeps the value (nothing happens while the value is unknown).
  void invalidate_derivatives() noexcept {
    if (f0_ == unset) return;
    f1_ = unset;
  }

  /// 1 when the two points t are equal, else 0; cached values play no part.
  int operator==(const mlFunctionValue& other) const noexcept { return t_ == other.t_ ? 1 : 0; }
  /// 1 when this point t is less than the other's, else 0.
  int operator<(const mlFunctionValue& other) const noexcept { return t_ < other.t_ ? 1 : 0; }

 protected:
  /// Evaluates the value and drops the first derivative.
  void do_fn0(const mlFunction& f) const {
    f0_ = f.function(t_);
    f1_ = unset;
  }
  /// Evaluates the first derivative (the value first, when unknown) and drops the second.
  void do_fn1(const mlFunction& f) const {
    if (f0_ == unset) do_fn0(f);
    f1_ = f.function_derivative(1, t_);
    f2_ = unset;
  }
  /// Evaluates the second derivative (the lower levels first, when unknown).
  void do_fn2(const mlFunction& f) const {
    if (f0_ == unset || f1_ == unset) do_fn1(f);
    f2_ = f.function_derivative(2, t_);
  }

 private:
  static constexpr double unset = -DBL_MAX;

  double t_ = 0.0;
  // Nothing reads f1 or f2 before the level below is known; they start unset all the same so
  // that every member always holds a determinate value.
  mutable double f0_ = unset;
  mutable double f1_ = unset;
  mutable double f2_ = unset;
};

#endif  // PASKOSDA_FUNCTIONS_MLFUNCTIONVALUE_H
