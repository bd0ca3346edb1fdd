// NaN, +-Inf and +-DBL_MAX through the root finders, the minimisers, the integrators and the
// sparse products, including the values and derivatives of the caller's function objects.
// The table and the sweep are in nonfinite_sweep.h.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <string>
#include <vector>

#include "paskosda.h"
#include "robustness/nonfinite_sweep.h"
#include "support/test_support.h"

namespace {

using namespace paskosda_test;
using namespace paskosda_test::nonfinite;

// The patch [-2, 3] x [-2, 3] of the surface minimisers: a poisoned bound must keep its pair
// ordered, and a periodic one also finite and not +-DBL_MAX (which opens the side).
bool lower_bound(double x) { return x <= 3.0; }
bool upper_bound(double x) { return x >= -2.0; }
bool periodic_bound(double x) { return std::fabs(x) < DBL_MAX; }

// ---- function objects -----------------------------------------------------------------------

// A polynomial c[0] + c[1] t + ... with its first two derivatives, over [lo, hi].
class Polynomial1 : public mlFunction {
 public:
  Polynomial1(std::vector<double> c, const Poison& poison, double lo = -DBL_MAX,
              double hi = DBL_MAX, int max_deriv = 2)
      : c_(std::move(c)), poison_(poison), lo_(lo), hi_(hi) {
    set_max_deriv(max_deriv);
  }
  double function(double t) const override { return poison_(0, t, evaluate(0, t)); }
  double function_derivative(int order, double t) const override {
    if (order < 1 || order > 2) return mlFunction::function_derivative(order, t);
    return poison_(order, t, evaluate(order, t));
  }
  double t_min() const override { return lo_; }
  double t_max() const override { return hi_; }

 private:
  double evaluate(int order, double t) const {
    double s = 0.0;
    for (int k = static_cast<int>(c_.size()) - 1; k >= order; --k)
      s = s * t + (order == 0 ? 1.0 : order == 1 ? k : k * (k - 1.0)) * c_[k];
    return s;
  }

  std::vector<double> c_;
  const Poison& poison_;
  double lo_, hi_;
};

// The partial derivative of orders (i, j), i + j <= 2, of the bowl a^2 + 2 b^2 + ab / 2 with
// a = u - 1, b = v + 1/2: its minimum 0 lies at (1, -1/2).
double bowl(int i, int j, double u, double v) {
  const double a = u - 1.0, b = v + 0.5;
  if (i + j == 0) return a * a + 2.0 * b * b + 0.5 * a * b;
  if (i + j == 1) return i == 1 ? 2.0 * a + 0.5 * b : 4.0 * b + 0.5 * a;
  return i == 2 ? 2.0 : j == 2 ? 4.0 : 0.5;
}

class BowlN1 : public mlFunctionN1 {
 public:
  explicit BowlN1(const Poison& poison) : mlFunctionN1(2), poison_(poison) {}
  double function(const mlSlice& x) const override {
    return poison_(0, x[0], bowl(0, 0, x[0], x[1]));
  }

 private:
  const Poison& poison_;
};

class Bowl2 : public mlFunction2 {
 public:
  Bowl2(const Poison& poison, int max_deriv) : poison_(poison) { set_max_deriv(max_deriv); }
  double function(double u, double v) const override { return poison_(0, u, bowl(0, 0, u, v)); }
  double uv_function_derivative(int i, int j, double u, double v) const override {
    if (i < 0 || j < 0 || i + j < 1 || i + j > 2) return -666.0;
    return poison_(i + j, u, bowl(i, j, u, v));
  }

 private:
  const Poison& poison_;
};

// F(x, y) = (x^2 + y^2 - 4, x - y), with roots +-(sqrt 2, sqrt 2).
class Circle : public mlFunctionN {
 public:
  explicit Circle(const Poison& poison) : mlFunctionN(2, 2), poison_(poison) {}
  void function(const mlSlice& x, mlVector& f) const override {
    f.become(mlVectorDim, 2);
    f[0] = poison_(0, x[0], x[0] * x[0] + x[1] * x[1] - 4.0);
    f[1] = poison_(0, x[0], x[0] - x[1]);
  }
  void function_gradient(const mlSlice& x, mlMatrix& J) const override {
    const double j[] = {2.0 * x[0], 2.0 * x[1], 1.0, -1.0};
    J.become(2, 2);
    for (int k = 0; k < 4; ++k)
      J.data()[k] = poison_(1, x[0], j[k]);
  }

 private:
  const Poison& poison_;
};

// F(u, v) = (u, v, u^2 + v^2) - P: the paraboloid seen from the point P.
class Paraboloid : public mlFunctionN {
 public:
  Paraboloid(const mlVector& target, const Poison& poison)
      : mlFunctionN(2, 3), target_(utCopy, target), poison_(poison) {}
  void function(const mlSlice& x, mlVector& f) const override {
    const double s[] = {x[0], x[1], x[0] * x[0] + x[1] * x[1]};
    f.become(mlVectorDim, 3);
    for (int k = 0; k < 3; ++k)
      f[k] = poison_(0, x[0], s[k] - target_[k]);
  }
  void function_gradient(const mlSlice& x, mlMatrix& J) const override {
    const double j[] = {1.0, 0.0, 0.0, 1.0, 2.0 * x[0], 2.0 * x[1]};
    J.become(3, 2);
    for (int k = 0; k < 6; ++k)
      J.data()[k] = poison_(1, x[0], j[k]);
  }
  void function_derivative(const mlSlice& x, int* const orders, mlVector& d) const override {
    const int i = orders[0], j = orders[1];
    if (i < 0 || j < 0 || i + j < 1 || i + j > 2) return;
    const double s[] = {i + j == 1 ? 1.0 - j : 0.0, i + j == 1 ? 1.0 - i : 0.0,
                        i + j == 1 ? 2.0 * x[j]
                        : i == 1   ? 0.0
                                   : 2.0};
    d.become(mlVectorDim, 3);
    for (int k = 0; k < 3; ++k)
      d[k] = poison_(i + j, x[0], s[k]);
  }

 private:
  mlVector target_;
  const Poison& poison_;
};

// The line p0 + p1 x through the points (x_k, y_k): the distances are the residuals.
class Line : public mlDistanceLeastSquares {
 public:
  Line(const mlVector& x, const mlVector& y, const mlVector& scales, const Poison& poison)
      : mlDistanceLeastSquares(2, x.dimension()),
        x_(utCopy, x),
        y_(utCopy, y),
        scales_(utCopy, scales),
        poison_(poison) {}
  void normalise_parameters(mlVector&) override {}
  void distance_and_derivatives(double& d, mlVector& g, int k) override {
    distance(d, k);
    g[0] = poison_(1, parameters_[0], 1.0);
    g[1] = poison_(1, parameters_[0], x_[k]);
  }
  void distance(double& d, int k) override {
    d = poison_(0, parameters_[0], parameters_[0] + parameters_[1] * x_[k] - y_[k]);
  }
  void parameter_scales(mlVector& s) const override { s.become(utCopy, scales_); }

 private:
  mlVector x_, y_, scales_;
  const Poison& poison_;
};

// ---- roots ----------------------------------------------------------------------------------

// The closed-form solvers: a count in range, ascending roots, and for the quadratic and the
// cubic 0.0 beyond the count.
void closed_form(Inputs& in, const Poison& poison, int degree) {
  const mlVector c = in.vector(degree + 1);
  double r[4] = {-1.0, -1.0, -1.0, -1.0};
  int count = 0;
  if (degree == 2) count = mlRootSolve::quadratic_solve(c[0], c[1], c[2], r[0], r[1]);
  if (degree == 3) count = mlRootSolve::cubic_solve(c[0], c[1], c[2], c[3], r[0], r[1], r[2]);
  if (degree == 4) {
    count = mlRootSolve::quartic_solve(c[0], c[1], c[2], c[3], c[4], r[0], r[1], r[2], r[3]);
  }
  EXPECT_TRUE(count >= -1 && count <= degree) << count;
  EXPECT_TRUE(!poison.clean || count == degree);
  for (int i = 1; i < count; ++i)
    EXPECT_FALSE(r[i] < r[i - 1]) << r[i - 1] << " " << r[i];
  for (int i = std::max(count, 0); i < degree && degree < 4; ++i)
    EXPECT_EQ(r[i], 0.0) << "root " << i + 1 << " of " << count;
}

// A non-finite coefficient or bad limits give no roots; otherwise roots and extrema are
// ascending and inside the limits.
void polynomial(Inputs& in, const Poison& poison, int degree) {
  const mlVector c = in.vector(degree + 1);
  const double lower = in.scalar(), upper = in.scalar();
  const bool finite =
      std::all_of(c.data(), c.data() + degree + 1, [](double x) { return std::isfinite(x); });
  const bool limits = lower <= upper;
  std::vector<double> roots(degree), all(degree), t(degree);
  std::vector<int> kind(degree);
  const int n = mlPolynomialSolver::solve_polynomial(degree, c.data(), lower, upper, roots.data());
  const int n_all = mlPolynomialSolver::solve_polynomial_allroots(degree, c.data(), all.data());
  const int n_ext = mlPolynomialSolver::solve_polynomial_extrema(degree, c.data(), lower, upper,
                                                                 t.data(), kind.data());
  EXPECT_TRUE(n >= 0 && n <= (finite && limits ? degree : 0)) << n;
  EXPECT_TRUE(n_all >= 0 && n_all <= (finite ? degree : 0)) << n_all;
  EXPECT_TRUE(n_ext >= 0 && n_ext <= (finite && limits ? degree - 1 : 0)) << n_ext;
  EXPECT_TRUE(!poison.clean || (n == n_all && n_all == (degree == 4 ? 4 : 2)));
  for (int i = 0; i < n; ++i)
    EXPECT_TRUE(roots[i] >= lower && roots[i] <= upper && (i == 0 || roots[i - 1] < roots[i]))
        << roots[i];
  for (int i = 1; i < n_all; ++i)
    EXPECT_LT(all[i - 1], all[i]);
  for (int i = 0; i < n_ext; ++i) {
    EXPECT_TRUE(t[i] > lower && t[i] < upper && (i == 0 || t[i - 1] < t[i])) << t[i];
    EXPECT_TRUE(kind[i] == 1 || kind[i] == -1) << kind[i];
  }
}

// x^3 - 2x - 5, whose root is 2.0945514815423265. A converged search reports a number.
const std::vector<double> kCubic = {-5, -2, 0, 1};

void expect_root(const Poison& poison, double x, int ok) {
  EXPECT_TRUE(ok == 0 || ok == 1) << ok;
  EXPECT_TRUE(ok == 0 || !std::isnan(x));
  EXPECT_TRUE(!poison.clean || (ok == 1 && std::fabs(x - 2.0945514815423265) < 1e-9)) << x;
}

void newton(Inputs& in, const Poison& poison) {
  const double x0 = in.scalar(), tol = in.scalar(), lo = in.scalar(), hi = in.scalar();
  int ok = -1;
  const double x =
      mlRootSolve::newton_raphson(Polynomial1(kCubic, poison, lo, hi), x0, tol, ok, 50);
  expect_root(poison, x, ok);
}

void bracketed(Inputs& in, const Poison& poison, bool false_position) {
  const double a = in.scalar(), b = in.scalar(), tol = in.scalar();
  const Polynomial1 f(kCubic, poison);
  int ok = -1;
  const double x = false_position ? mlRootSolve::regula_falsi(f, a, b, tol, ok, 200)
                                  : mlRootSolve::newton_raphson(f, a, b, tol, ok, 50);
  expect_root(poison, x, ok);
}

// ok = 1 comes with status mlNRConverged and a point (a NaN tolerance can leave the status
// converged with ok = 0).
void newton_n(Inputs& in, const Poison& poison) {
  mlVector x = in.vector(2);
  const double tol = in.scalar();
  mlNewtonRaphson nr(mlNRDimension, 2);
  int ok = -1;
  nr.solve(Circle(poison), x, tol, ok);
  const int status = nr.status();
  EXPECT_TRUE(status <= mlNRIterationLimit || status == mlNRStalled || status == mlNRCycled);
  EXPECT_TRUE(ok == 0 || (ok == 1 && status == mlNRConverged)) << ok << ", status " << status;
  EXPECT_TRUE(ok == 0 || nan_free(x.data(), 2)) << x;
  EXPECT_TRUE(!poison.clean || ok == 1);
}

std::vector<Problem> root_finders() {
  std::vector<Problem> p;
  const std::vector<double> closed[] = {{1, -3, 2}, {1, -6, 11, -6}, {1, -10, 35, -50, 24}};
  const char* const names[] = {"quadratic", "cubic", "quartic"};
  for (int degree = 2; degree <= 4; ++degree) {
    p.push_back(Problem(names[degree - 2], 0, [=](Inputs& in, const Poison& q) {
                  closed_form(in, q, degree);
                }).vector("c", closed[degree - 2]));
  }
  // (t + 1)(t - 0.5)(t - 1.5)(t - 2), and (t - 1)^2 (t + 2) with its double root.
  for (const std::vector<double>& c :
       {std::vector<double>{-1.5, 3.25, 0.75, -3, 1}, std::vector<double>{2, -3, 0, 1}}) {
    const int degree = static_cast<int>(c.size()) - 1;
    p.push_back(Problem("polynomial degree " + std::to_string(degree), 0,
                        [=](Inputs& in, const Poison& q) { polynomial(in, q, degree); })
                    .vector("c", c)
                    .scalars("lower upper", {-10, 10}));
  }
  p.push_back(Problem("Newton", 2, newton).scalars("x0 tol t_min t_max", {2, 1e-12, -10, 10}));
  p.push_back(Problem("bracketed Newton", 2, [](Inputs& in, const Poison& q) {
                bracketed(in, q, false);
              }).scalars("a b tol", {1, 3, 1e-12}));
  p.push_back(Problem("regula falsi", 1, [](Inputs& in, const Poison& q) {
                bracketed(in, q, true);
              }).scalars("a b tol", {1, 3, 1e-12}));
  p.push_back(
      Problem("Newton-Raphson N", 2, newton_n).vector("x0", {1.0, 0.5}).scalar("tol", 1e-12));
  return p;
}

// ---- minimisers -----------------------------------------------------------------------------

// (t - 2)^2, minimum 0 at 2.
const std::vector<double> kParabola = {4, -4, 1};

void bracketing(Inputs& in, const Poison& poison) {
  double a = in.scalar(), b = in.scalar(), c = 0, fa = 0, fb = 0, fc = 0;
  ml_minimum_bracketing(Polynomial1(kParabola, poison), a, b, c, fa, fb, fc);
  EXPECT_TRUE(!poison.clean || (fb <= fa && fb < fc));
}

void brent(Inputs& in, const Poison& poison) {
  const double a = in.scalar(), b = in.scalar(), c = in.scalar(), tol = in.scalar();
  double x = kNaN;
  (void)ml_brent_minimum_search(Polynomial1(kParabola, poison), a, b, c, tol, 100, &x);
  EXPECT_TRUE(!poison.clean || std::fabs(x - 2.0) < 1e-6) << x;
}

void minimiser(Inputs& in, const Poison& poison, int max_deriv) {
  const double start = in.scalar(), lower = in.scalar(), upper = in.scalar(), tol = in.scalar(),
               lo = in.scalar(), hi = in.scalar();
  const Polynomial1 f(kParabola, poison, lo, hi, max_deriv);
  mlMinimiser m(f, start, lower, upper, tol);
  int found = -2, beyond = -2, out = -2;
  const double x = m.minimise(found, beyond, out);
  // The search starts clamped into the range and stays there.
  EXPECT_TRUE(!(lower <= upper) || (x >= lower && x <= upper)) << x;
  EXPECT_TRUE((found == 0 || found == 1) && (beyond >= -1 && beyond <= 1) && (out == 0 || out == 1))
      << found << " " << beyond << " " << out;
  EXPECT_TRUE(!poison.clean || std::fabs(x - 2.0) < 1e-6) << x;
}

void powell(Inputs& in, const Poison& poison) {
  mlVector x = in.vector(2);
  mlMatrix directions = in.matrix(2, 2);
  const double tol = in.scalar();
  int iterations = -1;
  const double value = ml_powell_minimum_search(x, directions, tol, iterations, BowlN1(poison));
  EXPECT_TRUE(iterations >= 0 && iterations <= 39) << iterations;
  // Without a best point (+inf at the end of every pass) the result is DBL_MAX and p empty.
  EXPECT_TRUE(x.dimension() == 2 || (x.dimension() == 0 && value == DBL_MAX)) << x;
  EXPECT_TRUE(!poison.clean || std::fabs(value) < 1e-8) << value;
}

// The budget is tested before each pass: the calls exceed it by at most one pass (n + 2).
void simplex(Inputs& in, const Poison& poison) {
  const mlVector start = in.vector(2);
  mlDownHillSimplex simplex(2);
  const double value = simplex.solve(BowlN1(poison), start, mlDownHillSimplexFast);
  EXPECT_LE(simplex.number_of_calls(), mlDownHillSimplex::m_max + 4);
  EXPECT_TRUE(!poison.clean || std::fabs(value) < 1e-6) << value;
}

void levenberg_marquardt(Inputs& in, const Poison& poison) {
  const mlVector start = in.vector(2), x = in.vector(5), y = in.vector(5), scales = in.vector(2);
  Line line(x, y, scales, poison);
  mlLevenbergMarquardt lm(line);
  mlVector result;
  (void)lm.fit(start, result);
  const double quality = line.point_distribution_quality(start);
  EXPECT_EQ(result.dimension(), 2);
  EXPECT_TRUE(!poison.clean || (std::fabs(result[0] - 1.1) < 1e-6 && quality > 0.0));
}

void constrained_qp(Inputs& in, const Poison& poison, int m, int deleting) {
  const mlMatrix h = in.matrix(2, 2);
  const mlVector g = in.vector(2);
  const mlMatrix a = in.matrix(m, 2);
  const mlVector b = in.vector(m);
  mlVector x = in.vector(2);
  mlConstrainedQuadraticMinimiser qp(a, b, deleting);
  const int ok = qp.solve(h, g, x);
  EXPECT_TRUE(ok == 0 || ok == 1) << ok;
  EXPECT_TRUE(!poison.clean || ok == 1);
}

// The surface minimisers: their result always lies in the patch.
void surface(Inputs& in, const Poison& poison, int variant) {
  const mlVector target = variant == 3 ? in.vector(3) : mlVector();
  double u = in.scalar(), v = in.scalar(), patch[4];
  for (double& side : patch)
    side = in.scalar();
  const double tol = in.scalar();
  const Bowl2 f(poison, variant == 1 ? 0 : 2);
  const Paraboloid F(target, poison);
  mlMinimiser2 scalar_minimiser(f);
  mlVectorMinimiser2 vector_minimiser(F);
  mlBaseMinimiser2& m =
      variant == 3 ? static_cast<mlBaseMinimiser2&>(vector_minimiser) : scalar_minimiser;
  m.set_patch(patch[0], patch[1], patch[2], patch[3]);
  m.set_periodic(variant == 2 ? 1 : 0, 0);
  m.set_tolerance(tol);
  const int state = m.minimise(u, v);
  EXPECT_TRUE(state >= 0 && state <= 4) << state;
  EXPECT_TRUE(u >= patch[0] && u <= patch[1] && v >= patch[2] && v <= patch[3])
      << "(" << u << ", " << v << ")";
  EXPECT_TRUE(!poison.clean || state == mlMinimiser2Converged) << state;
  // NaN values end the iteration without progress.
  const bool nan_values =
      poison.output == 0 && poison.where == kEverywhere && std::isnan(poison.value);
  EXPECT_TRUE(!nan_values || state == mlMinimiser2NoProgress) << state;
}

std::vector<Problem> minimisers() {
  std::vector<Problem> p;
  p.push_back(Problem("bracketing", 1, bracketing).scalars("a b", {0, 1}));
  p.push_back(Problem("Brent", 1, brent).scalars("a b c tol", {0, 1, 4, 1e-8}));
  for (int max_deriv : {0, 2}) {
    p.push_back(Problem("mlMinimiser max_deriv " + std::to_string(max_deriv), 1 + max_deriv,
                        [=](Inputs& in, const Poison& q) { minimiser(in, q, max_deriv); })
                    .scalars("start lower upper tol t_min t_max", {0.5, -1, 5, 1e-8, -10, 10}));
  }
  p.push_back(Problem("Powell", 1, powell)
                  .vector("x0", {0, 0})
                  .matrix("D", 2, 2, {1, 0, 0, 1})
                  .scalar("tol", 1e-8));
  p.push_back(Problem("downhill simplex", 1, simplex).vector("x0", {0, 0}));
  p.push_back(Problem("Levenberg-Marquardt", 2, levenberg_marquardt)
                  .vector("p0", {0, 0})
                  .vector("x", {0, 1, 2, 3, 4})
                  .vector("y", {1.1, 2.9, 5.2, 7.1, 8.8})
                  .vector("scale", {1, 1}));
  // x >= 0 alone, and the triangle x >= 0, y >= 0, x + y <= 2.
  const struct {
    const char* name;
    std::vector<double> h, g, a, b;
  } qps[] = {{"one constraint", {4, 2, 2, 3}, {0, 0}, {1, 0}, {0}},
             {"triangle", {2, 0, 0, 2}, {-2, -5}, {1, 0, 0, 1, -1, -1}, {0, 0, -2}}};
  for (const auto& base : qps) {
    for (int deleting : {0, 1}) {
      const int m = static_cast<int>(base.b.size());
      p.push_back(
          Problem(std::string("constrained QP ") + base.name + (deleting ? " deleting" : ""), 0,
                  [=](Inputs& in, const Poison& q) { constrained_qp(in, q, m, deleting); })
              .matrix("H", 2, 2, base.h, true)
              .vector("g", base.g)
              .matrix("A", m, 2, base.a)
              .vector("b", base.b)
              .vector("x0", {0, 0}));
    }
  }
  const char* const surfaces[] = {"mlMinimiser2", "mlMinimiser2 max_deriv 0",
                                  "mlMinimiser2 periodic u", "mlVectorMinimiser2"};
  for (int variant = 0; variant < 4; ++variant) {
    Problem problem(surfaces[variant], variant == 1 ? 1 : 3,
                    [=](Inputs& in, const Poison& q) { surface(in, q, variant); });
    if (variant == 3) problem.vector("P", {0.5, 0.3, 2.0});
    const bool periodic = variant == 2;
    p.push_back(problem.scalars("u0 v0", {0, 0})
                    .scalar("u_min", -2.0, periodic ? periodic_bound : lower_bound)
                    .scalar("u_max", 3.0, periodic ? periodic_bound : upper_bound)
                    .scalar("v_min", -2.0, lower_bound)
                    .scalar("v_max", 3.0, upper_bound)
                    .scalar("tol", 1e-10));
  }
  return p;
}

// ---- integrators and sparse products --------------------------------------------------------

void integrate(Inputs& in, const Poison& poison, int rule) {
  const double a = in.scalar(), b = in.scalar(), tol = in.scalar();
  const mlIntegrateTrapezoid trapezoid(tol, 16);
  const mlIntegrateSimpson simpson(tol, 16);
  const mlIntegrateRomberg romberg(tol, 16);
  const mlIntegrate* const rules[] = {&trapezoid, &simpson, &romberg};
  const double integral = rules[rule]->integrate(Polynomial1(kCubic, poison), a, b);
  const int converged = rule == 0   ? trapezoid.converged()
                        : rule == 1 ? simpson.converged()
                                    : romberg.converged();
  // Convergence compares a difference with the tolerance, which a NaN never passes.
  EXPECT_TRUE(converged == 0 || (converged == 1 && !std::isnan(integral))) << converged;
  EXPECT_TRUE(!poison.clean || rule == 0 || converged == 1);
}

// A single non-finite stored value or vector element makes at most one term of each sum of a
// product infinite (no stored value is zero), so the products are NaN-free unless a NaN went
// in; the symmetric products (whose matrix may then hold several infinities in a row) have the
// bits of the general ones.
void sparse(Inputs& in, const Poison&) {
  const int a_at[][2] = {{0, 0}, {0, 2}, {1, 1}, {1, 3}, {2, 0}, {2, 3}};
  const int b_at[][2] = {{0, 0}, {1, 1}, {2, 0}, {2, 1}, {3, 1}};
  const mlVector a_values = in.vector(6), b_values = in.vector(5), x3 = in.vector(3),
                 x4 = in.vector(4), dense = in.vector(8);
  mlSparseMatrix a(mlMatrixZero, 3, 4), b(mlMatrixZero, 4, 2);
  for (int k = 0; k < 6; ++k)
    a.set(a_at[k][0], a_at[k][1], a_values[k]);
  for (int k = 0; k < 5; ++k)
    b.set(b_at[k][0], b_at[k][1], b_values[k]);
  const mlSparseMatrix ab(mlMatrixProduct, a, b), at(mlMatrixTranspose, a);
  const mlSparseMatrix ata(mlMatrixProduct, at, a);
  const mlSparseSymMatrix s(mlMatrixPremultiplyTranspose, a);
  const mlSparseMatrix s_full(utCopy, s);
  mlVector y, yt, ys, ys_full;
  mlMatrix c, m_ab, m_ata, m_s;
  a.multiply_vector(x4, y);
  at.multiply_vector(x3, yt);
  s.multiply_vector(x4, ys);
  s_full.multiply_vector(x4, ys_full);
  a.multiply_matrix(mlMatrix(utConvert, dense.data(), 4, 2), c);
  ab.decompress(m_ab);
  ata.decompress(m_ata);
  s.decompress(m_s);
  for (int i = 0; i < 4; ++i) {
    for (int j = i; j < 4; ++j)
      EXPECT_TRUE(same_bits_or_nan(&m_ata(i, j), &m_s(i, j), 1)) << "(" << i << ", " << j << ")";
  }
  EXPECT_TRUE(same_bits_or_nan(ys_full.data(), ys.data(), 4));
  bool numbers = true;
  for (const mlVector* v : {&a_values, &b_values, &x3, &x4, &dense})
    numbers = numbers && nan_free(v->data(), v->dimension());
  for (const mlMatrix* r : {&m_ab, &m_ata, &c})
    EXPECT_TRUE(!numbers || nan_free(r->data(), r->rows() * r->cols())) << *r;
  for (const mlVector* r : {&y, &yt})
    EXPECT_TRUE(!numbers || nan_free(r->data(), r->dimension())) << *r;
}

std::vector<Problem> integrators_and_sparse_products() {
  std::vector<Problem> p;
  const char* const rules[] = {"trapezoid", "Simpson", "Romberg"};
  for (int rule = 0; rule < 3; ++rule) {
    p.push_back(
        Problem(std::string("integrate ") + rules[rule], 1, [=](Inputs& in, const Poison& q) {
          integrate(in, q, rule);
        }).scalars("a b tol", {0, 2, 1e-10}));
  }
  p.push_back(Problem("sparse products", 0, sparse)
                  .vector("a", {1, 2, -1, 3, 0.5, -2})
                  .vector("b", {1, 2, -1, 0.5, 4})
                  .vector("x3", {1, -1, 2})
                  .vector("x4", {1, 2, -1, 0.5})
                  .vector("M", {1, 2, 3, 4, -1, -2, 0.5, 0.25}));
  return p;
}

TEST(NonfiniteSweep, RootFindersReturn) { sweep(root_finders()); }
TEST(NonfiniteSweep, MinimisersReturn) { sweep(minimisers()); }
TEST(NonfiniteSweep, IntegratorsAndSparseProductsReturn) {
  sweep(integrators_and_sparse_products());
}

}  // namespace
