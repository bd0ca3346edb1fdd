#ifndef PASKOSDA_OPTIM_MLDOWNHILLSIMPLEX_H
#define PASKOSDA_OPTIM_MLDOWNHILLSIMPLEX_H

/// \file
/// The downhill simplex method (Nelder and Mead) for a minimum of a scalar function of several
/// variables, without derivatives.

#include "containers/coDynArr.h"
#include "functions/mlFunction.h"
#include "linalg/mlMatrix.h"
#include "linalg/mlVector.h"
#include "paskosda_export.h"

/// The speed of a downhill simplex search: its call budget and relative tolerance. Any value
/// other than the first three behaves as `mlDownHillSimplexSlowest`.
enum mlDownHillSimplexSpeed : int {
  /// At most about 100 calls, relative spread 1e-5.
  mlDownHillSimplexFastest = 0,
  /// At most about 600 calls, relative spread 1e-10.
  mlDownHillSimplexFast = 1,
  /// At most about 2000 calls, relative spread 1e-10.
  mlDownHillSimplexSlow = 2,
  /// At most about 20000 calls, relative spread 1e-10.
  mlDownHillSimplexSlowest = 3
};

/// Minimises a scalar function of n variables by reflecting, expanding, contracting and
/// shrinking a simplex of n + 1 vertices (the rows of an (n + 1) by n matrix). A search stops
/// when the relative spread 2 |f_hi - f_lo| / (|f_lo| + |f_hi| + 1e-20) of the vertex values
/// is below the speed's tolerance, when the call budget `m_max` is reached (tested before each
/// pass, so the count may exceed it by one pass's calls), or when the simplex has degenerated
/// (|f_hi| < 1e-20, or its best and worst vertices within 1e-20 in every coordinate); all
/// three end like success. The budget is one value shared by every instance on a thread and
/// rewritten by every `solve` on that thread. Each thread has its own, so searches on distinct
/// instances may run on distinct threads at the same time; on one thread the budget behaves
/// as the single shared value it always was.
class PASKOSDA_EXPORT mlDownHillSimplex {
 public:
  /// Guard in the relative spread and threshold of the degeneracy tests.
  static constexpr double m_tiny = 1e-20;
  /// The call budget of the running search, shared by all instances on this thread: 2000 at
  /// the thread's start, set by each `solve` from its speed (100, 600, 2000 or 20000).
  static thread_local int m_max;

  /// A simplex for functions of `dimension` variables (initial step 0.1 along each axis).
  explicit mlDownHillSimplex(int dimension) noexcept;
  /// Re-initialises as the constructor does. Returns this.
  mlDownHillSimplex& become(int dimension) noexcept;
  mlDownHillSimplex(const mlDownHillSimplex&) = delete;
  mlDownHillSimplex& operator=(const mlDownHillSimplex&) = delete;
  ~mlDownHillSimplex() = default;

  /// Searches from `start` (at least n entries; the initial vertices are start + 0.1 e_i and
  /// start itself) and returns the lowest value found; afterwards vertex 0 is its point
  /// (`result`) and `number_of_calls` the evaluations made. f is borrowed for the call.
  double solve(const mlFunctionN1& f, const mlVector& start, mlDownHillSimplexSpeed speed);
  /// x becomes a copy of vertex 0, the best point of the last `solve` (n entries).
  void result(mlVector& x) const noexcept;
  /// The evaluations made by the last `solve` (0 before the first).
  int number_of_calls() const noexcept { return calls_; }

 protected:
  /// Replaces vertex h by centroid (1 - factor) + factor x_h (centroid of the other vertices)
  /// when the function is lower there: -1.0 reflects, 2.0 expands, 0.5 contracts. Returns the
  /// function's value at the trial point; the caller counts the call.
  double move_vertex(int h, double factor);
  /// Recomputes the per-coordinate sums of the vertices.
  void update_simplex_sum() noexcept;

 private:
  const mlFunctionN1* objective_ = nullptr;
  double step_ = 0.0;
  doublecoDynArr values_;
  mlMatrix simplex_;
  doublecoDynArr simplex_sum_;
  int dimension_ = 0;
  double tolerance_ = 0.0;
  int calls_ = 0;
  doublecoDynArr trial_;
};

#endif  // PASKOSDA_OPTIM_MLDOWNHILLSIMPLEX_H
