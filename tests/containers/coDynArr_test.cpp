#include "containers/coDynArr.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace {

// Exposes the capacity and the iterator's validity test, which the public interface keeps
// to itself.
template <class T>
struct Probe : coDynArr<T> {
  using coDynArr<T>::coDynArr;
  int allocated() const { return this->allocated_; }
};

struct IteratorProbe : doublecoDynArrcoIterator {
  using doublecoDynArrcoIterator::doublecoDynArrcoIterator;
  using doublecoDynArrcoIterator::invariant;
};

std::vector<int> capacities_while_appending(Probe<int>& array, int count) {
  std::vector<int> seen;
  for (int i = 0; i < count; ++i) {
    array.append(i);
    if (seen.empty() || seen.back() != array.allocated()) seen.push_back(array.allocated());
  }
  return seen;
}

TEST(coDynArr, GrowsByWholeIncrements) {
  Probe<int> by_one;
  EXPECT_EQ(capacities_while_appending(by_one, 5), (std::vector<int>{1, 2, 3, 4, 5}));

  Probe<int> by_sixteen(0, 16);
  EXPECT_EQ(capacities_while_appending(by_sixteen, 40), (std::vector<int>{16, 32, 48}));

  Probe<int> presized(10, 3);
  EXPECT_EQ(presized.allocated(), 10);
  EXPECT_EQ(capacities_while_appending(presized, 17), (std::vector<int>{10, 13, 16, 19}));

  // A jump far past the end grows by as many whole increments as it takes.
  Probe<double> jump(4, 5);
  jump[21] = 1.0;
  EXPECT_EQ(jump.allocated(), 24);
  EXPECT_EQ(jump.size(), 22);

  for (int i = 0; i < 40; ++i)
    ASSERT_EQ(by_sixteen[i], i);
}

TEST(coDynArr, GrowingAccessRaisesUsedOnlyAsFarAsTheIndex) {
  Probe<double> array(8, 1);
  array[2] = 7.0;
  EXPECT_EQ(array.size(), 3);
  EXPECT_EQ(array.allocated(), 8);
  array[0] = 1.0;  // inside the used range: no change of size
  EXPECT_EQ(array.size(), 3);
  const Probe<double>& view = array;
  EXPECT_EQ(view[2], 7.0);
}

TEST(coDynArr, ReserveExpandShrinkAndClear) {
  Probe<double> array(0, 4);
  EXPECT_EQ(array.reserve(0), 1);
  EXPECT_EQ(array.data(), nullptr);
  EXPECT_EQ(array.reserve(6), 1);
  EXPECT_EQ(array.allocated(), 8);
  EXPECT_EQ(array.size(), 0);

  EXPECT_EQ(array.expand(5), 1);
  EXPECT_EQ(array.size(), 5);
  EXPECT_EQ(array.expand(3), 1);  // never lowers the used count
  EXPECT_EQ(array.size(), 5);
  for (int i = 0; i < 5; ++i)
    array[i] = i + 0.5;

  EXPECT_EQ(array.shrink(3, 0), 1);  // keeps the buffer
  EXPECT_EQ(array.size(), 3);
  EXPECT_EQ(array.allocated(), 8);
  EXPECT_EQ(array.shrink(4, 1), 1);  // cuts the buffer, used stays 3
  EXPECT_EQ(array.size(), 3);
  EXPECT_EQ(array.allocated(), 4);
  EXPECT_EQ(array[2], 2.5);

  EXPECT_EQ(array.shrink(0, 0), 1);
  EXPECT_EQ(array.size(), 0);
  EXPECT_EQ(array.allocated(), 4);
  EXPECT_NE(array.data(), nullptr);
  EXPECT_EQ(array.shrink(0, 1), 1);
  EXPECT_EQ(array.allocated(), 0);
  EXPECT_EQ(array.data(), nullptr);

  array.expand(3);
  array.clear(0);
  EXPECT_EQ(array.size(), 0);
  EXPECT_EQ(array.allocated(), 4);
  array.clear(1);
  EXPECT_EQ(array.allocated(), 0);
  EXPECT_EQ(array.data(), nullptr);
}

TEST(coDynArr, AllocationFailureLeavesTheArrayAsItWas) {
  Probe<double> array(2, 1 << 30);
  array.append(1.0);
  array.append(2.0);
  const double* before = array.data();
  // Growth by whole increments of 2^30 would need a capacity beyond INT_MAX.
  EXPECT_EQ(array.reserve(2147483647), 0);
  EXPECT_EQ(array.expand(2147483647), 0);
  EXPECT_EQ(array.size(), 2);
  EXPECT_EQ(array.data(), before);
  EXPECT_EQ(array[1], 2.0);
}

TEST(coDynArr, CopiesAreDeepAndExplicit) {
  doublecoDynArr original{1.0, 2.0, 3.0};
  doublecoDynArr copy(utCopy, original);
  ASSERT_EQ(copy.size(), 3);
  EXPECT_NE(copy.data(), original.data());
  copy[0] = 9.0;
  EXPECT_EQ(original[0], 1.0);

  doublecoDynArr target{5.0, 6.0, 7.0, 8.0, 9.0};
  target.become(utCopy, original);
  EXPECT_EQ(target.size(), 3);
  EXPECT_EQ(target[2], 3.0);
  target.become(utCopy, target);
  EXPECT_EQ(target.size(), 3);
}

TEST(coDynArr, IteratorWalksTheElementsAndNoticesReallocation) {
  Probe<double> array(0, 2);
  {
    IteratorProbe empty(&array);
    EXPECT_EQ(empty.next(), nullptr);
  }
  array.append(1.0);
  array.append(2.0);
  IteratorProbe it(&array);
  std::vector<double> seen;
  for (const double* p = it.next(); p != nullptr; p = it.next())
    seen.push_back(*p);
  EXPECT_EQ(seen, (std::vector<double>{1.0, 2.0}));
  EXPECT_TRUE(it.invariant());

  array.append(3.0);  // capacity 2 -> 4: the buffer moves
  EXPECT_FALSE(it.invariant());
  it.reset();
  EXPECT_TRUE(it.invariant());
  array.append(4.0);  // fits, but the size changed
  EXPECT_FALSE(it.invariant());
}

TEST(coDynArr, PrintsInTheContainerFormat) {
  std::ostringstream empty_out;
  empty_out << intcoDynArr();
  EXPECT_EQ(empty_out.str(), "coDynArr {\n  size 0\n}\n");

  std::ostringstream out;
  out << doublecoDynArr{1.5, -2.0, 1e-7};
  EXPECT_EQ(out.str(), "coDynArr {\n  size 3\n  1.5\n  -2\n  1e-07\n}\n");

  // Inside an indented stream the whole block moves one level deeper.
  std::ostringstream nested_out;
  utOstream top(nested_out, 0, 4);
  top << "outer" << std::endl;
  {
    utOstream inner(utOstreamTabSpaces, top, 1, 0);
    inner << intcoDynArr{7};
  }
  EXPECT_EQ(nested_out.str(), "outer\n    coDynArr {\n        size 1\n        7\n    }\n");
}

#if defined(PASKOSDA_CHECKED)
TEST(coDynArrDeathTest, CheckedBuildsStopOnANegativeIndex) {
  doublecoDynArr array{1.0};
  EXPECT_DEATH(array[-1] = 0.0, "coDynArr::operator\\[\\]\\(i = -1\\)");
}
#endif

}  // namespace
