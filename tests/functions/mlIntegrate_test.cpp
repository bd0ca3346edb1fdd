#include "functions/mlIntegrate.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <vector>

#include "support/counting_functions.h"

namespace {

using paskosda_test::CountingFunction;

// A cheap function without a simple pattern, for evaluation counts and bitwise comparisons.
double wavy(double x) { return 1.0 / (1.0 + x * x) + 0.25 * x * x * x; }

// Counts evaluations without recording them (the long runs make millions).
class Counted : public mlFunction {
 public:
  explicit Counted(double (*f)(double)) : f_(f) {}
  double function(double t) const override {
    ++evaluations;
    return f_(t);
  }
  mutable std::int64_t evaluations = 0;

 private:
  double (*f_)(double);
};

// The three rules step by step, written out literally, for bitwise comparison.
double literal_sum(double (*f)(double), double x0, double dx, std::int64_t n) {
  double s = 0.0;
  for (std::int64_t i = 0; i < n; ++i)
    s += f(static_cast<double>(i) * dx + x0);
  return s;
}

double literal_trapezoid(double (*f)(double), double a, double b, double tol, int max_steps,
                         int& converged) {
  double h = b - a;
  double t = 0.5 * (f(a) + f(b)) * (b - a);
  std::int64_t n = 1;
  converged = 1;
  for (int j = 1; j < max_steps; ++j) {
    h = 0.5 * h;
    const double next = literal_sum(f, a + h, 2.0 * h, n) * h + 0.5 * t;
    n *= 2;
    if (std::fabs(next - t) < tol) return next;
    t = next;
  }
  converged = 0;
  return t;
}

double literal_simpson(double (*f)(double), double a, double b, double tol, int max_steps,
                       int& converged) {
  double h = 0.5 * (b - a);
  double e = 0.5 * (f(a) + f(b));
  double previous = 0.0;
  std::int64_t n = 1;
  converged = 1;
  for (int j = 0; j < max_steps; ++j) {
    const double m = literal_sum(f, a + h, 2.0 * h, n);
    const double s = (4.0 * m + 2.0 * e) * h / 3.0;
    if (j > 0 && std::fabs(s - previous) < tol) return s;
    n *= 2;
    e = e + m;
    h = 0.5 * h;
    previous = s;
  }
  converged = 0;
  return previous;
}

// The divisor from the exact 64-bit integer 4^m - 1 (m <= 31).
double literal_romberg(double (*f)(double), double a, double b, double tol, int max_steps,
                       int& converged) {
  std::vector<double> r(static_cast<std::size_t>(max_steps < 0 ? 1 : max_steps + 1));
  double h = b - a;
  double t = 0.5 * (f(a) + f(b)) * (b - a);
  r[0] = t;
  std::int64_t n = 1;
  double result = 0.0;
  converged = 1;
  for (int k = 1; k <= max_steps; ++k) {
    h = 0.5 * h;
    t = literal_sum(f, a + h, 2.0 * h, n) * h + 0.5 * t;
    r[static_cast<std::size_t>(k)] = t;
    n *= 2;
    for (int j = k, m = 1; j >= 1; --j, ++m) {
      const double divisor = static_cast<double>((std::uint64_t{1} << (2 * m)) - 1);
      r[static_cast<std::size_t>(j - 1)] =
          r[static_cast<std::size_t>(j)] +
          (r[static_cast<std::size_t>(j)] - r[static_cast<std::size_t>(j - 1)]) / divisor;
    }
    if (k > 1 && std::fabs(r[0] - result) < tol) return r[0];
    result = r[0];
  }
  converged = 0;
  return result;
}

TEST(ml_sum, SumsInIncreasingOrderAtIDxPlusX0) {
  const CountingFunction f(wavy);
  EXPECT_EQ(ml_sum(f, 0.3, 0.7, 0), 0.0);
  EXPECT_EQ(ml_sum(f, 0.3, 0.7, -4), 0.0);
  EXPECT_TRUE(f.calls.empty());

  const double expected =
      ((0.0 + wavy(0.0 * 0.7 + 0.3)) + wavy(1.0 * 0.7 + 0.3)) + wavy(2.0 * 0.7 + 0.3);
  EXPECT_EQ(ml_sum(f, 0.3, 0.7, 3), expected);
  ASSERT_EQ(f.calls.size(), 3u);
  EXPECT_EQ(f.calls[1].at[0], 1.0 * 0.7 + 0.3);
  EXPECT_EQ(f.calls[2].at[0], 2.0 * 0.7 + 0.3);
}

TEST(mlIntegrate, MatchTheLiteralRulesBitForBitWithTheirEvaluationCounts) {
  // Tolerance -1 never converges: every rule runs to its limit. Twenty halvings use
  // Romberg divisors up to 4^20 - 1, beyond the int range.
  const Counted f(wavy);
  const double a = -0.4, b = 1.3;
  for (int limit : {-3, 0, 1, 2, 3, 7, 20}) {
    for (double tol : {-1.0, 1e-9}) {
      int expected_converged = 0;

      f.evaluations = 0;
      const mlIntegrateTrapezoid trapezoid(tol, limit);
      const double t = trapezoid.integrate(f, a, b);
      EXPECT_EQ(t, literal_trapezoid(wavy, a, b, tol, limit, expected_converged)) << limit;
      EXPECT_EQ(trapezoid.converged(), expected_converged) << limit;
      if (tol < 0.0) {
        // limit - 1 halvings.
        const int s = limit > 1 ? limit - 1 : 0;
        EXPECT_EQ(f.evaluations, 2 + ((std::int64_t{1} << s) - 1)) << limit;
      }

      f.evaluations = 0;
      const mlIntegrateSimpson simpson(tol, limit);
      EXPECT_EQ(simpson.integrate(f, a, b),
                literal_simpson(wavy, a, b, tol, limit, expected_converged))
          << limit;
      EXPECT_EQ(simpson.converged(), expected_converged) << limit;
      if (tol < 0.0) {
        // limit estimates.
        const int s = limit > 0 ? limit : 0;
        EXPECT_EQ(f.evaluations, 2 + ((std::int64_t{1} << s) - 1)) << limit;
      }

      f.evaluations = 0;
      const mlIntegrateRomberg romberg(tol, limit);
      EXPECT_EQ(romberg.integrate(f, a, b),
                literal_romberg(wavy, a, b, tol, limit, expected_converged))
          << limit;
      EXPECT_EQ(romberg.converged(), expected_converged) << limit;
      if (tol < 0.0) {
        // limit halvings.
        const int s = limit > 0 ? limit : 0;
        EXPECT_EQ(f.evaluations, 2 + ((std::int64_t{1} << s) - 1)) << limit;
      }
    }
  }
}

TEST(mlIntegrate, StepLimitEdges) {
  const CountingFunction f([](double x) { return x * x * x - 2.0 * x + 1.0; });
  const double a = 0.5, b = 2.0;
  const double t0 = 0.5 * (f.function(a) + f.function(b)) * (b - a);

  // The trapezoid with one step returns the one-interval trapezoid, unconverged.
  const mlIntegrateTrapezoid trapezoid(1e-12, 1);
  EXPECT_EQ(trapezoid.integrate(f, a, b), t0);
  EXPECT_EQ(trapezoid.converged(), 0);

  // Simpson is exact for a cubic from its first estimate, which is never accepted: the
  // second is, with two steps. One step returns the first estimate unconverged.
  const double exact = (b * b * b * b - a * a * a * a) / 4.0 - (b * b - a * a) + (b - a);
  const mlIntegrateSimpson simpson(1e-12, 2);
  EXPECT_EQ(simpson.integrate(f, a, b), exact);
  EXPECT_EQ(simpson.converged(), 1);
  const mlIntegrateSimpson simpson_once(1e-12, 1);
  EXPECT_EQ(simpson_once.integrate(f, a, b), exact);
  EXPECT_EQ(simpson_once.converged(), 0);
  EXPECT_EQ(mlIntegrateSimpson(1e-12, 0).integrate(f, a, b), 0.0);

  // Romberg with no step returns 0; with one step, the order-1 extrapolation, which is
  // Simpson's first estimate, unconverged.
  f.calls.clear();
  const mlIntegrateRomberg romberg0(1e-12, 0);
  EXPECT_EQ(romberg0.integrate(f, a, b), 0.0);
  EXPECT_EQ(romberg0.converged(), 0);
  EXPECT_EQ(f.calls.size(), 2u);
  const mlIntegrateRomberg romberg1(1e-12, 1);
  EXPECT_EQ(romberg1.integrate(f, a, b), exact);
  EXPECT_EQ(romberg1.converged(), 0);

  // Every call sets the flag afresh.
  mlIntegrateRomberg romberg(1e-12, 2);
  EXPECT_EQ(romberg.integrate(f, a, b), exact);
  EXPECT_EQ(romberg.converged(), 1);
  romberg.become(-1.0, 2);
  romberg.integrate(f, a, b);
  EXPECT_EQ(romberg.converged(), 0);
}

TEST(mlIntegrate, KnownIntegrals) {
  struct Case {
    const char* name;
    double (*f)(double);
    double a, b, exact;
  };
  const double pi = 3.141592653589793;
  const Case cases[] = {
      {"e^x", [](double x) { return std::exp(x); }, 0.0, 1.0, std::exp(1.0) - 1.0},
      {"1/(1+x^2)", [](double x) { return 1.0 / (1.0 + x * x); }, 0.0, 1.0, pi / 4.0},
      {"|x-1/3|", [](double x) { return std::fabs(x - 1.0 / 3.0); }, 0.0, 1.0, 5.0 / 18.0},
      {"x^2 reversed", [](double x) { return x * x; }, 3.0, 0.0, -9.0},
  };
  for (const Case& c : cases) {
    const Counted f(c.f);
    const mlIntegrateTrapezoid trapezoid(1e-10, 25);
    const mlIntegrateSimpson simpson(1e-10, 25);
    const mlIntegrateRomberg romberg(1e-10, 25);
    const mlIntegrate* rules[] = {&trapezoid, &simpson, &romberg};
    for (const mlIntegrate* rule : rules)
      EXPECT_NEAR(rule->integrate(f, c.a, c.b), c.exact, 1e-8) << c.name;
    EXPECT_EQ(trapezoid.converged(), 1) << c.name;
    EXPECT_EQ(simpson.converged(), 1) << c.name;
    EXPECT_EQ(romberg.converged(), 1) << c.name;
  }

  // Quadratics and cubics with dyadic coefficients are integrated exactly by Simpson's rule.
  const CountingFunction cubic([](double x) { return 0.5 * x * x * x - 1.5 * x * x + 2.0; });
  const mlIntegrateSimpson simpson(1e-14, 3);
  EXPECT_EQ(simpson.integrate(cubic, 0.0, 4.0), 0.125 * 256.0 - 0.5 * 64.0 + 8.0);
  EXPECT_EQ(simpson.converged(), 1);
}

}  // namespace
