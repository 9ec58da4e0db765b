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
using rx::testing::collect;
using rx::testing::failure;
using rx::testing::Ints;
using OnMainQueueTest = testing::MainQueueFixture;

template <class T>
std::vector<T> elements(const rx::Observable<T>& source) {
  return collect(source)->elements;
}

// Sends 1, then fails.
rx::Observable<int> oneThenError() { return rx::Observable<int>::error(failure("x")).startWith(1); }

TEST(RxOperatorsTest, NeighbourAndOptionalHelpers) {
  auto source = rx::Observable<int>::from({1, 2, 3});
  EXPECT_EQ(elements(withPrevious(source)), (std::vector<std::pair<int, int>>{{1, 2}, {2, 3}}));
  EXPECT_EQ(elements(withPreviousOptional(source)),
            (std::vector<std::pair<std::optional<int>, int>>{{std::nullopt, 1}, {1, 2}, {2, 3}}));
  EXPECT_EQ(elements(previous(source)), (Ints{1, 2}));
  EXPECT_TRUE(elements(withPrevious(rx::Observable<int>::just(1))).empty());
  auto optionals = rx::Observable<std::optional<int>>::from({1, std::nullopt, 3});
  EXPECT_EQ(elements(unwrap(optionals)), (Ints{1, 3}));
  EXPECT_EQ(elements(orZero(optionals)), (Ints{1, 0, 3}));
  EXPECT_EQ(elements(asOptional(rx::Observable<int>::just(2))),
            (std::vector<std::optional<int>>{2}));
  EXPECT_EQ(elements(arrayMap(rx::Observable<Ints>::just({1, 2}), [](int v) { return v * 3; })),
            (std::vector<Ints>{{3, 6}}));
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
      {"completes at once", [] { return O::empty(); }, {}, {"timed out"}, true},
      {"one element then completion", [] { return O::just("only"); }, {"only"}, {"only"}, true}};
  // clang-format on
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    auto scheduler = rx::TestScheduler::make();
    int subscriptions = 0;
    int timeouts = 0;
    auto counted = O::deferred([&] {
      ++subscriptions;
      return c.source();
    });
    auto received = collect(
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

TEST(RxOperatorsTest, IgnoreUntilResultAndFromCallbacks) {
  rx::PublishSubject<int> source;
  rx::BehaviorRelay<bool> allowed(false);
  auto seen = collect(ignoreUntil(source.asObservable(), allowed.asObservable()));
  source.onNext(1);
  allowed.accept(true);
  source.onNext(2);
  allowed.accept(false);  // once allowed, stays allowed
  source.onNext(3);
  EXPECT_EQ(seen->elements, (Ints{2, 3}));
  seen->subscription.dispose();  // a live subscription keeps the subject and operator in a cycle

  // result() turns the error into a failure value.
  auto results = elements(result(oneThenError()));
  ASSERT_EQ(results.size(), 2u);
  EXPECT_EQ(*results[0].value(), 1);
  EXPECT_THROW(results[1].get(), std::runtime_error);
  std::vector<bool> outcomes;
  auto outcome = [&](const Result<rx::Never>& r) { outcomes.push_back(r.isSuccess()); };
  result(rx::Completable::empty()).subscribe(outcome);
  result(rx::Completable::error(failure("x"))).subscribe(outcome);
  EXPECT_EQ(outcomes, (std::vector<bool>{true, false}));

  std::function<void(Result<int>)> complete;
  auto single = collect(singleFrom<int>([&](std::function<void(Result<int>)> done) {
                          complete = done;
                        }).asObservable());
  EXPECT_TRUE(single->elements.empty());
  complete(Result<int>::success(9));
  EXPECT_EQ(single->elements, (Ints{9}));
  bool completed = false;
  completableFrom([](std::function<void(std::exception_ptr)> done) {
    done(nullptr);
  }).subscribe([&] { completed = true; });
  EXPECT_TRUE(completed);
}

TEST(AsyncSequenceTest, RunsOneAfterAnotherAndStopsAtTheFirstFailure) {
  std::vector<rx::PublishSubject<int>> pending(3);
  Ints started;
  Ints results;
  asyncMap(Ints{0, 1, 2}, [&](int i) {
    started.push_back(i);
    return pending[i].asObservable().take(1).asSingle();
  }).subscribe([&](const Ints& r) { results = r; });
  EXPECT_EQ(started, (Ints{0}));  // the next starts only after this one
  pending[0].onNext(10);
  EXPECT_EQ(started, (Ints{0, 1}));
  pending[1].onNext(11);
  pending[2].onNext(12);
  EXPECT_EQ(results, (Ints{10, 11, 12}));

  Ints ran;
  std::string error;
  asyncForEach(Ints{1, 2, 3}, [&](int i) {
    ran.push_back(i);
    return i == 2 ? rx::Single<int>::error(failure("2")) : rx::Single<int>::just(i);
  }).subscribe([] {}, [&](std::exception_ptr e) { error = rx::testing::whatOf(e); });
  EXPECT_EQ(ran, (Ints{1, 2}));
  EXPECT_EQ(error, "2");

  Ints kept;
  asyncCompactMap(Ints{1, 2, 3}, [](int i) {
    return rx::Single<std::optional<int>>::just(i % 2 ? std::optional<int>(i) : std::nullopt);
  }).subscribe([&](const Ints& r) { kept = r; });
  EXPECT_EQ(kept, (Ints{1, 3}));

  // A long run of immediate steps does not grow the stack.
  std::size_t count = 0;
  asyncMap(Ints(50000, 1), [](int v) {
    return rx::Single<int>::just(v);
  }).subscribe([&](const Ints& r) { count = r.size(); });
  EXPECT_EQ(count, 50000u);
}

TEST(AsyncSequenceTest, DisposingStopsBeforeTheNextStep) {
  rx::PublishSubject<int> first;
  int started = 0;
  rx::Disposable d = asyncMap(Ints{0, 1}, [&](int) {
                       ++started;
                       return first.asObservable().take(1).asSingle();
                     }).subscribe([](const Ints&) { FAIL() << "not finished"; });
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
  const std::vector<std::tuple<const char*, Apply, Ints>> cases = {
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
    auto first = collect(traits);
    subject.onNext(1);
    subject.onNext(2);
    EXPECT_TRUE(first->elements.empty());  // not before the scheduler runs
    scheduler->runDue();
    auto late = collect(traits);
    EXPECT_EQ(subscriptions, 1);
    EXPECT_EQ(late->elements, lateSubscriberGets);
    subject.onError(failure("x"));
    scheduler->runDue();
    EXPECT_EQ(first->elements, (Ints{1, 2, -1}));
  }
}

TEST_F(OnMainQueueTest, ErrorsEndQuietlyOrBecomeResults) {
  Ints seen;
  bool completed = false;
  rx::DisposeBag bag;
  asDriverIgnoringErrors(oneThenError())
      .drive([&](int v) { seen.push_back(v); }, [&] { completed = true; })
      .disposed(bag);
  std::vector<bool> results;
  auto record = [&](const Result<int>& r) { results.push_back(r.isSuccess()); };
  resultAsSignal(rx::Single<int>::error(failure("y"))).emit(record).disposed(bag);
  resultAsDriver(rx::Single<int>::just(3)).drive(record).disposed(bag);
  MainRunLoop::runUntilIdle();
  EXPECT_EQ(seen, (Ints{1}));
  EXPECT_TRUE(completed);
  EXPECT_EQ(results, (std::vector<bool>{false, true}));
}

TEST_F(OnMainQueueTest, ShareForeverKeepsTheLatestForLaterDrivers) {
  int subscriptions = 0;
  rx::PublishSubject<int> subject;
  auto shared = shareForever(
      rx::asDriver(subject.asObservable().doOn({.onSubscribe = [&] { ++subscriptions; }}), 0));
  Ints first, second, later;
  {
    rx::DisposeBag bag;
    shared.drive([&](int v) { first.push_back(v); }).disposed(bag);
    shared.drive([&](int v) { second.push_back(v); }).disposed(bag);
    subject.onNext(4);
    MainRunLoop::runUntilIdle();
  }
  EXPECT_EQ(subscriptions, 1);
  EXPECT_EQ(first, (Ints{4}));
  EXPECT_EQ(second, (Ints{4}));
  rx::DisposeBag bag;
  shared.drive([&](int v) { later.push_back(v); }).disposed(bag);
  MainRunLoop::runUntilIdle();
  EXPECT_EQ(later, (Ints{4}));  // kept after every subscriber had left
}

TEST(RxOperatorsTest, SingleShareRunsTheWorkOnceForItsSubscribers) {
  int runs = 0;
  auto work = rx::Single<int>::deferred([&] { return rx::Single<int>::just(++runs); });
  auto forever = work.share(rx::SubjectLifetimeScope::forever).asObservable();
  EXPECT_EQ(elements(forever), (Ints{1}));
  EXPECT_EQ(elements(forever), (Ints{1}));
  EXPECT_EQ(runs, 1);

  rx::PublishSubject<int> pending;
  int subscriptions = 0;
  auto whileConnected =
      pending.asObservable().doOn({.onSubscribe = [&] { ++subscriptions; }}).take(1).asSingle();
  auto shared = whileConnected.share().asObservable();
  auto first = collect(shared);
  auto second = collect(shared);
  pending.onNext(9);
  EXPECT_EQ(first->elements, (Ints{9}));
  EXPECT_EQ(second->elements, (Ints{9}));
  EXPECT_EQ(subscriptions, 1);
}

TEST(RxOperatorsDeathTest, InfallibleThatFailsStopsTheProcess) {
  EXPECT_DEATH(asDriver(rx::Infallible<int>::fromObservableUnchecked(
                            rx::Observable<int>::error(failure("x"))))
                   .drive([](int) {}),
               "infallible is not capable of erroring");
}

}  // namespace
}  // namespace zorlan
