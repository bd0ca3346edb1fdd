// Fuzzes the incremental QR decomposition and Gram-Schmidt sets: rows already in the matrix,
// then a sequence of added vectors of any values, some of the wrong length (a reported
// mismatch, not a misuse). Input: the column count (1 ... 6); for the Gram-Schmidt set its
// initial rows and a sequence of (length, keep, values) additions; for QR the orthonormal
// mode flag, the initial rows (none in orthonormal mode, where the unit rows must match Q's)
// and a sequence of additions.

#include <cstddef>
#include <cstdint>

#include "decomp/mlQRDecomposition.h"
#include "fuzz_input.h"
#include "linalg/mlMatrix.h"
#include "linalg/mlVector.h"

namespace {

// The length of the next vector to add: mostly the column count, sometimes one off.
int vector_length(paskosda_fuzz::Input& in, int cols) {
  const int pick = in.integer(0, 7);
  return pick == 6 ? cols + 1 : pick == 7 ? cols - 1 : cols;
}

void fuzz_gram_schmidt(paskosda_fuzz::Input& in, int cols) {
  mlMatrix m = in.matrix(in.integer(0, 4), cols);
  mlGramSchmidt gs(&m);
  FUZZ_EXPECT(m.rows() <= 4);
  const int adds = in.integer(0, 6);
  for (int k = 0; k < adds; ++k) {
    mlVector v = in.vector(vector_length(in, cols));
    const int keep = in.flag() ? 1 : 0;
    const int before = m.rows();
    static_cast<void>(gs.add(&v, keep));
    const mlGSStatus status = gs.status();
    FUZZ_EXPECT(status >= mlGSSuccess && status <= mlGSSizeMismatch);
    FUZZ_EXPECT(m.rows() <= before + 1);
    if (status != mlGSSuccess || keep == 0) FUZZ_EXPECT(m.rows() <= before);
  }
}

void fuzz_qr(paskosda_fuzz::Input& in, int cols) {
  const bool orthonormal = in.flag();
  mlMatrix q = in.matrix(orthonormal ? 0 : in.integer(0, 3), cols);
  mlMatrix r;
  mlQRDecomposition qr(&q, &r);
  if (orthonormal) qr.set_Q_orthonormal();
  const int adds = in.integer(0, 6);
  for (int k = 0; k < adds; ++k) {
    const mlVector a = in.vector(vector_length(in, cols));
    const int before = q.rows();
    qr.add(&a);
    FUZZ_EXPECT(qr.status() >= mlQRAccepted && qr.status() <= mlQRSizeMismatch);
    if (qr.status() == mlQRAccepted) FUZZ_EXPECT(r.rows() == q.rows() && r.cols() == q.rows());
    if (qr.status() != mlQRAccepted) FUZZ_EXPECT(q.rows() <= before);
  }
  if (orthonormal) {
    mlMatrix unit;
    qr.get_orthonormal_Q(unit);
    FUZZ_EXPECT(unit.cols() == q.rows());
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  paskosda_fuzz::Input in(data, size);
  const int cols = in.integer(1, 6);
  fuzz_gram_schmidt(in, cols);
  fuzz_qr(in, cols);
  return 0;
}
