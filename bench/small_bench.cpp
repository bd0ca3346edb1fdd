// Small problems, per call: LU with a solve and the inverse by LU at orders 2 to 4, and the
// symmetric 3 by 3 eigen-problem, each with fresh objects (as a call site that builds them
// every time) and with objects used again through become, beside Eigen's fixed-size types
// where Eigen is installed (a speed anchor only: it rounds differently).
#include <benchmark/benchmark.h>

#include "decomp/mlLUDecomposition.h"
#include "eigen/mlSymEigenVecs.h"
#include "linalg/mlMatrix.h"
#include "linalg/mlRandom.h"
#include "linalg/mlVector.h"

#ifdef PASKOSDA_BENCH_EIGEN
#include <Eigen/Eigenvalues>
#include <Eigen/LU>
#endif

namespace {

mlMatrix random_matrix(int n, long seed) {
  mlRandom random(seed);
  mlMatrix a(n, n);
  for (int i = 0; i < n * n; ++i)
    a.data()[i] = random.uniform(-1.0, 1.0);
  return a;
}

mlMatrix random_symmetric(int n) {
  mlMatrix a = random_matrix(n, 5);
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < i; ++j)
      a(i, j) = a(j, i);
  return a;
}

void BM_LUSolveFresh(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const mlMatrix a = random_matrix(n, 1);
  const mlVector b(utCopy, random_matrix(n, 2).col(0));
  for (auto _ : state) {
    const mlLUDecomposition lu(a);
    mlVector x;
    lu.solve(b, x);
    benchmark::DoNotOptimize(x.data());
  }
}
BENCHMARK(BM_LUSolveFresh)->Arg(3)->Arg(4);

void BM_LUSolveReused(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const mlMatrix a = random_matrix(n, 1);
  const mlVector b(utCopy, random_matrix(n, 2).col(0));
  mlLUDecomposition lu(a);
  mlVector x;
  for (auto _ : state) {
    lu.become(a).solve(b, x);
    benchmark::DoNotOptimize(x.data());
  }
}
BENCHMARK(BM_LUSolveReused)->Arg(3)->Arg(4);

void BM_InverseFresh(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const mlMatrix a = random_matrix(n, 3);
  for (auto _ : state) {
    const mlLUDecomposition lu(a);
    mlMatrix inverse;
    lu.inverse(inverse);
    benchmark::DoNotOptimize(inverse.data());
  }
}
BENCHMARK(BM_InverseFresh)->Arg(2)->Arg(3);

void BM_InverseReused(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const mlMatrix a = random_matrix(n, 3);
  mlLUDecomposition lu(a);
  mlMatrix inverse;
  for (auto _ : state) {
    lu.become(a).inverse(inverse);
    benchmark::DoNotOptimize(inverse.data());
  }
}
BENCHMARK(BM_InverseReused)->Arg(2)->Arg(3);

void BM_SymEigen3Fresh(benchmark::State& state) {
  const mlMatrix a = random_symmetric(3);
  for (auto _ : state) {
    mlSymEigenVecs e(a);
    e.calculate();
    benchmark::DoNotOptimize(e.eigen_vectors().data());
  }
}
BENCHMARK(BM_SymEigen3Fresh);

void BM_SymEigen3Reused(benchmark::State& state) {
  const mlMatrix a = random_symmetric(3);
  mlSymEigenVecs e(a);
  for (auto _ : state) {
    e.become(a).calculate();
    benchmark::DoNotOptimize(e.eigen_vectors().data());
  }
}
BENCHMARK(BM_SymEigen3Reused);

#ifdef PASKOSDA_BENCH_EIGEN
template <int N>
Eigen::Matrix<double, N, N> fixed(const mlMatrix& m) {
  Eigen::Matrix<double, N, N> a;
  for (int i = 0; i < N; ++i)
    for (int j = 0; j < N; ++j)
      a(i, j) = m(i, j);
  return a;
}

template <int N>
void BM_EigenLUSolve(benchmark::State& state) {
  const Eigen::Matrix<double, N, N> a = fixed<N>(random_matrix(N, 1));
  const mlMatrix v = random_matrix(N, 2);
  Eigen::Matrix<double, N, 1> b;
  for (int i = 0; i < N; ++i)
    b(i) = v(i, 0);
  for (auto _ : state) {
    benchmark::DoNotOptimize(a.data());
    const Eigen::PartialPivLU<Eigen::Matrix<double, N, N>> lu(a);
    Eigen::Matrix<double, N, 1> x = lu.solve(b);
    benchmark::DoNotOptimize(x.data());
  }
}
BENCHMARK(BM_EigenLUSolve<3>);
BENCHMARK(BM_EigenLUSolve<4>);

template <int N>
void BM_EigenInverseByLU(benchmark::State& state) {
  const Eigen::Matrix<double, N, N> a = fixed<N>(random_matrix(N, 3));
  for (auto _ : state) {
    benchmark::DoNotOptimize(a.data());
    const Eigen::PartialPivLU<Eigen::Matrix<double, N, N>> lu(a);
    Eigen::Matrix<double, N, N> inverse = lu.inverse();
    benchmark::DoNotOptimize(inverse.data());
  }
}
BENCHMARK(BM_EigenInverseByLU<2>);
BENCHMARK(BM_EigenInverseByLU<3>);

// Eigen's 3 by 3 symmetric solver, iterative or in closed form.
template <bool ClosedForm>
void BM_EigenSymEigen3(benchmark::State& state) {
  const Eigen::Matrix3d a = fixed<3>(random_symmetric(3));
  Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d> solver;
  for (auto _ : state) {
    benchmark::DoNotOptimize(a.data());
    ClosedForm ? solver.computeDirect(a) : solver.compute(a);
    benchmark::DoNotOptimize(solver.eigenvectors().data());
  }
}
BENCHMARK(BM_EigenSymEigen3<false>)->Name("BM_EigenSymEigen3Iterative");
BENCHMARK(BM_EigenSymEigen3<true>)->Name("BM_EigenSymEigen3ClosedForm");
#endif

}  // namespace

BENCHMARK_MAIN();
