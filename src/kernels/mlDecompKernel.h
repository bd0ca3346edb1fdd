#ifndef PASKOSDA_SRC_KERNELS_MLDECOMPKERNEL_H
#define PASKOSDA_SRC_KERNELS_MLDECOMPKERNEL_H

// The elimination and substitution kernels behind the LU and Cholesky decompositions. Private
// to the library: not installed, not exported; the tests and benchmarks link the kernel
// objects themselves.
//
// Each gives exactly the bits of the plain loops that define it: every element receives the
// same operations (each product rounded by itself, then subtracted from the running value, in
// the defined order), with the same operands in the same places. The kernels only reorder
// work between independent elements, never the operations on one element.

#include "containers/coDynArr.h"
#include "kernels/mlKernelSupport.h"

namespace paskosda_detail {

// Gaussian elimination with partial pivoting of the r x c matrix a (row stride c, c >= r >= 1),
// as `ml_lu_eliminate` defines it; permutation and *swaps are set from the start.
int lu_eliminate_kernel(double* a, int r, int c, int* permutation, int* swaps, double tolerance,
                        KernelIsa isa = KernelIsa::Best) noexcept;

// x (n x k, row stride k) := L^-1 x for the unit lower factor stored strictly below the
// diagonal of lu (n x n): x(i, col) -= x(j, col) * L(i, j) for ascending j.
void lu_forward_matrix(const double* lu, int n, double* x, int k,
                       KernelIsa isa = KernelIsa::Best) noexcept;

// x (n x k) := U^-1 x for the upper factor of lu: the last row is multiplied by the reciprocal
// of U(n-1, n-1); each row above is x(i, col) - x(m, col) * U(i, m) for m = i+1 ... n-1, then
// divided by U(i, i).
void lu_back_matrix(const double* lu, int n, double* x, int k,
                    KernelIsa isa = KernelIsa::Best) noexcept;

// Up to this order, the LU elimination of a square matrix and its vector solve run unrolled.
inline constexpr int kSmallOrder = 4;

// The vector solve of an LU factorisation of order n (1 <= n <= kSmallOrder), as
// `mlLUDecomposition::solve` defines it: x[i] = b[permutation[i]], then the forward and back
// substitutions.
void lu_solve_small(const double* lu, const int* permutation, int n, const double* b,
                    double* x) noexcept;

// The vector form of lu_forward_matrix (k = 1).
void lu_forward_vector(const double* lu, int n, double* x) noexcept;

// The back substitution of the vector solve: x[n - 1] divided by U(n - 1, n - 1), then each row
// above x[i] - x[m] * U(i, m) for ascending m, divided by U(i, i) (n >= 1).
void lu_back_vector(const double* lu, int n, double* x) noexcept;

// The Cholesky factorisation of the n x n matrix a (row stride n) as `ml_cholesky_factor`
// defines it, writing L strictly below the diagonal and its diagonal into `diagonal`.
int cholesky_factor_kernel(double* a, int n, doublecoDynArr& diagonal,
                           KernelIsa isa = KernelIsa::Best) noexcept;

// The matrix form of `ml_cholesky_substitute`: each of the k columns of x (n x k, row stride k)
// is replaced by the solution of L * L^T * x = that column, with L strictly below the diagonal
// of a (n x n) and its diagonal in `diagonal`; every column gets exactly the operations of the
// vector routine.
void cholesky_solve_matrix(const double* a, int n, const double* diagonal, double* x, int k,
                           KernelIsa isa = KernelIsa::Best) noexcept;

}  // namespace paskosda_detail

#endif  // PASKOSDA_SRC_KERNELS_MLDECOMPKERNEL_H
