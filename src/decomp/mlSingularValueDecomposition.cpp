#include "decomp/mlSingularValueDecomposition.h"

#include <cmath>
#include <cstddef>

#include "containers/utCheck.h"
#include "containers/utMath.h"
#include "decomp/mlFortranMatrix.h"
#include "kernels/mlSvdKernel.h"

namespace {

using paskosda_detail::daxpy;
using paskosda_detail::ddot;

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

// The plane rotation (x, y) -> (c x + s y, c y - s x).
void drot(int n, double* x, double* y, double c, double s) noexcept {
  for (int i = 0; i < n; ++i) {
    const double t = c * x[i] + s * y[i];
    y[i] = c * y[i] - s * x[i];
    x[i] = t;
  }
}

void dswap(int n, double* x, double* y) noexcept {
  for (int i = 0; i < n; ++i) {
    const double t = x[i];
    x[i] = y[i];
    y[i] = t;
  }
}

// The Givens rotation that zeroes b against a: a becomes r, b becomes the reconstruction
// value z. The cosine is flushed before its reciprocal is formed.
void drotg(double& a, double& b, double& c, double& s) noexcept {
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

// The singular value decomposition of the n by p matrix x (destroyed), in the structure of
// LINPACK's DSVDC. s receives the min(n + 1, p) values, e the superdiagonal left over (p
// elements), u the left vectors (n by n, or n by min(n, p) when the tens digit of job is 2)
// when that digit is non-zero, v the right vectors (p by p) when the units digit is.
// Returns 0, or the number of values still unconverged when a value needed more than
// kMaxIterations sweeps.
int dsvdc(mlFortranMatrix& x, int n, int p, mlFortranVector& s, mlFortranVector& e,
          mlFortranMatrix& u, mlFortranMatrix& v, mlFortranVector& work, int job) noexcept {
  const int jobu = (job % 100) / 10;
  const int ncu = jobu > 1 ? utMath::min(n, p) : n;
  const bool wantu = jobu != 0;
  const bool wantv = job % 10 != 0;
  const std::ptrdiff_t ldx = x.rows();
  const std::ptrdiff_t ldu = u.rows();
  const std::ptrdiff_t ldv = v.rows();

  // Householder reduction to upper bidiagonal form: diagonal in s, superdiagonal in e.
  const int nct = utMath::min(n - 1, p);
  const int nrt = utMath::max(0, utMath::min(p - 2, n));
  const int lu = utMath::max(nct, nrt);
  for (int l = 1; l <= lu; ++l) {
    const int lp1 = l + 1;
    if (l <= nct) {
      s(l) = flush(dnrm2(n - l + 1, &x(l, l)));
      if (s(l) != 0.0) {
        x(l, l) = flush(x(l, l));
        if (x(l, l) != 0.0) s(l) = dsign(s(l), x(l, l));
        dscal(n - l + 1, 1.0 / s(l), &x(l, l));
        x(l, l) = 1.0 + x(l, l);
      }
      s(l) = -s(l);
    }
    if (p >= lp1) {
      if (l <= nct && s(l) != 0.0)
        paskosda_detail::svd_reflect_columns(n - l + 1, &x(l, l), &x(l, lp1), ldx, p - l);
      for (int j = lp1; j <= p; ++j)
        e(j) = x(l, j);
    }
    if (wantu && l <= nct) {
      for (int i = l; i <= n; ++i)
        u(i, l) = x(i, l);
    }
    if (l <= nrt) {
      e(l) = flush(dnrm2(p - l, &e(lp1)));
      if (e(l) != 0.0) {
        if (e(lp1) != 0.0) e(l) = dsign(e(l), e(lp1));
        dscal(p - l, 1.0 / e(l), &e(lp1));
        e(lp1) = 1.0 + e(lp1);
      }
      e(l) = -e(l);
      if (lp1 <= n && e(l) != 0.0) {
        for (int i = lp1; i <= n; ++i)
          work(i) = 0.0;
        for (int j = lp1; j <= p; ++j)
          daxpy(n - l, e(j), &x(lp1, j), &work(lp1));
        for (int j = lp1; j <= p; ++j)
          daxpy(n - l, -e(j) / e(lp1), &work(lp1), &x(lp1, j));
      }
      if (wantv) {
        for (int i = lp1; i <= p; ++i)
          v(i, l) = e(i);
      }
    }
  }

  // The final bidiagonal matrix of order m.
  int m = utMath::min(p, n + 1);
  const int nctp1 = nct + 1;
  const int nrtp1 = nrt + 1;
  // Without columns (n = 0) the classical step would address s(0), x(0, 0): skipped, as
  // s(m) = 0 below covers that value.
  if (nct < p && nctp1 >= 1) s(nctp1) = x(nctp1, nctp1);
  if (n < m) s(m) = 0.0;
  if (nrtp1 < m) e(nrtp1) = x(nrtp1, m);
  // Without rows (p = 0) there is no e(0) to clear.
  if (m >= 1) e(m) = 0.0;

  if (wantu) {
    // Starting at column 1 at least: with n = 0 the classical loop would address column 0.
    for (int j = utMath::max(nctp1, 1); j <= ncu; ++j) {
      for (int i = 1; i <= n; ++i)
        u(i, j) = 0.0;
      u(j, j) = 1.0;
    }
    for (int l = nct; l >= 1; --l) {
      if (s(l) != 0.0) {
        if (ncu >= l + 1)
          paskosda_detail::svd_reflect_columns(n - l + 1, &u(l, l), &u(l, l + 1), ldu, ncu - l);
        dscal(n - l + 1, -1.0, &u(l, l));
        u(l, l) = 1.0 + u(l, l);
        for (int i = 1; i <= l - 1; ++i)
          u(i, l) = 0.0;
      } else {
        for (int i = 1; i <= n; ++i)
          u(i, l) = 0.0;
        u(l, l) = 1.0;
      }
    }
  }

  if (wantv) {
    for (int l = p; l >= 1; --l) {
      const int lp1 = l + 1;
      if (l <= nrt && e(l) != 0.0)
        paskosda_detail::svd_reflect_columns(p - l, &v(lp1, l), &v(lp1, lp1), ldv, p - l);
      for (int i = 1; i <= p; ++i)
        v(i, l) = 0.0;
      v(l, l) = 1.0;
    }
  }

  // Implicitly shifted QR sweeps on the bidiagonal matrix.
  const int mm = m;
  int iter = 0;
  // Passes that deflated or split without a QR step or a convergence in between. Each such
  // pass leaves an exact zero that the next scan stops at, so with numbers (finite or infinite)
  // there are fewer than mm in a row. A NaN defeats the scan's exact test, and the same
  // rotation would then repeat for ever without advancing iter: that is reported as
  // non-convergence instead.
  int splits = 0;
  int info = 0;
  while (m > 0) {
    if (iter >= kMaxIterations || splits > mm) {
      info = m;
      break;
    }
    // kase 1: s(m) and e(l-1) negligible, l < m; 2: s(l) negligible, l < m;
    // 3: e(l-1) negligible, l < m, s(l) ... s(m) not (a QR step); 4: e(m-1) negligible.
    // The tests are exact: a term is negligible when adding it changes nothing.
    int l = m - 1;
    for (; l > 0; --l) {
      const double test = std::fabs(s(l)) + std::fabs(s(l + 1));
      const double ztest = test + std::fabs(e(l));
      if (ztest == test) {
        e(l) = 0.0;
        break;
      }
    }
    int kase = 4;
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
        kase = 3;
      } else if (ls == m) {
        kase = 1;
      } else {
        kase = 2;
        l = ls;
      }
    }
    l = l + 1;

    double cs = 0.0;
    double sn = 0.0;
    switch (kase) {
      case 1: {  // deflate a negligible s(m)
        const int mm1 = m - 1;
        double f = e(m - 1);
        e(m - 1) = 0.0;
        for (int k = mm1; k >= l; --k) {
          double t1 = s(k);
          drotg(t1, f, cs, sn);
          s(k) = t1;
          if (k != l) {
            f = -sn * e(k - 1);
            e(k - 1) = cs * e(k - 1);
          }
          if (wantv) drot(p, &v(1, k), &v(1, m), cs, sn);
        }
        splits = splits + 1;
        break;
      }
      case 2: {  // split at a negligible s(l)
        double f = e(l - 1);
        e(l - 1) = 0.0;
        for (int k = l; k <= m; ++k) {
          double t1 = s(k);
          drotg(t1, f, cs, sn);
          s(k) = t1;
          f = -sn * e(k);
          e(k) = cs * e(k);
          // k = n + 1 arises only when p > n and the values are not finite (the extra zero
          // value is otherwise deflated first); there is no such column to rotate.
          if (wantu && k <= n) drot(n, &u(1, k), &u(1, l - 1), cs, sn);
        }
        splits = splits + 1;
        break;
      }
      case 3: {  // one QR step
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
        double f = (sl + sm) * (sl - sm) + shift;
        double g = sl * el;
        for (int k = l; k <= m - 1; ++k) {
          drotg(f, g, cs, sn);
          if (k != l) e(k - 1) = f;
          f = cs * s(k) + sn * e(k);
          e(k) = cs * e(k) - sn * s(k);
          g = sn * s(k + 1);
          s(k + 1) = cs * s(k + 1);
          if (wantv) drot(p, &v(1, k), &v(1, k + 1), cs, sn);
          drotg(f, g, cs, sn);
          s(k) = f;
          f = cs * e(k) + sn * s(k + 1);
          s(k + 1) = -sn * e(k) + cs * s(k + 1);
          g = sn * e(k + 1);
          e(k + 1) = cs * e(k + 1);
          if (wantu && k < n) drot(n, &u(1, k), &u(1, k + 1), cs, sn);
        }
        e(m - 1) = f;
        iter = iter + 1;
        splits = 0;
        break;
      }
      default: {  // convergence
        s(l) = flush(s(l));
        if (s(l) < 0.0) {
          s(l) = -s(l);
          if (wantv) dscal(p, -1.0, &v(1, l));
        }
        while (l != mm && s(l) < s(l + 1)) {
          const double t = s(l);
          s(l) = s(l + 1);
          s(l + 1) = t;
          if (wantv && l < p) dswap(p, &v(1, l), &v(1, l + 1));
          if (wantu && l < n) dswap(n, &u(1, l), &u(1, l + 1));
          l = l + 1;
        }
        iter = 0;
        splits = 0;
        m = m - 1;
        break;
      }
    }
  }
  return info;
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
  const int m = a.rows();
  const int n = a.cols();
  const int job_u = job % 10;
  const int job_v = job / 10;
  PASKOSDA_CHECK(job_u >= 0 && job_u <= 1 && job_v >= 0 && job_v <= 2,
                 "mlSingularValueDecomposition::SVD: job %d", job);

  // The kernel works on X = A^T, n by m, column-major: exactly A's row-major storage.
  mlFortranMatrix x(n, m);
  const std::ptrdiff_t count = static_cast<std::ptrdiff_t>(m) * n;
  for (std::ptrdiff_t k = 0; k < count; ++k)
    x.data()[k] = a.data()[k];

  mlFortranVector sx(utMath::min(n + 1, m));
  mlFortranVector e(m);
  for (int i = 1; i <= m; ++i)
    e(i) = 0.0;
  mlFortranVector work(n);

  // X's left vectors are A's right vectors. For the reduced job the kernel writes n rows of
  // min(n, m) columns; they are kept as that shape, the first min(m, n) right vectors.
  int ux_rows = 1;
  int ux_cols = 1;
  if (job_v == 1) {
    ux_rows = n;
    ux_cols = n;
  } else if (job_v == 2) {
    ux_rows = n;
    ux_cols = utMath::min(n, m);
  }
  mlFortranMatrix ux(ux_rows, ux_cols);
  const int vx_size = job_u != 0 ? m : 1;
  mlFortranMatrix vx(vx_size, vx_size);
  // The kernel never touches an array that was not asked for; it is copied out all the same,
  // so it gets a defined value.
  if (job_v == 0) ux(1, 1) = 0.0;
  if (job_u == 0) vx(1, 1) = 0.0;

  const int info = dsvdc(x, n, m, sx, e, ux, vx, work, job);

  const int k = utMath::min(m, n);
  s.become(mlVectorDim, k);
  for (int i = 0; i < k; ++i)
    s[i] = sx(i + 1);
  v.become(ux_rows, ux_cols);
  for (int r = 0; r < ux_rows; ++r) {
    for (int c = 0; c < ux_cols; ++c)
      v.data()[static_cast<std::ptrdiff_t>(ux_cols) * r + c] = ux(r + 1, c + 1);
  }
  u.become(vx_size, vx_size);
  for (int r = 0; r < vx_size; ++r) {
    for (int c = 0; c < vx_size; ++c)
      u.data()[static_cast<std::ptrdiff_t>(vx_size) * r + c] = vx(r + 1, c + 1);
  }
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

void ml_svd(double* w, double* z, int m, int n) noexcept {
  const double eps = 1e-22;
  const double e2 = static_cast<double>(m) * 10.0 * eps * eps;
  const double tol = 1e-23;
  const double tol2 = 1e-46;  // the constant, not tol * tol
  const int sweep_limit = utMath::max(n / 4, 6);
  const std::ptrdiff_t ld = n;
  const std::ptrdiff_t rows = static_cast<std::ptrdiff_t>(m) + n;

  for (int i = 0; i < n; ++i) {
    double* row = w + ld * (m + i);
    for (int j = 0; j < n; ++j)
      row[j] = 0.0;
    row[i] = 1.0;
  }

  int r = n;
  // Counted in 64 bits: r (r - 1) overflows an int for r above 46341.
  long long count = static_cast<long long>(r) * (r - 1) / 2;
  int sweep = 0;
  while (count != 0 && sweep <= sweep_limit) {
    count = static_cast<long long>(r) * (r - 1) / 2;
    ++sweep;
    for (int j = 0; j < r - 1; ++j) {
      for (int k = j + 1; k < r; ++k) {
        double p = 0.0;
        double q = 0.0;
        double rr = 0.0;
        for (int i = 0; i < m; ++i) {
          const double x = w[ld * i + j];
          const double y = w[ld * i + k];
          p += x * y;
          q += x * x;
          rr += y * y;
        }
        z[j] = q;
        z[k] = rr;
        double c = 0.0;
        double s = 0.0;
        if (q >= rr) {
          if (q <= e2 * z[0] || std::fabs(p) <= tol * q) {
            --count;
            continue;
          }
          p = p / q;
          const double t = 1.0 - rr / q;
          const double vt = std::sqrt(4.0 * (p * p) + t * t);
          c = std::sqrt(std::fabs(0.5 * (1.0 + t / vt)));
          s = p / (vt * c);
        } else {
          // This branch always rotates and never lowers the count.
          p = p / rr;
          const double t = q / rr - 1.0;
          const double vt = std::sqrt(4.0 * (p * p) + t * t);
          s = std::sqrt(std::fabs(0.5 * (1.0 - t / vt)));
          if (p < 0.0) s = -s;
          c = p / (vt * s);
        }
        for (std::ptrdiff_t i = 0; i < rows; ++i) {
          const double x = w[ld * i + j];
          const double y = w[ld * i + k];
          w[ld * i + j] = x * c + y * s;
          w[ld * i + k] = -x * s + y * c;
        }
      }
    }
    while (r >= 3 && z[r - 1] <= z[0] * tol + tol2)
      --r;
  }
}
