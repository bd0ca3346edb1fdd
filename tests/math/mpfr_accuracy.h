#ifndef PASKOSDA_TESTS_MATH_MPFR_ACCURACY_H
#define PASKOSDA_TESTS_MATH_MPFR_ACCURACY_H

// Accuracy of a double function measured against MPFR: the error of each result in units in
// the last place of the exact value, and whether the result is the correctly rounded one.

#include <mpfr.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>

namespace paskosda_test {

using MpfrUnary = int (*)(mpfr_ptr, mpfr_srcptr, mpfr_rnd_t);
using MpfrBinary = int (*)(mpfr_ptr, mpfr_srcptr, mpfr_srcptr, mpfr_rnd_t);

/// Running totals of one function over many arguments.
struct Accuracy {
  std::string name;
  long long samples = 0;
  long long correctly_rounded = 0;
  double max_ulp = 0.0;
  double worst_x = 0.0;
  double worst_y = 0.0;

  double rounded_share() const {
    return samples == 0 ? 1.0
                        : static_cast<double>(correctly_rounded) / static_cast<double>(samples);
  }
  void print() const {
    std::printf("%-8s %10lld arguments  max %.4f ulp at (%a, %a)  correctly rounded %.5f %%\n",
                name.c_str(), samples, max_ulp, worst_x, worst_y, 100.0 * rounded_share());
  }
};

/// Compares results with MPFR's value at 256 bits.
class MpfrReference {
 public:
  MpfrReference() { mpfr_inits2(256, exact_, x_, y_, difference_, static_cast<mpfr_ptr>(nullptr)); }
  ~MpfrReference() { mpfr_clears(exact_, x_, y_, difference_, static_cast<mpfr_ptr>(nullptr)); }
  MpfrReference(const MpfrReference&) = delete;
  MpfrReference& operator=(const MpfrReference&) = delete;

  /// Records got = f(x), f being MPFR's function.
  void unary(Accuracy& a, MpfrUnary f, double x, double got) {
    mpfr_set_d(x_, x, MPFR_RNDN);
    f(exact_, x_, MPFR_RNDN);
    record(a, x, 0.0, got);
  }
  /// Records got = f(x, y).
  void binary(Accuracy& a, MpfrBinary f, double x, double y, double got) {
    mpfr_set_d(x_, x, MPFR_RNDN);
    mpfr_set_d(y_, y, MPFR_RNDN);
    f(exact_, x_, y_, MPFR_RNDN);
    record(a, x, y, got);
  }

  /// The error of got against the last exact value, in ulps of that value (binary64 ulps,
  /// with the subnormal spacing at the bottom of the range); 0 when got is the correctly
  /// rounded value, infinite when got is a NaN or infinity that the correctly rounded value
  /// is not.
  double last_error(double got) {
    const double rounded = mpfr_get_d(exact_, MPFR_RNDN);
    if (same(rounded, got)) return 0.0;
    if (!std::isfinite(got) || mpfr_nan_p(exact_) || mpfr_inf_p(exact_)) return HUGE_VAL;
    if (mpfr_zero_p(exact_)) return std::fabs(got) / 0x1p-1074;
    mpfr_set_d(difference_, got, MPFR_RNDN);
    const long exponent = mpfr_get_exp(exact_);  // 2^(e-1) <= |exact| < 2^e
    mpfr_sub(difference_, difference_, exact_, MPFR_RNDN);
    mpfr_mul_2si(difference_, difference_, 53 - (exponent > -1021 ? exponent : -1021), MPFR_RNDN);
    return std::fabs(mpfr_get_d(difference_, MPFR_RNDN));
  }

 private:
  // Equal bits, or both NaN.
  static bool same(double a, double b) {
    if (std::isnan(a) || std::isnan(b)) return std::isnan(a) && std::isnan(b);
    return std::memcmp(&a, &b, sizeof a) == 0;
  }
  void record(Accuracy& a, double x, double y, double got) {
    const double error = last_error(got);
    ++a.samples;
    if (error == 0.0) ++a.correctly_rounded;
    if (error > a.max_ulp) {
      a.max_ulp = error;
      a.worst_x = x;
      a.worst_y = y;
    }
  }

  mpfr_t exact_, x_, y_, difference_;
};

/// How many random arguments an accuracy sweep draws: `fallback`, unless the environment
/// variable PASKOSDA_MATH_SAMPLES gives another count.
inline long long sample_count(long long fallback) {
  const char* text = std::getenv("PASKOSDA_MATH_SAMPLES");
  return text != nullptr ? std::atoll(text) : fallback;
}

/// Uniformly distributed in [a, b).
inline double uniform(std::mt19937_64& random, double a, double b) {
  return a + (b - a) * std::uniform_real_distribution<double>(0.0, 1.0)(random);
}

/// Magnitudes spread evenly over the binary exponents of [lo, hi] (0 < lo < hi), with a random
/// sign when `signed_values`.
inline double log_uniform(std::mt19937_64& random, double lo, double hi, bool signed_values) {
  std::uint64_t a = 0, b = 0;
  std::memcpy(&a, &lo, sizeof a);
  std::memcpy(&b, &hi, sizeof b);
  const std::uint64_t bits = std::uniform_int_distribution<std::uint64_t>(a, b)(random);
  double x = 0.0;
  std::memcpy(&x, &bits, sizeof x);
  return signed_values && (random() & 1u) != 0 ? -x : x;
}

}  // namespace paskosda_test

#endif  // PASKOSDA_TESTS_MATH_MPFR_ACCURACY_H
