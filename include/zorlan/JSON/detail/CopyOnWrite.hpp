// CopyOnWrite: a payload shared between copies until one of them writes.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

namespace zorlan::detail {

// Holds a `Payload` behind a reference count: copying shares it, `write()`
// gives the holder its own copy first when it is shared. An empty payload
// takes no allocation. Copies may be used and destroyed on different threads
// (the count is atomic); one holder is not thread-safe to write while it is
// read, like any value. `Payload` may be incomplete where this is declared.
//
// The holder that ends the last share calls `DestroyLast()(node)` with the
// node, when given, to destroy it instead of deleting it (trees of holders
// use it to take themselves apart without recursion; see takeLast).
template <class Payload, class DestroyLast = void>
class CopyOnWrite {
 public:
  CopyOnWrite() noexcept = default;
  explicit CopyOnWrite(Payload payload)
      : node_(payload.empty() ? nullptr : new Node{{1}, std::move(payload)}) {}
  CopyOnWrite(const CopyOnWrite& other) noexcept : node_(other.node_) {
    if (node_) node_->refs.fetch_add(1, std::memory_order_relaxed);
  }
  CopyOnWrite(CopyOnWrite&& other) noexcept : node_(std::exchange(other.node_, nullptr)) {}
  CopyOnWrite& operator=(const CopyOnWrite& other) noexcept {
    CopyOnWrite(other).swap(*this);
    return *this;
  }
  CopyOnWrite& operator=(CopyOnWrite&& other) noexcept {
    CopyOnWrite(std::move(other)).swap(*this);
    return *this;
  }
  ~CopyOnWrite() { release(); }

  void swap(CopyOnWrite& other) noexcept { std::swap(node_, other.node_); }

  const Payload& read() const noexcept { return node_ ? node_->payload : empty(); }

  // The payload for writing, unshared first (a copy of it when other holders
  // share it). Invalidates references from earlier `read()` calls on this
  // holder only when it copies.
  Payload& write() {
    if (!node_) {
      node_ = new Node{{1}, Payload()};
    } else if (node_->refs.load(std::memory_order_acquire) != 1) {
      Node* own = new Node{{1}, node_->payload};
      release();
      node_ = own;
    }
    return node_->payload;
  }

  // Whether both hold the very same payload (then they are equal).
  bool sharesWith(const CopyOnWrite& other) const noexcept {
    return node_ == other.node_ && node_ != nullptr;
  }

  // Taking trees apart without recursion, for payloads that hold further
  // holders: `takeLast` ends this holder's share like destruction does, but
  // when it was the last share the payload is not destroyed: its node is
  // returned (null otherwise). The owner of a node (from here or given to
  // DestroyLast) may keep it on a list through `link` / `setLink` (a taken
  // node's count is free for that), take its payload's own holders, then
  // `destroy` it.
  struct Node {
    std::atomic<std::uintptr_t> refs;
    Payload payload;
  };
  Node* takeLast() noexcept {
    Node* node = std::exchange(node_, nullptr);
    return node && node->refs.fetch_sub(1, std::memory_order_acq_rel) == 1 ? node : nullptr;
  }
  static Payload& payload(Node* node) noexcept { return node->payload; }
  static std::uintptr_t link(const Node* node) noexcept {
    return node->refs.load(std::memory_order_relaxed);
  }
  static void setLink(Node* node, std::uintptr_t link) noexcept {
    node->refs.store(link, std::memory_order_relaxed);
  }
  static void destroy(Node* node) noexcept { delete node; }

 private:
  static const Payload& empty() noexcept {
    static const Payload kEmpty{};
    return kEmpty;
  }

  void release() noexcept {
    if (node_ && node_->refs.fetch_sub(1, std::memory_order_acq_rel) == 1) {
      if constexpr (std::is_void_v<DestroyLast>) {
        delete node_;
      } else {
        DestroyLast()(node_);
      }
    }
    node_ = nullptr;
  }

  Node* node_ = nullptr;
};

}  // namespace zorlan::detail
