// DispatchWorkItem: a block of work that can be cancelled before it runs.
#pragma once

#include <atomic>
#include <functional>
#include <memory>

namespace zorlan {

// A shared handle to one block of work. Copies refer to the same item.
// Cancelling keeps the block from starting (a running block finishes).
// Thread-safe.
class DispatchWorkItem {
 public:
  explicit DispatchWorkItem(std::function<void()> block)
      : state_(std::make_shared<State>(std::move(block))) {}

  // Runs the block on the calling thread unless the item was cancelled.
  void perform() const {
    if (!state_->cancelled.load(std::memory_order_acquire)) state_->block();
  }
  void cancel() const noexcept { state_->cancelled.store(true, std::memory_order_release); }
  bool isCancelled() const noexcept { return state_->cancelled.load(std::memory_order_acquire); }

  friend bool operator==(const DispatchWorkItem& a, const DispatchWorkItem& b) noexcept {
    return a.state_ == b.state_;
  }

 private:
  struct State {
    explicit State(std::function<void()> b) : block(std::move(b)) {}
    std::function<void()> block;
    std::atomic<bool> cancelled{false};
  };
  std::shared_ptr<State> state_;
};

}  // namespace zorlan
