// Objects used again at the sizes they already hold allocate nothing. This binary replaces the
// global allocation functions to count the calls.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <functional>
#include <new>
#include <string>
#include <vector>

#include "decomp/mlCholeskyDecomposition.h"
#include "decomp/mlLUDecomposition.h"
#include "decomp/mlSingularValueDecomposition.h"
#include "decomp/mlTridiagonal.h"
#include "eigen/mlAsymEigenVecs.h"
#include "eigen/mlSymEigenVecs.h"
#include "linalg/mlMatrix.h"
#include "linalg/mlRandom.h"
#include "linalg/mlSlice.h"
#include "linalg/mlVector.h"
#include "roots/mlPolynomialSolver.h"

namespace {
std::atomic<long> allocations{0};
}  // namespace

void* operator new(std::size_t size) {
  allocations.fetch_add(1, std::memory_order_relaxed);
  if (void* p = std::malloc(size > 0 ? size : 1)) return p;
  throw std::bad_alloc();
}
void* operator new[](std::size_t size) { return operator new(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  allocations.fetch_add(1, std::memory_order_relaxed);
  return std::malloc(size > 0 ? size : 1);
}
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept {
  return operator new(size, tag);
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { std::free(p); }

namespace {

// The allocations of `call` made a second time, after a first call has sized everything.
long allocations_on_reuse(const std::function<void()>& call) {
  call();
  const long before = allocations.load();
  call();
  return allocations.load() - before;
}

mlMatrix random_matrix(int rows, int cols, long seed) {
  mlRandom random(seed);
  mlMatrix a(rows, cols);
  for (int i = 0; i < rows; ++i)
    for (int j = 0; j < cols; ++j)
      a(i, j) = random.uniform(-1.0, 1.0);
  return a;
}

mlMatrix random_spd(int n) {
  const mlMatrix m = random_matrix(n, n, 3);
  mlMatrix a(mlMatrixProduct, mlMatrix(mlMatrixTranspose, m), m);
  for (int i = 0; i < n; ++i)
    a(i, i) += n;
  return a;
}

TEST(Allocation, NoneWhenDecompositionsAreUsedAgainAtTheirSizes) {
  for (int n : {3, 4, 40, 300}) {
    const std::string at = "n = " + std::to_string(n);
    const mlMatrix a = random_matrix(n, n, 1), spd = random_spd(n), b = random_matrix(n, 2, 2);
    const mlVector bv(utCopy, b.col(0));
    mlVector x;
    mlMatrix xm;
    mlLUDecomposition lu(a);
    EXPECT_EQ(allocations_on_reuse([&] { lu.become(a).solve(bv, x); }), 0) << "LU " << at;
    EXPECT_EQ(allocations_on_reuse([&] { lu.solve(b, xm); }), 0) << "LU matrix " << at;
    mlCholeskyDecomposition llt(spd);
    EXPECT_EQ(allocations_on_reuse([&] { llt.become(spd).solve(bv, x); }), 0) << "LLT " << at;
    EXPECT_EQ(allocations_on_reuse([&] { llt.solve(b, xm); }), 0) << "LLT matrix " << at;
  }
}

TEST(Allocation, NoneWhenSolversAreUsedAgainAtTheirSizes) {
  for (int n : {2, 3, 12, 40}) {
    const std::string at = "n = " + std::to_string(n);
    const mlMatrix a = random_matrix(n, n, 4), tall = random_matrix(n + 3, n, 5);
    mlMatrix symmetric(mlMatrixProduct, mlMatrix(mlMatrixTranspose, a), a);
    mlSingularValueDecomposition svd(tall);
    EXPECT_EQ(allocations_on_reuse([&] { svd.become(tall); }), 0) << "SVD " << at;
    mlSymEigenVecs sym(symmetric);
    EXPECT_EQ(allocations_on_reuse([&] { sym.become(symmetric).calculate(); }), 0)
        << "symmetric eigen " << at;
    std::vector<double> lower(n, -1.0), diagonal(n, 4.0), upper(n, -1.0), d(n, 1.0), x(n);
    mlTridiagonal tri(n, mlSlice(lower.data(), 0, 1, n), mlSlice(diagonal.data(), 0, 1, n),
                      mlSlice(upper.data(), 0, 1, n));
    mlSlice xs(x.data(), 0, 1, n);
    EXPECT_EQ(allocations_on_reuse([&] {
                tri.become(n, mlSlice(lower.data(), 0, 1, n), mlSlice(diagonal.data(), 0, 1, n),
                           mlSlice(upper.data(), 0, 1, n));
                tri.solve(mlSlice(d.data(), 0, 1, n), xs);
                tri.solve_periodic(mlSlice(d.data(), 0, 1, n), xs);
              }),
              0)
        << "tridiagonal " << at;
  }
  const mlMatrix a2 = random_matrix(2, 2, 6), a3 = random_matrix(3, 3, 7);
  mlAsymEigenVecs2 e2(a2);
  mlAsymEigenVecs3 e3(a3);
  EXPECT_EQ(allocations_on_reuse([&] { e2.become(a2).calculate(); }), 0) << "2 by 2";
  EXPECT_EQ(allocations_on_reuse([&] { e3.become(a3).calculate(); }), 0) << "3 by 3";
  // (x - 1)(x - 2)(x - 3)(x + 4)(x - 0.5), its roots and extrema.
  const double c[] = {12, -32, 19.5, 5.5, -5.5, 1};
  double roots[5], t[4];
  int kind[4];
  EXPECT_EQ(allocations_on_reuse([&] {
              mlPolynomialSolver::solve_polynomial(5, c, -10, 10, roots);
              mlPolynomialSolver::solve_polynomial_allroots(5, c, roots);
              mlPolynomialSolver::solve_polynomial_extrema(5, c, -10, 10, t, kind);
            }),
            0)
      << "polynomial";
  // Degree 64, the largest the fixed workspace holds: t^64 - 1.
  double c64[65] = {-1};
  c64[64] = 1;
  double roots64[64], t64[63];
  int kind64[63];
  EXPECT_EQ(allocations_on_reuse([&] {
              mlPolynomialSolver::solve_polynomial_allroots(64, c64, roots64);
              mlPolynomialSolver::solve_polynomial_extrema(64, c64, -2, 2, t64, kind64);
            }),
            0)
      << "polynomial of degree 64";
}

}  // namespace
