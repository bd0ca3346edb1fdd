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

TEST(mlMinimiserBracketing, KeepsTheOrderOfEqualStartValuesAndStopsAtAnEqualThirdValue) {
  // f(0) = f(1): the points are not swapped, the walk goes on beyond 1, and a third value as
  // high as f(1) already brackets.
  const CountingFunction level = parabola(0.5);
  double a = 0.0, b = 1.0, c, fa, fb, fc;
  ml_minimum_bracketing(level, a, b, c, fa, fb, fc);
  EXPECT_EQ(abscissae(level), (std::vector<double>{0.0, 1.0, 1.0 + 1.618034}));
  EXPECT_EQ((std::vector<double>{a, b, c}), (std::vector<double>{0.0, 1.0, 1.0 + 1.618034}));

  const CountingFunction step([](double t) { return t < 0.5 ? 1.0 : 0.0; });
  a = 0.0;
  b = 1.0;
  ml_minimum_bracketing(step, a, b, c, fa, fb, fc);
  EXPECT_EQ(abscissae(step), (std::vector<double>{0.0, 1.0, 1.0 + 1.618034}));
}

TEST(mlMinimiserBracketing, BoundsTheParabolicStepThroughCollinearPointsByTheGuard) {
  // f(t) = -e t: the parabola through three points on a line has no vertex, q - r is exactly 0,
  // and the denominator becomes +1e-20. The step is then q c0 / (2e-20) with q = (c0 - 1) e:
  // 1.4353 for e = 2^-67, which lands between b = 1 and c0 = 2.618034.
  const double c0 = 1.0 + 1.618034, grown = c0 + 1.618034 * (c0 - 1.0);
  const double e67 = std::ldexp(1.0, -67), e66 = std::ldexp(1.0, -66);
  const double u67 = 1.0 + (c0 - 1.0) * e67 * c0 / (2.0 * 1e-20);
  const double u66 = 1.0 + (c0 - 1.0) * e66 * c0 / (2.0 * 1e-20);
  ASSERT_TRUE(1.0 < u67 && u67 < c0 && c0 < u66 && u66 < 1.0 + 100.0 * (c0 - 1.0));
  const auto walk = [](const CountingFunction& f) {
    double a = 0.0, b = 1.0, c, fa, fb, fc;
    ml_minimum_bracketing(f, a, b, c, fa, fb, fc);
    return std::vector<double>{a, b, c};
  };
  {
    // Neither lower than f(c0) nor higher than f(1) there: the golden step from c0 follows.
    const CountingFunction f([e67](double t) { return -t * e67; });
    walk(f);
    const std::vector<double> t = abscissae(f);
    ASSERT_GE(t.size(), 5u);
    EXPECT_NEAR(t[3], u67, 1e-12);
    EXPECT_EQ(t[4], grown);
  }
  {
    // As low as f(c0) from 2 on: no bracket yet, the golden step from c0 brings the last
    // point, as low again, and ends the walk.
    const CountingFunction f([=](double t) { return t < 2.0 ? -t * e67 : -c0 * e67; });
    EXPECT_EQ(walk(f), (std::vector<double>{1.0, c0, grown}));
    EXPECT_EQ(abscissae(f).size(), 5u);
  }
  {
    // As high as f(1) on [2, 2.5): no bracket either, and the walk goes on beyond c0.
    const CountingFunction f([=](double t) { return t < 2.0 || t >= 2.5 ? -t * e67 : -e67; });
    const std::vector<double> abc = walk(f);
    EXPECT_GT(abc[0], c0);
    EXPECT_EQ(abscissae(f)[4], grown);
  }
  {
    // For e = 2^-66 the step lands beyond c0, where f is as low as at c0 from c0 on: no
    // point is grown beyond it and the walk ends.
    const CountingFunction f([=](double t) { return t < c0 ? -t * e66 : -c0 * e66; });
    const std::vector<double> abc = walk(f);
    EXPECT_EQ(abscissae(f).size(), 4u);
    EXPECT_TRUE(abc[0] == 1.0 && abc[1] == c0 && std::fabs(abc[2] - u66) < 1e-12);
  }
}

TEST(mlMinimiserBracketing, TakesAParabolicStepOntoTheLimitAndNotOntoTheLastPoint) {
  // Slopes e for which the step through the collinear points lands exactly on c0 = 2.618034,
  // where nothing is evaluated and the golden step follows, and exactly on the limit 1 + 100
  // (c0 - 1), which is evaluated as the limit, with nothing grown from it.
  const double c0 = 1.0 + 1.618034, limit = 1.0 + 100.0 * (c0 - 1.0);
  const double on_c = 7.63932019217474e-21, on_limit = 7.639320192174738e-19;
  const CountingFunction f([on_c](double t) { return -t * on_c; });
  double a = 0.0, b = 1.0, c, fa, fb, fc;
  ml_minimum_bracketing(f, a, b, c, fa, fb, fc);
  std::vector<double> t = abscissae(f);
  ASSERT_GE(t.size(), 4u);
  EXPECT_EQ(std::vector<double>(t.begin(), t.begin() + 4),
            (std::vector<double>{0.0, 1.0, c0, c0 + 1.618034 * (c0 - 1.0)}));

  // Rising beyond 200, so that the walk ends; the next step is again cut to the limit.
  const CountingFunction g([on_limit](double s) { return s <= 200.0 ? -s * on_limit : 1.0; });
  a = 0.0;
  b = 1.0;
  ml_minimum_bracketing(g, a, b, c, fa, fb, fc);
  t = abscissae(g);
  ASSERT_GE(t.size(), 5u);
  EXPECT_EQ(std::vector<double>(t.begin(), t.begin() + 5),
            (std::vector<double>{0.0, 1.0, c0, limit, c0 + 100.0 * (limit - c0)}));
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

TEST(mlMinimiserBrent, TakesAnEqualPointAndEndsByTheAbsoluteGuardNearZero) {
  // An equal value is taken like a lower one: on a constant the first probe becomes x.
  const CountingFunction level([](double) { return 3.0; });
  double x;
  ml_brent_minimum_search(level, 0.0, 0.5, 3.0, 1e-8, 1, &x);
  EXPECT_EQ(x, 0.5 + 0.381966 * (3.0 - 0.5));

  // |t| with relative tolerance 0: the tolerance is the guard 1e-20 alone. The steps shrink to
  // it, the last is exactly 1e-20 from the best point, and the bracket is then within 4e-20.
  const CountingFunction v([](double t) { return std::fabs(t); });
  const double value = ml_brent_minimum_search(v, -1.0, 0.3, 1.0, 0.0, 200, &x);
  EXPECT_EQ(value, std::fabs(x));
  const std::vector<double> t = abscissae(v);
  ASSERT_EQ(t.size(), 60u);
  EXPECT_EQ(t[58], x);
  EXPECT_EQ(t[59], x + 1e-20);
  EXPECT_LT(std::fabs(x), 1e-20);
}

TEST(mlMinimiserBrent, RepeatsItsSearchOfAQuarticToTheBit) {
  // t^4 - 3 t^3 + t^2, minimum -4 at 2, from the bracket (1, 1.5, 4) at tolerance 1e-10: the
  // golden and parabolic steps and the tolerances decide every abscissa, and so the count and
  // the last bit of the point.
  const CountingFunction f([](double t) { return ((t - 3.0) * t + 1.0) * t * t; });
  double x;
  EXPECT_EQ(ml_brent_minimum_search(f, 1.0, 1.5, 4.0, 1e-10, 100, &x), -4.0);
  EXPECT_EQ(x, 2.0000000031465421);
  EXPECT_EQ(f.calls.size(), 20u);
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
  double step = 0.01;
  for (std::size_t k = 0; k < 8; ++k) {
    EXPECT_EQ(flat.calls[1 + 2 * k].at[0], 0.5 + step) << k;
    EXPECT_EQ(flat.calls[2 + 2 * k].at[0], 0.5 - step) << k;
    step = step * 1.7301;
  }
  EXPECT_TRUE(0.5 + step > 1.0 && flat.calls[17].at[0] == 1.0) << step;

  const CountingFunction tiny([](double t) { return t; },
                              [](int order, double) { return order == 1 ? -1e-30 : 1.0; });
  Minimiser stalled(tiny, 1.0, 0.0, 2.0, 1e-6);
  EXPECT_EQ(stalled.search(), mlMinimiserNewtonStalled);
}

TEST(mlMinimiser, WhichWayDecidesTiesOfTheProbesAsDocumented) {
  // From 0.5 in [0, 1] with step 0.01, without derivatives. A probe as high as the point counts
  // as neither higher nor lower: with the other probe higher the steps grow until the range
  // end, where the level side makes the function flat; with the other probe lower, that side
  // is downhill at once.
  struct Case {
    double up, down;  // the values beyond 0.505 and below 0.495; 0 between
    mlMinimiserState state;
    int iterations;
  };
  const Case cases[] = {
      {0.0, 1.0, mlMinimiserFlat, 8},  // level above, higher below: flat at the upper end
      {1.0, 0.0, mlMinimiserFlat, 8},  // and the mirror image
      {-1.0, 0.0, mlMinimiserGoUp, 0},     {0.0, -1.0, mlMinimiserGoDown, 0},
      {1.0, 1.0, mlMinimiserBracketed, 0},
  };
  for (const Case& k : cases) {
    CountingFunction f([k](double t) { return t > 0.505 ? k.up : t < 0.495 ? k.down : 0.0; });
    f.set_max_deriv(0);
    Minimiser m(f, 0.5, 0.0, 1.0, 0.01);
    EXPECT_EQ(m.which_way(0.0, 1.0), k.state) << k.up << " " << k.down;
    EXPECT_EQ(m.iterations(), k.iterations) << k.up << " " << k.down;
  }

  // A level function from 0.7: the upper probe reaches the end first (0.01 1.7301^7 > 0.3)
  // and is enough; from 0.3 the lower one.
  for (const double x : {0.7, 0.3}) {
    CountingFunction level([](double) { return 4.0; });
    level.set_max_deriv(0);
    Minimiser m(level, x, 0.0, 1.0, 0.01);
    EXPECT_EQ(m.which_way(0.0, 1.0), mlMinimiserFlat);
    EXPECT_EQ(m.iterations(), 7) << x;
    EXPECT_EQ(level.calls.size(), 1u + 2u * 8u) << x;
  }

  // At a maximum both probes are always lower: the steps grow until the passes run out, the
  // probes stopping at the range ends.
  CountingFunction cap([](double t) { return -(t - 0.5) * (t - 0.5); });
  cap.set_max_deriv(0);
  Minimiser top(cap, 0.5, 0.0, 1.0, 0.01);
  EXPECT_EQ(top.which_way(0.0, 1.0), mlMinimiserMaxIterations);
  EXPECT_EQ(top.iterations(), 100);
  EXPECT_EQ(cap.calls.size(), 1u + 2u * 100u);
}

TEST(mlMinimiser, ReadsTheFirstDerivativeFromMaxDerivOne) {
  // With one derivative which_way asks the slope first and the search reads it at the near end,
  // but no Newton step is taken.
  const CountingFunction f = parabola(2.0, -DBL_MAX, 1);
  Minimiser m(f, 0.5, 0.0, 4.0, 1e-3);
  EXPECT_EQ(m.which_way(0.0, 4.0), mlMinimiserGoUp);
  EXPECT_EQ(f.calls, (std::vector<Call>{{0, {}, {0.5}}, {1, {}, {0.5}}}));
  EXPECT_EQ(m.search(), mlMinimiserConverged);
  EXPECT_EQ(f.count(1), 10);
  EXPECT_EQ(f.count(2), 0);

  // The slope at the near range end, pointing out of the range, ends the search there.
  const CountingFunction rising = parabola(9.0, -DBL_MAX, 1);
  Minimiser at_upper(rising, 50.0, 0.0, 3.0, 1e-6);
  EXPECT_EQ(at_upper.search(), mlMinimiserAtEnd);
  EXPECT_EQ(rising.calls, (std::vector<Call>{{0, {}, {3.0}}, {1, {}, {3.0}}}));

  // A minimum exactly at the lower end with a level slope there: the search converges at the
  // end, and with fewer than two derivatives the minimiser cannot tell it from one beyond.
  CountingFunction g([](double t) { return t * t; }, [](int, double t) { return 2.0 * t; });
  g.set_max_deriv(1);
  Minimiser at_end(g, 0.0, 0.0, 1.0, 1e-3);
  EXPECT_EQ(minimise(at_end), (std::vector<double>{0.0, 0, -1, 0}));
}

// The first n abscissae of the value calls.
std::vector<double> first_abscissae(const CountingFunction& f, std::size_t n) {
  std::vector<double> t = abscissae(f);
  t.resize(std::min(n, t.size()));
  return t;
}

TEST(mlMinimiser, TakesANewtonPointOnlyStrictlyInsideTheBracketAndStrictlyLower) {
  // (t - 2)^2 over [0, 2] from 0.5: the Newton step lands exactly on the upper end, which is
  // not a Newton point; the bisection then evaluates the end once and moves there.
  const CountingFunction up = parabola(2.0);
  Minimiser to_upper(up, 0.5, 0.0, 2.0, 1e-3);
  EXPECT_EQ(to_upper.search(), mlMinimiserConverged);
  std::vector<double> t = abscissae(up);
  EXPECT_EQ(std::count(t.begin(), t.end(), 2.0), 1);
  const CountingFunction down = parabola(0.0);
  Minimiser to_lower(down, 1.5, 0.0, 2.0, 1e-3);
  EXPECT_EQ(to_lower.search(), mlMinimiserConverged);
  t = abscissae(down);
  EXPECT_EQ(std::count(t.begin(), t.end(), 0.0), 1);

  // |t - 1| with curvature 1: from 0.5 the Newton point 1.5 is as high as 0.5 and becomes the
  // far end; the midpoint 1 follows.
  const CountingFunction vee([](double s) { return std::fabs(s - 1.0); },
                             [](int order, double s) {
                               return order == 2 ? 1.0 : s < 1.0 ? -1.0 : s > 1.0 ? 1.0 : 0.0;
                             });
  Minimiser level(vee, 0.5, 0.0, 4.0, 1e-3);
  level.search();
  EXPECT_EQ(first_abscissae(vee, 3), (std::vector<double>{0.5, 1.5, 1.0}));
  // Never the current point, so no slope is asked there.
  EXPECT_EQ(std::count_if(vee.calls.begin(), vee.calls.end(),
                          [](const Call& c) { return c.order > 0 && c.at[0] == 1.5; }),
            0);

  // A curvature of 1e-17 does not lift 1 + f'': no Newton step, although it would land on the
  // minimum at 1; the bisection starts from the far end.
  const CountingFunction flat_bottom(
      [](double s) { return (s - 1.0) * (s - 1.0) * 0.5e-17; },
      [](int order, double s) { return order == 2 ? 1e-17 : (s - 1.0) * 1e-17; });
  Minimiser shallow(flat_bottom, 0.0, 0.0, 4.0, 1e-3);
  shallow.search();
  EXPECT_EQ(first_abscissae(flat_bottom, 3), (std::vector<double>{0.0, 4.0, 2.0}));
}

TEST(mlMinimiser, DropsAShortNewtonStepUpToTheTolerance) {
  // (t - 0.25)^2 from the lower end 0 with tolerance 0.25: the Newton step is exactly the
  // tolerance long, short, and dropped while the bracket [0, 4] is wider; over [0, 1] with
  // tolerance 1 the bracket is exactly as wide as the tolerance, no longer wide, and the step is
  // taken.
  const CountingFunction wide = parabola(0.25);
  Minimiser in_wide(wide, 0.0, 0.0, 4.0, 0.25);
  in_wide.search();
  EXPECT_EQ(first_abscissae(wide, 4), (std::vector<double>{0.0, 0.25, 4.0, 2.0}));

  const CountingFunction narrow = parabola(0.25);
  Minimiser in_narrow(narrow, 0.0, 0.0, 1.0, 1.0);
  // Where the probes 1 and 0 either side of 0.25 are both higher.
  EXPECT_EQ(in_narrow.search(), mlMinimiserBracketed);
  EXPECT_EQ(abscissae(narrow), (std::vector<double>{0.0, 0.25, 1.0, 0.0}));
}

TEST(mlMinimiser, EndsTiesOfTheBisectionAndThePassesAsConverged) {
  // A level function over [0, 1] with tolerance 1: the bracket is as wide as the tolerance and
  // the midpoint as high as the near end, which ends the first pass.
  CountingFunction level([](double) { return 2.0; });
  level.set_max_deriv(0);
  Minimiser once(level, 0.0, 0.0, 1.0, 1.0);
  EXPECT_EQ(once.search(), mlMinimiserConverged);
  EXPECT_EQ(once.iterations(), 0);
  EXPECT_EQ(abscissae(level), (std::vector<double>{0.0, 1.0, 0.5}));

  // f(t) = t from the upper end: 100 passes halve the bracket to 2^-99, exactly the tolerance,
  // which is converged although the passes ran out.
  CountingFunction f([](double s) { return s; }, nullptr, 0.0, 1.0);
  f.set_max_deriv(0);
  Minimiser m(f, 1.0, 0.0, 1.0, std::ldexp(1.0, -99));
  EXPECT_EQ(minimise(m), (std::vector<double>{0.0, 1, 0, 0}));
  EXPECT_EQ(m.iterations(), 100);
}

TEST(mlMinimiser, TakesAnEqualProbeTowardsAnUnboundedEnd) {
  // Level on [0, 5), rising beyond: the probe at 1 is as low as 0 and becomes the current point,
  // from which both sides are level until the lower probe reaches the range end.
  CountingFunction f([](double s) { return s < 5.0 ? 0.0 : s; });
  f.set_max_deriv(0);
  Minimiser m(f, 0.0, 0.0, DBL_MAX, 1e-6);
  EXPECT_EQ(minimise(m), (std::vector<double>{1.0, 1, 0, 0}));
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
  // The domain ends at the upper range end too.
  const CountingFunction bounded(
      [](double t) { return (t - 9.0) * (t - 9.0); },
      [](int order, double t) { return order == 1 ? 2.0 * (t - 9.0) : 2.0; }, -DBL_MAX, 3.0);
  Minimiser at_upper(bounded, 50.0, 0.0, 3.0, 1e-6);
  EXPECT_EQ(minimise(at_upper), (std::vector<double>{3.0, 1, 0, 0}));
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

  // become gives the next search its 100 passes again.
  f.calls.clear();
  m.become(f, 1.0, 0.0, 1.0, 0.0);
  EXPECT_EQ(minimise(m), (std::vector<double>{0.0, 0, 0, 1}));
  EXPECT_EQ(m.iterations(), 100);
  EXPECT_EQ(f.calls.size(), 101u);
}

}  // namespace
