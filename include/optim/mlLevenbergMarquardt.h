#ifndef PASKOSDA_OPTIM_MLLEVENBERGMARQUARDT_H
#define PASKOSDA_OPTIM_MLLEVENBERGMARQUARDT_H

/// \file
/// Least-squares fitting of a model to points by the Levenberg-Marquardt method. A caller
/// describes the problem by deriving from `mlDistanceLeastSquares` (the signed distance of each
/// point from the model and its derivatives with respect to the parameters) and fits it with
/// `mlLevenbergMarquardt`, which minimises S(p) = sum of d_k(p)^2 by damped Gauss-Newton steps
/// solved with the Cholesky decomposition. The order of the virtual operations below is part
/// of the binary interface and must not change.

#include "linalg/mlMatrix.h"
#include "linalg/mlVector.h"
#include "paskosda_export.h"

/// A least-squares problem: a model with n parameters and m points, each at a signed distance
/// d_k(p) from the model. Derive, implement `normalise_parameters`, `distance_and_derivatives`
/// and `distance`, and extend `set_parameters` when the model keeps state of its own.
class PASKOSDA_EXPORT mlDistanceLeastSquares {
 public:
  mlDistanceLeastSquares(const mlDistanceLeastSquares&) = delete;
  mlDistanceLeastSquares& operator=(const mlDistanceLeastSquares&) = delete;
  /// Makes the current parameters a copy of p. Overrides call this and then bring their own
  /// state up to date.
  virtual void set_parameters(const mlVector& p);
  /// Puts p into the model's canonical form in place; called on every parameter vector
  /// before it is adopted.
  virtual void normalise_parameters(mlVector& p) = 0;
  /// For the current parameters: d becomes the distance of point `point` (0 ... m - 1) and
  /// derivatives[j] its derivative with respect to parameter j, for j = 0 ... n - 1.
  virtual void distance_and_derivatives(double& d, mlVector& derivatives, int point) = 0;
  /// For the current parameters: d becomes the distance of point `point`.
  virtual void distance(double& d, int point) = 0;
  /// The exact squared distance of the point evaluated last; consulted only when
  /// `have_precise_square_distance()` is 1. The default returns DBL_MAX.
  virtual double get_last_square_distance() const;
  /// How many of the parameters are independent; n by default.
  virtual int n_independent_parameters() const;
  /// The typical size of each parameter: s becomes n entries of 1.0 by default.
  virtual void parameter_scales(mlVector& s) const;
  virtual ~mlDistanceLeastSquares();

  /// The number of parameters n (the length of the current parameter vector).
  int n_parameters() const noexcept { return parameters_.dimension(); }
  /// The number of points m.
  int n_points() const noexcept { return points_; }
  /// 1 when `get_last_square_distance` supplies the squared distances, 0 when d^2 is used.
  int have_precise_square_distance() const noexcept { return precise_square_distance_; }

  /// Rates how well the points determine the parameters at p: the square root of the ratio
  /// of the smallest singular value belonging to the independent parameters to the largest,
  /// for the Hessian of S / 2 (derivatives by forward differences of step 1e-5, scaled by
  /// `parameter_scales`). Near 1 for well-spread points, near 0 when some parameter
  /// combination is hardly determined; 0.0 for an all-zero Hessian. Leaves the problem at
  /// the normalised p.
  double point_distribution_quality(const mlVector& p);

 protected:
  /// A problem of n_parameters parameters (values unset) and n_points points, with
  /// `precise_square_distance` 0.
  mlDistanceLeastSquares(int n_parameters, int n_points) noexcept;
  /// Re-initialises as the constructor does. Returns this.
  mlDistanceLeastSquares& become(int n_parameters, int n_points) noexcept;

  int points_ = 0;                   ///< The number of points m.
  mlVector parameters_;              ///< The current parameters (n of them).
  int precise_square_distance_ = 0;  ///< See `have_precise_square_distance`.
};

/// Fits the parameters of an `mlDistanceLeastSquares` problem by the Levenberg-Marquardt
/// method. Each damped normal-equation system (J^T J + lambda (diag(J^T J) + I)) delta =
/// -J^T d is solved with the Cholesky decomposition. The fit ends by its damping schedule,
/// not by a test on S: when lambda falls below 1e-10 (converged), rises above 1e10 (no step
/// improves S any more), or after 500 outer iterations.
class PASKOSDA_EXPORT mlLevenbergMarquardt {
 public:
  /// A fitter for `problem`, which is borrowed and must outlive the fitter; its arrays are
  /// sized for the problem's current number of parameters.
  explicit mlLevenbergMarquardt(mlDistanceLeastSquares& problem) noexcept;
  /// Binds to `problem` and re-sizes the arrays, as the constructor does. Returns this.
  mlLevenbergMarquardt& become(mlDistanceLeastSquares& problem) noexcept;
  mlLevenbergMarquardt(const mlLevenbergMarquardt&) = delete;
  mlLevenbergMarquardt& operator=(const mlLevenbergMarquardt&) = delete;
  virtual ~mlLevenbergMarquardt();

  /// Fits from `start` and writes the last accepted parameters to `result`. Returns the mean
  /// square S / m at the parameters of the last matrix build, which is the point before the
  /// last accepted step (kept so). A fit in which no step improves S returns the start
  /// point. The problem is left at the parameters of the last trial evaluated.
  double fit(const mlVector& start, mlVector& result);

 protected:
  /// Builds alpha = J^T J, beta = -J^T d and chi_square = S at p (the problem is set to p).
  /// With no points, alpha and beta keep their contents.
  void calc_matrices(mlVector& p);
  /// Takes one step from p with damping lambda, normalises it and sets the problem there;
  /// leaves the new parameters in p and returns S at them. alpha is left undamped.
  double update_pars(double lambda, mlVector& p);
  /// gradient[j] = sum over the points of d_k * (d d_k / d p_j) at p: half the gradient of S.
  void calc_derivs(const mlVector& p, mlVector& gradient);

  // The problem is held by address so that `become` can bind another one.
  mlDistanceLeastSquares* problem_ = nullptr;  ///< The problem fitted (borrowed).
  mlMatrix alpha_;             ///< J^T J at the last build (undamped between steps).
  mlVector beta_;              ///< -J^T d at the last build.
  double chi_square_ = 0.0;    ///< S at the last build.
  mlVector saved_diagonal_;    ///< The diagonal of alpha while a step damps it.
  double lambda_ = 0.0;        ///< The current damping.
  mlVector fit_parameters_;    ///< The last accepted parameters.
  mlVector trial_parameters_;  ///< The parameters of the step being tried.
  mlVector derivatives_;       ///< Scratch: a point's derivatives, then the step.
};

#endif  // PASKOSDA_OPTIM_MLLEVENBERGMARQUARDT_H
