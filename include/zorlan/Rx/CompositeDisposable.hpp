// CompositeDisposable: a disposable that disposes a group of others.
#pragma once

#include <mutex>
#include <utility>
#include <vector>

#include "zorlan/Rx/Disposable.hpp"

namespace zorlan::rx {

// Disposes every disposable it holds when disposed; a disposable added after
// that is disposed at once. Thread-safe.
class CompositeDisposable final : public DisposableBase {
 public:
  // Adds `disposable` to the group, or disposes it at once when the group
  // has been disposed.
  void add(Disposable disposable) {
    {
      std::lock_guard lock(mutex_);
      if (!disposed_) {
        items_.push_back(std::move(disposable));
        return;
      }
    }
    disposable.dispose();
  }
  void dispose() override {
    std::vector<Disposable> items;
    {
      std::lock_guard lock(mutex_);
      if (disposed_) return;
      disposed_ = true;
      items.swap(items_);
    }
    for (const Disposable& d : items) d.dispose();
  }
  bool isDisposed() const override {
    std::lock_guard lock(mutex_);
    return disposed_;
  }

 private:
  mutable std::mutex mutex_;
  bool disposed_ = false;
  std::vector<Disposable> items_;
};

}  // namespace zorlan::rx
