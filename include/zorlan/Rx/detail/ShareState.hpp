// ShareState: the connection and subscribers of a shared sequence.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "zorlan/Rx/Disposable.hpp"
#include "zorlan/Rx/Observer.hpp"
#include "zorlan/Rx/detail/SubjectCore.hpp"

namespace zorlan::rx {

template <class T>
class Observable;

// How long a shared sequence keeps its replay buffer. In both scopes the
// source is subscribed for the first subscriber and unsubscribed when the
// last one leaves or the source ends; a later subscriber subscribes again.
enum class SubjectLifetimeScope {
  // The buffer goes with the subscription to the source: every connection
  // starts afresh.
  whileConnected,
  // One buffer for the life of the shared sequence: later subscribers get
  // the last elements even across reconnections, and once the source has
  // ended, the buffer and the terminal event (without subscribing again).
  forever,
};

namespace detail {

// The one subscription `share` keeps to its source and the subscribers it
// feeds. Both scopes connect on the first subscriber and disconnect when the
// last one leaves (or the source ends); `whileConnected` forgets the replay
// buffer with the connection, `forever` keeps the buffer and the terminal
// event for every later subscriber.
template <class T>
struct ShareState : std::enable_shared_from_this<ShareState<T>> {
  using Entry = std::shared_ptr<GatedObserver<T>>;

  ShareState(Observable<T> s, std::size_t r, SubjectLifetimeScope sc)
      : source(std::move(s)), replay(r), scope(sc) {}

  Disposable subscribe(const AnyObserver<T>& observer) {
    std::unique_lock lock(core.mutex);
    std::vector<T> replayed(buffer.begin(), buffer.end());
    if (terminal) {
      Event<T> ended = *terminal;
      lock.unlock();
      for (const T& v : replayed) observer.onNext(v);
      observer.on(ended);
      return Disposable();
    }
    Entry entry = core.addLocked(observer, replayed.empty());
    bool connect = !connected;
    connected = true;
    std::uint64_t connectGeneration = generation;
    lock.unlock();

    auto self = this->shared_from_this();
    try {
      for (const T& v : replayed) observer.onNext(v);
      if (!replayed.empty()) entry->open();
      if (connect) {
        Disposable subscription = source.subscribe(
            AnyObserver<T>::make([self](const T& v) { self->next(v); },
                                 [self](std::exception_ptr e) { self->stop(Event<T>::failed(e)); },
                                 [self] { self->stop(Event<T>::completed()); }));
        std::unique_lock relock(core.mutex);
        if (connected && generation == connectGeneration) {
          connection = std::move(subscription);
        } else {
          relock.unlock();
          subscription.dispose();
        }
      }
    } catch (...) {
      // Not subscribed after all: nobody would hold the registration, and a
      // connection this subscription made stops with it.
      core.remove(entry.get());
      Disposable abandoned;
      {
        std::lock_guard relock(core.mutex);
        if (connect && connected && generation == connectGeneration) abandoned = disconnect();
      }
      abandoned.dispose();
      throw;
    }
    std::weak_ptr<ShareState> weakState = self;
    std::weak_ptr<GatedObserver<T>> weakEntry = entry;
    return Disposable::create([weakState, weakEntry] {
      auto state = weakState.lock();
      auto gone = weakEntry.lock();
      if (state && gone) state->remove(gone.get());
    });
  }

  void next(const T& v) {
    std::unique_lock lock(core.mutex);
    if (replay > 0) {
      buffer.push_back(v);
      if (buffer.size() > replay) buffer.pop_front();
    }
    core.sendLocked(lock, v);
  }

  void stop(const Event<T>& event) {
    std::unique_lock lock(core.mutex);
    if (scope == SubjectLifetimeScope::forever) terminal = event;
    Disposable ended = disconnect();
    try {
      core.endLocked(lock, event);
    } catch (...) {
      ended.dispose();
      throw;
    }
    ended.dispose();
  }

  void remove(GatedObserver<T>* gone) {
    core.remove(gone);
    Disposable toDispose;
    {
      std::lock_guard lock(core.mutex);
      if (core.hasObserversLocked() || !connected) return;
      toDispose = disconnect();
    }
    toDispose.dispose();
  }

  // Caller holds the mutex. Forgets the connection (returned for disposal
  // outside the lock) and, while connected only, the buffer.
  Disposable disconnect() {
    connected = false;
    ++generation;
    if (scope == SubjectLifetimeScope::whileConnected) buffer.clear();
    return std::exchange(connection, Disposable());
  }

  Observable<T> source;
  std::size_t replay;
  SubjectLifetimeScope scope;
  SubjectCore<T> core;  // its mutex guards the members below too
  std::deque<T> buffer;
  std::optional<Event<T>> terminal;
  Disposable connection;
  bool connected = false;
  std::uint64_t generation = 0;
};

}  // namespace detail
}  // namespace zorlan::rx
