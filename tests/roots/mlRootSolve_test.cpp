#include "roots/mlRootSolve.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <stdexcept>
#include <vector>

#include "linalg/mlRandom.h"
#include "support/counting_functions.h"

namespace {

using paskosda_test::Call;
using paskosda_test::CountingFunction;

// The closed-form solver of the equation's degree (coefficients from the highest power): its
// count, and every output (9 where none was written) except the quartic's beyond the count,
// which are unspecified.
std::vector<double> closed_form(const std::vector<double>& k, int& count) {
  double r[4] = {9, 9, 9, 9};
  if (k.size() == 3) count = mlRootSolve::quadratic_solve(k[0], k[1], k[2], r[0], r[1]);
  if (k.size() == 4) count = mlRootSolve::cubic_solve(k[0], k[1], k[2], k[3], r[0], r[1], r[2]);
  if (k.size() == 5) {
    count = mlRootSolve::quartic_solve(k[0], k[1], k[2], k[3], k[4], r[0], r[1], r[2], r[3]);
    return std::vector<double>(r, r + count);
  }
  return std::vector<double>(r, r + k.size() - 1);
}

TEST(mlRootSolve, ClosedFormSolversGiveTheRealRootsAscending) {
  struct Case {
    std::vector<double> k;
    int count;
    std::vector<double> roots;
    double tolerance;  // relative; 0 asks for the exact value
  };
  const Case cases[] = {
      {{0, 0, 0}, -1, {0, 0}, 0},
      {{0, 0, 5}, 0, {0, 0}, 0},
      {{0, 2, -4}, 1, {2, 0}, 0},
      {{1, -3, 0}, 2, {0, 3}, 0},
      {{1, -2, 1}, 2, {1, 1}, 0},  // a double root counts twice
      {{1, 0, 1}, 0, {0, 0}, 0},
      {{-2, 2, 4}, 2, {-1, 2}, 0},             // a negative leading coefficient is scaled away
      {{1e-12, 1, -3}, 1, {3, 0}, 0},          // numerically linear
      {{1, 1e8, 1}, 2, {-1e8, -1e-8}, 9e-16},  // no cancellation in the small root
      {{0, 0, 0, 0}, -1, {0, 0, 0}, 0},
      {{1, -6, 11, -6}, 3, {1, 2, 3}, 3e-13},
      {{1, 0, 0, -8}, 1, {2, 0, 0}, 5e-15},
      {{1e-12, 1, -3, 2}, 2, {1, 2, 0}, 9e-16},  // handed to the quadratic
      {{1, -1, -2, 0}, 3, {-1, 0, 2}, 0},        // x = 0 merged into the quadratic's roots
      {{1, 0, 1, 0}, 1, {0, 0, 0}, 0},
      {{1, -3, 3, -1}, 3, {1, 1, 1}, 1e-12},  // a triple root: the discriminant vanishes
      {{1, -1.5, -64, -31.5}, 3, {-7, -0.5, 9}, 1e-15},
      {{1, 3.999, -51.007, 90.03}, 3, {-10, 3, 3.001}, 1e-12},  // two close roots
      {{1, 0, -5, 0, 4}, 4, {-2, -1, 1, 2}, 5e-13},
      {{1, 0, -2, 0, 1}, 2, {-1, 1}, 1e-12},  // (x^2 - 1)^2: each double root once
      {{1, 0, 0, 0, 1}, 0, {}, 0},
      {{1, 0, 3, 0, 2}, 0, {}, 0},            // both u negative
      {{1, 0, 1, 0, -2}, 2, {-1, 1}, 1e-12},  // u = 1 or -2: only u = 1 is usable
      {{0, 1, -6, 11, -6}, 3, {1, 2, 3}, 3e-13},
      {{1, -10, 35, -50, 24}, 4, {1, 2, 3, 4}, 2.5e-10},  // needs the resolvent cubic
      {{1, 0.5, 0.5, 0.5, -0.5}, 2, {-1, 0.5}, 1e-10}};   // (x + 1)(x - 0.5)(x^2 + 1)
  for (const Case& c : cases) {
    int count = 99;
    const std::vector<double> r = closed_form(c.k, count);
    EXPECT_EQ(count, c.count) << ::testing::PrintToString(c.k);
    ASSERT_EQ(r.size(), c.roots.size()) << ::testing::PrintToString(c.k);
    for (std::size_t i = 0; i < r.size(); ++i)
      EXPECT_LE(std::fabs(r[i] - c.roots[i]), c.tolerance * std::fabs(c.roots[i]))
          << ::testing::PrintToString(c.k) << " root " << i << " " << r[i];
  }
  // The quadratic formula as written, bit for bit, after scaling by the largest magnitude (7).
  const double a = 3.0 / 7, b = 7.0 / 7, c = 1.0 / 7;
  const double q = -0.5 * (b + std::sqrt(b * b - 4 * a * c));
  int count = 0;
  EXPECT_EQ(closed_form({3, 7, 1}, count), (std::vector<double>{q / a, c / q}));
}

TEST(mlRootSolve, NewtonEvaluatesValueThenSlopeEveryStep) {
  const CountingFunction f([](double t) { return t * t - 2.0; },
                           [](int, double t) { return 2.0 * t; });
  int ok = 0;
  const double root = mlRootSolve::newton_raphson(f, 1.0, 1e-12, ok, 20);
  EXPECT_EQ(ok, 1);
  ASSERT_EQ(f.calls.size() % 2, 0u);
  double x = 1.0;
  for (size_t k = 0; k < f.calls.size(); k += 2) {
    EXPECT_EQ(f.calls[k], (Call{0, {}, {x}}));
    EXPECT_EQ(f.calls[k + 1], (Call{1, {}, {x}}));
    x = x - (x * x - 2.0) / (2.0 * x);
  }
  EXPECT_EQ(root, x);
  EXPECT_NEAR(root, std::sqrt(2.0), 1e-15);

  // A flat start fails with DBL_MAX, deliberately; max_iter 0 evaluates nothing.
  const CountingFunction flat([](double t) { return t * t + 1.0; },
                              [](int, double t) { return 2.0 * t; });
  EXPECT_EQ(mlRootSolve::newton_raphson(flat, 0.0, 1e-12, ok, 20), 1.7976931348623157e308);
  EXPECT_EQ(ok, 0);
  EXPECT_TRUE(mlRootSolve::newton_raphson(flat, 0.5, 1e-12, ok, 0) == 0.5 && ok == 0);
  EXPECT_EQ(flat.calls.size(), 2u);
  mlRootSolve::newton_raphson(flat, 0.5, 1e-12, ok, 3);
  EXPECT_EQ(ok, 0);  // x^2 + 1 has no root: the iteration limit runs out
}

// Each degeneracy threshold, with inputs a tenth inside and a tenth outside it.
TEST(mlRootSolve, DegeneracyThresholdsSitWhereDocumented) {
  double r1 = 0.0, r2 = 0.0, r3 = 0.0, r4 = 0.0;
  // A leading coefficient below 1e-11 of the largest: the linear root alone.
  EXPECT_EQ(mlRootSolve::quadratic_solve(0.9e-11, 1.0, -1.0, r1, r2), mlRootsOne);
  EXPECT_EQ(mlRootSolve::quadratic_solve(1.1e-11, 1.0, -1.0, r1, r2), mlRootsTwo);
  // x^2 - 2x + c: a discriminant within 1e-11 of b^2 = 4 on either side is the double root 1.
  for (const double c : {1.0 - 0.9e-11, 1.0 + 0.9e-11}) {
    EXPECT_EQ(mlRootSolve::quadratic_solve(1.0, -2.0, c, r1, r2), mlRootsTwo) << c;
    EXPECT_TRUE(r1 == 1.0 && r2 == 1.0) << c;
  }
  EXPECT_EQ(mlRootSolve::quadratic_solve(1.0, -2.0, 1.0 - 1.1e-11, r1, r2), mlRootsTwo);
  EXPECT_LT(r1, r2);
  EXPECT_EQ(mlRootSolve::quadratic_solve(1.0, -2.0, 1.0 + 1.1e-11, r1, r2), mlRootsNone);
  // A cubic or quartic leading coefficient below 1e-10 of the next: one degree less.
  EXPECT_EQ(mlRootSolve::cubic_solve(0.9e-10, 1.0, -3.0, 2.0, r1, r2, r3), mlRootsTwo);
  EXPECT_EQ(mlRootSolve::cubic_solve(1.1e-10, 1.0, -3.0, 2.0, r1, r2, r3), mlRootsThree);
  EXPECT_EQ(mlRootSolve::quartic_solve(0.9e-10, 1.0, -6.0, 11.0, -6.0, r1, r2, r3, r4),
            mlRootsThree);
  // Above it the quartic is solved as such: at this scale its closed form keeps only the two
  // large roots.
  EXPECT_EQ(mlRootSolve::quartic_solve(1.1e-10, 1.0, -6.0, 11.0, -6.0, r1, r2, r3, r4), mlRootsTwo);
}

// The caller's function may throw: the exception reaches the caller from every iteration.
TEST(mlRootSolve, ExceptionsOfTheFunctionReachTheCaller) {
  struct Throws : mlFunction {
    double function(double) const override { throw std::runtime_error("f"); }
  };
  const Throws f;
  int ok = 0;
  EXPECT_THROW(mlRootSolve::newton_raphson(f, 0.5, 1e-12, ok, 10), std::runtime_error);
  EXPECT_THROW(mlRootSolve::newton_raphson(f, 0.0, 1.0, 1e-12, ok, 10), std::runtime_error);
  EXPECT_THROW(mlRootSolve::regula_falsi(f, 0.0, 1.0, 1e-12, ok, 10), std::runtime_error);
}

TEST(mlRootSolve, NewtonClampsToTheDomain) {
  // From 0.5 the first step overshoots past 10: clamped there, re-evaluated, and continued
  // because the next step points back inside.
  const CountingFunction cube([](double t) { return t * t * t - 8.0; },
                              [](int, double t) { return 3.0 * t * t; }, 1.9, 10.0);
  int ok = 0;
  EXPECT_NEAR(mlRootSolve::newton_raphson(cube, 0.5, 1e-13, ok, 50), 2.0, 1e-14);
  EXPECT_EQ(ok, 1);
  // Evaluated at the clamp, and the next iteration starts there.
  EXPECT_EQ(std::vector<Call>(cube.calls.begin() + 2, cube.calls.begin() + 5),
            (std::vector<Call>{{0, {}, {10.0}}, {1, {}, {10.0}}, {0, {}, {10.0}}}));

  // A root outside the domain: clamped to the end, where the next step would leave again.
  const CountingFunction line([](double t) { return t - 5.0; }, [](int, double) { return 1.0; },
                              0.0, 3.0);
  EXPECT_TRUE(mlRootSolve::newton_raphson(line, 1.0, 1e-12, ok, 20) == 3.0 && ok == 0);
}

TEST(mlRootSolve, IterativeSolversStopExactlyAtTheirBounds) {
  // Each tolerance and step test on its boundary, and one iteration allowed: the result, the
  // success flag and the evaluations (values and slopes) show which side was taken.
  using Value = double (*)(double);
  using Slope = double (*)(int, double);
  const Value parabola = [](double t) { return t * t + 1.0; };
  const Slope twice = [](int, double t) { return 2.0 * t; };
  const Slope one = [](int, double) { return 1.0; };
  struct Case {
    const char* what;
    int solver;  // 0 Newton from a, 1 bracketed Newton on [a, b], 2 regula falsi on [a, b]
    Value value;
    Slope slope;
    double lo, hi, a, b, tol;
    int max_iter;
    double result;
    int ok;
    std::size_t calls;
  };
  const double inf = DBL_MAX;
  const Case cases[] = {
      {"one iteration", 0, parabola, twice, -inf, inf, 0.5, 0, 1e-12, 1, -0.75, 0, 2},
      {"a step of exactly tol goes on", 0, [](double t) { return t - 1.0; }, one, -inf, inf, 1.25,
       0, 0.25, 5, 1.0, 1, 4},
      // A root exactly at an end of the domain: every step lands on the end, is clamped there
      // and continued (the slope there does not point outwards), until the limit.
      {"landing on t_max", 0, [](double t) { return t - 3.0; }, one, 0.0, 3.0, 1.0, 0, 1e-12, 3,
       3.0, 0, 12},
      {"landing on t_min", 0, [](double t) { return t + 3.0; }, one, -3.0, 0.0, -1.0, 0, 1e-12, 3,
       -3.0, 0, 12},
      {"|f(a)| = tol", 1, [](double t) { return t - 0.25; }, one, -inf, inf, 0.0, 1.0, 0.25, 50,
       0.0, 1, 1},
      {"|f(b)| = tol", 2, [](double t) { return t - 0.25; }, one, -inf, inf, 1.0, 0.0, 0.25, 50,
       0.0, 1, 2},
      {"one bracketed step", 1, [](double t) { return t * t - 2.0; }, twice, -inf, inf, 1.0, 2.0,
       1e-12, 1, 1.4166666666666665, 0, 4},
      {"bracket of width tol", 2, [](double t) { return (t * t - 2.0) * t - 5.0; }, one, -inf, inf,
       2.0, 2.5, 0.5, 1, 2.0, 1, 3},
      // False position, then the Illinois halving of the end that stays.
      {"one false position", 2, [](double t) { return (t * t - 2.0) * t - 5.0; }, one, -inf, inf,
       2.0, 3.0, 1e-12, 1, 2.0588235294117645, 0, 4},
      {"halving", 2, [](double t) { return (t * t - 2.0) * t - 5.0; }, one, -inf, inf, 2.0, 3.0,
       1e-12, 4, 2.0945507313193423, 0, 7},
      {"halving the other end", 2, [](double t) { return (t * t - 2.0) * -t - 5.0; }, one, -inf,
       inf, -3.0, -2.0, 1e-12, 4, -2.0945266055795826, 0, 7},
      {"bracket of width tol, no iteration", 2, [](double t) { return (t * t - 2.0) * t - 5.0; },
       one, -inf, inf, 2.0, 2.5, 0.5, 0, 2.0, 1, 3},
  };
  for (const Case& c : cases) {
    const CountingFunction f(c.value, c.slope, c.lo, c.hi);
    int ok = -1;
    const double result = c.solver == 0 ? mlRootSolve::newton_raphson(f, c.a, c.tol, ok, c.max_iter)
                          : c.solver == 1
                              ? mlRootSolve::newton_raphson(f, c.a, c.b, c.tol, ok, c.max_iter)
                              : mlRootSolve::regula_falsi(f, c.a, c.b, c.tol, ok, c.max_iter);
    EXPECT_TRUE(result == c.result && ok == c.ok && f.calls.size() == c.calls)
        << c.what << ": " << result << " " << ok << " " << f.calls.size();
  }
  // The bracketed Newton step from the secant point x0 with the tolerance exactly its |dx|
  // (t^2 - 2 on [1, 2]: the step is taken), or exactly its slope (t^3 on [-2, 3]: Newton is
  // still used, and its short step returns x0).
  const auto secant = [](double a, double fa, double b, double fb) {
    return (fa * b - fb * a) / (fa - fb);
  };
  const CountingFunction p([](double t) { return t * t - 2.0; }, twice);
  const double x0 = secant(1.0, -1.0, 2.0, 2.0), dx = (x0 * x0 - 2.0) / (2.0 * x0);
  int ok = -1;
  EXPECT_EQ(mlRootSolve::newton_raphson(p, 1.0, 2.0, std::fabs(dx), ok, 1), x0 - dx);
  EXPECT_EQ(ok, 0);
  const CountingFunction cube([](double t) { return t * t * t; },
                              [](int, double t) { return 3.0 * t * t; });
  const double y0 = secant(-2.0, -8.0, 3.0, 27.0);
  EXPECT_EQ(mlRootSolve::newton_raphson(cube, -2.0, 3.0, 3.0 * y0 * y0, ok, 5), y0);
  EXPECT_EQ(ok, 1);
}

TEST(mlRootSolve, BracketedNewtonAndRegulaFalsi) {
  const CountingFunction f([](double t) { return std::cos(t) - t; },
                           [](int, double t) { return -std::sin(t) - 1.0; });
  const double dottie = 0.7390851332151607;
  int ok = 0;
  EXPECT_NEAR(mlRootSolve::newton_raphson(f, 0.0, 1.0, 1e-12, ok, 50), dottie, 1e-12);
  EXPECT_EQ(ok, 1);
  f.calls.clear();
  EXPECT_NEAR(mlRootSolve::regula_falsi(f, 0.0, 1.0, 1e-12, ok, 100), dottie, 1e-12);
  EXPECT_EQ(ok, 1);
  // f(a), f(b), then f(a) again as the previous value.
  EXPECT_EQ(std::vector<Call>(f.calls.begin(), f.calls.begin() + 3),
            (std::vector<Call>{{0, {}, {0.0}}, {0, {}, {1.0}}, {0, {}, {0.0}}}));

  // An end already within tol of a root is returned without iterating.
  const CountingFunction near_root([](double t) { return t - 1e-13; });
  EXPECT_EQ(mlRootSolve::newton_raphson(near_root, 0.0, 1.0, 1e-12, ok, 50), 0.0);
  EXPECT_EQ(mlRootSolve::regula_falsi(near_root, 2.0, 0.0, 1e-12, ok, 50), 0.0);
  EXPECT_EQ(ok, 1);

  // No iterations: regula falsi returns a, successful only for a bracket within tol.
  const CountingFunction cubic([](double t) { return (t * t - 2.0) * t - 5.0; });
  EXPECT_TRUE(mlRootSolve::regula_falsi(cubic, 2.0, 3.0, 1e-12, ok, 0) == 2.0 && ok == 0);
  EXPECT_TRUE(mlRootSolve::regula_falsi(cubic, 2.0, 2.0 + 1e-13, 1e-12, ok, 0) == 2.0 && ok == 1);
  // The Illinois halving keeps false position from stalling at one end.
  EXPECT_NEAR(mlRootSolve::regula_falsi(cubic, 2.0, 3.0, 1e-12, ok, 100), 2.0945514815423265,
              1e-12);
  EXPECT_EQ(ok, 1);
}

}  // namespace
