// Driver and Signal: sequences for driving application state. They deliver on
// the main scheduler, share one subscription among subscribers and never fail.
// A `Driver` replays its latest element to each new subscriber; a `Signal`
// replays nothing.
#pragma once

#include <functional>
#include <utility>

#include "zorlan/Rx/MainScheduler.hpp"
#include "zorlan/Rx/Observable.hpp"

namespace zorlan::rx {

template <class T, std::size_t Replay>
class SharedSequence {
 public:
  using Element = T;

  // Wraps a source that never fails: delivers it on the main scheduler and
  // shares it.
  static SharedSequence fromInfallibleSource(Observable<T> source) {
    return shared(source.observeOn(MainScheduler::instance()));
  }
  static SharedSequence just(T element) {
    return fromInfallibleSource(Observable<T>::just(std::move(element)));
  }
  static SharedSequence empty() { return fromInfallibleSource(Observable<T>::empty()); }
  static SharedSequence never() { return fromInfallibleSource(Observable<T>::never()); }

  // Subscribes on the main scheduler's terms; every handler optional.
  Disposable drive(std::function<void(const T&)> onNext, std::function<void()> onCompleted = {},
                   std::function<void()> onDisposed = {}) const {
    return source_.subscribe(std::move(onNext), {}, std::move(onCompleted), std::move(onDisposed));
  }
  Disposable drive(const AnyObserver<T>& observer) const { return source_.subscribe(observer); }
  template <class Relay>
  requires requires(const Relay& r, const T& v) { r.accept(v); }
  Disposable drive(const Relay& relay) const { return source_.bindTo(relay); }
  // `emit` is a Signal's name for `drive`.
  Disposable emit(std::function<void(const T&)> onNext) const { return drive(std::move(onNext)); }

  const Observable<T>& asObservable() const noexcept { return source_; }

  template <class F>
  auto map(F transform) const
      -> SharedSequence<std::decay_t<std::invoke_result_t<F&, const T&>>, Replay> {
    using U = std::decay_t<std::invoke_result_t<F&, const T&>>;
    return SharedSequence<U, Replay>::shared(source_.map(std::move(transform)));
  }
  template <class F>
  SharedSequence filter(F predicate) const {
    return shared(source_.filter(std::move(predicate)));
  }
  SharedSequence distinctUntilChanged() const { return shared(source_.distinctUntilChanged()); }
  template <class... V>
  SharedSequence startWith(V&&... values) const {
    return shared(source_.startWith(std::forward<V>(values)...));
  }

 private:
  template <class U, std::size_t R>
  friend class SharedSequence;

  // Shares a source that already delivers on the main scheduler (operators
  // applied to a shared sequence keep its thread).
  static SharedSequence shared(Observable<T> source) {
    return SharedSequence(source.share(Replay, SubjectLifetimeScope::whileConnected));
  }
  explicit SharedSequence(Observable<T> source) : source_(std::move(source)) {}
  Observable<T> source_;
};

template <class T>
using Driver = SharedSequence<T, 1>;
template <class T>
using Signal = SharedSequence<T, 0>;

// A driver of `source` whose error is replaced by `onErrorJustReturn`.
template <class T>
Driver<T> asDriver(const Observable<T>& source, T onErrorJustReturn) {
  return Driver<T>::fromInfallibleSource(source.catchAndReturn(std::move(onErrorJustReturn)));
}
// A driver of `source` that continues with `onErrorDriveWith` on error.
template <class T>
Driver<T> asDriver(const Observable<T>& source, Driver<T> onErrorDriveWith) {
  return Driver<T>::fromInfallibleSource(
      source.catchError([fallback = std::move(onErrorDriveWith)](std::exception_ptr) {
        return fallback.asObservable();
      }));
}
// A signal of `source` whose error is replaced by `onErrorJustReturn`.
template <class T>
Signal<T> asSignal(const Observable<T>& source, T onErrorJustReturn) {
  return Signal<T>::fromInfallibleSource(source.catchAndReturn(std::move(onErrorJustReturn)));
}

}  // namespace zorlan::rx
