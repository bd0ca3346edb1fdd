#ifndef PASKOSDA_LINALG_MLSTATS_H
#define PASKOSDA_LINALG_MLSTATS_H

/// \file
/// `mlStats`, the running count, mean and variance of a stream of values.

#include "paskosda_export.h"

/// Running statistics of a stream of values: count, mean and variance, updated one value at
/// a time by Welford's method (no sums of squares, so no cancellation for data far from 0).
/// An empty accumulator reports 0.0 for the mean and the variances.
class PASKOSDA_EXPORT mlStats {
 public:
  mlStats() noexcept = default;
  ~mlStats() = default;

  /// Forgets every value.
  void clear() noexcept;
  /// Takes one value into account.
  void add(double x) noexcept;

  /// The number of values taken.
  double count() const noexcept { return count_; }
  /// Their mean (0.0 when there are none).
  double mean() const noexcept { return mean_; }
  /// Their population variance, the mean squared deviation (0.0 when there are none).
  double variance() const noexcept;
  /// Their sample variance, with the n - 1 divisor (0.0 for fewer than two values).
  double sample_variance() const noexcept;
  /// The square root of the population variance.
  double standard_deviation() const noexcept;

 private:
  double count_ = 0.0;
  double mean_ = 0.0;
  double squared_deviations_ = 0.0;  // sum of (x - mean)^2 over the values so far
};

#endif  // PASKOSDA_LINALG_MLSTATS_H
