// The tour's minimisers: several variables, one variable, least squares, constrained
// quadratics and surfaces.
#include "tour.h"

#include <cmath>
#include <iomanip>
#include <iostream>

namespace tour {

void powell_and_simplex() {
  const Section section("Minimisation in several variables: Powell, downhill simplex");

  // Rosenbrock's banana valley, f(x, y) = (1 - x)^2 + 100 (y - x^2)^2, minimum 0 at (1, 1),
  // from the classic start (-1.2, 1). The function counts its evaluations.
  class Rosenbrock : public mlFunctionN1 {
   public:
    Rosenbrock() : mlFunctionN1(2) {}
    double function(const mlSlice& p) const override {
      ++evaluations;
      const double a = 1.0 - p[0];
      const double b = p[1] - p[0] * p[0];
      return a * a + 100.0 * b * b;
    }
    mutable long evaluations = 0;
  };

  {
    const Rosenbrock f;
    mlVector p(mlVectorDim, 2);
    p[0] = -1.2;
    p[1] = 1.0;
    mlMatrix directions(mlMatrixIdentity, 2);  // start along the axes
    int passes = 0;
    const double minimum = ml_powell_minimum_search(p, directions, 1e-10, passes, f);
    std::cout << "Rosenbrock from (-1.2, 1), Powell's direction-set search:\n"
              << "  minimum " << std::scientific << std::setprecision(3) << minimum << " at ("
              << std::fixed << std::setprecision(9) << p[0] << ", " << p[1] << ")  "
              << f.evaluations << " evaluations, " << passes + 1 << " passes\n";
    section.restore_flags();
  }
  {
    const Rosenbrock f;
    mlVector start(mlVectorDim, 2);
    start[0] = -1.2;
    start[1] = 1.0;
    mlDownHillSimplex simplex(2);
    const double minimum = simplex.solve(f, start, mlDownHillSimplexSlow);
    mlVector x;
    simplex.result(x);
    std::cout << "Rosenbrock from (-1.2, 1), downhill simplex (budget " << mlDownHillSimplex::m_max
              << " calls):\n"
              << "  minimum " << std::scientific << std::setprecision(3) << minimum << " at ("
              << std::fixed << std::setprecision(9) << x[0] << ", " << x[1] << ")  "
              << simplex.number_of_calls() << " evaluations\n";
  }
}

void line_minimisation() {
  const Section section("Minimisation along a line, with derivatives");
  // One variable with analytic derivatives: cos t on [2, 5] has its minimum at pi. The
  // minimiser takes Newton steps with the first and second derivatives and computes each value
  // and derivative at most once per point.
  class Cosine : public mlFunction {
   public:
    double function(double t) const override {
      ++values;
      return utMath::cos(t);
    }
    double function_derivative(int order, double t) const override {
      ++derivatives;
      return order == 1 ? -utMath::sin(t) : -utMath::cos(t);
    }
    mutable long values = 0;
    mutable long derivatives = 0;
  };
  const Cosine cosine;
  mlMinimiser minimiser(cosine, 2.5, 2.0, 5.0, 1e-12);
  int found = 0, beyond_range = 0, out_of_iterations = 0;
  const double t = minimiser.minimise(found, beyond_range, out_of_iterations);
  const long values = cosine.values;
  const long derivatives = cosine.derivatives;
  // Within about 1e-8 of pi the values of cos all round to -1: the search stops once they no
  // longer tell points apart, here a few 1e-11 from pi.
  std::cout << "minimum of cos t on [2, 5] from t = 2.5 with analytic derivatives:\n"
            << "  t = " << std::setprecision(15) << t << ", cos t = " << utMath::cos(t)
            << ", t - pi = " << std::scientific << std::setprecision(2) << t - utMath::pi()
            << "\n  found " << found << ", " << values << " values and " << derivatives
            << " derivatives\n";
}

void circle_fit() {
  const Section section("Least squares: Levenberg-Marquardt");

  // A circle through 20 points: the parameters are the centre (cx, cy) and the
  // radius r; the distance of point k is its distance from the centre minus r.
  // The radius is kept positive.
  class CircleFit : public mlDistanceLeastSquares {
   public:
    CircleFit(const mlVector& x, const mlVector& y)
        : mlDistanceLeastSquares(3, x.dimension()), x_(utCopy, x), y_(utCopy, y) {}
    void normalise_parameters(mlVector& p) override { p[2] = std::fabs(p[2]); }
    void distance_and_derivatives(double& d, mlVector& derivatives, int k) override {
      const double dx = x_[k] - parameters_[0];
      const double dy = y_[k] - parameters_[1];
      const double rho = std::sqrt(dx * dx + dy * dy);
      derivatives[0] = -dx / rho;
      derivatives[1] = -dy / rho;
      derivatives[2] = -1.0;
      d = rho - parameters_[2];
    }
    void distance(double& d, int k) override {
      const double dx = x_[k] - parameters_[0];
      const double dy = y_[k] - parameters_[1];
      d = std::sqrt(dx * dx + dy * dy) - parameters_[2];
    }

   private:
    mlVector x_;
    mlVector y_;
  };

  // Points on the circle of centre (2, -1) and radius 3, over a whole turn or a
  // 30 degree arc, each moved radially by up to 0.01.
  auto sample = [](double arc, mlVector& x, mlVector& y) {
    mlRandom random(42);
    x.become(mlVectorDim, 20);
    y.become(mlVectorDim, 20);
    for (int k = 0; k < 20; ++k) {
      const double a = arc * k / 20.0;
      const double r = 3.0 + random.uniform(-0.01, 0.01);
      x[k] = 2.0 + r * utMath::cos(a);
      y[k] = -1.0 + r * utMath::sin(a);
    }
  };
  mlVector start(mlVectorZero, 3);
  start[2] = 1.0;
  const double arcs[2] = {2.0 * utMath::pi(), utMath::pi() / 6.0};
  const char* names[2] = {"whole turn", "30 degree arc"};
  for (int i = 0; i < 2; ++i) {
    mlVector x;
    mlVector y;
    sample(arcs[i], x, y);
    CircleFit circle(x, y);
    mlLevenbergMarquardt fitter(circle);
    mlVector p;
    const double mean_square = fitter.fit(start, p);
    std::cout << "circle fit to 20 noisy points on a " << names[i] << " (truth (2, -1), r 3):\n"
              << std::fixed << std::setprecision(6) << "  centre (" << p[0] << ", " << p[1]
              << "), r " << p[2] << ", rms distance " << std::scientific << std::setprecision(2)
              << std::sqrt(mean_square) << ", point distribution quality " << std::fixed
              << std::setprecision(4) << circle.point_distribution_quality(p) << "\n";
  }
}

void constrained_quadratic() {
  const Section section("Quadratic minimisation under linear constraints");
  // Minimise (x - 3)^2 + (y + 1)^2 + x y over the box 0 <= x <= 2, 0 <= y <= 2,
  // i.e. 1/2 x^T H x + g^T x with H = [[2, 1], [1, 2]], g = (-6, 2), and
  // constraints A x >= b.
  mlMatrix H(mlMatrixZero, 2, 2);
  H(0, 0) = 2.0;
  H(0, 1) = 1.0;
  H(1, 0) = 1.0;
  H(1, 1) = 2.0;
  mlVector g(mlVectorDim, 2);
  g[0] = -6.0;
  g[1] = 2.0;
  const double rows[8] = {1.0, 0.0, -1.0, 0.0, 0.0, 1.0, 0.0, -1.0};
  const mlMatrix A(utConvert, rows, 4, 2);
  mlVector b(mlVectorDim, 4);
  b[0] = 0.0;   //  x >= 0
  b[1] = -2.0;  // -x >= -2
  b[2] = 0.0;   //  y >= 0
  b[3] = -2.0;  // -y >= -2
  mlConstrainedQuadraticMinimiser qp(A, b, 0);
  mlVector xy(mlVectorDim, 2);
  xy[0] = 5.0;  // outside the box: stage 1 brings it in first
  xy[1] = -3.0;
  const int ok = qp.solve(H, g, xy);
  std::cout << "quadratic (x - 3)^2 + (y + 1)^2 + x y on the box [0, 2] x [0, "
               "2] from (5, -3):\n"
            << "  solve " << ok << ", minimum at (" << std::fixed << std::setprecision(6) << xy[0]
            << ", " << xy[1] << ")  (unconstrained minimum (" << 14.0 / 3.0 << ", " << -10.0 / 3.0
            << "))\n";
}

void torus_projection() {
  const Section section("Surface minimisers: projecting a point onto a torus");

  // The torus ((R + r cos v) cos u, (R + r cos v) sin u, r sin v), R = 3, r =
  // 1, as the vector function F(u, v) = S(u, v) - P: the minimiser reduces |F|,
  // the distance from P to the surface. It takes the Jacobian from
  // function_gradient and the second derivatives from function_derivative.
  class TorusToPoint : public mlFunctionN {
   public:
    TorusToPoint(double x, double y, double z) : mlFunctionN(2, 3), p_{x, y, z} {}
    void point(double u, double v, double s[3]) const {
      const double rho = 3.0 + utMath::cos(v);
      s[0] = rho * utMath::cos(u);
      s[1] = rho * utMath::sin(u);
      s[2] = utMath::sin(v);
    }
    void function(const mlSlice& x, mlVector& f) const override {
      double s[3];
      point(x[0], x[1], s);
      for (int k = 0; k < 3; ++k)
        f[k] = s[k] - p_[k];
    }
    void function_gradient(const mlSlice& x, mlMatrix& J) const override {
      const double cu = utMath::cos(x[0]), su = utMath::sin(x[0]);
      const double cv = utMath::cos(x[1]), sv = utMath::sin(x[1]);
      const double rho = 3.0 + cv;
      J(0, 0) = -rho * su;
      J(1, 0) = rho * cu;
      J(2, 0) = 0.0;
      J(0, 1) = -sv * cu;
      J(1, 1) = -sv * su;
      J(2, 1) = cv;
    }
    void function_derivative(const mlSlice& x, int* const orders, mlVector& d) const override {
      const double cu = utMath::cos(x[0]), su = utMath::sin(x[0]);
      const double cv = utMath::cos(x[1]), sv = utMath::sin(x[1]);
      if (orders[0] == 2 && orders[1] == 0) {  // S_uu
        d[0] = -(3.0 + cv) * cu;
        d[1] = -(3.0 + cv) * su;
        d[2] = 0.0;
      } else if (orders[0] == 1 && orders[1] == 1) {  // S_uv
        d[0] = sv * su;
        d[1] = -sv * cu;
        d[2] = 0.0;
      } else if (orders[0] == 0 && orders[1] == 2) {  // S_vv
        d[0] = -cv * cu;
        d[1] = -cv * su;
        d[2] = -sv;
      }
    }

   private:
    double p_[3];
  };

  {
    // A point inside the hole of the torus, above its plane; the start is on
    // the far side of both seams (u and v are periodic on [0, 2 pi)).
    const TorusToPoint F(-1.5, -0.4, 1.2);
    mlVectorMinimiser2 minimiser(F);
    minimiser.set_patch(0.0, 2.0 * utMath::pi(), 0.0, 2.0 * utMath::pi());
    minimiser.set_periodic(1, 1);
    double u = 0.3, v = 5.9;
    const mlMinimiser2State state = minimiser.minimise(u, v);
    double foot[3];
    F.point(u, v, foot);
    std::cout << "P = (-1.5, -0.4, 1.2) onto the torus R = 3, r = 1 from (u, "
                 "v) = (0.3, 5.9):\n"
              << std::fixed << std::setprecision(12) << "  (u, v) = (" << u << ", " << v
              << ")  state " << state << " (0 = converged)\n"
              << "  foot point (" << foot[0] << ", " << foot[1] << ", " << foot[2] << ")\n"
              << "  distance " << utMath::sqrt(minimiser.minimum_value()) << " after "
              << minimiser.iterations() << " iterations, " << minimiser.evaluations()
              << " calls of F\n";
  }
}

void minimum_on_an_edge() {
  const Section section("Surface minimisers: a minimum on the edge of the patch");
  // A scalar function whose free minimum (1.5, 0.6) lies outside the unit
  // square: the minimiser holds u on the edge u = 1 and minimises along it.
  class Bowl : public mlFunction2 {
   public:
    double function(double u, double v) const override {
      return (u - 1.5) * (u - 1.5) + 2.0 * (v - 0.6) * (v - 0.6) + 0.5 * (u - 1.5) * (v - 0.6);
    }
    double uv_function_derivative(int i, int j, double u, double v) const override {
      if (i == 1 && j == 0) return 2.0 * (u - 1.5) + 0.5 * (v - 0.6);
      if (i == 0 && j == 1) return 4.0 * (v - 0.6) + 0.5 * (u - 1.5);
      if (i == 2 && j == 0) return 2.0;
      if (i == 1 && j == 1) return 0.5;
      if (i == 0 && j == 2) return 4.0;
      return -666.0;
    }
    double u_min() const override { return 0.0; }
    double u_max() const override { return 1.0; }
    double v_min() const override { return 0.0; }
    double v_max() const override { return 1.0; }
  };
  {
    const Bowl bowl;
    mlMinimiser2 minimiser(bowl);  // the patch is the function's domain, [0, 1] x [0, 1]
    double u = 0.2, v = 0.1;
    const mlMinimiser2State state = minimiser.minimise(u, v);
    std::cout << "(u - 1.5)^2 + 2 (v - 0.6)^2 + (u - 1.5)(v - 0.6)/2 on [0, 1]^2:\n"
              << std::setprecision(12) << "  minimum " << minimiser.minimum_value() << " at (" << u
              << ", " << v << ")  state " << state << " (1 = on an edge)\n";
  }
}

}  // namespace tour
