// Infallible: a sequence that can complete but never fails.
#pragma once

#include <functional>
#include <utility>

#include "zorlan/Rx/Observable.hpp"

namespace zorlan::rx {

// A cold sequence of elements that may complete but never fails: its
// constructors cannot report an error. Values are cheap to copy.
template <class T>
class Infallible {
 public:
  using Element = T;

  // Only elements and completion can be reported.
  static Infallible create(std::function<Disposable(std::function<void(const T&)> onNext,
                                                    std::function<void()> onCompleted)>
                               subscribe) {
    return Infallible(Observable<T>::create([subscribe](const AnyObserver<T>& o) {
      return subscribe([o](const T& v) { o.onNext(v); }, [o] { o.onCompleted(); });
    }));
  }
  // `element`, then completion.
  static Infallible just(T element) { return Infallible(Observable<T>::just(std::move(element))); }
  // An observable whose errors are replaced by `element` and completion.
  static Infallible from(Observable<T> source, T onErrorJustReturn) {
    return Infallible(source.catchAndReturn(std::move(onErrorJustReturn)));
  }

  // Every handler optional; `onDisposed` runs once when the subscription ends.
  Disposable subscribe(std::function<void(const T&)> onNext, std::function<void()> onCompleted = {},
                       std::function<void()> onDisposed = {}) const {
    return source_.subscribe(std::move(onNext), {}, std::move(onCompleted), std::move(onDisposed));
  }
  const Observable<T>& asObservable() const noexcept { return source_; }

  // Elements transformed. `transform` must not throw: an infallible sequence
  // has no way to report the exception.
  template <class F>
  auto map(F transform) const -> Infallible<std::decay_t<std::invoke_result_t<F&, const T&>>> {
    using U = std::decay_t<std::invoke_result_t<F&, const T&>>;
    return Infallible<U>::fromObservableUnchecked(source_.map(std::move(transform)));
  }

  // Wraps an observable known never to fail.
  static Infallible fromObservableUnchecked(Observable<T> source) {
    return Infallible(std::move(source));
  }

 private:
  explicit Infallible(Observable<T> source) : source_(std::move(source)) {}
  Observable<T> source_;
};

// An infallible view of `source`: errors become `onErrorJustReturn`.
template <class T>
Infallible<T> asInfallible(const Observable<T>& source, T onErrorJustReturn) {
  return Infallible<T>::from(source, std::move(onErrorJustReturn));
}

}  // namespace zorlan::rx
