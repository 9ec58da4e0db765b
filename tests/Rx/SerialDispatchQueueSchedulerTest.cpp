// zorlan/Rx/SerialDispatchQueueScheduler.hpp: one action at a time, in order, on an internal
// queue targeting the given one; disposal before the run cancels, after it disposes the result.
#include <gtest/gtest.h>

#include <algorithm>
#include <future>

#include "RxTestSupport.hpp"
#include "zorlan/Rx/SerialDispatchQueueScheduler.hpp"

namespace zorlan::rx {
namespace {

TEST(SerialDispatchQueueSchedulerTest, ActionsRunInOrderOneAtATimeOnAQueueTargetingTheGivenOne) {
  DispatchSpecificKey<std::string> key;
  DispatchQueue target("com.zorlan.test.scheduler-target");
  target.setSpecific(key, std::string("target"));
  SerialDispatchQueueScheduler scheduler(target, "com.zorlan.test.internal");
  std::vector<int> order;
  int inFlight = 0;
  int maxInFlight = 0;
  bool sawTarget = true;
  for (int i = 0; i < 2000; ++i) {
    scheduler.schedule(testing::act([&, i] {
      maxInFlight = std::max(maxInFlight, ++inFlight);
      order.push_back(i);
      sawTarget = sawTarget && DispatchQueue::currentSpecific(key) == "target";
      --inFlight;
    }));
  }
  scheduler.queue().sync([] {});  // everything before has run
  ASSERT_EQ(order.size(), 2000u);
  EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
  EXPECT_EQ(maxInFlight, 1);
  EXPECT_TRUE(sawTarget);  // ran on a queue that targets the given one
}

TEST(SerialDispatchQueueSchedulerTest, QoSFormTargetsTheGlobalQueueWithTheDefaultName) {
  SerialDispatchQueueScheduler scheduler(DispatchQoS::utility);
  EXPECT_EQ(scheduler.queue().label(), "rx.global_dispatch_queue.serial");
  EXPECT_EQ(scheduler.queue().target(), DispatchQueue::global(DispatchQoS::utility));
  // Two schedulers never share their internal queue.
  EXPECT_NE(SerialDispatchQueueScheduler(DispatchQoS::utility).queue(), scheduler.queue());
}

TEST(SerialDispatchQueueSchedulerTest, DisposingBeforeTheRunCancelsAfterItDisposesTheResult) {
  SerialDispatchQueueScheduler scheduler(DispatchQoS::standard, "com.zorlan.test.dispose");
  std::promise<void> gate;
  scheduler.schedule(testing::act([opened = gate.get_future().share()] { opened.wait(); }));
  bool cancelledRan = false;
  Disposable cancelled = scheduler.schedule(testing::act([&] { cancelledRan = true; }));
  bool resultDisposed = false;
  Disposable kept =
      scheduler.schedule([&] { return Disposable::create([&] { resultDisposed = true; }); });
  cancelled.dispose();
  EXPECT_TRUE(cancelled.isDisposed());
  gate.set_value();
  scheduler.queue().sync([] {});  // everything before has run
  EXPECT_FALSE(cancelledRan);
  EXPECT_FALSE(resultDisposed);
  kept.dispose();
  EXPECT_TRUE(resultDisposed);
}

}  // namespace
}  // namespace zorlan::rx
