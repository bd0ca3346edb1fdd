#ifndef PASKOSDA_LINALG_MLSLICE_H
#define PASKOSDA_LINALG_MLSLICE_H

/// \file
/// `mlSlice`, the non-owning strided view of doubles, and the free functions on slices:
/// `scalar_product`, distances, comparison and printing.

#include <ostream>

#include "containers/utCheck.h"
#include "containers/utOstream.h"
#include "paskosda_export.h"

class mlVector;
class mlSlice;

/// The sum of a[i] * b[i] over a's dimension, ascending, from 0.0.
PASKOSDA_EXPORT double scalar_product(const mlSlice& a, const mlSlice& b) noexcept;
/// The sum of (a[i] - b[i])^2 over a's dimension, ascending, from 0.0.
PASKOSDA_EXPORT double distance_squared(const mlSlice& a, const mlSlice& b) noexcept;
/// The largest fabs(a[i] - b[i]) over a's dimension; -DBL_MAX when a is empty (a NaN
/// difference never wins).
PASKOSDA_EXPORT double norm_diff(const mlSlice& a, const mlSlice& b) noexcept;
/// 1 if the first a.dimension() doubles at the two views' storage are equal, else 0. Compares
/// the storage from its base, ignoring start and stride, as the vector comparison does.
PASKOSDA_EXPORT int operator==(const mlSlice& a, const mlSlice& b) noexcept;
/// The negation of ==.
PASKOSDA_EXPORT int operator!=(const mlSlice& a, const mlSlice& b) noexcept;

/// A non-owning strided view of doubles: element i is data[start + stride * i]. Views rows,
/// columns and diagonals of matrices and parts of vectors; valid only while the viewed storage
/// is not reallocated. Assignment copies elements into the view, never the view itself.
class PASKOSDA_EXPORT mlSlice {
 public:
  /// A view of `count` elements of `data`, from index `start`, `stride` apart.
  mlSlice(double* data, int start, int stride, int count) noexcept
      : data_(data), start_(start), count_(count), stride_(stride) {}
  /// A view of constant storage. The view itself does not enforce constness: writing through
  /// a slice made from const data is the caller's error.
  mlSlice(const double* data, int start, int stride, int count) noexcept
      : mlSlice(const_cast<double*>(data), start, stride, count) {}
  /// Another view of the same elements.
  mlSlice(const mlSlice&) noexcept = default;
  ~mlSlice() = default;

  /// Element i, below `dimension()` (no growth; asserted in checked builds).
  double& operator[](int i) noexcept {
    PASKOSDA_CHECK(i >= 0 && i < count_, "mlSlice::operator[](i = %d) of %d elements", i, count_);
    return data_[start_ + stride_ * i];
  }
  /// Element i, below `dimension()` (asserted in checked builds).
  double operator[](int i) const noexcept {
    PASKOSDA_CHECK(i >= 0 && i < count_, "mlSlice::operator[](i = %d) const of %d elements", i,
                   count_);
    return data_[start_ + stride_ * i];
  }

  /// The number of elements.
  int dimension() const noexcept { return count_; }
  /// The distance in doubles between consecutive elements.
  int stride() const noexcept { return stride_; }

  /// The sub-view of `c` elements from element a, every s-th: start + stride * a, stride * s.
  mlSlice slice(int a, int s, int c) const noexcept {
    return {data_, start_ + stride_ * a, stride_ * s, c};
  }

  /// Copies the first dimension() elements of v (or of s) into the view; v must be at least
  /// as long.
  ///@{
  mlSlice& operator=(const mlVector& v) noexcept;
  mlSlice& operator=(const mlSlice& s) noexcept;
  ///@}

  /// Multiplies each element by x.
  mlSlice& operator*=(double x) noexcept;
  /// Divides each element (a true division per element).
  mlSlice& operator/=(double x) noexcept;
  /// Subtracts x from each element.
  mlSlice& operator-=(double x) noexcept;
  /// Subtracts the other slice element by element over this slice's dimension.
  mlSlice& operator-=(const mlSlice& s) noexcept;
  /// Sets every element to x.
  void fill(double x) noexcept;

  /// The sum of the elements in order; 0.0 when empty.
  double sum() const noexcept;
  /// scalar_product(*this, *this).
  double modulus_squared() const noexcept;
  /// sqrt(modulus_squared()).
  double modulus() const noexcept;
  /// The largest fabs(element); -DBL_MAX when empty (a NaN element never wins).
  double max_absolute_value() const noexcept;

 protected:
  /// The address of element 0.
  double* start() const noexcept { return data_ + start_; }

 private:
  friend double scalar_product(const mlSlice& a, const mlSlice& b) noexcept;
  friend double distance_squared(const mlSlice& a, const mlSlice& b) noexcept;
  friend double norm_diff(const mlSlice& a, const mlSlice& b) noexcept;
  friend int operator==(const mlSlice& a, const mlSlice& b) noexcept;

  double* data_ = nullptr;
  int start_ = 0;
  int count_ = 0;
  int stride_ = 0;
};

/// Writes "<", the elements separated by "," and ">", with no line end.
PASKOSDA_EXPORT utOstream& operator<<(utOstream& out, const mlSlice& s);
/// The same on a top-level `utOstream` over os.
PASKOSDA_EXPORT std::ostream& operator<<(std::ostream& os, const mlSlice& s);

#endif  // PASKOSDA_LINALG_MLSLICE_H
