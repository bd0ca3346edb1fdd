#include "containers/doublecoDynArr2D.h"

#include <algorithm>
#include <climits>
#include <cstdint>

#include "containers/coDynArr.h"

doublecoDynArr2D::doublecoDynArr2D(int rows, int cols, int row_increment,
                                   int col_increment) noexcept
    : i_increment_(row_increment), j_increment_(col_increment) {
  PASKOSDA_CHECK(row_increment >= 1 && col_increment >= 1,
                 "doublecoDynArr2D(%d, %d, increments %d, %d)", rows, cols, row_increment,
                 col_increment);
  reserve(rows, cols);
}

doublecoDynArr2D::doublecoDynArr2D(utCopyTag, const doublecoDynArr2D& other) noexcept
    : i_increment_(other.i_increment_), j_increment_(other.j_increment_) {
  become(utCopy, other);
}

doublecoDynArr2D::~doublecoDynArr2D() { delete[] data_; }

doublecoDynArr2D& doublecoDynArr2D::become(utCopyTag, const doublecoDynArr2D& other) noexcept {
  if (&other == this) return *this;
  i_size_ = 0;
  j_size_ = 0;
  if (reserve(other.i_size_, other.j_size_) == 0) return *this;
  for (int i = 0; i < other.i_size_; ++i) {
    std::copy(other.row(i), other.row(i) + other.j_size_, data_ + i * j_allocated_);
  }
  i_size_ = other.i_size_;
  j_size_ = other.j_size_;
  return *this;
}

int doublecoDynArr2D::reserve(int rows, int cols) noexcept {
  if (rows <= i_allocated_ && cols <= j_allocated_) return 1;
  const auto grown = [](int allocated, int wanted, int increment) -> std::int64_t {
    return wanted <= allocated ? allocated
                               : paskosda_detail::grown_capacity(allocated, wanted - 1, increment);
  };
  const std::int64_t i_capacity = grown(i_allocated_, rows, i_increment_);
  const std::int64_t j_capacity = grown(j_allocated_, cols, j_increment_);
  const std::int64_t capacity = i_capacity * j_capacity;
  if (capacity > INT_MAX) return 0;
  // A shape with no elements needs no storage, only its capacities recorded.
  auto* buffer = paskosda_detail::allocate_elements<double>(static_cast<int>(capacity));
  if (buffer == nullptr && capacity > 0) return 0;
  for (int i = 0; i < i_size_; ++i) {
    std::copy(row(i), row(i) + j_size_, buffer + i * j_capacity);
  }
  delete[] data_;
  data_ = buffer;
  i_allocated_ = static_cast<int>(i_capacity);
  j_allocated_ = static_cast<int>(j_capacity);
  return 1;
}

// Zeroes what comes into view, so that no element ever shows what an earlier, larger shape
// left in the storage.
void doublecoDynArr2D::set_sizes(int rows, int cols) noexcept {
  for (int i = 0; i < std::min(i_size_, rows); ++i) {
    if (cols > j_size_)
      std::fill(data_ + i * j_allocated_ + j_size_, data_ + i * j_allocated_ + cols, 0.0);
  }
  for (int i = i_size_; i < rows; ++i) {
    std::fill(data_ + i * j_allocated_, data_ + i * j_allocated_ + cols, 0.0);
  }
  i_size_ = rows;
  j_size_ = cols;
}

int doublecoDynArr2D::expand(int rows, int cols) noexcept {
  return resize(std::max(rows, i_size_), std::max(cols, j_size_));
}

int doublecoDynArr2D::resize(int rows, int cols) noexcept {
  PASKOSDA_CHECK(rows >= 0 && cols >= 0, "doublecoDynArr2D::resize(%d, %d)", rows, cols);
  if (reserve(rows, cols) == 0) return 0;
  set_sizes(rows, cols);
  return 1;
}

void doublecoDynArr2D::clear(int release) noexcept {
  i_size_ = 0;
  j_size_ = 0;
  if (release != 0) {
    delete[] data_;
    data_ = nullptr;
    i_allocated_ = 0;
    j_allocated_ = 0;
  }
}
