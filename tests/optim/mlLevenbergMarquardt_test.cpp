#include "optim/mlLevenbergMarquardt.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <functional>
#include <utility>
#include <vector>

#include "decomp/mlCholeskyDecomposition.h"
#include "decomp/mlSingularValueDecomposition.h"
#include "support/test_support.h"

namespace {

using namespace paskosda_test;

// d_k(p), which also fills the derivatives g when g is not null.
using Distance = std::function<double(const mlVector& p, int k, mlVector* g)>;

// A problem given by a Distance. Counts the calls made to it and records the parameters of
// every matrix build (each call for point 0 with derivatives). Its exact squared distance, used
// when flagged precise, is 4 d^2.
class ModelProblem : public mlDistanceLeastSquares {
 public:
  ModelProblem(int n, int m, Distance distance, int precise = 0)
      : mlDistanceLeastSquares(n, m), f_(std::move(distance)) {
    precise_square_distance_ = precise;
  }

  void normalise_parameters(mlVector& p) override {
    if (absolute_first) p[0] = std::fabs(p[0]);
  }
  void distance_and_derivatives(double& d, mlVector& derivatives, int point) override {
    ++derivative_calls;
    if (point == 0) builds.push_back(values(parameters_));
    d = last_ = f_(parameters_, point, &derivatives);
  }
  void distance(double& d, int point) override {
    ++distance_calls;
    d = last_ = f_(parameters_, point, nullptr);
  }
  double get_last_square_distance() const override {
    ++square_calls;
    return 4.0 * (last_ * last_);
  }
  int n_independent_parameters() const override { return independent; }
  void parameter_scales(mlVector& s) const override { s.become(utCopy, vec(scales)); }

  void set_points(int m) { become(n_parameters(), m); }
  const mlVector& current() const { return parameters_; }
  // The sum of d^2 over the points at p, ascending.
  double sum_of_squares(const mlVector& p) const {
    double s = 0.0;
    for (int k = 0; k < n_points(); ++k)
      s += f_(p, k, nullptr) * f_(p, k, nullptr);
    return s;
  }

  // Normalisation to |p0|, the independent-parameter count and the scales.
  bool absolute_first = false;
  int independent = 2;
  std::vector<double> scales = {1.0, 1.0};
  int derivative_calls = 0, distance_calls = 0;
  mutable int square_calls = 0;
  std::vector<std::vector<double>> builds;

 private:
  Distance f_;
  double last_ = 0.0;
};

class Fitter : public mlLevenbergMarquardt {
 public:
  using mlLevenbergMarquardt::calc_derivs;
  using mlLevenbergMarquardt::calc_matrices;
  using mlLevenbergMarquardt::mlLevenbergMarquardt;
  using mlLevenbergMarquardt::update_pars;
  const mlMatrix& alpha() const { return alpha_; }
  const mlVector& beta() const { return beta_; }
  double chi_square() const { return chi_square_; }
};

// d_k = a + b t_k - y_k: a straight line through the points (t_k, y_k).
Distance line(std::vector<double> t, std::vector<double> y) {
  return [t = std::move(t), y = std::move(y)](const mlVector& p, int k, mlVector* g) {
    if (g != nullptr) *g = vec({1.0, t[k]});
    return p[0] + p[1] * t[k] - y[k];
  };
}

// d_k = A exp(-r t_k) - y_k, for p = (A, r).
Distance decay(std::vector<double> t, std::vector<double> y) {
  return [t = std::move(t), y = std::move(y)](const mlVector& p, int k, mlVector* g) {
    const double e = std::exp(-p[1] * t[k]);
    if (g != nullptr) *g = vec({e, -p[0] * t[k] * e});
    return p[0] * e - y[k];
  };
}

TEST(mlLevenbergMarquardt, BuildsAndSolvesTheDampedNormalEquations) {
  const std::vector<double> t = {0.5, 1.25, 3.0}, y = {1.1, 0.7, -0.3};
  ModelProblem problem(2, 3, line(t, y));
  Fitter fitter(problem);
  mlVector p = vec({0.3, -0.2});
  fitter.calc_matrices(p);
  double alpha[2][2] = {{0.0, 0.0}, {0.0, 0.0}}, beta[2] = {0.0, 0.0}, chi = 0.0;
  const auto kept = [&] {
    return same_bits(fitter.alpha().data(), &alpha[0][0], 4) &&
           same_bits(fitter.beta().data(), beta, 2);
  };
  for (std::size_t k = 0; k < 3; ++k) {
    const double g[2] = {1.0, t[k]}, d = p[0] + p[1] * t[k] - y[k];
    for (int j = 0; j < 2; ++j) {
      beta[j] -= d * g[j];
      for (int l = 0; l < 2; ++l)
        alpha[j][l] += g[l] * g[j];
    }
    chi += d * d;
  }
  EXPECT_TRUE(kept());
  EXPECT_EQ(fitter.chi_square(), chi);

  // One step with lambda 0.25: each diagonal element a becomes a + (a + 1) 0.25, so that a zero
  // diagonal is damped too; afterwards alpha is undamped again.
  mlMatrix damped(utConvert, &alpha[0][0], 2, 2);
  for (int j = 0; j < 2; ++j)
    damped(j, j) = alpha[j][j] + (alpha[j][j] + 1.0) * 0.25;
  mlVector delta;
  mlCholeskyDecomposition(damped).solve(vec({beta[0], beta[1]}), delta);
  const mlVector expected = vec({p[0] + delta[0], p[1] + delta[1]});
  EXPECT_EQ(fitter.update_pars(0.25, p), problem.sum_of_squares(expected));
  EXPECT_TRUE(same_bits(p.data(), expected.data(), 2));
  EXPECT_TRUE(same_bits(problem.current().data(), expected.data(), 2));
  EXPECT_TRUE(kept());
  EXPECT_EQ(problem.distance_calls, 3);

  // The half-gradient of S is -beta.
  mlVector gradient;
  fitter.calc_derivs(vec({0.3, -0.2}), gradient);
  EXPECT_EQ(values(gradient), (std::vector<double>{-beta[0], -beta[1]}));

  // Without points alpha and beta keep their contents.
  problem.set_points(0);
  fitter.calc_matrices(p);
  EXPECT_TRUE(kept());
  EXPECT_EQ(fitter.chi_square(), 0.0);
}

TEST(mlLevenbergMarquardt, EndsByTheDampingScheduleAndReturnsTheMeanSquareOfTheLastBuild) {
  // An exact solution as the start: no trial gives S < 0, lambda climbs from 4e-5 by tens to
  // 4e10 in 16 trials and the fit ends in its first iteration.
  ModelProblem exact(2, 4, line({0.0, 1.0, 2.0, 3.0}, {1.0, 3.0, 5.0, 7.0}));
  mlVector result;
  EXPECT_EQ(mlLevenbergMarquardt(exact).fit(vec({1.0, 2.0}), result), 0.0);
  EXPECT_EQ(values(result), (std::vector<double>{1.0, 2.0}));
  EXPECT_EQ(exact.derivative_calls, 4);
  EXPECT_EQ(exact.distance_calls, 16 * 4);

  ModelProblem problem(2, 5, line({0.0, 1.0, 2.0, 3.0, 4.0}, {0.9, 3.2, 4.8, 7.1, 9.05}));
  const double mean_square = mlLevenbergMarquardt(problem).fit(vec({0.0, 0.0}), result);
  // The least-squares line: slope 20.2 / 10 = 2.02, intercept 5.01 - 2 * 2.02 = 0.97.
  EXPECT_TRUE(std::fabs(result[0] - 0.97) < 1e-13 && std::fabs(result[1] - 2.02) < 1e-13);
  // Five steps are accepted (the first, damped, lands near the solution but not on it; the last
  // by rounding alone); in the sixth build no trial lowers S and lambda climbs above 1e10.
  ASSERT_EQ(problem.builds.size(), 6u);
  EXPECT_GT(std::fabs(problem.builds[1][0] - 0.97), 1e-4);
  EXPECT_EQ(problem.distance_calls, (5 + 18) * 5);
  // Kept so: S at the last build divided by m, not S at the result.
  EXPECT_EQ(mean_square, problem.sum_of_squares(vec(problem.builds.back())) / 5);
  EXPECT_NEAR(mean_square, problem.sum_of_squares(result) / 5, 1e-15);

  // With the precise squared distance 4 d^2, S scales by exactly 4: every decision and every
  // parameter is as with d^2.
  ModelProblem precise(2, 5, line({0.0, 1.0, 2.0, 3.0, 4.0}, {0.9, 3.2, 4.8, 7.1, 9.05}), 1);
  mlVector precise_result;
  EXPECT_EQ(mlLevenbergMarquardt(precise).fit(vec({0.0, 0.0}), precise_result), 4.0 * mean_square);
  EXPECT_TRUE(same_bits(result.data(), precise_result.data(), 2));
  EXPECT_EQ(problem.square_calls, 0);
  EXPECT_EQ(precise.square_calls, precise.derivative_calls + precise.distance_calls);
}

// One parameter and one point whose distance and derivative are 1 at every matrix build
// (S = 1, alpha = 1, beta = -1), and whose trials follow a script: iteration i accepts its
// trial accept_at[i], counting from 1 (d = 0.5, S = 0.25), and every other trial gives S = 1
// again, which is not lower. Iterations past the script accept their first trial when
// accept_after is set and no trial otherwise. Normalisation records each parameter vector it
// is given, the start and then every trial (a step from 0 that depends on lambda alone), and
// puts the parameter back to 0.
class ScriptedProblem : public mlDistanceLeastSquares {
 public:
  ScriptedProblem(std::vector<int> accept_at, bool accept_after)
      : mlDistanceLeastSquares(1, 1),
        accept_at_(std::move(accept_at)),
        accept_after_(accept_after) {}

  void normalise_parameters(mlVector& p) override {
    steps.push_back(p[0]);
    p[0] = 0.0;
  }
  void distance_and_derivatives(double& d, mlVector& derivatives, int) override {
    trials.push_back(0);
    d = 1.0;
    derivatives[0] = 1.0;
  }
  void distance(double& d, int) override {
    const std::size_t i = trials.size() - 1;
    const int trial = ++trials.back();
    const int at = i < accept_at_.size() ? accept_at_[i] : (accept_after_ ? 1 : 0);
    d = trial == at ? 0.5 : 1.0;
  }

  // The number of trials of each matrix build, and the recorded parameters.
  std::vector<int> trials;
  std::vector<double> steps;

 private:
  std::vector<int> accept_at_;
  bool accept_after_;
};

// The accepted trials of a fit of n iterations: the first 11 accept their first trial, then
// the second trial in two of every five, which keeps lambda at the convergence test between
// 1.6e-10 and 4e-6 (the damping falls by 0.04 * 10 per accepted first trial and rises by 0.04
// * 100 per second one). With `one_fewer` the last iteration that would accept its second trial
// accepts its first.
std::vector<int> slow_schedule(int n, bool one_fewer) {
  std::vector<int> accept_at;
  for (int i = 0; i < n; ++i)
    accept_at.push_back(i >= 11 && ((i - 11) % 5 == 0 || (i - 11) % 5 == 2) ? 2 : 1);
  for (int i = n - 1; one_fewer && i >= 0; --i) {
    if (accept_at[i] == 2) {
      accept_at[i] = 1;
      break;
    }
  }
  return accept_at;
}

int sum(const std::vector<int>& v) {
  int s = 0;
  for (int x : v)
    s += x;
  return s;
}

TEST(mlLevenbergMarquardt, DampsByTheScheduleItsConstantsGiveToTheBit) {
  // Iteration 0 accepts its first trial, iteration 1 its third, iteration 2 none: lambda starts
  // at 1e-4, falls by 0.04 before each build and rises by 10 before each trial. The last
  // iteration starts at 6.4e-5 and ends at 6.4e10, the first damping above 1e10.
  ScriptedProblem problem({1, 3}, false);
  mlVector result;
  EXPECT_EQ(mlLevenbergMarquardt(problem).fit(vec({0.0}), result), 1.0);
  EXPECT_EQ(values(result), (std::vector<double>{0.0}));
  EXPECT_EQ(problem.trials, (std::vector<int>{1, 3, 15}));
  std::vector<double> steps = {0.0};
  double lambda = 1e-4;
  for (int trials : problem.trials) {
    lambda = lambda * 0.04;
    for (int t = 0; t < trials; ++t) {
      lambda = lambda * 10.0;
      // The damped system (1 + (1 + 1) lambda) delta = -1.
      mlVector delta;
      mlCholeskyDecomposition(mat(1, 1, {1.0 + (1.0 + 1.0) * lambda})).solve(vec({-1.0}), delta);
      steps.push_back(delta[0]);
    }
  }
  EXPECT_TRUE(lambda > 1e10 && lambda / 10.0 <= 1e10) << lambda;
  ASSERT_EQ(problem.steps.size(), steps.size());
  EXPECT_TRUE(same_bits(problem.steps.data(), steps.data(), static_cast<int>(steps.size())));
}

TEST(mlLevenbergMarquardt, EndsWhereTheDampingCrossesItsLimitsOrTheIterationsRunOut) {
  // The damping at the convergence test is 1e-4 * 0.04^(k + 1) * 10^T in iteration k after T
  // trials, and 10 times more after each further trial. The cases put it just either side of
  // the limits: a fit converges when it falls below 1e-10 at the test, and fails when a trial
  // lifts it above 1e10, which at most 20 trials do (the test lets nothing below 1e-10 into the
  // trials).
  struct Case {
    const char* name;
    std::vector<int> accept_at;
    bool accept_after;
    int builds, trials, last_trials;
  };
  const Case cases[] = {
      // Every first trial accepted: 1.68e-10 at k = 11 goes on, 6.7e-11 at k = 12 converges.
      {"converges", {}, true, 12, 12, 1},
      // 9.936e-11 at k = 386 converges.
      {"converges just below", slow_schedule(386, true), true, 386, 535, 1},
      // 1.0043e-10 at k = 97 goes on.
      {"goes on just above", slow_schedule(97, true), true, 98, 132, 1},
      // From 1.024e-7 at k = 4, the 17th trial reaches 1.024e10 and fails.
      {"fails", {1, 1, 1, 1}, false, 5, 21, 17},
      // From 9.936e-10 at k = 386, 9.936e9 is no failure: the 20th trial fails at 9.936e10.
      {"fails after 20 trials", slow_schedule(386, false), false, 387, 556, 20},
      // From 1.0043e-9 at k = 97, the 19th trial fails at 1.0043e10.
      {"fails just above", slow_schedule(97, false), false, 98, 151, 19},
  };
  for (const Case& c : cases) {
    ScriptedProblem problem(c.accept_at, c.accept_after);
    mlVector result;
    mlLevenbergMarquardt(problem).fit(vec({0.0}), result);
    EXPECT_EQ(static_cast<int>(problem.trials.size()), c.builds) << c.name;
    EXPECT_EQ(sum(problem.trials), c.trials) << c.name;
    EXPECT_EQ(problem.trials.back(), c.last_trials) << c.name;
  }

  // Iterations accepting their first, second, first, second and first trial (the damping grows
  // by 1.024 in five) never reach either limit: the fit ends after 500 builds.
  std::vector<int> accept_at;
  for (int i = 0; i < 600; ++i)
    accept_at.push_back(i % 5 == 1 || i % 5 == 3 ? 2 : 1);
  ScriptedProblem long_fit(accept_at, false);
  mlVector result;
  mlLevenbergMarquardt(long_fit).fit(vec({0.0}), result);
  EXPECT_EQ(long_fit.trials.size(), 500u);
  EXPECT_EQ(long_fit.trials, std::vector<int>(accept_at.begin(), accept_at.begin() + 500));
}

TEST(mlLevenbergMarquardt, ConsultsThePreciseSquaredDistanceOnlyWhenItsFlagIsOne) {
  // Any flag other than 1 means d^2, exactly as 0 does.
  const std::vector<double> t = {0.0, 1.0, 2.0, 3.0, 4.0}, y = {0.9, 3.2, 4.8, 7.1, 9.05};
  ModelProblem plain(2, 5, line(t, y)), flagged(2, 5, line(t, y), 2);
  mlVector plain_result, flagged_result;
  EXPECT_EQ(mlLevenbergMarquardt(flagged).fit(vec({0.0, 0.0}), flagged_result),
            mlLevenbergMarquardt(plain).fit(vec({0.0, 0.0}), plain_result));
  EXPECT_TRUE(same_bits(plain_result.data(), flagged_result.data(), 2));
  EXPECT_EQ(flagged.square_calls, 0);
  EXPECT_EQ(flagged.distance_calls, plain.distance_calls);
}

TEST(mlLevenbergMarquardtDistance, RatesThePointsByTheScaledHessianOfTheIndependentParameters) {
  // A exp(-r t) against data it does not match: the term d * d2d/dp2 matters. Compared with the
  // analytic Hessian of S / 2 divided by the scales; the first parameter is normalised to its
  // absolute value, and the problem is left there.
  const std::vector<double> t = {0.0, 0.5, 1.0, 1.5, 2.0}, y = {1.0, 0.2, 0.9, 0.1, 0.5};
  ModelProblem problem(2, 5, decay(t, y));
  problem.scales = {2.0, 0.5};
  problem.absolute_first = true;
  const double a = 1.2, rate = 0.7;
  mlMatrix h(mlMatrixZero, 2, 2);
  for (std::size_t k = 0; k < t.size(); ++k) {
    const double e = std::exp(-rate * t[k]), d = a * e - y[k];
    const double g[2] = {e, -a * t[k] * e};
    const double dd[2][2] = {{0.0, -t[k] * e}, {-t[k] * e, a * t[k] * t[k] * e}};
    for (int j = 0; j < 2; ++j)
      for (int l = 0; l < 2; ++l)
        h(j, l) += (d * dd[j][l] + g[l] * g[j]) / (problem.scales[j] * problem.scales[l]);
  }
  const mlSingularValueDecomposition svd(h);
  EXPECT_NEAR(problem.point_distribution_quality(vec({-a, rate})),
              std::sqrt(svd.diagonal()[1] / svd.diagonal()[0]), 1e-5);
  EXPECT_EQ(values(problem.current()), (std::vector<double>{a, rate}));
  problem.independent = 1;
  EXPECT_EQ(problem.point_distribution_quality(vec({a, rate})), 1.0);

  // Distances that do not depend on the parameters: an all-zero Hessian.
  ModelProblem flat(2, 4, [](const mlVector&, int, mlVector* g) {
    if (g != nullptr) *g = vec({0.0, 0.0});
    return 0.5;
  });
  EXPECT_EQ(flat.point_distribution_quality(vec({1.0, 2.0})), 0.0);
  // Without parameters there is no singular value at all: rated as the all-zero Hessian.
  ModelProblem none(0, 3, [](const mlVector&, int, mlVector*) { return 0.5; });
  none.scales = {};
  none.independent = 0;
  EXPECT_EQ(none.point_distribution_quality(mlVector()), 0.0);
  // The defaults: every parameter independent, scales 1, no precise squared distance.
  mlVector scales;
  flat.mlDistanceLeastSquares::parameter_scales(scales);
  EXPECT_TRUE(flat.mlDistanceLeastSquares::n_independent_parameters() == 2 &&
              values(scales) == (std::vector<double>{1.0, 1.0}) &&
              flat.mlDistanceLeastSquares::get_last_square_distance() == DBL_MAX);
}

TEST(mlLevenbergMarquardtDistance, DifferencesTheDerivativesWithAStepOf1eMinus5) {
  // One point at distance 1 whose derivatives are (p0^2 / 2, 1), at p = (0, 0.3): the forward
  // difference of the first derivative is step / 2 where the true second derivative is 0, the
  // second derivative is constant and differences to 0, and the products of the derivatives add
  // only 1 to the second diagonal element. The Hessian is diag(step / 2, 1), and the rating
  // sqrt(step / 2).
  ModelProblem problem(2, 1, [](const mlVector& p, int, mlVector* g) {
    if (g != nullptr) *g = vec({p[0] * p[0] / 2.0, 1.0});
    return 1.0;
  });
  EXPECT_NEAR(problem.point_distribution_quality(vec({0.0, 0.3})), std::sqrt(1e-5 / 2.0), 1e-15);
}

#if !defined(PASKOSDA_CHECKED)
TEST(mlLevenbergMarquardtDistance, RatesZeroForAnIndependentCountThatNamesNoSingularValue) {
  // Unchecked, a count outside 1 ... n gives 0.0 rather than a read outside the singular
  // values; 1 and 2 rate the same problem as usual.
  const std::vector<double> t = {0.0, 0.5, 1.0, 1.5, 2.0}, y = {1.0, 0.2, 0.9, 0.1, 0.5};
  ModelProblem problem(2, 5, decay(t, y));
  for (int independent : {0, 3, -1}) {
    problem.independent = independent;
    EXPECT_EQ(problem.point_distribution_quality(vec({1.2, 0.7})), 0.0) << independent;
  }
  problem.independent = 1;
  EXPECT_EQ(problem.point_distribution_quality(vec({1.2, 0.7})), 1.0);
  problem.independent = 2;
  EXPECT_GT(problem.point_distribution_quality(vec({1.2, 0.7})), 0.0);
}
#endif

}  // namespace
