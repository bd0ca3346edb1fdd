// A walk through paskosda in the order an engineer meets it: solve a linear system, fit,
// analyse, find roots and minima, and finally the building blocks underneath. Each section
// shows one capability with real results.
#include <paskosda.h>

#include <cmath>
#include <iomanip>
#include <iostream>

namespace {

void section(const char* title) { std::cout << "\n=== " << title << " ===\n"; }

void linear_systems_section() {
  section("Linear systems: LU, Cholesky, QR, tridiagonal");
  const std::ios_base::fmtflags flags = std::cout.flags();
  const std::streamsize precision = std::cout.precision();
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
  std::cout.flags(flags);
  std::cout << std::setprecision(6);

  // QR one vector at a time: Q's rows are the orthogonalised inputs, inputs = R Q.
  mlMatrix q, r;
  mlQRDecomposition qr(&q, &r);
  const double rows[][3] = {{1, 1, 0}, {1, 0, 1}, {2, 1, 1}};
  std::cout << "\nQR by Gram-Schmidt:";
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
  std::cout.flags(flags);
  std::cout.precision(precision);
}

void svd_section() {
  section("Singular value decomposition and least squares");

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

void eigen_section() {
  section("Eigen-analysis and principal component analysis");

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

void functions_section() {
  section("Functions, derivatives and integration");
  const std::ios_base::fmtflags flags = std::cout.flags();
  const std::streamsize precision = std::cout.precision();

  // A caller's function: derive from mlFunction and implement `function`. This one counts
  // its evaluations.
  class Sine : public mlFunction {
   public:
    double function(double t) const override {
      ++evaluations;
      return utMath::sin(t);
    }
    mutable long evaluations = 0;
  };
  const Sine sine;

  // The three integrators share one interface; each halves the step until two successive
  // estimates differ by less than the tolerance.
  const mlIntegrateTrapezoid trapezoid(1e-10, 20);
  const mlIntegrateSimpson simpson(1e-10, 20);
  const mlIntegrateRomberg romberg(1e-10, 20);
  struct Rule {
    const char* name;
    const mlIntegrate* rule;
  };
  const Rule rules[] = {
      {"trapezoid", &trapezoid}, {"Simpson  ", &simpson}, {"Romberg  ", &romberg}};
  std::cout << "integral of sin over [0, pi] (exactly 2), tolerance 1e-10:\n";
  for (const Rule& r : rules) {
    sine.evaluations = 0;
    const double value = r.rule->integrate(sine, 0.0, utMath::pi());
    std::cout << "  " << r.name << "  " << std::fixed << std::setprecision(15) << value
              << "  error " << std::scientific << std::setprecision(2) << value - 2.0 << "  "
              << std::setw(6) << sine.evaluations << " evaluations\n";
    std::cout.flags(flags);
  }
  std::cout << "  converged: " << trapezoid.converged() << " " << simpson.converged() << " "
            << romberg.converged() << "\n";

  // A derivative by a one-sided difference, for functions without an analytic one.
  const mlFunctionApproxDeriv slope(sine, 1e-6);
  std::cout << std::setprecision(10)
            << "d/dt sin at t = 1 by a forward difference of 1e-6: " << slope.function(1.0)
            << " (cos 1 = " << utMath::cos(1.0) << ")\n";

  // A scalar function of a vector gets central-difference gradients and Hessians for free.
  // f(x, y) = x^2 y + 3 y^2 - x.
  class Bowl : public mlFunctionN1 {
   public:
    Bowl() : mlFunctionN1(2) {}
    double function(const mlSlice& p) const override {
      return p[0] * p[0] * p[1] + 3.0 * p[1] * p[1] - p[0];
    }
  };
  const Bowl bowl;
  mlVector at(mlVectorDim, 2);
  at[0] = 1.5;
  at[1] = -0.5;
  mlVector gradient;
  mlMatrix hessian;
  bowl.gradient(at.slice(), gradient);
  bowl.hessian(at.slice(), hessian);
  const double x = at[0], y = at[1];
  // Steps of 1.19e-7 and 1e-7: the second differences keep only a few digits.
  std::cout << "f(x, y) = x^2 y + 3 y^2 - x at (1.5, -0.5) by central differences:\n"
            << "  gradient (" << gradient[0] << ", " << gradient[1] << "), exact ("
            << 2.0 * x * y - 1.0 << ", " << x * x + 6.0 * y << ")\n"
            << "  Hessian ((" << hessian(0, 0) << ", " << hessian(0, 1) << "), (" << hessian(1, 0)
            << ", " << hessian(1, 1) << ")), exact ((" << 2.0 * y << ", " << 2.0 * x << "), ("
            << 2.0 * x << ", " << 6.0 << "))\n";
  std::cout.flags(flags);
  std::cout.precision(precision);
}

void roots_section() {
  section("Roots and polynomials");

  // Closed-form real roots, ascending.
  double r1, r2, r3, r4;
  int n = mlRootSolve::cubic_solve(1, -6, 11, -6, r1, r2, r3);
  std::cout << "x^3 - 6x^2 + 11x - 6: " << n << " roots " << r1 << ", " << r2 << ", " << r3 << "\n";
  n = mlRootSolve::quartic_solve(1, 0, -5, 0, 4, r1, r2, r3, r4);
  std::cout << "x^4 - 5x^2 + 4: " << n << " roots " << r1 << ", " << r2 << ", " << r3 << ", " << r4
            << "\n";

  // Newton's method on cos t = t, bracketed by [0, 1].
  class CosMinusT : public mlFunction {
   public:
    double function(double t) const override { return utMath::cos(t) - t; }
    double function_derivative(int, double t) const override { return -utMath::sin(t) - 1.0; }
  };
  int ok = 0;
  const double dottie = mlRootSolve::newton_raphson(CosMinusT(), 0.0, 1.0, 1e-14, ok, 50);
  std::cout << std::setprecision(16) << "cos t = t at t = " << dottie << " (ok " << ok << ")\n"
            << std::setprecision(6);

  // Two equations in two unknowns: the unit circle meets the parabola y = x^2.
  class CircleAndParabola : public mlFunctionN {
   public:
    CircleAndParabola() : mlFunctionN(2, 2) {}
    void function(const mlSlice& x, mlVector& f) const override {
      f.become(mlVectorDim, 2);
      f[0] = x[0] * x[0] + x[1] * x[1] - 1.0;
      f[1] = x[1] - x[0] * x[0];
    }
    void function_gradient(const mlSlice& x, mlMatrix& j) const override {
      j.become(2, 2);
      j(0, 0) = 2 * x[0];
      j(0, 1) = 2 * x[1];
      j(1, 0) = -2 * x[0];
      j(1, 1) = 1;
    }
  };
  mlNewtonRaphson newton(mlNRDimension, 2);
  mlVector x(mlVectorDim, 2);
  x[0] = 1.0;
  x[1] = 1.0;
  newton.solve(CircleAndParabola(), x, 1e-12, ok);
  std::cout << "after " << newton.iteration() << " Newton steps (ok " << ok
            << "), the circle meets the parabola y = x^2 at " << x;

  // A polynomial through four points, its derivative, and a curve through points in the plane.
  const double t[] = {0, 1, 2, 3};
  const double y[] = {1, 3, 11, 31};
  double c[4];
  mlPolynomial fitter;
  fitter.fit(t, y, 3, c);
  std::cout << "p(t) through (0,1), (1,3), (2,11), (3,31): ";
  mlPolynomial::print(std::cout, 3, c);
  int degree = 3;
  mlPolynomial::derivative(1, degree, c);
  double slope = 0.0;
  mlPolynomial::evaluate(degree, c, 1.5, slope);
  std::cout << "p'(t) = ";
  mlPolynomial::print(std::cout, degree, c);
  std::cout << "p'(1.5) = " << slope << "\n";

  const mlTinyVector2 points[] = {mlTinyVector2(0, 0), mlTinyVector2(1, 1), mlTinyVector2(2, 0)};
  mlTinyVector2 curve[3];
  mlTinyVector2Polynomial().fit(0.0, 1.0, points, 2, curve);
  mlTinyVector2 middle;
  mlTinyVector2Polynomial::evaluate(2, curve, 0.5, middle);
  std::cout << "chord-length curve through (0,0), (1,1), (2,0): c(t) = ";
  mlTinyVector2Polynomial::print(std::cout, 2, curve);
  std::cout << "c(0.5) = " << middle << "\n";
}

void polysolve_section() {
  section("Real roots and extrema of a polynomial");

  // p(t) = (t + 2)(t - 1)^2 (t - 3)(t^2 + 1) = t^6 - 3t^5 - 2t^4 + 8t^3 - 9t^2 + 11t - 6,
  // coefficients lowest power first, as mlPolynomial keeps them.
  const double p[7] = {-6, 11, -9, 8, -2, -3, 1};
  std::cout << "p(t) = (t + 2)(t - 1)^2 (t - 3)(t^2 + 1)\n";

  // Every distinct real root, ascending; the double root 1 is reported once.
  double roots[6];
  int n = mlPolynomialSolver::solve_polynomial_allroots(6, p, roots);
  std::cout << "real roots:";
  for (int i = 0; i < n; ++i)
    std::cout << ' ' << roots[i];
  std::cout << "\n";

  // Only those in an interval (ends included).
  n = mlPolynomialSolver::solve_polynomial(6, p, -1.0, 4.0, roots);
  std::cout << "real roots in [-1, 4]:";
  for (int i = 0; i < n; ++i)
    std::cout << ' ' << roots[i];
  std::cout << "\n";

  // Local extrema strictly inside the interval: where p' changes sign.
  double t[5];
  int kind[5];
  n = mlPolynomialSolver::solve_polynomial_extrema(6, p, -1.0, 4.0, t, kind);
  std::cout << "extrema in (-1, 4):\n";
  for (int i = 0; i < n; ++i) {
    double value = 0.0;
    mlPolynomial::evaluate(6, p, t[i], value);
    std::cout << "  " << (kind[i] > 0 ? "minimum" : "maximum") << " at t = " << t[i]
              << ", p = " << value << "\n";
  }
}

void optim_section() {
  section("Minimisation: Powell, downhill simplex, one-dimensional search");
  const std::ios_base::fmtflags flags = std::cout.flags();
  const std::streamsize precision = std::cout.precision();

  // Rosenbrock's banana valley, f(x, y) = (1 - x)^2 + 100 (y - x^2)^2, minimum 0 at (1, 1),
  // from the classic start (-1.2, 1). The function counts its evaluations.
  class Rosenbrock : public mlFunctionN1 {
   public:
    Rosenbrock() : mlFunctionN1(2) {}
    double function(const mlSlice& p) const override {
      ++evaluations;
      const double a = 1.0 - p[0];
      const double b = p[1] - p[0] * p[0];
      return a * a + 100.0 * b * b;
    }
    mutable long evaluations = 0;
  };

  {
    const Rosenbrock f;
    mlVector p(mlVectorDim, 2);
    p[0] = -1.2;
    p[1] = 1.0;
    mlMatrix directions(mlMatrixIdentity, 2);  // start along the axes
    int passes = 0;
    const double minimum = ml_powell_minimum_search(p, directions, 1e-10, passes, f);
    std::cout << "Rosenbrock from (-1.2, 1), Powell's direction-set search:\n"
              << "  minimum " << std::scientific << std::setprecision(3) << minimum << " at ("
              << std::fixed << std::setprecision(9) << p[0] << ", " << p[1] << ")  "
              << f.evaluations << " evaluations, " << passes + 1 << " passes\n";
    std::cout.flags(flags);
  }
  {
    const Rosenbrock f;
    mlVector start(mlVectorDim, 2);
    start[0] = -1.2;
    start[1] = 1.0;
    mlDownHillSimplex simplex(2);
    const double minimum = simplex.solve(f, start, mlDownHillSimplexSlow);
    mlVector x;
    simplex.result(x);
    std::cout << "Rosenbrock from (-1.2, 1), downhill simplex (budget " << mlDownHillSimplex::m_max
              << " calls):\n"
              << "  minimum " << std::scientific << std::setprecision(3) << minimum << " at ("
              << std::fixed << std::setprecision(9) << x[0] << ", " << x[1] << ")  "
              << simplex.number_of_calls() << " evaluations\n";
    std::cout.flags(flags);
  }

  // One variable with analytic derivatives: cos t on [2, 5] has its minimum at pi. The
  // minimiser takes Newton steps with the first and second derivatives and computes each value
  // and derivative at most once per point.
  class Cosine : public mlFunction {
   public:
    double function(double t) const override {
      ++values;
      return utMath::cos(t);
    }
    double function_derivative(int order, double t) const override {
      ++derivatives;
      return order == 1 ? -utMath::sin(t) : -utMath::cos(t);
    }
    mutable long values = 0;
    mutable long derivatives = 0;
  };
  const Cosine cosine;
  mlMinimiser minimiser(cosine, 2.5, 2.0, 5.0, 1e-12);
  int found = 0, beyond_range = 0, out_of_iterations = 0;
  const double t = minimiser.minimise(found, beyond_range, out_of_iterations);
  const long values = cosine.values;
  const long derivatives = cosine.derivatives;
  // Within about 1e-8 of pi the values of cos all round to -1: the search stops once they no
  // longer tell points apart, here a few 1e-11 from pi.
  std::cout << "minimum of cos t on [2, 5] from t = 2.5 with analytic derivatives:\n"
            << "  t = " << std::setprecision(15) << t << ", cos t = " << utMath::cos(t)
            << ", t - pi = " << std::scientific << std::setprecision(2) << t - utMath::pi()
            << "\n  found " << found << ", " << values << " values and " << derivatives
            << " derivatives\n";

  std::cout.flags(flags);
  std::cout.precision(precision);
}

void least_squares_section() {
  section("Least squares and constrained quadratics");
  const std::ios_base::fmtflags flags = std::cout.flags();
  const std::streamsize precision = std::cout.precision();

  // A circle through 20 points: the parameters are the centre (cx, cy) and the
  // radius r; the distance of point k is its distance from the centre minus r.
  // The radius is kept positive.
  class CircleFit : public mlDistanceLeastSquares {
   public:
    CircleFit(const mlVector& x, const mlVector& y)
        : mlDistanceLeastSquares(3, x.dimension()), x_(utCopy, x), y_(utCopy, y) {}
    void normalise_parameters(mlVector& p) override { p[2] = std::fabs(p[2]); }
    void distance_and_derivatives(double& d, mlVector& derivatives, int k) override {
      const double dx = x_[k] - parameters_[0];
      const double dy = y_[k] - parameters_[1];
      const double rho = std::sqrt(dx * dx + dy * dy);
      derivatives[0] = -dx / rho;
      derivatives[1] = -dy / rho;
      derivatives[2] = -1.0;
      d = rho - parameters_[2];
    }
    void distance(double& d, int k) override {
      const double dx = x_[k] - parameters_[0];
      const double dy = y_[k] - parameters_[1];
      d = std::sqrt(dx * dx + dy * dy) - parameters_[2];
    }

   private:
    mlVector x_;
    mlVector y_;
  };

  // Points on the circle of centre (2, -1) and radius 3, over a whole turn or a
  // 30 degree arc, each moved radially by up to 0.01.
  auto sample = [](double arc, mlVector& x, mlVector& y) {
    mlRandom random(42);
    x.become(mlVectorDim, 20);
    y.become(mlVectorDim, 20);
    for (int k = 0; k < 20; ++k) {
      const double a = arc * k / 20.0;
      const double r = 3.0 + random.uniform(-0.01, 0.01);
      x[k] = 2.0 + r * utMath::cos(a);
      y[k] = -1.0 + r * utMath::sin(a);
    }
  };
  mlVector start(mlVectorZero, 3);
  start[2] = 1.0;
  const double arcs[2] = {2.0 * utMath::pi(), utMath::pi() / 6.0};
  const char* names[2] = {"whole turn", "30 degree arc"};
  for (int i = 0; i < 2; ++i) {
    mlVector x;
    mlVector y;
    sample(arcs[i], x, y);
    CircleFit circle(x, y);
    mlLevenbergMarquardt fitter(circle);
    mlVector p;
    const double mean_square = fitter.fit(start, p);
    std::cout << "circle fit to 20 noisy points on a " << names[i] << " (truth (2, -1), r 3):\n"
              << std::fixed << std::setprecision(6) << "  centre (" << p[0] << ", " << p[1]
              << "), r " << p[2] << ", rms distance " << std::scientific << std::setprecision(2)
              << std::sqrt(mean_square) << ", point distribution quality " << std::fixed
              << std::setprecision(4) << circle.point_distribution_quality(p) << "\n";
    std::cout.flags(flags);
  }

  // Minimise (x - 3)^2 + (y + 1)^2 + x y over the box 0 <= x <= 2, 0 <= y <= 2,
  // i.e. 1/2 x^T H x + g^T x with H = [[2, 1], [1, 2]], g = (-6, 2), and
  // constraints A x >= b.
  mlMatrix H(mlMatrixZero, 2, 2);
  H(0, 0) = 2.0;
  H(0, 1) = 1.0;
  H(1, 0) = 1.0;
  H(1, 1) = 2.0;
  mlVector g(mlVectorDim, 2);
  g[0] = -6.0;
  g[1] = 2.0;
  const double rows[8] = {1.0, 0.0, -1.0, 0.0, 0.0, 1.0, 0.0, -1.0};
  const mlMatrix A(utConvert, rows, 4, 2);
  mlVector b(mlVectorDim, 4);
  b[0] = 0.0;   //  x >= 0
  b[1] = -2.0;  // -x >= -2
  b[2] = 0.0;   //  y >= 0
  b[3] = -2.0;  // -y >= -2
  mlConstrainedQuadraticMinimiser qp(A, b, 0);
  mlVector xy(mlVectorDim, 2);
  xy[0] = 5.0;  // outside the box: stage 1 brings it in first
  xy[1] = -3.0;
  const int ok = qp.solve(H, g, xy);
  std::cout << "quadratic (x - 3)^2 + (y + 1)^2 + x y on the box [0, 2] x [0, "
               "2] from (5, -3):\n"
            << "  solve " << ok << ", minimum at (" << std::fixed << std::setprecision(6) << xy[0]
            << ", " << xy[1] << ")  (unconstrained minimum (" << 14.0 / 3.0 << ", " << -10.0 / 3.0
            << "))\n";

  std::cout.flags(flags);
  std::cout.precision(precision);
}

void surface_section() {
  section("Surface minimisers: projecting a point onto a torus");
  const std::ios_base::fmtflags flags = std::cout.flags();
  const std::streamsize precision = std::cout.precision();

  // The torus ((R + r cos v) cos u, (R + r cos v) sin u, r sin v), R = 3, r =
  // 1, as the vector function F(u, v) = S(u, v) - P: the minimiser reduces |F|,
  // the distance from P to the surface. It takes the Jacobian from
  // function_gradient and the second derivatives from function_derivative.
  class TorusToPoint : public mlFunctionN {
   public:
    TorusToPoint(double x, double y, double z) : mlFunctionN(2, 3), p_{x, y, z} {}
    void point(double u, double v, double s[3]) const {
      const double rho = 3.0 + utMath::cos(v);
      s[0] = rho * utMath::cos(u);
      s[1] = rho * utMath::sin(u);
      s[2] = utMath::sin(v);
    }
    void function(const mlSlice& x, mlVector& f) const override {
      double s[3];
      point(x[0], x[1], s);
      for (int k = 0; k < 3; ++k)
        f[k] = s[k] - p_[k];
    }
    void function_gradient(const mlSlice& x, mlMatrix& J) const override {
      const double cu = utMath::cos(x[0]), su = utMath::sin(x[0]);
      const double cv = utMath::cos(x[1]), sv = utMath::sin(x[1]);
      const double rho = 3.0 + cv;
      J(0, 0) = -rho * su;
      J(1, 0) = rho * cu;
      J(2, 0) = 0.0;
      J(0, 1) = -sv * cu;
      J(1, 1) = -sv * su;
      J(2, 1) = cv;
    }
    void function_derivative(const mlSlice& x, int* const orders, mlVector& d) const override {
      const double cu = utMath::cos(x[0]), su = utMath::sin(x[0]);
      const double cv = utMath::cos(x[1]), sv = utMath::sin(x[1]);
      if (orders[0] == 2 && orders[1] == 0) {  // S_uu
        d[0] = -(3.0 + cv) * cu;
        d[1] = -(3.0 + cv) * su;
        d[2] = 0.0;
      } else if (orders[0] == 1 && orders[1] == 1) {  // S_uv
        d[0] = sv * su;
        d[1] = -sv * cu;
        d[2] = 0.0;
      } else if (orders[0] == 0 && orders[1] == 2) {  // S_vv
        d[0] = -cv * cu;
        d[1] = -cv * su;
        d[2] = -sv;
      }
    }

   private:
    double p_[3];
  };

  {
    // A point inside the hole of the torus, above its plane; the start is on
    // the far side of both seams (u and v are periodic on [0, 2 pi)).
    const TorusToPoint F(-1.5, -0.4, 1.2);
    mlVectorMinimiser2 minimiser(F);
    minimiser.set_patch(0.0, 2.0 * utMath::pi(), 0.0, 2.0 * utMath::pi());
    minimiser.set_periodic(1, 1);
    double u = 0.3, v = 5.9;
    const mlMinimiser2State state = minimiser.minimise(u, v);
    double foot[3];
    F.point(u, v, foot);
    std::cout << "P = (-1.5, -0.4, 1.2) onto the torus R = 3, r = 1 from (u, "
                 "v) = (0.3, 5.9):\n"
              << std::fixed << std::setprecision(12) << "  (u, v) = (" << u << ", " << v
              << ")  state " << state << " (0 = converged)\n"
              << "  foot point (" << foot[0] << ", " << foot[1] << ", " << foot[2] << ")\n"
              << "  distance " << utMath::sqrt(minimiser.minimum_value()) << " after "
              << minimiser.iterations() << " iterations, " << minimiser.evaluations()
              << " calls of F\n";
    std::cout.flags(flags);
  }

  // A scalar function whose free minimum (1.5, 0.6) lies outside the unit
  // square: the minimiser holds u on the edge u = 1 and minimises along it.
  class Bowl : public mlFunction2 {
   public:
    double function(double u, double v) const override {
      return (u - 1.5) * (u - 1.5) + 2.0 * (v - 0.6) * (v - 0.6) + 0.5 * (u - 1.5) * (v - 0.6);
    }
    double uv_function_derivative(int i, int j, double u, double v) const override {
      if (i == 1 && j == 0) return 2.0 * (u - 1.5) + 0.5 * (v - 0.6);
      if (i == 0 && j == 1) return 4.0 * (v - 0.6) + 0.5 * (u - 1.5);
      if (i == 2 && j == 0) return 2.0;
      if (i == 1 && j == 1) return 0.5;
      if (i == 0 && j == 2) return 4.0;
      return -666.0;
    }
    double u_min() const override { return 0.0; }
    double u_max() const override { return 1.0; }
    double v_min() const override { return 0.0; }
    double v_max() const override { return 1.0; }
  };
  {
    const Bowl bowl;
    mlMinimiser2 minimiser(bowl);  // the patch is the function's domain, [0, 1] x [0, 1]
    double u = 0.2, v = 0.1;
    const mlMinimiser2State state = minimiser.minimise(u, v);
    std::cout << "(u - 1.5)^2 + 2 (v - 0.6)^2 + (u - 1.5)(v - 0.6)/2 on [0, 1]^2:\n"
              << std::setprecision(12) << "  minimum " << minimiser.minimum_value() << " at (" << u
              << ", " << v << ")  state " << state << " (1 = on an edge)\n";
  }

  std::cout.flags(flags);
  std::cout.precision(precision);
}

void sparse_section() {
  section("Sparse matrices");

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

void vectors_and_matrices() {
  section("Vectors, slices and matrices");

  // A 3x3 matrix read row by row; rows, columns and the diagonal are views of its storage.
  const double elements[] = {4, -2, 1, -2, 4, -2, 1, -2, 4};
  mlMatrix a(utConvert, elements, 3, 3);
  std::cout << "A =\n" << a;
  std::cout << "row 1 " << a.row(1) << ", column 2 " << a.col(2) << ", diagonal " << a.diagonal()
            << "\n";

  mlVector x(mlVectorZero, 3);
  x[0] = 1.0;
  x[1] = 2.0;
  x[2] = 3.0;
  const mlVector ax(mlMatrixProduct, a, x);
  std::cout << "x = " << x << "A x = " << ax;
  std::cout << "x . Ax = " << scalar_product(x, ax) << ", |x| = " << x.modulus() << "\n";

  const mlMatrix ata(mlMatrixProduct, mlMatrix(mlMatrixTranspose, a), a);
  std::cout << "A^T A =\n" << ata;

  mlRange range;
  for (int i = 0; i < ax.dimension(); ++i)
    range.merge(ax[i]);
  std::cout << "A x spans [" << range.min() << ", " << range.max() << "]; 5 sits at "
            << range.position_in_range(5.0) << " of the way\n";

  // Tiny vectors: fixed-size points and directions, no allocation.
  const mlTinyVector3 u(1, 0, 0), v(0.6, 0.8, 0);
  mlTinyVector3 normal;
  normal.vector_product(u, v);
  mlTinyVector3 halfway;
  halfway.interpolate(u, v, 0.5);
  std::cout << "u x v = " << normal << ", halfway " << halfway << ", |halfway| "
            << halfway.modulus() << "\n";
}

void arrays_and_scalar_helpers() {
  section("Arrays, sorting and scalar helpers");

  // A paged array grows in blocks and never moves an element: pointers into it stay valid.
  doublecoPageArr lengths(2, 4, 4);  // blocks of 4 elements
  for (int i = 0; i < 10; ++i)
    lengths.append(1.0 / (i + 1));
  const double* third = &lengths[2];
  for (int i = 10; i < 100; ++i)
    lengths.append(1.0 / (i + 1));
  std::cout << "paged array of " << lengths.size() << " in blocks of " << lengths.block_size()
            << "; element 2 has not moved: " << (third == &lengths[2] ? "yes" : "no") << "\n";

  // Sorting: the permutation that orders a set of values, and a plain sort of ints.
  doublecoPageArr keys{4.0, -1.0, 9.0, 0.5};
  intcoPageArr order;
  doublecoQuickSortIndex(keys, order);
  std::cout << "keys 4, -1, 9, 0.5 in ascending order are at indices";
  for (int k = 0; k < order.size(); ++k)
    std::cout << ' ' << order[k];
  intcoDynArr ids{42, 7, 19, 7, 3};
  mlQuickSortDynArrInt().sort(&ids, ids.size());
  std::cout << "\nids 42, 7, 19, 7, 3 sorted:";
  for (int id : ids)
    std::cout << ' ' << id;
  std::cout << "\n";

  // Scalar helpers.
  std::cout << "7 clipped to [0, 5]: " << mlMath::clip_to_range(7.0, 0.0, 5.0)
            << "; 25% of the way from 10 to 20: " << mlMath::interpolate(0.25, 10, 20)
            << "\n3 in [0, 4] rescaled to [100, 200]: " << mlMath::rescale(3, 0, 4, 100, 200)
            << "\n";

  // The elementary functions: the platform's, or with PASKOSDA_PORTABLE_MATH the library's own,
  // which give the same bits on every machine. sin(1e22) needs an exact reduction by pi/2.
  const std::streamsize precision = std::cout.precision();
  std::cout << "elementary functions: "
            << (utMath::portable() ? "the library's own (the same bits everywhere)"
                                   : "the platform's")
            << "; sin(1e22) = " << std::setprecision(17) << utMath::sin(1e22)
            << ", pow(2, 0.5) = " << utMath::pow(2.0, 0.5) << "\n";
  std::cout.precision(precision);

  // Deterministic random numbers (the same sequence on every platform) and running
  // statistics.
  mlRandom random(2026);
  mlStats stats;
  for (int i = 0; i < 100000; ++i)
    stats.add(random.uniform());
  std::cout << "100000 uniform draws: mean " << stats.mean() << ", variance " << stats.variance()
            << " (exact: 0.5 and " << 1.0 / 12.0 << ")\n";
}

}  // namespace

int main() {
  std::cout << "paskosda tour: numerical mathematics for engineering, reproducible to the last "
               "bit\n";
  linear_systems_section();
  svd_section();
  eigen_section();
  functions_section();
  roots_section();
  polysolve_section();
  optim_section();
  least_squares_section();
  surface_section();
  sparse_section();
  vectors_and_matrices();
  arrays_and_scalar_helpers();
  return 0;
}
