// The singular value decomposition with both full vector sets, against LAPACK's dgesvd and
// Eigen's BDCSVD where they are installed.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#include "decomp/mlSingularValueDecomposition.h"
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
  Lapack(int m, int n)
      : m(m),
        n(n),
        a(static_cast<std::size_t>(m) * n),
        s(std::min(m, n)),
        u(static_cast<std::size_t>(m) * m),
        vt(static_cast<std::size_t>(n) * n) {
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
    ->Unit(benchmark::kMillisecond);
#endif

}  // namespace
