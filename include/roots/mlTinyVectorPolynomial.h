#ifndef PASKOSDA_ROOTS_MLTINYVECTORPOLYNOMIAL_H
#define PASKOSDA_ROOTS_MLTINYVECTORPOLYNOMIAL_H

/// \file
/// Polynomial curves with tiny-vector coefficients, `mlTinyVector2Polynomial` ...
/// `mlTinyVector6Polynomial`.

#include <cmath>

#include "linalg/mlTinyVector.h"
#include "roots/mlPolynomial.h"

namespace paskosda_detail {

template <int N>
struct CoefficientOps<mlTinyVector<N>> {
  static void set_zero(mlTinyVector<N>& x) noexcept { x.become(mlVectorZero); }
  // Component k += s * b[k].
  static void add_scaled(mlTinyVector<N>& c, double s, const mlTinyVector<N>& b) noexcept {
    c.add_multiple(s, b);
  }
  // The chord length between successive fitted points.
  static double distance(const mlTinyVector<N>& a, const mlTinyVector<N>& b) noexcept {
    const mlTinyVector<N> difference(mlVectorSubtract, a, b);
    return std::sqrt(difference.modulus_squared());
  }
};

}  // namespace paskosda_detail

/// Polynomial curves c(t) = sum of c[i] t^i with tiny-vector coefficients (lowest power
/// first), used through the aliases `mlTinyVector2Polynomial` ... `mlTinyVector6Polynomial`.
/// Every operation of `mlPolynomial` applies coefficient vector by coefficient vector; the
/// curve family adds products with scalar polynomials, the scalar product of two curves and a
/// chord-length fit through points.
template <int N>
class mlTinyVectorPolynomial : public paskosda_detail::PolynomialFamily<mlTinyVector<N>> {
 public:
  mlTinyVectorPolynomial() = default;
  mlTinyVectorPolynomial(const mlTinyVectorPolynomial&) = delete;
  mlTinyVectorPolynomial& operator=(const mlTinyVectorPolynomial&) = delete;
  ~mlTinyVectorPolynomial() = default;

  /// The scalar polynomial a(t) · b(t): dc = da + db, c zeroed, then
  /// c[i + j] += scalar_product(b[j], a[i]) with the loop over a outside.
  static void scalar_product(int da, const mlTinyVector<N>* a, int db, const mlTinyVector<N>* b,
                             int& dc, double* c) noexcept {
    dc = da + db;
    paskosda_detail::PolynomialFamily<double>::set_zero(dc, c);
    for (int i = 0; i <= da; ++i) {
      for (int j = 0; j <= db; ++j)
        c[i + j] += ::scalar_product(b[j], a[i]);
    }
  }
};

/// The polynomial curves of tiny vectors of 2, 3, 4, 5 and 6 components.
///@{
using mlTinyVector2Polynomial = mlTinyVectorPolynomial<2>;
using mlTinyVector3Polynomial = mlTinyVectorPolynomial<3>;
using mlTinyVector4Polynomial = mlTinyVectorPolynomial<4>;
using mlTinyVector5Polynomial = mlTinyVectorPolynomial<5>;
using mlTinyVector6Polynomial = mlTinyVectorPolynomial<6>;
///@}

#endif  // PASKOSDA_ROOTS_MLTINYVECTORPOLYNOMIAL_H
