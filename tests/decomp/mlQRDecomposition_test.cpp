#include "decomp/mlQRDecomposition.h"

#include <gtest/gtest.h>

#include <utility>

#include "support/test_support.h"

namespace {

using namespace paskosda_test;

TEST(mlQRDecomposition, BuildsQAndRAndRejectsWithoutChangingThem) {
  mlMatrix q, r;
  mlQRDecomposition qr(&q, &r);
  EXPECT_EQ(qr.status(), mlQRNothingAdded);
  const mlVector a = vec({2, 0}), b = vec({4, 0}), c = vec({1, 3});
  qr.add(&a);
  EXPECT_EQ(qr.status(), mlQRAccepted);
  qr.add(&b);  // the Gram-Schmidt stage rejects it; Q and R stay as they were
  EXPECT_TRUE(qr.status() == mlQRDependent && qr.mlGramSchmidt::status() == mlGSDependent);
  EXPECT_TRUE(values(q) == (std::vector<double>{2, 0}) && values(r) == (std::vector<double>{1}));
  qr.add(&c);  // after a rejection the next vector is placed normally
  EXPECT_EQ(qr.status(), mlQRAccepted);
  EXPECT_EQ(values(q), (std::vector<double>{2, 0, 0, 3}));
  EXPECT_EQ(values(r), (std::vector<double>{1, 0, 0.5, 1}));  // c = 0.5 q0 + q1
  EXPECT_EQ(values(c), (std::vector<double>{1, 3}));          // the input is not changed

  // The length is tested before the size.
  const std::pair<mlVector, mlQRStatus> cases[] = {{vec({std::sqrt(1e-11), 0}), mlQRTooShort},
                                                   {mlVector(), mlQRTooShort},
                                                   {vec({1, 2, 3}), mlQRSizeMismatch},
                                                   {vec({1e-6, 0, 0}), mlQRTooShort}};
  for (const auto& [v, status] : cases) {
    qr.add(&v);
    EXPECT_TRUE(qr.status() == status && q.rows() == 2 && r.rows() == 2) << v;
  }
}

TEST(mlQRDecomposition, InputsAreRTimesQOnRandomVectors) {
  mlRandom random(12);
  const int n = 7, m = 5;
  for (int orthonormal = 0; orthonormal < 2; ++orthonormal) {
    const mlMatrix inputs = random_matrix(random, m, n);
    mlMatrix q, r, unit;
    mlQRDecomposition qr(&q, &r);
    if (orthonormal != 0) qr.set_Q_orthonormal();
    for (int i = 0; i < m; ++i) {
      const mlVector a(utCopy, inputs.row(i));
      qr.add(&a);
      ASSERT_EQ(qr.status(), mlQRAccepted);
    }
    // In orthonormal mode R holds the coefficients on the unit rows, which come as columns;
    // Q is not normalised.
    qr.get_orthonormal_Q(unit);
    const mlMatrix basis =
        orthonormal != 0 ? mlMatrix(mlMatrixTranspose, unit) : mlMatrix(utCopy, q);
    EXPECT_TRUE(equal(mlMatrix(mlMatrixProduct, r, basis), inputs, 1e-14));
    for (int i = 0; i < m; ++i) {
      for (int j = i + 1; j < m; ++j) {
        EXPECT_LT(std::fabs(scalar_product(q.row(i), q.row(j))), 1e-14);
        EXPECT_EQ(r(i, j), 0.0);  // R is lower triangular as stored
      }
      EXPECT_TRUE(orthonormal == 0 || std::fabs(basis.row(i).modulus() - 1.0) < 1e-15);
    }
  }
}

TEST(mlQRDecompositionGramSchmidt, OrthogonalisesExistingRowsAndDropsEverythingFromADependentOne) {
  // Row 2 = row 0 + row 1: it goes, and row 3 with it although it is independent.
  mlMatrix m = mat(4, 3, {1, 0, 0, 1, 1, 0, 2, 1, 0, 0, 0, 1});
  EXPECT_EQ(mlGramSchmidt(&m).status(), mlGSDependent);
  EXPECT_EQ(values(m), (std::vector<double>{1, 0, 0, 0, 1, 0}));
  mlMatrix independent = mat(2, 2, {1, 1, 1, 0}), empty;
  EXPECT_EQ(mlGramSchmidt(&independent).status(), mlGSSuccess);
  EXPECT_EQ(values(independent), (std::vector<double>{1, 1, 0.5, -0.5}));
  EXPECT_EQ(mlGramSchmidt(&empty).status(), mlGSNothingDone);
}

TEST(mlQRDecompositionGramSchmidt, AddReturnsTheSquaredRemainderAndKeepsItOnlyWhenAsked) {
  mlMatrix m = mat(1, 3, {1, 0, 0});
  mlGramSchmidt gs(&m);
  mlVector v = vec({2, 3, 4}), w = vec({2, 3, 4});
  EXPECT_EQ(gs.add(&v, 0), 25.0);
  EXPECT_EQ(values(v), (std::vector<double>{0, 3, 4}));
  EXPECT_EQ(m.rows(), 1);  // keep = 0: the set is unchanged
  EXPECT_EQ(gs.add(&w, 1), 25.0);
  EXPECT_EQ(values(m), (std::vector<double>{1, 0, 0, 0, 3, 4}));

  // (5, 6, 8) is 5 row 0 + 2 row 1.
  const std::pair<mlVector, mlGSStatus> cases[] = {{vec({5, 6, 8}), mlGSDependent},
                                                   {vec({1, 1}), mlGSSizeMismatch},
                                                   {vec({1e-6, 0, 0}), mlGSTooShort}};
  for (const auto& [input, status] : cases) {
    mlVector copy(utCopy, input);
    EXPECT_TRUE(gs.add(&copy, 1) == 0.0 && gs.status() == status && m.rows() == 2) << input;
  }
}

}  // namespace
