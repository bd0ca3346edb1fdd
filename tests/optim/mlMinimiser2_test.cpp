#include "optim/mlMinimiser2.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <functional>
#include <vector>

#include "linalg/mlRandom.h"
#include "support/analytic_surfaces.h"
#include "support/counting_functions.h"

namespace {

using namespace paskosda_test;

// Targets drawn uniformly from a box about the origin, each projected from a random start in
// the patch; targets whose nearest point is not well posed are skipped. Each projection must
// end in the state of the nearest point within 1e-9 of it, inside the patch, within 20
// iterations, with every call to F counted (F without second derivatives is asked for them
// once). The samples hold nearest points on the cylinder's rims and next to every seam. On the
// sphere each search starts on a pole: there every u gives the same point, so the pole looks
// like a minimum on the v edge from wherever the iteration meets it.
TEST(SurfaceMinimiser, ProjectsOntoAnalyticSurfacesAcrossEdgesSeamsAndPoles) {
  const Revolution cylinder(0.0, 1.5, 2.0), sphere(0.0, 2.0), torus(3.0, 1.0);
  struct Case {
    const Revolution& s;
    double half[3];
    int count;
    bool second_derivatives, from_poles;
  };
  const Case cases[] = {{cylinder, {4.0, 4.0, 3.0}, 200, true, false},
                        {sphere, {4.0, 4.0, 4.0}, 200, true, true},
                        {torus, {5.0, 5.0, 3.0}, 400, true, false},
                        {torus, {5.0, 5.0, 3.0}, 50, false, false}};
  for (const Case& c : cases) {
    const Revolution& s = c.s;
    Projection F(s, c.second_derivatives);
    mlVectorMinimiser2 minimiser(F);
    minimiser.set_patch(s.lo[0], s.hi[0], s.lo[1], s.hi[1]);
    minimiser.set_periodic(s.periodic[0], s.periodic[1]);
    mlRandom random(c.count);
    for (int done = 0; done < c.count;) {
      double p[3], e[2], x[2];
      for (int k = 0; k < 3; ++k)
        p[k] = random.uniform(-c.half[k], c.half[k]);
      const int expected = s.nearest(p, e[0], e[1]);
      if (expected < 0) continue;
      ++done;
      F.set_target(p);
      for (int a = 0; a < 2; ++a)
        x[a] = random.uniform(s.lo[a], s.hi[a]);
      if (c.from_poles) x[1] = done % 2 == 0 ? half_pi : -half_pi;
      F.values = F.jacobians = F.derivatives = 0;
      const int state = minimiser.minimise(x[0], x[1]);
      bool ok = state == expected && minimiser.iterations() <= 20 &&
                minimiser.evaluations() == F.calls() &&
                (c.second_derivatives || F.derivatives == 1);
      for (int a = 0; a < 2; ++a) {
        const double period = s.periodic[a] ? s.hi[a] - s.lo[a] : 0.0;
        const double d = period > 0.0 ? std::remainder(x[a] - e[a], period) : x[a] - e[a];
        ok = ok && std::fabs(d) <= 1e-9 && x[a] >= s.lo[a] &&
             (period > 0.0 ? x[a] < s.hi[a] : x[a] <= s.hi[a]);
      }
      EXPECT_TRUE(ok) << "case " << &c - cases << ", target " << p[0] << " " << p[1] << " " << p[2]
                      << ": state " << state << " at " << x[0] << " " << x[1];
    }
  }
}

// (huu du^2 + 2 huv du dv + hvv dv^2) / 2 with du = u - a, dv = v - b, over the domain.
CountingFunction2 quadratic(double a, double b, double huu, double huv, double hvv,
                            std::vector<double> domain = {0.0, 1.0, 0.0, 1.0}) {
  return CountingFunction2(
      [=](double u, double v) {
        return 0.5 *
               (huu * (u - a) * (u - a) + 2.0 * huv * (u - a) * (v - b) + hvv * (v - b) * (v - b));
      },
      [=](int i, int j, double u, double v) {
        if (i + j == 1)
          return i == 1 ? huu * (u - a) + huv * (v - b) : huv * (u - a) + hvv * (v - b);
        return i == 2 ? huu : j == 2 ? hvv : huv;
      },
      domain);
}

CountingFunction2 paraboloid(double a, double b) { return quadratic(a, b, 2.0, 0.5, 4.0); }
CountingFunction2 saddle() { return quadratic(0.0, 0.0, 2.0, 0.0, -2.0, {-1.0, 1.0, -1.0, 1.0}); }

CountingFunction2 rosenbrock(double u_max) {
  return CountingFunction2(
      [](double x, double y) { return (1.0 - x) * (1.0 - x) + 100.0 * (y - x * x) * (y - x * x); },
      [](int i, int j, double x, double y) {
        if (i == 1 && j == 0) return -2.0 * (1.0 - x) - 400.0 * x * (y - x * x);
        if (i == 0 && j == 1) return 200.0 * (y - x * x);
        return i == 2 ? 2.0 - 400.0 * (y - 3.0 * x * x) : j == 2 ? 200.0 : -400.0 * x;
      },
      {-2.0, u_max, -1.0, 3.0});
}

// {state, u, v} of a minimise from (u, v).
std::vector<double> run(mlBaseMinimiser2& m, double u, double v) {
  const int state = m.minimise(u, v);
  return {static_cast<double>(state), u, v};
}

TEST(Minimiser2, FindsInteriorEdgeAndCornerMinimaWithAndWithoutDerivatives) {
  struct Case {
    std::function<CountingFunction2()> make;
    int max_deriv;
    double u, v;
    int state;
    double eu, ev, tolerance;
    int derivative_calls = -1;  // -1: not checked
    int max_iterations = 100;
  };
  const auto interior = [] { return paraboloid(0.3, 0.6); };
  const auto valley = [] { return rosenbrock(2.0); };
  // Every derivative -666.0 although max_deriv is 2: the first request of each order finds out.
  const auto cosines = [] {
    return CountingFunction2([](double u, double v) { return std::cos(u) + std::cos(v) + 3.0; },
                             nullptr, {0.0, two_pi, 0.0, two_pi});
  };
  const auto nan_derivatives = [] {
    return CountingFunction2([](double u, double v) { return u * u + v * v; },
                             [](int, int, double, double) { return std::nan(""); },
                             {0.0, 1.0, 0.0, 1.0});
  };
  const int in = mlMinimiser2Converged, edge = mlMinimiser2OnEdge;
  const double pi = 3.141592653589793;
  const Case cases[] = {
      {interior, 2, 0.9, 0.1, in, 0.3, 0.6, 1e-12},
      {[] { return paraboloid(1.5, 0.6); }, 2, 0.2, 0.1, edge, 1.0, 0.6625, 1e-12},
      {[] { return paraboloid(1.5, -0.6); }, 2, 0.2, 0.7, mlMinimiser2AtCorner, 1.0, 0.0, 0.0},
      {interior, 0, 0.9, 0.1, in, 0.3, 0.6, 1e-9, 0},  // differences
      {interior, 1, 0.9, 0.1, in, 0.3, 0.6, 1e-9},     // first derivatives only
      {cosines, 2, 0.1, 6.2, in, pi, pi, 1e-8, 2},
      {saddle, 2, 0.0, 0.0, edge, 0.0, -1.0, 1e-12},  // from the saddle point
      {valley, 2, -1.2, 1.0, in, 1.0, 1.0, 1e-12},
      {[] { return rosenbrock(0.5); }, 0, -1.2, 1.0, edge, 0.5, 0.25, 1e-9, 0},
      // Nowhere to go from the start, or no iteration allowed: the start comes back.
      {nan_derivatives, 2, 0.25, 0.75, mlMinimiser2NoProgress, 0.25, 0.75, 0.0},
      {valley, 2, 0.0, 0.0, mlMinimiser2MaxIterations, 0.0, 0.0, 0.0, 0, 0},
  };
  for (const Case& c : cases) {
    const int row = static_cast<int>(&c - cases);
    CountingFunction2 f = c.make();
    f.set_max_deriv(c.max_deriv);
    mlMinimiser2 minimiser(f);
    minimiser.set_max_iterations(c.max_iterations);
    const std::vector<double> r = run(minimiser, c.u, c.v);
    EXPECT_EQ(r[0], c.state) << row;
    EXPECT_NEAR(r[1], c.eu, c.tolerance) << row;
    EXPECT_NEAR(r[2], c.ev, c.tolerance) << row;
    EXPECT_EQ(minimiser.evaluations(), static_cast<int>(f.calls.size())) << row;
    EXPECT_EQ(minimiser.minimum_value(), f.function(r[1], r[2])) << row;
    int derivative_calls = 0;
    for (const Call& call : f.calls)
      derivative_calls += call.order > 0;
    EXPECT_TRUE(c.derivative_calls < 0 || derivative_calls == c.derivative_calls) << row;
  }
}

TEST(Minimiser2, TakesNewtonStepsWithTheFunctionsOwnDerivatives) {
  CountingFunction2 f = quadratic(0.25, 0.5, 2.0, 0.0, 4.0);
  mlMinimiser2 minimiser(f);
  EXPECT_EQ(run(minimiser, 0.75, 0.125), (std::vector<double>{mlMinimiser2Converged, 0.25, 0.5}));
  EXPECT_EQ(minimiser.iterations(), 2);
  // Value, gradient, Hessian, the Newton point; there the gradient vanishes and the Hessian
  // shows no negative curvature.
  std::vector<Call> expected;
  for (const std::vector<double>& at : {std::vector<double>{0.75, 0.125}, {0.25, 0.5}}) {
    expected.push_back({-1, {}, at});
    for (const std::vector<int>& o : {std::vector<int>{1, 0}, {0, 1}, {2, 0}, {1, 1}, {0, 2}})
      expected.push_back({o[0] + o[1], o, at});
  }
  EXPECT_EQ(f.calls, expected);
  EXPECT_EQ(minimiser.evaluations(), 12);
}

TEST(Minimiser2, EndsWithoutProgressOrIterationsWithTheBestPoint) {
  // Undefined beyond u = 0.5 while the minimum lies at u = 1.
  CountingFunction2 f(
      [](double u, double v) {
        return u > 0.5 ? std::nan("") : (u - 1.0) * (u - 1.0) + (v - 0.5) * (v - 0.5);
      },
      nullptr, {0.0, 1.0, 0.0, 1.0});
  f.set_max_deriv(0);
  mlMinimiser2 partly_undefined(f);
  std::vector<double> r = run(partly_undefined, 0.1, 0.1);
  EXPECT_EQ(r[0], mlMinimiser2NoProgress);
  EXPECT_LE(r[1], 0.5);
  EXPECT_EQ(partly_undefined.minimum_value(), f.function(r[1], r[2]));
  EXPECT_LT(partly_undefined.minimum_value(), f.function(0.1, 0.1));

  CountingFunction2 h = rosenbrock(2.0);
  mlMinimiser2 budget(h);
  budget.set_max_iterations(3);
  r = run(budget, -1.2, 1.0);
  EXPECT_EQ(r[0], mlMinimiser2MaxIterations);
  EXPECT_EQ(budget.iterations(), 3);
  EXPECT_LT(budget.minimum_value(), 24.2);
  EXPECT_EQ(budget.minimum_value(), h.function(r[1], r[2]));
}

TEST(Minimiser2, ClampsOrWrapsTheStartAndScalesTheDefaultTolerance) {
  CountingFunction2 f = paraboloid(0.3, 0.6);
  mlMinimiser2 minimiser(f);
  EXPECT_EQ(minimiser.tolerance(), 1e-10);
  minimiser.set_patch(0.0, 4.0, -1.0, 1.0);
  EXPECT_EQ(minimiser.tolerance(), 1e-10 * 4.0);
  minimiser.set_tolerance(1e-6);
  EXPECT_EQ(minimiser.tolerance(), 1e-6);
  minimiser.set_tolerance(0.0);
  minimiser.set_patch(0.0, 1.0, -DBL_MAX, 1.0);
  EXPECT_EQ(minimiser.tolerance(), 1e-10);

  minimiser.set_patch(0.0, 1.0, 0.0, 1.0);
  minimiser.set_max_iterations(0);
  minimiser.set_periodic(1, 0);
  EXPECT_EQ(run(minimiser, -2.75, 7.0),
            (std::vector<double>{mlMinimiser2MaxIterations, 0.25, 1.0}));
  // A whole number of periods lands on the lower end, never the upper.
  EXPECT_EQ(run(minimiser, 3.0, 7.0)[1], 0.0);

  // become goes back to the function's domain and the default settings.
  CountingFunction2 g = saddle();
  minimiser.become(g);
  EXPECT_EQ(minimiser.tolerance(), 2e-10);
  EXPECT_EQ(run(minimiser, 0.3, 0.2)[0], mlMinimiser2OnEdge);
}

}  // namespace
