#include "kernels/mlDecompKernel.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <utility>

#include "kernels/mlDecompBlocking.h"
#include "kernels/mlKernelDispatch.h"
#include "kernels/mlKernelSupport.h"
#include "kernels/mlTileKernel.h"

// How the order is kept.
//
// LU. The elimination is defined step by step: at step k every element (i, j) below and to the
// right of the pivot takes a(i, j) - a(i, k) * a(k, j), the product rounded by itself. So each
// element receives its subtractions in ascending k, and that order, per element, is all that
// matters. The blocked elimination factorises a panel of kPanel columns with the plain loops
// (so every pivot search sees its column exactly as the plain loops would), and only then
// brings the columns right of the panel up to date: first the panel's row interchanges, in the
// order they were made, then the panel's subtractions, in ascending k for every element. Row
// interchanges commute with the updates: a row carries its multipliers and its trailing
// elements together, and all rows below a step are treated alike, so deferring the
// interchanges and the subtractions of the trailing columns changes nothing in any element.
// When a pivot fails part-way through a panel, the trailing columns are brought exactly to the
// state the plain loops leave (the interchanges up to and including the failing step, the
// subtractions of the steps before it) before returning. The forward substitution of the
// matrix solve (ascending j per element) is blocked the same way.
//
// Back substitution and the Cholesky factorisation subtract the newest term first (the row
// just solved, the column just computed), so their rows or columns must be done one after the
// other; there the kernels work across the independent elements of one row or one column.
//
// Vector registers hold independent elements side by side; no element's sum is ever split,
// reassociated or padded with extra terms (lanes past an edge compute on zeros and are dropped).
// The AVX2 variant performs the same operations four lanes wide: its multiplies, subtracts and
// divides round exactly as SSE2's and the scalar ones do, and it is only called after the
// processor has been asked, so the library still runs on any x86-64.
//
// This translation unit is compiled without contraction (-ffp-contract=off is a public option
// of the library), so every `x - y * z` below is a rounded multiply and a rounded subtract, in
// vector form as in scalar form. Products are written in the operand order of the definition.
#if defined(__clang__)
#pragma clang fp contract(off)
#endif

namespace paskosda_detail {
namespace {

// ---- The plain loops ------------------------------------------------------------------------
// For small sizes, when no work memory is to be had, and where no vector path is compiled in.

// Elimination step k of the plain loops over columns k + 1 .. j_end - 1: each row below the
// pivot gets its multiplier a(i, k) / a(k, k), then a(i, j) - l * a(k, j) per element.
__attribute__((always_inline)) inline void eliminate_below_pivot(double* a, Index ld, int r, int k,
                                                                 int j_end) noexcept {
  const double* ak = a + k * ld;
  for (int i = k + 1; i < r; ++i) {
    double* ai = a + i * ld;
    ai[k] = ai[k] / ak[k];
    const double l = ai[k];
    for (int j = k + 1; j < j_end; ++j)
      ai[j] = ai[j] - l * ak[j];
  }
}

int lu_eliminate_plain(double* a, int r, int c, int* permutation, int* swaps,
                       double tolerance) noexcept {
  const Index ld = c;
  for (int k = 0; k < r; ++k) {
    int p = k;
    for (int i = k + 1; i < r; ++i) {
      if (std::fabs(a[i * ld + k]) > std::fabs(a[p * ld + k])) p = i;
    }
    if (p != k) {
      std::swap(permutation[k], permutation[p]);
      std::swap_ranges(a + k * ld, a + k * ld + c, a + p * ld);
      ++*swaps;
    }
    if (tolerance > std::fabs(a[k * ld + k])) return 0;
    eliminate_below_pivot(a, ld, r, k, c);
  }
  return 1;
}

// Steps K .. N - 1 of the plain loops on a square matrix of order N, each step unrolled. (The
// last pivot's second test is the last step's own: nothing changes that element after it.)
template <int N, int K>
__attribute__((always_inline)) inline int lu_order_steps(double* a, int* permutation, int* swaps,
                                                         double tolerance) noexcept {
  if constexpr (K == N) {
    return 1;
  } else {
    int p = K;
#pragma GCC unroll 8
    for (int i = K + 1; i < N; ++i) {
      if (std::fabs(a[i * N + K]) > std::fabs(a[p * N + K])) p = i;
    }
    if (p != K) {
      std::swap(permutation[K], permutation[p]);
#pragma GCC unroll 8
      for (int j = 0; j < N; ++j)
        std::swap(a[K * N + j], a[p * N + j]);
      ++*swaps;
    }
    if (tolerance > std::fabs(a[K * N + K])) return 0;
    eliminate_below_pivot(a, N, N, K, N);
    return lu_order_steps<N, K + 1>(a, permutation, swaps, tolerance);
  }
}

// The vector substitutions through the factors of an LU factorisation of order n (row stride
// n): x[i] - x[j] * L(i, j) for ascending j, row by row from `from` on; and the back
// substitution, the last row divided, then x[i] - x[m] * U(i, m) for ascending m, divided by
// U(i, i). Each row's sum starts with the unknown just found, so the rows go strictly one by
// one.
__attribute__((always_inline)) inline void forward_vector_rows(const double* lu, int n, int from,
                                                               double* x) noexcept {
  for (int i = from; i < n; ++i) {
    const double* li = lu + Index{i} * n;
    double s = x[i];
    for (int j = 0; j < i; ++j)
      s = s - x[j] * li[j];
    x[i] = s;
  }
}

__attribute__((always_inline)) inline void back_vector(const double* lu, int n,
                                                       double* x) noexcept {
  x[n - 1] = x[n - 1] / lu[Index{n - 1} * n + (n - 1)];
  for (int i = n - 2; i >= 0; --i) {
    const double* ui = lu + Index{i} * n;
    double s = x[i];
    for (int m = i + 1; m < n; ++m)
      s = s - x[m] * ui[m];
    x[i] = s / ui[i];
  }
}

// The vector solve of an LU factorisation of order N, unrolled: x from b through the
// permutation, then the unit lower and the upper factor.
template <int N>
void lu_solve_order(const double* lu, const int* permutation, const double* b, double* x) noexcept {
  for (int i = 0; i < N; ++i)
    x[i] = b[permutation[i]];
  forward_vector_rows(lu, N, 1, x);
  back_vector(lu, N, x);
}

// Columns [r, c) of a through U: the last row divided, then s = a(i, j) - a(i, m) * a(m, j)
// for ascending m, divided by a(i, i).
void lu_extra_columns_plain(double* a, int r, int c) noexcept {
  const Index ld = c;
  for (int j = r; j < c; ++j) {
    a[(r - 1) * ld + j] = a[(r - 1) * ld + j] / a[(r - 1) * ld + (r - 1)];
    for (int i = r - 2; i >= 0; --i) {
      double s = a[i * ld + j];
      for (int m = i + 1; m < r; ++m)
        s = s - a[i * ld + m] * a[m * ld + j];
      a[i * ld + j] = s / a[i * ld + i];
    }
  }
}

// Rows [i_begin, i_end) of x take x(i, :) -= x(j, :) * L(i, j) for j in [j_begin, min(i, j_end)).
void forward_rows_plain(const double* lu, Index ld, double* x, Index ldx, int k, int i_begin,
                        int i_end, int j_begin, int j_end) noexcept {
  for (int i = i_begin; i < i_end; ++i) {
    double* xi = x + i * ldx;
    const int j_stop = std::min(i, j_end);
    for (int j = j_begin; j < j_stop; ++j) {
      const double l = lu[i * ld + j];
      const double* xj = x + j * ldx;
      for (int col = 0; col < k; ++col)
        xi[col] = xi[col] - xj[col] * l;
    }
  }
}

void lu_back_matrix_plain(const double* lu, int n, double* x, int k) noexcept {
  const Index ld = n;
  const Index ldx = k;
  const double q = 1.0 / lu[(n - 1) * ld + (n - 1)];
  for (int col = 0; col < k; ++col) {
    x[(n - 1) * ldx + col] = x[(n - 1) * ldx + col] * q;
    for (int i = n - 2; i >= 0; --i) {
      double s = x[i * ldx + col];
      for (int m = i + 1; m < n; ++m)
        s = s - x[m * ldx + col] * lu[i * ld + m];
      x[i * ldx + col] = s / lu[i * ld + i];
    }
  }
}

int pack_size(int kb, int n) noexcept { return kb * round_up(n > 0 ? n : 1, kMaxTileColumns); }

#if defined(__GNUC__) && (defined(__SSE2__) || defined(__aarch64__))

// ---- The vector path ------------------------------------------------------------------------
// Everything below is inlined into one entry function per instruction set (run_isa), so that
// each entry compiles all of it for its instruction set.

// ---- C -= A * B, one subtraction per product, in ascending depth ----------------------------
// c(i, j) := c(i, j) - a(i, p) * b(p, j) for p = 0 ... kb-1, each product rounded and
// subtracted by itself (AFirst), or with the product written b(p, j) * a(i, p) (!AFirst).

template <class T, int R, bool AFirst>
__attribute__((always_inline)) inline void subtract_tile_rows(int rows, int kb, const double* a,
                                                              Index lda, const double* bp,
                                                              double* c, Index ldc) noexcept {
  if constexpr (R > 1) {
    if (rows < R) {
      subtract_tile_rows<T, R - 1, AFirst>(rows, kb, a, lda, bp, c, ldc);
      return;
    }
  }
  // One tile of R rows by kVectors vectors of c; `bp` is the tile's panel of b, packed p by p.
  constexpr TileUpdate update = AFirst ? TileUpdate::Subtract : TileUpdate::SubtractBFirst;
  tile_update<typename T::V, R, T::kVectors, update, 0>(kb, a, lda, bp, c, ldc, true);
}

// `pack` holds pack_size(kb, n) doubles.
template <class T, bool AFirst>
__attribute__((always_inline)) inline void subtract_products(int m, int n, int kb, const double* a,
                                                             Index lda, const double* b, Index ldb,
                                                             double* c, Index ldc,
                                                             double* pack) noexcept {
  constexpr int MR = T::kRows;
  constexpr int NR = T::kVectors * lanes<typename T::V>();
  static_assert(NR <= kMaxTileColumns, "the pack buffer is sized for kMaxTileColumns");
  if (m <= 0 || n <= 0 || kb <= 0) return;
  pack_b_panels<NR>(kb, n, b, ldb, pack);
  for (int i0 = 0; i0 < m; i0 += MR) {
    const int rows = std::min(MR, m - i0);
    const double* ai = a + i0 * lda;
    for (int j0 = 0; j0 < n; j0 += NR) {
      const int cols = std::min(NR, n - j0);
      const double* bp = pack + Index{j0} * kb;
      double* ct = c + i0 * ldc + j0;
      if (cols == NR) {
        subtract_tile_rows<T, MR, AFirst>(rows, kb, ai, lda, bp, ct, ldc);
      } else {
        edge_tile<MR, NR>(
            ct, ldc, rows, cols, true, [&](double* copy, Index ld) __attribute__((always_inline)) {
              subtract_tile_rows<T, MR, AFirst>(rows, kb, ai, lda, bp, copy, ld);
            });
      }
    }
  }
}

// ---- Substitution through strips of columns, newest row first ------------------------------
// The columns of a right-hand side go through in strips of W = kWide vectors, copied into
// `strip` (n * kMaxStripColumns doubles) so that the rows of a strip lie next to each other
// whatever the row stride. Lanes past the last column hold zeros; they are computed and
// dropped.

template <class T>
constexpr int strip_width() noexcept {
  return T::kWide * lanes<typename T::V>();
}

template <class T>
__attribute__((always_inline)) inline void load_strip(const double* x, Index ldx, int n, int j0,
                                                      int cols, double* strip) noexcept {
  constexpr int W = strip_width<T>();
  static_assert(W <= kMaxStripColumns, "the strip buffer is sized for kMaxStripColumns");
  for (Index i = 0; i < n; ++i) {
    for (int j = 0; j < W; ++j)
      strip[i * W + j] = j < cols ? x[i * ldx + j0 + j] : 0.0;
  }
}

template <class T>
__attribute__((always_inline)) inline void store_strip(const double* strip, int n, int j0, int cols,
                                                       double* x, Index ldx) noexcept {
  constexpr int W = strip_width<T>();
  for (Index i = 0; i < n; ++i) {
    for (int j = 0; j < cols; ++j)
      x[i * ldx + j0 + j] = strip[i * W + j];
  }
}

// Back substitution of a strip y through the upper triangle of u (stride ldu): the last row is
// divided by its divisor, or multiplied by the divisor's reciprocal (Reciprocal); then for
// i = n-2 down to 0: s = y(i), s -= (the product of u(i, m) and y(m)) for m = i+1 ... n-1
// ascending, y(i) = s / divisor(i). The divisors are u's diagonal, or `divisors` when given.
// UFirst writes the product u(i, m) * y(m).
template <class T, bool Reciprocal, bool UFirst>
__attribute__((always_inline)) inline void strip_back(const double* u, Index ldu, int n,
                                                      const double* divisors,
                                                      double* strip) noexcept {
  using V = typename T::V;
  constexpr int L = lanes<V>();
  constexpr int NV = T::kWide;
  constexpr int W = strip_width<T>();
  const double last = divisors != nullptr ? divisors[n - 1] : u[(n - 1) * ldu + (n - 1)];
  double* y = strip + Index{n - 1} * W;
  for (int v = 0; v < NV; ++v) {
    V s;
    std::memcpy(&s, y + v * L, sizeof(V));
    if constexpr (Reciprocal) {
      s = s * (1.0 / last);
    } else {
      s = s / last;
    }
    std::memcpy(y + v * L, &s, sizeof(V));
  }
  for (int i = n - 2; i >= 0; --i) {
    const double* ui = u + i * ldu;
    double* yi = strip + Index{i} * W;
    V acc[NV];
    for (int v = 0; v < NV; ++v)
      std::memcpy(&acc[v], yi + v * L, sizeof(V));
    for (int m = i + 1; m < n; ++m) {
      const double um = ui[m];
      const double* ym = strip + Index{m} * W;
      for (int v = 0; v < NV; ++v) {
        V t;
        std::memcpy(&t, ym + v * L, sizeof(V));
        if constexpr (UFirst) {
          acc[v] = acc[v] - um * t;
        } else {
          acc[v] = acc[v] - t * um;
        }
      }
    }
    const double d = divisors != nullptr ? divisors[i] : ui[i];
    for (int v = 0; v < NV; ++v) {
      acc[v] = acc[v] / d;
      std::memcpy(yi + v * L, &acc[v], sizeof(V));
    }
  }
}

// Forward substitution of a strip y through the strictly lower triangle of l (stride ldl),
// newest row first: for i = 0 ... n-1: s = y(i), s -= l(i, k) * y(k) for k = i-1 down to 0,
// y(i) = s / divisors[i].
template <class T>
__attribute__((always_inline)) inline void strip_forward(const double* l, Index ldl, int n,
                                                         const double* divisors,
                                                         double* strip) noexcept {
  using V = typename T::V;
  constexpr int L = lanes<V>();
  constexpr int NV = T::kWide;
  constexpr int W = strip_width<T>();
  for (int i = 0; i < n; ++i) {
    const double* li = l + i * ldl;
    double* yi = strip + Index{i} * W;
    V acc[NV];
    for (int v = 0; v < NV; ++v)
      std::memcpy(&acc[v], yi + v * L, sizeof(V));
    for (int k = i - 1; k >= 0; --k) {
      const double lk = li[k];
      const double* yk = strip + Index{k} * W;
      for (int v = 0; v < NV; ++v) {
        V t;
        std::memcpy(&t, yk + v * L, sizeof(V));
        acc[v] = acc[v] - lk * t;
      }
    }
    const double d = divisors[i];
    for (int v = 0; v < NV; ++v) {
      acc[v] = acc[v] / d;
      std::memcpy(yi + v * L, &acc[v], sizeof(V));
    }
  }
}

// The k columns of x (n rows, stride ldx) through U: see strip_back.
template <class T, bool Reciprocal, bool UFirst>
__attribute__((always_inline)) inline void back_substitute(const double* u, Index ldu, int n,
                                                           double* x, Index ldx, int k,
                                                           double* strip) noexcept {
  constexpr int W = strip_width<T>();
  for (int j0 = 0; j0 < k; j0 += W) {
    const int cols = std::min(W, k - j0);
    load_strip<T>(x, ldx, n, j0, cols, strip);
    strip_back<T, Reciprocal, UFirst>(u, ldu, n, nullptr, strip);
    store_strip<T>(strip, n, j0, cols, x, ldx);
  }
}

// The k columns of x (n rows, stride k) through L then L^T, with L strictly below the
// diagonal of a, its transpose strictly above the diagonal of lt and its diagonal in d.
template <class T>
__attribute__((always_inline)) inline void cholesky_substitute_strips(const double* a,
                                                                      const double* lt, int n,
                                                                      const double* d, double* x,
                                                                      int k,
                                                                      double* strip) noexcept {
  constexpr int W = strip_width<T>();
  for (int j0 = 0; j0 < k; j0 += W) {
    const int cols = std::min(W, k - j0);
    load_strip<T>(x, k, n, j0, cols, strip);
    strip_forward<T>(a, n, n, d, strip);
    strip_back<T, false, true>(lt, n, n, d, strip);
    store_strip<T>(strip, n, j0, cols, x, k);
  }
}

// ---- LU elimination -------------------------------------------------------------------------

// Brings columns [j_begin, c) up to date with a panel starting at step k0: the first
// `interchanges` row interchanges of the panel (pivots[t] is the row exchanged at step k0 + t),
// then the subtractions of its first `steps` steps.
template <class T>
__attribute__((always_inline)) inline void update_trailing(double* a, int r, int c, int k0,
                                                           int j_begin, int steps, int interchanges,
                                                           const int* pivots,
                                                           double* pack) noexcept {
  const Index ld = c;
  const int w = c - j_begin;
  if (w <= 0) return;
  for (int t = 0; t < interchanges; ++t) {
    const Index k = k0 + t;
    const Index p = pivots[t];
    if (p != k) std::swap_ranges(a + k * ld + j_begin, a + k * ld + c, a + p * ld + j_begin);
  }
  // The panel's own rows: row i takes the steps k0 ... i-1, from rows above that are final.
  for (int j0 = j_begin; j0 < c; j0 += kChunk) {
    const int cols = std::min(kChunk, c - j0);
    for (int i = k0 + 1; i < k0 + steps; ++i) {
      double* ci = a + i * ld + j0;
      for (int k = k0; k < i; ++k) {
        const double l = a[i * ld + k];
        const double* uk = a + k * ld + j0;
        for (int j = 0; j < cols; ++j)
          ci[j] = ci[j] - l * uk[j];
      }
    }
  }
  // Every row below takes all the steps.
  const int below = k0 + steps;
  subtract_products<T, true>(r - below, w, steps, a + below * ld + k0, ld, a + k0 * ld + j_begin,
                             ld, a + below * ld + j_begin, ld, pack);
}

template <class T>
__attribute__((always_inline)) inline int lu_eliminate_blocked(double* a, int r, int c,
                                                               int* permutation, int* swaps,
                                                               double tolerance,
                                                               double* pack) noexcept {
  const Index ld = c;
  int pivots[kPanel];
  for (int k0 = 0; k0 < r; k0 += kPanel) {
    const int j_end = std::min(k0 + kPanel, r);
    for (int k = k0; k < j_end; ++k) {
      int p = k;
      double best = std::fabs(a[k * ld + k]);
      for (int i = k + 1; i < r; ++i) {
        const double x = std::fabs(a[i * ld + k]);
        if (x > best) {
          best = x;
          p = i;
        }
      }
      pivots[k - k0] = p;
      if (p != k) {
        std::swap(permutation[k], permutation[p]);
        std::swap_ranges(a + k * ld, a + k * ld + j_end, a + p * ld);
        ++*swaps;
      }
      if (tolerance > std::fabs(a[k * ld + k])) {
        update_trailing<T>(a, r, c, k0, j_end, k - k0, k - k0 + 1, pivots, pack);
        return 0;
      }
      eliminate_below_pivot(a, ld, r, k, j_end);
    }
    update_trailing<T>(a, r, c, k0, j_end, j_end - k0, j_end - k0, pivots, pack);
  }
  return 1;
}

template <class T>
__attribute__((always_inline)) inline void lu_forward_blocked(const double* lu, int n, double* x,
                                                              int k, double* pack) noexcept {
  const Index ld = n;
  const Index ldx = k;
  for (int i0 = 0; i0 < n; i0 += kPanel) {
    const int below = std::min(i0 + kPanel, n);
    forward_rows_plain(lu, ld, x, ldx, k, i0 + 1, below, i0, below);
    subtract_products<T, false>(n - below, k, below - i0, lu + below * ld + i0, ld, x + i0 * ldx,
                                ldx, x + below * ldx, ldx, pack);
  }
}

// ---- Entry points: each operation once per instruction set -------------------------------

struct LuBlocked {
  template <class Isa>
  __attribute__((always_inline)) static int run(double* a, int r, int c, int* permutation,
                                                int* swaps, double tolerance,
                                                double* pack) noexcept {
    return lu_eliminate_blocked<Blocking<Isa>>(a, r, c, permutation, swaps, tolerance, pack);
  }
};
struct LuExtra {
  template <class Isa>
  __attribute__((always_inline)) static void run(double* a, int r, int c, double* strip) noexcept {
    back_substitute<Blocking<Isa>, false, true>(a, c, r, a + r, c, c - r, strip);
  }
};
struct LuForward {
  template <class Isa>
  __attribute__((always_inline)) static void run(const double* lu, int n, double* x, int k,
                                                 double* pack) noexcept {
    lu_forward_blocked<Blocking<Isa>>(lu, n, x, k, pack);
  }
};
struct LuBack {
  template <class Isa>
  __attribute__((always_inline)) static void run(const double* lu, int n, double* x, int k,
                                                 double* strip) noexcept {
    back_substitute<Blocking<Isa>, true, false>(lu, n, n, x, k, k, strip);
  }
};
struct CholeskySolve {
  template <class Isa>
  __attribute__((always_inline)) static void run(const double* a, const double* lt, int n,
                                                 const double* d, double* x, int k,
                                                 double* strip) noexcept {
    cholesky_substitute_strips<Blocking<Isa>>(a, lt, n, d, x, k, strip);
  }
};

int lu_blocked(double* a, int r, int c, int* permutation, int* swaps, double tolerance,
               double* pack, KernelIsa isa) noexcept {
  return run_isa<LuBlocked>(isa, a, r, c, permutation, swaps, tolerance, pack);
}
void lu_extra(double* a, int r, int c, double* strip, KernelIsa isa) noexcept {
  run_isa<LuExtra>(isa, a, r, c, strip);
}
void lu_forward(const double* lu, int n, double* x, int k, double* pack, KernelIsa isa) noexcept {
  run_isa<LuForward>(isa, lu, n, x, k, pack);
}
void lu_back(const double* lu, int n, double* x, int k, double* strip, KernelIsa isa) noexcept {
  run_isa<LuBack>(isa, lu, n, x, k, strip);
}
void cholesky_solve(const double* a, const double* lt, int n, const double* d, double* x, int k,
                    double* strip, KernelIsa isa) noexcept {
  run_isa<CholeskySolve>(isa, a, lt, n, d, x, k, strip);
}

#else

// No vector path: the blocked entries are never called.
int lu_blocked(double*, int, int, int*, int*, double, double*, KernelIsa) noexcept { return 0; }
void lu_extra(double*, int, int, double*, KernelIsa) noexcept {}
void lu_forward(const double*, int, double*, int, double*, KernelIsa) noexcept {}
void lu_back(const double*, int, double*, int, double*, KernelIsa) noexcept {}
void cholesky_solve(const double*, const double*, int, const double*, double*, int, double*,
                    KernelIsa) noexcept {}

#endif

}  // namespace

int lu_eliminate_kernel(double* a, int r, int c, int* permutation, int* swaps, double tolerance,
                        KernelIsa isa) noexcept {
  *swaps = 0;
  for (int i = 0; i < r; ++i)
    permutation[i] = i;
  if (r == c && r <= kSmallOrder) {
    switch (r) {
      case 1:
        return lu_order_steps<1, 0>(a, permutation, swaps, tolerance);
      case 2:
        return lu_order_steps<2, 0>(a, permutation, swaps, tolerance);
      case 3:
        return lu_order_steps<3, 0>(a, permutation, swaps, tolerance);
      default:
        return lu_order_steps<4, 0>(a, permutation, swaps, tolerance);
    }
  }
  int ok = 0;
  {
    Work pack(kVectorPath && r >= kBlockedMinimum ? pack_size(kPanel, c) : 0);
    if (pack.data() != nullptr) {
      ok = lu_blocked(a, r, c, permutation, swaps, tolerance, pack.data(), isa);
    } else {
      ok = lu_eliminate_plain(a, r, c, permutation, swaps, tolerance);
    }
  }
  if (ok == 0) return 0;
  const Index ld = c;
  if (tolerance > std::fabs(a[(r - 1) * ld + (r - 1)])) return 0;
  if (c <= r) return 1;
  Work strip(kVectorPath ? Index{r} * kMaxStripColumns : 0);
  if (strip.data() != nullptr) {
    lu_extra(a, r, c, strip.data(), isa);
  } else {
    lu_extra_columns_plain(a, r, c);
  }
  return 1;
}

void lu_forward_matrix(const double* lu, int n, double* x, int k, KernelIsa isa) noexcept {
  Work pack(kVectorPath && n > kPanel ? pack_size(kPanel, k) : 0);
  if (pack.data() != nullptr) {
    lu_forward(lu, n, x, k, pack.data(), isa);
  } else {
    forward_rows_plain(lu, n, x, k, k, 1, n, 0, n);
  }
}

void lu_back_matrix(const double* lu, int n, double* x, int k, KernelIsa isa) noexcept {
  Work strip(kVectorPath ? Index{n} * kMaxStripColumns : 0);
  if (strip.data() != nullptr) {
    lu_back(lu, n, x, k, strip.data(), isa);
  } else {
    lu_back_matrix_plain(lu, n, x, k);
  }
}

void lu_solve_small(const double* lu, const int* permutation, int n, const double* b,
                    double* x) noexcept {
  switch (n) {
    case 1:
      lu_solve_order<1>(lu, permutation, b, x);
      break;
    case 2:
      lu_solve_order<2>(lu, permutation, b, x);
      break;
    case 3:
      lu_solve_order<3>(lu, permutation, b, x);
      break;
    default:
      lu_solve_order<4>(lu, permutation, b, x);
      break;
  }
}

void lu_forward_vector(const double* lu, int n, double* x) noexcept {
  const Index ld = n;
  // Four rows at a time: their sums over the earlier unknowns are independent, so they fill
  // the adder while each waits on its own previous subtraction.
  int i0 = 0;
  for (; i0 + 4 <= n; i0 += 4) {
    const double* l0 = lu + i0 * ld;
    const double* l1 = l0 + ld;
    const double* l2 = l1 + ld;
    const double* l3 = l2 + ld;
    double s0 = x[i0], s1 = x[i0 + 1], s2 = x[i0 + 2], s3 = x[i0 + 3];
    for (int j = 0; j < i0; ++j) {
      const double xj = x[j];
      s0 = s0 - xj * l0[j];
      s1 = s1 - xj * l1[j];
      s2 = s2 - xj * l2[j];
      s3 = s3 - xj * l3[j];
    }
    s1 = s1 - s0 * l1[i0];
    s2 = s2 - s0 * l2[i0];
    s2 = s2 - s1 * l2[i0 + 1];
    s3 = s3 - s0 * l3[i0];
    s3 = s3 - s1 * l3[i0 + 1];
    s3 = s3 - s2 * l3[i0 + 2];
    x[i0] = s0;
    x[i0 + 1] = s1;
    x[i0 + 2] = s2;
    x[i0 + 3] = s3;
  }
  forward_vector_rows(lu, n, i0, x);
}

void lu_back_vector(const double* lu, int n, double* x) noexcept { back_vector(lu, n, x); }

void cholesky_solve_matrix(const double* a, int n, const double* diagonal, double* x, int k,
                           KernelIsa isa) noexcept {
  const Index ld = n;
  const Index ldx = k;
  // The transposed copy of L, then the strip.
  Work work(kVectorPath && k > 1 ? Index{n} * (n + kMaxStripColumns) : 0);
  if (work.data() != nullptr) {
    // The backward sweep reads L by columns: a transposed copy puts them along rows.
    double* t = work.data();
    for (Index i = 0; i < n; ++i) {
      for (Index m = i + 1; m < n; ++m)
        t[i * ld + m] = a[m * ld + i];
    }
    cholesky_solve(a, t, n, diagonal, x, k, t + Index{n} * n, isa);
    return;
  }
  for (int col = 0; col < k; ++col) {
    for (int i = 0; i < n; ++i) {
      double s = x[i * ldx + col];
      for (int m = i - 1; m >= 0; --m)
        s = s - a[i * ld + m] * x[m * ldx + col];
      x[i * ldx + col] = s / diagonal[i];
    }
    for (int i = n - 1; i >= 0; --i) {
      double s = x[i * ldx + col];
      for (int m = i + 1; m < n; ++m)
        s = s - a[m * ld + i] * x[m * ldx + col];
      x[i * ldx + col] = s / diagonal[i];
    }
  }
}

}  // namespace paskosda_detail
