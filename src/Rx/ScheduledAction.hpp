// One scheduled action: cancellable before it runs; once it has run,
// disposing it disposes what the action returned.
#pragma once

#include <functional>
#include <mutex>
#include <utility>

#include "zorlan/Rx/Disposable.hpp"

namespace zorlan::rx::detail {

class ScheduledAction : public DisposableBase {
 public:
  explicit ScheduledAction(std::function<Disposable()> action) : action_(std::move(action)) {}

  void dispose() override {
    Disposable produced;
    {
      std::lock_guard lock(mutex_);
      if (disposed_) return;
      disposed_ = true;
      action_ = nullptr;
      produced = std::exchange(produced_, Disposable());
    }
    produced.dispose();
  }
  bool isDisposed() const override {
    std::lock_guard lock(mutex_);
    return disposed_;
  }
  // Runs the action unless disposed; keeps its result for disposal.
  void run() {
    std::function<Disposable()> action;
    {
      std::lock_guard lock(mutex_);
      if (disposed_ || !action_) return;
      action = std::exchange(action_, nullptr);
    }
    Disposable produced = action();
    {
      std::lock_guard lock(mutex_);
      if (!disposed_) {
        produced_ = std::move(produced);
        return;
      }
    }
    produced.dispose();
  }

 private:
  mutable std::mutex mutex_;
  bool disposed_ = false;
  std::function<Disposable()> action_;
  Disposable produced_;
};

}  // namespace zorlan::rx::detail
