// zorlan/Dispatch/MainRunLoop.hpp: the host runs the main queue: order, delayed work on the
// dispatch clock, waking, stopping, and the stops on running or syncing onto it from its own work.
#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>

#include "support/MainQueueFixture.hpp"
#include "zorlan/Dispatch/MainRunLoop.hpp"

namespace zorlan {
namespace {

using MainRunLoopTest = testing::MainQueueFixture;

TEST_F(MainRunLoopTest, WorkWaitsForTheHostAndRunsInOrderWithWhatItSubmits) {
  std::vector<int> order;
  DispatchQueue::main().async([&] {
    order.push_back(1);
    DispatchQueue::main().async([&] { order.push_back(3); });
  });
  DispatchQueue::main().async([&] { order.push_back(2); });
  EXPECT_TRUE(order.empty());  // nothing runs until the host runs the queue
  EXPECT_EQ(MainRunLoop::runUntilIdle(), 3u);
  EXPECT_EQ(order, (std::vector<int>{1, 2, 3}));
  // A stop requested before running makes the next run return at once.
  MainRunLoop::stop();
  MainRunLoop::run();  // would block forever if the request were lost
  DispatchQueue::main().async([&] { order.push_back(4); });
  MainRunLoop::runFor(std::chrono::milliseconds(1));  // returns when its time is up
  EXPECT_EQ(order.back(), 4);
}

TEST_F(MainRunLoopTest, DelayedWorkRunsWhenTheManualClockReachesItsDeadline) {
  std::vector<std::string> ran;
  auto now = DispatchTime::now();
  DispatchQueue::main().asyncAfter(now + DispatchTimeInterval::seconds(2),
                                   [&] { ran.push_back("2s"); });
  DispatchQueue::main().asyncAfter(now + DispatchTimeInterval::seconds(1),
                                   [&] { ran.push_back("1s"); });
  DispatchWorkItem cancelled([&] { ran.push_back("cancelled"); });
  DispatchQueue::main().asyncAfter(now + DispatchTimeInterval::milliseconds(500), cancelled);
  cancelled.cancel();
  advance(999);
  EXPECT_TRUE(ran.empty());  // one millisecond early
  advance(1);
  EXPECT_EQ(ran, (std::vector<std::string>{"1s"}));
  advance(5000);
  EXPECT_EQ(ran, (std::vector<std::string>{"1s", "2s"}));
}

// Moving the manual clock, or leaving it for the system clock (on which the work is long
// overdue), wakes a host waiting in `run()` to run it.
TEST_F(MainRunLoopTest, ClockChangesWakeAWaitingHost) {
  const std::pair<const char*, void (*)()> cases[] = {
      {"advance", [] { DispatchClock::advance(DispatchTimeInterval::seconds(1)); }},
      {"system clock", [] { DispatchClock::useSystemClock(); }}};
  for (const auto& [name, change] : cases) {
    SCOPED_TRACE(name);
    DispatchClock::useManualClock(DispatchTime(1'000'000'000));
    bool ran = false;
    DispatchQueue::main().asyncAfter(DispatchTime::now() + DispatchTimeInterval::seconds(1), [&] {
      ran = true;
      MainRunLoop::stop();
    });
    std::promise<void> returned;
    std::atomic<bool> rescued{false};
    std::thread tester([&, change = change] {
      change();
      // A guard, not a timing assertion: a host that never wakes is rescued.
      if (returned.get_future().wait_for(std::chrono::seconds(30)) != std::future_status::ready) {
        rescued = true;
        MainRunLoop::stop();
      }
    });
    MainRunLoop::run();
    returned.set_value();
    tester.join();
    EXPECT_TRUE(ran);
    EXPECT_FALSE(rescued.load());
    MainRunLoop::runUntilIdle();  // after a rescue, the work still refers to `ran`
  }
}

TEST(MainRunLoopDeathTest, RunningOrSyncingOntoTheMainQueueFromItsOwnWorkStops) {
  EXPECT_DEATH(
      {
        DispatchQueue::main().async([] { MainRunLoop::runUntilIdle(); });
        MainRunLoop::runUntilIdle();
      },
      "main queue is already being run");
  EXPECT_DEATH(
      {
        DispatchQueue::main().async([] { DispatchQueue::main().sync([] {}); });
        MainRunLoop::runUntilIdle();
      },
      "would deadlock");
  // Nobody else runs the main queue: waiting for it would be waiting forever.
  EXPECT_DEATH(DispatchQueue::main().sync([] {}), "main queue is not being run");
  EXPECT_DEATH(
      {
        MainRunLoop::runUntilIdle();
        DispatchQueue child("com.zorlan.test.on-main", DispatchQoS::unspecified,
                            DispatchQueue::main());
        child.async([] {});
        child.sync([] {});
      },
      "main queue is not being run");
}

}  // namespace
}  // namespace zorlan
