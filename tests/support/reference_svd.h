#ifndef PASKOSDA_TESTS_SUPPORT_REFERENCE_SVD_H
#define PASKOSDA_TESTS_SUPPORT_REFERENCE_SVD_H

// The singular value decomposition of mlSingularValueDecomposition written as the plain loops
// that define its results: Householder bidiagonalisation, accumulation of the vectors and
// implicitly shifted QR sweeps in the structure of LINPACK's DSVDC, every level-1 routine a
// simple loop and every reflection applied one column after the other. The library must
// reproduce these bits exactly.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

#include "linalg/mlMatrix.h"

namespace paskosda_test {

/// What mlSingularValueDecomposition holds after decomposing: the values, U and V row by row
/// with their shapes, and 1 for convergence (0 when some value needed too many sweeps).
struct LiteralSvd {
  std::vector<double> s, u, v;
  int u_rows = 0, u_cols = 0, v_rows = 0, v_cols = 0;
  int converged = 0;
};

namespace literal_svd_detail {

// A one-based column-major matrix. Elements the algorithm leaves unset hold NaN, so that
// reading one by mistake shows.
struct Columns {
  int rows;
  std::vector<double> data;
  Columns(int r, int c)
      : rows(r), data(static_cast<std::size_t>(r) * c, std::numeric_limits<double>::quiet_NaN()) {}
  double& operator()(int i, int j) {
    return data[static_cast<std::size_t>(rows) * (j - 1) + (i - 1)];
  }
};

// A one-based vector.
struct Elements {
  std::vector<double> data;
  explicit Elements(int n) : data(n, std::numeric_limits<double>::quiet_NaN()) {}
  double& operator()(int i) { return data[i - 1]; }
};

inline double flush(double x) { return std::fabs(x) < 2.2250738585072014e-308 ? 0.0 : x; }
inline double dsign(double a, double b) { return b < 0.0 ? -std::fabs(a) : std::fabs(a); }

inline double dnrm2(int n, const double* x) {
  if (n < 1) return 0.0;
  if (n == 1) return std::fabs(x[0]);
  double scale = 0.0, ssq = 1.0;
  for (int i = 0; i < n; ++i) {
    if (x[i] == 0.0) continue;
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
  return scale * std::sqrt(ssq);
}

inline double ddot(int n, const double* x, const double* y) {
  double t = 0.0;
  for (int i = 0; i < n; ++i)
    t = t + x[i] * y[i];
  return t;
}

inline void daxpy(int n, double a, const double* x, double* y) {
  if (a == 0.0) return;
  for (int i = 0; i < n; ++i)
    y[i] = y[i] + a * x[i];
}

inline void dscal(int n, double a, double* x) {
  for (int i = 0; i < n; ++i)
    x[i] = a * x[i];
}

inline void drot(int n, double* x, double* y, double c, double s) {
  for (int i = 0; i < n; ++i) {
    const double t = c * x[i] + s * y[i];
    y[i] = c * y[i] - s * x[i];
    x[i] = t;
  }
}

inline void dswap(int n, double* x, double* y) {
  for (int i = 0; i < n; ++i)
    std::swap(x[i], y[i]);
}

inline void drotg(double& a, double& b, double& c, double& s) {
  const double roe = std::fabs(a) > std::fabs(b) ? a : b;
  const double scale = std::fabs(a) + std::fabs(b);
  double r = 0.0, z = 0.0;
  if (scale == 0.0) {
    c = 1.0;
    s = 0.0;
  } else {
    const double as = a / scale, bs = b / scale;
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

// DSVDC on x (n by p), with 100 sweeps per value and the flushes to zero of the library.
inline int dsvdc(Columns& x, int n, int p, Elements& s, Elements& e, Columns& u, Columns& v,
                 Elements& work, int job) {
  const int jobu = (job % 100) / 10;
  const int ncu = jobu > 1 ? std::min(n, p) : n;
  const bool wantu = jobu != 0, wantv = job % 10 != 0;
  const int nct = std::min(n - 1, p), nrt = std::max(0, std::min(p - 2, n));
  for (int l = 1; l <= std::max(nct, nrt); ++l) {
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
    for (int j = lp1; j <= p; ++j) {
      if (l <= nct && s(l) != 0.0) {
        const double t = -ddot(n - l + 1, &x(l, l), &x(l, j)) / x(l, l);
        daxpy(n - l + 1, t, &x(l, l), &x(l, j));
      }
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

  int m = std::min(p, n + 1);
  const int nctp1 = nct + 1, nrtp1 = nrt + 1;
  if (nct < p && nctp1 >= 1) s(nctp1) = x(nctp1, nctp1);
  if (n < m) s(m) = 0.0;
  if (nrtp1 < m) e(nrtp1) = x(nrtp1, m);
  if (m >= 1) e(m) = 0.0;

  if (wantu) {
    for (int j = std::max(nctp1, 1); j <= ncu; ++j) {
      for (int i = 1; i <= n; ++i)
        u(i, j) = 0.0;
      u(j, j) = 1.0;
    }
    for (int l = nct; l >= 1; --l) {
      if (s(l) != 0.0) {
        for (int j = l + 1; j <= ncu; ++j) {
          const double t = -ddot(n - l + 1, &u(l, l), &u(l, j)) / u(l, l);
          daxpy(n - l + 1, t, &u(l, l), &u(l, j));
        }
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
      if (l <= nrt && e(l) != 0.0) {
        for (int j = lp1; j <= p; ++j) {
          const double t = -ddot(p - l, &v(lp1, l), &v(lp1, j)) / v(lp1, l);
          daxpy(p - l, t, &v(lp1, l), &v(lp1, j));
        }
      }
      for (int i = 1; i <= p; ++i)
        v(i, l) = 0.0;
      v(l, l) = 1.0;
    }
  }

  const int mm = m;
  int iter = 0, splits = 0;
  while (m > 0) {
    if (iter >= 100 || splits > mm) return m;
    int l = m - 1;
    for (; l > 0; --l) {
      const double test = std::fabs(s(l)) + std::fabs(s(l + 1));
      if (test + std::fabs(e(l)) == test) {
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
        if (test + std::fabs(s(ls)) == test) {
          s(ls) = 0.0;
          break;
        }
      }
      kase = ls == l ? 3 : ls == m ? 1 : 2;
      if (kase == 2) l = ls;
    }
    l = l + 1;
    double cs = 0.0, sn = 0.0;
    if (kase == 1) {
      double f = e(m - 1);
      e(m - 1) = 0.0;
      for (int k = m - 1; k >= l; --k) {
        drotg(s(k), f, cs, sn);
        if (k != l) {
          f = -sn * e(k - 1);
          e(k - 1) = cs * e(k - 1);
        }
        if (wantv) drot(p, &v(1, k), &v(1, m), cs, sn);
      }
      ++splits;
    } else if (kase == 2) {
      double f = e(l - 1);
      e(l - 1) = 0.0;
      for (int k = l; k <= m; ++k) {
        drotg(s(k), f, cs, sn);
        f = -sn * e(k);
        e(k) = cs * e(k);
        if (wantu && k <= n) drot(n, &u(1, k), &u(1, l - 1), cs, sn);
      }
      ++splits;
    } else if (kase == 3) {
      // The running maximum takes the new term unless the old one is greater (NaN matters).
      double scale = std::fabs(s(m));
      for (const double t :
           {std::fabs(s(m - 1)), std::fabs(e(m - 1)), std::fabs(s(l)), std::fabs(e(l))})
        scale = scale > t ? scale : t;
      const double sm = s(m) / scale, smm1 = s(m - 1) / scale, emm1 = e(m - 1) / scale,
                   sl = s(l) / scale, el = e(l) / scale;
      const double b = ((smm1 + sm) * (smm1 - sm) + emm1 * emm1) * 0.5;
      const double c = flush((sm * emm1) * (sm * emm1));
      double shift = 0.0;
      if (b != 0.0 || c != 0.0) {
        shift = std::sqrt(b * b + c);
        if (b < 0.0) shift = -shift;
        shift = c / (b + shift);
      }
      double f = (sl + sm) * (sl - sm) + shift, g = sl * el;
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
      ++iter;
      splits = 0;
    } else {
      s(l) = flush(s(l));
      if (s(l) < 0.0) {
        s(l) = -s(l);
        if (wantv) dscal(p, -1.0, &v(1, l));
      }
      while (l != mm && s(l) < s(l + 1)) {
        std::swap(s(l), s(l + 1));
        if (wantv && l < p) dswap(p, &v(1, l), &v(1, l + 1));
        if (wantu && l < n) dswap(n, &u(1, l), &u(1, l + 1));
        ++l;
      }
      iter = 0;
      splits = 0;
      --m;
    }
  }
  return 0;
}

}  // namespace literal_svd_detail

/// The decomposition mlSingularValueDecomposition(a, job_u, job_v) computes, by the plain
/// loops: DSVDC on A^T (so that its left vectors are A's right ones and the job digits swap).
inline LiteralSvd literal_svd(const mlMatrix& a, int job_u, int job_v) {
  using namespace literal_svd_detail;
  const int m = a.rows(), n = a.cols(), k = std::min(m, n);
  Columns x(n, m);
  std::copy(a.data(), a.data() + static_cast<std::size_t>(m) * n, x.data.begin());
  Elements s(std::min(n + 1, m)), e(m), work(n);
  std::fill(e.data.begin(), e.data.end(), 0.0);
  LiteralSvd out;
  out.v_rows = job_v == 0 ? 1 : n;
  out.v_cols = job_v == 0 ? 1 : job_v == 1 ? n : k;
  out.u_rows = out.u_cols = job_u != 0 ? m : 1;
  Columns ux(out.v_rows, out.v_cols), vx(out.u_rows, out.u_cols);
  if (job_v == 0) ux(1, 1) = 0.0;
  if (job_u == 0) vx(1, 1) = 0.0;
  out.converged = dsvdc(x, n, m, s, e, ux, vx, work, job_u + 10 * job_v) == 0 ? 1 : 0;
  out.s.assign(s.data.begin(), s.data.begin() + k);
  for (int r = 1; r <= out.v_rows; ++r) {
    for (int c = 1; c <= out.v_cols; ++c)
      out.v.push_back(ux(r, c));
  }
  for (int r = 1; r <= out.u_rows; ++r) {
    for (int c = 1; c <= out.u_cols; ++c)
      out.u.push_back(vx(r, c));
  }
  return out;
}

}  // namespace paskosda_test

#endif  // PASKOSDA_TESTS_SUPPORT_REFERENCE_SVD_H
