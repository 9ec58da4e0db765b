// zorlan/Rx/Subjects.hpp, Binder.hpp and the share operator: what subjects, relays and shared
// sequences give each subscriber, and bindings to them.
#include <gtest/gtest.h>

#include "RxTestSupport.hpp"
#include "zorlan/Rx/Binder.hpp"
#include "zorlan/Rx/Subjects.hpp"
#include "zorlan/Rx/VirtualTimeScheduler.hpp"

namespace zorlan::rx {
namespace {

using testing::collect;
using testing::Ints;

TEST(SubjectTest, BehaviorSubjectStartsEachSubscriberWithTheValuePublishSubjectDoesNot) {
  BehaviorSubject<int> behavior(1);
  auto early = collect(behavior.asObservable());
  behavior.onNext(2);
  auto late = collect(behavior.asObservable());
  behavior.onNext(3);
  EXPECT_EQ(early->elements, (Ints{1, 2, 3}));
  EXPECT_EQ(late->elements, (Ints{2, 3}));
  behavior.onCompleted();
  auto afterEnd = collect(behavior.asObservable());
  EXPECT_TRUE(afterEnd->completed);
  EXPECT_TRUE(afterEnd->elements.empty());
  behavior.onNext(4);
  EXPECT_EQ(behavior.value(), 3);

  PublishSubject<int> publish;
  publish.onNext(0);
  auto c = collect(publish.asObservable());
  publish.onNext(1);
  publish.onError(testing::failure("over"));
  publish.onNext(2);
  EXPECT_EQ(c->elements, (Ints{1}));
  EXPECT_EQ(c->error, "over");
  EXPECT_EQ(collect(publish.asObservable())->error, "over");
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

// One connection for all subscribers, replaying the latest two; when the last one leaves the
// source is released, and the buffer goes with it unless it lives forever.
TEST(ShareTest, OneConnectionReplayAndReconnection) {
  for (const auto& [scope, thirdGets] : {std::pair{SubjectLifetimeScope::whileConnected, Ints{3}},
                                         std::pair{SubjectLifetimeScope::forever, Ints{1, 2, 3}}}) {
    SCOPED_TRACE(thirdGets.size());
    int subscriptions = 0;
    int disposals = 0;
    PublishSubject<int> subject;
    auto shared =
        subject.asObservable()
            .doOn({.onSubscribe = [&] { ++subscriptions; }, .onDispose = [&] { ++disposals; }})
            .share(2, scope);
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
    EXPECT_EQ(disposals, 1);
    EXPECT_FALSE(subject.hasObservers());
    auto third = collect(shared);
    EXPECT_EQ(subscriptions, 2);
    subject.onNext(3);
    EXPECT_EQ(third->elements, thirdGets);
    third->subscription.dispose();
  }
}

TEST(ShareTest, AfterTheSourceEndsWhileConnectedStartsAfreshForeverReplays) {
  for (const auto& [scope, lateGets, subscriptionCount] :
       {std::tuple{SubjectLifetimeScope::whileConnected, Ints{1, 2, 3}, 2},
        std::tuple{SubjectLifetimeScope::forever, Ints{2, 3}, 1}}) {
    SCOPED_TRACE(subscriptionCount);
    int subscriptions = 0;
    auto source = Observable<int>::from({1, 2, 3}).doOn({.onSubscribe = [&] { ++subscriptions; }});
    auto shared = source.share(2, scope);
    EXPECT_EQ(collect(shared)->elements, (Ints{1, 2, 3}));
    auto late = collect(shared);
    EXPECT_EQ(late->elements, lateGets);
    EXPECT_TRUE(late->completed);
    EXPECT_EQ(subscriptions, subscriptionCount);
  }
}

TEST(BinderTest, AppliesOnItsSchedulerWhileTheTargetLivesAndIgnoresErrors) {
  auto clock = TestScheduler::make();
  auto target = std::make_shared<Ints>();
  auto append = [](Ints& t, const int& v) { t.push_back(v); };
  Binder<int> binder(target, append, clock);
  PublishSubject<int> subject;
  Disposable binding = subject.asObservable().bindTo(binder);
  subject.onNext(1);
  EXPECT_TRUE(target->empty());  // applied on the scheduler, not on the caller
  clock->runDue();
  EXPECT_EQ(*target, (Ints{1}));
  subject.onNext(2);
  std::weak_ptr<Ints> weak = target;
  target.reset();  // the binder holds its target weakly
  EXPECT_TRUE(weak.expired());
  clock->runDue();  // nothing to apply to: dropped, no crash

  PublishSubject<int> failing;
  auto kept = std::make_shared<Ints>();
  Binder<int> other(kept, append, clock);
  failing.asObservable().bindTo(other);
  failing.onError(testing::failure("ignored by binders"));
  other.onNext(3);
  clock->runDue();
  EXPECT_EQ(*kept, (Ints{3}));
}

TEST(ControlPropertyTest, ObservesAndSetsThroughItsTwoHalves) {
  BehaviorSubject<std::string> text("");
  ControlProperty<std::string> property(text.asObservable(), text.asObserver());
  auto seen = collect(property.asObservable());
  PublishSubject<std::string> typed;
  Disposable binding = typed.asObservable().bindTo(property);
  typed.onNext("a");
  property.onNext("ab");
  EXPECT_EQ(seen->elements, (std::vector<std::string>{"", "a", "ab"}));
  EXPECT_EQ(text.value(), "ab");
  binding.dispose();
}

}  // namespace
}  // namespace zorlan::rx
