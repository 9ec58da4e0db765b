// Every operator releases every source it subscribed to when its subscription
// is disposed, and delivers nothing afterwards; ended subscriptions free what
// their handlers captured; handlers that throw leave nothing behind.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "RxTestSupport.hpp"
#include "zorlan/Rx/DisposeBag.hpp"
#include "zorlan/Rx/Single.hpp"
#include "zorlan/Rx/Subjects.hpp"
#include "zorlan/Rx/VirtualTimeScheduler.hpp"

namespace zorlan::rx {
namespace {

using testing::collect;
using Ints = std::vector<int>;

// `source` is the operator's input; `other` a second live input for the
// operators that take one (it must be released too).
struct DisposalCase {
  const char* name;
  std::function<Observable<int>(Observable<int> source, Observable<int> other)> apply;
  Ints beforeDisposal;  // what sending 1 on `source` (and 5 on `other`) delivers
  std::shared_ptr<TestScheduler> clock = nullptr;  // run after each send, when set
};

std::vector<DisposalCase> disposalCases() {
  auto clock = TestScheduler::make();
  auto throwOnOne = [](int v) {
    if (v == 1) throw std::runtime_error("one");
    return v;
  };
  return {
      {"map", [](auto s, auto) { return s.map([](int v) { return v + 1; }); }, {2}},
      {"filter", [](auto s, auto) { return s.filter([](int v) { return v > 0; }); }, {1}},
      {"compactMap",
       [](auto s, auto) { return s.compactMap([](int v) { return std::optional<int>(v * 3); }); },
       {3}},
      {"scan", [](auto s, auto) { return s.scan(10, [](int a, int v) { return a + v; }); }, {11}},
      {"distinctUntilChanged", [](auto s, auto) { return s.distinctUntilChanged(); }, {1}},
      {"startWith", [](auto s, auto) { return s.startWith(0); }, {0, 1}},
      {"take", [](auto s, auto) { return s.take(3); }, {1}},
      {"takeUntil other",
       [](auto s, auto o) { return s.takeUntil(o.filter([](int) { return false; })); },
       {1}},
      {"takeUntil predicate",
       [](auto s, auto) { return s.takeUntil([](int v) { return v > 9; }); },
       {1}},
      {"merge", [](auto s, auto o) { return s.merge(o); }, {1, 5}},
      {"flatMap",
       [](auto s, auto o) {
         return s.flatMap([o](int v) { return o.map([v](int w) { return v * 100 + w; }); });
       },
       {105}},
      {"combineLatest",
       [](auto s, auto o) {
         return Observable<int>::combineLatest(s, o, [](int a, int b) { return a * 10 + b; });
       },
       {15}},
      {"observeOn", [clock](auto s, auto) { return s.observeOn(clock); }, {1}, clock},
      {"share", [](auto s, auto) { return s.share(1); }, {1}},
      {"share forever",
       [](auto s, auto) { return s.share(1, SubjectLifetimeScope::forever); },
       {1}},
      {"catchAndReturn", [](auto s, auto) { return s.catchAndReturn(-1); }, {1}},
      {"catchError",
       [](auto s, auto o) { return s.catchError([o](std::exception_ptr) { return o; }); },
       {1}},
      {"catchError after the error",
       [throwOnOne](auto s, auto o) {
         return s.map(throwOnOne).catchError([o](std::exception_ptr) { return o; });
       },
       {5}},
      {"doOn", [](auto s, auto) { return s.doOn({.onNext = [](int) {}}); }, {1}},
      {"deferred", [](auto s, auto) { return Observable<int>::deferred([s] { return s; }); }, {1}},
      {"asSingle", [](auto s, auto) { return s.asSingle().asObservable(); }, {}},
  };
}

TEST(DisposalTest, EveryOperatorReleasesItsSourcesAndGoesQuiet) {
  for (const DisposalCase& c : disposalCases()) {
    SCOPED_TRACE(c.name);
    PublishSubject<int> source;
    PublishSubject<int> other;
    auto received = collect(c.apply(source.asObservable(), other.asObservable()));
    source.onNext(1);
    other.onNext(5);
    if (c.clock) {
      c.clock->runDue();
      source.onNext(7);  // still queued on the scheduler when disposed
    }
    received->subscription.dispose();
    EXPECT_FALSE(source.hasObservers());
    EXPECT_FALSE(other.hasObservers());
    source.onNext(2);
    other.onNext(6);
    source.onCompleted();
    if (c.clock) c.clock->runDue();
    EXPECT_EQ(received->elements, c.beforeDisposal);
    EXPECT_FALSE(received->completed);
  }
}

TEST(DisposalTest, ASubscriberMayEndItsOwnSourceFromItsHandler) {
  // The handler is still running when its own subscription ends under it.
  PublishSubject<int> source;
  auto seen = std::make_shared<Ints>();
  bool completed = false;
  Disposable d = source.asObservable().subscribe(
      [source, seen](int v) {
        source.onCompleted();
        seen->push_back(v);  // the handler's captures must still be alive
      },
      {}, [&completed] { completed = true; });
  source.onNext(1);
  EXPECT_EQ(*seen, (Ints{1}));
  EXPECT_TRUE(completed);
}

// A capture whose lifetime the tests watch.
struct Capture {
  std::shared_ptr<int> token = std::make_shared<int>(0);
  std::weak_ptr<int> watch = token;
};

TEST(DisposalTest, DisposedAndEndedSubscriptionsFreeWhatTheirHandlersCaptured) {
  // An object that keeps its own subscription and captures itself: freed
  // once it disposes, though nobody else holds it.
  struct Owner {
    Disposable subscription;
  };
  BehaviorRelay<int> relay(0);
  auto owner = std::make_shared<Owner>();
  std::weak_ptr<Owner> weakOwner = owner;
  owner->subscription =
      relay.asObservable().map([](int v) { return v + 1; }).subscribe([owner](int) {});
  owner.reset();
  relay.accept(1);
  ASSERT_FALSE(weakOwner.expired());  // still subscribed: kept alive by the relay
  weakOwner.lock()->subscription.dispose();
  EXPECT_TRUE(weakOwner.expired());
  EXPECT_FALSE(relay.hasObservers());

  // Subscriptions that ended on their own, handles still held in a bag.
  PublishSubject<int> completing;
  PublishSubject<int> failing;
  const std::vector<std::pair<const char*, Observable<int>>> sources = {
      {"just", Observable<int>::just(1)},
      {"subject completes", completing.asObservable()},
      {"subject fails", failing.asObservable().map([](int v) { return v; })},
      {"take(1) of a relay", relay.asObservable().take(1)},
      {"shared", Observable<int>::just(2).share(1)},
  };
  DisposeBag bag;
  std::vector<Capture> captures(sources.size());
  for (std::size_t i = 0; i < sources.size(); ++i) {
    sources[i]
        .second.subscribe([token = captures[i].token](int) {}, [token = captures[i].token](auto) {})
        .disposed(bag);
    captures[i].token.reset();
  }
  completing.onCompleted();
  failing.onError(testing::failure("gone"));
  for (std::size_t i = 0; i < sources.size(); ++i) {
    EXPECT_TRUE(captures[i].watch.expired()) << sources[i].first;
  }
  EXPECT_EQ(bag.size(), sources.size());
}

TEST(DisposalTest, AThrowingHandlerEndsItsOwnSubscriptionOnly) {
  auto boom = [](int v) {
    if (v == 1) throw std::runtime_error("boom");
  };
  // The thrower's handler throws on the value it is owed on subscribing:
  // the exception leaves subscribe, and nothing stays registered or buffered.
  BehaviorSubject<int> behavior(1);
  PublishSubject<int> upstream;
  auto shared = upstream.asObservable().share(1);
  Disposable keeper = shared.subscribe([](int) {});
  upstream.onNext(1);
  for (const Observable<int>& owing : {behavior.asObservable(), shared}) {
    Capture capture;
    EXPECT_THROW(owing.subscribe([boom, token = capture.token](int v) { boom(v); }),
                 std::runtime_error);
    capture.token.reset();
    EXPECT_TRUE(capture.watch.expired());
  }
  EXPECT_FALSE(behavior.hasObservers());
  keeper.dispose();
  EXPECT_FALSE(upstream.hasObservers());

  // A live element: the caller of accept gets the exception once, the other
  // observers still get every element, the thrower gets nothing more.
  BehaviorRelay<int> relay(0);
  Ints before;
  Ints thrower;
  Ints after;
  Ints viaShare;
  DisposeBag bag;
  relay.asObservable().subscribe([&](int v) { before.push_back(v); }).disposed(bag);
  relay.asObservable()
      .subscribe([&](int v) {
        thrower.push_back(v);
        boom(v);
      })
      .disposed(bag);
  relay.asObservable().subscribe([&](int v) { after.push_back(v); }).disposed(bag);
  // Behind a shared sequence, one subscriber's exception does not end the
  // connection the others use.
  auto relayShared = relay.asObservable().share();
  relayShared.subscribe(boom).disposed(bag);
  relayShared.subscribe([&](int v) { viaShare.push_back(v); }).disposed(bag);
  EXPECT_THROW(relay.accept(1), std::runtime_error);
  relay.accept(2);
  EXPECT_EQ(before, (Ints{0, 1, 2}));
  EXPECT_EQ(thrower, (Ints{0, 1}));
  EXPECT_EQ(after, (Ints{0, 1, 2}));
  EXPECT_EQ(viaShare, (Ints{1, 2}));

  // A throwing completion handler: the upstream is released all the same.
  PublishSubject<int> source;
  PublishSubject<int> stop;
  Disposable ended = source.asObservable()
                         .takeUntil(stop.asObservable())
                         .subscribe([](int) {}, {}, [] { throw std::runtime_error("done"); });
  EXPECT_THROW(stop.onNext(0), std::runtime_error);
  EXPECT_TRUE(ended.isDisposed());
  EXPECT_FALSE(source.hasObservers());
  EXPECT_FALSE(stop.hasObservers());
}

}  // namespace
}  // namespace zorlan::rx
