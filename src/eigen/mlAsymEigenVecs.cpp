#include "eigen/mlAsymEigenVecs.h"

#include <cmath>

#include "containers/utCheck.h"
#include "decomp/mlSingularValueDecomposition.h"
#include "linalg/mlVector.h"
#include "roots/mlRootSolve.h"

namespace {

// Eigenvalues closer than this share an eigenspace; fixed, independent of the tolerance.
constexpr double kSameValue = 0.0001;

// m becomes the input with lambda subtracted from every diagonal element.
void shifted(const mlMatrix& input, double lambda, mlMatrix& m) noexcept {
  m.become(utCopy, input);
  m.diagonal() -= lambda;
}

// The right singular vectors of input - lambda I, or null when no element of that matrix
// reaches the tolerance. The matrix and its decomposition are kept by the thread, so that
// nothing is allocated once they have held a matrix of this order.
const mlMatrix* shifted_right_vectors(const mlMatrix& input, double lambda,
                                      double tolerance) noexcept {
  thread_local mlMatrix m;
  thread_local mlSingularValueDecomposition svd(m);
  shifted(input, lambda, m);
  if (tolerance > m.max_absolute_value()) return nullptr;
  return &svd.become(m).V();
}

// x is ordered before y: larger magnitude first, and of two equal magnitudes the larger value
// (the two-root rule [r2, r1] when |r2| >= |r1|, with r1 <= r2, extended to three roots).
bool before(double x, double y) noexcept {
  const double ax = std::fabs(x);
  const double ay = std::fabs(y);
  return ax > ay || (ax == ay && x > y);
}

}  // namespace

mlAsymEigenVecs::~mlAsymEigenVecs() = default;

void mlAsymEigenVecs::calculate_eigen_vector(double lambda, mlSlice& out) const noexcept {
  const mlMatrix* v = shifted_right_vectors(*matrix_, lambda, tolerance_);
  if (v == nullptr) {
    out.fill(0.0);
    out[0] = 1.0;
    return;
  }
  out = v->col(v->cols() - 1);
}

void mlAsymEigenVecs::calculate_eigen_space(double lambda, int dim, mlMatrix& out) const noexcept {
  const int rows = matrix_->rows();
  PASKOSDA_CHECK(dim >= 0 && dim <= rows,
                 "mlAsymEigenVecs::calculate_eigen_space: dim %d for a matrix of %d rows", dim,
                 rows);
  const mlMatrix* v = shifted_right_vectors(*matrix_, lambda, tolerance_);
  if (v == nullptr) {
    out.become(mlMatrixZero, rows, dim);
    for (int c = 0; c < dim; ++c)
      out(c, c) = 1.0;
    return;
  }
  out.become(rows, dim);
  for (int c = 0; c < dim; ++c) {
    mlSlice column = out.col(c);
    column = v->col(rows - 1 - c);
  }
}

void mlAsymEigenVecs::store_eigen_space(double lambda, int dim, int first) noexcept {
  thread_local mlMatrix space;
  calculate_eigen_space(lambda, dim, space);
  for (int c = 0; c < dim; ++c) {
    mlSlice column = eigen_vectors_.col(first + c);
    column = space.col(c);
  }
}

void mlAsymEigenVecs::store_eigen_vector(double lambda, int k) noexcept {
  mlSlice column = eigen_vectors_.col(k);
  calculate_eigen_vector(lambda, column);
}

mlAsymEigenVecs2::~mlAsymEigenVecs2() = default;

mlAsymEigenVecs2& mlAsymEigenVecs2::become(const mlMatrix& a) noexcept {
  mlEigenVecs::become(a);
  return *this;
}

void mlAsymEigenVecs2::calculate_eigen_values() noexcept {
  const mlMatrix& m = *matrix_;
  const double a = m(0, 0);
  const double b = m(0, 1);
  const double c = m(1, 0);
  const double d = m(1, 1);
  double r1 = 0.0;
  double r2 = 0.0;
  const int count = mlRootSolve::quadratic_solve(1.0, -(a + d), a * d - c * b, r1, r2);
  eigen_values_.clear(0);
  if (count == 1) {
    eigen_values_.append(r1);
  } else if (count == 2) {
    const bool second_first = std::fabs(r2) >= std::fabs(r1);
    eigen_values_.append(second_first ? r2 : r1);
    eigen_values_.append(second_first ? r1 : r2);
  }
}

void mlAsymEigenVecs2::calculate() noexcept {
  calculate_eigen_values();
  if (eigen_values_.size() == 2) {
    eigen_vectors_.become(2, 2);
    const double l0 = eigen_values_[0];
    const double l1 = eigen_values_[1];
    if (equals(l0, l1, kSameValue) != 0) {
      store_eigen_space(l0, 2, 0);
    } else {
      store_eigen_vector(l0, 0);
      store_eigen_vector(l1, 1);
    }
  }
  status_ = mlEigenVecsOk;
}

mlAsymEigenVecs3::~mlAsymEigenVecs3() = default;

mlAsymEigenVecs3& mlAsymEigenVecs3::become(const mlMatrix& a) noexcept {
  mlEigenVecs::become(a);
  return *this;
}

void mlAsymEigenVecs3::calculate_eigen_values() noexcept {
  const mlMatrix& m = *matrix_;
  const double a00 = m(0, 0), a01 = m(0, 1), a02 = m(0, 2);
  const double a10 = m(1, 0), a11 = m(1, 1), a12 = m(1, 2);
  const double a20 = m(2, 0), a21 = m(2, 1), a22 = m(2, 2);
  // det(A - lambda I) = -lambda^3 + t lambda^2 + c1 lambda + c0.
  const double t = a00 + a11 + a22;
  const double c1 = (a02 * a20 + a01 * a10 + a12 * a21) - (a11 * a22 + a00 * a22 + a00 * a11);
  const double c0 = (a00 * a11 * a22 + a01 * a12 * a20 + a02 * a10 * a21) -
                    (a02 * a11 * a20 + a01 * a10 * a22 + a00 * a12 * a21);
  double r[3] = {0.0, 0.0, 0.0};
  const int count = mlRootSolve::cubic_solve(-1.0, t, c1, c0, r[0], r[1], r[2]);
  // A huge trace hands the equation to the quadratic solver, which may find no root; the
  // "every value" outcome needs all coefficients zero and cannot occur with -1 leading.
  const int k = count > 0 ? count : 0;
  // Insertion sort of at most three roots into the stored order.
  for (int i = 1; i < k; ++i) {
    const double x = r[i];
    int j = i;
    while (j > 0 && before(x, r[j - 1])) {
      r[j] = r[j - 1];
      --j;
    }
    r[j] = x;
  }
  eigen_values_.clear(0);
  for (int i = 0; i < k; ++i)
    eigen_values_.append(r[i]);
}

void mlAsymEigenVecs3::calculate() noexcept {
  calculate_eigen_values();
  const int k = eigen_values_.size();
  eigen_vectors_.become(3, k);
  if (k == 1) {
    store_eigen_vector(eigen_values_[0], 0);
  } else if (k == 2) {
    const double l0 = eigen_values_[0];
    const double l1 = eigen_values_[1];
    if (equals(l0, l1, kSameValue) != 0) {
      store_eigen_space(l0, 2, 0);
    } else {
      store_eigen_vector(l0, 0);
      store_eigen_vector(l1, 1);
    }
  } else if (k == 3) {
    const double l0 = eigen_values_[0];
    const double l1 = eigen_values_[1];
    const double l2 = eigen_values_[2];
    if (equals(l0, l1, kSameValue) != 0) {
      if (equals(l1, l2, kSameValue) != 0) {
        store_eigen_space(l0, 3, 0);
      } else {
        store_eigen_space(l0, 2, 0);
        store_eigen_vector(l2, 2);
      }
    } else if (equals(l1, l2, kSameValue) != 0) {
      store_eigen_vector(l0, 0);
      store_eigen_space(l1, 2, 1);
    } else {
      store_eigen_vector(l0, 0);
      store_eigen_vector(l1, 1);
      store_eigen_vector(l2, 2);
    }
  }
  status_ = mlEigenVecsOk;
}

mlATAEigenVecs& mlATAEigenVecs::become(const mlMatrix& a) noexcept {
  mlEigenVecs::become(a);
  return *this;
}

void mlATAEigenVecs::calculate() noexcept {
  const mlMatrix& a = *matrix_;
  const mlSingularValueDecomposition svd(a);
  const mlVector& s = svd.diagonal();
  const int n = a.cols();
  eigen_values_.reserve(n);
  for (int i = 0; i < n; ++i) {
    // Past the min(m, n) singular values there is nothing to read; A^T A has the eigenvalue
    // 0.0 there (its rank is at most m).
    const double si = i < s.dimension() ? s[i] : 0.0;
    eigen_values_.append(si * si);
  }
  eigen_vectors_.become(utCopy, svd.V());
  status_ = mlEigenVecsOk;
}
