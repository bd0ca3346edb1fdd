// A tensor-product polynomial surface S(u, v) = sum c_ij u^i v^j in 3-D, and the projection
// of points onto it by the library's vector surface minimiser. Plain C++ without Python, so
// that the binding can run it with the GIL released and the reference program can run the
// very same code.
#ifndef PASKOSDA_PYTHON_POLY_SURFACE_H
#define PASKOSDA_PYTHON_POLY_SURFACE_H

#include <cmath>
#include <utility>
#include <vector>

#include <paskosda.h>

namespace paskosda_python {

/// S(u, v) = sum over i <= nu, j <= nv of c_ij u^i v^j, each c_ij a 3-D point; coefficients
/// stored as c[((i * (nv + 1)) + j) * 3 + k].
class PolySurface {
 public:
  PolySurface(std::vector<double> c, int nu, int nv) : c_(std::move(c)), nu_(nu), nv_(nv) {}

  int degree_u() const noexcept { return nu_; }
  int degree_v() const noexcept { return nv_; }
  const std::vector<double>& coefficients() const noexcept { return c_; }

  /// The partial derivative of orders (du, dv) at (u, v) (orders 0, 0: the point), by
  /// Horner's rule in v inside Horner's rule in u.
  void derivative(int du, int dv, double u, double v, double out[3]) const noexcept {
    for (int k = 0; k < 3; ++k) {
      double acc = 0.0;
      for (int i = nu_; i >= du; --i)
        acc = acc * u + falling(i, du) * row(i, dv, v, k);
      out[k] = acc;
    }
  }

 private:
  // i (i - 1) ... (i - k + 1): the factor differentiation k times brings to t^i.
  static double falling(int i, int k) noexcept {
    double f = 1.0;
    for (int m = 0; m < k; ++m)
      f *= static_cast<double>(i - m);
    return f;
  }
  double row(int i, int dv, double v, int k) const noexcept {
    double acc = 0.0;
    for (int j = nv_; j >= dv; --j)
      acc = acc * v + falling(j, dv) * c_[static_cast<size_t>((i * (nv_ + 1) + j) * 3 + k)];
    return acc;
  }

  std::vector<double> c_;
  int nu_ = 0;
  int nv_ = 0;
};

/// F(u, v) = S(u, v) - P for a target point P that can be moved between projections, with
/// the analytic Jacobian and second derivatives.
class SurfaceToPoint : public mlFunctionN {
 public:
  explicit SurfaceToPoint(const PolySurface& s) noexcept : mlFunctionN(2, 3), s_(&s) {}
  void set_target(const double p[3]) noexcept {
    for (int k = 0; k < 3; ++k)
      p_[k] = p[k];
  }
  void function(const mlSlice& x, mlVector& f) const override {
    double s[3];
    s_->derivative(0, 0, x[0], x[1], s);
    for (int k = 0; k < 3; ++k)
      f[k] = s[k] - p_[k];
  }
  void function_gradient(const mlSlice& x, mlMatrix& J) const override {
    double su[3], sv[3];
    s_->derivative(1, 0, x[0], x[1], su);
    s_->derivative(0, 1, x[0], x[1], sv);
    J.become(3, 2);
    for (int k = 0; k < 3; ++k) {
      J(k, 0) = su[k];
      J(k, 1) = sv[k];
    }
  }
  void function_derivative(const mlSlice& x, int* const orders, mlVector& d) const override {
    double s[3];
    s_->derivative(orders[0], orders[1], x[0], x[1], s);
    for (int k = 0; k < 3; ++k)
      d[k] = s[k];
  }

 private:
  const PolySurface* s_ = nullptr;
  double p_[3] = {0.0, 0.0, 0.0};
};

/// The minimiser's settings: patch (u_min, u_max, v_min, v_max), periodicity, parameter
/// tolerance (0: the library's default) and iteration budget.
struct ProjectionSettings {
  double patch[4] = {0.0, 1.0, 0.0, 1.0};
  int periodic[2] = {0, 0};
  double tolerance = 0.0;
  int max_iterations = 100;
};

/// One projection's outcome.
struct Projection {
  double u = 0.0, v = 0.0, distance = 0.0;
  int state = 0, iterations = 0, evaluations = 0;
};

/// Projects n points (3 doubles each) onto the surface, starting from starts[2 i], or from
/// starts[0..1] for every point when `shared_start`. One minimiser serves all the points:
/// nothing but its settings carries over between searches.
inline void project_points(const PolySurface& surface, const double* points, const double* starts,
                           bool shared_start, long n, const ProjectionSettings& settings,
                           Projection* out) {
  SurfaceToPoint F(surface);
  mlVectorMinimiser2 minimiser(F);
  minimiser.set_patch(settings.patch[0], settings.patch[1], settings.patch[2], settings.patch[3]);
  minimiser.set_periodic(settings.periodic[0], settings.periodic[1]);
  minimiser.set_tolerance(settings.tolerance);
  minimiser.set_max_iterations(settings.max_iterations);
  for (long i = 0; i < n; ++i) {
    F.set_target(points + 3 * i);
    const double* start = shared_start ? starts : starts + 2 * i;
    Projection& p = out[i];
    p.u = start[0];
    p.v = start[1];
    p.state = minimiser.minimise(p.u, p.v);
    p.distance = std::sqrt(minimiser.minimum_value());
    p.iterations = minimiser.iterations();
    p.evaluations = minimiser.evaluations();
  }
}

}  // namespace paskosda_python

#endif  // PASKOSDA_PYTHON_POLY_SURFACE_H
