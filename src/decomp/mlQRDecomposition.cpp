#include "decomp/mlQRDecomposition.h"

#include "containers/utCheck.h"
#include "linalg/mlSlice.h"

mlGramSchmidt::mlGramSchmidt(mlMatrix* m) noexcept : vectors_(m) { become(m); }

mlGramSchmidt& mlGramSchmidt::become(mlMatrix* m) noexcept {
  vectors_ = m;
  norms_.clear(0);
  status_ = mlGSNothingDone;
  tolerance_ = 1e-10;
  if (vectors_->cols() > 0) orthogonalize(0);
  return *this;
}

void mlGramSchmidt::orthogonalize(int first) noexcept {
  status_ = mlGSSuccess;
  const int rows = vectors_->rows();
  mlVector projection;
  for (int k = first; k < rows; ++k) {
    mlSlice row = vectors_->row(k);
    for (int j = 0; j < k; ++j) {
      const mlSlice earlier = vectors_->row(j);
      const double c = scalar_product(row, earlier) / norms_[j];
      projection.become(utCopy, earlier);
      projection *= c;
      row -= projection.slice();
    }
    const double len2 = row.modulus_squared();
    if (tolerance_ > len2) {
      // The rows after a dependent one go too, by design: the set keeps only the rows
      // that came before it.
      status_ = mlGSDependent;
      for (int i = rows - 1; i >= k; --i)
        vectors_->delete_row(i);
      return;
    }
    norms_.append(len2);
  }
}

double mlGramSchmidt::add(mlVector* v, int keep) noexcept {
  const int cols = vectors_->cols();
  if (cols >= 1 && v->dimension() != cols) {
    status_ = mlGSSizeMismatch;
    return 0.0;
  }
  if (v->dimension() == 0 || tolerance_ > v->modulus_squared()) {
    status_ = mlGSTooShort;
    return 0.0;
  }
  const int k = vectors_->rows();
  vectors_->append_row(*v);
  orthogonalize(k);
  if (status_ != mlGSSuccess) return 0.0;
  v->become(utCopy, vectors_->row(k));
  const double len2 = norms_[k];
  if (k == vectors_->rows() - 1 && keep == 0) {
    vectors_->delete_row(k);
    norms_.shrink(k, 0);
  }
  return len2;
}

mlQRDecomposition::mlQRDecomposition(mlMatrix* q, mlMatrix* r) noexcept
    : mlGramSchmidt(q), q_(q), r_(r) {}

mlQRDecomposition& mlQRDecomposition::become(mlMatrix* q, mlMatrix* r) noexcept {
  mlGramSchmidt::become(q);
  q_ = q;
  r_ = r;
  current_ = nullptr;
  q_norms_.clear(0);
  q_orthonormal_ = 0;
  q_unit_.become(0, 0);
  status_ = mlQRNothingAdded;
  tolerance_ = 1e-10;
  return *this;
}

void mlQRDecomposition::add(const mlVector* a) noexcept {
  if (tolerance_ > a->modulus_squared()) {
    status_ = mlQRTooShort;
    return;
  }
  if (q_->cols() >= 1 && a->dimension() != q_->cols()) {
    status_ = mlQRSizeMismatch;
    return;
  }
  current_ = a;
  if (q_orthonormal_ != 0) {
    decompose_with_Q_orthonormal();
  } else {
    decompose();
  }
  current_ = nullptr;
}

void mlQRDecomposition::get_orthonormal_Q(mlMatrix& m) const noexcept {
  m.become(mlMatrixTranspose, q_unit_);
}

bool mlQRDecomposition::add_to_set() noexcept {
  mlVector copy(utCopy, *current_);
  mlGramSchmidt::add(&copy, 1);
  const mlGSStatus set_status = mlGramSchmidt::status();
  if (set_status == mlGSSuccess) return true;
  // The set rejected the vector (its remainder was below the tolerance) and Q did not grow.
  // Going on would treat Q's previous last row as new and overwrite R's last row, so the
  // vector is reported dependent and nothing changes. (The two status codes coincide; the
  // set cannot report 3 or 4 here, as `add` has made the same tests.)
  status_ = static_cast<mlQRStatus>(static_cast<int>(set_status));
  return false;
}

void mlQRDecomposition::decompose() noexcept {
  if (!add_to_set()) return;
  const int k = q_->rows();
  const double len2 = q_->row(k - 1).modulus_squared();
  if (tolerance_ > len2) {
    q_->delete_row(k - 1);
    status_ = mlQRDependent;
    return;
  }
  q_norms_.append(len2);
  r_->expand(k, k, 0.0);
  const mlSlice a = current_->slice();
  for (int i = 0; i < k; ++i)
    (*r_)(k - 1, i) = scalar_product(q_->row(i), a) / q_norms_[i];
  status_ = mlQRAccepted;
}

void mlQRDecomposition::decompose_with_Q_orthonormal() noexcept {
  if (!add_to_set()) return;
  const int k = q_->rows();
  const mlSlice w = q_->row(k - 1);
  // The length here, the squared length in decompose(): kept as it has always been.
  const double len = w.modulus();
  if (tolerance_ > len) {
    q_->delete_row(k - 1);
    status_ = mlQRDependent;
    return;
  }
  const mlVector unit(utCopy, w);
  q_unit_.append_row(unit);
  const int units = q_unit_.rows();
  q_unit_.row(units - 1) /= len;
  r_->expand(k, k, 0.0);
  // With the mode switched on after earlier adds, the unit rows are fewer than Q's rows; only
  // the unit rows that exist are read (the remaining coefficients stay 0.0).
  PASKOSDA_CHECK(units == k, "mlQRDecomposition::add: %d unit rows for %d rows of Q", units, k);
  const mlSlice a = current_->slice();
  for (int i = 0; i < k && i < units; ++i)
    (*r_)(k - 1, i) = scalar_product(q_unit_.row(i), a);
  status_ = mlQRAccepted;
}
