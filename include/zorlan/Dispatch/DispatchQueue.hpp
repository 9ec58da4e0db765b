// DispatchQueue: serial and concurrent work queues, the main queue, delayed
// work and queue-specific data.
#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

#include "zorlan/Dispatch/DispatchSpecificKey.hpp"
#include "zorlan/Dispatch/DispatchTime.hpp"
#include "zorlan/Dispatch/DispatchWorkItem.hpp"

namespace zorlan {

namespace detail {
class QueueImpl;
}

// A shared handle to a queue; copies refer to the same queue, and equality is
// identity. Three kinds exist:
//
// - The main queue (`main()`): serial; its work runs only while the host runs
//   it through `MainRunLoop` on a thread of its choosing, "the main thread".
// - Global concurrent queues (`global(qos)`): work runs in parallel on one
//   shared, lazily started thread pool.
// - Serial queues (the constructor): first in, first out, one item at a time,
//   on the pool (or serialised with a serial target's work).
//
// All operations are thread-safe.
class DispatchQueue {
 public:
  // A serial queue labelled `label`, targeting `target` (default: the global
  // queue of `qos`, or of `standard` when `qos` is unspecified).
  explicit DispatchQueue(std::string label, DispatchQoS qos = DispatchQoS::unspecified,
                         std::optional<DispatchQueue> target = std::nullopt);

  // The main queue.
  static DispatchQueue main();
  // The global concurrent queue of a quality-of-service class.
  static DispatchQueue global(DispatchQoS qos = DispatchQoS::standard);

  const std::string& label() const noexcept;
  DispatchQoS qos() const noexcept;
  // The queue this one's work funnels into (absent for main and global queues).
  std::optional<DispatchQueue> target() const;
  bool isSerial() const noexcept;

  // Submits `work` to run later; returns at once.
  void async(std::function<void()> work) const;
  // Submits the item; it runs unless cancelled first.
  void async(DispatchWorkItem item) const;

  // Runs `work` on the calling thread once the queue has run everything
  // submitted before, with no other work of the queue running meanwhile, and
  // returns its result or rethrows its exception. On an idle serial queue the
  // work starts at once. Stops the process (precondition) when the caller is
  // itself running on this queue or a queue it targets: that would deadlock.
  template <class F>
  auto sync(F&& work) const -> std::invoke_result_t<F&> {
    using R = std::invoke_result_t<F&>;
    if constexpr (std::is_void_v<R>) {
      syncInvoke(&callVoid<F>, const_cast<void*>(static_cast<const void*>(&work)));
    } else {
      std::optional<R> result;
      auto produce = [&] { result.emplace(work()); };
      syncInvoke(&callVoid<decltype(produce)>, &produce);
      return std::move(*result);
    }
  }

  // Submits `work` to run once `deadline` has passed.
  void asyncAfter(DispatchTime deadline, std::function<void()> work) const;
  void asyncAfter(DispatchTime deadline, DispatchWorkItem item) const;

  // Stores `value` under `key` on this queue (replacing any earlier value).
  template <class T>
  void setSpecific(const DispatchSpecificKey<T>& key, T value) const {
    setSpecificRaw(key.id(), std::make_shared<T>(std::move(value)));
  }
  // Removes the value under `key`.
  template <class T>
  void removeSpecific(const DispatchSpecificKey<T>& key) const {
    setSpecificRaw(key.id(), nullptr);
  }
  // The value stored under `key` on this very queue, absent when none.
  template <class T>
  std::optional<T> getSpecific(const DispatchSpecificKey<T>& key) const {
    auto raw = getSpecificRaw(key.id());
    if (!raw) return std::nullopt;
    return *static_cast<const T*>(raw.get());
  }
  // The value under `key` for the queue the caller runs on, looking through
  // that queue's targets; absent when the caller runs on no queue or none of
  // them holds the key.
  template <class T>
  static std::optional<T> currentSpecific(const DispatchSpecificKey<T>& key) {
    auto raw = currentSpecificRaw(key.id());
    if (!raw) return std::nullopt;
    return *static_cast<const T*>(raw.get());
  }

  friend bool operator==(const DispatchQueue& a, const DispatchQueue& b) noexcept {
    return a.impl_ == b.impl_;
  }

  const std::shared_ptr<detail::QueueImpl>& impl() const noexcept { return impl_; }
  explicit DispatchQueue(std::shared_ptr<detail::QueueImpl> impl) noexcept
      : impl_(std::move(impl)) {}

 private:
  template <class F>
  static void callVoid(void* f) {
    (*static_cast<std::remove_reference_t<F>*>(f))();
  }
  void syncInvoke(void (*call)(void*), void* context) const;
  void setSpecificRaw(std::uint64_t key, std::shared_ptr<const void> value) const;
  std::shared_ptr<const void> getSpecificRaw(std::uint64_t key) const;
  static std::shared_ptr<const void> currentSpecificRaw(std::uint64_t key);

  std::shared_ptr<detail::QueueImpl> impl_;
};

// Runs the main queue on the calling thread, which becomes "the main thread"
// while it does. Only one thread may run it at a time.
class MainRunLoop {
 public:
  // Runs main-queue work, waiting for more, until `stop()` is called.
  static void run();
  // Runs every item that is ready (including delayed work that is due and
  // items that those items submit) and returns how many ran. Never waits.
  static std::size_t runUntilIdle();
  // Runs main-queue work for `duration` of real time, then returns.
  static void runFor(std::chrono::nanoseconds duration);
  // Makes `run()` return after the item it is running. Thread-safe.
  static void stop();
};

}  // namespace zorlan
