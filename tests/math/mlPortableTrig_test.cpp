// sin, cos, atan2 and hypot of the portable layer against MPFR: random sweeps over the ranges
// that take different paths, the values C99 Annex F fixes, arguments known to be hard, and the
// bits of 2/π that the reduction of huge arguments relies on.

#include <gtest/gtest.h>
#include <mpfr.h>

#include <cfloat>
#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <random>
#include <string>

#include "math/mlDoubleDouble.h"
#include "math/mlPortableMath.h"
#include "math/mlPortableReduction.h"
#include "math/mpfr_accuracy.h"

namespace {

using paskosda_detail::bits_of;
using paskosda_detail::portable_atan2;
using paskosda_detail::portable_cos;
using paskosda_detail::portable_hypot;
using paskosda_detail::portable_sin;
using paskosda_test::Accuracy;
using paskosda_test::MpfrReference;

constexpr long long kSamplesPerRange = 50000;
constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kPi = 0x1.921fb54442d18p+1;  // all four rounded to nearest
constexpr double kHalfPi = 0x1.921fb54442d18p+0;
constexpr double kQuarterPi = 0x1.921fb54442d18p-1;
constexpr double kThreeQuarterPi = 0x1.2d97c7f3321d2p+1;

// A function under test and MPFR's counterpart; a unary function ignores the second argument.
struct Function {
  const char* name;
  double (*portable)(double, double);
  paskosda_test::MpfrUnary unary;
  paskosda_test::MpfrBinary binary;
};
const Function kSin{"sin", [](double a, double) { return portable_sin(a); }, mpfr_sin, nullptr};
const Function kCos{"cos", [](double a, double) { return portable_cos(a); }, mpfr_cos, nullptr};
const Function kAtan2{"atan2", portable_atan2, nullptr, mpfr_atan2};
const Function kHypot{"hypot", portable_hypot, nullptr, mpfr_hypot};

double record(MpfrReference& mpfr, Accuracy& acc, const Function& f, double a, double b) {
  const double got = f.portable(a, b);
  if (f.unary != nullptr) {
    mpfr.unary(acc, f.unary, a, got);
  } else {
    mpfr.binary(acc, f.binary, a, b, got);
  }
  return got;
}

// Arguments drawn uniformly in [lo, hi), or with magnitudes spread evenly over the binary
// exponents of [lo, hi] and a random sign. For two arguments, the second is drawn the same way
// and, when `relative`, multiplied by the first.
struct Range {
  const char* name;
  double lo, hi;
  bool spread;
  bool relative = false;
};
double draw(std::mt19937_64& random, const Range& r) {
  return r.spread ? paskosda_test::log_uniform(random, r.lo, r.hi, true)
                  : paskosda_test::uniform(random, r.lo, r.hi);
}

void sweep(const Function& f, std::initializer_list<Range> ranges) {
  MpfrReference mpfr;
  std::mt19937_64 random(2024);
  const long long samples = paskosda_test::sample_count(kSamplesPerRange);
  for (const Range& r : ranges) {
    Accuracy acc{std::string(f.name) + " " + r.name};
    for (long long i = 0; i < samples; ++i) {
      const double a = draw(random, r);
      const double b = draw(random, r);
      record(mpfr, acc, f, a, r.relative ? a * b : b);
    }
    acc.print();
    EXPECT_LT(acc.max_ulp, 1.0) << acc.name;
    EXPECT_GE(acc.rounded_share(), 0.999) << acc.name;
  }
}

TEST(mlPortableTrigAccuracy, Sin) {
  sweep(kSin, {{"|x|<pi/4", -kQuarterPi, kQuarterPi, false},
               {"|x|<10", -10, 10, false},
               {"tiny", 0x1p-1074, 0x1p-26, true},
               {"<2^20", 0x1p-26, 0x1p20, true},  // up to 2^20 by the four-part π/2
               {">2^20", 0x1p20, DBL_MAX, true}});
}

TEST(mlPortableTrigAccuracy, Cos) {
  sweep(kCos, {{"|x|<pi/4", -kQuarterPi, kQuarterPi, false},
               {"|x|<10", -10, 10, false},
               {"<2^20", 0x1p-30, 0x1p20, true},
               {">2^20", 0x1p20, DBL_MAX, true}});
}

TEST(mlPortableTrigAccuracy, Atan2) {
  sweep(kAtan2, {{"unit", -1, 1, false},
                 {"all", 0x1p-1074, DBL_MAX, true},  // quotients over and underflow
                 {"y/x", 0x1p-60, 0x1p60, true, true}});
}

TEST(mlPortableTrigAccuracy, Hypot) {
  sweep(kHypot, {{"|x|<10", -10, 10, false},
                 {"all", 0x1p-1074, DBL_MAX, true},
                 {"y/x", 0x1p-40, 0x1p40, true, true},
                 {"subnormal", 0x1p-1074, 0x1p-1022, true}});
}

// Equal bits, or both NaN: the sign of every zero counts.
void expect_same(double got, double expected, const Function& f, double a, double b) {
  if (std::isnan(expected) && std::isnan(got)) return;
  EXPECT_EQ(bits_of(got), bits_of(expected)) << f.name << "(" << a << ", " << b << ") gave " << got;
}

// The values C99 Annex F fixes, and arguments that must come through unchanged.
TEST(mlPortableTrigSpecial, AnnexFValues) {
  const double tiny = 0x1p-1074;
  const struct {
    double x, sin, cos;
  } unary[] = {
      {0.0, 0.0, 1.0},    {-0.0, -0.0, 1.0},   {tiny, tiny, 1.0}, {-0x1.8p-1040, -0x1.8p-1040, 1.0},
      {kInf, kNan, kNan}, {-kInf, kNan, kNan}, {kNan, kNan, kNan}};
  for (const auto& c : unary) {
    expect_same(portable_sin(c.x), c.sin, kSin, c.x, 0);
    expect_same(portable_cos(c.x), c.cos, kCos, c.x, 0);
  }
  struct Binary {
    double a, b, expected;
  };
  const Binary atan2[] = {{0.0, -0.0, kPi},
                          {-0.0, -0.0, -kPi},
                          {0.0, 0.0, 0.0},
                          {-0.0, 0.0, -0.0},
                          {0.0, -tiny, kPi},
                          {-0.0, -5.0, -kPi},
                          {0.0, 5.0, 0.0},
                          {-0.0, tiny, -0.0},
                          {-3.0, 0.0, -kHalfPi},
                          {-tiny, -0.0, -kHalfPi},
                          {DBL_MAX, -0.0, kHalfPi},
                          {3.0, -kInf, kPi},
                          {-3.0, -kInf, -kPi},
                          {3.0, kInf, 0.0},
                          {-DBL_MAX, kInf, -0.0},
                          {kInf, 1.0, kHalfPi},
                          {-kInf, -DBL_MAX, -kHalfPi},
                          {kInf, -0.0, kHalfPi},
                          {kInf, -kInf, kThreeQuarterPi},
                          {-kInf, -kInf, -kThreeQuarterPi},
                          {kInf, kInf, kQuarterPi},
                          {-kInf, kInf, -kQuarterPi},
                          {0.0, -kInf, kPi},
                          {-0.0, kInf, -0.0},
                          {kNan, 1.0, kNan},
                          {1.0, kNan, kNan},
                          {kInf, kNan, kNan}};
  for (const Binary& c : atan2)
    expect_same(portable_atan2(c.a, c.b), c.expected, kAtan2, c.a, c.b);
  const Binary hypot[] = {{kInf, kNan, kInf},        {kNan, -kInf, kInf}, {-kInf, 0.0, kInf},
                          {kNan, 1.0, kNan},         {0.0, kNan, kNan},   {-7.5, 0.0, 7.5},
                          {-0.0, -DBL_MAX, DBL_MAX}, {-tiny, -0.0, tiny}, {-0.0, -0.0, 0.0}};
  for (const Binary& c : hypot)
    expect_same(portable_hypot(c.a, c.b), c.expected, kHypot, c.a, c.b);
}

// Arguments where a weaker method loses bits: every result must be the correctly rounded one.
TEST(mlPortableTrigHardCases, CorrectlyRounded) {
  // Near multiples of π/2 (the closest below 2^20 is 0x1.6c6cbc45dc8dep+5, the closest of all
  // 6381956970095103 2^797, and their doubles stay close), the bounds between the methods.
  const double sin_cos[] = {
      kPi,
      kHalfPi,
      0x1.2d97c7f3321d2p+2,
      0x1.6c6cbc45dc8dep+5,
      0x1.6c6cbc45dc8dep+6,
      0x1.6c6cbc45dc8dep+19,
      -0x1.6ac5b262ca1ffp+849,
      0x1.6ac5b262ca1ffp+851,
      1e22,
      DBL_MAX,
      -DBL_MAX,
      0x1p20,
      0x1.fffffffffffffp19,
      kQuarterPi,
      0x1.921fb54442d19p-1,
      0x1p-26,
      0x1p-27,
      -0x1.fffffffffffffp-28,
      // |r| near 2^-12, where the short reduction hands over to the long one
      kHalfPi + 0x1p-12,
      kHalfPi - 0x1p-12,
      -(kPi + 0x1.0000000000001p-12),
      -(kPi - 0x1.fffffffffffffp-13),
  };
  struct Pair {
    double a, b;
  };
  const Pair atan2[] = {{1.0, -DBL_MAX},  // quotients far out of range, or subnormal
                        {-DBL_MAX, 0x1p-1074},
                        {0x1p-1074, DBL_MAX},
                        {-0x1.8p-1073, 1.5},
                        {0x1p-1000, -0x1p40},
                        {-0x1.fffffffffffffp-41, 1.0},  // both sides of the series' limit
                        {1.0, 0x1p40},
                        {0x1p-1060, 0x1p-1070},
                        {3.0, 3.0},
                        {-5.0, -5.0},
                        {1.0, 128.0 / 3},       // halfway between breakpoints
                        {0x1p-401, -0x1p-400},  // both sides of scaling the arguments
                        {-0x1.8p-401, 0x1.fffffffffffffp-401},
                        {0x1.fffffffffffffp399, 0x1.8p399},
                        {0x1p400, 0x1.8p399}};
  const Pair hypot[] = {{DBL_MAX, DBL_MAX},  // overflow, and just not
                        {DBL_MAX, 1.0},
                        {0x1p1023, -0x1p1023},
                        {0x1.6a09e667f3bccp+1023, 0x1.6a09e667f3bccp+1023},
                        {3 * 0x1p-1074, 4 * 0x1p-1074},  // subnormal results
                        {0x1p-1074, 0x1p-1074},
                        {DBL_MIN, -DBL_MIN},
                        {1.0, 0x1p-27},  // both sides of returning the larger
                        {1.0, 0x1.fffffffffffffp-28},
                        {0x1.fffffffffffffp+0, 0x1.8p-27},
                        {0x1.fffffffffffffp+449, -0x1.8p+449},  // both sides of scaling them
                        {0x1p450, 0x1.8p449},
                        {0x1p-450, -0x1.8p-450},
                        {0x1.fffffffffffffp-451, 0x1.8p-450}};
  MpfrReference mpfr;
  Accuracy acc{"hard"};
  auto check = [&](const Function& f, double a, double b) {
    EXPECT_EQ(mpfr.last_error(record(mpfr, acc, f, a, b)), 0.0)
        << f.name << "(" << a << ", " << b << ")";
  };
  for (double x : sin_cos) {
    check(kSin, x, 0);
    check(kCos, x, 0);
  }
  for (const Pair& c : atan2)
    check(kAtan2, c.a, c.b);
  for (const Pair& c : hypot)
    check(kHypot, c.a, c.b);
}

// The table of 2/π against MPFR's, word for word.
TEST(mlPortableTrigReduction, TwoOverPiTable) {
  const int bits = 32 * paskosda_detail::kTwoOverPiWordCount;
  mpfr_t v;
  mpfr_init2(v, bits + 64);
  mpfr_const_pi(v, MPFR_RNDN);
  mpfr_ui_div(v, 2, v, MPFR_RNDN);
  for (int j = 0; j < paskosda_detail::kTwoOverPiWordCount; ++j) {
    mpfr_mul_2ui(v, v, 32, MPFR_RNDN);
    const unsigned long word = mpfr_get_ui(v, MPFR_RNDZ);
    mpfr_sub_ui(v, v, word, MPFR_RNDN);
    EXPECT_EQ(paskosda_detail::kTwoOverPiWords[j], word) << "word " << j;
  }
  mpfr_clear(v);
}

}  // namespace
