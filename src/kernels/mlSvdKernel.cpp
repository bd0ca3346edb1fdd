#include "kernels/mlSvdKernel.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "kernels/mlKernelDispatch.h"
#include "kernels/mlLaneKernel.h"

// How the order is kept. The decomposition is a sequence of level-1 operations on columns:
// reflections (a dot product summed from 0.0 in ascending rows, then y + t * h unless t is
// zero), row reflections (work built up column after column, then y + f * work), rotations
// and scalings. Within one operation every element is independent, and between operations
// only the order in which each element receives them matters. So the kernels work on many
// independent elements at once (rows of a column, or columns of a row, side by side in vector
// lanes) and reorder work between elements, never an element's own operations or the terms
// of a sum. Lanes past an edge compute on values they never store.
//
// This translation unit is compiled without contraction (-ffp-contract=off is a public option
// of the library), so every `x + a * y` below is a rounded product and a rounded sum, in
// vector form as in scalar form; products are written with the operands in the order of the
// level-1 routines.
#if defined(__clang__)
#pragma clang fp contract(off)
#endif

namespace paskosda_detail {
namespace {

// ---- The plain loops ------------------------------------------------------------------------
// Where no vector path is compiled in, and for the accumulation when its panel's memory is
// not to be had.

// The sequential sum from 0.0 of x[i] * y[i], unrolled by 5: the five products join the sum
// one at a time.
double ddot(int n, const double* x, const double* y) noexcept {
  double t = 0.0;
  if (n <= 0) return t;
  const int head = n % 5;
  for (int i = 0; i < head; ++i)
    t = t + x[i] * y[i];
  for (int i = head; i < n; i += 5)
    t = t + x[i] * y[i] + x[i + 1] * y[i + 1] + x[i + 2] * y[i + 2] + x[i + 3] * y[i + 3] +
        x[i + 4] * y[i + 4];
  return t;
}

void reflect_plain(int len, const double* h, double* c) noexcept {
  daxpy(len, -ddot(len, h, c) / h[0], h, c);
}

// One column of a bidiagonalisation step: the previous step's row reflection, this step's
// column reflection, its first element to e.
void reduce_column_plain(int len, double* c, double* e, double divisor, const double* work,
                         const double* h) noexcept {
  if (work != nullptr) daxpy(len, -*e / divisor, work, c);
  if (h != nullptr) reflect_plain(len, h, c);
  *e = c[0];
}

void accumulate_plain(double* q, int rows, std::ptrdiff_t ld, int cols, int steps, int offset,
                      const double* flags, int reflections, bool householder,
                      double minus_one) noexcept {
  for (int j = steps; j < cols; ++j) {
    for (int i = 0; i < rows; ++i)
      q[j * ld + i] = i == j ? 1.0 : 0.0;
  }
  for (int l = steps - 1; l >= 0; --l) {
    double* col = q + l * ld;
    const int start = l + offset;
    if (l < reflections && flags[l] != 0.0) {
      for (int j = l + 1; j < cols; ++j)
        reflect_plain(rows - start, col + start, q + j * ld + start);
      if (householder) {
        for (int i = 0; i < l; ++i)
          col[i] = 0.0;
        for (int i = l; i < rows; ++i)
          col[i] = minus_one * col[i];
        col[l] = 1.0 + col[l];
        continue;
      }
    }
    for (int i = 0; i < rows; ++i)
      col[i] = i == l ? 1.0 : 0.0;
  }
}

#if defined(__GNUC__)

// ---- Deferred column operations -------------------------------------------------------------
// A block of rows takes every recorded operation in order; the rows of a vector are
// independent elements, each lane doing the scalar routine's work on its own row.

// A chain of rotations whose x column moves by `step` (x_t = first + t * step) against the
// fixed y column `partner`, or (kAdjacent) whose y column is the next rotation's x column,
// partner = first being the first x. The column carried from one rotation to the next stays
// in registers.
template <class V, int NV, bool kAdjacent>
__attribute__((always_inline)) inline const double* rotate_chain(double* q, std::ptrdiff_t ld,
                                                                 int first, int step, int partner,
                                                                 int count,
                                                                 const double* cs) noexcept {
  constexpr int L = lanes<V>();
  double* carried = q + partner * ld;
  V r[NV];
#pragma GCC unroll 8
  for (int v = 0; v < NV; ++v)
    load(r[v], carried + v * L);
  for (int t = 0; t < count; ++t, cs += 2) {
    double* x = q + (first + t * step) * ld;
    const double c = cs[0];
    const double s = cs[1];
    if constexpr (kAdjacent) {
      // x is carried, y is the next column; x is final after this rotation.
#pragma GCC unroll 8
      for (int v = 0; v < NV; ++v) {
        const V xv = r[v];
        V yv;
        load(yv, x + ld + v * L);
        store(x + v * L, V(c * xv + s * yv));
        r[v] = c * yv - s * xv;
      }
    } else {
#pragma GCC unroll 8
      for (int v = 0; v < NV; ++v) {
        V xv;
        load(xv, x + v * L);
        const V yv = r[v];
        store(x + v * L, V(c * xv + s * yv));
        r[v] = c * yv - s * xv;
      }
    }
  }
  double* last = kAdjacent ? q + (first + count) * ld : carried;
#pragma GCC unroll 8
  for (int v = 0; v < NV; ++v)
    store(last + v * L, r[v]);
  return cs;
}

struct ColumnOpsRows {
  double* q;
  std::ptrdiff_t ld;
  const int* ops;
  int nops;
  const double* cs;

  template <class V, int NV>
  __attribute__((always_inline)) void rows(int i) const noexcept {
    constexpr int L = lanes<V>();
    double* qi = q + i;
    const double* c = cs;
    for (const int* op = ops; op < ops + 4 * nops; op += 4) {
      const int first = op[1];
      const int count = op[3];
      double* x = qi + first * ld;
      switch (op[0]) {
        case SvdColumnOps::kAdjacent:
          c = rotate_chain<V, NV, true>(qi, ld, first, 1, first, count, c);
          break;
        case SvdColumnOps::kPartnerUp:
          c = rotate_chain<V, NV, false>(qi, ld, first, 1, op[2], count, c);
          break;
        case SvdColumnOps::kPartnerDown:
          c = rotate_chain<V, NV, false>(qi, ld, first, -1, op[2], count, c);
          break;
        case SvdColumnOps::kScale: {
          // A product, as dscal forms it (a sign flip would treat a NaN differently).
          const double a = *c++;
#pragma GCC unroll 8
          for (int v = 0; v < NV; ++v) {
            V xv;
            load(xv, x + v * L);
            store(x + v * L, V(a * xv));
          }
          break;
        }
        default:
#pragma GCC unroll 8
          for (int v = 0; v < NV; ++v) {
            V xv, yv;
            load(xv, x + v * L);
            load(yv, x + ld + v * L);
            store(x + v * L, yv);
            store(x + ld + v * L, xv);
          }
          break;
      }
    }
  }
};

// Four vectors of rows at a time: four independent chains of dependent rotations keep the
// multipliers busy while each waits on its own previous result.
struct ApplyColumnOps {
  template <class Isa>
  __attribute__((always_inline)) static void run(double* q, int rows, std::ptrdiff_t ld,
                                                 const int* ops, int nops,
                                                 const double* cs) noexcept {
    ColumnOpsRows body{q, ld, ops, nops, cs};
    over_rows<typename Isa::V, 4>(rows, body);
  }
};

// ---- Accumulation of the Householder vectors -----------------------------------------------
// Column j of the result takes its starting value (step j, or the unit vector when j >= steps),
// then the reflections of the steps l = j - 1 down to 0: one after the other, each a dot
// product in ascending rows from 0.0 and an update skipped for a zero factor. Columns never
// read each other, and a reflection reads only its Householder vector, which stays in q until
// the columns right of it are written back. So the columns go through in blocks of W
// (= NV vectors of lanes), right to left, each block copied row by row into a panel: a row of
// the panel holds the block's elements of one row of q side by side, so the dot products and
// updates of all its columns run as vector operations, each lane doing one column's scalar
// work in that column's order. Lanes left of column 0, or of a column whose own step has not
// come yet, compute on what they hold and are never written.
//
// The update of one reflection and the dot products of the next go through the panel in one
// pass: a row takes its update before it joins the next sums, as it would with the columns
// done one at a time.

constexpr int kAccumulateVectors = 4;

// The panel of the block of columns from j0 at its start: the unit vector of each column at or
// past `steps`, zeros elsewhere; and the column number of each lane.
template <class V, int NV>
__attribute__((always_inline)) inline void start_block(double* panel, int rows, int j0, int steps,
                                                       MaskOf<V> (&column)[NV]) noexcept {
  constexpr int W = NV * lanes<V>();
  for (int i = 0; i < rows; ++i) {
    for (int b = 0; b < W; ++b)
      panel[i * W + b] = j0 + b >= steps && i == j0 + b ? 1.0 : 0.0;
  }
  long long numbers[W];
  for (int b = 0; b < W; ++b)
    numbers[b] = j0 + b;
  static_assert(sizeof(column) == sizeof(numbers), "one 64-bit number per lane");
  std::memcpy(column, numbers, sizeof(column));
}

// The reflection of step l (vector h, rows from `start`) on the panel: its dot products, each
// row joining them after it takes the update still to be made (factors t in the lanes `take`,
// vector hp from row `first`); then this reflection becomes that update, for the lanes of the
// columns right of l with a non-zero factor.
template <class V, int NV>
__attribute__((always_inline)) inline void reflect_block(double* panel, int rows, int l, int start,
                                                         const double* h,
                                                         const MaskOf<V> (&column)[NV], V (&t)[NV],
                                                         MaskOf<V> (&take)[NV], const double*& hp,
                                                         int& first) noexcept {
  constexpr int L = lanes<V>();
  constexpr int W = NV * L;
  V acc[NV];
#pragma GCC unroll 8
  for (int v = 0; v < NV; ++v)
    acc[v] = V{};
  for (int i = start; i < first; ++i) {
    const double* row = panel + i * W;
    const double hi = h[i];
#pragma GCC unroll 8
    for (int v = 0; v < NV; ++v) {
      V x;
      load(x, row + v * L);
      acc[v] = acc[v] + hi * x;
    }
  }
  for (int i = first; i < rows; ++i) {
    double* row = panel + i * W;
    const double hi = h[i];
    const double hpi = hp[i];
#pragma GCC unroll 8
    for (int v = 0; v < NV; ++v) {
      V x;
      load(x, row + v * L);
      blend(x, take[v], V(x + t[v] * hpi));
      store(row + v * L, x);
      acc[v] = acc[v] + hi * x;
    }
  }
  const double pivot = h[start];
#pragma GCC unroll 8
  for (int v = 0; v < NV; ++v) {
    t[v] = -acc[v] / pivot;
    take[v] = (column[v] > l) & (t[v] != 0.0);
  }
  hp = h;
  first = start;
}

// Column l, lane b of the panel, starts once the reflections right of it are made: the negated
// Householder vector h plus the unit vector (`householder`), else the unit vector.
template <int W>
__attribute__((always_inline)) inline void start_column(double* panel, int rows, int l, int b,
                                                        const double* h, bool householder,
                                                        double minus_one) noexcept {
  if (householder) {
    for (int i = 0; i < l; ++i)
      panel[i * W + b] = 0.0;
    for (int i = l; i < rows; ++i)
      panel[i * W + b] = minus_one * h[i];
    panel[l * W + b] = 1.0 + panel[l * W + b];
  } else {
    for (int i = 0; i < rows; ++i)
      panel[i * W + b] = i == l ? 1.0 : 0.0;
  }
}

// The last update still to be made on the panel (as in reflect_block), then the block's
// columns in [max(j0, 0), j1) back into q.
template <class V, int NV>
__attribute__((always_inline)) inline void finish_block(double* panel, int rows, int first,
                                                        const double* hp, const V (&t)[NV],
                                                        const MaskOf<V> (&take)[NV], double* q,
                                                        std::ptrdiff_t ld, int j0,
                                                        int j1) noexcept {
  constexpr int L = lanes<V>();
  constexpr int W = NV * L;
  for (int i = first; i < rows; ++i) {
    double* row = panel + i * W;
    const double hpi = hp[i];
#pragma GCC unroll 8
    for (int v = 0; v < NV; ++v) {
      V x;
      load(x, row + v * L);
      blend(x, take[v], V(x + t[v] * hpi));
      store(row + v * L, x);
    }
  }
  for (int j = std::max(j0, 0); j < j1; ++j) {
    double* col = q + j * ld;
    for (int i = 0; i < rows; ++i)
      col[i] = panel[i * W + (j - j0)];
  }
}

struct Accumulate {
  template <class Isa>
  __attribute__((always_inline)) static void run(double* q, int rows, std::ptrdiff_t ld, int cols,
                                                 int steps, int offset, const double* flags,
                                                 int reflections, bool householder,
                                                 double minus_one, double* panel) noexcept {
    using V = typename Isa::V;
    constexpr int NV = kAccumulateVectors;
    constexpr int W = NV * lanes<V>();
    for (int j1 = cols; j1 > 0; j1 -= W) {
      const int j0 = j1 - W;
      MaskOf<V> column[NV];
      start_block<V, NV>(panel, rows, j0, steps, column);
      // The update still to be made: factors t, lanes that take it, the reflection's vector
      // hp (rows from `first`; none yet).
      V t[NV] = {};
      MaskOf<V> take[NV] = {};
      const double* hp = nullptr;
      int first = rows;
      for (int l = std::min(steps, j1) - 1; l >= 0; --l) {
        const bool reflect = l < reflections && flags[l] != 0.0;
        const double* h = q + l * ld;
        if (reflect)
          reflect_block<V, NV>(panel, rows, l, l + offset, h, column, t, take, hp, first);
        if (l >= j0) start_column<W>(panel, rows, l, l - j0, h, reflect && householder, minus_one);
      }
      finish_block<V, NV>(panel, rows, first, hp, t, take, q, ld, j0, j1);
    }
  }
};

// ---- Bidiagonalisation ----------------------------------------------------------------------

// work = the sum over j of e[j] * c_j from +0.0, ascending j, zero factors skipped: each
// block of rows keeps its running sums in registers while the columns go by.
struct RowProductRows {
  int ncols;
  const double* c;
  std::ptrdiff_t ld;
  const double* e;
  double* work;

  template <class V, int NV>
  __attribute__((always_inline)) void rows(int i) const noexcept {
    constexpr int L = lanes<V>();
    V acc[NV];
#pragma GCC unroll 8
    for (int v = 0; v < NV; ++v)
      acc[v] = V{};
    for (int j = 0; j < ncols; ++j) {
      const double a = e[j];
      if (a == 0.0) continue;
      const double* cj = c + j * ld + i;
#pragma GCC unroll 8
      for (int v = 0; v < NV; ++v) {
        V x;
        load(x, cj + v * L);
        acc[v] = acc[v] + a * x;
      }
    }
#pragma GCC unroll 8
    for (int v = 0; v < NV; ++v)
      store(work + i + v * L, acc[v]);
  }
};

struct RowProducts {
  template <class Isa>
  __attribute__((always_inline)) static void run(int len, int ncols, const double* c,
                                                 std::ptrdiff_t ld, const double* e,
                                                 double* work) noexcept {
    RowProductRows body{ncols, c, ld, e, work};
    over_rows<typename Isa::V, 4>(len, body);
  }
};

// y = y + a * x over len elements: vectors, then the last few.
template <class V>
__attribute__((always_inline)) inline void axpy(int len, double a, const double* x,
                                                double* y) noexcept {
  constexpr int L = lanes<V>();
  int i = 0;
  for (; i + L <= len; i += L) {
    V xv, yv;
    load(xv, x + i);
    load(yv, y + i);
    store(y + i, V(yv + a * xv));
  }
  for (; i < len; ++i)
    y[i] = y[i] + a * x[i];
}

// The columns of a step in blocks of as many as a vector has lanes. A block goes down its rows
// once, a vector of each column at a time: each vector takes the row reflection, then the
// block is transposed in registers, so that each of its rows, one column per lane, joins the
// lanes' dot products in turn. The column reflection then goes down each column again, still
// in cache.
template <class V>
__attribute__((always_inline)) inline void reduce_block(int len, double* cb, std::ptrdiff_t ld,
                                                        double* eb, double divisor,
                                                        const double* work,
                                                        const double* h) noexcept {
  constexpr int L = lanes<V>();
  double f[L];
  bool update[L];
  for (int k = 0; k < L; ++k) {
    f[k] = work != nullptr ? -eb[k] / divisor : 0.0;
    update[k] = work != nullptr && f[k] != 0.0;
  }
  V acc{};
  int i = 0;
  for (; i + L <= len; i += L) {
    V x[L];
    V w{};
    if (work != nullptr) load(w, work + i);
#pragma GCC unroll 8
    for (int k = 0; k < L; ++k) {
      double* ck = cb + k * ld + i;
      load(x[k], ck);
      if (update[k]) {
        x[k] = x[k] + f[k] * w;
        store(ck, x[k]);
      }
    }
    if (h != nullptr) {
      transpose_lanes<V>(x);
#pragma GCC unroll 8
      for (int m = 0; m < L; ++m)
        acc = acc + h[i + m] * x[m];
    }
  }
  for (; i < len; ++i) {
    double row[L];
    for (int k = 0; k < L; ++k) {
      double& x = cb[k * ld + i];
      if (update[k]) x = x + f[k] * work[i];
      row[k] = x;
    }
    if (h != nullptr) {
      V x;
      load(x, row);
      acc = acc + h[i] * x;
    }
  }
  if (h != nullptr) {
    double t[L];
    store(t, V(-acc / h[0]));
    for (int k = 0; k < L; ++k) {
      if (t[k] != 0.0) axpy<V>(len, t[k], h, cb + k * ld);
    }
  }
  for (int k = 0; k < L; ++k)
    eb[k] = cb[k * ld];
}

// The vector half as wide as V, for the last columns of a step.
template <class V>
struct HalfOf;
template <>
struct HalfOf<v8d> {
  using type = v4d;
};
template <>
struct HalfOf<v4d> {
  using type = v2d;
};

// Columns from j0 in blocks of V, the rest in narrower blocks, the last one alone.
template <class V>
__attribute__((always_inline)) inline void reduce_blocks(int j0, int len, int ncols, double* c,
                                                         std::ptrdiff_t ld, double* e,
                                                         double divisor, const double* work,
                                                         const double* h) noexcept {
  constexpr int L = lanes<V>();
  for (; j0 + L <= ncols; j0 += L)
    reduce_block<V>(len, c + j0 * ld, ld, e + j0, divisor, work, h);
  if constexpr (L > 2) {
    reduce_blocks<typename HalfOf<V>::type>(j0, len, ncols, c, ld, e, divisor, work, h);
  } else {
    for (; j0 < ncols; ++j0)
      reduce_column_plain(len, c + j0 * ld, e + j0, divisor, work, h);
  }
}

struct ReduceColumns {
  template <class Isa>
  __attribute__((always_inline)) static void run(int len, int ncols, double* c, std::ptrdiff_t ld,
                                                 double* e, double divisor, const double* work,
                                                 const double* h) noexcept {
    reduce_blocks<typename Isa::V>(0, len, ncols, c, ld, e, divisor, work, h);
  }
};

// ---- Entry points: each operation once per instruction set ---------------------------------

void apply_column_ops(double* q, int rows, std::ptrdiff_t ld, const int* ops, int nops,
                      const double* cs, KernelIsa isa) noexcept {
  run_isa<ApplyColumnOps>(isa, q, rows, ld, ops, nops, cs);
}

bool accumulate_vectors(double* q, int rows, std::ptrdiff_t ld, int cols, int steps, int offset,
                        const double* flags, int reflections, bool householder, double minus_one,
                        KernelIsa isa) noexcept {
  // Room for the widest panel of any instruction set.
  const std::ptrdiff_t size = static_cast<std::ptrdiff_t>(rows) * kAccumulateVectors * 8;
  Work panel(size);
  if (panel.data() == nullptr) return false;
  run_isa<Accumulate>(isa, q, rows, ld, cols, steps, offset, flags, reflections, householder,
                      minus_one, panel.data());
  return true;
}

void row_products(int len, int ncols, const double* c, std::ptrdiff_t ld, const double* e,
                  double* work, KernelIsa isa) noexcept {
  run_isa<RowProducts>(isa, len, ncols, c, ld, e, work);
}

void reduce_columns(int len, int ncols, double* c, std::ptrdiff_t ld, double* e, double divisor,
                    const double* work, const double* h, KernelIsa isa) noexcept {
  run_isa<ReduceColumns>(isa, len, ncols, c, ld, e, divisor, work, h);
}

#else

// No vector path: the plain loops.
void apply_column_ops(double* q, int rows, std::ptrdiff_t ld, const int* ops, int nops,
                      const double* cs, KernelIsa) noexcept {
  for (int i = 0; i < rows; ++i) {
    const double* c = cs;
    for (const int* op = ops; op < ops + 4 * nops; op += 4) {
      double* x = q + op[1] * ld + i;
      switch (op[0]) {
        case SvdColumnOps::kScale:
          *x = *c++ * *x;
          break;
        case SvdColumnOps::kSwap:
          std::swap(x[0], x[ld]);
          break;
        default:
          for (int t = 0; t < op[3]; ++t, c += 2) {
            const int step = op[0] == SvdColumnOps::kPartnerDown ? -1 : 1;
            double* xt = q + (op[1] + t * step) * ld + i;
            double* yt = op[0] == SvdColumnOps::kAdjacent ? xt + ld : q + op[2] * ld + i;
            const double u = c[0] * *xt + c[1] * *yt;
            *yt = c[0] * *yt - c[1] * *xt;
            *xt = u;
          }
          break;
      }
    }
  }
}

bool accumulate_vectors(double*, int, std::ptrdiff_t, int, int, int, const double*, int, bool,
                        double, KernelIsa) noexcept {
  return false;
}

void row_products(int len, int ncols, const double* c, std::ptrdiff_t ld, const double* e,
                  double* work, KernelIsa) noexcept {
  std::fill(work, work + len, 0.0);
  for (int j = 0; j < ncols; ++j)
    daxpy(len, e[j], c + j * ld, work);
}

void reduce_columns(int len, int ncols, double* c, std::ptrdiff_t ld, double* e, double divisor,
                    const double* work, const double* h, KernelIsa) noexcept {
  for (int j = 0; j < ncols; ++j)
    reduce_column_plain(len, c + j * ld, e + j, divisor, work, h);
}

#endif

// The rotations of a full batch: some sixteen per column, so that the matrix is read once for
// several sweeps, but never more than fit the second-level cache beside a block of rows (and
// none for a matrix without columns, which records nothing). Every chain holds many rotations,
// so an eighth as many operations will do (a batch is applied early when either runs out).
int batch_rotations(int cols) noexcept {
  return cols > 0 ? std::min(1 << 15, std::max(1 << 10, 16 * cols)) : 0;
}
int batch_ops(int cols) noexcept { return batch_rotations(cols) / 8; }

}  // namespace

void svd_accumulate(double* q, int rows, std::ptrdiff_t ld, int cols, int steps, int offset,
                    const double* flags, int reflections, bool householder, double minus_one,
                    KernelIsa isa) noexcept {
  if (!accumulate_vectors(q, rows, ld, cols, steps, offset, flags, reflections, householder,
                          minus_one, isa)) {
    accumulate_plain(q, rows, ld, cols, steps, offset, flags, reflections, householder, minus_one);
  }
}

void svd_row_products(int len, int ncols, const double* c, std::ptrdiff_t ld, const double* e,
                      double* work, KernelIsa isa) noexcept {
  if (len > 0) row_products(len, ncols, c, ld, e, work, isa);
}

void svd_reduce_columns(int len, int ncols, double* c, std::ptrdiff_t ld, double* e, double divisor,
                        const double* work, const double* h, KernelIsa isa) noexcept {
  reduce_columns(len, ncols, c, ld, e, divisor, work, h, isa);
}

SvdColumnOps::SvdColumnOps(double* q, int rows, std::ptrdiff_t ld, int cols, KernelIsa isa) noexcept
    : q_(q),
      rows_(rows),
      ld_(ld),
      isa_(isa),
      op_storage_(4 * Index{batch_ops(cols)}),
      coefficient_storage_(2 * Index{batch_rotations(cols)}),
      ops_(op_storage_.data()),
      op_capacity_(4 * batch_ops(cols)),
      coefficients_(coefficient_storage_.data()),
      coefficient_capacity_(2 * batch_rotations(cols)) {
  if (ops_ == nullptr || coefficients_ == nullptr) {
    ops_ = ops_small_;
    op_capacity_ = 4 * kSmall;
    coefficients_ = coefficients_small_;
    coefficient_capacity_ = 2 * kSmall;
  }
}

void SvdColumnOps::open(int kind, int first, int partner) noexcept {
  const int coefficients = kind == kScale ? 1 : 0;
  if (ops_used_ + 4 > op_capacity_ || coefficients_used_ + coefficients > coefficient_capacity_) {
    flush();
  }
  int* op = ops_ + ops_used_;
  op[0] = kind;
  op[1] = first;
  op[2] = partner;
  op[3] = 0;
  ops_used_ += 4;
}

void SvdColumnOps::continue_after_flush() noexcept {
  const int* op = ops_ + ops_used_ - 4;
  const int kind = op[0];
  const int count = op[3];
  const int next = kind == kPartnerDown ? op[1] - count : op[1] + count;
  const int partner = op[2];
  flush();
  open(kind, next, partner);
}

void SvdColumnOps::scale(int col, double a) noexcept {
  open(kScale, col, 0);
  coefficients_[coefficients_used_++] = a;
}

void SvdColumnOps::swap_next(int col) noexcept { open(kSwap, col, 0); }

void SvdColumnOps::flush() noexcept {
  if (ops_used_ > 0 && rows_ > 0)
    apply_column_ops(q_, rows_, ld_, ops_, ops_used_ / 4, coefficients_, isa_);
  ops_used_ = 0;
  coefficients_used_ = 0;
}

}  // namespace paskosda_detail
