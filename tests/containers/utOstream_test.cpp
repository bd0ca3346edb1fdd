#include "containers/utOstream.h"

#include <gtest/gtest.h>

#include <iomanip>
#include <sstream>

namespace {

TEST(utOstream, IndentsEveryLineOfNestedStreams) {
  std::ostringstream os;
  utOstream top(os, 0, 2);
  top << "a" << 1 << std::endl;
  {
    utOstream one(utOstreamTabSpaces, top, 1, 0);
    one << "b\nc" << std::endl;
    utOstream three(utOstreamTabSpaces, one, 2, 3);  // its own width: 3 levels of 3
    three << 2.5 << '\n';
    utOstream tabs(utOstreamTabTabs, one, 1, 0);
    tabs << "d" << std::endl;
  }
  top << "e" << std::endl;
  EXPECT_EQ(os.str(), "a1\n  b\n  c\n         2.5\n\t\td\ne\n");
}

TEST(utOstream, PassesManipulatorsToTheUnderlyingStream) {
  std::ostringstream os;
  utOstream out(os, 1, 4);
  out << std::fixed << 1.0 << ' ' << 7L << std::endl;
  EXPECT_EQ(os.str(), "    1.000000 7\n");
  EXPECT_TRUE(out.get_ostream().flags() & std::ios::fixed);
}

}  // namespace
