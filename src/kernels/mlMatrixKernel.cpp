#include "kernels/mlMatrixKernel.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <utility>

#include "containers/coDynArr.h"
#include "containers/utCheck.h"
#include "kernels/mlKernelDispatch.h"
#include "kernels/mlKernelSupport.h"
#include "kernels/mlTileKernel.h"

// How the order is kept. The product is defined element by element: c(i, j) starts at +0.0
// and takes a(i, 0) * b(0, j), then a(i, 1) * b(1, j), ... each product rounded by itself and
// added to the running value. Two elements never share an operation, so all the speed comes
// from working on many elements at once: vectors across j, register tiles across i and j,
// and cache blocks. Along p nothing is reassociated or split; a depth block only pauses an
// element's running sum in c (a double holds it exactly) and resumes it with the next block,
// and the blocks are visited in ascending p. Operands are never padded along p either: a
// padded 0 * b(p, j) would add a product the definition does not have (and -0.0 or NaN).
//
// The running sum starts as +0.0 and the first product is added to it rather than stored:
// +0.0 + -0.0 is +0.0, so starting from the first product would change the sign of zeros.
//
// This translation unit is compiled without contraction (-ffp-contract=off is a public
// option of the library), so every `x + y * z` below is a rounded multiply and a rounded
// add, in vector form as in scalar form.
#if defined(__clang__)
#pragma clang fp contract(off)
#endif

namespace paskosda_detail {
namespace {

// ---- Portable path --------------------------------------------------------------------------
// Used for small products (packing would cost more than it saves), where no vector path is
// compiled in, and when the packing buffers cannot be allocated. A row segment of c takes one
// a(i, p) * b(p, j0 .. j0 + nb) after another, so the inner loop runs across j, over
// independent elements, and compilers vectorise it freely. The block of b being swept stays
// in cache across the rows of a.

constexpr int kDirectColumns = 256;
constexpr int kDirectDepth = 128;

void multiply_portable(int m, int n, int k, const double* a, Index lda, const double* b, Index ldb,
                       double* c, Index ldc) noexcept {
  for (int j0 = 0; j0 < n; j0 += kDirectColumns) {
    const int nb = std::min(kDirectColumns, n - j0);
    for (int p0 = 0; p0 < k; p0 += kDirectDepth) {
      const int pb = std::min(kDirectDepth, k - p0);
      for (Index i = 0; i < m; ++i) {
        double* ci = c + i * ldc + j0;
        const double* ai = a + i * lda + p0;
        if (p0 == 0) std::fill(ci, ci + nb, 0.0);
        for (int p = 0; p < pb; ++p) {
          const double aip = ai[p];
          const double* bp = b + (p0 + p) * ldb + j0;
          for (int j = 0; j < nb; ++j)
            ci[j] = ci[j] + aip * bp[j];
        }
      }
    }
  }
}

// ---- Packed, register-tiled path ------------------------------------------------------------
// With GCC-compatible compilers on x86 (x86-64, or 32-bit x86 with SSE2, which the build
// requires for its rounding anyway), through the compilers' vector extensions.
#if defined(__GNUC__) && defined(__SSE2__)

// Blocking of one instruction set: the register tile (mr x nr, from the vector registers),
// the depth kc (a kc x nr panel of b stays in L1 while the tiles of a row block pass over it),
// the row block mc (an mc x kc block of a stays in L2) and the column block nc (a kc x nc
// block of b stays in the outer cache). a_copies: how often a packed value of a is repeated,
// so that a vector of it is a plain load where a broadcast would cost a shuffle.
template <class Isa>
struct ProductBlocking;
template <>
struct ProductBlocking<IsaBaseline> {
  static constexpr int mr = 6, nr = 4, a_copies = 2, kc = 256, mc = 120, nc = 2048;
};
template <>
struct ProductBlocking<IsaAvx2> {
  static constexpr int mr = 6, nr = 8, a_copies = 1, kc = 256, mc = 120, nc = 2048;
};
template <>
struct ProductBlocking<IsaAvx512> {
  static constexpr int mr = 12, nr = 16, a_copies = 1, kc = 256, mc = 120, nc = 2048;
};

// The packed panels of a and b, each starting on a cache line. A small product keeps them on
// the stack, where an allocation would cost about as much as the product itself; a larger one
// takes them from the container layer. a() and b() are null when the memory is not available.
class PackSpace {
 public:
  PackSpace(int a_count, int b_count) noexcept {
    const int a_room = round_up(a_count, kLine);
    const int total = a_room + b_count;
    double* base = nullptr;
    if (total <= kLocalCount) {
      base = local_;
    } else if (heap_.reserve(total + kLine) != 0) {
      void* start = heap_.data();
      std::size_t space = sizeof(double) * static_cast<std::size_t>(total + kLine);
      base = static_cast<double*>(std::align(kAlignment, sizeof(double) * total, start, space));
    }
    if (base != nullptr) {
      a_ = base;
      b_ = base + a_room;
    }
  }
  PackSpace(const PackSpace&) = delete;
  PackSpace& operator=(const PackSpace&) = delete;

  double* a() const noexcept { return a_; }
  double* b() const noexcept { return b_; }

 private:
  static constexpr std::size_t kAlignment = 64;
  static constexpr int kLine = kAlignment / sizeof(double);
  static constexpr int kLocalCount = 2048;
  alignas(kAlignment) double local_[kLocalCount];
  doublecoDynArr heap_;
  double* a_ = nullptr;
  double* b_ = nullptr;
};

// Rows 0 .. mc - 1 of a, depth 0 .. kc - 1, as panels of MR rows; a panel holds its column of
// MR values for p = 0, then for p = 1, ... Rows past mc are zero: they only feed tile rows
// that are never stored.
template <int MR, int copies>
void pack_a(int mc, int kc, const double* a, Index lda, double* out) noexcept {
  for (int i0 = 0; i0 < mc; i0 += MR) {
    const int rows = std::min(MR, mc - i0);
    const double* panel = a + i0 * lda;
    for (int p = 0; p < kc; ++p) {
      for (int r = 0; r < MR; ++r) {
        const double x = r < rows ? panel[r * lda + p] : 0.0;
        for (int d = 0; d < copies; ++d)
          *out++ = x;
      }
    }
  }
}

// One mr x nr tile of c over the depth block kc, from packed a and b.
template <class Isa>
__attribute__((always_inline)) inline void product_tile(int kc, const double* ap, const double* bp,
                                                        double* c, Index ldc, bool first) noexcept {
  using K = ProductBlocking<Isa>;
  using V = typename Isa::V;
  tile_update<V, K::mr, K::nr / lanes<V>(), TileUpdate::Add, K::a_copies>(kc, ap, 0, bp, c, ldc,
                                                                          !first);
}

// The product through packed blocks; false (with c untouched) when the buffers cannot be had.
// The depth blocks pc are visited in ascending order for every element, the first one
// starting the sums at +0.0.
struct MultiplyPacked {
  template <class Isa>
  __attribute__((always_inline)) static bool run(int m, int n, int k, const double* a, Index lda,
                                                 const double* b, Index ldb, double* c,
                                                 Index ldc) noexcept {
    using K = ProductBlocking<Isa>;
    constexpr int MR = K::mr, NR = K::nr;
    static_assert(K::mc % MR == 0 && K::nc % NR == 0, "blocks are whole tiles");
    const int kc_max = std::min(k, K::kc);
    // mc and nc are whole tiles, so this is the rounded-up size of the largest block.
    const PackSpace pack(round_up(std::min(m, K::mc), MR) * kc_max * K::a_copies,
                         round_up(std::min(n, K::nc), NR) * kc_max);
    if (pack.a() == nullptr) return false;

    for (int jc = 0; jc < n; jc += K::nc) {
      const int nc = std::min(K::nc, n - jc);
      for (int pc = 0; pc < k; pc += K::kc) {
        const int kc = std::min(K::kc, k - pc);
        const bool first = pc == 0;
        pack_b_panels<NR>(kc, nc, b + pc * ldb + jc, ldb, pack.b());
        for (int ic = 0; ic < m; ic += K::mc) {
          const int mc = std::min(K::mc, m - ic);
          pack_a<MR, K::a_copies>(mc, kc, a + ic * lda + pc, lda, pack.a());
          for (int jr = 0; jr < nc; jr += NR) {
            const double* bp = pack.b() + Index{jr} * kc;
            const int cols = std::min(NR, nc - jr);
            for (int ir = 0; ir < mc; ir += MR) {
              const double* ap = pack.a() + Index{ir} * kc * K::a_copies;
              const int rows = std::min(MR, mc - ir);
              double* ct = c + (ic + ir) * ldc + jc + jr;
              if (rows == MR && cols == NR) {
                product_tile<Isa>(kc, ap, bp, ct, ldc, first);
              } else {
                edge_tile<MR, NR>(
                    ct, ldc, rows, cols,
                    !first, [&](double* copy, Index ld) __attribute__((always_inline)) {
                      product_tile<Isa>(kc, ap, bp, copy, ld, first);
                    });
              }
            }
          }
        }
      }
    }
    return true;
  }
};

bool multiply_fast(int m, int n, int k, const double* a, Index lda, const double* b, Index ldb,
                   double* c, Index ldc, KernelIsa isa) noexcept {
  return run_isa<MultiplyPacked>(isa, m, n, k, a, lda, b, ldb, c, ldc);
}

#else

bool multiply_fast(int, int, int, const double*, Index, const double*, Index, double*, Index,
                   KernelIsa) noexcept {
  return false;
}

#endif

// Below this many products the packing costs more than it saves.
constexpr double kPackedMinimumProducts = 128.0;

// ---- Matrix times vector --------------------------------------------------------------------
// Each w[i] is one sequential sum and cannot be split, so its adds wait on each other. Rows
// are taken several at a time so that their independent sums fill the adder while one of
// them waits.
template <std::size_t... R>
void dot_rows(std::index_sequence<R...>, int k, const double* a, Index lda, const double* v,
              Index incv, double* w) noexcept {
  double sum[] = {(static_cast<void>(R), 0.0)...};
  const double* row[] = {(a + static_cast<Index>(R) * lda)...};
  for (Index p = 0; p < k; ++p) {
    const double x = v[p * incv];
    ((sum[R] = sum[R] + row[R][p] * x), ...);
  }
  ((w[R] = sum[R]), ...);
}

}  // namespace

void multiply_kernel(int m, int n, int k, const double* a, int lda, const double* b, int ldb,
                     double* c, int ldc, KernelIsa isa) noexcept {
  PASKOSDA_CHECK(m >= 0 && n >= 0 && k >= 0, "m = %d, n = %d, k = %d", m, n, k);
  PASKOSDA_CHECK((m <= 1 || lda >= k) && (k <= 1 || ldb >= n) && (m <= 1 || ldc >= n),
                 "lda = %d, ldb = %d, ldc = %d for m = %d, n = %d, k = %d", lda, ldb, ldc, m, n, k);
  if (m <= 0 || n <= 0) return;
  if (k <= 0) {
    for (Index i = 0; i < m; ++i)
      std::fill(c + i * ldc, c + i * ldc + n, 0.0);
    return;
  }
  const double products = static_cast<double>(m) * n * k;
  if (products >= kPackedMinimumProducts && multiply_fast(m, n, k, a, lda, b, ldb, c, ldc, isa))
    return;
  multiply_portable(m, n, k, a, lda, b, ldb, c, ldc);
}

void multiply_vector_kernel(int m, int k, const double* a, int lda, const double* v, int incv,
                            double* w) noexcept {
  PASKOSDA_CHECK(m >= 0 && k >= 0 && (m <= 1 || lda >= k), "m = %d, k = %d, lda = %d", m, k, lda);
  int i = 0;
  for (; m - i >= 8; i += 8)
    dot_rows(std::make_index_sequence<8>(), k, a + Index{i} * lda, lda, v, incv, w + i);
  if (m - i >= 4) {
    dot_rows(std::make_index_sequence<4>(), k, a + Index{i} * lda, lda, v, incv, w + i);
    i += 4;
  }
  if (m - i >= 2) {
    dot_rows(std::make_index_sequence<2>(), k, a + Index{i} * lda, lda, v, incv, w + i);
    i += 2;
  }
  if (m - i >= 1)
    dot_rows(std::make_index_sequence<1>(), k, a + Index{i} * lda, lda, v, incv, w + i);
}

}  // namespace paskosda_detail
