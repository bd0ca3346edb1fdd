#include "functions/mlLineOnFunction2.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <type_traits>
#include <vector>

#include "containers/utMath.h"
#include "support/counting_functions.h"

namespace {

using paskosda_test::Call;
using paskosda_test::CountingFunction2;

static_assert(!std::is_copy_constructible<mlLineOnFunction2>::value, "copies are protected");
static_assert(!std::is_copy_assignable<mlLineOnFunction2>::value, "copies are protected");

// A derived class may copy.
class CopyableLine : public mlLineOnFunction2 {
 public:
  using mlLineOnFunction2::mlLineOnFunction2;
  CopyableLine(const CopyableLine&) = default;
};

double plane(double u, double v) { return 2.0 * u + 3.0 * v; }

TEST(mlLineOnFunction2, EvaluatesAtTheClampedPointOfTheLine) {
  // Window u in [-1, 2], v in [0, 1]; direction first, then the origin.
  const CountingFunction2 f(plane, nullptr, {-1.0, 2.0, 0.0, 1.0});
  const mlLineOnFunction2 line(0.5, -0.25, 0.125, 0.75, &f);
  EXPECT_EQ(line.max_deriv(), 2);
  EXPECT_EQ(line.function(1.0), plane(0.625, 0.5));
  EXPECT_EQ(line.function(10.0), plane(2.0, 0.0));    // both clamped
  EXPECT_EQ(line.function(-10.0), plane(-1.0, 1.0));  // both clamped at the other ends
  const std::vector<Call> expected = {
      {-1, {}, {0.625, 0.5}}, {-1, {}, {2.0, 0.0}}, {-1, {}, {-1.0, 1.0}}};
  EXPECT_EQ(f.calls, expected);

  const CopyableLine copy(0.5, -0.25, 0.125, 0.75, &f);
  const CopyableLine twin(copy);
  EXPECT_EQ(twin.function(1.0), plane(0.625, 0.5));
}

TEST(mlLineOnFunction2, LimitsAreTheParametersInsideTheWindow) {
  const double M = DBL_MAX;
  struct Case {
    double du, dv, u0, v0;
    std::vector<double> window;  // u_min, u_max, v_min, v_max
    double t_lo, t_hi;
  };
  const Case cases[] = {
      {0, 0, 5, 5, {-1, 2, -1, 2}, -M, M},      // no direction: unbounded
      {1, 0, 0, 0, {-1, 2, -M, M}, -1, 2},      // along u
      {-2, 0, 0, 0, {-1, 2, -M, M}, -1, 0.5},   // backwards along u
      {0, 0.5, 0, 1, {-M, M, 0, 3}, -2, 4},     // along v
      {0, -0.5, 0, 1, {-M, M, 0, 3}, -4, 2},    // backwards along v
      {0, 1, 0, 0, {-M, M, -M, M}, -M, M},      // an unbounded window
      {0, -1, 0, 0, {-M, M, 0, M}, -M, 0},      // unbounded above, going down
      {1, 1, 0, 0, {-1, 2, -3, 0.5}, -1, 0.5},  // the tighter of the two
      {1, -1, 0, 0, {0, 4, -2, 1}, 0, 2},       // u bounds below, v above
      {1, 1, 10, 0, {-1, 2, -1, 2}, -1, -8},    // the line misses: empty
      {1, 0, 0, 7, {-1, 2, -1, 2}, -1, 2},      // v outside, dv 0: not examined
  };
  for (const Case& c : cases) {
    const CountingFunction2 f(plane, nullptr, c.window);
    const mlLineOnFunction2 line(c.du, c.dv, c.u0, c.v0, &f);
    EXPECT_EQ(line.t_min(), c.t_lo) << c.du << " " << c.dv;
    EXPECT_EQ(line.t_max(), c.t_hi) << c.du << " " << c.dv;
  }
}

TEST(mlLineOnFunction2, SetWindowReplacesTheWindowAndItsLimits) {
  const CountingFunction2 f(plane);
  mlLineOnFunction2 line(1.0, 0.0, 0.0, 0.0, &f);
  EXPECT_EQ(line.t_max(), DBL_MAX);
  line.set_window(-1.0, 2.0, -5.0, 5.0);
  EXPECT_EQ(line.t_min(), -1.0);
  EXPECT_EQ(line.t_max(), 2.0);
  EXPECT_EQ(line.function(3.0), plane(2.0, 0.0));
  line.set_window(-4.0, 8.0, -5.0, 5.0);
  EXPECT_EQ(line.t_max(), 8.0);

  // become takes the new function's window and max_deriv.
  CountingFunction2 g(plane, nullptr, {0.0, 1.0, 0.0, 1.0});
  g.set_max_deriv(1);
  line.become(0.0, 1.0, 0.5, 0.5, &g);
  EXPECT_EQ(line.t_min(), -0.5);
  EXPECT_EQ(line.t_max(), 0.5);
  EXPECT_EQ(line.max_deriv(), 1);
}

TEST(mlLineOnFunction2, DerivativeIsTheBinomialSumOfPartialDerivatives) {
  // f's mixed derivative of orders (i, j) is a value that identifies the pair.
  const auto d = [](int i, int j, double u, double v) { return 1.0 + i * 0.5 + j * 0.25 + u * v; };
  const CountingFunction2 f(plane, d);

  const double du = 1.5, dv = -0.75, u0 = 0.25, v0 = 2.0, t = 0.5;
  const mlLineOnFunction2 line(du, dv, u0, v0, &f);
  const double u = t * du + u0, v = t * dv + v0;
  for (int n = 0; n <= 4; ++n) {
    f.calls.clear();
    double expected = 0.0;
    std::vector<Call> expected_calls;
    for (int i = 0; i <= n; ++i) {
      expected += ((utMath::n_choose_i(n, i) * utMath::pow(du, i)) * utMath::pow(dv, n - i)) *
                  d(i, n - i, u, v);
      expected_calls.push_back({n, {i, n - i}, {u, v}});
    }
    EXPECT_EQ(line.function_derivative(n, t), expected) << n;
    EXPECT_EQ(f.calls, expected_calls) << n;
  }

  // Negative orders give 0 without calls.
  f.calls.clear();
  EXPECT_EQ(line.function_derivative(-1, t), 0.0);
  EXPECT_TRUE(f.calls.empty());

  // Along u only the pure u derivative is asked for.
  const mlLineOnFunction2 along_u(2.0, 0.0, 0.0, 1.0, &f);
  EXPECT_EQ(along_u.function_derivative(2, 0.25), 4.0 * d(2, 0, 0.5, 1.0));
  ASSERT_EQ(f.calls.size(), 1u);
  EXPECT_EQ(f.calls[0].orders, (std::vector<int>{2, 0}));

  // A product that underflows to zero is skipped too.
  f.calls.clear();
  const mlLineOnFunction2 tiny(1e-200, 1e-200, 0.0, 0.0, &f);
  EXPECT_EQ(tiny.function_derivative(2, 0.0), 0.0);
  EXPECT_TRUE(f.calls.empty());

  // Without analytic derivatives the sentinel enters the sum.
  const CountingFunction2 plain(plane);
  const mlLineOnFunction2 no_derivatives(1.0, 1.0, 0.0, 0.0, &plain);
  EXPECT_EQ(no_derivatives.function_derivative(1, 0.0), -666.0 + -666.0);
}

}  // namespace
