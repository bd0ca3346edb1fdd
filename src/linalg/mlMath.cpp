#include "linalg/mlMath.h"

#include "containers/utMath.h"

namespace {
// What the circular derivatives return for negative orders that are not multiples of 4.
constexpr double kNegativeOrder = -666.6;
}  // namespace

double mlMath::cos_derivative(int n, double x) noexcept {
  switch (n % 4) {
    case 0:
      return utMath::cos(x);
    case 1:
      return -utMath::sin(x);
    case 2:
      return -utMath::cos(x);
    case 3:
      return utMath::sin(x);
    default:
      return kNegativeOrder;
  }
}

double mlMath::sin_derivative(int n, double x) noexcept {
  switch (n % 4) {
    case 0:
      return utMath::sin(x);
    case 1:
      return utMath::cos(x);
    case 2:
      return -utMath::sin(x);
    case 3:
      return -utMath::cos(x);
    default:
      return kNegativeOrder;
  }
}

double mlMath::cosh_derivative(int n, double x) noexcept {
  return n % 2 != 0 ? utMath::sinh(x) : utMath::cosh(x);
}

double mlMath::sinh_derivative(int n, double x) noexcept {
  return n % 2 != 0 ? utMath::cosh(x) : utMath::sinh(x);
}
