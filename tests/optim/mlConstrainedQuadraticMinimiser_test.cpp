#include "optim/mlConstrainedQuadraticMinimiser.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <vector>

#include "decomp/mlLUDecomposition.h"
#include "linalg/mlRandom.h"
#include "support/test_support.h"

namespace {

using paskosda_test::mat;
using paskosda_test::random_matrix;
using paskosda_test::values;
using paskosda_test::vec;

std::vector<int> ints(const intcoDynArr& a) { return std::vector<int>(a.begin(), a.end()); }

// Opens the steps of the method to the tests.
class Minimiser : public mlConstrainedQuadraticMinimiser {
 public:
  using mlConstrainedQuadraticMinimiser::delete_constraint;
  using mlConstrainedQuadraticMinimiser::find_good_bad;
  using mlConstrainedQuadraticMinimiser::mlConstrainedQuadraticMinimiser;
  using mlConstrainedQuadraticMinimiser::product;
  using mlConstrainedQuadraticMinimiser::residual;
  using mlConstrainedQuadraticMinimiser::trim_step_by_constraint;
  using mlConstrainedQuadraticMinimiser::trim_step_by_constraints;
  using mlConstrainedQuadraticMinimiser::Z_from_active;
  void set_active(const std::vector<int>& a) {
    active_.clear(0);
    for (int i : a)
      active_.append(i);
  }
  std::vector<int> active() const { return ints(active_); }
  std::vector<int> bad() const { return ints(bad_); }
  int constraints() const { return m_; }
};

// The residual of constraint i of A x >= b divided by the length of its row: a signed distance.
double distance(const mlMatrix& A, const mlVector& b, int i, const mlVector& x) {
  const double length = std::sqrt(scalar_product(A.row(i), A.row(i)));
  return (scalar_product(A.row(i), x.slice()) - b[i]) / length;
}

// The exact minimum of 1/2 x^T H x + g^T x subject to A x >= b by enumeration of active sets:
// for every set S of at most n constraints held with equality, the KKT system
// [H -A_S^T; A_S 0] (x, l) = (-g, b_S); the lowest objective among the feasible points with
// non-negative multipliers wins.
mlVector brute_force_minimum(const mlMatrix& H, const mlVector& g, const mlMatrix& A,
                             const mlVector& b) {
  const int n = H.rows(), m = A.rows();
  double lowest = DBL_MAX;
  mlVector best;
  for (int set = 0; set < (1 << m); ++set) {
    std::vector<int> s;
    for (int i = 0; i < m; ++i)
      if ((set >> i) & 1) s.push_back(i);
    const int a = static_cast<int>(s.size());
    if (a > n) continue;
    mlMatrix k(mlMatrixZero, n + a, n + a);
    mlVector rhs(mlVectorZero, n + a), z;
    for (int i = 0; i < n; ++i) {
      rhs[i] = -g[i];
      for (int j = 0; j < n; ++j)
        k(i, j) = H(i, j);
    }
    for (int c = 0; c < a; ++c) {
      for (int j = 0; j < n; ++j) {
        k(j, n + c) = -A(s[c], j);
        k(n + c, j) = A(s[c], j);
      }
      rhs[n + c] = b[s[c]];
    }
    const mlLUDecomposition lu(k);
    if (lu.is_singular() != 0) continue;
    lu.solve(rhs, z);
    const mlVector x(utCopy, z.slice(0, 1, n)), hx(mlMatrixProduct, H, x);
    const double f =
        0.5 * scalar_product(x.slice(), hx.slice()) + scalar_product(g.slice(), x.slice());
    bool kkt = f < lowest;
    for (int c = 0; c < a; ++c)
      kkt = kkt && z[n + c] >= -1e-9;
    for (int i = 0; i < m; ++i)
      kkt = kkt && distance(A, b, i, x) >= -1e-9;
    if (kkt) {
      lowest = f;
      best.become(utCopy, x);
    }
  }
  return best;
}

TEST(ConstrainedQuadraticMinimiser, ScalesRowsToUnitLengthAndValidatesThem) {
  Minimiser q(mat(2, 2, {3.0, 4.0, 0.0, -2.0}), vec({10.0, 1.0}), 0);
  const double s0 = 1.0 / std::sqrt(3.0 * 3.0 + 4.0 * 4.0), s1 = 1.0 / std::sqrt(-2.0 * -2.0);
  const mlVector origin = vec({0.0, 0.0}), e0 = vec({1.0, 0.0}), e1 = vec({0.0, 1.0});
  EXPECT_EQ((std::vector<double>{q.residual(0, origin), q.residual(1, origin), q.product(0, e0),
                                 q.product(0, e1), q.product(1, e1)}),
            (std::vector<double>{0.0 - 10.0 * s0, 0.0 - 1.0 * s1, 3.0 * s0, 4.0 * s0, -2.0 * s1}));
  EXPECT_EQ(q.are_valid(mat(2, 2, {1.0, 0.0, 1e-8, 0.0}), mlVector()), 0);
  EXPECT_EQ(q.are_valid(mat(2, 2, {1.0, 0.0, 0.0, 1e-6}), mlVector()), 1);
  EXPECT_EQ(q.are_valid(mlMatrix(0, 3), mlVector()), 1);
}

TEST(ConstrainedQuadraticMinimiser, ReachesTheUnconstrainedMinimumInOneFullStep) {
  const mlMatrix H = mat(2, 2, {2.0, 0.5, 0.5, 1.0});
  const mlVector g = vec({-1.0, 0.25});
  // -H^-1 g = (1.125, -1) / 1.75; the constraints are far from it and from the start.
  mlConstrainedQuadraticMinimiser q(mat(2, 2, {1.0, 0.0, 0.0, 1.0}), vec({-10.0, -10.0}), 0);
  mlVector x = vec({3.0, 3.0});
  EXPECT_EQ(q.solve(H, g, x), 1);
  EXPECT_NEAR(x[0], 1.125 / 1.75, 1e-14);
  EXPECT_NEAR(x[1], -1.0 / 1.75, 1e-14);
  // Without constraints the budget of 3 m steps is zero: x stays at the start, by design.
  mlConstrainedQuadraticMinimiser free(mlMatrix(0, 2), mlVector(), 0);
  x = vec({3.0, 3.0});
  EXPECT_EQ(free.solve(H, g, x), 1);
  EXPECT_EQ(values(x), (std::vector<double>{3.0, 3.0}));
}

TEST(ConstrainedQuadraticMinimiser, MatchesTheExactMinimumOnRandomConvexProblems) {
  mlRandom random(7);
  int infeasible_starts = 0, active_minima = 0;
  for (int trial = 0; trial < 60; ++trial) {
    const int n = 1 + random.integer(4), m = 1 + random.integer(7);
    // H = R^T R + 0.1 I; every constraint holds at x0 with a random slack.
    const mlMatrix R = random_matrix(random, n, n);
    mlMatrix H(mlMatrixProduct, mlMatrix(mlMatrixTranspose, R), R);
    for (int i = 0; i < n; ++i)
      H(i, i) += 0.1;
    const mlVector g(utCopy, random_matrix(random, n, 1, -3.0, 3.0).col(0));
    const mlVector x0(utCopy, random_matrix(random, n, 1).col(0));
    const mlMatrix A = random_matrix(random, m, n);
    mlVector b(mlMatrixProduct, A, x0), x(utCopy, random_matrix(random, n, 1, -3.0, 3.0).col(0));
    bool feasible = true, active = false;
    for (int i = 0; i < m; ++i) {
      b[i] -= random.uniform(0.0, 1.0);
      feasible = feasible && distance(A, b, i, x) >= -1e-7;
    }
    infeasible_starts += feasible ? 0 : 1;

    mlConstrainedQuadraticMinimiser minimiser(A, b, 0);
    ASSERT_EQ(minimiser.solve(H, g, x), 1) << trial;
    const mlVector exact = brute_force_minimum(H, g, A, b);
    ASSERT_EQ(exact.dimension(), n) << trial;
    for (int j = 0; j < n; ++j)
      EXPECT_NEAR(x[j], exact[j], 1e-7) << trial;
    for (int i = 0; i < m; ++i) {
      EXPECT_GE(distance(A, b, i, x), -1e-7) << trial << " " << i;
      active = active || std::fabs(distance(A, b, i, exact)) < 1e-9;
    }
    active_minima += active ? 1 : 0;
  }
  // The sample exercises both stages and the active-set changes.
  EXPECT_GT(infeasible_starts, 25);
  EXPECT_GT(active_minima, 25);
}

TEST(ConstrainedQuadraticMinimiser, CopesWithRedundantParallelAndDegenerateConstraints) {
  struct Case {
    const char* name;
    int m;
    std::vector<double> A, b, start, minimum;
  };
  // Minimising |x - (-1, -1)|^2 / 2 over each set.
  const Case cases[] = {
      {"x >= 1 three times (twice scaled), y >= 0.5, a far redundant one",
       5,
       {1.0, 0.0, 1.0, 0.0, 2.0, 0.0, 0.0, 1.0, 1.0, 1.0},
       {1.0, 1.0, 2.0, 0.5, -10.0},
       {4.0, 3.0},
       {1.0, 0.5}},
      {"three constraints through the vertex (1, 1)",
       3,
       {1.0, 0.0, 0.0, 1.0, 1.0, 1.0},
       {1.0, 1.0, 2.0},
       {-2.0, 5.0},
       {1.0, 1.0}},
      {"a box entered from outside at a corner",
       4,
       {1.0, 0.0, -1.0, 0.0, 0.0, 1.0, 0.0, -1.0},
       {0.0, -1.0, 0.0, -1.0},
       {5.0, -7.0},
       {0.0, 0.0}},
  };
  for (const Case& c : cases) {
    mlConstrainedQuadraticMinimiser q(mlMatrix(utConvert, c.A.data(), c.m, 2), vec(c.b), 0);
    mlVector x = vec(c.start);
    EXPECT_EQ(q.solve(mat(2, 2, {1.0, 0.0, 0.0, 1.0}), vec({1.0, 1.0}), x), 1) << c.name;
    EXPECT_NEAR(x[0], c.minimum[0], 1e-9) << c.name;
    EXPECT_NEAR(x[1], c.minimum[1], 1e-9) << c.name;
  }
}

TEST(ConstrainedQuadraticMinimiser, DeletesAndReportsContradictingConstraints) {
  // x >= 1 and -x >= 0, minimising x^2 / 2. From 2 stage 1 reaches x = 1, where -x >= 0 stays
  // violated; from 0.5 both are violated and their pulls cancel: both go, and x stays.
  struct Case {
    int delete_overdetermined;
    double start;
    int result;
    std::vector<int> deleted;
    double x;
  };
  for (const Case& c :
       {Case{0, 2.0, 0, {}, 1.0}, Case{1, 2.0, 1, {1}, 1.0}, Case{1, 0.5, 1, {0, 1}, 0.5}}) {
    mlConstrainedQuadraticMinimiser q(mat(2, 1, {1.0, -1.0}), vec({1.0, 0.0}),
                                      c.delete_overdetermined);
    mlVector x = vec({c.start});
    EXPECT_EQ(q.solve(mat(1, 1, {1.0}), vec({0.0}), x), c.result) << c.start;
    EXPECT_EQ(ints(q.overdetermined_constraints()), c.deleted) << c.start;
    EXPECT_EQ(x[0], c.x) << c.start;
  }

  // Indices are reported in the constructor's numbering, across earlier deletions.
  Minimiser q(mat(4, 1, {1.0, 1.0, 1.0, -1.0}), vec({0.0, 0.0, 0.0, -1.0}), 1);
  q.delete_constraint(1);
  q.find_good_bad(vec({3.0}));
  EXPECT_EQ(q.bad(), (std::vector<int>{2}));
  q.delete_overdetermined_constraints();
  EXPECT_EQ(ints(q.overdetermined_constraints()), (std::vector<int>{3}));
  EXPECT_EQ(q.constraints(), 2);

  // The same renumbering for a caller's lists: {5, 2} deleted, then {3, 0, 2} of the rest.
  intcoDynArr list, more;
  for (const int i : {5, 2})
    list.append(i);
  for (const int i : {3, 0, 2})
    more.append(i);
  mlConstrainedQuadraticMinimiser::append_constraint_indices(list, more);
  EXPECT_EQ(ints(list), (std::vector<int>{2, 5, 0, 3, 4}));
}

TEST(ConstrainedQuadraticMinimiser, TrimsStepsAtTheFirstConstraintCrossed) {
  // 0: x >= 0, 1: -x >= -2 (x <= 2), 2: y >= 0, 3: -y >= -1.
  Minimiser q(mat(4, 2, {1.0, 0.0, -1.0, 0.0, 0.0, 1.0, 0.0, -1.0}), vec({0.0, -2.0, 0.0, -1.0}),
              0);
  struct Case {
    double x, step_x, step_y;
    int stage2, active, result;
    double t;
  };
  // Constraint 0 from (x, 0.5), active or not.
  const Case cases[] = {
      {1.0, 1e-7, 1.0, 0, 0, 0, DBL_MAX},   // nearly parallel to the plane: degenerate
      {1.0, 1e-7, 1.0, 0, 1, 1, DBL_MAX},   // unless active
      {1.0, -4.0, 0.0, 0, 0, 1, 0.25},      // towards the plane: t = -r / p
      {-5e-8, -4.0, 0.0, 0, 0, 1, 0.0},     // violated within the tolerance: 0
      {-1.0, 4.0, 0.0, 0, 0, 1, 0.25},      // curing a violation limits stage 1
      {-1.0, 4.0, 0.0, 1, 0, 1, DBL_MAX},   // but not stage 2
      {-1.0, -4.0, 0.0, 0, 0, 1, DBL_MAX},  // violated and moving away
  };
  for (const Case& c : cases) {
    q.set_active(c.active ? std::vector<int>{0} : std::vector<int>{});
    double t = -1.0;
    EXPECT_EQ(q.trim_step_by_constraint(0, vec({c.x, 0.5}), vec({c.step_x, c.step_y}), c.stage2, t),
              c.result)
        << c.x << " " << c.step_x << " " << c.stage2 << " " << c.active;
    EXPECT_EQ(t, c.t) << c.x << " " << c.step_x << " " << c.stage2 << " " << c.active;
  }

  // The first of two constraints met at the same time wins; an active constraint that the full
  // step lands on is skipped.
  q.set_active({});
  int hit = -2;
  EXPECT_EQ(q.trim_step_by_constraints(vec({1.0, 0.5}), vec({2.0, 1.0}), 1, hit), 0.5);
  EXPECT_EQ(hit, 1);
  q.set_active({1});
  EXPECT_EQ(q.trim_step_by_constraints(vec({1.0, 0.5}), vec({1.0, 0.0}), 1, hit), DBL_MAX);
  EXPECT_EQ(hit, -1);

  // A step almost parallel to y = 0 that crosses it before reaching x = 2: the crossing is found
  // by linear interpolation of the residuals at the two ends. In stage 2 a degenerate
  // constraint that is already violated does not shorten the step.
  q.set_active({});
  const mlVector x = vec({0.5, 1e-7}), step = vec({1.0, -9e-7});
  const double t1 = -q.residual(1, x) / q.product(1, step), r0 = q.residual(2, x);
  const double r1 = q.residual(2, vec({x[0] + t1 * step[0], x[1] + t1 * step[1]}));
  ASSERT_LT(r0 * r1, 0.0);
  EXPECT_EQ(q.trim_step_by_constraints(x, step, 0, hit),
            std::fabs(r0) / (std::fabs(r1) + std::fabs(r0)) * t1);
  EXPECT_EQ(hit, 2);
  EXPECT_EQ(q.trim_step_by_constraints(vec({0.5, -1e-6}), step, 1, hit), t1);
  EXPECT_EQ(hit, 1);
}

TEST(ConstrainedQuadraticMinimiser, DropsTheNewestOfLinearlyDependentActiveConstraints) {
  // Constraints 0 and 2 are the same plane.
  Minimiser q(mat(3, 3, {1.0, 0.0, 0.0, 0.0, 1.0, 0.0, 2.0, 0.0, 0.0}), vec({0.0, 0.0, 0.0}), 0);
  int dropped = -1;
  q.set_active({0, 1});
  q.Z_from_active(dropped);
  EXPECT_EQ(dropped, 0);
  q.set_active({0, 1, 2});
  q.Z_from_active(dropped);
  EXPECT_EQ(dropped, 1);
  EXPECT_EQ(q.active(), (std::vector<int>{0, 1}));
  // The method stops at the second drop (kept so): here 2 and then the independent 1 go.
  q.set_active({0, 2, 1});
  q.Z_from_active(dropped);
  EXPECT_EQ(dropped, 1);
  EXPECT_EQ(q.active(), (std::vector<int>{0}));
}

TEST(ConstrainedQuadraticMinimiser, StopsWhereTheNewtonStepVanishesOnAFlatObjective) {
  // Minimising x over -1 <= x <= 1 (H = 0): the pseudo-inverse of the zero reduced Hessian
  // gives a zero step, and the method returns the feasible start instead of -1.
  mlConstrainedQuadraticMinimiser q(mat(2, 1, {1.0, -1.0}), vec({-1.0, -1.0}), 0);
  mlVector x = vec({0.25});
  EXPECT_EQ(q.solve(mat(1, 1, {0.0}), vec({1.0}), x), 1);
  EXPECT_EQ(values(x), (std::vector<double>{0.25}));
}

}  // namespace
