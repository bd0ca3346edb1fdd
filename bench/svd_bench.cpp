// The singular value decomposition with both full vector sets, against LAPACK's dgesvd and
// Eigen's BDCSVD where they are installed; then its three kernels alone (the QR sweeps'
// rotations, the accumulation of the vectors, a step of the bidiagonalisation), on the
// instruction sets of the processor.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#include "decomp/mlSingularValueDecomposition.h"
#include "kernels/mlSvdKernel.h"
#include "linalg/mlMatrix.h"
#include "linalg/mlRandom.h"

#ifdef PASKOSDA_BENCH_EIGEN
#include <Eigen/SVD>
#endif

#ifdef PASKOSDA_BENCH_LAPACK
extern "C" void dgesvd_(const char* jobu, const char* jobvt, const int* m, const int* n, double* a,
                        const int* lda, double* s, double* u, const int* ldu, double* vt,
                        const int* ldvt, double* work, const int* lwork, int* info,
                        std::size_t jobu_length, std::size_t jobvt_length);
#endif

namespace {

mlMatrix random_matrix(int m, int n) {
  mlRandom random(12345 + 7 * m + n);
  mlMatrix a(m, n);
  for (int i = 0; i < m * n; ++i)
    a.data()[i] = random.uniform(-1.0, 1.0);
  return a;
}

#ifdef PASKOSDA_BENCH_LAPACK
// dgesvd with full U and V^T on a column-major copy of a; returns the singular values.
struct Lapack {
  Lapack(int rows, int cols)
      : m(rows),
        n(cols),
        a(static_cast<std::size_t>(rows) * cols),
        s(std::min(rows, cols)),
        u(static_cast<std::size_t>(rows) * rows),
        vt(static_cast<std::size_t>(cols) * cols) {
    double size = 0.0;
    int lwork = -1;
    int info = 0;
    dgesvd_("A", "A", &m, &n, a.data(), &m, s.data(), u.data(), &m, vt.data(), &n, &size, &lwork,
            &info, 1, 1);
    work.resize(static_cast<std::size_t>(size));
  }
  int run(const mlMatrix& x) {
    for (int i = 0; i < m; ++i) {
      for (int j = 0; j < n; ++j)
        a[static_cast<std::size_t>(m) * j + i] = x(i, j);
    }
    const int lwork = static_cast<int>(work.size());
    int info = 0;
    dgesvd_("A", "A", &m, &n, a.data(), &m, s.data(), u.data(), &m, vt.data(), &n, work.data(),
            &lwork, &info, 1, 1);
    return info;
  }
  int m, n;
  std::vector<double> a, s, u, vt, work;
};
#endif

void BM_svd_paskosda(benchmark::State& state) {
  const int m = static_cast<int>(state.range(0));
  const int n = static_cast<int>(state.range(1));
  const mlMatrix a = random_matrix(m, n);
  for (auto _ : state) {
    mlSingularValueDecomposition svd(a);
    benchmark::DoNotOptimize(svd.diagonal().data());
  }
#ifdef PASKOSDA_BENCH_LAPACK
  // Agreement with LAPACK's values, relative to the largest.
  const mlSingularValueDecomposition svd(a);
  Lapack lapack(m, n);
  lapack.run(a);
  double worst = 0.0;
  for (int i = 0; i < std::min(m, n); ++i)
    worst = std::max(worst, std::fabs(svd.diagonal()[i] - lapack.s[i]) / lapack.s[0]);
  state.counters["max_rel_diff_vs_lapack"] = worst;
#endif
}
BENCHMARK(BM_svd_paskosda)
    ->Args({50, 50})
    ->Args({200, 200})
    ->Args({500, 200})
    ->Args({1000, 1000})
    ->Unit(benchmark::kMillisecond);

#ifdef PASKOSDA_BENCH_LAPACK
void BM_svd_lapack_dgesvd(benchmark::State& state) {
  const int m = static_cast<int>(state.range(0));
  const int n = static_cast<int>(state.range(1));
  const mlMatrix a = random_matrix(m, n);
  Lapack lapack(m, n);
  for (auto _ : state) {
    benchmark::DoNotOptimize(lapack.run(a));
    benchmark::DoNotOptimize(lapack.s.data());
  }
}
BENCHMARK(BM_svd_lapack_dgesvd)
    ->Args({50, 50})
    ->Args({200, 200})
    ->Args({500, 200})
    ->Args({1000, 1000})
    ->Unit(benchmark::kMillisecond);
#endif

#ifdef PASKOSDA_BENCH_EIGEN
void BM_svd_eigen_bdcsvd(benchmark::State& state) {
  const int m = static_cast<int>(state.range(0));
  const int n = static_cast<int>(state.range(1));
  const mlMatrix a = random_matrix(m, n);
  Eigen::MatrixXd e(m, n);
  for (int i = 0; i < m; ++i) {
    for (int j = 0; j < n; ++j)
      e(i, j) = a(i, j);
  }
  for (auto _ : state) {
    Eigen::BDCSVD<Eigen::MatrixXd> svd(e, Eigen::ComputeFullU | Eigen::ComputeFullV);
    benchmark::DoNotOptimize(svd.singularValues().data());
  }
}
BENCHMARK(BM_svd_eigen_bdcsvd)
    ->Args({50, 50})
    ->Args({200, 200})
    ->Args({500, 200})
    ->Args({1000, 1000})
    ->Unit(benchmark::kMillisecond);
#endif

// The rotations of the QR sweeps alone, on an n by n matrix of vectors: two sweeps per value,
// each a chain over the values not yet converged, as the decomposition records them.
template <paskosda_detail::KernelIsa isa>
void BM_svd_column_ops(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  mlMatrix q = random_matrix(n, n);
  mlRandom random(3);
  std::vector<double> cs(static_cast<std::size_t>(2) * n * n);
  for (std::size_t i = 0; i < cs.size(); i += 2) {
    const double angle = random.uniform(-3.0, 3.0);
    cs[i] = std::cos(angle);
    cs[i + 1] = std::sin(angle);
  }
  for (auto _ : state) {
    paskosda_detail::SvdColumnOps ops(q.data(), n, n, n, isa);
    const double* next = cs.data();
    for (int m = n; m > 1; --m) {
      for (int sweep = 0; sweep < 2; ++sweep) {
        ops.chain_adjacent(0);
        for (int k = 0; k < m - 1; ++k, next += 2)
          ops.rotate(next[0], next[1]);
      }
    }
    ops.flush();
    benchmark::DoNotOptimize(q.data());
  }
  state.counters["rotations"] = static_cast<double>(n) * (n - 1);
}
BENCHMARK(BM_svd_column_ops<paskosda_detail::KernelIsa::Best>)
    ->Arg(200)
    ->Arg(1000)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_svd_column_ops<paskosda_detail::KernelIsa::Avx2>)
    ->Arg(200)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_svd_column_ops<paskosda_detail::KernelIsa::Baseline>)
    ->Arg(200)
    ->Unit(benchmark::kMillisecond);

// A Householder vector of len elements as the bidiagonalisation makes them: a random unit
// vector with 1 added to its first element, whose reflection is orthogonal (so that repeated
// reflections keep the values in range).
void householder_vector(mlRandom& random, int len, double* h) {
  double norm = 0.0;
  for (int i = 0; i < len; ++i) {
    h[i] = random.uniform(-1.0, 1.0);
    norm += h[i] * h[i];
  }
  norm = std::sqrt(norm);
  for (int i = 0; i < len; ++i)
    h[i] /= norm;
  h[0] = 1.0 + std::fabs(h[0]);
}

// The accumulation of the right vectors of an m by n matrix (m >= n): its m by m U from the n
// reflections below the diagonal, each applied to the columns right of it.
template <paskosda_detail::KernelIsa isa>
void BM_svd_accumulate(benchmark::State& state) {
  const int m = static_cast<int>(state.range(0));
  const int n = static_cast<int>(state.range(1));
  mlRandom random(5);
  std::vector<double> reflectors(static_cast<std::size_t>(m) * m), q(reflectors.size());
  for (int l = 0; l + 1 < m; ++l)
    householder_vector(random, m - l - 1,
                       reflectors.data() + static_cast<std::size_t>(l) * m + l + 1);
  const std::vector<double> flags(m, 1.0);
  for (auto _ : state) {
    std::copy(reflectors.begin(), reflectors.end(), q.begin());
    paskosda_detail::svd_accumulate(q.data(), m, m, m, m, 1, flags.data(), n, false, -1.0, isa);
    benchmark::DoNotOptimize(q.data());
  }
}
BENCHMARK(BM_svd_accumulate<paskosda_detail::KernelIsa::Best>)
    ->Args({200, 200})
    ->Args({500, 200})
    ->Args({1000, 1000})
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_svd_accumulate<paskosda_detail::KernelIsa::Avx2>)
    ->Args({500, 200})
    ->Unit(benchmark::kMillisecond);

// One step of the bidiagonalisation on an n by n trailing matrix: the previous row reflection
// and this step's column reflection of every column, then the row products of the next row
// reflection.
template <paskosda_detail::KernelIsa isa>
void BM_svd_reduce_step(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  mlMatrix c = random_matrix(n, n);
  mlRandom random(7);
  std::vector<double> row(n), e(n), h(n), work(n);
  householder_vector(random, n, row.data());
  householder_vector(random, n, h.data());
  householder_vector(random, n, work.data());
  for (auto _ : state) {
    std::copy(row.begin(), row.end(), e.begin());
    paskosda_detail::svd_reduce_columns(n, n, c.data(), n, e.data(), row[0], work.data(), h.data(),
                                        isa);
    paskosda_detail::svd_row_products(n, n, c.data(), n, row.data(), work.data(), isa);
    benchmark::DoNotOptimize(work.data());
  }
  state.counters["ns_per_element"] =
      benchmark::Counter(static_cast<double>(n) * n, benchmark::Counter::kIsIterationInvariantRate |
                                                         benchmark::Counter::kInvert);
}
BENCHMARK(BM_svd_reduce_step<paskosda_detail::KernelIsa::Best>)->Arg(200)->Arg(1000);
BENCHMARK(BM_svd_reduce_step<paskosda_detail::KernelIsa::Avx2>)->Arg(200);
BENCHMARK(BM_svd_reduce_step<paskosda_detail::KernelIsa::Baseline>)->Arg(200);

}  // namespace
