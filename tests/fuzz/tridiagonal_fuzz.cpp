// Fuzzes the tridiagonal and cyclic tridiagonal solvers and their three tests on bands of any
// values, read through strided views. Input: the order (0 ... 8), the stride of the views
// (1 or 2), the lower, diagonal and upper bands, then the right-hand side.

#include <cstddef>
#include <cstdint>

#include "decomp/mlTridiagonal.h"
#include "fuzz_input.h"
#include "linalg/mlSlice.h"
#include "linalg/mlVector.h"

namespace {

// n decoded values, `stride` apart in a vector that holds exactly the viewed span.
mlVector strided(paskosda_fuzz::Input& in, int n, int stride) {
  mlVector v(mlVectorZero, n == 0 ? 0 : (n - 1) * stride + 1);
  for (int i = 0; i < n; ++i)
    v[i * stride] = in.real();
  return v;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  paskosda_fuzz::Input in(data, size);
  const int n = in.integer(0, 8);
  const int stride = in.integer(1, 2);
  mlVector lower = strided(in, n, stride);
  mlVector diagonal = strided(in, n, stride);
  mlVector upper = strided(in, n, stride);
  mlVector d = strided(in, n, stride);
  mlVector x(mlVectorZero, n == 0 ? 0 : (n - 1) * stride + 1);
  const mlSlice l = lower.slice(0, stride, n);
  const mlSlice c = diagonal.slice(0, stride, n);
  const mlSlice u = upper.slice(0, stride, n);
  const mlSlice rhs = d.slice(0, stride, n);
  mlSlice out = x.slice(0, stride, n);

  mlTridiagonal system(n, l, c, u);
  FUZZ_EXPECT(system.size() == n);
  const int dominant = system.diagonally_dominant();
  const int non_zero = system.non_zero_diagonal();
  const int same_sign = system.same_sign_corners();
  FUZZ_EXPECT((dominant == 0 || dominant == 1) && (non_zero == 0 || non_zero == 1));
  FUZZ_EXPECT(same_sign == 0 || same_sign == 1);
  if (n < 1) FUZZ_EXPECT(dominant == 1 && same_sign == 1);
  system.solve(rhs, out);
  system.solve_periodic(rhs, out);

  // The same object describing the system with the bands' roles exchanged.
  system.become(n, u, c, l);
  system.solve_periodic(rhs, out);
  system.solve(rhs, out);
  return 0;
}
