// BehaviorReader: a read-only, live value with a change stream. Owners keep
// the writable relay; everyone else gets a reader.
//
//   rx::BehaviorRelay<int> volume{5};                  // the owner's
//   BehaviorReader<int> reader = asBehaviorReader(volume);
//   reader.value();                                     // 5, O(1), any thread
//   reader.map([](int v) { return v * 10; })
//       .asObservable()
//       .subscribe([](int v) { /* 50, then every change */ })
//       .disposed(bag);
//
// A reader is a shared handle: copies read the same value. Reading and
// subscribing are thread-safe; `value()` of a small trivially copyable T is
// one atomic load.
#pragma once

#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

#include "zorlan/Rx/DisposeBag.hpp"
#include "zorlan/Rx/Driver.hpp"
#include "zorlan/Rx/Subjects.hpp"
#include "zorlan/Scheduling/detail/RelayBindingReport.hpp"

namespace zorlan {

// A handle: copies share one reader. The reader owns its relay and, when
// built from an observable, the subscription that feeds the relay: the
// source stays subscribed exactly as long as the reader lives (the last
// handle, or a subscription to `asObservable()`, keeps it).
//
// `value()` is thread-safe and lock-free for small trivially copyable values.
// Elements are delivered on whatever thread accepts them into the relay.
template <class T>
class BehaviorReader {
 public:
  using Element = T;

  // Wraps an existing relay: writes through the relay are seen by the reader.
  explicit BehaviorReader(rx::BehaviorRelay<T> relay)
      : state_(std::make_shared<State>(std::move(relay))) {}

  // A new relay holding `initialValue`, fed by every element of `observable`
  // for as long as the reader lives. The source's completion leaves the last
  // value in place; its error does too and is written as the relay binding's
  // error line.
  BehaviorReader(const rx::Observable<T>& observable, T initialValue)
      : state_(std::make_shared<State>(rx::BehaviorRelay<T>(std::move(initialValue)))) {
    rx::BehaviorRelay<T> relay = state_->relay;
    observable
        .subscribe(rx::AnyObserver<T>::make(
            [relay](const T& v) { relay.accept(v); },
            [](std::exception_ptr e) { detail::reportRelayBindingEvent("BehaviorRelay", e); },
            [] {}))
        .disposed(state_->bag);
  }

  // A reader over a new relay holding `value`; nothing else writes to it.
  static BehaviorReader just(T value) {
    return BehaviorReader(rx::BehaviorRelay<T>(std::move(value)));
  }

  // The present value. Thread-safe; one atomic load for small trivially
  // copyable T.
  T value() const { return state_->relay.value(); }

  // For each subscriber: the present value at once, then every accepted
  // value. The subscription keeps the reader alive until it is disposed.
  rx::Observable<T> asObservable() const {
    auto state = state_;
    return rx::Observable<T>::create([state](const rx::AnyObserver<T>& o) {
      rx::Disposable inner = state->relay.asObservable().subscribe(o);
      return rx::Disposable::create([inner, state] { inner.dispose(); });
    });
  }

  // `asObservable()` as a driver (delivered on the main scheduler).
  rx::Driver<T> asDriver() const { return rx::Driver<T>::fromInfallibleSource(asObservable()); }

  // The underlying relay, for owners that must write.
  const rx::BehaviorRelay<T>& asRelay() const noexcept { return state_->relay; }

  // A reader of `transform(value)` that follows this one.
  template <class F>
  auto map(F transform) const -> BehaviorReader<std::decay_t<std::invoke_result_t<F&, const T&>>> {
    using U = std::decay_t<std::invoke_result_t<F&, const T&>>;
    U initial = transform(value());
    return BehaviorReader<U>(asObservable().map(std::move(transform)), std::move(initial));
  }

  // A reader that follows this one without repeating equal consecutive values.
  BehaviorReader distinctUntilChanged() const requires std::equality_comparable<T> {
    return BehaviorReader(asObservable().distinctUntilChanged(), value());
  }

 private:
  struct State {
    explicit State(rx::BehaviorRelay<T> r) : relay(std::move(r)) {}
    rx::BehaviorRelay<T> relay;
    rx::DisposeBag bag;
  };
  std::shared_ptr<State> state_;
};

// A reader wrapping `relay` itself.
template <class T>
BehaviorReader<T> asBehaviorReader(const rx::BehaviorRelay<T>& relay) {
  return BehaviorReader<T>(relay);
}

// A reader that starts at `initialValue` and follows `observable`.
template <class T>
BehaviorReader<T> asBehaviorReader(const rx::Observable<T>& observable, T initialValue) {
  return BehaviorReader<T>(observable, std::move(initialValue));
}

// A reader of optionals that starts absent and follows `observable`.
template <class T>
BehaviorReader<std::optional<T>> asBehaviorReader(const rx::Observable<T>& observable) {
  return BehaviorReader<std::optional<T>>(
      observable.map([](const T& v) { return std::optional<T>(v); }), std::nullopt);
}

// The same two conversions on a driver.
template <class T>
BehaviorReader<T> asBehaviorReader(const rx::Driver<T>& driver, T initialValue) {
  return asBehaviorReader(driver.asObservable(), std::move(initialValue));
}
template <class T>
BehaviorReader<std::optional<T>> asBehaviorReader(const rx::Driver<T>& driver) {
  return asBehaviorReader(driver.asObservable());
}

// Anything that holds an observable value of `Element`: a relay, a reader.
template <class P>
concept ObservableProperty = requires(const P& p) {
  typename P::Element;
  { p.value() } -> std::convertible_to<typename P::Element>;
  { p.asObservable() } -> std::same_as<rx::Observable<typename P::Element>>;
};

}  // namespace zorlan
