#ifndef PASKOSDA_FUNCTIONS_MLCALLABLEFUNCTION_H
#define PASKOSDA_FUNCTIONS_MLCALLABLEFUNCTION_H

/// \file
/// Function objects made from lambdas and other callables, wherever the library wants one of
/// its function interfaces. Each adapter derives from an interface (`mlFunction`,
/// `mlFunction2`, `mlFunctionN1`, `mlFunctionN`, or the least-squares problem
/// `mlDistanceLeastSquares`), keeps its callables by value (moved in, so a temporary lambda is
/// safe) and calls them from the interface's own virtual operations: a solver makes exactly the
/// evaluations, in the same order and with the same bits, that it makes on an equivalent
/// hand-written derived class. An operation without a callable keeps the interface's default.
/// Callables are called as non-const objects, so a stateful functor (a `mutable` lambda) keeps
/// its state from one evaluation to the next. The `ml_make_` functions deduce the callable
/// types, as in `auto f = ml_make_function([](double t) { return t * t - 2.0; });`.

#include <cmath>
#include <optional>
#include <type_traits>
#include <utility>

#include "functions/mlFunction.h"
#include "functions/mlFunctionApproxDeriv.h"
#include "linalg/mlMatrix.h"
#include "linalg/mlSlice.h"
#include "linalg/mlVector.h"
#include "optim/mlLevenbergMarquardt.h"

/// Stands for an absent derivative callable: an adapter with it in a derivative's place does
/// not override that operation, which keeps the interface's default.
struct mlNoDerivative {};

namespace paskosda_detail {

/// A callable kept by value and called as a non-const object from const evaluation
/// operations. `replace` re-initialises it in place, which also works for closures, whose
/// assignment is deleted.
template <class F>
class CallableStore {
 public:
  /// Takes over f.
  explicit CallableStore(F&& f) : f_(std::in_place, std::move(f)) {}
  /// Destroys the callable held and takes over f in its place.
  void replace(F&& f) { f_.emplace(std::move(f)); }
  /// The callable, for a call that may change its state.
  F& get() const noexcept { return *f_; }

 private:
  mutable std::optional<F> f_;
};

/// d_k as a function of parameter j alone, the other parameters held: the function whose
/// forward difference (`mlFunctionApproxDeriv`) is element j of the Jacobian row of point k.
/// At the current value of parameter j it returns the distance already computed there instead
/// of calling the residual again: the same bits for n + 1 calls per point, not 2n + 1.
template <class R>
class ResidualAlongParameter final : public mlFunction {
 public:
  /// Point `point` of `residual`, at the parameters p (borrowed; restored after every call),
  /// where its distance is d.
  ResidualAlongParameter(R& residual, mlVector& p, int point, double d) noexcept
      : residual_(residual), p_(p), point_(point), d_(d) {}
  /// Varies parameter j from now on.
  void select(int j) noexcept {
    j_ = j;
    at_ = p_[j];
  }
  /// The residual with parameter j at t.
  double function(double t) const override {
    if (t == at_) return d_;
    p_[j_] = t;
    const double r = residual_(static_cast<const mlVector&>(p_), point_);
    p_[j_] = at_;
    return r;
  }

 private:
  R& residual_;
  mlVector& p_;
  int point_ = 0;
  double d_ = 0.0;
  int j_ = 0;
  double at_ = 0.0;
};

}  // namespace paskosda_detail

// ---- one variable ---------------------------------------------------------------------------

/// An `mlFunction` g(t) = f(t) whose derivatives come from a second callable,
/// `function_derivative(order, t)` = d(order, t). `max_deriv` is 2: lower it with
/// `set_max_deriv` when d offers fewer orders.
template <class F, class D = mlNoDerivative>
class mlCallableFunction : public mlFunction {
  static_assert(std::is_invocable_r_v<double, F&, double>,
                "mlCallableFunction: the value callable takes (double t) and returns a double");
  static_assert(std::is_invocable_r_v<double, D&, int, double>,
                "mlCallableFunction: the derivative callable takes (int order, double t) and "
                "returns a double");

 public:
  /// The function f with the derivatives d.
  mlCallableFunction(F f, D d) : f_(std::move(f)), d_(std::move(d)) {}
  /// Re-initialises as the constructor does (`max_deriv` back to 2). Returns this.
  mlCallableFunction& become(F f, D d) {
    f_.replace(std::move(f));
    d_.replace(std::move(d));
    set_max_deriv(2);
    return *this;
  }

  /// f(t).
  double function(double t) const override { return f_.get()(t); }
  /// d(order, t).
  double function_derivative(int order, double t) const override { return d_.get()(order, t); }

  /// The value callable, with whatever state it has gathered.
  const F& callable() const noexcept { return f_.get(); }

 private:
  paskosda_detail::CallableStore<F> f_;
  paskosda_detail::CallableStore<D> d_;
};

/// An `mlFunction` g(t) = f(t) without analytic derivatives: `function_derivative` keeps the
/// interface's default, -666.0 for every order.
template <class F>
class mlCallableFunction<F, mlNoDerivative> : public mlFunction {
  static_assert(std::is_invocable_r_v<double, F&, double>,
                "mlCallableFunction: the value callable takes (double t) and returns a double");

 public:
  /// The function f.
  explicit mlCallableFunction(F f) : f_(std::move(f)) {}
  /// Re-initialises as the constructor does (`max_deriv` back to 2). Returns this.
  mlCallableFunction& become(F f) {
    f_.replace(std::move(f));
    set_max_deriv(2);
    return *this;
  }

  /// f(t).
  double function(double t) const override { return f_.get()(t); }

  /// The value callable, with whatever state it has gathered.
  const F& callable() const noexcept { return f_.get(); }

 private:
  paskosda_detail::CallableStore<F> f_;
};

/// Deduces the callable's type from `mlCallableFunction g(f);`.
template <class F>
mlCallableFunction(F) -> mlCallableFunction<F>;

/// An `mlFunction` from f (double t -> double) without analytic derivatives. Returns the
/// adapter, which holds a copy of f (or f itself, moved, when it is a temporary).
template <class F>
mlCallableFunction<std::decay_t<F>> ml_make_function(F&& f) {
  return mlCallableFunction<std::decay_t<F>>(std::forward<F>(f));
}

/// An `mlFunction` from f (double t -> double) with the derivatives d (int order, double t ->
/// double). Returns the adapter, which holds both callables by value.
template <class F, class D>
mlCallableFunction<std::decay_t<F>, std::decay_t<D>> ml_make_function(F&& f, D&& d) {
  return mlCallableFunction<std::decay_t<F>, std::decay_t<D>>(std::forward<F>(f),
                                                              std::forward<D>(d));
}

// ---- two variables --------------------------------------------------------------------------

/// An `mlFunction2` g(u, v) = f(u, v) whose mixed partial derivatives come from a second
/// callable, `uv_function_derivative(i, j, u, v)` = d(i, j, u, v); the single-parameter
/// derivatives keep their defaults, which forward to it. `max_deriv` is 2.
template <class F, class D = mlNoDerivative>
class mlCallableFunction2 : public mlFunction2 {
  static_assert(std::is_invocable_r_v<double, F&, double, double>,
                "mlCallableFunction2: the value callable takes (double u, double v) and returns "
                "a double");
  static_assert(std::is_invocable_r_v<double, D&, int, int, double, double>,
                "mlCallableFunction2: the derivative callable takes (int u_order, int v_order, "
                "double u, double v) and returns a double");

 public:
  /// The function f with the derivatives d.
  mlCallableFunction2(F f, D d) : f_(std::move(f)), d_(std::move(d)) {}
  /// Re-initialises as the constructor does (`max_deriv` back to 2). Returns this.
  mlCallableFunction2& become(F f, D d) {
    f_.replace(std::move(f));
    d_.replace(std::move(d));
    set_max_deriv(2);
    return *this;
  }

  /// f(u, v).
  double function(double u, double v) const override { return f_.get()(u, v); }
  /// d(u_order, v_order, u, v).
  double uv_function_derivative(int u_order, int v_order, double u, double v) const override {
    return d_.get()(u_order, v_order, u, v);
  }

  /// The value callable, with whatever state it has gathered.
  const F& callable() const noexcept { return f_.get(); }

 private:
  paskosda_detail::CallableStore<F> f_;
  paskosda_detail::CallableStore<D> d_;
};

/// An `mlFunction2` g(u, v) = f(u, v) without analytic derivatives: every derivative keeps the
/// interface's default, -666.0.
template <class F>
class mlCallableFunction2<F, mlNoDerivative> : public mlFunction2 {
  static_assert(std::is_invocable_r_v<double, F&, double, double>,
                "mlCallableFunction2: the value callable takes (double u, double v) and returns "
                "a double");

 public:
  /// The function f.
  explicit mlCallableFunction2(F f) : f_(std::move(f)) {}
  /// Re-initialises as the constructor does (`max_deriv` back to 2). Returns this.
  mlCallableFunction2& become(F f) {
    f_.replace(std::move(f));
    set_max_deriv(2);
    return *this;
  }

  /// f(u, v).
  double function(double u, double v) const override { return f_.get()(u, v); }

  /// The value callable, with whatever state it has gathered.
  const F& callable() const noexcept { return f_.get(); }

 private:
  paskosda_detail::CallableStore<F> f_;
};

/// Deduces the callable's type from `mlCallableFunction2 g(f);`.
template <class F>
mlCallableFunction2(F) -> mlCallableFunction2<F>;

/// An `mlFunction2` from f (double u, double v -> double) without analytic derivatives.
/// Returns the adapter, which holds f by value.
template <class F>
mlCallableFunction2<std::decay_t<F>> ml_make_function2(F&& f) {
  return mlCallableFunction2<std::decay_t<F>>(std::forward<F>(f));
}

/// An `mlFunction2` from f (double u, double v -> double) with the mixed partial derivatives d
/// (int u_order, int v_order, double u, double v -> double). Returns the adapter, which holds
/// both callables by value.
template <class F, class D>
mlCallableFunction2<std::decay_t<F>, std::decay_t<D>> ml_make_function2(F&& f, D&& d) {
  return mlCallableFunction2<std::decay_t<F>, std::decay_t<D>>(std::forward<F>(f),
                                                               std::forward<D>(d));
}

// ---- a scalar of a vector -------------------------------------------------------------------

/// An `mlFunctionN1` of `variables` variables, g(x) = f(x), where f receives the argument as the
/// solvers pass it: a `const mlSlice&` of at least `variables` elements. The gradient and the
/// Hessian keep the interface's central differences, which evaluate f.
template <class F>
class mlCallableFunctionN1 : public mlFunctionN1 {
  static_assert(std::is_invocable_r_v<double, F&, const mlSlice&>,
                "mlCallableFunctionN1: the value callable takes (const mlSlice& x) and returns "
                "a double");

 public:
  /// The function f of `variables` variables.
  mlCallableFunctionN1(int variables, F f) : mlFunctionN1(variables), f_(std::move(f)) {}
  /// Re-initialises as the constructor does. Returns this.
  mlCallableFunctionN1& become(int variables, F f) {
    mlFunctionN1::become(variables);
    f_.replace(std::move(f));
    return *this;
  }

  /// f(x).
  double function(const mlSlice& x) const override { return f_.get()(x); }

  /// The value callable, with whatever state it has gathered.
  const F& callable() const noexcept { return f_.get(); }

 private:
  paskosda_detail::CallableStore<F> f_;
};

/// An `mlFunctionN1` of `variables` variables from f (const mlSlice& x -> double). Returns the
/// adapter, which holds f by value.
template <class F>
mlCallableFunctionN1<std::decay_t<F>> ml_make_function_n1(int variables, F&& f) {
  return mlCallableFunctionN1<std::decay_t<F>>(variables, std::forward<F>(f));
}

// ---- a vector of a vector -------------------------------------------------------------------

/// An `mlFunctionN` from three callables: f(x, values) writes the `dimension` components at x
/// into an `mlVector&`, jacobian(x, J) the Jacobian into an `mlMatrix&` (J(r, c) = d f_r / d
/// x_c), and derivative(x, orders, d) the partial derivative of the given orders (one `int` per
/// variable) of every component into an `mlVector&`. x is a `const mlSlice&`.
template <class F, class G, class D = mlNoDerivative>
class mlCallableFunctionN : public mlFunctionN {
  static_assert(std::is_invocable_v<F&, const mlSlice&, mlVector&>,
                "mlCallableFunctionN: the value callable takes (const mlSlice& x, mlVector& f)");
  static_assert(std::is_invocable_v<G&, const mlSlice&, mlMatrix&>,
                "mlCallableFunctionN: the Jacobian callable takes (const mlSlice& x, mlMatrix& J)");
  static_assert(std::is_invocable_v<D&, const mlSlice&, int*, mlVector&>,
                "mlCallableFunctionN: the derivative callable takes (const mlSlice& x, "
                "const int* orders, mlVector& d)");

 public:
  /// The function f of `variables` variables and `dimension` components, with its Jacobian
  /// and partial derivatives.
  mlCallableFunctionN(int variables, int dimension, F f, G jacobian, D derivative)
      : mlFunctionN(variables, dimension),
        f_(std::move(f)),
        jacobian_(std::move(jacobian)),
        derivative_(std::move(derivative)) {}
  /// Re-initialises as the constructor does. Returns this.
  mlCallableFunctionN& become(int variables, int dimension, F f, G jacobian, D derivative) {
    mlFunctionN::become(variables, dimension);
    f_.replace(std::move(f));
    jacobian_.replace(std::move(jacobian));
    derivative_.replace(std::move(derivative));
    return *this;
  }

  /// f(x, values).
  void function(const mlSlice& x, mlVector& values) const override { f_.get()(x, values); }
  /// jacobian(x, J).
  void function_gradient(const mlSlice& x, mlMatrix& J) const override { jacobian_.get()(x, J); }
  /// derivative(x, orders, d).
  void function_derivative(const mlSlice& x, int* const orders, mlVector& d) const override {
    derivative_.get()(x, orders, d);
  }

  /// The value callable, with whatever state it has gathered.
  const F& callable() const noexcept { return f_.get(); }

 private:
  paskosda_detail::CallableStore<F> f_;
  paskosda_detail::CallableStore<G> jacobian_;
  paskosda_detail::CallableStore<D> derivative_;
};

/// An `mlFunctionN` from a value callable f(x, values) and a Jacobian callable jacobian(x, J),
/// without partial derivatives: `function_derivative` keeps the interface's default, which
/// leaves its result vector as it was.
template <class F, class G>
class mlCallableFunctionN<F, G, mlNoDerivative> : public mlFunctionN {
  static_assert(std::is_invocable_v<F&, const mlSlice&, mlVector&>,
                "mlCallableFunctionN: the value callable takes (const mlSlice& x, mlVector& f)");
  static_assert(std::is_invocable_v<G&, const mlSlice&, mlMatrix&>,
                "mlCallableFunctionN: the Jacobian callable takes (const mlSlice& x, mlMatrix& J)");

 public:
  /// The function f of `variables` variables and `dimension` components, with its Jacobian.
  mlCallableFunctionN(int variables, int dimension, F f, G jacobian)
      : mlFunctionN(variables, dimension), f_(std::move(f)), jacobian_(std::move(jacobian)) {}
  /// Re-initialises as the constructor does. Returns this.
  mlCallableFunctionN& become(int variables, int dimension, F f, G jacobian) {
    mlFunctionN::become(variables, dimension);
    f_.replace(std::move(f));
    jacobian_.replace(std::move(jacobian));
    return *this;
  }

  /// f(x, values).
  void function(const mlSlice& x, mlVector& values) const override { f_.get()(x, values); }
  /// jacobian(x, J).
  void function_gradient(const mlSlice& x, mlMatrix& J) const override { jacobian_.get()(x, J); }

  /// The value callable, with whatever state it has gathered.
  const F& callable() const noexcept { return f_.get(); }

 private:
  paskosda_detail::CallableStore<F> f_;
  paskosda_detail::CallableStore<G> jacobian_;
};

/// Deduces the callables' types from `mlCallableFunctionN g(variables, dimension, f, jacobian);`.
template <class F, class G>
mlCallableFunctionN(int, int, F, G) -> mlCallableFunctionN<F, G>;

/// An `mlFunctionN` of `variables` variables and `dimension` components from its values f and
/// its Jacobian, without partial derivatives. Returns the adapter, which holds both by value.
template <class F, class G>
mlCallableFunctionN<std::decay_t<F>, std::decay_t<G>> ml_make_function_n(int variables,
                                                                         int dimension, F&& f,
                                                                         G&& jacobian) {
  return mlCallableFunctionN<std::decay_t<F>, std::decay_t<G>>(
      variables, dimension, std::forward<F>(f), std::forward<G>(jacobian));
}

/// An `mlFunctionN` of `variables` variables and `dimension` components from its values f,
/// its Jacobian and its partial derivatives. Returns the adapter, which holds all three by
/// value.
template <class F, class G, class D>
mlCallableFunctionN<std::decay_t<F>, std::decay_t<G>, std::decay_t<D>> ml_make_function_n(
    int variables, int dimension, F&& f, G&& jacobian, D&& derivative) {
  return mlCallableFunctionN<std::decay_t<F>, std::decay_t<G>, std::decay_t<D>>(
      variables, dimension, std::forward<F>(f), std::forward<G>(jacobian),
      std::forward<D>(derivative));
}

// ---- least squares --------------------------------------------------------------------------

/// A least-squares problem for `mlLevenbergMarquardt` from a residual callable,
/// residual(p, k) -> the signed distance d_k of point k (0 ... m - 1) at the parameters p (a
/// `const mlVector&` of n), and a Jacobian callable, jacobian(p, k, g), which sets g[j] to
/// d d_k / d p_j for j = 0 ... n - 1 (g is an `mlVector&` of n). `distance_and_derivatives`
/// calls the residual first, then the Jacobian. The parameters are used as given (no
/// normalisation), every parameter is independent and of scale 1, and S sums d_k^2; derive to
/// change any of these.
template <class R, class J = mlNoDerivative>
class mlCallableLeastSquares : public mlDistanceLeastSquares {
  static_assert(std::is_invocable_r_v<double, R&, const mlVector&, int>,
                "mlCallableLeastSquares: the residual callable takes (const mlVector& p, int k) "
                "and returns a double");
  static_assert(std::is_invocable_v<J&, const mlVector&, int, mlVector&>,
                "mlCallableLeastSquares: the Jacobian callable takes (const mlVector& p, int k, "
                "mlVector& g)");

 public:
  /// A problem of n_parameters parameters and n_points points with the given residual and
  /// Jacobian.
  mlCallableLeastSquares(int n_parameters, int n_points, R residual, J jacobian)
      : mlDistanceLeastSquares(n_parameters, n_points),
        residual_(std::move(residual)),
        jacobian_(std::move(jacobian)) {}
  /// Re-initialises as the constructor does. Returns this.
  mlCallableLeastSquares& become(int n_parameters, int n_points, R residual, J jacobian) {
    mlDistanceLeastSquares::become(n_parameters, n_points);
    residual_.replace(std::move(residual));
    jacobian_.replace(std::move(jacobian));
    return *this;
  }

  /// Leaves p as it is.
  void normalise_parameters(mlVector&) override {}
  /// d = residual(p, point), then jacobian(p, point, derivatives), at the current parameters.
  void distance_and_derivatives(double& d, mlVector& derivatives, int point) override {
    const mlVector& p = parameters_;
    d = residual_.get()(p, point);
    jacobian_.get()(p, point, derivatives);
  }
  /// d = residual(p, point) at the current parameters.
  void distance(double& d, int point) override {
    d = residual_.get()(static_cast<const mlVector&>(parameters_), point);
  }

  /// The residual callable, with whatever state it has gathered.
  const R& residual() const noexcept { return residual_.get(); }

 private:
  paskosda_detail::CallableStore<R> residual_;
  paskosda_detail::CallableStore<J> jacobian_;
};

/// A least-squares problem from a residual callable alone, residual(p, k) -> d_k: the
/// derivatives are forward differences (`mlFunctionApproxDeriv`) of the residual in each
/// parameter in turn, of step h_j = `difference_step()` * max(|p_j|, 1), each quotient
/// (residual(p + h_j e_j, k) - d_k) / h_j. A point with derivatives costs n + 1 residual calls.
/// As with a Jacobian, the parameters are used as given, all independent and of scale 1.
template <class R>
class mlCallableLeastSquares<R, mlNoDerivative> : public mlDistanceLeastSquares {
  static_assert(std::is_invocable_r_v<double, R&, const mlVector&, int>,
                "mlCallableLeastSquares: the residual callable takes (const mlVector& p, int k) "
                "and returns a double");

 public:
  /// The default relative difference step, 2^-26: the square root of the machine epsilon,
  /// about 1.49e-8.
  static constexpr double default_difference_step = 1.4901161193847656e-8;

  /// A problem of n_parameters parameters and n_points points with the given residual.
  mlCallableLeastSquares(int n_parameters, int n_points, R residual)
      : mlDistanceLeastSquares(n_parameters, n_points), residual_(std::move(residual)) {}
  /// Re-initialises as the constructor does (the difference step back to its default).
  /// Returns this.
  mlCallableLeastSquares& become(int n_parameters, int n_points, R residual) {
    mlDistanceLeastSquares::become(n_parameters, n_points);
    residual_.replace(std::move(residual));
    step_ = default_difference_step;
    return *this;
  }

  /// Leaves p as it is.
  void normalise_parameters(mlVector&) override {}
  /// d = residual(p, point) at the current parameters p, then derivatives[j] the forward
  /// difference in p_j, for j = 0 ... n - 1 in order.
  void distance_and_derivatives(double& d, mlVector& derivatives, int point) override {
    const mlVector& p = parameters_;
    R& residual = residual_.get();
    d = residual(p, point);
    shifted_.become(utCopy, p);
    paskosda_detail::ResidualAlongParameter<R> along(residual, shifted_, point, d);
    for (int j = 0; j < p.dimension(); ++j) {
      along.select(j);
      const double size = std::fabs(p[j]);
      const double h = step_ * (size > 1.0 ? size : 1.0);
      derivatives[j] = mlFunctionApproxDeriv(along, h).function(p[j]);
    }
  }
  /// d = residual(p, point) at the current parameters.
  void distance(double& d, int point) override {
    d = residual_.get()(static_cast<const mlVector&>(parameters_), point);
  }

  /// Sets the relative difference step (positive; not checked).
  void set_difference_step(double step) noexcept { step_ = step; }
  /// The relative difference step, `default_difference_step` unless set.
  double difference_step() const noexcept { return step_; }
  /// The residual callable, with whatever state it has gathered.
  const R& residual() const noexcept { return residual_.get(); }

 private:
  paskosda_detail::CallableStore<R> residual_;
  double step_ = default_difference_step;
  // The parameters with one of them shifted by its step.
  mlVector shifted_;
};

/// Deduces the residual's type from `mlCallableLeastSquares problem(n, m, residual);`.
template <class R>
mlCallableLeastSquares(int, int, R) -> mlCallableLeastSquares<R>;

/// A least-squares problem of n_parameters parameters and n_points points from its residual
/// (const mlVector& p, int k -> d_k), with forward-difference derivatives. Returns the
/// problem, which holds the residual by value.
template <class R>
mlCallableLeastSquares<std::decay_t<R>> ml_make_least_squares(int n_parameters, int n_points,
                                                              R&& residual) {
  return mlCallableLeastSquares<std::decay_t<R>>(n_parameters, n_points, std::forward<R>(residual));
}

/// A least-squares problem of n_parameters parameters and n_points points from its residual
/// (const mlVector& p, int k -> d_k) and its Jacobian (const mlVector& p, int k, mlVector& g).
/// Returns the problem, which holds both callables by value.
template <class R, class J>
mlCallableLeastSquares<std::decay_t<R>, std::decay_t<J>> ml_make_least_squares(int n_parameters,
                                                                               int n_points,
                                                                               R&& residual,
                                                                               J&& jacobian) {
  return mlCallableLeastSquares<std::decay_t<R>, std::decay_t<J>>(
      n_parameters, n_points, std::forward<R>(residual), std::forward<J>(jacobian));
}

#endif  // PASKOSDA_FUNCTIONS_MLCALLABLEFUNCTION_H
