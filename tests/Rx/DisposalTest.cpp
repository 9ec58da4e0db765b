// Every operator releases every source it subscribed to when its subscription
// is disposed, and delivers nothing afterwards.
#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "RxTestSupport.hpp"
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

}  // namespace
}  // namespace zorlan::rx
