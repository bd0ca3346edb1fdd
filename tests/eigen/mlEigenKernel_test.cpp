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
using paskosda_detail::OffDiagonalMaxima;

// The search's members, compiled for each instruction set as the rotations use them.
struct Build {
  template <class Isa>
  static void run(OffDiagonalMaxima& maxima, const double* a, int n) {
    maxima.build<typename Isa::V>(a, n);
  }
};
struct Rotated {
  template <class Isa>
  static void run(OffDiagonalMaxima& maxima, const double* a, int p, int q, const double* column_p,
                  const double* column_q) {
    maxima.rotated<typename Isa::V>(a, p, q, column_p, column_q);
  }
};
struct Largest {
  template <class Isa>
  static double run(const OffDiagonalMaxima& maxima, int& p, int& q) {
    return maxima.largest<typename Isa::V>(p, q);
  }
};

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

TEST(mlEigenKernel, KeepsTheFirstLargestMagnitudeThroughRotations) {
  for (const KernelIsa isa : paskosda_test::kernel_isas()) {
    mlRandom random(77);
    long rotations = 0;
    for (int trial = 0; trial < 300; ++trial) {
      const int n = trial < 40 ? trial % 20 : 1 + random.integer(70);
      const int kind = trial % 5;
      std::vector<double> a(static_cast<std::size_t>(n) * n);
      for (double& x : a)
        x = tie_rich(random, kind);
      doublecoDynArr rows;
      OffDiagonalMaxima maxima(rows);
      std::vector<double> column_p(n), column_q(n);
      paskosda_detail::run_isa<Build>(isa, maxima, a.data(), n);
      for (int step = 0; n > 1 && step < 3 * n; ++step) {
        int p = 0, q = 0, ep = 0, eq = 0;
        const double got = paskosda_detail::run_isa<Largest>(isa, maxima, p, q);
        const double expected = literal_largest(a, n, ep, eq);
        ASSERT_TRUE(paskosda_test::same_bits(&got, &expected, 1) && p == ep && q == eq)
            << "isa " << static_cast<int>(isa) << " n " << n << " trial " << trial << " step "
            << step;
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
        for (int r = 0; r < n; ++r) {
          column_p[r] = std::fabs(a[r * n + p]);
          column_q[r] = std::fabs(a[r * n + q]);
        }
        paskosda_detail::run_isa<Rotated>(isa, maxima, a.data(), p, q, column_p.data(),
                                          column_q.data());
        ++rotations;
      }
    }
    EXPECT_GT(rotations, 10000);
  }
}

// Every instruction set takes the same rotations to the same bits, with the rows kept (from
// order 14) or scanned whole, and stops where a rotation needs the whole products.
TEST(mlEigenKernel, RotatesAlikeOnEveryInstructionSet) {
  using paskosda_detail::JacobiRotations;
  using paskosda_detail::JacobiStop;
  mlRandom random(5);
  for (const int n : {2, 3, 9, 14, 21, 37}) {
    for (const bool infinite : {false, true}) {
      std::vector<double> input(static_cast<std::size_t>(n) * n);
      for (int i = 0; i < n; ++i) {
        for (int j = i; j < n; ++j)
          input[i * n + j] = input[j * n + i] =
              random.integer(2) ? random.uniform(-1.0, 1.0) : -0.0;
      }
      if (infinite) input[n - 1] = std::numeric_limits<double>::infinity();
      std::vector<double> first_a, first_vt;
      long first_count = -1;
      for (const KernelIsa isa : paskosda_test::kernel_isas()) {
        std::vector<double> a = input, vt(input.size()), rows(2 * input.size());
        for (int i = 0; i < n; ++i)
          vt[i * n + i] = 1.0;
        JacobiRotations run{a.data(), vt.data(), rows.data(), n, 1e-8, true, !infinite, 0, -1, -1};
        doublecoDynArr kept;
        OffDiagonalMaxima maxima(kept);
        maxima.build<double>(a.data(), n);
        const JacobiStop stop = paskosda_detail::jacobi_rotations(isa, run, maxima, 100000);
        // An infinite element: the first rotation needs the products, untouched.
        EXPECT_EQ(stop, infinite ? JacobiStop::Products : JacobiStop::Converged) << n;
        if (first_count < 0) {
          first_a = a;
          first_vt = vt;
          first_count = run.count;
          continue;
        }
        EXPECT_EQ(run.count, first_count) << n;
        EXPECT_TRUE(paskosda_test::same_bits(a.data(), first_a.data(), n * n)) << n;
        EXPECT_TRUE(paskosda_test::same_bits(vt.data(), first_vt.data(), n * n)) << n;
      }
      EXPECT_TRUE(!infinite || first_count == 0) << n;
    }
  }
}

}  // namespace
