#include "linalg/mlTinyVector.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <sstream>

#include "support/test_support.h"

namespace {

using paskosda_test::mat;

// The members behave the same for every size: exercise them for each N.
template <class T>
class mlTinyVectorFamily : public ::testing::Test {};
using Sizes =
    ::testing::Types<mlTinyVector2, mlTinyVector3, mlTinyVector4, mlTinyVector5, mlTinyVector6>;
TYPED_TEST_SUITE(mlTinyVectorFamily, Sizes);

TYPED_TEST(mlTinyVectorFamily, ArithmeticIsPerComponent) {
  using V = TypeParam;
  constexpr int n = V::dimension();
  double p[n], q[n];
  for (int i = 0; i < n; ++i) {
    p[i] = 1.5 * i - 2;
    q[i] = 0.25 * i + 1;
  }
  V a(utConvert, p), b(utConvert, q);
  V sum(mlVectorAdd, a, b), diff(mlVectorSubtract, a, b), scaled(utCopy, a);
  scaled.add_multiple(3.0, b);
  V divided(utCopy, a);
  divided /= 3.0;  // by the reciprocal, computed once
  V lerp;
  lerp.interpolate(a, b, 0.3);
  for (int i = 0; i < n; ++i) {
    EXPECT_EQ(sum[i], p[i] + q[i]);
    EXPECT_EQ(diff[i], p[i] - q[i]);
    EXPECT_EQ(scaled[i], p[i] + 3.0 * q[i]);
    EXPECT_EQ(divided[i], p[i] * (1.0 / 3.0));
    EXPECT_EQ(lerp[i], (1.0 - 0.3) * p[i] + 0.3 * q[i]);
  }
  V endpoint;
  endpoint.interpolate(a, b, 0.0);
  EXPECT_EQ(endpoint == a, 1);

  double dot = 0.0, dist = 0.0, sq = 0.0, s = 0.0;
  for (int i = 0; i < n; ++i) {
    dot += p[i] * q[i];
    dist += (p[i] - q[i]) * (p[i] - q[i]);
    sq += p[i] * p[i];
    s += p[i];
  }
  EXPECT_EQ(scalar_product(a, b), dot);
  EXPECT_EQ(distance_squared(a, b), dist);
  EXPECT_EQ(a.modulus_squared(), sq);
  EXPECT_EQ(a.modulus(), std::sqrt(sq));
  EXPECT_EQ(a.sum(), s);
  EXPECT_EQ(a.max_absolute_value(), 2.0 > 1.5 * (n - 1) - 2 ? 2.0 : 1.5 * (n - 1) - 2);
  EXPECT_EQ(norm_diff(a, a), 0.0);

  V c(utCopy, a);
  c += 1.0;
  c -= b;
  c *= 2.0;
  c -= 1.0;
  c += b;
  for (int i = 0; i < n; ++i)
    EXPECT_EQ(c[i], (p[i] + 1.0 - q[i]) * 2.0 - 1.0 + q[i]);

  // From slices, read with their stride.
  mlVector storage(mlVectorZero, 2 * n);
  for (int i = 0; i < n; ++i)
    storage[2 * i] = q[i];
  V from_slice(mlVectorZero);
  from_slice = storage.slice(0, 2, n);
  EXPECT_EQ(from_slice == b, 1);
  from_slice += storage.slice(0, 2, n);
  from_slice -= storage.slice(0, 2, n);
  EXPECT_EQ(from_slice == b, 1);
  EXPECT_EQ(a.slice().dimension(), n);
  EXPECT_EQ(a.slice(1, 1, n - 1)[0], p[1]);

  // A diagonal matrix times the vector.
  mlMatrix m(mlMatrixZero, n, n);
  for (int i = 0; i < n; ++i)
    m(i, i) = i + 1;
  V w(mlMatrixProduct, m, a);
  for (int i = 0; i < n; ++i)
    EXPECT_EQ(w[i], (i + 1) * p[i]);
}

TYPED_TEST(mlTinyVectorFamily, DivisionByZeroGoesThroughTheReciprocal) {
  using V = TypeParam;
  V v(mlVectorZero);
  v[0] = 1.0;
  v[1] = -2.0;
  v /= 0.0;
  EXPECT_EQ(v[0], std::numeric_limits<double>::infinity());
  EXPECT_EQ(v[1], -std::numeric_limits<double>::infinity());
  if (V::dimension() > 2) {
    EXPECT_TRUE(std::isnan(v[2]));  // 0 * inf
  }
}

TEST(mlTinyVector3, CrossAndTripleProducts) {
  const mlTinyVector3 x(1, 0, 0), y(0, 1, 0), z(0, 0, 1);
  mlTinyVector3 c;
  c.vector_product(x, y);
  EXPECT_EQ(c == z, 1);
  EXPECT_EQ(scalar_triple_product(x, y, z), 1.0);
  EXPECT_EQ(scalar_triple_product(y, x, z), -1.0);
  const mlTinyVector3 a(0.1, 0.7, -0.3), b(2.5, -1.25, 0.2), d(-1, 3, 0.5);
  c.vector_product(a, b);
  EXPECT_EQ(c[0], 0.7 * 0.2 - -0.3 * -1.25);
  EXPECT_EQ(c[1], -0.3 * 2.5 - 0.1 * 0.2);
  EXPECT_EQ(c[2], 0.1 * -1.25 - 0.7 * 2.5);
  EXPECT_EQ(scalar_triple_product(a, b, d), c[0] * -1 + c[1] * 3 + c[2] * 0.5);
}

TEST(mlTinyVector3, PrintsAloneAndInArrays) {
  std::ostringstream os;
  os << mlTinyVector3(1, 2.5, -3);
  EXPECT_EQ(os.str(), "<1,2.5,-3>");

  mlTinyVector2coDynArr points;
  points.append(mlTinyVector2(1, 2));
  points.append(mlTinyVector2(3, 4));
  std::ostringstream array_out;
  array_out << points;
  EXPECT_EQ(array_out.str(), "coDynArr {\n  size 2\n  <1,2>\n  <3,4>\n}\n");

  mlTinyVector6coPageArr paged;
  paged[0].become(mlVectorZero);
  std::ostringstream paged_out;
  paged_out << paged;
  EXPECT_EQ(paged_out.str(), "coPageArr {\n  size 1\n  <0,0,0,0,0,0>\n}\n");
}

TEST(mlTinyVector3, ProductWithASmallerMatrixTouchesOnlyItsRows) {
  const mlMatrix m = mat(2, 3, {1, 2, 3, 4, 5, 6});
  mlTinyVector3 w(9, 9, 9);
  multiply(m, mlTinyVector3(1, 1, 1), w);
  EXPECT_EQ(w == mlTinyVector3(6, 15, 9), 1);
}

}  // namespace
