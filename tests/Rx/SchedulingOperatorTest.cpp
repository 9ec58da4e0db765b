#include <gtest/gtest.h>

#include "RxTestSupport.hpp"
#include "zorlan/Rx/DisposeBag.hpp"
#include "zorlan/Rx/Driver.hpp"
#include "zorlan/Rx/Subjects.hpp"
#include "zorlan/Rx/VirtualTimeScheduler.hpp"

namespace zorlan::rx {
namespace {

using namespace std::chrono_literals;
using testing::collect;
using Ints = std::vector<int>;

TEST(TimerTest, OneShotFiresAtItsDueTimeAndCompletesPeriodicTicksUntilDisposed) {
  auto scheduler = TestScheduler::make();
  auto oneShot = collect(timer(5s, scheduler));
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
  auto c = collect(subject.asObservable().observeOn(scheduler));
  subject.onNext(1);
  subject.onNext(2);
  EXPECT_TRUE(c->elements.empty());  // nothing until the scheduler runs
  scheduler->runDue();
  subject.onNext(3);
  subject.onCompleted();
  scheduler->runDue();
  EXPECT_EQ(c->elements, (Ints{1, 2, 3}));
  EXPECT_TRUE(c->completed);
}

TEST(ShareTest, OneConnectionReplayAndReconnectWhileConnected) {
  int subscriptions = 0;
  int disposals = 0;
  PublishSubject<int> subject;
  auto shared =
      subject.asObservable()
          .doOn({.onSubscribe = [&] { ++subscriptions; }, .onDispose = [&] { ++disposals; }})
          .share(1);
  auto first = collect(shared);
  subject.onNext(1);
  auto second = collect(shared);  // replays the latest
  subject.onNext(2);
  EXPECT_EQ(subscriptions, 1);
  EXPECT_EQ(first->elements, (Ints{1, 2}));
  EXPECT_EQ(second->elements, (Ints{1, 2}));
  first->subscription.dispose();
  EXPECT_EQ(disposals, 0);
  second->subscription.dispose();
  EXPECT_EQ(disposals, 1);  // the last subscriber left: disconnected
  auto third = collect(shared);
  EXPECT_EQ(subscriptions, 2);
  EXPECT_TRUE(third->elements.empty());  // the buffer went with the connection
  third->subscription.dispose();
}

TEST(ShareTest, ForeverKeepsTheBufferAcrossReconnections) {
  int subscriptions = 0;
  int disposals = 0;
  PublishSubject<int> subject;
  auto shared =
      subject.asObservable()
          .doOn({.onSubscribe = [&] { ++subscriptions; }, .onDispose = [&] { ++disposals; }})
          .share(2, SubjectLifetimeScope::forever);
  auto first = collect(shared);
  for (int v : {1, 2, 3}) subject.onNext(v);
  first->subscription.dispose();
  EXPECT_EQ(disposals, 1);  // nobody left: the source is released even so
  EXPECT_FALSE(subject.hasObservers());
  auto second = collect(shared);
  EXPECT_EQ(subscriptions, 2);
  subject.onNext(4);
  EXPECT_EQ(second->elements, (Ints{2, 3, 4}));  // the buffer outlived the connection
  second->subscription.dispose();
}

TEST(ShareTest, AfterTheSourceEndsWhileConnectedStartsAfreshForeverReplays) {
  struct Case {
    SubjectLifetimeScope scope;
    Ints lateGets;
    int subscriptions;
  };
  const Case cases[] = {{SubjectLifetimeScope::whileConnected, {1, 2, 3}, 2},
                        {SubjectLifetimeScope::forever, {2, 3}, 1}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.subscriptions);
    int subscriptions = 0;
    auto source = Observable<int>::from({1, 2, 3}).doOn({.onSubscribe = [&] { ++subscriptions; }});
    auto shared = source.share(2, c.scope);
    EXPECT_EQ(collect(shared)->elements, (Ints{1, 2, 3}));
    auto late = collect(shared);
    EXPECT_EQ(late->elements, c.lateGets);
    EXPECT_TRUE(late->completed);
    EXPECT_EQ(subscriptions, c.subscriptions);
  }
}

TEST(SubjectTest, BehaviorSubjectStartsEachSubscriberWithTheValue) {
  BehaviorSubject<int> subject(1);
  auto early = collect(subject.asObservable());
  subject.onNext(2);
  auto late = collect(subject.asObservable());
  subject.onNext(3);
  EXPECT_EQ(early->elements, (Ints{1, 2, 3}));
  EXPECT_EQ(late->elements, (Ints{2, 3}));
  EXPECT_EQ(subject.value(), 3);
  subject.onCompleted();
  auto afterEnd = collect(subject.asObservable());
  EXPECT_TRUE(afterEnd->completed);
  EXPECT_TRUE(afterEnd->elements.empty());
  subject.onNext(4);
  EXPECT_EQ(subject.value(), 3);
}

TEST(SubjectTest, PublishSubjectSendsOnlyLaterElementsAndItsEnd) {
  PublishSubject<int> subject;
  subject.onNext(0);
  auto c = collect(subject.asObservable());
  subject.onNext(1);
  subject.onError(testing::failure("over"));
  subject.onNext(2);
  EXPECT_EQ(c->elements, (Ints{1}));
  EXPECT_EQ(c->error, "over");
  EXPECT_EQ(collect(subject.asObservable())->error, "over");
}

TEST(SubjectTest, RelaysShareStateAcrossCopiesAndBind) {
  BehaviorRelay<std::string> relay("a");
  BehaviorRelay<std::string> copy = relay;
  auto c = collect(copy.asObservable());
  relay.accept("b");
  EXPECT_EQ(copy.value(), "b");
  PublishRelay<std::string> source;
  Disposable binding = source.asObservable().bindTo(relay);
  source.accept("c");
  binding.dispose();
  source.accept("d");
  EXPECT_EQ(c->elements, (std::vector<std::string>{"a", "b", "c"}));
}

class MainQueueTest : public ::testing::Test {
 protected:
  void SetUp() override { MainRunLoop::runUntilIdle(); }
  void TearDown() override { MainRunLoop::runUntilIdle(); }
};

TEST_F(MainQueueTest, DriverDeliversOnTheMainQueueAndReplaysTheLatest) {
  PublishSubject<int> subject;
  Driver<int> driver = asDriver(subject.asObservable(), -1);
  std::vector<int> first;
  driver.drive([&](int v) { first.push_back(v); });
  subject.onNext(1);
  EXPECT_TRUE(first.empty());  // delivered on the main queue
  MainRunLoop::runUntilIdle();
  EXPECT_EQ(first, (Ints{1}));
  std::vector<int> late;
  driver.drive([&](int v) { late.push_back(v); });
  MainRunLoop::runUntilIdle();
  EXPECT_EQ(late, (Ints{1}));
  subject.onError(testing::failure("lost"));
  MainRunLoop::runUntilIdle();
  EXPECT_EQ(first, (Ints{1, -1}));  // the error became the fallback element
}

TEST_F(MainQueueTest, SignalDoesNotReplay) {
  PublishSubject<int> subject;
  Signal<int> signal = asSignal(subject.asObservable(), 0);
  std::vector<int> first;
  std::vector<int> late;
  DisposeBag bag;
  signal.emit([&](int v) { first.push_back(v); }).disposed(bag);
  subject.onNext(1);
  MainRunLoop::runUntilIdle();
  signal.emit([&](int v) { late.push_back(v); }).disposed(bag);
  MainRunLoop::runUntilIdle();
  subject.onNext(2);
  MainRunLoop::runUntilIdle();
  EXPECT_EQ(first, (Ints{1, 2}));
  EXPECT_EQ(late, (Ints{2}));
}

}  // namespace
}  // namespace zorlan::rx
