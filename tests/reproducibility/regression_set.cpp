// A few hundred results from every family, printed as bit patterns: `regression_set` prints
// them, `regression_set --check FILE` compares them with a table printed before and lists the
// differences. Many of them go through the elementary functions (user functions calling
// utMath, the cubic formula, the circular derivatives, matrices filled with sines), so a
// library built with PASKOSDA_PORTABLE_MATH must reproduce the table on every machine.
#include <paskosda.h>

#include <cinttypes>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace {

struct Result {
  std::string name;
  std::uint64_t bits;
  double value;
};

class Recorder {
 public:
  void add(const std::string& name, double x) {
    std::uint64_t b = 0;
    std::memcpy(&b, &x, sizeof b);
    // A NaN's sign and payload depend on the order the compiler gives commutative operands.
    if (std::isnan(x)) b = 0x7ff8000000000000u;
    results_.push_back({name, b, x});
  }
  void add(const std::string& name, const mlVector& v) {
    for (int i = 0; i < v.dimension(); ++i)
      add(name + "[" + std::to_string(i) + "]", v[i]);
  }
  void add(const std::string& name, const mlMatrix& m) {
    for (int i = 0; i < m.rows(); ++i)
      for (int j = 0; j < m.cols(); ++j)
        add(name + "(" + std::to_string(i) + "," + std::to_string(j) + ")", m(i, j));
  }
  const std::vector<Result>& results() const { return results_; }

 private:
  std::vector<Result> results_;
};

// A matrix filled from sines, so that every later result depends on the elementary functions.
mlMatrix sine_matrix(int rows, int cols, double phase) {
  mlMatrix a(rows, cols);
  for (int i = 0; i < rows; ++i)
    for (int j = 0; j < cols; ++j)
      a(i, j) = utMath::sin(phase + 1.7 * i + 0.61 * j * j + 0.37 * i * j);
  return a;
}

void elementary_functions(Recorder& r) {
  const double args[] = {0.5,
                         -1.25,
                         3.0,
                         10.0,
                         -33.3,
                         100.0,
                         0.001,
                         1e-8,
                         7.5e5,
                         1e22,
                         0x1.921fb54442d18p+1,
                         1e300,
                         0.7853981633974483};
  for (double x : args) {
    char tag[64];
    std::snprintf(tag, sizeof tag, "(%a)", x);
    r.add(std::string("sin") + tag, utMath::sin(x));
    r.add(std::string("cos") + tag, utMath::cos(x));
    const double small = x / 16.0;
    r.add(std::string("sinh") + tag, utMath::sinh(small));
    r.add(std::string("cosh") + tag, utMath::cosh(small));
    r.add(std::string("exp") + tag, utMath::exp(small));
    r.add(std::string("log") + tag, utMath::log(std::fabs(x)));
    r.add(std::string("atan2") + tag, utMath::atan2(x, 1.0 - x));
    r.add(std::string("hypot") + tag, utMath::hypot(x, 2.5));
    r.add(std::string("pow") + tag, utMath::pow(std::fabs(x) + 0.5, 1.0 / 3.0 - x / 50.0));
  }
  // Arguments for which glibc's routines for processors with and without FMA differ in the
  // last bit.
  struct Sensitive {
    const char* name;
    double (*f)(double, double);
    double x, y;
  };
  const Sensitive sensitive[] = {
      {"sin", [](double x, double) { return utMath::sin(x); }, 0x1.31acfb2b4f56cp+3, 0.0},
      {"sin", [](double x, double) { return utMath::sin(x); }, 0x1.3e902801a9af1p+3, 0.0},
      {"cos", [](double x, double) { return utMath::cos(x); }, 0x1.d178e3d34c483p+0, 0.0},
      {"cos", [](double x, double) { return utMath::cos(x); }, 0x1.ec81b18eb5d9cp+2, 0.0},
      {"exp", [](double x, double) { return utMath::exp(x); }, -0x1.43394127349ddp+1, 0.0},
      {"exp", [](double x, double) { return utMath::exp(x); }, 0x1.fd3b77475ab6p+0, 0.0},
      {"log", [](double x, double) { return utMath::log(x); }, 0x1.a009d47149753p+0, 0.0},
      {"log", [](double x, double) { return utMath::log(x); }, 0x1.865f3f78ea07fp+0, 0.0},
      {"pow", utMath::pow, 0x1.28eacfa0d71bp+0, -0x1.30979cc5ee002p+2},
      {"pow", utMath::pow, 0x1.073aab541633bp-1, -0x1.1aa53211003eap+1},
      {"atan2", utMath::atan2, -0x1.a8a7e493586dp-1, 0x1.bbe190c1f9846p+0},
      {"atan2", utMath::atan2, 0x1.92d7c9d55b58p-2, 0x1.a11322bcdebdfp+2},
      {"sinh", [](double x, double) { return utMath::sinh(x); }, 0x1.86c6864e2dcbp-2, 0.0},
      {"sinh", [](double x, double) { return utMath::sinh(x); }, -0x1.d68b6d9d9c5f4p+0, 0.0},
      {"cosh", [](double x, double) { return utMath::cosh(x); }, 0x1.fd3b77475ab6p+0, 0.0},
      {"cosh", [](double x, double) { return utMath::cosh(x); }, 0x1.eb3b54cbe9dp-2, 0.0},
  };
  for (const Sensitive& c : sensitive) {
    char tag[96];
    std::snprintf(tag, sizeof tag, "%s(%a,%a)", c.name, c.x, c.y);
    r.add(tag, c.f(c.x, c.y));
  }
  r.add("exp(-745)", utMath::exp(-745.0));
  r.add("pow(1.0000001,1e7)", utMath::pow(1.0000001, 1e7));
  r.add("log(1+2^-30)", utMath::log(1.0 + 0x1p-30));
  r.add("sinh(700)", utMath::sinh(700.0));
  for (int n = 0; n < 4; ++n) {
    r.add("cos_derivative" + std::to_string(n), mlMath::cos_derivative(n, 0.3));
    r.add("sin_derivative" + std::to_string(n), mlMath::sin_derivative(n, 1.3));
    r.add("cosh_derivative" + std::to_string(n), mlMath::cosh_derivative(n, 2.3));
    r.add("sinh_derivative" + std::to_string(n), mlMath::sinh_derivative(n, -0.3));
  }
}

void linear_algebra(Recorder& r) {
  const mlMatrix a = sine_matrix(6, 6, 0.2);
  mlVector b(mlVectorDim, 6);
  for (int i = 0; i < 6; ++i)
    b[i] = utMath::cos(0.3 * i);
  const mlLUDecomposition lu(a);
  mlVector x;
  lu.solve(b, x);
  r.add("lu.solve", x);
  r.add("lu.determinant", lu.determinant());

  mlMatrix spd(mlMatrixProduct, mlMatrix(mlMatrixTranspose, a), a);
  for (int i = 0; i < 6; ++i)
    spd(i, i) += 1.0;
  const mlCholeskyDecomposition cholesky(spd);
  cholesky.solve(b, x);
  r.add("cholesky.solve", x);

  const mlSingularValueDecomposition svd(sine_matrix(7, 4, 1.1));
  r.add("svd.diagonal", svd.diagonal());
  mlVector c(mlVectorDim, 7);
  for (int i = 0; i < 7; ++i)
    c[i] = utMath::exp(-0.2 * i);
  svd.solve(c, x);
  r.add("svd.solve", x);

  const mlMatrix product(mlMatrixProduct, a, sine_matrix(6, 3, 2.0));
  r.add("product", product);

  mlVector lower(mlVectorDim, 5), diagonal(mlVectorDim, 5), upper(mlVectorDim, 5),
      d(mlVectorDim, 5), solution(mlVectorZero, 5);
  for (int i = 0; i < 5; ++i) {
    lower[i] = utMath::sin(i + 0.5);
    diagonal[i] = 4.0 + utMath::cosh(0.1 * i);
    upper[i] = utMath::cos(i + 0.5);
    d[i] = utMath::pow(1.5, i + 0.25);
  }
  const mlTridiagonal tridiagonal(5, lower.slice(), diagonal.slice(), upper.slice());
  mlSlice xs = solution.slice();
  tridiagonal.solve_periodic(d.slice(), xs);
  r.add("tridiagonal.solve_periodic", solution);
}

void eigen_analysis(Recorder& r) {
  const mlMatrix a = sine_matrix(5, 5, 0.7);
  const mlMatrix symmetric(mlMatrixProduct, mlMatrix(mlMatrixTranspose, a), a);
  mlSymEigenVecs sym(symmetric);
  sym.calculate();
  mlVector values;
  sym.eigen_values(values);
  r.add("sym.values", values);
  r.add("sym.vectors", sym.eigen_vectors());

  const mlMatrix b = sine_matrix(3, 3, 0.25);
  mlAsymEigenVecs3 asym(b);
  asym.calculate();
  asym.eigen_values(values);
  r.add("asym3.values", values);

  doublecoDynArr2D cloud;
  for (int i = 0; i < 200; ++i) {
    const double t = 0.05 * i;
    cloud(i, 0) = 3.0 * utMath::cos(t) + 0.1 * utMath::sin(7.0 * t);
    cloud(i, 1) = utMath::sin(t) - 0.2 * utMath::cos(5.0 * t);
    cloud(i, 2) = 0.5 * t + 0.05 * utMath::sin(11.0 * t);
  }
  const mlPCA pca(cloud);
  r.add("pca.eigenvalues", pca.eigenvalues());
}

// sin t e^(-t/4): a caller's function built on the elementary functions.
class DampedSine : public mlFunction {
 public:
  double function(double t) const override { return utMath::sin(t) * utMath::exp(-0.25 * t); }
  double function_derivative(int, double t) const override {
    return (utMath::cos(t) - 0.25 * utMath::sin(t)) * utMath::exp(-0.25 * t);
  }
};

void functions_and_roots(Recorder& r) {
  const DampedSine f;
  r.add("trapezoid", mlIntegrateTrapezoid(1e-10, 20).integrate(f, 0.0, 3.0));
  r.add("simpson", mlIntegrateSimpson(1e-10, 20).integrate(f, 0.0, 3.0));
  r.add("romberg", mlIntegrateRomberg(1e-10, 20).integrate(f, 0.0, 3.0));
  r.add("approx_derivative", mlFunctionApproxDeriv(f, 1e-6).function(1.0));

  int ok = 0;
  r.add("newton_raphson", mlRootSolve::newton_raphson(f, 2.5, 4.0, 1e-14, ok, 50));
  const double cubics[][4] = {{1, -6, 11, -6}, {2, -3.5, -7.25, 4.1}, {1, 0, -2, 0.3}};
  for (const double* c : cubics) {
    double r1 = 0.0, r2 = 0.0, r3 = 0.0;
    mlRootSolve::cubic_solve(c[0], c[1], c[2], c[3], r1, r2, r3);
    const std::string tag = "cubic(" + std::to_string(c[1]) + ")";
    r.add(tag + ".r1", r1);
    r.add(tag + ".r2", r2);
    r.add(tag + ".r3", r3);
  }
  double q[4] = {0.0, 0.0, 0.0, 0.0};
  mlRootSolve::quartic_solve(1, -0.5, -5, 0.3, 4, q[0], q[1], q[2], q[3]);
  for (int i = 0; i < 4; ++i)
    r.add("quartic.r" + std::to_string(i), q[i]);

  const double p[7] = {-6, 11, -9, 8, -2, -3, 1};
  double roots[6];
  const int n = mlPolynomialSolver::solve_polynomial_allroots(6, p, roots);
  for (int i = 0; i < n; ++i)
    r.add("polynomial.root" + std::to_string(i), roots[i]);
}

// Rosenbrock's valley seen through the elementary functions: log(1 + f) of a rotated copy.
class LogRosenbrock : public mlFunctionN1 {
 public:
  LogRosenbrock() : mlFunctionN1(2) {}
  double function(const mlSlice& p) const override {
    const double a = 1.0 - p[0];
    const double b = p[1] - p[0] * p[0];
    return utMath::log(1.0 + a * a + 100.0 * b * b) + 0.01 * utMath::sinh(p[0] - 1.0);
  }
};

void minimisers(Recorder& r) {
  const LogRosenbrock f;
  mlVector p(mlVectorDim, 2);
  p[0] = -1.2;
  p[1] = 1.0;
  mlMatrix directions(mlMatrixIdentity, 2);
  int passes = 0;
  r.add("powell.minimum", ml_powell_minimum_search(p, directions, 1e-10, passes, f));
  r.add("powell.p", p);

  mlVector start(mlVectorDim, 2);
  start[0] = -1.2;
  start[1] = 1.0;
  mlDownHillSimplex simplex(2);
  r.add("simplex.minimum", simplex.solve(f, start, mlDownHillSimplexSlow));
  mlVector x;
  simplex.result(x);
  r.add("simplex.x", x);

  const DampedSine g;
  mlMinimiser minimiser(g, 4.0, 3.0, 6.0, 1e-12);
  int found = 0, beyond = 0, out = 0;
  r.add("brent.t", minimiser.minimise(found, beyond, out));

  // y = a e^(b t) to samples of 2.5 e^(-1.3 t) with a ripple.
  std::vector<double> t(30), y(30);
  for (int k = 0; k < 30; ++k) {
    t[k] = 0.1 * k;
    y[k] = 2.5 * utMath::exp(-1.3 * t[k]) * (1.0 + 0.01 * utMath::sin(3.0 * k));
  }
  auto decay = ml_make_least_squares(
      2, 30, [&](const mlVector& q, int k) { return q[0] * utMath::exp(q[1] * t[k]) - y[k]; });
  mlVector guess(mlVectorZero, 2), fit;
  guess[0] = 1.0;
  r.add("levenberg_marquardt.mean_square", mlLevenbergMarquardt(decay).fit(guess, fit));
  r.add("levenberg_marquardt.fit", fit);

  mlMatrix h(mlMatrixZero, 2, 2);
  h(0, 0) = 2.0 + utMath::cos(1.0);
  h(0, 1) = h(1, 0) = utMath::sin(1.0);
  h(1, 1) = 2.0;
  mlVector gradient(mlVectorDim, 2);
  gradient[0] = -6.0;
  gradient[1] = utMath::pow(2.0, 0.5);
  const double rows[8] = {1.0, 0.0, -1.0, 0.0, 0.0, 1.0, 0.0, -1.0};
  mlVector bounds(mlVectorDim, 4);
  bounds[0] = 0.0;
  bounds[1] = -2.0;
  bounds[2] = 0.0;
  bounds[3] = -2.0;
  mlConstrainedQuadraticMinimiser qp(mlMatrix(utConvert, rows, 4, 2), bounds, 0);
  mlVector xy(mlVectorDim, 2);
  xy[0] = 5.0;
  xy[1] = -3.0;
  qp.solve(h, gradient, xy);
  r.add("quadratic.x", xy);
}

// The torus of radii 3 and 1 less a point, for the surface minimiser.
class TorusToPoint : public mlFunctionN {
 public:
  TorusToPoint(double x, double y, double z) : mlFunctionN(2, 3), p_{x, y, z} {}
  void function(const mlSlice& x, mlVector& f) const override {
    const double rho = 3.0 + utMath::cos(x[1]);
    f[0] = rho * utMath::cos(x[0]) - p_[0];
    f[1] = rho * utMath::sin(x[0]) - p_[1];
    f[2] = utMath::sin(x[1]) - p_[2];
  }
  void function_gradient(const mlSlice& x, mlMatrix& j) const override {
    const double cu = utMath::cos(x[0]), su = utMath::sin(x[0]);
    const double cv = utMath::cos(x[1]), sv = utMath::sin(x[1]);
    j(0, 0) = -(3.0 + cv) * su;
    j(1, 0) = (3.0 + cv) * cu;
    j(2, 0) = 0.0;
    j(0, 1) = -sv * cu;
    j(1, 1) = -sv * su;
    j(2, 1) = cv;
  }

 private:
  double p_[3];
};

void surfaces_and_sparse(Recorder& r) {
  const double points[][3] = {{-1.5, -0.4, 1.2}, {4.5, 1.0, 0.3}, {0.2, -3.9, -0.8}};
  for (const double* q : points) {
    const TorusToPoint f(q[0], q[1], q[2]);
    mlVectorMinimiser2 minimiser(f);
    minimiser.set_patch(0.0, 2.0 * utMath::pi(), 0.0, 2.0 * utMath::pi());
    minimiser.set_periodic(1, 1);
    double u = 0.3, v = 5.9;
    minimiser.minimise(u, v);
    const std::string tag = "torus(" + std::to_string(q[0]) + ")";
    r.add(tag + ".u", u);
    r.add(tag + ".v", v);
    r.add(tag + ".distance_squared", minimiser.minimum_value());
  }

  const int n = 12;
  mlSparseMatrix a(mlMatrixZero, n, n);
  for (int i = 0; i < n; ++i) {
    if (i > 0) a.set(i, i - 1, utMath::sin(i));
    a.set(i, i, 3.0 + utMath::cos(i));
    if (i + 3 < n) a.set(i, i + 3, utMath::exp(-0.5 * i));
  }
  mlVector ones(mlVectorZero, n), y;
  ones += 1.0;
  a.multiply_vector(ones, y);
  r.add("sparse.multiply_vector", y);
  const mlSparseMatrix square(mlMatrixProduct, a, a);
  mlMatrix dense;
  square.decompress(dense);
  r.add("sparse.square.row5", mlVector(utCopy, dense.row(5)));
}

int check(const std::vector<Result>& results, const char* path) {
  std::ifstream in(path);
  if (!in) {
    std::fprintf(stderr, "cannot read %s\n", path);
    return 2;
  }
  std::map<std::string, std::uint64_t> expected;
  std::string line;
  while (std::getline(in, line)) {
    std::istringstream fields(line);
    std::string name, bits;
    if (fields >> name >> bits) expected[name] = std::stoull(bits, nullptr, 16);
  }
  int differences = 0;
  for (const Result& r : results) {
    const auto it = expected.find(r.name);
    if (it == expected.end()) {
      std::printf("not in the table: %s\n", r.name.c_str());
      ++differences;
    } else if (it->second != r.bits) {
      std::printf("differs: %s 0x%016" PRIx64 " instead of 0x%016" PRIx64 "\n", r.name.c_str(),
                  r.bits, it->second);
      ++differences;
    }
  }
  if (expected.size() != results.size()) {
    std::printf("the table has %zu results, this run %zu\n", expected.size(), results.size());
    ++differences;
  }
  std::printf("%zu results, %d differences\n", results.size(), differences);
  return differences == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  Recorder r;
  elementary_functions(r);
  linear_algebra(r);
  eigen_analysis(r);
  functions_and_roots(r);
  minimisers(r);
  surfaces_and_sparse(r);
  if (argc == 3 && std::strcmp(argv[1], "--check") == 0) return check(r.results(), argv[2]);
  for (const Result& x : r.results())
    std::printf("%s %016" PRIx64 " %.17g\n", x.name.c_str(), x.bits, x.value);
  return 0;
}
