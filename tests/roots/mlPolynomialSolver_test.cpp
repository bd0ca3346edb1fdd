#include "roots/mlPolynomialSolver.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <complex>
#include <limits>
#include <numeric>
#include <string>
#include <tuple>
#include <vector>

#include "linalg/mlRandom.h"
#include "roots/mlPolynomial.h"
#include "support/test_support.h"

namespace {

using Coefficients = std::vector<double>;
using Complex = std::complex<double>;
const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kInf = std::numeric_limits<double>::infinity();

// The protected steps, opened for testing.
struct Steps : mlPolynomialSolver {
  using mlPolynomialSolver::laguer;
  using mlPolynomialSolver::zerpol;
};

int degree_of(const Coefficients& c) { return static_cast<int>(c.size()) - 1; }

// lead · Π (t - r) · Π (t² - 2 Re z t + |z|²), lowest power first.
Coefficients from_roots(const std::vector<double>& real, const std::vector<Complex>& pairs = {},
                        double lead = 1.0) {
  Coefficients c{lead};
  auto times = [&c](const Coefficients& f) {
    Coefficients out(c.size() + f.size() - 1);
    int degree = 0;
    mlPolynomial::multiply(degree_of(c), c.data(), degree_of(f), f.data(), degree, out.data());
    c = out;
  };
  for (double r : real)
    times({-r, 1.0});
  for (Complex z : pairs)
    times({z.real() * z.real() + z.imag() * z.imag(), -2.0 * z.real(), 1.0});
  return c;
}

struct Solved {
  int count;
  std::vector<double> roots;  // or the extrema
  std::vector<int> kind;
};

// solve_polynomial_allroots when both limits are infinite, else solve_polynomial; the output
// has room for exactly `degree` roots, so that a write past it shows under the sanitizers.
Solved solve(const Coefficients& c, double lower = -kInf, double upper = kInf) {
  const int d = degree_of(c);
  std::vector<double> r(std::max(d, 1));
  const int n = lower == -kInf && upper == kInf
                    ? mlPolynomialSolver::solve_polynomial_allroots(d, c.data(), r.data())
                    : mlPolynomialSolver::solve_polynomial(d, c.data(), lower, upper, r.data());
  r.resize(std::max(n, 0));
  return {n, r, {}};
}

Solved extrema(const Coefficients& c, double lower, double upper) {
  const int d = degree_of(c);
  Solved e{0, std::vector<double>(std::max(d - 1, 1)), std::vector<int>(std::max(d - 1, 1))};
  e.count = mlPolynomialSolver::solve_polynomial_extrema(d, c.data(), lower, upper, e.roots.data(),
                                                         e.kind.data());
  e.roots.resize(std::max(e.count, 0));
  e.kind.resize(std::max(e.count, 0));
  return e;
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
    EXPECT_LE(std::fabs(horner(c, s.roots[i])), rounding_bound(c, s.roots[i])) << what;
    EXPECT_TRUE(i == 0 || s.roots[i] - s.roots[i - 1] >=
                              1e-10 * std::fmax(1.0, std::fabs(s.roots[i])) * (1 - 1e-12))
        << what;
  }
}

struct Known {
  const char* name;
  Coefficients c;
  std::vector<double> roots;
  double tolerance;  // absolute, or relative to |root|
};

// Each polynomial's roots on the whole line: well formed, as many as known, each within the
// tolerance of the known one.
void expect_known_roots(const std::vector<Known>& cases, bool relative) {
  for (const Known& k : cases) {
    const Solved s = solve(k.c);
    ASSERT_EQ(s.count, static_cast<int>(k.roots.size())) << k.name;
    expect_well_formed(k.c, s, k.name);
    for (int i = 0; i < s.count; ++i)
      EXPECT_LE(std::fabs(s.roots[i] - k.roots[i]),
                k.tolerance * (relative ? std::fabs(k.roots[i]) : 1.0))
          << k.name << " root " << k.roots[i];
  }
}

TEST(mlPolynomialSolver, FindsKnownRootsUpToDegreeTwenty) {
  // Real roots in [-10, 10) at least 1e-3 apart among complex pairs: every real root found,
  // within 1e-9 up to degree 10.
  mlRandom random(20240601);
  for (int degree = 1; degree <= 20; ++degree) {
    for (int trial = 0; trial < 25; ++trial) {
      const int pairs = random.integer(degree / 2 + 1);
      std::vector<double> real;
      while (static_cast<int>(real.size()) < degree - 2 * pairs) {
        const double x = random.uniform(-10.0, 10.0);
        if (std::all_of(real.begin(), real.end(),
                        [x](double y) { return std::fabs(x - y) >= 1e-3; }))
          real.push_back(x);
      }
      std::sort(real.begin(), real.end());
      std::vector<Complex> complex;
      for (int k = 0; k < pairs; ++k)
        complex.emplace_back(random.uniform(-10.0, 10.0), random.uniform(0.1, 5.0));
      const double lead = (random.integer(2) == 0 ? -1.0 : 1.0) * random.uniform(0.5, 2.0);
      SCOPED_TRACE(100 * degree + trial);
      expect_known_roots(
          {{"random", from_roots(real, complex, lead), real, degree <= 10 ? 1e-9 : kInf}}, false);
    }
  }
}

TEST(mlPolynomialSolver, ReportsMultipleRootsOnce) {
  const double r2 = std::sqrt(2.0);
  expect_known_roots(
      {{"(t-1)^2 (t+2)", from_roots({1, 1, -2}), {-2, 1}, 1e-6},
       {"(t-0.5)^3", from_roots({0.5, 0.5, 0.5}), {0.5}, 1e-4},
       {"(t^2-2)^2", {4, 0, -4, 0, 1}, {-r2, r2}, 1e-6},
       {"(t-0.1)^2, rounded", from_roots({0.1, 0.1}), {0.1}, 1e-6},
       {"(t-3)^4 (t+1)", from_roots({3, 3, 3, 3, -1}), {-1, 3}, 1e-3},
       {"(t-1)^2 (t-2)^2 (t^2+1)", from_roots({1, 1, 2, 2}, {{0, 1}}), {1, 2}, 1e-6},
       {"mixed", from_roots({-0.75, -0.75, -0.75, 0.25, 0.25, 0}), {-0.75, 0, 0.25}, 1e-4}},
      false);
}

TEST(mlPolynomialSolver, HandlesWidelyScaledAndIllConditionedRoots) {
  std::vector<double> integers(20);  // Wilkinson's polynomial has the roots 1 ... 20
  std::iota(integers.begin(), integers.end(), 1.0);
  expect_known_roots(
      {{"1e-8 and 1e8", from_roots({1e-8, 1e8, 1, -3}), {-3, 1e-8, 1, 1e8}, 1e-12},
       {"tiny cluster", from_roots({-2e-9, 1e-9, 3e-9}, {{1, 1}}), {-2e-9, 1e-9, 3e-9}, 1e-12},
       {"roots near 1e20", from_roots({-5e19, 1e20, 2e20}, {}, 1e-30), {-5e19, 1e20, 2e20}, 1e-12},
       {"lead 1e30", from_roots({-1, 0.5, 2, 4}, {{0, 3}}, 1e30), {-1, 0.5, 2, 4}, 1e-12},
       {"lead 1e-30", from_roots({-1, 0.5, 2, 4}, {{0, 3}}, 1e-30), {-1, 0.5, 2, 4}, 1e-12},
       {"1e-30 t^3 + t - 1", {-1, 1, 0, 1e-30}, {1}, 1e-12},
       {"Wilkinson", from_roots(integers), integers, 2.5e-3}},
      true);
  // 1.26e-321 t^2 + t + DBL_MAX: both roots lie at or beyond the end of the doubles and
  // overflow on the way back from the balanced variable; no infinity is reported as a root.
  const double beyond[] = {DBL_MAX, 1.0, 1.2598673968951787e-321};
  double roots[2];
  const int n = mlPolynomialSolver::solve_polynomial_allroots(2, beyond, roots);
  for (int i = 0; i < n; ++i)
    EXPECT_TRUE(std::isfinite(roots[i]) && (i == 0 || roots[i - 1] < roots[i])) << roots[i];
}

TEST(mlPolynomialSolver, ReportsTheRootsWithinTheLimits) {
  const Coefficients cubic = from_roots({1, 2, 3});  // exact coefficients
  const std::tuple<double, double, std::vector<double>> cases[] = {
      {1, 3, {1, 2, 3}}, {1, 2.5, {1, 2}}, {1.5, 3, {2, 3}}, {2, 2, {2}},
      {2.5, 2.5, {}},    {-kInf, 1, {1}},  {3, kInf, {3}},   {3.5, 100, {}}};
  for (const auto& [lower, upper, roots] : cases) {
    // Within rounding: p evaluates to exactly 0 at 1 + 2^-52 as well as at 1.
    const Solved s = solve(cubic, lower, upper);
    ASSERT_EQ(s.count, static_cast<int>(roots.size())) << lower << " " << upper;
    for (int i = 0; i < s.count; ++i)
      EXPECT_TRUE(std::fabs(s.roots[i] - roots[i]) <= 1e-15 && s.roots[i] >= lower &&
                  s.roots[i] <= upper)
          << s.roots[i];
  }
  // A root one ulp beyond a limit is within rounding of it: reported, inside the limits.
  const Coefficients decimal = from_roots({0.1, 0.7, -0.3}, {{0.2, 0.4}});
  for (const Coefficients& c : {cubic, decimal, from_roots({0.1, 0.1, 2})}) {
    for (double r : solve(c).roots) {
      for (double limit : {std::nextafter(r, 10.0), std::nextafter(r, -10.0)}) {
        const Solved s = limit > r ? solve(c, limit, limit + 0.01) : solve(c, limit - 0.01, limit);
        ASSERT_EQ(s.count, 1) << r;
        EXPECT_NEAR(s.roots[0], r, 1e-15 * std::fmax(1.0, std::fabs(r)));
        EXPECT_TRUE(limit > r ? s.roots[0] >= limit : s.roots[0] <= limit) << r;
      }
    }
  }
  // A quadratic's root on a limit and its other root beyond that limit, moved onto it as
  // within rounding, are one root.
  const std::tuple<Coefficients, double, double, double> ends[] = {
      {{-1, 0, 1}, -2, -1, -1},
      {{-1, 0, 1}, 1, 2, 1},
      {{-2, 0, 2}, -2, -1, -1},
      {{0, 0, -1, 0, 1}, -DBL_MAX, -1, -1}};
  for (const auto& [c, lower, upper, root] : ends) {
    const Solved s = solve(c, lower, upper);
    EXPECT_EQ(s.roots, std::vector<double>{root}) << lower << " " << upper;
  }
}

TEST(mlPolynomialSolver, GivesNoRootsForBadLimitsOrNonFiniteCoefficients) {
  const Coefficients cubic = from_roots({1, 2, 3});
  for (const auto& [lower, upper] :
       std::vector<std::pair<double, double>>{{3, 1}, {kNaN, 3}, {1, kNaN}})
    EXPECT_TRUE(solve(cubic, lower, upper).count == 0 &&
                solve({0, 0, 0}, lower, upper).count == 0 &&
                extrema(cubic, lower, upper).count == 0)
        << lower << " " << upper;
  for (int k = 0; k < 8; ++k) {  // each coefficient NaN, then infinite
    Coefficients c = cubic;
    c[k % 4] = k < 4 ? kNaN : kInf;
    EXPECT_TRUE(solve(c).count == 0 && extrema(c, -5, 5).count == 0) << k;
  }
}

TEST(mlPolynomialSolver, SolvesDegenerateAndLowDegreesExactly) {
  // The zero polynomial holds everywhere; leading zeros lower the degree; trailing zeros are
  // the root 0, once and exact, which absorbs a root closer than 1e-10.
  const std::tuple<Coefficients, int, std::vector<double>> cases[] = {
      {{0, 0, 0}, -1, {}}, {{3}, 0, {}},
      {{3, 0, 0}, 0, {}},  {{1, -2, 1}, 1, {1}},
      {{1, 0, 1}, 0, {}},  {{0, 0, 0, -1, 1}, 2, {0, 1}},
      {{0, 0, 5}, 1, {0}}, {from_roots({0, 0, 1e-12, 2}), 2, {0, 2}}};
  for (const auto& [c, count, roots] : cases) {
    const Solved s = solve(c);
    EXPECT_TRUE(s.count == count && s.roots == roots) << ::testing::PrintToString(c);
  }
  EXPECT_EQ(mlPolynomialSolver::solve_polynomial_allroots(-1, nullptr, nullptr), -1);
  EXPECT_EQ(solve({0, 0, 0}, 0, 1).count, -1);
  EXPECT_EQ(solve({0, -1, 0, 1}, 0.5, 2).roots, std::vector<double>{1.0});
  // Linear: -c0 / c1; quadratic: the larger root from the formula, the other from the product.
  for (const Coefficients& c :
       {Coefficients{0.3, 0.7}, Coefficients{-1e-300, 3e-5, 0.0}, Coefficients{7.1e200, -3.3e-100}})
    EXPECT_EQ(solve(c).roots, std::vector<double>{-c[0] / c[1]});
  for (const Coefficients& c :
       {Coefficients{0.1, 3.7, 1.3}, Coefficients{-2.2, 0.3, -7e-3}, Coefficients{1.0, 1e8, 1.0}}) {
    const double a = c[2], b = c[1], k = c[0];
    const double q = b > 0 ? -0.5 * (b + std::sqrt(b * b - 4 * a * k))
                           : -0.5 * (b - std::sqrt(b * b - 4 * a * k));
    EXPECT_EQ(solve(c).roots,
              (std::vector<double>{std::fmin(q / a, k / q), std::fmax(q / a, k / q)}));
  }
}

TEST(mlPolynomialSolver, MergesAndMovesRootsOnlyWithinTheirTolerances) {
  const double eps = DBL_EPSILON;
  // coefficients, lower, upper, roots: the root 0 of t (t - r) absorbs r only when |r| < 1e-10;
  // roots near 0 closer than 1e-10 are one; t - 1 is moved onto a limit within 64·eps·Σ|c_i||t|^i
  // of it (here 128·eps), not beyond.
  const std::tuple<Coefficients, double, double, std::vector<double>> cases[] = {
      {{0, -0.9e-10, 1}, -1, 1, {0}},
      {{0, 0.9e-10, 1}, -1, 1, {0}},
      {{0, -1e-10, 1}, -1, 1, {0, 1e-10}},
      {{0, 1e-10, 1}, -1, 1, {-1e-10, 0}},
      {{0, -1.1e-10, 1}, -1, 1, {0, 1.1e-10}},
      {from_roots({1e-11, 1.05e-10, 3}), -kInf, kInf, {1e-11, 3}},
      {from_roots({1e-11, 1.2e-10, 3}), -kInf, kInf, {1e-11, 1.2e-10, 3}},
      {{-1, 1}, 0, 1 - 120 * eps, {1 - 120 * eps}},
      {{-1, 1}, 0, 1 - 136 * eps, {}},
      {{-1, 1}, 1 + 120 * eps, 2, {1 + 120 * eps}},
      {{-1, 1}, 1 + 136 * eps, 2, {}}};
  for (const auto& [c, lower, upper, roots] : cases) {
    const Solved s = solve(c, lower, upper);
    ASSERT_EQ(s.count, static_cast<int>(roots.size())) << ::testing::PrintToString(c) << upper;
    for (int i = 0; i < s.count; ++i)
      EXPECT_NEAR(s.roots[i], roots[i], 1e-15 * std::fabs(roots[i]));
  }
}

TEST(mlPolynomialSolver, KeepsTheBitsOfClusteredRoots) {
  // Multiple and nearly multiple roots, whose bits every tuned step of the search shapes:
  // Laguerre's convergence test, step cuts and pair test, the noise bound, the probe, locate,
  // settle and bracket steps, the cluster and near-real widths, the flat-root rule.
  const std::tuple<std::vector<double>, std::vector<Complex>, double, std::vector<double>> cases[] =
      {{{0.08, 0.08, 1.2, 1.2 + 1e-7, -2.9, -1, -4, -0.125},
        {},
        2.5,
        {-0x1.ffffffffffffep+1, -0x1.7333333333332p+1, -1, -0.125, 0x1.47ae147ae1479p-4,
         0x1.33333343e83b5p+0, 0x1.333334d15d4e1p+0}},
       {{1.7, 1.7, 1.7, 1.7, 2.1, 2.1 + 1e-3, -4},
        {},
        2.5,
        {-4, 0x1.b36db80c7ce24p+0, 0x1.0cccccbf6805bp+1, 0x1.0ced9175b8ad1p+1}},
       {{-4, -1.75, -1.75 + 1e-9, -1.625, -1.625, -1.625, -1.625},
        {},
        2.5,
        {-0x1.0000000000028p+2, -0x1.bffffffd9af59p+0, -0x1.a0000009adbfbp+0}},
       {{-1.9, -1.9 + 1e-7, -1.5, -0.5, -1, -1 + 1e-3},
        {{-1, 0.01}},
        -1,
        {-0x1.e666658fa82f4p+0, -0x1.7ffffffff9ec1p+0, -0x1.0000040491fedp+0, -0x1.ff7ce535a47e6p-1,
         -0x1.000000000002bp-1}},
       {{1.75, 1.75 + 1e-7}, {{-4, 1}}, -1, {0x1.bfffffeade5afp+0, 0x1.c00001c2a0cedp+0}},
       {{0.875, 0.2},
        {{1.25, 0.001}, {0.875, 0.01}},
        2.5,
        {0x1.999999999999ep-3, 0x1.c0000000cd558p-1}},
       {{0.7}, {{0.7, 0.1}}, -1, {0x1.6666666666681p-1}},
       {{3, 3 + 1e-7, 0.25}, {}, 1, {0.25, 0x1.8000006b5fca5p+1}},
       {{0.17, 0.17 + 1e-11, -1.125}, {}, 1, {-1.125, 0x1.5c28f5c2bb572p-3}},
       {{0.9, -2.4, -2.4 + 1e-9}, {}, 2.5, {-0x1.3333333220528p+1, 0.9}}};
  for (const auto& [real, pairs, lead, roots] : cases)
    EXPECT_EQ(solve(from_roots(real, pairs, lead)).roots, roots) << ::testing::PrintToString(real);
}

TEST(mlPolynomialSolver, DegreesAboveSixtyFourUseTheSameSteps) {
  Coefficients c(71, 0.0);
  c[0] = -1;
  c[70] = 1;  // t^70 - 1
  EXPECT_EQ(solve(c).roots, (std::vector<double>{-1, 1}));
  const Solved e = extrema(c, -2, 2);
  EXPECT_TRUE(e.roots == std::vector<double>{0.0} && e.kind == std::vector<int>{1});
  double re[70], im[70];
  EXPECT_EQ(Steps::zerpol(70, c.data(), re, im), 70);
}

TEST(mlPolynomialSolver, NoRootIsLostWherePolynomialChangesSign) {
  mlRandom random(77);
  for (int trial = 0; trial < 120; ++trial) {
    Coefficients c(4 + random.integer(18));
    for (double& x : c)
      x = random.uniform(-1.0, 1.0);
    const std::string what = "trial " + std::to_string(trial);
    const Solved s = solve(c, -2.0, 2.0);
    ASSERT_TRUE(s.count >= 0 && s.count <= degree_of(c)) << what;
    expect_well_formed(c, s, what);
    // Between two grid points with trusted opposite signs there must be a reported root.
    double x0 = -2.0, f0 = horner(c, x0);
    for (int i = 1; i <= 4000; ++i) {
      const double x1 = -2.0 + i * 0.001, f1 = horner(c, x1);
      if (std::fabs(f0) > rounding_bound(c, x0) && std::fabs(f1) > rounding_bound(c, x1) &&
          (f0 < 0) != (f1 < 0)) {
        EXPECT_TRUE(std::any_of(s.roots.begin(), s.roots.end(),
                                [=](double r) { return r >= x0 && r <= x1; }))
            << what << " between " << x0 << " and " << x1;
      }
      x0 = x1, f0 = f1;
    }
    EXPECT_TRUE(paskosda_test::same_bits(s.roots.data(), solve(c, -2.0, 2.0).roots.data(), s.count))
        << what;
  }
}

TEST(mlPolynomialSolver, ExtremaAreOddRootsOfTheDerivative) {
  const double s5 = 1 / std::sqrt(5.0);
  using T = std::vector<double>;
  // name, coefficients, lower, upper, extrema, kinds
  const std::tuple<const char*, Coefficients, double, double, T, std::vector<int>> cases[] = {
      {"(t-1)^2 (t+2)", from_roots({1, 1, -2}), -5, 5, {-1, 1}, {-1, 1}},
      {"strictly inside", from_roots({1, 1, -2}), -1, 5, {1}, {1}},
      {"t^4", {0, 0, 0, 0, 1}, -1, 1, {0}, {1}},
      {"-(t-1)^4", from_roots({1, 1, 1, 1}, {}, -1), -3, 3, {1}, {-1}},
      {"t^3: an inflection", {0, 0, 0, 1}, -1, 1, {}, {}},
      {"a line", {1, 2}, -1, 1, {}, {}},
      {"(t^2-1)^2 t", from_roots({-1, -1, 1, 1, 0}), -2, 2, {-1, -s5, s5, 1}, {-1, 1, -1, 1}}};
  for (const auto& [name, c, lower, upper, t, kind] : cases) {
    const Solved e = extrema(c, lower, upper);
    ASSERT_TRUE(e.count == static_cast<int>(t.size()) && e.kind == kind) << name;
    for (int i = 0; i < e.count; ++i)
      EXPECT_NEAR(e.roots[i], t[i], 1e-6) << name;
  }
}

TEST(mlPolynomialSolver, LaguerreTakesTheSameStepsToTheSameBits) {
  // coefficients, start, converged, iterations, last iterate. t^2 (t - 3) from 2 - i creeps to
  // its double root 0, linearly, until the 100 iterations run out.
  const std::tuple<std::vector<Complex>, Complex, int, int, Complex> cases[] = {
      {{0, 0, -3, 1}, {2, -1}, 0, 100, {0x1.c7a0e50c75bb2p-189, -0x1.55b87456bc24ap-187}},
      {{0, {1, -2}, -1, 1}, {0.5, 0}, 1, 13, {-0x1.547218e9bf677p-2, -0x1.33851713f7da8p+0}},
      {{0, 2, {1, 1}, 1}, {0, 1}, 1, 3, {-0x1.4c5b89fcc670dp-2, 0x1.d9a09025d5a62p-1}}};
  for (const auto& [a, start, converged, steps, last] : cases) {
    Complex x = start;
    int iterations = -1;
    EXPECT_EQ(Steps::laguer(static_cast<int>(a.size()) - 1, a.data(), x, iterations), converged);
    EXPECT_TRUE(iterations == steps && x == last) << iterations << " " << x;
  }
}

TEST(mlPolynomialSolver, ZerpolFindsEveryComplexRoot) {
  // (t - 2)(t + 1)(t^2 + 2t + 5) t^2: the exact double 0 first, then 2, -1, -1 ± 2i.
  const Coefficients c = from_roots({2, -1, 0, 0}, {{-1, 2}});
  double re[6], im[6];
  ASSERT_EQ(Steps::zerpol(6, c.data(), re, im), 6);
  EXPECT_EQ(std::vector<double>(re, re + 2), std::vector<double>(2, 0.0));
  for (Complex z : {Complex(2, 0), Complex(-1, 0), Complex(-1, 2), Complex(-1, -2)}) {
    int matches = 0;
    for (int i = 2; i < 6; ++i)
      matches += std::abs(Complex(re[i], im[i]) - z) < 1e-12 ? 1 : 0;
    EXPECT_EQ(matches, 1) << z;
  }
}

}  // namespace
