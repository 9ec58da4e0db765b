// DispatchQueue: serial and concurrent work queues, the main queue, delayed
// work and queue-specific data.
//
//   DispatchQueue cache("com.zorlan.cache");            // serial
//   cache.async([] { /* runs on a pool thread, one item at a time */ });
//   int size = cache.sync([&] { return entries.size(); });   // waits, returns
//   cache.asyncAfter(DispatchTime::now() + DispatchTimeInterval::seconds(5), [] {});
//
// Handles are cheap to copy and thread-safe; copies name the same queue. A
// serial queue runs its items in submission order, never two at once; `sync`
// runs on the caller's thread when it can and rethrows what the work throws.
// Submitting costs O(1) and one allocation; `async` work that throws stops
// the process, naming the queue, so catch inside the work.
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
#include "zorlan/Dispatch/MainRunLoop.hpp"

namespace zorlan {

namespace detail {
class QueueImpl;
}
class DispatchQueue;
namespace detail {
// The state behind `queue`, for the library's own use.
const std::shared_ptr<QueueImpl>& queueImpl(const DispatchQueue& queue) noexcept;
}  // namespace detail

// A shared handle to a queue; copies refer to the same queue, and equality is
// identity. Three kinds exist:
//
// - The main queue (`main()`): serial; its work runs only while the host runs
//   it through `MainRunLoop` on a thread of its choosing, "the main thread".
// - Global concurrent queues (`global(qos)`): work runs in parallel on one
//   shared thread pool (as many threads as the hardware runs at once, at
//   least 2), started on first use and kept until the process exits.
// - Serial queues (the constructor): first in, first out, one item at a time,
//   on the pool (or serialised with a serial target's work).
//
// All operations are thread-safe. Queues keep working while the process
// exits, in static destructors and `atexit` handlers: the pool, the main and
// global queues and each thread's record of the queues it runs are never
// destroyed.
class DispatchQueue {
 public:
  // A serial queue labelled `label`, targeting `target` (default: the global
  // queue of `qos`, or of `standard` when `qos` is unspecified).
  explicit DispatchQueue(std::string label, DispatchQoS qos = DispatchQoS::unspecified,
                         std::optional<DispatchQueue> target = std::nullopt);

  // The main queue (always the same queue).
  static DispatchQueue main();
  // The global concurrent queue of a quality-of-service class (always the
  // same queue per class; `unspecified` gives the `standard` one).
  static DispatchQueue global(DispatchQoS qos = DispatchQoS::standard);

  const std::string& label() const noexcept;
  DispatchQoS qos() const noexcept;
  // The queue this one's work funnels into (absent for main and global queues).
  std::optional<DispatchQueue> target() const;
  // False only for the global concurrent queues.
  bool isSerial() const noexcept;

  // Submits `work` to run later; returns at once. Work that throws stops the
  // process (there is nobody to catch it), naming the queue.
  void async(std::function<void()> work) const;
  // Submits the item; it runs unless cancelled before it starts.
  void async(DispatchWorkItem item) const;

  // Runs `work` on the calling thread once the queue has run everything
  // submitted before, with no other work of the queue (or of a serial queue it
  // targets) running meanwhile, and returns its result or rethrows its
  // exception. On an idle queue the work starts at once, holding the queue
  // and then each serial target in turn. A caller that has to wait never
  // needs a pool thread to get its turn: whenever the drain of the last
  // serial queue of the target chain (the one that targets a global queue)
  // is queued on the pool and has not started, the caller takes it over and
  // runs the chain's earlier items itself, down to its own place. So callers
  // blocked in `sync`, even on every pool thread at once, cannot starve a
  // queue of any chain; the price is that earlier items of the chain may run
  // on a caller's thread. (A chain ending in the main queue waits for the
  // host.) On a global queue the work simply runs.
  // Stops the process (precondition) when the caller is itself running work
  // that holds a queue of this one's target chain (work of this queue, of a
  // queue it targets, or of another queue sharing a serial target): that
  // would deadlock. Also stops it when the main thread (the thread that last
  // ran the main queue; before anyone has, the process's first thread) syncs
  // onto the main queue, or onto a queue targeting it, while nobody runs the
  // main queue: that would wait forever. Other threads wait for the host.
  template <class F>
  auto sync(F&& work) const -> std::invoke_result_t<F&> {
    using R = std::invoke_result_t<F&>;
    if constexpr (std::is_void_v<R>) {
      syncInvoke(&callVoid<F>, const_cast<void*>(static_cast<const void*>(&work)));
    } else if constexpr (std::is_reference_v<R>) {
      std::remove_reference_t<R>* result = nullptr;
      auto produce = [&] { result = &work(); };
      syncInvoke(&callVoid<decltype(produce)>, &produce);
      return static_cast<R>(*result);
    } else {
      std::optional<R> result;
      auto produce = [&] { result.emplace(work()); };
      syncInvoke(&callVoid<decltype(produce)>, &produce);
      return std::move(*result);
    }
  }

  // Submits `work` to run once `deadline` has passed on the dispatch clock (at
  // once when it already has; never for `DispatchTime::distantFuture()`).
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
  // them holds the key. (The platform's static `getSpecific(key:)`; C++ cannot
  // have a static and a member function of one name and parameter list.)
  template <class T>
  static std::optional<T> currentSpecific(const DispatchSpecificKey<T>& key) {
    auto raw = currentSpecificRaw(key.id());
    if (!raw) return std::nullopt;
    return *static_cast<const T*>(raw.get());
  }

  friend const std::shared_ptr<detail::QueueImpl>& detail::queueImpl(
      const DispatchQueue& queue) noexcept;
  friend bool operator==(const DispatchQueue& a, const DispatchQueue& b) noexcept {
    return a.impl_ == b.impl_;
  }

 private:
  explicit DispatchQueue(std::shared_ptr<detail::QueueImpl> impl) noexcept
      : impl_(std::move(impl)) {}
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

}  // namespace zorlan
