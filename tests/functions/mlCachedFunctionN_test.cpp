#include "functions/mlCachedFunctionN.h"

#include <gtest/gtest.h>

#include <vector>

#include "support/counting_functions.h"
#include "support/test_support.h"

namespace {

using namespace paskosda_test;

// F(x) = (x0 x1, x0 + x1); its partial derivative of orders (i, j) is (100 i + 10 j + x0, x1),
// so a result shows which slot served it.
void value(const mlSlice& x, mlVector& f) { f = vec({x[0] * x[1], x[0] + x[1]}); }
void derivative(const mlSlice& x, const std::vector<int>& o, mlVector& d) {
  d = vec({100.0 * o[0] + 10.0 * o[1] + x[0], x[1]});
}
CountingFunctionN encoded() { return CountingFunctionN(2, 2, value, derivative); }

TEST(mlCachedFunctionN, CallsTheWrappedFunctionOncePerSlotAndArgument) {
  const CountingFunctionN F = encoded();
  mlCachedFunctionN cached(&F);
  const mlVector x = vec({2, 3});
  mlVector f(mlVectorDim, 2), d(mlVectorDim, 2);
  mlMatrix J(2, 2);
  int last[2] = {2, 2};  // the ninth slot
  for (int twice = 0; twice < 2; ++twice) {
    cached.function(x.slice(), f);
    cached.function_gradient(x.slice(), J);
    cached.function_derivative(x.slice(), last, d);
  }
  EXPECT_EQ(values(f), (std::vector<double>{6, 5}));
  EXPECT_EQ(values(J), (std::vector<double>{102, 12, 3, 3}));
  EXPECT_EQ(values(d), (std::vector<double>{222, 3}));
  // The Jacobian comes from the first-derivative slots, never from the wrapped Jacobian.
  const std::vector<Call> calls = {
      {0, {}, {2, 3}}, {1, {1, 0}, {2, 3}}, {1, {0, 1}, {2, 3}}, {4, {2, 2}, {2, 3}}};
  EXPECT_EQ(F.calls, calls);
  int du[2] = {1, 0};
  cached.function_derivative(x.slice(), du, d);
  EXPECT_EQ(values(d), (std::vector<double>{102, 3}));
  EXPECT_EQ(F.calls.size(), 4u);

  // Another argument overwrites the slot; cancel_cache empties them all.
  cached.function(vec({1, 1}).slice(), f);
  cached.function(x.slice(), f);
  cached.cancel_cache();
  cached.function_gradient(x.slice(), J);
  EXPECT_EQ(F.calls.size(), 8u);
  EXPECT_EQ(values(f), (std::vector<double>{6, 5}));

  // Around a function of no variables there is one slot.
  const CountingFunctionN none(0, 1, [](const mlSlice&, mlVector& g) { g[0] = 7.0; });
  cached.become(&none);
  const mlVector empty;
  mlVector seven(mlVectorDim, 1);
  mlMatrix J0(1, 0);
  for (int twice = 0; twice < 2; ++twice)
    cached.function(empty.slice(), seven);
  cached.function_gradient(empty.slice(), J0);
  EXPECT_TRUE(seven[0] == 7.0 && none.calls.size() == 1u);
}

TEST(mlCachedFunctionN, ComparesArgumentsFromTheirStorageBase) {
  // A row that does not begin its storage never matches what it stored: its storage's first
  // elements are compared.
  const CountingFunctionN F = encoded();
  const mlCachedFunctionN cached(&F);
  const mlMatrix m = mat(2, 2, {5, 6, 2, 3});
  mlVector f(mlVectorDim, 2);
  cached.function(m.row(1), f);
  cached.function(m.row(1), f);
  EXPECT_EQ(values(f), (std::vector<double>{6, 5}));
  EXPECT_EQ(F.calls.size(), 2u);
  cached.function(vec({2, 3}).slice(), f);
  EXPECT_EQ(F.calls.size(), 2u);
}

}  // namespace
