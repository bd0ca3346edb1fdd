#include "decomp/mlQRDecomposition.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "support/test_support.h"

namespace {

using paskosda_test::mat;
using paskosda_test::random_matrix;
using paskosda_test::values;
using paskosda_test::vec;

TEST(QRDecomposition, BuildsQAndRFromVectorsOneAtATime) {
  mlMatrix q, r;
  mlQRDecomposition qr(&q, &r);
  EXPECT_EQ(qr.status(), mlQRNothingAdded);
  const mlVector a = vec({1, 0, 0}), b = vec({1, 1, 0});
  qr.add(&a);
  EXPECT_EQ(qr.status(), mlQRAccepted);
  qr.add(&b);
  EXPECT_EQ(qr.status(), mlQRAccepted);
  EXPECT_EQ(values(q), (std::vector<double>{1, 0, 0, 0, 1, 0}));
  EXPECT_EQ(values(r), (std::vector<double>{1, 0, 1, 1}));
  EXPECT_EQ(values(a), (std::vector<double>{1, 0, 0}));  // the input is not changed
}

TEST(QRDecomposition, ReportsDependentShortAndMisfitVectors) {
  mlMatrix q, r;
  mlQRDecomposition qr(&q, &r);
  const mlVector a = vec({2, 0}), b = vec({4, 0});
  qr.add(&a);
  qr.add(&b);  // the Gram-Schmidt stage rejects it; Q and R stay as they were
  EXPECT_EQ(qr.status(), mlQRDependent);
  EXPECT_EQ(qr.mlGramSchmidt::status(), mlGSDependent);
  EXPECT_EQ(values(q), (std::vector<double>{2, 0}));
  EXPECT_EQ(values(r), (std::vector<double>{1}));

  const mlVector c = vec({0, 3});
  qr.add(&c);  // after a rejection the next vector is placed normally
  EXPECT_EQ(qr.status(), mlQRAccepted);
  EXPECT_EQ(values(r), (std::vector<double>{1, 0, 0, 1}));

  struct Case {
    mlVector v;
    mlQRStatus status;
  };
  const Case cases[] = {
      {vec({std::sqrt(1e-11), 0}), mlQRTooShort},
      {mlVector(), mlQRTooShort},
      {vec({1, 2, 3}), mlQRSizeMismatch},
      {vec({1e-6, 0, 0}), mlQRTooShort},  // the length is tested before the size
  };
  for (const Case& k : cases) {
    qr.add(&k.v);
    EXPECT_EQ(qr.status(), k.status);
    EXPECT_EQ(q.rows(), 2);
    EXPECT_EQ(r.rows(), 2);
  }
}

TEST(QRDecomposition, KeepsNormalisedRowsInOrthonormalMode) {
  mlMatrix q, r, unit;
  mlQRDecomposition qr(&q, &r);
  qr.set_Q_orthonormal();
  const mlVector a = vec({3, 4});
  qr.add(&a);
  ASSERT_EQ(qr.status(), mlQRAccepted);
  qr.get_orthonormal_Q(unit);
  EXPECT_EQ(unit.rows(), 2);
  EXPECT_EQ(unit.cols(), 1);
  EXPECT_EQ(values(unit), (std::vector<double>{0.6, 0.8}));
  EXPECT_EQ(r(0, 0), 5.0);
  EXPECT_EQ(values(q), (std::vector<double>{3, 4}));  // Q itself is not normalised
}

TEST(QRDecomposition, InputsAreRTimesQOnRandomVectors) {
  mlRandom random(12);
  for (int orthonormal = 0; orthonormal < 2; ++orthonormal) {
    const int n = 7, m = 5;
    const mlMatrix inputs = random_matrix(random, m, n);
    mlMatrix q, r, unit;
    mlQRDecomposition qr(&q, &r);
    if (orthonormal != 0) qr.set_Q_orthonormal();
    for (int i = 0; i < m; ++i) {
      const mlVector a(utCopy, inputs.row(i));
      qr.add(&a);
      ASSERT_EQ(qr.status(), mlQRAccepted);
    }
    mlMatrix basis;
    if (orthonormal != 0) {
      qr.get_orthonormal_Q(unit);
      basis.become(mlMatrixTranspose, unit);
    } else {
      basis.become(utCopy, q);
    }
    mlMatrix product;
    multiply(r, basis, product);
    EXPECT_EQ(equal(product, inputs, 1e-14), 1);
    for (int i = 0; i < m; ++i) {
      for (int j = i + 1; j < m; ++j) {
        EXPECT_LT(std::fabs(scalar_product(basis.row(i), basis.row(j))), 1e-14);
        EXPECT_EQ(r(i, j), 0.0);  // R is lower triangular as stored
      }
      if (orthonormal != 0) {
        EXPECT_NEAR(basis.row(i).modulus(), 1.0, 1e-15);
      }
    }
  }
}

TEST(GramSchmidt, OrthogonalisesExistingRowsAndDropsEverythingFromADependentOne) {
  // Row 2 = row 0 + row 1: it goes, and row 3 with it although it is independent.
  mlMatrix m = mat(4, 3, {1, 0, 0, 1, 1, 0, 2, 1, 0, 0, 0, 1});
  const mlGramSchmidt gs(&m);
  EXPECT_EQ(gs.status(), mlGSDependent);
  EXPECT_EQ(values(m), (std::vector<double>{1, 0, 0, 0, 1, 0}));

  mlMatrix independent = mat(2, 2, {1, 1, 1, 0});
  EXPECT_EQ(mlGramSchmidt(&independent).status(), mlGSSuccess);
  EXPECT_EQ(values(independent), (std::vector<double>{1, 1, 0.5, -0.5}));
  mlMatrix empty;
  EXPECT_EQ(mlGramSchmidt(&empty).status(), mlGSNothingDone);
}

TEST(GramSchmidt, AddReturnsTheSquaredRemainderAndKeepsItOnlyWhenAsked) {
  mlMatrix m = mat(1, 3, {1, 0, 0});
  mlGramSchmidt gs(&m);
  mlVector v = vec({2, 3, 4});
  EXPECT_EQ(gs.add(&v, 0), 25.0);
  EXPECT_EQ(values(v), (std::vector<double>{0, 3, 4}));
  EXPECT_EQ(m.rows(), 1);  // keep = 0: the set is unchanged

  mlVector w = vec({2, 3, 4});
  EXPECT_EQ(gs.add(&w, 1), 25.0);
  EXPECT_EQ(values(m), (std::vector<double>{1, 0, 0, 0, 3, 4}));

  struct Case {
    mlVector v;
    mlGSStatus status;
  };
  const Case cases[] = {
      {vec({5, 6, 8}), mlGSDependent},  // 5 * row 0 + 2 * row 1
      {vec({1, 1}), mlGSSizeMismatch},
      {vec({1e-6, 0, 0}), mlGSTooShort},
  };
  for (const Case& k : cases) {
    mlVector v2(utCopy, k.v);
    EXPECT_EQ(gs.add(&v2, 1), 0.0);
    EXPECT_EQ(gs.status(), k.status);
    EXPECT_EQ(m.rows(), 2);
  }
}

}  // namespace
