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
  const double a = 1.0 - x[0];
  const double b = x[1] - x[0] * x[0];
  return a * a + 100.0 * b * b;
}

struct ClassicProblem {
  const char* name;
  std::function<double(const mlSlice&)> f;
  std::vector<double> start;
  std::vector<double> minimum;
  double point_tolerance;
};

/// Rosenbrock, Beale, Powell's singular function (a singular Hessian at the minimum makes
/// convergence slow, hence the loose tolerance) and a quadratic scaled over ten decades.
inline std::vector<ClassicProblem> classic_problems() {
  return {
      {"Rosenbrock", rosenbrock, {-1.2, 1.0}, {1.0, 1.0}, 1e-8},
      {"Beale",
       [](const mlSlice& x) {
         const double a = 1.5 - x[0] + x[0] * x[1];
         const double b = 2.25 - x[0] + x[0] * x[1] * x[1];
         const double c = 2.625 - x[0] + x[0] * x[1] * x[1] * x[1];
         return a * a + b * b + c * c;
       },
       {1.0, 1.0},
       {3.0, 0.5},
       1e-8},
      {"Powell's singular",
       [](const mlSlice& x) {
         const double a = x[0] + 10.0 * x[1];
         const double b = x[2] - x[3];
         const double c = x[1] - 2.0 * x[2];
         const double d = x[0] - x[3];
         return a * a + 5.0 * b * b + c * c * c * c + 10.0 * d * d * d * d;
       },
       {3.0, -1.0, 0.0, 1.0},
       {0.0, 0.0, 0.0, 0.0},
       1e-4},
      {"badly scaled quadratic",
       [](const mlSlice& x) {
         const double a = x[0] - 1.0, b = x[1] - 2.0, c = x[2] + 3.0;
         return a * a + 1e6 * b * b + 1e-4 * c * c;
       },
       {0.0, 0.0, 0.0},
       {1.0, 2.0, -3.0},
       1e-5},
  };
}

}  // namespace paskosda_test

#endif  // PASKOSDA_TESTS_SUPPORT_CLASSIC_PROBLEMS_H
