// The C++ side of the binding's overhead measurement: the time of one LU factorisation and
// solve of an n by n system (3 and 200), median of several runs of a timed loop, in
// microseconds per call. bench/overhead.py times the same calls through the binding.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <vector>

#include <paskosda.h>

namespace {

// A diagonally dominant matrix with the same elements as overhead.py builds.
mlMatrix system(int n) {
  mlMatrix a(n, n);
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j)
      a(i, j) = i == j ? n + 1.0 : 1.0 / (i + j + 1);
  return a;
}

double microseconds_per_call(int n, int calls) {
  const mlMatrix a = system(n);
  mlVector b(mlVectorDim, n), x;
  for (int i = 0; i < n; ++i)
    b[i] = i + 1.0;
  double sink = 0.0;
  const auto start = std::chrono::steady_clock::now();
  for (int k = 0; k < calls; ++k) {
    const mlLUDecomposition lu(a);
    lu.solve(b, x);
    sink += x[0];
  }
  const std::chrono::duration<double, std::micro> elapsed =
      std::chrono::steady_clock::now() - start;
  if (sink == 0.0) std::printf("(unexpected zero)\n");
  return elapsed.count() / calls;
}

}  // namespace

int main() {
  for (const int n : {3, 200}) {
    const int calls = n == 3 ? 200000 : 200;
    std::vector<double> runs;
    for (int r = 0; r < 7; ++r)
      runs.push_back(microseconds_per_call(n, calls));
    std::sort(runs.begin(), runs.end());
    std::printf("C++ LU factorise + solve %dx%d: %.3f us per call (median of 7)\n", n, n, runs[3]);
  }
  return 0;
}
