#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <thread>
#include <vector>

#include "zorlan/Dispatch/DispatchQueue.hpp"

namespace zorlan {
namespace {

class MainRunLoopTest : public ::testing::Test {
 protected:
  void SetUp() override {
    MainRunLoop::runUntilIdle();
    DispatchClock::useManualClock(DispatchTime(1'000'000'000));
  }
  void TearDown() override {
    MainRunLoop::runUntilIdle();
    DispatchClock::useSystemClock();
  }
};

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
  MainRunLoop::runUntilIdle();
  EXPECT_TRUE(ran.empty());
  DispatchClock::advance(DispatchTimeInterval::milliseconds(999));
  MainRunLoop::runUntilIdle();
  EXPECT_TRUE(ran.empty());  // one nanosecond early
  DispatchClock::advance(DispatchTimeInterval::milliseconds(1));
  MainRunLoop::runUntilIdle();
  EXPECT_EQ(ran, (std::vector<std::string>{"1s"}));
  DispatchClock::advance(DispatchTimeInterval::seconds(5));
  MainRunLoop::runUntilIdle();
  EXPECT_EQ(ran, (std::vector<std::string>{"1s", "2s"}));
}

TEST_F(MainRunLoopTest, RunForReturnsWhenItsTimeIsUp) {
  int ran = 0;
  DispatchQueue::main().async([&] { ++ran; });
  MainRunLoop::runFor(std::chrono::milliseconds(1));
  EXPECT_EQ(ran, 1);
}

// Moving the manual clock, or leaving it for the system clock (on which the
// work is long overdue), wakes a host waiting in `run()` to run it.
TEST_F(MainRunLoopTest, ClockChangesWakeAWaitingHost) {
  const struct {
    const char* name;
    void (*change)();
  } cases[] = {
      {"advance", [] { DispatchClock::advance(DispatchTimeInterval::seconds(1)); }},
      {"system clock", [] { DispatchClock::useSystemClock(); }},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    DispatchClock::useManualClock(DispatchTime(1'000'000'000));
    bool ran = false;
    DispatchQueue::main().asyncAfter(DispatchTime::now() + DispatchTimeInterval::seconds(1), [&] {
      ran = true;
      MainRunLoop::stop();
    });
    std::promise<void> returned;
    std::atomic<bool> rescued{false};
    std::thread tester([&] {
      c.change();
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

TEST_F(MainRunLoopTest, StopBeforeRunMakesTheNextRunReturnAtOnce) {
  MainRunLoop::stop();
  MainRunLoop::run();  // would block forever if the request were lost
  int ran = 0;
  DispatchQueue::main().async([&] { ++ran; });
  EXPECT_EQ(MainRunLoop::runUntilIdle(), 1u);
  EXPECT_EQ(ran, 1);
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
