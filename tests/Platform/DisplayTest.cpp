// zorlan/Platform/Display.hpp: the host's scale is kept; an unusable one stops the process.
#include <gtest/gtest.h>

#include <limits>

#include "zorlan/Platform/Display.hpp"

namespace zorlan {
namespace {

TEST(DisplayTest, KeepsTheHostsScaleAndRefusesUnusableOnes) {
  EXPECT_EQ(Display::scale(), 1.0);
  Display::setScale(3.0);
  EXPECT_EQ(Display::scale(), 3.0);
  Display::setScale(1.0);
  for (double bad : {0.0, -2.0, std::numeric_limits<double>::quiet_NaN(),
                     std::numeric_limits<double>::infinity()}) {
    EXPECT_DEATH(Display::setScale(bad), "display scale") << bad;
  }
}

}  // namespace
}  // namespace zorlan
