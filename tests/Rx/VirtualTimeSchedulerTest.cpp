// zorlan/Rx/VirtualTimeScheduler.hpp, TestableObservable.hpp, SchedulerType.hpp and the time
// operators: virtual time, default periodic scheduling, timers and observeOn.
#include <gtest/gtest.h>

#include "RxTestSupport.hpp"
#include "zorlan/Rx/Subjects.hpp"
#include "zorlan/Rx/TestableObservable.hpp"
#include "zorlan/Rx/VirtualTimeScheduler.hpp"

namespace zorlan::rx {
namespace {

using namespace std::chrono_literals;
using testing::act;

long long millis(RxTime t) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(t.time_since_epoch()).count();
}

TEST(VirtualTimeSchedulerTest, RunsByDueTimeThenInSchedulingOrder) {
  auto scheduler = TestScheduler::make();
  std::vector<std::string> ran;
  auto record = [&](std::string name) {
    return act([&ran, &scheduler, name] {
      ran.push_back(name + "@" + std::to_string(millis(scheduler->now())));
    });
  };
  scheduler->scheduleRelative(2s, record("b"));
  scheduler->scheduleRelative(1s, record("a"));
  scheduler->scheduleRelative(2s, record("c"));
  scheduler->scheduleRelative(-5s, record("overdue"));  // as soon as possible
  scheduler->scheduleRelative(1s, record("cancelled")).dispose();
  scheduler->advanceTo(TestScheduler::at(1500ms));
  EXPECT_EQ(ran, (std::vector<std::string>{"overdue@0", "a@1000"}));
  EXPECT_EQ(millis(scheduler->now()), 1500);
  scheduler->advanceBy(1s);
  EXPECT_EQ(ran, (std::vector<std::string>{"overdue@0", "a@1000", "b@2000", "c@2000"}));
  EXPECT_EQ(millis(scheduler->now()), 2500);
  scheduler->advanceTo(TestScheduler::at(1s));  // the clock never goes back
  EXPECT_EQ(millis(scheduler->now()), 2500);
}

TEST(VirtualTimeSchedulerTest, WorkScheduledWhileAdvancingRunsInTheSameAdvance) {
  auto scheduler = TestScheduler::make();
  std::vector<long long> times;
  auto stamp = act([&] { times.push_back(millis(scheduler->now())); });
  scheduler->scheduleRelative(1s, [&] {
    stamp();
    return scheduler->scheduleRelative(2s, stamp);
  });
  scheduler->advanceTo(TestScheduler::at(3s));
  EXPECT_EQ(times, (std::vector<long long>{1000, 3000}));
  scheduler->scheduleRelative(10min, stamp);
  scheduler->start();  // runs everything left, moving the clock to it
  EXPECT_EQ(times.back(), 603000);
}

// An application's scheduler that hands its work to another one, so that work it scheduled can
// outlive it; it keeps the default periodic scheduling.
class ForwardingScheduler final : public SchedulerType {
 public:
  explicit ForwardingScheduler(std::shared_ptr<TestScheduler> inner) : inner_(std::move(inner)) {}
  RxTime now() const override { return inner_->now(); }
  Disposable schedule(std::function<Disposable()> action) override {
    return inner_->schedule(std::move(action));
  }
  Disposable scheduleRelative(RxTimeInterval dueTime, std::function<Disposable()> action) override {
    return inner_->scheduleRelative(dueTime, std::move(action));
  }

 private:
  std::shared_ptr<TestScheduler> inner_;
};

TEST(VirtualTimeSchedulerTest, PeriodicWorkRunsUntilDisposedWhileItsSchedulerLives) {
  auto scheduler = TestScheduler::make();
  std::vector<long long> times;
  Disposable periodic =
      scheduler->schedulePeriodic(500ms, 1s, [&] { times.push_back(millis(scheduler->now())); });
  int undisposed = 0;
  scheduler->schedulePeriodic(0s, 1s, [&] { ++undisposed; });  // result dropped: runs on
  auto forwarding = std::make_shared<ForwardingScheduler>(scheduler);
  int forwarded = 0;
  Disposable orphaned = forwarding->schedulePeriodic(1s, 1s, [&] { ++forwarded; });
  scheduler->advanceTo(TestScheduler::at(2600ms));
  EXPECT_EQ(times, (std::vector<long long>{500, 1500, 2500}));
  EXPECT_EQ(undisposed, 3);
  EXPECT_EQ(forwarded, 2);
  periodic.dispose();
  forwarding.reset();  // its pending run must not touch it
  scheduler->advanceBy(1h);
  EXPECT_EQ(times.size(), 3u);
  EXPECT_EQ(forwarded, 2);
  EXPECT_EQ(undisposed, 3603);
}

TEST(VirtualTimeSchedulerDeathTest, DefaultPeriodicWorkNeedsASharedScheduler) {
  ForwardingScheduler unshared(TestScheduler::make());
  EXPECT_DEATH(unshared.schedulePeriodic(1s, 1s, [] {}), "owned by a std::shared_ptr");
}

TEST(VirtualTimeSchedulerTest, TheClockSaturatesAtTheEndOfTime) {
  auto scheduler = TestScheduler::make();
  scheduler->advanceBy(1h);
  bool ran = false;
  scheduler->scheduleRelative(RxTimeInterval::max(), act([&] { ran = true; }));
  scheduler->advanceBy(24h * 365 * 200);
  EXPECT_FALSE(ran);  // a "never" delay is not due in two hundred years
  scheduler->advanceBy(RxTimeInterval::max());
  EXPECT_EQ(scheduler->now(), RxTime::max());
  EXPECT_TRUE(ran);
  scheduler->advanceBy(RxTimeInterval::min());  // never back
  EXPECT_EQ(scheduler->now(), RxTime::max());
}

TEST(TestableObservableTest, HotPlaysOnTheClockColdPlaysPerSubscription) {
  auto scheduler = TestScheduler::make();
  auto hot = hotObservable<int>(
      scheduler, {recordedNext(1s, 1), recordedNext(3s, 3), recordedCompleted<int>(4s)});
  auto cold = coldObservable<int>(scheduler, {recordedNext(1s, 10), recordedCompleted<int>(2s)});
  auto hotObserver = scheduler->createObserver<int>();
  auto coldObserver = scheduler->createObserver<int>();
  std::vector<Disposable> subscriptions;
  scheduler->scheduleRelative(2s, act([&] {
                                subscriptions.push_back(hot.subscribe(hotObserver.asObserver()));
                                subscriptions.push_back(cold.subscribe(coldObserver.asObserver()));
                              }));
  scheduler->start();
  EXPECT_EQ(hotObserver.elements(), (std::vector<int>{3}));  // missed 1
  EXPECT_EQ(hotObserver.events().back().time, TestScheduler::at(4s));
  EXPECT_EQ(coldObserver.elements(), (std::vector<int>{10}));
  EXPECT_EQ(coldObserver.events()[0].time, TestScheduler::at(3s));  // 1 s after subscribing
  EXPECT_EQ(coldObserver.events()[1].time, TestScheduler::at(4s));
  EXPECT_TRUE(coldObserver.completed());
}

TEST(TimerTest, OneShotFiresAtItsDueTimeAndCompletesPeriodicTicksUntilDisposed) {
  auto scheduler = TestScheduler::make();
  auto oneShot = testing::collect(timer(5s, scheduler));
  auto periodic = scheduler->createObserver<std::int64_t>();
  Disposable d = timer(1s, scheduler, 2s).subscribe(periodic.asObserver());
  scheduler->advanceTo(TestScheduler::at(5s - 1ns));
  EXPECT_TRUE(oneShot->elements.empty());
  scheduler->advanceTo(TestScheduler::at(5s));
  EXPECT_EQ(oneShot->elements, (std::vector<std::int64_t>{0}));
  EXPECT_TRUE(oneShot->completed);
  ASSERT_EQ(periodic.elements(), (std::vector<std::int64_t>{0, 1, 2}));
  EXPECT_EQ(periodic.events()[0].time, TestScheduler::at(1s));
  EXPECT_EQ(periodic.events()[2].time, TestScheduler::at(5s));
  d.dispose();
  scheduler->advanceTo(TestScheduler::at(60s));
  EXPECT_EQ(periodic.elements().size(), 3u);
}

TEST(ObserveOnTest, DeliversOnTheSchedulerInOrder) {
  auto scheduler = TestScheduler::make();
  PublishSubject<int> subject;
  auto c = testing::collect(subject.asObservable().observeOn(scheduler));
  subject.onNext(1);
  subject.onNext(2);
  EXPECT_TRUE(c->elements.empty());  // nothing until the scheduler runs
  scheduler->runDue();
  subject.onNext(3);
  subject.onCompleted();
  scheduler->runDue();
  EXPECT_EQ(c->elements, (testing::Ints{1, 2, 3}));
  EXPECT_TRUE(c->completed);
}

}  // namespace
}  // namespace zorlan::rx
