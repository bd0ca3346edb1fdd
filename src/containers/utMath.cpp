#include "containers/utMath.h"

double utMath::sin(double x) noexcept { return std::sin(x); }
double utMath::cos(double x) noexcept { return std::cos(x); }
double utMath::sinh(double x) noexcept { return std::sinh(x); }
double utMath::cosh(double x) noexcept { return std::cosh(x); }
double utMath::atan2(double y, double x) noexcept { return std::atan2(y, x); }
double utMath::pow(double x, double y) noexcept { return std::pow(x, y); }
