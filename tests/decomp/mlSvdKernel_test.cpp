#include "kernels/mlSvdKernel.h"

#include <gtest/gtest.h>

#include "support/test_support.h"

namespace {

// The plain loop: per column, a sequential dot product from 0.0, then y += t h unless t = 0.
void literal_reflect_columns(int len, const double* h, double* c, std::ptrdiff_t ld, int ncols) {
  for (double* cj = c; cj < c + ld * ncols; cj += ld) {
    double dot = 0.0;
    for (int i = 0; i < len; ++i)
      dot += h[i] * cj[i];
    const double t = -dot / h[0];
    for (int i = 0; i < len && t != 0.0; ++i)
      cj[i] = cj[i] + t * h[i];
  }
}

TEST(mlSvdKernel, ReflectsColumnsWithTheBitsOfThePlainLoop) {
  mlRandom random(4242);
  // Values spread over eight decades, so that the order of each dot product shows.
  auto spread = [&random] {
    return random.uniform(-1.0, 1.0) * std::pow(10.0, random.integer(9) - 4);
  };
  for (int len : {1, 2, 3, 5, 7, 8, 13, 64, 101}) {
    for (int ncols = 0; ncols <= 19; ++ncols) {
      const int ld = len + 3;  // padding between columns must stay untouched
      std::vector<double> h(len), c(static_cast<std::size_t>(ld) * (ncols + 1), -7.25e7);
      for (double& x : h)
        x = spread();
      h[0] = 1.0 + std::fabs(h[0]);
      // Column 2 is orthogonal to h and holds signed zeros: a zero factor leaves it as it is.
      for (int i = 0; i < ld * ncols; ++i)
        c[i] = i % ld >= len ? c[i] : i / ld == 2 ? -0.0 : spread();
      std::vector<double> expected = c;
      literal_reflect_columns(len, h.data(), expected.data(), ld, ncols);
      paskosda_detail::svd_reflect_columns(len, h.data(), c.data(), ld, ncols);
      EXPECT_TRUE(paskosda_test::same_bits(c.data(), expected.data(), static_cast<int>(c.size())))
          << "len " << len << " columns " << ncols;
    }
  }
}

}  // namespace
