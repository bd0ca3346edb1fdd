#ifndef PASKOSDA_CONTAINERS_UTCHECK_H
#define PASKOSDA_CONTAINERS_UTCHECK_H

/// \file
/// The precondition assertion `PASKOSDA_CHECK` of checked builds (Debug, or any build with
/// `PASKOSDA_CHECKED`). It never changes a result: it only stops the program with a message.

#include "paskosda_export.h"

namespace paskosda_detail {

/// Reports a violated precondition (function, condition and a printf-style detail) on
/// stderr and aborts. Only reached from PASKOSDA_CHECK in checked builds.
[[noreturn]] PASKOSDA_EXPORT void check_failed(const char* function, const char* condition,
                                               const char* format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 3, 4)))
#endif
    ;

}  // namespace paskosda_detail

/// Precondition assertion of checked builds (PASKOSDA_CHECKED, on in Debug). The library's
/// contract leaves these conditions to the caller, so a release build does not evaluate them;
/// a checked build stops with a message naming the function and the offending sizes.
#if defined(PASKOSDA_CHECKED)
#define PASKOSDA_CHECK(condition, ...) \
  ((condition) ? static_cast<void>(0)  \
               : ::paskosda_detail::check_failed(__func__, #condition, __VA_ARGS__))
#else
#define PASKOSDA_CHECK(condition, ...) static_cast<void>(0)
#endif

#endif  // PASKOSDA_CONTAINERS_UTCHECK_H
