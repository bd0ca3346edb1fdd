// Sparse matrices: the difference operator D of a 1-D grid built row by row, products with
// vectors, its transpose, and the 1-D Laplacian D^T D as a general and as a symmetric matrix.
#include <paskosda.h>

#include <iostream>

int main() {
  // D maps the values at 6 grid nodes to the 5 differences between neighbours: row i holds
  // -1 at column i and 1 at column i + 1. Each row is filled in ascending column order.
  const int nodes = 6;
  mlSparseMatrix d(mlMatrixZero, nodes - 1, nodes);
  for (int i = 0; i + 1 < nodes; ++i) {
    d.set(i, i, -1.0);
    d.set(i, i + 1, 1.0);
  }
  mlMatrix dense;
  d.decompress(dense);
  std::cout << "D: " << d.rows() << " x " << d.cols() << ", " << d.num_non_zero_elements()
            << " stored entries\n"
            << dense;

  // Differences of the squares 0, 1, 4, ... are the odd numbers.
  mlVector squares(mlVectorDim, nodes);
  for (int i = 0; i < nodes; ++i)
    squares[i] = i * i;
  mlVector differences;
  d.multiply_vector(squares, differences);
  std::cout << "x = " << squares << "D x = " << differences;

  // The transpose, built by walking D's rows once: 6 x 5, rows still in column order.
  const mlSparseMatrix dt(mlMatrixTranspose, d);
  std::cout << "D^T: " << dt.rows() << " x " << dt.cols() << ", row 2 holds";
  mlSparseRowIT it = dt.row_iterator(2);
  for (const mlSparseElement* e = it.advance(); e != nullptr; e = it.advance())
    std::cout << " (" << e->column() << ", " << e->value() << ")";
  std::cout << "\n\n";

  // D^T D is the (positive semi-definite) 1-D Laplacian with free ends: 1, 2, ..., 2, 1 on
  // the diagonal and -1 beside it. As a product of two sparse matrices...
  const mlSparseMatrix laplacian(mlMatrixProduct, dt, d);
  laplacian.decompress(dense);
  std::cout << "L = D^T D: " << laplacian.num_non_zero_elements() << " stored entries\n" << dense;

  // ... or straight from D as a symmetric matrix that keeps only its upper triangle. Both
  // give the same numbers.
  const mlSparseSymMatrix normal(mlMatrixPremultiplyTranspose, d);
  mlMatrix dense_sym;
  normal.decompress(dense_sym);
  std::cout << "the symmetric form stores " << normal.num_non_zero_elements()
            << " entries; same matrix: " << (dense_sym == dense ? "yes" : "no") << "\n";

  // L takes constants to zero, and the squares to minus their second difference, -2, at the
  // inner nodes (each end node sees only one neighbour).
  mlVector ones(mlVectorZero, nodes);
  ones += 1.0;
  mlVector y;
  laplacian.multiply_vector(ones, y);
  std::cout << "L * ones = " << y;
  normal.multiply_vector(squares, y);
  std::cout << "L * x = " << y;
  return 0;
}
