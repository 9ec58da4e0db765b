// Filtering elements: filter, distinctUntilChanged, take, takeUntil.
// Part of `Observable` (see Observable.hpp, which includes every family).
#pragma once

#include <concepts>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <type_traits>
#include <utility>
#include <vector>

#include "zorlan/Rx/CompositeDisposable.hpp"
#include "zorlan/Rx/Disposable.hpp"
#include "zorlan/Rx/Observer.hpp"
#include "zorlan/Rx/detail/Subscribe.hpp"

namespace zorlan::rx {

template <class T>
class Observable;

// Whether `takeUntil(predicate)` emits the element that ends the sequence.
enum class TakeBehavior { inclusive, exclusive };

namespace detail {

template <class T>
class FilteringOperators {
 public:
  template <class F>
  Observable<T> filter(F predicate) const {
    return self().template lift<T>([predicate](const AnyObserver<T>& o) {
      return AnyObserver<T>::make(
          [o, predicate](const T& v) mutable {
            bool keep = false;
            try {
              keep = predicate(v);
            } catch (...) {
              o.onError(std::current_exception());
              return;
            }
            if (keep) o.onNext(v);
          },
          [o](std::exception_ptr e) { o.onError(e); }, [o] { o.onCompleted(); });
    });
  }

  // Drops elements equal to the one before (by `==`, or by `equal`).
  Observable<T> distinctUntilChanged() const requires std::equality_comparable<T> {
    return distinctUntilChanged([](const T& a, const T& b) { return a == b; });
  }
  template <class Equal>
  requires std::predicate<Equal&, const T&, const T&> Observable<T> distinctUntilChanged(
      Equal equal)
  const {
    return self().template lift<T>([equal](const AnyObserver<T>& o) {
      return AnyObserver<T>::make(
          [o, equal, last = std::optional<T>()](const T& v) mutable {
            if (last && equal(*last, v)) return;
            last = v;
            o.onNext(v);
          },
          [o](std::exception_ptr e) { o.onError(e); }, [o] { o.onCompleted(); });
    });
  }

  // The first `count` elements, then completion.
  Observable<T> take(std::size_t count) const {
    if (count == 0) return Observable<T>::empty();
    return self().template lift<T>([count](const AnyObserver<T>& o) {
      return AnyObserver<T>::make(
          [o, left = count](const T& v) mutable {
            if (left == 0) return;
            --left;
            o.onNext(v);
            if (left == 0) o.onCompleted();
          },
          [o](std::exception_ptr e) { o.onError(e); }, [o] { o.onCompleted(); });
    });
  }

  // Elements until `other` emits its first element (then completion); an
  // error of `other` ends the sequence with that error. Events of the two
  // sources are delivered one at a time even when they come from different
  // threads.
  template <class U>
  Observable<T> takeUntil(Observable<U> other) const {
    Observable<T> source = self();
    return Observable<T>::create([source, other](const AnyObserver<T>& o) {
      struct State {
        std::recursive_mutex mutex;
        CompositeDisposable group;
      };
      auto state = std::make_shared<State>();
      detail::subscribeAllOrNone(state->group, [&] {
        state->group.add(other.subscribe(AnyObserver<U>::make(
            [o, state](const U&) {
              std::lock_guard lock(state->mutex);
              o.onCompleted();
            },
            [o, state](std::exception_ptr e) {
              std::lock_guard lock(state->mutex);
              o.onError(e);
            },
            [] {})));
        state->group.add(source.subscribe(AnyObserver<T>::make(
            [o, state](const T& v) {
              std::lock_guard lock(state->mutex);
              o.onNext(v);
            },
            [o, state](std::exception_ptr e) {
              std::lock_guard lock(state->mutex);
              o.onError(e);
            },
            [o, state] {
              std::lock_guard lock(state->mutex);
              o.onCompleted();
            })));
      });
      return Disposable::create([state] { state->group.dispose(); });
    });
  }
  // Elements until one satisfies `predicate`; with `inclusive` that element
  // is emitted before completion.
  template <class F>
  requires std::predicate<F&, const T&> Observable<T> takeUntil(
      F predicate, TakeBehavior behavior = TakeBehavior::exclusive)
  const {
    return self().template lift<T>([predicate, behavior](const AnyObserver<T>& o) {
      return AnyObserver<T>::make(
          [o, predicate, behavior](const T& v) mutable {
            bool stop = false;
            try {
              stop = predicate(v);
            } catch (...) {
              o.onError(std::current_exception());
              return;
            }
            if (!stop) {
              o.onNext(v);
              return;
            }
            if (behavior == TakeBehavior::inclusive) o.onNext(v);
            o.onCompleted();
          },
          [o](std::exception_ptr e) { o.onError(e); }, [o] { o.onCompleted(); });
    });
  }

 private:
  const Observable<T>& self() const noexcept { return static_cast<const Observable<T>&>(*this); }
};

}  // namespace detail

}  // namespace zorlan::rx

#include "zorlan/Rx/Observable.hpp"
