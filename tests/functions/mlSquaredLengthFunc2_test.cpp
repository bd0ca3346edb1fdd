#include "functions/mlSquaredLengthFunc2.h"

#include <gtest/gtest.h>

#include <vector>

#include "support/counting_functions.h"
#include "support/test_support.h"

namespace {

using paskosda_test::Call;
using paskosda_test::CountingFunctionN;
using paskosda_test::vec;

// F(u, v) = (u, v), the identity of the plane.
CountingFunctionN identity() {
  return CountingFunctionN(
      2, 2,
      [](const mlSlice& x, mlVector& f) {
        f[0] = x[0];
        f[1] = x[1];
      },
      [](const mlSlice& x, const std::vector<int>& o, mlVector& d) {
        const double e[3][2] = {{x[0], x[1]}, {1.0, 0.0}, {0.0, 1.0}};
        const int which = o[0] + o[1] == 0 ? 0 : (o[0] + o[1] > 1 ? -1 : (o[0] == 1 ? 1 : 2));
        d[0] = which < 0 ? 0.0 : e[which][0];
        d[1] = which < 0 ? 0.0 : e[which][1];
      });
}

// F(u, v) = (u v, u^2, v + u).
void curved_value(const mlSlice& x, mlVector& f) {
  f[0] = x[0] * x[1];
  f[1] = x[0] * x[0];
  f[2] = x[1] + x[0];
}

void curved_derivative(const mlSlice& x, const std::vector<int>& o, mlVector& d) {
  const double u = x[0], v = x[1];
  const int i = o[0], j = o[1];
  d[0] = (i == 0 && j == 0)   ? u * v
         : (i == 1 && j == 0) ? v
         : (i == 0 && j == 1) ? u
         : (i == 1 && j == 1) ? 1.0
                              : 0.0;
  d[1] = j != 0 ? 0.0 : (i == 0 ? u * u : (i == 1 ? 2.0 * u : (i == 2 ? 2.0 : 0.0)));
  d[2] = (i == 0 && j == 0) ? v + u : ((i + j == 1) ? 1.0 : 0.0);
}

TEST(mlSquaredLengthFunc2, IdentityExamples) {
  const CountingFunctionN F = identity();
  const mlSquaredLengthFunc2 s(&F);
  EXPECT_EQ(s.function(3.0, 4.0), 25.0);
  EXPECT_EQ(s.uv_function_derivative(0, 0, 3.0, 4.0), 25.0);
  EXPECT_EQ(s.uv_function_derivative(1, 0, 3.0, 4.0), 6.0);
  EXPECT_EQ(s.uv_function_derivative(0, 1, 3.0, 4.0), 8.0);
  EXPECT_EQ(s.uv_function_derivative(1, 1, 3.0, 4.0), 0.0);
  EXPECT_EQ(s.uv_function_derivative(2, 0, 3.0, 4.0), 2.0);
  EXPECT_EQ(s.uv_function_derivative(0, 2, 3.0, 4.0), 2.0);
  EXPECT_EQ(s.u_function_derivative(1, 3.0, 4.0), 6.0);
  EXPECT_EQ(s.v_function_derivative(2, 3.0, 4.0), 2.0);
  F.calls.clear();
  for (const auto& o : std::vector<std::vector<int>>{{2, 1}, {1, 2}, {3, 0}, {-1, 0}, {0, -2}})
    EXPECT_EQ(s.uv_function_derivative(o[0], o[1], 3.0, 4.0), 0.0);
  EXPECT_TRUE(F.calls.empty());
}

TEST(mlSquaredLengthFunc2, EvaluatesTheVectorFunctionInTheDocumentedOrder) {
  const CountingFunctionN F(2, 3, curved_value, curved_derivative);
  const mlSquaredLengthFunc2 s(&F);
  const double u = 0.75, v = -1.5;
  const std::vector<double> at = {u, v};
  const auto vector_at = [&](int i, int j) {
    mlVector d(mlVectorDim, 3);
    curved_derivative(vec(at).slice(), {i, j}, d);
    return d;
  };
  const mlVector f = vector_at(0, 0);

  struct Case {
    int i, j;
    std::vector<Call> calls;
    double expected;
  };
  const mlVector fu = vector_at(1, 0), fv = vector_at(0, 1), fuu = vector_at(2, 0),
                 fvv = vector_at(0, 2), fuv = vector_at(1, 1);
  const Case cases[] = {
      {0, 0, {{0, {}, at}}, scalar_product(f, f)},
      {1, 0, {{0, {}, at}, {1, {1, 0}, at}}, 2.0 * scalar_product(fu, f)},
      {0, 1, {{0, {}, at}, {1, {0, 1}, at}}, 2.0 * scalar_product(fv, f)},
      {2,
       0,
       {{2, {2, 0}, at}, {0, {}, at}, {1, {1, 0}, at}},
       2.0 * (scalar_product(fuu, f) + scalar_product(fu, fu))},
      {0,
       2,
       {{2, {0, 2}, at}, {0, {}, at}, {1, {0, 1}, at}},
       2.0 * (scalar_product(fvv, f) + scalar_product(fv, fv))},
      {1,
       1,
       {{2, {1, 1}, at}, {0, {}, at}, {1, {1, 0}, at}, {1, {0, 1}, at}},
       2.0 * (scalar_product(fuv, f) + scalar_product(fu, fv))},
  };
  for (const Case& c : cases) {
    F.calls.clear();
    EXPECT_EQ(s.uv_function_derivative(c.i, c.j, u, v), c.expected) << c.i << c.j;
    EXPECT_EQ(F.calls, c.calls) << c.i << c.j;
  }
  EXPECT_EQ(s.function(u, v), scalar_product(f, f));
}

}  // namespace
