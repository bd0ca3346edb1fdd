#ifndef PASKOSDA_CONTAINERS_COQUICKSORT_H
#define PASKOSDA_CONTAINERS_COQUICKSORT_H

/// \file
/// A quick sort over objects known only by address (`coQuickSort`, with the interfaces
/// `coObjInterface` and `coArrInterface`), and the index sort `doublecoQuickSortIndex`.

#include "containers/coPageArr.h"
#include "paskosda_export.h"

/// Operations on objects known only by address. A sorter derives from it and supplies at
/// least `obj_compare`; the rest have neutral defaults.
class PASKOSDA_EXPORT coObjInterface {
 public:
  virtual ~coObjInterface();
  /// The address that stands for "no object" (null by default).
  virtual void* obj_nil() const;
  /// A new default object, or null when the type cannot make one (the default).
  virtual void* obj_create() const;
  /// Assigns the object at src to the object at dst (nothing by default).
  virtual void obj_assign(void* dst, const void* src) const;
  /// A hash of the object (0 by default).
  virtual unsigned long obj_hash(const void* obj) const;
  /// 1 when obj is the nil object, else 0.
  virtual int obj_null(const void* obj) const;
  /// -1, 0 or 1 as the object at a is ordered before, with or after the object at b.
  virtual int obj_compare(void* a, void* b) const = 0;
};

/// Operations on arrays of objects known only by address. A sorter supplies at least
/// `arr_get` and `arr_swap`.
class PASKOSDA_EXPORT coArrInterface : public coObjInterface {
 public:
  ~coArrInterface() override;
  /// A new array of n objects, or null when the type cannot make one (the default).
  virtual void* arr_create(int n) const;
  /// Destroys an array of n objects made by `arr_create` (nothing by default).
  virtual void arr_destroy(void* array, int n) const;
  /// Moves the object at index `from` to index `to` (by `obj_assign` by default).
  virtual void arr_move(void* array, int to, int from) const;
  /// The number of objects in the array (0 by default: unknown).
  virtual int arr_size(void* array) const;
  /// The address of object i.
  virtual void* arr_get(void* array, int i) const = 0;
  /// Exchanges objects i and j.
  virtual void arr_swap(void* array, int i, int j) const = 0;
};

/// A quick sort over the array interface: median-of-three pivots, a partition that stops on
/// equal keys (so runs of equal keys split evenly), recursion into the smaller part only and
/// insertion sort for short runs. It reaches the objects only through `arr_get`, `obj_compare`
/// and `arr_swap`, so it needs no copies of them. Not stable.
class PASKOSDA_EXPORT coQuickSort : protected coArrInterface {
 public:
  ~coQuickSort() override;
  /// Sorts objects 0 .. n - 1 of the array into ascending `obj_compare` order.
  void sort(void* array, int n);

 protected:
  coQuickSort() = default;
  /// Stores a copy of the object at obj as object i (by `obj_assign` by default).
  virtual void arr_put_copy(void* array, int i, const void* obj) const;
  /// A new object copied from obj (`obj_create` then `obj_assign` by default).
  virtual void* obj_create_copy(const void* obj) const;
  /// Destroys an object made by `obj_create_copy` (nothing by default).
  virtual void obj_destroy(void* obj) const;

 private:
  int compare(void* array, int i, int j) const {
    return obj_compare(arr_get(array, i), arr_get(array, j));
  }
  void sort_range(void* array, int lo, int hi) const;
  void insertion_sort(void* array, int lo, int hi) const;
};

/// Sorts an index array by the values it points at: after construction, index holds the
/// permutation 0 ... n - 1 (n = values.size()) in ascending order of values[index[k]]. Equal
/// values keep their indices in ascending order, so the result is fully determined; a NaN
/// compares equal to everything and lands where the partitioning leaves it.
class PASKOSDA_EXPORT doublecoQuickSortIndex : public coQuickSort {
 public:
  /// Makes index the permutation that sorts values, as described above; `values` is
  /// borrowed for the lifetime of the sorter.
  doublecoQuickSortIndex(const doublecoPageArr& values, intcoPageArr& index);
  ~doublecoQuickSortIndex() override;

 protected:
  int obj_compare(void* a, void* b) const override;
  void* arr_get(void* array, int i) const override;
  void arr_swap(void* array, int i, int j) const override;

 private:
  const doublecoPageArr& values_;
};

#endif  // PASKOSDA_CONTAINERS_COQUICKSORT_H
