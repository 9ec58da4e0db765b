// zorlan/Base/Precondition.hpp: ZORLAN_PRECONDITION and ZORLAN_FATAL stop with their message.
#include <gtest/gtest.h>

#include "zorlan/Base/Precondition.hpp"

namespace {

TEST(PreconditionDeathTest, StopsWithTheMessageOnlyWhenViolated) {
  ZORLAN_PRECONDITION(1 + 1 == 2, "never printed");
  EXPECT_DEATH(ZORLAN_PRECONDITION(false, "chunk size must be positive"),
               "Precondition failed: chunk size must be positive");
  EXPECT_DEATH(ZORLAN_FATAL("unreachable"), "Fatal error: unreachable");
}

}  // namespace
