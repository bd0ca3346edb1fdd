// Fuzzes the one-variable minimisers (bracketing, Brent's search, mlMinimiser with a change
// of range) and root finders (Newton's method, bracketed Newton, regula falsi) on a function
// from the input: a polynomial of degree up to 6 with analytic derivatives, replaced outside
// a window by a constant that may be NaN or an infinity, with a declared domain and derivative
// order. Input: the function (degree, coefficients, window, outside value, max_deriv, domain),
// then the arguments of each routine in the order they run.

#include <cstddef>
#include <cstdint>

#include "decoded_function.h"
#include "fuzz_input.h"
#include "optim/mlMinimiser.h"
#include "roots/mlRootSolve.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  paskosda_fuzz::Input in(data, size);
  const paskosda_fuzz::DecodedFunction f(in, true);

  // Bracketing from two abscissae, then Brent's search in the bracket found.
  double a = in.real();
  double b = in.real();
  double c = 0.0;
  double fa = 0.0;
  double fb = 0.0;
  double fc = 0.0;
  ml_minimum_bracketing(f, a, b, c, fa, fb, fc);
  const double brent_tol = in.real();
  const int brent_iterations = in.integer(0, 1000);
  double x_min = 0.0;
  f.calls = 0;
  static_cast<void>(ml_brent_minimum_search(f, a, b, c, brent_tol, brent_iterations, &x_min));
  // And on a bracket straight from the input (not a bracket, as a rule).
  const double a2 = in.real();
  const double b2 = in.real();
  const double c2 = in.real();
  static_cast<void>(ml_brent_minimum_search(f, a2, b2, c2, brent_tol, brent_iterations, nullptr));

  // The range minimiser, then once more after moving the range.
  f.calls = 0;
  const double start = in.real();
  const double lower = in.real();
  const double upper = in.real();
  const double tolerance = in.real();
  mlMinimiser minimiser(f, start, lower, upper, tolerance);
  int found = 0;
  int beyond = 0;
  int out_of_iterations = 0;
  static_cast<void>(minimiser.minimise(found, beyond, out_of_iterations));
  FUZZ_EXPECT(beyond >= -1 && beyond <= 1);
  FUZZ_EXPECT(minimiser.iterations() >= 0 && minimiser.iterations() <= 100);
  minimiser.change_range(in.real());
  static_cast<void>(minimiser.minimise(found, beyond, out_of_iterations));
  FUZZ_EXPECT(minimiser.iterations() >= 0 && minimiser.iterations() <= 100);

  // The root finders.
  f.calls = 0;
  const double x0 = in.real();
  const double ra = in.real();
  const double rb = in.real();
  const double root_tol = in.real();
  const int root_iterations = in.integer(0, 1000);
  int ok = -1;
  static_cast<void>(mlRootSolve::newton_raphson(f, x0, root_tol, ok, root_iterations));
  FUZZ_EXPECT(ok == 0 || ok == 1);
  ok = -1;
  static_cast<void>(mlRootSolve::newton_raphson(f, ra, rb, root_tol, ok, root_iterations));
  FUZZ_EXPECT(ok == 0 || ok == 1);
  ok = -1;
  static_cast<void>(mlRootSolve::regula_falsi(f, ra, rb, root_tol, ok, root_iterations));
  FUZZ_EXPECT(ok == 0 || ok == 1);
  return 0;
}
