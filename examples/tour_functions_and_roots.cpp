// The tour's functions, derivatives, integrals, and roots of equations and polynomials.
#include "tour.h"

#include <cmath>
#include <iomanip>
#include <iostream>

namespace tour {

void functions_and_integrals() {
  const Section section("Functions, derivatives and integration");

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
    section.restore_flags();
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
}

void roots() {
  const Section section("Roots and polynomials");

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

void polynomial_roots() {
  const Section section("Real roots and extrema of a polynomial");

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

}  // namespace tour
