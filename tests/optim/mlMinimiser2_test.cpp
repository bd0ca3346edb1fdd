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

using paskosda_test::BilinearPatch;
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

// ---- projections onto analytic surfaces -----------------------------------------------------

// Draws a target into p and its nearest point (u, v) with the state expected there; false
// skips a target whose nearest point is not unique or not well conditioned.
using Draw =
    std::function<bool(mlRandom&, double p[3], double& u, double& v, mlMinimiser2State& state)>;

struct Tally {
  int projections = 0;
  int found = 0;
  int max_iterations = 0;
  double worst = 0.0;
};

// Projects `count` drawn targets from random starts in the patch.
Tally project(const Surface& s, int count, long seed, const Draw& draw,
              bool second_derivatives = true) {
  Projection F(s, second_derivatives);
  mlVectorMinimiser2 minimiser(F);
  minimiser.set_patch(s.u_min(), s.u_max(), s.v_min(), s.v_max());
  minimiser.set_periodic(s.u_periodic(), s.v_periodic());
  const double u_period = s.u_periodic() ? s.u_max() - s.u_min() : 0.0;
  const double v_period = s.v_periodic() ? s.v_max() - s.v_min() : 0.0;
  mlRandom random(seed);
  Tally tally;
  while (tally.projections < count) {
    double p[3];
    double eu;
    double ev;
    mlMinimiser2State expected;
    if (!draw(random, p, eu, ev, expected)) continue;
    F.set_target(p);
    double u = random.uniform(s.u_min(), s.u_max());
    double v = random.uniform(s.v_min(), s.v_max());
    F.values = F.jacobians = F.derivatives = 0;
    const mlMinimiser2State state = minimiser.minimise(u, v);
    ++tally.projections;
    const double error =
        std::fmax(parameter_distance(u, eu, u_period), parameter_distance(v, ev, v_period));
    const bool inside = u >= s.u_min() && (s.u_periodic() ? u < s.u_max() : u <= s.u_max()) &&
                        v >= s.v_min() && (s.v_periodic() ? v < s.v_max() : v <= s.v_max());
    EXPECT_TRUE(inside) << u << " " << v;
    EXPECT_EQ(minimiser.evaluations(), F.calls());
    if (error <= 1e-9 && state == expected) {
      ++tally.found;
    } else {
      ADD_FAILURE() << "target (" << p[0] << ", " << p[1] << ", " << p[2] << "): state " << state
                    << " at (" << u << ", " << v << "), expected " << expected << " at (" << eu
                    << ", " << ev << ")";
    }
    tally.worst = std::fmax(tally.worst, error);
    if (minimiser.iterations() > tally.max_iterations)
      tally.max_iterations = minimiser.iterations();
  }
  return tally;
}

void expect_quality(const Tally& t) {
  EXPECT_EQ(t.found, t.projections);
  EXPECT_LE(t.worst, 1e-9);
  EXPECT_LE(t.max_iterations, 20);
}

// The outward unit normal S_u x S_v / |S_u x S_v| at (u, v).
void unit_normal(const Surface& s, double u, double v, double n[3]) {
  double su[3], sv[3];
  s.at(1, 0, u, v, su);
  s.at(0, 1, u, v, sv);
  n[0] = su[1] * sv[2] - su[2] * sv[1];
  n[1] = su[2] * sv[0] - su[0] * sv[2];
  n[2] = su[0] * sv[1] - su[1] * sv[0];
  const double length = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
  for (int k = 0; k < 3; ++k)
    n[k] /= length;
}

TEST(SurfaceMinimiser, ProjectsOntoAPlanePatchInsideOnEdgesAndAtCorners) {
  const double o[3] = {0.5, -1.0, 2.0}, a[3] = {2.0, 0.5, 0.0}, b[3] = {0.7, 1.5, 1.0};
  const PlanePatch plane(o, a, b);
  int where_count[3] = {0, 0, 0};
  const Tally t =
      project(plane, 1000, 11,
              [&](mlRandom& r, double p[3], double& u, double& v, mlMinimiser2State& state) {
                double s[3];
                plane.at(0, 0, r.uniform(-0.6, 1.6), r.uniform(-0.6, 1.6), s);
                for (int k = 0; k < 3; ++k)
                  p[k] = s[k] + r.uniform(-2.0, 2.0);
                int where;
                plane.nearest(p, u, v, where);
                ++where_count[where];
                state = static_cast<mlMinimiser2State>(where);
                return true;
              });
  expect_quality(t);
  // Every kind of nearest point occurs often.
  EXPECT_GT(where_count[0], 100);
  EXPECT_GT(where_count[1], 100);
  EXPECT_GT(where_count[2], 100);
}

TEST(SurfaceMinimiser, ProjectsOntoABilinearPatch) {
  const double p00[3] = {0.0, 0.0, 0.0}, p10[3] = {1.0, 0.1, 0.2}, p01[3] = {-0.1, 1.0, 0.1},
               p11[3] = {1.2, 1.1, 1.0};
  const BilinearPatch patch(p00, p10, p01, p11);
  // Targets off the surface along its normal by less than the radius of curvature: their foot
  // point is the nearest point.
  const Tally t =
      project(patch, 1000, 12,
              [&](mlRandom& r, double p[3], double& u, double& v, mlMinimiser2State& state) {
                u = r.uniform(0.05, 0.95);
                v = r.uniform(0.05, 0.95);
                const double d = r.uniform(-0.05, 0.05);
                double s[3], n[3];
                patch.at(0, 0, u, v, s);
                unit_normal(patch, u, v, n);
                for (int k = 0; k < 3; ++k)
                  p[k] = s[k] + d * n[k];
                state = mlMinimiser2Converged;
                return true;
              });
  expect_quality(t);
}

TEST(SurfaceMinimiser, ProjectsOntoACylinderAndItsRims) {
  const Cylinder cylinder(1.5, 2.0);
  const Tally t =
      project(cylinder, 1000, 13,
              [&](mlRandom& r, double p[3], double& u, double& v, mlMinimiser2State& state) {
                p[0] = r.uniform(-4.0, 4.0);
                p[1] = r.uniform(-4.0, 4.0);
                p[2] = r.uniform(-3.0, 3.0);
                if (std::hypot(p[0], p[1]) < 0.3) return false;
                cylinder.nearest(p, u, v);
                state = std::fabs(p[2]) < 2.0 ? mlMinimiser2Converged : mlMinimiser2OnEdge;
                return true;
              });
  expect_quality(t);
}

TEST(SurfaceMinimiser, ProjectsOntoASphere) {
  const Sphere sphere(2.0);
  const Tally t =
      project(sphere, 1000, 14,
              [&](mlRandom& r, double p[3], double& u, double& v, mlMinimiser2State& state) {
                for (int k = 0; k < 3; ++k)
                  p[k] = r.uniform(-4.0, 4.0);
                // Close to the axis the azimuth of the nearest point is ill conditioned.
                if (std::hypot(p[0], p[1]) < 0.3) return false;
                sphere.nearest(p, u, v);
                state = mlMinimiser2Converged;
                return true;
              });
  expect_quality(t);
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
    for (const double start : {0.0, 1.0, 2.0, 3.0, 3.6, 5.0}) {
      double u = start, v = pole;
      EXPECT_EQ(minimiser.minimise(u, v), mlMinimiser2Converged) << start << " " << pole;
      EXPECT_NEAR(u, eu, 1e-9);
      EXPECT_NEAR(v, ev, 1e-9);
    }
  }
}

bool torus_target(mlRandom& r, double p[3]) {
  p[0] = r.uniform(-5.0, 5.0);
  p[1] = r.uniform(-5.0, 5.0);
  p[2] = r.uniform(-3.0, 3.0);
  // The nearest point is not unique on the axis and on the circle through the tube's centre.
  const double rho = std::hypot(p[0], p[1]);
  return rho >= 0.3 && std::hypot(rho - 3.0, p[2]) >= 0.2;
}

TEST(SurfaceMinimiser, ProjectsOntoATorusFromAnyStart) {
  const Torus torus(3.0, 1.0);
  int near_seam = 0;
  const Tally t =
      project(torus, 2000, 15,
              [&](mlRandom& r, double p[3], double& u, double& v, mlMinimiser2State& state) {
                if (!torus_target(r, p)) return false;
                torus.nearest(p, u, v);
                if (u < 0.3 || u > two_pi - 0.3 || v < 0.3 || v > two_pi - 0.3) ++near_seam;
                state = mlMinimiser2Converged;
                return true;
              });
  expect_quality(t);
  EXPECT_GT(near_seam, 100);
}

TEST(SurfaceMinimiser, CrossesTheSeamOfAPeriodicParameter) {
  const Torus torus(3.0, 1.0);
  Projection F(torus);
  mlVectorMinimiser2 minimiser(F);
  minimiser.set_patch(0.0, two_pi, 0.0, two_pi);
  minimiser.set_periodic(1, 1);
  // Nearest points just either side of u = 0 and v = 0, from starts on the other side.
  for (const double target_u : {-0.02, 0.02}) {
    for (const double start_u : {two_pi - 0.4, 0.4, -0.3, two_pi + 0.3}) {
      double s[3], n[3];
      torus.at(0, 0, target_u, 0.01, s);
      unit_normal(torus, target_u, 0.01, n);
      const double p[3] = {s[0] + 0.5 * n[0], s[1] + 0.5 * n[1], s[2] + 0.5 * n[2]};
      F.set_target(p);
      double u = start_u, v = two_pi - 0.2;
      EXPECT_EQ(minimiser.minimise(u, v), mlMinimiser2Converged);
      EXPECT_GE(u, 0.0);
      EXPECT_LT(u, two_pi);
      EXPECT_LE(parameter_distance(u, target_u, two_pi), 1e-9) << target_u << " " << start_u;
      EXPECT_LE(parameter_distance(v, 0.01, two_pi), 1e-9);
    }
  }
}

TEST(SurfaceMinimiser, UsesDifferencesWhenTheSurfaceOffersNoSecondDerivatives) {
  const Torus torus(3.0, 1.0);
  const Tally t = project(
      torus, 300, 16,
      [&](mlRandom& r, double p[3], double& u, double& v, mlMinimiser2State& state) {
        if (!torus_target(r, p)) return false;
        torus.nearest(p, u, v);
        state = mlMinimiser2Converged;
        return true;
      },
      false);
  expect_quality(t);
  // Without second derivatives F is asked for them once: the request finds them missing.
  Projection F(torus, false);
  mlVectorMinimiser2 minimiser(F);
  minimiser.set_patch(0.0, two_pi, 0.0, two_pi);
  minimiser.set_periodic(1, 1);
  const double p[3] = {4.5, 1.0, 0.7};
  F.set_target(p);
  double u = 3.0, v = 3.0;
  EXPECT_EQ(minimiser.minimise(u, v), mlMinimiser2Converged);
  EXPECT_EQ(F.derivatives, 1);
}

// ---- scalar functions -----------------------------------------------------------------------

// (u - a)^2 + 2 (v - b)^2 + (u - a)(v - b) / 2 on [0, 1]^2 with its derivatives.
CountingFunction2 paraboloid(double a, double b) {
  return CountingFunction2(
      [a, b](double u, double v) {
        return (u - a) * (u - a) + 2.0 * (v - b) * (v - b) + 0.5 * (u - a) * (v - b);
      },
      [a, b](int i, int j, double u, double v) {
        if (i == 1 && j == 0) return 2.0 * (u - a) + 0.5 * (v - b);
        if (i == 0 && j == 1) return 4.0 * (v - b) + 0.5 * (u - a);
        if (i == 2 && j == 0) return 2.0;
        if (i == 0 && j == 2) return 4.0;
        return 0.5;
      },
      {0.0, 1.0, 0.0, 1.0});
}

CountingFunction2 saddle() {
  return CountingFunction2([](double u, double v) { return u * u - v * v; },
                           [](int i, int j, double u, double v) {
                             if (i == 1 && j == 0) return 2.0 * u;
                             if (i == 0 && j == 1) return -2.0 * v;
                             if (i == 2 && j == 0) return 2.0;
                             if (i == 0 && j == 2) return -2.0;
                             return 0.0;
                           },
                           {-1.0, 1.0, -1.0, 1.0});
}

CountingFunction2 rosenbrock(double u_max) {
  return CountingFunction2(
      [](double x, double y) {
        const double a = 1.0 - x, b = y - x * x;
        return a * a + 100.0 * b * b;
      },
      [](int i, int j, double x, double y) {
        if (i == 1 && j == 0) return -2.0 * (1.0 - x) - 400.0 * x * (y - x * x);
        if (i == 0 && j == 1) return 200.0 * (y - x * x);
        if (i == 2 && j == 0) return 2.0 - 400.0 * (y - 3.0 * x * x);
        if (i == 0 && j == 2) return 200.0;
        return -400.0 * x;
      },
      {-2.0, u_max, -1.0, 3.0});
}

TEST(Minimiser2, FindsInteriorEdgeAndCornerMinimaWithAndWithoutDerivatives) {
  struct Case {
    const char* name;
    std::function<CountingFunction2()> make;
    int max_deriv;
    double u, v;
    mlMinimiser2State state;
    double eu, ev;
    double tolerance;
  };
  const std::vector<Case> cases = {
      {"interior", [] { return paraboloid(0.3, 0.6); }, 2, 0.9, 0.1, mlMinimiser2Converged, 0.3,
       0.6, 1e-12},
      {"beyond the edge u = 1", [] { return paraboloid(1.5, 0.6); }, 2, 0.2, 0.1,
       mlMinimiser2OnEdge, 1.0, 0.6625, 1e-12},
      {"beyond the corner (1, 0)", [] { return paraboloid(1.5, -0.6); }, 2, 0.2, 0.7,
       mlMinimiser2AtCorner, 1.0, 0.0, 0.0},
      {"interior, differences", [] { return paraboloid(0.3, 0.6); }, 0, 0.9, 0.1,
       mlMinimiser2Converged, 0.3, 0.6, 1e-9},
      {"edge, differences", [] { return paraboloid(1.5, 0.6); }, 0, 0.2, 0.1, mlMinimiser2OnEdge,
       1.0, 0.6625, 1e-9},
      {"corner, differences", [] { return paraboloid(1.5, -0.6); }, 0, 0.2, 0.7,
       mlMinimiser2AtCorner, 1.0, 0.0, 0.0},
      {"first derivatives only", [] { return paraboloid(0.3, 0.6); }, 1, 0.9, 0.1,
       mlMinimiser2Converged, 0.3, 0.6, 1e-9},
      {"saddle", saddle, 2, 0.3, 0.2, mlMinimiser2OnEdge, 0.0, 1.0, 1e-12},
      {"on the saddle point", saddle, 2, 0.0, 0.0, mlMinimiser2OnEdge, 0.0, -1.0, 1e-12},
      {"on the saddle point, differences", saddle, 0, 0.0, 0.0, mlMinimiser2OnEdge, 0.0, -1.0,
       1e-9},
      {"Rosenbrock in a box", [] { return rosenbrock(2.0); }, 2, -1.2, 1.0, mlMinimiser2Converged,
       1.0, 1.0, 1e-12},
      {"Rosenbrock cut at u = 0.5", [] { return rosenbrock(0.5); }, 2, -1.2, 1.0,
       mlMinimiser2OnEdge, 0.5, 0.25, 1e-12},
      {"Rosenbrock cut at u = 0.5, differences", [] { return rosenbrock(0.5); }, 0, -1.2, 1.0,
       mlMinimiser2OnEdge, 0.5, 0.25, 1e-9},
  };
  for (const Case& c : cases) {
    CountingFunction2 f = c.make();
    f.set_max_deriv(c.max_deriv);
    mlMinimiser2 minimiser(f);
    double u = c.u, v = c.v;
    EXPECT_EQ(minimiser.minimise(u, v), c.state) << c.name;
    EXPECT_EQ(minimiser.evaluations(), static_cast<int>(f.calls.size())) << c.name;
    EXPECT_NEAR(u, c.eu, c.tolerance) << c.name;
    EXPECT_NEAR(v, c.ev, c.tolerance) << c.name;
    EXPECT_EQ(minimiser.minimum_value(), f.function(u, v)) << c.name;
    // Without derivatives offered, none is asked for.
    if (c.max_deriv == 0) {
      for (const Call& call : f.calls)
        EXPECT_EQ(call.order, -1) << c.name;
    }
  }
}

TEST(Minimiser2, FallsBackToDifferencesWhenTheFunctionReturnsTheNoDerivativeValue) {
  // max_deriv is 2 but every derivative is -666.0: the first request of each order finds out.
  CountingFunction2 f([](double u, double v) { return std::cos(u) + std::cos(v) + 3.0; }, nullptr,
                      {0.0, two_pi, 0.0, two_pi});
  mlMinimiser2 minimiser(f);
  minimiser.set_periodic(1, 1);
  double u = 0.1, v = 6.2;
  EXPECT_EQ(minimiser.minimise(u, v), mlMinimiser2Converged);
  EXPECT_NEAR(u, 3.141592653589793, 1e-8);
  EXPECT_NEAR(v, 3.141592653589793, 1e-8);
  int derivative_calls[3] = {0, 0, 0};
  for (const Call& c : f.calls)
    if (c.order > 0) ++derivative_calls[c.order];
  EXPECT_EQ(derivative_calls[1], 1);
  EXPECT_EQ(derivative_calls[2], 1);
}

TEST(Minimiser2, TakesNewtonStepsWithTheFunctionsOwnDerivatives) {
  CountingFunction2 f(
      [](double u, double v) { return (u - 0.25) * (u - 0.25) + 2.0 * (v - 0.5) * (v - 0.5); },
      [](int i, int j, double u, double v) {
        if (i == 1 && j == 0) return 2.0 * (u - 0.25);
        if (i == 0 && j == 1) return 4.0 * (v - 0.5);
        if (i == 2 && j == 0) return 2.0;
        if (i == 0 && j == 2) return 4.0;
        return 0.0;
      },
      {0.0, 1.0, 0.0, 1.0});
  mlMinimiser2 minimiser(f);
  double u = 0.75, v = 0.125;
  EXPECT_EQ(minimiser.minimise(u, v), mlMinimiser2Converged);
  EXPECT_EQ(u, 0.25);
  EXPECT_EQ(v, 0.5);
  EXPECT_EQ(minimiser.iterations(), 2);
  // Value, gradient, Hessian, the Newton point; there the gradient vanishes and the Hessian
  // shows no negative curvature.
  const std::vector<Call> expected = {
      {-1, {}, {0.75, 0.125}},    {1, {1, 0}, {0.75, 0.125}}, {1, {0, 1}, {0.75, 0.125}},
      {2, {2, 0}, {0.75, 0.125}}, {2, {1, 1}, {0.75, 0.125}}, {2, {0, 2}, {0.75, 0.125}},
      {-1, {}, {0.25, 0.5}},      {1, {1, 0}, {0.25, 0.5}},   {1, {0, 1}, {0.25, 0.5}},
      {2, {2, 0}, {0.25, 0.5}},   {2, {1, 1}, {0.25, 0.5}},   {2, {0, 2}, {0.25, 0.5}}};
  EXPECT_EQ(f.calls, expected);
  EXPECT_EQ(minimiser.evaluations(), 12);
}

TEST(Minimiser2, EndsWithoutProgressOnNaNValues) {
  {
    CountingFunction2 f([](double, double) { return std::nan(""); }, nullptr, {0.0, 1.0, 0.0, 1.0});
    mlMinimiser2 minimiser(f);
    double u = 0.5, v = 1.5;
    EXPECT_EQ(minimiser.minimise(u, v), mlMinimiser2NoProgress);
    EXPECT_EQ(u, 0.5);
    EXPECT_EQ(v, 1.0);
    EXPECT_TRUE(std::isnan(minimiser.minimum_value()));
  }
  {
    // Undefined beyond u = 0.5 while the minimum lies at u = 1: the best point is returned.
    CountingFunction2 f(
        [](double u, double v) {
          return u > 0.5 ? std::nan("") : (u - 1.0) * (u - 1.0) + (v - 0.5) * (v - 0.5);
        },
        nullptr, {0.0, 1.0, 0.0, 1.0});
    f.set_max_deriv(0);
    mlMinimiser2 minimiser(f);
    double u = 0.1, v = 0.1;
    EXPECT_EQ(minimiser.minimise(u, v), mlMinimiser2NoProgress);
    EXPECT_LE(u, 0.5);
    EXPECT_LT(minimiser.minimum_value(), f.function(0.1, 0.1));
    EXPECT_LE(minimiser.evaluations(), 100 * 3000);
  }
  {
    // Finite values with NaN derivatives.
    CountingFunction2 f([](double u, double v) { return u * u + v * v; },
                        [](int, int, double, double) { return std::nan(""); },
                        {0.0, 1.0, 0.0, 1.0});
    mlMinimiser2 minimiser(f);
    double u = 0.25, v = 0.75;
    EXPECT_EQ(minimiser.minimise(u, v), mlMinimiser2NoProgress);
    EXPECT_EQ(u, 0.25);
    EXPECT_EQ(v, 0.75);
  }
}

TEST(Minimiser2, StopsAtTheIterationBudgetWithTheBestPoint) {
  CountingFunction2 f = rosenbrock(2.0);
  mlMinimiser2 minimiser(f);
  double u = 0.0, v = 0.0;
  minimiser.set_max_iterations(0);
  EXPECT_EQ(minimiser.minimise(u, v), mlMinimiser2MaxIterations);
  EXPECT_EQ(u, 0.0);
  EXPECT_EQ(minimiser.minimum_value(), 1.0);
  EXPECT_EQ(minimiser.evaluations(), 1);
  minimiser.set_max_iterations(3);
  u = -1.2;
  v = 1.0;
  EXPECT_EQ(minimiser.minimise(u, v), mlMinimiser2MaxIterations);
  EXPECT_EQ(minimiser.iterations(), 3);
  EXPECT_LT(minimiser.minimum_value(), 24.2);
  EXPECT_EQ(minimiser.minimum_value(), f.function(u, v));
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
  double u = -2.75, v = 7.0;
  minimiser.minimise(u, v);
  EXPECT_EQ(u, 0.25);
  EXPECT_EQ(v, 1.0);
  u = 3.0;  // a whole number of periods lands on the lower end, never the upper
  minimiser.minimise(u, v);
  EXPECT_EQ(u, 0.0);

  // become goes back to the function's domain and the default settings.
  CountingFunction2 g = saddle();
  minimiser.become(g);
  EXPECT_EQ(minimiser.tolerance(), 2e-10);
  u = 0.3;
  v = 0.2;
  EXPECT_EQ(minimiser.minimise(u, v), mlMinimiser2OnEdge);
}

}  // namespace
