#include "optim/mlPowellMinimumSearch.h"

#include <cfloat>
#include <cmath>

#include "containers/utCheck.h"
#include "functions/mlLineOnFunctionN1.h"
#include "optim/mlMinimiser.h"

namespace {

constexpr double kBrentTolerance = 0.2;
constexpr int kBrentIterations = 100;
constexpr double kConvergenceGuard = 1e-25;
constexpr double kExtrapolation = 2.0;
constexpr double kValueRatio = 10.0;
constexpr int kLastPass = 39;

// Moves p to the minimum along d and replaces d by the displacement made. `line` is
// g(t) = f(p + t d) over these very p and d. Returns g there.
double line_minimise(const mlLineOnFunctionN1& line, mlVector& p, mlVector& d) {
  double a = 0.0;
  double b = 1.0;
  double c;
  double fa;
  double fb;
  double fc;
  ml_minimum_bracketing(line, a, b, c, fa, fb, fc);
  double t_min = 0.0;
  const double value =
      ml_brent_minimum_search(line, a, b, c, kBrentTolerance, kBrentIterations, &t_min);
  d *= t_min;
  p += d;
  return value;
}

}  // namespace

double ml_powell_minimum_search(mlVector& p, mlMatrix& directions, double tolerance,
                                int& iterations, const mlFunctionN1& f) {
  const int n = p.dimension();
  PASKOSDA_CHECK(directions.rows() == n && directions.cols() == n,
                 "ml_powell_minimum_search: %d by %d directions for a point of %d entries",
                 directions.rows(), directions.cols(), n);
  // One line object serves every line minimisation: it reads p and d at each evaluation.
  mlVector d(mlVectorDim, n);
  const mlLineOnFunctionN1 line(p, d, &f);
  mlVector pt(utCopy, p);
  mlVector ptt(mlVectorDim, n);
  mlVector best_p;

  double value = f.function(p.slice());
  iterations = 0;
  double best = DBL_MAX;
  for (;;) {
    const double fp = value;
    double largest = 0.0;
    int index = 0;
    for (int i = 0; i < n; ++i) {
      d.become(utCopy, static_cast<const mlMatrix&>(directions).col(i));
      const double before = value;
      value = line_minimise(line, p, d);
      if (before - value > largest) {
        largest = before - value;
        index = i + 1;
      }
    }
    if (best > value) {
      best = value;
      best_p.become(utCopy, p);
    }
    if (tolerance * (std::fabs(fp) + std::fabs(value)) + kConvergenceGuard >= 2.0 * (fp - value))
      break;
    if (iterations == kLastPass) break;
    // Line minimisations never raise the value, so this holds exactly for a negative value:
    // a search whose first pass ends below zero stops there. Kept as it is.
    if (value > kValueRatio * best) break;

    for (int j = 0; j < n; ++j) {
      ptt[j] = kExtrapolation * p[j] - pt[j];
      d[j] = p[j] - pt[j];
      pt[j] = p[j];
    }
    const double fptt = f.function(ptt.slice());
    if (fp > fptt) {
      // Square roots where the classic test squares the two differences: kept so. A negative
      // radicand gives NaN, and the comparison below then fails.
      const double t = 2.0 * (fp - 2.0 * value + fptt) * std::sqrt(fp - value - largest) -
                       largest * std::sqrt(fp - fptt);
      if (0.0 > t) {
        value = line_minimise(line, p, d);
        // With no direction lowering the value the index is still 0 and there is no column
        // to replace (it would be column -1): the set is left as it was.
        if (index > 0) {
          for (int j = 0; j < n; ++j) {
            directions(j, index - 1) = directions(j, n - 1);
            directions(j, n - 1) = d[j];
          }
        }
      }
    }
    ++iterations;
  }
  if (value > best) {
    value = best;
    p.become(utCopy, best_p);
  }
  return value;
}
