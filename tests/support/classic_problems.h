#ifndef PASKOSDA_TESTS_SUPPORT_CLASSIC_PROBLEMS_H
#define PASKOSDA_TESTS_SUPPORT_CLASSIC_PROBLEMS_H

// Classic test problems for minimisers of a function of several variables: each with its usual
// start point, its known minimiser (the minimum value is 0 for all of them) and a distance from
// it within which a converged search is expected to end.

#include <functional>
#include <vector>

#include "linalg/mlSlice.h"

namespace paskosda_test {

/// (1 - x)^2 + 100 (y - x^2)^2: a curved valley, minimum at (1, 1).
inline double rosenbrock(const mlSlice& x) {
  const double a = 1.0 - x[0], b = x[1] - x[0] * x[0];
  return a * a + 100.0 * b * b;
}

/// (1.5 - x + x y)^2 + (2.25 - x + x y^2)^2 + (2.625 - x + x y^3)^2: minimum at (3, 0.5).
inline double beale(const mlSlice& x) {
  const double a = 1.5 - x[0] + x[0] * x[1], b = 2.25 - x[0] + x[0] * x[1] * x[1];
  const double c = 2.625 - x[0] + x[0] * x[1] * x[1] * x[1];
  return a * a + b * b + c * c;
}

/// Powell's singular function of four variables, minimum at 0 with a singular Hessian there.
inline double powell_singular(const mlSlice& x) {
  const double a = x[0] + 10.0 * x[1], b = x[2] - x[3], c = x[1] - 2.0 * x[2], d = x[0] - x[3];
  return a * a + 5.0 * b * b + c * c * c * c + 10.0 * d * d * d * d;
}

struct ClassicProblem {
  const char* name;
  std::function<double(const mlSlice&)> f;
  std::vector<double> start, minimum;
  double point_tolerance;
};

/// The three with their usual start points; the singular Hessian makes convergence to Powell's
/// minimum slow, hence its loose tolerance.
inline std::vector<ClassicProblem> classic_problems() {
  return {
      {"Rosenbrock", rosenbrock, {-1.2, 1.0}, {1.0, 1.0}, 1e-8},
      {"Beale", beale, {1.0, 1.0}, {3.0, 0.5}, 1e-8},
      {"Powell's singular", powell_singular, {3.0, -1.0, 0.0, 1.0}, {0.0, 0.0, 0.0, 0.0}, 1e-4}};
}

}  // namespace paskosda_test

#endif  // PASKOSDA_TESTS_SUPPORT_CLASSIC_PROBLEMS_H
