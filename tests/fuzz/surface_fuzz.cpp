// Fuzzes the surface minimisers on functions of (u, v) from the input, over patches that may
// be open, closed or periodic in either parameter: `mlMinimiser2` on a scalar surface (a
// quadratic plus trigonometric terms, a constant that may be NaN or infinite outside a box)
// with its analytic derivatives offered up to a decoded order, and `mlVectorMinimiser2` on the
// distance from a point to a vector surface, with or without second derivatives. Input: the
// scalar surface's data, domain and derivative order, the minimiser's patch, periodicity,
// tolerance, budget and start; then the same for the vector surface.

#include <cfloat>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "functions/mlFunction.h"
#include "fuzz_input.h"
#include "linalg/mlMatrix.h"
#include "linalg/mlSlice.h"
#include "linalg/mlVector.h"
#include "optim/mlMinimiser2.h"

namespace {

constexpr double kHalfPi = 1.5707963267948966;

// The order-k derivative of sin(x + phase): sin(x + phase + k pi/2).
double sin_derivative(int k, double x, double phase) { return std::sin(x + phase + k * kHalfPi); }

// An ordered pair of bounds (a NaN bound opens its side).
void bounds(paskosda_fuzz::Input& in, double& lo, double& hi) {
  lo = in.real();
  hi = in.real();
  if (std::isnan(lo)) lo = -DBL_MAX;
  if (std::isnan(hi)) hi = DBL_MAX;
  if (lo > hi) std::swap(lo, hi);
}

// A side at -DBL_MAX or +DBL_MAX is open, so only a pair strictly inside them, of finite
// width, can be periodic.
bool bounded(double lo, double hi) {
  return lo > -DBL_MAX && hi < DBL_MAX && std::isfinite(hi - lo);
}

// The patch, periodicity (only over a finite width, as `minimise` requires), tolerance and
// budget of a minimiser. patch holds the minimiser's patch on entry and the one in force on
// return.
void configure(paskosda_fuzz::Input& in, mlBaseMinimiser2& minimiser, double patch[4]) {
  double p[4];
  bounds(in, p[0], p[1]);
  bounds(in, p[2], p[3]);
  const bool set = in.flag();
  const bool u_periodic = in.flag() && bounded(p[0], p[1]);
  const bool v_periodic = in.flag() && bounded(p[2], p[3]);
  if (set || u_periodic || v_periodic) {
    minimiser.set_patch(p[0], p[1], p[2], p[3]);
    minimiser.set_periodic(u_periodic ? 1 : 0, v_periodic ? 1 : 0);
    for (int k = 0; k < 4; ++k)
      patch[k] = p[k];
  }
  minimiser.set_tolerance(in.real());
  minimiser.set_max_iterations(in.integer(-1, 60));
}

// The point found lies inside the patch, a side at -DBL_MAX or +DBL_MAX being open.
void expect_inside(double u, double v, const double patch[4]) {
  const auto low = [](double bound) { return bound == -DBL_MAX ? -HUGE_VAL : bound; };
  const auto high = [](double bound) { return bound == DBL_MAX ? HUGE_VAL : bound; };
  FUZZ_EXPECT(low(patch[0]) <= u && u <= high(patch[1]));
  FUZZ_EXPECT(low(patch[2]) <= v && v <= high(patch[3]));
}

// f = 1/2 (a u^2 + 2 b uv + c v^2) + d u + e v + s sin(u + p) + t sin(v + q), or the constant
// `outside` beyond the box |u|, |v| <= r.
class Scalar : public mlFunction2 {
 public:
  explicit Scalar(paskosda_fuzz::Input& in) {
    for (double& k : k_)
      k = in.real();
    r_ = in.real();
    outside_ = in.real();
    bounds(in, domain_[0], domain_[1]);
    bounds(in, domain_[2], domain_[3]);
    set_max_deriv(in.integer(0, 2));
  }

  double function(double u, double v) const override {
    if (std::fabs(u) > r_ || std::fabs(v) > r_) return outside_;
    return 0.5 * (k_[0] * u * u + 2.0 * k_[1] * u * v + k_[2] * v * v) + k_[3] * u + k_[4] * v +
           k_[5] * std::sin(u + k_[6]) + k_[7] * std::sin(v + k_[8]);
  }
  double uv_function_derivative(int i, int j, double u, double v) const override {
    if (i + j < 1 || i + j > 2) return mlFunction2::uv_function_derivative(i, j, u, v);
    if (std::fabs(u) > r_ || std::fabs(v) > r_) return 0.0;
    double s = 0.0;
    if (i == 1 && j == 0) s = k_[0] * u + k_[1] * v + k_[3];
    if (i == 0 && j == 1) s = k_[1] * u + k_[2] * v + k_[4];
    if (i == 2) s = k_[0];
    if (i == 1 && j == 1) s = k_[1];
    if (j == 2) s = k_[2];
    if (j == 0) s += k_[5] * sin_derivative(i, u, k_[6]);
    if (i == 0) s += k_[7] * sin_derivative(j, v, k_[8]);
    return s;
  }
  double u_min() const override { return domain_[0]; }
  double u_max() const override { return domain_[1]; }
  double v_min() const override { return domain_[2]; }
  double v_max() const override { return domain_[3]; }

 private:
  double k_[9] = {};
  double r_ = 0.0;
  double outside_ = 0.0;
  double domain_[4] = {};
};

// F_k(u, v) = a_k u + b_k v + c_k uv + d_k sin(u) + e_k cos(v) - P_k, for k < dimension.
class Vector : public mlFunctionN {
 public:
  Vector(paskosda_fuzz::Input& in, int dimension) : mlFunctionN(2, dimension) {
    for (int k = 0; k < dimension; ++k) {
      for (double& x : c_[k])
        x = in.real();
    }
    second_ = in.flag();
  }

  void function(const mlSlice& x, mlVector& f) const override {
    int orders[2] = {0, 0};
    derivative(x, orders, f);
  }
  void function_gradient(const mlSlice& x, mlMatrix& J) const override {
    J.become(dimension(), 2);
    mlVector d;
    for (int c = 0; c < 2; ++c) {
      int orders[2] = {c == 0 ? 1 : 0, c == 1 ? 1 : 0};
      derivative(x, orders, d);
      for (int r = 0; r < dimension(); ++r)
        J(r, c) = d[r];
    }
  }
  void function_derivative(const mlSlice& x, int* const orders, mlVector& d) const override {
    // Without second derivatives d is left untouched, as the interface's default leaves it.
    if (second_) derivative(x, orders, d);
  }

 private:
  void derivative(const mlSlice& x, const int* orders, mlVector& d) const {
    const int i = orders[0];
    const int j = orders[1];
    const double u = x[0];
    const double v = x[1];
    d.become(mlVectorDim, dimension());
    for (int k = 0; k < dimension(); ++k) {
      const double* c = c_[k];
      double s = 0.0;
      if (i == 0 && j == 0) s = c[0] * u + c[1] * v + c[2] * u * v - c[5];
      if (i == 1 && j == 0) s = c[0] + c[2] * v;
      if (i == 0 && j == 1) s = c[1] + c[2] * u;
      if (i == 1 && j == 1) s = c[2];
      if (j == 0) s += c[3] * sin_derivative(i, u, 0.0);
      if (i == 0) s += c[4] * sin_derivative(j, v, kHalfPi);
      d[k] = s;
    }
  }

  double c_[3][6] = {};
  bool second_ = false;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  paskosda_fuzz::Input in(data, size);
  const Scalar f(in);
  mlMinimiser2 scalar(f);
  double patch[4] = {f.u_min(), f.u_max(), f.v_min(), f.v_max()};
  configure(in, scalar, patch);
  double u = in.real();
  double v = in.real();
  const mlMinimiser2State state = scalar.minimise(u, v);
  FUZZ_EXPECT(state >= mlMinimiser2Converged && state <= mlMinimiser2NoProgress);
  FUZZ_EXPECT(scalar.iterations() >= 0);
  expect_inside(u, v, patch);

  const Vector F(in, in.integer(1, 3));
  mlVectorMinimiser2 vector(F);
  double open[4] = {-DBL_MAX, DBL_MAX, -DBL_MAX, DBL_MAX};
  configure(in, vector, open);
  double s = in.real();
  double t = in.real();
  const mlMinimiser2State vector_state = vector.minimise(s, t);
  FUZZ_EXPECT(vector_state >= mlMinimiser2Converged && vector_state <= mlMinimiser2NoProgress);
  expect_inside(s, t, open);
  return 0;
}
