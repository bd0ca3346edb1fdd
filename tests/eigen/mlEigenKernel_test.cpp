#include "kernels/mlEigenKernel.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <limits>
#include <vector>

#include "linalg/mlRandom.h"
#include "support/reference_kernels.h"
#include "support/test_support.h"

namespace {

using paskosda_detail::KernelIsa;

// The running maximum over the strict upper triangle in row-major order, replaced only by a
// strictly larger magnitude, and the first position holding it.
double literal_largest(const std::vector<double>& a, int n, int& p, int& q) {
  double m = -DBL_MAX;
  p = q = -1;
  for (int i = 0; i < n; ++i) {
    for (int j = i + 1; j < n; ++j) {
      const double x = std::fabs(a[i * n + j]);
      if (x > m) m = x;
    }
  }
  for (int i = 0; i < n && p < 0; ++i) {
    for (int j = i + 1; j < n; ++j) {
      if (std::fabs(a[i * n + j]) == m) {
        p = i;
        q = j;
        break;
      }
    }
  }
  return m;
}

TEST(EigenKernel, FindsTheFirstLargestMagnitudeOnEveryInstructionSet) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  mlRandom random(77);
  for (int trial = 0; trial < 400; ++trial) {
    const int n = trial < 40 ? trial % 20 : 1 + random.integer(70);
    std::vector<double> a(static_cast<std::size_t>(n) * n);
    // Few distinct magnitudes of both signs, so ties are everywhere; zeros of both signs,
    // NaNs that must never win, and now and then an infinity or nothing but zeros and NaNs.
    const int kind = trial % 5;
    for (double& x : a) {
      const int pick = random.integer(8);
      x = kind == 4 ? (pick < 2   ? nan
                       : pick < 5 ? -0.0
                                  : 0.0)
                    : (pick == 0   ? nan
                       : pick == 1 ? -0.0
                                   : (pick % 2 ? -1.0 : 1.0) * random.integer(4));
    }
    if (kind == 3 && n > 1) a[random.integer(n - 1) + 1] = -inf;
    int ep = 0, eq = 0;
    const double expected = literal_largest(a, n, ep, eq);
    for (const KernelIsa isa : paskosda_test::best_and_kernel_isas()) {
      int p = 0, q = 0;
      const double got = paskosda_detail::largest_off_diagonal(a.data(), n, p, q, isa);
      ASSERT_TRUE(paskosda_test::same_bits(&got, &expected, 1))
          << "n " << n << " trial " << trial << " " << paskosda_test::isa_name(isa);
      ASSERT_EQ(p, ep) << "n " << n << " trial " << trial << " " << paskosda_test::isa_name(isa);
      ASSERT_EQ(q, eq) << "n " << n << " trial " << trial << " " << paskosda_test::isa_name(isa);
    }
  }
}

}  // namespace
