// Roots and polynomials: closed-form quadratic, cubic and quartic roots, the real roots and
// extrema of a higher-degree polynomial in a range, and a polynomial space curve.
#include <paskosda.h>

#include <cmath>
#include <iostream>

int main() {
  // Closed forms: the roots come back ascending, with their count.
  // A ball thrown up at 20 m/s from 1.5 m: h(t) = 1.5 + 20 t - 4.905 t^2 = 0.
  double r1 = 0.0, r2 = 0.0, r3 = 0.0, r4 = 0.0;
  int n = mlRootSolve::quadratic_solve(-4.905, 20.0, 1.5, r1, r2);
  std::cout << "1.5 + 20 t - 4.905 t^2 = 0: " << n << " roots " << r1 << ", " << r2
            << "; the ball lands after " << r2 << " s\n";
  n = mlRootSolve::cubic_solve(1, -6, 11, -6, r1, r2, r3);
  std::cout << "x^3 - 6x^2 + 11x - 6 = 0: " << n << " roots " << r1 << ", " << r2 << ", " << r3
            << "\n";
  n = mlRootSolve::quartic_solve(1, 0, -10, 0, 9, r1, r2, r3, r4);
  std::cout << "x^4 - 10x^2 + 9 = 0: " << n << " roots " << r1 << ", " << r2 << ", " << r3 << ", "
            << r4 << "\n\n";

  // Any degree: the Chebyshev polynomial T5(x) = 16x^5 - 20x^3 + 5x, coefficients lowest power
  // first. Its roots are cos((2k - 1) pi / 10) and it swings between -1 and 1 on [-1, 1].
  const double t5[6] = {0, 5, 0, -20, 0, 16};
  std::cout << "T5(x) = ";
  mlPolynomial::print(std::cout, 5, t5);
  double roots[5];
  n = mlPolynomialSolver::solve_polynomial(5, t5, -1.0, 1.0, roots);
  double worst = 0.0;
  std::cout << n << " real roots in [-1, 1]:";
  for (int k = 0; k < n; ++k) {
    std::cout << ' ' << roots[k];
    const double exact = utMath::cos((2 * (n - k) - 1) * utMath::pi() / 10.0);
    worst = std::fmax(worst, std::fabs(roots[k] - exact));
  }
  std::cout << "\nlargest distance from cos((2k - 1) pi / 10): " << worst << "\n";

  double t[4];
  int kind[4];
  n = mlPolynomialSolver::solve_polynomial_extrema(5, t5, -1.0, 1.0, t, kind);
  std::cout << n << " extrema inside (-1, 1):\n";
  for (int k = 0; k < n; ++k) {
    double value = 0.0;
    mlPolynomial::evaluate(5, t5, t[k], value);
    std::cout << "  " << (kind[k] > 0 ? "minimum" : "maximum") << " T5(" << t[k] << ") = " << value
              << "\n";
  }
  std::cout << "\n";

  // A polynomial curve through four points of the twisted cubic (s, s^2, s^3), placed at
  // the parameters s they came from: the fit recovers the curve, its tangent follows.
  const double s[4] = {0.0, 1.0 / 3.0, 2.0 / 3.0, 1.0};
  mlTinyVector3 points[4];
  for (int i = 0; i < 4; ++i)
    points[i] = mlTinyVector3(s[i], s[i] * s[i], s[i] * s[i] * s[i]);
  mlTinyVector3 curve[4];
  mlTinyVector3Polynomial fitter;
  fitter.fit(s, points, 3, curve);
  mlTinyVector3 middle;
  mlTinyVector3Polynomial::evaluate(3, curve, 0.5, middle);
  int degree = 3;
  mlTinyVector3Polynomial::derivative(1, degree, curve);
  mlTinyVector3 tangent;
  mlTinyVector3Polynomial::evaluate(degree, curve, 0.5, tangent);
  std::cout << "space curve through 4 points of (s, s^2, s^3):\n"
            << "  c(0.5) = " << middle << " (exactly <0.5,0.25,0.125>)\n"
            << "  c'(0.5) = " << tangent << " (exactly <1,1,0.75>)\n";
  return 0;
}
