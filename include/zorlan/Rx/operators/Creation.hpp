// Creating sequences: just, from, empty, never, error, deferred.
// Part of `Observable` (see Observable.hpp, which includes every family).
#pragma once

#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>
#include <vector>

#include "zorlan/Rx/Disposable.hpp"
#include "zorlan/Rx/Observer.hpp"

namespace zorlan::rx {

template <class T>
class Observable;

namespace detail {

template <class T>
class CreationOperators {
 public:
  // One element, then completion.
  static Observable<T> just(T element) {
    return Observable<T>::create([element = std::move(element)](const AnyObserver<T>& o) {
      o.onNext(element);
      o.onCompleted();
      return Disposable();
    });
  }
  // The elements in order, then completion.
  static Observable<T> from(std::vector<T> elements) {
    return Observable<T>::create([elements = std::move(elements)](const AnyObserver<T>& o) {
      for (const T& e : elements) o.onNext(e);
      o.onCompleted();
      return Disposable();
    });
  }
  static Observable<T> empty() {
    return Observable<T>::create([](const AnyObserver<T>& o) {
      o.onCompleted();
      return Disposable();
    });
  }
  static Observable<T> never() {
    return Observable<T>::create([](const AnyObserver<T>&) { return Disposable(); });
  }
  static Observable<T> error(std::exception_ptr error) {
    return Observable<T>::create([error](const AnyObserver<T>& o) {
      o.onError(error);
      return Disposable();
    });
  }
  // Calls `factory` on each subscription and subscribes to what it returns;
  // an exception from `factory` becomes the error.
  static Observable<T> deferred(std::function<Observable<T>()> factory) {
    return Observable<T>::create([factory = std::move(factory)](const AnyObserver<T>& o) {
      Observable<T> source = Observable<T>::never();
      try {
        source = factory();
      } catch (...) {
        o.onError(std::current_exception());
        return Disposable();
      }
      return source.subscribe(o);
    });
  }
  // The elements of all sources, interleaved as they come; completes when all

 private:
  const Observable<T>& self() const noexcept { return static_cast<const Observable<T>&>(*this); }
};

}  // namespace detail

}  // namespace zorlan::rx

#include "zorlan/Rx/Observable.hpp"
