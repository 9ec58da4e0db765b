// MainScheduler: the scheduler of the main queue.
#pragma once

#include <atomic>
#include <memory>

#include "zorlan/Rx/SerialDispatchQueueScheduler.hpp"

namespace zorlan::rx {

// Runs actions on the main queue. `schedule` runs the action at once when the
// caller is already on the main queue and no action of this scheduler is
// waiting (so nested calls still queue up in order); otherwise it submits it.
class MainScheduler : public SerialDispatchQueueScheduler {
 public:
  MainScheduler();

  // The shared instance.
  static std::shared_ptr<MainScheduler> instance();
  // A shared scheduler that always defers to the main queue, even from it.
  static std::shared_ptr<SerialDispatchQueueScheduler> asyncInstance();
  // True when the caller runs on the main queue (not merely on the thread
  // that runs it).
  static bool isOnMainQueue();

  Disposable schedule(std::function<Disposable()> action) override;

 private:
  std::shared_ptr<std::atomic<int>> enqueued_ = std::make_shared<std::atomic<int>>(0);
};

}  // namespace zorlan::rx
