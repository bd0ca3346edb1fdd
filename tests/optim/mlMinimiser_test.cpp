#include "optim/mlMinimiser.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <functional>
#include <vector>

#include "support/counting_functions.h"

namespace {

using paskosda_test::Call;
using paskosda_test::CountingFunction;

// The abscissae of the recorded calls of the given order, in call order.
std::vector<double> abscissae(const CountingFunction& f, int order = 0) {
  std::vector<double> t;
  for (const Call& c : f.calls)
    if (c.order == order) t.push_back(c.at[0]);
  return t;
}

double quartic(double t) { return t * t * t * t - 2.0 * t * t; }

// The quartic t^4 - 2 t^2 (minima -1 at t = +-1, a maximum at 0) with its derivatives.
double quartic_derivative(int order, double t) {
  if (order == 1) return 4.0 * t * t * t - 4.0 * t;
  return 12.0 * t * t - 4.0;
}

// (t - m)^2 with its derivatives.
CountingFunction parabola(double m, double lo = -DBL_MAX, double hi = DBL_MAX) {
  return CountingFunction([m](double t) { return (t - m) * (t - m); },
                          [m](int order, double t) { return order == 1 ? 2.0 * (t - m) : 2.0; }, lo,
                          hi);
}

// search and which_way are for derived minimisers; the tests reach them the same way.
class Minimiser : public mlMinimiser {
 public:
  using mlMinimiser::mlMinimiser;
  using mlMinimiser::search;
  using mlMinimiser::which_way;
};

struct Outcome {
  double x;
  int found;
  int beyond_range;
  int out_of_iterations;
};

Outcome minimise(mlMinimiser& m) {
  Outcome o{};
  o.x = m.minimise(o.found, o.beyond_range, o.out_of_iterations);
  return o;
}

// ---- bracketing -----------------------------------------------------------------------------

TEST(MinimumBracketing, GrowsTheNextPointFromThePairBeforeAnExtrapolatedStep) {
  const CountingFunction f([](double t) { return (t - 3.0) * (t - 3.0); });
  double a = 0.0, b = 1.0, c = 99.0, fa = 99.0, fb = 99.0, fc = 99.0;
  ml_minimum_bracketing(f, a, b, c, fa, fb, fc);

  // 0, 1, the golden step to c0, the parabola's vertex (beyond c0), then the point grown from
  // (1, c0) - the textbook walk would grow it from (c0, vertex) instead.
  const double c0 = 1.0 + 1.618034 * (1.0 - 0.0);
  const std::vector<double> t = abscissae(f);
  ASSERT_EQ(t.size(), 5u);
  EXPECT_EQ(t[0], 0.0);
  EXPECT_EQ(t[1], 1.0);
  EXPECT_EQ(t[2], c0);
  EXPECT_NEAR(t[3], 3.0, 1e-12);
  EXPECT_EQ(t[4], c0 + 1.618034 * (c0 - 1.0));
  EXPECT_EQ(a, c0);
  EXPECT_EQ(b, t[3]);
  EXPECT_EQ(c, t[4]);
  EXPECT_EQ(fa, (c0 - 3.0) * (c0 - 3.0));
  EXPECT_EQ(fb, (t[3] - 3.0) * (t[3] - 3.0));
  EXPECT_EQ(fc, (t[4] - 3.0) * (t[4] - 3.0));
}

TEST(MinimumBracketing, LimitsAParabolicStepTo100TimesTheLastStep) {
  const CountingFunction f([](double t) { return (t - 1e6) * (t - 1e6); });
  double a = 0.0, b = 1.0, c, fa, fb, fc;
  ml_minimum_bracketing(f, a, b, c, fa, fb, fc);
  const double c0 = 1.0 + 1.618034 * 1.0;
  const double c1 = 1.0 + 100.0 * (c0 - 1.0);
  const double c2 = c0 + 100.0 * (c1 - c0);
  const std::vector<double> t = abscissae(f);
  ASSERT_EQ(t.size(), 7u);
  EXPECT_EQ(t[3], c1);
  EXPECT_EQ(t[4], c2);
  // The vertex lies short of the next limit and is taken; the point after it grows from the
  // pair before that step, (c1, c2), and so falls short of the vertex: the triple comes back
  // ordered a < c < b. Kept so.
  EXPECT_NEAR(t[5], 1e6, 1e-3);
  EXPECT_EQ(t[6], c2 + 1.618034 * (c2 - c1));
  EXPECT_EQ(a, c2);
  EXPECT_EQ(b, t[5]);
  EXPECT_EQ(c, t[6]);
  EXPECT_LT(a, c);
  EXPECT_LT(c, b);
}

TEST(MinimumBracketing, BracketsAMinimumFromEitherOrderOfTheStartingPoints) {
  struct Case {
    std::function<double(double)> f;
    double a, b;
    double minimum;
  };
  const std::vector<Case> cases = {
      {[](double t) { return (t + 3.0) * (t + 3.0); }, 0.0, 1.0, -3.0},  // walks backwards
      {[](double t) { return (t + 3.0) * (t + 3.0); }, 1.0, 0.0, -3.0},
      {quartic, 0.1, 0.2, 1.0},
      {quartic, -0.1, -0.2, -1.0},
      {quartic, 5.0, 4.0, 1.0},
      {[](double t) { return std::fabs(t - 0.7); }, 0.0, 0.01, 0.7},
      {[](double t) { return std::sqrt(std::fabs(t - 0.4)); }, 0.0, 0.1, 0.4},
      {[](double t) { return t * t * t * t; }, -7.0, -6.0, 0.0},
  };
  for (const Case& k : cases) {
    SCOPED_TRACE(k.a);
    const CountingFunction f(k.f);
    double a = k.a, b = k.b, c, fa, fb, fc;
    ml_minimum_bracketing(f, a, b, c, fa, fb, fc);
    EXPECT_GT((b - a) * (c - b), 0.0);  // b strictly between a and c
    EXPECT_LE(fb, fa);
    EXPECT_LT(fb, fc);
    EXPECT_EQ(fa, k.f(a));
    EXPECT_EQ(fb, k.f(b));
    EXPECT_EQ(fc, k.f(c));
    EXPECT_GT((k.minimum - a) * (c - k.minimum), 0.0);
  }
  // From (0, 1) downhill towards -3 the walk starts at 1: a and b come back swapped.
  const CountingFunction f([](double t) { return (t + 3.0) * (t + 3.0); });
  double a = 0.0, b = 1.0, c, fa, fb, fc;
  ml_minimum_bracketing(f, a, b, c, fa, fb, fc);
  EXPECT_EQ(abscissae(f)[2], 0.0 + 1.618034 * (0.0 - 1.0));
}

// ---- Brent ----------------------------------------------------------------------------------

TEST(BrentMinimumSearch, WithoutIterationsReturnsTheMiddlePoint) {
  for (int max_iterations : {0, -5}) {
    const CountingFunction f([](double t) { return t * t; });
    double x = 99.0;
    EXPECT_EQ(ml_brent_minimum_search(f, -1.0, 0.25, 2.0, 1e-8, max_iterations, &x), 0.0625);
    EXPECT_EQ(x, 0.25);
    EXPECT_EQ(abscissae(f), std::vector<double>{0.25});
  }
  // Without a destination only the value comes back.
  const CountingFunction f([](double t) { return t * t; });
  EXPECT_EQ(ml_brent_minimum_search(f, -1.0, 0.25, 2.0, 1e-8, 0, nullptr), 0.0625);
}

TEST(BrentMinimumSearch, FirstStepsAreAGoldenSectionIntoTheLargerPart) {
  // Middle point above the bracket's centre: the step goes down into [lo, b].
  const CountingFunction f([](double t) { return (t - 1.0) * (t - 1.0); });
  double x;
  ml_brent_minimum_search(f, 3.0, 1.5, 0.0, 1e-8, 1, &x);
  EXPECT_EQ(abscissae(f), (std::vector<double>{1.5, 1.5 + 0.381966 * (0.0 - 1.5)}));
  EXPECT_EQ(x, 1.5 + 0.381966 * (0.0 - 1.5));

  // Below the centre: up into [b, hi].
  const CountingFunction g([](double t) { return (t - 1.0) * (t - 1.0); });
  ml_brent_minimum_search(g, 0.0, 0.5, 3.0, 1e-8, 1, &x);
  EXPECT_EQ(abscissae(g), (std::vector<double>{0.5, 0.5 + 0.381966 * (3.0 - 0.5)}));
  EXPECT_EQ(x, 0.5 + 0.381966 * (3.0 - 0.5));

  // A probe that is higher leaves the best point where it was.
  const CountingFunction h([](double t) { return (t - 0.4) * (t - 0.4); });
  ml_brent_minimum_search(h, 0.0, 0.5, 3.0, 1e-8, 1, &x);
  EXPECT_EQ(x, 0.5);
}

TEST(BrentMinimumSearch, ConvergesInsideTheBracketToTheRelativeTolerance) {
  struct Case {
    std::function<double(double)> f;
    double a, b, c;
    double minimum;
    std::size_t max_calls;
  };
  const std::vector<Case> cases = {
      {[](double t) { return (t - 0.3) * (t - 0.3); }, -1.0, 0.0, 2.0, 0.3, 12},
      {quartic, 0.0, 0.5, 3.0, 1.0, 30},
      {quartic, -3.0, -0.5, 0.0, -1.0, 30},
      {[](double t) { return std::fabs(t - 2.0); }, 0.0, 1.0, 5.0, 2.0, 80},
      {[](double t) { return -1.0 / (1.0 + (t - 4.0) * (t - 4.0)); }, 3.0, 3.5, 10.0, 4.0, 30},
  };
  const double tolerance = 1e-8;
  for (const Case& k : cases) {
    SCOPED_TRACE(k.minimum);
    const CountingFunction f(k.f);
    double x = 0.0;
    const double value = ml_brent_minimum_search(f, k.a, k.b, k.c, tolerance, 100, &x);
    EXPECT_EQ(value, k.f(x));
    // The search stops once the bracket around x is at most 4 (tolerance |x| + 1e-20) wide.
    EXPECT_LE(std::fabs(x - k.minimum), 4.0 * (tolerance * std::fabs(x) + 1e-20));
    EXPECT_LE(f.calls.size(), k.max_calls);
  }
}

TEST(BrentMinimumSearch, ReturnsTheBestPointSoFarWhenIterationsRunOut) {
  for (int max_iterations : {1, 2, 3, 5, 8}) {
    const CountingFunction f([](double t) { return std::fabs(t - 2.0); });
    double x;
    const double value = ml_brent_minimum_search(f, 0.0, 1.0, 5.0, 1e-10, max_iterations, &x);
    EXPECT_EQ(static_cast<int>(f.calls.size()), max_iterations + 1);
    double best = DBL_MAX, at = 0.0;
    for (const Call& c : f.calls) {
      if (std::fabs(c.at[0] - 2.0) <= best) {
        best = std::fabs(c.at[0] - 2.0);
        at = c.at[0];
      }
    }
    EXPECT_EQ(value, best);
    EXPECT_EQ(x, at);
  }
}

// ---- mlMinimiser ----------------------------------------------------------------------------

TEST(mlMinimiser, EvaluatesEachValueAndDerivativeAtMostOncePerPoint) {
  const CountingFunction f = parabola(2.0);
  Minimiser m(f, 0.5, 0.0, 5.0, 1e-3);
  const Outcome o = minimise(m);
  EXPECT_EQ(o.x, 2.0);
  EXPECT_EQ(o.found, 1);
  EXPECT_EQ(o.beyond_range, 0);
  EXPECT_EQ(o.out_of_iterations, 0);
  // The slope at 0.5 says "up", the Newton step from there lands on 2, where the slope is 0
  // and both probes are higher.
  const std::vector<Call> expected = {{0, {}, {0.5}},       {1, {}, {0.5}}, {2, {}, {0.5}},
                                      {0, {}, {2.0}},       {1, {}, {2.0}}, {0, {}, {2.0 + 1e-3}},
                                      {0, {}, {2.0 - 1e-3}}};
  EXPECT_EQ(f.calls, expected);
  EXPECT_EQ(m.iterations(), 1);
}

TEST(mlMinimiser, BisectsTheBracketWithoutDerivatives) {
  CountingFunction f([](double t) { return (t - 1.0) * (t - 1.0); });
  f.set_max_deriv(0);
  Minimiser m(f, 0.0, 0.0, 4.0, 1e-3);
  EXPECT_EQ(m.search(), mlMinimiserBracketed);
  // From the lower end: the far end 4 is higher, so is the midpoint 2 (which becomes the upper
  // end), the next midpoint 1 is lower and becomes the current point; probes either side of
  // it are higher.
  EXPECT_EQ(abscissae(f), (std::vector<double>{0.0, 4.0, 2.0, 1.0, 1.0 + 1e-3, 1.0 - 1e-3}));
}

TEST(mlMinimiser, StopsAtARangeEndWhereTheSlopePointsOut) {
  struct Case {
    double start, lower, upper;
    double domain_lo, domain_hi;
    double x;
    int found, beyond_range;
  };
  // The parabola's vertex is at -1, below every range.
  const std::vector<Case> cases = {
      {-5.0, 0.0, 3.0, -DBL_MAX, DBL_MAX, 0.0, 0, -1},  // start clamped up to the lower end
      {-5.0, 0.0, 3.0, 0.0, DBL_MAX, 0.0, 1, 0},        // the domain ends there too
      {1.0, 0.0, 3.0, -DBL_MAX, DBL_MAX, 0.0, 0, -1},
  };
  for (const Case& k : cases) {
    SCOPED_TRACE(k.start);
    const CountingFunction f = parabola(-1.0, k.domain_lo, k.domain_hi);
    Minimiser m(f, k.start, k.lower, k.upper, 1e-6);
    const Outcome o = minimise(m);
    EXPECT_EQ(o.x, k.x);
    EXPECT_EQ(o.found, k.found);
    EXPECT_EQ(o.beyond_range, k.beyond_range);
    EXPECT_EQ(o.out_of_iterations, 0);
  }
  // Above the range, from a start above it: clamped down to the upper end, and the slope there
  // points up.
  const CountingFunction g = parabola(9.0);
  Minimiser m(g, 50.0, 0.0, 3.0, 1e-6);
  EXPECT_EQ(m.search(), mlMinimiserAtEnd);
  const std::vector<Call> expected = {{0, {}, {3.0}}, {1, {}, {3.0}}};
  EXPECT_EQ(g.calls, expected);
  Minimiser again(g, 50.0, 0.0, 3.0, 1e-6);
  const Outcome o = minimise(again);
  EXPECT_EQ(o.x, 3.0);
  EXPECT_EQ(o.beyond_range, 1);
  EXPECT_EQ(o.found, 0);
}

TEST(mlMinimiser, ContinuesBeyondTheRangeAfterChangeRange) {
  const CountingFunction f = parabola(5.0);
  mlMinimiser m(f, 1.0, 0.0, 2.0, 1e-6);
  Outcome o = minimise(m);
  EXPECT_EQ(o.x, 2.0);
  EXPECT_EQ(o.beyond_range, 1);
  m.change_range(10.0);  // [2, 10]
  o = minimise(m);
  EXPECT_EQ(o.x, 5.0);
  EXPECT_EQ(o.found, 1);
  EXPECT_EQ(o.beyond_range, 0);

  // Below: [limit, old lower].
  const CountingFunction g = parabola(-5.0);
  mlMinimiser n(g, 1.0, 0.0, 2.0, 1e-6);
  o = minimise(n);
  EXPECT_EQ(o.x, 0.0);
  EXPECT_EQ(o.beyond_range, -1);
  n.change_range(-10.0);  // [-10, 0]
  o = minimise(n);
  EXPECT_EQ(o.x, -5.0);
  EXPECT_EQ(o.found, 1);
}

TEST(mlMinimiser, ProbesTowardsAnUnboundedEndWithTenfoldSteps) {
  CountingFunction f([](double t) { return (t - 500.0) * (t - 500.0); });
  f.set_max_deriv(0);
  mlMinimiser m(f, 0.0, 0.0, DBL_MAX, 1e-6);
  const Outcome o = minimise(m);
  EXPECT_NEAR(o.x, 500.0, 1e-5);
  EXPECT_EQ(o.found, 1);
  // The probes: 0 + 1, then 1 + 10, 11 + 100 and 111 + 1000, each from the point the last one
  // reached; the last is higher and closes the bracket.
  std::vector<double> probes;
  for (double t : abscissae(f))
    if (t == 1.0 || t == 11.0 || t == 111.0 || t == 1111.0) probes.push_back(t);
  EXPECT_EQ(probes, (std::vector<double>{1.0, 11.0, 111.0, 1111.0}));
  EXPECT_EQ(abscissae(f)[1], 1.0);
  for (double t : abscissae(f))
    EXPECT_LE(t, 1111.0);
}

TEST(mlMinimiser, ReportsAFlatFunctionWhenAProbeReachesTheRangeEnd) {
  CountingFunction f([](double) { return 4.0; });
  f.set_max_deriv(0);
  Minimiser m(f, 0.5, 0.0, 1.0, 0.01);
  EXPECT_EQ(m.search(), mlMinimiserFlat);
  // Steps 0.01 * 1.7301^k: k = 8 is the first to reach 0.5.
  EXPECT_EQ(m.iterations(), 8);
  EXPECT_EQ(f.calls.size(), 1u + 2u * 9u);
  EXPECT_EQ(f.calls.back().at[0], 0.0);
}

TEST(mlMinimiser, ReportsANewtonStepTooSmallToMoveThePoint) {
  const CountingFunction f([](double t) { return t; },
                           [](int order, double) { return order == 1 ? -1e-30 : 1.0; });
  Minimiser m(f, 1.0, 0.0, 2.0, 1e-6);
  EXPECT_EQ(m.search(), mlMinimiserNewtonStalled);
  int found, beyond, out;
  Minimiser n(f, 1.0, 0.0, 2.0, 1e-6);
  EXPECT_EQ(n.minimise(found, beyond, out), 1.0);
  EXPECT_EQ(found, 1);
}

TEST(mlMinimiser, DropsAShortNewtonStepWhileTheBracketIsStillWide) {
  const CountingFunction f = parabola(1.0);
  mlMinimiser m(f, 0.95, 0.0, 4.0, 0.1);
  const Outcome o = minimise(m);
  // From 0.95 the Newton step (0.05) is shorter than the tolerance: it is dropped, and as the
  // lower end stays at 0.95 the same point is proposed and evaluated again in each of the
  // next four passes while bisection narrows the bracket to [0.95, 1.0453125]; the Newton
  // step from the new upper end lands on it once more and is taken (6 evaluations there).
  const double newton = 0.95 - (2.0 * (0.95 - 1.0)) / 2.0;
  int evaluations = 0;
  for (double t : abscissae(f))
    evaluations += t == newton ? 1 : 0;
  EXPECT_EQ(evaluations, 6);
  EXPECT_EQ(o.x, newton);
  EXPECT_EQ(o.found, 1);
}

TEST(mlMinimiser, RunsOutOfPassesWithoutConvergence) {
  // f(t) = t from the upper end with tolerance 0: bisection towards 0 halves the bracket in
  // each of the 100 passes without ever reaching a width of 0.
  CountingFunction f([](double t) { return t; }, nullptr, 0.0, 1.0);
  f.set_max_deriv(0);
  Minimiser m(f, 1.0, 0.0, 1.0, 0.0);
  const Outcome o = minimise(m);
  EXPECT_EQ(o.x, 0.0);
  EXPECT_EQ(o.found, 0);
  EXPECT_EQ(o.out_of_iterations, 1);
  EXPECT_EQ(o.beyond_range, 0);  // the domain ends at the range
  EXPECT_EQ(m.iterations(), 100);
  EXPECT_EQ(f.calls.size(), 101u);
  // With the passes spent, which_way answers at once.
  EXPECT_EQ(m.which_way(0.0, 1.0), mlMinimiserMaxIterations);
  EXPECT_EQ(f.calls.size(), 101u);
}

TEST(mlMinimiser, FindsTheMinimaOfAFunctionWithSeveralMinima) {
  struct Case {
    int max_deriv;
    double start, lower, upper;
    double minimum;
  };
  // From 2.5 over [-3, 3] the Newton steps come down to 1 + 2.4e-8, where the next step is
  // shorter than the tolerance while the bracket is wide: it is dropped, and the midpoint with
  // the lower end -3 falls next to the other minimum, which the search then settles on.
  const std::vector<Case> cases = {
      {2, 0.5, 0.2, 3.0, 1.0},     {2, -0.3, -3.0, -0.2, -1.0}, {2, 2.5, -3.0, 3.0, -1.0},
      {1, 0.5, 0.2, 3.0, 1.0},     {1, -2.5, -3.0, -0.2, -1.0}, {0, 0.5, 0.2, 3.0, 1.0},
      {0, -0.3, -3.0, -0.2, -1.0}, {0, -2.0, -3.0, 3.0, 1.0},
  };
  const double tolerance = 1e-7;
  for (const Case& k : cases) {
    SCOPED_TRACE(k.start);
    SCOPED_TRACE(k.max_deriv);
    CountingFunction f(quartic, quartic_derivative);
    f.set_max_deriv(k.max_deriv);
    mlMinimiser m(f, k.start, k.lower, k.upper, tolerance);
    const Outcome o = minimise(m);
    EXPECT_EQ(o.found, 1);
    EXPECT_NEAR(o.x, k.minimum, 2.0 * tolerance);
  }
}

}  // namespace
