// The symmetric Jacobi eigen-solver (values and vectors) for small matrices, against the same
// method written as whole dense products, and Eigen's SelfAdjointEigenSolver where installed.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>

#include "eigen/mlSymEigenVecs.h"
#include "linalg/mlMatrix.h"
#include "linalg/mlRandom.h"
#include "support/reference_eigen.h"

#ifdef PASKOSDA_BENCH_EIGEN
#include <Eigen/Eigenvalues>
#endif

namespace {

mlMatrix random_symmetric(int n) {
  mlRandom random(4711 + n);
  mlMatrix a(n, n);
  for (int i = 0; i < n; ++i) {
    for (int j = i; j < n; ++j) {
      a(i, j) = random.uniform(-1.0, 1.0);
      a(j, i) = a(i, j);
    }
  }
  return a;
}

void BM_sym_eigen_paskosda(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const mlMatrix a = random_symmetric(n);
  for (auto _ : state) {
    mlSymEigenVecs e(a);
    e.calculate();
    benchmark::DoNotOptimize(e.eigen_vectors().data());
  }
  // The literal count takes whole products per rotation: only for the small orders.
  if (n <= 12) {
    state.counters["rotations"] =
        static_cast<double>(paskosda_test::literal_jacobi(a, 1e-6, 10000000).rotations);
  }
}
BENCHMARK(BM_sym_eigen_paskosda)->Arg(3)->Arg(6)->Arg(12)->Arg(50)->Arg(100);

// The same solver used again through become: its work memory is kept.
void BM_sym_eigen_paskosda_reused(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const mlMatrix a = random_symmetric(n);
  mlSymEigenVecs e(a);
  for (auto _ : state) {
    e.become(a).calculate();
    benchmark::DoNotOptimize(e.eigen_vectors().data());
  }
}
BENCHMARK(BM_sym_eigen_paskosda_reused)->Arg(3)->Arg(6)->Arg(12)->Arg(50);

// The rotations as the three whole products each, the form the in-place update reproduces.
void BM_sym_eigen_whole_products(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const mlMatrix a = random_symmetric(n);
  for (auto _ : state) {
    const paskosda_test::LiteralJacobiResult r = paskosda_test::literal_jacobi(a, 1e-6, 10000000);
    benchmark::DoNotOptimize(r.vectors.data());
  }
}
BENCHMARK(BM_sym_eigen_whole_products)->Arg(3)->Arg(6)->Arg(12);

#ifdef PASKOSDA_BENCH_EIGEN
void BM_sym_eigen_eigen_selfadjoint(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const mlMatrix a = random_symmetric(n);
  Eigen::MatrixXd e(n, n);
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j < n; ++j)
      e(i, j) = a(i, j);
  }
  Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd> solver(n);
  for (auto _ : state) {
    solver.compute(e, Eigen::ComputeEigenvectors);
    benchmark::DoNotOptimize(solver.eigenvectors().data());
  }
  // Agreement with the Jacobi values (Eigen orders them ascending, by sign).
  mlSymEigenVecs jacobi(a);
  jacobi.calculate();
  double worst = 0.0;
  for (int k = 0; k < n; ++k) {
    double nearest = HUGE_VAL;
    for (int l = 0; l < n; ++l)
      nearest = std::min(nearest, std::fabs(solver.eigenvalues()(l) - jacobi.eigen_value(k)));
    worst = std::max(worst, nearest);
  }
  state.counters["max_abs_diff_vs_jacobi"] = worst;
}
BENCHMARK(BM_sym_eigen_eigen_selfadjoint)->Arg(3)->Arg(6)->Arg(12)->Arg(50)->Arg(100);
#endif

}  // namespace
