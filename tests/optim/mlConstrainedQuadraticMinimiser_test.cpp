#include "optim/mlConstrainedQuadraticMinimiser.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <vector>

#include "decomp/mlLUDecomposition.h"
#include "decomp/mlSingularValueDecomposition.h"
#include "linalg/mlRandom.h"
#include "support/test_support.h"

namespace {

using paskosda_test::mat;
using paskosda_test::random_matrix;
using paskosda_test::values;
using paskosda_test::vec;

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
  std::vector<int> active() const { return std::vector<int>(active_.begin(), active_.end()); }
  std::vector<int> bad() const { return std::vector<int>(bad_.begin(), bad_.end()); }
  int constraints() const { return m_; }
};

std::vector<int> ints(const intcoDynArr& a) { return std::vector<int>(a.begin(), a.end()); }

intcoDynArr int_array(const std::vector<int>& v) {
  intcoDynArr a;
  for (int i : v)
    a.append(i);
  return a;
}

struct Qp {
  mlMatrix H;
  mlVector g;
  mlMatrix A;
  mlVector b;
};

double objective(const Qp& q, const mlVector& x) {
  const int n = x.dimension();
  double f = 0.0;
  for (int i = 0; i < n; ++i) {
    double hx = 0.0;
    for (int j = 0; j < n; ++j)
      hx += q.H(i, j) * x[j];
    f += 0.5 * x[i] * hx + q.g[i] * x[i];
  }
  return f;
}

// The residual of constraint i divided by the length of its row: a signed distance.
double distance(const Qp& q, int i, const mlVector& x) {
  double r = -q.b[i];
  double length = 0.0;
  for (int j = 0; j < x.dimension(); ++j) {
    r += q.A(i, j) * x[j];
    length += q.A(i, j) * q.A(i, j);
  }
  return r / std::sqrt(length);
}

// The exact minimum by enumeration of active sets: for every set of at most n constraints
// held with equality, the KKT system [H -A_S^T; A_S 0] (x, l) = (-g, b_S); the lowest
// objective among the feasible points with non-negative multipliers wins.
bool brute_force_minimum(const Qp& q, mlVector& best) {
  const int n = q.H.rows();
  const int m = q.A.rows();
  double lowest = DBL_MAX;
  for (int set = 0; set < (1 << m); ++set) {
    std::vector<int> s;
    for (int i = 0; i < m; ++i) {
      if ((set >> i) & 1) s.push_back(i);
    }
    const int a = static_cast<int>(s.size());
    if (a > n) continue;
    mlMatrix k(mlMatrixZero, n + a, n + a);
    mlVector rhs(mlVectorZero, n + a);
    for (int i = 0; i < n; ++i) {
      rhs[i] = -q.g[i];
      for (int j = 0; j < n; ++j)
        k(i, j) = q.H(i, j);
    }
    for (int c = 0; c < a; ++c) {
      for (int j = 0; j < n; ++j) {
        k(j, n + c) = -q.A(s[static_cast<std::size_t>(c)], j);
        k(n + c, j) = q.A(s[static_cast<std::size_t>(c)], j);
      }
      rhs[n + c] = q.b[s[static_cast<std::size_t>(c)]];
    }
    const mlLUDecomposition lu(k);
    if (lu.is_singular() != 0) continue;
    mlVector z;
    lu.solve(rhs, z);
    mlVector x(mlVectorDim, n);
    for (int j = 0; j < n; ++j)
      x[j] = z[j];
    bool kkt = true;
    for (int c = 0; c < a; ++c)
      kkt = kkt && z[n + c] >= -1e-9;
    for (int i = 0; i < m; ++i)
      kkt = kkt && distance(q, i, x) >= -1e-9;
    if (kkt && objective(q, x) < lowest) {
      lowest = objective(q, x);
      best.become(utCopy, x);
    }
  }
  return lowest < DBL_MAX;
}

// Checks the KKT conditions at x: feasibility within 1e-7, and grad = H x + g a combination
// of the normals of the constraints held (within 1e-7) with non-negative multipliers.
void expect_kkt(const Qp& q, const mlVector& x) {
  const int n = x.dimension();
  mlVector grad(mlMatrixProduct, q.H, x);
  grad += q.g;
  mlMatrix normals;
  for (int i = 0; i < q.A.rows(); ++i) {
    const double r = distance(q, i, x);
    EXPECT_GE(r, -1e-7) << "constraint " << i;
    if (r < 1e-7) {
      mlVector row(utCopy, q.A.row(i));
      row /= std::sqrt(row.modulus_squared());
      normals.append_col(row);
    }
  }
  if (normals.cols() == 0) {
    EXPECT_LT(grad.max_absolute_value(), 1e-9);
    return;
  }
  const mlSingularValueDecomposition svd(normals);
  mlVector multipliers;
  svd.solve(grad, multipliers);
  for (int k = 0; k < multipliers.dimension(); ++k)
    EXPECT_GE(multipliers[k], -1e-7) << "multiplier " << k;
  mlVector combination(mlMatrixProduct, normals, multipliers);
  for (int j = 0; j < n; ++j)
    EXPECT_NEAR(combination[j], grad[j], 1e-7 * (1.0 + grad.modulus())) << "component " << j;
}

Qp random_convex_problem(mlRandom& random, int n, int m) {
  Qp q;
  const mlMatrix root = random_matrix(random, n, n);
  q.H.become(mlMatrixZero, n, n);
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j < n; ++j) {
      double s = i == j ? 0.1 : 0.0;
      for (int k = 0; k < n; ++k)
        s += root(k, i) * root(k, j);
      q.H(i, j) = s;
    }
  }
  q.g.become(mlVectorDim, n);
  for (int i = 0; i < n; ++i)
    q.g[i] = random.uniform(-3.0, 3.0);
  // Every constraint holds at x0 with a random slack, so the set is feasible.
  const mlMatrix x0 = random_matrix(random, n, 1);
  q.A.become(utCopy, random_matrix(random, m, n));
  q.b.become(mlVectorDim, m);
  for (int i = 0; i < m; ++i) {
    double s = 0.0;
    for (int j = 0; j < n; ++j)
      s += q.A(i, j) * x0(j, 0);
    q.b[i] = s - random.uniform(0.0, 1.0);
  }
  return q;
}

TEST(ConstrainedQuadraticMinimiser, ScalesRowsToUnitLengthAndValidatesThem) {
  Minimiser q(mat(2, 2, {3.0, 4.0, 0.0, -2.0}), vec({10.0, 1.0}), 0);
  const double s0 = 1.0 / std::sqrt(3.0 * 3.0 + 4.0 * 4.0);
  const double s1 = 1.0 / std::sqrt(0.0 * 0.0 + -2.0 * -2.0);
  const mlVector origin = vec({0.0, 0.0});
  EXPECT_EQ(q.residual(0, origin), 0.0 - 10.0 * s0);
  EXPECT_EQ(q.residual(1, origin), 0.0 - 1.0 * s1);
  EXPECT_EQ(q.product(0, vec({1.0, 0.0})), 3.0 * s0);
  EXPECT_EQ(q.product(0, vec({0.0, 1.0})), 4.0 * s0);
  EXPECT_EQ(q.product(1, vec({0.0, 1.0})), -2.0 * s1);

  struct Case {
    mlMatrix A;
    int valid;
  };
  Case cases[] = {
      {mat(2, 2, {1.0, 0.0, 1e-8, 0.0}), 0},
      {mat(2, 2, {1.0, 0.0, 0.0, 0.0}), 0},
      {mat(2, 2, {1.0, 0.0, 0.0, 1e-6}), 1},
      {mlMatrix(0, 3), 1},
  };
  for (const Case& c : cases)
    EXPECT_EQ(mlConstrainedQuadraticMinimiser::are_valid(c.A, mlVector()), c.valid);
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
  x.become(utCopy, vec({3.0, 3.0}));
  EXPECT_EQ(free.solve(H, g, x), 1);
  EXPECT_EQ(values(x), (std::vector<double>{3.0, 3.0}));
  EXPECT_EQ(free.stage2(H, g, x), 1);
  EXPECT_EQ(values(x), (std::vector<double>{3.0, 3.0}));
}

TEST(ConstrainedQuadraticMinimiser, MatchesTheExactMinimumOnRandomConvexProblems) {
  mlRandom random(7);
  int infeasible_starts = 0;
  int active_minima = 0;
  for (int trial = 0; trial < 150; ++trial) {
    const int n = 1 + random.integer(4);
    const int m = 1 + random.integer(7);
    SCOPED_TRACE(testing::Message() << "trial " << trial << ", n " << n << ", m " << m);
    const Qp q = random_convex_problem(random, n, m);
    mlVector x(mlVectorDim, n);
    for (int j = 0; j < n; ++j)
      x[j] = random.uniform(-3.0, 3.0);
    for (int i = 0; i < m; ++i) {
      if (distance(q, i, x) < -1e-7) {
        ++infeasible_starts;
        break;
      }
    }

    mlConstrainedQuadraticMinimiser minimiser(q.A, q.b, 0);
    ASSERT_EQ(minimiser.solve(q.H, q.g, x), 1);
    expect_kkt(q, x);
    mlVector exact;
    ASSERT_TRUE(brute_force_minimum(q, exact));
    for (int j = 0; j < n; ++j)
      EXPECT_NEAR(x[j], exact[j], 1e-7);
    for (int i = 0; i < m; ++i) {
      if (std::fabs(distance(q, i, exact)) < 1e-9) {
        ++active_minima;
        break;
      }
    }
  }
  // The sample exercises both stages and the active-set changes.
  EXPECT_GT(infeasible_starts, 75);
  EXPECT_GT(active_minima, 75);
}

TEST(ConstrainedQuadraticMinimiser, CopesWithRedundantParallelAndDegenerateConstraints) {
  struct Case {
    const char* name;
    mlMatrix A;
    mlVector b;
    std::vector<double> start;
    std::vector<double> minimum;
  };
  // Minimising |x - (-1, -1)|^2 / 2 over each set.
  Case cases[] = {
      {"x >= 1 three times (twice scaled), y >= 0.5, a far redundant one",
       mat(5, 2, {1.0, 0.0, 1.0, 0.0, 2.0, 0.0, 0.0, 1.0, 1.0, 1.0}),
       vec({1.0, 1.0, 2.0, 0.5, -10.0}),
       {4.0, 3.0},
       {1.0, 0.5}},
      {"three constraints through the vertex (1, 1)",
       mat(3, 2, {1.0, 0.0, 0.0, 1.0, 1.0, 1.0}),
       vec({1.0, 1.0, 2.0}),
       {-2.0, 5.0},
       {1.0, 1.0}},
      {"a box entered from outside at a corner",
       mat(4, 2, {1.0, 0.0, -1.0, 0.0, 0.0, 1.0, 0.0, -1.0}),
       vec({0.0, -1.0, 0.0, -1.0}),
       {5.0, -7.0},
       {0.0, 0.0}},
  };
  const mlMatrix H = mat(2, 2, {1.0, 0.0, 0.0, 1.0});
  const mlVector g = vec({1.0, 1.0});
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    mlConstrainedQuadraticMinimiser q(c.A, c.b, 0);
    mlVector x = vec(c.start);
    EXPECT_EQ(q.solve(H, g, x), 1);
    EXPECT_NEAR(x[0], c.minimum[0], 1e-9);
    EXPECT_NEAR(x[1], c.minimum[1], 1e-9);
  }
}

TEST(ConstrainedQuadraticMinimiser, DeletesAndReportsContradictingConstraints) {
  const mlMatrix H = mat(1, 1, {1.0});
  const mlVector g = vec({0.0});
  // x >= 1 and -x >= 0. From 2 stage 1 reaches x = 1, where -x >= 0 stays violated.
  const mlMatrix A = mat(2, 1, {1.0, -1.0});
  const mlVector b = vec({1.0, 0.0});
  mlConstrainedQuadraticMinimiser strict(A, b, 0);
  mlVector x = vec({2.0});
  EXPECT_EQ(strict.solve(H, g, x), 0);
  EXPECT_EQ(values(x), (std::vector<double>{1.0}));
  EXPECT_TRUE(strict.overdetermined_constraints().size() == 0);

  mlConstrainedQuadraticMinimiser lenient(A, b, 1);
  x.become(utCopy, vec({2.0}));
  EXPECT_EQ(lenient.solve(H, g, x), 1);
  EXPECT_EQ(ints(lenient.overdetermined_constraints()), (std::vector<int>{1}));
  EXPECT_EQ(values(x), (std::vector<double>{1.0}));

  // From 0.5 both are violated and their pulls cancel: both are deleted, and with no
  // constraint left stage 2 keeps x.
  mlConstrainedQuadraticMinimiser both(A, b, 1);
  x.become(utCopy, vec({0.5}));
  EXPECT_EQ(both.solve(H, g, x), 1);
  EXPECT_EQ(ints(both.overdetermined_constraints()), (std::vector<int>{0, 1}));
  EXPECT_EQ(values(x), (std::vector<double>{0.5}));

  // In two dimensions: y >= 2 and -y >= 0 contradict; the rest is minimised.
  mlConstrainedQuadraticMinimiser plane(mat(4, 2, {1.0, 0.0, 0.0, 1.0, 0.0, -1.0, -1.0, 0.0}),
                                        vec({0.5, 2.0, 0.0, -5.0}), 1);
  x.become(utCopy, vec({1.0, 1.0}));
  EXPECT_EQ(plane.solve(mat(2, 2, {1.0, 0.0, 0.0, 1.0}), vec({0.0, -3.0}), x), 1);
  EXPECT_EQ(ints(plane.overdetermined_constraints()), (std::vector<int>{1, 2}));
  EXPECT_NEAR(x[0], 0.5, 1e-12);
  EXPECT_NEAR(x[1], 3.0, 1e-12);

  // Indices are reported in the constructor's numbering, across earlier deletions.
  Minimiser q(mat(4, 1, {1.0, 1.0, 1.0, -1.0}), vec({0.0, 0.0, 0.0, -1.0}), 1);
  q.delete_constraint(1);
  EXPECT_EQ(q.constraints(), 3);
  q.find_good_bad(vec({3.0}));
  EXPECT_EQ(q.bad(), (std::vector<int>{2}));
  q.delete_overdetermined_constraints();
  EXPECT_EQ(ints(q.overdetermined_constraints()), (std::vector<int>{3}));
  EXPECT_EQ(q.constraints(), 2);
}

TEST(ConstrainedQuadraticMinimiser, AppendsIndicesInTheNumberingBeforeDeletions) {
  struct Case {
    std::vector<int> list;
    std::vector<int> more;
    std::vector<int> expected;
  };
  const Case cases[] = {
      {{5, 2}, {3, 0, 2}, {2, 5, 0, 3, 4}}, {{4, 1, 0}, {}, {0, 1, 4}},     {{}, {2, 1}, {1, 2}},
      {{0, 1, 2}, {0}, {0, 1, 2, 3}},       {{3}, {3, 2, 7}, {3, 2, 4, 8}},
  };
  for (const Case& c : cases) {
    intcoDynArr list = int_array(c.list);
    mlConstrainedQuadraticMinimiser::append_constraint_indices(list, int_array(c.more));
    EXPECT_EQ(ints(list), c.expected);
  }
}

TEST(ConstrainedQuadraticMinimiser, TrimsStepsAtTheFirstConstraintCrossed) {
  // Constraints in the plane: 0: x >= 0, 1: -x >= -2 (x <= 2), 2: y >= 0, 3: -y >= -1.
  Minimiser q(mat(4, 2, {1.0, 0.0, -1.0, 0.0, 0.0, 1.0, 0.0, -1.0}), vec({0.0, -2.0, 0.0, -1.0}),
              0);
  struct Case {
    int i;
    std::vector<double> x;
    std::vector<double> step;
    int stage2;
    std::vector<int> active;
    int result;
    double t;
  };
  const Case cases[] = {
      // A step nearly parallel to the plane: degenerate unless active.
      {0, {1.0, 0.5}, {1e-7, 1.0}, 0, {}, 0, DBL_MAX},
      {0, {1.0, 0.5}, {1e-7, 1.0}, 0, {0}, 1, DBL_MAX},
      // Moving towards the plane from the feasible side: t = -r / p.
      {0, {1.0, 0.5}, {-4.0, 0.0}, 0, {}, 1, 0.25},
      // Already violated and moving further away: no limit.
      {0, {-1.0, 0.5}, {-4.0, 0.0}, 0, {}, 1, DBL_MAX},
      // Violated within the tolerance: the limit is 0.
      {0, {-5e-8, 0.5}, {-4.0, 0.0}, 0, {}, 1, 0.0},
      // Curing a violation limits only stage 1.
      {0, {-1.0, 0.5}, {4.0, 0.0}, 0, {}, 1, 0.25},
      {0, {-1.0, 0.5}, {4.0, 0.0}, 1, {}, 1, DBL_MAX},
      {0, {-1.0, 0.5}, {4.0, 0.0}, 0, {0}, 1, DBL_MAX},
      // Moving away from a satisfied constraint: no limit.
      {0, {1.0, 0.5}, {4.0, 0.0}, 0, {}, 1, DBL_MAX},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << "x " << c.x[0] << ", step " << c.step[0] << ", stage2 "
                                    << c.stage2 << ", active " << c.active.size());
    q.set_active(c.active);
    double t = -1.0;
    EXPECT_EQ(q.trim_step_by_constraint(c.i, vec(c.x), vec(c.step), c.stage2, t), c.result);
    EXPECT_EQ(t, c.t);
  }

  // The first of two constraints met at the same time wins.
  q.set_active({});
  int hit = -2;
  EXPECT_EQ(q.trim_step_by_constraints(vec({1.0, 0.5}), vec({2.0, 1.0}), 1, hit), 0.5);
  EXPECT_EQ(hit, 1);
  // An active constraint that the full step lands on is skipped, even from off its plane.
  q.set_active({1});
  EXPECT_EQ(q.trim_step_by_constraints(vec({1.0, 0.5}), vec({1.0, 0.0}), 1, hit), DBL_MAX);
  EXPECT_EQ(hit, -1);
  q.set_active({});
  EXPECT_EQ(q.trim_step_by_constraints(vec({1.0, 0.5}), vec({1.0, 0.0}), 1, hit), 1.0);
  EXPECT_EQ(hit, 1);

  // A step almost parallel to y = 0 that crosses it before reaching x = 2: the crossing is
  // found by linear interpolation of the residuals at the two ends.
  q.set_active({});
  const mlVector x = vec({0.5, 1e-7});
  const mlVector step = vec({1.0, -9e-7});
  const double r0 = q.residual(2, x);
  const double t1 = -q.residual(1, x) / q.product(1, step);
  const double r1 = q.residual(2, vec({x[0] + t1 * step[0], x[1] + t1 * step[1]}));
  ASSERT_LT(r0 * r1, 0.0);
  EXPECT_EQ(q.trim_step_by_constraints(x, step, 0, hit),
            std::fabs(r0) / (std::fabs(r1) + std::fabs(r0)) * t1);
  EXPECT_EQ(hit, 2);
  // In stage 2 a degenerate constraint that is already violated does not shorten the step.
  EXPECT_EQ(q.trim_step_by_constraints(vec({0.5, -1e-6}), step, 1, hit), t1);
  EXPECT_EQ(hit, 1);
}

TEST(ConstrainedQuadraticMinimiser, DropsTheNewestOfLinearlyDependentActiveConstraints) {
  // Constraints 0 and 2 are the same plane: making both active drops the newest.
  Minimiser q(mat(3, 3, {1.0, 0.0, 0.0, 0.0, 1.0, 0.0, 2.0, 0.0, 0.0}), vec({0.0, 0.0, 0.0}), 0);
  int dropped = -1;
  q.set_active({0, 1});
  q.Z_from_active(dropped);
  EXPECT_EQ(dropped, 0);
  q.set_active({0, 1, 2});
  q.Z_from_active(dropped);
  EXPECT_EQ(dropped, 1);
  EXPECT_EQ(q.active(), (std::vector<int>{0, 1}));
  // At the second drop the method stops: here constraints 2 and then 1 go.
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
