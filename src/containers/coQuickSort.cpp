#include "containers/coQuickSort.h"

coObjInterface::~coObjInterface() = default;
void* coObjInterface::obj_nil() const { return nullptr; }
void* coObjInterface::obj_create() const { return nullptr; }
void coObjInterface::obj_assign(void*, const void*) const {}
unsigned long coObjInterface::obj_hash(const void*) const { return 0; }
int coObjInterface::obj_null(const void* obj) const { return obj == obj_nil() ? 1 : 0; }

coArrInterface::~coArrInterface() = default;
void* coArrInterface::arr_create(int) const { return nullptr; }
void coArrInterface::arr_destroy(void*, int) const {}
void coArrInterface::arr_move(void* array, int to, int from) const {
  obj_assign(arr_get(array, to), arr_get(array, from));
}
int coArrInterface::arr_size(void*) const { return 0; }

coQuickSort::~coQuickSort() = default;

void coQuickSort::arr_put_copy(void* array, int i, const void* obj) const {
  obj_assign(arr_get(array, i), obj);
}

void* coQuickSort::obj_create_copy(const void* obj) const {
  void* copy = obj_create();
  if (copy != nullptr) obj_assign(copy, obj);
  return copy;
}

void coQuickSort::obj_destroy(void*) const {}

namespace {
// Runs this short are finished by insertion sort.
constexpr int kInsertionRun = 12;
}  // namespace

void coQuickSort::insertion_sort(void* array, int lo, int hi) const {
  for (int i = lo + 1; i <= hi; ++i) {
    for (int j = i; j > lo && compare(array, j - 1, j) > 0; --j)
      arr_swap(array, j - 1, j);
  }
}

void coQuickSort::sort(void* array, int n) { sort_range(array, 0, n - 1); }

void coQuickSort::sort_range(void* array, int lo, int hi) const {
  // Loops on the larger part and recurses into the smaller one, so the stack stays within
  // log2(n) frames whatever the input.
  while (hi - lo + 1 > kInsertionRun) {
    // Median of three: order lo, mid, hi, then park the median at lo as the pivot.
    const int mid = lo + (hi - lo) / 2;
    if (compare(array, mid, lo) < 0) arr_swap(array, mid, lo);
    if (compare(array, hi, lo) < 0) arr_swap(array, hi, lo);
    if (compare(array, hi, mid) < 0) arr_swap(array, hi, mid);
    arr_swap(array, lo, mid);
    // The pivot stays at lo during the partition; both scans stop on keys equal to it.
    int i = lo;
    int j = hi + 1;
    for (;;) {
      while (compare(array, ++i, lo) < 0) {
        if (i == hi) break;
      }
      // Stops at lo at the latest, which compares equal to itself.
      while (compare(array, lo, --j) < 0) {
      }
      if (i >= j) break;
      arr_swap(array, i, j);
    }
    arr_swap(array, lo, j);
    if (j - lo < hi - j) {
      sort_range(array, lo, j - 1);
      lo = j + 1;
    } else {
      sort_range(array, j + 1, hi);
      hi = j - 1;
    }
  }
  insertion_sort(array, lo, hi);
}

doublecoQuickSortIndex::doublecoQuickSortIndex(const doublecoPageArr& values, intcoPageArr& index)
    : values_(values) {
  const int n = values.size();
  index.clear(0);
  for (int k = 0; k < n; ++k)
    index[k] = k;
  sort(&index, n);
}

doublecoQuickSortIndex::~doublecoQuickSortIndex() = default;

int doublecoQuickSortIndex::obj_compare(void* a, void* b) const {
  const int i = *static_cast<int*>(a);
  const int j = *static_cast<int*>(b);
  const double x = values_[i];
  const double y = values_[j];
  if (x < y) return -1;
  if (x > y) return 1;
  return i < j ? -1 : (i > j ? 1 : 0);
}

void* doublecoQuickSortIndex::arr_get(void* array, int i) const {
  return &(*static_cast<intcoPageArr*>(array))[i];
}

void doublecoQuickSortIndex::arr_swap(void* array, int i, int j) const {
  intcoPageArr& index = *static_cast<intcoPageArr*>(array);
  const int t = index[i];
  index[i] = index[j];
  index[j] = t;
}
