#include <gtest/gtest.h>

#include "zorlan/Dispatch/DispatchSourceTimer.hpp"

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

TEST_F(DispatchSourceTimerTest, RepeatingTimerFiresEachIntervalUntilItsHandlerCancelsIt) {
  int fired = 0;
  DispatchSourceTimer timer(DispatchQueue::main());
  timer.setEventHandler([&] {
    if (++fired == 3) timer.cancel();
  });
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
  advance(100);
  EXPECT_EQ(fired, 3);
  EXPECT_TRUE(timer.isCancelled());
  timer.resume();  // a cancelled timer stays cancelled
  advance(10);
  EXPECT_EQ(fired, 3);
}

TEST_F(DispatchSourceTimerTest, RescheduleOrDestructionDropsThePendingDeadline) {
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

  {  // a destroyed timer never fires
    DispatchSourceTimer gone(DispatchQueue::main());
    gone.setEventHandler([&] { ++fired; });
    gone.schedule(DispatchTime::now() + DispatchTimeInterval::milliseconds(10));
    gone.resume();
  }
  advance(20);
  EXPECT_EQ(fired, 1);
}

TEST_F(DispatchSourceTimerTest, LateFiringSkipsMissedDeadlinesAndKeepsItsPhase) {
  int fired = 0;
  DispatchSourceTimer timer(DispatchQueue::main());
  timer.setEventHandler([&] { ++fired; });
  timer.schedule(DispatchTime::now() + DispatchTimeInterval::milliseconds(10),
                 DispatchTimeInterval::milliseconds(10));
  timer.resume();
  advance(55);  // five deadlines passed while nobody ran the main queue
  EXPECT_EQ(fired, 1);
  advance(4);  // t = 59: the next deadline is 60, not 65
  EXPECT_EQ(fired, 1);
  advance(1);
  EXPECT_EQ(fired, 2);
}

TEST(DispatchSourceTimerDeathTest, NonPositiveRepeatIntervalStops) {
  DispatchSourceTimer timer(DispatchQueue::main());
  EXPECT_DEATH(timer.schedule(DispatchTime(0), DispatchTimeInterval::nanoseconds(0)),
               "interval must be positive");
}

}  // namespace
}  // namespace zorlan
