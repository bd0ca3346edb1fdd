// Fuzzes the closed-form quadratic, cubic and quartic solvers with any coefficients, checking
// what they promise for every input: a count in range, ascending roots and, for the quadratic
// and the cubic, zeros past the count. Input: the coefficients a ... e; each solver takes the
// leading ones it needs.

#include <cmath>
#include <cstddef>
#include <cstdint>

#include "fuzz_input.h"
#include "roots/mlRootSolve.h"

namespace {

// The roots a solver reports are ascending (NaNs aside, which compare with nothing).
void expect_ascending(const double* r, int count) {
  for (int i = 0; i + 1 < count; ++i)
    FUZZ_EXPECT(!(r[i] > r[i + 1]));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  paskosda_fuzz::Input in(data, size);
  const double a = in.real();
  const double b = in.real();
  const double c = in.real();
  const double d = in.real();
  const double e = in.real();

  double r[4] = {0.0, 0.0, 0.0, 0.0};
  const int n2 = mlRootSolve::quadratic_solve(a, b, c, r[0], r[1]);
  FUZZ_EXPECT(n2 >= mlRootsEverywhere && n2 <= mlRootsTwo);
  if (n2 > 0) expect_ascending(r, n2);
  for (int i = n2 < 0 ? 0 : n2; i < 2; ++i)
    FUZZ_EXPECT(r[i] == 0.0);

  double s[4] = {0.0, 0.0, 0.0, 0.0};
  const int n3 = mlRootSolve::cubic_solve(a, b, c, d, s[0], s[1], s[2]);
  FUZZ_EXPECT(n3 >= mlRootsEverywhere && n3 <= mlRootsThree);
  if (n3 > 0) expect_ascending(s, n3);
  for (int i = n3 < 0 ? 0 : n3; i < 3; ++i)
    FUZZ_EXPECT(s[i] == 0.0);

  double t[4] = {0.0, 0.0, 0.0, 0.0};
  const int n4 = mlRootSolve::quartic_solve(a, b, c, d, e, t[0], t[1], t[2], t[3]);
  FUZZ_EXPECT(n4 >= mlRootsEverywhere && n4 <= mlRootsFour);
  if (n4 > 0) expect_ascending(t, n4);
  return 0;
}
