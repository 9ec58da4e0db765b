// zorlan/Rx/MainScheduler.hpp, ConcurrentMainScheduler.hpp, Driver.hpp: where and when work
// scheduled on the main queue runs, its timing on the dispatch clock, and drivers and signals.
#include <gtest/gtest.h>

#include <thread>

#include "RxTestSupport.hpp"
#include "support/MainQueueFixture.hpp"
#include "zorlan/Rx/ConcurrentDispatchQueueScheduler.hpp"
#include "zorlan/Rx/ConcurrentMainScheduler.hpp"
#include "zorlan/Rx/DisposeBag.hpp"
#include "zorlan/Rx/Driver.hpp"
#include "zorlan/Rx/MainScheduler.hpp"
#include "zorlan/Rx/Subjects.hpp"

namespace zorlan::rx {
namespace {

using testing::Ints;
using testing::Log;
using testing::record;

using MainSchedulerTest = zorlan::testing::MainQueueFixture;

TEST_F(MainSchedulerTest, NestedActionsQueueBehindTheOneRunningInline) {
  auto scheduler = MainScheduler::instance();
  Log log;
  DispatchQueue::main().async([&] {
    scheduler->schedule(testing::act([&] {
      log.push_back("outer begins");
      scheduler->schedule(record(log, "nested"));  // an action of ours is running: queue it
      log.push_back("outer ends");
    }));
    log.push_back("returned");
  });
  MainRunLoop::runUntilIdle();
  EXPECT_EQ(log, (Log{"outer begins", "outer ends", "returned", "nested"}));

  // An action from the main queue waits behind ones scheduled earlier elsewhere.
  log.clear();
  std::thread([&] { scheduler->schedule(record(log, "from a worker")); }).join();
  DispatchQueue::main().async([&] { scheduler->schedule(record(log, "from main")); });
  MainRunLoop::runUntilIdle();
  EXPECT_EQ(log, (Log{"from a worker", "from main"}));
}

TEST_F(MainSchedulerTest, WhereEachSchedulerRunsAnActionScheduledFromTheMainQueue) {
  const std::tuple<const char*, std::shared_ptr<ImmediateSchedulerType>, Log> cases[] = {
      {"instance", MainScheduler::instance(), {"action", "returned"}},
      {"asyncInstance", MainScheduler::asyncInstance(), {"returned", "action"}},
      {"concurrent main", ConcurrentMainScheduler::instance(), {"action", "returned"}}};
  for (const auto& [name, scheduler, expected] : cases) {
    SCOPED_TRACE(name);
    Log log;
    DispatchQueue::main().async([&, scheduler = scheduler] {
      scheduler->schedule(record(log, "action"));
      log.push_back("returned");
    });
    MainRunLoop::runUntilIdle();
    EXPECT_EQ(log, expected);
    // From off the main queue, every one of them defers to the main queue.
    log.clear();
    scheduler->schedule(record(log, "action"));
    log.push_back("returned");
    MainRunLoop::runUntilIdle();
    EXPECT_EQ(log, (Log{"returned", "action"}));
  }
}

TEST_F(MainSchedulerTest, MainThreadInsideAnotherQueueIsNotTheMainQueue) {
  DispatchQueue background("com.zorlan.test.background");
  Log log;
  DispatchQueue::main().async([&] {
    background.sync([&] {
      EXPECT_FALSE(MainScheduler::isOnMainQueue());  // on the main thread, in another queue
      MainScheduler::instance()->schedule(record(log, "deferred"));
      ConcurrentMainScheduler::instance()->schedule(record(log, "deferred too"));
      log.push_back("sync done");
    });
  });
  MainRunLoop::runUntilIdle();
  EXPECT_EQ(log, (Log{"sync done", "deferred", "deferred too"}));
}

TEST_F(MainSchedulerTest, DisposingAQueuedActionKeepsItFromRunning) {
  Log log;
  Disposable cancelled = MainScheduler::instance()->schedule(record(log, "cancelled"));
  Disposable cancelledToo = ConcurrentMainScheduler::instance()->schedule(record(log, "too"));
  MainScheduler::instance()->schedule(record(log, "kept"));
  cancelled.dispose();
  cancelledToo.dispose();
  MainRunLoop::runUntilIdle();
  EXPECT_EQ(log, (Log{"kept"}));
  // A cancelled action does not leave the scheduler thinking work is queued.
  DispatchQueue::main().async([&] {
    MainScheduler::instance()->schedule(record(log, "inline"));
    log.push_back("returned");
  });
  MainRunLoop::runUntilIdle();
  EXPECT_EQ(log, (Log{"kept", "inline", "returned"}));
}

TEST_F(MainSchedulerTest, RelativeActionsWaitForTheClockAndCancelOnDisposal) {
  auto scheduler = MainScheduler::instance();
  Log ran;
  scheduler->scheduleRelative(std::chrono::milliseconds(20), record(ran, "20ms"));
  scheduler->scheduleRelative(std::chrono::milliseconds(10), record(ran, "10ms"));
  scheduler->scheduleRelative(std::chrono::milliseconds(-5), record(ran, "past"));
  Disposable cancelled =
      scheduler->scheduleRelative(std::chrono::milliseconds(15), record(ran, "cancelled"));
  MainRunLoop::runUntilIdle();
  EXPECT_EQ(ran, (Log{"past"}));
  cancelled.dispose();
  advance(9);
  EXPECT_EQ(ran, (Log{"past"}));
  advance(11);
  EXPECT_EQ(ran, (Log{"past", "10ms", "20ms"}));
}

// (Late firings collapsing into one on the period's grid: the dispatch timer's tests.)
TEST_F(MainSchedulerTest, PeriodicActionsStartAfterTheirDelayRepeatAndStopOnDisposal) {
  const std::pair<const char*, SchedulerPtr> cases[] = {
      {"main", MainScheduler::instance()},
      {"concurrent over main",
       std::make_shared<ConcurrentDispatchQueueScheduler>(DispatchQueue::main())}};
  for (const auto& [name, scheduler] : cases) {
    SCOPED_TRACE(name);
    int fired = 0;
    Disposable periodic = scheduler->schedulePeriodic(
        std::chrono::milliseconds(5), std::chrono::milliseconds(10), [&] { ++fired; });
    // Work whose result is dropped runs on (its next run is a century away).
    auto undisposed = std::make_shared<int>(0);
    scheduler->schedulePeriodic(RxTimeInterval::zero(), std::chrono::hours(24 * 365 * 100),
                                [undisposed] { ++*undisposed; });
    advance(4);
    EXPECT_EQ(*undisposed, 1);
    EXPECT_EQ(fired, 0);
    advance(1);  // t = 5
    EXPECT_EQ(fired, 1);
    advance(10);  // t = 15
    EXPECT_EQ(fired, 2);
    periodic.dispose();
    advance(100);
    EXPECT_EQ(fired, 2);
  }
}

TEST_F(MainSchedulerTest, DriverReplaysTheLatestSignalDoesNot) {
  PublishSubject<int> subject;
  Driver<int> driver = asDriver(subject.asObservable(), -1);
  Signal<int> signal = asSignal(subject.asObservable(), 0);
  Ints first, late, signalled, lateSignalled;
  DisposeBag bag;
  driver.drive([&](int v) { first.push_back(v); });
  signal.emit([&](int v) { signalled.push_back(v); }).disposed(bag);
  subject.onNext(1);
  EXPECT_TRUE(first.empty());  // delivered on the main queue
  MainRunLoop::runUntilIdle();
  EXPECT_EQ(first, (Ints{1}));
  driver.drive([&](int v) { late.push_back(v); });
  signal.emit([&](int v) { lateSignalled.push_back(v); }).disposed(bag);
  MainRunLoop::runUntilIdle();
  EXPECT_EQ(late, (Ints{1}));
  EXPECT_TRUE(lateSignalled.empty());
  subject.onNext(2);
  subject.onError(testing::failure("lost"));
  MainRunLoop::runUntilIdle();
  EXPECT_EQ(first, (Ints{1, 2, -1}));  // the error became the fallback element
  EXPECT_EQ(signalled, (Ints{1, 2, 0}));
  EXPECT_EQ(lateSignalled, (Ints{2, 0}));
}

}  // namespace
}  // namespace zorlan::rx
