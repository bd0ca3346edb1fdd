#include "decomp/mlSingularValueDecomposition.h"

#include <cmath>
#include <cstddef>

#include "containers/utCheck.h"
#include "containers/utMath.h"
#include "decomp/mlFortranMatrix.h"
#include "kernels/mlSvdKernel.h"

namespace {

using paskosda_detail::daxpy;
using paskosda_detail::SvdColumnOps;

// The smallest normal double. Magnitudes below it are flushed to exactly +0.0 so that
// denormals never enter the iteration (a deliberate addition to the classical routine), at
// these places only: each norm of the reduction (s(l) and e(l)) as soon as it is computed; a
// diagonal element before its sign is tested (x(l, l) in the reduction, s(l) at convergence,
// which also turns a -0.0 value into +0.0); the numerator of the shift; the cosine in drotg.
// The superdiagonal's lead element e(l + 1), whose sign is also tested, is left as it is.
constexpr double kSmallestNormal = 2.2250738585072014e-308;

// The classical 30 sweeps per singular value, deliberately raised.
constexpr int kMaxIterations = 100;

inline double flush(double x) noexcept { return std::fabs(x) < kSmallestNormal ? 0.0 : x; }

// |a| with the sign of b (b is never zero where it is used).
inline double dsign(double a, double b) noexcept { return b < 0.0 ? -std::fabs(a) : std::fabs(a); }

// ---- level-1 routines, unit stride; every pointer addresses element 1 of its vector --------

// The Euclidean norm by a scaled sum of squares, safe from overflow and underflow.
double dnrm2(int n, const double* x) noexcept {
  if (n < 1) return 0.0;
  if (n == 1) return std::fabs(x[0]);
  double scale = 0.0;
  double ssq = 1.0;
  for (int i = 0; i < n; ++i) {
    if (x[i] != 0.0) {
      const double absxi = std::fabs(x[i]);
      if (scale < absxi) {
        const double r = scale / absxi;
        ssq = 1.0 + ssq * (r * r);
        scale = absxi;
      } else {
        const double r = absxi / scale;
        ssq = ssq + r * r;
      }
    }
  }
  return scale * std::sqrt(ssq);
}

// x = a * x, unrolled by 5.
void dscal(int n, double a, double* x) noexcept {
  if (n <= 0) return;
  const int head = n % 5;
  for (int i = 0; i < head; ++i)
    x[i] = a * x[i];
  for (int i = head; i < n; i += 5) {
    x[i] = a * x[i];
    x[i + 1] = a * x[i + 1];
    x[i + 2] = a * x[i + 2];
    x[i + 3] = a * x[i + 3];
    x[i + 4] = a * x[i + 4];
  }
}

// The Givens rotation that zeroes b against a: a becomes r, b becomes the reconstruction
// value z. The cosine is flushed before its reciprocal is formed. Inline: the sweeps overwrite
// b right after every call, so z and its division drop out of their chain of dependent
// operations.
inline void drotg(double& a, double& b, double& c, double& s) noexcept {
  const double roe = std::fabs(a) > std::fabs(b) ? a : b;
  const double scale = std::fabs(a) + std::fabs(b);
  double r = 0.0;
  double z = 0.0;
  if (scale == 0.0) {
    c = 1.0;
    s = 0.0;
  } else {
    const double as = a / scale;
    const double bs = b / scale;
    r = scale * std::sqrt(as * as + bs * bs);
    if (roe < 0.0) r = -r;
    c = flush(a / r);
    s = b / r;
    z = 1.0;
    if (std::fabs(a) > std::fabs(b)) z = s;
    if (std::fabs(b) >= std::fabs(a) && c != 0.0) z = 1.0 / c;
  }
  a = r;
  b = z;
}

// A one-based column-major view of storage owned elsewhere: element (i, j) is
// data[ld * (j - 1) + (i - 1)].
class ColumnView {
 public:
  ColumnView(double* data, std::ptrdiff_t ld) noexcept : data_(data), ld_(ld) {}
  double& operator()(int i, int j) const noexcept { return data_[ld_ * (j - 1) + (i - 1)]; }
  double* data() const noexcept { return data_; }
  std::ptrdiff_t ld() const noexcept { return ld_; }

 private:
  double* data_ = nullptr;
  std::ptrdiff_t ld_ = 0;
};

// The n by n matrix at a, transposed in place, a tile against its mirror at a time so that
// both stay in cache.
void transpose_square(double* a, int n) noexcept {
  constexpr int kTile = 32;
  const std::ptrdiff_t ld = n;
  for (int i0 = 0; i0 < n; i0 += kTile) {
    for (int j0 = i0; j0 < n; j0 += kTile) {
      const int i1 = utMath::min(i0 + kTile, n);
      const int j1 = utMath::min(j0 + kTile, n);
      for (int i = i0; i < i1; ++i) {
        for (int j = utMath::max(j0, i + 1); j < j1; ++j) {
          const double t = a[ld * i + j];
          a[ld * i + j] = a[ld * j + i];
          a[ld * j + i] = t;
        }
      }
    }
  }
}

// The phases of dsvdc before the QR iteration, on the n by p matrix x and what it turns into
// (see dsvdc); each phase keeps DSVDC's operations and their order.
struct Reduction {
  const ColumnView& x;
  const ColumnView& u;
  const ColumnView& v;
  mlFortranVector& s;
  mlFortranVector& e;
  mlFortranVector& work;
  int n = 0, p = 0;
  int ncu = 0;  // the columns of u computed
  bool wantu = false, wantv = false;
  int nct = 0, nrt = 0;  // the column and row reflections

  // Householder reduction to upper bidiagonal form: diagonal in s, superdiagonal in e. The row
  // reflection of step l (on rows l + 1 ... n of columns l + 1 ... p) is made as step l + 1
  // reaches each column, just before that column's own reflection: every element still takes
  // the row update first, and its factor -e(j) / e(l + 1) is formed before step l + 1 writes
  // e(j). The pivot column takes it here (its norm comes next), the others in
  // svd_reduce_columns, which goes through each column once for both reflections.
  void bidiagonalise() noexcept {
    const int lu = utMath::max(nct, nrt);
    // The row reflection still to be made: its divisor e(l + 1), and work(l + 1 ... n).
    bool pending = false;
    double divisor = 0.0;
    for (int l = 1; l <= lu; ++l) {
      const int lp1 = l + 1;
      const double* row_work = pending ? &work(l) : nullptr;
      if (pending) daxpy(n - l + 1, -e(l) / divisor, row_work, &x(l, l));
      pending = false;
      if (l <= nct) reflect_column(l);
      if (p >= lp1) {
        const double* h = l <= nct && s(l) != 0.0 ? &x(l, l) : nullptr;
        paskosda_detail::svd_reduce_columns(n - l + 1, p - l, &x(l, lp1), x.ld(), &e(lp1), divisor,
                                            row_work, h);
      }
      if (wantu && l <= nct && x.data() != u.data()) {
        for (int i = l; i <= n; ++i)
          u(i, l) = x(i, l);
      }
      if (l <= nrt) {
        reflect_row(l);
        if (lp1 <= n && e(l) != 0.0) {
          paskosda_detail::svd_row_products(n - l, p - l, &x(lp1, lp1), x.ld(), &e(lp1),
                                            &work(lp1));
          pending = true;
          divisor = e(lp1);
        }
        if (wantv) {
          for (int i = lp1; i <= p; ++i)
            v(i, l) = e(i);
        }
      }
    }
    // A row reflection in the last step (p = n + 1) reaches columns no step follows.
    if (pending) {
      for (int j = lu + 1; j <= p; ++j)
        daxpy(n - lu, -e(j) / divisor, &work(lu + 1), &x(lu + 1, j));
    }
  }

  // Step l's column reflection: x(l ... n, l) becomes its Householder vector and s(l) the
  // negated norm, flushed and signed like x(l, l) (a zero norm leaves the column as it is).
  void reflect_column(int l) noexcept {
    s(l) = flush(dnrm2(n - l + 1, &x(l, l)));
    if (s(l) != 0.0) {
      x(l, l) = flush(x(l, l));
      if (x(l, l) != 0.0) s(l) = dsign(s(l), x(l, l));
      dscal(n - l + 1, 1.0 / s(l), &x(l, l));
      x(l, l) = 1.0 + x(l, l);
    }
    s(l) = -s(l);
  }

  // Step l's row reflection: e(l + 1 ... p) becomes its Householder vector and e(l) the
  // negated norm, flushed and signed like e(l + 1), which is not flushed.
  void reflect_row(int l) noexcept {
    const int lp1 = l + 1;
    e(l) = flush(dnrm2(p - l, &e(lp1)));
    if (e(l) != 0.0) {
      if (e(lp1) != 0.0) e(l) = dsign(e(l), e(lp1));
      dscal(p - l, 1.0 / e(l), &e(lp1));
      e(lp1) = 1.0 + e(lp1);
    }
    e(l) = -e(l);
  }

  // The elements of the final bidiagonal matrix no reflection produced. Returns its order.
  int close_bidiagonal() noexcept {
    const int m = utMath::min(p, n + 1);
    const int nctp1 = nct + 1;
    const int nrtp1 = nrt + 1;
    // Without columns (n = 0) the classical step would address s(0), x(0, 0): skipped, as
    // s(m) = 0 below covers that value.
    if (nct < p && nctp1 >= 1) s(nctp1) = x(nctp1, nctp1);
    if (n < m) s(m) = 0.0;
    if (nrtp1 < m) e(nrtp1) = x(nrtp1, m);
    // Without rows (p = 0) there is no e(0) to clear.
    if (m >= 1) e(m) = 0.0;
    return m;
  }

  // The vectors from the Householder vectors left in u and v, as DSVDC builds them: columns
  // past the reflections start as unit vectors; from the last reflection back to the first,
  // each is applied to the columns right of its own, whose column then becomes the negated
  // Householder vector plus the unit vector (u), or the unit vector (v, or a zero s(l)).
  // svd_accumulate keeps every column's operations and their order (dscal's -1.0 a product).
  void generate_vectors() noexcept {
    const int nsteps = utMath::max(nct, 0);
    if (wantu) {
      paskosda_detail::svd_accumulate(u.data(), n, u.ld(), ncu, nsteps, 0,
                                      nsteps > 0 ? &s(1) : nullptr, nsteps, true, -1.0);
    }
    if (wantv && p > 0)
      paskosda_detail::svd_accumulate(v.data(), p, v.ld(), p, p, 1, &e(1), nrt, false, -1.0);
  }
};

// The kinds of pass of the QR iteration, l being the first row of the pass (DSVDC's kase 1
// to 4, in order).
enum class PassKind {
  kDeflate,   // s(m) negligible, and e(l - 1), l < m
  kSplit,     // s(l - 1) negligible, l <= m
  kQrStep,    // e(l - 1) negligible, l < m, s(l) ... s(m) not
  kConverged  // e(m - 1) negligible, l = m
};

// Implicitly shifted QR sweeps on the bidiagonal matrix (s, e) of order mm. The rotations,
// sign changes and exchanges of the vectors' columns never feed back into s and e: they are
// recorded in their order and applied in batches (SvdColumnOps), rows of u and v going through
// them a block at a time. Columns are numbered from 0 there.
struct QrSweeps {
  mlFortranVector& s;
  mlFortranVector& e;
  SvdColumnOps& uops;
  SvdColumnOps& vops;
  int n = 0, p = 0, mm = 0;
  bool wantu = false, wantv = false;

  // Passes until every value has converged, or until a value needs more than kMaxIterations
  // QR steps. Returns 0, or the number of values left then.
  int iterate() noexcept {
    int m = mm;
    int iter = 0;
    // Passes that deflated or split without a QR step or a convergence in between. Each such
    // pass leaves an exact zero that the next scan stops at, so with numbers (finite or
    // infinite) there are fewer than mm in a row. A NaN defeats the scan's exact test, and the
    // same rotation would then repeat for ever without advancing iter: that is reported as
    // non-convergence instead.
    int splits = 0;
    while (m > 0) {
      if (iter >= kMaxIterations || splits > mm) return m;
      int l = 0;
      switch (classify(m, l)) {
        case PassKind::kDeflate:
          deflate(m, l);
          splits = splits + 1;
          break;
        case PassKind::kSplit:
          split(m, l);
          splits = splits + 1;
          break;
        case PassKind::kQrStep:
          qr_step(m, l);
          iter = iter + 1;
          splits = 0;
          break;
        default:
          converge(l);
          iter = 0;
          splits = 0;
          m = m - 1;
          break;
      }
    }
    return 0;
  }

  // The kind of the next pass on rows up to m and its first row l, from two scans upwards
  // from m, each clearing the element it stops at. The tests are exact: a term is negligible
  // when adding it changes nothing.
  PassKind classify(int m, int& l) noexcept {
    l = m - 1;
    for (; l > 0; --l) {
      const double test = std::fabs(s(l)) + std::fabs(s(l + 1));
      const double ztest = test + std::fabs(e(l));
      if (ztest == test) {
        e(l) = 0.0;
        break;
      }
    }
    PassKind kind = PassKind::kConverged;
    if (l != m - 1) {
      int ls = m;
      for (; ls > l; --ls) {
        double test = 0.0;
        if (ls != m) test = test + std::fabs(e(ls));
        if (ls != l + 1) test = test + std::fabs(e(ls - 1));
        const double ztest = test + std::fabs(s(ls));
        if (ztest == test) {
          s(ls) = 0.0;
          break;
        }
      }
      if (ls == l) {
        kind = PassKind::kQrStep;
      } else if (ls == m) {
        kind = PassKind::kDeflate;
      } else {
        kind = PassKind::kSplit;
        l = ls;
      }
    }
    l = l + 1;
    return kind;
  }

  // A negligible s(m): e(m - 1) is chased into the diagonal by rotations of rows m - 1 down
  // to l, each repeated on v's columns against column m.
  void deflate(int m, int l) noexcept {
    double cs = 0.0;
    double sn = 0.0;
    const int mm1 = m - 1;
    double f = e(m - 1);
    e(m - 1) = 0.0;
    // drot(v(:, k), v(:, m)) for k = m - 1 down to l.
    if (wantv) vops.chain_partner(mm1 - 1, -1, m - 1);
    for (int k = mm1; k >= l; --k) {
      double t1 = s(k);
      drotg(t1, f, cs, sn);
      s(k) = t1;
      if (k != l) {
        f = -sn * e(k - 1);
        e(k - 1) = cs * e(k - 1);
      }
      if (wantv) vops.rotate(cs, sn);
    }
  }

  // A negligible s(l - 1): e(l - 1) is chased down the rows l ... m by rotations, each
  // repeated on u's columns against column l - 1.
  void split(int m, int l) noexcept {
    double cs = 0.0;
    double sn = 0.0;
    double f = e(l - 1);
    e(l - 1) = 0.0;
    // drot(u(:, k), u(:, l - 1)) for k = l ... min(m, n).
    if (wantu && l <= n) uops.chain_partner(l - 1, 1, l - 2);
    for (int k = l; k <= m; ++k) {
      double t1 = s(k);
      drotg(t1, f, cs, sn);
      s(k) = t1;
      f = -sn * e(k);
      e(k) = cs * e(k);
      // k = n + 1 arises only when p > n and the values are not finite (the extra zero
      // value is otherwise deflated first); there is no such column to rotate.
      if (wantu && k <= n) uops.rotate(cs, sn);
    }
  }

  // The first rotation's operands f and g of a QR step on rows l ... m: from s(l), e(l) and
  // the shift of the trailing 2 by 2 block, on the scale of the largest of the five elements.
  void shifted_start(int m, int l, double& f, double& g) const noexcept {
    double scale = std::fabs(s(m));
    scale = utMath::max(scale, std::fabs(s(m - 1)));
    scale = utMath::max(scale, std::fabs(e(m - 1)));
    scale = utMath::max(scale, std::fabs(s(l)));
    scale = utMath::max(scale, std::fabs(e(l)));
    const double sm = s(m) / scale;
    const double smm1 = s(m - 1) / scale;
    const double emm1 = e(m - 1) / scale;
    const double sl = s(l) / scale;
    const double el = e(l) / scale;
    const double b = ((smm1 + sm) * (smm1 - sm) + emm1 * emm1) * 0.5;
    const double sm_emm1 = sm * emm1;
    const double c = flush(sm_emm1 * sm_emm1);
    double shift = 0.0;
    if (b != 0.0 || c != 0.0) {
      shift = std::sqrt(b * b + c);
      if (b < 0.0) shift = -shift;
      shift = c / (b + shift);
    }
    f = (sl + sm) * (sl - sm) + shift;
    g = sl * el;
  }

  // One QR step on rows l ... m: the bulge chased down by pairs of rotations, the first of
  // each pair repeated on v's columns k, k + 1, the second on u's while k < n.
  void qr_step(int m, int l) noexcept {
    double cs = 0.0;
    double sn = 0.0;
    double f;
    double g;
    shifted_start(m, l, f, g);
    // drot(v(:, k), v(:, k + 1)) for k = l ... m - 1, and the same on u while k < n.
    if (wantv) vops.chain_adjacent(l - 1);
    if (wantu && l < n) uops.chain_adjacent(l - 1);
    for (int k = l; k <= m - 1; ++k) {
      drotg(f, g, cs, sn);
      if (k != l) e(k - 1) = f;
      f = cs * s(k) + sn * e(k);
      e(k) = cs * e(k) - sn * s(k);
      g = sn * s(k + 1);
      s(k + 1) = cs * s(k + 1);
      if (wantv) vops.rotate(cs, sn);
      drotg(f, g, cs, sn);
      s(k) = f;
      f = cs * e(k) + sn * s(k + 1);
      s(k + 1) = -sn * e(k) + cs * s(k + 1);
      g = sn * e(k + 1);
      e(k + 1) = cs * e(k + 1);
      if (wantu && k < n) uops.rotate(cs, sn);
    }
    e(m - 1) = f;
  }

  // Row l's value has converged: made non-negative (v's column negated with it), then moved
  // down past the larger values below it, the columns of u and v exchanged alike.
  void converge(int l) noexcept {
    s(l) = flush(s(l));
    if (s(l) < 0.0) {
      s(l) = -s(l);
      if (wantv) vops.scale(l - 1, -1.0);
    }
    while (l != mm && s(l) < s(l + 1)) {
      const double t = s(l);
      s(l) = s(l + 1);
      s(l + 1) = t;
      if (wantv && l < p) vops.swap_next(l - 1);
      if (wantu && l < n) uops.swap_next(l - 1);
      l = l + 1;
    }
  }
};

// The singular value decomposition of the n by p matrix x (destroyed), in the structure of
// LINPACK's DSVDC. s receives the min(n + 1, p) values, e the superdiagonal left over (p
// elements), u the left vectors (n by n, or n by min(n, p) when the tens digit of job is 2)
// when that digit is non-zero, v the right vectors (p by p) when the units digit is.
// x may be u itself (then its Householder columns are in place already), or v with leading
// dimension p >= n: v only ever receives rows below l of its column l, at step l, after x's
// column l has been used for the last time.
// Returns 0, or the number of values still unconverged when a value needed more than
// kMaxIterations sweeps.
int dsvdc(const ColumnView& x, int n, int p, mlFortranVector& s, mlFortranVector& e,
          const ColumnView& u, const ColumnView& v, mlFortranVector& work, int job) noexcept {
  const int jobu = (job % 100) / 10;
  const int ncu = jobu > 1 ? utMath::min(n, p) : n;
  const bool wantu = jobu != 0;
  const bool wantv = job % 10 != 0;
  const int nct = utMath::min(n - 1, p);
  const int nrt = utMath::max(0, utMath::min(p - 2, n));
  Reduction reduction{x, u, v, s, e, work, n, p, ncu, wantu, wantv, nct, nrt};
  reduction.bidiagonalise();
  const int m = reduction.close_bidiagonal();
  reduction.generate_vectors();

  SvdColumnOps uops(u.data(), wantu ? n : 0, u.ld(), wantu ? ncu : 0);
  SvdColumnOps vops(v.data(), wantv ? p : 0, v.ld(), wantv ? p : 0);
  QrSweeps sweeps{s, e, uops, vops, n, p, m, wantu, wantv};
  const int info = sweeps.iterate();
  uops.flush();
  vops.flush();
  return info;
}

// Where SVD keeps what the kernel works on, for a of m by n and the two jobs. X's left vectors
// are A's right vectors (n by n, or for the reduced job n rows of min(n, m) columns, the first
// min(m, n) right vectors), its right vectors A's left ones (m by m). A square set is built
// column-major in the storage of v or u itself and transposed there at the end; the reduced
// one has an array of its own. A set not asked for is 1 by 1 and holds 0.0 (the kernel never
// touches it).
struct SvdLayout {
  SvdLayout(const mlMatrix& a, const mlMatrix& u, const mlMatrix& v, int job) noexcept
      : m(a.rows()),
        n(a.cols()),
        k(utMath::min(m, n)),
        job_u(job % 10),
        job_v(job / 10),
        ux_rows(job_v == 0 ? 1 : n),
        ux_cols(job_v == 0 ? 1 : (job_v == 1 ? n : k)),
        vx_size(job_u != 0 ? m : 1),
        // A may be u or v itself; it is then copied before they change.
        alias(&a == &u || &a == &v),
        // X is not needed beside the vectors it turns into: its Householder columns are the
        // start of the left vectors, and the right vectors only ever receive, at step l, rows
        // below l of column l once X's column l is spent (dsvdc). So it is placed in the left
        // vectors' array when that has room for it (leading dimension n, m columns or more),
        // else in the right vectors' (leading dimension m, when m >= n), else in an array of
        // its own.
        in_ux(!alias && job_v != 0 && ux_cols >= m),
        in_vx(!alias && !in_ux && job_u != 0 && m >= n),
        own_size(in_ux || in_vx ? 0 : std::ptrdiff_t{n} * m),
        reduced_size(job_v == 2 ? std::ptrdiff_t{n} * k : 0),
        sx_size(utMath::min(n + 1, m)) {}

  int m = 0, n = 0, k = 0;  // a is m by n, k = min(m, n)
  int job_u = 0, job_v = 0;
  int ux_rows = 0, ux_cols = 0, vx_size = 0;         // the shapes of X's left and right vectors
  bool alias = false, in_ux = false, in_vx = false;  // a is u or v; where X is placed
  std::ptrdiff_t own_size = 0, reduced_size = 0;
  int sx_size = 0;
};

// X = A^T, n by m, column-major, into `to` with leading dimension ld: A's row-major storage,
// column j of X being row j of A.
void copy_transposed(const mlMatrix& a, double* to, std::ptrdiff_t ld) noexcept {
  const int m = a.rows();
  const int n = a.cols();
  for (int j = 0; j < m; ++j) {
    for (int i = 0; i < n; ++i)
      to[ld * j + i] = a.data()[static_cast<std::ptrdiff_t>(n) * j + i];
  }
}

// The views the kernel works on: X, its left vectors (ux) and its right vectors (vx).
struct SvdViews {
  ColumnView x;
  ColumnView ux;
  ColumnView vx;
};

// Shapes u and v for the jobs and places X where the layout says, a copy of an aliased a being
// taken before u and v change. Returns the kernel's views.
SvdViews place_matrix(const mlMatrix& a, const SvdLayout& layout, double* own, double* reduced,
                      mlMatrix& u, mlMatrix& v) noexcept {
  const int n = layout.n;
  if (layout.alias) copy_transposed(a, own, n);
  v.become(layout.ux_rows, layout.ux_cols);
  u.become(layout.vx_size, layout.vx_size);
  const ColumnView ux(layout.job_v == 2 ? reduced : v.data(), layout.ux_rows);
  const ColumnView vx(u.data(), layout.vx_size);
  if (layout.job_v == 0) v(0, 0) = 0.0;
  if (layout.job_u == 0) u(0, 0) = 0.0;
  const ColumnView x = layout.in_ux ? ux : layout.in_vx ? vx : ColumnView(own, n);
  if (!layout.alias) copy_transposed(a, x.data(), x.ld());
  return SvdViews{x, ux, vx};
}

// The kernel's results as A's: the values into s, the vector sets transposed (or, reduced,
// copied) into row-major v and u.
void store_results(const SvdLayout& layout, const mlFortranVector& sx, const double* reduced,
                   mlVector& s, mlMatrix& u, mlMatrix& v) noexcept {
  s.become(mlVectorDim, layout.k);
  for (int i = 0; i < layout.k; ++i)
    s[i] = sx(i + 1);
  if (layout.job_v == 2) {
    for (int r = 0; r < layout.ux_rows; ++r) {
      for (int c = 0; c < layout.ux_cols; ++c)
        v(r, c) = reduced[std::ptrdiff_t{layout.n} * c + r];
    }
  } else if (layout.job_v == 1) {
    transpose_square(v.data(), layout.n);
  }
  if (layout.job_u != 0) transpose_square(u.data(), layout.m);
}

}  // namespace

mlSingularValueDecomposition::mlSingularValueDecomposition(const mlMatrix& a) noexcept {
  become(a);
}

mlSingularValueDecomposition::mlSingularValueDecomposition(const mlMatrix& a, mlJOB_U job_u,
                                                           mlJOB_V job_v) noexcept {
  become(a, job_u, job_v);
}

mlSingularValueDecomposition& mlSingularValueDecomposition::become(const mlMatrix& a) noexcept {
  return become(a, mlJOB_U_FULL, mlJOB_V_FULL);
}

mlSingularValueDecomposition& mlSingularValueDecomposition::become(const mlMatrix& a, mlJOB_U job_u,
                                                                   mlJOB_V job_v) noexcept {
  matrix_ = &a;
  inverse_cache_.become(0, 0);
  const int job = static_cast<int>(job_u) + 10 * static_cast<int>(job_v);
  invalid_ = SVD(a, s_, u_, v_, job) == 0 ? 1 : 0;
  return *this;
}

int mlSingularValueDecomposition::SVD(const mlMatrix& a, mlVector& s, mlMatrix& u, mlMatrix& v,
                                      int job) noexcept {
  const SvdLayout layout(a, u, v, job);
  PASKOSDA_CHECK(layout.job_u >= 0 && layout.job_u <= 1 && layout.job_v >= 0 && layout.job_v <= 2,
                 "mlSingularValueDecomposition::SVD: job %d", job);
  const int m = layout.m;
  const int n = layout.n;

  // The kernel's vectors s, e and work, X's own array and the reduced left vectors, in memory
  // kept by the thread (one more double: an empty problem still gets some).
  paskosda_detail::Work memory(std::ptrdiff_t{layout.sx_size} + m + n + layout.own_size +
                               layout.reduced_size + 1);
  double* next = memory.data();
  if (next == nullptr) return 0;
  mlFortranVector sx(next);
  next += layout.sx_size;
  mlFortranVector e(next);
  next += m;
  for (int i = 1; i <= m; ++i)
    e(i) = 0.0;
  mlFortranVector work(next);
  next += n;
  double* own = next;
  double* reduced = own + layout.own_size;

  const SvdViews views = place_matrix(a, layout, own, reduced, u, v);
  const int info = dsvdc(views.x, n, m, sx, e, views.ux, views.vx, work, job);
  store_results(layout, sx, reduced, s, u, v);
  return info == 0 ? 1 : 0;
}

int mlSingularValueDecomposition::rank(double tol) const noexcept {
  const int k = s_.dimension();
  if (k == 0) return 0;
  // One value is tested absolutely, two or more relative to the largest: intended.
  if (k == 1) return tol > s_[0] ? 0 : 1;
  const double threshold = tol * s_[0];
  for (int i = 1; i < k; ++i) {
    if (threshold > s_[i]) return i;
  }
  return k;
}

int mlSingularValueDecomposition::is_singular(double tol) const noexcept {
  const int r = rank(tol);
  return r == 0 || r < s_.dimension() ? 1 : 0;
}

const mlMatrix& mlSingularValueDecomposition::inverse(double tol) const noexcept {
  // Once computed, the inverse is kept whatever tolerance later calls pass: by design.
  if (inverse_cache_.rows() > 0) return inverse_cache_;
  const int k = s_.dimension();
  mlVector w(mlVectorZero, utMath::max(u_.cols(), v_.cols()));
  // s[0] is inverted whenever it is non-zero, without the tolerance test.
  if (k >= 1 && s_[0] != 0.0) w[0] = 1.0 / s_[0];
  for (int i = 1; i < k; ++i) {
    if (s_[i] > tol * s_[0]) w[i] = 1.0 / s_[i];
  }
  mlMatrix t(mlMatrixZero, v_.rows(), u_.cols());
  const int rows = utMath::min(t.rows(), u_.cols());
  for (int i = 0; i < rows; ++i) {
    for (int j = 0; j < u_.rows(); ++j)
      t(i, j) = u_(j, i) * w[i];
  }
  inverse_cache_.become(mlMatrixProduct, v_, t);
  return inverse_cache_;
}

void mlSingularValueDecomposition::solve(const mlMatrix& b, mlMatrix& x) const noexcept {
  const mlMatrix& inv = inverse(1e-7);
  PASKOSDA_CHECK(b.rows() == inv.cols(),
                 "mlSingularValueDecomposition::solve: b is %d by %d, A^+ %d by %d", b.rows(),
                 b.cols(), inv.rows(), inv.cols());
  x.become(mlMatrixProduct, inv, b);
}

void mlSingularValueDecomposition::solve(const mlVector& b, mlVector& x) const noexcept {
  const mlMatrix& inv = inverse(1e-7);
  PASKOSDA_CHECK(b.dimension() == inv.cols() && &b != &x,
                 "mlSingularValueDecomposition::solve: b has %d elements, A^+ is %d by %d",
                 b.dimension(), inv.rows(), inv.cols());
  x.become(mlMatrixProduct, inv, b);
}
