// CompositeDisposable and SerialDisposable: disposables that hold others.
#pragma once

#include <atomic>
#include <mutex>
#include <vector>

#include "zorlan/Rx/Disposable.hpp"

namespace zorlan::rx {

// Disposes every disposable it holds when disposed; a disposable added after
// that is disposed at once. Thread-safe.
class CompositeDisposable final : public DisposableBase {
 public:
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

// Holds one disposable at a time: setting a new one disposes the previous;
// once disposed, whatever is set is disposed at once. Thread-safe.
class SerialDisposable final : public DisposableBase {
 public:
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
