// Least-squares curve fitting with lambdas: Levenberg-Marquardt fits an exponential decay to
// 50 noisy samples and a circle to points on an arc, with and without a Jacobian.
#include <paskosda.h>

#include <cmath>
#include <cstdio>
#include <vector>

int main() {
  // y = a exp(b x): 50 samples of 2.5 exp(-1.3 x) on [0, 3.92] with 2% multiplicative noise.
  // Without a Jacobian, the derivatives are forward differences of the residual.
  mlRandom noise(2024);
  std::vector<double> x(50), y(50);
  for (int k = 0; k < 50; ++k) {
    x[k] = 0.08 * k;
    y[k] = 2.5 * std::exp(-1.3 * x[k]) * (1.0 + noise.uniform(-0.02, 0.02));
  }
  auto decay = ml_make_least_squares(
      2, 50, [&](const mlVector& p, int k) { return p[0] * std::exp(p[1] * x[k]) - y[k]; });
  mlVector start(mlVectorZero, 2), fit;
  start[0] = 1.0;
  const double mean_square = mlLevenbergMarquardt(decay).fit(start, fit);
  std::printf("exponential fit to 50 points: a = %.4f, b = %.4f (true 2.5, -1.3), rms %.2e\n",
              fit[0], fit[1], std::sqrt(mean_square));

  // A circle (cx, cy, r) through 30 points on a 100-degree arc about (4, -2) of radius 6, each
  // off the circle by up to 0.05. The residual is the signed distance from the circle; its
  // Jacobian is minus the unit vector from the point to the centre, and -1 for the radius.
  std::vector<double> px(30), py(30);
  for (int k = 0; k < 30; ++k) {
    const double angle = 0.3 + k * (100.0 / 29.0) * std::atan(1.0) / 45.0;
    const double radius = 6.0 + noise.uniform(-0.05, 0.05);
    px[k] = 4.0 + radius * std::cos(angle);
    py[k] = -2.0 + radius * std::sin(angle);
  }
  auto circle = ml_make_least_squares(
      3, 30,
      [&](const mlVector& p, int k) { return std::hypot(px[k] - p[0], py[k] - p[1]) - p[2]; },
      [&](const mlVector& p, int k, mlVector& g) {
        const double distance = std::hypot(px[k] - p[0], py[k] - p[1]);
        g[0] = (p[0] - px[k]) / distance;
        g[1] = (p[1] - py[k]) / distance;
        g[2] = -1.0;
      });
  // Start from the centroid of the points, with the mean distance from it as the radius.
  mlVector guess(mlVectorZero, 3), circle_fit;
  for (int k = 0; k < 30; ++k) {
    guess[0] += px[k] / 30.0;
    guess[1] += py[k] / 30.0;
  }
  for (int k = 0; k < 30; ++k)
    guess[2] += std::hypot(px[k] - guess[0], py[k] - guess[1]) / 30.0;
  const double circle_mean_square = mlLevenbergMarquardt(circle).fit(guess, circle_fit);
  std::printf("start: centre (%.3f, %.3f), radius %.3f\n", guess[0], guess[1], guess[2]);
  std::printf(
      "circle fit to 30 points on an arc: centre (%.4f, %.4f), radius %.4f "
      "(true (4, -2), 6), rms %.2e\n",
      circle_fit[0], circle_fit[1], circle_fit[2], std::sqrt(circle_mean_square));
  std::printf("point distribution quality of the arc: %.4f\n",
              circle.point_distribution_quality(circle_fit));
  return 0;
}
