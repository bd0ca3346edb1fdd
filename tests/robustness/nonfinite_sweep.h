#ifndef PASKOSDA_TESTS_ROBUSTNESS_NONFINITE_SWEEP_H
#define PASKOSDA_TESTS_ROBUSTNESS_NONFINITE_SWEEP_H

// Every iterative algorithm and decomposition, fed NaN, +-Inf and +-DBL_MAX in one input at a
// time: matrix entries, right-hand sides, start points, limits, tolerances, and the values and
// derivatives of the caller's function objects. Each call must return (a watchdog ends the
// process with the case's name when one does not) and stay clean under the address and
// undefined-behaviour sanitizers. Beyond that only what holds for any input is checked:
// documented failure statuses, result shapes and ranges, and NaN-free results where no NaN
// can arise. Each base problem also runs clean, to show that it is solvable.

//
// This header holds the table of cases and the sweep that runs it; the problems are in
// nonfinite_sweep_linalg_test.cpp and nonfinite_sweep_solvers_test.cpp.

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "paskosda.h"
#include "support/test_support.h"

namespace paskosda_test {
namespace nonfinite {

inline const double kInf = std::numeric_limits<double>::infinity();
inline const double kNaN = std::numeric_limits<double>::quiet_NaN();

// The values every input and every function output is poisoned with, in turn.
struct Value {
  const char* name;
  double x;
};
inline const Value kValues[] = {
    {"NaN", kNaN}, {"+Inf", kInf}, {"-Inf", -kInf}, {"DBL_MAX", DBL_MAX}, {"-DBL_MAX", -DBL_MAX}};

// ---- the table ------------------------------------------------------------------------------

// Where a poisoned function object answers with the poison instead of its true output.
enum Where { kEverywhere, kPastOne, kFromFifthCall };
const char* const kWhere[] = {"everywhere", "past 1", "from call 5"};
const char* const kOutput[] = {"f", "f'", "f''"};

// What a case poisons in the function object: one output (0 the values, 1 first derivatives,
// 2 second derivatives) where `where` says; output -1 leaves the function clean.
struct Poison {
  int output = -1;
  Where where = kEverywhere;
  double value = 0.0;
  bool clean = true;  // nothing poisoned at all: the base problem itself
  mutable int calls = 0;

  // The output of the given order at a point whose first coordinate is x; v the true one.
  double operator()(int order, double x, double v) const {
    if (order != output) return v;
    const int call = calls++;
    const bool hit = where == kEverywhere || (where == kPastOne && x > 1.0) ||
                     (where == kFromFifthCall && call >= 4);
    return hit ? value : v;
  }
};

// A case's inputs, read back in the order the problem declared them.
class Inputs {
 public:
  explicit Inputs(const std::vector<double>& x) : x_(x) {}
  double scalar() { return x_[next_++]; }
  mlVector vector(int n) {
    mlVector v(mlVectorDim, n);
    for (int i = 0; i < n; ++i)
      v[i] = x_[next_++];
    return v;
  }
  mlMatrix matrix(int r, int c) {
    next_ += r * c;
    return mlMatrix(utConvert, x_.data() + next_ - r * c, r, c);
  }

 private:
  const std::vector<double>& x_;
  int next_ = 0;
};

using Run = std::function<void(Inputs& in, const Poison& poison)>;
using Admits = bool (*)(double);

// The inputs one slot poisons together, and the values it may take (a precondition that a
// checked build asserts, such as an ordered patch, excludes the others).
struct Slot {
  std::string name;
  std::vector<int> at;
  Admits admits;
};

// A small valid problem: its inputs and their slots, and the number of outputs of its function
// object poisoned in turn (values, first and second derivatives).
struct Problem {
  Problem(std::string problem, int function_outputs, Run runner)
      : name(std::move(problem)), outputs(function_outputs), run(std::move(runner)) {}

  Problem& scalar(const std::string& slot, double x, Admits admits = nullptr) {
    slots.push_back({slot, {static_cast<int>(inputs.size())}, admits});
    inputs.push_back(x);
    return *this;
  }
  // Scalars named by the words of `names`.
  Problem& scalars(const std::string& names, const std::vector<double>& x) {
    std::size_t from = 0;
    for (double e : x) {
      const std::size_t to = std::min(names.find(' ', from), names.size());
      scalar(names.substr(from, to - from), e);
      from = to + 1;
    }
    return *this;
  }
  Problem& vector(const std::string& slot, const std::vector<double>& x) {
    for (std::size_t i = 0; i < x.size(); ++i)
      scalar(slot + "[" + std::to_string(i) + "]", x[i]);
    return *this;
  }
  // Each entry, each symmetric pair when asked, and all entries at once.
  Problem& matrix(const std::string& slot, int r, int c, const std::vector<double>& x,
                  bool symmetric = false) {
    const int first = static_cast<int>(inputs.size());
    std::vector<int> all;
    for (int i = 0; i < r; ++i) {
      for (int j = 0; j < c; ++j) {
        const std::string at = "(" + std::to_string(i) + "," + std::to_string(j) + ")";
        all.push_back(first + c * i + j);
        slots.push_back({slot + at, {all.back()}, nullptr});
        if (symmetric && i < j)
          slots.push_back({slot + at + "+sym", {all.back(), first + c * j + i}, nullptr});
      }
    }
    slots.push_back({slot + "(all)", all, nullptr});
    inputs.insert(inputs.end(), x.begin(), x.end());
    return *this;
  }

  std::string name;
  int outputs;
  Run run;
  std::vector<double> inputs;
  std::vector<Slot> slots;
};

struct Case {
  std::string name;
  const Problem* problem;
  std::vector<double> inputs;
  Poison poison;
};

// Runs every case of the problems' table under a watchdog that names a case that does not
// return, or one that ends the process.
void sweep(const std::vector<Problem>& problems);

// No NaN among the n values from x.
inline bool nan_free(const double* x, int n) {
  return std::none_of(x, x + n, [](double e) { return std::isnan(e); });
}

}  // namespace nonfinite
}  // namespace paskosda_test

#endif  // PASKOSDA_TESTS_ROBUSTNESS_NONFINITE_SWEEP_H
