// Dense products: the packed kernel against the literal loop that defines its bits, and
// against Eigen's product (an anchor only: Eigen may reorder the sums, the kernel may not).
#include <benchmark/benchmark.h>

#include <vector>

#include "kernels/mlMatrixKernel.h"
#include "linalg/mlRandom.h"
#include "support/reference_kernels.h"

#if defined(PASKOSDA_BENCH_EIGEN)
#include <Eigen/Dense>
#endif

namespace {

std::vector<double> random_values(std::size_t count, long seed) {
  mlRandom random(seed);
  std::vector<double> x(count);
  for (double& value : x)
    value = random.uniform(-1.0, 1.0);
  return x;
}

void report_flops(benchmark::State& state, double per_iteration) {
  state.counters["GFLOP/s"] = benchmark::Counter(
      per_iteration * 1e-9 * static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}

using Product = void (*)(int, int, int, const double*, int, const double*, int, double*, int);

template <Product product>
void BM_Product(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const std::size_t size = static_cast<std::size_t>(n) * n;
  const std::vector<double> a = random_values(size, 1), b = random_values(size, 2);
  std::vector<double> c(size);
  for (auto _ : state) {
    product(n, n, n, a.data(), n, b.data(), n, c.data(), n);
    benchmark::DoNotOptimize(c.data());
    benchmark::ClobberMemory();
  }
  report_flops(state, 2.0 * n * n * n);
}
// The kernel on the processor's best instruction set, and on the baseline every x86-64 has.
template <paskosda_detail::KernelIsa isa>
void kernel_product(int m, int n, int k, const double* a, int lda, const double* b, int ldb,
                    double* c, int ldc) {
  paskosda_detail::multiply_kernel(m, n, k, a, lda, b, ldb, c, ldc, isa);
}
BENCHMARK(BM_Product<kernel_product<paskosda_detail::KernelIsa::Best>>)
    ->Name("Product/kernel")
    ->Arg(64)
    ->Arg(256)
    ->Arg(512)
    ->Arg(1024)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Product<kernel_product<paskosda_detail::KernelIsa::Baseline>>)
    ->Name("Product/kernel-baseline")
    ->Arg(64)
    ->Arg(256)
    ->Arg(512)
    ->Arg(1024)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Product<paskosda_test::literal_multiply>)
    ->Name("Product/literal")
    ->Arg(64)
    ->Arg(256)
    ->Arg(512)
    ->Arg(1024)
    ->Unit(benchmark::kMicrosecond);

using VectorProduct = void (*)(int, int, const double*, int, const double*, int, double*);

template <VectorProduct product>
void BM_VectorProduct(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const std::vector<double> a = random_values(static_cast<std::size_t>(n) * n, 1);
  const std::vector<double> v = random_values(n, 2);
  std::vector<double> w(n);
  for (auto _ : state) {
    product(n, n, a.data(), n, v.data(), 1, w.data());
    benchmark::DoNotOptimize(w.data());
    benchmark::ClobberMemory();
  }
  report_flops(state, 2.0 * n * n);
}
BENCHMARK(BM_VectorProduct<paskosda_detail::multiply_vector_kernel>)
    ->Name("VectorProduct/kernel")
    ->Arg(64)
    ->Arg(512)
    ->Arg(1024)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_VectorProduct<paskosda_test::literal_multiply_vector>)
    ->Name("VectorProduct/literal")
    ->Arg(64)
    ->Arg(512)
    ->Arg(1024)
    ->Unit(benchmark::kMicrosecond);

#if defined(PASKOSDA_BENCH_EIGEN)
using RowMajor = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;

void BM_EigenProduct(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const std::size_t size = static_cast<std::size_t>(n) * n;
  const std::vector<double> a_values = random_values(size, 1), b_values = random_values(size, 2);
  const RowMajor a = Eigen::Map<const RowMajor>(a_values.data(), n, n);
  const RowMajor b = Eigen::Map<const RowMajor>(b_values.data(), n, n);
  RowMajor c(n, n);
  for (auto _ : state) {
    c.noalias() = a * b;
    benchmark::DoNotOptimize(c.data());
    benchmark::ClobberMemory();
  }
  report_flops(state, 2.0 * n * n * n);
}
BENCHMARK(BM_EigenProduct)
    ->Name("Product/eigen")
    ->Arg(64)
    ->Arg(256)
    ->Arg(512)
    ->Arg(1024)
    ->Unit(benchmark::kMicrosecond);

void BM_EigenVectorProduct(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const std::vector<double> a_values = random_values(static_cast<std::size_t>(n) * n, 1);
  const std::vector<double> v_values = random_values(n, 2);
  const RowMajor a = Eigen::Map<const RowMajor>(a_values.data(), n, n);
  const Eigen::VectorXd v = Eigen::Map<const Eigen::VectorXd>(v_values.data(), n);
  Eigen::VectorXd w(n);
  for (auto _ : state) {
    w.noalias() = a * v;
    benchmark::DoNotOptimize(w.data());
    benchmark::ClobberMemory();
  }
  report_flops(state, 2.0 * n * n);
}
BENCHMARK(BM_EigenVectorProduct)
    ->Name("VectorProduct/eigen")
    ->Arg(64)
    ->Arg(512)
    ->Arg(1024)
    ->Unit(benchmark::kMicrosecond);
#endif

}  // namespace
