#ifndef PASKOSDA_TESTS_SUPPORT_TEST_SUPPORT_H
#define PASKOSDA_TESTS_SUPPORT_TEST_SUPPORT_H

// Small helpers shared by the tests: building vectors and matrices from lists, reading them
// back, and random matrices with a fixed seed.

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <initializer_list>
#include <vector>

#include "linalg/mlMatrix.h"
#include "linalg/mlRandom.h"
#include "linalg/mlVector.h"

namespace paskosda_test {

inline mlVector vec(const std::vector<double>& x) {
  mlVector v(mlVectorDim, static_cast<int>(x.size()));
  for (int i = 0; i < v.dimension(); ++i)
    v[i] = x[i];
  return v;
}

inline mlVector vec(std::initializer_list<double> x) { return vec(std::vector<double>(x)); }

inline std::vector<double> values(const mlVector& v) {
  return std::vector<double>(v.data(), v.data() + v.dimension());
}

/// An r by c matrix from its elements, row by row.
inline mlMatrix mat(int r, int c, std::initializer_list<double> x) {
  return mlMatrix(utConvert, std::vector<double>(x).data(), r, c);
}

inline std::vector<double> values(const mlMatrix& m) {
  return std::vector<double>(m.data(), m.data() + m.rows() * m.cols());
}

/// An r by c matrix of uniform values in [lo, hi).
inline mlMatrix random_matrix(mlRandom& random, int r, int c, double lo = -1.0, double hi = 1.0) {
  mlMatrix m(r, c);
  for (int i = 0; i < r * c; ++i)
    m.data()[i] = random.uniform(lo, hi);
  return m;
}

/// Bitwise equality of the first n doubles (tells -0.0 from 0.0 and compares NaN payloads).
inline bool same_bits(const double* a, const double* b, int n) {
  return n == 0 || std::memcmp(a, b, sizeof(double) * static_cast<std::size_t>(n)) == 0;
}

/// Bitwise equality of the first n doubles, except that any NaN matches any NaN: which
/// operand's payload survives an operation on two NaNs is the processor's and the compiler's
/// choice (compilers may swap the operands of +), so NaN bits are not reproducible in C++.
inline ::testing::AssertionResult same_bits_or_nan(const double* expected, const double* actual,
                                                   int n) {
  for (int i = 0; i < n; ++i) {
    const bool both_nan = std::isnan(expected[i]) && std::isnan(actual[i]);
    if (!both_nan && std::memcmp(&expected[i], &actual[i], sizeof(double)) != 0) {
      return ::testing::AssertionFailure()
             << "element " << i << ": expected " << expected[i] << ", got " << actual[i];
    }
  }
  return ::testing::AssertionSuccess();
}

}  // namespace paskosda_test

#endif  // PASKOSDA_TESTS_SUPPORT_TEST_SUPPORT_H
