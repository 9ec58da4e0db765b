// DispatchSpecificKey: a typed key for data attached to dispatch queues.
#pragma once

#include <cstdint>

namespace zorlan {

namespace detail {
// A process-unique, never reused key id (shared by keys of every type).
std::uint64_t nextSpecificKeyId() noexcept;
}  // namespace detail

// Identifies one kind of queue-specific value of type T. Every key is
// distinct, whatever its value type (compared by a process-unique id, not by
// address), so a key made later never sees values stored under another.
// Copies of a key are the same key. Thread-safe.
template <class T>
class DispatchSpecificKey {
 public:
  DispatchSpecificKey() noexcept : id_(detail::nextSpecificKeyId()) {}
  std::uint64_t id() const noexcept { return id_; }

 private:
  std::uint64_t id_;
};

}  // namespace zorlan
