#include "optim/mlLevenbergMarquardt.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <functional>
#include <utility>
#include <vector>

#include "decomp/mlCholeskyDecomposition.h"
#include "decomp/mlSingularValueDecomposition.h"
#include "linalg/mlRandom.h"
#include "support/test_support.h"

namespace {

using paskosda_test::same_bits;
using paskosda_test::values;
using paskosda_test::vec;

// A model given by the distance of point k at parameters p, which also fills the derivatives
// when asked. Counts the calls made to it and records the parameters of every matrix build
// (each call for point 0 with derivatives).
class ModelProblem : public mlDistanceLeastSquares {
 public:
  using Distance = std::function<double(const mlVector& p, int k, mlVector* derivatives)>;

  ModelProblem(int n, int m, Distance distance)
      : mlDistanceLeastSquares(n, m), f_(std::move(distance)) {}

  void normalise_parameters(mlVector& p) override {
    if (normalise) normalise(p);
  }
  void distance_and_derivatives(double& d, mlVector& derivatives, int point) override {
    ++derivative_calls;
    if (point == 0) builds.push_back(values(parameters_));
    d = f_(parameters_, point, &derivatives);
    last_ = d;
  }
  void distance(double& d, int point) override {
    ++distance_calls;
    d = f_(parameters_, point, nullptr);
    last_ = d;
  }
  double get_last_square_distance() const override {
    ++square_calls;
    return 4.0 * (last_ * last_);
  }
  int n_independent_parameters() const override {
    return independent > 0 ? independent : mlDistanceLeastSquares::n_independent_parameters();
  }
  void parameter_scales(mlVector& s) const override {
    mlDistanceLeastSquares::parameter_scales(s);
    for (int j = 0; j < static_cast<int>(scales.size()); ++j)
      s[j] = scales[static_cast<std::size_t>(j)];
  }

  void set_precise(int flag) { precise_square_distance_ = flag; }
  void set_points(int m) { become(n_parameters(), m); }
  const mlVector& current() const { return parameters_; }

  /// The sum of d^2 over the points at p, ascending.
  double sum_of_squares(const mlVector& p) const {
    double s = 0.0;
    for (int k = 0; k < n_points(); ++k) {
      const double d = f_(p, k, nullptr);
      s += d * d;
    }
    return s;
  }

  std::function<void(mlVector&)> normalise;
  int independent = 0;
  std::vector<double> scales;
  int derivative_calls = 0;
  int distance_calls = 0;
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

// d_k = a + b t_k - y_k: a straight line through points (t_k, y_k).
ModelProblem::Distance line(std::vector<double> t, std::vector<double> y) {
  return [t = std::move(t), y = std::move(y)](const mlVector& p, int k, mlVector* g) {
    const double tk = t[static_cast<std::size_t>(k)];
    if (g != nullptr) {
      (*g)[0] = 1.0;
      (*g)[1] = tk;
    }
    return p[0] + p[1] * tk - y[static_cast<std::size_t>(k)];
  };
}

// The least-squares line through the points, from the 2 by 2 normal equations.
std::vector<double> least_squares_line(const std::vector<double>& t, const std::vector<double>& y) {
  double m = 0.0, st = 0.0, sy = 0.0, stt = 0.0, sty = 0.0;
  for (std::size_t k = 0; k < t.size(); ++k) {
    m += 1.0;
    st += t[k];
    sy += y[k];
    stt += t[k] * t[k];
    sty += t[k] * y[k];
  }
  const double b = (m * sty - st * sy) / (m * stt - st * st);
  return {(sy - b * st) / m, b};
}

TEST(LevenbergMarquardt, BuildsAndSolvesTheDampedNormalEquations) {
  const std::vector<double> t = {0.5, 1.25, 3.0};
  const std::vector<double> y = {1.1, 0.7, -0.3};
  ModelProblem problem(2, 3, line(t, y));
  Fitter fitter(problem);
  mlVector p = vec({0.3, -0.2});
  fitter.calc_matrices(p);

  double alpha[2][2] = {{0.0, 0.0}, {0.0, 0.0}};
  double beta[2] = {0.0, 0.0};
  double chi = 0.0;
  for (int k = 0; k < 3; ++k) {
    const double g[2] = {1.0, t[static_cast<std::size_t>(k)]};
    const double d = p[0] + p[1] * g[1] - y[static_cast<std::size_t>(k)];
    for (int j = 0; j < 2; ++j) {
      beta[j] -= d * g[j];
      for (int l = 0; l < 2; ++l)
        alpha[j][l] += g[l] * g[j];
    }
    chi += d * d;
  }
  EXPECT_TRUE(same_bits(fitter.alpha().data(), &alpha[0][0], 4));
  EXPECT_TRUE(same_bits(fitter.beta().data(), beta, 2));
  EXPECT_EQ(fitter.chi_square(), chi);

  // One step with lambda 0.25: each diagonal element a becomes a + (a + 1) 0.25.
  const double lambda = 0.25;
  mlMatrix damped(utConvert, &alpha[0][0], 2, 2);
  for (int j = 0; j < 2; ++j)
    damped(j, j) = alpha[j][j] + (alpha[j][j] + 1.0) * lambda;
  mlVector delta;
  mlCholeskyDecomposition(damped).solve(vec({beta[0], beta[1]}), delta);
  const mlVector expected = vec({p[0] + delta[0], p[1] + delta[1]});
  const double s = fitter.update_pars(lambda, p);
  EXPECT_TRUE(same_bits(p.data(), expected.data(), 2));
  EXPECT_EQ(s, problem.sum_of_squares(expected));
  EXPECT_TRUE(same_bits(problem.current().data(), expected.data(), 2));
  // The diagonal is restored afterwards.
  EXPECT_TRUE(same_bits(fitter.alpha().data(), &alpha[0][0], 4));
  EXPECT_EQ(problem.distance_calls, 3);

  // The half-gradient of S is -beta.
  mlVector gradient;
  fitter.calc_derivs(vec({0.3, -0.2}), gradient);
  EXPECT_EQ(values(gradient), (std::vector<double>{-beta[0], -beta[1]}));

  // Without points nothing is zeroed: alpha and beta keep their contents.
  problem.set_points(0);
  mlVector q = vec({5.0, 5.0});
  fitter.calc_matrices(q);
  EXPECT_TRUE(same_bits(fitter.alpha().data(), &alpha[0][0], 4));
  EXPECT_TRUE(same_bits(fitter.beta().data(), beta, 2));
  EXPECT_EQ(fitter.chi_square(), 0.0);
}

TEST(LevenbergMarquardt, StopsWithTheStartWhenItIsAnExactSolution) {
  // chi_square is 0 and no trial gives S < 0: lambda climbs from 4e-5 by tens to 4e10 in 16
  // trials and the fit ends in its first iteration.
  ModelProblem problem(2, 4, line({0.0, 1.0, 2.0, 3.0}, {1.0, 3.0, 5.0, 7.0}));
  mlLevenbergMarquardt fitter(problem);
  mlVector result;
  EXPECT_EQ(fitter.fit(vec({1.0, 2.0}), result), 0.0);
  EXPECT_EQ(values(result), (std::vector<double>{1.0, 2.0}));
  EXPECT_EQ(problem.derivative_calls, 4);
  EXPECT_EQ(problem.distance_calls, 16 * 4);
  EXPECT_EQ(problem.square_calls, 0);
}

TEST(LevenbergMarquardt, TakesSeveralDampedStepsOnALinearProblem) {
  const std::vector<double> t = {0.0, 1.0, 2.0, 3.0, 4.0};
  const std::vector<double> y = {0.9, 3.2, 4.8, 7.1, 9.05};
  ModelProblem problem(2, 5, line(t, y));
  mlLevenbergMarquardt fitter(problem);
  mlVector result;
  const double mean_square = fitter.fit(vec({0.0, 0.0}), result);

  const std::vector<double> exact = least_squares_line(t, y);
  EXPECT_NEAR(result[0], exact[0], 1e-13);
  EXPECT_NEAR(result[1], exact[1], 1e-13);
  // The first step, damped with lambda 4e-5, lands near the solution but not on it: further
  // accepted steps follow before no trial lowers S any more.
  // Here five steps are accepted, the last of them by rounding alone; in the sixth build no
  // trial lowers S and lambda climbs above 1e10 (5 + 18 trials in all).
  ASSERT_EQ(problem.builds.size(), 6u);
  EXPECT_GT(std::fabs(problem.builds[1][0] - exact[0]), 1e-4);
  EXPECT_EQ(problem.distance_calls, 23 * 5);
  // The mean square returned is S at the last matrix build divided by m, not S at the result.
  const mlVector last_build = vec(problem.builds.back());
  EXPECT_EQ(mean_square, problem.sum_of_squares(last_build) / 5);
  EXPECT_NEAR(mean_square, problem.sum_of_squares(result) / 5, 1e-15);
}

TEST(LevenbergMarquardt, UsesThePreciseSquareDistanceWhenFlagged) {
  // The problem's exact squared distance is 4 d^2 here: S and chi_square scale by exactly 4,
  // so every decision and every parameter is the same as with d^2.
  const std::vector<double> t = {0.0, 1.0, 2.0, 3.0};
  const std::vector<double> y = {1.0, 2.5, 2.9, 4.4};
  ModelProblem plain(2, 4, line(t, y));
  ModelProblem precise(2, 4, line(t, y));
  precise.set_precise(1);
  EXPECT_EQ(plain.have_precise_square_distance(), 0);
  EXPECT_EQ(precise.have_precise_square_distance(), 1);
  mlVector r0;
  mlVector r1;
  const double v0 = mlLevenbergMarquardt(plain).fit(vec({0.0, 0.0}), r0);
  const double v1 = mlLevenbergMarquardt(precise).fit(vec({0.0, 0.0}), r1);
  EXPECT_EQ(v1, 4.0 * v0);
  EXPECT_TRUE(same_bits(r0.data(), r1.data(), 2));
  EXPECT_EQ(plain.square_calls, 0);
  EXPECT_EQ(precise.square_calls, precise.derivative_calls + precise.distance_calls);
}

struct CurveFit {
  const char* name;
  int n;
  int m;
  ModelProblem::Distance distance;
  std::function<void(mlVector&)> normalise;
  std::vector<double> start;
  std::vector<double> truth;
  double tolerance;  // on the parameters, set by the noise
};

std::vector<CurveFit> curve_fits() {
  mlRandom random(20240611);
  // Exponential decay A exp(-k t), noise 1e-3.
  std::vector<double> te, ye;
  for (int k = 0; k < 30; ++k) {
    te.push_back(0.2 * k);
    ye.push_back(2.5 * std::exp(-1.3 * te.back()) + random.uniform(-1e-3, 1e-3));
  }
  // Gaussian peak a exp(-(t - mu)^2 / (2 s^2)), noise free.
  std::vector<double> tg, yg;
  for (int k = 0; k < 41; ++k) {
    tg.push_back(-2.0 + 0.1 * k);
    const double u = (tg.back() - 0.3) / 0.45;
    yg.push_back(1.7 * std::exp(-0.5 * u * u));
  }
  // Circle of centre (1, -2) and radius 3, points jittered by 1e-3 off it.
  std::vector<double> xc, yc;
  for (int k = 0; k < 16; ++k) {
    const double a = 0.4 * k;
    const double r = 3.0 + random.uniform(-1e-3, 1e-3);
    xc.push_back(1.0 + r * std::cos(a));
    yc.push_back(-2.0 + r * std::sin(a));
  }
  return {
      {"exponential decay",
       2,
       30,
       [te, ye](const mlVector& p, int k, mlVector* g) {
         const double t = te[static_cast<std::size_t>(k)];
         const double e = std::exp(-p[1] * t);
         if (g != nullptr) {
           (*g)[0] = e;
           (*g)[1] = -p[0] * t * e;
         }
         return p[0] * e - ye[static_cast<std::size_t>(k)];
       },
       nullptr,
       {1.0, 0.5},
       {2.5, 1.3},
       2e-3},
      {"Gaussian peak",
       3,
       41,
       [tg, yg](const mlVector& p, int k, mlVector* g) {
         const double t = tg[static_cast<std::size_t>(k)];
         const double u = (t - p[1]) / p[2];
         const double e = std::exp(-0.5 * u * u);
         if (g != nullptr) {
           (*g)[0] = e;
           (*g)[1] = p[0] * e * u / p[2];
           (*g)[2] = p[0] * e * u * u / p[2];
         }
         return p[0] * e - yg[static_cast<std::size_t>(k)];
       },
       [](mlVector& p) { p[2] = std::fabs(p[2]); },
       {1.0, 0.0, -0.7},
       {1.7, 0.3, 0.45},
       1e-9},
      {"circle (distance)",
       3,
       16,
       [xc, yc](const mlVector& p, int k, mlVector* g) {
         const double dx = xc[static_cast<std::size_t>(k)] - p[0];
         const double dy = yc[static_cast<std::size_t>(k)] - p[1];
         const double rho = std::sqrt(dx * dx + dy * dy);
         if (g != nullptr) {
           (*g)[0] = -dx / rho;
           (*g)[1] = -dy / rho;
           (*g)[2] = -1.0;
         }
         return rho - p[2];
       },
       [](mlVector& p) { p[2] = std::fabs(p[2]); },
       {0.0, 0.0, -1.0},
       {1.0, -2.0, 3.0},
       2e-3},
  };
}

TEST(LevenbergMarquardt, FitsCurvesToSyntheticData) {
  for (const CurveFit& c : curve_fits()) {
    SCOPED_TRACE(c.name);
    ModelProblem problem(c.n, c.m, c.distance);
    problem.normalise = c.normalise;
    Fitter fitter(problem);
    mlVector result;
    const double mean_square = fitter.fit(vec(c.start), result);
    for (int j = 0; j < c.n; ++j)
      EXPECT_NEAR(result[j], c.truth[static_cast<std::size_t>(j)], c.tolerance) << j;
    // A stationary point of S, with the mean square close to S there.
    mlVector gradient;
    fitter.calc_derivs(result, gradient);
    EXPECT_LT(gradient.max_absolute_value(), 1e-9);
    const double s = problem.sum_of_squares(result);
    EXPECT_NEAR(mean_square, s / c.m, 1e-9 * (s / c.m) + 1e-28);
  }
}

// A circle of radius 2 about the origin, m points on it at the angles a0 + k step.
ModelProblem circle(int m, double a0, double step) {
  return ModelProblem(3, m, [a0, step](const mlVector& p, int k, mlVector* g) {
    const double a = a0 + step * k;
    const double dx = 2.0 * std::cos(a) - p[0];
    const double dy = 2.0 * std::sin(a) - p[1];
    const double rho = std::sqrt(dx * dx + dy * dy);
    if (g != nullptr) {
      (*g)[0] = -dx / rho;
      (*g)[1] = -dy / rho;
      (*g)[2] = -1.0;
    }
    return rho - p[2];
  });
}

TEST(DistanceLeastSquares, RatesHowWellThePointsDetermineTheParameters) {
  // Evenly spread over the whole circle, J^T J = diag(m/2, m/2, m): quality sqrt(1/2).
  ModelProblem spread = circle(12, 0.1, 2.0 * 3.14159265358979323846 / 12);
  EXPECT_NEAR(spread.point_distribution_quality(vec({0.0, 0.0, 2.0})), std::sqrt(0.5), 1e-9);
  // On an arc of 10 degrees the centre and the radius are hardly told apart.
  ModelProblem arc = circle(12, 0.1, 0.015);
  EXPECT_LT(arc.point_distribution_quality(vec({0.0, 0.0, 2.0})), 1e-3);
  // The problem is left at the normalised parameters.
  arc.normalise = [](mlVector& p) { p[2] = std::fabs(p[2]); };
  arc.point_distribution_quality(vec({0.0, 0.0, -2.0}));
  EXPECT_EQ(values(arc.current()), (std::vector<double>{0.0, 0.0, 2.0}));
}

TEST(DistanceLeastSquares, ScalesTheHessianAndSkipsDependentParameters) {
  // d = (a1 + a2) + b t - y is linear, so the difference quotients are exactly 0 and H is
  // J^T J summed in point order; a1 and a2 cannot be told apart.
  const std::vector<double> t = {0.0, 1.0, 2.5};
  ModelProblem problem(3, 3, [t](const mlVector& p, int k, mlVector* g) {
    const double tk = t[static_cast<std::size_t>(k)];
    if (g != nullptr) {
      (*g)[0] = 1.0;
      (*g)[1] = 1.0;
      (*g)[2] = tk;
    }
    return p[0] + p[1] + p[2] * tk - 1.0;
  });
  problem.scales = {2.0, 0.5, 4.0};
  mlMatrix h(mlMatrixZero, 3, 3);
  for (int k = 0; k < 3; ++k) {
    const double g[3] = {1.0, 1.0, t[static_cast<std::size_t>(k)]};
    for (int j = 0; j < 3; ++j) {
      for (int l = 0; l < 3; ++l)
        h(j, l) += g[l] * g[j];
    }
  }
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j)
      h(i, j) = h(i, j) / (problem.scales[static_cast<std::size_t>(j)] *
                           problem.scales[static_cast<std::size_t>(i)]);
  }
  const mlSingularValueDecomposition svd(h);
  const mlVector& sigma = svd.diagonal();
  const mlVector p = vec({0.2, 0.1, 0.4});
  EXPECT_EQ(problem.point_distribution_quality(p), std::sqrt(sigma[2] / sigma[0]));
  EXPECT_LT(problem.point_distribution_quality(p), 1e-7);
  problem.independent = 2;
  EXPECT_EQ(problem.point_distribution_quality(p), std::sqrt(sigma[1] / sigma[0]));

  // Defaults of the base class.
  mlVector s = vec({7.0, 7.0, 7.0, 7.0, 7.0});
  problem.scales.clear();
  problem.parameter_scales(s);
  EXPECT_EQ(values(s), (std::vector<double>{1.0, 1.0, 1.0}));
  EXPECT_EQ(problem.mlDistanceLeastSquares::get_last_square_distance(), DBL_MAX);
  EXPECT_EQ(problem.mlDistanceLeastSquares::n_independent_parameters(), 3);

  // A model whose distances do not depend on the parameters has an all-zero Hessian.
  ModelProblem flat(2, 4, [](const mlVector&, int, mlVector* g) {
    if (g != nullptr) {
      (*g)[0] = 0.0;
      (*g)[1] = 0.0;
    }
    return 0.5;
  });
  EXPECT_EQ(flat.point_distribution_quality(vec({1.0, 2.0})), 0.0);
}

TEST(DistanceLeastSquares, IncludesTheResidualCurvatureInTheHessian) {
  // Away from the fit the term d * d2d/dp2 matters: compare with the analytic Hessian of S/2
  // for the exponential A exp(-k t) against data it does not match.
  const std::vector<double> t = {0.0, 0.5, 1.0, 1.5, 2.0};
  const std::vector<double> y = {1.0, 0.2, 0.9, 0.1, 0.5};
  ModelProblem problem(2, 5, [t, y](const mlVector& p, int k, mlVector* g) {
    const double e = std::exp(-p[1] * t[static_cast<std::size_t>(k)]);
    if (g != nullptr) {
      (*g)[0] = e;
      (*g)[1] = -p[0] * t[static_cast<std::size_t>(k)] * e;
    }
    return p[0] * e - y[static_cast<std::size_t>(k)];
  });
  const double a = 1.2, rate = 0.7;
  mlMatrix h(mlMatrixZero, 2, 2);
  for (std::size_t k = 0; k < t.size(); ++k) {
    const double e = std::exp(-rate * t[k]);
    const double d = a * e - y[k];
    const double g[2] = {e, -a * t[k] * e};
    const double dd[2][2] = {{0.0, -t[k] * e}, {-t[k] * e, a * t[k] * t[k] * e}};
    for (int j = 0; j < 2; ++j) {
      for (int l = 0; l < 2; ++l)
        h(j, l) += d * dd[j][l] + g[l] * g[j];
    }
  }
  const mlSingularValueDecomposition svd(h);
  const double expected = std::sqrt(svd.diagonal()[1] / svd.diagonal()[0]);
  EXPECT_NEAR(problem.point_distribution_quality(vec({a, rate})), expected, 1e-5);
}

}  // namespace
