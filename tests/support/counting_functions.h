#ifndef PASKOSDA_TESTS_SUPPORT_COUNTING_FUNCTIONS_H
#define PASKOSDA_TESTS_SUPPORT_COUNTING_FUNCTIONS_H

// Function objects for tests that record every call made to them: which operation, with
// which orders and at which argument, in call order. They pin evaluation counts and orders of
// the library's algorithms. Each takes its values from lambdas; an operation without a lambda
// falls back to the interface's default (the -666.0 sentinel, or nothing).

#include <cfloat>
#include <functional>
#include <utility>
#include <vector>

#include "functions/mlFunction.h"
#include "linalg/mlMatrix.h"
#include "linalg/mlSlice.h"
#include "linalg/mlVector.h"

namespace paskosda_test {

/// One recorded call. `order` is 0 for `function` and the derivative order otherwise
/// (`orders` holds all orders for the two- and N-variable interfaces); `at` is the argument.
struct Call {
  int order = 0;
  std::vector<int> orders;
  std::vector<double> at;

  bool operator==(const Call& c) const {
    return order == c.order && orders == c.orders && at == c.at;
  }
};

/// A counting `mlFunction`. Records {order, {}, {t}}: order 0 for `function`, n for
/// `function_derivative(n, t)`. Domain calls are not recorded.
class CountingFunction : public mlFunction {
 public:
  using Value = std::function<double(double)>;
  using Derivative = std::function<double(int, double)>;

  explicit CountingFunction(Value value, Derivative derivative = nullptr, double lo = -DBL_MAX,
                            double hi = DBL_MAX)
      : value_(std::move(value)), derivative_(std::move(derivative)), lo_(lo), hi_(hi) {}

  double function(double t) const override {
    calls.push_back({0, {}, {t}});
    return value_(t);
  }
  double function_derivative(int order, double t) const override {
    calls.push_back({order, {}, {t}});
    return derivative_ ? derivative_(order, t) : mlFunction::function_derivative(order, t);
  }
  double t_min() const override { return lo_; }
  double t_max() const override { return hi_; }

  /// The number of calls with the given order.
  int count(int order) const {
    int n = 0;
    for (const Call& c : calls)
      n += c.order == order ? 1 : 0;
    return n;
  }

  mutable std::vector<Call> calls;

 private:
  Value value_;
  Derivative derivative_;
  double lo_;
  double hi_;
};

/// A counting `mlFunction2`. `function(u, v)` records {-1, {}, {u, v}} (so that it differs
/// from the mixed derivative of orders (0, 0)); `uv_function_derivative(i, j, u, v)` records
/// {i + j, {i, j}, {u, v}}. The single-parameter derivatives are the defaults, which forward
/// to the mixed one.
class CountingFunction2 : public mlFunction2 {
 public:
  using Value = std::function<double(double, double)>;
  using Derivative = std::function<double(int, int, double, double)>;

  explicit CountingFunction2(Value value, Derivative derivative = nullptr,
                             std::vector<double> domain = {-DBL_MAX, DBL_MAX, -DBL_MAX, DBL_MAX})
      : value_(std::move(value)), derivative_(std::move(derivative)), domain_(std::move(domain)) {}

  double function(double u, double v) const override {
    calls.push_back({-1, {}, {u, v}});
    return value_(u, v);
  }
  double uv_function_derivative(int i, int j, double u, double v) const override {
    calls.push_back({i + j, {i, j}, {u, v}});
    return derivative_ ? derivative_(i, j, u, v) : mlFunction2::uv_function_derivative(i, j, u, v);
  }
  double u_min() const override { return domain_[0]; }
  double u_max() const override { return domain_[1]; }
  double v_min() const override { return domain_[2]; }
  double v_max() const override { return domain_[3]; }

  mutable std::vector<Call> calls;

 private:
  Value value_;
  Derivative derivative_;
  std::vector<double> domain_;
};

/// A counting `mlFunctionN1`. `function(x)` records {0, {}, x}, with all of x's elements.
class CountingFunctionN1 : public mlFunctionN1 {
 public:
  using Value = std::function<double(const mlSlice&)>;

  CountingFunctionN1(int variables, Value value)
      : mlFunctionN1(variables), value_(std::move(value)) {}

  double function(const mlSlice& x) const override {
    calls.push_back({0, {}, elements(x)});
    return value_(x);
  }

  using mlFunctionN1::calculate_gradient_by_finite_differences;
  using mlFunctionN1::calculate_hessian_by_finite_differences;

  static std::vector<double> elements(const mlSlice& x) {
    std::vector<double> e;
    for (int i = 0; i < x.dimension(); ++i)
      e.push_back(x[i]);
    return e;
  }

  mutable std::vector<Call> calls;

 private:
  Value value_;
};

/// A counting `mlFunctionN`. `function` records {0, {}, x}; `function_derivative` records
/// {sum of orders, orders, x}; `function_gradient` records {-1, {}, x}.
class CountingFunctionN : public mlFunctionN {
 public:
  using Value = std::function<void(const mlSlice&, mlVector&)>;
  using Derivative = std::function<void(const mlSlice&, const std::vector<int>&, mlVector&)>;

  CountingFunctionN(int variables, int dimension, Value value, Derivative derivative = nullptr)
      : mlFunctionN(variables, dimension),
        value_(std::move(value)),
        derivative_(std::move(derivative)) {}

  void function(const mlSlice& x, mlVector& f) const override {
    calls.push_back({0, {}, CountingFunctionN1::elements(x)});
    value_(x, f);
  }
  void function_gradient(const mlSlice& x, mlMatrix& J) const override {
    calls.push_back({-1, {}, CountingFunctionN1::elements(x)});
    for (int c = 0; c < variables(); ++c) {
      std::vector<int> orders(static_cast<std::size_t>(variables()), 0);
      orders[static_cast<std::size_t>(c)] = 1;
      mlVector d(mlVectorDim, dimension());
      if (derivative_) derivative_(x, orders, d);
      for (int r = 0; r < dimension(); ++r)
        J(r, c) = d[r];
    }
  }
  void function_derivative(const mlSlice& x, int* const orders, mlVector& d) const override {
    std::vector<int> o(orders, orders + variables());
    int total = 0;
    for (int k : o)
      total += k;
    calls.push_back({total, o, CountingFunctionN1::elements(x)});
    if (derivative_) derivative_(x, o, d);
  }

  mutable std::vector<Call> calls;

 private:
  Value value_;
  Derivative derivative_;
};

}  // namespace paskosda_test

#endif  // PASKOSDA_TESTS_SUPPORT_COUNTING_FUNCTIONS_H
