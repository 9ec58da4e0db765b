// LoadingState: a value that is either loaded (with its payload) or not yet
// loaded.
#pragma once

#include <concepts>
#include <optional>
#include <utility>

namespace zorlan {

// Two cases, in this order: `loaded` (a payload of type T) and `unloaded` (no
// payload). A default-constructed state is `unloaded`. A plain value: copying
// copies the payload; thread-safe as any value.
template <class T>
class LoadingState {
 public:
  enum class Case { loaded, unloaded };

  // The `unloaded` state.
  LoadingState() = default;

  // The `loaded` state holding `payload`.
  static LoadingState loaded(T payload) {
    LoadingState state;
    state.payload_.emplace(std::move(payload));
    return state;
  }
  // The `unloaded` state.
  static LoadingState unloaded() { return LoadingState(); }

  // Which case this is.
  Case which() const noexcept { return payload_ ? Case::loaded : Case::unloaded; }
  // True exactly for `loaded`.
  bool isLoaded() const noexcept { return payload_.has_value(); }
  // The payload of `loaded`; absent for `unloaded`.
  const std::optional<T>& value() const& noexcept { return payload_; }
  std::optional<T> value() && { return std::move(payload_); }

  // Same case, and equal payloads when both are `loaded`.
  friend bool operator==(const LoadingState& a,
                         const LoadingState& b) requires std::equality_comparable<T> {
    return a.payload_ == b.payload_;
  }

 private:
  std::optional<T> payload_;
};

}  // namespace zorlan
