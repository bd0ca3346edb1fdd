// Growth and sorting costs of the container layer.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <vector>

#include "containers/coDynArr.h"
#include "containers/coPageArr.h"
#include "linalg/mlQuickSortDynArrInt.h"
#include "linalg/mlRandom.h"

namespace {

// Appending n doubles: the increment decides how often the buffer is copied.
void BM_DynArrAppend(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const int increment = static_cast<int>(state.range(1));
  for (auto _ : state) {
    doublecoDynArr array(0, increment);
    for (int i = 0; i < n; ++i)
      array.append(i);
    benchmark::DoNotOptimize(array.data());
  }
  state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(BM_DynArrAppend)->Args({1000, 1})->Args({1000, 64})->Args({100000, 1024});

void BM_PageArrAppend(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  for (auto _ : state) {
    doublecoPageArr array;
    for (int i = 0; i < n; ++i)
      array.append(i);
    benchmark::DoNotOptimize(&array[0]);
  }
  state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(BM_PageArrAppend)->Arg(1000)->Arg(100000);

std::vector<int> random_ints(int n) {
  mlRandom random(1);
  std::vector<int> v(n);
  for (int& x : v)
    x = random.integer(1 << 30);
  return v;
}

void BM_QuickSortDynArrInt(benchmark::State& state) {
  const std::vector<int> input = random_ints(static_cast<int>(state.range(0)));
  intcoDynArr array;
  for (auto _ : state) {
    array.clear(0);
    for (int x : input)
      array.append(x);
    mlQuickSortDynArrInt().sort(&array, array.size());
    benchmark::DoNotOptimize(array.data());
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_QuickSortDynArrInt)->Arg(1000)->Arg(100000);

// The anchor: std::sort on the same data.
void BM_StdSort(benchmark::State& state) {
  const std::vector<int> input = random_ints(static_cast<int>(state.range(0)));
  std::vector<int> v;
  for (auto _ : state) {
    v = input;
    std::sort(v.begin(), v.end());
    benchmark::DoNotOptimize(v.data());
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_StdSort)->Arg(1000)->Arg(100000);

}  // namespace
