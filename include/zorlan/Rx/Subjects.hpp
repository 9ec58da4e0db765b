// Subjects and relays: hot sequences that code pushes values into.
//
// `PublishSubject` and `BehaviorSubject` are observers and observables at once;
// `PublishRelay` and `BehaviorRelay` wrap them and can never terminate. All
// four are shared handles (copies refer to the same subject) and thread-safe:
// the observer list is copied under a lock and observers are called outside
// it. A `BehaviorSubject`'s value can be read without taking that lock when
// it fits a lock-free atomic.
#pragma once

#include <atomic>
#include <cstdint>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <type_traits>
#include <utility>
#include <vector>

#include "zorlan/Rx/Observable.hpp"

namespace zorlan::rx {
namespace detail {

template <class T>
struct SubjectCore {
  using Entry = std::pair<std::uint64_t, AnyObserver<T>>;
  using List = std::vector<Entry>;

  // Adds `observer` unless stopped; returns the terminal event otherwise.
  std::optional<Event<T>> add(const AnyObserver<T>& observer, std::uint64_t& id) {
    std::lock_guard lock(mutex);
    if (terminal) return terminal;
    id = ++nextId;
    auto updated = std::make_shared<List>(*observers);
    updated->emplace_back(id, observer);
    observers = std::move(updated);
    return std::nullopt;
  }
  void remove(std::uint64_t id) {
    std::lock_guard lock(mutex);
    auto updated = std::make_shared<List>(*observers);
    std::erase_if(*updated, [id](const Entry& e) { return e.first == id; });
    observers = std::move(updated);
  }
  // Snapshot of the observers (cheap: shares the list).
  std::shared_ptr<const List> snapshot() const {
    std::lock_guard lock(mutex);
    return observers;
  }
  // Marks the subject stopped and returns the observers to notify.
  std::shared_ptr<const List> stop(const Event<T>& event) {
    std::lock_guard lock(mutex);
    if (terminal) return nullptr;
    terminal = event;
    return std::exchange(observers, std::make_shared<const List>());
  }

  mutable std::mutex mutex;
  std::shared_ptr<const List> observers = std::make_shared<const List>();
  std::optional<Event<T>> terminal;
  std::uint64_t nextId = 0;
};

template <class T>
Disposable removal(const std::shared_ptr<SubjectCore<T>>& core, std::uint64_t id) {
  std::weak_ptr<SubjectCore<T>> weak = core;
  return Disposable::create([weak, id] {
    if (auto c = weak.lock()) c->remove(id);
  });
}

// Holds a value readable with one atomic load when T allows it.
template <class T>
constexpr bool kAtomicValue = std::is_trivially_copyable_v<T> && sizeof(T) <= 8 &&
                              std::is_copy_constructible_v<T>;

template <class T, bool Atomic = kAtomicValue<T>>
class ValueCell {
 public:
  explicit ValueCell(T v) : value_(std::move(v)) {}
  T load(std::mutex& m) const {
    std::lock_guard lock(m);
    return value_;
  }
  void store(const T& v) { value_ = v; }  // caller holds the mutex
  const T& locked() const { return value_; }

 private:
  T value_;
};

template <class T>
class ValueCell<T, true> {
 public:
  explicit ValueCell(T v) : value_(v), atomic_(v) {}
  T load(std::mutex&) const { return atomic_.load(std::memory_order_acquire); }
  void store(const T& v) {
    value_ = v;
    atomic_.store(v, std::memory_order_release);
  }
  const T& locked() const { return value_; }

 private:
  T value_;
  std::atomic<T> atomic_;
};

}  // namespace detail

// Broadcasts each element to the observers subscribed at that moment.
template <class T>
class PublishSubject {
 public:
  PublishSubject() : core_(std::make_shared<detail::SubjectCore<T>>()) {}

  void onNext(const T& element) const {
    auto list = core_->snapshot();
    for (const auto& entry : *list) entry.second.onNext(element);
  }
  void onError(std::exception_ptr error) const { finish(Event<T>::failed(error)); }
  void onCompleted() const { finish(Event<T>::completed()); }
  void on(const Event<T>& event) const {
    if (event.kind == Event<T>::Kind::next) {
      onNext(*event.element);
    } else {
      finish(event);
    }
  }

  Observable<T> asObservable() const {
    auto core = core_;
    return Observable<T>::create([core](const AnyObserver<T>& o) {
      std::uint64_t id = 0;
      if (auto ended = core->add(o, id)) {
        o.on(*ended);
        return Disposable();
      }
      return detail::removal(core, id);
    });
  }
  AnyObserver<T> asObserver() const {
    PublishSubject self = *this;
    return AnyObserver<T>::make([self](const T& v) { self.onNext(v); },
                                [self](std::exception_ptr e) { self.onError(e); },
                                [self] { self.onCompleted(); });
  }
  bool hasObservers() const { return !core_->snapshot()->empty(); }

 private:
  void finish(const Event<T>& event) const {
    if (auto list = core_->stop(event)) {
      for (const auto& entry : *list) entry.second.on(event);
    }
  }
  std::shared_ptr<detail::SubjectCore<T>> core_;
};

// Holds a present value; each new subscriber receives it first, then every
// later element.
template <class T>
class BehaviorSubject {
 public:
  explicit BehaviorSubject(T initial) : state_(std::make_shared<State>(std::move(initial))) {}

  // The present value. Lock-free for small trivially copyable T.
  T value() const { return state_->cell.load(state_->core.mutex); }

  void onNext(const T& element) const {
    std::shared_ptr<const typename detail::SubjectCore<T>::List> list;
    {
      std::lock_guard lock(state_->core.mutex);
      if (state_->core.terminal) return;
      state_->cell.store(element);
      list = state_->core.observers;
    }
    for (const auto& entry : *list) entry.second.onNext(element);
  }
  void onError(std::exception_ptr error) const { finish(Event<T>::failed(error)); }
  void onCompleted() const { finish(Event<T>::completed()); }

  Observable<T> asObservable() const {
    auto state = state_;
    return Observable<T>::create([state](const AnyObserver<T>& o) {
      std::uint64_t id = 0;
      // Subscribe and read under one lock so no element falls between.
      std::optional<T> current;
      std::optional<Event<T>> ended;
      {
        std::lock_guard lock(state->core.mutex);
        current.emplace(state->cell.locked());
        if (state->core.terminal) {
          ended = state->core.terminal;
        } else {
          id = ++state->core.nextId;
          auto updated =
              std::make_shared<typename detail::SubjectCore<T>::List>(*state->core.observers);
          updated->emplace_back(id, o);
          state->core.observers = std::move(updated);
        }
      }
      if (ended) {
        o.on(*ended);
        return Disposable();
      }
      o.onNext(*current);
      std::shared_ptr<detail::SubjectCore<T>> core(state, &state->core);
      return detail::removal(core, id);
    });
  }
  AnyObserver<T> asObserver() const {
    BehaviorSubject self = *this;
    return AnyObserver<T>::make([self](const T& v) { self.onNext(v); },
                                [self](std::exception_ptr e) { self.onError(e); },
                                [self] { self.onCompleted(); });
  }
  bool hasObservers() const { return !state_->core.snapshot()->empty(); }

 private:
  struct State {
    explicit State(T v) : cell(std::move(v)) {}
    detail::SubjectCore<T> core;
    detail::ValueCell<T> cell;
  };
  void finish(const Event<T>& event) const {
    if (auto list = state_->core.stop(event)) {
      for (const auto& entry : *list) entry.second.on(event);
    }
  }
  std::shared_ptr<State> state_;
};

// A publish subject that never terminates: only `accept`.
template <class T>
class PublishRelay {
 public:
  using Element = T;
  void accept(const T& element) const { subject_.onNext(element); }
  Observable<T> asObservable() const { return subject_.asObservable(); }
  bool hasObservers() const { return subject_.hasObservers(); }

 private:
  PublishSubject<T> subject_;
};

// A behaviour subject that never terminates: `accept` and `value`.
template <class T>
class BehaviorRelay {
 public:
  using Element = T;
  explicit BehaviorRelay(T initial) : subject_(std::move(initial)) {}
  void accept(const T& element) const { subject_.onNext(element); }
  T value() const { return subject_.value(); }
  Observable<T> asObservable() const { return subject_.asObservable(); }
  bool hasObservers() const { return subject_.hasObservers(); }

 private:
  BehaviorSubject<T> subject_;
};

}  // namespace zorlan::rx
