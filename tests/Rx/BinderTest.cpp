#include <gtest/gtest.h>

#include "RxTestSupport.hpp"
#include "zorlan/Rx/Binder.hpp"
#include "zorlan/Rx/Subjects.hpp"
#include "zorlan/Rx/VirtualTimeScheduler.hpp"

namespace zorlan::rx {
namespace {

using Ints = std::vector<int>;

TEST(BinderTest, AppliesOnItsSchedulerWhileTheTargetLivesAndIgnoresErrors) {
  auto clock = TestScheduler::make();
  auto target = std::make_shared<Ints>();
  Binder<int> binder(
      target, [](Ints& t, const int& v) { t.push_back(v); }, clock);
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
  Binder<int> other(
      kept, [](Ints& t, const int& v) { t.push_back(v); }, clock);
  failing.asObservable().bindTo(other);
  failing.onError(testing::failure("ignored by binders"));
  other.onNext(3);
  clock->runDue();
  EXPECT_EQ(*kept, (Ints{3}));
}

TEST(ControlPropertyTest, ObservesAndSetsThroughItsTwoHalves) {
  BehaviorSubject<std::string> text("");
  ControlProperty<std::string> property(text.asObservable(), text.asObserver());
  auto seen = testing::collect(property.asObservable());
  PublishSubject<std::string> typed;
  Disposable binding = typed.asObservable().bindTo(property);
  typed.onNext("a");
  property.onNext("ab");
  EXPECT_EQ(seen->elements, (std::vector<std::string>{"", "a", "ab"}));
  EXPECT_EQ(text.value(), "ab");
  binding.dispose();
  seen->subscription.dispose();
}

}  // namespace
}  // namespace zorlan::rx
