// Dispatcher: somewhere to run work, with helpers that wrap dispatched work
// into one-shot reactive sequences. `AsyncDispatcher` runs it on a queue.
#pragma once

#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

#include "zorlan/Dispatch/DispatchQueue.hpp"
#include "zorlan/Rx/Completable.hpp"
#include "zorlan/Rx/Single.hpp"
#include "zorlan/Scheduling/Result.hpp"

namespace zorlan {

// Somewhere to run work. Implementations decide where and when; tests can
// substitute synchronous or virtual-time ones. The sequence helpers below are
// built only on `dispatch`, so they work for every implementation.
class Dispatcher {
 public:
  virtual ~Dispatcher() = default;

  // Runs `work` later, without waiting.
  virtual void dispatch(std::function<void()> work) const = 0;
  // Runs `item` once `deadline` has passed (unless it is cancelled first).
  virtual void dispatchAfter(DispatchTime deadline, DispatchWorkItem item) const = 0;

  // Runs `work` and waits for it; returns its result or rethrows its exception.
  template <class F>
  auto sync(F&& work) const -> std::invoke_result_t<F&> {
    using R = std::invoke_result_t<F&>;
    if constexpr (std::is_void_v<R>) {
      syncErased([&] { work(); });
    } else if constexpr (std::is_reference_v<R>) {
      std::remove_reference_t<R>* result = nullptr;
      syncErased([&] { result = &work(); });
      return static_cast<R>(*result);
    } else {
      std::optional<R> result;
      syncErased([&] { result.emplace(work()); });
      return std::move(*result);
    }
  }

  // Wraps `work` in a new work item and passes it to `dispatchAfter`.
  void dispatchAfter(DispatchTime deadline, std::function<void()> work) const {
    dispatchAfter(deadline, DispatchWorkItem(std::move(work)));
  }

  // A Completable whose every subscription dispatches one action that runs
  // `work`, then completes (or fails with what `work` threw). Disposing the
  // subscription does not cancel an action already dispatched; it only stops
  // the completion from being delivered.
  rx::Completable dispatchCompletable(std::function<void()> work) const {
    auto self = retain();
    return rx::Completable::create([self, work](const rx::CompletableObserver& observer) {
      self->dispatch([work, observer] {
        try {
          work();
        } catch (...) {
          observer.error(std::current_exception());
          return;
        }
        observer.completed();
      });
      return rx::Disposable();
    });
  }

  // A Single whose every subscription dispatches one action that runs `work`
  // and emits its value as the success (or fails with what `work` threw).
  // When `work` returns a `Result<T>`, the sequence is a `Single<T>`: a success
  // result becomes the success with its value, a failure the error event.
  // Nothing is shared or cached between subscribers: two subscriptions run
  // `work` twice.
  template <class F>
    requires(!std::is_void_v<std::invoke_result_t<F&>>)
  auto dispatchSingle(F work) const {
    using R = std::invoke_result_t<F&>;
    if constexpr (IsResult<R>::value) {
      using T = typename IsResult<R>::Value;
      return dispatchSingleValue<R>(std::move(work)).flatMap([](const R& result) {
        if (result.isSuccess()) return rx::Single<T>::just(*result.value());
        return rx::Single<T>::error(result.error());
      });
    } else {
      return dispatchSingleValue<R>(std::move(work));
    }
  }

 protected:
  // Runs `work` synchronously as the dispatcher defines it.
  virtual void syncErased(const std::function<void()>& work) const = 0;
  // A copy of this dispatcher that sequences may keep; absent when the
  // dispatcher cannot be copied (the sequences then refer to this object,
  // which must outlive their subscriptions).
  virtual std::shared_ptr<const Dispatcher> copyForSequences() const { return nullptr; }

 private:
  template <class R>
  struct IsResult : std::false_type {};
  template <class V>
  struct IsResult<Result<V>> : std::true_type {
    using Value = V;
  };

  std::shared_ptr<const Dispatcher> retain() const {
    if (auto copy = copyForSequences()) return copy;
    return std::shared_ptr<const Dispatcher>(std::shared_ptr<const Dispatcher>(), this);
  }

  template <class R, class F>
  rx::Single<R> dispatchSingleValue(F work) const {
    auto self = retain();
    return rx::Single<R>::create([self, work](const rx::SingleObserver<R>& observer) {
      self->dispatch([work, observer]() mutable {
        std::optional<R> value;
        try {
          value.emplace(work());
        } catch (...) {
          observer.failure(std::current_exception());
          return;
        }
        observer.success(*value);
      });
      return rx::Disposable();
    });
  }
};

// Runs all its work on one queue. A value: copies share the queue. It adds
// no locking: order and mutual exclusion come from the queue (on a serial
// queue, actions run one at a time in submission order and `sync` waits its
// turn). `sync` from work already running on the same serial queue stops the
// process (it would deadlock).
class AsyncDispatcher final : public Dispatcher {
 public:
  explicit AsyncDispatcher(DispatchQueue queue) : queue_(std::move(queue)) {}

  void dispatch(std::function<void()> work) const override { queue_.async(std::move(work)); }
  void dispatchAfter(DispatchTime deadline, DispatchWorkItem item) const override {
    queue_.asyncAfter(deadline, std::move(item));
  }
  using Dispatcher::dispatchAfter;

  const DispatchQueue& queue() const noexcept { return queue_; }

 protected:
  void syncErased(const std::function<void()>& work) const override { queue_.sync(work); }
  std::shared_ptr<const Dispatcher> copyForSequences() const override {
    return std::make_shared<AsyncDispatcher>(*this);
  }

 private:
  DispatchQueue queue_;
};

}  // namespace zorlan
