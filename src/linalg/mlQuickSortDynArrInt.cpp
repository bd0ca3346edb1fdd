#include "linalg/mlQuickSortDynArrInt.h"

mlQuickSortDynArrInt::~mlQuickSortDynArrInt() = default;

int mlQuickSortDynArrInt::obj_compare(void* a, void* b) const {
  const int x = *static_cast<const int*>(a);
  const int y = *static_cast<const int*>(b);
  return x < y ? -1 : (x > y ? 1 : 0);
}

void* mlQuickSortDynArrInt::arr_get(void* array, int i) const {
  return &(*static_cast<intcoDynArr*>(array))[i];
}

void mlQuickSortDynArrInt::arr_swap(void* array, int i, int j) const {
  int* data = static_cast<intcoDynArr*>(array)->data();
  const int t = data[i];
  data[i] = data[j];
  data[j] = t;
}
