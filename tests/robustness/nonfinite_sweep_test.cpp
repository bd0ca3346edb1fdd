// Every iterative algorithm and decomposition, fed NaN, +-Inf and +-DBL_MAX in one input at a
// time: matrix entries, right-hand sides, start points, limits, tolerances, and the values and
// derivatives of the caller's function objects. Each call must return (a watchdog ends the
// process with the case's name when one does not) and stay clean under the address and
// undefined-behaviour sanitizers. Beyond that only what holds for any input is checked:
// documented failure statuses, result shapes and ranges, and NaN-free results where no NaN
// can arise. Each base problem also runs clean, to show that it is solvable.

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cfloat>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "paskosda.h"
#include "support/test_support.h"

extern "C" void __sanitizer_set_death_callback(void (*callback)(void)) __attribute__((weak));

namespace {

using namespace paskosda_test;

const double kInf = std::numeric_limits<double>::infinity();
const double kNaN = std::numeric_limits<double>::quiet_NaN();

// The values every input and every function output is poisoned with, in turn.
const struct Value {
  const char* name;
  double x;
} kValues[] = {
    {"NaN", kNaN}, {"+Inf", kInf}, {"-Inf", -kInf}, {"DBL_MAX", DBL_MAX}, {"-DBL_MAX", -DBL_MAX}};

// ---- watchdog -------------------------------------------------------------------------------

// The case running now (null between cases), named by every message that ends the process.
std::atomic<const char*> current_case{nullptr};

void report_current_case() {
  const char* name = current_case.load();
  if (name == nullptr) return;
  // write(2) alone: this also runs inside signal handlers.
  const char prefix[] = "\nnon-finite sweep: the process ended in case: ";
  [[maybe_unused]] ssize_t n = write(2, prefix, sizeof prefix - 1);
  n = write(2, name, std::strlen(name));
  n = write(2, "\n", 1);
}

extern "C" void report_and_reraise(int signal) {
  report_current_case();
  std::signal(signal, SIG_DFL);
  std::raise(signal);
}

// Names the case on an address-sanitizer report, a failed library check (abort) or a crash;
// an undefined-behaviour report names it with UBSAN_OPTIONS=abort_on_error=1. Under the
// sanitizers their own handler reports a crash, so SIGSEGV is left to them.
void name_the_case_on_crashes() {
  static const bool installed = [] {
    if (__sanitizer_set_death_callback != nullptr) {
      __sanitizer_set_death_callback(report_current_case);
    } else {
      std::signal(SIGSEGV, report_and_reraise);
    }
    std::signal(SIGABRT, report_and_reraise);
    std::signal(SIGFPE, report_and_reraise);
    return true;
  }();
  (void)installed;
}

// A hung call cannot be cancelled: when a case overruns its time, the watchdog prints the case
// and ends the process.
class Watchdog {
 public:
  static constexpr int kLimitSeconds = 10;

  Watchdog() : thread_([this] { watch(); }) {}
  ~Watchdog() {
    done_ = true;
    thread_.join();
  }
  void start(const char* name) {
    deadline_ = now_ms() + kLimitSeconds * 1000;
    current_case = name;
  }
  void stop() { current_case = nullptr; }

 private:
  static long long now_ms() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
  }
  void watch() {
    while (!done_) {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
      const char* name = current_case.load();
      if (name != nullptr && now_ms() > deadline_.load() && current_case.load() == name) {
        std::fprintf(stderr, "\nnon-finite sweep: no return within %d s from case: %s\n",
                     kLimitSeconds, name);
        std::fflush(stderr);
        std::_Exit(1);
      }
    }
  }

  std::atomic<bool> done_{false};
  std::atomic<long long> deadline_{0};
  std::thread thread_;
};

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

// Each base problem clean, then every slot and every function output with every value.
std::vector<Case> cases_of(const std::vector<Problem>& problems) {
  std::vector<Case> table;
  for (const Problem& p : problems) {
    table.push_back({p.name + " / clean", &p, p.inputs, Poison()});
    Poison poisoned;
    poisoned.clean = false;
    for (const Slot& s : p.slots) {
      for (const Value& v : kValues) {
        if (s.admits != nullptr && !s.admits(v.x)) continue;
        table.push_back({p.name + " / " + s.name + " = " + v.name, &p, p.inputs, poisoned});
        for (int i : s.at)
          table.back().inputs[i] = v.x;
      }
    }
    for (int output = 0; output < p.outputs; ++output) {
      for (int where = kEverywhere; where <= kFromFifthCall; ++where) {
        for (const Value& v : kValues) {
          table.push_back({p.name + " / " + kOutput[output] + " " + kWhere[where] + " = " + v.name,
                           &p, p.inputs, poisoned});
          Poison& q = table.back().poison;
          q.output = output;
          q.where = static_cast<Where>(where);
          q.value = v.x;
        }
      }
    }
  }
  return table;
}

void sweep(const std::vector<Problem>& problems) {
  name_the_case_on_crashes();
  const std::vector<Case> table = cases_of(problems);
  ::testing::Test::RecordProperty("cases", static_cast<int>(table.size()));
  Watchdog watchdog;
  for (const Case& c : table) {
    SCOPED_TRACE(c.name);
    Inputs in(c.inputs);
    watchdog.start(c.name.c_str());
    c.problem->run(in, c.poison);
    watchdog.stop();
  }
}

bool nan_free(const double* x, int n) {
  return std::none_of(x, x + n, [](double e) { return std::isnan(e); });
}

// The patch [-2, 3] x [-2, 3] of the surface minimisers: a poisoned bound must keep its pair
// ordered, and a periodic one also finite and not +-DBL_MAX (which opens the side).
bool lower_bound(double x) { return x <= 3.0; }
bool upper_bound(double x) { return x >= -2.0; }
bool periodic_bound(double x) { return std::fabs(x) < DBL_MAX; }

// ---- function objects -----------------------------------------------------------------------

// A polynomial c[0] + c[1] t + ... with its first two derivatives, over [lo, hi].
class Polynomial1 : public mlFunction {
 public:
  Polynomial1(std::vector<double> c, const Poison& poison, double lo = -DBL_MAX,
              double hi = DBL_MAX, int max_deriv = 2)
      : c_(std::move(c)), poison_(poison), lo_(lo), hi_(hi) {
    set_max_deriv(max_deriv);
  }
  double function(double t) const override { return poison_(0, t, evaluate(0, t)); }
  double function_derivative(int order, double t) const override {
    if (order < 1 || order > 2) return mlFunction::function_derivative(order, t);
    return poison_(order, t, evaluate(order, t));
  }
  double t_min() const override { return lo_; }
  double t_max() const override { return hi_; }

 private:
  double evaluate(int order, double t) const {
    double s = 0.0;
    for (int k = static_cast<int>(c_.size()) - 1; k >= order; --k)
      s = s * t + (order == 0 ? 1.0 : order == 1 ? k : k * (k - 1.0)) * c_[k];
    return s;
  }

  std::vector<double> c_;
  const Poison& poison_;
  double lo_, hi_;
};

// The partial derivative of orders (i, j), i + j <= 2, of the bowl a^2 + 2 b^2 + ab / 2 with
// a = u - 1, b = v + 1/2: its minimum 0 lies at (1, -1/2).
double bowl(int i, int j, double u, double v) {
  const double a = u - 1.0, b = v + 0.5;
  if (i + j == 0) return a * a + 2.0 * b * b + 0.5 * a * b;
  if (i + j == 1) return i == 1 ? 2.0 * a + 0.5 * b : 4.0 * b + 0.5 * a;
  return i == 2 ? 2.0 : j == 2 ? 4.0 : 0.5;
}

class BowlN1 : public mlFunctionN1 {
 public:
  explicit BowlN1(const Poison& poison) : mlFunctionN1(2), poison_(poison) {}
  double function(const mlSlice& x) const override {
    return poison_(0, x[0], bowl(0, 0, x[0], x[1]));
  }

 private:
  const Poison& poison_;
};

class Bowl2 : public mlFunction2 {
 public:
  Bowl2(const Poison& poison, int max_deriv) : poison_(poison) { set_max_deriv(max_deriv); }
  double function(double u, double v) const override { return poison_(0, u, bowl(0, 0, u, v)); }
  double uv_function_derivative(int i, int j, double u, double v) const override {
    if (i < 0 || j < 0 || i + j < 1 || i + j > 2) return -666.0;
    return poison_(i + j, u, bowl(i, j, u, v));
  }

 private:
  const Poison& poison_;
};

// F(x, y) = (x^2 + y^2 - 4, x - y), with roots +-(sqrt 2, sqrt 2).
class Circle : public mlFunctionN {
 public:
  explicit Circle(const Poison& poison) : mlFunctionN(2, 2), poison_(poison) {}
  void function(const mlSlice& x, mlVector& f) const override {
    f.become(mlVectorDim, 2);
    f[0] = poison_(0, x[0], x[0] * x[0] + x[1] * x[1] - 4.0);
    f[1] = poison_(0, x[0], x[0] - x[1]);
  }
  void function_gradient(const mlSlice& x, mlMatrix& J) const override {
    const double j[] = {2.0 * x[0], 2.0 * x[1], 1.0, -1.0};
    J.become(2, 2);
    for (int k = 0; k < 4; ++k)
      J.data()[k] = poison_(1, x[0], j[k]);
  }

 private:
  const Poison& poison_;
};

// F(u, v) = (u, v, u^2 + v^2) - P: the paraboloid seen from the point P.
class Paraboloid : public mlFunctionN {
 public:
  Paraboloid(const mlVector& target, const Poison& poison)
      : mlFunctionN(2, 3), target_(utCopy, target), poison_(poison) {}
  void function(const mlSlice& x, mlVector& f) const override {
    const double s[] = {x[0], x[1], x[0] * x[0] + x[1] * x[1]};
    f.become(mlVectorDim, 3);
    for (int k = 0; k < 3; ++k)
      f[k] = poison_(0, x[0], s[k] - target_[k]);
  }
  void function_gradient(const mlSlice& x, mlMatrix& J) const override {
    const double j[] = {1.0, 0.0, 0.0, 1.0, 2.0 * x[0], 2.0 * x[1]};
    J.become(3, 2);
    for (int k = 0; k < 6; ++k)
      J.data()[k] = poison_(1, x[0], j[k]);
  }
  void function_derivative(const mlSlice& x, int* const orders, mlVector& d) const override {
    const int i = orders[0], j = orders[1];
    if (i < 0 || j < 0 || i + j < 1 || i + j > 2) return;
    const double s[] = {i + j == 1 ? 1.0 - j : 0.0, i + j == 1 ? 1.0 - i : 0.0,
                        i + j == 1 ? 2.0 * x[j]
                        : i == 1   ? 0.0
                                   : 2.0};
    d.become(mlVectorDim, 3);
    for (int k = 0; k < 3; ++k)
      d[k] = poison_(i + j, x[0], s[k]);
  }

 private:
  mlVector target_;
  const Poison& poison_;
};

// The line p0 + p1 x through the points (x_k, y_k): the distances are the residuals.
class Line : public mlDistanceLeastSquares {
 public:
  Line(const mlVector& x, const mlVector& y, const mlVector& scales, const Poison& poison)
      : mlDistanceLeastSquares(2, x.dimension()),
        x_(utCopy, x),
        y_(utCopy, y),
        scales_(utCopy, scales),
        poison_(poison) {}
  void normalise_parameters(mlVector&) override {}
  void distance_and_derivatives(double& d, mlVector& g, int k) override {
    distance(d, k);
    g[0] = poison_(1, parameters_[0], 1.0);
    g[1] = poison_(1, parameters_[0], x_[k]);
  }
  void distance(double& d, int k) override {
    d = poison_(0, parameters_[0], parameters_[0] + parameters_[1] * x_[k] - y_[k]);
  }
  void parameter_scales(mlVector& s) const override { s.become(utCopy, scales_); }

 private:
  mlVector x_, y_, scales_;
  const Poison& poison_;
};

// ---- decompositions -------------------------------------------------------------------------

void lu(Inputs& in, const Poison& poison) {
  const mlMatrix a = in.matrix(3, 3);
  const mlVector b = in.vector(3);
  const mlLUDecomposition lu(a);
  mlVector x;
  mlMatrix bm(utConvert, b.data(), 3, 1), m;
  lu.solve(b, x);
  lu.solve(bm, m);
  lu.inverse(m);
  lu.lower_matrix(m);
  lu.upper_matrix(m);
  (void)lu.determinant();
  EXPECT_TRUE(!poison.clean || lu.is_singular() == 0);
  // However the pivots compared, P is a permutation.
  lu.permutation_matrix(m);
  ASSERT_TRUE(m.rows() == 3 && m.cols() == 3);
  for (int i = 0; i < 3; ++i)
    EXPECT_TRUE(m.row(i).sum() == 1.0 && m.col(i).sum() == 1.0) << m;
}

void cholesky(Inputs& in, const Poison& poison) {
  const mlMatrix a = in.matrix(3, 3);
  const mlVector b = in.vector(3);
  const mlCholeskyDecomposition chol(a);
  mlVector x;
  mlMatrix bm(utConvert, b.data(), 3, 1), m;
  chol.solve(b, x);
  chol.solve(bm, m);
  chol.inverse(m);
  chol.matrix_l(m);
  chol.matrix_l_inverted(m);
  chol.matrix_original(m);
  (void)chol.determinant();
  // A diagonal entry of -Inf or -DBL_MAX leaves a pivot that is not positive.
  const bool negative = a(0, 0) <= -DBL_MAX || a(1, 1) <= -DBL_MAX || a(2, 2) <= -DBL_MAX;
  EXPECT_EQ(chol.is_singular(), poison.clean ? 0 : negative ? 1 : chol.is_singular());
}

// Q grows by a row exactly when a vector is accepted.
void qr(Inputs& in, const Poison& poison, bool orthonormal) {
  const mlMatrix rows = in.matrix(3, 4);
  mlMatrix q, r, unit;
  mlQRDecomposition qr(&q, &r);
  if (orthonormal) qr.set_Q_orthonormal();
  int accepted = 0;
  for (int i = 0; i < 3; ++i) {
    const mlVector a(utCopy, rows.row(i));
    qr.add(&a);
    accepted += qr.status() == mlQRAccepted ? 1 : 0;
    EXPECT_EQ(q.rows(), accepted);
  }
  EXPECT_TRUE(!poison.clean || accepted == 3);
  if (orthonormal) qr.get_orthonormal_Q(unit);
}

// The set grows by a row exactly when `add` reports success and keeps the vector.
void gram_schmidt(Inputs& in, const Poison& poison) {
  mlMatrix m = in.matrix(2, 4);
  mlVector w = in.vector(4);
  mlGramSchmidt gs(&m);
  const int rows = m.rows();
  (void)gs.add(&w, 0);
  EXPECT_EQ(m.rows(), rows);
  (void)gs.add(&w, 1);
  EXPECT_EQ(m.rows(), rows + (gs.status() == mlGSSuccess ? 1 : 0));
  EXPECT_TRUE(!poison.clean || m.rows() == 3);
}

// The shapes follow the jobs; a converged decomposition has non-negative values in decreasing
// order; rank and singularity agree.
void svd(Inputs& in, const Poison& poison, int m, int n, int job_u, int job_v, bool inverse) {
  using Svd = mlSingularValueDecomposition;
  const int k = std::min(m, n);
  const mlMatrix a = in.matrix(m, n);
  const Svd svd(a, static_cast<Svd::mlJOB_U>(job_u), static_cast<Svd::mlJOB_V>(job_v));
  const mlVector& s = svd.diagonal();
  ASSERT_EQ(s.dimension(), k);
  EXPECT_EQ(svd.U().rows(), job_u == 1 ? m : 1);
  EXPECT_EQ(svd.V().cols(), job_v == 0 ? 1 : job_v == 1 ? n : k);
  EXPECT_TRUE(!poison.clean || svd.invalid() == 0);
  for (int i = 0; i < k && svd.invalid() == 0; ++i)
    EXPECT_TRUE(s[i] >= 0.0 && (i == 0 || s[i - 1] >= s[i])) << "s = " << s;
  const double tol = inverse ? in.scalar() : 1e-7;
  const int rank = svd.rank(tol);
  EXPECT_TRUE(rank >= 0 && rank <= k) << rank;
  EXPECT_EQ(svd.is_singular(tol), rank == 0 || rank < k ? 1 : 0);
  if (!inverse) return;
  const mlVector b = in.vector(m);
  const mlMatrix& pinv = svd.inverse(tol);
  EXPECT_TRUE(pinv.rows() == n && pinv.cols() == m);
  mlVector x;
  mlMatrix bm(utConvert, b.data(), m, 1), xm;
  svd.solve(b, x);
  svd.solve(bm, xm);
  EXPECT_EQ(x.dimension(), n);
}

void one_sided_svd(Inputs& in, int m, int n) {
  const mlMatrix a = in.matrix(m, n);
  std::vector<double> w((m + n) * n), z(n);
  std::copy(a.data(), a.data() + m * n, w.begin());
  ml_svd(w.data(), z.data(), m, n);
}

void tridiagonal(Inputs& in, const Poison&) {
  const mlVector lower = in.vector(4), diagonal = in.vector(4), upper = in.vector(4),
                 d = in.vector(4);
  mlVector x(mlVectorZero, 4);
  mlSlice xs = x.slice();
  const mlTridiagonal t(4, lower.slice(), diagonal.slice(), upper.slice());
  t.solve(d.slice(), xs);
  t.solve_periodic(d.slice(), xs);
  (void)t.diagonally_dominant();
  (void)t.same_sign_corners();
  EXPECT_EQ(t.non_zero_diagonal(), 1);  // a NaN or an infinity is not zero
}

std::vector<Problem> decompositions() {
  std::vector<Problem> p;
  p.push_back(Problem("LU", 0, lu)
                  .matrix("A", 3, 3, {2, 1, 1, 4, -6, 0, -2, 7, 2})
                  .vector("b", {5, -2, 9}));
  p.push_back(Problem("Cholesky", 0, cholesky)
                  .matrix("A", 3, 3, {4, 2, 0.4, 2, 5, 1, 0.4, 1, 3}, true)
                  .vector("b", {1, 2, 3}));
  for (bool orthonormal : {false, true}) {
    p.push_back(Problem(orthonormal ? "QR orthonormal" : "QR", 0, [=](Inputs& in, const Poison& q) {
                  qr(in, q, orthonormal);
                }).matrix("V", 3, 4, {1, 1, 0, 0, 1, 0, 1, 0, 0, 1, 1, 1}));
  }
  p.push_back(Problem("Gram-Schmidt", 0, gram_schmidt)
                  .matrix("M", 2, 4, {1, 1, 0, 0, 1, 0, 1, 0})
                  .vector("w", {0, 1, 1, 1}));
  // Zero and rank-one matrices as well as general ones, in every combination of jobs.
  const struct {
    const char* name;
    int m, n;
    std::vector<double> a;
  } bases[] = {{"2x1 zero", 2, 1, {0, 0}},
               {"2x2 zero", 2, 2, {0, 0, 0, 0}},
               {"2x2 ones", 2, 2, {1, 1, 1, 1}},
               {"3x2", 3, 2, {1, 2, 3, 4, 5, 7}},
               {"2x3", 2, 3, {1, -2, 3, 0.5, 4, -1}},
               {"3x3", 3, 3, {2, -1, 0, -1, 2, -1, 0, -1, 2}}};
  for (const auto& base : bases) {
    const int m = base.m, n = base.n;
    for (int job_u = 0; job_u < 2; ++job_u) {
      for (int job_v = 0; job_v < 3; ++job_v) {
        const bool inverse = job_u == 1 && (job_v == 1 || (job_v == 2 && m >= n));
        const std::string jobs = std::string(" U") + "-F"[job_u] + " V" + "-FR"[job_v];
        Problem problem(
            "SVD " + std::string(base.name) + jobs, 0,
            [=](Inputs& in, const Poison& q) { svd(in, q, m, n, job_u, job_v, inverse); });
        problem.matrix("A", m, n, base.a);
        if (inverse) problem.scalar("tol", 1e-7).vector("b", std::vector<double>(m, 1.0));
        p.push_back(problem);
      }
    }
    p.push_back(Problem("ml_svd " + std::string(base.name), 0, [=](Inputs& in, const Poison&) {
                  one_sided_svd(in, m, n);
                }).matrix("A", m, n, base.a));
  }
  p.push_back(Problem("tridiagonal", 0, tridiagonal)
                  .vector("lower", {0.5, 1, 1, 1})
                  .vector("diagonal", {4, 4, 4, 4})
                  .vector("upper", {1, 1, 1, 0.5})
                  .vector("d", {1, 2, 3, 4}));
  return p;
}

// ---- eigen-solvers --------------------------------------------------------------------------

// Success stores every value; giving up (the rotation limit) stores none.
void jacobi(Inputs& in, const Poison& poison, int n, mlEigenVecsStatus expected) {
  const mlMatrix a = in.matrix(n, n);
  mlSymEigenVecs e(a);
  e.set_tolerance(in.scalar());
  e.calculate();
  EXPECT_TRUE(!poison.clean || e.status() == expected) << e.status();
  EXPECT_TRUE(e.status() == mlEigenVecsOk || e.status() == mlEigenVecsFailed) << e.status();
  EXPECT_EQ(e.num_real_eigen_values(), e.status() == mlEigenVecsOk ? n : 0);
}

// The closed-form solvers always finish, with at most n real values and a vector for each.
void asymmetric(Inputs& in, const Poison& poison, int n) {
  const mlMatrix a = in.matrix(n, n);
  const double tol = in.scalar();
  mlAsymEigenVecs2 e2(a);
  mlAsymEigenVecs3 e3(a);
  mlEigenVecs& e = n == 2 ? static_cast<mlEigenVecs&>(e2) : e3;
  e.set_tolerance(tol);
  if (n == 2) e2.calculate();
  if (n == 3) e3.calculate();
  const int count = e.num_real_eigen_values();
  EXPECT_EQ(e.status(), mlEigenVecsOk);
  EXPECT_TRUE(count >= 0 && count <= n) << count;
  EXPECT_TRUE(n == 2 || e.eigen_vectors().cols() == count);
  EXPECT_TRUE(!poison.clean || n == 2 || count == 3);
}

// A^T A stores its n values whatever the decomposition did.
void ata(Inputs& in, int m) {
  const mlMatrix a = in.matrix(m, 3);
  mlATAEigenVecs e(a);
  e.calculate();
  EXPECT_EQ(e.status(), mlEigenVecsOk);
  EXPECT_TRUE(e.num_real_eigen_values() == 3 && e.eigen_vectors().cols() == 3);
}

// Five points in three dimensions are enough, whatever their coordinates.
void pca(Inputs& in, const Poison&) {
  const mlMatrix points = in.matrix(5, 3);
  doublecoDynArr2D cloud;
  for (int i = 0; i < 15; ++i)
    cloud(i / 3, i % 3) = points.data()[i];
  const mlPCA pca(cloud);
  mlVector values, axis;
  EXPECT_TRUE(pca.status() == mlPCAOk && pca.eigenvalues(values) == mlPCAOk &&
              values.dimension() == 3 && pca.principal_axis(axis) == mlPCAOk &&
              pca.least_axis(axis) == mlPCAOk && pca.axis(1, axis) == mlPCAOk &&
              pca.axis(3, axis) == mlPCAAxisOutOfRange);
}

std::vector<Problem> eigen_solvers() {
  std::vector<Problem> p;
  // Rounding at large entries and a zero tolerance make runs that never converge: they fail.
  const struct {
    const char* name;
    int n;
    std::vector<double> a;
    double tol;
    mlEigenVecsStatus expected;
  } symmetric[] = {
      {"2x2", 2, {2, 1, 1, 3}, 1e-6, mlEigenVecsOk},
      {"3x3", 3, {4, 1, 0.5, 1, 3, 0.2, 0.5, 0.2, 2}, 1e-6, mlEigenVecsOk},
      {"2x2 near 8e8",
       2,
       {800000133.12315035, 942.00550717359238, 942.00550717359238, 800000491.56351447},
       1e-6,
       mlEigenVecsFailed},
      {"2x2 tol 0", 2, {2, 1, 1, 3}, 0.0, mlEigenVecsFailed},
      {"3x3 tol 0", 3, {4, 1, 0.5, 1, 3, 0.2, 0.5, 0.2, 2}, 0.0, mlEigenVecsFailed}};
  for (const auto& base : symmetric) {
    const int n = base.n;
    const mlEigenVecsStatus expected = base.expected;
    p.push_back(Problem(std::string("Jacobi ") + base.name, 0,
                        [=](Inputs& in, const Poison& q) { jacobi(in, q, n, expected); })
                    .matrix("A", n, n, base.a, true)
                    .scalar("tol", base.tol));
  }
  const std::pair<const char*, std::vector<double>> bases[] = {
      {"2x2 real", {1, 0, 1, -8}},
      {"2x2 repeated", {3, 0, 0, 3}},
      {"2x2 complex", {0, -1, 1, 0}},
      {"3x3 triangular", {1, 2, 3, 0, 4, 5, 0, 0, 6}},
      {"3x3 repeated", {2, 0, 0, 0, 2, 0, 0, 0, 5}}};
  for (const auto& base : bases) {
    const int n = base.second.size() == 4 ? 2 : 3;
    p.push_back(Problem(std::string("asymmetric ") + base.first, 0,
                        [=](Inputs& in, const Poison& q) { asymmetric(in, q, n); })
                    .matrix("A", n, n, base.second)
                    .scalar("tol", 1e-6));
  }
  p.push_back(Problem("ATA 4x3", 0, [](Inputs& in, const Poison&) {
                ata(in, 4);
              }).matrix("A", 4, 3, {1, 2, 0, 0, 1, 1, 3, 0, 1, 1, 1, 1}));
  p.push_back(Problem("ATA 2x3", 0, [](Inputs& in, const Poison&) {
                ata(in, 2);
              }).matrix("A", 2, 3, {1, 2, 0, 0, 1, 1}));
  p.push_back(Problem("PCA", 0, pca)
                  .matrix("P", 5, 3, {0, 0, 0, 1, 0.1, 0, 2, 0.3, 0.1, 3, 0.2, -0.1, 4, 0.5, 0.2}));
  return p;
}

// ---- roots ----------------------------------------------------------------------------------

// The closed-form solvers: a count in range, ascending roots, and for the quadratic and the
// cubic 0.0 beyond the count.
void closed_form(Inputs& in, const Poison& poison, int degree) {
  const mlVector c = in.vector(degree + 1);
  double r[4] = {-1.0, -1.0, -1.0, -1.0};
  int count = 0;
  if (degree == 2) count = mlRootSolve::quadratic_solve(c[0], c[1], c[2], r[0], r[1]);
  if (degree == 3) count = mlRootSolve::cubic_solve(c[0], c[1], c[2], c[3], r[0], r[1], r[2]);
  if (degree == 4) {
    count = mlRootSolve::quartic_solve(c[0], c[1], c[2], c[3], c[4], r[0], r[1], r[2], r[3]);
  }
  EXPECT_TRUE(count >= -1 && count <= degree) << count;
  EXPECT_TRUE(!poison.clean || count == degree);
  for (int i = 1; i < count; ++i)
    EXPECT_FALSE(r[i] < r[i - 1]) << r[i - 1] << " " << r[i];
  for (int i = std::max(count, 0); i < degree && degree < 4; ++i)
    EXPECT_EQ(r[i], 0.0) << "root " << i + 1 << " of " << count;
}

// A non-finite coefficient or bad limits give no roots; otherwise roots and extrema are
// ascending and inside the limits.
void polynomial(Inputs& in, const Poison& poison, int degree) {
  const mlVector c = in.vector(degree + 1);
  const double lower = in.scalar(), upper = in.scalar();
  const bool finite =
      std::all_of(c.data(), c.data() + degree + 1, [](double x) { return std::isfinite(x); });
  const bool limits = lower <= upper;
  std::vector<double> roots(degree), all(degree), t(degree);
  std::vector<int> kind(degree);
  const int n = mlPolynomialSolver::solve_polynomial(degree, c.data(), lower, upper, roots.data());
  const int n_all = mlPolynomialSolver::solve_polynomial_allroots(degree, c.data(), all.data());
  const int n_ext = mlPolynomialSolver::solve_polynomial_extrema(degree, c.data(), lower, upper,
                                                                 t.data(), kind.data());
  EXPECT_TRUE(n >= 0 && n <= (finite && limits ? degree : 0)) << n;
  EXPECT_TRUE(n_all >= 0 && n_all <= (finite ? degree : 0)) << n_all;
  EXPECT_TRUE(n_ext >= 0 && n_ext <= (finite && limits ? degree - 1 : 0)) << n_ext;
  EXPECT_TRUE(!poison.clean || (n == n_all && n_all == (degree == 4 ? 4 : 2)));
  for (int i = 0; i < n; ++i)
    EXPECT_TRUE(roots[i] >= lower && roots[i] <= upper && (i == 0 || roots[i - 1] < roots[i]))
        << roots[i];
  for (int i = 1; i < n_all; ++i)
    EXPECT_LT(all[i - 1], all[i]);
  for (int i = 0; i < n_ext; ++i) {
    EXPECT_TRUE(t[i] > lower && t[i] < upper && (i == 0 || t[i - 1] < t[i])) << t[i];
    EXPECT_TRUE(kind[i] == 1 || kind[i] == -1) << kind[i];
  }
}

// x^3 - 2x - 5, whose root is 2.0945514815423265. A converged search reports a number.
const std::vector<double> kCubic = {-5, -2, 0, 1};

void expect_root(const Poison& poison, double x, int ok) {
  EXPECT_TRUE(ok == 0 || ok == 1) << ok;
  EXPECT_TRUE(ok == 0 || !std::isnan(x));
  EXPECT_TRUE(!poison.clean || (ok == 1 && std::fabs(x - 2.0945514815423265) < 1e-9)) << x;
}

void newton(Inputs& in, const Poison& poison) {
  const double x0 = in.scalar(), tol = in.scalar(), lo = in.scalar(), hi = in.scalar();
  int ok = -1;
  const double x =
      mlRootSolve::newton_raphson(Polynomial1(kCubic, poison, lo, hi), x0, tol, ok, 50);
  expect_root(poison, x, ok);
}

void bracketed(Inputs& in, const Poison& poison, bool false_position) {
  const double a = in.scalar(), b = in.scalar(), tol = in.scalar();
  const Polynomial1 f(kCubic, poison);
  int ok = -1;
  const double x = false_position ? mlRootSolve::regula_falsi(f, a, b, tol, ok, 200)
                                  : mlRootSolve::newton_raphson(f, a, b, tol, ok, 50);
  expect_root(poison, x, ok);
}

// ok = 1 comes with status mlNRConverged and a point (a NaN tolerance can leave the status
// converged with ok = 0).
void newton_n(Inputs& in, const Poison& poison) {
  mlVector x = in.vector(2);
  const double tol = in.scalar();
  mlNewtonRaphson nr(mlNRDimension, 2);
  int ok = -1;
  nr.solve(Circle(poison), x, tol, ok);
  const int status = nr.status();
  EXPECT_TRUE(status <= mlNRIterationLimit || status == mlNRStalled || status == mlNRCycled);
  EXPECT_TRUE(ok == 0 || (ok == 1 && status == mlNRConverged)) << ok << ", status " << status;
  EXPECT_TRUE(ok == 0 || nan_free(x.data(), 2)) << x;
  EXPECT_TRUE(!poison.clean || ok == 1);
}

std::vector<Problem> root_finders() {
  std::vector<Problem> p;
  const std::vector<double> closed[] = {{1, -3, 2}, {1, -6, 11, -6}, {1, -10, 35, -50, 24}};
  const char* const names[] = {"quadratic", "cubic", "quartic"};
  for (int degree = 2; degree <= 4; ++degree) {
    p.push_back(Problem(names[degree - 2], 0, [=](Inputs& in, const Poison& q) {
                  closed_form(in, q, degree);
                }).vector("c", closed[degree - 2]));
  }
  // (t + 1)(t - 0.5)(t - 1.5)(t - 2), and (t - 1)^2 (t + 2) with its double root.
  for (const std::vector<double>& c :
       {std::vector<double>{-1.5, 3.25, 0.75, -3, 1}, std::vector<double>{2, -3, 0, 1}}) {
    const int degree = static_cast<int>(c.size()) - 1;
    p.push_back(Problem("polynomial degree " + std::to_string(degree), 0,
                        [=](Inputs& in, const Poison& q) { polynomial(in, q, degree); })
                    .vector("c", c)
                    .scalars("lower upper", {-10, 10}));
  }
  p.push_back(Problem("Newton", 2, newton).scalars("x0 tol t_min t_max", {2, 1e-12, -10, 10}));
  p.push_back(Problem("bracketed Newton", 2, [](Inputs& in, const Poison& q) {
                bracketed(in, q, false);
              }).scalars("a b tol", {1, 3, 1e-12}));
  p.push_back(Problem("regula falsi", 1, [](Inputs& in, const Poison& q) {
                bracketed(in, q, true);
              }).scalars("a b tol", {1, 3, 1e-12}));
  p.push_back(
      Problem("Newton-Raphson N", 2, newton_n).vector("x0", {1.0, 0.5}).scalar("tol", 1e-12));
  return p;
}

// ---- minimisers -----------------------------------------------------------------------------

// (t - 2)^2, minimum 0 at 2.
const std::vector<double> kParabola = {4, -4, 1};

void bracketing(Inputs& in, const Poison& poison) {
  double a = in.scalar(), b = in.scalar(), c = 0, fa = 0, fb = 0, fc = 0;
  ml_minimum_bracketing(Polynomial1(kParabola, poison), a, b, c, fa, fb, fc);
  EXPECT_TRUE(!poison.clean || (fb <= fa && fb < fc));
}

void brent(Inputs& in, const Poison& poison) {
  const double a = in.scalar(), b = in.scalar(), c = in.scalar(), tol = in.scalar();
  double x = kNaN;
  (void)ml_brent_minimum_search(Polynomial1(kParabola, poison), a, b, c, tol, 100, &x);
  EXPECT_TRUE(!poison.clean || std::fabs(x - 2.0) < 1e-6) << x;
}

void minimiser(Inputs& in, const Poison& poison, int max_deriv) {
  const double start = in.scalar(), lower = in.scalar(), upper = in.scalar(), tol = in.scalar(),
               lo = in.scalar(), hi = in.scalar();
  const Polynomial1 f(kParabola, poison, lo, hi, max_deriv);
  mlMinimiser m(f, start, lower, upper, tol);
  int found = -2, beyond = -2, out = -2;
  const double x = m.minimise(found, beyond, out);
  // The search starts clamped into the range and stays there.
  EXPECT_TRUE(!(lower <= upper) || (x >= lower && x <= upper)) << x;
  EXPECT_TRUE((found == 0 || found == 1) && (beyond >= -1 && beyond <= 1) && (out == 0 || out == 1))
      << found << " " << beyond << " " << out;
  EXPECT_TRUE(!poison.clean || std::fabs(x - 2.0) < 1e-6) << x;
}

void powell(Inputs& in, const Poison& poison) {
  mlVector x = in.vector(2);
  mlMatrix directions = in.matrix(2, 2);
  const double tol = in.scalar();
  int iterations = -1;
  const double value = ml_powell_minimum_search(x, directions, tol, iterations, BowlN1(poison));
  EXPECT_TRUE(iterations >= 0 && iterations <= 39) << iterations;
  // Without a best point (+inf at the end of every pass) the result is DBL_MAX and p empty.
  EXPECT_TRUE(x.dimension() == 2 || (x.dimension() == 0 && value == DBL_MAX)) << x;
  EXPECT_TRUE(!poison.clean || std::fabs(value) < 1e-8) << value;
}

// The budget is tested before each pass: the calls exceed it by at most one pass (n + 2).
void simplex(Inputs& in, const Poison& poison) {
  const mlVector start = in.vector(2);
  mlDownHillSimplex simplex(2);
  const double value = simplex.solve(BowlN1(poison), start, mlDownHillSimplexFast);
  EXPECT_LE(simplex.number_of_calls(), mlDownHillSimplex::m_max + 4);
  EXPECT_TRUE(!poison.clean || std::fabs(value) < 1e-6) << value;
}

void levenberg_marquardt(Inputs& in, const Poison& poison) {
  const mlVector start = in.vector(2), x = in.vector(5), y = in.vector(5), scales = in.vector(2);
  Line line(x, y, scales, poison);
  mlLevenbergMarquardt lm(line);
  mlVector result;
  (void)lm.fit(start, result);
  const double quality = line.point_distribution_quality(start);
  EXPECT_EQ(result.dimension(), 2);
  EXPECT_TRUE(!poison.clean || (std::fabs(result[0] - 1.1) < 1e-6 && quality > 0.0));
}

void constrained_qp(Inputs& in, const Poison& poison, int m, int deleting) {
  const mlMatrix h = in.matrix(2, 2);
  const mlVector g = in.vector(2);
  const mlMatrix a = in.matrix(m, 2);
  const mlVector b = in.vector(m);
  mlVector x = in.vector(2);
  mlConstrainedQuadraticMinimiser qp(a, b, deleting);
  const int ok = qp.solve(h, g, x);
  EXPECT_TRUE(ok == 0 || ok == 1) << ok;
  EXPECT_TRUE(!poison.clean || ok == 1);
}

// The surface minimisers: their result always lies in the patch.
void surface(Inputs& in, const Poison& poison, int variant) {
  const mlVector target = variant == 3 ? in.vector(3) : mlVector();
  double u = in.scalar(), v = in.scalar(), patch[4];
  for (double& side : patch)
    side = in.scalar();
  const double tol = in.scalar();
  const Bowl2 f(poison, variant == 1 ? 0 : 2);
  const Paraboloid F(target, poison);
  mlMinimiser2 scalar_minimiser(f);
  mlVectorMinimiser2 vector_minimiser(F);
  mlBaseMinimiser2& m =
      variant == 3 ? static_cast<mlBaseMinimiser2&>(vector_minimiser) : scalar_minimiser;
  m.set_patch(patch[0], patch[1], patch[2], patch[3]);
  m.set_periodic(variant == 2 ? 1 : 0, 0);
  m.set_tolerance(tol);
  const int state = m.minimise(u, v);
  EXPECT_TRUE(state >= 0 && state <= 4) << state;
  EXPECT_TRUE(u >= patch[0] && u <= patch[1] && v >= patch[2] && v <= patch[3])
      << "(" << u << ", " << v << ")";
  EXPECT_TRUE(!poison.clean || state == mlMinimiser2Converged) << state;
  // NaN values end the iteration without progress.
  const bool nan_values =
      poison.output == 0 && poison.where == kEverywhere && std::isnan(poison.value);
  EXPECT_TRUE(!nan_values || state == mlMinimiser2NoProgress) << state;
}

std::vector<Problem> minimisers() {
  std::vector<Problem> p;
  p.push_back(Problem("bracketing", 1, bracketing).scalars("a b", {0, 1}));
  p.push_back(Problem("Brent", 1, brent).scalars("a b c tol", {0, 1, 4, 1e-8}));
  for (int max_deriv : {0, 2}) {
    p.push_back(Problem("mlMinimiser max_deriv " + std::to_string(max_deriv), 1 + max_deriv,
                        [=](Inputs& in, const Poison& q) { minimiser(in, q, max_deriv); })
                    .scalars("start lower upper tol t_min t_max", {0.5, -1, 5, 1e-8, -10, 10}));
  }
  p.push_back(Problem("Powell", 1, powell)
                  .vector("x0", {0, 0})
                  .matrix("D", 2, 2, {1, 0, 0, 1})
                  .scalar("tol", 1e-8));
  p.push_back(Problem("downhill simplex", 1, simplex).vector("x0", {0, 0}));
  p.push_back(Problem("Levenberg-Marquardt", 2, levenberg_marquardt)
                  .vector("p0", {0, 0})
                  .vector("x", {0, 1, 2, 3, 4})
                  .vector("y", {1.1, 2.9, 5.2, 7.1, 8.8})
                  .vector("scale", {1, 1}));
  // x >= 0 alone, and the triangle x >= 0, y >= 0, x + y <= 2.
  const struct {
    const char* name;
    std::vector<double> h, g, a, b;
  } qps[] = {{"one constraint", {4, 2, 2, 3}, {0, 0}, {1, 0}, {0}},
             {"triangle", {2, 0, 0, 2}, {-2, -5}, {1, 0, 0, 1, -1, -1}, {0, 0, -2}}};
  for (const auto& base : qps) {
    for (int deleting : {0, 1}) {
      const int m = static_cast<int>(base.b.size());
      p.push_back(
          Problem(std::string("constrained QP ") + base.name + (deleting ? " deleting" : ""), 0,
                  [=](Inputs& in, const Poison& q) { constrained_qp(in, q, m, deleting); })
              .matrix("H", 2, 2, base.h, true)
              .vector("g", base.g)
              .matrix("A", m, 2, base.a)
              .vector("b", base.b)
              .vector("x0", {0, 0}));
    }
  }
  const char* const surfaces[] = {"mlMinimiser2", "mlMinimiser2 max_deriv 0",
                                  "mlMinimiser2 periodic u", "mlVectorMinimiser2"};
  for (int variant = 0; variant < 4; ++variant) {
    Problem problem(surfaces[variant], variant == 1 ? 1 : 3,
                    [=](Inputs& in, const Poison& q) { surface(in, q, variant); });
    if (variant == 3) problem.vector("P", {0.5, 0.3, 2.0});
    const bool periodic = variant == 2;
    p.push_back(problem.scalars("u0 v0", {0, 0})
                    .scalar("u_min", -2.0, periodic ? periodic_bound : lower_bound)
                    .scalar("u_max", 3.0, periodic ? periodic_bound : upper_bound)
                    .scalar("v_min", -2.0, lower_bound)
                    .scalar("v_max", 3.0, upper_bound)
                    .scalar("tol", 1e-10));
  }
  return p;
}

// ---- integrators and sparse products --------------------------------------------------------

void integrate(Inputs& in, const Poison& poison, int rule) {
  const double a = in.scalar(), b = in.scalar(), tol = in.scalar();
  const mlIntegrateTrapezoid trapezoid(tol, 16);
  const mlIntegrateSimpson simpson(tol, 16);
  const mlIntegrateRomberg romberg(tol, 16);
  const mlIntegrate* const rules[] = {&trapezoid, &simpson, &romberg};
  const double integral = rules[rule]->integrate(Polynomial1(kCubic, poison), a, b);
  const int converged = rule == 0   ? trapezoid.converged()
                        : rule == 1 ? simpson.converged()
                                    : romberg.converged();
  // Convergence compares a difference with the tolerance, which a NaN never passes.
  EXPECT_TRUE(converged == 0 || (converged == 1 && !std::isnan(integral))) << converged;
  EXPECT_TRUE(!poison.clean || rule == 0 || converged == 1);
}

// A single non-finite stored value or vector element makes at most one term of each sum of a
// product infinite (no stored value is zero), so the products are NaN-free unless a NaN went
// in; the symmetric products (whose matrix may then hold several infinities in a row) have the
// bits of the general ones.
void sparse(Inputs& in, const Poison&) {
  const int a_at[][2] = {{0, 0}, {0, 2}, {1, 1}, {1, 3}, {2, 0}, {2, 3}};
  const int b_at[][2] = {{0, 0}, {1, 1}, {2, 0}, {2, 1}, {3, 1}};
  const mlVector a_values = in.vector(6), b_values = in.vector(5), x3 = in.vector(3),
                 x4 = in.vector(4), dense = in.vector(8);
  mlSparseMatrix a(mlMatrixZero, 3, 4), b(mlMatrixZero, 4, 2);
  for (int k = 0; k < 6; ++k)
    a.set(a_at[k][0], a_at[k][1], a_values[k]);
  for (int k = 0; k < 5; ++k)
    b.set(b_at[k][0], b_at[k][1], b_values[k]);
  const mlSparseMatrix ab(mlMatrixProduct, a, b), at(mlMatrixTranspose, a);
  const mlSparseMatrix ata(mlMatrixProduct, at, a);
  const mlSparseSymMatrix s(mlMatrixPremultiplyTranspose, a);
  const mlSparseMatrix s_full(utCopy, s);
  mlVector y, yt, ys, ys_full;
  mlMatrix c, m_ab, m_ata, m_s;
  a.multiply_vector(x4, y);
  at.multiply_vector(x3, yt);
  s.multiply_vector(x4, ys);
  s_full.multiply_vector(x4, ys_full);
  a.multiply_matrix(mlMatrix(utConvert, dense.data(), 4, 2), c);
  ab.decompress(m_ab);
  ata.decompress(m_ata);
  s.decompress(m_s);
  for (int i = 0; i < 4; ++i) {
    for (int j = i; j < 4; ++j)
      EXPECT_TRUE(same_bits_or_nan(&m_ata(i, j), &m_s(i, j), 1)) << "(" << i << ", " << j << ")";
  }
  EXPECT_TRUE(same_bits_or_nan(ys_full.data(), ys.data(), 4));
  bool numbers = true;
  for (const mlVector* v : {&a_values, &b_values, &x3, &x4, &dense})
    numbers = numbers && nan_free(v->data(), v->dimension());
  for (const mlMatrix* r : {&m_ab, &m_ata, &c})
    EXPECT_TRUE(!numbers || nan_free(r->data(), r->rows() * r->cols())) << *r;
  for (const mlVector* r : {&y, &yt})
    EXPECT_TRUE(!numbers || nan_free(r->data(), r->dimension())) << *r;
}

std::vector<Problem> integrators_and_sparse_products() {
  std::vector<Problem> p;
  const char* const rules[] = {"trapezoid", "Simpson", "Romberg"};
  for (int rule = 0; rule < 3; ++rule) {
    p.push_back(
        Problem(std::string("integrate ") + rules[rule], 1, [=](Inputs& in, const Poison& q) {
          integrate(in, q, rule);
        }).scalars("a b tol", {0, 2, 1e-10}));
  }
  p.push_back(Problem("sparse products", 0, sparse)
                  .vector("a", {1, 2, -1, 3, 0.5, -2})
                  .vector("b", {1, 2, -1, 0.5, 4})
                  .vector("x3", {1, -1, 2})
                  .vector("x4", {1, 2, -1, 0.5})
                  .vector("M", {1, 2, 3, 4, -1, -2, 0.5, 0.25}));
  return p;
}

TEST(NonfiniteSweep, DecompositionsReturn) { sweep(decompositions()); }
TEST(NonfiniteSweep, EigenSolversReturn) { sweep(eigen_solvers()); }
TEST(NonfiniteSweep, RootFindersReturn) { sweep(root_finders()); }
TEST(NonfiniteSweep, MinimisersReturn) { sweep(minimisers()); }
TEST(NonfiniteSweep, IntegratorsAndSparseProductsReturn) {
  sweep(integrators_and_sparse_products());
}

}  // namespace
