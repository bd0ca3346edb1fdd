#include "roots/mlRootSolve.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "linalg/mlRandom.h"
#include "support/counting_functions.h"

namespace {

struct Roots {
  int count;
  std::vector<double> r;
};

Roots quadratic(double a, double b, double c) {
  double r1 = 9, r2 = 9;
  const int n = mlRootSolve::quadratic_solve(a, b, c, r1, r2);
  return {n, {r1, r2}};
}

Roots cubic(double a, double b, double c, double d) {
  double r1 = 9, r2 = 9, r3 = 9;
  const int n = mlRootSolve::cubic_solve(a, b, c, d, r1, r2, r3);
  return {n, {r1, r2, r3}};
}

Roots quartic(double a, double b, double c, double d, double e) {
  double r[4] = {9, 9, 9, 9};
  const int n = mlRootSolve::quartic_solve(a, b, c, d, e, r[0], r[1], r[2], r[3]);
  return {n, std::vector<double>(r, r + n)};
}

TEST(mlRootSolve, QuadraticCases) {
  struct Case {
    double a, b, c;
    int count;
    std::vector<double> r;
  };
  for (const Case& k : std::vector<Case>{
           {0, 0, 0, -1, {0, 0}},
           {0, 0, 5, 0, {0, 0}},
           {0, 2, -4, 1, {2, 0}},
           {1, -3, 0, 2, {0, 3}},
           {1, -2, 1, 2, {1, 1}},
           {1, 0, 1, 0, {0, 0}},
           {-2, 2, 4, 2, {-1, 2}},         // a negative leading coefficient is scaled away
           {1e-12, 1, -3, 1, {3, 0}},      // numerically linear
           {1, 1e8, 1, 2, {-1e8, -1e-8}},  // no cancellation in the small root
       }) {
    const Roots got = quadratic(k.a, k.b, k.c);
    EXPECT_EQ(got.count, k.count) << k.a << " " << k.b << " " << k.c;
    for (int i = 0; i < 2; ++i)
      EXPECT_DOUBLE_EQ(got.r[i], k.r[i]) << k.a << " " << k.b;
  }
  // The formula as stated, bit for bit, after scaling by the largest magnitude (7).
  const double a = 3.0 / 7, b = 7.0 / 7, c = 1.0 / 7;
  const double q = -0.5 * (b + std::sqrt(b * b - 4 * a * c));
  const Roots got = quadratic(3, 7, 1);
  EXPECT_EQ(got.r[0], q / a);
  EXPECT_EQ(got.r[1], c / q);
}

TEST(mlRootSolve, CubicCases) {
  Roots r = cubic(1, -6, 11, -6);
  EXPECT_EQ(r.count, 3);
  for (int i = 0; i < 3; ++i)
    EXPECT_NEAR(r.r[i], i + 1.0, 1e-12);
  r = cubic(1, 0, 0, -8);
  EXPECT_EQ(r.count, 1);
  EXPECT_NEAR(r.r[0], 2.0, 1e-14);
  EXPECT_EQ(r.r[1], 0.0);
  r = cubic(1e-12, 1, -3, 2);  // handed to the quadratic
  EXPECT_EQ(r.count, 2);
  EXPECT_DOUBLE_EQ(r.r[0], 1.0);
  EXPECT_DOUBLE_EQ(r.r[1], 2.0);
  EXPECT_EQ(cubic(0, 0, 0, 0).count, -1);
  // A zero constant term: x = 0 merges into the quadratic's roots.
  r = cubic(1, -1, -2, 0);
  EXPECT_EQ(r.count, 3);
  EXPECT_EQ(r.r, (std::vector<double>{-1, 0, 2}));
  r = cubic(1, 0, 1, 0);  // x (x^2 + 1)
  EXPECT_EQ(r.count, 1);
  EXPECT_EQ(r.r[0], 0.0);
  // A triple root: the discriminant vanishes exactly.
  r = cubic(1, -3, 3, -1);
  EXPECT_EQ(r.count, 3);
  for (double x : r.r)
    EXPECT_NEAR(x, 1.0, 1e-12);

  // Random cubics with three real roots: residuals small, roots ascending.
  mlRandom random(9);
  for (int k = 0; k < 200; ++k) {
    double x[3];
    for (double& v : x)
      v = random.uniform(-10, 10);
    const double b = -(x[0] + x[1] + x[2]);
    const double c = x[0] * x[1] + x[0] * x[2] + x[1] * x[2];
    const double d = -x[0] * x[1] * x[2];
    const Roots got = cubic(1, b, c, d);
    ASSERT_GE(got.count, 1);
    for (int i = 0; i < got.count; ++i) {
      const double v = got.r[i];
      EXPECT_NEAR(((v + b) * v + c) * v + d, 0.0, 1e-8 * (1 + std::fabs(d))) << k;
      if (i > 0) {
        EXPECT_LE(got.r[i - 1], got.r[i]);
      }
    }
  }
}

TEST(mlRootSolve, QuarticCases) {
  Roots r = quartic(1, 0, -5, 0, 4);
  EXPECT_EQ(r.count, 4);
  const std::vector<double> expected{-2, -1, 1, 2};
  for (int i = 0; i < 4; ++i)
    EXPECT_NEAR(r.r[i], expected[i], 1e-12);
  r = quartic(1, 0, -2, 0, 1);  // (x^2 - 1)^2: each double root once
  EXPECT_EQ(r.count, 2);
  EXPECT_NEAR(r.r[0], -1.0, 1e-12);
  EXPECT_NEAR(r.r[1], 1.0, 1e-12);
  EXPECT_EQ(quartic(1, 0, 0, 0, 1).count, 0);  // x^4 + 1
  EXPECT_EQ(quartic(1, 0, 3, 0, 2).count, 0);  // both u negative
  r = quartic(1, 0, 1, 0, -2);                 // u = 1 or -2: only u = 1 is usable
  EXPECT_EQ(r.count, 2);
  EXPECT_NEAR(r.r[0], -1.0, 1e-12);
  r = quartic(0, 1, -6, 11, -6);  // really a cubic
  EXPECT_EQ(r.count, 3);
  // (x - 1)(x - 2)(x - 3)(x - 4), which needs the resolvent cubic.
  r = quartic(1, -10, 35, -50, 24);
  EXPECT_EQ(r.count, 4);
  for (int i = 0; i < 4; ++i)
    EXPECT_NEAR(r.r[i], i + 1.0, 1e-9);
  // (x + 1)(x - 0.5)(x^2 + 1): two real roots.
  r = quartic(1, 0.5, 0.5, 0.5, -0.5);
  EXPECT_EQ(r.count, 2);
  EXPECT_NEAR(r.r[0], -1.0, 1e-10);
  EXPECT_NEAR(r.r[1], 0.5, 1e-10);
}

}  // namespace

namespace {

using paskosda_test::Call;
using paskosda_test::CountingFunction;

TEST(mlRootSolve, NewtonEvaluatesValueThenSlopeEveryStep) {
  const CountingFunction f([](double t) { return t * t - 2.0; },
                           [](int, double t) { return 2.0 * t; });
  int ok = 0;
  const double root = mlRootSolve::newton_raphson(f, 1.0, 1e-12, ok, 20);
  EXPECT_EQ(ok, 1);
  EXPECT_NEAR(root, std::sqrt(2.0), 1e-15);
  ASSERT_EQ(f.calls.size() % 2, 0u);
  double x = 1.0;
  for (size_t k = 0; k < f.calls.size(); k += 2) {
    EXPECT_EQ(f.calls[k], (Call{0, {}, {x}}));
    EXPECT_EQ(f.calls[k + 1], (Call{1, {}, {x}}));
    x = x - (x * x - 2.0) / (2.0 * x);
  }
  EXPECT_EQ(root, x);

  // A flat start fails with DBL_MAX, deliberately.
  const CountingFunction flat([](double t) { return t * t + 1.0; },
                              [](int, double t) { return 2.0 * t; });
  EXPECT_EQ(mlRootSolve::newton_raphson(flat, 0.0, 1e-12, ok, 20), 1.7976931348623157e308);
  EXPECT_EQ(ok, 0);
  EXPECT_EQ(mlRootSolve::newton_raphson(flat, 0.5, 1e-12, ok, 0), 0.5);
  EXPECT_EQ(ok, 0);
  EXPECT_EQ(flat.calls.size(), 2u);  // no iteration at all with max_iter 0
  mlRootSolve::newton_raphson(flat, 0.5, 1e-12, ok, 3);
  EXPECT_EQ(ok, 0);  // x^2 + 1 has no root: the iteration limit runs out
}

TEST(mlRootSolve, NewtonClampsToTheDomain) {
  // From 0.5 the first step overshoots past 10: clamped there, re-evaluated, and continued
  // because the next step points back inside.
  const CountingFunction cube([](double t) { return t * t * t - 8.0; },
                              [](int, double t) { return 3.0 * t * t; }, 1.9, 10.0);
  int ok = 0;
  const double root = mlRootSolve::newton_raphson(cube, 0.5, 1e-13, ok, 50);
  EXPECT_EQ(ok, 1);
  EXPECT_NEAR(root, 2.0, 1e-14);
  EXPECT_EQ(cube.calls[2], (Call{0, {}, {10.0}}));
  EXPECT_EQ(cube.calls[3], (Call{1, {}, {10.0}}));
  EXPECT_EQ(cube.calls[4], (Call{0, {}, {10.0}}));  // the next iteration starts at the clamp

  // A root outside the domain: clamped to the end, where the next step would leave again.
  const CountingFunction line([](double t) { return t - 5.0; }, [](int, double) { return 1.0; },
                              0.0, 3.0);
  EXPECT_EQ(mlRootSolve::newton_raphson(line, 1.0, 1e-12, ok, 20), 3.0);
  EXPECT_EQ(ok, 0);
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
  EXPECT_EQ(f.calls[0], (Call{0, {}, {0.0}}));
  EXPECT_EQ(f.calls[1], (Call{0, {}, {1.0}}));
  EXPECT_EQ(f.calls[2], (Call{0, {}, {0.0}}));

  // An end already within tol of a root is returned without iterating.
  const CountingFunction near_root([](double t) { return t - 1e-13; });
  EXPECT_EQ(mlRootSolve::newton_raphson(near_root, 0.0, 1.0, 1e-12, ok, 50), 0.0);
  EXPECT_EQ(mlRootSolve::regula_falsi(near_root, 2.0, 0.0, 1e-12, ok, 50), 0.0);
  EXPECT_EQ(ok, 1);

  // No iterations: regula falsi returns a, successful only for a bracket within tol.
  const CountingFunction cubic([](double t) { return (t * t - 2.0) * t - 5.0; });
  EXPECT_EQ(mlRootSolve::regula_falsi(cubic, 2.0, 3.0, 1e-12, ok, 0), 2.0);
  EXPECT_EQ(ok, 0);
  EXPECT_EQ(mlRootSolve::regula_falsi(cubic, 2.0, 2.0 + 1e-13, 1e-12, ok, 0), 2.0);
  EXPECT_EQ(ok, 1);
  // The Illinois halving keeps false position from stalling at one end.
  const double root = mlRootSolve::regula_falsi(cubic, 2.0, 3.0, 1e-12, ok, 100);
  EXPECT_EQ(ok, 1);
  EXPECT_NEAR(root, 2.0945514815423265, 1e-12);
}

}  // namespace
