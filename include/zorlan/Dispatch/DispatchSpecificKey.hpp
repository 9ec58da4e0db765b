// DispatchSpecificKey: a typed key for data attached to dispatch queues.
#pragma once

#include <atomic>
#include <cstdint>

namespace zorlan {

// Identifies one kind of queue-specific value of type T. Every key is
// distinct (compared by a process-unique id, not by address), so a key made
// later never sees values stored under an earlier one.
template <class T>
class DispatchSpecificKey {
 public:
  DispatchSpecificKey() noexcept : id_(nextId()) {}
  std::uint64_t id() const noexcept { return id_; }

 private:
  static std::uint64_t nextId() noexcept {
    static std::atomic<std::uint64_t> counter{0};
    return counter.fetch_add(1, std::memory_order_relaxed) + 1;
  }
  std::uint64_t id_;
};

}  // namespace zorlan
