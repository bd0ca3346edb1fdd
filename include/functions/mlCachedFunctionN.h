#ifndef PASKOSDA_FUNCTIONS_MLCACHEDFUNCTIONN_H
#define PASKOSDA_FUNCTIONS_MLCACHEDFUNCTIONN_H

/// \file
/// `mlCachedFunctionN`, a memo of the last value and partial derivatives of an `mlFunctionN`.

#include "containers/coDynArr.h"
#include "functions/mlFunction.h"
#include "linalg/mlMatrix.h"
#include "linalg/mlSlice.h"
#include "linalg/mlVector.h"
#include "paskosda_export.h"

/// An array of vectors. It reallocates by assigning elements, and `mlVector` assignment copies
/// only the destination's own dimension, so a reallocation would copy into empty vectors and
/// lose the contents: size such an array once, up front, before filling its vectors.
using mlVectorcoDynArr = coDynArr<mlVector>;

/// A memo of another `mlFunctionN`: remembers the last result of the value and of every
/// partial derivative with orders 0, 1 or 2 per variable, so that a solver asking for the
/// value, the Jacobian and single derivatives at one point calls the wrapped function once
/// for each. There is one slot per combination of orders (3^variables in all), numbered in
/// base 3 with the order of variable 0 as the lowest digit; slot 0 is the value. A slot keeps
/// one result: a new argument overwrites it. A hit needs exact equality of the argument.
///
/// The wrapped function is borrowed (it must outlive the wrapper and is never deleted). Call
/// `cancel_cache` whenever its behaviour changes. All memory is taken in the constructor; no
/// evaluation allocates. The cache changes inside const operations: one object, one thread.
///
/// Arguments are compared with `mlSlice` equality, which reads the first `variables` doubles
/// from the argument's storage base, ignoring its start and stride (while the argument is
/// stored through the view): pass slices that begin at their storage's first element with
/// stride 1, such as `vector.slice()`. Results are copied into a caller's vector by `mlVector`
/// assignment, over that vector's own dimension: give it `dimension` elements.
/// Up to 19 variables (3^19 slots already exceed any memory).
class PASKOSDA_EXPORT mlCachedFunctionN : public mlFunctionN {
 public:
  /// Wraps f: 3^variables slots, each with a result vector of f's dimension and an argument
  /// vector of f's variables, all empty.
  explicit mlCachedFunctionN(const mlFunctionN* f) noexcept;
  /// Re-initialises the wrapper around f, as the constructor does. Returns this.
  mlCachedFunctionN& become(const mlFunctionN* f) noexcept;
  mlCachedFunctionN(const mlCachedFunctionN&) = delete;
  mlCachedFunctionN& operator=(const mlCachedFunctionN&) = delete;
  /// Releases the cache; the wrapped function is not touched.
  ~mlCachedFunctionN() override;

  /// The value at x: the remembered one when slot 0 holds x, otherwise the wrapped
  /// function's, which slot 0 then keeps.
  void function(const mlSlice& x, mlVector& f) const override;
  /// The Jacobian at x, built column by column from the first-derivative slots 3^i (filled
  /// through `function_derivative` when they do not hold x); the wrapped function's own
  /// `function_gradient` is never called. J must already be `dimension` by `variables`.
  void function_gradient(const mlSlice& x, mlMatrix& J) const override;
  /// The partial derivative with the given orders (each 0, 1 or 2) at x: the remembered one
  /// when slot index(orders) holds x, otherwise the wrapped function's, which the slot keeps.
  void function_derivative(const mlSlice& x, int* const orders, mlVector& d) const override;

  /// Empties every slot (results stay in memory but are no longer found).
  void cancel_cache() const noexcept;

 protected:
  /// The slot of a combination of orders: the sum of orders[k] * 3^k over the variables (0 for
  /// a function of no variables).
  int index(int* const orders) const noexcept;

 private:
  void build(const mlFunctionN* f) noexcept;
  // Looks x up in slot s; on a miss, fills the slot through the wrapped function (the value
  // for `orders` null, else the derivative) and stores x as its argument. Copies the slot's
  // result into out.
  void serve(int s, const mlSlice& x, int* const orders, mlVector& out) const;
  bool holds(int s, const mlSlice& x) const noexcept;
  void store_argument(int s, const mlSlice& x) const noexcept;

  const mlFunctionN* wrapped_ = nullptr;
  // Copies of the wrapped function's counts (the base part holds the same two).
  int variables_ = 0;
  int dimension_ = 0;
  int cache_size_ = 0;
  mutable intcoDynArr orders_;
  mutable mlVectorcoDynArr values_;
  mutable mlVectorcoDynArr parameters_;
};

#endif  // PASKOSDA_FUNCTIONS_MLCACHEDFUNCTIONN_H
