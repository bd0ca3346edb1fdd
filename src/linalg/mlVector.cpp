#include "linalg/mlVector.h"

#include <cmath>
#include <ios>

#include "linalg/mlMatrix.h"
#include "linalg/mlStrided.h"

using namespace paskosda_detail;

mlVector::mlVector(mlVectorDimTag, int n) noexcept : doublecoDynArr(n, 1) {
  PASKOSDA_CHECK(n >= 0, "mlVector(mlVectorDim, n = %d)", n);
  expand(n);
}

mlVector::mlVector(mlVectorZeroTag, int n) noexcept : doublecoDynArr(n, 1) {
  PASKOSDA_CHECK(n >= 0, "mlVector(mlVectorZero, n = %d)", n);
  become(mlVectorZero, n);
}

mlVector::mlVector(utCopyTag, const mlVector& v) noexcept { become(utCopy, v); }

mlVector::mlVector(utCopyTag, const mlSlice& s) noexcept {
  clear(0);
  expand(s.dimension());
  *this = s;
}

mlVector::mlVector(mlMatrixProductTag, const mlMatrix& m, const mlVector& v) noexcept {
  multiply(m, v, *this);
}

mlVector& mlVector::become(mlVectorDimTag, int n) noexcept {
  PASKOSDA_CHECK(n >= 0, "mlVector::become(mlVectorDim, n = %d)", n);
  clear(0);
  expand(n);
  return *this;
}

mlVector& mlVector::become(mlVectorZeroTag, int n) noexcept {
  PASKOSDA_CHECK(n >= 0, "mlVector::become(mlVectorZero, n = %d)", n);
  expand(n);
  fill(0.0);
  return *this;
}

mlVector& mlVector::become(utCopyTag, const mlVector& v) noexcept {
  if (&v == this) return *this;
  clear(0);
  doublecoDynArr::become(utCopy, v);
  return *this;
}

mlVector& mlVector::become(utCopyTag, const mlSlice& s) noexcept {
  const int n = s.dimension();
  clear(0);
  expand(n);
  for (int i = 0; i < n; ++i)
    data_[i] = s[i];
  return *this;
}

mlVector& mlVector::become(utConvertTag, const double* p, int n) noexcept {
  PASKOSDA_CHECK(n >= 0 && (n == 0 || p != nullptr), "mlVector::become(utConvert, p, n = %d)", n);
  expand(n);
  for (int i = 0; i < n; ++i)
    data_[i] = p[i];
  return *this;
}

mlVector& mlVector::become(mlMatrixProductTag, const mlMatrix& m, const mlVector& v) noexcept {
  multiply(m, v, *this);
  return *this;
}

mlVector& mlVector::become(mlMatrixProductTag, const mlMatrix& m, const mlSlice& v) noexcept {
  multiply(m, v, *this);
  return *this;
}

mlVector& mlVector::operator=(const mlVector& v) noexcept {
  PASKOSDA_CHECK(v.used_ >= used_, "mlVector::operator=: a vector of %d from one of %d", used_,
                 v.used_);
  for (int i = 0; i < used_; ++i)
    data_[i] = v.data_[i];
  return *this;
}

mlVector& mlVector::operator=(const mlSlice& s) noexcept {
  PASKOSDA_CHECK(s.dimension() >= used_, "mlVector::operator=: a vector of %d from a slice of %d",
                 used_, s.dimension());
  for (int i = 0; i < used_; ++i)
    data_[i] = s[i];
  return *this;
}

mlVector& mlVector::operator*=(double x) noexcept {
  for (int i = 0; i < used_; ++i)
    data_[i] *= x;
  return *this;
}

mlVector& mlVector::operator/=(double x) noexcept {
  for (int i = 0; i < used_; ++i)
    data_[i] /= x;
  return *this;
}

mlVector& mlVector::operator+=(double x) noexcept {
  for (int i = 0; i < used_; ++i)
    data_[i] += x;
  return *this;
}

mlVector& mlVector::operator-=(double x) noexcept {
  for (int i = 0; i < used_; ++i)
    data_[i] -= x;
  return *this;
}

mlVector& mlVector::operator+=(const mlVector& v) noexcept {
  PASKOSDA_CHECK(v.used_ >= used_, "mlVector::operator+=: a vector of %d and one of %d", used_,
                 v.used_);
  for (int i = 0; i < used_; ++i)
    data_[i] += v.data_[i];
  return *this;
}

mlVector& mlVector::operator+=(const mlSlice& s) noexcept {
  PASKOSDA_CHECK(s.dimension() >= used_, "mlVector::operator+=: a vector of %d and a slice of %d",
                 used_, s.dimension());
  for (int i = 0; i < used_; ++i)
    data_[i] += s[i];
  return *this;
}

mlVector& mlVector::operator-=(const mlVector& v) noexcept {
  PASKOSDA_CHECK(v.used_ >= used_, "mlVector::operator-=: a vector of %d and one of %d", used_,
                 v.used_);
  for (int i = 0; i < used_; ++i)
    data_[i] -= v.data_[i];
  return *this;
}

mlVector& mlVector::operator-=(const mlSlice& s) noexcept {
  PASKOSDA_CHECK(s.dimension() >= used_, "mlVector::operator-=: a vector of %d and a slice of %d",
                 used_, s.dimension());
  for (int i = 0; i < used_; ++i)
    data_[i] -= s[i];
  return *this;
}

void mlVector::delete_element(int i) noexcept {
  PASKOSDA_CHECK(i >= 0 && i < used_, "mlVector::delete_element(i = %d) of a vector of %d", i,
                 used_);
  for (int k = i + 1; k < used_; ++k)
    data_[k - 1] = data_[k];
  shrink(used_ - 1, 0);
}

void mlVector::fill(double x) noexcept {
  for (int i = 0; i < used_; ++i)
    data_[i] = x;
}

double mlVector::max_absolute_value() const noexcept { return strided_max_abs(data_, 1, used_); }

double mlVector::modulus_squared() const noexcept { return scalar_product(*this, *this); }

double mlVector::modulus() const noexcept { return std::sqrt(modulus_squared()); }

double mlVector::sum() const noexcept { return strided_sum(data_, 1, used_); }

double scalar_product(const mlVector& a, const mlVector& b) noexcept {
  PASKOSDA_CHECK(b.dimension() >= a.dimension(), "scalar_product: a vector of %d with one of %d",
                 a.dimension(), b.dimension());
  return strided_dot(a.data(), 1, b.data(), 1, a.dimension());
}

double distance_squared(const mlVector& a, const mlVector& b) noexcept {
  PASKOSDA_CHECK(b.dimension() >= a.dimension(), "distance_squared: a vector of %d with one of %d",
                 a.dimension(), b.dimension());
  return strided_distance_squared(a.data(), 1, b.data(), 1, a.dimension());
}

double norm_diff(const mlVector& a, const mlVector& b) noexcept {
  PASKOSDA_CHECK(b.dimension() >= a.dimension(), "norm_diff: a vector of %d with one of %d",
                 a.dimension(), b.dimension());
  return strided_norm_diff(a.data(), 1, b.data(), 1, a.dimension());
}

int operator==(const mlVector& a, const mlVector& b) noexcept {
  PASKOSDA_CHECK(b.dimension() >= a.dimension(), "operator==: a vector of %d with one of %d",
                 a.dimension(), b.dimension());
  return equal_run(a.data(), b.data(), a.dimension());
}

utOstream& operator<<(utOstream& out, const mlVector& v) {
  std::ostream& os = out.get_ostream();
  const std::ios_base::fmtflags saved = os.flags();
  os.flags(saved | std::ios_base::fixed | std::ios_base::showpoint);
  out << "< ";
  for (int i = 0; i < v.dimension(); ++i)
    out << v[i] << " ";
  out << "> " << std::endl;
  os.flags(saved);
  return out;
}

std::ostream& operator<<(std::ostream& os, const mlVector& v) {
  return paskosda_detail::print_on_ostream(os, v);
}
