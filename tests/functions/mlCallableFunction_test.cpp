#include "functions/mlCallableFunction.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "functions/mlIntegrate.h"
#include "functions/mlLineOnFunction2.h"
#include "optim/mlDownHillSimplex.h"
#include "optim/mlLevenbergMarquardt.h"
#include "optim/mlMinimiser.h"
#include "optim/mlMinimiser2.h"
#include "optim/mlPowellMinimumSearch.h"
#include "roots/mlNewtonRaphson.h"
#include "roots/mlRootSolve.h"
#include "support/classic_problems.h"
#include "support/counting_functions.h"
#include "support/test_support.h"

namespace {

using namespace paskosda_test;

// Every adapter is run through solvers beside the equivalent hand-written derived class, both
// computing their values by the same formulas: the solvers must return the same bits and make
// the same calls, in the same order, at the same arguments. The adapters' callables record
// their calls in the hand-written classes' format.

std::vector<Call> with_order(const std::vector<Call>& calls, int order) {
  std::vector<Call> kept;
  for (const Call& c : calls)
    if (c.order == order) kept.push_back(c);
  return kept;
}

// Results that must agree bit for bit, by name for the failure message.
::testing::AssertionResult same_results(const std::vector<double>& expected,
                                        const std::vector<double>& actual) {
  if (expected.size() == actual.size() &&
      same_bits(expected.data(), actual.data(), static_cast<int>(expected.size()))) {
    return ::testing::AssertionSuccess();
  }
  auto failure = ::testing::AssertionFailure() << "expected";
  for (double x : expected)
    failure << ' ' << x;
  failure << ", got";
  for (double x : actual)
    failure << ' ' << x;
  return failure;
}

// ---- one variable ---------------------------------------------------------------------------

// t^4 - 3 t^2 + t and its derivatives: two minima, four real roots.
double quartic(int order, double t) {
  switch (order) {
    case 0:
      return ((t * t - 3.0) * t + 1.0) * t;
    case 1:
      return (4.0 * t * t - 6.0) * t + 1.0;
    case 2:
      return 12.0 * t * t - 6.0;
    case 3:
      return 24.0 * t;
    case 4:
      return 24.0;
    default:
      return 0.0;
  }
}

double half(double t) { return 0.5 * t; }

TEST(mlCallableFunction, OneVariableSolversMakeTheSameCallsAsOnAHandWrittenFunction) {
  using Solver = std::function<std::vector<double>(const mlFunction&)>;
  const std::pair<const char*, Solver> solvers[] = {
      {"bracketing and Brent",
       [](const mlFunction& f) {
         double a = 0.2, b = 0.4, c = 0.0, fa = 0.0, fb = 0.0, fc = 0.0, x = 0.0;
         ml_minimum_bracketing(f, a, b, c, fa, fb, fc);
         const double fx = ml_brent_minimum_search(f, a, b, c, 1e-10, 100, &x);
         return std::vector<double>{a, b, c, fa, fb, fc, x, fx};
       }},
      {"Romberg",
       [](const mlFunction& f) {
         const mlIntegrateRomberg romberg(1e-12, 20);
         const double integral = romberg.integrate(f, -2.0, 1.5);
         return std::vector<double>{integral, static_cast<double>(romberg.converged())};
       }},
      {"range minimiser",
       [](const mlFunction& f) {
         mlMinimiser minimiser(f, 0.3, -1.0, 2.5, 1e-9);
         int found = -1, beyond = -1, out = -1;
         const double x = minimiser.minimise(found, beyond, out);
         return std::vector<double>{x, 1.0 * found, 1.0 * beyond, 1.0 * out,
                                    1.0 * minimiser.iterations()};
       }},
      {"Newton-Raphson",
       [](const mlFunction& f) {
         int ok = -1;
         const double x = mlRootSolve::newton_raphson(f, 2.0, 1e-12, ok, 50);
         return std::vector<double>{x, 1.0 * ok};
       }},
      {"bracketed Newton-Raphson", [](const mlFunction& f) {
         int ok = -1;
         const double x = mlRootSolve::newton_raphson(f, 1.0, 2.0, 1e-12, ok, 50);
         return std::vector<double>{x, 1.0 * ok};
       }}};

  for (const auto& [name, solve] : solvers) {
    for (const bool derivatives : {true, false}) {
      SCOPED_TRACE(std::string(name) + (derivatives ? ", with derivatives" : ", without"));
      const CountingFunction hand([](double t) { return quartic(0, t); },
                                  derivatives ? CountingFunction::Derivative(quartic) : nullptr);
      std::vector<Call> calls;
      const auto value = [&calls](double t) {
        calls.push_back({0, {}, {t}});
        return quartic(0, t);
      };
      const auto derivative = [&calls](int order, double t) {
        calls.push_back({order, {}, {t}});
        return quartic(order, t);
      };
      const std::vector<double> expected = solve(hand);
      if (derivatives) {
        EXPECT_TRUE(same_results(expected, solve(ml_make_function(value, derivative))));
        EXPECT_EQ(calls, hand.calls);
      } else {
        // The base's derivative answers: -666.0, which steers the Newton iterations.
        EXPECT_TRUE(same_results(expected, solve(ml_make_function(value))));
        EXPECT_EQ(calls, with_order(hand.calls, 0));
      }
    }
  }

  // A plain function serves as well as a closure.
  const mlIntegrateSimpson simpson(1e-12, 10);
  EXPECT_EQ(simpson.integrate(ml_make_function(half), 0.0, 2.0), 1.0);
}

// ---- two variables --------------------------------------------------------------------------

// (u - 1)^2 + 2 (v + 0.5)^2 + 0.5 u v + 0.1 u^4 and its partial derivatives up to order 2.
double bowl(int i, int j, double u, double v) {
  if (i == 0 && j == 0) {
    const double a = u - 1.0, b = v + 0.5;
    return a * a + 2.0 * (b * b) + 0.5 * u * v + 0.1 * (u * u) * (u * u);
  }
  if (i == 1 && j == 0) return 2.0 * (u - 1.0) + 0.5 * v + 0.4 * (u * u * u);
  if (i == 0 && j == 1) return 4.0 * (v + 0.5) + 0.5 * u;
  if (i == 2 && j == 0) return 2.0 + 1.2 * (u * u);
  if (i == 1 && j == 1) return 0.5;
  if (i == 0 && j == 2) return 4.0;
  return -666.0;
}

TEST(mlCallableFunction2, SurfaceSolversMakeTheSameCallsAsOnAHandWrittenFunction) {
  using Solver = std::function<std::vector<double>(const mlFunction2&)>;
  const auto surface = [](double v_min) {
    return [v_min](const mlFunction2& f) {
      mlMinimiser2 minimiser(f);
      minimiser.set_patch(-3.0, 3.0, v_min, 2.0);
      double u = 2.5, v = 1.5;
      const int state = minimiser.minimise(u, v);
      return std::vector<double>{u,
                                 v,
                                 1.0 * state,
                                 minimiser.minimum_value(),
                                 1.0 * minimiser.iterations(),
                                 1.0 * minimiser.evaluations()};
    };
  };
  const std::pair<const char*, Solver> solvers[] = {
      {"interior minimum", surface(-2.0)},
      {"minimum on an edge", surface(0.0)},
      {"range minimiser along a line", [](const mlFunction2& f) {
         const mlLineOnFunction2 line(1.0, 0.5, -2.0, -1.0, &f);
         mlMinimiser minimiser(line, 0.0, -5.0, 5.0, 1e-10);
         int found = -1, beyond = -1, out = -1;
         const double t = minimiser.minimise(found, beyond, out);
         return std::vector<double>{t, 1.0 * found, line.function_derivative(2, t)};
       }}};

  for (const auto& [name, solve] : solvers) {
    for (const bool derivatives : {true, false}) {
      SCOPED_TRACE(std::string(name) + (derivatives ? ", with derivatives" : ", without"));
      const CountingFunction2 hand([](double u, double v) { return bowl(0, 0, u, v); },
                                   derivatives ? CountingFunction2::Derivative(bowl) : nullptr);
      std::vector<Call> calls;
      const auto value = [&calls](double u, double v) {
        calls.push_back({-1, {}, {u, v}});
        return bowl(0, 0, u, v);
      };
      const auto derivative = [&calls](int i, int j, double u, double v) {
        calls.push_back({i + j, {i, j}, {u, v}});
        return bowl(i, j, u, v);
      };
      const std::vector<double> expected = solve(hand);
      if (derivatives) {
        EXPECT_TRUE(same_results(expected, solve(ml_make_function2(value, derivative))));
        EXPECT_EQ(calls, hand.calls);
      } else {
        EXPECT_TRUE(same_results(expected, solve(ml_make_function2(value))));
        EXPECT_EQ(calls, with_order(hand.calls, -1));
      }
    }
  }
}

// ---- a scalar of a vector -------------------------------------------------------------------

TEST(mlCallableFunctionN1, DirectionSetSimplexAndDifferencesMakeTheSameCalls) {
  const int saved_budget = mlDownHillSimplex::m_max;
  for (const ClassicProblem& problem : classic_problems()) {
    SCOPED_TRACE(problem.name);
    const int n = static_cast<int>(problem.start.size());
    const auto run = [&](const mlFunctionN1& f) {
      std::vector<double> results;
      const auto append = [&results](const std::vector<double>& more) {
        results.insert(results.end(), more.begin(), more.end());
      };
      mlVector p = vec(problem.start);
      mlMatrix directions(mlMatrixIdentity, n);
      int iterations = -1;
      results.push_back(ml_powell_minimum_search(p, directions, 1e-10, iterations, f));
      results.push_back(iterations);
      append(values(p));
      append(values(directions));

      mlDownHillSimplex simplex(n);
      results.push_back(simplex.solve(f, vec(problem.start), mlDownHillSimplexSlow));
      results.push_back(simplex.number_of_calls());
      simplex.result(p);
      append(values(p));

      // The interface's central differences, at the start point.
      mlVector g;
      mlMatrix H;
      f.gradient(vec(problem.start).slice(), g);
      f.hessian(vec(problem.start).slice(), H);
      append(values(g));
      append(values(H));
      return results;
    };
    const CountingFunctionN1 hand(n, problem.f);
    std::vector<Call> calls;
    const auto adapter = ml_make_function_n1(n, [&calls, &problem](const mlSlice& x) {
      calls.push_back({0, {}, CountingFunctionN1::elements(x)});
      return problem.f(x);
    });
    EXPECT_TRUE(same_results(run(hand), run(adapter)));
    EXPECT_EQ(calls, hand.calls);
  }
  mlDownHillSimplex::m_max = saved_budget;
}

// ---- a vector of a vector -------------------------------------------------------------------

using Partial = std::function<void(const mlSlice&, const std::vector<int>&, mlVector&)>;

// The orders of a Jacobian column: 1 for variable c, 0 for the others.
std::vector<int> unit_orders(int variables, int c) {
  std::vector<int> orders(static_cast<std::size_t>(variables), 0);
  orders[static_cast<std::size_t>(c)] = 1;
  return orders;
}

// The partial derivatives of (x0^2 + x1^2 - 4, exp(x0) + x1 - 1), all orders 0 for the values.
void circle_and_exponential(const mlSlice& x, const std::vector<int>& o, mlVector& d) {
  d.become(mlVectorDim, 2);
  const int total = o[0] + o[1];
  if (total == 0) {
    d[0] = x[0] * x[0] + x[1] * x[1] - 4.0;
    d[1] = std::exp(x[0]) + x[1] - 1.0;
  } else if (total == 1) {
    d[0] = 2.0 * x[o[0] == 1 ? 0 : 1];
    d[1] = o[0] == 1 ? std::exp(x[0]) : 1.0;
  } else {
    d[0] = o[0] == 1 ? 0.0 : 2.0;
    d[1] = o[0] == 2 ? std::exp(x[0]) : 0.0;
  }
}

// The paraboloid (u, v, (u^2 + v^2) / 2) less the point (1, -0.5, -2) and its partial
// derivatives: the vector whose length the projection of that point minimises.
void paraboloid_offset(const mlSlice& x, const std::vector<int>& o, mlVector& d) {
  d.become(mlVectorDim, 3);
  const int total = o[0] + o[1];
  if (total == 0) {
    d[0] = x[0] - 1.0;
    d[1] = x[1] + 0.5;
    d[2] = 0.5 * (x[0] * x[0] + x[1] * x[1]) + 2.0;
  } else if (total == 1) {
    d[0] = o[0];
    d[1] = o[1];
    d[2] = x[o[0] == 1 ? 0 : 1];
  } else {
    d[0] = 0.0;
    d[1] = 0.0;
    d[2] = o[0] == 1 ? 0.0 : 1.0;
  }
}

// A hand-written vector function with values and a Jacobian but no partial derivatives,
// recording its calls as `CountingFunctionN` does.
class ValuesAndJacobian : public mlFunctionN {
 public:
  ValuesAndJacobian(int variables, int dimension, Partial partial)
      : mlFunctionN(variables, dimension), partial_(std::move(partial)) {}
  void function(const mlSlice& x, mlVector& f) const override {
    calls.push_back({0, {}, CountingFunctionN1::elements(x)});
    partial_(x, std::vector<int>(static_cast<std::size_t>(variables()), 0), f);
  }
  void function_gradient(const mlSlice& x, mlMatrix& J) const override {
    calls.push_back({-1, {}, CountingFunctionN1::elements(x)});
    for (int c = 0; c < variables(); ++c) {
      mlVector d;
      partial_(x, unit_orders(variables(), c), d);
      for (int r = 0; r < dimension(); ++r)
        J(r, c) = d[r];
    }
  }
  mutable std::vector<Call> calls;

 private:
  Partial partial_;
};

TEST(mlCallableFunctionN, NewtonAndTheVectorMinimiserMakeTheSameCalls) {
  using Solver = std::function<std::vector<double>(const mlFunctionN&)>;
  struct Case {
    const char* name;
    int variables, dimension;
    Partial partial;
    Solver solve;
  };
  const Case cases[] = {
      {"Newton-Raphson", 2, 2, circle_and_exponential,
       [](const mlFunctionN& f) {
         mlNewtonRaphson newton(mlNRDimension, 2);
         mlVector x = vec({1.0, 1.0});
         int ok = -1;
         newton.solve(f, x, 1e-12, ok);
         return std::vector<double>{x[0], x[1], 1.0 * ok, 1.0 * newton.status(),
                                    1.0 * newton.iteration()};
       }},
      {"projection onto a paraboloid", 2, 3, paraboloid_offset, [](const mlFunctionN& f) {
         mlVectorMinimiser2 minimiser(f);
         minimiser.set_patch(-2.0, 2.0, -2.0, 2.0);
         double u = 1.5, v = 1.5;
         const int state = minimiser.minimise(u, v);
         return std::vector<double>{u, v, 1.0 * state, minimiser.minimum_value(),
                                    1.0 * minimiser.evaluations()};
       }}};

  for (const Case& c : cases) {
    for (const bool derivatives : {true, false}) {
      SCOPED_TRACE(std::string(c.name) + (derivatives ? ", with derivatives" : ", without"));
      std::vector<Call> calls;
      const Partial& partial = c.partial;
      const int n = c.variables;
      const auto value = [&calls, &partial, n](const mlSlice& x, mlVector& f) {
        calls.push_back({0, {}, CountingFunctionN1::elements(x)});
        partial(x, std::vector<int>(static_cast<std::size_t>(n), 0), f);
      };
      const auto jacobian = [&calls, &partial, n](const mlSlice& x, mlMatrix& J) {
        calls.push_back({-1, {}, CountingFunctionN1::elements(x)});
        for (int col = 0; col < n; ++col) {
          mlVector d;
          partial(x, unit_orders(n, col), d);
          for (int r = 0; r < d.dimension(); ++r)
            J(r, col) = d[r];
        }
      };
      const auto derivative = [&calls, &partial, n](const mlSlice& x, const int* orders,
                                                    mlVector& d) {
        const std::vector<int> o(orders, orders + n);
        calls.push_back({o[0] + o[1], o, CountingFunctionN1::elements(x)});
        partial(x, o, d);
      };
      if (derivatives) {
        const CountingFunctionN hand(
            c.variables, c.dimension,
            [&partial, n](const mlSlice& x, mlVector& f) {
              partial(x, std::vector<int>(static_cast<std::size_t>(n), 0), f);
            },
            partial);
        const std::vector<double> expected = c.solve(hand);
        EXPECT_TRUE(same_results(
            expected,
            c.solve(ml_make_function_n(c.variables, c.dimension, value, jacobian, derivative))));
        EXPECT_EQ(calls, hand.calls);
      } else {
        const ValuesAndJacobian hand(c.variables, c.dimension, partial);
        const std::vector<double> expected = c.solve(hand);
        EXPECT_TRUE(same_results(
            expected, c.solve(ml_make_function_n(c.variables, c.dimension, value, jacobian))));
        EXPECT_EQ(calls, hand.calls);
      }
    }
  }
}

// ---- least squares --------------------------------------------------------------------------

// A model to fit: the distance of point k at the parameters p, and its gradient in p.
struct Model {
  const char* name;
  int parameters, points;
  std::function<double(const mlVector& p, int k)> residual;
  std::function<void(const mlVector& p, int k, mlVector& g)> jacobian;
  std::vector<double> start;
};

// y = a exp(b t) against 20 samples of 2 exp(-0.7 t) with a deterministic wiggle.
Model exponential() {
  std::vector<double> t, y;
  for (int k = 0; k < 20; ++k) {
    t.push_back(0.2 * k);
    y.push_back(2.0 * std::exp(-0.7 * t.back()) + 0.01 * std::sin(3.0 * k));
  }
  return {"exponential",
          2,
          20,
          [t, y](const mlVector& p, int k) { return p[0] * std::exp(p[1] * t[k]) - y[k]; },
          [t](const mlVector& p, int k, mlVector& g) {
            const double e = std::exp(p[1] * t[k]);
            g[0] = e;
            g[1] = p[0] * t[k] * e;
          },
          {1.0, 0.0}};
}

// A circle (cx, cy, r) against 12 points on a third of the circle about (2, -1) of radius 3,
// with radii off by up to 2%.
Model circle() {
  std::vector<double> x, y;
  mlRandom random(12);
  for (int k = 0; k < 12; ++k) {
    const double angle = 0.2 + 0.19 * k, radius = 3.0 * random.uniform(0.98, 1.02);
    x.push_back(2.0 + radius * std::cos(angle));
    y.push_back(-1.0 + radius * std::sin(angle));
  }
  return {"circle",
          3,
          12,
          [x, y](const mlVector& p, int k) { return std::hypot(x[k] - p[0], y[k] - p[1]) - p[2]; },
          [x, y](const mlVector& p, int k, mlVector& g) {
            const double rho = std::hypot(x[k] - p[0], y[k] - p[1]);
            g[0] = -(x[k] - p[0]) / rho;
            g[1] = -(y[k] - p[1]) / rho;
            g[2] = -1.0;
          },
          {1.0, 0.0, 1.0}};
}

// The model as a hand-written problem, with the model's Jacobian or, when step > 0, the forward
// differences (r(p + h e_j) - d) / h with h = step max(|p_j|, 1), written out. Counts the
// residual and Jacobian calls.
class HandWrittenProblem : public mlDistanceLeastSquares {
 public:
  HandWrittenProblem(const Model& model, double step)
      : mlDistanceLeastSquares(model.parameters, model.points), model_(model), step_(step) {}

  void normalise_parameters(mlVector&) override {}
  void distance_and_derivatives(double& d, mlVector& g, int k) override {
    d = residual(parameters_, k);
    if (step_ <= 0.0) {
      ++jacobian_calls;
      model_.jacobian(parameters_, k, g);
      return;
    }
    mlVector shifted(utCopy, parameters_);
    for (int j = 0; j < n_parameters(); ++j) {
      const double h = step_ * std::fmax(std::fabs(parameters_[j]), 1.0);
      shifted[j] = parameters_[j] + h;
      g[j] = (residual(shifted, k) - d) / h;
      shifted[j] = parameters_[j];
    }
  }
  void distance(double& d, int k) override { d = residual(parameters_, k); }

  int residual_calls = 0, jacobian_calls = 0;

 private:
  double residual(const mlVector& p, int k) {
    ++residual_calls;
    return model_.residual(p, k);
  }
  const Model& model_;
  double step_;
};

TEST(mlCallableFunctionLeastSquares, FitsAsAHandWrittenProblemWithAndWithoutAJacobian) {
  const auto fit = [](mlDistanceLeastSquares& problem, const std::vector<double>& start) {
    mlVector result;
    const double mean_square = mlLevenbergMarquardt(problem).fit(vec(start), result);
    std::vector<double> results = values(result);
    results.push_back(mean_square);
    results.push_back(problem.point_distribution_quality(result));
    return results;
  };
  using AnyResidual = std::function<double(const mlVector&, int)>;
  const double default_step = mlCallableLeastSquares<AnyResidual>::default_difference_step;
  for (const Model& model : {exponential(), circle()}) {
    std::vector<double> with_jacobian;
    // Step 0 stands for the Jacobian.
    for (const double step : {0.0, default_step, 1e-6}) {
      SCOPED_TRACE(std::string(model.name) + ", step " + std::to_string(step));
      HandWrittenProblem hand(model, step);
      const std::vector<double> expected = fit(hand, model.start);
      int residual_calls = 0, jacobian_calls = 0;
      const auto residual = [&model, &residual_calls](const mlVector& p, int k) {
        ++residual_calls;
        return model.residual(p, k);
      };
      if (step <= 0.0) {
        auto problem =
            ml_make_least_squares(model.parameters, model.points, residual,
                                  [&model, &jacobian_calls](const mlVector& p, int k, mlVector& g) {
                                    ++jacobian_calls;
                                    model.jacobian(p, k, g);
                                  });
        EXPECT_TRUE(same_results(expected, fit(problem, model.start)));
        with_jacobian = expected;
      } else {
        auto problem = ml_make_least_squares(model.parameters, model.points, residual);
        if (step != default_step) problem.set_difference_step(step);
        EXPECT_TRUE(same_results(expected, fit(problem, model.start)));
        // The differences find the same minimum as the Jacobian.
        for (int j = 0; j < model.parameters; ++j)
          EXPECT_NEAR(expected[j], with_jacobian[j], 1e-6);
      }
      EXPECT_EQ(residual_calls, hand.residual_calls);
      EXPECT_EQ(jacobian_calls, hand.jacobian_calls);
    }
  }
}

TEST(mlCallableFunctionLeastSquares, StepsBySqrtEpsilonTimesTheLargerOfOneAndTheParameter) {
  // The default step is 2^-26, the square root of the machine epsilon, exactly: each shifted
  // parameter below is exact, so its last bit shows.
  using AnyResidual = std::function<double(const mlVector&, int)>;
  using Problem = mlCallableLeastSquares<AnyResidual>;
  const double h = std::ldexp(1.0, -26);
  EXPECT_TRUE(Problem::default_difference_step == h && std::sqrt(DBL_EPSILON) == h);
  std::vector<std::vector<double>> seen;
  const AnyResidual residual = [&seen](const mlVector& p, int) {
    seen.push_back(values(p));
    return p[0] + 3.0 * p[1] - p[2];
  };
  Problem problem(3, 1, residual);
  EXPECT_EQ(problem.difference_step(), h);
  problem.set_parameters(vec({0.0, -4.0, 0.5}));
  double d = 0.0;
  mlVector g(mlVectorDim, 3);
  problem.distance_and_derivatives(d, g, 0);
  // |p_j| = 4 scales its step; 0 and 0.5 take the step itself.
  EXPECT_EQ(
      seen,
      (std::vector<std::vector<double>>{
          {0.0, -4.0, 0.5}, {h, -4.0, 0.5}, {0.0, -4.0 + 4.0 * h, 0.5}, {0.0, -4.0, 0.5 + h}}));
  EXPECT_EQ(values(g), (std::vector<double>{1.0, 3.0, -1.0}));
  // become puts a changed step back to the default.
  problem.set_difference_step(1e-3);
  EXPECT_EQ(problem.become(3, 1, residual).difference_step(), h);
}

// ---- callables by value ---------------------------------------------------------------------

// A functor whose values depend on how often it was called: a copy made per call, or state
// lost between calls, changes every result.
struct Jitter {
  int calls = 0;
  double operator()(double t) {
    ++calls;
    return std::sin(t) + 1e-9 * (calls % 7);
  }
};

TEST(mlCallableFunction, KeepsItsOwnCopyOfTheCallableWithItsState) {
  // A closure that owns its coefficients, given as a temporary: the adapter keeps its own (the
  // sanitized build would catch a dangling one). `become` replaces it by another closure of the
  // same type, although closures cannot be assigned, and declares two derivatives again.
  const auto polynomial = [](std::vector<double> c) {
    return [c = std::move(c)](double t) {
      double s = 0.0;
      for (std::size_t i = c.size(); i-- > 0;)
        s = s * t + c[i];
      return s;
    };
  };
  auto cubic = ml_make_function(polynomial({1.0, -3.0, 0.0, 1.0}));
  int ok = -1;
  const double root = mlRootSolve::regula_falsi(cubic, 0.0, 1.0, 1e-14, ok, 100);
  EXPECT_EQ(ok, 1);
  EXPECT_NEAR(root, 2.0 * std::cos(4.0 * std::atan(1.0) * 4.0 / 9.0), 1e-13);
  cubic.set_max_deriv(0);
  EXPECT_EQ(cubic.become(polynomial({2.0, 1.0})).function(5.0), 7.0);
  EXPECT_EQ(cubic.max_deriv(), 2);

  // The same functor state in a hand-written function (a mutable lambda) and in the adapter.
  const CountingFunction hand([n = 0](double t) mutable {
    ++n;
    return std::sin(t) + 1e-9 * (n % 7);
  });
  const mlCallableFunction jitter{Jitter{}};
  const mlIntegrateRomberg romberg(1e-12, 12);
  const double expected = romberg.integrate(hand, 0.0, 3.0);
  EXPECT_TRUE(same_results({expected}, {romberg.integrate(jitter, 0.0, 3.0)}));
  EXPECT_EQ(jitter.callable().calls, static_cast<int>(hand.calls.size()));

  // A mutable lambda of a vector, through the simplex.
  const int saved_budget = mlDownHillSimplex::m_max;
  mlDownHillSimplex simplex(2);
  const auto stateful = ml_make_function_n1(2, [n = 0](const mlSlice& x) mutable {
    ++n;
    return rosenbrock(x) + 1e-12 * (n % 5);
  });
  const CountingFunctionN1 stateful_hand(2, [n = 0](const mlSlice& x) mutable {
    ++n;
    return rosenbrock(x) + 1e-12 * (n % 5);
  });
  const double lowest = simplex.solve(stateful_hand, vec({-1.2, 1.0}), mlDownHillSimplexFast);
  const int calls = simplex.number_of_calls();
  EXPECT_TRUE(same_results({lowest, 1.0 * calls},
                           {simplex.solve(stateful, vec({-1.2, 1.0}), mlDownHillSimplexFast),
                            1.0 * simplex.number_of_calls()}));
  mlDownHillSimplex::m_max = saved_budget;
}

}  // namespace
