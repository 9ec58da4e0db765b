// Transforming elements: map, compactMap, scan, flatMap.
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
#include "zorlan/Rx/detail/MergeState.hpp"
#include "zorlan/Rx/detail/Subscribe.hpp"

namespace zorlan::rx {

template <class T>
class Observable;

namespace detail {

template <class T>
class TransformingOperators {
 public:
  template <class F>
  auto map(F transform) const -> Observable<std::decay_t<std::invoke_result_t<F&, const T&>>> {
    using U = std::decay_t<std::invoke_result_t<F&, const T&>>;
    return self().template lift<U>([transform](const AnyObserver<U>& o) {
      return AnyObserver<T>::make(
          [o, transform](const T& v) mutable {
            std::optional<U> mapped;
            try {
              mapped.emplace(transform(v));
            } catch (...) {
              o.onError(std::current_exception());
              return;
            }
            o.onNext(*mapped);
          },
          [o](std::exception_ptr e) { o.onError(e); }, [o] { o.onCompleted(); });
    });
  }

  // `transform` returns an optional; only present results are emitted.
  template <class F>
  auto compactMap(F transform) const
      -> Observable<typename std::decay_t<std::invoke_result_t<F&, const T&>>::value_type> {
    using U = typename std::decay_t<std::invoke_result_t<F&, const T&>>::value_type;
    return map(std::move(transform))
        .filter([](const std::optional<U>& v) { return v.has_value(); })
        .map([](const std::optional<U>& v) { return *v; });
  }

  // Emits each accumulated state, starting from `seed`.
  template <class S, class F>
  Observable<S> scan(S seed, F accumulator) const {
    return self().template lift<S>([seed, accumulator](const AnyObserver<S>& o) {
      return AnyObserver<T>::make(
          [o, accumulator, state = seed](const T& v) mutable {
            try {
              state = accumulator(state, v);
            } catch (...) {
              o.onError(std::current_exception());
              return;
            }
            o.onNext(state);
          },
          [o](std::exception_ptr e) { o.onError(e); }, [o] { o.onCompleted(); });
    });
  }

  // Maps each element to a sequence and merges those sequences.
  template <class F>
  auto flatMap(F transform) const
      -> Observable<typename std::decay_t<std::invoke_result_t<F&, const T&>>::Element> {
    using U = typename std::decay_t<std::invoke_result_t<F&, const T&>>::Element;
    Observable<T> source = self();
    return Observable<U>::create([source, transform](const AnyObserver<U>& o) {
      auto state = std::make_shared<detail::MergeState<U>>(o);
      detail::subscribeAllOrNone(state->group, [&] {
        state->group.add(source.subscribe(AnyObserver<T>::make(
            [state, transform = F(transform)](const T& v) mutable {
              std::optional<Observable<U>> inner;
              try {
                inner.emplace(transform(v));
              } catch (...) {
                state->error(std::current_exception());
                return;
              }
              state->sourceStarted();
              state->group.add(inner->subscribe(
                  AnyObserver<U>::make([state](const U& u) { state->next(u); },
                                       [state](std::exception_ptr e) { state->error(e); },
                                       [state] { state->sourceCompleted(); })));
            },
            [state](std::exception_ptr e) { state->error(e); },
            [state] { state->sourceCompleted(); })));
      });
      return Disposable::create([state] { state->group.dispose(); });
    });
  }

 private:
  const Observable<T>& self() const noexcept { return static_cast<const Observable<T>&>(*this); }
};

}  // namespace detail

}  // namespace zorlan::rx

#include "zorlan/Rx/Observable.hpp"
