#ifndef PASKOSDA_H
#define PASKOSDA_H

/// \file
/// Everything paskosda offers, in one include.

#include "paskosda_version.h"

// Containers and utilities
#include "containers/coBufferGuard.h"
#include "containers/coDynArr.h"
#include "containers/coPageArr.h"
#include "containers/coQuickSort.h"
#include "containers/doublecoDynArr2D.h"
#include "containers/utMath.h"
#include "containers/utOstream.h"
#include "containers/utTags.h"
#include "containers/ut_numeric_cast.h"

// Dense linear algebra
#include "linalg/mlMath.h"
#include "linalg/mlMatrix.h"
#include "linalg/mlQuickSortDynArrInt.h"
#include "linalg/mlRandom.h"
#include "linalg/mlRange.h"
#include "linalg/mlSlice.h"
#include "linalg/mlStats.h"
#include "linalg/mlTinyVector.h"
#include "linalg/mlVector.h"

// Matrix decompositions
#include "decomp/mlCholeskyDecomposition.h"
#include "decomp/mlFortranMatrix.h"
#include "decomp/mlLUDecomposition.h"
#include "decomp/mlQRDecomposition.h"
#include "decomp/mlSingularValueDecomposition.h"
#include "decomp/mlTridiagonal.h"

// Eigen-analysis
#include "eigen/mlAsymEigenVecs.h"
#include "eigen/mlEigenVecs.h"
#include "eigen/mlPCA.h"
#include "eigen/mlSymEigenVecs.h"

// Functions and calculus
#include "functions/mlCachedFunctionN.h"
#include "functions/mlCallableFunction.h"
#include "functions/mlFunction.h"
#include "functions/mlFunctionApproxDeriv.h"
#include "functions/mlFunctionValue.h"
#include "functions/mlIntegrate.h"
#include "functions/mlLineOnFunction2.h"
#include "functions/mlLineOnFunctionN1.h"
#include "functions/mlSquaredLengthFunc2.h"

// Roots and polynomials
#include "roots/mlNewtonRaphson.h"
#include "roots/mlPolynomial.h"
#include "roots/mlPolynomialSolver.h"
#include "roots/mlRootSolve.h"
#include "roots/mlTinyVectorPolynomial.h"

// Optimisation
#include "optim/mlConstrainedQuadraticMinimiser.h"
#include "optim/mlDownHillSimplex.h"
#include "optim/mlLevenbergMarquardt.h"
#include "optim/mlMinimiser.h"
#include "optim/mlMinimiser2.h"
#include "optim/mlPowellMinimumSearch.h"

// Sparse matrices
#include "sparse/mlSparseMatrix.h"
#include "sparse/mlSparseRow.h"

#endif  // PASKOSDA_H
