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

using paskosda_test::Call;
using paskosda_test::CountingFunction2;
using paskosda_test::Cylinder;
using paskosda_test::half_pi;
using paskosda_test::parameter_distance;
using paskosda_test::PlanePatch;
using paskosda_test::Projection;
using paskosda_test::Sphere;
using paskosda_test::Surface;
using paskosda_test::Torus;
using paskosda_test::two_pi;

// Projects `count` targets drawn uniformly from the box centre +- half onto s, each from a
// random start in the patch, skipping targets whose nearest point is not well posed; without
// `second_derivatives` F offers none, and the Hessian comes from differences. Each must
// end in the state of its nearest point (interior, edge or corner) within 1e-9 of it, inside the
// patch, within 20 iterations, with every call to F counted. Returns how often each state was
// expected, and last how many nearest points lay within 0.3 of a periodic seam.
std::vector<int> project(const Surface& s, const double centre[3], const double half[3], int count,
                         bool second_derivatives) {
  Projection F(s, second_derivatives);
  mlVectorMinimiser2 minimiser(F);
  minimiser.set_patch(s.u_min(), s.u_max(), s.v_min(), s.v_max());
  minimiser.set_periodic(s.u_periodic(), s.v_periodic());
  const double u_period = s.u_periodic() ? s.u_max() - s.u_min() : 0.0;
  const double v_period = s.v_periodic() ? s.v_max() - s.v_min() : 0.0;
  mlRandom random(count);
  std::vector<int> tally(4, 0);
  for (int done = 0; done < count;) {
    double p[3], eu, ev;
    for (int k = 0; k < 3; ++k)
      p[k] = random.uniform(centre[k] - half[k], centre[k] + half[k]);
    const int expected = s.nearest(p, eu, ev);
    if (expected < 0) continue;
    ++done;
    ++tally[static_cast<std::size_t>(expected)];
    tally[3] += (u_period > 0.0 && std::fmin(eu - s.u_min(), s.u_max() - eu) < 0.3) ||
                (v_period > 0.0 && std::fmin(ev - s.v_min(), s.v_max() - ev) < 0.3);
    F.set_target(p);
    double u = random.uniform(s.u_min(), s.u_max()), v = random.uniform(s.v_min(), s.v_max());
    F.values = F.jacobians = F.derivatives = 0;
    const int state = minimiser.minimise(u, v);
    const double error =
        std::fmax(parameter_distance(u, eu, u_period), parameter_distance(v, ev, v_period));
    const bool inside = u >= s.u_min() && (s.u_periodic() ? u < s.u_max() : u <= s.u_max()) &&
                        v >= s.v_min() && (s.v_periodic() ? v < s.v_max() : v <= s.v_max());
    // Without second derivatives F is asked for them once: the request finds them missing.
    EXPECT_TRUE(state == expected && error <= 1e-9 && inside && minimiser.iterations() <= 20 &&
                minimiser.evaluations() == F.calls() && (second_derivatives || F.derivatives == 1))
        << "target (" << p[0] << ", " << p[1] << ", " << p[2] << "): state " << state << " at ("
        << u << ", " << v << ") after " << minimiser.iterations() << " iterations, expected "
        << expected << " at (" << eu << ", " << ev << ")";
  }
  return tally;
}

TEST(SurfaceMinimiser, ProjectsOntoAnalyticSurfacesAcrossEdgesCornersAndSeams) {
  const double o[3] = {0.5, -1.0, 2.0}, a[3] = {2.0, 0.5, 0.0}, b[3] = {0.7, 1.5, 1.0};
  const PlanePatch plane(o, a, b);
  const Cylinder cylinder(1.5, 2.0);
  const Sphere sphere(2.0);
  const Torus torus(3.0, 1.0);
  struct Case {
    const char* name;
    const Surface& surface;
    double centre[3], half[3];
    int count;
    bool second_derivatives;
    std::vector<int> at_least;  // interior, edge, corner, near a seam
  };
  const Case cases[] = {
      {"plane", plane, {1.85, 0.0, 2.5}, {1.5, 1.5, 1.5}, 300, true, {50, 50, 15, 0}},
      {"cylinder", cylinder, {0.0, 0.0, 0.0}, {4.0, 4.0, 3.0}, 200, true, {50, 40, 0, 8}},
      {"sphere", sphere, {0.0, 0.0, 0.0}, {4.0, 4.0, 4.0}, 200, true, {200, 0, 0, 8}},
      {"torus", torus, {0.0, 0.0, 0.0}, {5.0, 5.0, 3.0}, 400, true, {400, 0, 0, 40}},
      {"torus, differences", torus, {0.0, 0.0, 0.0}, {5.0, 5.0, 3.0}, 50, false, {50, 0, 0, 5}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const std::vector<int> tally =
        project(c.surface, c.centre, c.half, c.count, c.second_derivatives);
    for (std::size_t k = 0; k < 4; ++k)
      EXPECT_GE(tally[k], c.at_least[k]) << k;
  }
}

TEST(SurfaceMinimiser, LeavesASpherePoleForTheNearestPoint) {
  // On a pole every u gives the same point, so the pole looks like a minimum on the v edge
  // from wherever the iteration meets it.
  const Sphere sphere(1.0);
  Projection F(sphere);
  mlVectorMinimiser2 minimiser(F);
  minimiser.set_patch(0.0, two_pi, -half_pi, half_pi);
  minimiser.set_periodic(1, 0);
  const double p[3] = {1.0, 0.5, 0.8};
  F.set_target(p);
  double eu, ev;
  sphere.nearest(p, eu, ev);
  for (const double pole : {half_pi, -half_pi}) {
    for (const double start : {0.0, 2.0, 3.6}) {
      double u = start, v = pole;
      EXPECT_EQ(minimiser.minimise(u, v), mlMinimiser2Converged) << start << " " << pole;
      EXPECT_NEAR(u, eu, 1e-9) << start << " " << pole;
      EXPECT_NEAR(v, ev, 1e-9) << start << " " << pole;
    }
  }
}

// (u - a)^2 + 2 (v - b)^2 + c (u - a)(v - b) on [0, 1]^2 with its derivatives.
CountingFunction2 paraboloid(double a, double b, double c = 0.5) {
  return CountingFunction2(
      [a, b, c](double u, double v) {
        return (u - a) * (u - a) + 2.0 * (v - b) * (v - b) + c * (u - a) * (v - b);
      },
      [a, b, c](int i, int j, double u, double v) {
        if (i == 1 && j == 0) return 2.0 * (u - a) + c * (v - b);
        if (i == 0 && j == 1) return 4.0 * (v - b) + c * (u - a);
        return i == 2 ? 2.0 : j == 2 ? 4.0 : c;
      },
      {0.0, 1.0, 0.0, 1.0});
}

CountingFunction2 saddle() {
  return CountingFunction2([](double u, double v) { return u * u - v * v; },
                           [](int i, int j, double u, double v) {
                             if (i == 1 && j == 0) return 2.0 * u;
                             if (i == 0 && j == 1) return -2.0 * v;
                             return i == 2 ? 2.0 : j == 2 ? -2.0 : 0.0;
                           },
                           {-1.0, 1.0, -1.0, 1.0});
}

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
    const char* name;
    std::function<CountingFunction2()> make;
    int max_deriv;
    double u, v;
    mlMinimiser2State state;
    double eu, ev, tolerance;
  };
  const auto interior = [] { return paraboloid(0.3, 0.6); };
  const auto cut = [] { return rosenbrock(0.5); };
  const Case cases[] = {
      {"interior", interior, 2, 0.9, 0.1, mlMinimiser2Converged, 0.3, 0.6, 1e-12},
      {"beyond the edge u = 1", [] { return paraboloid(1.5, 0.6); }, 2, 0.2, 0.1,
       mlMinimiser2OnEdge, 1.0, 0.6625, 1e-12},
      {"beyond the corner (1, 0)", [] { return paraboloid(1.5, -0.6); }, 2, 0.2, 0.7,
       mlMinimiser2AtCorner, 1.0, 0.0, 0.0},
      {"interior, differences", interior, 0, 0.9, 0.1, mlMinimiser2Converged, 0.3, 0.6, 1e-9},
      {"first derivatives only", interior, 1, 0.9, 0.1, mlMinimiser2Converged, 0.3, 0.6, 1e-9},
      {"saddle", saddle, 2, 0.3, 0.2, mlMinimiser2OnEdge, 0.0, 1.0, 1e-12},
      {"on the saddle point", saddle, 2, 0.0, 0.0, mlMinimiser2OnEdge, 0.0, -1.0, 1e-12},
      {"on the saddle point, differences", saddle, 0, 0.0, 0.0, mlMinimiser2OnEdge, 0.0, -1.0,
       1e-9},
      {"Rosenbrock", [] { return rosenbrock(2.0); }, 2, -1.2, 1.0, mlMinimiser2Converged, 1.0, 1.0,
       1e-12},
      {"Rosenbrock cut at u = 0.5", cut, 2, -1.2, 1.0, mlMinimiser2OnEdge, 0.5, 0.25, 1e-12},
      {"Rosenbrock cut, differences", cut, 0, -1.2, 1.0, mlMinimiser2OnEdge, 0.5, 0.25, 1e-9},
  };
  for (const Case& c : cases) {
    CountingFunction2 f = c.make();
    f.set_max_deriv(c.max_deriv);
    mlMinimiser2 minimiser(f);
    const std::vector<double> r = run(minimiser, c.u, c.v);
    EXPECT_EQ(r[0], c.state) << c.name;
    EXPECT_NEAR(r[1], c.eu, c.tolerance) << c.name;
    EXPECT_NEAR(r[2], c.ev, c.tolerance) << c.name;
    EXPECT_EQ(minimiser.evaluations(), static_cast<int>(f.calls.size())) << c.name;
    EXPECT_EQ(minimiser.minimum_value(), f.function(r[1], r[2])) << c.name;
    // Without derivatives offered, none is asked for.
    for (const Call& call : f.calls)
      EXPECT_TRUE(c.max_deriv > 0 || call.order == -1) << c.name;
  }
}

TEST(Minimiser2, FallsBackToDifferencesWhenTheFunctionReturnsTheNoDerivativeValue) {
  // max_deriv is 2 but every derivative is -666.0: the first request of each order finds out.
  CountingFunction2 f([](double u, double v) { return std::cos(u) + std::cos(v) + 3.0; }, nullptr,
                      {0.0, two_pi, 0.0, two_pi});
  mlMinimiser2 minimiser(f);
  minimiser.set_periodic(1, 1);
  const std::vector<double> r = run(minimiser, 0.1, 6.2);
  EXPECT_EQ(r[0], mlMinimiser2Converged);
  EXPECT_NEAR(r[1], 3.141592653589793, 1e-8);
  EXPECT_NEAR(r[2], 3.141592653589793, 1e-8);
  int derivative_calls[3] = {0, 0, 0};
  for (const Call& c : f.calls)
    if (c.order > 0) ++derivative_calls[c.order];
  EXPECT_EQ(derivative_calls[1], 1);
  EXPECT_EQ(derivative_calls[2], 1);
}

TEST(Minimiser2, TakesNewtonStepsWithTheFunctionsOwnDerivatives) {
  CountingFunction2 f = paraboloid(0.25, 0.5, 0.0);
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

  // Finite values with NaN derivatives: nowhere to go from the start.
  CountingFunction2 g([](double u, double v) { return u * u + v * v; },
                      [](int, int, double, double) { return std::nan(""); }, {0.0, 1.0, 0.0, 1.0});
  mlMinimiser2 stuck(g);
  EXPECT_EQ(run(stuck, 0.25, 0.75), (std::vector<double>{mlMinimiser2NoProgress, 0.25, 0.75}));

  CountingFunction2 h = rosenbrock(2.0);
  mlMinimiser2 budget(h);
  budget.set_max_iterations(0);
  EXPECT_EQ(run(budget, 0.0, 0.0), (std::vector<double>{mlMinimiser2MaxIterations, 0.0, 0.0}));
  EXPECT_EQ(budget.minimum_value(), 1.0);
  EXPECT_EQ(budget.evaluations(), 1);
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
