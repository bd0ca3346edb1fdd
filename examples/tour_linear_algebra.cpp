// The tour's linear algebra: systems, singular values, eigen-analysis and sparse matrices.
#include "tour.h"

#include <cmath>
#include <iomanip>
#include <iostream>

namespace tour {

void lu_and_cholesky() {
  const Section section("Linear systems: LU and Cholesky");
  std::cout << std::setprecision(6);

  // The typical use: fill A and b, factorise once, test for a singular matrix, solve.
  const double a_elements[] = {2, 1, 1, 4, -6, 0, -2, 7, 2};
  const double b_elements[] = {5, -2, 9};
  const mlMatrix a(utConvert, a_elements, 3, 3);
  mlVector b;
  b.become(utConvert, b_elements, 3);
  const mlLUDecomposition lu(a);
  if (lu.is_singular() != 0) {
    std::cout << "A is singular\n";
    return;
  }
  mlVector x;
  lu.solve(b, x);
  mlVector residual(mlMatrixProduct, a, x);
  residual -= b;
  std::cout << "A x = b with A =\n"
            << a << "b = " << b << "x = " << x
            << "by LU with partial pivoting: det A = " << lu.determinant()
            << ", largest |A x - b| = " << residual.max_absolute_value() << "\n";
  // The factors: a unit lower L, an upper U and the row permutation P with P A = L U.
  mlMatrix p, l, u;
  lu.permutation_matrix(p);
  lu.lower_matrix(l);
  lu.upper_matrix(u);
  const mlMatrix pa(mlMatrixProduct, p, a), product(mlMatrixProduct, l, u);
  std::cout << "P A = L U exactly: " << (pa == product ? "yes" : "no") << ", with U =\n" << u;
  // A pivot below 1e-20 marks the matrix singular; the queries do not check, callers do.
  const double rank_one[] = {1, 2, 2, 4};
  std::cout << "[[1, 2], [2, 4]] is singular: "
            << mlLUDecomposition(mlMatrix(utConvert, rank_one, 2, 2)).is_singular() << "\n";

  // Cholesky for symmetric positive-definite matrices: the ill-conditioned Hilbert matrix.
  const int n = 6;
  const mlMatrix h(mlMatrixHilbert, n);
  const mlCholeskyDecomposition cholesky(h);
  mlVector ones(mlVectorZero, n);
  ones += 1.0;
  const mlVector hb(mlMatrixProduct, h, ones);
  mlVector y;
  cholesky.solve(hb, y);
  std::cout << "\nCholesky of the 6x6 Hilbert matrix (condition about 1.5e7): positive definite "
            << (cholesky.is_singular() == 0 ? "yes" : "no") << ", det " << std::scientific
            << std::setprecision(3) << cholesky.determinant() << std::fixed << std::setprecision(6)
            << "\n  H y = H (1, ..., 1) gives y = " << y << "  largest error " << std::scientific
            << std::setprecision(1) << norm_diff(y, ones) << "\n";
}

void qr_and_tridiagonal() {
  const Section section("Linear systems: QR by Gram-Schmidt, periodic tridiagonal");
  std::cout << std::setprecision(6);

  // QR one vector at a time: Q's rows are the orthogonalised inputs, inputs = R Q.
  mlMatrix q, r;
  mlQRDecomposition qr(&q, &r);
  const double rows[][3] = {{1, 1, 0}, {1, 0, 1}, {2, 1, 1}};
  std::cout << "QR by Gram-Schmidt:";
  for (const double* row : rows) {
    mlVector v(mlVectorDim, 3);
    v.become(utConvert, row, 3);
    qr.add(&v);
    std::cout << " (" << row[0] << ", " << row[1] << ", " << row[2] << ") "
              << (qr.status() == mlQRDependent ? "dependent (not added)" : "added,");
  }
  std::cout << "\nQ (orthogonal rows) =\n" << q << "R =\n" << r;

  // A periodic tridiagonal system: 4 on the diagonal, 1 beside it and in both corners.
  const int m = 6;
  mlVector lower(mlVectorDim, m), diagonal(mlVectorDim, m), upper(mlVectorDim, m),
      d(mlVectorDim, m), solution(mlVectorZero, m);
  for (int i = 0; i < m; ++i) {
    lower[i] = 1.0;
    diagonal[i] = 4.0;
    upper[i] = 1.0;
    d[i] = 6.0 + i;
  }
  const mlTridiagonal cyclic(m, lower.slice(), diagonal.slice(), upper.slice());
  mlSlice xs = solution.slice();
  cyclic.solve_periodic(d.slice(), xs);
  std::cout << "\nperiodic tridiagonal, 4 on the diagonal and 1 beside it and in the corners:\n"
            << "  diagonally dominant " << cyclic.diagonally_dominant() << ", corners of one sign "
            << cyclic.same_sign_corners() << "\n  d = " << d << "  x = " << solution;
  // Check: each row is x[i-1] + 4 x[i] + x[i+1] with the indices wrapping round.
  double worst = 0.0;
  for (int i = 0; i < m; ++i) {
    const double row = solution[(i + m - 1) % m] + 4.0 * solution[i] + solution[(i + 1) % m];
    worst = std::fmax(worst, std::fabs(row - d[i]));
  }
  std::cout << "  largest residual of the cyclic rows " << std::scientific << std::setprecision(1)
            << worst << "\n";
}

void singular_values() {
  const Section section("Singular value decomposition and least squares");

  // Fit y = c0 + c1 t + c2 t^2 to six measurements: six equations, three unknowns.
  const double t[] = {0, 1, 2, 3, 4, 5};
  const double y[] = {1.1, 1.9, 5.2, 10.1, 16.8, 26.0};
  mlMatrix a(6, 3);
  mlVector b(mlVectorDim, 6);
  for (int i = 0; i < 6; ++i) {
    a(i, 0) = 1.0;
    a(i, 1) = t[i];
    a(i, 2) = t[i] * t[i];
    b[i] = y[i];
  }
  const mlSingularValueDecomposition svd(a);
  std::cout << "fit y = c0 + c1 t + c2 t^2 to 6 measurements, A c = y:\n"
            << "singular values of A: " << svd.diagonal();
  std::cout << "rank at tolerance 1e-7: " << svd.rank(1e-7) << "\n";

  // The pseudo-inverse gives the least-squares solution.
  mlVector c;
  svd.solve(b, c);
  std::cout << "least-squares coefficients c0, c1, c2: " << c;
  mlVector fitted(mlMatrixProduct, a, c);
  fitted -= b;
  std::cout << "residual norm: " << fitted.modulus() << "\n";

  // Add a column that repeats t: the matrix loses rank, and the pseudo-inverse returns the
  // solution of least norm, sharing the slope between the two equal columns.
  mlMatrix redundant(6, 4);
  for (int i = 0; i < 6; ++i) {
    for (int j = 0; j < 3; ++j)
      redundant(i, j) = a(i, j);
    redundant(i, 3) = t[i];
  }
  const mlSingularValueDecomposition deficient(redundant);
  std::cout << "with a repeated column, s = " << deficient.diagonal();
  std::cout << "rank " << deficient.rank(1e-7) << ", singular: " << deficient.is_singular(1e-7)
            << "\n";
  mlVector d;
  deficient.solve(b, d);
  std::cout << "minimum-norm coefficients: " << d;
}

void eigen_and_pca() {
  const Section section("Eigen-analysis and principal component analysis");

  // Stiffness matrix of four equal springs in a chain, fixed at one end, free at the other.
  // Its eigenvalues are the squared natural frequencies (unit masses), its eigenvectors the
  // mode shapes.
  const double k[] = {2, -1, 0, 0, -1, 2, -1, 0, 0, -1, 2, -1, 0, 0, -1, 1};
  const mlMatrix stiffness(utConvert, k, 4, 4);
  mlSymEigenVecs modes(stiffness);
  modes.set_tolerance(1e-12);
  modes.calculate();
  mlVector lambda;
  modes.eigen_values(lambda);
  std::cout << "spring chain: eigenvalues (largest first) " << lambda;
  std::cout << "mode shapes, one per column:\n" << modes.eigen_vectors();
  double residual = 0.0;
  for (int c = 0; c < 4; ++c) {
    mlVector kv;
    multiply(stiffness, modes.eigen_vector(c), kv);
    for (int i = 0; i < 4; ++i) {
      const double r = std::fabs(kv[i] - lambda[c] * modes.eigen_vector(c)[i]);
      if (r > residual) residual = r;
    }
  }
  std::cout << "largest |K v - lambda v|: " << residual << "\n";

  // A 3-D point cloud: 2000 points spread 3, 1 and 0.2 (standard deviations) along three
  // perpendicular directions, around (1, 2, 3).
  const double u[3][3] = {
      {2.0 / 3, 2.0 / 3, 1.0 / 3}, {-2.0 / 3, 1.0 / 3, 2.0 / 3}, {1.0 / 3, -2.0 / 3, 2.0 / 3}};
  const double spread[3] = {3.0, 1.0, 0.2};
  const double centre[3] = {1.0, 2.0, 3.0};
  mlRandom random(2718);
  doublecoDynArr2D cloud;
  for (int i = 0; i < 2000; ++i) {
    double t[3];
    for (int a = 0; a < 3; ++a) {
      // The sum of 12 uniforms on [-0.5, 0.5) has variance 1.
      double g = 0.0;
      for (int r = 0; r < 12; ++r)
        g += random.uniform(-0.5, 0.5);
      t[a] = spread[a] * g;
    }
    for (int j = 0; j < 3; ++j)
      cloud(i, j) = centre[j] + t[0] * u[0][j] + t[1] * u[1][j] + t[2] * u[2][j];
  }
  const mlPCA pca(cloud);
  std::cout << "PCA of 2000 points, status " << pca.status() << "\n";
  const doublecoDynArr& c = pca.mass_centre();
  std::cout << "mass centre: (" << c[0] << ", " << c[1] << ", " << c[2] << ")\n";
  std::cout << "variances (expected about 9, 1, 0.04): " << pca.eigenvalues();
  std::cout << "axes (expected up to sign: (2, 2, 1) / 3, (-2, 1, 2) / 3, (1, -2, 2) / 3):\n";
  for (int a = 0; a < 3; ++a) {
    mlVector axis;
    pca.axis(a, axis);
    std::cout << "  " << axis;
  }
}

void sparse_matrices() {
  const Section section("Sparse matrices");

  // The 5-point Laplacian of a 4 x 4 grid: 16 unknowns, 4 on the diagonal and -1 for each
  // neighbour. Each row is filled in ascending column order: up, left, centre, right, down.
  const int m = 4, n = m * m;
  mlSparseMatrix laplacian(mlMatrixZero, n, n);
  for (int r = 0; r < m; ++r) {
    for (int c = 0; c < m; ++c) {
      const int i = m * r + c;
      if (r > 0) laplacian.set(i, i - m, -1.0);
      if (c > 0) laplacian.set(i, i - 1, -1.0);
      laplacian.set(i, i, 4.0);
      if (c + 1 < m) laplacian.set(i, i + 1, -1.0);
      if (r + 1 < m) laplacian.set(i, i + m, -1.0);
    }
  }
  std::cout << "Laplacian of a 4 x 4 grid: " << laplacian.rows() << " x " << laplacian.cols()
            << ", " << laplacian.num_non_zero_elements() << " stored entries\n";

  // A block cut out of it, expanded to a dense matrix for printing.
  mlSparseMatrix corner;
  laplacian.extract_sub_matrix(0, 0, 6, 6, corner);
  mlMatrix dense_corner;
  corner.decompress(dense_corner);
  std::cout << "its top-left 6 x 6 block:\n" << dense_corner;

  // L * ones counts the missing neighbours: 2 at the corners, 1 along the edges, 0 inside.
  mlVector ones(mlVectorZero, n);
  ones += 1.0;
  mlVector y;
  laplacian.multiply_vector(ones, y);
  std::cout << "L * ones, laid out on the grid:\n";
  for (int r = 0; r < m; ++r) {
    std::cout << " ";
    for (int c = 0; c < m; ++c)
      std::cout << ' ' << y[m * r + c];
    std::cout << "\n";
  }

  // The Laplacian is symmetric: its transpose expands to the same dense matrix.
  const mlSparseMatrix transposed(mlMatrixTranspose, laplacian);
  mlMatrix dense_l, dense_t;
  laplacian.decompress(dense_l);
  transposed.decompress(dense_t);
  std::cout << "L equals its transpose: " << (dense_l == dense_t ? "yes" : "no") << "\n";

  // L * L is the 13-point biharmonic stencil; row 5 (an interior point) shows it.
  const mlSparseMatrix square(mlMatrixProduct, laplacian, laplacian);
  std::cout << "L * L stores " << square.num_non_zero_elements()
            << " entries; row 5 as (column, value):\n ";
  mlSparseRowIT it = square.row_iterator(5);
  for (const mlSparseElement* e = it.advance(); e != nullptr; e = it.advance())
    std::cout << " (" << e->column() << ", " << e->value() << ")";
  std::cout << "\n";

  // L^T L kept as a symmetric matrix stores only its upper triangle.
  const mlSparseSymMatrix normal(mlMatrixPremultiplyTranspose, laplacian);
  std::cout << "L^T L as a symmetric matrix stores " << normal.num_non_zero_elements()
            << " entries; (5, 5) = " << normal.element(5, 5)
            << ", (9, 4) = " << normal.element(9, 4) << "\n";
}

}  // namespace tour
