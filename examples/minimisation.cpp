// Minimisation with lambdas: Rosenbrock's valley by Powell's direction set, the downhill
// simplex and Brent's method along a line, then a small quadratic under linear constraints.
#include <paskosda.h>

#include <cstdio>

int main() {
  // Rosenbrock's valley (1 - x)^2 + 100 (y - x^2)^2: minimum 0 at (1, 1), classic start (-1.2, 1).
  const auto rosenbrock = [](double x, double y) {
    return (1.0 - x) * (1.0 - x) + 100.0 * (y - x * x) * (y - x * x);
  };
  const auto f = ml_make_function_n1(2, [&](const mlSlice& v) { return rosenbrock(v[0], v[1]); });
  const double start[] = {-1.2, 1.0};
  mlVector p, q;
  mlDownHillSimplex simplex(2);
  simplex.solve(f, p.become(utConvert, start, 2), mlDownHillSimplexSlowest);
  simplex.result(q);
  mlMatrix directions(mlMatrixIdentity, 2);
  int passes = 0;
  ml_powell_minimum_search(p, directions, 1e-12, passes, f);
  // Brent on the section y = 1, in the bracket 0 < 0.9 < 2 (f(0.9) is below f(0) and f(2)).
  const auto section = ml_make_function([&](double x) { return rosenbrock(x, 1.0); });
  double x = 0.0;
  ml_brent_minimum_search(section, 0.0, 0.9, 2.0, 1e-10, 100, &x);
  std::printf("Powell: (%.6f, %.6f); simplex: (%.6f, %.6f)\n", p[0], p[1], q[0], q[1]);
  std::printf("Brent on the section y = 1: x = %.8f\n", x);

  // The point of the triangle x >= 0, y >= 0, x + y <= 1 nearest to (2, 1.5): minimise
  // |v - (2, 1.5)|^2 = 1/2 v^T (2 I) v - (4, 3)^T v + 6.25 subject to A v >= b.
  mlMatrix H(mlMatrixZero, 2, 2), A(mlMatrixZero, 3, 2);
  H(0, 0) = H(1, 1) = 2.0;
  mlVector g(mlVectorDim, 2), lower(mlVectorZero, 3), v(mlVectorZero, 2);
  g[0] = -4.0;
  g[1] = -3.0;
  A(0, 0) = 1.0;   //  x      >= 0
  A(1, 1) = 1.0;   //      y  >= 0
  A(2, 0) = -1.0;  // -x - y >= -1
  A(2, 1) = -1.0;
  lower[2] = -1.0;
  mlConstrainedQuadraticMinimiser qp(A, lower, 0);
  const int ok = qp.solve(H, g, v);
  std::printf("nearest point of the triangle to (2, 1.5): (%.6f, %.6f), solve %d\n", v[0], v[1],
              ok);
  return 0;
}
