// Point projection onto a torus (R = 3, r = 1) with the vector surface minimiser: targets
// drawn at random in a box around the torus, each from a random start in the parameter patch
// (both parameters periodic). Reports projections per second and the iterations and function
// calls per projection; a second case declines the surface's second derivatives, so that the
// Hessian comes from differences.
#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "linalg/mlRandom.h"
#include "optim/mlMinimiser2.h"
#include "support/analytic_surfaces.h"

namespace {

struct Problem {
  double target[3];
  double u;
  double v;
};

// Targets away from the torus's axis and from the circle through its tube's centre, where the
// nearest point is not unique.
const std::vector<Problem>& problems() {
  static const std::vector<Problem> all = [] {
    std::vector<Problem> p;
    mlRandom random(2024);
    while (p.size() < 4096) {
      Problem q;
      q.target[0] = random.uniform(-5.0, 5.0);
      q.target[1] = random.uniform(-5.0, 5.0);
      q.target[2] = random.uniform(-3.0, 3.0);
      q.u = random.uniform(0.0, paskosda_test::two_pi);
      q.v = random.uniform(0.0, paskosda_test::two_pi);
      const double rho = std::hypot(q.target[0], q.target[1]);
      if (rho >= 0.3 && std::hypot(rho - 3.0, q.target[2]) >= 0.2) p.push_back(q);
    }
    return p;
  }();
  return all;
}

void project(benchmark::State& state, bool second_derivatives) {
  const paskosda_test::Torus torus(3.0, 1.0);
  paskosda_test::Projection F(torus, second_derivatives);
  mlVectorMinimiser2 minimiser(F);
  minimiser.set_patch(0.0, paskosda_test::two_pi, 0.0, paskosda_test::two_pi);
  minimiser.set_periodic(1, 1);
  const std::vector<Problem>& all = problems();
  std::size_t next = 0;
  long projections = 0;
  long iterations = 0;
  long calls = 0;
  for (auto _ : state) {
    const Problem& q = all[next];
    next = next + 1 == all.size() ? 0 : next + 1;
    F.set_target(q.target);
    double u = q.u;
    double v = q.v;
    benchmark::DoNotOptimize(minimiser.minimise(u, v));
    benchmark::DoNotOptimize(u);
    benchmark::DoNotOptimize(v);
    ++projections;
    iterations += minimiser.iterations();
    calls += minimiser.evaluations();
  }
  state.counters["projections"] =
      benchmark::Counter(static_cast<double>(projections), benchmark::Counter::kIsRate);
  state.counters["iterations/projection"] =
      static_cast<double>(iterations) / static_cast<double>(projections);
  state.counters["calls/projection"] =
      static_cast<double>(calls) / static_cast<double>(projections);
}

void BM_TorusProjection(benchmark::State& state) { project(state, true); }
BENCHMARK(BM_TorusProjection)->Name("TorusProjection/analytic")->Unit(benchmark::kMicrosecond);

void BM_TorusProjectionDifferences(benchmark::State& state) { project(state, false); }
BENCHMARK(BM_TorusProjectionDifferences)
    ->Name("TorusProjection/differenced-hessian")
    ->Unit(benchmark::kMicrosecond);

}  // namespace
