// zorlan/Rx/Observable.hpp and its operators, Single.hpp: what each operator delivers, how it
// ends, and that disposal releases every source and frees what handlers captured.
#include <gtest/gtest.h>

#include "RxTestSupport.hpp"
#include "zorlan/Rx/DisposeBag.hpp"
#include "zorlan/Rx/Single.hpp"
#include "zorlan/Rx/Subjects.hpp"
#include "zorlan/Rx/VirtualTimeScheduler.hpp"

namespace zorlan::rx {
namespace {

using testing::collect;
using testing::failure;
using testing::Ints;

// What a finite sequence delivers to one subscriber.
struct SequenceCase {
  const char* name;
  Observable<int> sequence;
  Ints elements;
  std::string error = "";  // empty when none
  bool completed = true;
};

TEST(OperatorTest, FiniteSequencesDeliverTheirElementsAndEnd) {
  auto failing = Observable<int>::error(failure("boom")).startWith(1);
  auto misbehaving = Observable<int>::create([](const AnyObserver<int>& o) {
    o.onNext(1);
    o.onCompleted();
    o.onNext(2);  // after the end: dropped
    o.onError(failure("late"));
    return Disposable();
  });
  using O = Observable<int>;
  auto oneToFour = O::from({1, 2, 3, 4});
  auto isThree = [](int v) { return v == 3; };
  auto throwOnTwo = [](int v) { return v == 2 ? throw std::runtime_error("bad element") : v; };
  auto positiveTimesTen = [](int v) { return v > 0 ? std::optional<int>(v * 10) : std::nullopt; };
  // clang-format off
  const SequenceCase cases[] = {
      {"filter map scan", O::from({1, 2, 3, 4, 5, 6}).filter([](int v) { return v % 2 == 0; })
           .map([](int v) { return v * 10; }).scan(0, std::plus<>()), {20, 60, 120}},
      {"compactMap", O::from({1, -2, 3}).compactMap(positiveTimesTen), {10, 30}},
      {"distinctUntilChanged", O::from({1, 1, 2, 2, 1, 1}).distinctUntilChanged(), {1, 2, 1}},
      {"distinctUntilChanged by parity", O::from({1, 3, 4, 6, 7}).distinctUntilChanged(
           [](int a, int b) { return a % 2 == b % 2; }), {1, 4, 7}},
      {"startWith", O::just(9).startWith(1, 2), {1, 2, 9}},
      {"takeUntil exclusive", oneToFour.takeUntil(isThree), {1, 2}},
      {"takeUntil inclusive", oneToFour.takeUntil(isThree, TakeBehavior::inclusive), {1, 2, 3}},
      {"throwing map", oneToFour.map(throwOnTwo), {1}, "bad element", false},
      {"catchAndReturn", failing.catchAndReturn(0), {1, 0}},
      {"catchError", failing.catchError([](std::exception_ptr) { return O::from({7, 8}); }),
       {1, 7, 8}},
      {"events after the end", misbehaving, {1}},
      {"empty", O::empty(), {}},
      {"never", O::never(), {}, "", false},
      {"error", O::error(failure("e")), {}, "e", false},
      {"deferred that throws", O::deferred([]() -> O { throw std::runtime_error("no source"); }),
       {}, "no source", false},
      {"asSingle of one", O::just(4).asSingle().asObservable(), {4}},
      {"asSingle of none", O::empty().asSingle().asObservable(), {},
       "Sequence doesn't contain any elements.", false},
      {"asSingle of two", O::from({1, 2}).asSingle().asObservable(), {},
       "Sequence contains more than one element.", false}};
  // clang-format on
  for (const SequenceCase& c : cases) {
    SCOPED_TRACE(c.name);
    auto received = collect(c.sequence);
    EXPECT_EQ(received->elements, c.elements);
    EXPECT_EQ(received->completed, c.completed);
    EXPECT_EQ(received->error, c.error);
  }
  int calls = 0;  // deferred builds its source for each subscription
  auto deferred = O::deferred([&] { return O::just(++calls); });
  EXPECT_EQ(calls, 0);
  EXPECT_EQ(collect(deferred)->elements, (Ints{1}));
  EXPECT_EQ(collect(deferred)->elements, (Ints{2}));
}

TEST(OperatorTest, EndingOperatorsUnsubscribeFromEverySource) {
  PublishSubject<int> subject;
  auto thrown =
      collect(subject.asObservable().map([](int) -> int { throw std::runtime_error("x"); }));
  subject.onNext(1);
  EXPECT_EQ(thrown->error, "x");
  EXPECT_FALSE(subject.hasObservers());

  auto taken = collect(subject.asObservable().take(2));
  subject.onNext(1);
  EXPECT_TRUE(subject.hasObservers());
  subject.onNext(2);
  subject.onNext(3);
  EXPECT_EQ(taken->elements, (Ints{1, 2}));
  EXPECT_TRUE(taken->completed);
  EXPECT_FALSE(subject.hasObservers());
  bool subscribed = false;
  auto none =
      collect(Observable<int>::never().doOn({.onSubscribe = [&] { subscribed = true; }}).take(0));
  EXPECT_TRUE(none->completed);
  EXPECT_FALSE(subscribed);

  PublishSubject<std::string> stop;
  auto until = collect(subject.asObservable().takeUntil(stop.asObservable()));
  subject.onNext(1);
  stop.onNext("stop");
  subject.onNext(2);
  EXPECT_EQ(until->elements, (Ints{1}));
  EXPECT_TRUE(until->completed);
  EXPECT_FALSE(subject.hasObservers());
  EXPECT_FALSE(stop.hasObservers());
}

TEST(OperatorTest, CombiningOperatorsEndWhenAllSourcesEndOrOneFails) {
  PublishSubject<int> a;
  PublishSubject<std::string> b;
  auto pairs = collect(combineLatest(a.asObservable(), b.asObservable()));
  a.onNext(1);
  EXPECT_TRUE(pairs->elements.empty());  // waits for both
  b.onNext("x");
  a.onNext(2);
  b.onNext("y");
  a.onCompleted();
  EXPECT_FALSE(pairs->completed);
  b.onNext("z");  // the completed side's last element still combines
  b.onCompleted();
  using P = std::pair<int, std::string>;
  EXPECT_EQ(pairs->elements, (std::vector<P>{{1, "x"}, {2, "x"}, {2, "y"}, {2, "z"}}));
  EXPECT_TRUE(pairs->completed);

  PublishSubject<int> x;
  PublishSubject<int> y;
  auto merged = collect(x.asObservable().merge(y.asObservable()));
  x.onNext(1);
  y.onNext(2);
  x.onCompleted();
  EXPECT_FALSE(merged->completed);
  y.onNext(4);
  y.onCompleted();
  EXPECT_EQ(merged->elements, (Ints{1, 2, 4}));
  EXPECT_TRUE(merged->completed);
  PublishSubject<int> p;
  PublishSubject<int> q;
  auto failed = collect(Observable<int>::merge({p.asObservable(), q.asObservable()}));
  p.onError(failure("p failed"));
  q.onNext(5);
  EXPECT_EQ(failed->error, "p failed");
  EXPECT_TRUE(failed->elements.empty());
  EXPECT_FALSE(q.hasObservers());

  PublishSubject<int> outer;
  std::vector<PublishSubject<int>> inners(2);
  auto flat =
      collect(outer.asObservable().flatMap([&](int i) { return inners[i].asObservable(); }));
  outer.onNext(0);
  outer.onNext(1);
  inners[1].onNext(10);
  inners[0].onNext(20);
  outer.onCompleted();
  inners[0].onCompleted();
  EXPECT_FALSE(flat->completed);  // after the outer and every inner
  inners[1].onNext(30);
  inners[1].onCompleted();
  EXPECT_EQ(flat->elements, (Ints{10, 20, 30}));
  EXPECT_TRUE(flat->completed);
}

TEST(OperatorTest, DoOnAndOnDisposedRunAroundTheSubscription) {
  testing::Log log;
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
  EXPECT_EQ(log,
            (testing::Log{"subscribe", "next 1", "observer", "completed", "dispose", "disposed"}));
}

// `source` is the operator's input; `other` a second live input for the operators that take one
// (it must be released too). `beforeDisposal` is what sending 1 on `source` and 5 on `other`
// delivers; `clock`, when set, runs after each send.
struct DisposalCase {
  const char* name;
  std::function<Observable<int>(Observable<int> source, Observable<int> other)> apply;
  Ints beforeDisposal;
  std::shared_ptr<TestScheduler> clock = nullptr;
};

TEST(DisposalTest, EveryOperatorReleasesItsSourcesAndGoesQuiet) {
  auto clock = TestScheduler::make();
  auto throwOnOne = [](int v) { return v == 1 ? throw std::runtime_error("one") : v; };
  auto never = [](int) { return false; };
  // clang-format off
  const DisposalCase cases[] = {
      {"map", [](auto s, auto) { return s.map([](int v) { return v + 1; }); }, {2}},
      {"filter", [](auto s, auto) { return s.filter([](int v) { return v > 0; }); }, {1}},
      {"compactMap", [](auto s, auto) {
         return s.compactMap([](int v) { return std::optional(v * 3); }); }, {3}},
      {"scan", [](auto s, auto) { return s.scan(10, std::plus<>()); }, {11}},
      {"distinctUntilChanged", [](auto s, auto) { return s.distinctUntilChanged(); }, {1}},
      {"startWith", [](auto s, auto) { return s.startWith(0); }, {0, 1}},
      {"take", [](auto s, auto) { return s.take(3); }, {1}},
      {"takeUntil other", [never](auto s, auto o) { return s.takeUntil(o.filter(never)); }, {1}},
      {"takeUntil predicate", [](auto s, auto) {
         return s.takeUntil([](int v) { return v > 9; }); }, {1}},
      {"merge", [](auto s, auto o) { return s.merge(o); }, {1, 5}},
      {"flatMap", [](auto s, auto o) {
         return s.flatMap([o](int v) { return o.map([v](int w) { return v * 100 + w; }); });
       }, {105}},
      {"combineLatest", [](auto s, auto o) {
         return Observable<int>::combineLatest(s, o, [](int a, int b) { return a * 10 + b; });
       }, {15}},
      {"observeOn", [clock](auto s, auto) { return s.observeOn(clock); }, {1}, clock},
      {"share", [](auto s, auto) { return s.share(1); }, {1}},
      {"share forever", [](auto s, auto) {
         return s.share(1, SubjectLifetimeScope::forever); }, {1}},
      {"catchAndReturn", [](auto s, auto) { return s.catchAndReturn(-1); }, {1}},
      {"catchError", [](auto s, auto o) {
         return s.catchError([o](std::exception_ptr) { return o; }); }, {1}},
      {"catchError after the error", [throwOnOne](auto s, auto o) {
         return s.map(throwOnOne).catchError([o](std::exception_ptr) { return o; }); }, {5}},
      {"doOn", [](auto s, auto) { return s.doOn({.onNext = [](int) {}}); }, {1}},
      {"deferred", [](auto s, auto) { return Observable<int>::deferred([s] { return s; }); }, {1}},
      {"asSingle", [](auto s, auto) { return s.asSingle().asObservable(); }, {}}};
  // clang-format on
  for (const DisposalCase& c : cases) {
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
  // An object that keeps its own subscription and captures itself: freed once it disposes,
  // though nobody else holds it.
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
  const std::pair<const char*, Observable<int>> sources[] = {
      {"just", Observable<int>::just(1)},
      {"subject completes", completing.asObservable()},
      {"subject fails", failing.asObservable().map([](int v) { return v; })},
      {"take(1) of a relay", relay.asObservable().take(1)},
      {"shared", Observable<int>::just(2).share(1)}};
  DisposeBag bag;
  std::vector<Capture> captures(std::size(sources));
  for (std::size_t i = 0; i < captures.size(); ++i) {
    auto token = captures[i].token;
    sources[i].second.subscribe([token](int) {}, [token](auto) {}).disposed(bag);
    captures[i].token.reset();
  }
  completing.onCompleted();
  failing.onError(failure("gone"));
  for (std::size_t i = 0; i < captures.size(); ++i) {
    EXPECT_TRUE(captures[i].watch.expired()) << sources[i].first;
  }
  EXPECT_EQ(bag.size(), captures.size());
}

TEST(DisposalTest, AThrowingHandlerEndsItsOwnSubscriptionOnly) {
  auto boom = [](int v) {
    if (v == 1) throw std::runtime_error("boom");
  };
  // The thrower's handler throws on the value it is owed on subscribing: the exception leaves
  // subscribe, and nothing stays registered or buffered.
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

  // A live element: the caller of accept gets the exception once, the other observers still get
  // every element, the thrower gets nothing more; behind a shared sequence, one subscriber's
  // exception does not end the connection the others use.
  BehaviorRelay<int> relay(0);
  Ints before, thrower, after, viaShare;
  DisposeBag bag;
  relay.asObservable().subscribe([&](int v) { before.push_back(v); }).disposed(bag);
  relay.asObservable()
      .subscribe([&](int v) {
        thrower.push_back(v);
        boom(v);
      })
      .disposed(bag);
  relay.asObservable().subscribe([&](int v) { after.push_back(v); }).disposed(bag);
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
