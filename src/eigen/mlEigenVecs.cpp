#include "eigen/mlEigenVecs.h"

#include <cmath>

void mlEigenVecs::set_tolerance(double t) noexcept { tolerance_ = std::fabs(t); }

void mlEigenVecs::eigen_values(mlVector& v) const noexcept {
  v.become(utConvert, eigen_values_.data(), eigen_values_.size());
}

int mlEigenVecs::equals(double a, double b, double tol) noexcept {
  return tol > std::fabs(a - b) ? 1 : 0;
}

int mlEigenVecs::equals(const mlSlice& u, const mlSlice& v, double tol) noexcept {
  const double d = scalar_product(u, v);
  return equals(d, 1.0, tol) != 0 || equals(d, -1.0, tol) != 0 ? 1 : 0;
}

mlEigenVecs& mlEigenVecs::become(const mlMatrix& m) noexcept {
  matrix_ = &m;
  eigen_vectors_.become(0, 0);
  eigen_values_.clear(0);
  tolerance_ = kDefaultTolerance;
  status_ = mlEigenVecsNotCalculated;
  return *this;
}
