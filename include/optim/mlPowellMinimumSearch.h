#ifndef PASKOSDA_OPTIM_MLPOWELLMINIMUMSEARCH_H
#define PASKOSDA_OPTIM_MLPOWELLMINIMUMSEARCH_H

/// \file
/// Powell's direction-set search for a minimum of a scalar function of several variables,
/// without derivatives.

#include "functions/mlFunction.h"
#include "linalg/mlMatrix.h"
#include "linalg/mlVector.h"
#include "paskosda_export.h"

/// Minimises f from the point p (n entries) along the n columns of `directions` (n by n, as a
/// rule the unit vectors) by Powell's method. Each pass minimises along every direction in
/// turn (bracketing from the steps 0 and 1, then Brent's method at the coarse relative
/// tolerance 0.2 with at most 100 points) and may replace the direction of largest decrease by
/// the pass's overall displacement, after a line minimisation along it.
///
/// Stops when a pass lowers the value by no more than tolerance (|f before| + |f after|) / 2
/// (plus 1e-25, so that an exact zero minimum stops), after the pass numbered 39 (40 passes),
/// or - kept so - after the first pass whenever its value is negative (the test "value >
/// 10 best" holds exactly then). Returns the lowest value seen, with p at that point;
/// `directions` holds the updated set and `iterations` the number of the last pass (0 to 39).
/// A function that is +inf at the end of every pass never records a best point: the result
/// is then DBL_MAX and p comes back empty.
PASKOSDA_EXPORT double ml_powell_minimum_search(mlVector& p, mlMatrix& directions, double tolerance,
                                                int& iterations, const mlFunctionN1& f);

#endif  // PASKOSDA_OPTIM_MLPOWELLMINIMUMSEARCH_H
