#ifndef PASKOSDA_FUNCTIONS_MLSQUAREDLENGTHFUNC2_H
#define PASKOSDA_FUNCTIONS_MLSQUAREDLENGTHFUNC2_H

/// \file
/// `mlSquaredLengthFunc2`, the squared length of a vector function of two variables, with
/// analytic derivatives.

#include "functions/mlFunction.h"
#include "linalg/mlVector.h"
#include "paskosda_export.h"

/// s(u, v) = |F(u, v)|^2 for a vector function F of two variables (an `mlFunctionN` with
/// variables 2), with analytic derivatives up to second order built from F's partial
/// derivatives. F is borrowed and must outlive this object; the three vectors it holds are
/// scratch space reused by every evaluation (one object, one thread).
class PASKOSDA_EXPORT mlSquaredLengthFunc2 : public mlFunction2 {
 public:
  /// The squared length of f.
  explicit mlSquaredLengthFunc2(const mlFunctionN* f) noexcept;
  /// Re-initialises around f. Returns this.
  mlSquaredLengthFunc2& become(const mlFunctionN* f) noexcept;
  mlSquaredLengthFunc2(const mlSquaredLengthFunc2&) = delete;
  mlSquaredLengthFunc2& operator=(const mlSquaredLengthFunc2&) = delete;
  ~mlSquaredLengthFunc2() override;

  /// The squared modulus of F(u, v).
  double function(double u, double v) const override;
  /// The partial derivative of orders (i in u, j in v), every product a scalar product:
  /// (0, 0) is `function(u, v)`; (1, 0) and (0, 1) are 2 (F_a · F), F evaluated first;
  /// (2, 0) and (0, 2) are 2 (F_aa · F + F_a · F_a), evaluating F_aa, F, F_a in this order;
  /// (1, 1) is 2 (F_uv · F + F_u · F_v), evaluating F_uv, F, F_u, F_v in this order. Every
  /// other pair (higher, mixed beyond (1, 1), or negative) is 0.0 without evaluating F.
  double uv_function_derivative(int i, int j, double u, double v) const override;

 private:
  // The argument becomes (u, v).
  void set_argument(double u, double v) const noexcept;
  // F's partial derivative of orders (i, j) at the argument into `into`.
  void derivative(int i, int j, mlVector& into) const;

  const mlFunctionN* function_ = nullptr;
  mutable mlVector argument_;
  mutable mlVector value_;
  mutable mlVector derivative_;
};

#endif  // PASKOSDA_FUNCTIONS_MLSQUAREDLENGTHFUNC2_H
