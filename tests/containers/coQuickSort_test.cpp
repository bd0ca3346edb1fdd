#include "containers/coQuickSort.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "linalg/mlQuickSortDynArrInt.h"
#include "linalg/mlRandom.h"

namespace {

// Inputs that trouble naive quick sorts: sorted, reversed, all equal, few distinct keys,
// organ pipe, and plain random data of many lengths.
std::vector<std::vector<int>> awkward_inputs() {
  std::vector<std::vector<int>> inputs = {{}, {5}, {2, 1}, {1, 1, 1}};
  mlRandom random(7);
  for (int n : {13, 64, 100, 1000, 4097}) {
    std::vector<int> ascending(n), descending(n), equal(n, 3), few(n), pipe(n), noise(n);
    for (int i = 0; i < n; ++i) {
      ascending[i] = i;
      descending[i] = n - i;
      few[i] = random.integer(4);
      pipe[i] = std::min(i, n - i);
      noise[i] = random.integer(1000000) - 500000;
    }
    for (auto* v : {&ascending, &descending, &equal, &few, &pipe, &noise})
      inputs.push_back(*v);
  }
  return inputs;
}

TEST(coQuickSortDynArrInt, SortsLikeStdSort) {
  for (const std::vector<int>& input : awkward_inputs()) {
    intcoDynArr array;
    for (int x : input)
      array.append(x);
    mlQuickSortDynArrInt().sort(&array, array.size());
    std::vector<int> expected = input;
    std::sort(expected.begin(), expected.end());
    ASSERT_EQ(std::vector<int>(array.begin(), array.end()), expected) << input.size();
  }
}

TEST(coQuickSortDynArrInt, SortsOnlyTheGivenPrefix) {
  intcoDynArr array{9, 8, 7, 6, 5};
  mlQuickSortDynArrInt().sort(&array, 3);
  EXPECT_EQ(std::vector<int>(array.begin(), array.end()), (std::vector<int>{7, 8, 9, 6, 5}));
}

TEST(coQuickSortIndex, GivesTheAscendingPermutationWithTiesByIndex) {
  mlRandom random(11);
  for (int n : {0, 1, 2, 17, 500, 3000}) {
    doublecoPageArr values;
    for (int i = 0; i < n; ++i)
      values.append(std::floor(random.uniform(-20.0, 20.0)));
    intcoPageArr index;
    index.append(99);  // whatever the index held before is replaced
    doublecoQuickSortIndex sorter(values, index);
    ASSERT_EQ(index.size(), n);
    std::vector<int> expected(n);
    for (int i = 0; i < n; ++i)
      expected[i] = i;
    std::stable_sort(expected.begin(), expected.end(),
                     [&](int a, int b) { return values[a] < values[b]; });
    for (int k = 0; k < n; ++k)
      ASSERT_EQ(index[k], expected[k]) << n << " at " << k;
  }
}

}  // namespace
