#ifndef PASKOSDA_LINALG_MLRANGE_H
#define PASKOSDA_LINALG_MLRANGE_H

/// \file
/// `mlRange`, a closed interval of doubles, and the intersection of two ranges.

#include <cfloat>
#include <cmath>

#include "linalg/mlMath.h"
#include "paskosda_export.h"

/// A closed interval [min, max] of doubles. The empty range is [+DBL_MAX, -DBL_MAX], which is
/// what a default-constructed range holds; merging values into it grows it from there.
class PASKOSDA_EXPORT mlRange {
 public:
  /// The empty range.
  mlRange() noexcept = default;
  /// [a, b], neither ordered nor checked.
  mlRange(double a, double b) noexcept : min_(a), max_(b) {}

  /// The lower end.
  double min() const noexcept { return min_; }
  /// The upper end.
  double max() const noexcept { return max_; }
  /// max - min.
  double length() const noexcept { return max_ - min_; }

  /// 1 exactly when this is the empty range.
  int invalid() const noexcept { return min_ == DBL_MAX && max_ == -DBL_MAX ? 1 : 0; }
  /// min if min > x, else max if x > max, else x.
  double clip(double x) const noexcept { return mlMath::clip_to_range(x, min_, max_); }
  /// min <= x <= max.
  bool contains(double x) const noexcept { return x >= min_ && x <= max_; }
  /// 1 unless an end differs from r's by more than tol.
  int coincident(const mlRange& r, double tol) const noexcept {
    return std::fabs(min_ - r.min_) > tol || std::fabs(max_ - r.max_) > tol ? 0 : 1;
  }
  /// 1 if the two closed ranges share a point (an end of one lies in the other), else 0.
  int crosses(const mlRange& r) const noexcept {
    return r.contains(max_) || r.contains(min_) || contains(r.min_) || contains(r.max_) ? 1 : 0;
  }
  /// mlMath::interpolate(t, min, max).
  double interpolate(double t) const noexcept { return mlMath::interpolate(t, min_, max_); }
  /// Where x lies, from 0.0 at min to 1.0 at max: 1.0 above max, 0.0 below min, 0.0 for a
  /// range shorter than 1e-10.
  double position_in_range(double x) const noexcept {
    if (x > max_) return 1.0;
    if (x < min_) return 0.0;
    if (max_ - min_ < 1e-10) return 0.0;
    return (x - min_) / (max_ - min_);
  }

  /// Grows the range to contain x (+DBL_MAX is ignored; the empty range becomes [x, x]).
  void merge(double x) noexcept {
    if (x == DBL_MAX) return;
    if (invalid() != 0) {
      min_ = x;
      max_ = x;
      return;
    }
    if (x < min_) min_ = x;
    if (x > max_) max_ = x;
  }
  /// Grows the range to contain r (nothing when r is empty).
  void merge(const mlRange& r) noexcept {
    if (r.invalid() != 0) return;
    merge(r.min_);
    merge(r.max_);
  }
  /// This range becomes its intersection with r.
  void intersect(const mlRange& r) noexcept;

 private:
  double min_ = DBL_MAX;
  double max_ = -DBL_MAX;
};

/// The common part of a and b: empty if either is empty or they do not meet, else
/// [larger min, smaller max].
inline mlRange intersect(const mlRange& a, const mlRange& b) noexcept {
  if (a.invalid() != 0 || b.invalid() != 0) return mlRange();
  const double lo = a.min() > b.min() ? a.min() : b.min();
  const double hi = a.max() < b.max() ? a.max() : b.max();
  if (lo > hi) return mlRange();
  return mlRange(lo, hi);
}

inline void mlRange::intersect(const mlRange& r) noexcept { *this = ::intersect(*this, r); }

#endif  // PASKOSDA_LINALG_MLRANGE_H
