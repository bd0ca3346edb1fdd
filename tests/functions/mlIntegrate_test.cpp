#include "functions/mlIntegrate.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "support/counting_functions.h"

namespace {

using namespace paskosda_test;

// A cheap function without a simple pattern, for evaluation counts and bitwise comparisons.
double wavy(double x) { return 1.0 / (1.0 + x * x) + 0.25 * x * x * x; }

// Counts evaluations without recording them (the long runs make millions).
struct Counted : mlFunction {
  double function(double t) const override { return ++evaluations, wavy(t); }
  mutable std::int64_t evaluations = 0;
};

// The rules' steps written out literally: the n midpoints of step h, the trapezoids after
// 0 ... k - 1 halvings, Simpson's estimates 0 ... k - 1, and Romberg's rows 1 ... k from
// k + 1 trapezoids (the divisor from the exact integer 4^m - 1).
double midpoints(double a, double h, std::int64_t n) {
  double s = 0.0;
  for (std::int64_t i = 0; i < n; ++i)
    s += wavy(static_cast<double>(i) * (2.0 * h) + (a + h));
  return s;
}

std::vector<double> trapezoids(double a, double b, int k) {
  std::vector<double> t = {0.5 * (wavy(a) + wavy(b)) * (b - a)};
  double h = 0.5 * (b - a);
  for (std::int64_t n = 1; static_cast<int>(t.size()) < k; n *= 2, h = 0.5 * h)
    t.push_back(midpoints(a, h, n) * h + 0.5 * t.back());
  return t;
}

std::vector<double> simpsons(double a, double b, int k) {
  std::vector<double> s;
  double h = 0.5 * (b - a), ends_and_interior = 0.5 * (wavy(a) + wavy(b));
  for (std::int64_t n = 1; static_cast<int>(s.size()) < k; n *= 2, h = 0.5 * h) {
    const double m = midpoints(a, h, n);
    s.push_back((4.0 * m + 2.0 * ends_and_interior) * h / 3.0);
    ends_and_interior = ends_and_interior + m;
  }
  return s;
}

std::vector<double> rombergs(std::vector<double> r) {
  std::vector<double> best;
  for (std::size_t k = 1; k < r.size(); ++k) {
    for (std::size_t j = k, m = 1; j >= 1; --j, ++m)
      r[j - 1] = r[j] + (r[j] - r[j - 1]) / static_cast<double>((std::uint64_t{1} << 2 * m) - 1);
    best.push_back(r[0]);
  }
  return best;
}

// What a rule returns: the first estimate after the first within tol of the one before, else
// the last (0.0 when there is none); converged tells which.
double first_within(const std::vector<double>& e, double tol, int& converged) {
  std::size_t j = 1;
  while (j < e.size() && !(std::fabs(e[j] - e[j - 1]) < tol))
    ++j;
  converged = j < e.size() ? 1 : 0;
  return j < e.size() ? e[j] : e.empty() ? 0.0 : e.back();
}

TEST(mlIntegrateSum, SumsInIncreasingOrderAtIDxPlusX0) {
  const CountingFunction f(wavy);
  EXPECT_EQ(ml_sum(f, 0.3, 0.7, 0) + ml_sum(f, 0.3, 0.7, -4), 0.0);
  EXPECT_EQ(ml_sum(f, 0.3, 0.7, 3),
            ((0.0 + wavy(0.3)) + wavy(1.0 * 0.7 + 0.3)) + wavy(2.0 * 0.7 + 0.3));
  EXPECT_EQ(f.calls, (std::vector<Call>{
                         {0, {}, {0.3}}, {0, {}, {1.0 * 0.7 + 0.3}}, {0, {}, {2.0 * 0.7 + 0.3}}}));
}

TEST(mlIntegrate, MatchTheLiteralRulesBitForBitWithTheirEvaluationCounts) {
  // Seventeen halvings take Romberg divisors 4^m - 1 beyond the int range; by then every rule is
  // within 1e-8 of the integral.
  const Counted f;
  for (const double a : {-0.4, 1.3}) {
    const double b = 0.9 - a,
                 exact = std::atan(b) - std::atan(a) + (b * b * b * b - a * a * a * a) / 16.0;
    const std::vector<double> t = trapezoids(a, b, 18), s = simpsons(a, b, 17);
    for (int limit : {-3, 0, 1, 2, 3, 7, 17}) {
      const int k = std::max(limit, 0);
      const std::vector<double> expected[3] = {{t.begin(), t.begin() + std::max(k, 1)},
                                               {s.begin(), s.begin() + k},
                                               rombergs({t.begin(), t.begin() + k + 1})};
      const int halvings[3] = {std::max(k - 1, 0), k, k};
      for (double tol : {-1.0, 1e-9}) {
        const mlIntegrateTrapezoid trapezoid(tol, limit);
        const mlIntegrateSimpson simpson(tol, limit);
        const mlIntegrateRomberg romberg(tol, limit);
        const mlIntegrate* rules[3] = {&trapezoid, &simpson, &romberg};
        int converged[3];
        for (int r = 0; r < 3; ++r) {
          f.evaluations = 0;
          const double value = rules[r]->integrate(f, a, b);
          EXPECT_EQ(value, first_within(expected[r], tol, converged[r])) << r << " " << limit;
          EXPECT_TRUE(k < 17 || std::fabs(value - exact) < 1e-8) << r << " " << value;
          // With tol -1 nothing converges: 2 + (2^s - 1) values after s halvings.
          EXPECT_TRUE(tol > 0.0 || f.evaluations == 1 + (std::int64_t{1} << halvings[r])) << r;
        }
        EXPECT_EQ(
            (std::vector<int>{trapezoid.converged(), simpson.converged(), romberg.converged()}),
            std::vector<int>(converged, converged + 3))
            << limit << " " << tol;
      }
    }
  }
}

TEST(mlIntegrate, SimpsonNeverAcceptsItsFirstEstimate) {
  // On [-1, 1] the odd cubic's first estimate is exactly 0.0, the value "before" it; the
  // second is taken all the same.
  const CountingFunction cube([](double x) { return x * x * x; });
  const mlIntegrateSimpson simpson(1e-12, 5);
  EXPECT_EQ(simpson.integrate(cube, -1.0, 1.0), 0.0);
  EXPECT_TRUE(simpson.converged() == 1 && cube.calls.size() == 5u);
}

TEST(mlIntegrate, StopOnlyWhenTheChangeIsBelowTheToleranceNotAtIt) {
  // The tolerance exactly the change from the second estimate to the third does not stop a
  // rule there; the next double above it does. Every later change is smaller.
  const double a = -0.4, b = 0.5;
  const std::vector<double> t = trapezoids(a, b, 8);
  const std::vector<double> estimates[3] = {t, simpsons(a, b, 8), rombergs(t)};
  for (int r = 0; r < 3; ++r) {
    const std::vector<double>& e = estimates[r];
    const double change = std::fabs(e[2] - e[1]);
    ASSERT_TRUE(std::fabs(e[1] - e[0]) > change && std::fabs(e[3] - e[2]) < change) << r;
    for (const double tol : {change, std::nextafter(change, 1.0)}) {
      const mlIntegrateTrapezoid trapezoid(tol, 8);
      const mlIntegrateSimpson simpson(tol, 8);
      const mlIntegrateRomberg romberg(tol, 7);
      const mlIntegrate* rules[3] = {&trapezoid, &simpson, &romberg};
      const Counted f;
      EXPECT_EQ(rules[r]->integrate(f, a, b), e[tol == change ? 3 : 2]) << r << " " << tol;
      EXPECT_EQ(r == 0   ? trapezoid.converged()
                : r == 1 ? simpson.converged()
                         : romberg.converged(),
                1)
          << r;
    }
  }
}

TEST(mlIntegrate, RombergNeverAcceptsItsFirstEstimate) {
  // The odd cubic's first extrapolation on [-1, 1] is exactly 0.0, the value "before" it; the
  // second, after one more halving (five values in all), is taken.
  const CountingFunction cube([](double x) { return x * x * x; });
  const mlIntegrateRomberg romberg(1e-12, 5);
  EXPECT_EQ(romberg.integrate(cube, -1.0, 1.0), 0.0);
  EXPECT_TRUE(romberg.converged() == 1 && cube.calls.size() == 5u) << cube.calls.size();
}

TEST(mlIntegrate, RombergDividesByFourToTheMMinusOneExactly) {
  // 3 x^2 - 1 has integral 0 on [0, 1] and trapezoids 0.5 and 0.125, so the first
  // extrapolation is exactly 0.0 only with the divisor 3 exactly: its correction is as large
  // as the trapezoid. (The literal rules pin every divisor bit for bit, less sharply.)
  const CountingFunction f([](double x) { return 3.0 * x * x - 1.0; });
  EXPECT_EQ(mlIntegrateRomberg(-1.0, 1).integrate(f, 0.0, 1.0), 0.0);
}

}  // namespace
