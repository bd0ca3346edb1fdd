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
  // The defaults: every parameter independent, scales 1, no precise squared distance.
  mlVector scales;
  flat.mlDistanceLeastSquares::parameter_scales(scales);
  EXPECT_TRUE(flat.mlDistanceLeastSquares::n_independent_parameters() == 2 &&
              values(scales) == (std::vector<double>{1.0, 1.0}) &&
              flat.mlDistanceLeastSquares::get_last_square_distance() == DBL_MAX);
}

}  // namespace
