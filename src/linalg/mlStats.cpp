#include "linalg/mlStats.h"

#include <cmath>

void mlStats::clear() noexcept {
  count_ = 0.0;
  mean_ = 0.0;
  squared_deviations_ = 0.0;
}

void mlStats::add(double x) noexcept {
  count_ += 1.0;
  const double delta = x - mean_;
  mean_ += delta / count_;
  squared_deviations_ += delta * (x - mean_);
}

double mlStats::variance() const noexcept {
  return count_ > 0.0 ? squared_deviations_ / count_ : 0.0;
}

double mlStats::sample_variance() const noexcept {
  return count_ > 1.0 ? squared_deviations_ / (count_ - 1.0) : 0.0;
}

double mlStats::standard_deviation() const noexcept { return std::sqrt(variance()); }
