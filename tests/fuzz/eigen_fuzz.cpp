// Fuzzes the eigen-solvers: the symmetric Jacobi solver, the closed-form 2 by 2 and 3 by 3
// solvers for general matrices, the A^T A solver and the principal component analysis, on
// matrices and point sets of any values. Input: a solver code, then its problem (see each
// function).

#include <cmath>
#include <cstddef>
#include <cstdint>

#include "containers/doublecoDynArr2D.h"
#include "eigen/mlAsymEigenVecs.h"
#include "eigen/mlPCA.h"
#include "eigen/mlSymEigenVecs.h"
#include "fuzz_input.h"
#include "linalg/mlMatrix.h"
#include "linalg/mlVector.h"

namespace {

// A symmetric matrix of order 1 ... 3, then an optional tolerance. The solver gives up only
// after 10,000,000 rotations: about a second in a release build, ten or more under this
// build's instrumentation, longer than a fuzzing run allows per input. A non-symmetric input
// (complex eigenvalues, even 2 by 2) can rotate all the way to that cap, and so can a
// symmetric one whose threshold (1 % of the tolerance) lies below what rounded rotations can
// reach: a tolerance of 0 or NaN, one far below the rounding of the entries, or entries so
// small that their squares underflow, when the states never repeat exactly (a repeat ends the
// run at once). Those runs are bounded and pinned by the unit tests. Here the input is
// symmetric, and a matrix of finite entries whose threshold is out of reach runs only as a
// 2 by 2 without tiny entries (there the states come back to one they had, as at 8e8).
void fuzz_symmetric(paskosda_fuzz::Input& in) {
  const int n = in.integer(1, 3);
  const mlMatrix a = in.symmetric_matrix(n);
  mlSymEigenVecs solver(a);
  double tolerance = 1e-6;
  if (in.flag()) {
    tolerance = std::fabs(in.real());
    solver.set_tolerance(tolerance);
  }
  bool finite = true;
  bool tiny = false;  // a square that underflows
  double largest = 0.0;
  for (int i = 0; i < n * n; ++i) {
    const double x = std::fabs(a.data()[i]);
    finite = finite && std::isfinite(x);
    tiny = tiny || (x > 0.0 && x < 1e-150);
    largest = std::fmax(largest, x);
  }
  const bool within_reach = 0.01 * tolerance >= 1e-14 * largest;  // some 45 ulp of it
  if (finite && !within_reach && (n == 3 || tiny)) return;
  solver.calculate();
  FUZZ_EXPECT(solver.status() == mlEigenVecsOk || solver.status() == mlEigenVecsFailed);
  if (solver.status() == mlEigenVecsOk) {
    FUZZ_EXPECT(solver.num_real_eigen_values() == n);
    FUZZ_EXPECT(solver.eigen_vectors().rows() == n && solver.eigen_vectors().cols() == n);
  } else {
    FUZZ_EXPECT(solver.num_real_eigen_values() == 0);
  }
}

// The 2 by 2 or 3 by 3 general solver (Solver) on a matrix as given, then an optional
// tolerance. A 2 by 2 has vectors when both values are real, a 3 by 3 one per real value.
template <class Solver>
void fuzz_asymmetric(paskosda_fuzz::Input& in, int n) {
  const mlMatrix a = in.matrix(n, n);
  const bool tolerance = in.flag();
  const double t = in.real();
  Solver solver(a);
  if (tolerance) solver.set_tolerance(t);
  solver.calculate();
  FUZZ_EXPECT(solver.status() == mlEigenVecsOk);
  const int values = solver.num_real_eigen_values();
  const mlMatrix& vectors = solver.eigen_vectors();
  if (n == 2 ? values == 2 : values > 0)
    FUZZ_EXPECT(vectors.rows() == n && vectors.cols() == values);
  FUZZ_EXPECT(values >= 0 && values <= n);
}

// An m by n matrix with m >= n (1 ... 5 columns, up to 3 more rows), values as given.
void fuzz_ata(paskosda_fuzz::Input& in) {
  const int n = in.integer(1, 5);
  const int m = n + in.integer(0, 3);
  const mlMatrix a = in.matrix(m, n);
  mlATAEigenVecs solver(a);
  solver.calculate();
  FUZZ_EXPECT(solver.status() == mlEigenVecsOk);
  FUZZ_EXPECT(solver.num_real_eigen_values() == n);
  FUZZ_EXPECT(solver.eigen_vectors().rows() == n && solver.eigen_vectors().cols() == n);
}

// Up to 10 points in up to 5 dimensions (too few points is a reported status), coordinates
// point by point, then an axis index to query.
void fuzz_pca(paskosda_fuzz::Input& in) {
  const int points = in.integer(0, 10);
  const int dims = in.integer(0, 5);
  doublecoDynArr2D p;
  if (points > 0 && dims > 0) p.resize(points, dims);
  for (int i = 0; i < points; ++i) {
    for (int j = 0; j < dims; ++j)
      p(i, j) = in.real();
  }
  mlPCA pca(p);
  const mlPCAStatus status = pca.status();
  FUZZ_EXPECT(status == mlPCAOk || status == mlPCATooFewPoints);
  mlVector out;
  FUZZ_EXPECT(pca.eigenvalues(out) == status);
  FUZZ_EXPECT(pca.principal_axis(out) == status);
  FUZZ_EXPECT(pca.least_axis(out) == status);
  const int i = in.integer(-1, 6);
  const mlPCAStatus axis = pca.axis(i, out);
  if (status == mlPCAOk) {
    FUZZ_EXPECT(pca.eigenvalues().dimension() == dims);
    FUZZ_EXPECT(axis == (i >= 0 && i < dims ? mlPCAOk : mlPCAAxisOutOfRange));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  paskosda_fuzz::Input in(data, size);
  switch (in.integer(0, 4)) {
    case 0:
      fuzz_symmetric(in);
      break;
    case 1:
      fuzz_asymmetric<mlAsymEigenVecs2>(in, 2);
      break;
    case 2:
      fuzz_asymmetric<mlAsymEigenVecs3>(in, 3);
      break;
    case 3:
      fuzz_ata(in);
      break;
    default:
      fuzz_pca(in);
      break;
  }
  return 0;
}
