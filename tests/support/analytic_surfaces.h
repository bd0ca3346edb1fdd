#ifndef PASKOSDA_TESTS_SUPPORT_ANALYTIC_SURFACES_H
#define PASKOSDA_TESTS_SUPPORT_ANALYTIC_SURFACES_H

// Surfaces of revolution S(u, v) with their partial derivatives, their patches and their exact
// nearest points, and the vector function F(u, v) = S(u, v) - P whose length the surface
// minimisers reduce to project P onto S.

#include <algorithm>
#include <cmath>

#include "functions/mlFunction.h"
#include "linalg/mlMatrix.h"
#include "linalg/mlSlice.h"
#include "linalg/mlVector.h"

namespace paskosda_test {

constexpr double two_pi = 6.283185307179586;
constexpr double half_pi = 1.5707963267948966;

/// A profile in the (rho, z) plane turned about the z axis, u in [0, 2 pi) periodic: the
/// circle of radius r about (R, 0) (a torus for R > 0, v in [0, 2 pi) periodic; a sphere for
/// R = 0, v in [-pi/2, pi/2], the poles), or for h > 0 the line rho = r, z = v in [-h, h] (a
/// cylinder with its rims).
class Revolution {
 public:
  Revolution(double R, double r, double h = 0.0) : R_(R), r_(r), h_(h) {
    lo[1] = h > 0.0 ? -h : R > 0.0 ? 0.0 : -half_pi;
    hi[1] = h > 0.0 ? h : R > 0.0 ? two_pi : half_pi;
    periodic[1] = h == 0.0 && R > 0.0;
  }

  /// s becomes the partial derivative of orders (i in u, j in v), (0, 0) being the point.
  void at(int i, int j, double u, double v, double s[3]) const {
    const double rho =
        h_ > 0.0 ? (j == 0 ? r_ : 0.0) : (j == 0 ? R_ : 0.0) + r_ * std::cos(v + j * half_pi);
    const double z = h_ > 0.0 ? (j == 0 ? v : j == 1 ? 1.0 : 0.0) : r_ * std::sin(v + j * half_pi);
    s[0] = rho * std::cos(u + i * half_pi);
    s[1] = rho * std::sin(u + i * half_pi);
    s[2] = i == 0 ? z : 0.0;
  }

  /// The parameters of the nearest point to p, and where it lies: 0 inside the patch, 1 on a
  /// rim (the states of a surface minimiser), or -1 when it is not unique or its parameters are
  /// ill conditioned (within 0.3 of the axis, or 0.2 of the circle of the centres).
  int nearest(const double p[3], double& u, double& v) const {
    const double rho = std::hypot(p[0], p[1]);
    u = std::atan2(p[1], p[0]);
    if (u < 0.0) u += two_pi;
    if (h_ > 0.0) v = std::fmin(std::fmax(p[2], -h_), h_);
    if (h_ > 0.0) return rho < 0.3 ? -1 : v == p[2] ? 0 : 1;
    v = std::atan2(p[2], rho - R_);
    if (periodic[1] && v < 0.0) v += two_pi;
    return rho < 0.3 || std::hypot(rho - R_, p[2]) < 0.2 ? -1 : 0;
  }

  double lo[2] = {0.0, 0.0}, hi[2] = {two_pi, 0.0};
  int periodic[2] = {1, 0};

 private:
  double R_, r_, h_;
};

using Torus = Revolution;

/// F(u, v) = S(u, v) - P. The Jacobian comes from S's first derivatives; the second
/// derivatives are offered through `function_derivative` unless `second_derivatives` is false
/// (then it leaves its result untouched, as the interface's default does). Counts its calls.
class Projection : public mlFunctionN {
 public:
  explicit Projection(const Revolution& s, bool second_derivatives = true)
      : mlFunctionN(2, 3), surface_(&s), second_(second_derivatives) {}

  void set_target(const double p[3]) { std::copy(p, p + 3, p_); }
  void function(const mlSlice& x, mlVector& f) const override {
    ++values;
    double s[3];
    surface_->at(0, 0, x[0], x[1], s);
    for (int k = 0; k < 3; ++k)
      f[k] = s[k] - p_[k];
  }
  void function_gradient(const mlSlice& x, mlMatrix& J) const override {
    ++jacobians;
    for (int c = 0; c < 2; ++c) {
      double s[3];
      surface_->at(1 - c, c, x[0], x[1], s);
      for (int k = 0; k < 3; ++k)
        J(k, c) = s[k];
    }
  }
  void function_derivative(const mlSlice& x, int* const orders, mlVector& d) const override {
    ++derivatives;
    double s[3];
    surface_->at(orders[0], orders[1], x[0], x[1], s);
    for (int k = 0; second_ && k < 3; ++k)
      d[k] = s[k];
  }
  int calls() const { return values + jacobians + derivatives; }

  mutable int values = 0, jacobians = 0, derivatives = 0;

 private:
  const Revolution* surface_;
  bool second_;
  double p_[3] = {0.0, 0.0, 0.0};
};

}  // namespace paskosda_test

#endif  // PASKOSDA_TESTS_SUPPORT_ANALYTIC_SURFACES_H
