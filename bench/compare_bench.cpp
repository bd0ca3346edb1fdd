// One table, side by side: the library against Eigen and against the BLAS and LAPACK the build
// found (OpenBLAS on Debian), for the dense product, LU and Cholesky with a solve, the SVD with
// both vector sets, the symmetric eigen-problem and the sparse product. Each is timed as a
// user calls it, input copies included; the anchors run single-threaded. After Google
// Benchmark's own report the program prints the table, with ratios above 1 where the library
// is faster. The anchors round differently (FMA, other orders): they are speed references.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "decomp/mlCholeskyDecomposition.h"
#include "decomp/mlLUDecomposition.h"
#include "decomp/mlSingularValueDecomposition.h"
#include "eigen/mlSymEigenVecs.h"
#include "linalg/mlMatrix.h"
#include "linalg/mlRandom.h"
#include "linalg/mlVector.h"
#include "sparse/mlSparseMatrix.h"
#include "support/reference_sparse.h"

#ifdef PASKOSDA_BENCH_EIGEN
#include <Eigen/Cholesky>
#include <Eigen/Eigenvalues>
#include <Eigen/LU>
#include <Eigen/SVD>
#include <Eigen/SparseCore>
#endif

#ifdef PASKOSDA_BENCH_LAPACK
extern "C" {
void dgemm_(const char* ta, const char* tb, const int* m, const int* n, const int* k,
            const double* alpha, const double* a, const int* lda, const double* b, const int* ldb,
            const double* beta, double* c, const int* ldc, std::size_t, std::size_t);
void dgetrf_(const int* m, const int* n, double* a, const int* lda, int* ipiv, int* info);
void dgetrs_(const char* t, const int* n, const int* nrhs, const double* a, const int* lda,
             const int* ipiv, double* b, const int* ldb, int* info, std::size_t);
void dpotrf_(const char* uplo, const int* n, double* a, const int* lda, int* info, std::size_t);
void dpotrs_(const char* uplo, const int* n, const int* nrhs, const double* a, const int* lda,
             double* b, const int* ldb, int* info, std::size_t);
void dgesvd_(const char* jobu, const char* jobvt, const int* m, const int* n, double* a,
             const int* lda, double* s, double* u, const int* ldu, double* vt, const int* ldvt,
             double* work, const int* lwork, int* info, std::size_t, std::size_t);
void dsyev_(const char* jobz, const char* uplo, const int* n, double* a, const int* lda, double* w,
            double* work, const int* lwork, int* info, std::size_t, std::size_t);
// OpenBLAS's own switch; absent from other BLAS builds.
void openblas_set_num_threads(int) __attribute__((weak));
}
#endif

namespace {

mlMatrix random_matrix(int m, int n, long seed) {
  mlRandom random(seed);
  mlMatrix a(m, n);
  for (int i = 0; i < m * n; ++i)
    a.data()[i] = random.uniform(-1.0, 1.0);
  return a;
}

// Symmetric positive definite: M^T M + n I.
mlMatrix random_spd(int n) {
  const mlMatrix m = random_matrix(n, n, 7);
  mlMatrix t;
  t.become(mlMatrixTranspose, m);
  mlMatrix a(mlMatrixProduct, t, m);
  for (int i = 0; i < n; ++i)
    a(i, i) += n;
  return a;
}

mlMatrix random_symmetric(int n) {
  mlMatrix a = random_matrix(n, n, 11);
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j < i; ++j)
      a(i, j) = a(j, i);
  }
  return a;
}

mlVector random_vector(int n) {
  mlRandom random(5);
  mlVector v(mlVectorDim, n);
  for (int i = 0; i < n; ++i)
    v[i] = random.uniform(-1.0, 1.0);
  return v;
}

// ---- The rows of the table --------------------------------------------------------------------

struct Case {
  std::string operation;  // also the benchmark name's first part
  int rows;
  int cols;
  std::string size() const {
    return rows == cols ? std::to_string(rows) + "^2"
                        : std::to_string(rows) + "x" + std::to_string(cols);
  }
};

const std::vector<Case>& cases() {
  static const std::vector<Case> all = {
      {"product", 256, 256},
      {"product", 512, 512},
      {"product", 1024, 1024},
      {"lu+solve", 256, 256},
      {"lu+solve", 512, 512},
      {"lu+solve", 1024, 1024},
      {"cholesky+solve", 256, 256},
      {"cholesky+solve", 512, 512},
      {"cholesky+solve", 1024, 1024},
      {"svd", 200, 200},
      {"svd", 500, 200},
      {"svd", 1000, 1000},
      {"sym-eigen", 12, 12},
      {"sym-eigen", 50, 50},
      {"sparse-product", 20000, 20000},
  };
  return all;
}

using Body = std::function<void(benchmark::State&)>;

// ---- paskosda -----------------------------------------------------------------------------------

Body paskosda(const Case& c) {
  const int n = c.rows;
  if (c.operation == "product") {
    return [n](benchmark::State& state) {
      const mlMatrix a = random_matrix(n, n, 1), b = random_matrix(n, n, 2);
      mlMatrix p(n, n);
      for (auto _ : state) {
        p.become(mlMatrixProduct, a, b);
        benchmark::DoNotOptimize(p.data());
      }
    };
  }
  if (c.operation == "lu+solve") {
    return [n](benchmark::State& state) {
      const mlMatrix a = random_matrix(n, n, 3);
      const mlVector b = random_vector(n);
      mlVector x(mlVectorDim, n);
      for (auto _ : state) {
        const mlLUDecomposition lu(a);
        lu.solve(b, x);
        benchmark::DoNotOptimize(x.data());
      }
    };
  }
  if (c.operation == "cholesky+solve") {
    return [n](benchmark::State& state) {
      const mlMatrix a = random_spd(n);
      const mlVector b = random_vector(n);
      mlVector x(mlVectorDim, n);
      for (auto _ : state) {
        const mlCholeskyDecomposition llt(a);
        llt.solve(b, x);
        benchmark::DoNotOptimize(x.data());
      }
    };
  }
  if (c.operation == "svd") {
    return [c](benchmark::State& state) {
      const mlMatrix a = random_matrix(c.rows, c.cols, 4);
      for (auto _ : state) {
        const mlSingularValueDecomposition svd(a);
        benchmark::DoNotOptimize(svd.diagonal().data());
      }
    };
  }
  if (c.operation == "sym-eigen") {
    return [n](benchmark::State& state) {
      const mlMatrix a = random_symmetric(n);
      for (auto _ : state) {
        mlSymEigenVecs e(a);
        e.calculate();
        benchmark::DoNotOptimize(e.eigen_vectors().data());
      }
    };
  }
  return [n](benchmark::State& state) {
    mlRandom random(6);
    const mlSparseMatrix a = paskosda_test::random_sparse(random, n, n, 8);
    const mlSparseMatrix b = paskosda_test::random_sparse(random, n, n, 8);
    mlSparseMatrix p;
    for (auto _ : state) {
      p.become(mlMatrixProduct, a, b);
      benchmark::DoNotOptimize(&p);
    }
  };
}

// ---- Eigen --------------------------------------------------------------------------------------

#ifdef PASKOSDA_BENCH_EIGEN
Eigen::MatrixXd to_eigen(const mlMatrix& a) {
  Eigen::MatrixXd m(a.rows(), a.cols());
  for (int i = 0; i < a.rows(); ++i) {
    for (int j = 0; j < a.cols(); ++j)
      m(i, j) = a(i, j);
  }
  return m;
}

Eigen::VectorXd to_eigen(const mlVector& v) {
  return Eigen::Map<const Eigen::VectorXd>(v.data(), v.dimension());
}

Body eigen(const Case& c) {
  const int n = c.rows;
  if (c.operation == "product") {
    return [n](benchmark::State& state) {
      const Eigen::MatrixXd a = to_eigen(random_matrix(n, n, 1));
      const Eigen::MatrixXd b = to_eigen(random_matrix(n, n, 2));
      Eigen::MatrixXd p(n, n);
      for (auto _ : state) {
        p.noalias() = a * b;
        benchmark::DoNotOptimize(p.data());
      }
    };
  }
  if (c.operation == "lu+solve") {
    return [n](benchmark::State& state) {
      const Eigen::MatrixXd a = to_eigen(random_matrix(n, n, 3));
      const Eigen::VectorXd b = to_eigen(random_vector(n));
      Eigen::VectorXd x(n);
      for (auto _ : state) {
        const Eigen::PartialPivLU<Eigen::MatrixXd> lu(a);
        x = lu.solve(b);
        benchmark::DoNotOptimize(x.data());
      }
    };
  }
  if (c.operation == "cholesky+solve") {
    return [n](benchmark::State& state) {
      const Eigen::MatrixXd a = to_eigen(random_spd(n));
      const Eigen::VectorXd b = to_eigen(random_vector(n));
      Eigen::VectorXd x(n);
      for (auto _ : state) {
        const Eigen::LLT<Eigen::MatrixXd> llt(a);
        x = llt.solve(b);
        benchmark::DoNotOptimize(x.data());
      }
    };
  }
  if (c.operation == "svd") {
    return [c](benchmark::State& state) {
      const Eigen::MatrixXd a = to_eigen(random_matrix(c.rows, c.cols, 4));
      for (auto _ : state) {
        const Eigen::BDCSVD<Eigen::MatrixXd> svd(a, Eigen::ComputeFullU | Eigen::ComputeFullV);
        benchmark::DoNotOptimize(svd.singularValues().data());
      }
    };
  }
  if (c.operation == "sym-eigen") {
    return [n](benchmark::State& state) {
      const Eigen::MatrixXd a = to_eigen(random_symmetric(n));
      for (auto _ : state) {
        const Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd> e(a);
        benchmark::DoNotOptimize(e.eigenvectors().data());
      }
    };
  }
  return [n](benchmark::State& state) {
    typedef Eigen::SparseMatrix<double, Eigen::RowMajor> Sparse;
    mlRandom random(6);
    Sparse a_b[2];
    for (Sparse& m : a_b) {
      const mlSparseMatrix s = paskosda_test::random_sparse(random, n, n, 8);
      std::vector<Eigen::Triplet<double>> triplets;
      for (int i = 0; i < s.rows(); ++i) {
        for (const mlSparseElement& e : s.row(s, i))
          triplets.emplace_back(i, e.column(), e.value());
      }
      m.resize(n, n);
      m.setFromTriplets(triplets.begin(), triplets.end());
    }
    Sparse p;
    for (auto _ : state) {
      p = a_b[0] * a_b[1];
      benchmark::DoNotOptimize(p.valuePtr());
    }
  };
}
#endif

// ---- BLAS and LAPACK ----------------------------------------------------------------------------

#ifdef PASKOSDA_BENCH_LAPACK
// a's elements column by column, as Fortran wants them.
std::vector<double> column_major(const mlMatrix& a) {
  std::vector<double> out(static_cast<std::size_t>(a.rows()) * a.cols());
  for (int j = 0; j < a.cols(); ++j) {
    for (int i = 0; i < a.rows(); ++i)
      out[static_cast<std::size_t>(j) * a.rows() + i] = a(i, j);
  }
  return out;
}

Body lapack(const Case& c) {
  const int n = c.rows;
  if (c.operation == "product") {
    return [n](benchmark::State& state) {
      const std::vector<double> a = column_major(random_matrix(n, n, 1));
      const std::vector<double> b = column_major(random_matrix(n, n, 2));
      std::vector<double> p(a.size());
      const double one = 1.0, zero = 0.0;
      for (auto _ : state) {
        dgemm_("N", "N", &n, &n, &n, &one, a.data(), &n, b.data(), &n, &zero, p.data(), &n, 1, 1);
        benchmark::DoNotOptimize(p.data());
      }
    };
  }
  if (c.operation == "lu+solve" || c.operation == "cholesky+solve") {
    const bool lu = c.operation == "lu+solve";
    return [n, lu](benchmark::State& state) {
      const std::vector<double> a = column_major(lu ? random_matrix(n, n, 3) : random_spd(n));
      const mlVector b = random_vector(n);
      std::vector<double> f(a.size()), x(static_cast<std::size_t>(n));
      std::vector<int> pivots(static_cast<std::size_t>(n));
      const int one = 1;
      for (auto _ : state) {
        std::copy(a.begin(), a.end(), f.begin());
        std::copy(b.data(), b.data() + n, x.begin());
        int info = 0;
        if (lu) {
          dgetrf_(&n, &n, f.data(), &n, pivots.data(), &info);
          dgetrs_("N", &n, &one, f.data(), &n, pivots.data(), x.data(), &n, &info, 1);
        } else {
          dpotrf_("L", &n, f.data(), &n, &info, 1);
          dpotrs_("L", &n, &one, f.data(), &n, x.data(), &n, &info, 1);
        }
        benchmark::DoNotOptimize(x.data());
      }
    };
  }
  if (c.operation == "svd") {
    return [c](benchmark::State& state) {
      const int m = c.rows, cols = c.cols;
      const std::vector<double> a = column_major(random_matrix(m, cols, 4));
      std::vector<double> f(a.size()), s(static_cast<std::size_t>(std::min(m, cols)));
      std::vector<double> u(static_cast<std::size_t>(m) * m),
          vt(static_cast<std::size_t>(cols) * cols);
      double size = 0.0;
      int lwork = -1, info = 0;
      dgesvd_("A", "A", &m, &cols, f.data(), &m, s.data(), u.data(), &m, vt.data(), &cols, &size,
              &lwork, &info, 1, 1);
      std::vector<double> work(static_cast<std::size_t>(size));
      lwork = static_cast<int>(work.size());
      for (auto _ : state) {
        std::copy(a.begin(), a.end(), f.begin());
        dgesvd_("A", "A", &m, &cols, f.data(), &m, s.data(), u.data(), &m, vt.data(), &cols,
                work.data(), &lwork, &info, 1, 1);
        benchmark::DoNotOptimize(s.data());
      }
    };
  }
  if (c.operation == "sym-eigen") {
    return [n](benchmark::State& state) {
      const std::vector<double> a = column_major(random_symmetric(n));
      std::vector<double> f(a.size()), w(static_cast<std::size_t>(n));
      double size = 0.0;
      int lwork = -1, info = 0;
      dsyev_("V", "U", &n, f.data(), &n, w.data(), &size, &lwork, &info, 1, 1);
      std::vector<double> work(static_cast<std::size_t>(size));
      lwork = static_cast<int>(work.size());
      for (auto _ : state) {
        std::copy(a.begin(), a.end(), f.begin());
        dsyev_("V", "U", &n, f.data(), &n, w.data(), work.data(), &lwork, &info, 1, 1);
        benchmark::DoNotOptimize(w.data());
      }
    };
  }
  return nullptr;  // no sparse routines in BLAS or LAPACK
}
#endif

// ---- Registration and the table -----------------------------------------------------------------

const char* const kLibraries[] = {"paskosda", "eigen", "lapack"};

void register_all() {
  for (const Case& c : cases()) {
    Body bodies[] = {paskosda(c), nullptr, nullptr};
#ifdef PASKOSDA_BENCH_EIGEN
    bodies[1] = eigen(c);
#endif
#ifdef PASKOSDA_BENCH_LAPACK
    bodies[2] = lapack(c);
#endif
    for (int l = 0; l < 3; ++l) {
      if (!bodies[l]) continue;
      const std::string name = c.operation + "/" + c.size() + "/" + kLibraries[l];
      benchmark::RegisterBenchmark(name.c_str(), bodies[l])
          ->Unit(benchmark::kMillisecond)
          ->MinTime(0.3)
          ->Repetitions(3)
          ->ReportAggregatesOnly(true);
    }
  }
}

// Keeps the median of every benchmark as it is reported.
class TableReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.aggregate_name == "median")
        medians_[run.run_name.function_name] = run.GetAdjustedRealTime();
    }
    ConsoleReporter::ReportRuns(runs);
  }

  void print_table() const {
    std::printf("\n%-16s %-10s %12s %12s %8s %12s %8s\n", "operation", "size", "paskosda ms",
                "Eigen ms", "ratio", "BLAS ms", "ratio");
    for (const Case& c : cases()) {
      const std::string key = c.operation + "/" + c.size() + "/";
      const double ours = find(key + kLibraries[0]);
      std::printf("%-16s %-10s %12.3f", c.operation.c_str(), c.size().c_str(), ours);
      for (int l = 1; l < 3; ++l) {
        const double theirs = find(key + kLibraries[l]);
        if (theirs > 0.0 && ours > 0.0) {
          std::printf(" %12.3f %8.2f", theirs, theirs / ours);
        } else {
          std::printf(" %12s %8s", "-", "-");
        }
      }
      std::printf("\n");
    }
    std::printf("ratio: the anchor's time over the library's (above 1: the library is faster)\n");
  }

 private:
  double find(const std::string& name) const {
    const auto it = medians_.find(name);
    return it == medians_.end() ? 0.0 : it->second;
  }
  std::map<std::string, double> medians_;
};

}  // namespace

int main(int argc, char** argv) {
#ifdef PASKOSDA_BENCH_LAPACK
  if (openblas_set_num_threads != nullptr) openblas_set_num_threads(1);
#endif
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  register_all();
  TableReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.print_table();
  benchmark::Shutdown();
  return 0;
}
