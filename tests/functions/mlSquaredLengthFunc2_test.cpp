#include "functions/mlSquaredLengthFunc2.h"

#include <gtest/gtest.h>

#include <vector>

#include "support/counting_functions.h"
#include "support/test_support.h"

namespace {

using namespace paskosda_test;

// F(u, v) = (u, v, u v); its partial derivative of orders (i, j) is
// (u + 10 i + j, v - i + 100 j, u v + i j), which tells the orders apart.
mlVector partial(double u, double v, int i, int j) {
  return vec({u + 10 * i + j, v - i + 100 * j, u * v + i * j});
}
void value(const mlSlice& x, mlVector& f) { f = vec({x[0], x[1], x[0] * x[1]}); }
void derivative(const mlSlice& x, const std::vector<int>& o, mlVector& d) {
  d = partial(x[0], x[1], o[0], o[1]);
}

TEST(mlSquaredLengthFunc2, CombinesThePartialDerivativesEvaluatedInTheDocumentedOrder) {
  const CountingFunctionN F(2, 3, value, derivative);
  const mlSquaredLengthFunc2 s(&F);
  const double u = 0.75, v = -1.5;
  const std::vector<double> at = {u, v};
  const mlVector f = partial(u, v, 0, 0), fu = partial(u, v, 1, 0), fv = partial(u, v, 0, 1),
                 fvv = partial(u, v, 0, 2), fuv = partial(u, v, 1, 1);
  const Call F0{0, {}, at}, Fu{1, {1, 0}, at}, Fv{1, {0, 1}, at}, Fvv{2, {0, 2}, at};
  struct Case {
    int i, j;
    std::vector<Call> calls;
    double expected;
  };
  const Case cases[] = {
      {0, 0, {F0}, scalar_product(f, f)},
      {1, 0, {F0, Fu}, 2.0 * scalar_product(fu, f)},
      // The second derivative first, then F and the first derivatives.
      {0, 2, {Fvv, F0, Fv}, 2.0 * (scalar_product(fvv, f) + scalar_product(fv, fv))},
      {1,
       1,
       {{2, {1, 1}, at}, F0, Fu, Fv},
       2.0 * (scalar_product(fuv, f) + scalar_product(fu, fv))},
      // Every other pair is 0.0 without evaluating F.
      {2, 1, {}, 0.0},
  };
  for (const Case& c : cases) {
    F.calls.clear();
    EXPECT_EQ(s.uv_function_derivative(c.i, c.j, u, v), c.expected) << c.i << c.j;
    EXPECT_EQ(F.calls, c.calls) << c.i << c.j;
  }
  EXPECT_EQ(s.function(u, v), scalar_product(f, f));
}

}  // namespace
