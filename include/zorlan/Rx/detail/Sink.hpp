// Sink: how one subscription holds its observer, and the handle that ends it.
//
// Ownership, which decides when a subscriber's handlers (and what they
// captured) are freed:
//   handle (SinkDisposer) --until disposed--> Sink --> downstream observer
//   upstream (a subject's list, an operator)  -------> Sink
// Disposing the handle stops the sink, disposes the upstream subscription
// and lets go of the sink; the sink goes when the upstream drops it, which
// the library's own sources do at once (or when a delivery in progress on
// another thread returns). A terminal event delivered to the sink frees the
// downstream observer as soon as no call into it is running.
#pragma once

#include <atomic>
#include <exception>
#include <memory>
#include <mutex>
#include <utility>

#include "zorlan/Rx/Disposable.hpp"
#include "zorlan/Rx/Observer.hpp"

namespace zorlan::rx::detail {

// A handler that throws ends its own subscription and every subscription
// between it and the nearest hot sequence (subject, relay, shared sequence)
// above it. That hot sequence ends the thrower's registration only, goes on
// delivering to its other observers, and then passes the exception on to
// whoever sent the event into it, marked as answered for on this thread:
// subscriptions the exception passes through further up stay as they are.
inline std::exception_ptr& answeredFailure() noexcept {
  thread_local std::exception_ptr failure;
  return failure;
}
// Inside a catch block: whether the exception in flight was answered for
// below (see answeredFailure).
inline bool failureAnsweredBelow() noexcept {
  const std::exception_ptr& answered = answeredFailure();
  return answered && answered == std::current_exception();
}
[[noreturn]] inline void rethrowAnswered(std::exception_ptr failure) {
  answeredFailure() = failure;
  std::rethrow_exception(std::move(failure));
}

// Guards one subscription: forwards events until the first terminal event or
// disposal, then drops everything and disposes the upstream subscription.
//
// A downstream handler that throws ends the subscription: the sink disposes
// itself (and so its upstream) and lets the exception continue to whoever
// delivered the event.
template <class T>
class Sink final : public ObserverBase<T>, public DisposableBase {
 public:
  explicit Sink(AnyObserver<T> downstream) : downstream_(std::move(downstream)) {}

  // Calls into one sink never overlap (the observable contract), so the
  // nesting depth needs no atomics: it only tells a terminal event that
  // arrives from inside one of the downstream's own calls (a handler that
  // ends its own source) to leave the downstream alive until that call
  // returns.
  void onNext(const T& element) override {
    if (stopped_.load(std::memory_order_acquire)) return;
    ++depth_;
    try {
      downstream_.onNext(element);
    } catch (...) {
      --depth_;
      if (!failureAnsweredBelow()) disposeUpstreamAndStop();
      if (stopped_.load(std::memory_order_acquire)) releaseWhenIdle();
      throw;
    }
    --depth_;
    if (releasePending_ && depth_ == 0) release();
  }
  void onError(std::exception_ptr error) override {
    terminate([&error](const AnyObserver<T>& o) { o.onError(error); });
  }
  void onCompleted() override {
    terminate([](const AnyObserver<T>& o) { o.onCompleted(); });
  }

  // Stops delivery and disposes the upstream subscription. Thread-safe; the
  // downstream is freed when the sink is (see SinkDisposer).
  void dispose() override { disposeUpstreamAndStop(); }
  bool isDisposed() const override { return stopped_.load(std::memory_order_acquire); }

  void setUpstream(Disposable upstream) {
    {
      std::lock_guard lock(mutex_);
      if (!upstreamDisposed_) {
        upstream_ = std::move(upstream);
        return;
      }
    }
    upstream.dispose();
  }

 private:
  template <class Deliver>
  void terminate(Deliver deliver) {
    if (stopped_.exchange(true, std::memory_order_acq_rel)) return;
    ++depth_;
    try {
      deliver(downstream_);
    } catch (...) {
      --depth_;
      disposeUpstream();
      releaseWhenIdle();
      throw;
    }
    --depth_;
    disposeUpstream();
    releaseWhenIdle();
  }

  void disposeUpstreamAndStop() {
    stopped_.store(true, std::memory_order_release);
    disposeUpstream();
  }

  void disposeUpstream() {
    Disposable upstream;
    {
      std::lock_guard lock(mutex_);
      if (upstreamDisposed_) return;
      upstreamDisposed_ = true;
      upstream = std::exchange(upstream_, Disposable());
    }
    upstream.dispose();
  }

  void releaseWhenIdle() {
    if (depth_ == 0) {
      release();
    } else {
      releasePending_ = true;
    }
  }
  void release() {
    releasePending_ = false;
    AnyObserver<T> gone = std::exchange(downstream_, AnyObserver<T>());
  }

  AnyObserver<T> downstream_;
  std::atomic<bool> stopped_{false};
  int depth_ = 0;
  bool releasePending_ = false;
  std::mutex mutex_;
  bool upstreamDisposed_ = false;
  Disposable upstream_;
};

// The handle `subscribe` returns: owns its sink until disposed, then only
// reports. Holding a disposed (or ended) subscription's handle keeps nothing
// the subscriber's handlers captured.
class SinkDisposer final : public DisposableBase {
 public:
  explicit SinkDisposer(std::shared_ptr<DisposableBase> sink) noexcept : sink_(std::move(sink)) {}

  void dispose() override {
    std::shared_ptr<DisposableBase> sink;
    {
      std::lock_guard lock(mutex_);
      sink = std::move(sink_);
      sink_ = nullptr;
      disposed_ = true;
    }
    if (sink) sink->dispose();
  }
  bool isDisposed() const override {
    std::lock_guard lock(mutex_);
    return disposed_ || sink_->isDisposed();
  }

 private:
  mutable std::mutex mutex_;
  bool disposed_ = false;
  std::shared_ptr<DisposableBase> sink_;
};

}  // namespace zorlan::rx::detail
