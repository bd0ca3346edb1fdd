#include "optim/mlConstrainedQuadraticMinimiser.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <initializer_list>
#include <utility>
#include <vector>

#include "decomp/mlLUDecomposition.h"
#include "linalg/mlRandom.h"
#include "support/test_support.h"

namespace {

using namespace paskosda_test;

std::vector<int> ints(const intcoDynArr& a) { return std::vector<int>(a.begin(), a.end()); }

// Opens the steps of the method to the tests.
class Minimiser : public mlConstrainedQuadraticMinimiser {
 public:
  using mlConstrainedQuadraticMinimiser::delete_constraint;
  using mlConstrainedQuadraticMinimiser::find_good_bad;
  using mlConstrainedQuadraticMinimiser::mlConstrainedQuadraticMinimiser;
  using mlConstrainedQuadraticMinimiser::product;
  using mlConstrainedQuadraticMinimiser::residual;
  using mlConstrainedQuadraticMinimiser::test_step_on_active;
  using mlConstrainedQuadraticMinimiser::trim_step_by_constraint;
  void activate(std::initializer_list<int> a) { active_.become(utCopy, intcoDynArr(a)); }
  // {whether the active set changed, the active set afterwards} of releasing constraints from
  // the active set a for the gradient grad and the Hessian H.
  std::vector<int> release(std::initializer_list<int> a, const mlVector& grad, const mlMatrix& H) {
    activate(a);
    const int changed = remove_active_constraints(grad, H);
    std::vector<int> r = ints(active_);
    r.insert(r.begin(), changed);
    return r;
  }
  // {dropped, the active set afterwards} of Z_from_active on the active set a.
  std::vector<int> Z_from(std::initializer_list<int> a) {
    active_.become(utCopy, intcoDynArr(a));
    int dropped = -1;
    Z_from_active(dropped);
    std::vector<int> r = ints(active_);
    r.insert(r.begin(), dropped);
    return r;
  }
  std::vector<int> bad() const { return ints(bad_); }
  std::vector<int> active() const { return ints(active_); }
  int constraints() const { return m_; }
};

// The residual of constraint i of A x >= b divided by the length of its row: a signed distance.
double distance(const mlMatrix& A, const mlVector& b, int i, const mlVector& x) {
  const double length = std::sqrt(scalar_product(A.row(i), A.row(i)));
  return (scalar_product(A.row(i), x.slice()) - b[i]) / length;
}

// The minimum of 1/2 x^T H x + g^T x subject to A x >= b (H positive definite) by enumeration
// of active sets: for every set S of at most n constraints held with equality, the KKT system
// [H -A_S^T; A_S 0] (x, l) = (-g, b_S); the feasible point with non-negative multipliers is
// the unique minimum. Empty when there is none.
mlVector brute_force_minimum(const mlMatrix& H, const mlVector& g, const mlMatrix& A,
                             const mlVector& b) {
  const int n = H.rows(), m = A.rows();
  for (int set = 0; set < (1 << m); ++set) {
    std::vector<int> s;
    for (int i = 0; i < m; ++i)
      if ((set >> i) & 1) s.push_back(i);
    const int a = static_cast<int>(s.size());
    if (a > n) continue;
    mlMatrix k(n + a, n + a);
    mlVector rhs(mlVectorDim, n + a), z;
    for (int r = 0; r < n + a; ++r) {
      rhs[r] = r < n ? -g[r] : b[s[r - n]];
      for (int c = 0; c < n + a; ++c)
        k(r, c) = r < n ? (c < n ? H(r, c) : -A(s[c - n], r)) : (c < n ? A(s[r - n], c) : 0.0);
    }
    const mlLUDecomposition lu(k);
    if (lu.is_singular() != 0) continue;
    lu.solve(rhs, z);
    mlVector x(utCopy, z.slice(0, 1, n));
    bool kkt = true;  // every constraint met; for i < a also multiplier i non-negative
    for (int i = 0; i < m; ++i)
      kkt = kkt && distance(A, b, i, x) >= -1e-9 && (i >= a || z[n + i] >= -1e-9);
    if (kkt) return x;
  }
  return mlVector();
}

TEST(mlConstrainedQuadraticMinimiser, ScalesRowsToUnitLengthAndValidatesThem) {
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

TEST(mlConstrainedQuadraticMinimiser, LeavesTheStartWithoutConstraintsOrCurvature) {
  // Without constraints the budget of 3 m steps is zero, by design. Minimising x over
  // -1 <= x <= 1 with H = 0, the pseudo-inverse of the zero reduced Hessian gives a zero step.
  mlConstrainedQuadraticMinimiser free(mlMatrix(0, 1), mlVector(), 0);
  mlConstrainedQuadraticMinimiser flat(mat(2, 1, {1.0, -1.0}), vec({-1.0, -1.0}), 0);
  const std::pair<mlConstrainedQuadraticMinimiser*, double> cases[] = {{&free, 1.0}, {&flat, 0.0}};
  for (const auto& c : cases) {
    mlVector x = vec({0.25});
    EXPECT_EQ(c.first->solve(mat(1, 1, {c.second}), vec({1.0}), x), 1) << c.second;
    EXPECT_EQ(values(x), (std::vector<double>{0.25})) << c.second;
  }
}

TEST(mlConstrainedQuadraticMinimiser, MatchesTheExactMinimumOnRandomConvexProblems) {
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

TEST(mlConstrainedQuadraticMinimiser, CopesWithRedundantParallelAndDegenerateConstraints) {
  struct Case {
    int m;
    std::vector<double> A, b, start, minimum;
  };
  // Minimising |x - (-1, -1)|^2 / 2 over: x >= 1 three times (twice scaled), y >= 0.5 and a far
  // redundant one; three constraints through the vertex (1, 1); a box entered at a corner.
  const Case cases[] = {
      {5, {1, 0, 1, 0, 2, 0, 0, 1, 1, 1}, {1, 1, 2, 0.5, -10}, {4, 3}, {1, 0.5}},
      {3, {1, 0, 0, 1, 1, 1}, {1, 1, 2}, {-2, 5}, {1, 1}},
      {4, {1, 0, -1, 0, 0, 1, 0, -1}, {0, -1, 0, -1}, {5, -7}, {0, 0}},
  };
  for (const Case& c : cases) {
    mlConstrainedQuadraticMinimiser q(mlMatrix(utConvert, c.A.data(), c.m, 2), vec(c.b), 0);
    mlVector x = vec(c.start);
    EXPECT_EQ(q.solve(mat(2, 2, {1.0, 0.0, 0.0, 1.0}), vec({1.0, 1.0}), x), 1) << c.m;
    EXPECT_TRUE(std::fabs(x[0] - c.minimum[0]) < 1e-9 && std::fabs(x[1] - c.minimum[1]) < 1e-9)
        << c.m << ": " << x[0] << " " << x[1];
  }
}

TEST(mlConstrainedQuadraticMinimiser, DeletesAndReportsContradictingConstraints) {
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
  intcoDynArr list{5, 2}, more{3, 0, 2};
  mlConstrainedQuadraticMinimiser::append_constraint_indices(list, more);
  EXPECT_EQ(ints(list), (std::vector<int>{2, 5, 0, 3, 4}));
}

TEST(mlConstrainedQuadraticMinimiser, DropsTheNewestOfLinearlyDependentActiveConstraints) {
  // Constraints 0 and 2 are the same plane.
  Minimiser q(mat(3, 3, {1.0, 0.0, 0.0, 0.0, 1.0, 0.0, 2.0, 0.0, 0.0}), vec({0.0, 0.0, 0.0}), 0);
  EXPECT_EQ(q.Z_from({0, 1}), (std::vector<int>{0, 0, 1}));
  EXPECT_EQ(q.Z_from({0, 1, 2}), (std::vector<int>{1, 0, 1}));
  // The method stops at the second drop (kept so): here 2 and then the independent 1 go.
  EXPECT_EQ(q.Z_from({0, 2, 1}), (std::vector<int>{1, 0}));
}

TEST(mlConstrainedQuadraticMinimiser, HoldsItsTolerancesFromBothSides) {
  // Rows of length 0.7e-7, 1e-7 and 1.5e-7: only the longest is a constraint.
  for (const auto& c : {std::pair<double, int>{0.7e-7, 0}, {1e-7, 0}, {1.5e-7, 1}})
    EXPECT_EQ(mlConstrainedQuadraticMinimiser::are_valid(mat(1, 1, {c.first}), vec({0.0})),
              c.second)
        << c.first;

  // x >= b from 0: a violation of exactly 1e-7 counts as met, a larger one is cured.
  for (const auto& c : {std::pair<double, double>{1e-7, 0.0}, {1.5e-7, 1.5e-7}}) {
    mlConstrainedQuadraticMinimiser q(mat(1, 1, {1.0}), vec({c.first}), 0);
    mlVector x = vec({0.0});
    EXPECT_EQ(q.stage1(x), 1) << c.first;
    EXPECT_EQ(x[0], c.second) << c.first;
  }

  // The limit u >= b puts on a step s from the origin: none for a step within 1e-6 of parallel
  // to its plane (degenerate, 0), none for a step leaving a plane violated by more than 1e-7,
  // and stage 1 stops a step curing a violation of 1e-7 or more on the plane.
  struct Trim {
    double b, su, sv;
    int result;
    double t;
  };
  const Trim trims[] = {{-1.0, 1e-6, 1.0, 1, DBL_MAX}, {-1.0, 0.7e-6, 1.0, 0, DBL_MAX},
                        {1e-7, -1.0, 0.0, 1, 0.0},     {1.5e-7, -1.0, 0.0, 1, DBL_MAX},
                        {1e-7, 1.0, 0.0, 1, 1e-7},     {0.7e-7, 1.0, 0.0, 1, DBL_MAX}};
  for (const Trim& c : trims) {
    const Minimiser q(mat(1, 2, {1.0, 0.0}), vec({c.b}), 0);
    double t = 0.0;
    EXPECT_EQ(q.trim_step_by_constraint(0, vec({0.0, 0.0}), vec({c.su, c.sv}), 0, t), c.result)
        << c.b << " " << c.su;
    EXPECT_EQ(t, c.t) << c.b << " " << c.su;
  }

  // A step of an active plane ends on it when within (not at) 1e-7 of it.
  Minimiser active(mat(2, 1, {1.0, 1.0}), vec({-1e-7, -0.7e-7}), 0);
  active.activate({0, 1});
  EXPECT_EQ(active.test_step_on_active(0, vec({0.0}), vec({0.0})), 0);
  EXPECT_EQ(active.test_step_on_active(1, vec({0.0}), vec({0.0})), 1);

  // Normals 0.7e-7 and 1.5e-7 radians apart, as the singular values see them: the first pair is
  // dependent (the newer one is dropped), the second is not.
  Minimiser planes(mat(3, 3, {1.0, 0.0, 0.0, 1.0, 1.4e-7, 0.0, 1.0, 3e-7, 0.0}),
                   vec({0.0, 0.0, 0.0}), 0);
  EXPECT_EQ(planes.Z_from({0, 1}), (std::vector<int>{1, 0}));
  EXPECT_EQ(planes.Z_from({0, 2}), (std::vector<int>{0, 0, 2}));

  // u >= 0 active: released for a multiplier below -1e-7 only, and taken back when the Newton
  // step after its release would cross it by more than 1e-7 (H couples u and v, so that the
  // step along v drags u across).
  struct Release {
    std::initializer_list<int> active;
    double gu, gv, coupling;
    std::vector<int> result;
  };
  const Release releases[] = {{{0}, -0.7e-7, 0.0, 0.0, {0, 0}},
                              {{0}, -1e-7, 0.0, 0.0, {0, 0}},
                              {{0}, -1.5e-7, 0.0, 0.0, {1}},
                              {{0}, -1.0, -1.0 - 0.7e-7, 1.0, {1}},
                              {{0}, -1.0, -1.0 - 1.5e-7, 1.0, {0, 0}},
                              // With every variable held, releases are not taken back.
                              {{0, 1}, -1.0, -1.0 - 1.5e-7, 1.0, {1}}};
  for (const Release& c : releases) {
    Minimiser q(mat(2, 2, {1.0, 0.0, 0.0, 1.0}), vec({0.0, 0.0}), 0);
    const mlMatrix H = mat(2, 2, {1.0 + c.coupling, c.coupling, c.coupling, 1.0});
    EXPECT_EQ(q.release(c.active, vec({c.gu, c.gv}), H), c.result) << c.gu << " " << c.gv;
  }
}

TEST(mlConstrainedQuadraticMinimiser, ActivatesConstraintsInTheOrderTheyAreMet) {
  // Minimising |x - c|^2 / 2 from the origin. A full Newton step that ends exactly on a plane
  // (u <= 2 on the way to (2, -1) along v = 0) makes it active; a step meeting two planes at
  // once (u <= 1 and v <= 1 on the way to (3, 3)) activates the first of them.
  struct Case {
    double cu, cv;
    std::vector<double> A, b, minimum;
    std::vector<int> active;
  };
  const Case cases[] = {{2.0, -1.0, {0.0, 1.0, -1.0, 0.0}, {0.0, -2.0}, {2.0, 0.0}, {0, 1}},
                        {3.0, 3.0, {-1.0, 0.0, 0.0, -1.0}, {-1.0, -1.0}, {1.0, 1.0}, {0, 1}}};
  for (const Case& c : cases) {
    Minimiser q(mlMatrix(utConvert, c.A.data(), 2, 2), vec(c.b), 0);
    mlVector x = vec({0.0, 0.0});
    EXPECT_EQ(q.solve(mat(2, 2, {1.0, 0.0, 0.0, 1.0}), vec({-c.cu, -c.cv}), x), 1) << c.cu;
    EXPECT_EQ(values(x), c.minimum) << c.cu;
    EXPECT_EQ(q.active(), c.active) << c.cu;
  }

  // u >= 1 against the nearly parallel -u + 1e-7 v >= 0 from (0.5, 0): the pulls of the two
  // violated constraints cancel to a step along both planes, which nothing limits. Stage 1
  // gives up where that short step ends.
  mlConstrainedQuadraticMinimiser q(mat(2, 2, {1.0, 0.0, -1.0, 1e-7}), vec({1.0, 0.0}), 0);
  mlVector x = vec({0.5, 0.0});
  EXPECT_EQ(q.stage1(x), 0);
  EXPECT_TRUE(std::fabs(x[0] - 0.5) < 1e-6 && std::fabs(x[1]) < 1e-6) << x[0] << " " << x[1];
}

TEST(mlConstrainedQuadraticMinimiser, RestoresFeasibilityInAtMostThirtySnappingPasses) {
  // Minimising |x - (0, -2)|^2 / 2 from the origin under -0.95 u + s v >= -s (s = sqrt(1 -
  // 0.95^2)) and the plane (cos f, sin f) . x >= 0 through the origin, nearly parallel to the
  // step (0, -2): the step is cut at v = -1 by the first constraint, and nothing cuts it at the
  // second, which it leaves behind by sin f. Snapping to one plane violates the other by 0.95
  // times as much, so the passes alternate until the violation is within 1e-7: 30 passes from
  // 4.54e-7, which restore feasibility with both constraints; 31 from 4.78e-7, one too many:
  // the first constraint is deleted and the second is still violated.
  const double s = std::sqrt(1.0 - 0.95 * 0.95);
  for (const double f : {4.54e-7, 4.78e-7}) {
    Minimiser q(mat(2, 2, {-0.95, s, std::cos(f), std::sin(f)}), vec({-s, 0.0}), 0);
    mlVector x = vec({0.0, 0.0});
    const int feasible = q.solve(mat(2, 2, {1.0, 0.0, 0.0, 1.0}), vec({0.0, 2.0}), x);
    EXPECT_EQ(feasible, f == 4.54e-7 ? 1 : 0) << f;
    EXPECT_EQ(q.constraints(), f == 4.54e-7 ? 2 : 1) << f;
  }
}

TEST(mlConstrainedQuadraticMinimiser, TakesExactlyThreeStepsPerConstraint) {
  // Nearly parallel rows of a fixed-seed draw that contradict each other (two ask a x >= 0 and
  // a x >= 1, one a x <= 0): every step of stage 1 only shrinks x towards the origin, so the
  // 3 m = 15 steps of the budget decide the point to the bit.
  Minimiser q(
      mat(5, 2,
          {0.082173318056428357, 0.38683303878279607, 0.082173221741021985, 0.38683303443511197,
           -0.082173173890225173, -0.38683303443511197, 0.082173221741021985, 0.38683298943340039,
           0.79654648927311067, 0.80636674355186821}),
      vec({0.0, 1.0, 0.0, 1.0, 1.2237801071463696}), 0);
  mlVector x = vec({-1.4848664777668017, 0.15343731444763953});
  EXPECT_EQ(q.stage1(x), 0);
  EXPECT_EQ(values(x), (std::vector<double>{-1.1024297383397957e-70, 2.3418411181619807e-71}));

  // 0.3 u + 0.02 v >= 1 against 0.3 u + 0.02 v <= 0 (both deleted), then 0.9 u - 0.4 v >= 1:
  // stage 2 meets that plane, moves along it to the minimum and takes a third step there, a
  // correction of the last bit, within its budget of 3 m = 3 steps for the one constraint left.
  Minimiser p(mat(3, 2, {0.3, 0.02, -0.3, -0.02, 0.9, -0.4}), vec({1.0, 0.0, 1.0}), 1);
  mlVector y = vec({2.7, -1.6});
  EXPECT_EQ(p.solve(mat(2, 2, {2.1, 0.3, 0.3, 1.9}), vec({-1.6, -1.8}), y), 1);
  EXPECT_EQ(p.constraints(), 1);
  EXPECT_EQ(values(y), (std::vector<double>{1.3075083692013392, 0.44189383070301286}));
}

}  // namespace
