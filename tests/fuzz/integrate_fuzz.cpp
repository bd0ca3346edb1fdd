// Fuzzes the trapezoid, Simpson and Romberg integrators and the point sum underneath them on
// a function from the input (a polynomial of degree up to 6, a decoded constant outside a
// window), over any limits, tolerances and step limits. Input: the function (degree,
// coefficients, window, outside value), the limits a and b, then the tolerance and step limit
// of each integrator, and the point sum's start, step and count.

#include <cstddef>
#include <cstdint>

#include "decoded_function.h"
#include "functions/mlIntegrate.h"
#include "fuzz_input.h"

namespace {

// Step limits stay at 14 (2^14 + 1 points at most), and may be zero or negative.
int step_limit(paskosda_fuzz::Input& in) { return in.integer(-1, 14); }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  paskosda_fuzz::Input in(data, size);
  const paskosda_fuzz::DecodedFunction f(in, false);
  const double a = in.real();
  const double b = in.real();

  const double trapezoid_tol = in.real();
  const int trapezoid_steps = step_limit(in);
  const mlIntegrateTrapezoid trapezoid(trapezoid_tol, trapezoid_steps);
  f.calls = 0;
  static_cast<void>(trapezoid.integrate(f, a, b));
  FUZZ_EXPECT(trapezoid.converged() == 0 || trapezoid.converged() == 1);
  // 2 + (2^s - 1) values after s halvings, and at most max_steps - 1 halvings.
  const int halvings = trapezoid_steps > 1 ? trapezoid_steps - 1 : 0;
  FUZZ_EXPECT(f.calls <= 1 + (1L << halvings));

  const double simpson_tol = in.real();
  const int simpson_steps = step_limit(in);
  const mlIntegrateSimpson simpson(simpson_tol, simpson_steps);
  f.calls = 0;
  const double s = simpson.integrate(f, a, b);
  if (simpson_steps <= 0) FUZZ_EXPECT(s == 0.0);
  FUZZ_EXPECT(f.calls <= 1 + (1L << (simpson_steps > 0 ? simpson_steps : 0)));

  const double romberg_tol = in.real();
  const int romberg_steps = step_limit(in);
  const mlIntegrateRomberg romberg(romberg_tol, romberg_steps);
  f.calls = 0;
  const double r = romberg.integrate(f, a, b);
  if (romberg_steps < 1) FUZZ_EXPECT(r == 0.0);
  FUZZ_EXPECT(f.calls <= 1 + (1L << (romberg_steps > 0 ? romberg_steps : 0)));

  const double x0 = in.real();
  const double dx = in.real();
  const int count = in.integer(-2, 1000);
  f.calls = 0;
  static_cast<void>(ml_sum(f, x0, dx, count));
  FUZZ_EXPECT(f.calls == (count > 0 ? count : 0));
  return 0;
}
