#ifndef PASKOSDA_LINALG_MLSTRIDED_H
#define PASKOSDA_LINALG_MLSTRIDED_H

/// \file
/// Reductions over strided runs of doubles, shared by vectors (stride 1), slices and tiny
/// vectors. Internal to the library (namespace paskosda_detail). Each is
/// a plain running accumulation in ascending index order: the order fixes the bits.

#include <cfloat>
#include <cmath>

namespace paskosda_detail {

inline double strided_sum(const double* a, int sa, int n) noexcept {
  double s = 0.0;
  for (int i = 0; i < n; ++i)
    s += a[sa * i];
  return s;
}

inline double strided_dot(const double* a, int sa, const double* b, int sb, int n) noexcept {
  double s = 0.0;
  for (int i = 0; i < n; ++i)
    s += a[sa * i] * b[sb * i];
  return s;
}

inline double strided_distance_squared(const double* a, int sa, const double* b, int sb,
                                       int n) noexcept {
  double s = 0.0;
  for (int i = 0; i < n; ++i) {
    const double d = a[sa * i] - b[sb * i];
    s += d * d;
  }
  return s;
}

// Starts from -DBL_MAX and only a strictly larger value replaces the maximum, so an empty run
// gives -DBL_MAX and a NaN never wins.
inline double strided_max_abs(const double* a, int sa, int n) noexcept {
  double m = -DBL_MAX;
  for (int i = 0; i < n; ++i) {
    const double x = std::fabs(a[sa * i]);
    if (x > m) m = x;
  }
  return m;
}

inline double strided_norm_diff(const double* a, int sa, const double* b, int sb, int n) noexcept {
  double m = -DBL_MAX;
  for (int i = 0; i < n; ++i) {
    const double x = std::fabs(a[sa * i] - b[sb * i]);
    if (x > m) m = x;
  }
  return m;
}

inline int equal_run(const double* a, const double* b, int n) noexcept {
  for (int i = 0; i < n; ++i) {
    if (!(a[i] == b[i])) return 0;
  }
  return 1;
}

}  // namespace paskosda_detail

#endif  // PASKOSDA_LINALG_MLSTRIDED_H
