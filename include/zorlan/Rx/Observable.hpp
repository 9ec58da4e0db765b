// Observable: a cold, push-based sequence of elements ending in completion or
// an error, with the operators the library composes its live values from.
#pragma once

#include <atomic>
#include <concepts>
#include <cstdint>
#include <deque>
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
#include "zorlan/Rx/SchedulerType.hpp"
#include "zorlan/Rx/SerialDisposable.hpp"
#include "zorlan/Rx/detail/Sink.hpp"
#include "zorlan/Rx/detail/SubjectCore.hpp"

namespace zorlan::rx {

template <class T>
class Observable;
template <class T>
class Single;

// How long a shared sequence keeps its replay buffer. In both scopes the
// source is subscribed for the first subscriber and unsubscribed when the
// last one leaves or the source ends; a later subscriber subscribes again.
enum class SubjectLifetimeScope {
  // The buffer goes with the subscription to the source: every connection
  // starts afresh.
  whileConnected,
  // One buffer for the life of the shared sequence: later subscribers get
  // the last elements even across reconnections, and once the source has
  // ended, the buffer and the terminal event (without subscribing again).
  forever,
};

// Whether `takeUntil(predicate)` emits the element that ends the sequence.
enum class TakeBehavior { inclusive, exclusive };

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
struct ShareState;

inline auto ignoreError() {
  return [](std::exception_ptr) {};
}
inline auto ignoreCompleted() {
  return [] {};
}

// Runs `subscribeAll`, which adds subscriptions to `group`; when it throws
// (a handler threw on an element delivered during subscription), disposes
// the ones it had made before the exception leaves.
template <class F>
void subscribeAllOrNone(CompositeDisposable& group, F subscribeAll) {
  try {
    subscribeAll();
  } catch (...) {
    group.dispose();
    throw;
  }
}

}  // namespace detail

// A cold sequence: each subscription runs the subscribe function anew.
// Values of this type are cheap to copy (a shared, immutable function).
// Subscribing returns a `Disposable`; disposing it stops delivery and
// releases the chain. Errors travel as std::exception_ptr.
template <class T>
class Observable {
 public:
  using Element = T;
  using SubscribeFn = std::function<Disposable(const AnyObserver<T>&)>;

  // A sequence that never emits (`never()`).
  Observable() : Observable(never()) {}

  // ----- creation -----

  // A sequence whose subscription runs `subscribe` with the observer; the
  // disposable it returns is disposed when the subscription ends.
  static Observable create(SubscribeFn subscribe) {
    return Observable(std::make_shared<const SubscribeFn>(std::move(subscribe)));
  }
  // One element, then completion.
  static Observable just(T element) {
    return create([element = std::move(element)](const AnyObserver<T>& o) {
      o.onNext(element);
      o.onCompleted();
      return Disposable();
    });
  }
  // The elements in order, then completion.
  static Observable from(std::vector<T> elements) {
    return create([elements = std::move(elements)](const AnyObserver<T>& o) {
      for (const T& e : elements) o.onNext(e);
      o.onCompleted();
      return Disposable();
    });
  }
  static Observable empty() {
    return create([](const AnyObserver<T>& o) {
      o.onCompleted();
      return Disposable();
    });
  }
  static Observable never() {
    return create([](const AnyObserver<T>&) { return Disposable(); });
  }
  static Observable error(std::exception_ptr error) {
    return create([error](const AnyObserver<T>& o) {
      o.onError(error);
      return Disposable();
    });
  }
  // Calls `factory` on each subscription and subscribes to what it returns;
  // an exception from `factory` becomes the error.
  static Observable deferred(std::function<Observable()> factory) {
    return create([factory = std::move(factory)](const AnyObserver<T>& o) {
      Observable source = never();
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
  // have completed, fails at the first error.
  static Observable merge(std::vector<Observable> sources);
  // Emits `combine(a, b)` with the latest element of each source whenever
  // either emits, once both have emitted; completes when both complete.
  template <class A, class B, class F>
  static Observable combineLatest(Observable<A> a, Observable<B> b, F combine);

  // ----- subscription -----

  // Subscribes `observer`. The handle owns the subscription until disposed:
  // disposing it (or a terminal event) releases the observer and what its
  // handlers captured as soon as no call into them is running. A handler
  // that throws during subscription (on an element sent at once) ends the
  // subscription and the exception leaves `subscribe`.
  Disposable subscribe(const AnyObserver<T>& observer) const {
    auto sink = std::make_shared<detail::Sink<T>>(observer);
    auto handle = std::make_shared<detail::SinkDisposer>(sink);
    Disposable upstream;
    try {
      upstream = (*subscribe_)(AnyObserver<T>(sink));
    } catch (...) {
      sink->dispose();
      throw;
    }
    sink->setUpstream(std::move(upstream));
    return Disposable(std::move(handle));
  }
  // Elements only; errors are ignored.
  template <class OnNext>
  requires std::invocable<OnNext&, const T&> Disposable subscribe(OnNext onNext)
  const {
    return subscribe(
        AnyObserver<T>::make(std::move(onNext), detail::ignoreError(), detail::ignoreCompleted()));
  }
  // Every handler optional; `onDisposed` runs once when the subscription
  // ends, by a terminal event or by disposal.
  Disposable subscribe(std::function<void(const T&)> onNext,
                       std::function<void(std::exception_ptr)> onError,
                       std::function<void()> onCompleted = {},
                       std::function<void()> onDisposed = {}) const {
    Disposable subscription = doOn({.onDispose = std::move(onDisposed)})
                                  .subscribe(AnyObserver<T>::make(
                                      [onNext](const T& v) {
                                        if (onNext) onNext(v);
                                      },
                                      [onError](std::exception_ptr e) {
                                        if (onError) onError(e);
                                      },
                                      [onCompleted] {
                                        if (onCompleted) onCompleted();
                                      }));
    return subscription;
  }
  // Forwards every event to `observer`.
  Disposable bindTo(const AnyObserver<T>& observer) const { return subscribe(observer); }
  // Forwards every event to `target`'s observer: a subject, a `Binder`, a
  // `ControlProperty`.
  template <class Target>
  requires requires(const Target& t) {
    { t.asObserver() } -> std::convertible_to<AnyObserver<T>>;
  }
  Disposable bindTo(const Target& target) const {
    return subscribe(AnyObserver<T>(target.asObserver()));
  }
  // Accepts every element into `relay` (anything with `accept(const T&)`);
  // a relay never terminates, so errors and completion are not forwarded.
  template <class Relay>
  requires requires(const Relay& r, const T& v) { r.accept(v); }
  Disposable bindTo(const Relay& relay) const {
    return subscribe([relay](const T& v) { relay.accept(v); });
  }

  const Observable& asObservable() const noexcept { return *this; }

  // ----- operators -----

  template <class F>
  auto map(F transform) const -> Observable<std::decay_t<std::invoke_result_t<F&, const T&>>> {
    using U = std::decay_t<std::invoke_result_t<F&, const T&>>;
    return lift<U>([transform](const AnyObserver<U>& o) {
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

  template <class F>
  Observable filter(F predicate) const {
    return lift<T>([predicate](const AnyObserver<T>& o) {
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
    return lift<S>([seed, accumulator](const AnyObserver<S>& o) {
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

  // Drops elements equal to the one before (by `==`, or by `equal`).
  Observable distinctUntilChanged() const requires std::equality_comparable<T> {
    return distinctUntilChanged([](const T& a, const T& b) { return a == b; });
  }
  template <class Equal>
  requires std::predicate<Equal&, const T&, const T&> Observable distinctUntilChanged(Equal equal)
  const {
    return lift<T>([equal](const AnyObserver<T>& o) {
      return AnyObserver<T>::make(
          [o, equal, last = std::optional<T>()](const T& v) mutable {
            if (last && equal(*last, v)) return;
            last = v;
            o.onNext(v);
          },
          [o](std::exception_ptr e) { o.onError(e); }, [o] { o.onCompleted(); });
    });
  }

  // Emits `values` before the source's elements.
  template <class... V>
  Observable startWith(V&&... values) const {
    std::vector<T> prefix{T(std::forward<V>(values))...};
    Observable source = *this;
    return create([source, prefix](const AnyObserver<T>& o) {
      for (const T& v : prefix) o.onNext(v);
      return source.subscribe(o);
    });
  }

  // The first `count` elements, then completion.
  Observable take(std::size_t count) const {
    if (count == 0) return empty();
    return lift<T>([count](const AnyObserver<T>& o) {
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
  Observable takeUntil(Observable<U> other) const {
    Observable source = *this;
    return create([source, other](const AnyObserver<T>& o) {
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
  requires std::predicate<F&, const T&> Observable
  takeUntil(F predicate, TakeBehavior behavior = TakeBehavior::exclusive)
  const {
    return lift<T>([predicate, behavior](const AnyObserver<T>& o) {
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

  // Maps each element to a sequence and merges those sequences.
  template <class F>
  auto flatMap(F transform) const
      -> Observable<typename std::decay_t<std::invoke_result_t<F&, const T&>>::Element>;

  Observable merge(Observable other) const { return merge({*this, std::move(other)}); }

  // Delivers events on `scheduler`, in order.
  Observable observeOn(ImmediateSchedulerPtr scheduler) const;

  // Shares one subscription to the source among all subscribers, replaying
  // the last `replay` elements to each new one before live elements (even
  // when those come from another thread meanwhile). See
  // `SubjectLifetimeScope` for when the source is subscribed.
  Observable share(std::size_t replay = 0,
                   SubjectLifetimeScope scope = SubjectLifetimeScope::whileConnected) const;

  // On error: emits `element`, then completes.
  Observable catchAndReturn(T element) const {
    return lift<T>([element](const AnyObserver<T>& o) {
      return AnyObserver<T>::make([o](const T& v) { o.onNext(v); },
                                  [o, element](std::exception_ptr) {
                                    o.onNext(element);
                                    o.onCompleted();
                                  },
                                  [o] { o.onCompleted(); });
    });
  }
  // On error: continues with the sequence `handler` returns for it.
  Observable catchError(std::function<Observable(std::exception_ptr)> handler) const {
    Observable source = *this;
    return create([source, handler](const AnyObserver<T>& o) {
      auto serial = std::make_shared<SerialDisposable>();
      serial->set(source.subscribe(AnyObserver<T>::make([o](const T& v) { o.onNext(v); },
                                                        [o, handler, serial](std::exception_ptr e) {
                                                          Observable next = never();
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
  Observable doOn(DoHandlers<T> handlers) const {
    Observable source = *this;
    auto h = std::make_shared<const DoHandlers<T>>(std::move(handlers));
    return create([source, h](const AnyObserver<T>& o) {
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

  // Exactly one element: success; none or more than one: an `RxError`.
  Single<T> asSingle() const;

  // Builds an observable from a function that turns a downstream observer of
  // U into an upstream observer of T.
  template <class U, class F>
  Observable<U> lift(F makeUpstreamObserver) const {
    Observable source = *this;
    return Observable<U>::create([source, makeUpstreamObserver](const AnyObserver<U>& o) {
      return source.subscribe(makeUpstreamObserver(o));
    });
  }

 private:
  explicit Observable(std::shared_ptr<const SubscribeFn> subscribe)
      : subscribe_(std::move(subscribe)) {}

  std::shared_ptr<const SubscribeFn> subscribe_;
};

// Errors the reactive core itself raises.
class RxError : public std::exception {
 public:
  enum class Code { noElements, moreThanOneElement, timeout };
  explicit RxError(Code code) noexcept : code_(code) {}
  Code code() const noexcept { return code_; }
  const char* what() const noexcept override {
    switch (code_) {
      case Code::noElements:
        return "Sequence doesn't contain any elements.";
      case Code::moreThanOneElement:
        return "Sequence contains more than one element.";
      case Code::timeout:
        return "Sequence timeout.";
    }
    return "RxError";
  }

 private:
  Code code_;
};

// ----- definitions that need the whole class -----

namespace detail {

// Serialises events from several sources into one observer and counts the
// sources still running.
template <class T>
struct MergeState {
  explicit MergeState(AnyObserver<T> o) : observer(std::move(o)) {}
  void next(const T& v) {
    std::lock_guard lock(mutex);
    if (!stopped) observer.onNext(v);
  }
  void error(std::exception_ptr e) {
    std::lock_guard lock(mutex);
    if (stopped) return;
    stopped = true;
    observer.onError(e);
  }
  void sourceCompleted() {
    std::lock_guard lock(mutex);
    if (stopped || --active > 0) return;
    stopped = true;
    observer.onCompleted();
  }
  void sourceStarted() {
    std::lock_guard lock(mutex);
    ++active;
  }

  std::recursive_mutex mutex;
  AnyObserver<T> observer;
  std::size_t active = 1;  // the outer sequence (or the list) counts as one
  bool stopped = false;
  CompositeDisposable group;
};

}  // namespace detail

template <class T>
Observable<T> Observable<T>::merge(std::vector<Observable> sources) {
  return create([sources](const AnyObserver<T>& o) {
    auto state = std::make_shared<detail::MergeState<T>>(o);
    detail::subscribeAllOrNone(state->group, [&] {
      for (const Observable& source : sources) {
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

template <class T>
template <class F>
auto Observable<T>::flatMap(F transform) const
    -> Observable<typename std::decay_t<std::invoke_result_t<F&, const T&>>::Element> {
  using U = typename std::decay_t<std::invoke_result_t<F&, const T&>>::Element;
  Observable source = *this;
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

template <class T>
template <class A, class B, class F>
Observable<T> Observable<T>::combineLatest(Observable<A> a, Observable<B> b, F combine) {
  return create([a, b, combine](const AnyObserver<T>& o) {
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

// `Observable<std::pair<A, B>>` of the latest elements of both sources.
template <class A, class B>
Observable<std::pair<A, B>> combineLatest(Observable<A> a, Observable<B> b) {
  return Observable<std::pair<A, B>>::combineLatest(
      std::move(a), std::move(b), [](const A& x, const B& y) { return std::pair<A, B>(x, y); });
}

template <class T>
Observable<T> Observable<T>::observeOn(ImmediateSchedulerPtr scheduler) const {
  Observable source = *this;
  return create([source, scheduler](const AnyObserver<T>& o) {
    // One drain at a time delivers the queued events in order. A handler
    // that throws inside it ends the subscription; the exception goes on to
    // the scheduler that ran the drain.
    struct State {
      std::mutex mutex;
      std::vector<Event<T>> pending;
      bool scheduled = false;
      bool disposed = false;
    };
    struct Drain {
      std::shared_ptr<State> state;
      AnyObserver<T> o;
      ImmediateSchedulerPtr scheduler;

      void schedule() const {
        scheduler->schedule([drain = *this] {
          drain.run();
          return Disposable();
        });
      }
      void run() const {
        std::vector<Event<T>> batch;
        while (true) {
          batch.clear();
          {
            std::lock_guard lock(state->mutex);
            if (state->pending.empty() || state->disposed) {
              state->scheduled = false;
              return;
            }
            batch.swap(state->pending);
          }
          for (std::size_t i = 0; i < batch.size(); ++i) {
            try {
              o.on(batch[i]);
            } catch (...) {
              if (failed(batch, i + 1)) schedule();
              throw;
            }
          }
        }
      }
      // After a handler threw on batch[next - 1]; true when a new drain must
      // be scheduled for what is left.
      bool failed(std::vector<Event<T>>& batch, std::size_t next) const {
        std::lock_guard lock(state->mutex);
        state->scheduled = false;
        if (!detail::failureAnsweredBelow()) {
          state->disposed = true;
          state->pending.clear();
          return false;
        }
        // Still subscribed: what is left waits for the next drain.
        state->pending.insert(state->pending.begin(), std::make_move_iterator(batch.begin() + next),
                              std::make_move_iterator(batch.end()));
        state->scheduled = !state->pending.empty() && !state->disposed;
        return state->scheduled;
      }
    };
    Drain drain{std::make_shared<State>(), o, scheduler};
    auto state = drain.state;
    auto enqueue = [drain](Event<T> event) {
      {
        std::lock_guard lock(drain.state->mutex);
        if (drain.state->disposed) return;
        drain.state->pending.push_back(std::move(event));
        if (drain.state->scheduled) return;
        drain.state->scheduled = true;
      }
      drain.schedule();
    };
    Disposable upstream = source.subscribe(
        AnyObserver<T>::make([enqueue](const T& v) { enqueue(Event<T>::next(v)); },
                             [enqueue](std::exception_ptr e) { enqueue(Event<T>::failed(e)); },
                             [enqueue] { enqueue(Event<T>::completed()); }));
    return Disposable::create([state, upstream] {
      std::vector<Event<T>> dropped;
      {
        std::lock_guard lock(state->mutex);
        state->disposed = true;
        dropped.swap(state->pending);
      }
      upstream.dispose();
    });
  });
}

namespace detail {

// The one subscription `share` keeps to its source and the subscribers it
// feeds. Both scopes connect on the first subscriber and disconnect when the
// last one leaves (or the source ends); `whileConnected` forgets the replay
// buffer with the connection, `forever` keeps the buffer and the terminal
// event for every later subscriber.
template <class T>
struct ShareState : std::enable_shared_from_this<ShareState<T>> {
  using Entry = std::shared_ptr<GatedObserver<T>>;

  ShareState(Observable<T> s, std::size_t r, SubjectLifetimeScope sc)
      : source(std::move(s)), replay(r), scope(sc) {}

  Disposable subscribe(const AnyObserver<T>& observer) {
    std::unique_lock lock(core.mutex);
    std::vector<T> replayed(buffer.begin(), buffer.end());
    if (terminal) {
      Event<T> ended = *terminal;
      lock.unlock();
      for (const T& v : replayed) observer.onNext(v);
      observer.on(ended);
      return Disposable();
    }
    Entry entry = core.addLocked(observer, replayed.empty());
    bool connect = !connected;
    connected = true;
    std::uint64_t connectGeneration = generation;
    lock.unlock();

    auto self = this->shared_from_this();
    try {
      for (const T& v : replayed) observer.onNext(v);
      if (!replayed.empty()) entry->open();
      if (connect) {
        Disposable subscription = source.subscribe(
            AnyObserver<T>::make([self](const T& v) { self->next(v); },
                                 [self](std::exception_ptr e) { self->stop(Event<T>::failed(e)); },
                                 [self] { self->stop(Event<T>::completed()); }));
        std::unique_lock relock(core.mutex);
        if (connected && generation == connectGeneration) {
          connection = std::move(subscription);
        } else {
          relock.unlock();
          subscription.dispose();
        }
      }
    } catch (...) {
      // Not subscribed after all: nobody would hold the registration, and a
      // connection this subscription made stops with it.
      core.remove(entry.get());
      Disposable abandoned;
      {
        std::lock_guard relock(core.mutex);
        if (connect && connected && generation == connectGeneration) abandoned = disconnect();
      }
      abandoned.dispose();
      throw;
    }
    std::weak_ptr<ShareState> weakState = self;
    std::weak_ptr<GatedObserver<T>> weakEntry = entry;
    return Disposable::create([weakState, weakEntry] {
      auto state = weakState.lock();
      auto gone = weakEntry.lock();
      if (state && gone) state->remove(gone.get());
    });
  }

  void next(const T& v) {
    std::unique_lock lock(core.mutex);
    if (replay > 0) {
      buffer.push_back(v);
      if (buffer.size() > replay) buffer.pop_front();
    }
    core.sendLocked(lock, v);
  }

  void stop(const Event<T>& event) {
    std::unique_lock lock(core.mutex);
    if (scope == SubjectLifetimeScope::forever) terminal = event;
    Disposable ended = disconnect();
    try {
      core.endLocked(lock, event);
    } catch (...) {
      ended.dispose();
      throw;
    }
    ended.dispose();
  }

  void remove(GatedObserver<T>* gone) {
    core.remove(gone);
    Disposable toDispose;
    {
      std::lock_guard lock(core.mutex);
      if (core.hasObserversLocked() || !connected) return;
      toDispose = disconnect();
    }
    toDispose.dispose();
  }

  // Caller holds the mutex. Forgets the connection (returned for disposal
  // outside the lock) and, while connected only, the buffer.
  Disposable disconnect() {
    connected = false;
    ++generation;
    if (scope == SubjectLifetimeScope::whileConnected) buffer.clear();
    return std::exchange(connection, Disposable());
  }

  Observable<T> source;
  std::size_t replay;
  SubjectLifetimeScope scope;
  SubjectCore<T> core;  // its mutex guards the members below too
  std::deque<T> buffer;
  std::optional<Event<T>> terminal;
  Disposable connection;
  bool connected = false;
  std::uint64_t generation = 0;
};

}  // namespace detail

template <class T>
Observable<T> Observable<T>::share(std::size_t replay, SubjectLifetimeScope scope) const {
  auto state = std::make_shared<detail::ShareState<T>>(*this, replay, scope);
  return create([state](const AnyObserver<T>& o) { return state->subscribe(o); });
}

// A sequence of 0, 1, 2... on `scheduler`: the first after `dueTime`, the
// next ones every `period`; without a period, 0 and then completion.
inline Observable<std::int64_t> timer(RxTimeInterval dueTime, SchedulerPtr scheduler,
                                      std::optional<RxTimeInterval> period = std::nullopt) {
  return Observable<std::int64_t>::create([dueTime, scheduler,
                                           period](const AnyObserver<std::int64_t>& o) {
    if (!period) {
      return scheduler->scheduleRelative(dueTime, [o] {
        o.onNext(0);
        o.onCompleted();
        return Disposable();
      });
    }
    auto counter = std::make_shared<std::int64_t>(0);
    return scheduler->schedulePeriodic(dueTime, *period, [o, counter] { o.onNext((*counter)++); });
  });
}

}  // namespace zorlan::rx
