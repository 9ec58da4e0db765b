// StateChange: a value tagged with who caused it, the user or the program.
// A vocabulary type for flows that must tell user-driven changes from
// programmatic ones; the state machine itself does not use it.
#pragma once

#include <utility>

namespace zorlan {

// One of two cases, each carrying a `T`: `userInitiated` or `programmatic`
// (in this order). A plain value: thread-safe as any value.
//
//   auto change = StateChange<int>::userInitiated(42);
//   if (change.isUserInitiated()) seekTo(change.value());
template <class T>
class StateChange {
 public:
  enum class Kind { userInitiated, programmatic };

  // The change made by the user, carrying `value`.
  static StateChange userInitiated(T value) {
    return StateChange(Kind::userInitiated, std::move(value));
  }
  // The change made by the program, carrying `value`.
  static StateChange programmatic(T value) {
    return StateChange(Kind::programmatic, std::move(value));
  }

  // Which case this is.
  Kind kind() const noexcept { return kind_; }
  // True for `userInitiated`, false otherwise.
  bool isUserInitiated() const noexcept { return kind_ == Kind::userInitiated; }
  // True for `programmatic`, false otherwise.
  bool isProgrammatic() const noexcept { return kind_ == Kind::programmatic; }
  // The carried value of either case.
  const T& value() const& noexcept { return value_; }
  T&& value() && noexcept { return std::move(value_); }

  // Same case and equal values (when `T` has `==`).
  friend bool operator==(const StateChange&, const StateChange&) = default;

 private:
  StateChange(Kind kind, T value) : kind_(kind), value_(std::move(value)) {}

  Kind kind_;
  T value_;
};

}  // namespace zorlan
