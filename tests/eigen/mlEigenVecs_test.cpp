#include "eigen/mlEigenVecs.h"

#include <gtest/gtest.h>

#include <type_traits>
#include <vector>

#include "eigen/mlSymEigenVecs.h"
#include "support/test_support.h"

namespace {

using paskosda_test::mat;
using paskosda_test::values;
using paskosda_test::vec;

static_assert(mlEigenVecsNotCalculated == 0 && mlEigenVecsFailed == 1 && mlEigenVecsOk == 2);
static_assert(!std::is_polymorphic_v<mlEigenVecs>);
static_assert(!std::is_constructible_v<mlSymEigenVecs, mlMatrix>,
              "a temporary input would dangle before calculate");

TEST(EigenVecs, ComparesNumbersStrictlyWithinTheTolerance) {
  struct Case {
    double a, b, tol;
    int expected;
  };
  const Case cases[] = {
      {1.0, 1.25, 0.5, 1},  {1.0, 1.5, 0.5, 0},    {1.5, 1.0, 0.5, 0},
      {-2.0, -2.0, 0.0, 0}, {3.0, 3.0, 1e-300, 1},
  };
  for (const Case& c : cases)
    EXPECT_EQ(mlEigenVecs::equals(c.a, c.b, c.tol), c.expected) << c.a << " " << c.b;
}

TEST(EigenVecs, TakesParallelAndAntiParallelUnitVectorsAsEqual) {
  const mlVector u = vec({0.6, 0.8, 0.0});
  const mlVector same = vec({0.6, 0.8, 0.0});
  const mlVector opposite = vec({-0.6, -0.8, 0.0});
  const mlVector across = vec({0.8, -0.6, 0.0});
  EXPECT_EQ(mlEigenVecs::equals(u.slice(), same.slice(), 1e-12), 1);
  EXPECT_EQ(mlEigenVecs::equals(u.slice(), opposite.slice(), 1e-12), 1);
  EXPECT_EQ(mlEigenVecs::equals(u.slice(), across.slice(), 1e-12), 0);
  // Only the scalar product is compared with +-1: a longer parallel vector is not equal.
  const mlVector longer = vec({1.2, 1.6, 0.0});
  EXPECT_EQ(mlEigenVecs::equals(u.slice(), longer.slice(), 1e-12), 0);
}

TEST(EigenVecs, ReadsOutValuesAndColumnViews) {
  const mlMatrix a = mat(3, 3, {1, 0, 0, 0, -3, 0, 0, 0, 2});
  mlSymEigenVecs e(a);
  e.calculate();

  // A column view aliases the vector matrix: start at the column, stride the column count.
  mlSlice column = e.eigen_vector(1);
  EXPECT_EQ(column.dimension(), 3);
  EXPECT_EQ(&column[0], e.eigen_vectors().data() + 1);
  EXPECT_EQ(&column[2], e.eigen_vectors().data() + 7);

  // The vector copy grows a shorter vector and keeps the tail of a longer one.
  mlVector shorter;
  e.eigen_values(shorter);
  EXPECT_EQ(values(shorter), (std::vector<double>{-3, 2, 1}));
  mlVector longer = vec({9, 9, 9, 9, 9});
  e.eigen_values(longer);
  EXPECT_EQ(values(longer), (std::vector<double>{-3, 2, 1, 9, 9}));
}

}  // namespace
