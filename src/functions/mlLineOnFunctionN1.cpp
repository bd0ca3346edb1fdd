#include "functions/mlLineOnFunctionN1.h"

mlLineOnFunctionN1::mlLineOnFunctionN1(const mlVector& origin, const mlVector& direction,
                                       const mlFunctionN1* f) noexcept
    : function_(f), origin_(&origin), direction_(&direction) {
  point_.become(mlVectorDim, origin.dimension());
}

mlLineOnFunctionN1& mlLineOnFunctionN1::become(const mlVector& origin, const mlVector& direction,
                                               const mlFunctionN1* f) noexcept {
  set_max_deriv(2);
  function_ = f;
  origin_ = &origin;
  direction_ = &direction;
  point_.become(mlVectorDim, origin.dimension());
  return *this;
}

mlLineOnFunctionN1::~mlLineOnFunctionN1() = default;

double mlLineOnFunctionN1::function(double t) const {
  const mlVector& origin = *origin_;
  const mlVector& direction = *direction_;
  const int n = point_.dimension();
  for (int k = 0; k < n; ++k)
    point_[k] = t * direction[k] + origin[k];
  return function_->function(point_.slice());
}
