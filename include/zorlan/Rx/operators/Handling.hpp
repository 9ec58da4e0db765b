// Errors and side effects: catchAndReturn, catchError, doOn.
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
#include "zorlan/Rx/SerialDisposable.hpp"

namespace zorlan::rx {

template <class T>
class Observable;

// Handlers for `doOn`; every member is optional.
template <class T>
struct DoHandlers {
  std::function<void(const T&)> onNext = {};
  std::function<void(std::exception_ptr)> onError = {};
  std::function<void()> onCompleted = {};
  std::function<void()> onSubscribe = {};
  std::function<void()> onDispose = {};
};

namespace detail {

template <class T>
class HandlingOperators {
 public:
  // On error: emits `element`, then completes.
  Observable<T> catchAndReturn(T element) const {
    return self().template lift<T>([element](const AnyObserver<T>& o) {
      return AnyObserver<T>::make([o](const T& v) { o.onNext(v); },
                                  [o, element](std::exception_ptr) {
                                    o.onNext(element);
                                    o.onCompleted();
                                  },
                                  [o] { o.onCompleted(); });
    });
  }
  // On error: continues with the sequence `handler` returns for it.
  Observable<T> catchError(std::function<Observable<T>(std::exception_ptr)> handler) const {
    Observable<T> source = self();
    return Observable<T>::create([source, handler](const AnyObserver<T>& o) {
      auto serial = std::make_shared<SerialDisposable>();
      serial->set(source.subscribe(AnyObserver<T>::make([o](const T& v) { o.onNext(v); },
                                                        [o, handler, serial](std::exception_ptr e) {
                                                          Observable<T> next =
                                                              Observable<T>::never();
                                                          try {
                                                            next = handler(e);
                                                          } catch (...) {
                                                            o.onError(std::current_exception());
                                                            return;
                                                          }
                                                          serial->set(next.subscribe(o));
                                                        },
                                                        [o] { o.onCompleted(); })));
      return Disposable(serial);
    });
  }

  // Runs side effects around the sequence's events, subscription and disposal.
  Observable<T> doOn(DoHandlers<T> handlers) const {
    Observable<T> source = self();
    auto h = std::make_shared<const DoHandlers<T>>(std::move(handlers));
    return Observable<T>::create([source, h](const AnyObserver<T>& o) {
      if (h->onSubscribe) h->onSubscribe();
      Disposable upstream;
      try {
        upstream = source.subscribe(AnyObserver<T>::make(
            [o, h](const T& v) {
              if (h->onNext) h->onNext(v);
              o.onNext(v);
            },
            [o, h](std::exception_ptr e) {
              if (h->onError) h->onError(e);
              o.onError(e);
            },
            [o, h] {
              if (h->onCompleted) h->onCompleted();
              o.onCompleted();
            }));
      } catch (...) {
        if (h->onDispose) h->onDispose();
        throw;
      }
      if (!h->onDispose) return upstream;
      return Disposable::create([upstream, h] {
        upstream.dispose();
        h->onDispose();
      });
    });
  }

 private:
  const Observable<T>& self() const noexcept { return static_cast<const Observable<T>&>(*this); }
};

}  // namespace detail

}  // namespace zorlan::rx

#include "zorlan/Rx/Observable.hpp"
