#include "optim/mlMinimiser2.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <functional>
#include <iterator>
#include <utility>
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
TEST(mlMinimiser2Surface, ProjectsOntoAnalyticSurfacesAcrossEdgesSeamsAndPoles) {
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

TEST(mlMinimiser2, FindsInteriorEdgeAndCornerMinimaWithAndWithoutDerivatives) {
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

TEST(mlMinimiser2, TakesNewtonStepsWithTheFunctionsOwnDerivatives) {
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

TEST(mlMinimiser2, EndsWithoutProgressOrIterationsWithTheBestPoint) {
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

TEST(mlMinimiser2, ClampsOrWrapsTheStartAndScalesTheDefaultTolerance) {
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
  // A whole number of periods lands on the lower end, never the upper; so does a start just
  // below the lower end, where lo + r rounds up to the upper end.
  EXPECT_EQ(run(minimiser, 3.0, 7.0)[1], 0.0);
  EXPECT_EQ(run(minimiser, -1e-20, 7.0)[1], 0.0);

  // become goes back to the function's domain and the default settings.
  CountingFunction2 g = saddle();
  minimiser.become(g);
  EXPECT_EQ(minimiser.tolerance(), 2e-10);
  EXPECT_EQ(run(minimiser, 0.3, 0.2)[0], mlMinimiser2OnEdge);
}

TEST(mlMinimiser2, SpacesDifferencesAndProbesByThePatchWidth) {
  // Without derivatives on [0, 2] x [0, 1]: the gradient's central differences lie 1e-5 of the
  // width either side of the start, the Hessian's second differences 1e-4 of it.
  CountingFunction2 f = paraboloid(0.3, 0.6);
  f.set_max_deriv(0);
  mlMinimiser2 differences(f);
  differences.set_patch(0.0, 2.0, 0.0, 1.0);
  run(differences, 0.9, 0.1);
  ASSERT_GT(f.calls.size(), 6u);
  EXPECT_EQ(f.calls[1].at, (std::vector<double>{0.9 - 1e-5 * 2.0, 0.1}));
  EXPECT_EQ(f.calls[4].at, (std::vector<double>{0.9, 0.1 + 1e-5}));
  EXPECT_EQ(f.calls[5].at, (std::vector<double>{0.9 + 1e-4 * 2.0, 0.1}));
  EXPECT_EQ(f.calls[8].at, (std::vector<double>{0.9, 0.1 - 1e-4}));

  // Exactly one step from the lower end of u and the upper end of v the central differences
  // still fit.
  CountingFunction2 e = paraboloid(0.3, 0.6);
  e.set_max_deriv(0);
  mlMinimiser2 fits(e);
  fits.set_patch(0.0, 2.0, 0.0, 1.0);
  run(fits, 1e-5 * 2.0, 1.0 - 1e-5);
  ASSERT_GT(e.calls.size(), 4u);
  EXPECT_EQ(e.calls[1].at, (std::vector<double>{0.0, 1.0 - 1e-5}));
  EXPECT_EQ(e.calls[2].at, (std::vector<double>{1e-5 * 4.0, 1.0 - 1e-5}));
  EXPECT_EQ(e.calls[4].at, (std::vector<double>{1e-5 * 2.0, 1.0}));

  // The minimum beyond u = 1: on that edge the line probed inside it is u = 1 - 1e-3.
  CountingFunction2 g = paraboloid(1.5, 0.6);
  mlMinimiser2 edge(g);
  EXPECT_EQ(run(edge, 0.2, 0.1)[0], mlMinimiser2OnEdge);
  int probes = 0;
  for (const Call& call : g.calls) {
    if (call.at[0] > 0.99 && call.at[0] < 1.0) {
      EXPECT_EQ(call.at[0], 1.0 - 1e-3);
      ++probes;
    }
  }
  EXPECT_GT(probes, 0);
}

TEST(mlMinimiser2, StopsWhereDifferenceNoiseHidesTheStep) {
  // 1e6 + |x - (0.5, 0.5)|^2 by differences on the unit square: their noise, 16 eps |f| / 1e-5
  // over the curvature 2, hides a Newton step shorter than about 1.8e-4. From 0.7 of that
  // distance the first pass converges; from 1.5 of it the step is taken.
  const double noise = 16.0 * DBL_EPSILON * 1e6 / 1e-5 / 2.0;
  for (const auto& c : {std::pair<double, int>{0.7, 1}, {1.5, 2}}) {
    CountingFunction2 f(
        [](double u, double v) { return 1e6 + ((u - 0.5) * (u - 0.5) + (v - 0.5) * (v - 0.5)); },
        nullptr, {0.0, 1.0, 0.0, 1.0});
    f.set_max_deriv(0);
    mlMinimiser2 m(f);
    EXPECT_EQ(run(m, 0.5 + c.first * noise, 0.5)[0], mlMinimiser2Converged) << c.first;
    EXPECT_EQ(m.iterations(), c.second) << c.first;
  }
}

TEST(mlMinimiser2, TakesANewtonStepThatRaisesTheValueOnlyByRounding) {
  // One pass from (0, 0), where f = 1 and g = (1, 0), with unit curvature: the Newton point
  // (-1, 0) has the value 1 + rise. It is taken for a rise up to 64 eps, or up to 1e-10 when
  // the gradient there is shorter; otherwise nothing else descends either.
  struct Case {
    double rise;
    bool shorter_gradient;
    double u;
  };
  const Case cases[] = {{48.0 * DBL_EPSILON, false, -1.0},
                        {64.0 * DBL_EPSILON, false, -1.0},
                        {96.0 * DBL_EPSILON, false, 0.0},
                        {0.7e-10, true, -1.0},
                        {1.5e-10, true, 0.0}};
  for (const Case& c : cases) {
    CountingFunction2 f(
        [&c](double u, double v) { return u == 0.0 && v == 0.0 ? 1.0 : 1.0 + c.rise; },
        [&c](int i, int j, double u, double v) {
          if (i + j == 2) return i == 1 ? 0.0 : 1.0;  // unit curvature, no uv term
          const double g = c.shorter_gradient && (u != 0.0 || v != 0.0) ? 0.5 : 1.0;
          return i == 1 ? g : 0.0;
        },
        {-10.0, 10.0, -10.0, 10.0});
    mlMinimiser2 m(f);
    m.set_max_iterations(1);
    const int state = c.u == 0.0 ? mlMinimiser2NoProgress : mlMinimiser2MaxIterations;
    EXPECT_EQ(run(m, 0.0, 0.0), (std::vector<double>{static_cast<double>(state), c.u, 0.0}))
        << c.rise;
  }
}

// F(u, v) = (u, v, u^2 + 2 v^2 + c u v) - P: the projection of P onto a polynomial surface.
class Bowl : public mlFunctionN {
 public:
  Bowl(double c, std::vector<double> p) : mlFunctionN(2, 3), c_(c), p_(std::move(p)) {}
  void function(const mlSlice& x, mlVector& f) const override {
    f[0] = x[0] - p_[0];
    f[1] = x[1] - p_[1];
    f[2] = x[0] * x[0] + 2.0 * x[1] * x[1] + c_ * x[0] * x[1] - p_[2];
  }
  void function_gradient(const mlSlice& x, mlMatrix& J) const override {
    J(0, 0) = 1.0;
    J(1, 0) = 0.0;
    J(2, 0) = 2.0 * x[0] + c_ * x[1];
    J(0, 1) = 0.0;
    J(1, 1) = 1.0;
    J(2, 1) = 4.0 * x[1] + c_ * x[0];
  }

 private:
  double c_;
  std::vector<double> p_;
};

// F(u, v) = (u + v, e v) - P: Jacobian columns e apart, nearly parallel for a small e.
class Shear : public mlFunctionN {
 public:
  Shear(double e, std::vector<double> p) : mlFunctionN(2, 2), e_(e), p_(std::move(p)) {}
  void function(const mlSlice& x, mlVector& f) const override {
    f[0] = x[0] + x[1] - p_[0];
    f[1] = e_ * x[1] - p_[1];
  }
  void function_gradient(const mlSlice&, mlMatrix& J) const override {
    J(0, 0) = 1.0;
    J(1, 0) = 0.0;
    J(0, 1) = 1.0;
    J(1, 1) = e_;
  }

 private:
  double e_;
  std::vector<double> p_;
};

// F(u, v) = (u + 0.1, v, 1 + k u^2 - v^2): flat at the origin, so that the tangent-plane
// step from there is (-0.1, 0) with a predicted fall of 0.01, and the actual fall is about
// (1 - 2 k) times that. The negative curvature in v leaves no Newton step.
class Dish : public mlFunctionN {
 public:
  explicit Dish(double k) : mlFunctionN(2, 3), k_(k) {}
  void function(const mlSlice& x, mlVector& f) const override {
    f[0] = x[0] + 0.1;
    f[1] = x[1];
    f[2] = 1.0 + k_ * x[0] * x[0] - x[1] * x[1];
  }
  void function_gradient(const mlSlice& x, mlMatrix& J) const override {
    J(0, 0) = 1.0;
    J(1, 0) = 0.0;
    J(2, 0) = 2.0 * k_ * x[0];
    J(0, 1) = 0.0;
    J(1, 1) = 1.0;
    J(2, 1) = -2.0 * x[1];
  }

 private:
  double k_;
};

TEST(mlMinimiser2, SearchesAlongATangentPlaneStepThatFellFarFromItsModel) {
  // Falls of 0.2, 0.3, 1.8 and 2.5 times the prediction: outside the 10% agreement the lower
  // point is the candidate, searched along first only below a quarter or above twice the
  // prediction.
  for (const auto& c :
       {std::pair<double, bool>{0.4, true}, {0.35, false}, {-0.4, false}, {-0.75, true}}) {
    Dish F(c.first);
    mlVectorMinimiser2 m(F);
    m.set_max_iterations(1);
    const std::vector<double> r = run(m, 0.0, 0.0);
    EXPECT_EQ(r[1] != -0.1 || r[2] != 0.0, c.second) << c.first << ": " << r[1] << " " << r[2];
  }
}

// {state, u, v, iterations, evaluations} of one search.
std::vector<double> course(mlBaseMinimiser2& m, double u, double v) {
  std::vector<double> r = run(m, u, v);
  r.push_back(m.iterations());
  r.push_back(m.evaluations());
  return r;
}

// Representative searches: a large constant value with differences, the valley with first
// derivatives and with differences against an edge, two shears, then three bowls.
std::vector<std::vector<double>> representative_courses() {
  std::vector<std::vector<double>> got;
  {
    CountingFunction2 f(
        [](double u, double v) {
          return 1e9 + (u - 0.3) * (u - 0.3) + 3.0 * (v - 0.6) * (v - 0.6);
        },
        nullptr, {0.0, 1.0, 0.0, 1.0});
    f.set_max_deriv(0);
    mlMinimiser2 m(f);
    got.push_back(course(m, 0.9, 0.1));
  }
  for (const auto& [scale, max_deriv] : {std::pair<double, int>{2.0, 1}, {0.5, 0}}) {
    CountingFunction2 f = rosenbrock(scale);
    f.set_max_deriv(max_deriv);
    mlMinimiser2 m(f);
    got.push_back(course(m, -1.2, 1.0));
  }
  // J^T J of the shears has det / (a c) about 0.7e-12 and 1.4e-12: only the second takes the
  // tangent-plane step.
  for (const double e : {8.4e-7, 1.2e-6}) {
    Shear F(e, {1.0, 0.5e-6});
    mlVectorMinimiser2 m(F);
    got.push_back(course(m, 0.0, 0.0));
  }
  for (const double c : {0.0, 3.0, 2.9})
    for (const std::vector<double>& p : {std::vector<double>{0.5, 0.5, -1.0},
                                         {2.0, -1.0, 0.5},
                                         {0.1, 0.2, 3.0},
                                         {-3.0, 1.0, 10.0},
                                         {0.0, 0.0, -50.0},
                                         {5.0, -5.0, 1.0}}) {
      Bowl F(c, p);
      mlVectorMinimiser2 m(F);
      got.push_back(course(m, 0.0, 0.0));
    }
  // Flat and linear values, where a trial ties with the current value exactly and curvatures
  // vanish, by differences and by derivatives.
  for (const int max_deriv : {0, 2})
    for (const CountingFunction2::Value& value :
         {CountingFunction2::Value([](double, double) { return 0.0; }),
          CountingFunction2::Value([](double u, double) { return (u - 0.3) * (u - 0.3); }),
          CountingFunction2::Value([](double u, double v) { return u + 0.5 * v; })}) {
      CountingFunction2 f(value, nullptr, {0.0, 1.0, 0.0, 1.0});
      f.set_max_deriv(max_deriv);
      mlMinimiser2 m(f);
      got.push_back(course(m, 0.9, 0.1));
    }
  // The saddle (u - 0.5)(v - 0.5) from its centre: both ways out fall alike, and the one
  // tried first decides the corner.
  {
    CountingFunction2 f = quadratic(0.5, 0.5, 0.0, 1.0, 0.0);
    mlMinimiser2 m(f);
    got.push_back(course(m, 0.5, 0.5));
  }
  return got;
}

// The whole course of representative searches, to the bit: every tuned step, slack and
// threshold of the iteration shows in the points visited, the counts or the point found.
TEST(mlMinimiser2, RepeatsItsSearchesToTheBit) {
  const std::vector<std::vector<double>> got = representative_courses();
  // In the order of the searches; of the bowls the last two are indefinite, and the ones
  // started far away are searched along their tangent-plane steps.
  const std::vector<double> expected[] = {
      {0, 0x1.3309f6f76bf21p-2, 0x1.333633992e95ep-1, 5, 137},
      {0, 0x1.ffffffffffffcp-1, 0x1.ffffffffffff9p-1, 23, 308},
      {1, 0x1p-1, 0x1.fffffffffffffp-3, 17, 392},
      {4, 0x1.9e79e79eb5b1cp-2, 0x1.30c30c30a5271p-1, 5, 129},
      {0, 0x1.2aaaaaaaaaaabp-1, 0x1.aaaaaaaaaaaabp-2, 4, 20},
      {0, 0x1.4b6dae86d3bbbp-3, 0x1.8b6b549c61634p-4, 5, 51},
      {0, 0x1.e00c8d1cd97d6p-1, -0x1.3982de9887924p-2, 6, 88},
      {0, 0x1.5e0a7a60693d1p-3, 0x1.2ce9b7334dc25p+0, 7, 101},
      {0, -0x1.70fcaa95b4c9bp+1, 0x1.d978ba90b6c14p-1, 9, 90},
      {0, 0x0p+0, 0x0p+0, 1, 10},
      {0, 0x1.3c6f9b70bf78fp+0, -0x1.69110db19945fp-1, 6, 98},
      {0, 0x1.53e474f5a6b3ep-3, -0x1.1c2e3ee966ca1p-9, 4, 41},
      {0, 0x1.0a599e7e51ac9p+1, -0x1.b6bfe82394ee4p-1, 9, 42},
      {0, 0x1.129916b37196fp-1, 0x1.9bb94125f220bp-1, 7, 74},
      {0, -0x1.c0804b506a45p+1, 0x1.e0c1a193956b6p-3, 8, 80},
      {0, -0x1.2db40e95d60fcp+4, 0x1.b2e9334b675d1p+3, 3, 75},
      {0, 0x1.3a243f1d458eep+2, -0x1.460ed4c1ba9f3p+2, 7, 36},
      {0, 0x1.44030be715976p-3, 0x1.6d90b725bca0bp-8, 4, 41},
      {0, 0x1.075b5caff51b9p+1, -0x1.d19e0bf9299cdp-1, 8, 39},
      {0, 0x1.12e416833376ap-1, 0x1.9fe3f0b8c4859p-1, 7, 62},
      {0, -0x1.c1c6b1f481e3ep+1, 0x1.00b46676cf7a5p-2, 7, 79},
      {0, -0x1.a48458e30b7d2p+4, 0x1.2bcf625f1685ep+4, 4, 87},
      {0, 0x1.496623166139ep+2, -0x1.34e21128d61f4p+2, 7, 36},
      {0, 0x1.ccccccccccccdp-1, 0x1.999999999999ap-4, 1, 11},
      {4, 0x1.333332e666668p-2, 0x1.999999999999ap-4, 3, 106},
      {2, 0x0p+0, 0x0p+0, 3, 43},
      {0, 0x1.ccccccccccccdp-1, 0x1.999999999999ap-4, 1, 13},
      {4, 0x1.333332e666668p-2, 0x1.999999999999ap-4, 3, 108},
      {2, 0x0p+0, 0x0p+0, 3, 45},
      {2, 0x1p+0, 0x0p+0, 2, 25},
  };
  ASSERT_EQ(got.size(), std::size(expected));
  for (std::size_t k = 0; k < got.size(); ++k)
    EXPECT_EQ(got[k], expected[k]) << k;
}

}  // namespace
