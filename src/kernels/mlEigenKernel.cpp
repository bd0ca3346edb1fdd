#include "kernels/mlEigenKernel.h"

// Callers compile without contraction: `(0.0 + x * c) + y * s` must round the product and the
// sums separately, as the whole products do.
#if defined(__clang__)
#pragma clang fp contract(off)
#endif

namespace paskosda_detail {
namespace {

// A Jacobi rotation R is the identity except R(p,p) = e1[0], R(q,p) = e1[1], R(p,q) = e2[0]
// and R(q,q) = e2[1]. Its defining form is whole dense products: A := (R^T A) R, V := V R,
// each element a running sum from +0.0 over ascending k. The form below touches only rows and
// columns p and q, with the products' exact bits.
//
// Why it is exact: in the sum for an element of R^T A or of (R^T A) R, every term but the ones
// at k = p and k = q (p < q) multiplies a matrix element by an exact 0.0 or 1.0. When every
// element of A, of V and of the new rows p and q of R^T A is finite, the zero terms are signed
// zeros, and adding a signed zero never changes a running sum that started at +0.0 (such a sum
// is never -0.0 in round-to-nearest). So an element outside rows and columns p, q is just
// x + 0.0 (its value, with -0.0 turned into +0.0), and the others are (0.0 + t_p) + t_q with
// the two products formed as the full product forms them. The products leave no -0.0 behind,
// so only the input can hold one: it is cleared before the first rotation. A non-finite
// element would instead turn the zero terms into NaN along whole rows, so those cases go
// through the products themselves.
//
// Row p of R^T holds (e1[0], e1[1]) at columns p and q, as column p of R does, and row q of
// R^T (e2[0], e2[1]) as column q of R: rows p and q of R^T A and of V^T R (that is, columns p
// and q of V R) come from one pair of coefficient pairs.

// x := (0.0 + c[0] x) + c[1] y and y := (0.0 + c[2] x) + c[3] y over count elements (the new
// values to out_x and out_y, which may be x and y). Returns false when one of them is not
// finite.
template <class V>
__attribute__((always_inline)) inline bool rotate_rows(const double* x, const double* y,
                                                       double* out_x, double* out_y, int count,
                                                       const double c[4]) noexcept {
  constexpr int L = lanes<V>();
  int j = 0;
  double bad = 0.0;  // x - x is 0.0 for every finite x and NaN otherwise
  if constexpr (L > 1) {
    V c0, c1, c2, c3, bad_v = V{};
    splat(c0, c[0]);
    splat(c1, c[1]);
    splat(c2, c[2]);
    splat(c3, c[3]);
    for (; j + L <= count; j += L) {
      V xv, yv;
      load(xv, x + j);
      load(yv, y + j);
      const V new_x = (V{} + c0 * xv) + c1 * yv;
      const V new_y = (V{} + c2 * xv) + c3 * yv;
      store(out_x + j, new_x);
      store(out_y + j, new_y);
      bad_v += (new_x - new_x) + (new_y - new_y);
    }
    for (int k = 0; k < L; ++k)
      bad += bad_v[k];
  }
  for (; j < count; ++j) {
    const double xj = x[j];
    const double yj = y[j];
    const double new_x = (0.0 + c[0] * xj) + c[1] * yj;
    const double new_y = (0.0 + c[2] * xj) + c[3] * yj;
    out_x[j] = new_x;
    out_y[j] = new_y;
    bad += (new_x - new_x) + (new_y - new_y);
  }
  return bad == 0.0;
}

// Columns p and q of (R^T A) R, one row of A at a time: a(i, p) := (0.0 + a(i, p) c[0]) +
// a(i, q) c[1] and a(i, q) := (0.0 + a(i, p) c[2]) + a(i, q) c[3], their magnitudes to
// column_p[i] and column_q[i]. Returns false when one of the new elements is not finite.
template <class V>
__attribute__((always_inline)) inline bool rotate_columns(double* a, int n, int p, int q,
                                                          const double c[4], double* column_p,
                                                          double* column_q) noexcept {
  if constexpr (lanes<V>() > 1) {
    // Both new elements of a row at once, in the two lanes of a pair.
    using P = v2d;
    using M = MaskOf<P>;
    const P first = {c[0], c[2]};
    const P second = {c[1], c[3]};
    M bad = M{};  // the bits of x - x, which are 0 for every finite x
    for (int i = 0; i < n; ++i) {
      double* ai = a + std::ptrdiff_t{n} * i;
      P x, y;
      splat(x, ai[p]);
      splat(y, ai[q]);
      P pair = (P{} + x * first) + y * second;
      ai[p] = pair[0];
      ai[q] = pair[1];
      const P zero = pair - pair;
      M bits;
      std::memcpy(&bits, &zero, sizeof(P));
      bad |= bits;
      magnitude(pair);
      column_p[i] = pair[0];
      column_q[i] = pair[1];
    }
    return (bad[0] | bad[1]) == 0;
  } else {
    double bad = 0.0;  // x - x is 0.0 for every finite x and NaN otherwise
    for (int i = 0; i < n; ++i) {
      double* ai = a + std::ptrdiff_t{n} * i;
      const double x = ai[p];
      const double y = ai[q];
      const double new_p = (0.0 + x * c[0]) + y * c[1];
      const double new_q = (0.0 + x * c[2]) + y * c[3];
      ai[p] = new_p;
      ai[q] = new_q;
      bad += (new_p - new_p) + (new_q - new_q);
      column_p[i] = std::fabs(new_p);
      column_q[i] = std::fabs(new_q);
    }
    return bad == 0.0;
  }
}

struct Rotations {
  template <class Isa>
  __attribute__((always_inline)) static JacobiStop run(JacobiRotations& s,
                                                       OffDiagonalMaxima& maxima,
                                                       long until) noexcept {
    using V = typename Isa::V;
    const int n = s.n;
    double* a = s.a;
    for (;;) {
      int p = -1;
      int q = -1;
      const double largest = maxima.largest<V>(p, q);
      s.p = p;
      s.q = q;
      // Only a NaN threshold gets past the first test without a position (when no
      // off-diagonal element is a number, or n < 2): there is nothing to rotate.
      if (s.threshold > largest || p < 0) return JacobiStop::Converged;
      if (!s.finite) return JacobiStop::Products;

      double* ap = a + std::ptrdiff_t{n} * p;
      double* aq = a + std::ptrdiff_t{n} * q;
      double c[4];
      double l1 = 0.0;
      double l2 = 0.0;
      symmetric_2x2(ap[p], ap[q], aq[p], aq[q], l1, l2, c, c + 2);

      double* row_p = s.rows;
      double* row_q = s.rows + n;
      if (!rotate_rows<V>(ap, aq, row_p, row_q, n, c)) return JacobiStop::Products;
      if (s.first) {
        for (std::ptrdiff_t i = 0; i < std::ptrdiff_t{n} * n; ++i)
          a[i] = a[i] + 0.0;
        s.first = false;
      }
      for (int j = 0; j < n; ++j) {
        ap[j] = row_p[j];
        aq[j] = row_q[j];
      }
      // The new rows are in place: their room takes the new columns' magnitudes.
      const bool columns_finite = rotate_columns<V>(a, n, p, q, c, row_p, row_q);
      double* vp = s.vt + std::ptrdiff_t{n} * p;
      double* vq = s.vt + std::ptrdiff_t{n} * q;
      s.finite = rotate_rows<V>(vp, vq, vp, vq, n, c) && columns_finite;
      maxima.rotated<V>(a, p, q, row_p, row_q);
      if (++s.count >= until) return JacobiStop::Paused;
    }
  }
};

}  // namespace

JacobiStop jacobi_rotations(KernelIsa isa, JacobiRotations& s, OffDiagonalMaxima& maxima,
                            long until) noexcept {
  // The AVX-512 build of this loop runs slower than the AVX2 one, at every order measured (3
  // to 50): its rows are short, and joining eight lanes costs more than the wider vectors
  // save. A processor with AVX-512 has AVX2.
  const KernelIsa best = resolve_isa(isa) == KernelIsa::Avx512 ? KernelIsa::Avx2 : isa;
  return run_isa<Rotations>(best, s, maxima, until);
}

}  // namespace paskosda_detail
