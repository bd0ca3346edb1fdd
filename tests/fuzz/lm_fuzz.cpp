// Fuzzes the Levenberg-Marquardt fit and the point distribution quality on a least-squares
// problem whose model, points, scales and normalisation all come from the input, so that
// distances and derivatives take any values, overflow included. Input: the parameter count
// (1 ... 4), the point count (0 ... 8), the model kind, the points (t_k, y_k), the
// independent-parameter count, the precise-distance flag and factor, the normalisation, the
// parameter scales, then the start point and the point at which the quality is rated.

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "fuzz_input.h"
#include "linalg/mlVector.h"
#include "optim/mlLevenbergMarquardt.h"

namespace {

// d_k(p) for point (t_k, y_k) and one of three models:
//  0: the polynomial p_0 + p_1 t + ... + p_{n-1} t^{n-1} - y (linear in p);
//  1: p_0 exp(p_1 t) - y, plus p_j t for the parameters past the second (overflows readily);
//  2: p_0^2 t + sin(p_1) - y, plus p_j t^j for the rest (a non-convex model).
class DecodedProblem : public mlDistanceLeastSquares {
 public:
  DecodedProblem(paskosda_fuzz::Input& in, int n, int m)
      : mlDistanceLeastSquares(n, m), n_(n), model_(in.integer(0, 2)) {
    // Models 1 and 2 read p_1: with a single parameter the model is the polynomial.
    if (n < 2) model_ = 0;
    for (int k = 0; k < m; ++k) {
      t_.push_back(in.real());
      y_.push_back(in.real());
    }
    independent_ = in.integer(1, n);
    precise_square_distance_ = in.flag() ? 1 : 0;
    precise_factor_ = in.real();
    normalise_ = in.integer(0, 2);
    for (int j = 0; j < n; ++j)
      scales_.push_back(in.real());
  }

  void normalise_parameters(mlVector& p) override {
    if (normalise_ == 1) p[0] = std::fabs(p[0]);
    if (normalise_ == 2 && n_ > 1) p[1] = std::fmod(p[1], 6.283185307179586);
  }
  void distance_and_derivatives(double& d, mlVector& derivatives, int point) override {
    d = last_ = evaluate(point, &derivatives);
  }
  void distance(double& d, int point) override { d = last_ = evaluate(point, nullptr); }
  double get_last_square_distance() const override { return precise_factor_ * last_ * last_; }
  int n_independent_parameters() const override { return independent_; }
  void parameter_scales(mlVector& s) const override {
    s.become(mlVectorDim, n_);
    for (int j = 0; j < n_; ++j)
      s[j] = scales_[static_cast<std::size_t>(j)];
  }

 private:
  double evaluate(int point, mlVector* g) const {
    const double t = t_[static_cast<std::size_t>(point)];
    const mlVector& p = parameters_;
    double d = -y_[static_cast<std::size_t>(point)];
    double power = 1.0;
    for (int j = 0; j < n_; ++j) {
      double dj = power;
      if (model_ == 1 && j < 2) {
        const double e = std::exp(p[1] * t);
        dj = j == 0 ? e : p[0] * t * e;
        if (j == 0) d += p[0] * e;
      } else if (model_ == 2 && j < 2) {
        dj = j == 0 ? 2.0 * p[0] * t : std::cos(p[1]);
        d += j == 0 ? p[0] * p[0] * t : std::sin(p[1]);
      } else {
        d += p[j] * power;
      }
      if (g != nullptr) (*g)[j] = dj;
      power *= t;
    }
    return d;
  }

  int n_;
  int model_;
  std::vector<double> t_;
  std::vector<double> y_;
  int independent_ = 1;
  double precise_factor_ = 1.0;
  int normalise_ = 0;
  std::vector<double> scales_;
  double last_ = 0.0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  paskosda_fuzz::Input in(data, size);
  const int n = in.integer(1, 4);
  const int m = in.integer(0, 8);
  DecodedProblem problem(in, n, m);
  const mlVector start = in.vector(n);
  const mlVector rated = in.vector(n);

  mlLevenbergMarquardt fitter(problem);
  mlVector result;
  static_cast<void>(fitter.fit(start, result));
  FUZZ_EXPECT(result.dimension() == n);
  static_cast<void>(problem.point_distribution_quality(rated));
  return 0;
}
