#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <utility>
#include <vector>

#include "math/mlDoubleDouble.h"
#include "math/mlPortableExpTables.h"
#include "math/mlPortableMath.h"
#include "math/mpfr_accuracy.h"

namespace {

using paskosda_detail::bits_of;
using paskosda_detail::double_from_bits;
using paskosda_detail::portable_cosh;
using paskosda_detail::portable_exp;
using paskosda_detail::portable_log;
using paskosda_detail::portable_pow;
using paskosda_detail::portable_sinh;
using paskosda_test::Accuracy;
using paskosda_test::MpfrReference;

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kMax = std::numeric_limits<double>::max();
constexpr double kMin = std::numeric_limits<double>::min();
constexpr double kDenormMin = std::numeric_limits<double>::denorm_min();
const double kNaN = double_from_bits(0x7ff8000000000000);

// Equal bits; any NaN for an expected NaN.
::testing::AssertionResult same_bits(double expected, double got) {
  if (expected != expected ? got != got : bits_of(expected) == bits_of(got)) {
    return ::testing::AssertionSuccess();
  }
  return ::testing::AssertionFailure()
         << "expected " << std::hexfloat << expected << ", got " << got;
}

using Unary = double (*)(double);

// Arguments of a sweep: uniform in [lo, hi), spread over the binades of [lo, hi] (with random
// sign if signed_values), or 1 + such a spread.
enum class Draw { kUniform, kBinades, kSignedBinades, kNearOne };
struct Range {
  Draw draw;
  double lo;
  double hi;
};

double draw(std::mt19937_64& random, const Range& range) {
  switch (range.draw) {
    case Draw::kUniform:
      return paskosda_test::uniform(random, range.lo, range.hi);
    case Draw::kBinades:
      return paskosda_test::log_uniform(random, range.lo, range.hi, false);
    case Draw::kSignedBinades:
      return paskosda_test::log_uniform(random, range.lo, range.hi, true);
    case Draw::kNearOne:
      return 1.0 + paskosda_test::log_uniform(random, range.lo, range.hi, true);
  }
  return 0.0;
}

void expect_accurate(const Accuracy& accuracy) {
  accuracy.print();
  EXPECT_LT(accuracy.max_ulp, 1.0) << accuracy.name;
  EXPECT_GE(accuracy.rounded_share(), 0.999) << accuracy.name;
}

void sweep(const char* name, Unary f, paskosda_test::MpfrUnary reference,
           const std::vector<Range>& ranges) {
  std::mt19937_64 random(20240611);
  MpfrReference mpfr;
  const long long samples = paskosda_test::sample_count(20000);
  for (const Range& range : ranges) {
    Accuracy accuracy;
    accuracy.name = name;
    for (long long i = 0; i < samples; ++i) {
      const double x = draw(random, range);
      mpfr.unary(accuracy, reference, x, f(x));
    }
    expect_accurate(accuracy);
  }
}

// Every argument below one ulp, and bits-exact where the expected value is given (not NaN).
struct Case {
  double x;
  double expected;
};
void check_cases(const char* name, Unary f, paskosda_test::MpfrUnary reference,
                 const std::vector<Case>& cases) {
  MpfrReference mpfr;
  Accuracy accuracy;
  accuracy.name = name;
  for (const Case& c : cases) {
    const double got = f(c.x);
    mpfr.unary(accuracy, reference, c.x, got);
    EXPECT_LT(mpfr.last_error(got), 1.0) << name << std::hexfloat << " at " << c.x;
    if (c.expected == c.expected) {
      EXPECT_TRUE(same_bits(c.expected, got)) << name << " at " << c.x;
    }
  }
  accuracy.print();
}

// --- Special values, C99 Annex F ---------------------------------------------------------------

TEST(mlPortableExpSpecial, UnaryFunctions) {
  const double sNaN = double_from_bits(0x7ff0000000000123);
  struct Special {
    Unary f;
    double x;
    double expected;
  };
  // clang-format off
  const Special specials[] = {
      {portable_exp, kInf, kInf}, {portable_exp, -kInf, 0.0}, {portable_exp, 0.0, 1.0},
      {portable_exp, -0.0, 1.0}, {portable_exp, kMax, kInf}, {portable_exp, -kMax, 0.0},
      {portable_log, 1.0, 0.0}, {portable_log, 0.0, -kInf}, {portable_log, -0.0, -kInf},
      {portable_log, kInf, kInf}, {portable_log, -kInf, kNaN}, {portable_log, -1.0, kNaN},
      {portable_log, -kDenormMin, kNaN}, {portable_sinh, 0.0, 0.0}, {portable_sinh, -0.0, -0.0},
      {portable_sinh, kInf, kInf}, {portable_sinh, -kInf, -kInf},
      {portable_sinh, kDenormMin, kDenormMin}, {portable_sinh, -kDenormMin, -kDenormMin},
      {portable_sinh, -kMin, -kMin}, {portable_sinh, kMax, kInf}, {portable_sinh, -kMax, -kInf},
      {portable_cosh, 0.0, 1.0}, {portable_cosh, -0.0, 1.0}, {portable_cosh, kInf, kInf},
      {portable_cosh, -kInf, kInf}, {portable_cosh, -kDenormMin, 1.0}, {portable_cosh, -kMax, kInf}
  };
  // clang-format on
  for (const Special& s : specials) {
    EXPECT_TRUE(same_bits(s.expected, s.f(s.x))) << std::hexfloat << s.x;
  }
  // NaN bits do not depend on the machine: a NaN argument comes back quiet with its payload, an
  // invalid operation gives the positive default NaN.
  for (const Unary f : {portable_exp, portable_log, portable_sinh, portable_cosh}) {
    EXPECT_EQ(bits_of(f(sNaN)), 0x7ff8000000000123u);
    EXPECT_EQ(bits_of(f(-kNaN)), 0xfff8000000000000u);
  }
  EXPECT_EQ(bits_of(portable_log(-1.0)), 0x7ff8000000000000u);
  EXPECT_EQ(bits_of(portable_pow(-2.0, 0.5)), 0x7ff8000000000000u);
  EXPECT_EQ(bits_of(portable_pow(sNaN, 3.0)), 0x7ff8000000000123u);
  EXPECT_EQ(bits_of(portable_pow(2.0, sNaN)), 0x7ff8000000000123u);
}

TEST(mlPortableExpSpecial, PowAnnexF) {
  const double odd_huge = 0x1.0000000000001p52;  // 2^52 + 1
  struct Special {
    double x;
    double y;
    double expected;
  };
  // clang-format off
  const Special specials[] = {
      // pow(x, +-0) = 1 and pow(+1, y) = 1 for any x and y, even NaN.
      {kNaN, 0.0, 1.0}, {kNaN, -0.0, 1.0}, {-kInf, 0.0, 1.0}, {1.0, kNaN, 1.0}, {1.0, -kInf, 1.0},
      {1.0, 1e300, 1.0},
      // pow(-1, +-inf) = 1; |x| < 1 or > 1 with infinite y.
      {-1.0, kInf, 1.0}, {-1.0, -kInf, 1.0}, {0.5, -kInf, kInf}, {-0.5, -kInf, kInf},
      {2.0, -kInf, 0.0}, {-2.0, -kInf, 0.0}, {0.5, kInf, 0.0}, {-0.5, kInf, 0.0}, {2.0, kInf, kInf},
      {-kDenormMin, kInf, 0.0},
      // pow(+-0, y).
      {0.0, -3.0, kInf}, {-0.0, -3.0, -kInf}, {-0.0, -odd_huge, -kInf}, {0.0, -2.0, kInf},
      {-0.0, -2.0, kInf}, {-0.0, -0.5, kInf}, {-0.0, -kInf, kInf}, {0.0, 3.0, 0.0},
      {-0.0, 3.0, -0.0}, {-0.0, odd_huge, -0.0}, {-0.0, 2.0, 0.0}, {-0.0, 0.5, 0.0},
      {-0.0, kInf, 0.0}, {-0.0, 1e300, 0.0},
      // pow(+-inf, y).
      {-kInf, -3.0, -0.0}, {-kInf, -2.0, 0.0}, {-kInf, -0.5, 0.0}, {-kInf, 3.0, -kInf},
      {-kInf, 2.0, kInf}, {-kInf, 0.5, kInf}, {kInf, -0.5, 0.0}, {kInf, 0.5, kInf},
      {kInf, kDenormMin, kInf}, {kInf, -kDenormMin, 0.0},
      // Negative x: NaN for non-integer y, the sign of odd integers.
      {-2.0, 0.5, kNaN}, {-8.0, 1.0 / 3.0, kNaN}, {-1.0, 0x1.0000000000001p51, kNaN}, {-1.0, 0x1.0000000000001p51 + 0.5, -1.0},
      {-kMax, 0.5, kNaN}, {-2.0, 3.0, -8.0}, {-2.0, -3.0, -0.125}, {-2.0, 2.0, 4.0},
      {-1.0, odd_huge, -1.0}, {-1.0, 0x1p53, 1.0}, {-1.0, 1e300, 1.0}, {-2.0, odd_huge, -kInf},
      {-2.0, -odd_huge, -0.0}, {-0.5, odd_huge, -0.0}, {-2.0, 1e300, kInf}, {-0.5, 1e300, 0.0},
      {-0.5, -1e300, kInf}, {-3.0, 21.0, -10460353203.0},
      // NaN otherwise.
      {kNaN, 1.0, kNaN}, {2.0, kNaN, kNaN}, {-1.0, kNaN, kNaN}
  };
  // clang-format on
  for (const Special& s : specials) {
    EXPECT_TRUE(same_bits(s.expected, portable_pow(s.x, s.y)))
        << std::hexfloat << s.x << ", " << s.y;
  }
}

// --- Accuracy over random arguments --------------------------------------------------------

TEST(mlPortableExpAccuracy, Exp) {
  sweep("exp", portable_exp, mpfr_exp,
        {{Draw::kUniform, -745.2, 709.8},
         {Draw::kUniform, -1.0, 1.0},
         {Draw::kSignedBinades, 0x1p-60, 1.0},
         {Draw::kUniform, -745.2, -708.0}});
}

TEST(mlPortableExpAccuracy, Log) {
  sweep("log", portable_log, mpfr_log,
        {{Draw::kBinades, kDenormMin, kMax},
         {Draw::kUniform, 0.5, 2.0},
         {Draw::kNearOne, 0x1p-52, 0x1p-6}});
}

const std::vector<Range> kHyperbolicRanges = {{Draw::kSignedBinades, 0x1p-30, 710.5},
                                              {Draw::kUniform, -20.0, 20.0},
                                              {Draw::kSignedBinades, 0x1p-8, 0x1p-4}};

TEST(mlPortableExpAccuracy, Sinh) { sweep("sinh", portable_sinh, mpfr_sinh, kHyperbolicRanges); }

TEST(mlPortableExpAccuracy, Cosh) { sweep("cosh", portable_cosh, mpfr_cosh, kHyperbolicRanges); }

TEST(mlPortableExpAccuracy, Pow) {
  std::mt19937_64 random(20240612);
  MpfrReference mpfr;
  const long long samples = paskosda_test::sample_count(20000);
  // (x, y) drawn together: typical, the whole range of x, negative x with integer y, and x near
  // 1 with y log x up to +-700.
  using Draw2 = std::pair<double, double> (*)(std::mt19937_64&);
  const Draw2 draws[] = {
      [](std::mt19937_64& r) {
        return std::pair{paskosda_test::uniform(r, 0.0, 100.0),
                         paskosda_test::uniform(r, -20.0, 20.0)};
      },
      [](std::mt19937_64& r) {
        return std::pair{paskosda_test::log_uniform(r, kDenormMin, kMax, false),
                         paskosda_test::uniform(r, -2.0, 2.0)};
      },
      [](std::mt19937_64& r) {
        const double x = -paskosda_test::log_uniform(r, 1e-3, 1e3, false);
        return std::pair{x, static_cast<double>(static_cast<int>(r() % 201) - 100)};
      },
      [](std::mt19937_64& r) {
        const double d = paskosda_test::log_uniform(r, 0x1p-40, 0x1p-3, true);
        return std::pair{1.0 + d, paskosda_test::uniform(r, -700.0, 700.0) / d};
      }};
  for (const Draw2 d : draws) {
    Accuracy accuracy;
    accuracy.name = "pow";
    for (long long i = 0; i < samples; ++i) {
      const auto [x, y] = d(random);
      mpfr.binary(accuracy, mpfr_pow, x, y, portable_pow(x, y));
    }
    expect_accurate(accuracy);
  }
}

// --- Hard cases ----------------------------------------------------------------------------

TEST(mlPortableExpHardCases, Exp) {
  // clang-format off
  std::vector<Case> cases = {
      {0x1p-1074, 1.0}, {-0x1p-54, 1.0}, {0x1p-53, 0x1.0000000000001p0}, {-0x1p-53, kNaN},
      {0x1.0000000000001p-53, kNaN}, {-0x1.8p-53, kNaN}, {-0x1.8p-52, kNaN},
      {0x1.62e42fefa39efp+9, kNaN}, // the largest argument with a finite result
      {0x1.62e42fefa39f0p+9, kInf}, {-0x1.6232bdd7abcd2p+9, kNaN}, // near 2^-1022
      {-0x1.6232bdd7abcd3p+9, kNaN}, {-0x1.74385446d71c3p+9, 0x1p-1074},
      {-0x1.74910d52d3051p+9, 0x1p-1074}, // just above half the smallest subnormal
      {-0x1.74910d52d3052p+9, 0.0}, {-0x1.7490p+9, kNaN}, {-745.0, kNaN}, {-740.0, kNaN},
      {708.0, kNaN}, {-708.0, kNaN}
  };
  // clang-format on
  // Arguments at or next to k ln2/256, where the reduced argument nearly vanishes.
  mpfr_t a;
  mpfr_init2(a, 200);
  for (long k : {1L, -1L, 255L, -256L, 1000L, -77777L, 181725L, -275000L, 262143L}) {
    mpfr_const_log2(a, MPFR_RNDN);
    mpfr_mul_si(a, a, k, MPFR_RNDN);
    mpfr_div_ui(a, a, 256, MPFR_RNDN);
    const double x = mpfr_get_d(a, MPFR_RNDN);
    for (const double y : {x, double_from_bits(bits_of(x) + 1), double_from_bits(bits_of(x) - 1)}) {
      cases.push_back({y, kNaN});
    }
  }
  mpfr_clear(a);
  check_cases("exp hard", portable_exp, mpfr_exp, cases);
}

TEST(mlPortableExpHardCases, Log) {
  // clang-format off
  std::vector<Case> cases = {
      {1.0, 0.0}, {0x1.0000000000001p0, kNaN}, {0x1.fffffffffffffp-1, kNaN},
      {0x1.0000000000003p0, kNaN}, {1.0 - 0x1p-10, kNaN}, {1.0 + 0x1p-9, kNaN}, {kDenormMin, kNaN},
      {0x0.fffffffffffffp-1022, kNaN}, {kMin, kNaN}, {kMax, kNaN}, {2.0, kNaN}, {0.5, kNaN},
      {0x1p-1022 * 3.0, kNaN}, {10.0, kNaN}
  };
  // clang-format on
  // Both ends of every table interval in several binades.
  for (std::uint64_t i = 0; i <= 256; ++i) {
    const std::uint64_t start = paskosda_detail::kLogTableStart + (i << 44);
    for (const std::uint64_t binade : {0ull, 600ull << 52, 0ull - (900ull << 52)}) {
      cases.push_back({double_from_bits(start + binade), kNaN});
      cases.push_back({double_from_bits(start + binade - 1), kNaN});
    }
  }
  check_cases("log hard", portable_log, mpfr_log, cases);
}

TEST(mlPortableExpHardCases, SinhCosh) {
  const double sinh_cosh_limit = 0x1.633ce8fb9f87dp+9;  // the largest finite result
  // clang-format off
  const std::vector<double> arguments = {
      sinh_cosh_limit, 0x1.633ce8fb9f87ep+9, 0x1.62e42fefa39efp+9, 0x1.62e42fefa39f0p+9, 0x1p-26,
      0x1.0000000000001p-26, 0x1.fffffffffffffp-27, 0x1p-27, 0x1p-6, 0x1.fffffffffffffp-7,
      0x1.0000000000001p-6, 26.0, 0x1.9ffffffffffffp+4, 0x1.62e42fefa39efp-10, 0.5, 1.0,
  };
  // clang-format on
  std::vector<Case> cases;
  for (const double x : arguments) {
    cases.push_back({x, kNaN});
    cases.push_back({-x, kNaN});
  }
  check_cases("sinh hard", portable_sinh, mpfr_sinh, cases);
  check_cases("cosh hard", portable_cosh, mpfr_cosh, cases);
  EXPECT_EQ(portable_cosh(0x1.633ce8fb9f87ep+9), kInf);
  EXPECT_EQ(portable_sinh(-0x1.633ce8fb9f87ep+9), -kInf);
}

TEST(mlPortableExpHardCases, Pow) {
  struct PowCase {
    double x;
    double y;
    double expected;  // NaN: below one ulp only
  };
  // clang-format off
  const PowCase cases[] = {
      // Exact results.
      {3.0, 20.0, 3486784401.0}, {2.0, -1074.0, kDenormMin}, {0.5, 3.0, 0.125}, {10.0, 22.0, 1e22},
      {2.0, 1023.0, 0x1p1023}, {4.0, 0.5, 2.0}, {0x1p-1074, 1.0, kDenormMin},
      {0x1p-1074, -0.5, 0x1p537}, {-2.0, -1074.0, kDenormMin}, {-2.0, -1073.0, -0x1p-1073},
      {7.0, -1.0, kNaN}, {0x1.fffffffffffffp1023, 1.0, 0x1.fffffffffffffp1023},
      {1e-200, 1.0, 1e-200}, {81.0, 0.25, 3.0}, {0.25, -1.5, 8.0},
      // x^2 rounds once: to even at a midpoint of two doubles, and below the normal range.
      {134217727.0, 2.0, 134217727.0 * 134217727.0}, {1e-160, 2.0, 1e-160 * 1e-160},
      // Overflow and the range just below.
      {2.0, 1024.0, kInf}, {2.0, 0x1.fffffffffffffp9, kNaN}, {10.0, 308.25471555991675, kNaN},
      {10.0, 308.26, kInf}, {0.5, -1024.0, kInf}, {-10.0, 309.0, -kInf},
      // Subnormal results and underflow.
      {2.0, -1022.5, kNaN}, {2.0, -1074.5, kNaN}, {2.0, -1076.0, 0.0}, {10.0, -323.5, kNaN},
      {10.0, -330.0, 0.0}, {-10.0, -323.0, kNaN}, {0x1p-537, 2.0, kNaN}, {1e-300, 1.07, kNaN},
      // x near 1 and large y.
      {0x1.0000000000001p0, 0x1p60, kNaN}, {0x1.fffffffffffffp-1, -0x1p62, kNaN},
      {0x1.0000000000001p0, 0x1p63, kInf}, {0x1.fffffffffffffp-1, 0x1p64, 0.0},
      {0x1.0000000000001p0, -0x1p64, 0.0}, {0x1.fffffffffffffp-1, -0x1.fffffffffffffp63, kInf},
      {1.0001, 7.0e6, kNaN}, {0.9999, -7.0e6, kNaN},
      // Tiny y, subnormal x.
      {2.0, kDenormMin, 1.0}, {0.5, -1e-300, 1.0}, {kMax, 1e-300, 1.0},
      {kDenormMin, 0.5, kNaN}, {0x0.fffffffffffffp-1022, -0.5, kNaN}, {kDenormMin, -1.0, kInf}
  };
  // clang-format on
  MpfrReference mpfr;
  Accuracy accuracy;
  accuracy.name = "pow hard";
  for (const PowCase& c : cases) {
    const double got = portable_pow(c.x, c.y);
    mpfr.binary(accuracy, mpfr_pow, c.x, c.y, got);
    EXPECT_LT(mpfr.last_error(got), 1.0) << std::hexfloat << c.x << ", " << c.y;
    if (c.expected == c.expected) {
      EXPECT_TRUE(same_bits(c.expected, got)) << c.x << ", " << c.y;
    }
  }
  accuracy.print();
}

// --- Tables --------------------------------------------------------------------------------

// Number of significant bits of x.
int significant_bits(double x) {
  std::uint64_t m = (bits_of(x) & 0x000fffffffffffff) | 0x0010000000000000;
  int bits = 53;
  while ((m & 1) == 0) {
    m >>= 1;
    --bits;
  }
  return bits;
}

TEST(mlPortableExpTables, AgreeWithMpfr) {
  mpfr_t exact, sum;
  mpfr_inits2(300, exact, sum, static_cast<mpfr_ptr>(nullptr));
  for (int j = 0; j < 256; ++j) {
    const auto& e = paskosda_detail::kExp2Table[j];
    EXPECT_LE(significant_bits(e.hi), 26) << j;
    mpfr_set_si(exact, j, MPFR_RNDN);
    mpfr_div_ui(exact, exact, 256, MPFR_RNDN);
    mpfr_ui_pow(exact, 2, exact, MPFR_RNDN);
    mpfr_set_d(sum, e.hi, MPFR_RNDN);
    mpfr_add_d(sum, sum, e.lo, MPFR_RNDN);
    mpfr_sub(sum, sum, exact, MPFR_RNDN);
    EXPECT_LE(std::abs(mpfr_get_d(sum, MPFR_RNDN)), 0x1p-78) << j;
  }
  const double bound = paskosda_detail::kLogReducedBound;
  for (unsigned i = 0; i < 256; ++i) {
    const auto& e = paskosda_detail::kLogTable[i];
    EXPECT_LE(significant_bits(e.c), 9) << i;
    // log_hi on the grid of 2^-42, and the sum -log(c).
    EXPECT_EQ(e.log_hi * 0x1p42, static_cast<double>(static_cast<std::int64_t>(e.log_hi * 0x1p42)));
    mpfr_set_d(exact, e.c, MPFR_RNDN);
    mpfr_log(exact, exact, MPFR_RNDN);
    mpfr_set_d(sum, e.log_hi, MPFR_RNDN);
    mpfr_add_d(sum, sum, e.log_lo, MPFR_RNDN);
    mpfr_add(sum, sum, exact, MPFR_RNDN);
    EXPECT_LE(std::abs(mpfr_get_d(sum, MPFR_RNDN)), 0x1p-95) << i;
    if (i == paskosda_detail::kLogTableCentre) {
      EXPECT_TRUE(e.c == 1.0 && bits_of(e.log_hi) == 0 && e.log_lo == 0.0);
    } else {
      EXPECT_GE(std::abs(e.log_hi), bound) << i;
    }
    // Both ends of the interval reduce to a double z c - 1 within the bound.
    const std::uint64_t start = paskosda_detail::kLogTableStart + (std::uint64_t{i} << 44);
    for (const std::uint64_t z_bits : {start, start + (std::uint64_t{1} << 44) - 1}) {
      mpfr_set_d(sum, double_from_bits(z_bits), MPFR_RNDN);
      mpfr_mul_d(sum, sum, e.c, MPFR_RNDN);
      mpfr_sub_ui(sum, sum, 1, MPFR_RNDN);
      const double r = mpfr_get_d(sum, MPFR_RNDN);
      EXPECT_LE(std::abs(r), bound) << i;
      EXPECT_EQ(mpfr_cmp_d(sum, r), 0) << i;
    }
  }
  mpfr_clears(exact, sum, static_cast<mpfr_ptr>(nullptr));
}

}  // namespace
