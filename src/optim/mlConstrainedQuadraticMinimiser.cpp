#include "optim/mlConstrainedQuadraticMinimiser.h"

#include <cfloat>
#include <cmath>

#include "containers/utCheck.h"
#include "decomp/mlSingularValueDecomposition.h"
#include "linalg/mlQuickSortDynArrInt.h"

namespace {

constexpr double kFeasibilityTolerance = 1e-7;
constexpr double kSvdTolerance = 1e-7;
constexpr double kMultiplierTolerance = 1e-7;
constexpr double kParallelTolerance = 1e-6;
constexpr double kLeavingTolerance = 1e-7;
constexpr double kRowLengthMinimum = 1e-7;
constexpr int kSnappingPasses = 30;

// Removes the element at position k, moving the later ones down.
void remove_at(intcoDynArr& list, int k) noexcept {
  const int n = list.size();
  for (int j = k; j + 1 < n; ++j)
    list[j] = list[j + 1];
  list.shrink(n - 1, 0);
}

// Inserts value at position k, moving the later ones up.
void insert_at(intcoDynArr& list, int k, int value) noexcept {
  list.append(value);
  for (int j = list.size() - 1; j > k; --j)
    list[j] = list[j - 1];
  list[k] = value;
}

// Renumbers a list after the deletion of constraint i: entries above i move down by one and,
// when `remove_equal` is set, entries equal to i are removed.
void renumber(intcoDynArr& list, int i, bool remove_equal) noexcept {
  int kept = 0;
  for (int k = 0; k < list.size(); ++k) {
    const int e = list[k];
    if (remove_equal && e == i) continue;
    list[kept++] = e > i ? e - 1 : e;
  }
  list.shrink(kept, 0);
}

// w = a + t * s, element by element.
void point_along(const mlVector& a, double t, const mlVector& s, mlVector& w) noexcept {
  const int n = a.dimension();
  w.become(mlVectorDim, n);
  for (int j = 0; j < n; ++j)
    w[j] = a[j] + t * s[j];
}

void negate(mlVector& v) noexcept {
  for (int j = 0; j < v.dimension(); ++j)
    v[j] = -v[j];
}

// With no null space left (every variable constrained) the projected step is zero: sets
// `step` to n zeros and returns true.
bool zero_step_without_null_space(const mlMatrix& z, int n, mlVector& step) noexcept {
  if (z.rows() != 0 && z.cols() != 0) return false;
  step.become(mlVectorDim, n);
  step.fill(0.0);
  return true;
}

}  // namespace

mlConstrainedQuadraticMinimiser::mlConstrainedQuadraticMinimiser(
    const mlMatrix& A, const mlVector& b, int delete_overdetermined) noexcept {
  become(A, b, delete_overdetermined);
}

mlConstrainedQuadraticMinimiser& mlConstrainedQuadraticMinimiser::become(
    const mlMatrix& A, const mlVector& b, int delete_overdetermined) noexcept {
  PASKOSDA_CHECK(b.dimension() >= A.rows(),
                 "mlConstrainedQuadraticMinimiser: %d constraint rows but %d right-hand sides",
                 A.rows(), b.dimension());
  delete_overdetermined_ = delete_overdetermined;
  n_ = A.cols();
  m_ = A.rows();
  A_.become(utCopy, A);
  b_.become(utCopy, b);
  for (int i = 0; i < m_; ++i) {
    mlSlice row = A_.row(i);
    const double s = 1.0 / std::sqrt(scalar_product(row, row));
    row *= s;
    b_[i] *= s;
  }
  active_.clear(0);
  good_.clear(0);
  bad_.clear(0);
  normals_.become(0, 0);
  pinv_.become(0, 0);
  Z_.become(0, 0);
  Zt_.become(0, 0);
  deleted_.clear(0);
  overdetermined_.clear(0);
  return *this;
}

int mlConstrainedQuadraticMinimiser::are_valid(const mlMatrix& A, const mlVector&) noexcept {
  for (int i = 0; i < A.rows(); ++i) {
    const mlSlice row = A.row(i);
    if (std::sqrt(scalar_product(row, row)) <= kRowLengthMinimum) return 0;
  }
  return 1;
}

// ---- the two stages ----

int mlConstrainedQuadraticMinimiser::solve(const mlMatrix& H, const mlVector& g,
                                           mlVector& x) noexcept {
  const int feasible = stage1(x);
  if (feasible == 0) {
    if (delete_overdetermined_ == 0) return 0;
    delete_overdetermined_constraints();
  }
  return stage2(H, g, x);
}

int mlConstrainedQuadraticMinimiser::stage1(mlVector& x) noexcept {
  PASKOSDA_CHECK(x.dimension() == n_, "stage1: a start point of %d entries for %d variables",
                 x.dimension(), n_);
  active_.clear(0);
  deleted_.clear(0);
  overdetermined_.clear(0);
  find_good_bad(x);
  if (bad_.size() == 0) return 1;

  int dropped = 0;
  Z_from_active(dropped);
  mlVector v;
  mlVector step;
  bad_gradient(v);
  step_direction(v, step);
  // The budget is read with the current count: each deleted constraint shortens it.
  for (int iteration = 0; iteration < 3 * m_; ++iteration) {
    int hit = -1;
    const double t = trim_step_by_constraints(x, step, 0, hit);
    if (t < DBL_MAX) step *= t;
    x += step;
    for (const int k : active_)
      snap_to_constraint(x, k);
    if (hit == -1) break;

    snap_to_constraint(x, hit);
    active_.append(hit);
    find_good_bad(x);
    if (bad_.size() == 0) return 1;
    Z_from_active(dropped);
    if (dropped != 0) delete_constraint(hit);

    bad_gradient(v);
    const int released = remove_active_constraints(v);
    if (active_.size() == n_) break;
    if (released != 0) {
      Z_from_active(dropped);
      bad_gradient(v);
    }
    step_direction(v, step);
  }
  find_good_bad(x);
  return bad_.size() == 0 ? 1 : 0;
}

int mlConstrainedQuadraticMinimiser::stage2(const mlMatrix& H, const mlVector& g,
                                            mlVector& x) noexcept {
  PASKOSDA_CHECK(H.rows() == n_ && H.cols() == n_ && g.dimension() == n_ && x.dimension() == n_,
                 "stage2: H is %dx%d, g has %d and x %d entries for %d variables", H.rows(),
                 H.cols(), g.dimension(), x.dimension(), n_);
  mlVector grad(mlMatrixProduct, H, x);
  grad += g;
  remove_active_constraints(grad);
  if (active_.size() == n_) return 1;

  mlVector s;
  int quiet_full_steps = 0;
  // With no constraints the budget is zero and x stays where it is, by design. The budget is
  // read with the current count: each deleted constraint shortens it.
  for (int iteration = 0; iteration < 3 * m_; ++iteration) {
    int dropped = 0;
    Z_from_active(dropped);
    step_direction(grad, H, s);
    int hit = -1;
    double t = trim_step_by_constraints(x, s, 1, hit);
    if (t > 1.0) {
      t = 1.0;
      hit = -1;
    }
    for (int j = 0; j < n_; ++j)
      x[j] += t * s[j];
    if (t == 1.0 && active_.size() == 0) return 1;

    grad.become(mlMatrixProduct, H, x);
    grad += g;
    for (const int k : active_)
      snap_to_constraint(x, k);

    if (hit >= 0) {
      snap_to_constraint(x, hit);
      active_.append(hit);
      find_good_bad(x);
      for (int pass = 0; pass < kSnappingPasses && bad_.size() > 0; ++pass) {
        for (const int k : bad_)
          snap_to_constraint(x, k);
        find_good_bad(x);
      }
      if (bad_.size() == 0) {
        Z_from_active(dropped);
        if (dropped != 0) delete_constraint(hit);
      } else {
        active_.shrink(active_.size() - 1, 0);
        for (const int k : active_)
          snap_to_constraint(x, k);
        delete_constraint(hit);
        find_good_bad(x);
        if (bad_.size() > 0) return 0;
      }
    }

    const int released = remove_active_constraints(grad, H);
    if (active_.size() == n_) return 1;
    if (released == 0 && t == 1.0) {
      ++quiet_full_steps;
      if (quiet_full_steps == 2) return 1;
    }
  }
  return 1;
}

// ---- deleting constraints ----

void mlConstrainedQuadraticMinimiser::delete_overdetermined_constraints() noexcept {
  overdetermined_.become(utCopy, bad_);
  for (int k = deleted_.size() - 1; k >= 0; --k) {
    const int d = deleted_[k];
    for (int& o : overdetermined_) {
      if (o >= d) ++o;
    }
  }
  mlQuickSortDynArrInt().sort(&bad_, bad_.size());
  const intcoDynArr doomed(utCopy, bad_);
  for (int k = doomed.size() - 1; k >= 0; --k)
    delete_constraint(doomed[k]);
}

void mlConstrainedQuadraticMinimiser::append_constraint_indices(intcoDynArr& list,
                                                                const intcoDynArr& more) noexcept {
  mlQuickSortDynArrInt().sort(&list, list.size());
  if (more.size() == 0) return;
  intcoDynArr adjusted(utCopy, more);
  mlQuickSortDynArrInt().sort(&adjusted, adjusted.size());
  const int deleted = list.size();
  int j = 0;
  for (int& e : adjusted) {
    while (j < deleted && list[j] - j <= e)
      ++j;
    e += j;
  }
  for (const int e : adjusted)
    list.append(e);
}

void mlConstrainedQuadraticMinimiser::delete_constraint(int i) noexcept {
  PASKOSDA_CHECK(i >= 0 && i < m_, "delete_constraint: constraint %d of %d", i, m_);
  A_.delete_row(i);
  b_.delete_element(i);
  // The caller has already dropped i from the active list; only an entry left behind for the
  // last row would point past the end of A, so that one goes as well.
  renumber(active_, i, i == m_ - 1);
  renumber(good_, i, true);
  renumber(bad_, i, true);
  --m_;
  deleted_.append(i);
}

// ---- the steps of the method ----

double mlConstrainedQuadraticMinimiser::residual(int i, const mlVector& x) const noexcept {
  return scalar_product(A_.row(i), x.slice()) - b_[i];
}

double mlConstrainedQuadraticMinimiser::product(int i, const mlVector& v) const noexcept {
  return scalar_product(A_.row(i), v.slice());
}

int mlConstrainedQuadraticMinimiser::is_active(int i) const noexcept {
  for (const int k : active_) {
    if (k == i) return 1;
  }
  return 0;
}

void mlConstrainedQuadraticMinimiser::find_good_bad(const mlVector& x) noexcept {
  good_.clear(0);
  bad_.clear(0);
  for (int i = 0; i < m_; ++i) {
    if (residual(i, x) >= -kFeasibilityTolerance) {
      good_.append(i);
    } else {
      bad_.append(i);
    }
  }
}

void mlConstrainedQuadraticMinimiser::snap_to_constraint(mlVector& x, int i) const noexcept {
  const double r = residual(i, x);
  for (int j = 0; j < n_; ++j)
    x[j] -= r * A_(i, j);
}

void mlConstrainedQuadraticMinimiser::bad_gradient(mlVector& v) const noexcept {
  v.become(mlVectorDim, n_);
  v.fill(0.0);
  for (const int i : bad_) {
    for (int j = 0; j < n_; ++j)
      v[j] -= A_(i, j);
  }
}

void mlConstrainedQuadraticMinimiser::Z_from_active(int& dropped) noexcept {
  dropped = 0;
  int drops = 0;
  for (;;) {
    const int a = active_.size();
    if (a == 0) {
      Z_.become(mlMatrixIdentity, n_);
      Zt_.become(utCopy, Z_);
      return;
    }
    normals_.become(n_, a);
    for (int k = 0; k < a; ++k) {
      const int i = active_[k];
      for (int r = 0; r < n_; ++r)
        normals_(r, k) = A_(i, r);
    }
    const mlSingularValueDecomposition svd(normals_);
    if (svd.is_singular(kSvdTolerance) == 0) {
      pinv_.become(utCopy, svd.inverse(kSvdTolerance));
      // More independent normals than variables cannot occur (an active set stops growing at
      // n); a >= n leaves no null space either way.
      if (a >= n_) {
        Z_.become(0, 0);
        Zt_.become(0, 0);
        return;
      }
      const mlMatrix& u = svd.U();
      Z_.become(n_, n_ - a);
      for (int r = 0; r < n_; ++r) {
        for (int c = 0; c < n_ - a; ++c)
          Z_(r, c) = u(r, a + c);
      }
      Zt_.become(mlMatrixTranspose, Z_);
      return;
    }
    active_.shrink(a - 1, 0);
    dropped = 1;
    ++drops;
    if (drops == 2) {
      // Deliberately no recomputation: Z stays as it was before this call and pinv too.
      Zt_.become(mlMatrixTranspose, Z_);
      return;
    }
  }
}

void mlConstrainedQuadraticMinimiser::step_direction(const mlVector& grad,
                                                     mlVector& step) const noexcept {
  PASKOSDA_CHECK(&grad != &step, "step_direction: the step is the gradient");
  if (zero_step_without_null_space(Z_, n_, step)) return;
  const mlMatrix projection(mlMatrixProduct, Z_, Zt_);
  step.become(mlMatrixProduct, projection, grad);
  negate(step);
}

void mlConstrainedQuadraticMinimiser::step_direction(const mlVector& grad, const mlMatrix& H,
                                                     mlVector& step) const noexcept {
  PASKOSDA_CHECK(&grad != &step, "step_direction: the step is the gradient");
  if (zero_step_without_null_space(Z_, n_, step)) return;
  const mlMatrix zt_h(mlMatrixProduct, Zt_, H);
  const mlMatrix reduced(mlMatrixProduct, zt_h, Z_);
  const mlSingularValueDecomposition svd(reduced);
  const mlMatrix& reduced_inverse = svd.inverse(kSvdTolerance);
  const mlVector w(mlMatrixProduct, Zt_, grad);
  const mlVector u(mlMatrixProduct, reduced_inverse, w);
  step.become(mlMatrixProduct, Z_, u);
  negate(step);
}

int mlConstrainedQuadraticMinimiser::trim_step_by_constraint(int i, const mlVector& x,
                                                             const mlVector& step, int stage2,
                                                             double& t) const noexcept {
  t = DBL_MAX;
  const double p = product(i, step);
  if (std::fabs(p) < kParallelTolerance) return is_active(i);
  double r = residual(i, x);
  if (p <= 0.0) {
    if (r < -kFeasibilityTolerance) return 1;
    if (r < 0.0) r = 0.0;
  }
  if (p > 0.0) {
    // Only stage 1 limits a step by a violated constraint that the step is curing.
    if (std::fabs(r) < kFeasibilityTolerance || stage2 != 0 || is_active(i) != 0 || r > 0.0)
      return 1;
  }
  t = -r / p;
  return 1;
}

void mlConstrainedQuadraticMinimiser::trim_step_by_degenerate_constraint(int i, const mlVector& x,
                                                                         const mlVector& step,
                                                                         int stage2,
                                                                         double& t) const noexcept {
  const double r0 = residual(i, x);
  if (stage2 != 0 && r0 < 0.0) return;
  mlVector end;
  point_along(x, t, step, end);
  const double r1 = residual(i, end);
  if (r0 * r1 < 0.0) t = std::fabs(r0) / (std::fabs(r1) + std::fabs(r0)) * t;
}

int mlConstrainedQuadraticMinimiser::test_step_on_active(int i, const mlVector& x,
                                                         const mlVector& step) const noexcept {
  if (is_active(i) == 0) return 0;
  mlVector end;
  point_along(x, 1.0, step, end);
  return std::fabs(residual(i, end)) < kFeasibilityTolerance ? 1 : 0;
}

double mlConstrainedQuadraticMinimiser::trim_step_by_constraints(const mlVector& x,
                                                                 const mlVector& step, int stage2,
                                                                 int& hit) const noexcept {
  double t = DBL_MAX;
  hit = -1;
  intcoDynArr degenerate;
  for (int i = 0; i < m_; ++i) {
    if (test_step_on_active(i, x, step) == 1) continue;
    double limit = DBL_MAX;
    if (trim_step_by_constraint(i, x, step, stage2, limit) == 1) {
      if (limit < t) {
        t = limit;
        hit = i;
      }
    } else {
      degenerate.append(i);
    }
  }
  if (t < DBL_MAX) {
    for (const int d : degenerate) {
      const double before = t;
      trim_step_by_degenerate_constraint(d, x, step, stage2, t);
      if (t < before) hit = d;
    }
  }
  return t;
}

int mlConstrainedQuadraticMinimiser::remove_active_constraints(const mlVector& grad) noexcept {
  const mlMatrix none;
  return remove_active_constraints(grad, none);
}

int mlConstrainedQuadraticMinimiser::remove_active_constraints(const mlVector& grad,
                                                               const mlMatrix& H) noexcept {
  const int a0 = active_.size();
  if (a0 == 0) return 0;
  int dropped = 0;
  Z_from_active(dropped);
  const mlVector multipliers(mlMatrixProduct, pinv_, grad);
  const int more = a0 < n_ ? 1 : 0;
  const bool newton = H.rows() > 0 && H.cols() > 0;
  intcoDynArr released;
  mlVector step;
  for (int k = active_.size() - 1; k >= 0; --k) {
    // After the two-drop exit of Z_from_active pinv may belong to an earlier, shorter active
    // set: positions without a multiplier are left alone.
    if (k >= multipliers.dimension()) continue;
    if (!(multipliers[k] < -kMultiplierTolerance)) continue;
    const int constraint = active_[k];
    remove_at(active_, k);
    released.append(constraint);
    if (more == 0) continue;
    Z_from_active(dropped);
    if (newton) {
      step_direction(grad, H, step);
    } else {
      step_direction(grad, step);
    }
    for (int j = 0; j < released.size(); ++j) {
      if (product(released[j], step) < -kLeavingTolerance) {
        // Position k itself, or the end when Z_from_active has shortened the list below it.
        insert_at(active_, k < active_.size() ? k : active_.size(), constraint);
        released.shrink(released.size() - 1, 0);
        break;
      }
    }
  }
  return active_.size() != a0 ? 1 : 0;
}
