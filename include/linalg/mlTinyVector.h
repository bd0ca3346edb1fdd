#ifndef PASKOSDA_LINALG_MLTINYVECTOR_H
#define PASKOSDA_LINALG_MLTINYVECTOR_H

/// \file
/// Tiny vectors `mlTinyVector2` ... `mlTinyVector6`: vectors of 2 to 6 doubles held by value,
/// their free functions (`scalar_product`, `multiply`, ...) and the arrays of them.

#include <cmath>
#include <ostream>
#include <type_traits>

#include "containers/coDynArr.h"
#include "containers/coPageArr.h"
#include "containers/utOstream.h"
#include "containers/utTags.h"
#include "linalg/mlMatrix.h"
#include "linalg/mlSlice.h"
#include "linalg/mlStrided.h"

/// A vector of N doubles held by value (points and directions in 2 to 6 dimensions): the
/// components and nothing else, no allocation. Used through the aliases `mlTinyVector2` ...
/// `mlTinyVector6`. The default constructor leaves the components unset.
template <int N>
class mlTinyVector {
  static_assert(N >= 2 && N <= 6, "tiny vectors have 2 to 6 components");

 public:
  /// Components unset.
  mlTinyVector() noexcept = default;
  /// All components 0.0.
  explicit mlTinyVector(mlVectorZeroTag) noexcept { become(mlVectorZero); }
  /// The N components, in order: mlTinyVector3 p(1.0, 2.0, 3.0).
  template <class... D, class = std::enable_if_t<sizeof...(D) == N - 1>>
  mlTinyVector(double x0, D... rest) noexcept : v_{x0, static_cast<double>(rest)...} {}
  /// A copy of v.
  mlTinyVector(utCopyTag, const mlTinyVector& v) noexcept { become(utCopy, v); }
  /// Component i = p[i].
  mlTinyVector(utConvertTag, const double* p) noexcept { become(utConvert, p); }
  /// Component i = a[i] + b[i].
  mlTinyVector(mlVectorAddTag, const mlTinyVector& a, const mlTinyVector& b) noexcept {
    become(mlVectorAdd, a, b);
  }
  /// Component i = a[i] - b[i].
  mlTinyVector(mlVectorSubtractTag, const mlTinyVector& a, const mlTinyVector& b) noexcept {
    become(mlVectorSubtract, a, b);
  }
  /// The product m * v (see `multiply`).
  mlTinyVector(mlMatrixProductTag, const mlMatrix& m, const mlTinyVector& v) noexcept {
    become(mlMatrixProduct, m, v);
  }

  /// Component i = s[i] for i < N (read with the slice's stride; s needs N elements).
  mlTinyVector& operator=(const mlSlice& s) noexcept {
    for (int i = 0; i < N; ++i)
      v_[i] = s[i];
    return *this;
  }

  /// Component i (no check).
  ///@{
  double& operator[](int i) noexcept { return v_[i]; }
  double operator[](int i) const noexcept { return v_[i]; }
  ///@}

  /// Multiplies every component by x.
  mlTinyVector& operator*=(double x) noexcept {
    for (int i = 0; i < N; ++i)
      v_[i] *= x;
    return *this;
  }
  /// Multiplies every component by 1.0 / d, computed once: deliberately the reciprocal
  /// (mlVector divides each element instead).
  mlTinyVector& operator/=(double d) noexcept {
    const double r = 1.0 / d;
    for (int i = 0; i < N; ++i)
      v_[i] *= r;
    return *this;
  }
  /// Adds x to every component.
  mlTinyVector& operator+=(double x) noexcept {
    for (int i = 0; i < N; ++i)
      v_[i] += x;
    return *this;
  }
  /// Subtracts x from every component.
  mlTinyVector& operator-=(double x) noexcept {
    for (int i = 0; i < N; ++i)
      v_[i] -= x;
    return *this;
  }
  /// Component i += v[i].
  mlTinyVector& operator+=(const mlTinyVector& v) noexcept {
    for (int i = 0; i < N; ++i)
      v_[i] += v.v_[i];
    return *this;
  }
  /// Component i += s[i] (s needs N elements).
  mlTinyVector& operator+=(const mlSlice& s) noexcept {
    for (int i = 0; i < N; ++i)
      v_[i] += s[i];
    return *this;
  }
  /// Component i -= v[i].
  mlTinyVector& operator-=(const mlTinyVector& v) noexcept {
    for (int i = 0; i < N; ++i)
      v_[i] -= v.v_[i];
    return *this;
  }
  /// Component i -= s[i] (s needs N elements).
  mlTinyVector& operator-=(const mlSlice& s) noexcept {
    for (int i = 0; i < N; ++i)
      v_[i] -= s[i];
    return *this;
  }
  /// Component i += s * v[i].
  mlTinyVector& add_multiple(double s, const mlTinyVector& v) noexcept {
    for (int i = 0; i < N; ++i)
      v_[i] += s * v.v_[i];
    return *this;
  }

  /// Component i = a[i] + b[i].
  mlTinyVector& become(mlVectorAddTag, const mlTinyVector& a, const mlTinyVector& b) noexcept {
    for (int i = 0; i < N; ++i)
      v_[i] = a.v_[i] + b.v_[i];
    return *this;
  }
  /// Component i = a[i] - b[i].
  mlTinyVector& become(mlVectorSubtractTag, const mlTinyVector& a, const mlTinyVector& b) noexcept {
    for (int i = 0; i < N; ++i)
      v_[i] = a.v_[i] - b.v_[i];
    return *this;
  }
  /// All components 0.0.
  mlTinyVector& become(mlVectorZeroTag) noexcept {
    fill(0.0);
    return *this;
  }
  /// Component i = p[i].
  mlTinyVector& become(utConvertTag, const double* p) noexcept {
    for (int i = 0; i < N; ++i)
      v_[i] = p[i];
    return *this;
  }
  /// A copy of v.
  mlTinyVector& become(utCopyTag, const mlTinyVector& v) noexcept {
    *this = v;
    return *this;
  }
  /// m * v (see `multiply`); v must not be this vector.
  mlTinyVector& become(mlMatrixProductTag, const mlMatrix& m, const mlTinyVector& v) noexcept {
    multiply(m, v, *this);
    return *this;
  }

  /// Component i = (1.0 - t) * a[i] + t * b[i]; t outside [0, 1] extrapolates.
  mlTinyVector& interpolate(const mlTinyVector& a, const mlTinyVector& b, double t) noexcept {
    for (int i = 0; i < N; ++i)
      v_[i] = (1.0 - t) * a.v_[i] + t * b.v_[i];
    return *this;
  }

  /// This becomes a x b: (a1 b2 - a2 b1, a2 b0 - a0 b2, a0 b1 - a1 b0). Neither operand may
  /// be this vector. Three components only.
  template <int M = N, class = std::enable_if_t<M == 3>>
  mlTinyVector& vector_product(const mlTinyVector& a, const mlTinyVector& b) noexcept {
    v_[0] = a.v_[1] * b.v_[2] - a.v_[2] * b.v_[1];
    v_[1] = a.v_[2] * b.v_[0] - a.v_[0] * b.v_[2];
    v_[2] = a.v_[0] * b.v_[1] - a.v_[1] * b.v_[0];
    return *this;
  }

  /// Sets every component to x.
  void fill(double x) noexcept {
    for (int i = 0; i < N; ++i)
      v_[i] = x;
  }

  /// The N components, in order.
  ///@{
  double* data() noexcept { return v_; }
  const double* data() const noexcept { return v_; }
  ///@}
  /// N.
  static constexpr int dimension() noexcept { return N; }

  /// The sum of the squared components in order.
  double modulus_squared() const noexcept { return paskosda_detail::strided_dot(v_, 1, v_, 1, N); }
  /// sqrt(modulus_squared()).
  double modulus() const noexcept { return std::sqrt(modulus_squared()); }
  /// The sum of the components in order, from 0.0.
  double sum() const noexcept { return paskosda_detail::strided_sum(v_, 1, N); }
  /// The largest fabs(component), from -DBL_MAX (a NaN component never wins).
  double max_absolute_value() const noexcept { return paskosda_detail::strided_max_abs(v_, 1, N); }

  /// A slice with exactly these fields on the components.
  ///@{
  mlSlice slice(int start, int stride, int count) noexcept {
    return mlSlice(v_, start, stride, count);
  }
  mlSlice slice(int start, int stride, int count) const noexcept {
    return mlSlice(static_cast<const double*>(v_), start, stride, count);
  }
  ///@}
  /// slice(0, 1, N).
  ///@{
  mlSlice slice() noexcept { return slice(0, 1, N); }
  mlSlice slice() const noexcept { return slice(0, 1, N); }
  ///@}

 private:
  double v_[N]{};
};

/// The tiny vectors of 2, 3, 4, 5 and 6 components.
///@{
using mlTinyVector2 = mlTinyVector<2>;
using mlTinyVector3 = mlTinyVector<3>;
using mlTinyVector4 = mlTinyVector<4>;
using mlTinyVector5 = mlTinyVector<5>;
using mlTinyVector6 = mlTinyVector<6>;
///@}

static_assert(sizeof(mlTinyVector3) == 3 * sizeof(double), "a tiny vector is its components");
static_assert(std::is_standard_layout<mlTinyVector6>::value, "a tiny vector is its components");
static_assert(std::is_trivially_copyable<mlTinyVector6>::value, "tiny vectors copy as bytes");

/// The sum of a[i] * b[i] in order.
template <int N>
double scalar_product(const mlTinyVector<N>& a, const mlTinyVector<N>& b) noexcept {
  return paskosda_detail::strided_dot(a.data(), 1, b.data(), 1, N);
}
/// The sum of (a[i] - b[i])^2 in order.
template <int N>
double distance_squared(const mlTinyVector<N>& a, const mlTinyVector<N>& b) noexcept {
  return paskosda_detail::strided_distance_squared(a.data(), 1, b.data(), 1, N);
}
/// The largest fabs(a[i] - b[i]), from -DBL_MAX (a NaN difference never wins).
template <int N>
double norm_diff(const mlTinyVector<N>& a, const mlTinyVector<N>& b) noexcept {
  return paskosda_detail::strided_norm_diff(a.data(), 1, b.data(), 1, N);
}
/// 1 exactly when every component is equal.
template <int N>
int operator==(const mlTinyVector<N>& a, const mlTinyVector<N>& b) noexcept {
  return paskosda_detail::equal_run(a.data(), b.data(), N);
}

/// (a x b) . c, formed as (a1 b2 - a2 b1) c0 + (a2 b0 - a0 b2) c1 + (a0 b1 - a1 b0) c2.
inline double scalar_triple_product(const mlTinyVector3& a, const mlTinyVector3& b,
                                    const mlTinyVector3& c) noexcept {
  return (a[1] * b[2] - a[2] * b[1]) * c[0] + (a[2] * b[0] - a[0] * b[2]) * c[1] +
         (a[0] * b[1] - a[1] * b[0]) * c[2];
}

/// w = m * v over all m.rows() rows and m.cols() columns (at most N of each): w[i] starts at
/// 0.0 and adds m(i, k) * v[k] for ascending k. w must not be v.
template <int N>
void multiply(const mlMatrix& m, const mlTinyVector<N>& v, mlTinyVector<N>& w) noexcept {
  PASKOSDA_CHECK(m.rows() <= N && m.cols() <= N && &v != &w,
                 "multiply: a %dx%d matrix times a tiny vector of %d", m.rows(), m.cols(), N);
  for (int i = 0; i < m.rows(); ++i) {
    w[i] = 0.0;
    for (int k = 0; k < m.cols(); ++k)
      w[i] += m(i, k) * v[k];
  }
}

/// Writes "<", the components separated by "," and ">", with no line end.
template <int N>
utOstream& operator<<(utOstream& out, const mlTinyVector<N>& v) {
  out << "<";
  for (int i = 0; i < N; ++i) {
    if (i > 0) out << ",";
    out << v[i];
  }
  out << ">";
  return out;
}
/// The same on a top-level `utOstream` over os.
template <int N>
std::ostream& operator<<(std::ostream& os, const mlTinyVector<N>& v) {
  return paskosda_detail::print_on_ostream(os, v);
}

/// Growable arrays of tiny vectors.
///@{
using mlTinyVector2coDynArr = coDynArr<mlTinyVector2>;
using mlTinyVector3coDynArr = coDynArr<mlTinyVector3>;
using mlTinyVector4coDynArr = coDynArr<mlTinyVector4>;
using mlTinyVector5coDynArr = coDynArr<mlTinyVector5>;
using mlTinyVector6coDynArr = coDynArr<mlTinyVector6>;
///@}
/// Paged arrays of tiny vectors.
///@{
using mlTinyVector2coPageArr = coPageArr<mlTinyVector2>;
using mlTinyVector3coPageArr = coPageArr<mlTinyVector3>;
using mlTinyVector4coPageArr = coPageArr<mlTinyVector4>;
using mlTinyVector5coPageArr = coPageArr<mlTinyVector5>;
using mlTinyVector6coPageArr = coPageArr<mlTinyVector6>;
///@}

#endif  // PASKOSDA_LINALG_MLTINYVECTOR_H
