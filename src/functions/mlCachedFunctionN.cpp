#include "functions/mlCachedFunctionN.h"

#include <cfloat>
#include <climits>

#include "containers/utCheck.h"
#include "containers/utMath.h"

namespace {

// The empty-slot mark, stored in the first element of a slot's argument vector.
constexpr double kUnset = -DBL_MAX;

// 3^variables by the utility layer's integer power in double precision, truncated to int.
// Beyond 19 variables the count no longer fits an int; it saturates there (such a cache
// could not be allocated anyway) instead of an undefined conversion.
int slot_count(int variables) noexcept {
  const double n = utMath::pow(3.0, variables);
  return n < static_cast<double>(INT_MAX) ? static_cast<int>(n) : INT_MAX;
}

}  // namespace

mlCachedFunctionN::mlCachedFunctionN(const mlFunctionN* f) noexcept
    : mlFunctionN(f->variables(), f->dimension()) {
  build(f);
}

mlCachedFunctionN& mlCachedFunctionN::become(const mlFunctionN* f) noexcept {
  mlFunctionN::become(f->variables(), f->dimension());
  build(f);
  return *this;
}

mlCachedFunctionN::~mlCachedFunctionN() = default;

void mlCachedFunctionN::build(const mlFunctionN* f) noexcept {
  PASKOSDA_CHECK(f->variables() >= 0 && f->variables() <= 19,
                 "mlCachedFunctionN: %d variables (0 to 19 supported)", f->variables());
  wrapped_ = f;
  variables_ = f->variables();
  dimension_ = f->dimension();
  cache_size_ = slot_count(variables_);
  orders_.clear(1);
  orders_.expand(variables_);
  // The slot arrays are released and taken afresh at their final size, so they never
  // reallocate: a reallocation would assign into empty vectors and lose their contents.
  values_.clear(1);
  parameters_.clear(1);
  values_.expand(cache_size_);
  parameters_.expand(cache_size_);
  for (int s = 0; s < cache_size_; ++s) {
    // Zeros, so that a slot filled by a wrapped function without derivatives (whose default
    // leaves the result untouched) reads as zeros rather than as uninitialised memory.
    values_[s].become(mlVectorZero, dimension_);
    parameters_[s].become(mlVectorDim, variables_);
  }
  cancel_cache();
}

void mlCachedFunctionN::cancel_cache() const noexcept {
  for (int s = 0; s < cache_size_; ++s) {
    // A function of no variables has empty argument vectors: they grow to one element so that
    // the mark can be stored.
    parameters_[s][0] = kUnset;
  }
}

int mlCachedFunctionN::index(int* const orders) const noexcept {
  int slot = 0;
  int power = 1;
  for (int k = 0; k < variables_; ++k) {
    slot += orders[k] * power;
    if (k + 1 < variables_) power *= 3;
  }
  return slot;
}

bool mlCachedFunctionN::holds(int s, const mlSlice& x) const noexcept {
  const mlVector& argument = parameters_[s];
  if (argument[0] == kUnset) return false;
  return (x == argument.slice()) != 0;
}

void mlCachedFunctionN::store_argument(int s, const mlSlice& x) const noexcept {
  if (variables_ == 0) {
    // There is nothing to copy, and copying the one-element mark vector from an empty x would
    // read past it. Any value other than the mark records the slot as filled, as storing the
    // (empty) argument is meant to.
    parameters_[s][0] = 0.0;
    return;
  }
  parameters_[s] = x;
}

void mlCachedFunctionN::serve(int s, const mlSlice& x, int* const orders, mlVector& out) const {
  PASKOSDA_CHECK(s >= 0 && s < cache_size_, "mlCachedFunctionN: slot %d of %d (orders 0 to 2)", s,
                 cache_size_);
  PASKOSDA_CHECK(out.dimension() <= dimension_,
                 "mlCachedFunctionN: result vector of %d for a function of dimension %d",
                 out.dimension(), dimension_);
  mlVector& slot = values_[s];
  if (!holds(s, x)) {
    if (orders == nullptr) {
      wrapped_->function(x, slot);
    } else {
      wrapped_->function_derivative(x, orders, slot);
    }
    store_argument(s, x);
  }
  out = slot;
}

void mlCachedFunctionN::function(const mlSlice& x, mlVector& f) const { serve(0, x, nullptr, f); }

void mlCachedFunctionN::function_derivative(const mlSlice& x, int* const orders,
                                            mlVector& d) const {
  serve(index(orders), x, orders, d);
}

void mlCachedFunctionN::function_gradient(const mlSlice& x, mlMatrix& J) const {
  PASKOSDA_CHECK(J.rows() == dimension_ && J.cols() == variables_,
                 "mlCachedFunctionN::function_gradient: J is %d by %d, expected %d by %d", J.rows(),
                 J.cols(), dimension_, variables_);
  int* const orders = orders_.data();
  for (int i = 0; i < variables_; ++i) {
    for (int k = 0; k < variables_; ++k)
      orders[k] = k == i ? 1 : 0;
    const int s = index(orders);
    mlVector& slot = values_[s];
    if (!holds(s, x)) {
      // Through this object's own (virtual) derivative, which fills the slot from the wrapped
      // function; the argument is stored again here, as the column loop always has.
      function_derivative(x, orders, slot);
      store_argument(s, x);
    }
    for (int r = 0; r < dimension_; ++r)
      J(r, i) = slot[r];
  }
}
