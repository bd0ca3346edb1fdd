// Fuzzes the constrained quadratic minimiser: any Hessian, gradient, constraints and start
// point, with and without deletion of contradicting constraints, through `solve` and through
// the two stages called by themselves; and the index bookkeeping of deleted constraints.
// Input: the variable count (1 ... 5), the constraint count (0 ... 6), the deletion flag, A row
// by row and b, the form of H (symmetric or as given) and its values, g, the start point, then
// two index lists.

#include <cstddef>
#include <cstdint>

#include "containers/coDynArr.h"
#include "fuzz_input.h"
#include "linalg/mlMatrix.h"
#include "linalg/mlVector.h"
#include "optim/mlConstrainedQuadraticMinimiser.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  paskosda_fuzz::Input in(data, size);
  const int n = in.integer(1, 5);
  const int m = in.integer(0, 6);
  const int delete_overdetermined = in.flag() ? 1 : 0;
  const mlMatrix a = in.matrix(m, n);
  const mlVector b = in.vector(m);
  mlMatrix h;
  if (in.flag()) {
    h.become(utCopy, in.symmetric_matrix(n));
  } else {
    h.become(utCopy, in.matrix(n, n));
  }
  const mlVector g = in.vector(n);
  const mlVector start = in.vector(n);

  static_cast<void>(mlConstrainedQuadraticMinimiser::are_valid(a, b));
  mlConstrainedQuadraticMinimiser qp(a, b, delete_overdetermined);
  mlVector x(utCopy, start);
  const int ok = qp.solve(h, g, x);
  FUZZ_EXPECT(ok == 0 || ok == 1);
  FUZZ_EXPECT(x.dimension() == n);
  const intcoDynArr& over = qp.overdetermined_constraints();
  for (int i = 0; i < over.size(); ++i)
    FUZZ_EXPECT(over[i] >= 0 && over[i] < m);

  // The stages by themselves, on a fresh minimiser from the same start.
  qp.become(a, b, delete_overdetermined);
  x.become(utCopy, start);
  if (qp.stage1(x) == 1 || delete_overdetermined != 0) {
    if (delete_overdetermined != 0) qp.delete_overdetermined_constraints();
    static_cast<void>(qp.stage2(h, g, x));
  }

  // Renumbering of deleted constraint indices, on small non-negative lists.
  intcoDynArr list;
  intcoDynArr more;
  const int nl = in.integer(0, 5);
  for (int i = 0; i < nl; ++i)
    list.append(in.integer(0, 9));
  const int nm = in.integer(0, 5);
  for (int i = 0; i < nm; ++i)
    more.append(in.integer(0, 9));
  mlConstrainedQuadraticMinimiser::append_constraint_indices(list, more);
  FUZZ_EXPECT(list.size() == nl + nm);
  return 0;
}
