// Disposable: a handle that releases a subscription or a scheduled action.
#pragma once

#include <functional>
#include <memory>

namespace zorlan::rx {

class DisposeBag;

// What every disposable resource implements. `dispose()` must be idempotent and
// thread-safe; `isDisposed()` reports whether it has run.
class DisposableBase {
 public:
  virtual ~DisposableBase() = default;
  virtual void dispose() = 0;
  virtual bool isDisposed() const = 0;
};

// A shared handle to a disposable resource. Copies refer to the same resource,
// so disposing any copy disposes it. A default-constructed handle is empty:
// disposing it does nothing and it never reports being disposed.
class Disposable {
 public:
  Disposable() noexcept = default;
  explicit Disposable(std::shared_ptr<DisposableBase> impl) noexcept : impl_(std::move(impl)) {}

  // An empty disposable (`Disposables.create()`).
  static Disposable create() noexcept { return Disposable(); }
  // A disposable that runs `onDispose` exactly once, on the first `dispose()`
  // from whichever thread calls it first.
  static Disposable create(std::function<void()> onDispose);

  // Releases the resource. Thread-safe; later calls do nothing.
  void dispose() const {
    if (impl_) impl_->dispose();
  }
  // True once `dispose()` has run on a non-empty handle.
  bool isDisposed() const { return impl_ && impl_->isDisposed(); }

  // Hands the resource to `bag`, which disposes it when the bag is destroyed or
  // replaced.
  void disposed(DisposeBag& bag) const;

  const std::shared_ptr<DisposableBase>& base() const noexcept { return impl_; }
  explicit operator bool() const noexcept { return static_cast<bool>(impl_); }

 private:
  std::shared_ptr<DisposableBase> impl_;
};

}  // namespace zorlan::rx
