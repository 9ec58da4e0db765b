// GatedObserver: how hot sequences (subjects, relays, shared sequences) hold
// one subscriber. A new subscriber is first owed something (a behaviour
// subject's value, a replay buffer); live events that arrive before that has
// been delivered are held back and delivered after it, in order, by the
// subscribing thread. Nothing is called under a lock.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "zorlan/Rx/Observer.hpp"

namespace zorlan::rx::detail {

template <class T>
class GatedObserver {
 public:
  // `open`: deliver live events at once (nothing is owed).
  GatedObserver(AnyObserver<T> observer, bool open)
      : observer_(std::move(observer)), state_(open ? kOpen : kClosed) {}

  // A live element: delivered now when open, held while closed, dropped once
  // the subscriber is gone.
  void onNext(const T& element) {
    std::uint8_t state = state_.load(std::memory_order_acquire);
    if (state == kOpen || (state == kClosed && !hold(Event<T>::next(element)))) {
      observer_.onNext(element);
    }
  }
  // A live event of any kind, under the same rule.
  void on(const Event<T>& event) {
    std::uint8_t state = state_.load(std::memory_order_acquire);
    if (state == kOpen || (state == kClosed && !hold(event))) observer_.on(event);
  }

  // The subscriber itself, before `open()`: what it is owed.
  const AnyObserver<T>& observer() const noexcept { return observer_; }

  // Delivers the held events in order, then lets live events through.
  // Called once, by the subscribing thread, after it delivered what was owed.
  // A handler that throws leaves the gate shut for good (see `shut`).
  void open() {
    std::vector<Event<T>> batch;
    while (true) {
      batch.clear();
      {
        std::lock_guard lock(mutex_);
        if (state_.load(std::memory_order_relaxed) == kGone) return;
        if (held_.empty()) {
          state_.store(kOpen, std::memory_order_release);
          return;
        }
        batch.swap(held_);
      }
      try {
        for (const Event<T>& event : batch) {
          if (state_.load(std::memory_order_acquire) == kGone) return;
          observer_.on(event);
        }
      } catch (...) {
        shut();
        throw;
      }
    }
  }

  // The subscriber is gone: nothing more is delivered or held, and what was
  // held is dropped.
  void shut() {
    std::vector<Event<T>> dropped;
    std::lock_guard lock(mutex_);
    state_.store(kGone, std::memory_order_release);
    dropped.swap(held_);
  }

 private:
  static constexpr std::uint8_t kClosed = 0;
  static constexpr std::uint8_t kOpen = 1;
  static constexpr std::uint8_t kGone = 2;

  // Holds `event` while the gate is closed; false when it opened meanwhile
  // (deliver now). An event for a subscriber that is gone counts as held.
  bool hold(Event<T> event) {
    std::lock_guard lock(mutex_);
    std::uint8_t state = state_.load(std::memory_order_relaxed);
    if (state == kOpen) return false;
    if (state == kClosed) held_.push_back(std::move(event));
    return true;
  }

  AnyObserver<T> observer_;
  std::atomic<std::uint8_t> state_;
  std::mutex mutex_;
  std::vector<Event<T>> held_;
};

}  // namespace zorlan::rx::detail
