#ifndef PASKOSDA_ROOTS_MLPOLYNOMIAL_H
#define PASKOSDA_ROOTS_MLPOLYNOMIAL_H

/// \file
/// Polynomials of one variable with double coefficients (`mlPolynomial`), on operations shared
/// with the polynomial curves.

#include <cmath>
#include <ostream>

#include "containers/coDynArr.h"
#include "containers/utCheck.h"
#include "containers/utOstream.h"

/// Implementation details that the headers must show to the compiler; not part of the
/// interface. `PolynomialFamily` is documented as the base that gives `mlPolynomial` and the
/// polynomial curves their operations.
namespace paskosda_detail {

// What the polynomial algorithms below need of a coefficient type: they run unchanged on
// double coefficients and on tiny-vector coefficients (curves), whose header specialises this.
template <class C>
struct CoefficientOps;

template <>
struct CoefficientOps<double> {
  static void set_zero(double& x) noexcept { x = 0.0; }
  // c += s * b: one product, one sum.
  static void add_scaled(double& c, double s, double b) noexcept { c += s * b; }
  // How far apart two successive fitted values are.
  static double distance(double a, double b) noexcept { return std::fabs(a - b); }
};

/// The operations shared by scalar polynomials (C = double) and polynomial curves (C a tiny
/// vector). A polynomial of degree d is an array of d + 1 coefficients, lowest power first,
/// owned by the caller with room for any growth an operation makes. The object itself only
/// owns the work arrays of the fits, so that repeated fits do not allocate.
template <class C>
class PolynomialFamily {
 public:
  /// c[0 .. d] = 0 (nothing for d < 0).
  static void set_zero(int d, C* c) noexcept {
    for (int i = 0; i <= d; ++i)
      CoefficientOps<C>::set_zero(c[i]);
  }
  /// c[0 .. d] = a[0 .. d].
  static void copy(int d, const C* a, C* c) noexcept {
    for (int i = 0; i <= d; ++i)
      c[i] = a[i];
  }
  /// c[i] += a[i] for i = 0 .. d (the second degree is not used).
  static void add(int d, const C* a, int /*dc*/, C* c) noexcept {
    for (int i = 0; i <= d; ++i)
      c[i] += a[i];
  }
  /// c[i] -= a[i] for i = 0 .. d (the second degree is not used).
  static void subtract(int d, const C* a, int /*dc*/, C* c) noexcept {
    for (int i = 0; i <= d; ++i)
      c[i] -= a[i];
  }
  /// c[i] *= s for i = 0 .. d.
  static void multiply(double s, int d, C* c) noexcept {
    for (int i = 0; i <= d; ++i)
      c[i] *= s;
  }
  /// c = a * b for a scalar polynomial a: dc = da + db, c zeroed, then c[i + j] += a[i] * b[j]
  /// with the loop over a outside. c must not overlap a or b.
  static void multiply(int da, const double* a, int db, const C* b, int& dc, C* c) noexcept {
    dc = da + db;
    set_zero(dc, c);
    for (int i = 0; i <= da; ++i) {
      for (int j = 0; j <= db; ++j)
        CoefficientOps<C>::add_scaled(c[i + j], a[i], b[j]);
    }
  }
  /// Horner's rule from the top coefficient, accumulated in `value`. The zero polynomial
  /// (d < 0) has no coefficient to start from and gives 0.
  static void evaluate(int d, const C* c, double t, C& value) noexcept {
    if (d < 0) {
      CoefficientOps<C>::set_zero(value);
      return;
    }
    value = c[d];
    for (int i = d - 1; i >= 0; --i) {
      value *= t;
      value += c[i];
    }
  }
  /// Differentiates in place `order` times (nothing for order < 1): c[i - 1] = i * c[i],
  /// c[d] = 0 and d -= 1 (a constant becomes degree -1 with c[0] = 0). An order above d + 1 is
  /// not allowed.
  static void derivative(int order, int& d, C* c) noexcept {
    PASKOSDA_CHECK(order <= d + 1, "derivative: order %d of a polynomial of degree %d", order, d);
    for (int k = 0; k < order; ++k) {
      // Ascending, so that each c[i] is read before it is overwritten.
      for (int i = 1; i <= d; ++i) {
        c[i - 1] = c[i];
        c[i - 1] *= static_cast<double>(i);
      }
      // Past a constant (degree -1) there is no coefficient left to clear.
      if (d >= 0) {
        CoefficientOps<C>::set_zero(c[d]);
        d -= 1;
      }
    }
  }
  /// Integrates in place with constant 0: c[i + 1] = c[i] * (1 / (i + 1)) from the top down,
  /// the reciprocal formed first; c[0] = 0; d += 1. c needs room for d + 2 coefficients.
  static void integral(int& d, C* c) noexcept {
    for (int i = d; i >= 0; --i) {
      const double r = 1.0 / (i + 1);
      c[i + 1] = c[i];
      c[i + 1] *= r;
    }
    CoefficientOps<C>::set_zero(c[0]);
    d += 1;
  }
  /// From the highest power down: each coefficient followed by "t^", the power and " + " (the
  /// power-1 term by "t + "), then c[0] and an end of line.
  static void print(utOstream& os, int d, const C* c) {
    for (int i = d; i >= 1; --i) {
      os << c[i];
      if (i > 1) {
        os << "t^" << i << " + ";
      } else {
        os << "t + ";
      }
    }
    os << c[0] << std::endl;
  }
  /// The same on a temporary `utOstream` over os.
  static void print(std::ostream& os, int d, const C* c) {
    utOstream out(os, 0, 2);
    print(out, d, c);
  }

  /// c = a * c in place (through a work array); dc becomes da + dc.
  void multiply(int da, const double* a, int& dc, C* c) noexcept {
    term_.clear(0);
    term_.expand(da + dc + 2);
    int degree = 0;
    multiply(da, a, dc, c, degree, term_.data());
    copy(degree, term_.data(), c);
    dc = degree;
  }

  /// The interpolating polynomial of degree n through (t[i], y[i]), i = 0 ... n, by Lagrange's
  /// construction: for each i the basis polynomial, the product of (t - t[j]) / (t[i] - t[j])
  /// over j != i in increasing order, times y[i], summed into c. Coincident parameters divide
  /// by zero; they are not checked.
  void fit(const double* t, const C* y, int n, C* c) noexcept {
    basis_.clear(0);
    basis_.expand(n + 1);
    term_.clear(0);
    term_.expand(n + 1);
    set_zero(n, c);
    product_.clear(0);
    product_.expand(n + 1);
    PolynomialFamily<double>::set_zero(n, product_.data());
    double* basis = basis_.data();
    double* product = product_.data();
    for (int i = 0; i <= n; ++i) {
      basis[0] = 1.0;
      int degree = 0;
      for (int j = 0; j <= n; ++j) {
        if (j == i) continue;
        const double d = t[i] - t[j];
        const double linear[2] = {-t[j] / d, 1.0 / d};
        int product_degree = 0;
        PolynomialFamily<double>::multiply(degree, basis, 1, linear, product_degree, product);
        PolynomialFamily<double>::copy(product_degree, product, basis);
        degree = product_degree;
      }
      form_term(n, basis, y[i]);
      add(n, term_.data(), n, c);
    }
  }

  /// The interpolating polynomial through y[0 ... n] placed over [t0, t1] by cumulative
  /// distance between successive kept values. A value within 1e-10 of the last kept one is
  /// dropped as a repeat; the degree is the number of kept values minus one, and c[0 ... n] is
  /// zeroed first. A single kept value gives the zero polynomial (not the constant y[0]).
  void fit(double t0, double t1, const C* y, int n, C* c) noexcept {
    values_.clear(0);
    indices_.clear(0);
    params_.clear(0);
    params_.append(0.0);
    indices_.append(0);
    values_.append(y[0]);
    for (int i = 1; i <= n; ++i) {
      const int last = params_.size() - 1;
      const double d = CoefficientOps<C>::distance(y[i], y[indices_[last]]);
      if (d > 1e-10) {
        params_.append(params_[last] + d);
        values_.append(y[i]);
        indices_.append(i);
      }
    }
    set_zero(n, c);
    const int m = params_.size() - 1;
    if (m == 0) return;
    double* params = params_.data();
    const double scale = (t1 - t0) / params[m];
    params[0] = t0;
    params[m] = t1;
    for (int k = 1; k < m; ++k)
      params[k] = params[k] * scale + t0;
    fit(params, values_.data(), m, c);
  }

 protected:
  PolynomialFamily() : values_(8, 8), indices_(8, 8), params_(8, 8) {}
  ~PolynomialFamily() = default;

 private:
  // The Lagrange term: a scalar basis times a scalar value is scaled coefficient by
  // coefficient; times a vector value it is the scalar-times-curve product.
  void form_term(int n, const double* basis, const double& y) noexcept {
    PolynomialFamily<double>::copy(n, basis, term_.data());
    PolynomialFamily<double>::multiply(y, n, term_.data());
  }
  template <class V>
  void form_term(int n, const double* basis, const V& y) noexcept {
    int degree = 0;
    multiply(n, basis, 0, &y, degree, term_.data());
  }

  coDynArr<C> values_;   // the values kept by the cumulative-distance fit
  intcoDynArr indices_;  // their positions in the input
  doublecoDynArr params_;
  doublecoDynArr basis_;  // the Lagrange basis polynomial being built
  doublecoDynArr product_;
  coDynArr<C> term_;  // the Lagrange term, and the product of the member multiply
};

}  // namespace paskosda_detail

/// Polynomials of one variable on caller-owned arrays of double coefficients (lowest power
/// first; degree -1 is the zero polynomial left by differentiating a constant): arithmetic,
/// Horner evaluation, derivatives, integrals, printing and interpolating fits. The operations
/// are static except the fits and the in-place product, which use the object's work arrays.
class mlPolynomial : public paskosda_detail::PolynomialFamily<double> {
 public:
  mlPolynomial() = default;
  mlPolynomial(const mlPolynomial&) = delete;
  mlPolynomial& operator=(const mlPolynomial&) = delete;
  ~mlPolynomial() = default;
};

#endif  // PASKOSDA_ROOTS_MLPOLYNOMIAL_H
