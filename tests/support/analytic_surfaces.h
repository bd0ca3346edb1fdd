#ifndef PASKOSDA_TESTS_SUPPORT_ANALYTIC_SURFACES_H
#define PASKOSDA_TESTS_SUPPORT_ANALYTIC_SURFACES_H

// Parametric surfaces S(u, v) in space with their partial derivatives up to second order, and
// the vector function F(u, v) = S(u, v) - P whose length the surface minimisers reduce to
// project P onto S. Each surface knows its patch, which parameters are periodic, and its exact
// nearest point to P.

#include <cmath>

#include "functions/mlFunction.h"
#include "linalg/mlMatrix.h"
#include "linalg/mlSlice.h"
#include "linalg/mlVector.h"

namespace paskosda_test {

constexpr double two_pi = 6.283185307179586;
constexpr double half_pi = 1.5707963267948966;

/// A parametric surface: the partial derivative of orders (i in u, j in v) of S, (0, 0) being
/// the point itself, written to s.
class Surface {
 public:
  virtual ~Surface() = default;
  virtual void at(int i, int j, double u, double v, double s[3]) const = 0;
  virtual double u_min() const { return 0.0; }
  virtual double u_max() const { return 1.0; }
  virtual double v_min() const { return 0.0; }
  virtual double v_max() const { return 1.0; }
  virtual int u_periodic() const { return 0; }
  virtual int v_periodic() const { return 0; }
  /// The parameters (u, v) of the surface's nearest point to p, and where it lies: 0 inside the
  /// patch, 1 on an edge, 2 at a corner (the states of a surface minimiser), or -1 when it is
  /// not unique or its parameters are ill conditioned (p near an axis or a centre line).
  virtual int nearest(const double p[3], double& u, double& v) const = 0;
};

/// O + u A + v B over [0, 1]^2.
class PlanePatch : public Surface {
 public:
  PlanePatch(const double o[3], const double a[3], const double b[3]) {
    for (int k = 0; k < 3; ++k) {
      o_[k] = o[k];
      a_[k] = a[k];
      b_[k] = b[k];
    }
  }
  void at(int i, int j, double u, double v, double s[3]) const override {
    for (int k = 0; k < 3; ++k) {
      if (i == 0 && j == 0) {
        s[k] = o_[k] + u * a_[k] + v * b_[k];
      } else if (i == 1 && j == 0) {
        s[k] = a_[k];
      } else if (i == 0 && j == 1) {
        s[k] = b_[k];
      } else {
        s[k] = 0.0;
      }
    }
  }

  /// The foot of the perpendicular when it lies inside, else the nearest point of the nearest
  /// edge.
  int nearest(const double p[3], double& u, double& v) const override {
    const double aa = dot(a_, a_), ab = dot(a_, b_), bb = dot(b_, b_);
    double d[3];
    for (int k = 0; k < 3; ++k)
      d[k] = p[k] - o_[k];
    const double da = dot(d, a_), db = dot(d, b_);
    const double det = aa * bb - ab * ab;
    u = (bb * da - ab * db) / det;
    v = (aa * db - ab * da) / det;
    if (u >= 0.0 && u <= 1.0 && v >= 0.0 && v <= 1.0) return 0;
    // Each edge: the parameter along it clamped to [0, 1].
    double best = HUGE_VAL;
    int where = 1;
    for (int e = 0; e < 4; ++e) {
      const bool u_fixed = e < 2;
      const double fixed = (e % 2 == 0) ? 0.0 : 1.0;
      const double* along = u_fixed ? b_ : a_;
      const double* across = u_fixed ? a_ : b_;
      double q[3];
      for (int k = 0; k < 3; ++k)
        q[k] = d[k] - fixed * across[k];
      double t = dot(q, along) / dot(along, along);
      int corner = 0;
      if (t <= 0.0) {
        t = 0.0;
        corner = 1;
      } else if (t >= 1.0) {
        t = 1.0;
        corner = 1;
      }
      double r[3];
      for (int k = 0; k < 3; ++k)
        r[k] = q[k] - t * along[k];
      const double dist = dot(r, r);
      if (dist < best) {
        best = dist;
        u = u_fixed ? fixed : t;
        v = u_fixed ? t : fixed;
        where = corner ? 2 : 1;
      }
    }
    return where;
  }

 private:
  static double dot(const double* x, const double* y) {
    return x[0] * y[0] + x[1] * y[1] + x[2] * y[2];
  }
  double o_[3], a_[3], b_[3];
};

/// (r cos u, r sin u, v), u in [0, 2 pi) periodic, v in [-h, h].
class Cylinder : public Surface {
 public:
  Cylinder(double r, double h) : r_(r), h_(h) {}
  void at(int i, int j, double u, double v, double s[3]) const override {
    const double c = std::cos(u), sn = std::sin(u);
    s[0] = s[1] = s[2] = 0.0;
    if (j == 0) {
      // d^i/du^i of (cos u, sin u) is the pair rotated by i quarter turns.
      const double cs[4][2] = {{c, sn}, {-sn, c}, {-c, -sn}, {sn, -c}};
      s[0] = r_ * cs[i % 4][0];
      s[1] = r_ * cs[i % 4][1];
      s[2] = i == 0 ? v : 0.0;
    } else if (i == 0 && j == 1) {
      s[2] = 1.0;
    }
  }
  double u_max() const override { return two_pi; }
  double v_min() const override { return -h_; }
  double v_max() const override { return h_; }
  int u_periodic() const override { return 1; }

  /// On a rim beyond the ends; -1 within 0.3 of the axis.
  int nearest(const double p[3], double& u, double& v) const override {
    u = std::atan2(p[1], p[0]);
    if (u < 0.0) u += two_pi;
    v = p[2] < -h_ ? -h_ : (p[2] > h_ ? h_ : p[2]);
    return std::hypot(p[0], p[1]) < 0.3 ? -1 : (std::fabs(p[2]) < h_ ? 0 : 1);
  }

 private:
  double r_, h_;
};

/// r (cos u cos v, sin u cos v, sin v), u in [0, 2 pi) periodic, v in [-pi/2, pi/2] (the
/// poles).
class Sphere : public Surface {
 public:
  explicit Sphere(double r) : r_(r) {}
  void at(int i, int j, double u, double v, double s[3]) const override {
    const double cu = std::cos(u), su = std::sin(u), cv = std::cos(v), sv = std::sin(v);
    // Rotations by quarter turns give the derivatives of (cos, sin).
    const double ru[4][2] = {{cu, su}, {-su, cu}, {-cu, -su}, {su, -cu}};
    const double rv[4][2] = {{cv, sv}, {-sv, cv}, {-cv, -sv}, {sv, -cv}};
    s[0] = r_ * ru[i % 4][0] * rv[j % 4][0];
    s[1] = r_ * ru[i % 4][1] * rv[j % 4][0];
    s[2] = i == 0 ? r_ * rv[j % 4][1] : 0.0;
  }
  double u_max() const override { return two_pi; }
  double v_min() const override { return -half_pi; }
  double v_max() const override { return half_pi; }
  int u_periodic() const override { return 1; }

  /// -1 within 0.3 of the axis, where the azimuth is ill conditioned.
  int nearest(const double p[3], double& u, double& v) const override {
    u = std::atan2(p[1], p[0]);
    if (u < 0.0) u += two_pi;
    v = std::atan2(p[2], std::hypot(p[0], p[1]));
    return std::hypot(p[0], p[1]) < 0.3 ? -1 : 0;
  }

 private:
  double r_;
};

/// ((R + r cos v) cos u, (R + r cos v) sin u, r sin v), u and v in [0, 2 pi), both periodic.
class Torus : public Surface {
 public:
  Torus(double R, double r) : R_(R), r_(r) {}
  void at(int i, int j, double u, double v, double s[3]) const override {
    const double cu = std::cos(u), su = std::sin(u), cv = std::cos(v), sv = std::sin(v);
    const double ru[4][2] = {{cu, su}, {-su, cu}, {-cu, -su}, {su, -cu}};
    const double rv[4][2] = {{cv, sv}, {-sv, cv}, {-cv, -sv}, {sv, -cv}};
    // The distance from the axis, R + r cos v, and its v derivatives.
    const double rho = (j == 0 ? R_ : 0.0) + r_ * rv[j % 4][0];
    s[0] = rho * ru[i % 4][0];
    s[1] = rho * ru[i % 4][1];
    s[2] = i == 0 ? r_ * rv[j % 4][1] : 0.0;
  }
  double u_max() const override { return two_pi; }
  double v_max() const override { return two_pi; }
  int u_periodic() const override { return 1; }
  int v_periodic() const override { return 1; }

  /// -1 within 0.3 of the axis or 0.2 of the circle through the tube's centre.
  int nearest(const double p[3], double& u, double& v) const override {
    const double rho = std::hypot(p[0], p[1]);
    u = std::atan2(p[1], p[0]);
    if (u < 0.0) u += two_pi;
    v = std::atan2(p[2], rho - R_);
    if (v < 0.0) v += two_pi;
    return rho < 0.3 || std::hypot(rho - R_, p[2]) < 0.2 ? -1 : 0;
  }

 private:
  double R_, r_;
};

/// F(u, v) = S(u, v) - P. The Jacobian comes from S's first derivatives; the second
/// derivatives are offered through `function_derivative` unless `second_derivatives` is false
/// (then it leaves its result untouched, as the interface's default does). Counts its calls.
class Projection : public mlFunctionN {
 public:
  explicit Projection(const Surface& s, bool second_derivatives = true)
      : mlFunctionN(2, 3), surface_(&s), second_(second_derivatives) {}

  void set_target(const double p[3]) {
    for (int k = 0; k < 3; ++k)
      p_[k] = p[k];
  }

  void function(const mlSlice& x, mlVector& f) const override {
    ++values;
    double s[3];
    surface_->at(0, 0, x[0], x[1], s);
    for (int k = 0; k < 3; ++k)
      f[k] = s[k] - p_[k];
  }
  void function_gradient(const mlSlice& x, mlMatrix& J) const override {
    ++jacobians;
    double su[3], sv[3];
    surface_->at(1, 0, x[0], x[1], su);
    surface_->at(0, 1, x[0], x[1], sv);
    for (int k = 0; k < 3; ++k) {
      J(k, 0) = su[k];
      J(k, 1) = sv[k];
    }
  }
  void function_derivative(const mlSlice& x, int* const orders, mlVector& d) const override {
    ++derivatives;
    if (!second_) return;
    double s[3];
    surface_->at(orders[0], orders[1], x[0], x[1], s);
    for (int k = 0; k < 3; ++k)
      d[k] = s[k];
  }

  int calls() const { return values + jacobians + derivatives; }

  mutable int values = 0;
  mutable int jacobians = 0;
  mutable int derivatives = 0;

 private:
  const Surface* surface_;
  bool second_;
  double p_[3] = {0.0, 0.0, 0.0};
};

/// The distance between two values of a parameter of the given period (0 for none).
inline double parameter_distance(double a, double b, double period) {
  double d = std::fabs(a - b);
  if (period > 0.0) {
    d = std::fmod(d, period);
    if (period - d < d) d = period - d;
  }
  return d;
}

}  // namespace paskosda_test

#endif  // PASKOSDA_TESTS_SUPPORT_ANALYTIC_SURFACES_H
