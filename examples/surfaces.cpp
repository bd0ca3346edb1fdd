// The closest point of a torus patch to a point in space, found by the surface minimisers
// (mlVectorMinimiser2 on S(u, v) - P, mlMinimiser2 on |S(u, v) - P|^2) and checked in closed form.
#include <paskosda.h>

#include <cmath>
#include <iomanip>
#include <iostream>

namespace {

// The torus ((R + r cos v) cos u, (R + r cos v) sin u, r sin v) with R = 3 and r = 1; the
// patch is the quarter 0 <= u <= pi/2, all the way round the tube in v.
const double kMajor = 3.0, kMinor = 1.0;
const double kUMax = 0.5 * utMath::pi(), kVMax = 2.0 * utMath::pi();

void torus(double u, double v, double s[3]) {
  const double rho = kMajor + kMinor * utMath::cos(v);
  s[0] = rho * utMath::cos(u);
  s[1] = rho * utMath::sin(u);
  s[2] = kMinor * utMath::sin(v);
}

// F(u, v) = S(u, v) - P with its Jacobian; the minimiser makes |F| smallest. Without second
// derivatives on offer it takes them by central differences.
class TorusToPoint : public mlFunctionN {
 public:
  explicit TorusToPoint(const double p[3]) : mlFunctionN(2, 3), p_{p[0], p[1], p[2]} {}
  void function(const mlSlice& x, mlVector& f) const override {
    double s[3];
    torus(x[0], x[1], s);
    for (int k = 0; k < 3; ++k)
      f[k] = s[k] - p_[k];
  }
  void function_gradient(const mlSlice& x, mlMatrix& j) const override {
    const double cu = utMath::cos(x[0]), su = utMath::sin(x[0]);
    const double cv = utMath::cos(x[1]), sv = utMath::sin(x[1]);
    const double rho = kMajor + kMinor * cv;
    j.become(3, 2);
    j(0, 0) = -rho * su;
    j(0, 1) = -kMinor * sv * cu;
    j(1, 0) = rho * cu;
    j(1, 1) = -kMinor * sv * su;
    j(2, 0) = 0.0;
    j(2, 1) = kMinor * cv;
  }

 private:
  double p_[3];
};

// |S(u, v) - P|^2 as a scalar function whose domain is the patch; no derivatives on offer.
class SquaredDistance : public mlFunction2 {
 public:
  explicit SquaredDistance(const double p[3]) : p_{p[0], p[1], p[2]} {}
  double function(double u, double v) const override {
    double s[3], sum = 0.0;
    torus(u, v, s);
    for (int k = 0; k < 3; ++k)
      sum += (s[k] - p_[k]) * (s[k] - p_[k]);
    return sum;
  }
  double u_min() const override { return 0.0; }
  double u_max() const override { return kUMax; }
  double v_min() const override { return 0.0; }
  double v_max() const override { return kVMax; }

 private:
  double p_[3];
};

// The closed form: the foot lies in the half-plane through the axis at the angle u of P
// (clamped to the patch), on the tube's circle towards P's projection into that plane.
void exact_foot(const double p[3], double& u, double& v, double& distance) {
  u = std::fmin(std::fmax(std::atan2(p[1], p[0]), 0.0), kUMax);
  const double radial = p[0] * utMath::cos(u) + p[1] * utMath::sin(u) - kMajor;
  const double across = -p[0] * utMath::sin(u) + p[1] * utMath::cos(u);  // off the plane
  v = std::atan2(p[2], radial);
  if (v < 0.0) v += kVMax;
  const double in_plane = std::hypot(radial, p[2]) - kMinor;
  distance = std::hypot(in_plane, across);
}

void report(const double p[3], double u, double v, double distance) {
  double foot[3], eu = 0.0, ev = 0.0, exact = 0.0;
  torus(u, v, foot);
  exact_foot(p, eu, ev, exact);
  std::cout << "  (u, v) = (" << u << ", " << v << "), exact (" << eu << ", " << ev << ")\n"
            << "  foot point (" << foot[0] << ", " << foot[1] << ", " << foot[2] << ")\n"
            << "  distance " << distance << ", exact " << exact << ", difference "
            << std::scientific << std::setprecision(1) << std::fabs(distance - exact) << "\n"
            << std::fixed << std::setprecision(9);
}

}  // namespace

int main() {
  std::cout << std::fixed << std::setprecision(9);

  // A point above the patch: its foot lies inside, and the minimiser converges there
  // (state 0). The start is on the far side of the tube.
  const double p[3] = {2.5, 2.0, 1.2};
  const TorusToPoint f(p);
  mlVectorMinimiser2 projector(f);
  projector.set_patch(0.0, kUMax, 0.0, kVMax);
  projector.set_periodic(0, 1);  // v runs round the tube
  double u = 1.2, v = 4.0;
  mlMinimiser2State state = projector.minimise(u, v);
  std::cout << "P = (2.5, 2, 1.2) onto the patch by mlVectorMinimiser2 from (u, v) = (1.2, 4):\n"
            << "  state " << state << " (0 = converged) after " << projector.iterations()
            << " iterations, " << projector.evaluations() << " calls of F\n";
  report(p, u, v, std::sqrt(projector.minimum_value()));

  // A point beside the patch: the nearest point of the whole torus has u < 0, so the
  // minimiser stops on the edge u = 0 (state 1) at the nearest point of that edge.
  const double q[3] = {2.0, -1.0, 0.5};
  const SquaredDistance g(q);
  mlMinimiser2 minimiser(g);  // the patch is g's domain
  minimiser.set_periodic(0, 1);
  u = v = 1.0;
  state = minimiser.minimise(u, v);
  std::cout << "Q = (2, -1, 0.5) onto the patch by mlMinimiser2 on |S - Q|^2 from (1, 1):\n"
            << "  state " << state << " (1 = on an edge) after " << minimiser.iterations()
            << " iterations, " << minimiser.evaluations() << " calls of the function\n";
  report(q, u, v, std::sqrt(minimiser.minimum_value()));
  return 0;
}
