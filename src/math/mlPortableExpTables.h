#ifndef PASKOSDA_MATH_MLPORTABLEEXPTABLES_H
#define PASKOSDA_MATH_MLPORTABLEEXPTABLES_H

// Tables of the portable exponential and logarithm. The values were computed with MPFR at 400
// bits and rounded to nearest; the tests check every entry against MPFR again.

#include <cstdint>

namespace paskosda_detail {

/// 2^(j/256) = hi + lo to about 2^-79 relative, hi carrying 26 significant bits so that its
/// product with a 26-bit number is exact.
struct Exp2TableEntry {
  double hi = 0.0;
  double lo = 0.0;
};
extern const Exp2TableEntry kExp2Table[256];

/// The logarithm splits the binade [kLogTableStart, 2 kLogTableStart) in 256 intervals of
/// 2^44 consecutive bit patterns each; 1 is the centre of interval kLogTableCentre, so that
/// arguments near 1 keep their relative accuracy. For an interval, c (9 significant bits; 1 for
/// the centre, else the one with the smallest largest |z c - 1|) brings every z of it to
/// |z c - 1| <= kLogReducedBound, and z c - 1 is then a double. log_hi + log_lo = -log(c) to
/// about 2^-96, log_hi a multiple of 2^-42 like every multiple of ln 2's 42-bit leading part, so
/// that their sums are exact; |log_hi| >= kLogReducedBound outside the centre.
inline constexpr std::uint64_t kLogTableStart = 0x3fe6a80000000000;  // 0x1.6a8p-1
inline constexpr unsigned kLogTableCentre = 149;
inline constexpr double kLogReducedBound = 0x1.8p-9;
struct LogTableEntry {
  double c = 0.0;
  double log_hi = 0.0;
  double log_lo = 0.0;
};
extern const LogTableEntry kLogTable[256];

}  // namespace paskosda_detail

#endif  // PASKOSDA_MATH_MLPORTABLEEXPTABLES_H
