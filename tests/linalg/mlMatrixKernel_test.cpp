#include "kernels/mlMatrixKernel.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <vector>

#include "linalg/mlRandom.h"
#include "support/reference_kernels.h"
#include "support/test_support.h"

namespace {

using paskosda_detail::KernelIsa;
using paskosda_detail::multiply_kernel;
using paskosda_detail::multiply_vector_kernel;
using paskosda_test::isa_name;
using paskosda_test::kernel_isas;
using paskosda_test::literal_multiply;
using paskosda_test::literal_multiply_vector;

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kTiny = std::numeric_limits<double>::denorm_min();
// Fills the rows' padding and every result before the call: it must come out untouched, and
// a kernel that read a result before writing it would show it.
constexpr double kSentinel = -7.25e7;

// Values whose sums depend on the order of the adds, with the given character.
enum class Values { Moderate, MixedMagnitudes, SignedZeros, Special };

double draw(mlRandom& r, Values kind) {
  const double sign = r.integer(2) ? 1.0 : -1.0;
  switch (kind) {
    case Values::Moderate:
      return r.uniform(-1.0, 1.0);
    case Values::MixedMagnitudes: {
      // Two statements: the order of the draws must not be left to the compiler.
      const double fraction = r.uniform(0.5, 1.0);
      return sign * std::ldexp(fraction, r.integer(2001) - 1000);
    }
    case Values::SignedZeros: {
      const double pick[] = {0.0, kTiny, 1e-200, 1.0};
      return sign * pick[r.integer(4)];
    }
    case Values::Special: {
      if (r.integer(16) != 0) return draw(r, Values::MixedMagnitudes);
      const double pick[] = {0.0, kInf, kNaN, kTiny, std::numeric_limits<double>::max()};
      return sign * pick[r.integer(5)];
    }
  }
  return 0.0;
}

std::vector<double> random_rows(mlRandom& r, Values kind, int rows, int cols, int stride) {
  std::vector<double> x(static_cast<std::size_t>(rows) * stride + 1, kSentinel);
  for (int i = 0; i < rows; ++i)
    for (int j = 0; j < cols; ++j)
      x[static_cast<std::size_t>(i) * stride + j] = draw(r, kind);
  return x;
}

::testing::AssertionResult same_results(const std::vector<double>& expected,
                                        const std::vector<double>& actual) {
  return paskosda_test::same_bits_or_nan(expected.data(), actual.data(),
                                         static_cast<int>(expected.size()));
}

struct Shape {
  int m, n, k;
};

TEST(mlMatrixKernel, ProductMatchesTheLiteralLoopBitForBit) {
  // Thin, deep, wide and odd shapes that cross every block edge, then random ones.
  std::vector<Shape> shapes = {{1, 1, 1},    {1, 300, 2},    {300, 1, 3},     {9, 13, 700},
                               {300, 9, 40}, {20, 2100, 30}, {130, 130, 130}, {65, 33, 260}};
  mlRandom r(20240611);
  const int odd[] = {1, 3, 7, 17, 33, 65, 130};
  for (int t = 0; t < 40; ++t)
    shapes.push_back({odd[r.integer(7)], odd[r.integer(7)], odd[r.integer(7)]});
  for (std::size_t t = 0; t < shapes.size(); ++t) {
    const auto [m, n, k] = shapes[t];
    const auto kind = static_cast<Values>(t % 4);
    const int lda = k + r.integer(3), ldb = n + r.integer(3), ldc = n + r.integer(3);
    const std::vector<double> a = random_rows(r, kind, m, k, lda);
    const std::vector<double> b = random_rows(r, kind, k, n, ldb);
    std::vector<double> expected(static_cast<std::size_t>(m) * ldc + 1, kSentinel);
    literal_multiply(m, n, k, a.data(), lda, b.data(), ldb, expected.data(), ldc);
    for (const KernelIsa isa : kernel_isas()) {
      std::vector<double> actual(expected.size(), kSentinel);
      multiply_kernel(m, n, k, a.data(), lda, b.data(), ldb, actual.data(), ldc, isa);
      EXPECT_TRUE(same_results(expected, actual))
          << m << " x " << k << " times " << k << " x " << n << " (" << isa_name(isa) << ")";
    }
  }
}

TEST(mlMatrixKernel, ProductKeepsTheRunningSumAndTheSignOfZero) {
  // Each sum is 1e16, then k - 2 ones that all round away, then -1e16: exactly +0.0, where any
  // regrouping of the ones would leave them standing. All -0.0 products sum to +0.0, as does
  // an empty sum.
  struct Case {
    int k;
    double first, middle, last, expected;
  };
  const Case cases[] = {
      {600, 1e16, 1.0, -1e16, 0.0}, {600, -0.0, -0.0, -0.0, 0.0}, {0, 0.0, 0.0, 0.0, 0.0}};
  const int m = 20, n = 20;
  for (const Case& c : cases) {
    std::vector<double> a(static_cast<std::size_t>(m) * c.k, c.middle), b(c.k * n + 1, 1.0);
    for (int i = 0; i < m && c.k > 0; ++i) {
      a[static_cast<std::size_t>(i) * c.k] = c.first;
      a[static_cast<std::size_t>(i) * c.k + c.k - 1] = c.last;
    }
    std::vector<double> product(m * n, kSentinel), expected(m * n, c.expected);
    multiply_kernel(m, n, c.k, a.data(), c.k, b.data(), n, product.data(), n);
    EXPECT_TRUE(same_results(expected, product)) << "k = " << c.k << ", first = " << c.first;
  }
}

TEST(mlMatrixKernel, MatrixTimesVectorMatchesTheLiteralLoopBitForBit) {
  // Row counts around the interleaving widths; strided and backward vectors.
  struct Rows {
    int m, k;
  };
  const Rows shapes[] = {{1, 5}, {0, 4}, {3, 0}, {7, 33}, {8, 1}, {13, 65}, {17, 130}, {131, 77}};
  const int strides[] = {1, 3, -2};
  mlRandom r(77);
  int t = 0;
  for (const Rows& s : shapes) {
    for (int incv : strides) {
      const auto kind = static_cast<Values>(t++ % 4);
      const int lda = s.k + r.integer(3);
      const std::vector<double> a = random_rows(r, kind, s.m, s.k, lda);
      const int span = std::abs(incv) * s.k + 1;
      const std::vector<double> v = random_rows(r, kind, 1, span, span);
      const double* v0 = incv > 0 ? v.data() : v.data() + span - 1;
      std::vector<double> expected(s.m + 1, kSentinel), actual = expected;
      literal_multiply_vector(s.m, s.k, a.data(), lda, v0, incv, expected.data());
      multiply_vector_kernel(s.m, s.k, a.data(), lda, v0, incv, actual.data());
      EXPECT_TRUE(same_results(expected, actual)) << s.m << " x " << s.k << ", incv " << incv;
    }
  }
}

}  // namespace
