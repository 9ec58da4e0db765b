// SubjectCore: the observer list of a hot sequence (subjects, relays, shared
// sequences) and the one delivery loop that keeps its observers' calls in
// order.
//
// Events are delivered in the order the sequence accepted them, to the
// observers registered when each was accepted, and calls to one observer
// never overlap. The thread that sends an event while nobody is delivering
// delivers it, on the spot, outside the lock; an event sent meanwhile from
// another thread (or from inside a handler) is queued and delivered by that
// thread before it returns. So `accept` returns once its element has been
// delivered, possibly by the thread that was delivering already.
#pragma once

#include <exception>
#include <memory>
#include <mutex>
#include <type_traits>
#include <utility>
#include <vector>

#include "zorlan/Rx/Disposable.hpp"
#include "zorlan/Rx/Observer.hpp"
#include "zorlan/Rx/detail/GatedObserver.hpp"
#include "zorlan/Rx/detail/Sink.hpp"

namespace zorlan::rx::detail {

template <class T>
class SubjectCore {
 public:
  using Entry = std::shared_ptr<GatedObserver<T>>;
  using List = std::vector<Entry>;

  // Guards the list and the queue; owners guard their own state with it too
  // (a behaviour subject's value, a replay buffer) so that what a new
  // subscriber is owed and where it joins the list agree.
  mutable std::mutex mutex;

  // Caller holds the mutex. Registers `observer`; `open` as for GatedObserver.
  Entry addLocked(const AnyObserver<T>& observer, bool open) {
    auto entry = std::make_shared<GatedObserver<T>>(observer, open);
    auto updated = std::make_shared<List>(*observers_);
    updated->push_back(entry);
    observers_ = std::move(updated);
    return entry;
  }
  // Unregisters `gone` (no-op when already gone); it gets nothing more.
  void remove(GatedObserver<T>* gone) {
    gone->shut();
    std::shared_ptr<const List> previous;
    std::lock_guard lock(mutex);
    auto updated = std::make_shared<List>(*observers_);
    std::erase_if(*updated, [gone](const Entry& e) { return e.get() == gone; });
    previous = std::exchange(observers_, std::move(updated));
  }
  bool hasObservers() const {
    std::lock_guard lock(mutex);
    return !observers_->empty();
  }
  // Caller holds the mutex.
  bool hasObserversLocked() const { return !observers_->empty(); }

  // `lock` holds the mutex; it is released before any observer runs. Sends
  // `element` to the observers registered now. A handler that throws is
  // unregistered; the others still get the element; then the first such
  // exception is rethrown to the caller (see answeredFailure).
  void sendLocked(std::unique_lock<std::mutex>& lock, const T& element) {
    if (draining_) {
      pending_.push_back({Event<T>::next(element), observers_});
      lock.unlock();
      return;
    }
    draining_ = true;
    std::shared_ptr<const List> targets = observers_;
    lock.unlock();
    std::exception_ptr failure;
    for (const Entry& entry : *targets) deliver(entry, element, failure);
    drain(failure);
  }
  // As sendLocked, for a terminal event: every registered observer gets it
  // and the list is emptied.
  void endLocked(std::unique_lock<std::mutex>& lock, const Event<T>& event) {
    std::shared_ptr<const List> targets = std::exchange(observers_, emptyList());
    if (draining_) {
      pending_.push_back({event, std::move(targets)});
      lock.unlock();
      return;
    }
    draining_ = true;
    lock.unlock();
    std::exception_ptr failure;
    for (const Entry& entry : *targets) deliver(entry, event, failure);
    targets.reset();
    drain(failure);
  }

 private:
  struct Pending {
    Event<T> event;
    std::shared_ptr<const List> targets;
  };

  static std::shared_ptr<const List> emptyList() { return std::make_shared<const List>(); }

  template <class E>
  void deliver(const Entry& entry, const E& what, std::exception_ptr& failure) noexcept {
    try {
      if constexpr (std::is_same_v<E, T>) {
        entry->onNext(what);
      } else {
        entry->on(what);
      }
    } catch (...) {
      if (!failure) failure = std::current_exception();
      if (!failureAnsweredBelow()) remove(entry.get());
    }
  }

  void drain(std::exception_ptr failure) {
    std::vector<Pending> batch;
    while (true) {
      batch.clear();
      {
        std::lock_guard lock(mutex);
        if (pending_.empty()) {
          draining_ = false;
          break;
        }
        batch.swap(pending_);
      }
      for (const Pending& p : batch) {
        for (const Entry& entry : *p.targets) {
          if (p.event.kind == Event<T>::Kind::next) {
            deliver(entry, *p.event.element, failure);
          } else {
            deliver(entry, p.event, failure);
          }
        }
      }
    }
    if (failure) rethrowAnswered(std::move(failure));
  }

  std::shared_ptr<const List> observers_ = emptyList();
  std::vector<Pending> pending_;
  bool draining_ = false;
};

// The subscription handle of a hot sequence's observer: unregisters it.
template <class T>
Disposable removal(const std::shared_ptr<SubjectCore<T>>& core,
                   const std::shared_ptr<GatedObserver<T>>& entry) {
  std::weak_ptr<SubjectCore<T>> weakCore = core;
  std::weak_ptr<GatedObserver<T>> weakEntry = entry;
  return Disposable::create([weakCore, weakEntry] {
    auto c = weakCore.lock();
    auto e = weakEntry.lock();
    if (c && e) c->remove(e.get());
  });
}

}  // namespace zorlan::rx::detail
