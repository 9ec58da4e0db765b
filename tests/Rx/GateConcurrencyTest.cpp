// A new subscriber of a hot sequence gets what it is owed (a value, a replay
// buffer) before elements that another thread sends meanwhile.
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

#include "zorlan/Rx/Subjects.hpp"

namespace zorlan::rx {
namespace {

using Ints = std::vector<int>;

struct OwedCase {
  const char* name;
  // Returns the sequence to subscribe to and a way to send an element on it;
  // the sequence owes a new subscriber the element 1.
  std::function<std::pair<Observable<int>, std::function<void(int)>>(std::vector<Disposable>&)>
      make;
};

TEST(GateConcurrencyTest, WhatIsOwedComesBeforeElementsSentMeanwhile) {
  std::vector<OwedCase> cases = {
      {"behavior relay",
       [](std::vector<Disposable>&) {
         BehaviorRelay<int> relay(1);
         return std::make_pair(relay.asObservable(),
                               std::function<void(int)>([relay](int v) { relay.accept(v); }));
       }},
      {"shared with replay",
       [](std::vector<Disposable>& keep) {
         PublishSubject<int> subject;
         auto shared = subject.asObservable().share(1);
         keep.push_back(shared.subscribe([](int) {}));  // keeps the connection
         subject.onNext(1);
         return std::make_pair(shared,
                               std::function<void(int)>([subject](int v) { subject.onNext(v); }));
       }},
  };
  for (const OwedCase& c : cases) {
    SCOPED_TRACE(c.name);
    std::vector<Disposable> keep;
    auto [sequence, send] = c.make(keep);
    std::promise<void> inFirstDelivery;
    std::promise<void> sent;
    std::shared_future<void> sentFuture = sent.get_future().share();
    std::atomic<bool> firstCall{true};
    std::mutex mutex;
    Ints seen;
    // Another thread sends 2 while the subscriber is still receiving 1.
    std::thread sender([&, send = send] {
      inFirstDelivery.get_future().wait();
      send(2);
      sent.set_value();
    });
    Disposable subscription = sequence.subscribe([&](int v) {
      if (firstCall.exchange(false)) {
        inFirstDelivery.set_value();
        sentFuture.wait();  // the send returned without waiting for this delivery
      }
      std::lock_guard lock(mutex);
      seen.push_back(v);
    });
    sender.join();
    EXPECT_EQ(seen, (Ints{1, 2}));
    subscription.dispose();
    for (const Disposable& d : keep) d.dispose();
  }
}

}  // namespace
}  // namespace zorlan::rx
