// zorlan/Dispatch/DispatchSourceTimer.hpp: one-shot and repeating timers on the manual dispatch
// clock: arming on resume, cancelling, rescheduling, and skipping missed deadlines.
#include <gtest/gtest.h>

#include "support/MainQueueFixture.hpp"
#include "zorlan/Dispatch/DispatchSourceTimer.hpp"

namespace zorlan {
namespace {

using DispatchSourceTimerTest = testing::MainQueueFixture;

DispatchTime in(int milliseconds) {
  return DispatchTime::now() + DispatchTimeInterval::milliseconds(milliseconds);
}

TEST_F(DispatchSourceTimerTest, OneShotFiresOnceAtItsDeadlineOnlyWhenArmedAndNotReplaced) {
  int fired = 0;
  DispatchSourceTimer timer(DispatchQueue::main());
  timer.setEventHandler([&] { ++fired; });
  timer.schedule(in(100));
  advance(200);
  EXPECT_EQ(fired, 0);  // not resumed yet: nothing was armed
  timer.resume();
  MainRunLoop::runUntilIdle();
  EXPECT_EQ(fired, 1);  // its deadline has passed: fires at once
  advance(1000);
  EXPECT_EQ(fired, 1);

  timer.schedule(in(10));
  timer.schedule(in(50));
  advance(20);
  EXPECT_EQ(fired, 1);  // the replaced deadline no longer counts
  advance(30);
  EXPECT_EQ(fired, 2);
  {  // a destroyed timer never fires
    DispatchSourceTimer gone(DispatchQueue::main());
    gone.setEventHandler([&] { ++fired; });
    gone.schedule(in(10));
    gone.resume();
  }
  advance(20);
  EXPECT_EQ(fired, 2);
}

TEST_F(DispatchSourceTimerTest, RepeatingTimerFiresEachIntervalUntilItsHandlerCancelsIt) {
  int fired = 0;
  DispatchSourceTimer timer(DispatchQueue::main());
  timer.setEventHandler([&] {
    if (++fired == 3) timer.cancel();
  });
  timer.schedule(in(10), DispatchTimeInterval::milliseconds(10));
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

TEST_F(DispatchSourceTimerTest, LateFiringSkipsMissedDeadlinesAndKeepsItsPhase) {
  int fired = 0;
  DispatchSourceTimer timer(DispatchQueue::main());
  timer.setEventHandler([&] { ++fired; });
  timer.schedule(in(10), DispatchTimeInterval::milliseconds(10));
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
