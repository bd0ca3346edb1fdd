#include "optim/mlDownHillSimplex.h"

#include <cmath>

#include "linalg/mlSlice.h"

thread_local int mlDownHillSimplex::m_max = 2000;

namespace {

constexpr double kInitialStep = 0.1;

// n elements, all 0.0, so that nothing is read unset before the first search.
void zeros(doublecoDynArr& a, int n) noexcept {
  a.clear(0);
  a.expand(n);
  for (int i = 0; i < n; ++i)
    a[i] = 0.0;
}

// The relative spread that ends a search at this speed.
double speed_tolerance(mlDownHillSimplexSpeed speed) noexcept {
  return speed == mlDownHillSimplexFastest ? 1e-5 : 1e-10;
}

// The call budget of a search at this speed; any unnamed speed is the slowest.
int speed_budget(mlDownHillSimplexSpeed speed) noexcept {
  switch (speed) {
    case mlDownHillSimplexFastest:
      return 100;
    case mlDownHillSimplexFast:
      return 600;
    case mlDownHillSimplexSlow:
      return 2000;
    default:
      return 20000;
  }
}

// Vertex i < n is start + step e_i, vertex n is start itself; each is evaluated as soon as it
// is set, in vertex order, and counted right after its evaluation.
void build_simplex(const mlFunctionN1& f, const mlVector& start, int n, double step,
                   mlMatrix& simplex, doublecoDynArr& values, int& calls) {
  for (int i = 0; i <= n; ++i) {
    double* x = simplex.row_data(i);
    for (int j = 0; j < n; ++j)
      x[j] = start[j];
    if (i < n) x[i] += step;
    values[i] = f.function(simplex.row(i));
    ++calls;
  }
}

// The best (returned), worst (ihi) and second worst (inhi) of the n + 1 vertices, ties decided
// by the order of the comparisons below.
int rank_vertices(const doublecoDynArr& values, int n, int& ihi, int& inhi) noexcept {
  int ilo = 0;
  // Without a second vertex (n = 0) there is nothing to compare vertex 0 with; the search
  // stops in this pass whatever the order says (the simplex is degenerate).
  if (n >= 1 && values[0] > values[1]) {
    ihi = 0;
    inhi = 1;
  } else {
    ihi = n >= 1 ? 1 : 0;
    inhi = 0;
  }
  for (int i = 0; i <= n; ++i) {
    if (values[i] <= values[ilo]) ilo = i;
    if (values[i] > values[ihi]) {
      inhi = ihi;
      ihi = i;
    } else if (values[i] > values[inhi] && i != ihi) {
      inhi = i;
    }
  }
  return ilo;
}

// Whether the search stops before this pass: the relative spread below the tolerance, the
// budget spent, or a degenerate simplex; the tests in that order, the spread computed first.
bool search_ends(const doublecoDynArr& values, const mlMatrix& simplex, int n, int ilo, int ihi,
                 double tolerance, int calls) noexcept {
  constexpr double tiny = mlDownHillSimplex::m_tiny;
  const double v_hi = values[ihi];
  const double v_lo = values[ilo];
  const double rtol = 2.0 * std::fabs(v_hi - v_lo) / (std::fabs(v_lo) + std::fabs(v_hi) + tiny);
  if (tolerance > rtol) return true;
  if (calls >= mlDownHillSimplex::m_max) return true;
  if (std::fabs(v_hi) < tiny || n < 1) return true;
  const double* x_lo = simplex.row_data(ilo);
  const double* x_hi = simplex.row_data(ihi);
  double spread = 0.0;
  for (int j = 0; j < n; ++j) {
    const double difference = std::fabs(x_lo[j] - x_hi[j]);
    if (difference > spread) spread = difference;
  }
  return spread < tiny;
}

// Every vertex but the best moves halfway towards it and is evaluated there, in vertex order;
// the caller counts the calls and renews the sums.
void shrink_towards(const mlFunctionN1& f, int n, int ilo, mlMatrix& simplex,
                    doublecoDynArr& values) {
  const double* x_best = simplex.row_data(ilo);
  for (int i = 0; i <= n; ++i) {
    if (i == ilo) continue;
    double* x = simplex.row_data(i);
    for (int j = 0; j < n; ++j)
      x[j] = 0.5 * (x[j] + x_best[j]);
    values[i] = f.function(simplex.row(i));
  }
}

// The best vertex and its value change places with vertex 0, which `result` reports.
void swap_into_front(int n, int ilo, mlMatrix& simplex, doublecoDynArr& values) noexcept {
  const double v = values[0];
  values[0] = values[ilo];
  values[ilo] = v;
  double* x0 = simplex.row_data(0);
  double* x_lo = simplex.row_data(ilo);
  for (int j = 0; j < n; ++j) {
    const double t = x0[j];
    x0[j] = x_lo[j];
    x_lo[j] = t;
  }
}

}  // namespace

mlDownHillSimplex::mlDownHillSimplex(int dimension) noexcept { become(dimension); }

mlDownHillSimplex& mlDownHillSimplex::become(int dimension) noexcept {
  PASKOSDA_CHECK(dimension >= 0, "mlDownHillSimplex(dimension = %d)", dimension);
  objective_ = nullptr;
  step_ = kInitialStep;
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
  tolerance_ = speed_tolerance(speed);
  m_max = speed_budget(speed);
  build_simplex(f, start, n, step_, simplex_, values_, calls_);
  update_simplex_sum();

  int ilo = 0;
  for (;;) {
    int ihi;
    int inhi;
    ilo = rank_vertices(values_, n, ihi, inhi);
    if (search_ends(values_, simplex_, n, ilo, ihi, tolerance_, calls_)) break;

    // Reflect the worst vertex, then expand, stop at the reflection, or contract, and shrink
    // when the contraction gains nothing.
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
        shrink_towards(f, n, ilo, simplex_, values_);
        calls_ += n;
        update_simplex_sum();
      }
    }
  }

  swap_into_front(n, ilo, simplex_, values_);
  return values_[0];
}

void mlDownHillSimplex::result(mlVector& x) const noexcept { x.become(utCopy, simplex_.row(0)); }
