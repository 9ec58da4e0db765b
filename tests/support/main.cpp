// Entry point shared by every test executable.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

int main(int argc, char** argv) {
  // Threads exist in most suites (queues, pools); fork-and-exec death tests
  // are the safe style there.
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  testing::InitGoogleMock(&argc, argv);
  return RUN_ALL_TESTS();
}
