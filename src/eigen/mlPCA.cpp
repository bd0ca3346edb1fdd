#include "eigen/mlPCA.h"

#include <cfloat>
#include <cmath>

#include "eigen/mlAsymEigenVecs.h"

mlPCA::mlPCA(const doublecoDynArr2D& points) noexcept { become(points); }

mlPCA& mlPCA::become(const doublecoDynArr2D& points) noexcept {
  eigenvalues_.clear(0);
  axes_.become(0, 0);
  centre_.clear(0);
  status_ = mlPCANotAnalysed;
  if (points.i_size() >= points.j_size() && points.j_size() >= 2) {
    do_pca(points);
  } else {
    status_ = mlPCATooFewPoints;
  }
  return *this;
}

void mlPCA::do_pca(const doublecoDynArr2D& points) noexcept {
  const int n = points.i_size();
  const int d = points.j_size();
  if (n < 2 || d == 0) {
    status_ = mlPCATooFewPoints;
    return;
  }
  mlMatrix m(n, d);
  mlVector centre(mlVectorZero, d);
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j < d; ++j) {
      const double x = points(i, j);
      m(i, j) = x;
      centre[j] += x;
    }
  }
  centre /= static_cast<double>(n);
  centre_.clear(0);
  for (int j = 0; j < d; ++j)
    centre_.append(centre[j]);
  for (int i = 0; i < n; ++i) {
    mlSlice row = m.row(i);
    row -= centre.slice();
  }
  // Then M^T M is the unbiased sample covariance.
  m /= std::sqrt(static_cast<double>(n - 1));
  mlATAEigenVecs solver(m);
  solver.calculate();
  axes_.become(utCopy, solver.eigen_vectors());
  const doublecoDynArr& values = solver.eigen_values();
  eigenvalues_.become(mlVectorDim, values.size());
  for (int k = 0; k < values.size(); ++k)
    eigenvalues_[k] = values[k];
  status_ = mlPCAOk;
}

mlPCAStatus mlPCA::eigenvalues(mlVector& out) const noexcept {
  if (status_ == mlPCAOk) out.become(utCopy, eigenvalues_);
  return status_;
}

double mlPCA::eigenvalue(int i) const noexcept {
  return status_ == mlPCAOk ? eigenvalues_[i] : DBL_MAX;
}

mlPCAStatus mlPCA::principal_axis(mlVector& out) const noexcept {
  if (status_ == mlPCAOk) out.become(utCopy, axes_.col(0));
  return status_;
}

mlPCAStatus mlPCA::least_axis(mlVector& out) const noexcept {
  if (status_ == mlPCAOk) out.become(utCopy, axes_.col(eigenvalues_.dimension() - 1));
  return status_;
}

mlPCAStatus mlPCA::axis(int i, mlVector& out) const noexcept {
  if (i < 0 || i >= eigenvalues_.dimension()) return mlPCAAxisOutOfRange;
  if (status_ == mlPCAOk) out.become(utCopy, axes_.col(i));
  return status_;
}
