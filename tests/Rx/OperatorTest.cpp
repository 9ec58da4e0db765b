#include <gtest/gtest.h>

#include "RxTestSupport.hpp"
#include "zorlan/Rx/Single.hpp"
#include "zorlan/Rx/Subjects.hpp"

namespace zorlan::rx {
namespace {

using testing::collect;
using testing::failure;
using Ints = std::vector<int>;

TEST(OperatorTest, MapFilterScanComposeInOrder) {
  auto c = collect(Observable<int>::from({1, 2, 3, 4, 5, 6})
                       .filter([](int v) { return v % 2 == 0; })
                       .map([](int v) { return v * 10; })
                       .scan(0, [](int sum, int v) { return sum + v; }));
  EXPECT_EQ(c->elements, (Ints{20, 60, 120}));
  EXPECT_TRUE(c->completed);
}

TEST(OperatorTest, CompactMapKeepsPresentResults) {
  auto c = collect(Observable<int>::from({1, -2, 3}).compactMap([](int v) {
    return v > 0 ? std::optional<std::string>(std::to_string(v)) : std::nullopt;
  }));
  EXPECT_EQ(c->elements, (std::vector<std::string>{"1", "3"}));
}

TEST(OperatorTest, ThrowingTransformFailsAndReleasesTheSource) {
  PublishSubject<int> subject;
  auto c = collect(subject.asObservable().map([](int v) {
    if (v == 2) throw std::runtime_error("bad element");
    return v;
  }));
  subject.onNext(1);
  subject.onNext(2);
  subject.onNext(3);
  EXPECT_EQ(c->elements, (Ints{1}));
  EXPECT_EQ(c->error, "bad element");
  EXPECT_FALSE(subject.hasObservers());
}

TEST(OperatorTest, DistinctUntilChangedDropsConsecutiveRepeatsOnly) {
  auto c = collect(Observable<int>::from({1, 1, 2, 2, 1, 1}).distinctUntilChanged());
  EXPECT_EQ(c->elements, (Ints{1, 2, 1}));
  auto byParity = collect(Observable<int>::from({1, 3, 4, 6, 7}).distinctUntilChanged(
      [](int a, int b) { return a % 2 == b % 2; }));
  EXPECT_EQ(byParity->elements, (Ints{1, 4, 7}));
}

TEST(OperatorTest, StartWithEmitsFirst) {
  auto c = collect(Observable<int>::just(9).startWith(1, 2));
  EXPECT_EQ(c->elements, (Ints{1, 2, 9}));
}

TEST(OperatorTest, TakeCompletesAndUnsubscribesAtItsCount) {
  PublishSubject<int> subject;
  auto c = collect(subject.asObservable().take(2));
  subject.onNext(1);
  EXPECT_TRUE(subject.hasObservers());
  subject.onNext(2);
  subject.onNext(3);
  EXPECT_EQ(c->elements, (Ints{1, 2}));
  EXPECT_TRUE(c->completed);
  EXPECT_FALSE(subject.hasObservers());

  bool subscribed = false;
  auto none = collect(Observable<int>::never().doOn({.onSubscribe = [&] { subscribed = true; }}).take(0));
  EXPECT_TRUE(none->completed);
  EXPECT_FALSE(subscribed);
}

TEST(OperatorTest, TakeUntilAnotherSequenceStopsBoth) {
  PublishSubject<int> source;
  PublishSubject<std::string> stop;
  auto c = collect(source.asObservable().takeUntil(stop.asObservable()));
  source.onNext(1);
  stop.onNext("stop");
  source.onNext(2);
  EXPECT_EQ(c->elements, (Ints{1}));
  EXPECT_TRUE(c->completed);
  EXPECT_FALSE(source.hasObservers());
  EXPECT_FALSE(stop.hasObservers());
}

TEST(OperatorTest, TakeUntilPredicateInclusiveOrExclusive) {
  auto source = Observable<int>::from({1, 2, 3, 4});
  auto exclusive = collect(source.takeUntil([](int v) { return v == 3; }));
  auto inclusive = collect(source.takeUntil([](int v) { return v == 3; }, TakeBehavior::inclusive));
  EXPECT_EQ(exclusive->elements, (Ints{1, 2}));
  EXPECT_EQ(inclusive->elements, (Ints{1, 2, 3}));
  EXPECT_TRUE(exclusive->completed);
}

TEST(OperatorTest, CombineLatestWaitsForBothAndCompletesWhenBothDo) {
  PublishSubject<int> a;
  PublishSubject<std::string> b;
  auto c = collect(combineLatest(a.asObservable(), b.asObservable()));
  a.onNext(1);
  EXPECT_TRUE(c->elements.empty());
  b.onNext("x");
  a.onNext(2);
  b.onNext("y");
  using P = std::pair<int, std::string>;
  EXPECT_EQ(c->elements, (std::vector<P>{{1, "x"}, {2, "x"}, {2, "y"}}));
  a.onCompleted();
  EXPECT_FALSE(c->completed);
  b.onNext("z");  // the completed side's last element still combines
  b.onCompleted();
  EXPECT_EQ(c->elements.back(), (P{2, "z"}));
  EXPECT_TRUE(c->completed);
}

TEST(OperatorTest, MergeInterleavesAndEndsWhenAllEndOrOneFails) {
  PublishSubject<int> a;
  PublishSubject<int> b;
  auto c = collect(a.asObservable().merge(b.asObservable()));
  a.onNext(1);
  b.onNext(2);
  a.onNext(3);
  a.onCompleted();
  EXPECT_FALSE(c->completed);
  b.onNext(4);
  b.onCompleted();
  EXPECT_EQ(c->elements, (Ints{1, 2, 3, 4}));
  EXPECT_TRUE(c->completed);

  PublishSubject<int> x;
  PublishSubject<int> y;
  auto failed = collect(Observable<int>::merge({x.asObservable(), y.asObservable()}));
  x.onError(failure("x failed"));
  y.onNext(5);
  EXPECT_EQ(failed->error, "x failed");
  EXPECT_TRUE(failed->elements.empty());
  EXPECT_FALSE(y.hasObservers());
}

TEST(OperatorTest, FlatMapCompletesAfterOuterAndEveryInner) {
  PublishSubject<int> outer;
  std::vector<PublishSubject<int>> inners(2);
  auto c = collect(outer.asObservable().flatMap([&](int i) { return inners[i].asObservable(); }));
  outer.onNext(0);
  outer.onNext(1);
  inners[1].onNext(10);
  inners[0].onNext(20);
  outer.onCompleted();
  inners[0].onCompleted();
  EXPECT_FALSE(c->completed);
  inners[1].onNext(30);
  inners[1].onCompleted();
  EXPECT_EQ(c->elements, (Ints{10, 20, 30}));
  EXPECT_TRUE(c->completed);
}

TEST(OperatorTest, CatchReplacesTheError) {
  auto failing = Observable<int>::create([](const AnyObserver<int>& o) {
    o.onNext(1);
    o.onError(failure("boom"));
    return Disposable();
  });
  auto returned = collect(failing.catchAndReturn(0));
  EXPECT_EQ(returned->elements, (Ints{1, 0}));
  EXPECT_TRUE(returned->completed);
  auto continued = collect(failing.catchError([](std::exception_ptr) {
    return Observable<int>::from({7, 8});
  }));
  EXPECT_EQ(continued->elements, (Ints{1, 7, 8}));
  EXPECT_TRUE(continued->completed);
  EXPECT_TRUE(continued->error.empty());
}

TEST(OperatorTest, DoOnAndOnDisposedRunAroundTheSubscription) {
  std::vector<std::string> log;
  PublishSubject<int> subject;
  Disposable d = subject.asObservable()
                     .doOn({.onNext = [&](int v) { log.push_back("next " + std::to_string(v)); },
                            .onCompleted = [&] { log.push_back("completed"); },
                            .onSubscribe = [&] { log.push_back("subscribe"); },
                            .onDispose = [&] { log.push_back("dispose"); }})
                     .subscribe([&](int) { log.push_back("observer"); }, {}, {},
                                [&] { log.push_back("disposed"); });
  subject.onNext(1);
  subject.onCompleted();
  d.dispose();  // already ended: nothing more runs
  EXPECT_EQ(log, (std::vector<std::string>{"subscribe", "next 1", "observer", "completed",
                                           "dispose", "disposed"}));
}

TEST(OperatorTest, CreationOperators) {
  EXPECT_TRUE(collect(Observable<int>::empty())->completed);
  auto never = collect(Observable<int>::never());
  EXPECT_FALSE(never->completed);
  EXPECT_TRUE(never->error.empty());
  EXPECT_EQ(collect(Observable<int>::error(failure("e")))->error, "e");

  int calls = 0;
  auto deferred = Observable<int>::deferred([&] { return Observable<int>::just(++calls); });
  EXPECT_EQ(calls, 0);
  EXPECT_EQ(collect(deferred)->elements, (Ints{1}));
  EXPECT_EQ(collect(deferred)->elements, (Ints{2}));
  auto throwing = Observable<int>::deferred([]() -> Observable<int> {
    throw std::runtime_error("no source");
  });
  EXPECT_EQ(collect(throwing)->error, "no source");
}

TEST(OperatorTest, AsSingleNeedsExactlyOneElement) {
  auto outcome = [](Observable<int> source) {
    std::string result;
    source.asSingle().subscribe([&](int v) { result = "success " + std::to_string(v); },
                                [&](std::exception_ptr e) {
                                  try {
                                    std::rethrow_exception(e);
                                  } catch (const RxError& error) {
                                    result = error.what();
                                  }
                                });
    return result;
  };
  EXPECT_EQ(outcome(Observable<int>::just(4)), "success 4");
  EXPECT_EQ(outcome(Observable<int>::empty()), "Sequence doesn't contain any elements.");
  EXPECT_EQ(outcome(Observable<int>::from({1, 2})), "Sequence contains more than one element.");
}

TEST(OperatorTest, EventsAfterTheEndOrAfterDisposalAreDropped) {
  auto misbehaving = Observable<int>::create([](const AnyObserver<int>& o) {
    o.onNext(1);
    o.onCompleted();
    o.onNext(2);
    o.onError(failure("late"));
    return Disposable();
  });
  auto c = collect(misbehaving);
  EXPECT_EQ(c->elements, (Ints{1}));
  EXPECT_TRUE(c->completed);
  EXPECT_TRUE(c->error.empty());

  PublishSubject<int> subject;
  auto d = collect(subject.asObservable());
  subject.onNext(1);
  d->subscription.dispose();
  subject.onNext(2);
  EXPECT_EQ(d->elements, (Ints{1}));
  EXPECT_FALSE(subject.hasObservers());
}

}  // namespace
}  // namespace zorlan::rx
