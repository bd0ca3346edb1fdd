#include "roots/mlPolynomialSolver.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <complex>
#include <cstdio>
#include <limits>
#include <string>
#include <vector>

#include "linalg/mlRandom.h"
#include "roots/mlPolynomial.h"
#include "support/test_support.h"

namespace {

using Coefficients = std::vector<double>;
using Complex = std::complex<double>;

// The protected steps, opened for testing.
struct Steps : mlPolynomialSolver {
  using mlPolynomialSolver::laguer;
  using mlPolynomialSolver::update_and_check_bracket;
  using mlPolynomialSolver::zerpol;
};

// lead · Π (t - r) · Π (t² - 2 Re z t + |z|²), lowest power first.
Coefficients from_roots(const std::vector<double>& real, const std::vector<Complex>& pairs = {},
                        double lead = 1.0) {
  Coefficients c{lead};
  auto times = [&c](const Coefficients& f) {
    Coefficients out(c.size() + f.size() - 1);
    int degree = 0;
    mlPolynomial::multiply(static_cast<int>(c.size()) - 1, c.data(), static_cast<int>(f.size()) - 1,
                           f.data(), degree, out.data());
    c = out;
  };
  for (double r : real)
    times({-r, 1.0});
  for (Complex z : pairs)
    times({z.real() * z.real() + z.imag() * z.imag(), -2.0 * z.real(), 1.0});
  return c;
}

int degree_of(const Coefficients& c) { return static_cast<int>(c.size()) - 1; }

struct Solved {
  int count;
  std::vector<double> roots;
};

// Room for exactly `degree` roots, so that a write past it shows under the sanitizers.
Solved solve(const Coefficients& c, double lower, double upper) {
  std::vector<double> roots(c.size() > 1 ? c.size() - 1 : 1, 0.0);
  const int n =
      mlPolynomialSolver::solve_polynomial(degree_of(c), c.data(), lower, upper, roots.data());
  roots.resize(n > 0 ? n : 0);
  return {n, roots};
}

Solved solve_all(const Coefficients& c) {
  std::vector<double> roots(c.size() > 1 ? c.size() - 1 : 1, 0.0);
  const int n = mlPolynomialSolver::solve_polynomial_allroots(degree_of(c), c.data(), roots.data());
  roots.resize(n > 0 ? n : 0);
  return {n, roots};
}

double horner(const Coefficients& c, double t) {
  double value = 0.0;
  mlPolynomial::evaluate(degree_of(c), c.data(), t, value);
  return value;
}

// 64·eps·degree·Σ|c_i||t|^i: what every reported root must meet.
double rounding_bound(const Coefficients& c, double t) {
  double s = 0.0;
  for (int i = degree_of(c); i >= 0; --i)
    s = s * std::fabs(t) + std::fabs(c[i]);
  return 64.0 * DBL_EPSILON * degree_of(c) * s;
}

// Ascending, distinct by the merge rule, and each a root within rounding.
void expect_well_formed(const Coefficients& c, const Solved& s, const std::string& what) {
  for (int i = 0; i < s.count; ++i) {
    EXPECT_LE(std::fabs(horner(c, s.roots[i])), rounding_bound(c, s.roots[i]))
        << what << " root " << s.roots[i];
    if (i > 0) {
      EXPECT_GE(s.roots[i] - s.roots[i - 1],
                1e-10 * std::fmax(1.0, std::fabs(s.roots[i])) * (1 - 1e-12))
          << what;
    }
  }
}

// A worst error for the test report (three significant digits).
std::string figure(double x) {
  char text[32];
  std::snprintf(text, sizeof text, "%.3g", x);
  return text;
}

// Distinct roots at least `gap` apart, uniform in [-10, 10).
std::vector<double> separated(mlRandom& random, int n, double gap) {
  std::vector<double> r;
  while (static_cast<int>(r.size()) < n) {
    const double x = random.uniform(-10.0, 10.0);
    bool ok = true;
    for (double y : r)
      ok = ok && std::fabs(x - y) >= gap;
    if (!ok) continue;
    auto at = r.begin();
    while (at != r.end() && *at < x)
      ++at;
    r.insert(at, x);
  }
  return r;
}

TEST(mlPolynomialSolver, FindsKnownRootsUpToDegreeTwenty) {
  mlRandom random(20240601);
  double worst_low = 0.0;   // degree <= 10, relative to max(1, |r|)
  double worst_high = 0.0;  // degree 11 .. 20
  for (int degree = 1; degree <= 20; ++degree) {
    for (int trial = 0; trial < 25; ++trial) {
      const int pairs = random.integer(degree / 2 + 1);
      const std::vector<double> real = separated(random, degree - 2 * pairs, 1e-3);
      std::vector<Complex> complex;
      for (int k = 0; k < pairs; ++k)
        complex.emplace_back(random.uniform(-10.0, 10.0), random.uniform(0.1, 5.0));
      const double lead = (random.integer(2) == 0 ? -1.0 : 1.0) * random.uniform(0.5, 2.0);
      const Coefficients c = from_roots(real, complex, lead);
      const std::string what =
          "degree " + std::to_string(degree) + " trial " + std::to_string(trial);
      const Solved s = solve_all(c);
      ASSERT_EQ(s.count, static_cast<int>(real.size())) << what;
      expect_well_formed(c, s, what);
      for (int i = 0; i < s.count; ++i) {
        const double error = std::fabs(s.roots[i] - real[i]) / std::fmax(1.0, std::fabs(real[i]));
        if (degree <= 10) {
          EXPECT_LE(error, 1e-9) << what;
          worst_low = std::fmax(worst_low, error);
        } else {
          worst_high = std::fmax(worst_high, error);
        }
      }
    }
  }
  RecordProperty("worst_relative_error_degree_1_to_10", figure(worst_low));
  RecordProperty("worst_relative_error_degree_11_to_20", figure(worst_high));
}

TEST(mlPolynomialSolver, ReportsMultipleRootsOnce) {
  struct Case {
    const char* name;
    Coefficients c;
    std::vector<double> roots;
    double tolerance;
  };
  const double r2 = std::sqrt(2.0);
  const std::vector<Case> cases = {
      {"(t-1)^2 (t+2)", from_roots({1, 1, -2}), {-2, 1}, 1e-6},
      {"(t-0.5)^3", from_roots({0.5, 0.5, 0.5}), {0.5}, 1e-4},
      {"(t^2-2)^2", from_roots({-r2, -r2, r2, r2}), {-r2, r2}, 1e-6},
      {"(t^2-2)^2 rounded", {4, 0, -4, 0, 1}, {-r2, r2}, 1e-6},
      {"(t-0.1)^2", from_roots({0.1, 0.1}), {0.1}, 1e-6},
      {"(t-3)^4 (t+1)", from_roots({3, 3, 3, 3, -1}), {-1, 3}, 1e-3},
      {"(t-1)^2 (t-2)^2 (t^2+1)", from_roots({1, 1, 2, 2}, {{0, 1}}), {1, 2}, 1e-6},
      {"(t+0.75)^3 (t-0.25)^2 t",
       from_roots({-0.75, -0.75, -0.75, 0.25, 0.25, 0}),
       {-0.75, 0, 0.25},
       1e-4},
  };
  double worst = 0.0;
  for (const Case& k : cases) {
    const Solved s = solve_all(k.c);
    ASSERT_EQ(s.count, static_cast<int>(k.roots.size())) << k.name;
    expect_well_formed(k.c, s, k.name);
    for (int i = 0; i < s.count; ++i) {
      EXPECT_NEAR(s.roots[i], k.roots[i], k.tolerance) << k.name;
      worst = std::fmax(worst, std::fabs(s.roots[i] - k.roots[i]));
    }
  }
  RecordProperty("worst_error", figure(worst));
}

TEST(mlPolynomialSolver, WilkinsonsPolynomial) {
  std::vector<double> integers;
  for (int k = 1; k <= 20; ++k)
    integers.push_back(k);
  const Coefficients c = from_roots(integers);
  const Solved s = solve_all(c);
  ASSERT_EQ(s.count, 20);
  expect_well_formed(c, s, "Wilkinson");
  double worst = 0.0;
  for (int i = 0; i < 20; ++i) {
    EXPECT_NEAR(s.roots[i], i + 1.0, 5e-2);
    worst = std::fmax(worst, std::fabs(s.roots[i] - (i + 1.0)));
  }
  RecordProperty("worst_error", figure(worst));
}

TEST(mlPolynomialSolver, HandlesWidelyScaledRootsAndCoefficients) {
  struct Case {
    const char* name;
    Coefficients c;
    std::vector<double> roots;
  };
  std::vector<Case> cases = {
      {"1e-8 and 1e8", from_roots({1e-8, 1e8, 1, -3}), {-3, 1e-8, 1, 1e8}},
      {"tiny cluster", from_roots({-2e-9, 1e-9, 3e-9}, {{1, 1}}), {-2e-9, 1e-9, 3e-9}},
      {"roots near 1e20, coefficients 1e-30 .. 1e30",
       from_roots({-5e19, 1e20, 2e20}, {}, 1e-30),
       {-5e19, 1e20, 2e20}},
      {"coefficients near 1e30", from_roots({-1, 0.5, 2, 4}, {{0, 3}}, 1e30), {-1, 0.5, 2, 4}},
      {"coefficients near 1e-30", from_roots({-1, 0.5, 2, 4}, {{0, 3}}, 1e-30), {-1, 0.5, 2, 4}},
      {"1e-30 t^3 + t - 1", {-1, 1, 0, 1e-30}, {1}},
  };
  double worst = 0.0;
  for (const Case& k : cases) {
    const Solved s = solve_all(k.c);
    ASSERT_EQ(s.count, static_cast<int>(k.roots.size())) << k.name;
    expect_well_formed(k.c, s, k.name);
    for (int i = 0; i < s.count; ++i) {
      const double error = std::fabs(s.roots[i] - k.roots[i]) / std::fabs(k.roots[i]);
      EXPECT_LE(error, 1e-12) << k.name << " " << s.roots[i];
      worst = std::fmax(worst, error);
    }
  }
  RecordProperty("worst_relative_error", figure(worst));
}

TEST(mlPolynomialSolver, IntervalEdgesAndBadInput) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  const Coefficients cubic = from_roots({1, 2, 3});  // exact coefficients
  struct Case {
    double lower, upper;
    std::vector<double> roots;
  };
  for (const Case& k : std::vector<Case>{{1, 3, {1, 2, 3}},
                                         {1, 2.5, {1, 2}},
                                         {1.5, 3, {2, 3}},
                                         {2, 2, {2}},
                                         {2.5, 2.5, {}},
                                         {-inf, 1, {1}},
                                         {3, inf, {3}},
                                         {3.5, 100, {}}}) {
    // Within rounding: p evaluates to exactly 0 at 1 + 2^-52 as well as at 1.
    const Solved s = solve(cubic, k.lower, k.upper);
    ASSERT_EQ(s.count, static_cast<int>(k.roots.size())) << k.lower << " " << k.upper;
    for (int i = 0; i < s.count; ++i) {
      EXPECT_NEAR(s.roots[i], k.roots[i], 1e-15);
      EXPECT_TRUE(s.roots[i] >= k.lower && s.roots[i] <= k.upper);
    }
  }
  // A root that rounding puts just outside a limit equal to it is still reported, at the limit.
  const Coefficients decimal = from_roots({0.1, 0.7, -0.3}, {{0.2, 0.4}});
  for (double limit : {0.1, 0.7}) {
    const Solved s = solve(decimal, limit == 0.1 ? 0.1 : 0.5, limit == 0.1 ? 0.5 : 0.7);
    ASSERT_EQ(s.count, 1);
    EXPECT_NEAR(s.roots[0], limit, 1e-15);
  }

  // A root one ulp beyond a limit is within rounding of it: still reported, inside the limits.
  for (const Coefficients& c : {cubic, decimal, from_roots({0.1, 0.1, 2})}) {
    for (double r : solve_all(c).roots) {
      const double above = std::nextafter(r, 10.0), below = std::nextafter(r, -10.0);
      for (const Solved& s : {solve(c, above, above + 0.01), solve(c, below - 0.01, below)}) {
        ASSERT_EQ(s.count, 1) << r;
        EXPECT_NEAR(s.roots[0], r, 1e-15 * std::fmax(1.0, std::fabs(r)));
      }
      EXPECT_GE(solve(c, above, above + 0.01).roots[0], above);
      EXPECT_LE(solve(c, below - 0.01, below).roots[0], below);
    }
  }

  EXPECT_EQ(solve(cubic, 3, 1).count, 0);  // lower > upper
  EXPECT_EQ(solve(cubic, nan, 3).count, 0);
  EXPECT_EQ(solve(cubic, 1, nan).count, 0);
  EXPECT_EQ(mlPolynomialSolver::limits_good(1, 1), 1);
  EXPECT_EQ(mlPolynomialSolver::limits_good(-inf, inf), 1);
  EXPECT_EQ(mlPolynomialSolver::limits_good(2, 1), 0);
  EXPECT_EQ(mlPolynomialSolver::limits_good(nan, 1), 0);
  for (double bad : {nan, inf}) {
    for (int at = 0; at < 4; ++at) {
      Coefficients c = cubic;
      c[at] = bad;
      EXPECT_EQ(solve_all(c).count, 0) << at;
      double t[2];
      int kind[2];
      EXPECT_EQ(mlPolynomialSolver::solve_polynomial_extrema(3, c.data(), -5, 5, t, kind), 0);
    }
  }
}

TEST(mlPolynomialSolver, DegenerateDegrees) {
  // The zero polynomial holds everywhere (bad limits are tested first).
  const Coefficients zero = {0, 0, 0};
  EXPECT_EQ(solve_all(zero).count, -1);
  EXPECT_EQ(solve(zero, 0, 1).count, -1);
  EXPECT_EQ(solve(zero, 1, 0).count, 0);
  EXPECT_EQ(mlPolynomialSolver::solve_polynomial_allroots(-1, nullptr, nullptr), -1);
  // Non-zero constants (also behind leading zeros) have no roots.
  EXPECT_EQ(solve_all({3}).count, 0);
  EXPECT_EQ(solve_all({3, 0, 0}).count, 0);
  // Linear: -c0/c1, bit for bit, also behind a leading zero.
  for (const Coefficients& c : {Coefficients{0.3, 0.7}, Coefficients{-1e-300, 3e-5, 0.0},
                                Coefficients{7.1e200, -3.3e-100}}) {
    const Solved s = solve_all(c);
    ASSERT_EQ(s.count, 1);
    EXPECT_EQ(s.roots[0], -c[0] / c[1]);
  }
  // Quadratic: the stable formula (the larger root from the formula, the other from the
  // product), bit for bit; a double root once.
  for (const Coefficients& c :
       {Coefficients{0.1, 3.7, 1.3}, Coefficients{-2.2, 0.3, -7e-3}, Coefficients{1.0, 1e8, 1.0}}) {
    const double a = c[2], b = c[1], k = c[0];
    const double q = b > 0 ? -0.5 * (b + std::sqrt(b * b - 4 * a * k))
                           : -0.5 * (b - std::sqrt(b * b - 4 * a * k));
    const double r1 = std::fmin(q / a, k / q), r2 = std::fmax(q / a, k / q);
    const Solved s = solve_all(c);
    EXPECT_EQ(s.roots, (std::vector<double>{r1, r2}));
  }
  EXPECT_EQ(solve_all({1, -2, 1}).roots, std::vector<double>{1.0});
  EXPECT_EQ(solve_all({1, 0, 1}).count, 0);
  // Trailing zeros: the root 0 once, exactly, merged with a neighbour closer than 1e-10.
  EXPECT_EQ(solve_all({0, 0, 0, -1, 1}).roots, (std::vector<double>{0, 1}));
  EXPECT_EQ(solve_all({0, 0, 5}).roots, std::vector<double>{0.0});
  const Solved near_zero = solve_all(from_roots({0, 0, 1e-12, 2}));
  ASSERT_EQ(near_zero.count, 2);
  EXPECT_EQ(near_zero.roots[0], 0.0);
  EXPECT_NEAR(near_zero.roots[1], 2.0, 1e-15);
  EXPECT_EQ(solve({0, -1, 0, 1}, 0.5, 2).roots, std::vector<double>{1.0});
}

TEST(mlPolynomialSolver, DegreesAboveSixtyFourUseTheSameSteps) {
  // Beyond degree 64 the workspace comes from the heap.
  Coefficients c(71, 0.0);
  c[0] = -1;
  c[70] = 1;  // t^70 - 1
  EXPECT_EQ(solve_all(c).roots, (std::vector<double>{-1, 1}));
  std::vector<double> t(69);
  std::vector<int> kind(69);
  ASSERT_EQ(
      mlPolynomialSolver::solve_polynomial_extrema(70, c.data(), -2, 2, t.data(), kind.data()), 1);
  EXPECT_EQ(t[0], 0.0);
  EXPECT_EQ(kind[0], 1);
  Coefficients high(63, 0.0);
  high[0] = 1;
  high[62] = 1;  // t^62 + 1 has no real root
  Coefficients product(66);
  int degree = 0;
  const Coefficients cubic = from_roots({1, 2, -3});
  mlPolynomial::multiply(62, high.data(), 3, cubic.data(), degree, product.data());
  const Solved s = solve_all(product);
  ASSERT_EQ(s.count, 3);
  for (int i = 0; i < 3; ++i)
    EXPECT_NEAR(s.roots[i], (std::vector<double>{-3, 1, 2})[i], 1e-12);
  double re[66], im[66];
  EXPECT_EQ(Steps::zerpol(65, product.data(), re, im), 65);
}

TEST(mlPolynomialSolver, NoRootIsLostWherePolynomialChangesSign) {
  mlRandom random(77);
  for (int trial = 0; trial < 120; ++trial) {
    const int degree = 3 + random.integer(18);
    Coefficients c(degree + 1);
    for (double& x : c)
      x = random.uniform(-1.0, 1.0);
    const std::string what = "trial " + std::to_string(trial);
    const Solved s = solve(c, -2.0, 2.0);
    ASSERT_GE(s.count, 0);
    ASSERT_LE(s.count, degree);
    expect_well_formed(c, s, what);
    // Between two grid points with trusted opposite signs there must be a reported root.
    double x0 = -2.0;
    double f0 = horner(c, x0);
    for (int i = 1; i <= 4000; ++i) {
      const double x1 = -2.0 + i * 0.001;
      const double f1 = horner(c, x1);
      const bool trusted =
          std::fabs(f0) > rounding_bound(c, x0) && std::fabs(f1) > rounding_bound(c, x1);
      if (trusted && (f0 < 0) != (f1 < 0)) {
        bool found = false;
        for (double r : s.roots)
          found = found || (r >= x0 && r <= x1);
        EXPECT_TRUE(found) << what << " between " << x0 << " and " << x1;
      }
      x0 = x1;
      f0 = f1;
    }
    // The same input gives the same bits.
    const Solved again = solve(c, -2.0, 2.0);
    EXPECT_TRUE(paskosda_test::same_bits(s.roots.data(), again.roots.data(), s.count));
  }
}

TEST(mlPolynomialSolver, ExtremaAreOddRootsOfTheDerivative) {
  struct Case {
    const char* name;
    Coefficients c;
    double lower, upper;
    std::vector<double> t;
    std::vector<int> kind;
  };
  const std::vector<Case> cases = {
      {"(t-1)^2 (t+2)", from_roots({1, 1, -2}), -5, 5, {-1, 1}, {-1, 1}},
      {"strictly inside", from_roots({1, 1, -2}), -1, 5, {1}, {1}},
      {"t^4", {0, 0, 0, 0, 1}, -1, 1, {0}, {1}},
      {"-(t-1)^4", from_roots({1, 1, 1, 1}, {}, -1), -3, 3, {1}, {-1}},
      {"t^3: an inflection", {0, 0, 0, 1}, -1, 1, {}, {}},
      {"t^2 + 1", {1, 0, 1}, -1, 1, {0}, {1}},
      {"a line", {1, 2}, -1, 1, {}, {}},
      {"(t^2-1)^2 t",
       from_roots({-1, -1, 1, 1, 0}),
       -2,
       2,
       {-1, -1 / std::sqrt(5.0), 1 / std::sqrt(5.0), 1},
       {-1, 1, -1, 1}},
  };
  for (const Case& k : cases) {
    const int degree = degree_of(k.c);
    std::vector<double> t(degree > 1 ? degree - 1 : 1, 9.0);
    std::vector<int> kind(t.size(), 9);
    const int n = mlPolynomialSolver::solve_polynomial_extrema(degree, k.c.data(), k.lower, k.upper,
                                                               t.data(), kind.data());
    ASSERT_EQ(n, static_cast<int>(k.t.size())) << k.name;
    for (int i = 0; i < n; ++i) {
      EXPECT_NEAR(t[i], k.t[i], 1e-6) << k.name;
      EXPECT_EQ(kind[i], k.kind[i]) << k.name;
    }
  }
  double t[2];
  int kind[2];
  const double c[4] = {0, 0, 1, 1};
  EXPECT_EQ(mlPolynomialSolver::solve_polynomial_extrema(3, c, 1, -1, t, kind), 0);
}

TEST(mlPolynomialSolver, ZerpolFindsEveryComplexRoot) {
  // (t - 2)(t + 1)(t^2 + 2t + 5) t^2: roots 2, -1, -1 ± 2i and a double 0.
  const Coefficients c = from_roots({2, -1, 0, 0}, {{-1, 2}});
  double re[6], im[6];
  ASSERT_EQ(Steps::zerpol(6, c.data(), re, im), 6);
  EXPECT_EQ(re[0], 0.0);
  EXPECT_EQ(re[1], 0.0);
  std::vector<Complex> expected = {{2, 0}, {-1, 0}, {-1, 2}, {-1, -2}};
  for (int i = 2; i < 6; ++i) {
    bool matched = false;
    for (Complex& z : expected) {
      if (std::abs(Complex(re[i], im[i]) - z) < 1e-12) {
        matched = true;
        z = {99, 99};  // each expected root once
      }
    }
    EXPECT_TRUE(matched) << re[i] << " " << im[i];
  }
  const Coefficients leading_zero = {2, -3, 1, 0};  // (t - 1)(t - 2)
  EXPECT_EQ(Steps::zerpol(3, leading_zero.data(), re, im), 2);
  EXPECT_EQ(Steps::zerpol(1, Coefficients{0, 0}.data(), re, im), 0);
  const Coefficients broken = {1, std::numeric_limits<double>::quiet_NaN(), 1};
  EXPECT_EQ(Steps::zerpol(2, broken.data(), re, im), -1);

  // Laguerre alone: the root of t^2 + 1 nearest a start off the axis, and a NaN polynomial
  // that runs out of iterations without hanging.
  const Complex a[3] = {{1, 0}, {0, 0}, {1, 0}};
  Complex x(0.1, 0.3);
  int iterations = 0;
  EXPECT_EQ(Steps::laguer(2, a, x, iterations), 1);
  EXPECT_LT(std::abs(x - Complex(0, 1)), 1e-15);
  EXPECT_LT(iterations, 10);
  const Complex bad[3] = {{1, 0}, {std::numeric_limits<double>::quiet_NaN(), 0}, {1, 0}};
  EXPECT_EQ(Steps::laguer(2, bad, x, iterations), 0);
  EXPECT_EQ(iterations, 100);
}

TEST(mlPolynomialSolver, BracketKeeperMovesTheEndOfTheSameSign) {
  struct Case {
    double x, fx, tolerance;
    int result;
    double a, fa, b, fb;  // after the update of [0, 1] with f(0) = -1, f(1) = 2
  };
  const double nan = std::numeric_limits<double>::quiet_NaN();
  for (const Case& k : std::vector<Case>{{0.5, -0.25, 0.1, 1, 0.5, -0.25, 1, 2},
                                         {0.5, 0.75, 0.1, 1, 0, -1, 0.5, 0.75},
                                         {0.95, -0.1, 0.1, 0, 0.95, -0.1, 1, 2},
                                         {0.25, 0.0, 0.1, 0, 0.25, 0, 0.25, 0},
                                         {1.5, 1.0, 0.1, 0, 0, -1, 1, 2},
                                         {0.5, nan, 0.1, 0, 0, -1, 1, 2}}) {
    double a = 0, fa = -1, b = 1, fb = 2;
    EXPECT_EQ(Steps::update_and_check_bracket(k.x, k.fx, a, fa, b, fb, k.tolerance), k.result)
        << k.x;
    EXPECT_EQ(std::vector<double>({a, fa, b, fb}), std::vector<double>({k.a, k.fa, k.b, k.fb}))
        << k.x;
  }
}

}  // namespace
