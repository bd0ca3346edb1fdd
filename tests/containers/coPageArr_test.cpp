#include "containers/coPageArr.h"

#include <gtest/gtest.h>

#include <numeric>
#include <sstream>
#include <vector>

namespace {

// Exposes the block bookkeeping and the protected block operations.
template <class T>
struct Probe : coPageArr<T> {
  using coPageArr<T>::coPageArr;
  using coPageArr<T>::get_block;
  int blocks() const { return this->blocks_; }
  int shift() const { return this->block_shift_; }
  int current_block() const { return this->current_block_; }
  const T* current_block_pointer() const { return this->current_; }
};

struct IteratorProbe : intcoPageArrcoIterator {
  using intcoPageArrcoIterator::intcoPageArrcoIterator;
  using intcoPageArrcoIterator::invariant;
};

std::vector<int> contents(const coPageArr<int>& array) {
  std::vector<int> out;
  for (int i = 0; i < array.size(); ++i)
    out.push_back(array[i]);
  return out;
}

std::vector<int> iota(int from, int n) {
  std::vector<int> v(n);
  std::iota(v.begin(), v.end(), from);
  return v;
}

TEST(coPageArr, ElementsStayPutAcrossBlockBoundaries) {
  Probe<int> array(2, 1, 1);  // blocks of 4
  EXPECT_EQ(array.block_size(), 4);
  std::vector<const int*> addresses;
  for (int i = 0; i < 37; ++i) {
    array.append(i * i);
    addresses.push_back(&array[i]);
  }
  EXPECT_EQ(array.blocks(), 10);
  for (int i = 0; i < 37; ++i) {
    ASSERT_EQ(&array[i], addresses[i]) << i;
    ASSERT_EQ(array.read(i), i * i);
  }
  // Positions 3 and 4 sit in different blocks, 4 to 7 in one.
  EXPECT_EQ(&array[7] - &array[4], 3);

  // Growing access far ahead makes every block up to it and switches to its block.
  Probe<double> sparse(3, 1, 1);
  sparse[100] = 1.0;
  EXPECT_EQ(sparse.size(), 101);
  EXPECT_EQ(sparse.blocks(), 13);
  EXPECT_EQ(sparse.current_block(), 12);
  EXPECT_EQ(sparse.current_block_pointer() + 4, &sparse[100]);
}

TEST(coPageArr, ReserveExpandAndGetBlock) {
  Probe<int> array(3, 2, 2);  // blocks of 8
  EXPECT_EQ(array.reserve(0), 1);
  EXPECT_EQ(array.blocks(), 0);
  EXPECT_EQ(array.reserve(9), 1);  // element 8 is in block 1
  EXPECT_EQ(array.blocks(), 2);
  EXPECT_EQ(array.size(), 0);

  EXPECT_EQ(array.expand(0), 1);
  EXPECT_EQ(array.size(), 0);
  EXPECT_EQ(array.expand(20), 1);
  EXPECT_EQ(array.blocks(), 3);
  EXPECT_EQ(array.size(), 20);
  EXPECT_EQ(array.expand(5), 1);  // never lowers the used count
  EXPECT_EQ(array.size(), 20);

  EXPECT_EQ(array.get_block(1), 1);  // an existing block: only a switch
  EXPECT_EQ(array.blocks(), 3);
  EXPECT_EQ(array.current_block(), 1);
}

TEST(coPageArr, ShrinkGivesBackTrailingBlocks) {
  Probe<int> array(2, 1, 1);  // blocks of 4
  for (int i = 0; i < 14; ++i)
    array.append(i);
  EXPECT_EQ(array.blocks(), 4);
  EXPECT_EQ(array.current_block(), 3);

  EXPECT_EQ(array.shrink(9, 0), 1);  // without release only the count drops
  EXPECT_EQ(array.size(), 9);
  EXPECT_EQ(array.blocks(), 4);

  EXPECT_EQ(array.shrink(5, 1), 1);  // 5 elements need 2 blocks
  EXPECT_EQ(array.size(), 5);
  EXPECT_EQ(array.blocks(), 2);
  EXPECT_EQ(array.current_block(), -1);  // block 3 is gone
  EXPECT_EQ(contents(array), iota(0, 5));

  EXPECT_EQ(array.shrink(8, 1), 1);  // a larger n keeps the used count
  EXPECT_EQ(array.size(), 5);

  array.clear(0);
  EXPECT_EQ(array.size(), 0);
  EXPECT_EQ(array.blocks(), 2);
  array.clear(1);
  EXPECT_EQ(array.blocks(), 0);
  EXPECT_EQ(array.current_block(), -1);
  array.append(3);  // usable again after a full clear
  EXPECT_EQ(contents(array), std::vector<int>{3});
}

TEST(coPageArr, RepaginateShrinksTheBlockToFitTheElements) {
  struct Case {
    int shift, used;
    int saved, new_shift;
  };
  for (const Case& c : {
           Case{8, 5, 256 - 8, 3},  // 5 elements fit a block of 8
           Case{8, 8, 256 - 8, 3},  // exactly a power of two
           Case{8, 9, 256 - 16, 4}, Case{8, 1, 256 - 1, 0},
           Case{8, 200, 0, 8},  // already the smallest: only the table is trimmed
       }) {
    Probe<int> array(c.shift, 5, 10);
    for (int i = 0; i < c.used; ++i)
      array.append(100 + i);
    EXPECT_EQ(array.repaginate(), c.saved) << c.used;
    EXPECT_EQ(array.shift(), c.new_shift) << c.used;
    EXPECT_EQ(array.block_size(), 1 << c.new_shift);
    EXPECT_EQ(contents(array), iota(100, c.used)) << c.used;
  }

  Probe<int> full(2, 1, 1);
  for (int i = 0; i < 6; ++i)
    full.append(i);
  EXPECT_EQ(full.repaginate(), 0);  // a whole block's worth: nothing changes
  EXPECT_EQ(full.block_size(), 4);
  EXPECT_EQ(full.blocks(), 2);

  Probe<int> emptied(4, 1, 1);
  emptied.reserve(40);
  EXPECT_EQ(emptied.repaginate(), 3 * 16);  // no elements: every block is given back
  EXPECT_EQ(emptied.blocks(), 0);
}

TEST(coPageArr, RangeCopiesAndReversal) {
  Probe<int> array(2, 1, 1);
  const std::vector<int> source = iota(50, 11);
  EXPECT_EQ(array.copyin(source.data(), 7, 3, 2), 1);  // source[2..8] -> positions 3..9
  EXPECT_EQ(array.size(), 10);
  for (int k = 0; k < 7; ++k)
    EXPECT_EQ(array[3 + k], 52 + k);
  EXPECT_EQ(array.copyin(source.data(), 0, 40, 0), 1);  // nothing to copy, nothing made
  EXPECT_EQ(array.size(), 10);

  std::vector<int> out(9, -1);
  array.copyout(out.data(), 5, 2, 4);  // positions 4..8 -> out[2..6]
  EXPECT_EQ(out, (std::vector<int>{-1, -1, 53, 54, 55, 56, 57, -1, -1}));

  Probe<int> other(3, 1, 1);  // a different block size
  EXPECT_EQ(other.copy(array, 6, 1, 3), 1);
  EXPECT_EQ(other.size(), 7);
  for (int k = 0; k < 6; ++k)
    EXPECT_EQ(other[1 + k], 52 + k);

  // Within one array, overlapping ranges move as if through a buffer.
  EXPECT_EQ(array.copy(array, 7, 5, 3), 1);
  EXPECT_EQ(array.size(), 12);
  for (int k = 0; k < 7; ++k)
    EXPECT_EQ(array[5 + k], 52 + k);

  intcoPageArr values(1, 1, 1);
  for (int i = 0; i < 9; ++i)
    values.append(i);
  values.reverse();
  EXPECT_EQ(contents(values), (std::vector<int>{8, 7, 6, 5, 4, 3, 2, 1, 0}));
}

TEST(coPageArr, CopiesListsAndPrinting) {
  intcoPageArr list{4, 5, 6};
  intcoPageArr copy(utCopy, list);
  copy[0] = 40;
  EXPECT_EQ(contents(list), (std::vector<int>{4, 5, 6}));
  EXPECT_EQ(contents(copy), (std::vector<int>{40, 5, 6}));
  copy.become(utCopy, list);
  EXPECT_EQ(contents(copy), contents(list));

  std::ostringstream out;
  out << list;
  EXPECT_EQ(out.str(), "coPageArr {\n  size 3\n  4\n  5\n  6\n}\n");
  std::ostringstream empty;
  empty << doublecoPageArr();
  EXPECT_EQ(empty.str(), "coPageArr {\n  size 0\n}\n");
}

TEST(coPageArr, IteratorCrossesBlocksAndNoticesChanges) {
  intcoPageArr array(1, 1, 1);  // blocks of 2
  IteratorProbe on_empty(&array);
  EXPECT_EQ(on_empty.next(), nullptr);
  EXPECT_EQ(on_empty.next(), nullptr);

  for (int i = 0; i < 7; ++i)
    array.append(i);
  IteratorProbe it(&array);
  std::vector<int> seen;
  for (const int* p = it.next(); p != nullptr; p = it.next())
    seen.push_back(*p);
  EXPECT_EQ(seen, iota(0, 7));
  EXPECT_EQ(it.next(), nullptr);
  EXPECT_TRUE(it.invariant());

  array.append(7);  // the size changed
  EXPECT_FALSE(it.invariant());
  it.reset();
  seen.clear();
  for (const int* p = it.next(); p != nullptr; p = it.next())
    seen.push_back(*p);
  EXPECT_EQ(seen, iota(0, 8));
}

}  // namespace
