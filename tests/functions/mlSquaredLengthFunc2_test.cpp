#include "functions/mlSquaredLengthFunc2.h"

#include <gtest/gtest.h>

#include <vector>

#include "support/counting_functions.h"
#include "support/test_support.h"

namespace {

using paskosda_test::Call;

// F(u, v) = (u, v, u v); its partial derivative of orders (i, j) is
// (u + 10 i + j, v - i + 100 j, u v + i j), which tells the orders apart.
void value(const mlSlice& x, mlVector& f) {
  f[0] = x[0];
  f[1] = x[1];
  f[2] = x[0] * x[1];
}

void derivative(const mlSlice& x, const std::vector<int>& o, mlVector& d) {
  d[0] = x[0] + 10 * o[0] + o[1];
  d[1] = x[1] - o[0] + 100 * o[1];
  d[2] = x[0] * x[1] + o[0] * o[1];
}

TEST(mlSquaredLengthFunc2, CombinesThePartialDerivativesEvaluatedInTheDocumentedOrder) {
  const paskosda_test::CountingFunctionN F(2, 3, value, derivative);
  const mlSquaredLengthFunc2 s(&F);
  const std::vector<double> at = {0.75, -1.5};
  const auto D = [&](int i, int j) {
    mlVector d(mlVectorDim, 3);
    derivative(paskosda_test::vec(at).slice(), {i, j}, d);
    return d;
  };
  const mlVector f = D(0, 0), fu = D(1, 0), fv = D(0, 1), fuu = D(2, 0), fvv = D(0, 2),
                 fuv = D(1, 1);
  const Call F0{0, {}, at}, Fu{1, {1, 0}, at}, Fv{1, {0, 1}, at};
  struct Case {
    int i, j;
    std::vector<Call> calls;
    double expected;
  };
  const Case cases[] = {
      {0, 0, {F0}, scalar_product(f, f)},
      {1, 0, {F0, Fu}, 2.0 * scalar_product(fu, f)},
      {0, 1, {F0, Fv}, 2.0 * scalar_product(fv, f)},
      {2, 0, {{2, {2, 0}, at}, F0, Fu}, 2.0 * (scalar_product(fuu, f) + scalar_product(fu, fu))},
      {0, 2, {{2, {0, 2}, at}, F0, Fv}, 2.0 * (scalar_product(fvv, f) + scalar_product(fv, fv))},
      {1,
       1,
       {{2, {1, 1}, at}, F0, Fu, Fv},
       2.0 * (scalar_product(fuv, f) + scalar_product(fu, fv))},
      // Every other pair is 0.0 without evaluating F.
      {2, 1, {}, 0.0},
      {3, 0, {}, 0.0},
      {-1, 0, {}, 0.0},
  };
  for (const Case& c : cases) {
    F.calls.clear();
    EXPECT_EQ(s.uv_function_derivative(c.i, c.j, at[0], at[1]), c.expected) << c.i << c.j;
    EXPECT_EQ(F.calls, c.calls) << c.i << c.j;
  }
  EXPECT_EQ(s.function(at[0], at[1]), scalar_product(f, f));
}

}  // namespace
