#include "kernels/mlEigenKernel.h"

#include <cfloat>
#include <cmath>
#include <cstddef>

namespace paskosda_detail {
namespace {

// The largest magnitude of a(r, r+1 .. n-1) and the first column holding it.
inline void row_largest(const double* a, int n, int r, double& m, int& c) noexcept {
  const double* row = a + std::ptrdiff_t{n} * r;
  m = -DBL_MAX;
  c = -1;
  for (int j = r + 1; j < n; ++j) {
    const double x = std::fabs(row[j]);
    if (x > m) {
      m = x;
      c = j;
    }
  }
}

}  // namespace

void OffDiagonalMaxima::build(const double* a, int n) noexcept {
  a_ = a;
  n_ = n;
  magnitude_.clear(0);
  column_.clear(0);
  kept_ = magnitude_.expand(n) != 0 && column_.expand(n) != 0;
  if (!kept_) return;
  for (int r = 0; r < n; ++r)
    scan(r);
}

void OffDiagonalMaxima::scan(int r) noexcept { row_largest(a_, n_, r, magnitude_[r], column_[r]); }

void OffDiagonalMaxima::offer(int r, int c, double x) noexcept {
  if (x > magnitude_[r] || (x == magnitude_[r] && c < column_[r])) {
    magnitude_[r] = x;
    column_[r] = c;
  }
}

void OffDiagonalMaxima::rotated(const double* a, int p, int q) noexcept {
  a_ = a;
  if (!kept_) return;
  scan(p);
  scan(q);
  // Rows above q hold the changed columns p (rows above p) and q.
  for (int r = 0; r < q; ++r) {
    if (r == p) continue;
    if (column_[r] == p || column_[r] == q) {
      scan(r);
      continue;
    }
    const double* row = a + std::ptrdiff_t{n_} * r;
    if (r < p) offer(r, p, std::fabs(row[p]));
    offer(r, q, std::fabs(row[q]));
  }
}

double OffDiagonalMaxima::largest(int& p, int& q) const noexcept {
  double best = -DBL_MAX;
  p = -1;
  q = -1;
  for (int r = 0; r < n_; ++r) {
    double m = 0.0;
    int c = 0;
    if (kept_) {
      m = magnitude_[r];
      c = column_[r];
    } else {
      row_largest(a_, n_, r, m, c);
    }
    if (m > best) {
      best = m;
      p = r;
      q = c;
    }
  }
  return best;
}

}  // namespace paskosda_detail
