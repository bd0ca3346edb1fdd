// LU and Cholesky factorisations and LU solves: the library against the plain loops that
// define their bits, and against LAPACK and Eigen where they are installed (speed anchors
// only; they round differently). Every timed iteration starts from a fresh copy of the input,
// included in the time of each variant alike.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <vector>

#include "decomp/mlCholeskyDecomposition.h"
#include "decomp/mlLUDecomposition.h"
#include "kernels/mlDecompKernel.h"
#include "linalg/mlMatrix.h"
#include "linalg/mlRandom.h"
#include "support/reference_decomp.h"

#ifdef PASKOSDA_BENCH_EIGEN
#include <Eigen/Cholesky>
#include <Eigen/LU>
#endif

#ifdef PASKOSDA_BENCH_LAPACK
extern "C" {
void dgetrf_(const int* m, const int* n, double* a, const int* lda, int* ipiv, int* info);
void dpotrf_(const char* uplo, const int* n, double* a, const int* lda, int* info);
}
#endif

namespace {

mlMatrix random_general(int n) {
  mlRandom random(17);
  mlMatrix a(n, n);
  for (int i = 0; i < n * n; ++i)
    a.data()[i] = random.uniform(-1.0, 1.0);
  return a;
}

// M^T M + n I.
mlMatrix random_spd(int n) {
  const mlMatrix m = random_general(n);
  mlMatrix a(mlMatrixZero, n, n);
  for (int k = 0; k < n; ++k) {
    for (int i = 0; i < n; ++i) {
      for (int j = 0; j < n; ++j)
        a(i, j) += m(k, i) * m(k, j);
    }
  }
  for (int i = 0; i < n; ++i)
    a(i, i) += n;
  return a;
}

void set_flops(benchmark::State& state, double per_iteration) {
  state.counters["GFlop/s"] = benchmark::Counter(
      per_iteration * 1e-9 * static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}

// Times factor(work) on a fresh copy of a in every iteration, at `flops` per factorisation.
template <class Factor>
void time_factorisation(benchmark::State& state, const mlMatrix& a, double flops, Factor factor) {
  const int n = a.rows();
  mlMatrix work(utCopy, a);
  for (auto _ : state) {
    std::copy(a.data(), a.data() + n * n, work.data());
    factor(work);
    benchmark::ClobberMemory();
  }
  set_flops(state, flops);
}

double lu_flops(int n) { return 2.0 / 3.0 * n * n * n; }
double cholesky_flops(int n) { return 1.0 / 3.0 * n * n * n; }

// ---- LU ---------------------------------------------------------------------------------------

void BM_LULiteral(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  std::vector<int> perm(n);
  time_factorisation(state, random_general(n), lu_flops(n), [&](mlMatrix& work) {
    int swaps = 0;
    benchmark::DoNotOptimize(
        paskosda_test::literal_lu_eliminate(work.data(), n, n, perm.data(), &swaps, 1e-20));
  });
}

void BM_LULibrary(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  std::vector<int> perm(n);
  time_factorisation(state, random_general(n), lu_flops(n), [&](mlMatrix& work) {
    int swaps = 0;
    benchmark::DoNotOptimize(ml_lu_eliminate(work, perm.data(), &swaps, 1e-20));
  });
}

// The kernel restricted to the build's baseline instructions (SSE2 on x86-64), which is what a
// processor without AVX2 runs.
void BM_LULibraryBaseline(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  std::vector<int> perm(n);
  time_factorisation(state, random_general(n), lu_flops(n), [&](mlMatrix& work) {
    int swaps = 0;
    benchmark::DoNotOptimize(paskosda_detail::lu_eliminate_kernel(
        work.data(), n, n, perm.data(), &swaps, 1e-20, paskosda_detail::KernelIsa::Baseline));
  });
}

#ifdef PASKOSDA_BENCH_LAPACK
void BM_LULapack(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  std::vector<int> ipiv(n);
  time_factorisation(state, random_general(n), lu_flops(n), [&](mlMatrix& work) {
    int info = 0;
    dgetrf_(&n, &n, work.data(), &n, ipiv.data(), &info);
    benchmark::DoNotOptimize(info);
  });
}
BENCHMARK(BM_LULapack)->Arg(64)->Arg(256)->Arg(512);
#endif

#ifdef PASKOSDA_BENCH_EIGEN
using RowMatrix = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;

RowMatrix to_eigen(const mlMatrix& a) {
  RowMatrix m(a.rows(), a.cols());
  std::copy(a.data(), a.data() + a.rows() * a.cols(), m.data());
  return m;
}

void BM_LUEigen(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const RowMatrix a = to_eigen(random_general(n));
  Eigen::PartialPivLU<RowMatrix> lu(n);
  for (auto _ : state) {
    lu.compute(a);
    benchmark::DoNotOptimize(lu.matrixLU().data());
    benchmark::ClobberMemory();
  }
  set_flops(state, lu_flops(n));
}
BENCHMARK(BM_LUEigen)->Arg(64)->Arg(256)->Arg(512);
#endif

BENCHMARK(BM_LULiteral)->Arg(64)->Arg(256)->Arg(512);
BENCHMARK(BM_LULibrary)->Arg(64)->Arg(256)->Arg(512);
BENCHMARK(BM_LULibraryBaseline)->Arg(64)->Arg(256)->Arg(512);

// The inverse: the matrix solve of the identity (forward and back substitution of n columns).
void BM_LUInverseLiteral(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  mlMatrix factors = random_general(n);
  std::vector<int> perm(n);
  int swaps = 0;
  paskosda_test::literal_lu_eliminate(factors.data(), n, n, perm.data(), &swaps, 1e-20);
  const mlMatrix identity(mlMatrixIdentity, n);
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        paskosda_test::literal_lu_solve_matrix(factors.data(), perm.data(), n, identity.data(), n));
  }
  set_flops(state, 2.0 * n * n * n);
}

void BM_LUInverseLibrary(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const mlLUDecomposition lu(random_general(n));
  mlMatrix inv;
  for (auto _ : state) {
    lu.inverse(inv);
    benchmark::DoNotOptimize(inv.data());
  }
  set_flops(state, 2.0 * n * n * n);
}
BENCHMARK(BM_LUInverseLiteral)->Arg(64)->Arg(256)->Arg(512);
BENCHMARK(BM_LUInverseLibrary)->Arg(64)->Arg(256)->Arg(512);

// ---- Cholesky ---------------------------------------------------------------------------------

void BM_CholeskyLiteral(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  std::vector<double> diagonal(n);
  time_factorisation(state, random_spd(n), cholesky_flops(n), [&](mlMatrix& work) {
    benchmark::DoNotOptimize(
        paskosda_test::literal_cholesky_factor(work.data(), n, diagonal.data()));
  });
}

void BM_CholeskyLibrary(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  doublecoDynArr diagonal(n, 1);
  diagonal.expand(n);
  time_factorisation(state, random_spd(n), cholesky_flops(n), [&](mlMatrix& work) {
    benchmark::DoNotOptimize(ml_cholesky_factor(work, diagonal));
  });
}

void BM_CholeskyLibraryBaseline(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  doublecoDynArr diagonal(n, 1);
  diagonal.expand(n);
  time_factorisation(state, random_spd(n), cholesky_flops(n), [&](mlMatrix& work) {
    benchmark::DoNotOptimize(paskosda_detail::cholesky_factor_kernel(
        work.data(), n, diagonal, paskosda_detail::KernelIsa::Baseline));
  });
}

#ifdef PASKOSDA_BENCH_LAPACK
void BM_CholeskyLapack(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const char uplo = 'U';  // the upper triangle of the column-major view is our lower one
  time_factorisation(state, random_spd(n), cholesky_flops(n), [&](mlMatrix& work) {
    int info = 0;
    dpotrf_(&uplo, &n, work.data(), &n, &info);
    benchmark::DoNotOptimize(info);
  });
}
BENCHMARK(BM_CholeskyLapack)->Arg(64)->Arg(256)->Arg(512);
#endif

#ifdef PASKOSDA_BENCH_EIGEN
void BM_CholeskyEigen(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const RowMatrix a = to_eigen(random_spd(n));
  Eigen::LLT<RowMatrix> llt(n);
  for (auto _ : state) {
    llt.compute(a);
    benchmark::DoNotOptimize(llt.matrixLLT().data());
    benchmark::ClobberMemory();
  }
  set_flops(state, cholesky_flops(n));
}
BENCHMARK(BM_CholeskyEigen)->Arg(64)->Arg(256)->Arg(512);
#endif

BENCHMARK(BM_CholeskyLiteral)->Arg(64)->Arg(256)->Arg(512);
BENCHMARK(BM_CholeskyLibrary)->Arg(64)->Arg(256)->Arg(512);
BENCHMARK(BM_CholeskyLibraryBaseline)->Arg(64)->Arg(256)->Arg(512);

// The inverse, column by column through the vector substitution (the defining loops), and
// through the library's matrix solve.
void BM_CholeskyInverseLiteral(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  mlMatrix factors = random_spd(n);
  doublecoDynArr diagonal(n, 1);
  diagonal.expand(n);
  ml_cholesky_factor(factors, diagonal);
  const mlMatrix identity(mlMatrixIdentity, n);
  mlMatrix inv(n, n);
  mlVector column(mlVectorDim, n), solution(mlVectorDim, n);
  for (auto _ : state) {
    for (int c = 0; c < n; ++c) {
      column = identity.col(c);
      ml_cholesky_substitute(factors, diagonal, column.data(), solution);
      mlSlice to = inv.col(c);
      to = solution;
    }
    benchmark::DoNotOptimize(inv.data());
  }
  set_flops(state, 2.0 * n * n * n);
}

void BM_CholeskyInverseLibrary(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const mlCholeskyDecomposition cholesky(random_spd(n));
  mlMatrix inv;
  for (auto _ : state) {
    cholesky.inverse(inv);
    benchmark::DoNotOptimize(inv.data());
  }
  set_flops(state, 2.0 * n * n * n);
}
BENCHMARK(BM_CholeskyInverseLiteral)->Arg(64)->Arg(256)->Arg(512);
BENCHMARK(BM_CholeskyInverseLibrary)->Arg(64)->Arg(256)->Arg(512);

}  // namespace
