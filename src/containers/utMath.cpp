#include "containers/utMath.h"

#include "math/mlPortableMath.h"

// A build with PASKOSDA_PORTABLE_MATH computes these with the library's own functions, which
// give the same bits on every machine; otherwise they are the platform's.
#if defined(PASKOSDA_PORTABLE_MATH)
double utMath::sin(double x) noexcept { return paskosda_detail::portable_sin(x); }
double utMath::cos(double x) noexcept { return paskosda_detail::portable_cos(x); }
double utMath::sinh(double x) noexcept { return paskosda_detail::portable_sinh(x); }
double utMath::cosh(double x) noexcept { return paskosda_detail::portable_cosh(x); }
double utMath::atan2(double y, double x) noexcept { return paskosda_detail::portable_atan2(y, x); }
double utMath::pow(double x, double y) noexcept { return paskosda_detail::portable_pow(x, y); }
double utMath::exp(double x) noexcept { return paskosda_detail::portable_exp(x); }
double utMath::log(double x) noexcept { return paskosda_detail::portable_log(x); }
double utMath::hypot(double x, double y) noexcept { return paskosda_detail::portable_hypot(x, y); }
bool utMath::portable() noexcept { return true; }
#else
double utMath::sin(double x) noexcept { return std::sin(x); }
double utMath::cos(double x) noexcept { return std::cos(x); }
double utMath::sinh(double x) noexcept { return std::sinh(x); }
double utMath::cosh(double x) noexcept { return std::cosh(x); }
double utMath::atan2(double y, double x) noexcept { return std::atan2(y, x); }
double utMath::pow(double x, double y) noexcept { return std::pow(x, y); }
double utMath::exp(double x) noexcept { return std::exp(x); }
double utMath::log(double x) noexcept { return std::log(x); }
double utMath::hypot(double x, double y) noexcept { return std::hypot(x, y); }
bool utMath::portable() noexcept { return false; }
#endif
