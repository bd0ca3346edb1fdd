#include "linalg/mlSlice.h"

#include <cmath>

#include "linalg/mlStrided.h"
#include "linalg/mlVector.h"

using namespace paskosda_detail;

mlSlice& mlSlice::operator=(const mlVector& v) noexcept {
  PASKOSDA_CHECK(v.dimension() >= count_, "mlSlice::operator=: a slice of %d from a vector of %d",
                 count_, v.dimension());
  for (int i = 0; i < count_; ++i)
    (*this)[i] = v[i];
  return *this;
}

mlSlice& mlSlice::operator=(const mlSlice& s) noexcept {
  PASKOSDA_CHECK(s.count_ >= count_, "mlSlice::operator=: a slice of %d from one of %d", count_,
                 s.count_);
  if (&s == this) return *this;
  for (int i = 0; i < count_; ++i)
    (*this)[i] = s[i];
  return *this;
}

mlSlice& mlSlice::operator*=(double x) noexcept {
  for (int i = 0; i < count_; ++i)
    (*this)[i] *= x;
  return *this;
}

mlSlice& mlSlice::operator/=(double x) noexcept {
  for (int i = 0; i < count_; ++i)
    (*this)[i] /= x;
  return *this;
}

mlSlice& mlSlice::operator-=(double x) noexcept {
  for (int i = 0; i < count_; ++i)
    (*this)[i] -= x;
  return *this;
}

mlSlice& mlSlice::operator-=(const mlSlice& s) noexcept {
  PASKOSDA_CHECK(s.count_ >= count_, "mlSlice::operator-=: a slice of %d and one of %d", count_,
                 s.count_);
  for (int i = 0; i < count_; ++i)
    (*this)[i] -= s[i];
  return *this;
}

void mlSlice::fill(double x) noexcept {
  for (int i = 0; i < count_; ++i)
    (*this)[i] = x;
}

double mlSlice::sum() const noexcept { return strided_sum(start(), stride_, count_); }

double mlSlice::modulus_squared() const noexcept { return scalar_product(*this, *this); }

double mlSlice::modulus() const noexcept { return std::sqrt(modulus_squared()); }

double mlSlice::max_absolute_value() const noexcept {
  return strided_max_abs(start(), stride_, count_);
}

double scalar_product(const mlSlice& a, const mlSlice& b) noexcept {
  PASKOSDA_CHECK(b.count_ >= a.count_, "scalar_product: a slice of %d with one of %d", a.count_,
                 b.count_);
  return strided_dot(a.start(), a.stride_, b.start(), b.stride_, a.count_);
}

double distance_squared(const mlSlice& a, const mlSlice& b) noexcept {
  PASKOSDA_CHECK(b.count_ >= a.count_, "distance_squared: a slice of %d with one of %d", a.count_,
                 b.count_);
  return strided_distance_squared(a.start(), a.stride_, b.start(), b.stride_, a.count_);
}

double norm_diff(const mlSlice& a, const mlSlice& b) noexcept {
  PASKOSDA_CHECK(b.count_ >= a.count_, "norm_diff: a slice of %d with one of %d", a.count_,
                 b.count_);
  return strided_norm_diff(a.start(), a.stride_, b.start(), b.stride_, a.count_);
}

// Deliberately the vector comparison applied to the viewed storage: the first count doubles
// from each view's base pointer, whatever the start and stride.
int operator==(const mlSlice& a, const mlSlice& b) noexcept {
  PASKOSDA_CHECK(b.count_ >= a.count_, "operator==: a slice of %d with one of %d", a.count_,
                 b.count_);
  return equal_run(a.data_, b.data_, a.count_);
}

int operator!=(const mlSlice& a, const mlSlice& b) noexcept { return (a == b) ? 0 : 1; }

utOstream& operator<<(utOstream& out, const mlSlice& s) {
  out << "<";
  for (int i = 0; i < s.dimension(); ++i) {
    if (i > 0) out << ",";
    out << s[i];
  }
  out << ">";
  return out;
}

std::ostream& operator<<(std::ostream& os, const mlSlice& s) {
  return paskosda_detail::print_on_ostream(os, s);
}
