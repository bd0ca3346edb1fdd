#include "kernels/mlEigenKernel.h"

#include <cfloat>
#include <cmath>
#include <cstring>

#include "kernels/mlKernelDispatch.h"

namespace paskosda_detail {
namespace {

#if defined(__GNUC__)
struct LargestOffDiagonal {
  template <class Isa>
  __attribute__((always_inline)) static double run(const double* a, int n, int& p,
                                                   int& q) noexcept {
    typedef typename Isa::V V;
    constexpr int L = lanes<V>();
    // Four vectors of running maxima: independent chains of comparisons.
    V m[4];
    for (V& x : m)
      x = V{} - DBL_MAX;
    double tail = -DBL_MAX;
    for (int i = 0; i < n; ++i) {
      const double* row = a + Index{n} * i;
      int j = i + 1;
      for (; j + 4 * L <= n; j += 4 * L) {
#pragma GCC unroll 4
        for (int v = 0; v < 4; ++v) {
          V x;
          std::memcpy(&x, row + j + v * L, sizeof(V));
          x = x < 0.0 ? -x : x;  // |x|, but for the sign of a zero, settled below
          m[v] = x > m[v] ? x : m[v];
        }
      }
      for (; j + L <= n; j += L) {
        V x;
        std::memcpy(&x, row + j, sizeof(V));
        x = x < 0.0 ? -x : x;
        m[0] = x > m[0] ? x : m[0];
      }
      for (; j < n; ++j) {
        const double x = std::fabs(row[j]);
        tail = x > tail ? x : tail;
      }
    }
    double best = tail;
    for (const V& x : m) {
      for (int l = 0; l < L; ++l)
        best = x[l] > best ? x[l] : best;
    }
    // A largest magnitude of zero may have been met as -0.0 in a lane; fabs gives +0.0.
    best = best + 0.0;
    p = -1;
    q = -1;
    for (int i = 0; i < n; ++i) {
      const double* row = a + Index{n} * i;
      int j = i + 1;
      for (; j + L <= n; j += L) {
        V x;
        std::memcpy(&x, row + j, sizeof(V));
        x = x < 0.0 ? -x : x;
        const auto hit = x == best;
        bool any = false;
        for (int l = 0; l < L; ++l)
          any = any || hit[l] != 0;
        if (!any) continue;
        for (int l = 0;; ++l) {
          if (hit[l] != 0) {
            p = i;
            q = j + l;
            return best;
          }
        }
      }
      for (; j < n; ++j) {
        if (std::fabs(row[j]) == best) {
          p = i;
          q = j;
          return best;
        }
      }
    }
    return best;
  }
};
#endif

}  // namespace

double largest_off_diagonal(const double* a, int n, int& p, int& q, KernelIsa isa) noexcept {
#if defined(__GNUC__)
  return run_isa<LargestOffDiagonal>(isa, a, n, p, q);
#else
  double best = -DBL_MAX;
  for (int i = 0; i < n; ++i) {
    for (int j = i + 1; j < n; ++j) {
      const double x = std::fabs(a[Index{n} * i + j]);
      best = x > best ? x : best;
    }
  }
  p = -1;
  q = -1;
  for (int i = 0; i < n; ++i) {
    for (int j = i + 1; j < n; ++j) {
      if (std::fabs(a[Index{n} * i + j]) == best) {
        p = i;
        q = j;
        return best;
      }
    }
  }
  return best;
#endif
}

}  // namespace paskosda_detail
