// Real roots of polynomials: mlPolynomialSolver against the closed forms of mlRootSolve
// (degrees 3 and 4) and, when Eigen is installed, its companion-matrix PolynomialSolver.
#include <benchmark/benchmark.h>

#include <vector>

#include "linalg/mlRandom.h"
#include "roots/mlPolynomial.h"
#include "roots/mlPolynomialSolver.h"
#include "roots/mlRootSolve.h"

#ifdef PASKOSDA_BENCH_EIGEN
#include <Eigen/Core>
#include <unsupported/Eigen/Polynomials>
#endif

namespace {

constexpr int kSetSize = 64;

// kSetSize polynomials of the given degree built from roots in [-10, 10): about half of the
// degree real roots, the rest complex pairs; lowest power first.
std::vector<std::vector<double>> polynomials(int degree, bool all_real) {
  mlRandom random(degree);
  std::vector<std::vector<double>> set;
  for (int k = 0; k < kSetSize; ++k) {
    std::vector<double> c{random.uniform(0.5, 2.0)};
    auto times = [&c](const std::vector<double>& f) {
      std::vector<double> out(c.size() + f.size() - 1);
      int d = 0;
      mlPolynomial::multiply(static_cast<int>(c.size()) - 1, c.data(),
                             static_cast<int>(f.size()) - 1, f.data(), d, out.data());
      c = out;
    };
    int left = degree;
    while (left > 0) {
      if (all_real || left == 1 || random.integer(2) == 0) {
        times({-random.uniform(-10.0, 10.0), 1.0});
        left -= 1;
      } else {
        const double re = random.uniform(-10.0, 10.0);
        const double im = random.uniform(0.1, 5.0);
        times({re * re + im * im, -2.0 * re, 1.0});
        left -= 2;
      }
    }
    set.push_back(c);
  }
  return set;
}

void BM_PolynomialSolver(benchmark::State& state) {
  const int degree = static_cast<int>(state.range(0));
  const auto set = polynomials(degree, state.range(1) != 0);
  std::vector<double> roots(degree);
  int k = 0;
  for (auto _ : state) {
    const std::vector<double>& c = set[k];
    k = (k + 1) % kSetSize;
    benchmark::DoNotOptimize(
        mlPolynomialSolver::solve_polynomial_allroots(degree, c.data(), roots.data()));
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations());
}
// (degree, all roots real)
BENCHMARK(BM_PolynomialSolver)
    ->Args({3, 1})
    ->Args({4, 1})
    ->Args({3, 0})
    ->Args({4, 0})
    ->Args({5, 0})
    ->Args({10, 0})
    ->Args({20, 0})
    ->Args({20, 1});

void BM_CubicSolve(benchmark::State& state) {
  const auto set = polynomials(3, state.range(0) != 0);
  double r1 = 0, r2 = 0, r3 = 0;
  int k = 0;
  for (auto _ : state) {
    const std::vector<double>& c = set[k];
    k = (k + 1) % kSetSize;
    benchmark::DoNotOptimize(mlRootSolve::cubic_solve(c[3], c[2], c[1], c[0], r1, r2, r3));
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_CubicSolve)->Arg(1)->Arg(0);

void BM_QuarticSolve(benchmark::State& state) {
  const auto set = polynomials(4, state.range(0) != 0);
  double r[4];
  int k = 0;
  for (auto _ : state) {
    const std::vector<double>& c = set[k];
    k = (k + 1) % kSetSize;
    benchmark::DoNotOptimize(
        mlRootSolve::quartic_solve(c[4], c[3], c[2], c[1], c[0], r[0], r[1], r[2], r[3]));
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_QuarticSolve)->Arg(1)->Arg(0);

#ifdef PASKOSDA_BENCH_EIGEN
// The companion matrix's eigenvalues (Hessenberg QR), then the real ones.
void BM_EigenPolynomialSolver(benchmark::State& state) {
  const int degree = static_cast<int>(state.range(0));
  const auto set = polynomials(degree, state.range(1) != 0);
  std::vector<Eigen::VectorXd> coefficients;
  for (const auto& c : set)
    coefficients.push_back(Eigen::Map<const Eigen::VectorXd>(c.data(), degree + 1));
  Eigen::PolynomialSolver<double, Eigen::Dynamic> solver;
  std::vector<double> roots;
  int k = 0;
  for (auto _ : state) {
    solver.compute(coefficients[k]);
    k = (k + 1) % kSetSize;
    solver.realRoots(roots);
    benchmark::DoNotOptimize(roots.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_EigenPolynomialSolver)
    ->Args({3, 0})
    ->Args({4, 0})
    ->Args({5, 0})
    ->Args({10, 0})
    ->Args({20, 0})
    ->Args({20, 1});
#endif

}  // namespace
