#include "decomp/mlTridiagonal.h"

#include <cmath>
#include <new>

#include "containers/utCheck.h"
#include "kernels/mlKernelSupport.h"
#include "linalg/mlVector.h"

namespace {

// Elimination without pivoting of the band (lower, b, upper) against r, then back
// substitution into x. b and r are the caller's copies of the diagonal and the right-hand
// side, and are overwritten.
template <class Band>
void band_solve(int n, const Band& lower, double* b, const Band& upper, double* r,
                mlSlice& x) noexcept {
  for (int i = 0; i < n - 1; ++i) {
    const double m = lower[i + 1] / b[i];
    b[i + 1] = b[i + 1] - m * upper[i];
    r[i + 1] = r[i + 1] - m * r[i];
  }
  x[n - 1] = r[n - 1] / b[n - 1];
  for (int i = n - 2; i >= 0; --i)
    x[i] = (r[i] - x[i + 1] * upper[i]) / b[i];
}

// n elements of a view into to.
void copy(const mlSlice& from, int n, double* to) noexcept {
  for (int i = 0; i < n; ++i)
    to[i] = from[i];
}

}  // namespace

mlTridiagonal::mlTridiagonal(int n, const mlSlice& lower, const mlSlice& diagonal,
                             const mlSlice& upper) noexcept
    : size_(n), lower_(lower), diagonal_(diagonal), upper_(upper) {
  PASKOSDA_CHECK(lower.dimension() >= n && diagonal.dimension() >= n && upper.dimension() >= n,
                 "mlTridiagonal: n = %d, views of %d, %d and %d elements", n, lower.dimension(),
                 diagonal.dimension(), upper.dimension());
}

mlTridiagonal& mlTridiagonal::become(int n, const mlSlice& lower, const mlSlice& diagonal,
                                     const mlSlice& upper) noexcept {
  PASKOSDA_CHECK(lower.dimension() >= n && diagonal.dimension() >= n && upper.dimension() >= n,
                 "mlTridiagonal::become: n = %d, views of %d, %d and %d elements", n,
                 lower.dimension(), diagonal.dimension(), upper.dimension());
  size_ = n;
  // Assigning a slice copies the numbers it views, not the view, so each view is re-made in
  // place (mlSlice is trivially destructible).
  const auto reseat = [](mlSlice& to, const mlSlice& from) { new (&to) mlSlice(from); };
  reseat(lower_, lower);
  reseat(diagonal_, diagonal);
  reseat(upper_, upper);
  return *this;
}

void mlTridiagonal::solve(const mlSlice& d, mlSlice& x) const noexcept {
  const int n = size_;
  PASKOSDA_CHECK(d.dimension() >= n && x.dimension() >= n,
                 "mlTridiagonal::solve: n = %d, d has %d elements, x %d", n, d.dimension(),
                 x.dimension());
  if (n < 1) return;
  // Copies of the diagonal and of d (which x may view), from memory kept by the thread.
  paskosda_detail::Work work(2 * paskosda_detail::Index{n});
  double* b = work.data();
  if (b == nullptr) return;
  double* r = b + n;
  copy(diagonal_, n, b);
  copy(d, n, r);
  band_solve(n, lower_, b, upper_, r, x);
}

void mlTridiagonal::solve_periodic(const mlSlice& d, mlSlice& x) const noexcept {
  const int n = size_;
  PASKOSDA_CHECK(d.dimension() >= n && x.dimension() >= n,
                 "mlTridiagonal::solve_periodic: n = %d, d has %d elements, x %d", n, d.dimension(),
                 x.dimension());
  if (n < 1) return;
  if (n == 1) {
    // The general steps would make u[0] and u[n-1] one element and overwrite it; a 1 by 1
    // cyclic system simply has both corners on its diagonal, added in the order the general
    // case adds them (the bottom-left corner first).
    const double a =
        same_sign_corners() != 0 ? (diagonal_[0] + upper_[0]) + lower_[0] : diagonal_[0];
    x[0] = d[0] / a;
    return;
  }
  // The modified band a, b, c, the rank-one factors u and v, the solution z of the band
  // against u, and a band solve's copies of the diagonal and the right-hand side.
  paskosda_detail::Work work(8 * paskosda_detail::Index{n});
  double* a = work.data();
  if (a == nullptr) return;
  double* b = a + n;
  double* c = b + n;
  double* u = c + n;
  double* v = u + n;
  double* z = v + n;
  double* band_b = z + n;
  double* band_r = band_b + n;
  copy(lower_, n, a);
  copy(diagonal_, n, b);
  copy(upper_, n, c);
  for (int i = 0; i < n; ++i)
    u[i] = v[i] = 0.0;
  if (same_sign_corners() != 0) {
    u[0] = -1.0;
    u[n - 1] = 1.0;
    v[0] = c[n - 1];
    v[n - 1] = -a[0];
  }
  // With zero u and v these change nothing, as intended: the corners are then ignored.
  b[0] = b[0] - u[0] * v[0];
  a[0] = a[0] - v[n - 1] * u[0];
  c[n - 1] = c[n - 1] - u[n - 1] * v[0];
  b[n - 1] = b[n - 1] - v[n - 1] * u[n - 1];
  const mlSlice us(u, 0, 1, n), vs(v, 0, 1, n);
  mlSlice zs(z, 0, 1, n);
  copy(mlSlice(b, 0, 1, n), n, band_b);
  copy(us, n, band_r);
  band_solve(n, a, band_b, c, band_r, zs);
  mlSlice y = x.slice(0, 1, n);
  copy(mlSlice(b, 0, 1, n), n, band_b);
  copy(d, n, band_r);
  band_solve(n, a, band_b, c, band_r, y);
  const double vy = scalar_product(vs, y);
  const double vz = scalar_product(vs, zs);
  const double denominator = 1.0 + vz;
  for (int i = 0; i < n; ++i)
    y[i] = y[i] - (z[i] * vy) / denominator;
}

int mlTridiagonal::diagonally_dominant() const noexcept {
  const int n = size_;
  if (n < 1) return 1;
  if (std::fabs(upper_[0]) > std::fabs(diagonal_[0])) return 0;
  if (std::fabs(lower_[n - 1]) > std::fabs(diagonal_[n - 1])) return 0;
  for (int i = 1; i < n - 1; ++i) {
    if (std::fabs(lower_[i]) + std::fabs(upper_[i]) > std::fabs(diagonal_[i])) return 0;
  }
  return 1;
}

int mlTridiagonal::non_zero_diagonal() const noexcept {
  for (int i = 0; i < size_; ++i) {
    if (diagonal_[i] == 0.0) return 0;
  }
  return 1;
}

int mlTridiagonal::same_sign_corners() const noexcept {
  const int n = size_;
  if (n < 1) return 1;
  const double e[] = {lower_[0], upper_[n - 1], diagonal_[0], diagonal_[n - 1]};
  const bool non_negative = e[0] >= 0.0 && e[1] >= 0.0 && e[2] >= 0.0 && e[3] >= 0.0;
  const bool non_positive = e[0] <= 0.0 && e[1] <= 0.0 && e[2] <= 0.0 && e[3] <= 0.0;
  return non_negative || non_positive ? 1 : 0;
}
