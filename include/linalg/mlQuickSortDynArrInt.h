#ifndef PASKOSDA_LINALG_MLQUICKSORTDYNARRINT_H
#define PASKOSDA_LINALG_MLQUICKSORTDYNARRINT_H

/// \file
/// `mlQuickSortDynArrInt`, the in-place ascending sort of an `intcoDynArr`.

#include "containers/coDynArr.h"
#include "containers/coQuickSort.h"
#include "paskosda_export.h"

/// Sorts an `intcoDynArr` in place into ascending order.
///
///     mlQuickSortDynArrInt().sort(&array, array.size());
class PASKOSDA_EXPORT mlQuickSortDynArrInt : public coQuickSort {
 public:
  mlQuickSortDynArrInt() = default;
  ~mlQuickSortDynArrInt() override;

 protected:
  /// -1, 0 or 1 as the int at a is less than, equal to or greater than the int at b.
  int obj_compare(void* a, void* b) const override;
  /// The address of element i of the `intcoDynArr` (by its growing access).
  void* arr_get(void* array, int i) const override;
  /// Exchanges elements i and j.
  void arr_swap(void* array, int i, int j) const override;
};

#endif  // PASKOSDA_LINALG_MLQUICKSORTDYNARRINT_H
