// Distinct objects on distinct threads: every family that keeps state (decompositions,
// minimisers, fitters) or solves in static functions gives on four threads at once exactly the
// bits it gives on one. Built with ThreadSanitizer, the same test also proves the absence of
// data races (the downhill simplex's call budget is the one class-wide value).

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <thread>
#include <vector>

#include "decomp/mlLUDecomposition.h"
#include "decomp/mlSingularValueDecomposition.h"
#include "optim/mlDownHillSimplex.h"
#include "optim/mlLevenbergMarquardt.h"
#include "optim/mlPowellMinimumSearch.h"
#include "roots/mlPolynomialSolver.h"
#include "support/classic_problems.h"
#include "support/test_support.h"

namespace {

using namespace paskosda_test;

class Rosenbrock : public mlFunctionN1 {
 public:
  Rosenbrock() : mlFunctionN1(2) {}
  double function(const mlSlice& x) const override { return rosenbrock(x); }
};

// y = a exp(b t) through 20 points with a seeded wobble.
class ExponentialFit : public mlDistanceLeastSquares {
 public:
  explicit ExponentialFit(long seed) : mlDistanceLeastSquares(2, 20) {
    mlRandom random(seed);
    for (int k = 0; k < 20; ++k)
      y_[k] = 2.5 * std::exp(-0.3 * (0.25 * k)) + random.uniform(-0.01, 0.01);
  }
  void normalise_parameters(mlVector&) override {}
  void distance_and_derivatives(double& d, mlVector& g, int k) override {
    const double t = 0.25 * k, e = std::exp(parameters_[1] * t);
    d = parameters_[0] * e - y_[k];
    g[0] = e;
    g[1] = parameters_[0] * t * e;
  }
  void distance(double& d, int k) override {
    d = parameters_[0] * std::exp(parameters_[1] * (0.25 * k)) - y_[k];
  }

 private:
  double y_[20];
};

// Every result of one worker's share, flattened to doubles in a fixed order.
std::vector<double> work(long seed) {
  std::vector<double> out;
  const auto keep = [&out](const double* x, int n) { out.insert(out.end(), x, x + n); };
  mlRandom random(seed);
  for (int round = 0; round < 60; ++round) {
    const int n = 3 + round % 6;
    const mlMatrix a = random_matrix(random, n, n);
    const mlVector b = vec(std::vector<double>(static_cast<std::size_t>(n), 1.0));
    const mlLUDecomposition lu(a);
    mlVector x;
    lu.solve(b, x);
    keep(x.data(), x.dimension());
    const double det = lu.determinant();
    keep(&det, 1);

    const mlSingularValueDecomposition svd(a);
    keep(svd.diagonal().data(), n);
    keep(svd.U().data(), n * n);
    keep(svd.inverse(1e-10).data(), n * n);

    double c[9], roots[8];
    for (double& ci : c)
      ci = random.uniform(-1.0, 1.0);
    const int count = mlPolynomialSolver::solve_polynomial_allroots(8, c, roots);
    keep(roots, count > 0 ? count : 0);
  }
  const Rosenbrock f;
  const double shift = random.uniform(-0.5, 0.5);
  mlDownHillSimplex simplex(2);
  const double low = simplex.solve(f, vec({-1.2 + shift, 1.0}), mlDownHillSimplexSlow);
  mlVector best;
  simplex.result(best);
  const double calls = simplex.number_of_calls();
  keep(&low, 1);
  keep(best.data(), 2);
  keep(&calls, 1);

  mlVector p = vec({-1.2, 1.0 + shift});
  mlMatrix directions(mlMatrixIdentity, 2);
  int iterations = 0;
  const double powell = ml_powell_minimum_search(p, directions, 1e-10, iterations, f);
  keep(&powell, 1);
  keep(p.data(), p.dimension());

  ExponentialFit problem(seed);
  mlLevenbergMarquardt fitter(problem);
  mlVector fitted;
  const double mean_square = fitter.fit(vec({1.0, shift}), fitted);
  keep(&mean_square, 1);
  keep(fitted.data(), 2);
  return out;
}

TEST(Threads, DistinctObjectsOnDistinctThreadsGiveTheSingleThreadBits) {
  constexpr int kThreads = 4;
  std::vector<std::vector<double>> alone(kThreads), together(kThreads);
  for (int t = 0; t < kThreads; ++t)
    alone[t] = work(100 + t);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t)
    threads.emplace_back([t, &together] { together[t] = work(100 + t); });
  for (std::thread& thread : threads)
    thread.join();
  for (int t = 0; t < kThreads; ++t) {
    ASSERT_EQ(alone[t].size(), together[t].size()) << t;
    EXPECT_TRUE(same_bits(alone[t].data(), together[t].data(), static_cast<int>(alone[t].size())))
        << "thread " << t;
  }
}

TEST(Threads, EachThreadHasItsOwnSimplexBudget) {
  mlDownHillSimplex::m_max = 7;
  int seen = 0;
  std::thread([&seen] { seen = mlDownHillSimplex::m_max; }).join();
  EXPECT_EQ(seen, 2000);  // a new thread starts with the budget the library loads with
  EXPECT_EQ(mlDownHillSimplex::m_max, 7);
  mlDownHillSimplex::m_max = 2000;
}

}  // namespace
