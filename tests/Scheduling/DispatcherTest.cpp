// zorlan/Scheduling/Dispatcher.hpp, Queues.hpp, SchedulerFactory.hpp: work dispatched as singles
// and completables, the library's queues and the schedulers handed out.
#include <gtest/gtest.h>

#include <future>
#include <thread>

#include "Rx/RxTestSupport.hpp"
#include "support/MainQueueFixture.hpp"
#include "zorlan/Rx/ConcurrentDispatchQueueScheduler.hpp"
#include "zorlan/Rx/MainScheduler.hpp"
#include "zorlan/Scheduling/Dispatcher.hpp"
#include "zorlan/Scheduling/Queues.hpp"
#include "zorlan/Scheduling/SchedulerFactory.hpp"

namespace zorlan {
namespace {

using rx::testing::Ints;
using Strings = std::vector<std::string>;
using DispatcherTest = testing::MainQueueFixture;
using QueuesTest = testing::MainQueueFixture;

TEST_F(DispatcherTest, EverySubscriptionRunsTheWorkAgainAfterItIsDispatched) {
  AsyncDispatcher dispatcher(DispatchQueue::main());
  int runs = 0;
  auto single = dispatcher.dispatchSingle([&] { return ++runs; });
  Ints values;
  single.subscribe([&](int v) { values.push_back(v); });
  single.subscribe([&](int v) { values.push_back(v); });
  EXPECT_EQ(runs, 0);  // dispatched, not yet run
  MainRunLoop::runUntilIdle();
  EXPECT_EQ(values, (Ints{1, 2}));

  // A completable runs its work then completes; disposal does not stop the dispatched work.
  Strings log;
  auto completable = dispatcher.dispatchCompletable([&] { log.push_back("work"); });
  completable.subscribe([&] { log.push_back("completed"); }).dispose();
  MainRunLoop::runUntilIdle();
  EXPECT_EQ(log, (Strings{"work"}));
  completable.subscribe([&] { log.push_back("completed"); });
  MainRunLoop::runUntilIdle();
  EXPECT_EQ(log, (Strings{"work", "work", "completed"}));
}

TEST_F(DispatcherTest, FailedResultsAndThrowingWorkEndTheSequenceWithTheirError) {
  AsyncDispatcher dispatcher(DispatchQueue::main());
  Strings outcomes;
  auto success = [&](int v) { outcomes.push_back("value " + std::to_string(v)); };
  auto failure = [&](std::exception_ptr e) { outcomes.push_back(rx::testing::whatOf(e)); };
  dispatcher.dispatchSingle([] { return Result<int>::success(5); }).subscribe(success, failure);
  dispatcher
      .dispatchSingle([] { return Result<int>::failure(rx::testing::failure("fetch failed")); })
      .subscribe(success, failure);
  dispatcher.dispatchSingle([]() -> int { throw std::runtime_error("single"); })
      .subscribe(success, failure);
  dispatcher.dispatchCompletable([] { throw std::runtime_error("completable"); })
      .subscribe([&] { outcomes.push_back("completed"); }, failure);
  MainRunLoop::runUntilIdle();
  EXPECT_EQ(outcomes, (Strings{"value 5", "fetch failed", "single", "completable"}));
}

TEST_F(DispatcherTest, OnASerialQueueWorkRunsInOrderSyncWaitsItsTurnAndRethrows) {
  AsyncDispatcher dispatcher(queues::serial("test.ordered", DispatchQoS::userInitiated));
  AsyncDispatcher copy = dispatcher;  // copies share the queue
  Ints order;                         // guarded by the queue alone
  for (int i = 0; i < 500; ++i)
    (i % 2 ? copy : dispatcher).dispatch([&, i] { order.push_back(i); });
  EXPECT_EQ(dispatcher.sync([&] { return order.size(); }), 500u);
  for (int i = 0; i < 500; ++i) ASSERT_EQ(order[i], i);
  EXPECT_THROW(dispatcher.sync([]() -> int { throw std::logic_error("x"); }), std::logic_error);

  bool ran = false;
  AsyncDispatcher(DispatchQueue::main())
      .dispatchAfter(DispatchTime::now() + DispatchTimeInterval::seconds(1), [&] { ran = true; });
  advance(999);
  EXPECT_FALSE(ran);
  advance(1);
  EXPECT_TRUE(ran);
}

// Serial queues carry the prefix. On the main thread but inside another queue's sync is not the
// main queue.
TEST_F(QueuesTest, IsMainAndAsyncMainIfNeededSeeTheMainQueueNotMerelyTheMainThread) {
  DispatchQueue background = queues::serial("test.background", DispatchQoS::utility);
  EXPECT_EQ(background.label(), "com.zorlan.test.background");
  EXPECT_FALSE(queues::isMain());  // this thread runs no queue right now
  Strings order;
  DispatchQueue::main().async([&] {
    EXPECT_TRUE(queues::isMain());
    queues::asyncMainIfNeeded([&] { order.push_back("inline"); });
    order.push_back("returned");
    background.sync([&] {
      EXPECT_FALSE(queues::isMain());
      queues::asyncMainIfNeeded([&] { order.push_back("deferred from background"); });
      order.push_back("returned from background");
    });
  });
  MainRunLoop::runUntilIdle();
  queues::asyncMainIfNeeded([&] { order.push_back("deferred"); });
  order.push_back("returned first");
  MainRunLoop::runUntilIdle();
  EXPECT_EQ(order, (Strings{"inline", "returned", "returned from background",
                            "deferred from background", "returned first", "deferred"}));
  std::promise<bool> onPool;
  background.async([&] { onPool.set_value(queues::isMain()); });
  EXPECT_FALSE(onPool.get_future().get());
}

TEST(SchedulersTest, HandsOutSharedAndFreshSchedulersAsDocumented) {
  Schedulers schedulers;
  EXPECT_EQ(schedulers.mainShared(), rx::MainScheduler::instance());
  EXPECT_EQ(schedulers.asyncShared(), rx::MainScheduler::asyncInstance());
  EXPECT_NE(schedulers.mainInstance(), schedulers.mainInstance());

  auto serial = std::dynamic_pointer_cast<rx::SerialDispatchQueueScheduler>(
      schedulers.serialInstance(DispatchQoS::background));
  EXPECT_NE(serial, nullptr);
  auto named = std::dynamic_pointer_cast<rx::SerialDispatchQueueScheduler>(
      schedulers.serialInstance(DispatchQoS::utility, "com.zorlan.timer"));
  EXPECT_EQ(named->queue().label(), "com.zorlan.timer");

  auto concurrent = std::dynamic_pointer_cast<rx::ConcurrentDispatchQueueScheduler>(
      schedulers.concurrentInstance(DispatchQoS::userInitiated));
  ASSERT_NE(concurrent, nullptr);
  EXPECT_EQ(concurrent->queue(), DispatchQueue::global(DispatchQoS::userInitiated));
}

}  // namespace
}  // namespace zorlan
