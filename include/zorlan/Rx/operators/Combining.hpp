// Combining sequences: merge, combineLatest, startWith.
// Part of `Observable` (see Observable.hpp, which includes every family).
#pragma once

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
#include "zorlan/Rx/detail/MergeState.hpp"
#include "zorlan/Rx/detail/Subscribe.hpp"

namespace zorlan::rx {

template <class T>
class Observable;

namespace detail {

template <class T>
class CombiningOperators {
 public:
  // The elements of all sources, interleaved as they come; completes when all
  // have completed, fails at the first error.
  static Observable<T> merge(std::vector<Observable<T>> sources) {
    return Observable<T>::create([sources](const AnyObserver<T>& o) {
      auto state = std::make_shared<detail::MergeState<T>>(o);
      detail::subscribeAllOrNone(state->group, [&] {
        for (const Observable<T>& source : sources) {
          state->sourceStarted();
          state->group.add(source.subscribe(
              AnyObserver<T>::make([state](const T& v) { state->next(v); },
                                   [state](std::exception_ptr e) { state->error(e); },
                                   [state] { state->sourceCompleted(); })));
        }
        state->sourceCompleted();  // the list itself is done
      });
      return Disposable::create([state] { state->group.dispose(); });
    });
  }
  // The elements of this sequence and `other`, interleaved as they come.
  Observable<T> merge(Observable<T> other) const {
    return Observable<T>::merge({self(), std::move(other)});
  }

  // Emits `combine(a, b)` with the latest element of each source whenever
  // either emits, once both have emitted; completes when both complete.
  template <class A, class B, class F>
  static Observable<T> combineLatest(Observable<A> a, Observable<B> b, F combine) {
    return Observable<T>::create([a, b, combine](const AnyObserver<T>& o) {
      struct State {
        std::recursive_mutex mutex;
        std::optional<A> lastA;
        std::optional<B> lastB;
        int completed = 0;
        bool stopped = false;
        CompositeDisposable group;
      };
      auto state = std::make_shared<State>();
      auto emit = [state, o, combine]() mutable {
        if (!state->lastA || !state->lastB || state->stopped) return;
        std::optional<T> value;
        try {
          value.emplace(combine(*state->lastA, *state->lastB));
        } catch (...) {
          state->stopped = true;
          o.onError(std::current_exception());
          return;
        }
        o.onNext(*value);
      };
      auto fail = [state, o](std::exception_ptr e) {
        std::lock_guard lock(state->mutex);
        if (state->stopped) return;
        state->stopped = true;
        o.onError(e);
      };
      auto done = [state, o] {
        std::lock_guard lock(state->mutex);
        if (state->stopped || ++state->completed < 2) return;
        state->stopped = true;
        o.onCompleted();
      };
      detail::subscribeAllOrNone(state->group, [&] {
        state->group.add(a.subscribe(AnyObserver<A>::make(
            [state, emit](const A& v) mutable {
              std::lock_guard lock(state->mutex);
              state->lastA = v;
              emit();
            },
            fail, done)));
        state->group.add(b.subscribe(AnyObserver<B>::make(
            [state, emit](const B& v) mutable {
              std::lock_guard lock(state->mutex);
              state->lastB = v;
              emit();
            },
            fail, done)));
      });
      return Disposable::create([state] { state->group.dispose(); });
    });
  }

  // Emits `values` before the source's elements.
  template <class... V>
  Observable<T> startWith(V&&... values) const {
    std::vector<T> prefix{T(std::forward<V>(values))...};
    Observable<T> source = self();
    return Observable<T>::create([source, prefix](const AnyObserver<T>& o) {
      for (const T& v : prefix) o.onNext(v);
      return source.subscribe(o);
    });
  }

 private:
  const Observable<T>& self() const noexcept { return static_cast<const Observable<T>&>(*this); }
};

}  // namespace detail

// `Observable<std::pair<A, B>>` of the latest elements of both sources.
template <class A, class B>
Observable<std::pair<A, B>> combineLatest(Observable<A> a, Observable<B> b) {
  return Observable<std::pair<A, B>>::combineLatest(
      std::move(a), std::move(b), [](const A& x, const B& y) { return std::pair<A, B>(x, y); });
}

}  // namespace zorlan::rx

#include "zorlan/Rx/Observable.hpp"
