// SerialDisposable: a disposable slot holding one replaceable disposable.
#pragma once

#include <mutex>
#include <utility>

#include "zorlan/Rx/Disposable.hpp"

namespace zorlan::rx {

// Holds one disposable at a time: setting a new one disposes the previous;
// once disposed, whatever is set is disposed at once. Thread-safe.
class SerialDisposable final : public DisposableBase {
 public:
  // Puts `disposable` in the slot and disposes the one it replaces (outside
  // the lock).
  void set(Disposable disposable) {
    Disposable previous;
    {
      std::lock_guard lock(mutex_);
      if (!disposed_) {
        previous = std::exchange(current_, std::move(disposable));
      } else {
        previous = std::move(disposable);
      }
    }
    previous.dispose();
  }
  void dispose() override {
    Disposable current;
    {
      std::lock_guard lock(mutex_);
      if (disposed_) return;
      disposed_ = true;
      current = std::exchange(current_, Disposable());
    }
    current.dispose();
  }
  bool isDisposed() const override {
    std::lock_guard lock(mutex_);
    return disposed_;
  }

 private:
  mutable std::mutex mutex_;
  bool disposed_ = false;
  Disposable current_;
};

}  // namespace zorlan::rx
