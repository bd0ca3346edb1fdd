#include "optim/mlDownHillSimplex.h"

#include <cmath>

#include "linalg/mlSlice.h"

thread_local int mlDownHillSimplex::m_max = 2000;

namespace {

constexpr double initial_step = 0.1;

// n elements, all 0.0, so that nothing is read unset before the first search.
void zeros(doublecoDynArr& a, int n) noexcept {
  a.clear(0);
  a.expand(n);
  for (int i = 0; i < n; ++i)
    a[i] = 0.0;
}

}  // namespace

mlDownHillSimplex::mlDownHillSimplex(int dimension) noexcept { become(dimension); }

mlDownHillSimplex& mlDownHillSimplex::become(int dimension) noexcept {
  PASKOSDA_CHECK(dimension >= 0, "mlDownHillSimplex(dimension = %d)", dimension);
  objective_ = nullptr;
  step_ = initial_step;
  dimension_ = dimension;
  zeros(values_, dimension + 1);
  simplex_.become(mlMatrixZero, dimension + 1, dimension);
  zeros(simplex_sum_, dimension);
  zeros(trial_, dimension);
  tolerance_ = 1e-10;
  calls_ = 0;
  return *this;
}

void mlDownHillSimplex::update_simplex_sum() noexcept {
  const int n = dimension_;
  for (int j = 0; j < n; ++j) {
    double sum = 0.0;
    for (int i = 0; i <= n; ++i)
      sum += simplex_(i, j);
    simplex_sum_[j] = sum;
  }
}

double mlDownHillSimplex::move_vertex(int h, double factor) {
  const int n = dimension_;
  const double f1 = (1.0 - factor) / n;
  const double f2 = f1 - factor;
  double* x_h = simplex_.row_data(h);
  for (int j = 0; j < n; ++j)
    trial_[j] = f1 * simplex_sum_[j] - f2 * x_h[j];
  const double y = objective_->function(mlSlice(trial_.data(), 0, 1, n));
  if (values_[h] > y) {
    values_[h] = y;
    for (int j = 0; j < n; ++j) {
      simplex_sum_[j] += trial_[j] - x_h[j];
      x_h[j] = trial_[j];
    }
  }
  return y;
}

double mlDownHillSimplex::solve(const mlFunctionN1& f, const mlVector& start,
                                mlDownHillSimplexSpeed speed) {
  const int n = dimension_;
  PASKOSDA_CHECK(start.dimension() >= n, "mlDownHillSimplex::solve: start of %d entries for %d",
                 start.dimension(), n);
  objective_ = &f;
  calls_ = 0;
  tolerance_ = 1e-10;
  switch (speed) {
    case mlDownHillSimplexFastest:
      m_max = 100;
      tolerance_ = 1e-5;
      break;
    case mlDownHillSimplexFast:
      m_max = 600;
      break;
    case mlDownHillSimplexSlow:
      m_max = 2000;
      break;
    default:
      m_max = 20000;
      break;
  }

  for (int i = 0; i <= n; ++i) {
    double* x = simplex_.row_data(i);
    for (int j = 0; j < n; ++j)
      x[j] = start[j];
    if (i < n) x[i] += step_;
    values_[i] = f.function(simplex_.row(i));
    ++calls_;
  }
  update_simplex_sum();

  int ilo = 0;
  for (;;) {
    ilo = 0;
    int ihi;
    int inhi;
    // Without a second vertex (n = 0) there is nothing to compare vertex 0 with; the search
    // stops in this pass whatever the order says (the simplex is degenerate).
    if (n >= 1 && values_[0] > values_[1]) {
      ihi = 0;
      inhi = 1;
    } else {
      ihi = n >= 1 ? 1 : 0;
      inhi = 0;
    }
    for (int i = 0; i <= n; ++i) {
      if (values_[i] <= values_[ilo]) ilo = i;
      if (values_[i] > values_[ihi]) {
        inhi = ihi;
        ihi = i;
      } else if (values_[i] > values_[inhi] && i != ihi) {
        inhi = i;
      }
    }
    const double v_hi = values_[ihi];
    const double v_lo = values_[ilo];
    const double rtol = 2.0 * std::fabs(v_hi - v_lo) / (std::fabs(v_lo) + std::fabs(v_hi) + m_tiny);
    if (tolerance_ > rtol) break;
    if (calls_ >= m_max) break;
    if (std::fabs(v_hi) < m_tiny || n < 1) break;
    const double* x_lo = simplex_.row_data(ilo);
    const double* x_hi = simplex_.row_data(ihi);
    double spread = 0.0;
    for (int j = 0; j < n; ++j) {
      const double difference = std::fabs(x_lo[j] - x_hi[j]);
      if (difference > spread) spread = difference;
    }
    if (spread < m_tiny) break;

    calls_ += 2;
    const double y = move_vertex(ihi, -1.0);
    if (y <= values_[ilo]) {
      move_vertex(ihi, 2.0);
    } else if (y < values_[inhi]) {
      // Only the reflection was evaluated.
      calls_ -= 1;
    } else {
      // The reflection may already have replaced the worst vertex: compare with what it holds.
      const double v_save = values_[ihi];
      // Written as the negation of "lower than v_save" so that a NaN value shrinks too.
      if (!(move_vertex(ihi, 0.5) < v_save)) {
        const double* x_best = simplex_.row_data(ilo);
        for (int i = 0; i <= n; ++i) {
          if (i == ilo) continue;
          double* x = simplex_.row_data(i);
          for (int j = 0; j < n; ++j)
            x[j] = 0.5 * (x[j] + x_best[j]);
          values_[i] = f.function(simplex_.row(i));
        }
        calls_ += n;
        update_simplex_sum();
      }
    }
  }

  const double v = values_[0];
  values_[0] = values_[ilo];
  values_[ilo] = v;
  double* x0 = simplex_.row_data(0);
  double* x_lo = simplex_.row_data(ilo);
  for (int j = 0; j < n; ++j) {
    const double t = x0[j];
    x0[j] = x_lo[j];
    x_lo[j] = t;
  }
  return values_[0];
}

void mlDownHillSimplex::result(mlVector& x) const noexcept { x.become(utCopy, simplex_.row(0)); }
