// Fuzzes the LU and Cholesky decompositions: factorisation, the factors, determinant, vector
// and matrix solves and the inverse, on matrices of any values, and the raw elimination
// kernel on a matrix with right-hand-side columns. The queries run whether or not the matrix
// was found singular, as a caller that forgets to test the flag would run them. Input: the LU
// matrix's shape (square or not, up to 8 by 8) and values, a right-hand side vector and
// matrix, the Cholesky order and values (symmetric, or as given, or a Gram matrix), its
// right-hand sides, then the kernel's shape, values and pivot tolerance.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "decomp/mlCholeskyDecomposition.h"
#include "decomp/mlLUDecomposition.h"
#include "fuzz_input.h"
#include "linalg/mlMatrix.h"
#include "linalg/mlVector.h"

namespace {

void fuzz_lu(paskosda_fuzz::Input& in) {
  const int rows = in.integer(0, 8);
  const int cols = in.flag() ? in.integer(0, 8) : rows;
  const mlMatrix a = in.matrix(rows, cols);
  mlLUDecomposition lu(a);
  const int n = lu.dimension();
  FUZZ_EXPECT(n == rows);
  if (rows != cols) FUZZ_EXPECT(lu.is_singular() == 1);

  static_cast<void>(lu.determinant());
  mlMatrix l, u, p;
  lu.lower_matrix(l);
  lu.upper_matrix(u);
  lu.permutation_matrix(p);
  FUZZ_EXPECT(l.rows() == n && l.cols() == n && u.rows() == n && u.cols() == n);
  FUZZ_EXPECT(p.rows() == n && p.cols() == n);

  const mlVector b = in.vector(n);
  mlVector x;
  lu.solve(b, x);
  FUZZ_EXPECT(x.dimension() == n);

  const int k = in.integer(1, 3);
  const mlMatrix bm = in.matrix(n, k);
  mlMatrix xm;
  lu.solve(bm, xm);
  FUZZ_EXPECT(xm.rows() == n && xm.cols() == k);
  mlMatrix inv;
  lu.inverse(inv);
  FUZZ_EXPECT(inv.rows() == n && inv.cols() == n);

  // The same object refactorised: become must leave no trace of the first matrix.
  const mlMatrix a2 = in.matrix(n, n);
  lu.become(a2);
  lu.solve(b, x);
}

void fuzz_cholesky(paskosda_fuzz::Input& in) {
  const int n = in.integer(0, 8);
  const int form = in.integer(0, 2);
  mlMatrix a;
  if (form == 0) {
    a.become(utCopy, in.symmetric_matrix(n));
  } else if (form == 1) {
    a.become(utCopy, in.matrix(n, n));
  } else {
    // B^T B plus the diagonal: positive definite for most finite values, so the
    // substitutions run on a complete factor.
    const mlMatrix b = in.matrix(n, n);
    a.become(mlMatrixZero, n, n);
    for (int i = 0; i < n; ++i) {
      for (int j = 0; j < n; ++j) {
        double s = i == j ? 1.0 : 0.0;
        for (int r = 0; r < n; ++r)
          s += b(r, i) * b(r, j);
        a(i, j) = s;
      }
    }
  }
  mlCholeskyDecomposition chol(a);
  FUZZ_EXPECT(chol.dimension() == n);
  static_cast<void>(chol.is_singular());
  static_cast<void>(chol.determinant());
  mlMatrix l, li, orig;
  chol.matrix_l(l);
  chol.matrix_l_inverted(li);
  chol.matrix_original(orig);
  FUZZ_EXPECT(l.rows() == n && li.rows() == n && orig.rows() == n);

  const mlVector b = in.vector(n);
  mlVector x;
  chol.solve(b, x);
  FUZZ_EXPECT(x.dimension() == n);
  const int k = in.integer(1, 3);
  const mlMatrix bm = in.matrix(n, k);
  mlMatrix xm;
  chol.solve(bm, xm);
  FUZZ_EXPECT(xm.rows() == n && xm.cols() == k);
  mlMatrix inv;
  chol.inverse(inv);
  FUZZ_EXPECT(inv.rows() == n && inv.cols() == n);
}

void fuzz_elimination(paskosda_fuzz::Input& in) {
  const int r = in.integer(0, 6);
  const int c = r + in.integer(0, 3);
  mlMatrix a = in.matrix(r, c);
  const double tolerance = in.real();
  std::vector<int> permutation(static_cast<std::size_t>(r));
  int swaps = 0;
  const int ok = ml_lu_eliminate(a, permutation.data(), &swaps, tolerance);
  FUZZ_EXPECT(ok == 0 || ok == 1);
  FUZZ_EXPECT(swaps >= 0 && swaps <= r);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  paskosda_fuzz::Input in(data, size);
  fuzz_lu(in);
  fuzz_cholesky(in);
  fuzz_elimination(in);
  return 0;
}
