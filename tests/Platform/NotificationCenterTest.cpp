// zorlan/Platform/NotificationCenter.hpp, Notification.hpp, AnyHashable.hpp: delivery order,
// senders, changes during delivery, throwing handlers, lifetimes and the reactive view.
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "zorlan/Platform/NotificationCenter.hpp"
#include "zorlan/Rx/Observable.hpp"

namespace zorlan {
namespace {

const NotificationName kA{"Test:A"};
const NotificationName kB{"Test:B"};

TEST(NotificationCenter, DeliversByNameAndSenderInOrderOfRegistration) {
  NotificationCenter center;
  std::vector<std::string> calls;
  int senderA = 0, senderB = 0;
  auto log = [&calls](std::string tag) {
    return [&calls, tag](const Notification& n) {
      calls.push_back(tag + ":" + std::string(n.name().rawValue()));
    };
  };
  auto o1 = center.addObserver(kA, log("a"));
  auto o2 = center.addObserver(std::nullopt, nullptr, log("any"));
  auto o3 = center.addObserver(kA, &senderA, log("fromA"));
  auto o4 = center.addObserver(NotificationName("Test:A"), log("a2"));  // same text, same name

  center.post(kA, &senderA);
  center.post(kA, &senderB);
  center.post(kB);
  EXPECT_EQ(calls, (std::vector<std::string>{"a:Test:A", "any:Test:A", "fromA:Test:A", "a2:Test:A",
                                             "a:Test:A", "any:Test:A", "a2:Test:A", "any:Test:B"}));
}

TEST(NotificationCenter, UserInfoAbsentIsNotEmptyAndKeysKeepTheirType) {
  enum class Key { one = 1 };
  NotificationCenter center;
  std::vector<const UserInfo*> seen;
  auto o = center.addObserver(kA, [&seen](const Notification& n) { seen.push_back(n.userInfo()); });
  center.post(kA);
  auto info = std::make_shared<const UserInfo>(UserInfo{{Key::one, 7}, {"one", 8}, {1, 9}});
  center.post(kA, nullptr, info);
  ASSERT_EQ(seen.size(), 2u);
  EXPECT_EQ(seen[0], nullptr);
  ASSERT_NE(seen[1], nullptr);
  EXPECT_EQ(seen[1]->size(), 3u);  // the enumerator, the text and the number 1 are three keys
  EXPECT_EQ(std::any_cast<int>(seen[1]->at(Key::one)), 7);
  EXPECT_EQ(std::any_cast<int>(seen[1]->at(std::string("one"))), 8);
  EXPECT_EQ(std::any_cast<int>(seen[1]->at(1ull)), 9);  // integers of any width are one key
}

TEST(NotificationCenter, ChangesDuringDeliveryApplyFromTheNextObserverOrPost) {
  NotificationCenter center;
  std::vector<std::string> calls;
  NotificationCenter::Observation self, later, added;
  self = center.addObserver(kA, [&](const Notification&) {
    calls.push_back("self");
    self.remove();   // removing itself from its own handler does not wait on itself
    later.remove();  // an observer removed mid-post is skipped by that post
    added = center.addObserver(kA, [&](const Notification&) { calls.push_back("added"); });
  });
  later = center.addObserver(kA, [&](const Notification&) { calls.push_back("later"); });
  center.post(kA);
  center.post(kA);
  EXPECT_EQ(calls, (std::vector<std::string>{"self", "added"}));
}

TEST(NotificationCenter, EveryObserverRunsWhenHandlersThrowAndTheFirstErrorIsRethrown) {
  NotificationCenter center;
  int reached = 0;
  auto o1 = center.addObserver(kA, [](const Notification&) { throw std::runtime_error("first"); });
  auto o2 = center.addObserver(kA, [&](const Notification&) { ++reached; });
  auto o3 = center.addObserver(kA, [](const Notification&) { throw std::logic_error("second"); });
  try {
    center.post(kA);
    FAIL() << "post did not rethrow";
  } catch (const std::runtime_error& e) {
    EXPECT_STREQ(e.what(), "first");
  }
  o1.remove();
  o3.remove();
  center.post(kA);  // the centre is still usable
  EXPECT_EQ(reached, 2);
}

TEST(NotificationCenter, ObservationsEndWithTheirScopeAndMayOutliveTheCentre) {
  int calls = 0;
  auto center = std::make_unique<NotificationCenter>();
  {
    auto scoped = center->addObserver(kA, [&](const Notification&) { ++calls; });
    center->post(kA);
  }
  center->post(kA);
  NotificationCenter::Observation outliving =
      center->addObserver(kA, [&](const Notification&) { ++calls; });
  NotificationCenter::Observation moved = std::move(outliving);
  EXPECT_FALSE(outliving);
  center.reset();
  moved.remove();  // nothing left to remove from: no crash, no leak under ASan
  EXPECT_EQ(calls, 1);
}

TEST(NotificationCenter, ReactiveViewAddsPerSubscriptionAndRemovesOnDispose) {
  NotificationCenter center;
  int sender = 0;
  std::vector<const void*> senders;
  auto stream = center.notifications(kA);
  rx::Disposable all =
      stream.subscribe([&](const Notification& n) { senders.push_back(n.object()); });
  rx::Disposable once;
  once = center.notifications(kA, &sender).subscribe([&](const Notification&) {
    senders.push_back(nullptr);
    once.dispose();  // disposing from inside its own delivery
  });
  center.post(kA, &sender);
  center.post(kA, &sender);
  all.dispose();
  center.post(kA);
  EXPECT_EQ(senders, (std::vector<const void*>{&sender, nullptr, &sender}));
}

}  // namespace
}  // namespace zorlan
