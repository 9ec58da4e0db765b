// Time and threads: observeOn, timer.
// Part of `Observable` (see Observable.hpp, which includes every family).
#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <iterator>
#include <memory>
#include <mutex>
#include <optional>
#include <type_traits>
#include <utility>
#include <vector>

#include "zorlan/Rx/Disposable.hpp"
#include "zorlan/Rx/Observer.hpp"
#include "zorlan/Rx/SchedulerType.hpp"
#include "zorlan/Rx/detail/Sink.hpp"

namespace zorlan::rx {

template <class T>
class Observable;

namespace detail {

template <class T>
class TimeOperators {
 public:
  // Delivers events on `scheduler`, in order.
  Observable<T> observeOn(ImmediateSchedulerPtr scheduler) const {
    Observable<T> source = self();
    return Observable<T>::create([source, scheduler](const AnyObserver<T>& o) {
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
          state->pending.insert(state->pending.begin(),
                                std::make_move_iterator(batch.begin() + next),
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

 private:
  const Observable<T>& self() const noexcept { return static_cast<const Observable<T>&>(*this); }
};

}  // namespace detail

// A sequence of 0, 1, 2... on `scheduler`: the first after `dueTime`, the
// next ones every `period`; without a period, 0 and then completion.
// (A template only so that it can be defined before Observable is.)
template <class Counter = std::int64_t>
Observable<Counter> timer(RxTimeInterval dueTime, SchedulerPtr scheduler,
                          std::optional<RxTimeInterval> period = std::nullopt) {
  return Observable<Counter>::create([dueTime, scheduler, period](const AnyObserver<Counter>& o) {
    if (!period) {
      return scheduler->scheduleRelative(dueTime, [o] {
        o.onNext(0);
        o.onCompleted();
        return Disposable();
      });
    }
    auto counter = std::make_shared<Counter>(0);
    return scheduler->schedulePeriodic(dueTime, *period, [o, counter] { o.onNext((*counter)++); });
  });
}

}  // namespace zorlan::rx

#include "zorlan/Rx/Observable.hpp"
