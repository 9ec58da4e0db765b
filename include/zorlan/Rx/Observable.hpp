// Observable: a cold, push-based sequence of elements ending in completion or
// an error, with the operators the library composes its live values from.
//
//   rx::BehaviorRelay<int> volume{5};
//   rx::DisposeBag bag;
//   volume.asObservable()
//       .map([](int v) { return v * 10; })
//       .distinctUntilChanged()
//       .subscribe([](int v) { std::cout << v << '\n'; })
//       .disposed(bag);
//
// The operators come in families, one header each under operators/
// (creation, transforming, filtering, combining, time, sharing, errors and
// side effects); this header brings them all. Every operator is a small
// composition returning a new cold sequence: nothing runs until `subscribe`.
// Unless an operator says otherwise it is O(1) per element and holds no lock
// while calling downstream. Operator values are immutable and may be shared
// between threads; subscriptions may be disposed from any thread.
#pragma once

#include <concepts>
#include <exception>
#include <functional>
#include <memory>
#include <type_traits>
#include <utility>

#include "zorlan/Rx/Disposable.hpp"
#include "zorlan/Rx/Observer.hpp"
#include "zorlan/Rx/detail/Sink.hpp"
#include "zorlan/Rx/detail/Subscribe.hpp"
#include "zorlan/Rx/operators/Combining.hpp"
#include "zorlan/Rx/operators/Creation.hpp"
#include "zorlan/Rx/operators/Filtering.hpp"
#include "zorlan/Rx/operators/Handling.hpp"
#include "zorlan/Rx/operators/Sharing.hpp"
#include "zorlan/Rx/operators/Time.hpp"
#include "zorlan/Rx/operators/Transforming.hpp"

namespace zorlan::rx {

template <class T>
class Single;

// A cold sequence: each subscription runs the subscribe function anew.
// Values of this type are cheap to copy (a shared, immutable function).
// Subscribing returns a `Disposable`; disposing it stops delivery and
// releases the chain. Errors travel as std::exception_ptr.
template <class T>
class Observable : public detail::CreationOperators<T>,
                   public detail::TransformingOperators<T>,
                   public detail::FilteringOperators<T>,
                   public detail::CombiningOperators<T>,
                   public detail::TimeOperators<T>,
                   public detail::SharingOperators<T>,
                   public detail::HandlingOperators<T> {
 public:
  using Element = T;
  using SubscribeFn = std::function<Disposable(const AnyObserver<T>&)>;

  // A sequence that never emits (`never()`).
  Observable() : Observable(Observable::never()) {}

  // A sequence whose subscription runs `subscribe` with the observer; the
  // disposable it returns is disposed when the subscription ends.
  static Observable create(SubscribeFn subscribe) {
    return Observable(std::make_shared<const SubscribeFn>(std::move(subscribe)));
  }

  // ----- subscription -----

  // Subscribes `observer`. The handle owns the subscription until disposed:
  // disposing it (or a terminal event) releases the observer and what its
  // handlers captured as soon as no call into them is running. A handler
  // that throws during subscription (on an element sent at once) ends the
  // subscription and the exception leaves `subscribe`.
  Disposable subscribe(const AnyObserver<T>& observer) const {
    auto sink = std::make_shared<detail::Sink<T>>(observer);
    auto handle = std::make_shared<detail::SinkDisposer>(sink);
    Disposable upstream;
    try {
      upstream = (*subscribe_)(AnyObserver<T>(sink));
    } catch (...) {
      sink->dispose();
      throw;
    }
    sink->setUpstream(std::move(upstream));
    return Disposable(std::move(handle));
  }
  // Elements only; errors are ignored.
  template <class OnNext>
  requires std::invocable<OnNext&, const T&> Disposable subscribe(OnNext onNext)
  const {
    return subscribe(
        AnyObserver<T>::make(std::move(onNext), detail::ignoreError(), detail::ignoreCompleted()));
  }
  // Every handler optional; `onDisposed` runs once when the subscription
  // ends, by a terminal event or by disposal.
  Disposable subscribe(std::function<void(const T&)> onNext,
                       std::function<void(std::exception_ptr)> onError,
                       std::function<void()> onCompleted = {},
                       std::function<void()> onDisposed = {}) const {
    Disposable subscription = this->doOn({.onDispose = std::move(onDisposed)})
                                  .subscribe(AnyObserver<T>::make(
                                      [onNext](const T& v) {
                                        if (onNext) onNext(v);
                                      },
                                      [onError](std::exception_ptr e) {
                                        if (onError) onError(e);
                                      },
                                      [onCompleted] {
                                        if (onCompleted) onCompleted();
                                      }));
    return subscription;
  }
  // Forwards every event to `observer`.
  Disposable bindTo(const AnyObserver<T>& observer) const { return subscribe(observer); }
  // Forwards every event to `target`'s observer: a subject, a `Binder`, a
  // `ControlProperty`.
  template <class Target>
  requires requires(const Target& t) {
    { t.asObserver() } -> std::convertible_to<AnyObserver<T>>;
  }
  Disposable bindTo(const Target& target) const {
    return subscribe(AnyObserver<T>(target.asObserver()));
  }
  // Accepts every element into `relay` (anything with `accept(const T&)`);
  // a relay never terminates, so errors and completion are not forwarded.
  template <class Relay>
  requires requires(const Relay& r, const T& v) { r.accept(v); }
  Disposable bindTo(const Relay& relay) const {
    return subscribe([relay](const T& v) { relay.accept(v); });
  }

  const Observable& asObservable() const noexcept { return *this; }

  // Exactly one element: success; none or more than one: an `RxError`.
  Single<T> asSingle() const;

  // Builds an observable from a function that turns a downstream observer of
  // U into an upstream observer of T.
  template <class U, class F>
  Observable<U> lift(F makeUpstreamObserver) const {
    Observable source = *this;
    return Observable<U>::create([source, makeUpstreamObserver](const AnyObserver<U>& o) {
      return source.subscribe(makeUpstreamObserver(o));
    });
  }

 private:
  explicit Observable(std::shared_ptr<const SubscribeFn> subscribe)
      : subscribe_(std::move(subscribe)) {}

  std::shared_ptr<const SubscribeFn> subscribe_;
};

// Errors the reactive core itself raises.
class RxError : public std::exception {
 public:
  enum class Code { noElements, moreThanOneElement, timeout };
  explicit RxError(Code code) noexcept : code_(code) {}
  Code code() const noexcept { return code_; }
  const char* what() const noexcept override {
    switch (code_) {
      case Code::noElements:
        return "Sequence doesn't contain any elements.";
      case Code::moreThanOneElement:
        return "Sequence contains more than one element.";
      case Code::timeout:
        return "Sequence timeout.";
    }
    return "RxError";
  }

 private:
  Code code_;
};

}  // namespace zorlan::rx
