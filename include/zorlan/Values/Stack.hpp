// Stack: a last-in-first-out container whose items are open to read.
#pragma once

#include <optional>
#include <utility>
#include <vector>

namespace zorlan {

// A value holding `items`, whose last element is the top of the stack. A new
// stack is empty. Popping or peeking an empty stack gives absent, never an
// error. Push and pop are amortised O(1). A plain value: thread-safe as any
// value (concurrent mutation needs outside synchronisation).
template <class T>
struct Stack {
  // Bottom first, top last.
  std::vector<T> items;

  // True when there are no items.
  bool isEmpty() const noexcept { return items.empty(); }

  // Puts `item` on top.
  void push(T item) { items.push_back(std::move(item)); }

  // Removes and returns the top item; absent when empty.
  std::optional<T> pop() {
    if (items.empty()) return std::nullopt;
    std::optional<T> top(std::move(items.back()));
    items.pop_back();
    return top;
  }

  // The top item, left in place; absent when empty.
  std::optional<T> peek() const {
    if (items.empty()) return std::nullopt;
    return items.back();
  }

  // Equal items in the same order.
  friend bool operator==(const Stack&, const Stack&) = default;
};

}  // namespace zorlan
