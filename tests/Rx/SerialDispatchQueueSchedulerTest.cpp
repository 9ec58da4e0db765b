#include <gtest/gtest.h>

#include <algorithm>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "zorlan/Rx/ConcurrentDispatchQueueScheduler.hpp"
#include "zorlan/Rx/MainScheduler.hpp"
#include "zorlan/Rx/SerialDispatchQueueScheduler.hpp"

namespace zorlan::rx {
namespace {

// Waits until everything submitted to `queue` so far has run.
void flush(const DispatchQueue& queue) {
  std::promise<void> done;
  queue.async([&] { done.set_value(); });
  done.get_future().wait();
}

TEST(SerialDispatchQueueSchedulerTest, ActionsRunInOrderOneAtATimeOnAQueueTargetingTheGivenOne) {
  DispatchSpecificKey<std::string> key;
  DispatchQueue target("com.zorlan.test.scheduler-target");
  target.setSpecific(key, std::string("target"));
  SerialDispatchQueueScheduler scheduler(target, "com.zorlan.test.internal");
  EXPECT_EQ(scheduler.queue().label(), "com.zorlan.test.internal");
  EXPECT_EQ(scheduler.queue().target(), target);

  std::vector<int> order;
  int inFlight = 0;
  int maxInFlight = 0;
  bool sawTarget = true;
  for (int i = 0; i < 2000; ++i) {
    scheduler.schedule([&, i] {
      maxInFlight = std::max(maxInFlight, ++inFlight);
      order.push_back(i);
      sawTarget = sawTarget && DispatchQueue::currentSpecific(key) == "target";
      --inFlight;
      return Disposable();
    });
  }
  flush(scheduler.queue());
  ASSERT_EQ(order.size(), 2000u);
  EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
  EXPECT_EQ(maxInFlight, 1);
  EXPECT_TRUE(sawTarget);  // ran on a queue that targets the given one
}

TEST(SerialDispatchQueueSchedulerTest, QoSFormTargetsTheGlobalQueueWithTheDefaultName) {
  SerialDispatchQueueScheduler scheduler(DispatchQoS::utility);
  EXPECT_EQ(scheduler.queue().label(), "rx.global_dispatch_queue.serial");
  EXPECT_EQ(scheduler.queue().target(), DispatchQueue::global(DispatchQoS::utility));
  EXPECT_TRUE(scheduler.queue().isSerial());
  EXPECT_EQ(scheduler.leeway(), RxTimeInterval::zero());
  SerialDispatchQueueScheduler unspecified(DispatchQoS::unspecified);
  EXPECT_EQ(unspecified.queue().target(), DispatchQueue::global());
  // Two schedulers never share their internal queue.
  EXPECT_NE(SerialDispatchQueueScheduler(DispatchQoS::utility).queue(), scheduler.queue());
}

TEST(SerialDispatchQueueSchedulerTest, DisposingBeforeTheRunCancelsAfterItDisposesTheResult) {
  SerialDispatchQueueScheduler scheduler(DispatchQoS::standard, "com.zorlan.test.dispose");
  std::promise<void> gate;
  std::shared_future<void> opened = gate.get_future().share();
  scheduler.schedule([opened] {
    opened.wait();
    return Disposable();
  });
  bool cancelledRan = false;
  Disposable cancelled = scheduler.schedule([&] {
    cancelledRan = true;
    return Disposable();
  });
  bool resultDisposed = false;
  Disposable kept =
      scheduler.schedule([&] { return Disposable::create([&] { resultDisposed = true; }); });
  cancelled.dispose();
  EXPECT_TRUE(cancelled.isDisposed());
  gate.set_value();
  flush(scheduler.queue());
  EXPECT_FALSE(cancelledRan);
  EXPECT_FALSE(resultDisposed);
  kept.dispose();
  EXPECT_TRUE(resultDisposed);
}

class MainQueueSchedulerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    MainRunLoop::runUntilIdle();
    DispatchClock::useManualClock(DispatchTime(0));
  }
  void TearDown() override {
    MainRunLoop::runUntilIdle();
    DispatchClock::useSystemClock();
  }
  static void advance(int milliseconds) {
    DispatchClock::advance(DispatchTimeInterval::milliseconds(milliseconds));
    MainRunLoop::runUntilIdle();
  }
};

TEST_F(MainQueueSchedulerTest, RelativeActionsWaitForTheClockAndCancelOnDisposal) {
  auto scheduler = MainScheduler::instance();
  std::vector<std::string> ran;
  auto at = [&](const char* name) {
    return [&ran, name] {
      ran.push_back(name);
      return Disposable();
    };
  };
  scheduler->scheduleRelative(std::chrono::milliseconds(20), at("20ms"));
  scheduler->scheduleRelative(std::chrono::milliseconds(10), at("10ms"));
  scheduler->scheduleRelative(std::chrono::milliseconds(-5), at("past"));
  Disposable cancelled =
      scheduler->scheduleRelative(std::chrono::milliseconds(15), at("cancelled"));
  MainRunLoop::runUntilIdle();
  EXPECT_EQ(ran, (std::vector<std::string>{"past"}));
  cancelled.dispose();
  advance(9);
  EXPECT_EQ(ran, (std::vector<std::string>{"past"}));
  advance(11);
  EXPECT_EQ(ran, (std::vector<std::string>{"past", "10ms", "20ms"}));
}

TEST_F(MainQueueSchedulerTest, PeriodicActionsKeepTheirPhaseAndStopOnDisposal) {
  struct Case {
    const char* name;
    SchedulerPtr scheduler;
  };
  const Case cases[] = {
      {"main", MainScheduler::instance()},
      {"async main", MainScheduler::asyncInstance()},
      {"concurrent over main",
       std::make_shared<ConcurrentDispatchQueueScheduler>(DispatchQueue::main())},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    int fired = 0;
    Disposable periodic = c.scheduler->schedulePeriodic(
        std::chrono::milliseconds(5), std::chrono::milliseconds(10), [&] { ++fired; });
    // Work whose result is dropped runs on (its next run is a century away).
    auto undisposed = std::make_shared<int>(0);
    c.scheduler->schedulePeriodic(RxTimeInterval::zero(), std::chrono::hours(24 * 365 * 100),
                                  [undisposed] { ++*undisposed; });
    advance(4);
    EXPECT_EQ(*undisposed, 1);
    EXPECT_EQ(fired, 0);
    advance(1);  // t = 5
    EXPECT_EQ(fired, 1);
    advance(10);  // t = 15
    EXPECT_EQ(fired, 2);
    advance(27);  // t = 42: three deadlines passed, one firing
    EXPECT_EQ(fired, 3);
    advance(3);  // t = 45: still on the 5 + 10n grid
    EXPECT_EQ(fired, 4);
    periodic.dispose();
    EXPECT_TRUE(periodic.isDisposed());
    advance(100);
    EXPECT_EQ(fired, 4);
  }
}

}  // namespace
}  // namespace zorlan::rx
