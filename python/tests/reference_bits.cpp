// Prints, for each case of test_same_bits.py, the bit patterns of the library's results
// computed directly in C++: one line per case, its name, then each double as 16 hex digits
// (counts as doubles too). The Python tests compute the same cases through the binding and
// must get every bit.
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <vector>

#include <paskosda.h>

#include "poly_surface.h"

namespace {

void print(const char* name, const std::vector<double>& values) {
  std::printf("%s", name);
  for (const double x : values) {
    std::uint64_t bits;
    std::memcpy(&bits, &x, sizeof bits);
    std::printf(" %016" PRIx64, bits);
  }
  std::printf("\n");
}

std::vector<double> all(const mlVector& v) {
  return std::vector<double>(v.data(), v.data() + v.dimension());
}

std::vector<double> all(const mlMatrix& m) {
  return std::vector<double>(m.data(), m.data() + static_cast<long>(m.rows()) * m.cols());
}

std::vector<double> operator+(std::vector<double> a, const std::vector<double>& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

mlMatrix matrix(std::initializer_list<double> e, int r, int c) {
  return mlMatrix(utConvert, std::vector<double>(e).data(), r, c);
}

mlVector vector(std::initializer_list<double> e) {
  mlVector v;
  v.become(utConvert, std::vector<double>(e).data(), static_cast<int>(e.size()));
  return v;
}

double rosenbrock(const mlSlice& p) {
  const double a = 1.0 - p[0];
  const double b = p[1] - p[0] * p[0];
  return a * a + 100.0 * b * b;
}

void decompositions() {
  const mlMatrix a = matrix({2, 1, 1, 4, -6, 0, -2, 7, 2}, 3, 3);
  const mlLUDecomposition lu(a);
  mlVector x;
  lu.solve(vector({5, -2, 9}), x);
  print("lu_solve", all(x) + std::vector<double>{lu.determinant()});
  mlMatrix X;
  lu.solve(matrix({5, 1, -2, 0, 9, 2}, 3, 2), X);
  print("lu_matrix_solve", all(X));

  const mlMatrix h(mlMatrixHilbert, 6);
  const mlCholeskyDecomposition cholesky(h);
  cholesky.solve(vector({1, 2, 3, 4, 5, 6}), x);
  print("cholesky_hilbert", all(x) + std::vector<double>{cholesky.determinant()});

  mlMatrix fit(6, 3);
  for (int i = 0; i < 6; ++i) {
    fit(i, 0) = 1.0;
    fit(i, 1) = i;
    fit(i, 2) = static_cast<double>(i) * i;
  }
  const mlSingularValueDecomposition svd(fit);
  svd.solve(vector({1.1, 1.9, 5.2, 10.1, 16.8, 26.0}), x);
  print("svd_least_squares", all(svd.diagonal()) + all(x));

  mlMatrix q, r;
  mlQRDecomposition qr(&q, &r);
  for (const mlVector& v : {vector({1, 1, 0}), vector({1, 0, 1}), vector({2, 1, 1})})
    qr.add(&v);
  print("qr_gram_schmidt", all(q) + all(r));
}

void eigen() {
  const mlMatrix k = matrix({2, -1, 0, 0, -1, 2, -1, 0, 0, -1, 2, -1, 0, 0, -1, 1}, 4, 4);
  mlSymEigenVecs modes(k);
  modes.set_tolerance(1e-12);
  modes.calculate();
  mlVector values;
  modes.eigen_values(values);
  print("sym_eigen", all(values) + all(modes.eigen_vectors()));

  const mlMatrix g = matrix({4, 1, 2, 0, 3, 1, 1, 0, 2}, 3, 3);
  mlAsymEigenVecs3 asym(g);
  asym.calculate();
  mlVector asym_values;  // a longer vector would keep its extra elements
  asym.eigen_values(asym_values);
  print("asym_eigen3", all(asym_values) + all(asym.eigen_vectors()));

  doublecoDynArr2D cloud;
  for (int i = 0; i < 50; ++i) {
    cloud(i, 0) = i * 0.1;
    cloud(i, 1) = 2.0 * (i * 0.1) + ((i * 7) % 5) * 0.01;
    cloud(i, 2) = (i % 3) * 0.5;
  }
  const mlPCA pca(cloud);
  print("pca", all(pca.eigenvalues()));
}

void roots() {
  double r[6];
  int n = mlRootSolve::quadratic_solve(1, -3, 2, r[0], r[1]);
  print("quadratic", {static_cast<double>(n), r[0], r[1]});
  n = mlRootSolve::cubic_solve(1, -6, 11, -6, r[0], r[1], r[2]);
  print("cubic", {static_cast<double>(n), r[0], r[1], r[2]});
  n = mlRootSolve::quartic_solve(1, 0, -5, 0, 4, r[0], r[1], r[2], r[3]);
  print("quartic", {static_cast<double>(n), r[0], r[1], r[2], r[3]});
  const double p[7] = {-6, 11, -9, 8, -2, -3, 1};
  n = mlPolynomialSolver::solve_polynomial_allroots(6, p, r);
  print("polynomial_all", std::vector<double>(r, r + n));
  n = mlPolynomialSolver::solve_polynomial(6, p, -1.0, 4.0, r);
  print("polynomial_interval", std::vector<double>(r, r + n));
  double t[5];
  int kind[5];
  n = mlPolynomialSolver::solve_polynomial_extrema(6, p, -1.0, 4.0, t, kind);
  print("polynomial_extrema", std::vector<double>(t, t + n));
}

void integrals() {
  long calls = 0;
  const auto sine = ml_make_function([&calls](double x) {
    ++calls;
    return std::sin(x);
  });
  const double pi = 3.141592653589793;
  std::vector<double> out;
  const mlIntegrateTrapezoid trapezoid(1e-10, 20);
  const mlIntegrateSimpson simpson(1e-10, 20);
  const mlIntegrateRomberg romberg(1e-10, 20);
  for (const mlIntegrate* rule :
       {static_cast<const mlIntegrate*>(&trapezoid), static_cast<const mlIntegrate*>(&simpson),
        static_cast<const mlIntegrate*>(&romberg)}) {
    calls = 0;
    out.push_back(rule->integrate(sine, 0.0, pi));
    out.push_back(static_cast<double>(calls));
  }
  print("integrate_sin", out);
}

void minimisers() {
  const auto cosine = ml_make_function(
      [](double x) { return std::cos(x); },
      [](int order, double x) { return order == 1 ? -std::sin(x) : -std::cos(x); });
  mlMinimiser minimiser(cosine, 2.5, 2.0, 5.0, 1e-12);
  int found = 0, beyond = 0, out = 0;
  const double t = minimiser.minimise(found, beyond, out);
  print("minimise_scalar", {t, static_cast<double>(minimiser.iterations())});

  const auto parabola = ml_make_function([](double x) { return (x - 0.7) * (x - 0.7) + 0.1 * x; });
  double x_min = 0.0;
  const double value = ml_brent_minimum_search(parabola, 0.0, 0.5, 2.0, 1e-8, 100, &x_min);
  print("brent", {x_min, value});

  long calls = 0;
  const auto f = ml_make_function_n1(2, [&calls](const mlSlice& p) {
    ++calls;
    return rosenbrock(p);
  });
  mlVector p = vector({-1.2, 1.0});
  mlMatrix directions(mlMatrixIdentity, 2);
  int passes = 0;
  const double minimum = ml_powell_minimum_search(p, directions, 1e-10, passes, f);
  print("powell", all(p) + std::vector<double>{minimum, static_cast<double>(passes),
                                               static_cast<double>(calls)});

  mlDownHillSimplex simplex(2);
  const double low = simplex.solve(f, vector({-1.2, 1.0}), mlDownHillSimplexSlow);
  simplex.result(p);
  print("simplex",
        all(p) + std::vector<double>{low, static_cast<double>(simplex.number_of_calls())});
}

void least_squares() {
  std::vector<double> xs(50), ys(50);
  for (int k = 0; k < 50; ++k) {
    xs[k] = 0.1 * k;
    ys[k] = 2.5 * std::exp(-1.3 * xs[k]) + 0.002 * ((k * 37) % 11 - 5);
  }
  auto residual = [&](const mlVector& p, int k) { return p[0] * std::exp(p[1] * xs[k]) - ys[k]; };
  auto jacobian = [&](const mlVector& p, int k, mlVector& g) {
    const double e = std::exp(p[1] * xs[k]);
    g[0] = e;
    g[1] = p[0] * xs[k] * e;
  };
  mlVector start(mlVectorZero, 2), fit;
  start[0] = 1.0;
  auto differences = ml_make_least_squares(2, 50, residual);
  double ms = mlLevenbergMarquardt(differences).fit(start, fit);
  print("lm_differences", all(fit) + std::vector<double>{ms});
  auto analytic = ml_make_least_squares(2, 50, residual, jacobian);
  ms = mlLevenbergMarquardt(analytic).fit(start, fit);
  print("lm_jacobian", all(fit) + std::vector<double>{ms});

  mlConstrainedQuadraticMinimiser qp(matrix({1, 0, -1, 0, 0, 1, 0, -1}, 4, 2),
                                     vector({0, -2, 0, -2}), 0);
  mlVector xy = vector({5.0, -3.0});
  const int ok = qp.solve(matrix({2, 1, 1, 2}, 2, 2), vector({-6, 2}), xy);
  print("constrained_quadratic", all(xy) + std::vector<double>{static_cast<double>(ok)});
}

void surfaces() {
  auto bowl = [](double u, double v) {
    return (u - 1.5) * (u - 1.5) + 2.0 * (v - 0.6) * (v - 0.6) + 0.5 * (u - 1.5) * (v - 0.6);
  };
  const auto bowl_function = ml_make_function2(bowl);
  mlMinimiser2 scalar(bowl_function);
  scalar.set_patch(0.0, 1.0, 0.0, 1.0);
  double u = 0.2, v = 0.1;
  const int state = scalar.minimise(u, v);
  print("minimise2", {u, v, scalar.minimum_value(), static_cast<double>(state),
                      static_cast<double>(scalar.evaluations())});

  const double target[3] = {-1.5, -0.4, 1.2};
  const auto torus = ml_make_function_n(
      2, 3,
      [&](const mlSlice& x, mlVector& f) {
        const double rho = 3.0 + std::cos(x[1]);
        f[0] = rho * std::cos(x[0]) - target[0];
        f[1] = rho * std::sin(x[0]) - target[1];
        f[2] = std::sin(x[1]) - target[2];
      },
      [](const mlSlice& x, mlMatrix& J) {
        const double rho = 3.0 + std::cos(x[1]);
        J.become(3, 2);
        J(0, 0) = -rho * std::sin(x[0]);
        J(0, 1) = -std::sin(x[1]) * std::cos(x[0]);
        J(1, 0) = rho * std::cos(x[0]);
        J(1, 1) = -std::sin(x[1]) * std::sin(x[0]);
        J(2, 0) = 0.0;
        J(2, 1) = std::cos(x[1]);
      });
  mlVectorMinimiser2 vector_minimiser(torus);
  const double two_pi = 2.0 * 3.141592653589793;
  vector_minimiser.set_patch(0.0, two_pi, 0.0, two_pi);
  vector_minimiser.set_periodic(1, 1);
  u = 0.3;
  v = 5.9;
  const int torus_state = vector_minimiser.minimise(u, v);
  print("minimise_vector",
        {u, v, vector_minimiser.minimum_value(), static_cast<double>(torus_state),
         static_cast<double>(vector_minimiser.evaluations())});
}

// The surface and points of the projection case: a saddle-shaped patch, degree 2 by 3.
void projections() {
  std::vector<double> c(3 * 4 * 3);
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 4; ++j)
      for (int k = 0; k < 3; ++k)
        c[(i * 4 + j) * 3 + k] = ((i * 5 + j * 3 + k * 7) % 11) * 0.1 - 0.5;
  const paskosda_python::PolySurface surface(c, 2, 3);
  std::vector<double> points(8 * 3);
  for (int i = 0; i < 8; ++i)
    for (int k = 0; k < 3; ++k)
      points[i * 3 + k] = ((i * 13 + k * 5) % 17) * 0.0625 - 0.5;
  const double start[2] = {0.5, 0.5};
  std::vector<paskosda_python::Projection> out(8);
  paskosda_python::project_points(surface, points.data(), start, true, 8,
                                  paskosda_python::ProjectionSettings(), out.data());
  std::vector<double> bits;
  for (const auto& p : out)
    bits.insert(bits.end(), {p.u, p.v, p.distance, static_cast<double>(p.state)});
  print("project_points", bits);
}

void sparse() {
  const int m = 4, n = m * m;
  mlSparseMatrix laplacian(mlMatrixZero, n, n);
  for (int r = 0; r < m; ++r)
    for (int c = 0; c < m; ++c) {
      const int i = m * r + c;
      if (r > 0) laplacian.set(i, i - m, -1.0);
      if (c > 0) laplacian.set(i, i - 1, -1.0);
      laplacian.set(i, i, 4.0 + 0.1 * i);
      if (c + 1 < m) laplacian.set(i, i + 1, -1.0);
      if (r + 1 < m) laplacian.set(i, i + m, -1.0);
    }
  const mlSparseMatrix square(mlMatrixProduct, laplacian, laplacian);
  std::vector<double> values;
  for (int i = 0; i < n; ++i) {
    mlSparseRowIT it = square.row_iterator(i);
    for (const mlSparseElement* e = it.advance(); e != nullptr; e = it.advance())
      values.push_back(e->value());
  }
  mlVector x(mlVectorDim, n), y;
  for (int i = 0; i < n; ++i)
    x[i] = 1.0 / (i + 1);
  laplacian.multiply_vector(x, y);
  print("sparse", values + all(y));
}

}  // namespace

int main() {
  decompositions();
  eigen();
  roots();
  integrals();
  minimisers();
  least_squares();
  surfaces();
  projections();
  sparse();
  return 0;
}
