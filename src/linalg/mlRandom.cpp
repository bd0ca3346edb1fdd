#include "linalg/mlRandom.h"

#include <climits>

std::uint64_t mlRandom::next() noexcept {
  std::uint64_t state = static_cast<std::uint64_t>(seed_) + 0x9E3779B97F4A7C15u;
  // Stored back by value: ~state fits a long whenever state does not, and -x - 1 is then the
  // two's complement reading of state, without an implementation-defined conversion.
  seed_ = state <= static_cast<std::uint64_t>(LONG_MAX) ? static_cast<long>(state)
                                                        : -static_cast<long>(~state) - 1;
  state = (state ^ (state >> 30)) * 0xBF58476D1CE4E5B9u;
  state = (state ^ (state >> 27)) * 0x94D049BB133111EBu;
  return state ^ (state >> 31);
}

double mlRandom::uniform() noexcept { return static_cast<double>(next() >> 11) * 0x1.0p-53; }

double mlRandom::uniform(double lo, double hi) noexcept { return lo + (hi - lo) * uniform(); }

int mlRandom::integer(int n) noexcept {
  if (n < 1) return 0;
  const auto range = static_cast<std::uint64_t>(n);
  // Draws at or above the largest multiple of n are redrawn, so every residue is equally
  // likely.
  const std::uint64_t limit = UINT64_MAX - UINT64_MAX % range;
  std::uint64_t x = next();
  while (x >= limit)
    x = next();
  return static_cast<int>(x % range);
}
