// Single: a sequence of exactly one element (success) or an error (failure).
#pragma once

#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

#include "zorlan/Rx/Observable.hpp"

namespace zorlan::rx {

// What a `Single::create` function reports to: one success or one failure.
template <class T>
class SingleObserver {
 public:
  explicit SingleObserver(AnyObserver<T> o) : observer_(std::move(o)) {}
  void success(const T& element) const {
    observer_.onNext(element);
    observer_.onCompleted();
  }
  void failure(std::exception_ptr error) const { observer_.onError(error); }

 private:
  AnyObserver<T> observer_;
};

// A cold sequence that ends in exactly one success (an element) or one
// failure. Values are cheap to copy; each subscription runs anew. Built on
// `Observable<T>` (`asObservable()`), which carries the element then
// completion.
template <class T>
class Single {
 public:
  using Element = T;

  // `subscribe` reports through the `SingleObserver`; later reports are
  // dropped. The disposable it returns is disposed when the subscription ends.
  static Single create(std::function<Disposable(const SingleObserver<T>&)> subscribe) {
    return Single(Observable<T>::create(
        [subscribe](const AnyObserver<T>& o) { return subscribe(SingleObserver<T>(o)); }));
  }
  // Succeeds with `element` / fails with `error` / runs `factory` on each
  // subscription (an exception from it becomes the failure).
  static Single just(T element) { return Single(Observable<T>::just(std::move(element))); }
  static Single error(std::exception_ptr error) { return Single(Observable<T>::error(error)); }
  static Single deferred(std::function<Single()> factory) {
    return Single(Observable<T>::deferred([factory] { return factory().asObservable(); }));
  }

  // Every handler optional; `onDisposed` runs once when the subscription ends.
  Disposable subscribe(std::function<void(const T&)> onSuccess,
                       std::function<void(std::exception_ptr)> onFailure = {},
                       std::function<void()> onDisposed = {}) const {
    return source_.subscribe(std::move(onSuccess), std::move(onFailure), {}, std::move(onDisposed));
  }

  const Observable<T>& asObservable() const noexcept { return source_; }

  // The success transformed; an exception from `transform` becomes the failure.
  template <class F>
  auto map(F transform) const -> Single<std::decay_t<std::invoke_result_t<F&, const T&>>> {
    using U = std::decay_t<std::invoke_result_t<F&, const T&>>;
    return Single<U>::fromObservableUnchecked(source_.map(std::move(transform)));
  }
  // Continues with the single `transform` returns for the success.
  template <class F>
  auto flatMap(F transform) const
      -> Single<typename std::decay_t<std::invoke_result_t<F&, const T&>>::Element> {
    using U = typename std::decay_t<std::invoke_result_t<F&, const T&>>::Element;
    return Single<U>::fromObservableUnchecked(
        source_.flatMap([transform](const T& v) mutable { return transform(v).asObservable(); }));
  }
  // On failure: succeeds with `element`, or continues with `handler`'s single.
  Single catchAndReturn(T element) const { return Single(source_.catchAndReturn(element)); }
  Single catchError(std::function<Single(std::exception_ptr)> handler) const {
    return Single(
        source_.catchError([handler](std::exception_ptr e) { return handler(e).asObservable(); }));
  }
  // Side effects as `Observable::doOn`; delivery on `scheduler` as
  // `Observable::observeOn`.
  Single doOn(DoHandlers<T> handlers) const { return Single(source_.doOn(std::move(handlers))); }
  Single observeOn(ImmediateSchedulerPtr scheduler) const {
    return Single(source_.observeOn(std::move(scheduler)));
  }
  // Shares one subscription (and its result, with `forever`) among subscribers.
  Single share(SubjectLifetimeScope scope = SubjectLifetimeScope::whileConnected) const {
    return Single(source_.share(1, scope));
  }

  // Wraps an observable known to follow the single contract.
  static Single fromObservableUnchecked(Observable<T> source) { return Single(std::move(source)); }

 private:
  explicit Single(Observable<T> source) : source_(std::move(source)) {}
  Observable<T> source_;
};

template <class T>
Single<T> Observable<T>::asSingle() const {
  Observable source = *this;
  return Single<T>::fromObservableUnchecked(
      Observable<T>::create([source](const AnyObserver<T>& o) {
        auto seen = std::make_shared<std::optional<T>>();
        return source.subscribe(AnyObserver<T>::make(
            [o, seen](const T& v) {
              if (*seen) {
                o.onError(std::make_exception_ptr(RxError(RxError::Code::moreThanOneElement)));
                return;
              }
              *seen = v;
            },
            [o](std::exception_ptr e) { o.onError(e); },
            [o, seen] {
              if (!*seen) {
                o.onError(std::make_exception_ptr(RxError(RxError::Code::noElements)));
                return;
              }
              o.onNext(**seen);
              o.onCompleted();
            }));
      }));
}

}  // namespace zorlan::rx
