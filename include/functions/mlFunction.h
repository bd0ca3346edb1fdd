#ifndef PASKOSDA_FUNCTIONS_MLFUNCTION_H
#define PASKOSDA_FUNCTIONS_MLFUNCTION_H

/// \file
/// The four abstract function interfaces every solver, integrator and minimiser works through.
/// A caller derives from the one that fits, implements the pure `function` and may override
/// derivatives and domain. The library only borrows function objects: it never owns or
/// deletes them. Evaluation is const; the order of the virtual operations below is part of
/// the binary interface and must not change.
///
/// Two sentinel values appear throughout:
///  - -DBL_MAX marks a cached double that is not yet computed (tested by plain equality);
///  - -666.0 is what the default derivative operations return when a function offers no
///    analytic derivative of the requested order.

#include "linalg/mlMatrix.h"
#include "linalg/mlSlice.h"
#include "linalg/mlVector.h"
#include "paskosda_export.h"

/// A function of one double, g(t). Derive, implement `function`, and optionally override
/// `function_derivative`, `t_min` and `t_max`.
class PASKOSDA_EXPORT mlFunction {
 public:
  /// The value at t.
  virtual double function(double t) const = 0;
  /// The derivative of the given order at t. The default returns -666.0 whatever the
  /// arguments: the function offers no analytic derivative.
  virtual double function_derivative(int order, double t) const;
  /// The lower end of the domain; -DBL_MAX (-1.7976931348623157e308) by default.
  virtual double t_min() const;
  /// The upper end of the domain; +DBL_MAX (1.7976931348623157e308) by default.
  virtual double t_max() const;
  virtual ~mlFunction();

  /// The highest derivative order `function_derivative` offers (2 unless set otherwise).
  int max_deriv() const noexcept { return max_deriv_; }
  /// Stores the highest derivative order offered, as given (not checked).
  void set_max_deriv(int max_deriv) noexcept { max_deriv_ = max_deriv; }

 protected:
  /// max_deriv 2.
  mlFunction() noexcept = default;
  /// Copying belongs to the concrete classes: a copy through the base would slice.
  ///@{
  mlFunction(const mlFunction&) noexcept = default;
  mlFunction& operator=(const mlFunction&) noexcept = default;
  ///@}

 private:
  int max_deriv_ = 2;
};

/// A function of two doubles, f(u, v). Derive, implement `function`, and optionally override
/// `uv_function_derivative` (which also serves the single-parameter derivatives) and the
/// domain.
class PASKOSDA_EXPORT mlFunction2 {
 public:
  /// The value at (u, v).
  virtual double function(double u, double v) const = 0;
  /// The derivative of the given order in u: by default uv_function_derivative(order, 0, u, v)
  /// through the virtual call, so an override of the mixed derivative serves this one too.
  virtual double u_function_derivative(int order, double u, double v) const;
  /// The derivative of the given order in v: by default uv_function_derivative(0, order, u, v).
  virtual double v_function_derivative(int order, double u, double v) const;
  /// The mixed partial derivative of orders (u_order, v_order). The default returns -666.0:
  /// the function offers no analytic derivative.
  virtual double uv_function_derivative(int u_order, int v_order, double u, double v) const;
  /// The lower end of the domain in u; -DBL_MAX by default.
  virtual double u_min() const;
  /// The upper end of the domain in u; +DBL_MAX by default.
  virtual double u_max() const;
  /// The lower end of the domain in v; -DBL_MAX by default.
  virtual double v_min() const;
  /// The upper end of the domain in v; +DBL_MAX by default.
  virtual double v_max() const;
  virtual ~mlFunction2();

  /// The highest derivative order offered (2 unless set otherwise).
  int max_deriv() const noexcept { return max_deriv_; }
  /// Stores the highest derivative order offered, as given (not checked). Offered here as on
  /// `mlFunction`, so that a derived class can declare fewer derivatives.
  void set_max_deriv(int max_deriv) noexcept { max_deriv_ = max_deriv; }

 protected:
  /// max_deriv 2.
  mlFunction2() noexcept = default;
  /// Copying belongs to the concrete classes (protected: a copy through the base would
  /// slice).
  ///@{
  mlFunction2(const mlFunction2&) noexcept = default;
  mlFunction2& operator=(const mlFunction2&) noexcept = default;
  ///@}

 private:
  int max_deriv_ = 2;
};

/// A vector function of a vector: `variables` doubles to `dimension` doubles. Derive and
/// implement `function` and `function_gradient`; override `function_derivative` to offer
/// partial derivatives.
class PASKOSDA_EXPORT mlFunctionN {
 public:
  /// Writes the `dimension` components of the function at x into f.
  virtual void function(const mlSlice& x, mlVector& f) const = 0;
  /// Writes the Jacobian at x into J: J(r, c) = d f_r / d x_c, `dimension` rows by
  /// `variables` columns.
  virtual void function_gradient(const mlSlice& x, mlMatrix& J) const = 0;
  /// Writes the partial derivative of every component into d, orders[k] being the order of
  /// differentiation in variable k (one entry per variable). The default does nothing at all:
  /// d is left as it was.
  virtual void function_derivative(const mlSlice& x, int* const orders, mlVector& d) const;
  virtual ~mlFunctionN();

  /// The number of independent variables (the length of the argument).
  int variables() const noexcept { return variables_; }
  /// The number of components of the result.
  int dimension() const noexcept { return dimension_; }

 protected:
  /// Stores the two counts, in this order.
  mlFunctionN(int variables, int dimension) noexcept
      : variables_(variables), dimension_(dimension) {}
  /// Re-initialises the two counts, for a derived class's own `become`. Returns this.
  mlFunctionN& become(int variables, int dimension) noexcept {
    variables_ = variables;
    dimension_ = dimension;
    return *this;
  }
  /// Copying belongs to the concrete classes (protected: a copy through the base would
  /// slice).
  ///@{
  mlFunctionN(const mlFunctionN&) noexcept = default;
  mlFunctionN& operator=(const mlFunctionN&) noexcept = default;
  ///@}

 private:
  int variables_ = 0;
  int dimension_ = 0;
};

/// A scalar function of a vector of `variables` doubles. Derive and implement `function`;
/// the gradient and Hessian default to central differences.
class PASKOSDA_EXPORT mlFunctionN1 {
 public:
  /// The value at x.
  virtual double function(const mlSlice& x) const = 0;
  /// The gradient at x into g; by default `calculate_gradient_by_finite_differences`.
  virtual void gradient(const mlSlice& x, mlVector& g) const;
  /// The Hessian at x into H; by default `calculate_hessian_by_finite_differences`.
  virtual void hessian(const mlSlice& x, mlMatrix& H) const;
  virtual ~mlFunctionN1();

  /// The number of independent variables.
  int variables() const noexcept { return variables_; }

 protected:
  /// A function of the given number of variables.
  explicit mlFunctionN1(int variables) noexcept : variables_(variables) {}
  /// Re-initialises the number of variables, for a derived class's own `become`. Returns this.
  mlFunctionN1& become(int variables) noexcept {
    variables_ = variables;
    return *this;
  }
  /// Copying belongs to the concrete classes (protected: a copy through the base would
  /// slice).
  ///@{
  mlFunctionN1(const mlFunctionN1&) noexcept = default;
  mlFunctionN1& operator=(const mlFunctionN1&) noexcept = default;
  ///@}

  /// Central differences with the absolute step h = 1.19e-7 in each of the n = `variables()`
  /// coordinates (n, not x's length): g[i] = (f(x + h e_i) - f(x - h e_i)) * 4201680.672268908,
  /// the stored reciprocal of 2h, with f(x - h e_i) evaluated first; 2n evaluations in all.
  /// g is cleared and expanded to n elements when its size differs. The function is always
  /// evaluated at a full copy of x. x must have at least n elements.
  void calculate_gradient_by_finite_differences(const mlSlice& x, mlVector& g) const;
  /// Second differences with the step h = 1e-7 (deliberately not the gradient's step) and
  /// the stored factors 5000000.0 = 1/(2h) and 10000000.0 = 1/h. Row by row: the
  /// off-diagonal elements of the row first (4 evaluations each, at (-,-), (+,-), (-,+), (+,+)
  /// in (x_i, x_j)), then the diagonal (3 evaluations: unperturbed, -h, +h); 2n^2 + n
  /// evaluations in all. Each off-diagonal value is written to both (i, j) and (j, i), so H is
  /// exactly symmetric. H becomes n by n when it has another shape.
  void calculate_hessian_by_finite_differences(const mlSlice& x, mlMatrix& H) const;

 private:
  int variables_ = 0;
};

/// a[0] + ... + a[n - 1], 0 for n < 1: the total order of a set of derivative orders.
PASKOSDA_EXPORT int sum(const int* a, int n) noexcept;

#endif  // PASKOSDA_FUNCTIONS_MLFUNCTION_H
