// Conveniences over the reactive core: each is one small composition of its
// operators, keeping the element and error types its name promises.
#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "zorlan/Base/Precondition.hpp"
#include "zorlan/Rx/Completable.hpp"
#include "zorlan/Rx/Driver.hpp"
#include "zorlan/Rx/Infallible.hpp"
#include "zorlan/Rx/SerialDisposable.hpp"
#include "zorlan/Rx/Single.hpp"
#include "zorlan/Scheduling/Result.hpp"

namespace zorlan {

// ----- optionals -----

// The present elements only.
template <class T>
rx::Observable<T> unwrap(const rx::Observable<std::optional<T>>& source) {
  return source.filter([](const std::optional<T>& v) { return v.has_value(); })
      .map([](const std::optional<T>& v) { return *v; });
}
template <class T>
rx::Driver<T> unwrap(const rx::Driver<std::optional<T>>& source) {
  return rx::Driver<T>::fromInfallibleSource(unwrap(source.asObservable()));
}

// Every element wrapped as a present optional.
template <class T>
rx::Observable<std::optional<T>> asOptional(const rx::Observable<T>& source) {
  return source.map([](const T& v) { return std::optional<T>(v); });
}
template <class T>
rx::Driver<std::optional<T>> asOptional(const rx::Driver<T>& source) {
  return source.map([](const T& v) { return std::optional<T>(v); });
}

// Absent integers become 0.
template <class I>
requires std::is_integral_v<I> rx::Observable<I> orZero(
    const rx::Observable<std::optional<I>>& source) {
  return source.map([](const std::optional<I>& v) { return v.value_or(I{0}); });
}
template <class I>
requires std::is_integral_v<I> rx::Driver<I> orZero(const rx::Driver<std::optional<I>>& source) {
  return source.map([](const std::optional<I>& v) { return v.value_or(I{0}); });
}

// Absent strings become the empty string.
inline rx::Driver<std::string> orEmpty(const rx::Driver<std::optional<std::string>>& source) {
  return source.map([](const std::optional<std::string>& v) { return v.value_or(std::string()); });
}

// Empty strings become `fallback`.
inline rx::Driver<std::string> withDefault(const rx::Driver<std::string>& source,
                                           std::string fallback) {
  return source.map([fallback](const std::string& v) { return v.empty() ? fallback : v; });
}

// ----- neighbours -----

// (the element before, the element) for every element after the first.
template <class T>
rx::Observable<std::pair<T, T>> withPrevious(const rx::Observable<T>& source) {
  using Slots = std::pair<std::optional<T>, std::optional<T>>;
  return source
      .scan(Slots(),
            [](const Slots& slots, const T& v) { return Slots(slots.second, std::optional<T>(v)); })
      .filter([](const Slots& s) { return s.first && s.second; })
      .map([](const Slots& s) { return std::pair<T, T>(*s.first, *s.second); });
}

// (the element before or absent, the element) for every element.
template <class T>
rx::Observable<std::pair<std::optional<T>, T>> withPreviousOptional(
    const rx::Observable<T>& source) {
  using Slots = std::pair<std::optional<T>, std::optional<T>>;
  return source
      .scan(Slots(),
            [](const Slots& slots, const T& v) { return Slots(slots.second, std::optional<T>(v)); })
      .map([](const Slots& s) { return std::pair<std::optional<T>, T>(s.first, *s.second); });
}

// For every element after the first, the element before it.
template <class T>
rx::Observable<T> previous(const rx::Observable<T>& source) {
  return withPrevious(source).map([](const std::pair<T, T>& p) { return p.first; });
}

// ----- time -----

// The source, plus `emit` when the source has produced no element within
// `interval` on `scheduler`; `onTimeout` runs just before `emit` goes out.
// The source is subscribed once; its first element cancels the timer, even
// one it sends during subscription (a relay's value, `startWith`). A source
// that ends without an element still gets its timeout; the sequence completes
// when the source has completed and the timer is settled (fired or cancelled).
template <class T>
rx::Observable<T> afterTimeout(const rx::Observable<T>& source, rx::RxTimeInterval interval, T emit,
                               rx::SchedulerPtr scheduler, std::function<void()> onTimeout = {}) {
  return rx::Observable<T>::create(
      [source, interval, emit, scheduler, onTimeout](const rx::AnyObserver<T>& o) {
        struct State {
          std::recursive_mutex mutex;
          bool spoke = false;         // the source has sent an element
          bool timerSettled = false;  // fired, or cut off by the source
          bool sourceCompleted = false;
          bool stopped = false;
          rx::CompositeDisposable group;
          rx::SerialDisposable timer;
        };
        auto state = std::make_shared<State>();
        auto completeIfDone = [state, o] {  // caller holds the mutex
          if (state->stopped || !state->sourceCompleted || !state->timerSettled) return;
          state->stopped = true;
          o.onCompleted();
        };
        rx::detail::subscribeAllOrNone(state->group, [&] {
          state->group.add(source.subscribe(rx::AnyObserver<T>::make(
              [state, o](const T& v) {
                std::lock_guard lock(state->mutex);
                if (state->stopped) return;
                if (!state->spoke) {
                  state->spoke = true;
                  state->timerSettled = true;
                  state->timer.dispose();
                }
                o.onNext(v);
              },
              [state, o](std::exception_ptr e) {
                std::lock_guard lock(state->mutex);
                if (state->stopped) return;
                state->stopped = true;
                o.onError(e);
              },
              [state, completeIfDone] {
                std::lock_guard lock(state->mutex);
                state->sourceCompleted = true;
                completeIfDone();
              })));
        });
        {
          std::lock_guard lock(state->mutex);
          if (!state->spoke && !state->stopped) {
            state->timer.set(
                scheduler->scheduleRelative(interval, [state, o, emit, onTimeout, completeIfDone] {
                  std::lock_guard lock(state->mutex);
                  if (state->timerSettled || state->stopped) return rx::Disposable();
                  state->timerSettled = true;
                  if (onTimeout) onTimeout();
                  o.onNext(emit);
                  completeIfDone();
                  return rx::Disposable();
                }));
          }
        }
        return rx::Disposable::create([state] {
          state->timer.dispose();
          state->group.dispose();
        });
      });
}

// Holds back the source until `allow` emits true: the source is subscribed
// from then on (elements before that are not seen).
template <class T>
rx::Observable<T> ignoreUntil(const rx::Observable<T>& source, const rx::Observable<bool>& allow) {
  return allow.takeUntil([](bool allowed) { return allowed; }, rx::TakeBehavior::inclusive)
      .filter([](bool allowed) { return allowed; })
      .flatMap([source](bool) { return source; });
}
template <class T>
rx::Driver<T> ignoreUntil(const rx::Driver<T>& source, const rx::Observable<bool>& allow) {
  return rx::Driver<T>::fromInfallibleSource(ignoreUntil(source.asObservable(), allow));
}

// ----- traits -----

// Observed on `scheduler`, errors replaced by `element`, shared with replay 1.
template <class T>
rx::Observable<T> withDriverTraits(const rx::Observable<T>& source,
                                   rx::ImmediateSchedulerPtr scheduler, T catchAndReturn) {
  return source.observeOn(std::move(scheduler))
      .catchAndReturn(std::move(catchAndReturn))
      .share(1, rx::SubjectLifetimeScope::whileConnected);
}
// Observed on `scheduler`, errors replaced by `catchHandler`'s sequence, shared with replay 1.
template <class T>
rx::Observable<T> withDriverTraits(
    const rx::Observable<T>& source, rx::ImmediateSchedulerPtr scheduler,
    std::type_identity_t<std::function<rx::Observable<T>(std::exception_ptr)>> catchHandler) {
  return source.observeOn(std::move(scheduler))
      .catchError(std::move(catchHandler))
      .share(1, rx::SubjectLifetimeScope::whileConnected);
}
// As above, shared without replay.
template <class T>
rx::Observable<T> withSignalTraits(
    const rx::Observable<T>& source, rx::ImmediateSchedulerPtr scheduler,
    std::type_identity_t<std::function<rx::Observable<T>(std::exception_ptr)>> catchHandler) {
  return source.observeOn(std::move(scheduler))
      .catchError(std::move(catchHandler))
      .share(0, rx::SubjectLifetimeScope::whileConnected);
}

// A driver shared for the life of the process: one replay buffer, kept
// forever, so a subscriber arriving after all others left gets the last
// element at once. The source itself is subscribed while anyone listens:
// when the last subscriber leaves, the source's subscription ends, and the
// next subscriber subscribes it again.
template <class T>
rx::Driver<T> shareForever(const rx::Driver<T>& source) {
  return rx::Driver<T>::fromInfallibleSource(
      source.asObservable().share(1, rx::SubjectLifetimeScope::forever));
}

// The infallible sequence as a driver. Its error path cannot be reached; if it
// ever is, the process stops.
template <class T>
rx::Driver<T> asDriver(const rx::Infallible<T>& source) {
  return rx::Driver<T>::fromInfallibleSource(
      source.asObservable().catchError([](std::exception_ptr) -> rx::Observable<T> {
        ZORLAN_FATAL("infallible is not capable of erroring");
      }));
}

// A driver that ends quietly on error.
template <class T>
rx::Driver<T> asDriverIgnoringErrors(const rx::Observable<T>& source) {
  return rx::Driver<T>::fromInfallibleSource(
      source.catchError([](std::exception_ptr) { return rx::Observable<T>::empty(); }));
}
template <class T>
rx::Driver<T> asDriverIgnoringErrors(const rx::Single<T>& source) {
  return asDriverIgnoringErrors(source.asObservable());
}

// ----- results -----

// Elements as successes; the error as one failure, then completion.
template <class T>
rx::Observable<Result<T>> result(const rx::Observable<T>& source) {
  return source.map([](const T& v) { return Result<T>::success(v); })
      .catchError([](std::exception_ptr e) {
        return rx::Observable<Result<T>>::just(Result<T>::failure(e));
      });
}
template <class T>
rx::Single<Result<T>> result(const rx::Single<T>& source) {
  return rx::Single<Result<T>>::fromObservableUnchecked(result(source.asObservable()));
}
inline rx::Single<Result<rx::Never>> result(const rx::Completable& source) {
  return rx::Single<Result<rx::Never>>::create(
      [source](const rx::SingleObserver<Result<rx::Never>>& observer) {
        return source.subscribe(
            [observer] { observer.success(Result<rx::Never>::success(rx::Never{})); },
            [observer](std::exception_ptr e) { observer.success(Result<rx::Never>::failure(e)); });
      });
}
// `result` delivered as a driver (the latest result replayed) or a signal.
template <class T>
rx::Driver<Result<T>> resultAsDriver(const rx::Observable<T>& source) {
  return rx::Driver<Result<T>>::fromInfallibleSource(result(source));
}
template <class T>
rx::Driver<Result<T>> resultAsDriver(const rx::Single<T>& source) {
  return resultAsDriver(source.asObservable());
}
template <class T>
rx::Signal<Result<T>> resultAsSignal(const rx::Observable<T>& source) {
  return rx::Signal<Result<T>>::fromInfallibleSource(result(source));
}
template <class T>
rx::Signal<Result<T>> resultAsSignal(const rx::Single<T>& source) {
  return resultAsSignal(source.asObservable());
}

// ----- arrays -----

// Maps each element of each array.
template <class T, class F>
auto arrayMap(const rx::Observable<std::vector<T>>& source, F transform)
    -> rx::Observable<std::vector<std::decay_t<std::invoke_result_t<F&, const T&>>>> {
  using U = std::decay_t<std::invoke_result_t<F&, const T&>>;
  return source.map([transform](const std::vector<T>& items) mutable {
    std::vector<U> out;
    out.reserve(items.size());
    for (const T& item : items) out.push_back(transform(item));
    return out;
  });
}

// ----- from callbacks -----

// A single that, on each subscription, calls `start` with a completion that
// takes the outcome.
template <class T>
rx::Single<T> singleFrom(std::function<void(std::function<void(Result<T>)>)> start) {
  return rx::Single<T>::create([start](const rx::SingleObserver<T>& observer) {
    start([observer](Result<T> outcome) {
      if (outcome.isSuccess()) {
        observer.success(*outcome.value());
      } else {
        observer.failure(outcome.error());
      }
    });
    return rx::Disposable();
  });
}

// A completable that, on each subscription, calls `start` with a completion
// that takes the error (null for success).
inline rx::Completable completableFrom(
    std::function<void(std::function<void(std::exception_ptr)>)> start) {
  return rx::Completable::create([start](const rx::CompletableObserver& observer) {
    start([observer](std::exception_ptr error) {
      if (error) {
        observer.error(error);
      } else {
        observer.completed();
      }
    });
    return rx::Disposable();
  });
}

}  // namespace zorlan
