#include "linalg/mlMatrix.h"

#include <cfloat>
#include <cmath>
#include <ios>

#include "containers/doublecoDynArr2D.h"
#include "kernels/mlMatrixKernel.h"
#include "linalg/mlStrided.h"

mlMatrix::mlMatrix(int r, int c) noexcept : doublecoDynArr(r * c, 1) { become(r, c); }

mlMatrix::mlMatrix(utCopyTag, const mlMatrix& a) noexcept { become(utCopy, a); }

mlMatrix::mlMatrix(mlMatrixZeroTag, int r, int c) noexcept { become(mlMatrixZero, r, c); }

mlMatrix::mlMatrix(mlMatrixIdentityTag, int n) noexcept { become(mlMatrixIdentity, n); }

mlMatrix::mlMatrix(mlMatrixHilbertTag, int n) noexcept { become(mlMatrixHilbert, n); }

mlMatrix::mlMatrix(mlMatrixTransposeTag, const mlMatrix& a) noexcept {
  become(mlMatrixTranspose, a);
}

mlMatrix::mlMatrix(mlMatrixProductTag, const mlMatrix& a, const mlMatrix& b) noexcept {
  multiply(a, b, *this);
}

mlMatrix::mlMatrix(utConvertTag, const double* p, int r, int c) noexcept {
  become(utConvert, p, r, c);
}

mlMatrix::mlMatrix(mlMatrix&& a) noexcept
    : doublecoDynArr(static_cast<doublecoDynArr&&>(a)), cols_(a.cols_), rows_(a.rows_) {
  a.cols_ = 0;
  a.rows_ = 0;
}

mlMatrix& mlMatrix::become(int r, int c) noexcept {
  PASKOSDA_CHECK(r >= 0 && c >= 0, "mlMatrix::become(r = %d, c = %d)", r, c);
  clear(0);
  expand(r * c);
  rows_ = r;
  cols_ = c;
  return *this;
}

mlMatrix& mlMatrix::become(utCopyTag, const mlMatrix& a) noexcept {
  if (&a == this) return *this;
  become(a.rows_, a.cols_);
  double* to = &(*this)[0];  // growing access: an empty shape still ends with used count 1
  // An empty source may have no storage at all; there is then nothing to read, and the one
  // element the growing access made stays unset.
  if (a.data_ == nullptr) return *this;
  for (int i = 0; i < used_; ++i)
    to[i] = a.data_[i];
  return *this;
}

mlMatrix& mlMatrix::become(mlMatrixZeroTag, int r, int c) noexcept {
  become(r, c);
  const int n = rows_ * cols_;
  for (int i = 0; i < n; ++i)
    data_[i] = 0.0;
  return *this;
}

mlMatrix& mlMatrix::become(mlMatrixIdentityTag, int n) noexcept {
  become(mlMatrixZero, n, n);
  diagonal().fill(1.0);
  return *this;
}

mlMatrix& mlMatrix::become(mlMatrixHilbertTag, int n) noexcept {
  become(n, n);
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j < n; ++j)
      data_[cols_ * i + j] = 1.0 / (i + j + 1);
  }
  return *this;
}

mlMatrix& mlMatrix::become(mlMatrixTransposeTag, const mlMatrix& a) noexcept {
  PASKOSDA_CHECK(&a != this, "mlMatrix::become(mlMatrixTranspose): the source is this matrix");
  become(a.cols_, a.rows_);
  for (int i = 0; i < a.rows_; ++i) {
    for (int j = 0; j < a.cols_; ++j)
      data_[cols_ * j + i] = a(i, j);
  }
  return *this;
}

mlMatrix& mlMatrix::become(mlMatrixProductTag, const mlMatrix& a, const mlMatrix& b) noexcept {
  multiply(a, b, *this);
  return *this;
}

mlMatrix& mlMatrix::become(utConvertTag, const double* p, int r, int c) noexcept {
  PASKOSDA_CHECK(r * c == 0 || p != nullptr, "mlMatrix::become(utConvert, p, %d, %d): p is null", r,
                 c);
  become(r, c);
  const int n = r * c;
  for (int i = 0; i < n; ++i)
    data_[i] = p[i];
  return *this;
}

void mlMatrix::fill(double x) noexcept {
  double* to = &(*this)[0];
  const int n = rows_ * cols_;
  for (int i = 0; i < n; ++i)
    to[i] = x;
}

mlMatrix& mlMatrix::operator/=(double x) noexcept {
  for (int i = 0; i < used_; ++i)
    data_[i] /= x;
  return *this;
}

double mlMatrix::max_absolute_value() const noexcept {
  double m = -DBL_MAX;
  for (int i = 0; i < used_; ++i) {
    if (data_[i] > m) m = std::fabs(data_[i]);
  }
  return m;
}

void mlMatrix::append_row(const mlVector& v) noexcept {
  const int n = v.dimension();
  expand(used_ + n);
  rows_ += 1;
  double* to = data_ + (rows_ - 1) * cols_;
  for (int k = 0; k < n; ++k)
    to[k] = v[k];
  if (cols_ == 0) cols_ = n;
}

void mlMatrix::append_col(const mlVector& v) noexcept {
  PASKOSDA_CHECK(v.dimension() >= rows_, "mlMatrix::append_col: a column of %d for %d rows",
                 v.dimension(), rows_);
  doublecoDynArr2D t(rows_, cols_, 1, 1);
  t.expand(rows_, cols_);
  for (int i = 0; i < rows_; ++i) {
    for (int j = 0; j < cols_; ++j)
      t(i, j) = data_[cols_ * i + j];
  }
  if (rows_ == 0) rows_ = v.dimension();
  t.expand(rows_, cols_ + 1);
  for (int i = 0; i < rows_; ++i)
    t(i, cols_) = v[i];
  cols_ += 1;
  expand(rows_ * cols_);
  for (int i = 0; i < rows_; ++i) {
    for (int j = 0; j < cols_; ++j)
      data_[cols_ * i + j] = t(i, j);
  }
}

void mlMatrix::delete_row(int i) noexcept {
  PASKOSDA_CHECK(i >= 0 && i < rows_, "mlMatrix::delete_row(%d) of %d rows", i, rows_);
  double* d = &(*this)[0];
  for (int k = (i + 1) * cols_; k < used_; ++k)
    d[k - cols_] = d[k];
  shrink(used_ - cols_, 0);
  rows_ -= 1;
}

void mlMatrix::delete_col(int j) noexcept {
  PASKOSDA_CHECK(j >= 0 && j < cols_, "mlMatrix::delete_col(%d) of %d columns", j, cols_);
  const int new_cols = cols_ - 1;
  // Compacting row by row from the front never overwrites an element not yet moved.
  for (int i = 0; i < rows_; ++i) {
    for (int k = 0; k < cols_; ++k) {
      if (k != j) data_[new_cols * i + (k < j ? k : k - 1)] = data_[cols_ * i + k];
    }
  }
  shrink(rows_ * new_cols, 0);
  cols_ = new_cols;
}

void mlMatrix::swap_rows(int a, int b) noexcept {
  PASKOSDA_CHECK(a >= 0 && a < rows_ && b >= 0 && b < rows_,
                 "mlMatrix::swap_rows(%d, %d) of %d rows", a, b, rows_);
  double* ra = data_ + cols_ * a;
  double* rb = data_ + cols_ * b;
  for (int k = 0; k < cols_; ++k) {
    const double t = ra[k];
    ra[k] = rb[k];
    rb[k] = t;
  }
}

void mlMatrix::swap_cols(int a, int b) noexcept {
  PASKOSDA_CHECK(a >= 0 && a < cols_ && b >= 0 && b < cols_,
                 "mlMatrix::swap_cols(%d, %d) of %d columns", a, b, cols_);
  double* d = &(*this)[0];
  for (int i = 0; i < rows_; ++i) {
    const double t = d[cols_ * i + a];
    d[cols_ * i + a] = d[cols_ * i + b];
    d[cols_ * i + b] = t;
  }
}

void mlMatrix::expand(int r, int c, double fill) noexcept {
  PASKOSDA_CHECK(r >= 0 && c >= 0, "mlMatrix::expand(r = %d, c = %d)", r, c);
  if (r == rows_ && c == cols_) return;
  doublecoDynArr2D t(rows_, cols_, 1, 1);
  t.expand(rows_, cols_);
  for (int i = 0; i < rows_; ++i) {
    for (int j = 0; j < cols_; ++j)
      t(i, j) = data_[cols_ * i + j];
  }
  t.expand(r, c);
  for (int i = 0; i < rows_; ++i) {
    for (int j = cols_; j < c; ++j)
      t(i, j) = fill;
  }
  for (int i = rows_; i < r; ++i) {
    for (int j = 0; j < c; ++j)
      t(i, j) = fill;
  }
  expand(r * c);
  for (int i = 0; i < r; ++i) {
    for (int j = 0; j < c; ++j)
      data_[c * i + j] = t(i, j);
  }
  rows_ = r;
  cols_ = c;
}

void multiply(const mlMatrix& a, const mlMatrix& b, mlMatrix& c) noexcept {
  PASKOSDA_CHECK(a.cols() == b.rows(), "multiply: a is %dx%d, b is %dx%d", a.rows(), a.cols(),
                 b.rows(), b.cols());
  if (&c == &a || &c == &b) {
    mlMatrix t;
    multiply(a, b, t);
    c.become(utCopy, t);
    return;
  }
  PASKOSDA_CHECK(a.size() >= a.rows() * a.cols() && b.size() >= b.rows() * b.cols(),
                 "multiply: a is %dx%d (%d stored), b is %dx%d (%d stored)", a.rows(), a.cols(),
                 a.size(), b.rows(), b.cols(), b.size());
  c.become(a.rows(), b.cols());
  const int k = a.cols();
  paskosda_detail::multiply_kernel(a.rows(), b.cols(), k, a.data(), k, b.data(), b.cols(), c.data(),
                                   c.cols());
}

void multiply(const mlMatrix& a, const mlVector& v, mlVector& w) noexcept {
  PASKOSDA_CHECK(&v != &w, "multiply: the result vector is the operand");
  multiply(a, v.slice(), w);
}

void multiply(const mlMatrix& a, const mlSlice& v, mlVector& w) noexcept {
  PASKOSDA_CHECK(a.size() >= a.rows() * a.cols() && v.dimension() == a.cols(),
                 "multiply: a is %dx%d (%d stored), v has dimension %d", a.rows(), a.cols(),
                 a.size(), v.dimension());
  w.clear(0);
  w.expand(a.rows());
  const int k = a.cols();
  // A slice of no elements may view no storage at all; nothing of it is read then.
  mlSlice view(v);
  const double* first = k > 0 ? &view[0] : nullptr;
  paskosda_detail::multiply_vector_kernel(a.rows(), k, a.data(), k, first, v.stride(), w.data());
}

int equal(const mlMatrix& a, const mlMatrix& b, double tol) noexcept {
  PASKOSDA_CHECK(b.size() >= a.size(), "equal: a holds %d elements, b %d", a.size(), b.size());
  const double* pa = a.data();
  const double* pb = b.data();
  for (int i = 0; i < a.size(); ++i) {
    if (std::fabs(pa[i] - pb[i]) > tol) return 0;
  }
  return 1;
}

int operator==(const mlMatrix& a, const mlMatrix& b) noexcept {
  PASKOSDA_CHECK(b.size() >= a.size(), "operator==: a holds %d elements, b %d", a.size(), b.size());
  return paskosda_detail::equal_run(a.data(), b.data(), a.size());
}

std::ostream& operator<<(std::ostream& os, const mlMatrix& m) {
  const std::ios_base::fmtflags saved = os.flags();
  os.flags(saved | std::ios_base::fixed | std::ios_base::showpoint);
  os.precision(6);
  for (int i = 0; i < m.rows(); ++i) {
    os << "| ";
    for (int j = 0; j < m.cols(); ++j)
      os << m(i, j) << " ";
    os << "| " << std::endl;
  }
  os.flags(saved);
  return os;
}
