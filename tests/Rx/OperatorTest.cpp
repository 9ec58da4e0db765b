#include <gtest/gtest.h>

#include "RxTestSupport.hpp"
#include "zorlan/Rx/Single.hpp"
#include "zorlan/Rx/Subjects.hpp"

namespace zorlan::rx {
namespace {

using testing::collect;
using testing::failure;
using Ints = std::vector<int>;

// What a finite sequence delivers to one subscriber.
struct SequenceCase {
  const char* name;
  Observable<int> sequence;
  Ints elements;
  bool completed;
  std::string error;  // empty when none
};

std::vector<SequenceCase> sequenceCases() {
  auto failing = Observable<int>::create([](const AnyObserver<int>& o) {
    o.onNext(1);
    o.onError(failure("boom"));
    return Disposable();
  });
  auto misbehaving = Observable<int>::create([](const AnyObserver<int>& o) {
    o.onNext(1);
    o.onCompleted();
    o.onNext(2);  // after the end: dropped
    o.onError(failure("late"));
    return Disposable();
  });
  auto oneToFour = Observable<int>::from({1, 2, 3, 4});
  auto isThree = [](int v) { return v == 3; };
  return {
      {"filter map scan",
       Observable<int>::from({1, 2, 3, 4, 5, 6})
           .filter([](int v) { return v % 2 == 0; })
           .map([](int v) { return v * 10; })
           .scan(0, [](int sum, int v) { return sum + v; }),
       {20, 60, 120},
       true,
       ""},
      {"compactMap",
       Observable<int>::from({1, -2, 3}).compactMap([](int v) {
         return v > 0 ? std::optional<int>(v * 10) : std::nullopt;
       }),
       {10, 30},
       true,
       ""},
      {"distinctUntilChanged",
       Observable<int>::from({1, 1, 2, 2, 1, 1}).distinctUntilChanged(),
       {1, 2, 1},
       true,
       ""},
      {"distinctUntilChanged by parity",
       Observable<int>::from({1, 3, 4, 6, 7}).distinctUntilChanged([](int a, int b) {
         return a % 2 == b % 2;
       }),
       {1, 4, 7},
       true,
       ""},
      {"startWith", Observable<int>::just(9).startWith(1, 2), {1, 2, 9}, true, ""},
      {"takeUntil exclusive", oneToFour.takeUntil(isThree), {1, 2}, true, ""},
      {"takeUntil inclusive",
       oneToFour.takeUntil(isThree, TakeBehavior::inclusive),
       {1, 2, 3},
       true,
       ""},
      {"throwing map",
       oneToFour.map([](int v) {
         if (v == 2) throw std::runtime_error("bad element");
         return v;
       }),
       {1},
       false,
       "bad element"},
      {"catchAndReturn", failing.catchAndReturn(0), {1, 0}, true, ""},
      {"catchError",
       failing.catchError([](std::exception_ptr) {
         return Observable<int>::from({7, 8});
       }),
       {1, 7, 8},
       true,
       ""},
      {"events after the end", misbehaving, {1}, true, ""},
      {"empty", Observable<int>::empty(), {}, true, ""},
      {"never", Observable<int>::never(), {}, false, ""},
      {"error", Observable<int>::error(failure("e")), {}, false, "e"},
      {"deferred that throws",
       Observable<int>::deferred(
           []() -> Observable<int> { throw std::runtime_error("no source"); }),
       {},
       false,
       "no source"},
      {"asSingle of one", Observable<int>::just(4).asSingle().asObservable(), {4}, true, ""},
      {"asSingle of none",
       Observable<int>::empty().asSingle().asObservable(),
       {},
       false,
       "Sequence doesn't contain any elements."},
      {"asSingle of two",
       Observable<int>::from({1, 2}).asSingle().asObservable(),
       {},
       false,
       "Sequence contains more than one element."},
  };
}

TEST(OperatorTest, FiniteSequencesDeliverTheirElementsAndEnd) {
  for (const SequenceCase& c : sequenceCases()) {
    SCOPED_TRACE(c.name);
    auto received = collect(c.sequence);
    EXPECT_EQ(received->elements, c.elements);
    EXPECT_EQ(received->completed, c.completed);
    EXPECT_EQ(received->error, c.error);
  }
}

TEST(OperatorTest, ThrowingTransformReleasesTheSource) {
  PublishSubject<int> subject;
  auto c = collect(subject.asObservable().map([](int) -> int { throw std::runtime_error("x"); }));
  subject.onNext(1);
  EXPECT_EQ(c->error, "x");
  EXPECT_FALSE(subject.hasObservers());
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
  auto none =
      collect(Observable<int>::never().doOn({.onSubscribe = [&] { subscribed = true; }}).take(0));
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

TEST(OperatorTest, DeferredBuildsItsSourceForEachSubscription) {
  int calls = 0;
  auto deferred = Observable<int>::deferred([&] { return Observable<int>::just(++calls); });
  EXPECT_EQ(calls, 0);
  EXPECT_EQ(collect(deferred)->elements, (Ints{1}));
  EXPECT_EQ(collect(deferred)->elements, (Ints{2}));
}

}  // namespace
}  // namespace zorlan::rx
