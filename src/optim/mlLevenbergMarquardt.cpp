#include "optim/mlLevenbergMarquardt.h"

#include <cfloat>
#include <cmath>

#include "containers/utCheck.h"
#include "decomp/mlCholeskyDecomposition.h"
#include "decomp/mlSingularValueDecomposition.h"

namespace {

constexpr double kInitialLambda = 1e-4;
constexpr double kLambdaDecrease = 0.04;
constexpr double kLambdaIncrease = 10.0;
constexpr double kLambdaConverged = 1e-10;
constexpr double kLambdaFailed = 1e10;
constexpr int kOuterIterations = 500;
constexpr int kTrialsPerIteration = 50;
constexpr double kDifferenceStep = 1e-5;

}  // namespace

// ---- mlDistanceLeastSquares ----

mlDistanceLeastSquares::mlDistanceLeastSquares(int n_parameters, int n_points) noexcept
    : points_(n_points), parameters_(mlVectorDim, n_parameters) {}

mlDistanceLeastSquares& mlDistanceLeastSquares::become(int n_parameters, int n_points) noexcept {
  points_ = n_points;
  parameters_.become(mlVectorDim, n_parameters);
  precise_square_distance_ = 0;
  return *this;
}

mlDistanceLeastSquares::~mlDistanceLeastSquares() = default;

void mlDistanceLeastSquares::set_parameters(const mlVector& p) { parameters_.become(utCopy, p); }

double mlDistanceLeastSquares::get_last_square_distance() const { return DBL_MAX; }

int mlDistanceLeastSquares::n_independent_parameters() const { return n_parameters(); }

void mlDistanceLeastSquares::parameter_scales(mlVector& s) const {
  s.become(mlVectorDim, n_parameters());
  s.fill(1.0);
}

double mlDistanceLeastSquares::point_distribution_quality(const mlVector& p) {
  const int n = n_parameters();
  mlVector q(utCopy, p);
  normalise_parameters(q);
  set_parameters(q);
  mlVector s;
  parameter_scales(s);
  mlMatrix h(mlMatrixZero, n, n);

  mlVector g(mlVectorDim, n);
  mlVector g_step(mlVectorDim, n);
  mlVector r(mlVectorDim, n);
  for (int k = 0; k < points_; ++k) {
    double d = 0.0;
    distance_and_derivatives(d, g, k);
    for (int j = 0; j < n; ++j) {
      r.become(utCopy, q);
      r[j] += kDifferenceStep;
      normalise_parameters(r);
      set_parameters(r);
      double d_step = 0.0;
      distance_and_derivatives(d_step, g_step, k);
      for (int l = 0; l < n; ++l) {
        const double h_l = (g_step[l] - g[l]) / kDifferenceStep;
        h(j, l) += d * h_l + g[l] * g[j];
      }
    }
    set_parameters(q);
  }
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j < n; ++j)
      h(i, j) = h(i, j) / (s[j] * s[i]);
  }

  const mlSingularValueDecomposition svd(h);
  const mlVector& sigma = svd.diagonal();
  const int count = sigma.dimension();
  // Without parameters there is no singular value to rate: reported like an all-zero Hessian.
  if (count == 0 || sigma[0] == 0.0) return 0.0;
  const int independent = n_independent_parameters();
  const int smallest = count - (n - independent) - 1;
  PASKOSDA_CHECK(smallest >= 0 && smallest < count,
                 "point_distribution_quality: %d independent parameters of %d", independent, n);
  // An independent count outside 1 ... n names no singular value; 0.0 rather than a read
  // outside the array.
  if (smallest < 0 || smallest >= count) return 0.0;
  return std::sqrt(sigma[smallest] / sigma[0]);
}

// ---- mlLevenbergMarquardt ----

mlLevenbergMarquardt::mlLevenbergMarquardt(mlDistanceLeastSquares& problem) noexcept
    : problem_(&problem) {
  become(problem);
}

mlLevenbergMarquardt& mlLevenbergMarquardt::become(mlDistanceLeastSquares& problem) noexcept {
  problem_ = &problem;
  const int n = problem.n_parameters();
  alpha_.become(n, n);
  beta_.become(mlVectorDim, n);
  chi_square_ = 0.0;
  saved_diagonal_.become(mlVectorDim, n);
  lambda_ = 0.0;
  fit_parameters_.become(mlVectorDim, n);
  trial_parameters_.become(mlVectorDim, n);
  derivatives_.become(mlVectorDim, n);
  return *this;
}

mlLevenbergMarquardt::~mlLevenbergMarquardt() = default;

void mlLevenbergMarquardt::calc_matrices(mlVector& p) {
  mlDistanceLeastSquares& problem = *problem_;
  const int n = alpha_.rows();
  chi_square_ = 0.0;
  problem.set_parameters(p);
  const int precise = problem.have_precise_square_distance();
  for (int k = 0; k < problem.n_points(); ++k) {
    double d = 0.0;
    problem.distance_and_derivatives(d, derivatives_, k);
    if (k == 0) {
      beta_.fill(0.0);
      alpha_.fill(0.0);
    }
    for (int j = 0; j < n; ++j) {
      beta_[j] -= d * derivatives_[j];
      for (int l = 0; l < n; ++l)
        alpha_(j, l) += derivatives_[l] * derivatives_[j];
    }
    chi_square_ += precise == 1 ? problem.get_last_square_distance() : d * d;
  }
}

double mlLevenbergMarquardt::update_pars(double lambda, mlVector& p) {
  mlDistanceLeastSquares& problem = *problem_;
  const int n = alpha_.rows();
  for (int j = 0; j < n; ++j) {
    saved_diagonal_[j] = alpha_(j, j);
    // Multiplicative and additive damping together, so that a zero diagonal entry is damped
    // as well.
    alpha_(j, j) += (alpha_(j, j) + 1.0) * lambda;
  }
  {
    // A matrix that is not positive definite is solved all the same: the step is then
    // meaningless and, as a rule, fails to lower S.
    const mlCholeskyDecomposition cholesky(alpha_);
    cholesky.solve(beta_, derivatives_);
  }
  for (int j = 0; j < n; ++j)
    p[j] += derivatives_[j];
  problem.normalise_parameters(p);
  problem.set_parameters(p);

  const int precise = problem.have_precise_square_distance();
  double s = 0.0;
  for (int k = 0; k < problem.n_points(); ++k) {
    double d = 0.0;
    problem.distance(d, k);
    s += precise == 1 ? problem.get_last_square_distance() : d * d;
  }
  for (int j = 0; j < n; ++j)
    alpha_(j, j) = saved_diagonal_[j];
  return s;
}

void mlLevenbergMarquardt::calc_derivs(const mlVector& p, mlVector& gradient) {
  mlDistanceLeastSquares& problem = *problem_;
  const int n = alpha_.rows();
  problem.set_parameters(p);
  gradient.become(mlVectorDim, n);
  gradient.fill(0.0);
  for (int k = 0; k < problem.n_points(); ++k) {
    double d = 0.0;
    problem.distance_and_derivatives(d, derivatives_, k);
    for (int j = 0; j < n; ++j)
      gradient[j] += d * derivatives_[j];
  }
}

double mlLevenbergMarquardt::fit(const mlVector& start, mlVector& result) {
  mlDistanceLeastSquares& problem = *problem_;
  fit_parameters_.become(utCopy, start);
  problem.normalise_parameters(fit_parameters_);
  lambda_ = kInitialLambda;
  for (int iteration = 0; iteration < kOuterIterations; ++iteration) {
    lambda_ = lambda_ * kLambdaDecrease;
    if (lambda_ < kLambdaConverged) break;
    calc_matrices(fit_parameters_);
    for (int trial = 0; trial < kTrialsPerIteration; ++trial) {
      lambda_ = lambda_ * kLambdaIncrease;
      trial_parameters_.become(utCopy, fit_parameters_);
      const double s = update_pars(lambda_, trial_parameters_);
      if (chi_square_ > s) break;
      if (lambda_ > kLambdaFailed) break;
    }
    // Also after an accepted trial: a step found only with lambda above the limit is not
    // taken.
    if (lambda_ > kLambdaFailed) break;
    fit_parameters_.become(utCopy, trial_parameters_);
  }
  result.become(utCopy, fit_parameters_);
  return chi_square_ / problem.n_points();
}
