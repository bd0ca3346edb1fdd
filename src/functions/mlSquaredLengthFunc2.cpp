#include "functions/mlSquaredLengthFunc2.h"

mlSquaredLengthFunc2::mlSquaredLengthFunc2(const mlFunctionN* f) noexcept { become(f); }

mlSquaredLengthFunc2& mlSquaredLengthFunc2::become(const mlFunctionN* f) noexcept {
  set_max_deriv(2);
  function_ = f;
  argument_.become(mlVectorDim, 2);
  value_.become(mlVectorDim, f->dimension());
  derivative_.become(mlVectorDim, f->dimension());
  return *this;
}

mlSquaredLengthFunc2::~mlSquaredLengthFunc2() = default;

void mlSquaredLengthFunc2::set_argument(double u, double v) const noexcept {
  // Growing access: the argument has two elements from then on.
  argument_[0] = u;
  argument_[1] = v;
}

void mlSquaredLengthFunc2::derivative(int i, int j, mlVector& into) const {
  int orders[2] = {i, j};
  function_->function_derivative(argument_.slice(), orders, into);
}

double mlSquaredLengthFunc2::function(double u, double v) const {
  set_argument(u, v);
  function_->function(argument_.slice(), value_);
  return value_.modulus_squared();
}

double mlSquaredLengthFunc2::uv_function_derivative(int i, int j, double u, double v) const {
  set_argument(u, v);
  if (i == 0 && j == 0) return function(u, v);
  if ((i == 1 && j == 0) || (i == 0 && j == 1)) {
    function_->function(argument_.slice(), value_);
    derivative(i, j, derivative_);
    return 2.0 * scalar_product(derivative_, value_);
  }
  if ((i == 2 && j == 0) || (i == 0 && j == 2)) {
    derivative(i, j, derivative_);
    function_->function(argument_.slice(), value_);
    const double second = scalar_product(derivative_, value_);
    derivative(i / 2, j / 2, derivative_);
    return 2.0 * (second + scalar_product(derivative_, derivative_));
  }
  if (i == 1 && j == 1) {
    derivative(1, 1, derivative_);
    function_->function(argument_.slice(), value_);
    const double mixed = scalar_product(derivative_, value_);
    // F itself is no longer needed: its vector takes F_v.
    derivative(1, 0, derivative_);
    derivative(0, 1, value_);
    return 2.0 * (mixed + scalar_product(derivative_, value_));
  }
  return 0.0;
}
