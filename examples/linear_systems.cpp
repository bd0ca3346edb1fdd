// Solving linear systems: LU with its determinant, Cholesky for a symmetric positive-definite
// system, the SVD's rank and least-squares solutions, and a tridiagonal solve.
#include <paskosda.h>

#include <cmath>
#include <iostream>

namespace {

// The largest |(A x - b)[i]|.
double residual(const mlMatrix& a, const mlVector& x, const mlVector& b) {
  mlVector r(mlMatrixProduct, a, x);
  r -= b;
  return r.max_absolute_value();
}

mlVector vector_of(const double* p, int n) {
  mlVector v;
  v.become(utConvert, p, n);
  return v;
}

// A general square system: factorise once, test for singularity, then solve.
bool general_system() {
  const double a_elements[] = {1, 2, 3, 4, 5, 6, 7, 8, 10};
  const double b_elements[] = {14, 32, 53};
  const mlMatrix a(utConvert, a_elements, 3, 3);
  const mlVector b = vector_of(b_elements, 3);
  const mlLUDecomposition lu(a);
  if (lu.is_singular() != 0) {
    std::cout << "A is singular\n";
    return false;
  }
  mlVector x;
  lu.solve(b, x);
  std::cout << "LU with partial pivoting, A =\n"
            << a << "b = " << b << "x = " << x << "det A = " << lu.determinant()
            << ", largest residual |A x - b| = " << residual(a, x, b) << "\n\n";
  return true;
}

// Mesh currents of a three-loop resistor network: the resistance matrix is symmetric
// positive definite, so Cholesky applies (and halves the work of LU).
void resistor_network() {
  const double r_elements[] = {15, -5, 0, -5, 20, -10, 0, -10, 25};  // ohms
  const double v_elements[] = {10, 0, -5};                           // volts
  const mlMatrix r(utConvert, r_elements, 3, 3);
  const mlVector v = vector_of(v_elements, 3);
  const mlCholeskyDecomposition cholesky(r);
  mlVector current;
  cholesky.solve(v, current);
  std::cout << "Cholesky: positive definite " << (cholesky.is_singular() == 0 ? "yes" : "no")
            << ", det R = " << cholesky.determinant()
            << " (LU: " << mlLUDecomposition(r).determinant() << ")\n"
            << "mesh currents (A) = " << current
            << "largest residual |R i - v| = " << residual(r, current, v) << "\n\n";
}

// A rank-deficient matrix: the third row is twice the second minus the first. The SVD
// shows it; the consistent system A y = (6, 15, 24) then has a line of solutions, and the
// pseudo-inverse picks the one of least norm.
void rank_deficient_system() {
  const double s_elements[] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
  const double c_elements[] = {6, 15, 24};
  const mlMatrix s(utConvert, s_elements, 3, 3);
  const mlSingularValueDecomposition svd(s);
  const mlLUDecomposition lu_of_s(s);
  mlVector y;
  svd.solve(vector_of(c_elements, 3), y);
  std::cout << "SVD of [[1, 2, 3], [4, 5, 6], [7, 8, 9]]: singular values " << svd.diagonal()
            << "rank " << svd.rank(1e-7) << " at tolerance 1e-7\n"
            << "least-norm solution of A y = (6, 15, 24): y = " << y
            << "LU's pivot test is absolute (1e-20) and lets it pass: singular flag "
            << lu_of_s.is_singular() << ", det " << lu_of_s.determinant() << "\n\n";
}

// An overdetermined line fit y = c0 + c1 t through five measurements: the noise is
// orthogonal to both columns, so the least-squares line is exactly y = 1 + 2 t.
void least_squares_line() {
  const double t[] = {0, 1, 2, 3, 4};
  const double measured[] = {1.1, 2.8, 5.0, 7.2, 8.9};
  mlMatrix design(5, 2);
  for (int i = 0; i < 5; ++i) {
    design(i, 0) = 1.0;
    design(i, 1) = t[i];
  }
  const mlSingularValueDecomposition fit(design);
  mlVector line;
  fit.solve(vector_of(measured, 5), line);
  mlVector misfit(mlMatrixProduct, design, line);
  misfit -= vector_of(measured, 5);
  std::cout << "least-squares line through 5 points: intercept " << line[0] << ", slope " << line[1]
            << ",\n  residual norm " << misfit.modulus() << " (sqrt 0.1 = " << std::sqrt(0.1)
            << ")\n\n";
}

// Steady heat conduction in a rod with a uniform source and both ends at 0: the second
// differences -T[i-1] + 2 T[i] - T[i+1] = h^2 q over 9 inner nodes, exact for the
// quadratic T(x) = x (1 - x) / 2 when q = 1.
void heat_in_a_rod() {
  const int n = 9;
  const double h = 0.1;
  mlVector lower(mlVectorDim, n), diagonal(mlVectorDim, n), upper(mlVectorDim, n),
      rhs(mlVectorDim, n), temperature(mlVectorZero, n);
  lower.fill(-1.0);
  diagonal.fill(2.0);
  upper.fill(-1.0);
  rhs.fill(h * h);
  const mlTridiagonal rod(n, lower.slice(), diagonal.slice(), upper.slice());
  mlSlice solution = temperature.slice();
  rod.solve(rhs.slice(), solution);
  double error = 0.0;
  for (int i = 0; i < n; ++i) {
    const double xi = (i + 1) * h;
    error = std::fmax(error, std::fabs(temperature[i] - 0.5 * xi * (1.0 - xi)));
  }
  std::cout << "tridiagonal rod, diagonally dominant " << rod.diagonally_dominant()
            << ", temperatures at the inner nodes:\n  T = " << temperature
            << "  T(0.5) = " << temperature[4] << ", largest error against x (1 - x) / 2: " << error
            << "\n";
}

}  // namespace

int main() {
  if (!general_system()) return 1;
  resistor_network();
  rank_deficient_system();
  least_squares_line();
  heat_in_a_rod();
  return 0;
}
