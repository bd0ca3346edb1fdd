// Fuzzes the polynomial solver: the real roots in a range and on the whole line, the extrema,
// and the complex root finder underneath, on any coefficients and limits. Every output buffer
// has exactly the documented room, so a write past it is caught by the address sanitizer.
// Input: the degree (-1 ... 20), the degree + 1 coefficients (lowest power first), then the
// lower and upper limits.

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "fuzz_input.h"
#include "roots/mlPolynomialSolver.h"

namespace {

// Reaches the protected complex root finder.
class Solver : public mlPolynomialSolver {
 public:
  using mlPolynomialSolver::zerpol;
};

// What both root queries promise: a count within the room, distinct roots in ascending order.
void expect_roots(int count, int degree, const std::vector<double>& roots) {
  FUZZ_EXPECT(count >= -1 && count <= (degree > 0 ? degree : 0));
  for (int i = 0; i + 1 < count; ++i)
    FUZZ_EXPECT(roots[i] < roots[i + 1]);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  paskosda_fuzz::Input in(data, size);
  const int degree = in.integer(-1, 20);
  std::vector<double> c(static_cast<std::size_t>(degree + 1));
  for (double& x : c)
    x = in.real();
  const double lower = in.real();
  const double upper = in.real();
  const double* coefficients = c.empty() ? nullptr : c.data();
  const auto room = static_cast<std::size_t>(degree > 0 ? degree : 0);

  std::vector<double> roots(room);
  const int n =
      mlPolynomialSolver::solve_polynomial(degree, coefficients, lower, upper, roots.data());
  expect_roots(n, degree, roots);
  for (int i = 0; i < n; ++i)
    FUZZ_EXPECT(lower <= roots[i] && roots[i] <= upper);
  if (!mlPolynomialSolver::limits_good(lower, upper)) FUZZ_EXPECT(n == 0);

  std::vector<double> all(room);
  const int n_all = mlPolynomialSolver::solve_polynomial_allroots(degree, coefficients, all.data());
  expect_roots(n_all, degree, all);

  const auto extrema_room = static_cast<std::size_t>(degree > 1 ? degree - 1 : 0);
  std::vector<double> t(extrema_room);
  std::vector<int> kind(extrema_room);
  const int n_ext = mlPolynomialSolver::solve_polynomial_extrema(degree, coefficients, lower, upper,
                                                                 t.data(), kind.data());
  FUZZ_EXPECT(n_ext >= 0 && n_ext <= static_cast<int>(extrema_room));
  for (int i = 0; i < n_ext; ++i) {
    FUZZ_EXPECT(lower < t[i] && t[i] < upper);
    FUZZ_EXPECT(kind[i] == 1 || kind[i] == -1);
    if (i > 0) FUZZ_EXPECT(t[i - 1] < t[i]);
  }

  std::vector<double> re(room);
  std::vector<double> im(room);
  const int found = Solver::zerpol(degree, coefficients, re.data(), im.data());
  FUZZ_EXPECT(found >= -1 && found <= (degree > 0 ? degree : 0));
  return 0;
}
