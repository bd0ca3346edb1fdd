#include "containers/utCheck.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace paskosda_detail {

void check_failed(const char* function, const char* condition, const char* format, ...) {
  std::fprintf(stderr, "paskosda: precondition failed in %s: %s (", function, condition);
  va_list args;
  va_start(args, format);
  std::vfprintf(stderr, format, args);
  va_end(args);
  std::fprintf(stderr, ")\n");
  std::abort();
}

}  // namespace paskosda_detail
