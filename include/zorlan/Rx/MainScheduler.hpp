// MainScheduler: the scheduler of the main queue.
#pragma once

#include <atomic>
#include <functional>
#include <memory>

#include "zorlan/Rx/SerialDispatchQueueScheduler.hpp"

namespace zorlan::rx {

// Runs actions on the main queue, which runs only while the host runs it
// (`MainRunLoop`). `schedule` runs the action at once, on the caller's stack,
// when the caller is already on the main queue and no action of this
// scheduler is still waiting to run (so nested and queued actions keep their
// order); otherwise it submits it to the main queue. Delayed and periodic
// actions always go through the main queue. Thread-safe.
class MainScheduler : public SerialDispatchQueueScheduler {
 public:
  // A scheduler of its own over the main queue (its inline-or-queue decision
  // counts only its own waiting actions).
  MainScheduler();

  // The shared instance. Never null; lives for the whole process.
  static std::shared_ptr<MainScheduler> instance();
  // A shared scheduler that always submits to the main queue, even when
  // called from it. Never null; lives for the whole process.
  static std::shared_ptr<SerialDispatchQueueScheduler> asyncInstance();
  // True when the caller runs on the main queue (not merely on the thread
  // that runs it, for example inside a `sync` onto another queue).
  static bool isOnMainQueue();

  Disposable schedule(std::function<Disposable()> action) override;

 private:
  std::shared_ptr<std::atomic<int>> enqueued_ = std::make_shared<std::atomic<int>>(0);
};

}  // namespace zorlan::rx
