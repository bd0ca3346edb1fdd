#include "functions/mlLineOnFunctionN1.h"

#include <gtest/gtest.h>

#include <vector>

#include "support/counting_functions.h"
#include "support/test_support.h"

namespace {

using namespace paskosda_test;

TEST(mlLineOnFunctionN1, EvaluatesAtTTimesDirectionPlusOriginReadAtEveryCall) {
  const CountingFunctionN1 f(3, [](const mlSlice& x) { return x[2]; });
  // The point has the origin's length.
  mlVector origin = vec({0.1, -2.0, 3.0}), direction = vec({0.3, 1.0, -0.7, 9.0});
  mlLineOnFunctionN1 line(origin, direction, &f);
  EXPECT_EQ(line.function(1.7), 1.7 * -0.7 + 3.0);
  origin[0] = 5.0;  // the caller moves the line
  direction[2] = 0.0;
  line.function(2.0);
  line.become(direction, direction, &f);
  line.function(1.0);
  const std::vector<Call> calls = {{0, {}, {1.7 * 0.3 + 0.1, 1.7 * 1.0 + -2.0, 1.7 * -0.7 + 3.0}},
                                   {0, {}, {2.0 * 0.3 + 5.0, 2.0 * 1.0 + -2.0, 3.0}},
                                   {0, {}, {0.6, 2.0, 0.0, 18.0}}};
  EXPECT_EQ(f.calls, calls);
}

}  // namespace
