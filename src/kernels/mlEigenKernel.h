#ifndef PASKOSDA_SRC_KERNELS_MLEIGENKERNEL_H
#define PASKOSDA_SRC_KERNELS_MLEIGENKERNEL_H

// The symmetric Jacobi eigen-solver's inner loop: the search for the largest off-diagonal
// element and the rotations. Private to the library: not installed, not exported; the tests
// and benchmarks link the kernel objects themselves.

#include <cfloat>
#include <cmath>
#include <cstddef>
#include <limits>

#include "containers/coDynArr.h"
#include "kernels/mlKernelDispatch.h"

#if defined(__clang__)
#pragma clang fp contract(off)
#endif

namespace paskosda_detail {

/// The eigenvalues l1 >= l2 of the symmetric 2 by 2 matrix [[a, b], [c, d]] (a, b and d
/// give the values) and their unit eigenvectors e1 and e2, in closed form: the longer row of
/// S - l1 I (row 0 on a tie) is perpendicular to l1's vector.
inline void symmetric_2x2(double a, double b, double c, double d, double& l1, double& l2,
                          double e1[2], double e2[2]) noexcept {
  const double diff = a - d;
  const double r = std::sqrt(diff * diff * 0.25 + b * b);
  const double m = (a + d) * 0.5;
  const double larger = m + r;
  const double smaller = m - r;
  // The rows of S - l1 I. Their squared lengths are scalar products; the sum's 0.0 start is
  // left out, as adding a square (never -0.0) to +0.0 returns it unchanged.
  const double m00 = a - larger;
  const double m11 = d - larger;
  const double length0 = m00 * m00 + b * b;
  const double length1 = c * c + m11 * m11;
  double w0 = m00;
  double w1 = b;
  double length_squared = length0;
  if (length1 > length0) {
    w0 = c;
    w1 = m11;
    length_squared = length1;
  }
  const double length = std::sqrt(length_squared);
  e1[0] = w1 / length;
  e1[1] = -w0 / length;
  e2[0] = w0 / length;
  e2[1] = w1 / length;
  l1 = larger;
  l2 = smaller;
}

/// step(k) for the whole vectors of elements from k = start on, then, when elements are left,
/// for the last L of them as one vector ending at `count` (count >= L, L = lanes of V); the
/// lanes of `position` follow the elements' indices.
template <class V, class Step>
__attribute__((always_inline)) inline void over_vectors(int start, int count, V& position,
                                                        Step& step) noexcept {
  constexpr int L = lanes<V>();
  V step_size;
  splat(step_size, L);
  int j = start;
  for (; j + L <= count; j += L) {
    step(j);
    position += step_size;
  }
  if (j < count) {
    V back;
    splat(back, count - L - j);
    position += back;
    step(count - L);
  }
}

/// The largest magnitude of x[from .. count - 1] (of the elements themselves when kMagnitude
/// is false) and the first index holding it, as a running maximum from -DBL_MAX that only a
/// strictly larger value replaces (a NaN never does): -DBL_MAX and -1 when none is a number.
/// Each lane keeps such a maximum over its share; the lanes are then joined by value and,
/// among equal values, by the smaller index, which is what the single running maximum gives.
/// The vectors start at the one holding x[from] (count >= lanes), masking the elements before
/// `from`.
template <class V, bool kMagnitude>
__attribute__((always_inline)) inline double first_largest(const double* x, int from, int count,
                                                           int& at) noexcept {
  constexpr int L = lanes<V>();
  double best = -DBL_MAX;
  at = -1;
  if constexpr (L > 1) {
    if (count >= L) {
      // Indices are kept as doubles (exact integers), so that every comparison is one of
      // doubles, which every instruction set has.
      V m;
      splat(m, -DBL_MAX);
      V index;
      splat(index, -1.0);
      V position;
      iota(position);
      V before;
      splat(before, from);
      V skip;  // what stands in for the elements before `from`: a NaN is never larger
      splat(skip, std::numeric_limits<double>::quiet_NaN());
      const auto step = [&](int start) __attribute__((always_inline)) {
        V v;
        load(v, x + start);
        if constexpr (kMagnitude) magnitude(v);
        blend(v, position < before, skip);
        const MaskOf<V> larger = v > m;
        blend(m, larger, v);
        blend(index, larger, position);
      };
      // From the vector holding element `from` (the lanes before it masked).
      int j = from / L * L;
      V first_position;
      splat(first_position, j);
      position += first_position;
      // An element seen twice keeps the index it had, and a lane can only take it at that
      // index.
      over_vectors(j, count, position, step);
      // Without branches: the lanes' maximum, then the least index holding it (lanes that
      // took nothing hold -DBL_MAX and -1).
      for (int k = 0; k < L; ++k)
        best = m[k] > best ? m[k] : best;
      V top;
      splat(top, best);
      V none;
      splat(none, DBL_MAX);
      blend(index, m != top, none);
      double first = DBL_MAX;
      for (int k = 0; k < L; ++k)
        first = index[k] < first ? index[k] : first;
      at = static_cast<int>(first);
      return best;
    }
  }
  for (int j = from; j < count; ++j) {
    const double v = kMagnitude ? std::fabs(x[j]) : x[j];
    if (v > best) {
      best = v;
      at = j;
    }
  }
  return best;
}

// The largest magnitude in the strict upper triangle of an n by n matrix (row stride n), kept
// row by row, so that after a rotation only the rows it touched and the rows whose largest
// element it touched are looked at again: O(n) per rotation instead of O(n^2).
//
// `largest` gives exactly what one running maximum over the triangle in row-major order gives
// when it starts from -DBL_MAX and is replaced only by a strictly larger magnitude (a NaN never
// replaces it): the largest magnitude and the first position holding it, or -DBL_MAX and
// (-1, -1) when no element is a number. Each row keeps its own maximum and first position by
// the same rule; the rows are then taken in order by the same rule, which picks the first row
// holding the overall maximum and, in it, the first position.
//
// The member templates take the vector type V of the instruction set they are compiled for.
class OffDiagonalMaxima {
 public:
  // Keeps the rows' maxima in the caller's array (whose room is used again): per row its
  // largest magnitude, the first column holding it (as a double, so that the rows' columns
  // compare in the lanes of their magnitudes), and 0 where the row is to be scanned again.
  explicit OffDiagonalMaxima(doublecoDynArr& rows) noexcept : rows_(rows) {}

  // Below this order a whole scan costs less than keeping the rows.
  static constexpr int kKeptFrom = 14;

  // Looks at every row of a. For small orders, or without the memory for the rows, `largest`
  // scans the whole triangle each time instead.
  template <class V>
  __attribute__((always_inline)) void build(const double* a, int n) noexcept {
    a_ = a;
    n_ = n;
    rows_.clear(0);
    kept_ = n >= kKeptFrom && rows_.expand(3 * n) != 0;
    shift_ = 0;
    while ((std::ptrdiff_t{1} << shift_) < n)
      ++shift_;
    for (int r = 0; r < n && kept_; ++r)
      scan<V>(r);
  }

  // After rows and columns p and q (p < q) of a changed, and no other element; column_p[r]
  // and column_q[r] hold |a(r, p)| and |a(r, q)| for every row r.
  template <class V>
  __attribute__((always_inline)) void rotated(const double* a, int p, int q, const double* column_p,
                                              const double* column_q) noexcept {
    a_ = a;
    if (!kept_) return;
    double* magnitude = rows_.data();
    double* column = magnitude + n_;
    double* again = column + n_;
    // Every row above q holds the changed column q, and those above p column p: each such
    // element is offered to its row (by the rule of `offer`). Rows p and q themselves are
    // marked to be scanned again, and so are the rows whose largest element was one of the
    // changed ones and has become smaller (or a NaN): one that has not is still the row's
    // largest, ahead of every equal element after it, and the offers settle the rest. Rows
    // from q on change nowhere in their triangle.
    constexpr int L = lanes<V>();
    int r = 0;
    if constexpr (L > 1) {
      V cp, cq, nan, row, zero, one;
      splat(cp, p);
      splat(cq, q);
      splat(nan, std::numeric_limits<double>::quiet_NaN());
      iota(row);
      splat(zero, 0.0);
      splat(one, 1.0);
      const auto step = [&](int from) __attribute__((always_inline)) {
        V m, at, xp, xq;
        load(m, magnitude + from);
        load(at, column + from);
        load(xp, column_p + from);
        load(xq, column_q + from);
        // (A row seen twice, by the last vector, is marked again unless the offers of the
        // first time made its largest element one of the new ones, which is then right.)
        const MaskOf<V> stale =
            ((at == cp) & ~(xp >= m)) | ((at == cq) & ~(xq >= m)) | (row == cp) | (row == cq);
        V rescan = one;
        blend(rescan, stale, zero);
        blend(xp, row >= cp, nan);
        blend(xq, row >= cq, nan);
        offer(m, at, xp, cp);
        offer(m, at, xq, cq);
        store(magnitude + from, m);
        store(column + from, at);
        store(again + from, rescan);
      };
      // The rows number at least L. Offering an element again changes nothing.
      over_vectors(0, n_, row, step);
      r = n_;
    }
    for (; r < n_; ++r) {
      const int at = static_cast<int>(column[r]);
      const bool stale = (at == p && !(column_p[r] >= magnitude[r])) ||
                         (at == q && !(column_q[r] >= magnitude[r])) || r == p || r == q;
      again[r] = stale ? 0.0 : 1.0;
      if (r < p) offer(magnitude[r], column[r], column_p[r], p);
      if (r < q) offer(magnitude[r], column[r], column_q[r], q);
    }
    for (r = 0; r <= q; ++r) {
      if (again[r] == 0.0) scan<V>(r);
    }
  }

  template <class V>
  __attribute__((always_inline)) double largest(int& p, int& q) const noexcept {
    double best = -DBL_MAX;
    p = -1;
    q = -1;
    if (!kept_) return whole_scan(p, q);
    best = first_largest<V, false>(rows_.data(), 0, n_, p);
    if (p >= 0) q = static_cast<int>(rows_.data()[n_ + p]);
    return best;
  }

 private:
  // The whole triangle in four running maxima side by side, element j of a row going to
  // maximum j mod 4: each keeps the first position of its own largest magnitude, taking its
  // elements in row-major order, so the joined result is the one running maximum's. Positions
  // are (row << shift) + column, which orders them as row-major order does and takes p and q
  // apart without a division. (Scalar loads: the rotation has just stored single elements of
  // every row, which a vector load would have to wait for.)
  __attribute__((always_inline)) double whole_scan(int& p, int& q) const noexcept {
    using Position = std::ptrdiff_t;
    double m0 = -DBL_MAX, m1 = -DBL_MAX, m2 = -DBL_MAX, m3 = -DBL_MAX;
    Position at0 = -1, at1 = -1, at2 = -1, at3 = -1;
    const auto take =
        [](double& m, Position& at, double x, Position position) __attribute__((always_inline)) {
      x = std::fabs(x);
      const bool larger = x > m;
      at = larger ? position : at;
      m = larger ? x : m;
    };
    for (int r = 0; r < n_; ++r) {
      const double* row = a_ + std::ptrdiff_t{n_} * r;
      const Position base = Position{r} << shift_;
      int c = r + 1;
      for (; c + 4 <= n_; c += 4) {
        take(m0, at0, row[c], base + c);
        take(m1, at1, row[c + 1], base + c + 1);
        take(m2, at2, row[c + 2], base + c + 2);
        take(m3, at3, row[c + 3], base + c + 3);
      }
      if (c < n_) take(m0, at0, row[c], base + c);
      if (c + 1 < n_) take(m1, at1, row[c + 1], base + c + 1);
      if (c + 2 < n_) take(m2, at2, row[c + 2], base + c + 2);
    }
    // Joined by value, then by the lesser position (a maximum still at -DBL_MAX has position
    // -1 and ties only with others that found nothing).
    const auto join = [](double& m, Position& at, double other, Position other_at)
        __attribute__((always_inline)) {
      const bool later = other > m || (other == m && other_at < at);
      at = later ? other_at : at;
      m = later ? other : m;
    };
    join(m0, at0, m1, at1);
    join(m2, at2, m3, at3);
    join(m0, at0, m2, at2);
    p = at0 < 0 ? -1 : static_cast<int>(at0 >> shift_);
    q = at0 < 0 ? -1 : static_cast<int>(at0 & ((Position{1} << shift_) - 1));
    return m0;
  }

  // Row r's largest magnitude of a(r, r+1 .. n-1) and the first column holding it.
  template <class V>
  __attribute__((always_inline)) void scan(int r) noexcept {
    int at = -1;
    rows_.data()[r] = first_largest<V, true>(a_ + std::ptrdiff_t{n_} * r, r + 1, n_, at);
    rows_.data()[n_ + r] = at;
  }
  // Element c of a row, other than the row's recorded largest m at column `at`, now has
  // magnitude x: it becomes the largest if larger, or equal and further left. A NaN never
  // does. Element by element, or lane by lane.
  template <class W>
  __attribute__((always_inline)) static void offer(W& m, W& at, const W& x, const W& c) noexcept {
    if constexpr (lanes<W>() == 1) {
      const bool take = (x > m) | ((x == m) & (c < at));
      m = take ? x : m;
      at = take ? c : at;
    } else {
      // The lesser column without a select (whole numbers: every step is exact), so that
      // the blends do not nest (see `blend`).
      W distance = at - c;
      magnitude(distance);
      const W left = (at + c - distance) * 0.5;
      blend(at, x == m, left);
      const auto larger = x > m;
      blend(at, larger, c);
      blend(m, larger, x);
    }
  }
  static void offer(double& m, double& at, double x, int c) noexcept {
    const double column = c;
    offer(m, at, x, column);
  }

  const double* a_ = nullptr;
  int n_ = 0;
  doublecoDynArr& rows_;  // per row: magnitude, column, whether to scan again (n each)
  bool kept_ = false;     // whether the rows' maxima are kept
  int shift_ = 0;         // the whole scan's positions: (row << shift_) + column
};

/// The state of a run of Jacobi rotations on a (n by n, row stride n) and vt, the product of
/// the rotations so far, transposed (row k holds column k of the product).
struct JacobiRotations {
  double* a = nullptr;
  double* vt = nullptr;
  double* rows = nullptr;  // work memory for 2 n doubles
  int n = 0;
  double threshold = 0.0;  // rotations stop when threshold > the largest off-diagonal magnitude
  bool first = true;       // no rotation taken yet: a may hold -0.0
  bool finite = false;     // every element of a and vt is finite
  long count = 0;          // rotations taken
  int p = -1;              // the position of the last search
  int q = -1;
};

enum class JacobiStop { Converged, Products, Paused };

/// Takes rotations, each at the position the search gives and exactly as the whole products
/// (R^T A) R and V R would, until the search finds nothing to rotate (Converged), a rotation
/// needs the whole products because an element is not finite (Products: nothing was changed,
/// and p, q give the position), or the count reaches `until` (Paused). `maxima` must have
/// been built on a.
JacobiStop jacobi_rotations(KernelIsa isa, JacobiRotations& s, OffDiagonalMaxima& maxima,
                            long until) noexcept;

}  // namespace paskosda_detail

#endif  // PASKOSDA_SRC_KERNELS_MLEIGENKERNEL_H
