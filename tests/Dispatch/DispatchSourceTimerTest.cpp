#include "zorlan/Dispatch/DispatchSourceTimer.hpp"

#include <gtest/gtest.h>

namespace zorlan {
namespace {

class DispatchSourceTimerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    MainRunLoop::runUntilIdle();
    DispatchClock::useManualClock(DispatchTime(0));
  }
  void TearDown() override {
    MainRunLoop::runUntilIdle();
    DispatchClock::useSystemClock();
  }
  void advance(int milliseconds) {
    DispatchClock::advance(DispatchTimeInterval::milliseconds(milliseconds));
    MainRunLoop::runUntilIdle();
  }
};

TEST_F(DispatchSourceTimerTest, OneShotFiresOnceAtItsDeadline) {
  int fired = 0;
  DispatchSourceTimer timer(DispatchQueue::main());
  timer.setEventHandler([&] { ++fired; });
  timer.schedule(DispatchTime::now() + DispatchTimeInterval::milliseconds(100));
  advance(200);
  EXPECT_EQ(fired, 0);  // not resumed yet: nothing was armed
  timer.resume();
  MainRunLoop::runUntilIdle();
  EXPECT_EQ(fired, 1);  // its deadline has passed: fires at once
  advance(1000);
  EXPECT_EQ(fired, 1);
}

TEST_F(DispatchSourceTimerTest, RepeatingTimerFiresEachIntervalUntilCancelled) {
  int fired = 0;
  DispatchSourceTimer timer(DispatchQueue::main());
  timer.setEventHandler([&] { ++fired; });
  timer.schedule(DispatchTime::now() + DispatchTimeInterval::milliseconds(10),
                 DispatchTimeInterval::milliseconds(10));
  timer.resume();
  advance(9);
  EXPECT_EQ(fired, 0);
  advance(1);
  EXPECT_EQ(fired, 1);
  advance(10);
  advance(10);
  EXPECT_EQ(fired, 3);
  timer.cancel();
  advance(100);
  EXPECT_EQ(fired, 3);
  EXPECT_TRUE(timer.isCancelled());
}

TEST_F(DispatchSourceTimerTest, RescheduleReplacesThePendingDeadline) {
  int fired = 0;
  DispatchSourceTimer timer(DispatchQueue::main());
  timer.setEventHandler([&] { ++fired; });
  timer.schedule(DispatchTime::now() + DispatchTimeInterval::milliseconds(10));
  timer.resume();
  timer.schedule(DispatchTime::now() + DispatchTimeInterval::milliseconds(50));
  advance(20);
  EXPECT_EQ(fired, 0);  // the first deadline no longer counts
  advance(30);
  EXPECT_EQ(fired, 1);
}

TEST_F(DispatchSourceTimerTest, DestroyedTimerNeverFires) {
  int fired = 0;
  {
    DispatchSourceTimer timer(DispatchQueue::main());
    timer.setEventHandler([&] { ++fired; });
    timer.schedule(DispatchTime::now() + DispatchTimeInterval::milliseconds(10));
    timer.resume();
  }
  advance(20);
  EXPECT_EQ(fired, 0);
}

}  // namespace
}  // namespace zorlan
