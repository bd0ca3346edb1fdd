#ifndef PASKOSDA_LINALG_MLVECTOR_H
#define PASKOSDA_LINALG_MLVECTOR_H

/// \file
/// The dense vector `mlVector` and the free functions on vectors: `scalar_product`, distances,
/// comparison and printing.

#include <ostream>

#include "containers/coDynArr.h"
#include "containers/utOstream.h"
#include "containers/utTags.h"
#include "linalg/mlSlice.h"
#include "paskosda_export.h"

class mlMatrix;

/// The library's dense vector of double: a `doublecoDynArr` whose used count is the
/// dimension, and nothing more. Element access past the end grows the vector. Operations
/// between vectors walk this vector's dimension and do not check the other's.
class PASKOSDA_EXPORT mlVector : public doublecoDynArr {
 public:
  /// An empty vector.
  mlVector() noexcept = default;
  /// A vector of dimension n, values unset.
  mlVector(mlVectorDimTag, int n) noexcept;
  /// A vector of dimension n, all 0.0.
  mlVector(mlVectorZeroTag, int n) noexcept;
  /// A copy of v.
  mlVector(utCopyTag, const mlVector& v) noexcept;
  /// A copy of the slice's elements.
  mlVector(utCopyTag, const mlSlice& s) noexcept;
  /// The product m * v.
  mlVector(mlMatrixProductTag, const mlMatrix& m, const mlVector& v) noexcept;
  /// Takes over v's storage, leaving v empty.
  mlVector(mlVector&& v) noexcept : doublecoDynArr(static_cast<doublecoDynArr&&>(v)) {}
  mlVector(const mlVector&) = delete;
  ~mlVector() = default;

  /// Dimension exactly n (clear, then expand); values are whatever the storage held.
  mlVector& become(mlVectorDimTag, int n) noexcept;
  /// Expands to n without clearing first, then sets every element to 0.0: a longer vector
  /// keeps its larger dimension. (Unlike mlVectorDim, deliberately.)
  mlVector& become(mlVectorZeroTag, int n) noexcept;
  /// A copy of v (its dimension and elements).
  mlVector& become(utCopyTag, const mlVector& v) noexcept;
  /// A copy of the slice's elements (its dimension).
  mlVector& become(utCopyTag, const mlSlice& s) noexcept;
  /// Expands to n (no clear first), then element i = p[i] for i < n.
  mlVector& become(utConvertTag, const double* p, int n) noexcept;
  /// The product m * v (see `multiply`); v must not be this vector.
  ///@{
  mlVector& become(mlMatrixProductTag, const mlMatrix& m, const mlVector& v) noexcept;
  mlVector& become(mlMatrixProductTag, const mlMatrix& m, const mlSlice& v) noexcept;
  ///@}

  /// Copies this vector's own dimension of elements from v (or s); never resizes.
  ///@{
  mlVector& operator=(const mlVector& v) noexcept;
  mlVector& operator=(const mlSlice& s) noexcept;
  ///@}

  /// Multiplies each element by x.
  mlVector& operator*=(double x) noexcept;
  /// Divides each element (a true division per element).
  mlVector& operator/=(double x) noexcept;
  /// Adds x to each element.
  mlVector& operator+=(double x) noexcept;
  /// Subtracts x from each element.
  mlVector& operator-=(double x) noexcept;
  /// Adds the other's elements, over this vector's dimension.
  ///@{
  mlVector& operator+=(const mlVector& v) noexcept;
  mlVector& operator+=(const mlSlice& s) noexcept;
  ///@}
  /// Subtracts the other's elements, over this vector's dimension.
  ///@{
  mlVector& operator-=(const mlVector& v) noexcept;
  mlVector& operator-=(const mlSlice& s) noexcept;
  ///@}

  /// The dimension (the used count).
  int dimension() const noexcept { return used_; }
  /// Removes element i, moving the later ones down; the storage is kept.
  void delete_element(int i) noexcept;
  /// Sets every element to x.
  void fill(double x) noexcept;
  /// The largest fabs(element); -DBL_MAX when empty (a NaN element never wins).
  double max_absolute_value() const noexcept;
  /// scalar_product(*this, *this).
  double modulus_squared() const noexcept;
  /// sqrt(modulus_squared()).
  double modulus() const noexcept;
  /// The sum of the elements in order; 0.0 when empty.
  double sum() const noexcept;

  /// A slice with exactly these fields on this vector's storage.
  ///@{
  mlSlice slice(int start, int stride, int count) noexcept { return {data_, start, stride, count}; }
  mlSlice slice(int start, int stride, int count) const noexcept {
    return {static_cast<const double*>(data_), start, stride, count};
  }
  ///@}
  /// slice(0, 1, dimension()).
  ///@{
  mlSlice slice() noexcept { return slice(0, 1, used_); }
  mlSlice slice() const noexcept { return slice(0, 1, used_); }
  ///@}
};

/// The sum of a[i] * b[i] over a's dimension, ascending, from 0.0.
PASKOSDA_EXPORT double scalar_product(const mlVector& a, const mlVector& b) noexcept;
/// The sum of (a[i] - b[i])^2 over a's dimension, ascending, from 0.0.
PASKOSDA_EXPORT double distance_squared(const mlVector& a, const mlVector& b) noexcept;
/// The largest fabs(a[i] - b[i]) over a's dimension; -DBL_MAX when a is empty (a NaN
/// difference never wins).
PASKOSDA_EXPORT double norm_diff(const mlVector& a, const mlVector& b) noexcept;
/// 1 if a[i] == b[i] for every i below a's dimension, else 0. Dimensions are not compared: an
/// empty vector equals everything, and a vector equals a longer one that starts with it.
PASKOSDA_EXPORT int operator==(const mlVector& a, const mlVector& b) noexcept;

/// Writes "< ", each element followed by " ", then "> " and std::endl, with fixed and
/// showpoint added to the stream's flags for the duration (the precision is not touched).
PASKOSDA_EXPORT utOstream& operator<<(utOstream& out, const mlVector& v);
/// The same on a top-level `utOstream` over os.
PASKOSDA_EXPORT std::ostream& operator<<(std::ostream& os, const mlVector& v);

#endif  // PASKOSDA_LINALG_MLVECTOR_H
