#include "kernels/mlSvdKernel.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "support/reference_kernels.h"
#include "support/reference_svd.h"
#include "support/test_support.h"

namespace {

using namespace paskosda_test;
using namespace paskosda_test::literal_svd_detail;
using paskosda_detail::KernelIsa;

// Values over nine decades, a third of them zeros of either sign: zero products and zero
// factors (which the level-1 routines skip) come up often.
double sparse(mlRandom& random) {
  const int pick = random.integer(6);
  if (pick < 2) return pick == 0 ? 0.0 : -0.0;
  return random.uniform(-1.0, 1.0) * std::pow(10.0, random.integer(9) - 4);
}

// A column-major rows by cols matrix with `pad` spare rows below each column, which must come
// back untouched.
std::vector<double> columns(mlRandom& random, int rows, int pad, int cols) {
  std::vector<double> q(static_cast<std::size_t>(rows + pad) * cols, -7.25e7);
  for (int j = 0; j < cols; ++j) {
    for (int i = 0; i < rows; ++i)
      q[static_cast<std::size_t>(j) * (rows + pad) + i] = sparse(random);
  }
  return q;
}

const int kRows[] = {1, 2, 3, 7, 8, 9, 15, 16, 17, 31, 33, 40, 67};

TEST(mlSvdKernel, ColumnOperationsGiveTheBitsOfImmediateLevel1Calls) {
  mlRandom random(11);
  for (const KernelIsa isa : kernel_isas()) {
    for (const int rows : kRows) {
      // Ten columns: batches of 1024 rotations and 128 operations, which the 3000 rotations
      // and the exchanges below overrun many times, in the middle of chains too.
      const int cols = 10, ld = rows + 3;
      std::vector<double> q = columns(random, rows, 3, cols);
      std::vector<double> expected = q;
      paskosda_detail::SvdColumnOps ops(q.data(), rows, ld, cols, isa);
      auto col = [&](int j) { return expected.data() + static_cast<std::size_t>(j) * ld; };
      for (int rotations = 0; rotations < 3000;) {
        const int kind = random.integer(5);
        if (kind == 3) {
          const int j = random.integer(cols);
          const double a = random.integer(2) == 0 ? -1.0 : sparse(random);
          ops.scale(j, a);
          dscal(rows, a, col(j));
          continue;
        }
        if (kind == 4) {
          const int j = random.integer(cols - 1);
          ops.swap_next(j);
          dswap(rows, col(j), col(j + 1));
          continue;
        }
        // A chain over columns first ... last (adjacent), or of first ... last against a
        // partner outside that range, going up or down.
        const int a = random.integer(cols - 1), b = a + 1 + random.integer(cols - 1 - a);
        const int partner = random.integer(2) == 0 ? a : b;
        const bool down = kind == 2;
        const int first = kind == 0 ? a : down ? b - (partner == b) : a + (partner == a);
        const int count = b - a;
        if (kind == 0) {
          ops.chain_adjacent(first);
        } else {
          ops.chain_partner(first, down ? -1 : 1, partner);
        }
        for (int t = 0; t < count; ++t, ++rotations) {
          const double angle = random.uniform(-3.0, 3.0);
          const double c = std::cos(angle), s = std::sin(angle);
          ops.rotate(c, s);
          const int x = kind == 0 ? first + t : down ? first - t : first + t;
          drot(rows, col(x), col(kind == 0 ? x + 1 : partner), c, s);
        }
      }
      ops.flush();
      EXPECT_TRUE(same_bits(q.data(), expected.data(), static_cast<int>(q.size())))
          << isa_name(isa) << ", " << rows << " rows";
    }
  }
}

// The accumulation as its definition states it, column by column.
void literal_accumulate(double* q, int rows, int ld, int cols, int steps, int offset,
                        const double* flags, int reflections, bool householder) {
  for (int j = steps; j < cols; ++j) {
    for (int i = 0; i < rows; ++i)
      q[j * ld + i] = i == j ? 1.0 : 0.0;
  }
  for (int l = steps - 1; l >= 0; --l) {
    double* h = q + l * ld + l + offset;
    const int len = rows - l - offset;
    const bool reflect = l < reflections && flags[l] != 0.0;
    for (int j = l + 1; j < cols && reflect; ++j)
      daxpy(len, -ddot(len, h, q + j * ld + l + offset) / h[0], h, q + j * ld + l + offset);
    if (reflect && householder) {
      dscal(rows - l, -1.0, q + l * ld + l);
      q[l * ld + l] = 1.0 + q[l * ld + l];
      for (int i = 0; i < l; ++i)
        q[l * ld + i] = 0.0;
    } else {
      for (int i = 0; i < rows; ++i)
        q[l * ld + i] = i == l ? 1.0 : 0.0;
    }
  }
}

TEST(mlSvdKernel, AccumulatesReflectionsWithTheBitsOfThePlainLoops) {
  mlRandom random(12);
  for (const KernelIsa isa : kernel_isas()) {
    for (const int rows : kRows) {
      // Left vectors (negated Householder columns, square or fewer columns than rows) and
      // right vectors (unit columns, reflections below the diagonal, fewer than the steps).
      struct Case {
        int cols, steps, offset, reflections;
        bool householder;
      };
      const Case cases[] = {{rows, rows - 1, 0, rows - 1, true},
                            {(rows + 1) / 2, (rows - 1) / 2, 0, (rows - 1) / 2, true},
                            {rows, rows, 1, rows - 2, false},
                            {rows, rows, 1, rows / 3, false}};
      for (const Case& c : cases) {
        const int ld = rows + 2, steps = std::max(c.steps, 0);
        std::vector<double> q = columns(random, rows, 2, c.cols), flags(rows);
        for (int l = 0; l < steps; ++l) {
          flags[l] = random.integer(5) == 0 ? 0.0 : 1.0;
          // The pivot of a Householder vector is 1 + |x|.
          if (l + c.offset < rows) q[l * ld + l + c.offset] = 1.0 + random.uniform();
        }
        std::vector<double> expected = q;
        literal_accumulate(expected.data(), rows, ld, c.cols, steps, c.offset, flags.data(),
                           c.reflections, c.householder);
        paskosda_detail::svd_accumulate(q.data(), rows, ld, c.cols, steps, c.offset, flags.data(),
                                        c.reflections, c.householder, -1.0, isa);
        EXPECT_TRUE(same_bits(q.data(), expected.data(), static_cast<int>(q.size())))
            << isa_name(isa) << ", " << rows << " rows, " << c.cols << " columns, offset "
            << c.offset;
      }
    }
  }
}

TEST(mlSvdKernel, ReducesColumnsWithTheBitsOfThePlainLoops) {
  mlRandom random(13);
  const double nan = std::numeric_limits<double>::quiet_NaN();
  for (const KernelIsa isa : kernel_isas()) {
    for (const int len : kRows) {
      for (const int ncols : {1, 2, 5, 7, 8, 9, 19}) {
        const int ld = len + 3;
        std::vector<double> c = columns(random, len, 3, ncols), e(ncols), work(len), h(len);
        for (int j = 0; j < ncols; ++j)
          e[j] = sparse(random);
        for (int i = 0; i < len; ++i) {
          work[i] = sparse(random);
          h[i] = sparse(random);
        }
        h[0] = 1.0 + random.uniform();
        const double divisor = 1.0 + random.uniform();
        // Each combination of the two reflections.
        for (int kind = 0; kind < 4; ++kind) {
          const double* w = kind & 1 ? work.data() : nullptr;
          const double* hv = kind & 2 ? h.data() : nullptr;
          std::vector<double> got = c, got_e = e, expected = c, expected_e = e;
          for (int j = 0; j < ncols; ++j) {
            double* cj = expected.data() + j * ld;
            if (w != nullptr) daxpy(len, -expected_e[j] / divisor, w, cj);
            if (hv != nullptr) daxpy(len, -ddot(len, hv, cj) / hv[0], hv, cj);
            expected_e[j] = cj[0];
          }
          paskosda_detail::svd_reduce_columns(len, ncols, got.data(), ld, got_e.data(), divisor, w,
                                              hv, isa);
          EXPECT_TRUE(same_bits(got.data(), expected.data(), static_cast<int>(got.size())) &&
                      same_bits(got_e.data(), expected_e.data(), ncols))
              << isa_name(isa) << ", " << len << " by " << ncols << ", kind " << kind;
        }
        // Row products; columns with a zero factor are skipped entirely, so the NaN and the
        // infinity placed in them must not show.
        std::vector<double> products(len + 1, -7.25e7), expected(len + 1, -7.25e7);
        for (int j = 0; j < ncols; ++j) {
          if (e[j] == 0.0) c[j * ld + random.integer(len)] = j % 2 == 0 ? nan : HUGE_VAL;
        }
        std::fill(expected.begin(), expected.begin() + len, 0.0);
        for (int j = 0; j < ncols; ++j)
          daxpy(len, e[j], c.data() + j * ld, expected.data());
        paskosda_detail::svd_row_products(len, ncols, c.data(), ld, e.data(), products.data(), isa);
        EXPECT_TRUE(same_bits(products.data(), expected.data(), len + 1))
            << isa_name(isa) << ", " << len << " by " << ncols;
      }
    }
  }
}

}  // namespace
