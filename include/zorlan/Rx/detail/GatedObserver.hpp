// GatedObserver: how hot sequences (subjects, relays, shared sequences) hold
// one subscriber. A new subscriber is first owed something (a behaviour
// subject's value, a replay buffer); live events that arrive from other
// threads before that has been delivered are held back and delivered after
// it, in order, by the subscribing thread. Nothing is called under a lock.
#pragma once

#include <atomic>
#include <deque>
#include <mutex>
#include <optional>
#include <utility>

#include "zorlan/Rx/Observer.hpp"

namespace zorlan::rx::detail {

template <class T>
class GatedObserver {
 public:
  // `open`: deliver live events at once (nothing is owed).
  GatedObserver(AnyObserver<T> observer, bool open) : observer_(std::move(observer)), open_(open) {}

  // A live element: delivered now when open, held otherwise.
  void onNext(const T& element) {
    if (!open_.load(std::memory_order_acquire) && hold(Event<T>::next(element))) return;
    observer_.onNext(element);
  }
  // A live event of any kind, under the same rule.
  void on(const Event<T>& event) {
    if (!open_.load(std::memory_order_acquire) && hold(event)) return;
    observer_.on(event);
  }

  // The subscriber itself, before `open()`: what it is owed.
  const AnyObserver<T>& observer() const noexcept { return observer_; }

  // Delivers the held events in order, then lets live events through.
  // Called once, by the subscribing thread, after it delivered what was owed.
  void open() {
    while (true) {
      std::optional<Event<T>> event;
      {
        std::lock_guard lock(mutex_);
        if (held_.empty()) {
          open_.store(true, std::memory_order_release);
          return;
        }
        event.emplace(std::move(held_.front()));
        held_.pop_front();
      }
      observer_.on(*event);
    }
  }

 private:
  // Holds `event` unless the gate opened meanwhile; true when held.
  bool hold(Event<T> event) {
    std::lock_guard lock(mutex_);
    if (open_.load(std::memory_order_relaxed)) return false;
    held_.push_back(std::move(event));
    return true;
  }

  AnyObserver<T> observer_;
  std::atomic<bool> open_;
  std::mutex mutex_;
  std::deque<Event<T>> held_;
};

}  // namespace zorlan::rx::detail
