#ifndef PASKOSDA_TESTS_FUZZ_DECODED_FUNCTION_H
#define PASKOSDA_TESTS_FUZZ_DECODED_FUNCTION_H

// A function of one variable read from the fuzzer's bytes, for the harnesses of the
// integrators, minimisers and root finders: a polynomial of degree up to 6 with analytic
// derivatives, replaced outside a window by a constant (whose derivatives are 0) that may be
// NaN or an infinity. Input: degree, coefficients, window ends and outside value; with
// `with_domain`, then max_deriv and the declared domain (else the interface's defaults).

#include <limits>

#include "functions/mlFunction.h"
#include "fuzz_input.h"

namespace paskosda_fuzz {

class DecodedFunction : public mlFunction {
 public:
  DecodedFunction(Input& in, bool with_domain) : with_domain_(with_domain) {
    degree_ = in.integer(0, 6);
    for (int i = 0; i <= degree_; ++i)
      c_[i] = in.real();
    window_lo_ = in.real();
    window_hi_ = in.real();
    outside_ = in.real();
    if (with_domain_) {
      set_max_deriv(in.integer(0, 3));
      t_min_ = in.real();
      t_max_ = in.real();
    }
  }

  double function(double t) const override {
    // Bracketing has no iteration limit of its own: on a function that keeps falling it walks
    // until the abscissae overflow. A NaN ends its walk, so past a generous number of calls
    // the function answers NaN and every routine comes to an end quickly.
    if (++calls > kCallLimit) return std::numeric_limits<double>::quiet_NaN();
    return derivative(0, t);
  }
  double function_derivative(int order, double t) const override {
    ++calls;
    return derivative(order, t);
  }
  double t_min() const override { return with_domain_ ? t_min_ : mlFunction::t_min(); }
  double t_max() const override { return with_domain_ ? t_max_ : mlFunction::t_max(); }

  /// Evaluations of the function and its derivatives since the last reset.
  mutable long calls = 0;

 private:
  static constexpr long kCallLimit = 200000;

  // The order-th derivative of the polynomial by Horner's rule, or the outside constant
  // outside [window_lo, window_hi] (a NaN end leaves that side open).
  double derivative(int order, double t) const {
    if (t < window_lo_ || t > window_hi_) return order == 0 ? outside_ : 0.0;
    double s = 0.0;
    for (int i = degree_; i >= order; --i) {
      double k = 1.0;
      for (int j = 0; j < order; ++j)
        k *= static_cast<double>(i - j);
      s = s * t + k * c_[i];
    }
    return s;
  }

  bool with_domain_;
  int degree_ = 0;
  double c_[7] = {};
  double window_lo_ = 0.0;
  double window_hi_ = 0.0;
  double outside_ = 0.0;
  double t_min_ = 0.0;
  double t_max_ = 0.0;
};

}  // namespace paskosda_fuzz

#endif  // PASKOSDA_TESTS_FUZZ_DECODED_FUNCTION_H
