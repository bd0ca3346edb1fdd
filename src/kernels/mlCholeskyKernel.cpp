// The Cholesky factorisation: the plain loops, and for larger orders the column panels of the
// blocked path, each element receiving its subtractions newest column first as in the plain
// loops (see the order notes in mlDecompKernel.cpp).
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <utility>

#include "kernels/mlDecompBlocking.h"
#include "kernels/mlDecompKernel.h"
#include "kernels/mlKernelDispatch.h"
#include "kernels/mlKernelSupport.h"
#include "kernels/mlTileKernel.h"

#if defined(__clang__)
#pragma clang fp contract(off)
#endif

namespace paskosda_detail {
namespace {

int cholesky_factor_plain(double* a, int n, doublecoDynArr& diagonal) noexcept {
  const Index ld = n;
  for (int i = 0; i < n; ++i) {
    for (int j = i; j < n; ++j) {
      double s = a[i * ld + j];
      for (int k = i - 1; k >= 0; --k)
        s = s - a[i * ld + k] * a[j * ld + k];
      if (j == i) {
        if (0.0 >= s) return 0;
        diagonal[i] = std::sqrt(s);
      } else {
        a[j * ld + i] = s / diagonal[i];
      }
    }
  }
  return 1;
}

#if defined(__GNUC__) && (defined(__SSE2__) || defined(__aarch64__))

// ---- Cholesky -------------------------------------------------------------------------------

// s[j] = upper[j] - l[i-1] * t(i-1, j) - l[i-2] * t(i-2, j) - ... - l[0] * t(0, j) for
// vectors of j: the sums of one Cholesky column, newest column of L first. The vectors come
// from NP panels, NV / NP from each (panel m holds t(k, j) at t[m][k * ldt + j]); the first
// Skip of them are left out (and s keeps whatever it held there).
template <class V, int NV, int NP, int Skip = 0>
__attribute__((always_inline)) inline void column_tile_panels(int i, const double* l,
                                                              const double* upper,
                                                              const double* const* t, Index ldt,
                                                              double* s) noexcept {
  constexpr int L = lanes<V>();
  constexpr int per_panel = NV / NP;
  constexpr int count = NV - Skip;
  V acc[count];
#pragma GCC unroll 16
  for (int v = 0; v < count; ++v)
    std::memcpy(&acc[v], upper + (v + Skip) * L, sizeof(V));
  for (int k = i - 1; k >= 0; --k) {
    const double x = l[k];
#pragma GCC unroll 16
    for (int v = 0; v < count; ++v) {
      V y;
      std::memcpy(&y, t[(v + Skip) / per_panel] + k * ldt + (v + Skip) % per_panel * L, sizeof(V));
      acc[v] = acc[v] - x * y;
    }
  }
#pragma GCC unroll 16
  for (int v = 0; v < count; ++v)
    std::memcpy(s + (v + Skip) * L, &acc[v], sizeof(V));
}

// The tile of the pivots' panel for column i (the panel from row i0) and the panels fused
// with it: the vectors of rows above row i hold nothing that is kept, so they are left out.
template <class V, int NV, int NP, int Skip = 0>
__attribute__((always_inline)) inline void pivot_tile(int skip, int i, const double* l,
                                                      const double* upper, const double* const* t,
                                                      Index ldt, double* s) noexcept {
  if constexpr (Skip + 1 < NV / NP) {
    if (skip > Skip) {
      pivot_tile<V, NV, NP, Skip + 1>(skip, i, l, upper, t, ldt, s);
      return;
    }
  }
  column_tile_panels<V, NV, NP, Skip>(i, l, upper, t, ldt, s);
}

template <class V, int NV>
__attribute__((always_inline)) inline void column_tile(int i, const double* l, const double* upper,
                                                       const double* t, Index ldt,
                                                       double* s) noexcept {
  column_tile_panels<V, NV, 1>(i, l, upper, &t, ldt, s);
}

// `count` (at most NV) vectors of j side by side.
template <class V, int NV>
__attribute__((always_inline)) inline void column_tiles(int count, int i, const double* l,
                                                        const double* upper, const double* t,
                                                        Index ldt, double* s) noexcept {
  if constexpr (NV > 1) {
    if (count < NV) {
      column_tiles<V, NV - 1>(count, i, l, upper, t, ldt, s);
      return;
    }
  }
  if (count > 0) column_tile<V, NV>(i, l, upper, t, ldt, s);
}

// The plain loops compute column i of L as n - i independent running sums, each taking the
// columns of L from i-1 down to 0. Here the sums of a tile of j run side by side; the
// elements L(j, k) they need are read from a transposed copy of L kept in panels of W
// columns: panel p holds t(k, j) = L(j, k) for j in [p W, p W + W) and k < p W + W (the
// columns its rows can have) at t[panel_offset(p) + k W + j - p W], so that a tile reads its
// panel in sequence. The panels take about half the matrix's room: the factorisation's work
// memory adds less to what a caller's allocations hold than a second matrix would.
//
// Every sum of column i needs all of columns 0 .. i-1 (its first term is the newest), so the
// columns follow each other strictly; only the order of the rows is free. The columns are
// taken W at a time: first the panel that holds their pivots (rows i0 .. i0 + W - 1), column by
// column, then each panel below for the same W columns, so that the panel's part of L stays
// in cache while its W columns are computed. Should a pivot fail, the panels below are first
// brought to the state the plain loops leave (every column before the failing one written,
// nothing of it), then 0 is returned. The lanes of a tile left of column i compute on finite
// values (the stored L, or the zeros written for them) and are dropped.

// Where panel p of W-row panels starts.
template <int W>
Index panel_offset(int p) noexcept {
  return Index{W} * W * p * (p + 1) / 2;
}

// Column i (one of W columns from i0) for the W rows of panel p of the matrix of order n:
// the sums into acc, from a(i, j) for the panel's rows j.
template <class T>
__attribute__((always_inline)) inline void cholesky_panel_sums(const double* a, int n,
                                                               const double* t, int p, int i,
                                                               double* s) noexcept {
  using V = typename T::V;
  constexpr int L = lanes<V>();
  constexpr int W = T::kColumn * L;
  const double* li = a + Index{i} * n;
  const int j0 = p * W;
  const double* tp = t + panel_offset<W>(p);
  const int width = std::min(W, n - j0);
  if (width == W) {
    column_tile<V, T::kColumn>(i, li, li + j0, tp, W, s);
  } else {
    const int vectors = width / L;
    column_tiles<V, T::kColumn>(vectors, i, li, li + j0, tp, W, s);
    const int j = vectors * L;
    if constexpr (L > 1)
      column_tiles<double, L - 1>(width - j, i, li, li + j0 + j, tp + j, W, s + j);
  }
}

// Rows [j_begin, j_end) of panel p, column i: L(j, i) = s(j) / d into t and, when kToMatrix,
// into a. A whole panel divides a vector at a time (each lane rounds as the scalar division
// does).
template <class T, bool kToMatrix>
__attribute__((always_inline)) inline void cholesky_panel_store(double* a, int n, double* t, int p,
                                                                int i, const double* s, double d,
                                                                int j_begin, int j_end) noexcept {
  using V = typename T::V;
  constexpr int L = lanes<V>();
  constexpr int W = T::kColumn * L;
  const int j0 = p * W;
  double* tp = t + panel_offset<W>(p) + Index{i} * W - j0;
  int j = j_begin;
  if (j == j0 && j_end == j0 + W) {
#pragma GCC unroll 8
    for (int v = 0; v < T::kColumn; ++v, j += L) {
      V x;
      std::memcpy(&x, s + (j - j0), sizeof(V));
      x = x / d;
      std::memcpy(tp + j, &x, sizeof(V));
      if constexpr (kToMatrix) {
        for (int l = 0; l < L; ++l)
          a[Index{j + l} * n + i] = x[l];
      }
    }
  }
  for (; j < j_end; ++j) {
    const double x = s[j - j0] / d;
    if constexpr (kToMatrix) a[Index{j} * n + i] = x;
    tp[j] = x;
  }
}

// Columns [i0, i_end) of the rows of panel p, from the panel into a. Below the pivots' panel
// the columns are written a block at a time: one column at a time, the rows' stride of a
// power-of-two order would send every row to the same few cache sets.
template <int W>
__attribute__((always_inline)) inline void cholesky_panel_to_matrix(double* a, int n,
                                                                    const double* t, int p, int i0,
                                                                    int i_end) noexcept {
  const int j0 = p * W;
  const int j_end = std::min(j0 + W, n);
  const double* tp = t + panel_offset<W>(p) - j0;
  for (int j = j0; j < j_end; ++j) {
    double* aj = a + Index{j} * n;
    for (int i = i0; i < i_end; ++i)
      aj[i] = tp[Index{i} * W + j];
  }
}

// Columns [i0, i_end) for the panels from p on, two panels side by side where there are two,
// so that twice as many independent sums hide each other's latency. (A function rather than
// a lambda: a lambda would not be compiled for the caller's instruction set.)
template <class T>
__attribute__((always_inline)) inline void cholesky_panels_below(double* a, int n,
                                                                 const doublecoDynArr& diagonal,
                                                                 double* t, double* s, int p,
                                                                 int i0, int i_end) noexcept {
  using V = typename T::V;
  constexpr int W = T::kColumn * lanes<V>();
  constexpr int B = T::kBelow;
  for (; (p + B) * W <= n; p += B) {
    const double* tp[B];
    for (int m = 0; m < B; ++m)
      tp[m] = t + panel_offset<W>(p + m);
    for (int i = i0; i < i_end; ++i) {
      const double* li = a + Index{i} * n;
      column_tile_panels<V, B * T::kColumn, B>(i, li, li + p * W, tp, W, s);
      for (int m = 0; m < B; ++m)
        cholesky_panel_store<T, false>(a, n, t, p + m, i, s + m * W, diagonal[i], (p + m) * W,
                                       (p + m) * W + W);
    }
    for (int m = 0; m < B; ++m)
      cholesky_panel_to_matrix<W>(a, n, t, p + m, i0, i_end);
  }
  for (; p * W < n; ++p) {
    for (int i = i0; i < i_end; ++i) {
      cholesky_panel_sums<T>(a, n, t, p, i, s);
      cholesky_panel_store<T, false>(a, n, t, p, i, s, diagonal[i], p * W, std::min(p * W + W, n));
    }
    cholesky_panel_to_matrix<W>(a, n, t, p, i0, i_end);
  }
}

template <class T>
__attribute__((always_inline)) inline int cholesky_factor_columns(double* a, int n,
                                                                  doublecoDynArr& diagonal,
                                                                  double* t, double* s) noexcept {
  constexpr int W = T::kColumn * lanes<typename T::V>();
  static_assert(W <= kMaxColumnPanel, "the panels are sized for kMaxColumnPanel");
  static_assert(std::max(1 + T::kFused, T::kBelow) * W <= kMaxColumnSums, "s holds kMaxColumnSums");
  constexpr int F = T::kFused;
  const int panels = (n + W - 1) / W;
  for (int p0 = 0; p0 < panels; ++p0) {
    const int i0 = p0 * W;
    const int i1 = std::min(i0 + W, n);
    // The pivots' panel and, when there are F whole panels below it, those F: one tile, so
    // that the sums of the pivots' panel, which every later column waits for, run among
    // independent ones instead of alone.
    const int fused = (p0 + 1 + F) * W <= n ? F : 0;
    const double* tp[1 + F];
    for (int m = 0; m <= fused; ++m)
      tp[m] = t + panel_offset<W>(p0 + m);
    for (int i = i0; i < i1; ++i) {
      const double* li = a + Index{i} * n;
      const int skip = (i - i0) / lanes<typename T::V>();
      if (fused > 0) {
        pivot_tile<typename T::V, (1 + F) * T::kColumn, 1 + F>(skip, i, li, li + i0, tp, W, s);
      } else if (i1 - i0 == W) {
        pivot_tile<typename T::V, T::kColumn, 1>(skip, i, li, li + i0, tp, W, s);
      } else {
        cholesky_panel_sums<T>(a, n, t, p0, i, s);
      }
      // Nothing of column i is written before its pivot has passed, as in the plain loops.
      const double pivot = s[i - i0];
      if (0.0 >= pivot) {
        for (int m = 1; m <= fused; ++m)
          cholesky_panel_to_matrix<W>(a, n, t, p0 + m, i0, i);
        cholesky_panels_below<T>(a, n, diagonal, t, s, p0 + 1 + fused, i0, i);
        return 0;
      }
      diagonal[i] = std::sqrt(pivot);
      double* tz = t + panel_offset<W>(p0) + Index{i} * W;
      for (int j = i0; j <= i; ++j)
        tz[j - i0] = 0.0;
      cholesky_panel_store<T, true>(a, n, t, p0, i, s, diagonal[i], i + 1, i1);
      for (int m = 1; m <= fused; ++m) {
        const int j0 = (p0 + m) * W;
        cholesky_panel_store<T, false>(a, n, t, p0 + m, i, s + m * W, diagonal[i], j0, j0 + W);
      }
    }
    for (int m = 1; m <= fused; ++m)
      cholesky_panel_to_matrix<W>(a, n, t, p0 + m, i0, i1);
    cholesky_panels_below<T>(a, n, diagonal, t, s, p0 + 1 + fused, i0, i1);
  }
  return 1;
}

struct CholeskyColumns {
  template <class Isa>
  __attribute__((always_inline)) static int run(double* a, int n, doublecoDynArr& diagonal,
                                                double* t, double* s) noexcept {
    return cholesky_factor_columns<Blocking<Isa>>(a, n, diagonal, t, s);
  }
};

int cholesky_columns(double* a, int n, doublecoDynArr& diagonal, double* t, double* s,
                     KernelIsa isa) noexcept {
  return run_isa<CholeskyColumns>(isa, a, n, diagonal, t, s);
}

#else

int cholesky_columns(double*, int, doublecoDynArr&, double*, double*, KernelIsa) noexcept {
  return 0;
}

#endif

}  // namespace

int cholesky_factor_kernel(double* a, int n, doublecoDynArr& diagonal, KernelIsa isa) noexcept {
  if (!kVectorPath || n < kCholeskyBlockedMinimum) return cholesky_factor_plain(a, n, diagonal);
  // The panels of any width up to kMaxColumnPanel: at most (n + W)(n + 2 W) / 2 doubles.
  Work t((Index{n} + kMaxColumnPanel) * (Index{n} + 2 * kMaxColumnPanel) / 2);
  double s[kMaxColumnSums];
  if (t.data() == nullptr) return cholesky_factor_plain(a, n, diagonal);
  return cholesky_columns(a, n, diagonal, t.data(), s, isa);
}

}  // namespace paskosda_detail
