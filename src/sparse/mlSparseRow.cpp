#include "sparse/mlSparseRow.h"

#include <climits>

mlSparseRow& mlSparseRow::become(utCopyTag, const mlSparseRow& r) noexcept {
  if (&r == this) return *this;
  reserved_ = r.reserved_;
  reserve(reserved_);
  mlSparseElementcoDynArr::become(utCopy, r);
  return *this;
}

void mlSparseRow::append_elements(const mlSparseElement* elements, int n) noexcept {
  if (n <= 0) return;
  reserve_for_appends(n);
  const int at = used_;
  if (expand(at + n) == 0) return;
  coBufferGuard<mlSparseElement, paskosda_detail::copies_bitwise<mlSparseElement>>(data_,
                                                                                   allocated_)
      .copy(data_ + at, elements, n);
}

int mlSparseRow::make_room(Cursor& c) noexcept {
  close(c);
  if (used_ == reserved_) {
    reserved_ = next_reservation(reserved_);
    reserve(reserved_);
  }
  // The array's own growth, as `append` would grow it.
  if (used_ >= allocated_ && resize(used_) == 0) return 0;
  c = cursor();
  return 1;
}

void mlSparseRow::reserve_for_appends(int n) noexcept {
  // append_element doubles the reservation whenever an append finds the row full to it; a
  // row already past its reservation (grown through the array itself) never meets it again.
  if (used_ > reserved_) return;
  const long long wanted = static_cast<long long>(used_) + n;
  while (reserved_ < wanted && reserved_ < INT_MAX)
    reserved_ = next_reservation(reserved_);
  reserve(reserved_);
}

double mlSparseRow::element(int column) const noexcept {
  if (used_ == 0) return 0.0;
  if (column < data_[0].column() || column > data_[used_ - 1].column()) return 0.0;
  if (column == data_[used_ - 1].column()) return data_[used_ - 1].value();
  // The last element was tested above, so the column lies strictly below hi's column
  // throughout; lo only moves to mid, and two neighbours without a match end the search.
  int lo = 0;
  int hi = used_ - 1;
  while (lo < hi) {
    const int mid = (lo + hi) / 2;
    const int c = data_[mid].column();
    if (column < c) {
      hi = mid;
    } else if (column > c) {
      if (mid == lo) return 0.0;
      lo = mid;
    } else {
      return data_[mid].value();
    }
  }
  return 0.0;
}

void mlSparseRow::multiply_all_elements(double s) noexcept {
  for (mlSparseElement* e = data_; e != data_ + used_; ++e)
    *e *= s;
}

void mlSparseRow::divide_all_elements(double s) noexcept {
  for (mlSparseElement* e = data_; e != data_ + used_; ++e)
    *e /= s;
}
