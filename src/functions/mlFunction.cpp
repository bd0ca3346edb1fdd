#include "functions/mlFunction.h"

#include <cfloat>

#include "containers/utCheck.h"
#include "containers/ut_numeric_cast.h"

// ---- mlFunction -----------------------------------------------------------------------------

double mlFunction::function_derivative(int, double) const { return -666.0; }

double mlFunction::t_min() const { return -DBL_MAX; }

double mlFunction::t_max() const { return DBL_MAX; }

mlFunction::~mlFunction() = default;

// ---- mlFunction2 ----------------------------------------------------------------------------

double mlFunction2::u_function_derivative(int order, double u, double v) const {
  return uv_function_derivative(order, 0, u, v);
}

double mlFunction2::v_function_derivative(int order, double u, double v) const {
  return uv_function_derivative(0, order, u, v);
}

double mlFunction2::uv_function_derivative(int, int, double, double) const { return -666.0; }

double mlFunction2::u_min() const { return -DBL_MAX; }

double mlFunction2::u_max() const { return DBL_MAX; }

double mlFunction2::v_min() const { return -DBL_MAX; }

double mlFunction2::v_max() const { return DBL_MAX; }

mlFunction2::~mlFunction2() = default;

// ---- mlFunctionN ----------------------------------------------------------------------------

void mlFunctionN::function_derivative(const mlSlice&, int* const, mlVector&) const {}

mlFunctionN::~mlFunctionN() = default;

// ---- mlFunctionN1 ---------------------------------------------------------------------------

void mlFunctionN1::gradient(const mlSlice& x, mlVector& g) const {
  calculate_gradient_by_finite_differences(x, g);
}

void mlFunctionN1::hessian(const mlSlice& x, mlMatrix& H) const {
  calculate_hessian_by_finite_differences(x, H);
}

mlFunctionN1::~mlFunctionN1() = default;

void mlFunctionN1::calculate_gradient_by_finite_differences(const mlSlice& x, mlVector& g) const {
  // An absolute step, not scaled by |x[i]|; the factor is the stored reciprocal of 2h, so the
  // difference is multiplied, never divided.
  constexpr double h = 1.19e-7;
  constexpr double reciprocal_2h = 4201680.672268908;
  const int n = variables();
  PASKOSDA_CHECK(x.dimension() >= n, "calculate_gradient_by_finite_differences: x has %d of %d",
                 x.dimension(), n);
  if (g.dimension() != n) g.become(mlVectorDim, n);
  mlVector w(utCopy, x);
  const mlSlice at = w.slice();
  for (int i = 0; i < n; ++i) {
    w[i] = x[i] - h;
    const double fm = function(at);
    w[i] = x[i] + h;
    const double fp = function(at);
    g[i] = (fp - fm) * reciprocal_2h;
    w[i] = x[i];
  }
}

void mlFunctionN1::calculate_hessian_by_finite_differences(const mlSlice& x, mlMatrix& H) const {
  // Deliberately a different step from the gradient's 1.19e-7.
  constexpr double h = 1e-7;
  constexpr double reciprocal_2h = 5000000.0;
  constexpr double reciprocal_h = 10000000.0;
  const int n = variables();
  PASKOSDA_CHECK(x.dimension() >= n, "calculate_hessian_by_finite_differences: x has %d of %d",
                 x.dimension(), n);
  if (H.rows() != n || H.cols() != n) H.become(n, n);
  mlVector w(utCopy, x);
  const mlSlice at = w.slice();
  for (int i = 0; i < n; ++i) {
    for (int j = i + 1; j < n; ++j) {
      w[j] = x[j] - h;
      w[i] = x[i] - h;
      const double fmm = function(at);
      w[i] = x[i] + h;
      const double fpm = function(at);
      w[j] = x[j] + h;
      w[i] = x[i] - h;
      const double fmp = function(at);
      w[i] = x[i] + h;
      const double fpp = function(at);
      const double hij =
          ((fpp - fmp) * reciprocal_2h - (fpm - fmm) * reciprocal_2h) * reciprocal_2h;
      H(i, j) = hij;
      H(j, i) = hij;
      w[j] = x[j];
      w[i] = x[i];
    }
    // The unperturbed value is evaluated again for every row, as the cost count promises.
    const double f00 = function(at);
    w[i] = x[i] - h;
    const double fm = function(at);
    w[i] = x[i] + h;
    const double fp = function(at);
    H(i, i) = ((fp - f00) * reciprocal_h - (f00 - fm) * reciprocal_h) * reciprocal_h;
    w[i] = x[i];
  }
}

// ---- free functions -------------------------------------------------------------------------

int sum(const int* a, int n) noexcept {
  // Accumulated modulo 2^width, which is what an int sum gives when it does not overflow and
  // is defined when it would.
  unsigned total = 0u;
  for (int i = 0; i < n; ++i)
    total += static_cast<unsigned>(a[i]);
  bool overflow = false;
  return ut_numeric_cast<int>(total, overflow);
}
