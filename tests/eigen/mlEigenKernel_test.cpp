#include "kernels/mlEigenKernel.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <limits>
#include <vector>

#include "linalg/mlRandom.h"
#include "support/test_support.h"

namespace {

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

// Few distinct magnitudes of both signs, so ties are everywhere; zeros of both signs, NaNs that
// must never win, and now and then an infinity or nothing but zeros and NaNs.
double tie_rich(mlRandom& random, int kind) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const int pick = random.integer(8);
  if (kind == 4) return pick < 2 ? nan : pick < 5 ? -0.0 : 0.0;
  if (kind == 3 && pick == 7 && random.integer(16) == 0)
    return -std::numeric_limits<double>::infinity();
  return pick == 0 ? nan : pick == 1 ? -0.0 : (pick % 2 ? -1.0 : 1.0) * random.integer(4);
}

TEST(EigenKernel, KeepsTheFirstLargestMagnitudeThroughRotations) {
  mlRandom random(77);
  long rotations = 0;
  for (int trial = 0; trial < 300; ++trial) {
    const int n = trial < 40 ? trial % 20 : 1 + random.integer(70);
    const int kind = trial % 5;
    std::vector<double> a(static_cast<std::size_t>(n) * n);
    for (double& x : a)
      x = tie_rich(random, kind);
    doublecoDynArr magnitude;
    intcoDynArr column;
    paskosda_detail::OffDiagonalMaxima maxima(magnitude, column);
    maxima.build(a.data(), n);
    for (int step = 0; n > 1 && step < 3 * n; ++step) {
      int p = 0, q = 0, ep = 0, eq = 0;
      const double got = maxima.largest(p, q);
      const double expected = literal_largest(a, n, ep, eq);
      ASSERT_TRUE(paskosda_test::same_bits(&got, &expected, 1) && p == ep && q == eq)
          << "n " << n << " trial " << trial << " step " << step;
      // A rotation rewrites rows and columns p and q, mostly at the largest element, now and
      // then elsewhere; the new values keep the ties coming (kind 4 keeps no number at all).
      if (p < 0 || random.integer(4) == 0) {
        p = random.integer(n - 1);
        q = p + 1 + random.integer(n - 1 - p);
      }
      for (int j = 0; j < n; ++j) {
        a[p * n + j] = tie_rich(random, kind);
        a[q * n + j] = tie_rich(random, kind);
        a[j * n + p] = tie_rich(random, kind);
        a[j * n + q] = tie_rich(random, kind);
      }
      maxima.rotated(a.data(), p, q);
      ++rotations;
    }
  }
  EXPECT_GT(rotations, 10000);
}

}  // namespace
