// Sparse products, transpose and matrix-vector product on random 20000 x 20000 matrices with
// about 8 entries per row: the library against the ordered-map loops that define the
// products' bits, and against Eigen's sparse module (an anchor only).
#include <benchmark/benchmark.h>

#include <vector>

#include "linalg/mlRandom.h"
#include "linalg/mlVector.h"
#include "sparse/mlSparseMatrix.h"
#include "support/reference_sparse.h"

#if defined(PASKOSDA_BENCH_EIGEN)
#include <Eigen/SparseCore>
#endif

namespace {

constexpr int kSize = 20000;
constexpr int kPerRow = 8;

mlSparseMatrix random_operand(long seed) {
  mlRandom random(seed);
  return paskosda_test::random_sparse(random, kSize, kSize, kPerRow);
}

// The two operands, made once.
const mlSparseMatrix& operand(long seed) {
  static const mlSparseMatrix a = random_operand(1);
  static const mlSparseMatrix b = random_operand(2);
  return seed == 1 ? a : b;
}

mlVector random_vector(int n) {
  mlRandom random(3);
  mlVector x(mlVectorDim, n);
  for (int i = 0; i < n; ++i)
    x[i] = random.uniform(-1.0, 1.0);
  return x;
}

void BM_Product(benchmark::State& state) {
  const mlSparseMatrix &a = operand(1), &b = operand(2);
  mlSparseMatrix c;
  for (auto _ : state) {
    c.become(mlMatrixProduct, a, b);
    benchmark::DoNotOptimize(&c);
  }
  state.counters["nnz"] = c.num_non_zero_elements();
}
BENCHMARK(BM_Product)->Name("Product/paskosda")->Unit(benchmark::kMillisecond);

void BM_ProductOrderedMap(benchmark::State& state) {
  const mlSparseMatrix &a = operand(1), &b = operand(2);
  mlSparseMatrix c;
  for (auto _ : state) {
    paskosda_test::literal_product(a, b, c);
    benchmark::DoNotOptimize(&c);
  }
}
BENCHMARK(BM_ProductOrderedMap)->Name("Product/ordered_map")->Unit(benchmark::kMillisecond);

void BM_PremultiplyTranspose(benchmark::State& state) {
  const mlSparseMatrix& a = operand(1);
  mlSparseSymMatrix s;
  for (auto _ : state) {
    s.become(mlMatrixPremultiplyTranspose, a);
    benchmark::DoNotOptimize(&s);
  }
  state.counters["nnz"] = s.num_non_zero_elements();
}
BENCHMARK(BM_PremultiplyTranspose)
    ->Name("PremultiplyTranspose/paskosda")
    ->Unit(benchmark::kMillisecond);

void BM_PremultiplyTransposeOrderedMap(benchmark::State& state) {
  const mlSparseMatrix& a = operand(1);
  mlSparseSymMatrix s;
  for (auto _ : state) {
    paskosda_test::literal_premultiply_transpose(a, s);
    benchmark::DoNotOptimize(&s);
  }
}
BENCHMARK(BM_PremultiplyTransposeOrderedMap)
    ->Name("PremultiplyTranspose/ordered_map")
    ->Unit(benchmark::kMillisecond);

void BM_Transpose(benchmark::State& state) {
  const mlSparseMatrix& a = operand(1);
  mlSparseMatrix t;
  for (auto _ : state) {
    t.become(mlMatrixTranspose, a);
    benchmark::DoNotOptimize(&t);
  }
}
BENCHMARK(BM_Transpose)->Name("Transpose/paskosda")->Unit(benchmark::kMillisecond);

void BM_MultiplyVector(benchmark::State& state) {
  const mlSparseMatrix& a = operand(1);
  const mlVector x = random_vector(kSize);
  mlVector y;
  for (auto _ : state) {
    a.multiply_vector(x, y);
    benchmark::DoNotOptimize(y.data());
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_MultiplyVector)->Name("MultiplyVector/paskosda")->Unit(benchmark::kMicrosecond);

#if defined(PASKOSDA_BENCH_EIGEN)

using EigenSparse = Eigen::SparseMatrix<double, Eigen::RowMajor>;

EigenSparse to_eigen(const mlSparseMatrix& m) {
  std::vector<Eigen::Triplet<double>> triplets;
  for (int i = 0; i < m.rows(); ++i) {
    for (const mlSparseElement& e : m.row(m, i))
      triplets.emplace_back(i, e.column(), e.value());
  }
  EigenSparse e(m.rows(), m.cols());
  e.setFromTriplets(triplets.begin(), triplets.end());
  return e;
}

void BM_EigenProduct(benchmark::State& state) {
  const EigenSparse a = to_eigen(operand(1)), b = to_eigen(operand(2));
  EigenSparse c;
  for (auto _ : state) {
    c = a * b;
    benchmark::DoNotOptimize(c.valuePtr());
  }
  state.counters["nnz"] = static_cast<double>(c.nonZeros());
}
BENCHMARK(BM_EigenProduct)->Name("Product/eigen")->Unit(benchmark::kMillisecond);

void BM_EigenPremultiplyTranspose(benchmark::State& state) {
  const EigenSparse a = to_eigen(operand(1));
  EigenSparse s;
  for (auto _ : state) {
    // Eigen forms the whole product; the library stores the upper triangle only.
    s = EigenSparse(a.transpose()) * a;
    benchmark::DoNotOptimize(s.valuePtr());
  }
}
BENCHMARK(BM_EigenPremultiplyTranspose)
    ->Name("PremultiplyTranspose/eigen")
    ->Unit(benchmark::kMillisecond);

void BM_EigenTranspose(benchmark::State& state) {
  const EigenSparse a = to_eigen(operand(1));
  EigenSparse t;
  for (auto _ : state) {
    t = a.transpose();
    benchmark::DoNotOptimize(t.valuePtr());
  }
}
BENCHMARK(BM_EigenTranspose)->Name("Transpose/eigen")->Unit(benchmark::kMillisecond);

void BM_EigenMultiplyVector(benchmark::State& state) {
  const EigenSparse a = to_eigen(operand(1));
  const mlVector x = random_vector(kSize);
  const Eigen::Map<const Eigen::VectorXd> ex(x.data(), kSize);
  Eigen::VectorXd y(kSize);
  for (auto _ : state) {
    y.noalias() = a * ex;
    benchmark::DoNotOptimize(y.data());
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_EigenMultiplyVector)->Name("MultiplyVector/eigen")->Unit(benchmark::kMicrosecond);

#endif

}  // namespace
