#include "functions/mlLineOnFunctionN1.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <vector>

#include "support/counting_functions.h"
#include "support/test_support.h"

namespace {

using paskosda_test::Call;
using paskosda_test::CountingFunctionN1;
using paskosda_test::vec;

double sum_of_squares(const mlSlice& x) {
  double s = 0.0;
  for (int i = 0; i < x.dimension(); ++i)
    s += x[i] * x[i];
  return s;
}

TEST(mlLineOnFunctionN1, EvaluatesAtOriginPlusTTimesDirectionReadAtEveryCall) {
  const CountingFunctionN1 f(3, sum_of_squares);
  mlVector origin = vec({0.1, -2.0, 3.0});
  mlVector direction = vec({0.3, 1.0, -0.7});
  const mlLineOnFunctionN1 line(origin, direction, &f);

  const double t = 1.7;
  const std::vector<double> p = {t * 0.3 + 0.1, t * 1.0 + -2.0, t * -0.7 + 3.0};
  EXPECT_EQ(line.function(t), sum_of_squares(vec(p).slice()));

  // The caller moves the line by changing its vectors.
  origin[0] = 5.0;
  direction[2] = 0.0;
  EXPECT_EQ(line.function(2.0), sum_of_squares(vec({2.0 * 0.3 + 5.0, 0.0, 3.0}).slice()));

  const std::vector<Call> expected = {{0, {}, p}, {0, {}, {2.0 * 0.3 + 5.0, 0.0, 3.0}}};
  EXPECT_EQ(f.calls, expected);

  // Derivatives and domain are the interface's defaults.
  EXPECT_EQ(line.function_derivative(1, t), -666.0);
  EXPECT_EQ(line.t_min(), -DBL_MAX);
  EXPECT_EQ(line.t_max(), DBL_MAX);
}

TEST(mlLineOnFunctionN1, ThePointKeepsTheOriginsLengthAtConstruction) {
  const CountingFunctionN1 f(2, sum_of_squares);
  mlVector origin = vec({1.0, 2.0});
  const mlVector direction = vec({1.0, 1.0, 1.0});
  mlLineOnFunctionN1 line(origin, direction, &f);
  EXPECT_EQ(line.function(1.0), 4.0 + 9.0);

  const mlVector longer = vec({0.0, 0.0, 1.0});
  line.become(longer, direction, &f);
  EXPECT_EQ(line.function(1.0), 1.0 + 1.0 + 4.0);
  ASSERT_EQ(f.calls.size(), 2u);
  EXPECT_EQ(f.calls[1].at.size(), 3u);
}

}  // namespace
