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

using DispatcherTest = testing::MainQueueFixture;
using QueuesTest = testing::MainQueueFixture;

TEST_F(DispatcherTest, EverySubscriptionRunsTheWorkAgainAfterItIsDispatched) {
  AsyncDispatcher dispatcher(DispatchQueue::main());
  int runs = 0;
  auto single = dispatcher.dispatchSingle([&] { return ++runs; });
  std::vector<int> values;
  single.subscribe([&](int v) { values.push_back(v); });
  single.subscribe([&](int v) { values.push_back(v); });
  EXPECT_EQ(runs, 0);  // dispatched, not yet run
  MainRunLoop::runUntilIdle();
  EXPECT_EQ(values, (std::vector<int>{1, 2}));

  // A completable runs its work then completes; disposal does not stop the dispatched work.
  std::vector<std::string> log;
  auto completable = dispatcher.dispatchCompletable([&] { log.push_back("work"); });
  completable.subscribe([&] { log.push_back("completed"); }).dispose();
  MainRunLoop::runUntilIdle();
  EXPECT_EQ(log, (std::vector<std::string>{"work"}));
  completable.subscribe([&] { log.push_back("completed"); });
  MainRunLoop::runUntilIdle();
  EXPECT_EQ(log, (std::vector<std::string>{"work", "work", "completed"}));
}

TEST_F(DispatcherTest, FailedResultsAndThrowingWorkEndTheSequenceWithTheirError) {
  AsyncDispatcher dispatcher(DispatchQueue::main());
  std::vector<std::string> outcomes;
  auto success = [&](int v) { outcomes.push_back("value " + std::to_string(v)); };
  auto failure = [&](std::exception_ptr e) { outcomes.push_back(rx::testing::whatOf(e)); };
  dispatcher.dispatchSingle([] { return Result<int>::success(5); }).subscribe(success, failure);
  dispatcher
      .dispatchSingle([] {
        return Result<int>::failure(std::make_exception_ptr(std::runtime_error("fetch failed")));
      })
      .subscribe(success, failure);
  dispatcher.dispatchSingle([]() -> int { throw std::runtime_error("single"); })
      .subscribe(success, failure);
  dispatcher.dispatchCompletable([] { throw std::runtime_error("completable"); })
      .subscribe([&] { outcomes.push_back("completed"); }, failure);
  MainRunLoop::runUntilIdle();
  EXPECT_EQ(outcomes,
            (std::vector<std::string>{"value 5", "fetch failed", "single", "completable"}));
}

TEST_F(DispatcherTest, OnASerialQueueWorkRunsInOrderAndSyncWaitsItsTurn) {
  AsyncDispatcher dispatcher(queues::serial("test.ordered", DispatchQoS::userInitiated));
  AsyncDispatcher copy = dispatcher;  // copies share the queue
  EXPECT_EQ(copy.queue(), dispatcher.queue());
  std::vector<int> order;  // guarded by the queue alone
  for (int i = 0; i < 500; ++i)
    (i % 2 ? copy : dispatcher).dispatch([&, i] { order.push_back(i); });
  std::size_t seenBySync = dispatcher.sync([&] { return order.size(); });
  EXPECT_EQ(seenBySync, 500u);
  for (int i = 0; i < 500; ++i) ASSERT_EQ(order[i], i);
}

TEST_F(DispatcherTest, SyncReturnsAndRethrowsAndDispatchAfterWaitsForTheDeadline) {
  AsyncDispatcher dispatcher(queues::serial("test.dispatcher", DispatchQoS::utility));
  EXPECT_EQ(dispatcher.sync([] { return 3; }), 3);
  EXPECT_THROW(dispatcher.sync([]() -> int { throw std::logic_error("x"); }), std::logic_error);

  AsyncDispatcher main(DispatchQueue::main());
  bool ran = false;
  main.dispatchAfter(DispatchTime::now() + DispatchTimeInterval::seconds(1), [&] { ran = true; });
  advance(999);
  EXPECT_FALSE(ran);
  advance(1);
  EXPECT_TRUE(ran);
}

TEST_F(QueuesTest, SerialQueuesCarryThePrefixAndTargetTheGlobalQueue) {
  DispatchQueue queue = queues::serial("Logging", DispatchQoS::utility);
  EXPECT_EQ(queue.label(), "com.zorlan.Logging");
  EXPECT_EQ(queue.qos(), DispatchQoS::utility);
  EXPECT_EQ(queue.target(), DispatchQueue::global(DispatchQoS::utility));
  EXPECT_TRUE(queue.isSerial());
}

// On the main thread but inside another queue's sync is not the main queue.
TEST_F(QueuesTest, IsMainAndAsyncMainIfNeededSeeTheMainQueueNotMerelyTheMainThread) {
  EXPECT_FALSE(queues::isMain());  // this thread runs no queue right now
  std::vector<std::string> order;
  DispatchQueue background = queues::serial("test.background", DispatchQoS::standard);
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
  EXPECT_EQ(order,
            (std::vector<std::string>{"inline", "returned", "returned from background",
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
  ASSERT_NE(serial, nullptr);
  EXPECT_EQ(serial->queue().target(), DispatchQueue::global(DispatchQoS::background));
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
