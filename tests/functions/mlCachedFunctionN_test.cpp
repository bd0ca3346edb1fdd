#include "functions/mlCachedFunctionN.h"

#include <gtest/gtest.h>

#include <vector>

#include "support/counting_functions.h"
#include "support/test_support.h"

namespace {

using paskosda_test::Call;
using paskosda_test::CountingFunctionN;
using paskosda_test::values;
using paskosda_test::vec;

// F(x0, x1) = (x0^2 x1, x0 + x1^3), with every partial derivative up to order 2 in each
// variable.
CountingFunctionN surface() {
  return CountingFunctionN(
      2, 2,
      [](const mlSlice& x, mlVector& f) {
        f[0] = x[0] * x[0] * x[1];
        f[1] = x[0] + x[1] * x[1] * x[1];
      },
      [](const mlSlice& x, const std::vector<int>& o, mlVector& d) {
        // Derivatives of x0^2 (orders 0, 1, 2) and of x1^3.
        const double p0[3] = {x[0] * x[0], 2.0 * x[0], 2.0};
        const double q1[3] = {x[1] * x[1] * x[1], 3.0 * x[1] * x[1], 6.0 * x[1]};
        const double x1[3] = {x[1], 1.0, 0.0};
        d[0] = p0[o[0]] * x1[o[1]];
        d[1] = (o[1] == 0 ? (o[0] == 0 ? x[0] : (o[0] == 1 ? 1.0 : 0.0)) : 0.0) +
               (o[0] == 0 ? q1[o[1]] : 0.0);
      });
}

TEST(mlCachedFunctionN, CallsTheWrappedFunctionOncePerSlotAndArgument) {
  const CountingFunctionN F = surface();
  const mlCachedFunctionN cached(&F);
  EXPECT_EQ(cached.variables(), 2);
  EXPECT_EQ(cached.dimension(), 2);

  const mlVector x = vec({2, 3});
  mlVector f(mlVectorDim, 2);
  cached.function(x.slice(), f);
  EXPECT_EQ(values(f), (std::vector<double>{12, 29}));
  cached.function(x.slice(), f);
  EXPECT_EQ(F.calls.size(), 1u);

  // The Jacobian comes from slots 1 and 3, never from the wrapped Jacobian.
  mlMatrix J(2, 2);
  cached.function_gradient(x.slice(), J);
  EXPECT_EQ(values(J), (std::vector<double>{12, 4, 1, 27}));
  const std::vector<Call> expected = {{0, {}, {2, 3}}, {1, {1, 0}, {2, 3}}, {1, {0, 1}, {2, 3}}};
  EXPECT_EQ(F.calls, expected);

  // The same slots serve single derivatives and the next Jacobian.
  int du[2] = {1, 0};
  mlVector d(mlVectorDim, 2);
  cached.function_derivative(x.slice(), du, d);
  EXPECT_EQ(values(d), (std::vector<double>{12, 1}));
  cached.function_gradient(x.slice(), J);
  EXPECT_EQ(F.calls.size(), 3u);

  // All nine slots exist: (2, 2) is the last.
  int both2[2] = {2, 2};
  cached.function_derivative(x.slice(), both2, d);
  EXPECT_EQ(values(d), (std::vector<double>{0, 0}));
  int mixed[2] = {2, 1};
  cached.function_derivative(x.slice(), mixed, d);
  EXPECT_EQ(values(d), (std::vector<double>{2, 0}));
  cached.function_derivative(x.slice(), mixed, d);
  EXPECT_EQ(F.calls.size(), 5u);

  // Another argument misses and overwrites; the first misses again afterwards.
  const mlVector y = vec({1, 1});
  cached.function(y.slice(), f);
  EXPECT_EQ(values(f), (std::vector<double>{1, 2}));
  cached.function(x.slice(), f);
  EXPECT_EQ(values(f), (std::vector<double>{12, 29}));
  EXPECT_EQ(F.calls.size(), 7u);

  // After cancel_cache nothing is found.
  cached.cancel_cache();
  cached.function(x.slice(), f);
  cached.function_gradient(x.slice(), J);
  EXPECT_EQ(F.calls.size(), 10u);
  EXPECT_EQ(values(J), (std::vector<double>{12, 4, 1, 27}));
}

TEST(mlCachedFunctionN, AFunctionOfNoVariablesHasOneSlot) {
  const CountingFunctionN F(0, 1, [](const mlSlice&, mlVector& f) { f[0] = 7.0; });
  const mlCachedFunctionN cached(&F);
  mlVector f(mlVectorDim, 1);
  const mlVector none;
  cached.function(none.slice(), f);
  cached.function(none.slice(), f);
  EXPECT_EQ(f[0], 7.0);
  EXPECT_EQ(F.calls.size(), 1u);

  mlMatrix J(1, 0);
  cached.function_gradient(none.slice(), J);
  EXPECT_EQ(F.calls.size(), 1u);

  cached.cancel_cache();
  cached.function(none.slice(), f);
  EXPECT_EQ(F.calls.size(), 2u);
}

TEST(mlCachedFunctionN, BecomeWrapsAnotherFunction) {
  const CountingFunctionN F = surface();
  const CountingFunctionN G(3, 1, [](const mlSlice& x, mlVector& f) { f[0] = x[0] + x[1] + x[2]; });
  mlCachedFunctionN cached(&F);
  mlVector f(mlVectorDim, 2);
  cached.function(vec({2, 3}).slice(), f);

  cached.become(&G);
  EXPECT_EQ(cached.variables(), 3);
  EXPECT_EQ(cached.dimension(), 1);
  mlVector g(mlVectorDim, 1);
  const mlVector x = vec({1, 2, 4});
  cached.function(x.slice(), g);
  cached.function(x.slice(), g);
  EXPECT_EQ(g[0], 7.0);
  EXPECT_EQ(G.calls.size(), 1u);
  // 27 slots: orders (2, 2, 2) address the last.
  int orders[3] = {2, 2, 2};
  mlVector d(mlVectorDim, 1);
  cached.function_derivative(x.slice(), orders, d);
  EXPECT_EQ(G.calls.size(), 2u);
}

TEST(mlCachedFunctionN, ComparesArgumentsFromTheirStorageBase) {
  // Slice equality compares the first `variables` doubles of the storage, whatever the
  // slice's start: a row that does not begin the storage never matches what it stored.
  const CountingFunctionN F = surface();
  const mlCachedFunctionN cached(&F);
  const mlMatrix m = paskosda_test::mat(2, 2, {5, 6, 2, 3});
  mlVector f(mlVectorDim, 2);
  cached.function(m.row(1), f);
  EXPECT_EQ(values(f), (std::vector<double>{12, 29}));
  cached.function(m.row(1), f);
  EXPECT_EQ(F.calls.size(), 2u);
  cached.function(vec({2, 3}).slice(), f);
  EXPECT_EQ(F.calls.size(), 2u);
}

}  // namespace
