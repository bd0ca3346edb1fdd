// Fuzzes the minimisers and the root finder of several variables: Powell's direction-set
// search, the downhill simplex and Newton-Raphson for square systems, on functions from the
// input. The scalar function is a quadratic form plus a quartic term, replaced by a constant
// (possibly NaN or infinite) outside a box; the system is linear plus diagonal quadratic
// terms, with its analytic Jacobian. Input: the dimension (1 ... 4), the function's data, then
// the arguments of each routine in the order they run.

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "functions/mlFunction.h"
#include "fuzz_input.h"
#include "linalg/mlMatrix.h"
#include "linalg/mlSlice.h"
#include "linalg/mlVector.h"
#include "optim/mlDownHillSimplex.h"
#include "optim/mlPowellMinimumSearch.h"
#include "roots/mlNewtonRaphson.h"

namespace {

// f(x) = 1/2 x^T Q x + g^T x + w sum x_i^4 inside the box |x_i| <= r, the constant `outside`
// beyond it (a NaN radius leaves the box open).
class Scalar : public mlFunctionN1 {
 public:
  Scalar(paskosda_fuzz::Input& in, int n) : mlFunctionN1(n), q_(in.matrix(n, n)), g_(in.vector(n)) {
    w_ = in.real();
    r_ = in.real();
    outside_ = in.real();
  }

  double function(const mlSlice& x) const override {
    // Each line search of Powell's method brackets without an iteration limit; past a
    // generous number of calls the function answers NaN, which ends any bracketing walk.
    if (++calls_ > 400000) return std::numeric_limits<double>::quiet_NaN();
    const int n = variables();
    double s = 0.0;
    for (int i = 0; i < n; ++i) {
      if (std::fabs(x[i]) > r_) return outside_;
      double qx = 0.0;
      for (int j = 0; j < n; ++j)
        qx += q_(i, j) * x[j];
      const double x2 = x[i] * x[i];
      s += 0.5 * x[i] * qx + g_[i] * x[i] + w_ * x2 * x2;
    }
    return s;
  }

  void reset_calls() const { calls_ = 0; }

 private:
  mlMatrix q_;
  mlVector g_;
  double w_ = 0.0;
  double r_ = 0.0;
  double outside_ = 0.0;
  mutable long calls_ = 0;
};

// F_i(x) = sum_j A_ij x_j + b_i + c_i x_i^2, with its Jacobian.
class System : public mlFunctionN {
 public:
  System(paskosda_fuzz::Input& in, int n)
      : mlFunctionN(n, n), a_(in.matrix(n, n)), b_(in.vector(n)), c_(in.vector(n)) {}

  void function(const mlSlice& x, mlVector& f) const override {
    const int n = variables();
    f.become(mlVectorDim, n);
    for (int i = 0; i < n; ++i) {
      double s = b_[i] + c_[i] * x[i] * x[i];
      for (int j = 0; j < n; ++j)
        s += a_(i, j) * x[j];
      f[i] = s;
    }
  }
  void function_gradient(const mlSlice& x, mlMatrix& J) const override {
    const int n = variables();
    J.become(n, n);
    for (int i = 0; i < n; ++i) {
      for (int j = 0; j < n; ++j)
        J(i, j) = a_(i, j) + (i == j ? 2.0 * c_[i] * x[i] : 0.0);
    }
  }

 private:
  mlMatrix a_;
  mlVector b_;
  mlVector c_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  paskosda_fuzz::Input in(data, size);
  const int n = in.integer(1, 4);
  const Scalar f(in, n);

  // Powell from a decoded point, along the unit vectors or decoded directions.
  mlVector p = in.vector(n);
  mlMatrix directions(mlMatrixIdentity, n);
  if (in.flag()) directions.become(utCopy, in.matrix(n, n));
  const double tolerance = in.real();
  int iterations = -1;
  static_cast<void>(ml_powell_minimum_search(p, directions, tolerance, iterations, f));
  FUZZ_EXPECT(iterations >= 0 && iterations <= 39);
  FUZZ_EXPECT(p.dimension() == n || p.dimension() == 0);

  // The downhill simplex at a decoded speed (codes past 3 behave as the slowest).
  f.reset_calls();
  const mlVector start = in.vector(n);
  const auto speed = static_cast<mlDownHillSimplexSpeed>(in.integer(0, 5));
  mlDownHillSimplex simplex(n);
  static_cast<void>(simplex.solve(f, start, speed));
  mlVector best;
  simplex.result(best);
  FUZZ_EXPECT(best.dimension() == n);
  FUZZ_EXPECT(simplex.number_of_calls() <= 20000 + 2 * (n + 1));

  // Newton-Raphson on the system, with a decoded iteration limit.
  const System system(in, n);
  mlVector x = in.vector(n);
  mlNewtonRaphson newton(mlNRDimension, n);
  newton.set_max_iterations(in.integer(0, 100));
  int ok = -1;
  newton.solve(system, x, in.real(), ok);
  FUZZ_EXPECT(ok == 0 || ok == 1);
  FUZZ_EXPECT(x.dimension() == n);
  return 0;
}
