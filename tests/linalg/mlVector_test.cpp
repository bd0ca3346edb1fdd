#include "linalg/mlVector.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <iomanip>
#include <sstream>
#include <vector>

#include "linalg/mlMatrix.h"
#include "support/test_support.h"

namespace {

using paskosda_test::values;
using paskosda_test::vec;

TEST(mlVector, BecomeZeroKeepsALongerDimensionButBecomeDimDoesNot) {
  mlVector v = vec({1, 2, 3, 4, 5});
  v.become(mlVectorZero, 3);
  EXPECT_EQ(values(v), std::vector<double>(5, 0.0));
  v.become(mlVectorDim, 3);
  EXPECT_EQ(v.dimension(), 3);
  v.become(mlVectorZero, 4);
  EXPECT_EQ(values(v), std::vector<double>(4, 0.0));

  mlVector zero(mlVectorZero, 2);
  EXPECT_EQ(values(zero), (std::vector<double>{0, 0}));
  mlVector unset(mlVectorDim, 6);
  EXPECT_EQ(unset.dimension(), 6);

  // utConvert expands without clearing first: a longer vector keeps its tail.
  const double p[2] = {7, 8};
  mlVector longer = vec({1, 2, 3});
  longer.become(utConvert, p, 2);
  EXPECT_EQ(values(longer), (std::vector<double>{7, 8, 3}));
}

TEST(mlVector, AssignmentCopiesOnlyThisVectorsDimension) {
  mlVector short_one = vec({0, 0});
  short_one = vec({1, 2, 3});
  EXPECT_EQ(values(short_one), (std::vector<double>{1, 2}));

  mlVector copy(utCopy, vec({4, 5, 6}));
  EXPECT_EQ(values(copy), (std::vector<double>{4, 5, 6}));
  copy.become(utCopy, vec({9}));
  EXPECT_EQ(values(copy), (std::vector<double>{9}));

  const mlVector base = vec({1, 2, 3, 4, 5, 6});
  mlVector every_other(utCopy, base.slice(1, 2, 3));
  EXPECT_EQ(values(every_other), (std::vector<double>{2, 4, 6}));
  every_other.become(utCopy, base.slice(5, -1, 2));
  EXPECT_EQ(values(every_other), (std::vector<double>{6, 5}));
  every_other = base.slice(0, 3, 2);
  EXPECT_EQ(values(every_other), (std::vector<double>{1, 4}));
}

TEST(mlVector, ElementwiseArithmetic) {
  mlVector v = vec({1, 2, 4});
  v += 1.0;
  v *= 3.0;
  v -= 0.5;
  EXPECT_EQ(values(v), (std::vector<double>{5.5, 8.5, 14.5}));
  v /= 3.0;  // a true division, not a multiplication by 1/3
  EXPECT_EQ(values(v), (std::vector<double>{5.5 / 3.0, 8.5 / 3.0, 14.5 / 3.0}));

  mlVector w = vec({1, 1, 1});
  w += vec({1, 2, 3});
  w -= vec({0.5, 0.5, 0.5, 99});
  EXPECT_EQ(values(w), (std::vector<double>{1.5, 2.5, 3.5}));
  const mlVector strided = vec({10, 0, 20, 0, 30});
  w += strided.slice(0, 2, 3);
  w -= strided.slice(0, 2, 3);
  EXPECT_EQ(values(w), (std::vector<double>{1.5, 2.5, 3.5}));

  mlVector d = vec({1, 2, 3, 4});
  d.delete_element(1);
  EXPECT_EQ(values(d), (std::vector<double>{1, 3, 4}));
  d.delete_element(2);
  EXPECT_EQ(values(d), (std::vector<double>{1, 3}));

  v[5] = 1.0;  // growing access extends the vector
  EXPECT_EQ(v.dimension(), 6);
}

TEST(mlVector, ReductionsFollowIndexOrder) {
  mlRandom random(5);
  for (int n : {0, 1, 7, 100}) {
    std::vector<double> a(n), b(n);
    for (int i = 0; i < n; ++i) {
      a[i] = random.uniform(-1e3, 1e3) * std::pow(10.0, random.integer(10) - 5);
      b[i] = random.uniform(-1.0, 1.0);
    }
    const mlVector va = vec(a), vb = vec(b);
    double dot = 0.0, dist = 0.0, sum = 0.0, mx = -DBL_MAX, nd = -DBL_MAX;
    for (int i = 0; i < n; ++i) {
      dot += a[i] * b[i];
      dist += (a[i] - b[i]) * (a[i] - b[i]);
      sum += a[i];
      mx = std::fmax(mx, std::fabs(a[i]));
      nd = std::fmax(nd, std::fabs(a[i] - b[i]));
    }
    EXPECT_EQ(scalar_product(va, vb), dot);
    EXPECT_EQ(distance_squared(va, vb), dist);
    EXPECT_EQ(va.sum(), sum);
    EXPECT_EQ(va.max_absolute_value(), mx);
    EXPECT_EQ(norm_diff(va, vb), nd);
    EXPECT_EQ(va.modulus_squared(), scalar_product(va, va));
    EXPECT_EQ(va.modulus(), std::sqrt(scalar_product(va, va)));
    // The same through strided slices of interleaved storage.
    mlVector both(mlVectorDim, 2 * n);
    for (int i = 0; i < n; ++i) {
      both[2 * i] = a[i];
      both[2 * i + 1] = b[i];
    }
    EXPECT_EQ(scalar_product(both.slice(0, 2, n), both.slice(1, 2, n)), dot);
    EXPECT_EQ(distance_squared(both.slice(0, 2, n), both.slice(1, 2, n)), dist);
    EXPECT_EQ(norm_diff(both.slice(0, 2, n), both.slice(1, 2, n)), nd);
    EXPECT_EQ(both.slice(0, 2, n).sum(), sum);
    EXPECT_EQ(both.slice(0, 2, n).max_absolute_value(), mx);
  }
  EXPECT_EQ(mlVector().max_absolute_value(), -1.7976931348623157e308);
  EXPECT_EQ(mlVector().sum(), 0.0);
  // A NaN never replaces the running maximum.
  EXPECT_EQ(vec({1, std::nan(""), -3}).max_absolute_value(), 3.0);
  EXPECT_EQ(norm_diff(vec({std::nan(""), 1}), vec({0, 0})), 1.0);
}

TEST(mlVector, EqualityComparesOnlyTheFirstOperandsDimension) {
  EXPECT_EQ(vec({1, 2}) == vec({1, 2, 3}), 1);
  EXPECT_EQ(mlVector() == vec({1}), 1);
  EXPECT_EQ(vec({1, 2}) == vec({1, 2.5}), 0);
  EXPECT_EQ(vec({std::nan("")}) == vec({std::nan("")}), 0);
  EXPECT_EQ(vec({-0.0}) == vec({0.0}), 1);
}

TEST(mlVectorSlice, ViewsAndArithmeticWalkTheStride) {
  mlVector storage = vec({0, 1, 2, 3, 4, 5, 6, 7, 8});
  mlSlice odd = storage.slice(1, 2, 4);  // 1 3 5 7
  EXPECT_EQ(odd.dimension(), 4);
  EXPECT_EQ(odd[3], 7.0);
  mlSlice sub = odd.slice(1, 2, 2);  // elements 1 and 3 of odd: 3 and 7
  EXPECT_EQ(sub[0], 3.0);
  EXPECT_EQ(sub[1], 7.0);

  sub *= 2.0;
  sub /= 4.0;
  sub -= 1.0;
  EXPECT_EQ(values(storage), (std::vector<double>{0, 1, 2, 0.5, 4, 5, 6, 2.5, 8}));
  odd -= storage.slice(0, 2, 4);  // 1-0, 0.5-2, 5-4, 2.5-6
  EXPECT_EQ(values(storage), (std::vector<double>{0, 1, 2, -1.5, 4, 1, 6, -3.5, 8}));
  odd.fill(9.0);
  odd = vec({1, 2, 3, 4, 5});
  EXPECT_EQ(values(storage), (std::vector<double>{0, 1, 2, 2, 4, 3, 6, 4, 8}));
  storage.slice(0, 1, 2) = storage.slice(7, 1, 2);
  EXPECT_EQ(storage[0], 4.0);
  EXPECT_EQ(storage[1], 8.0);
  EXPECT_EQ(storage.slice(0, 1, 3).modulus(), std::sqrt(16.0 + 64.0 + 4.0));
}

TEST(mlVectorSlice, EqualityComparesTheStorageFromItsBaseIgnoringStartAndStride) {
  mlVector a = vec({1, 2, 3, 4});
  mlVector b = vec({1, 2, 9, 9});
  // Different starts and strides, yet equal: the first two doubles of both buffers match.
  EXPECT_EQ(a.slice(2, 1, 2) == b.slice(0, 2, 2), 1);
  EXPECT_EQ(a.slice(0, 1, 3) == b.slice(0, 1, 3), 0);
  EXPECT_EQ(a.slice(0, 1, 3) != b.slice(0, 1, 3), 1);
}

TEST(mlVector, PrintsWithFixedAndShowpointOnlyForTheDuration) {
  std::ostringstream os;
  os << std::setprecision(3);
  os << vec({1, -2.5, 1e-4});
  EXPECT_EQ(os.str(), "< 1.000 -2.500 0.000 > \n");
  EXPECT_FALSE(os.flags() & std::ios::fixed);
  EXPECT_EQ(os.precision(), 3);
  std::ostringstream empty;
  empty << mlVector();
  EXPECT_EQ(empty.str(), "< > \n");

  std::ostringstream slice_out;
  const mlVector v = vec({1, 2.5, 3, 4});
  slice_out << v.slice(0, 2, 2) << v.slice(0, 1, 0);
  EXPECT_EQ(slice_out.str(), "<1,3><>");
}

}  // namespace
