// zorlan/Scheduling/RxOperators.hpp, AsyncSequence.hpp: the application's operators on
// observables, singles, drivers and signals, and steps run one after another.
#include <gtest/gtest.h>

#include <tuple>

#include "Rx/RxTestSupport.hpp"
#include "support/MainQueueFixture.hpp"
#include "zorlan/Dispatch/MainRunLoop.hpp"
#include "zorlan/Rx/DisposeBag.hpp"
#include "zorlan/Rx/Subjects.hpp"
#include "zorlan/Rx/VirtualTimeScheduler.hpp"
#include "zorlan/Scheduling/AsyncSequence.hpp"
#include "zorlan/Scheduling/RxOperators.hpp"

namespace zorlan {
namespace {

using namespace std::chrono_literals;
using OnMainQueueTest = testing::MainQueueFixture;

template <class T>
std::vector<T> elements(const rx::Observable<T>& source) {
  std::vector<T> out;
  source.subscribe([&](const T& v) { out.push_back(v); });
  return out;
}

// Sends 1, then fails.
rx::Observable<int> oneThenError() {
  return rx::Observable<int>::create([](const rx::AnyObserver<int>& o) {
    o.onNext(1);
    o.onError(std::make_exception_ptr(std::runtime_error("broken")));
    return rx::Disposable();
  });
}

TEST(RxOperatorsTest, NeighbourAndOptionalHelpers) {
  auto source = rx::Observable<int>::from({1, 2, 3});
  EXPECT_EQ(elements(withPrevious(source)), (std::vector<std::pair<int, int>>{{1, 2}, {2, 3}}));
  EXPECT_EQ(elements(withPreviousOptional(source)),
            (std::vector<std::pair<std::optional<int>, int>>{{std::nullopt, 1}, {1, 2}, {2, 3}}));
  EXPECT_EQ(elements(previous(source)), (std::vector<int>{1, 2}));
  EXPECT_TRUE(elements(withPrevious(rx::Observable<int>::just(1))).empty());

  auto optionals = rx::Observable<std::optional<int>>::from({1, std::nullopt, 3});
  EXPECT_EQ(elements(unwrap(optionals)), (std::vector<int>{1, 3}));
  EXPECT_EQ(elements(orZero(optionals)), (std::vector<int>{1, 0, 3}));
  EXPECT_EQ(elements(asOptional(rx::Observable<int>::just(2))),
            (std::vector<std::optional<int>>{2}));
  EXPECT_EQ(elements(arrayMap(rx::Observable<std::vector<int>>::just({1, 2}),
                              [](int v) { return v * 3; })),
            (std::vector<std::vector<int>>{{3, 6}}));
}

TEST(RxOperatorsTest, AfterTimeoutEmitsOnlyWhenNothingCameInTime) {
  using Strings = std::vector<std::string>;
  struct Case {
    const char* name;
    std::function<rx::Observable<std::string>()> source;
    Strings atFourSeconds;
    Strings atTenSeconds;
    bool completed;
  };
  rx::PublishSubject<std::string> late;
  rx::BehaviorRelay<std::string> relay("current");
  using O = rx::Observable<std::string>;
  // clang-format off
  const std::vector<Case> cases = {
      {"silent, then late", [&] { return late.asObservable(); }, {}, {"timed out", "late"}, false},
      {"relay sends its value on subscribing", [&] { return relay.asObservable(); },
       {"current"}, {"current"}, false},
      {"startWith", [] { return O::never().startWith("first"); }, {"first"}, {"first"}, false},
      {"completes at once", [] { return O::empty(); }, {}, {"timed out"}, true},
      {"one element then completion", [] { return O::just("only"); }, {"only"}, {"only"}, true}};
  // clang-format on
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    auto scheduler = rx::TestScheduler::make();
    int subscriptions = 0;
    int timeouts = 0;
    auto counted = rx::Observable<std::string>::deferred([&] {
      ++subscriptions;
      return c.source();
    });
    auto received = rx::testing::collect(
        afterTimeout(counted, 5s, std::string("timed out"), scheduler, [&] { ++timeouts; }));
    scheduler->advanceTo(rx::TestScheduler::at(4s));
    EXPECT_EQ(received->elements, c.atFourSeconds);
    scheduler->advanceTo(rx::TestScheduler::at(5s));
    late.onNext("late");
    scheduler->advanceTo(rx::TestScheduler::at(10s));
    EXPECT_EQ(received->elements, c.atTenSeconds);
    EXPECT_EQ(received->completed, c.completed);
    EXPECT_EQ(timeouts, c.atTenSeconds.front() == "timed out" ? 1 : 0);
    EXPECT_EQ(subscriptions, 1);
    received->subscription.dispose();
  }
}

TEST(RxOperatorsTest, IgnoreUntilHoldsBackUntilAllowed) {
  rx::PublishSubject<int> source;
  rx::BehaviorRelay<bool> allowed(false);
  auto seen = rx::testing::collect(ignoreUntil(source.asObservable(), allowed.asObservable()));
  source.onNext(1);
  allowed.accept(true);
  source.onNext(2);
  allowed.accept(false);  // once allowed, stays allowed
  source.onNext(3);
  EXPECT_EQ(seen->elements, (std::vector<int>{2, 3}));
  seen->subscription.dispose();
}

TEST(RxOperatorsTest, ResultTurnsTheErrorIntoAFailureValue) {
  auto results = elements(result(oneThenError()));
  ASSERT_EQ(results.size(), 2u);
  EXPECT_EQ(*results[0].value(), 1);
  EXPECT_FALSE(results[1].isSuccess());
  EXPECT_THROW(results[1].get(), std::runtime_error);

  std::vector<bool> outcomes;
  result(rx::Completable::empty()).subscribe([&](const Result<rx::Never>& r) {
    outcomes.push_back(r.isSuccess());
  });
  result(rx::Completable::error(std::make_exception_ptr(std::runtime_error("x"))))
      .subscribe([&](const Result<rx::Never>& r) { outcomes.push_back(r.isSuccess()); });
  EXPECT_EQ(outcomes, (std::vector<bool>{true, false}));
}

TEST(RxOperatorsTest, FromCallbacks) {
  std::function<void(Result<int>)> complete;
  auto single = rx::testing::collect(singleFrom<int>([&](std::function<void(Result<int>)> done) {
                                       complete = done;
                                     }).asObservable());
  EXPECT_TRUE(single->elements.empty());
  complete(Result<int>::success(9));
  EXPECT_EQ(single->elements, (std::vector<int>{9}));

  bool completed = false;
  completableFrom([](std::function<void(std::exception_ptr)> done) {
    done(nullptr);
  }).subscribe([&] { completed = true; });
  EXPECT_TRUE(completed);
}

TEST(AsyncSequenceTest, RunsOneAfterAnotherAndStopsAtTheFirstFailure) {
  std::vector<rx::PublishSubject<int>> pending(3);
  std::vector<int> started;
  auto step = [&](int i) {
    started.push_back(i);
    return pending[i].asObservable().take(1).asSingle();
  };
  std::vector<int> results;
  asyncMap(std::vector<int>{0, 1, 2}, step).subscribe([&](const std::vector<int>& r) {
    results = r;
  });
  EXPECT_EQ(started, (std::vector<int>{0}));  // the next starts only after this one
  pending[0].onNext(10);
  EXPECT_EQ(started, (std::vector<int>{0, 1}));
  pending[1].onNext(11);
  pending[2].onNext(12);
  EXPECT_EQ(results, (std::vector<int>{10, 11, 12}));

  std::vector<int> ran;
  std::string failure;
  asyncForEach(std::vector<int>{1, 2, 3}, [&](int i) {
    ran.push_back(i);
    if (i == 2) {
      return rx::Single<int>::error(std::make_exception_ptr(std::runtime_error("2")));
    }
    return rx::Single<int>::just(i);
  }).subscribe([] {}, [&](std::exception_ptr e) { failure = rx::testing::whatOf(e); });
  EXPECT_EQ(ran, (std::vector<int>{1, 2}));
  EXPECT_EQ(failure, "2");

  auto compact = asyncCompactMap(std::vector<int>{1, 2, 3}, [](int i) {
    return rx::Single<std::optional<int>>::just(i % 2 ? std::optional<int>(i) : std::nullopt);
  });
  std::vector<int> kept;
  compact.subscribe([&](const std::vector<int>& r) { kept = r; });
  EXPECT_EQ(kept, (std::vector<int>{1, 3}));
}

TEST(AsyncSequenceTest, ALongRunOfImmediateStepsDoesNotGrowTheStack) {
  std::vector<int> items(50000, 1);
  long long sum = -1;
  asyncMap(items, [](int v) {
    return rx::Single<int>::just(v);
  }).subscribe([&](const std::vector<int>& r) { sum = static_cast<long long>(r.size()); });
  EXPECT_EQ(sum, 50000);
}

TEST(AsyncSequenceTest, DisposingStopsBeforeTheNextStep) {
  rx::PublishSubject<int> first;
  int started = 0;
  rx::Disposable d = asyncMap(std::vector<int>{0, 1}, [&](int) {
                       ++started;
                       return first.asObservable().take(1).asSingle();
                     }).subscribe([](const std::vector<int>&) { FAIL() << "not finished"; });
  EXPECT_TRUE(first.hasObservers());
  d.dispose();
  EXPECT_FALSE(first.hasObservers());
  first.onNext(1);
  EXPECT_EQ(started, 1);
}

TEST(RxOperatorsTest, DriverAndSignalTraitsObserveOnTheSchedulerReplaceErrorsAndShare) {
  auto fallback = [](std::exception_ptr) { return rx::Observable<int>::just(-1); };
  // clang-format off
  using Apply = std::function<rx::Observable<int>(rx::Observable<int>, rx::SchedulerPtr)>;
  // What a late subscriber gets: a replay of the latest, or nothing.
  const std::vector<std::tuple<const char*, Apply, std::vector<int>>> cases = {
      {"driver traits, value on error",
       [](auto s, auto on) { return withDriverTraits(s, on, -1); }, {2}},
      {"driver traits, handler on error",
       [&](auto s, auto on) { return withDriverTraits(s, on, fallback); }, {2}},
      {"signal traits", [&](auto s, auto on) { return withSignalTraits(s, on, fallback); }, {}}};
  // clang-format on
  for (const auto& [name, apply, lateSubscriberGets] : cases) {
    SCOPED_TRACE(name);
    auto scheduler = rx::TestScheduler::make();
    int subscriptions = 0;
    rx::PublishSubject<int> subject;
    auto traits =
        apply(subject.asObservable().doOn({.onSubscribe = [&] { ++subscriptions; }}), scheduler);
    auto first = rx::testing::collect(traits);
    subject.onNext(1);
    subject.onNext(2);
    EXPECT_TRUE(first->elements.empty());  // not before the scheduler runs
    scheduler->runDue();
    auto late = rx::testing::collect(traits);
    EXPECT_EQ(subscriptions, 1);
    EXPECT_EQ(late->elements, lateSubscriberGets);
    subject.onError(std::make_exception_ptr(std::runtime_error("x")));
    scheduler->runDue();
    EXPECT_EQ(first->elements, (std::vector<int>{1, 2, -1}));
  }
}

TEST_F(OnMainQueueTest, ErrorsEndQuietlyOrBecomeResults) {
  std::vector<int> seen;
  bool completed = false;
  rx::DisposeBag bag;
  asDriverIgnoringErrors(oneThenError())
      .drive([&](int v) { seen.push_back(v); }, [&] { completed = true; })
      .disposed(bag);
  std::vector<bool> results;
  resultAsSignal(rx::Single<int>::error(std::make_exception_ptr(std::runtime_error("y"))))
      .emit([&](const Result<int>& r) { results.push_back(r.isSuccess()); })
      .disposed(bag);
  resultAsDriver(rx::Single<int>::just(3))
      .drive([&](const Result<int>& r) { results.push_back(r.isSuccess()); })
      .disposed(bag);
  MainRunLoop::runUntilIdle();
  EXPECT_EQ(seen, (std::vector<int>{1}));
  EXPECT_TRUE(completed);
  EXPECT_EQ(results, (std::vector<bool>{false, true}));
}

TEST_F(OnMainQueueTest, ShareForeverKeepsTheLatestForLaterDrivers) {
  int subscriptions = 0;
  rx::PublishSubject<int> subject;
  auto shared = shareForever(
      rx::asDriver(subject.asObservable().doOn({.onSubscribe = [&] { ++subscriptions; }}), 0));
  std::vector<int> first;
  std::vector<int> second;
  {
    rx::DisposeBag bag;
    shared.drive([&](int v) { first.push_back(v); }).disposed(bag);
    shared.drive([&](int v) { second.push_back(v); }).disposed(bag);
    subject.onNext(4);
    MainRunLoop::runUntilIdle();
  }
  EXPECT_EQ(subscriptions, 1);
  EXPECT_EQ(first, (std::vector<int>{4}));
  EXPECT_EQ(second, (std::vector<int>{4}));
  std::vector<int> later;
  rx::DisposeBag bag;
  shared.drive([&](int v) { later.push_back(v); }).disposed(bag);
  MainRunLoop::runUntilIdle();
  EXPECT_EQ(later, (std::vector<int>{4}));  // kept after every subscriber had left
}

TEST(RxOperatorsTest, SingleShareRunsTheWorkOnceForItsSubscribers) {
  int runs = 0;
  auto work = rx::Single<int>::deferred([&] { return rx::Single<int>::just(++runs); });
  auto forever = work.share(rx::SubjectLifetimeScope::forever).asObservable();
  EXPECT_EQ(elements(forever), (std::vector<int>{1}));
  EXPECT_EQ(elements(forever), (std::vector<int>{1}));
  EXPECT_EQ(runs, 1);

  rx::PublishSubject<int> pending;
  int subscriptions = 0;
  auto whileConnected = pending.asObservable()
                            .doOn({.onSubscribe = [&] { ++subscriptions; }})
                            .take(1)
                            .asSingle()
                            .share();
  auto first = rx::testing::collect(whileConnected.asObservable());
  auto second = rx::testing::collect(whileConnected.asObservable());
  pending.onNext(9);
  EXPECT_EQ(first->elements, (std::vector<int>{9}));
  EXPECT_EQ(second->elements, (std::vector<int>{9}));
  EXPECT_EQ(subscriptions, 1);
}

TEST(RxOperatorsDeathTest, InfallibleThatFailsStopsTheProcess) {
  EXPECT_DEATH(
      {
        auto broken = rx::Infallible<int>::fromObservableUnchecked(
            rx::Observable<int>::error(std::make_exception_ptr(std::runtime_error("x"))));
        asDriver(broken).drive([](int) {});
      },
      "infallible is not capable of erroring");
}

}  // namespace
}  // namespace zorlan
