// Subjects and relays: hot sequences that code pushes values into.
//
// `PublishSubject` and `BehaviorSubject` are observers and observables at once;
// `PublishRelay` and `BehaviorRelay` wrap them and can never terminate. All
// four are shared handles (copies refer to the same subject) and thread-safe:
//
//  - Each observer receives the elements in the order the subject accepted
//    them, and calls to one observer never overlap, whichever threads send.
//    Observers are never called under a lock. The thread whose element finds
//    nobody delivering delivers it; elements sent meanwhile from other threads
//    (or from a handler) are queued and delivered by that thread before its
//    call returns. So once senders stop, every observer of a behaviour relay
//    has last seen the relay's value.
//  - A handler that throws ends its own subscription (that observer is
//    removed and gets nothing more, and so are the operators between it and
//    the subject); the other observers still receive the element, and then
//    the exception leaves the `onNext`/`accept` call that sent it.
//  - A `BehaviorSubject`'s value can be read without taking the lock when it
//    fits a lock-free atomic.
#pragma once

#include <atomic>
#include <bit>
#include <cstdint>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <type_traits>
#include <utility>
#include <vector>

#include "zorlan/Rx/Observable.hpp"
#include "zorlan/Rx/detail/SubjectCore.hpp"

namespace zorlan::rx {
namespace detail {

// Whether T can be mirrored in a lock-free std::atomic (read without a lock).
// Scalars only: an aggregate such as std::optional<int> may be lock-free for
// one compiler and a libatomic call for another.
template <class T, bool = std::is_scalar_v<T>>
struct AtomicMirror : std::false_type {};
template <class T>
struct AtomicMirror<T, true> : std::bool_constant<std::atomic<T>::is_always_lock_free> {};

// The unsigned integer whose bits can hold a small, padding-free, trivially
// copyable T (a pair of one-byte enumerations, say); void when none can.
template <class T,
          bool = std::is_trivially_copyable_v<T>&& std::has_unique_object_representations_v<T> &&
                 !std::is_scalar_v<T>>
struct MirrorBits {
  using type = void;
};
template <class T>
struct MirrorBits<T, true> {
  using type = std::conditional_t<
      sizeof(T) == 1, std::uint8_t,
      std::conditional_t<
          sizeof(T) == 2, std::uint16_t,
          std::conditional_t<sizeof(T) == 4, std::uint32_t,
                             std::conditional_t<sizeof(T) == 8, std::uint64_t, void>>>>;
};
template <class T>
using MirrorBitsT = typename MirrorBits<T>::type;

enum class CellKind { locked, atomic, atomicBits };
template <class T>
constexpr CellKind cellKind() {
  if constexpr (AtomicMirror<T>::value) {
    return CellKind::atomic;
  } else if constexpr (!std::is_void_v<MirrorBitsT<T>>) {
    if constexpr (std::atomic<MirrorBitsT<T>>::is_always_lock_free) return CellKind::atomicBits;
  }
  return CellKind::locked;
}

// Holds a subject's value: readable under the subject's mutex, or with one
// atomic load when T allows it (only atomics of scalars are used: a small
// struct is mirrored as the bits of an unsigned integer).
template <class T, CellKind Kind = cellKind<T>()>
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
class ValueCell<T, CellKind::atomic> {
 public:
  explicit ValueCell(T v) : value_(v), atomic_(v) {}
  T load(std::mutex&) const { return atomic_.load(std::memory_order_acquire); }
  void store(const T& v) {  // caller holds the mutex
    value_ = v;
    atomic_.store(v, std::memory_order_release);
  }
  const T& locked() const { return value_; }

 private:
  T value_;
  std::atomic<T> atomic_;
};

template <class T>
class ValueCell<T, CellKind::atomicBits> {
  using Bits = MirrorBitsT<T>;

 public:
  explicit ValueCell(T v) : value_(v), bits_(toBits(v)) {}
  T load(std::mutex&) const { return std::bit_cast<T>(bits_.load(std::memory_order_acquire)); }
  void store(const T& v) {  // caller holds the mutex
    value_ = v;
    bits_.store(toBits(v), std::memory_order_release);
  }
  const T& locked() const { return value_; }

 private:
  static Bits toBits(const T& v) { return std::bit_cast<Bits>(v); }
  T value_;
  std::atomic<Bits> bits_;
};

}  // namespace detail

// Broadcasts each element to the observers subscribed at that moment.
template <class T>
class PublishSubject {
 public:
  PublishSubject() : state_(std::make_shared<State>()) {}

  // Delivers `element` to the observers subscribed now; ignored once the
  // subject has ended. Thread-safe: see the file comment for the order of
  // elements sent from several threads and for handlers that throw.
  void onNext(const T& element) const {
    std::unique_lock lock(state_->core.mutex);
    if (state_->terminal) return;
    state_->core.sendLocked(lock, element);
  }
  // End the subject (the first terminal event wins): present observers get
  // the event, later subscribers get it at once.
  void onError(std::exception_ptr error) const { finish(Event<T>::failed(error)); }
  void onCompleted() const { finish(Event<T>::completed()); }
  void on(const Event<T>& event) const {
    if (event.kind == Event<T>::Kind::next) {
      onNext(*event.element);
    } else {
      finish(event);
    }
  }

  // Each subscriber receives the elements sent after it subscribed, then the
  // end; disposing the subscription removes it.
  Observable<T> asObservable() const {
    auto state = state_;
    return Observable<T>::create([state](const AnyObserver<T>& o) {
      std::unique_lock lock(state->core.mutex);
      if (state->terminal) {
        Event<T> ended = *state->terminal;
        lock.unlock();
        o.on(ended);
        return Disposable();
      }
      auto entry = state->core.addLocked(o, /*open=*/true);
      lock.unlock();
      return detail::removal(coreOf(state), entry);
    });
  }
  // An observer that forwards every event to this subject.
  AnyObserver<T> asObserver() const {
    PublishSubject self = *this;
    return AnyObserver<T>::make([self](const T& v) { self.onNext(v); },
                                [self](std::exception_ptr e) { self.onError(e); },
                                [self] { self.onCompleted(); });
  }
  // Whether anyone is subscribed now.
  bool hasObservers() const { return state_->core.hasObservers(); }

 private:
  struct State {
    detail::SubjectCore<T> core;
    std::optional<Event<T>> terminal;
  };
  static std::shared_ptr<detail::SubjectCore<T>> coreOf(const std::shared_ptr<State>& state) {
    return std::shared_ptr<detail::SubjectCore<T>>(state, &state->core);
  }
  void finish(const Event<T>& event) const {
    std::unique_lock lock(state_->core.mutex);
    if (state_->terminal) return;
    state_->terminal = event;
    state_->core.endLocked(lock, event);
  }
  std::shared_ptr<State> state_;
};

// Holds a present value; each new subscriber receives it first, then every
// later element.
template <class T>
class BehaviorSubject {
 public:
  explicit BehaviorSubject(T initial) : state_(std::make_shared<State>(std::move(initial))) {}

  // The present value: the last element accepted. Lock-free for small
  // trivially copyable T.
  T value() const { return state_->cell.load(state_->core.mutex); }

  // Makes `element` the value and delivers it to the present observers;
  // ignored once the subject has ended. Thread-safe, as PublishSubject.
  void onNext(const T& element) const {
    std::unique_lock lock(state_->core.mutex);
    if (state_->terminal) return;
    state_->cell.store(element);
    state_->core.sendLocked(lock, element);
  }
  // End the subject; the value stays readable.
  void onError(std::exception_ptr error) const { finish(Event<T>::failed(error)); }
  void onCompleted() const { finish(Event<T>::completed()); }

  // Each subscriber receives the value at once, on the subscribing thread,
  // then every later element, in order even while other threads send
  // elements. After the end, a new subscriber receives only the terminal
  // event. When the handler throws on the value, the subscriber is not
  // registered and the exception leaves `subscribe`.
  Observable<T> asObservable() const {
    auto state = state_;
    return Observable<T>::create([state](const AnyObserver<T>& o) {
      // Register and read under one lock so no element falls between; the
      // gate holds back elements accepted meanwhile until the value is out.
      std::unique_lock lock(state->core.mutex);
      if (state->terminal) {
        Event<T> ended = *state->terminal;
        lock.unlock();
        o.on(ended);
        return Disposable();
      }
      T current = state->cell.locked();
      auto entry = state->core.addLocked(o, /*open=*/false);
      lock.unlock();
      std::shared_ptr<detail::SubjectCore<T>> core(state, &state->core);
      try {
        o.onNext(current);
        entry->open();
      } catch (...) {
        core->remove(entry.get());
        throw;
      }
      return detail::removal(core, entry);
    });
  }
  // An observer that forwards every event to this subject.
  AnyObserver<T> asObserver() const {
    BehaviorSubject self = *this;
    return AnyObserver<T>::make([self](const T& v) { self.onNext(v); },
                                [self](std::exception_ptr e) { self.onError(e); },
                                [self] { self.onCompleted(); });
  }
  // Whether anyone is subscribed now.
  bool hasObservers() const { return state_->core.hasObservers(); }

 private:
  struct State {
    explicit State(T v) : cell(std::move(v)) {}
    detail::SubjectCore<T> core;
    detail::ValueCell<T> cell;
    std::optional<Event<T>> terminal;
  };
  void finish(const Event<T>& event) const {
    std::unique_lock lock(state_->core.mutex);
    if (state_->terminal) return;
    state_->terminal = event;
    state_->core.endLocked(lock, event);
  }
  std::shared_ptr<State> state_;
};

// A publish subject that never terminates: only `accept`. A shared handle;
// thread-safe.
template <class T>
class PublishRelay {
 public:
  using Element = T;
  // Delivers `element` to the observers subscribed now.
  void accept(const T& element) const { subject_.onNext(element); }
  // Each subscriber receives the elements accepted after it subscribed.
  Observable<T> asObservable() const { return subject_.asObservable(); }
  bool hasObservers() const { return subject_.hasObservers(); }

 private:
  PublishSubject<T> subject_;
};

// A behaviour subject that never terminates: `accept` and `value`. A shared
// handle; thread-safe.
template <class T>
class BehaviorRelay {
 public:
  using Element = T;
  explicit BehaviorRelay(T initial) : subject_(std::move(initial)) {}
  // Makes `element` the value and delivers it to the present observers.
  void accept(const T& element) const { subject_.onNext(element); }
  // The present value; one atomic load for small trivially copyable T.
  T value() const { return subject_.value(); }
  // Each subscriber receives the value at once, then every accepted value.
  Observable<T> asObservable() const { return subject_.asObservable(); }
  bool hasObservers() const { return subject_.hasObservers(); }

 private:
  BehaviorSubject<T> subject_;
};

}  // namespace zorlan::rx
