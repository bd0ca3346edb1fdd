// The library's own elementary functions against the platform's (glibc on Linux), per call,
// over arguments in the ranges engineering code uses.
#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "linalg/mlRandom.h"
#include "math/mlPortableMath.h"

namespace {

constexpr int kArguments = 1024;

std::vector<double> arguments(double lo, double hi, long seed) {
  mlRandom random(seed);
  std::vector<double> x(kArguments);
  for (double& v : x)
    v = random.uniform(lo, hi);
  return x;
}

void unary(benchmark::State& state, double (*f)(double), double lo, double hi) {
  const std::vector<double> x = arguments(lo, hi, 11);
  for (auto _ : state) {
    double sum = 0.0;
    for (double v : x)
      sum += f(v);
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * kArguments);
}

void binary(benchmark::State& state, double (*f)(double, double), double lo, double hi, double lo_y,
            double hi_y) {
  const std::vector<double> x = arguments(lo, hi, 11);
  const std::vector<double> y = arguments(lo_y, hi_y, 12);
  for (auto _ : state) {
    double sum = 0.0;
    for (int i = 0; i < kArguments; ++i)
      sum += f(x[i], y[i]);
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * kArguments);
}

double platform_sin(double x) { return std::sin(x); }
double platform_cos(double x) { return std::cos(x); }
double platform_sinh(double x) { return std::sinh(x); }
double platform_cosh(double x) { return std::cosh(x); }
double platform_exp(double x) { return std::exp(x); }
double platform_log(double x) { return std::log(x); }
double platform_atan2(double y, double x) { return std::atan2(y, x); }
double platform_hypot(double x, double y) { return std::hypot(x, y); }
double platform_pow(double x, double y) { return std::pow(x, y); }

using namespace paskosda_detail;
BENCHMARK_CAPTURE(unary, sin / portable, portable_sin, -10.0, 10.0);
BENCHMARK_CAPTURE(unary, sin / platform, platform_sin, -10.0, 10.0);
BENCHMARK_CAPTURE(unary, sin_large / portable, portable_sin, 1e6, 1e22);
BENCHMARK_CAPTURE(unary, sin_large / platform, platform_sin, 1e6, 1e22);
BENCHMARK_CAPTURE(unary, cos / portable, portable_cos, -10.0, 10.0);
BENCHMARK_CAPTURE(unary, cos / platform, platform_cos, -10.0, 10.0);
BENCHMARK_CAPTURE(unary, sinh / portable, portable_sinh, -20.0, 20.0);
BENCHMARK_CAPTURE(unary, sinh / platform, platform_sinh, -20.0, 20.0);
BENCHMARK_CAPTURE(unary, cosh / portable, portable_cosh, -20.0, 20.0);
BENCHMARK_CAPTURE(unary, cosh / platform, platform_cosh, -20.0, 20.0);
BENCHMARK_CAPTURE(unary, exp / portable, portable_exp, -50.0, 50.0);
BENCHMARK_CAPTURE(unary, exp / platform, platform_exp, -50.0, 50.0);
BENCHMARK_CAPTURE(unary, log / portable, portable_log, 1e-3, 1e3);
BENCHMARK_CAPTURE(unary, log / platform, platform_log, 1e-3, 1e3);
BENCHMARK_CAPTURE(binary, atan2 / portable, portable_atan2, -10.0, 10.0, -10.0, 10.0);
BENCHMARK_CAPTURE(binary, atan2 / platform, platform_atan2, -10.0, 10.0, -10.0, 10.0);
BENCHMARK_CAPTURE(binary, hypot / portable, portable_hypot, -10.0, 10.0, -10.0, 10.0);
BENCHMARK_CAPTURE(binary, hypot / platform, platform_hypot, -10.0, 10.0, -10.0, 10.0);
BENCHMARK_CAPTURE(binary, pow / portable, portable_pow, 0.0, 100.0, -20.0, 20.0);
BENCHMARK_CAPTURE(binary, pow / platform, platform_pow, 0.0, 100.0, -20.0, 20.0);

}  // namespace
