#include "optim/mlMinimiser.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <vector>

#include "support/counting_functions.h"

namespace {

using namespace paskosda_test;

// The abscissae of the recorded value calls, in call order.
std::vector<double> abscissae(const CountingFunction& f) {
  std::vector<double> t;
  for (const Call& c : f.calls)
    if (c.order == 0) t.push_back(c.at[0]);
  return t;
}

// (t - m)^2 with its derivatives, offered up to max_deriv.
CountingFunction parabola(double m, double lo = -DBL_MAX, int max_deriv = 2) {
  CountingFunction f([m](double t) { return (t - m) * (t - m); },
                     [m](int order, double t) { return order == 1 ? 2.0 * (t - m) : 2.0; }, lo);
  f.set_max_deriv(max_deriv);
  return f;
}

// search and which_way are for derived minimisers; the tests reach them the same way.
class Minimiser : public mlMinimiser {
 public:
  using mlMinimiser::mlMinimiser;
  using mlMinimiser::search;
  using mlMinimiser::which_way;
};

// {x, found, beyond_range, out_of_iterations} of a minimise call.
std::vector<double> minimise(mlMinimiser& m) {
  int found, beyond_range, out_of_iterations;
  const double x = m.minimise(found, beyond_range, out_of_iterations);
  return {x, static_cast<double>(found), static_cast<double>(beyond_range),
          static_cast<double>(out_of_iterations)};
}

TEST(mlMinimiserBracketing, WalksDownhillAndGrowsFromThePairBeforeAParabolicStep) {
  const CountingFunction f = parabola(1e6);
  double a = 0.0, b = 1.0, c, fa, fb, fc;
  ml_minimum_bracketing(f, a, b, c, fa, fb, fc);
  // A golden step, two parabolic steps cut to 100 times the last step, the vertex, then the
  // point grown from the pair before the vertex step (c1, c2) rather than from (c2, vertex): it
  // falls short of the vertex and the triple comes back ordered a < c < b. Kept so.
  const double c0 = 1.0 + 1.618034 * 1.0, c1 = 1.0 + 100.0 * (c0 - 1.0);
  const double c2 = c0 + 100.0 * (c1 - c0);
  const std::vector<double> t = abscissae(f);
  ASSERT_EQ(t.size(), 7u);
  EXPECT_NEAR(t[5], 1e6, 1e-3);
  EXPECT_EQ(t, (std::vector<double>{0.0, 1.0, c0, c1, c2, t[5], c2 + 1.618034 * (c2 - c1)}));
  EXPECT_EQ((std::vector<double>{a, b, c, fa, fb, fc}),
            (std::vector<double>{c2, t[5], t[6], f.function(a), f.function(b), f.function(c)}));

  // f(1) > f(0): the walk starts at 1 and steps downhill beyond 0, still bracketing the minimum.
  const CountingFunction g = parabola(-3.0);
  a = 0.0;
  b = 1.0;
  ml_minimum_bracketing(g, a, b, c, fa, fb, fc);
  EXPECT_EQ(abscissae(g)[2], 0.0 + 1.618034 * (0.0 - 1.0));
  EXPECT_TRUE((b - a) * (c - b) > 0.0 && (-3.0 - a) * (c + 3.0) > 0.0 && fb <= fa && fb < fc);
}

TEST(mlMinimiserBrent, FirstStepIsAGoldenSectionIntoTheLargerPart) {
  struct Case {
    double m, a, b, c, probe, x;
  };
  const double down = 1.5 + 0.381966 * (0.0 - 1.5), up = 0.5 + 0.381966 * (3.0 - 0.5);
  const Case cases[] = {
      {1.0, 3.0, 1.5, 0.0, down, down},  // b above the centre: into [lo, b]
      {1.0, 0.0, 0.5, 3.0, up, up},      // below: into [b, hi]
      {0.4, 0.0, 0.5, 3.0, up, 0.5},     // a higher probe is not taken
  };
  for (const Case& k : cases) {
    const CountingFunction f = parabola(k.m);
    double x;
    ml_brent_minimum_search(f, k.a, k.b, k.c, 1e-8, 1, &x);
    EXPECT_EQ(abscissae(f), (std::vector<double>{k.b, k.probe})) << k.a << " " << k.m;
    EXPECT_EQ(x, k.x) << k.a << " " << k.m;
  }
}

TEST(mlMinimiserBrent, ReturnsTheBestPointSoFarWhenIterationsRunOut) {
  for (int max_iterations : {-5, 0, 1, 3, 8}) {
    const CountingFunction f([](double t) { return std::fabs(t - 2.0); });
    double x;
    const double value = ml_brent_minimum_search(f, 0.0, 1.0, 5.0, 1e-10, max_iterations, &x);
    // The middle point, then one new point per iteration; ties go to the later point.
    ASSERT_EQ(static_cast<int>(f.calls.size()), std::max(max_iterations, 0) + 1);
    const double at =
        std::min_element(f.calls.rbegin(), f.calls.rend(), [](const Call& a, const Call& b) {
          return std::fabs(a.at[0] - 2.0) < std::fabs(b.at[0] - 2.0);
        })->at[0];
    EXPECT_EQ((std::vector<double>{value, x}), (std::vector<double>{std::fabs(at - 2.0), at}))
        << max_iterations;
  }
  // Without a destination only the value comes back.
  EXPECT_EQ(ml_brent_minimum_search(parabola(0.0), -1.0, 0.25, 2.0, 1e-8, 0, nullptr), 0.0625);
}

TEST(mlMinimiser, EvaluatesEachValueAndDerivativeAtMostOncePerPoint) {
  const CountingFunction f = parabola(2.0);
  Minimiser m(f, 0.5, 0.0, 5.0, 1e-3);
  EXPECT_EQ(minimise(m), (std::vector<double>{2.0, 1, 0, 0}));
  // The slope at 0.5 says "up", the Newton step lands on 2, where the slope is 0 and both
  // probes are higher.
  const std::vector<Call> expected = {{0, {}, {0.5}},       {1, {}, {0.5}}, {2, {}, {0.5}},
                                      {0, {}, {2.0}},       {1, {}, {2.0}}, {0, {}, {2.0 + 1e-3}},
                                      {0, {}, {2.0 - 1e-3}}};
  EXPECT_EQ(f.calls, expected);
  EXPECT_EQ(m.iterations(), 1);
}

TEST(mlMinimiser, SearchEndsInTheStateItsLastPassFound) {
  // Without derivatives from the lower end: the far end 4 and the midpoint 2 are higher, the
  // next midpoint 1 is lower, and the probes either side of it are higher.
  const CountingFunction bowl = parabola(1.0, -DBL_MAX, 0);
  Minimiser bisect(bowl, 0.0, 0.0, 4.0, 1e-3);
  EXPECT_EQ(bisect.search(), mlMinimiserBracketed);
  EXPECT_EQ(abscissae(bowl), (std::vector<double>{0.0, 4.0, 2.0, 1.0, 1.0 + 1e-3, 1.0 - 1e-3}));

  // From a start above [0, 3], clamped to 3, where the slope points up and out.
  const CountingFunction rising = parabola(9.0);
  Minimiser at_end(rising, 50.0, 0.0, 3.0, 1e-6);
  EXPECT_EQ(at_end.search(), mlMinimiserAtEnd);
  EXPECT_EQ(rising.calls, (std::vector<Call>{{0, {}, {3.0}}, {1, {}, {3.0}}}));

  // Probes at 0.5 -+ 0.01 * 1.7301^k find the same value until k = 8 reaches the range end.
  CountingFunction flat([](double) { return 4.0; });
  flat.set_max_deriv(0);
  Minimiser plateau(flat, 0.5, 0.0, 1.0, 0.01);
  EXPECT_EQ(plateau.search(), mlMinimiserFlat);
  EXPECT_EQ(plateau.iterations(), 8);
  EXPECT_EQ(flat.calls.size(), 1u + 2u * 9u);
  EXPECT_EQ(flat.calls.back().at[0], 0.0);

  const CountingFunction tiny([](double t) { return t; },
                              [](int order, double) { return order == 1 ? -1e-30 : 1.0; });
  Minimiser stalled(tiny, 1.0, 0.0, 2.0, 1e-6);
  EXPECT_EQ(stalled.search(), mlMinimiserNewtonStalled);
}

TEST(mlMinimiser, FlagsAMinimumBeyondARangeEndAndContinuesAfterChangeRange) {
  struct Case {
    double vertex, start, domain_lo;
    std::vector<double> outcome;
  };
  // Over [0, 3]; the start is clamped into the range.
  const Case cases[] = {
      {-1.0, -5.0, -DBL_MAX, {0.0, 0, -1, 0}},
      {-1.0, 1.0, -DBL_MAX, {0.0, 0, -1, 0}},
      {-1.0, -5.0, 0.0, {0.0, 1, 0, 0}},  // the domain ends there too
      {9.0, 50.0, -DBL_MAX, {3.0, 0, 1, 0}},
  };
  for (const Case& k : cases) {
    const CountingFunction f = parabola(k.vertex, k.domain_lo);
    Minimiser m(f, k.start, 0.0, 3.0, 1e-6);
    EXPECT_EQ(minimise(m), k.outcome) << k.start;
  }
  for (const double vertex : {5.0, -5.0}) {
    const CountingFunction f = parabola(vertex);
    mlMinimiser m(f, 1.0, 0.0, 2.0, 1e-6);
    minimise(m);
    m.change_range(2.0 * vertex);  // [2, 10] or [-10, 0]
    EXPECT_EQ(minimise(m), (std::vector<double>{vertex, 1, 0, 0}));
  }
}

TEST(mlMinimiser, ProbesTowardsAnUnboundedEndWithTenfoldSteps) {
  const CountingFunction f = parabola(500.0, -DBL_MAX, 0);
  mlMinimiser m(f, 0.0, 0.0, DBL_MAX, 1e-6);
  const std::vector<double> o = minimise(m);
  EXPECT_NEAR(o[0], 500.0, 1e-5);
  EXPECT_EQ(o[1], 1.0);
  // 0 + 1, 1 + 10, 11 + 100, 111 + 1000, each from the point the last one reached; the last is
  // higher and closes the bracket.
  const std::vector<double> t = abscissae(f);
  EXPECT_EQ(t[1], 1.0);
  for (const double probe : {11.0, 111.0, 1111.0})
    EXPECT_EQ(std::count(t.begin(), t.end(), probe), 1) << probe;
  EXPECT_EQ(*std::max_element(t.begin(), t.end()), 1111.0);
}

TEST(mlMinimiser, DropsAShortNewtonStepWhileTheBracketIsStillWide) {
  const CountingFunction f = parabola(1.0);
  mlMinimiser m(f, 0.95, 0.0, 4.0, 0.1);
  // The Newton step from 0.95 (0.05) is shorter than the tolerance: dropped by design. The
  // lower end stays at 0.95, so the same point is proposed and evaluated again in the next four
  // passes while bisection narrows the bracket; the step from the new upper end lands on it once
  // more and is taken (6 evaluations there).
  const double newton = 0.95 - (2.0 * (0.95 - 1.0)) / 2.0;
  EXPECT_EQ(minimise(m), (std::vector<double>{newton, 1, 0, 0}));
  const std::vector<double> t = abscissae(f);
  EXPECT_EQ(std::count(t.begin(), t.end(), newton), 6);

  // t^4 - 2 t^2 from 2.5 over [-3, 3]: the Newton steps come down to 1 + 2.4e-8, where the next
  // step is dropped in the same way; the midpoint with the lower end -3 falls next to the other
  // minimum, where a Newton point that comes out higher becomes the far end of the bracket.
  const CountingFunction quartic([](double s) { return s * s * s * s - 2.0 * s * s; },
                                 [](int order, double s) {
                                   return order == 1 ? 4.0 * s * s * s - 4.0 * s
                                                     : 12.0 * s * s - 4.0;
                                 });
  mlMinimiser two_minima(quartic, 2.5, -3.0, 3.0, 1e-7);
  const std::vector<double> o = minimise(two_minima);
  EXPECT_TRUE(o[1] == 1.0 && std::fabs(o[0] + 1.0) <= 2e-7) << o[0];
}

TEST(mlMinimiser, RunsOutOfPassesWithoutConvergence) {
  // f(t) = t with tolerance 0: bisection halves the bracket in each of the 100 passes without
  // reaching a width of 0. The domain ends at the range, so nothing lies beyond it.
  CountingFunction f([](double t) { return t; }, nullptr, 0.0, 1.0);
  f.set_max_deriv(0);
  Minimiser m(f, 1.0, 0.0, 1.0, 0.0);
  EXPECT_EQ(minimise(m), (std::vector<double>{0.0, 0, 0, 1}));
  EXPECT_EQ(m.iterations(), 100);
  // With the passes spent, which_way answers at once.
  EXPECT_EQ(m.which_way(0.0, 1.0), mlMinimiserMaxIterations);
  EXPECT_EQ(f.calls.size(), 101u);
}

}  // namespace
