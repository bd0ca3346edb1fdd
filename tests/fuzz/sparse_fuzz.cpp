// Fuzzes the sparse matrices: general and symmetric matrices with entries of any values in
// any (ascending) pattern, and their products, transposes, A^T A, matrix-vector and
// matrix-matrix products, sums, sub-matrices and concatenations. Input: A's shape (1 ... 8 by
// 1 ... 8) and entries, B's column count and entries (B has A's column count as rows), then a
// dense vector and matrix, and the corner and size of a sub-matrix.

#include <cstddef>
#include <cstdint>

#include "fuzz_input.h"
#include "linalg/mlMatrix.h"
#include "linalg/mlVector.h"
#include "sparse/mlSparseMatrix.h"

namespace {

// An r by c matrix whose row i holds the columns picked by one mask byte (so a row has at most
// 8 entries, the first 8 columns), in ascending order, each with a decoded value.
void fill(paskosda_fuzz::Input& in, mlSparseMatrix& a, int r, int c) {
  a.become(mlMatrixZero, r, c);
  for (int i = 0; i < r; ++i) {
    const int mask = in.byte();
    for (int j = 0; j < c && j < 8; ++j) {
      if ((mask >> j) & 1) a.set(i, j, in.real());
    }
  }
}

// The upper triangle of an n by n symmetric matrix, by the same masks (columns j >= i).
void fill(paskosda_fuzz::Input& in, mlSparseSymMatrix& s, int n) {
  s.become(mlMatrixZero, n);
  for (int i = 0; i < n; ++i) {
    const int mask = in.byte();
    for (int j = i; j < n; ++j) {
      if ((mask >> j) & 1) s.set(i, j, in.real());
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  paskosda_fuzz::Input in(data, size);
  const int r = in.integer(1, 8);
  const int c = in.integer(1, 8);
  mlSparseMatrix a;
  fill(in, a, r, c);
  const int k = in.integer(1, 8);
  mlSparseMatrix b;
  fill(in, b, c, k);

  const mlSparseMatrix t(mlMatrixTranspose, a);
  FUZZ_EXPECT(t.rows() == c && t.cols() == r);
  FUZZ_EXPECT(t.num_non_zero_elements() == a.num_non_zero_elements());
  const mlSparseMatrix ab(mlMatrixProduct, a, b);
  FUZZ_EXPECT(ab.rows() == r && ab.cols() == k);
  const mlSparseSymMatrix ata(mlMatrixPremultiplyTranspose, a);
  FUZZ_EXPECT(ata.rows() == c && ata.cols() == c);
  const mlSparseMatrix full(utCopy, ata);
  FUZZ_EXPECT(full.rows() == c && full.cols() == c);

  const mlVector x = in.vector(c);
  mlVector y;
  a.multiply_vector(x, y);
  FUZZ_EXPECT(y.dimension() == r);
  mlVector ys;
  ata.multiply_vector(x, ys);
  FUZZ_EXPECT(ys.dimension() == c);
  const mlMatrix m = in.matrix(c, 2);
  mlMatrix am;
  a.multiply_matrix(m, am);
  FUZZ_EXPECT(am.rows() == r && am.cols() == 2);
  mlMatrix sm;
  ata.multiply_matrix(m, sm);
  mlMatrix dense;
  a.decompress(dense);
  ata.decompress(dense);

  // Sub-matrix within A.
  const int r0 = in.integer(0, r - 1);
  const int c0 = in.integer(0, c - 1);
  const int nr = in.integer(0, r - r0);
  const int nc = in.integer(0, c - c0);
  mlSparseMatrix sub;
  a.extract_sub_matrix(r0, c0, nr, nc, sub);

  // In-place arithmetic and concatenations on copies.
  mlSparseMatrix sum(utCopy, a);
  sum += a;
  sum -= a;
  sum *= in.real();
  sum /= in.real();
  mlSparseMatrix grown(utCopy, a);
  grown.concatenate_below(a);
  const mlSparseMatrix right(utCopy, grown);
  grown.concatenate_right(right);
  grown.concatenate_diagonal(b);
  mlSparseMatrix gram(mlMatrixTranspose, grown);
  gram.become(mlMatrixProduct, grown, gram);
  FUZZ_EXPECT(gram.rows() == grown.rows() && gram.cols() == grown.rows());
  gram.become(mlMatrixTranspose, gram);

  mlSparseSymMatrix s;
  fill(in, s, c);
  mlSparseSymMatrix s2(utCopy, ata);
  s2 += s;
  s2 -= s;
  s2.concatenate(t);
  s2.concatenate_diagonal(s);
  mlMatrix sd;
  s2.decompress(sd);
  FUZZ_EXPECT(sd.rows() == s2.rows() && sd.cols() == s2.cols());
  return 0;
}
