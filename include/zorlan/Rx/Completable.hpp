// Completable: a sequence that only completes or fails, with no elements.
#pragma once

#include <exception>
#include <functional>
#include <utility>
#include <variant>

#include "zorlan/Rx/Observable.hpp"

namespace zorlan::rx {

// The element type of sequences that never emit one.
using Never = std::monostate;

// What a `Completable::create` function reports to.
class CompletableObserver {
 public:
  explicit CompletableObserver(AnyObserver<Never> o) : observer_(std::move(o)) {}
  void completed() const { observer_.onCompleted(); }
  void error(std::exception_ptr error) const { observer_.onError(error); }

 private:
  AnyObserver<Never> observer_;
};

// A cold sequence that only completes or fails. Values are cheap to copy;
// each subscription runs anew.
class Completable {
 public:
  // `subscribe` reports through the `CompletableObserver`; later reports are
  // dropped.
  static Completable create(std::function<Disposable(const CompletableObserver&)> subscribe) {
    return Completable(Observable<Never>::create(
        [subscribe](const AnyObserver<Never>& o) { return subscribe(CompletableObserver(o)); }));
  }
  // Completes at once / fails at once with `error`.
  static Completable empty() { return Completable(Observable<Never>::empty()); }
  static Completable error(std::exception_ptr error) {
    return Completable(Observable<Never>::error(error));
  }

  // Every handler optional; `onDisposed` runs once when the subscription ends.
  Disposable subscribe(std::function<void()> onCompleted,
                       std::function<void(std::exception_ptr)> onError = {},
                       std::function<void()> onDisposed = {}) const {
    return source_.subscribe({}, std::move(onError), std::move(onCompleted), std::move(onDisposed));
  }
  const Observable<Never>& asObservable() const noexcept { return source_; }

  // As the `Observable` operators of the same names.
  Completable doOn(DoHandlers<Never> handlers) const {
    return Completable(source_.doOn(std::move(handlers)));
  }
  Completable observeOn(ImmediateSchedulerPtr scheduler) const {
    return Completable(source_.observeOn(std::move(scheduler)));
  }
  Completable catchError(std::function<Completable(std::exception_ptr)> handler) const {
    return Completable(
        source_.catchError([handler](std::exception_ptr e) { return handler(e).asObservable(); }));
  }

  // Wraps an observable known to emit no elements.
  static Completable fromObservableUnchecked(Observable<Never> source) {
    return Completable(std::move(source));
  }

 private:
  explicit Completable(Observable<Never> source) : source_(std::move(source)) {}
  Observable<Never> source_;
};

}  // namespace zorlan::rx
