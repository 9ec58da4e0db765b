// MainQueueFixture: for tests of work on the main queue and of time on the dispatch clock. Runs
// the main queue dry before and after each test, and puts the dispatch clock under the test's
// control (a manual clock at 0) until the test ends.
#pragma once

#include <gtest/gtest.h>

#include "zorlan/Dispatch/DispatchQueue.hpp"

namespace zorlan::testing {

class MainQueueFixture : public ::testing::Test {
 protected:
  void SetUp() override {
    MainRunLoop::runUntilIdle();
    DispatchClock::useManualClock(DispatchTime(0));
  }
  void TearDown() override {
    MainRunLoop::runUntilIdle();
    DispatchClock::useSystemClock();
  }
  // Moves the clock on and runs what became due.
  static void advance(int milliseconds) {
    DispatchClock::advance(DispatchTimeInterval::milliseconds(milliseconds));
    MainRunLoop::runUntilIdle();
  }
};

}  // namespace zorlan::testing
