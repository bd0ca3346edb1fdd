// Every precondition a caller can break on the core types stops a checked build with a
// message that names the function and the sizes. This binary links the checked library.
#include <gtest/gtest.h>

#include <functional>

#include "containers/coPageArr.h"
#include "decomp/mlCholeskyDecomposition.h"
#include "decomp/mlLUDecomposition.h"
#include "decomp/mlSingularValueDecomposition.h"
#include "decomp/mlTridiagonal.h"
#include "linalg/mlMatrix.h"
#include "sparse/mlSparseMatrix.h"
#include "support/test_support.h"

#ifndef PASKOSDA_CHECKED
#error "the precondition tests need a checked build (PASKOSDA_CHECKED)"
#endif

namespace {

using paskosda_test::mat;
using paskosda_test::vec;

const mlMatrix& spd3() {
  static const mlMatrix a = mat(3, 3, {4, 1, 0, 1, 4, 1, 0, 1, 4});
  return a;
}

struct BrokenCall {
  const char* what;
  std::function<void()> call;
  const char* message;  // a regular expression for what stderr must show
};

// Products, element access and shape changes of dense matrices.
std::vector<BrokenCall> matrix_calls() {
  return {
      {"matrix product of 2x3 by 4x2",
       [] {
         mlMatrix c;
         multiply(mat(2, 3, {1, 2, 3, 4, 5, 6}), mat(4, 2, {1, 2, 3, 4, 5, 6, 7, 8}), c);
       },
       "multiply: a is 2x3, b is 4x2"},
      {"product through the mlMatrixProduct constructor",
       [] { mlMatrix c(mlMatrixProduct, mlMatrix(2, 3), mlMatrix(2, 3)); },
       "multiply: a is 2x3, b is 2x3"},
      {"matrix times a vector too short",
       [] {
         mlVector w;
         multiply(mlMatrix(mlMatrixZero, 2, 3), vec({1, 2}), w);
       },
       "multiply: a is 2x3 \\(6 stored\\), v has dimension 2"},
      {"matrix times a vector too long",
       [] {
         mlVector w(mlMatrixProduct, mlMatrix(mlMatrixZero, 2, 3), vec({1, 2, 3, 4}));
       },
       "v has dimension 4"},
      {"const element access outside a 3x3 matrix",
       [] {
         const mlMatrix m(mlMatrixIdentity, 3);
         volatile double x = m(5, 5);
         (void)x;
       },
       "mlMatrix::operator\\(\\)\\(5, 5\\) const of a 3x3 matrix"},
      {"row past the last", [] { mlMatrix(mlMatrixIdentity, 3).row(3); },
       "mlMatrix::row\\(3\\) of 3 rows"},
      {"column past the last",
       [] {
         const mlMatrix m(mlMatrixZero, 2, 3);
         m.col(-1);
       },
       "mlMatrix::col\\(-1\\) const of 3 columns"},
      {"delete_row past the last", [] { mlMatrix(mlMatrixIdentity, 2).delete_row(2); },
       "mlMatrix::delete_row\\(2\\) of 2 rows"},
      {"swap_cols past the last", [] { mlMatrix(mlMatrixIdentity, 2).swap_cols(0, 5); },
       "mlMatrix::swap_cols\\(0, 5\\) of 2 columns"},
      {"append_col shorter than the rows",
       [] {
         mlMatrix(mlMatrixIdentity, 3).append_col(vec({1, 2}));
       },
       "mlMatrix::append_col: a column of 2 for 3 rows"},
      {"matrix comparison with a smaller one",
       [] { (void)(mlMatrix(mlMatrixIdentity, 3) == mlMatrix(mlMatrixIdentity, 2)); },
       "operator==: a holds 9 elements, b 4"},
  };
}

// Element access and arithmetic of arrays, vectors and slices.
std::vector<BrokenCall> vector_calls() {
  return {
      {"const vector element past the end",
       [] {
         const mlVector v = vec({1, 2, 3});
         volatile double x = v[3];
         (void)x;
       },
       "coDynArr::operator\\[\\]\\(i = 3\\) const of 3 elements"},
      {"paged array element past the end",
       [] {
         const doublecoPageArr a{1.0, 2.0};
         volatile double x = a[2];
         (void)x;
       },
       "coPageArr::operator\\[\\]\\(i = 2\\) const of 2 elements"},
      {"<3> += <2>",
       [] {
         mlVector v = vec({1, 2, 3});
         v += vec({1, 2});
       },
       "mlVector::operator\\+=: a vector of 3 and one of 2"},
      {"<3> -= a slice of 2",
       [] {
         mlVector v = vec({1, 2, 3});
         const mlVector w = vec({1, 2});
         v -= w.slice();
       },
       "mlVector::operator-=: a vector of 3 and a slice of 2"},
      {"vector assignment from a shorter one",
       [] {
         mlVector v = vec({1, 2, 3});
         v = vec({1});
       },
       "mlVector::operator=: a vector of 3 from one of 1"},
      {"scalar product with a shorter vector",
       [] {
         (void)scalar_product(vec({1, 2, 3}), vec({1, 2}));
       },
       "scalar_product: a vector of 3 with one of 2"},
      {"distance between slices of different lengths",
       [] {
         const mlVector a = vec({1, 2, 3});
         (void)distance_squared(a.slice(), a.slice(0, 1, 2));
       },
       "distance_squared: a slice of 3 with one of 2"},
      {"vector comparison with a shorter one",
       [] {
         (void)(vec({1, 2, 3}) == vec({1, 2}));
       },
       "operator==: a vector of 3 with one of 2"},
      {"slice element past its count",
       [] {
         mlVector v = vec({1, 2, 3, 4});
         mlSlice s = v.slice(0, 2, 2);
         s[2] = 0.0;
       },
       "mlSlice::operator\\[\\]\\(i = 2\\) of 2 elements"},
      {"delete_element past the end",
       [] {
         vec({1, 2}).delete_element(2);
       },
       "mlVector::delete_element\\(i = 2\\) of a vector of 2"},
  };
}

// Decompositions, tridiagonal and sparse matrices.
std::vector<BrokenCall> solver_calls() {
  return {
      {"LU solve with 7 right-hand sides for a 3x3 system",
       [] {
         const mlLUDecomposition lu(spd3());
         mlVector x;
         lu.solve(vec({1, 2, 3, 4, 5, 6, 7}), x);
       },
       "mlLUDecomposition::solve: b has 7 elements, n = 3"},
      {"LU matrix solve with the wrong rows",
       [] {
         const mlLUDecomposition lu(spd3());
         mlMatrix x;
         lu.solve(mlMatrix(mlMatrixIdentity, 2), x);
       },
       "mlLUDecomposition::solve: b is 2x2, n = 3"},
      {"Cholesky solve with 2 right-hand sides for a 3x3 system",
       [] {
         const mlCholeskyDecomposition chol(spd3());
         mlVector x;
         chol.solve(vec({1, 2}), x);
       },
       "mlCholeskyDecomposition::solve: b has 2 elements, n = 3"},
      {"SVD solve with the wrong length",
       [] {
         const mlSingularValueDecomposition svd(spd3());
         mlVector x;
         svd.solve(vec({1, 2, 3, 4}), x);
       },
       "mlSingularValueDecomposition::solve: b has 4 elements, A\\^\\+ is 3 by 3"},
      {"tridiagonal solve with a short right-hand side",
       [] {
         const mlVector lower = vec({0, 1, 1}), diagonal = vec({4, 4, 4}), upper = vec({1, 1, 0});
         const mlTridiagonal t(3, lower.slice(), diagonal.slice(), upper.slice());
         const mlVector d = vec({1, 2});
         mlVector x(mlVectorZero, 3);
         mlSlice xs = x.slice();
         t.solve(d.slice(), xs);
       },
       "mlTridiagonal::solve: n = 3, d has 2 elements, x 3"},
      {"sparse product of 2x2 by 3x3",
       [] {
         mlSparseMatrix c(mlMatrixProduct, mlSparseMatrix(mlMatrixIdentity, 2),
                          mlSparseMatrix(mlMatrixIdentity, 3));
       },
       "sparse product of 2 by 2 with 3 by 3"},
      {"sparse matrix times a vector too long",
       [] {
         mlVector y;
         mlSparseMatrix(mlMatrixIdentity, 2).multiply_vector(vec({1, 2, 3}), y);
       },
       "mlSparseMatrix::multiply_vector: 2 columns, x of 3"},
      {"sparse element outside the matrix",
       [] { (void)mlSparseMatrix(mlMatrixIdentity, 3).element(5, 0); },
       "mlSparseMatrix::element\\(5, 0\\) of a 3 by 3 matrix"},
      {"sparse symmetric element outside the matrix",
       [] { (void)mlSparseSymMatrix(mlMatrixIdentity, 2).element(0, 2); },
       "mlSparseSymMatrix::element\\(0, 2\\) of a 2 by 2 matrix"},
  };
}

TEST(mlPreconditions, EachBrokenPreconditionStopsWithItsMessage) {
  for (const auto& table : {matrix_calls(), vector_calls(), solver_calls()}) {
    for (const BrokenCall& row : table) {
      SCOPED_TRACE(row.what);
      EXPECT_DEATH(row.call(), std::string("paskosda: precondition failed in .*") + row.message);
    }
  }
}

// The growing accesses are specified behaviour, not errors, and stay unchecked.
TEST(mlPreconditions, GrowingAccessIsNotAnError) {
  mlMatrix m(mlMatrixIdentity, 3);
  m(5, 5) = 1.0;
  mlVector v = vec({1, 2});
  v[4] = 3.0;
  EXPECT_EQ(v.dimension(), 5);
  const mlMatrix empty;
  EXPECT_EQ(empty.row(0).dimension(), 0);
}

}  // namespace
