#ifndef PASKOSDA_LINALG_MLRANDOM_H
#define PASKOSDA_LINALG_MLRANDOM_H

/// \file
/// `mlRandom`, a small deterministic pseudo-random generator.

#include <cstdint>

#include "paskosda_export.h"

/// A small, fast, deterministic pseudo-random generator (SplitMix64) for test data, random
/// starts and perturbations. Its whole state is the seed: the same seed gives the same
/// sequence on every platform and build. Not for cryptography.
class PASKOSDA_EXPORT mlRandom {
 public:
  /// A generator whose sequence is determined by `seed`.
  explicit mlRandom(long seed) noexcept : seed_(seed) {}
  /// Restarts the generator from `seed`; returns this.
  mlRandom& become(long seed) noexcept {
    seed_ = seed;
    return *this;
  }

  /// The next 64 random bits.
  std::uint64_t next() noexcept;
  /// A double uniformly distributed in [0, 1), a multiple of 2^-53.
  double uniform() noexcept;
  /// lo + (hi - lo) * uniform(): a double in [lo, hi) (up to rounding at hi).
  double uniform(double lo, double hi) noexcept;
  /// An int uniformly distributed in [0, n), without modulo bias; 0 when n < 1.
  int integer(int n) noexcept;

  /// The current state; constructing from it continues the same sequence.
  long seed() const noexcept { return seed_; }

 private:
  static_assert(sizeof(long) == 8, "mlRandom keeps its 64-bit state in a long");
  long seed_ = 0;
};

#endif  // PASKOSDA_LINALG_MLRANDOM_H
