// Transitions of a `StateMachine`: which states a move may start from and the
// one state it leads to.
//
//   auto play = std::make_shared<StateTransition>(
//       std::vector<std::shared_ptr<BaseState>>{idle, paused}, playing);
//   auto load = makeTransition({idle}, loading);   // PayloadTransition<URL>
//
// Transitions are immutable once built and hold their states strongly; share
// them freely (`std::shared_ptr`) between threads and machines.
#pragma once

#include <memory>
#include <vector>

#include "zorlan/StateMachine/State.hpp"

namespace zorlan {

// The start states shared by every kind of transition.
class BaseTransition {
 public:
  using States = std::vector<std::shared_ptr<BaseState>>;

  virtual ~BaseTransition();
  BaseTransition(const BaseTransition&) = delete;
  BaseTransition& operator=(const BaseTransition&) = delete;

  // The states the transition may fire from, in the order given. Empty: the
  // transition never fires. Null entries never match.
  const States& fromStates() const noexcept { return fromStates_; }

  // The state the transition leads to (never null for the library's kinds).
  virtual std::shared_ptr<BaseState> destination() const = 0;

 protected:
  explicit BaseTransition(States fromStates) : fromStates_(std::move(fromStates)) {}

 private:
  const States fromStates_;
};

// A move to a plain state.
class StateTransition final : public BaseTransition {
 public:
  // From any of `fromStates` to `toState`. Throws std::invalid_argument when
  // `toState` is null.
  StateTransition(States fromStates, std::shared_ptr<StateMachineState> toState);
  // From `fromState` alone (a one-element start list) to `toState`.
  StateTransition(std::shared_ptr<BaseState> fromState, std::shared_ptr<StateMachineState> toState)
      : StateTransition(States{std::move(fromState)}, std::move(toState)) {}

  const std::shared_ptr<StateMachineState>& toState() const noexcept { return toState_; }
  std::shared_ptr<BaseState> destination() const override { return toState_; }

 private:
  const std::shared_ptr<StateMachineState> toState_;
};

namespace detail {
// Throws std::invalid_argument naming `kind` (a transition without target).
[[noreturn]] void throwMissingTarget(const char* kind);
}  // namespace detail

// A move to a `PayloadState<Payload>` that hands it a payload
// (`StateMachine::trigger(transition, payload)`).
template <class Payload>
class PayloadTransition final : public BaseTransition {
 public:
  // From any of `fromStates` to `toState`. Throws std::invalid_argument when
  // `toState` is null.
  PayloadTransition(States fromStates, std::shared_ptr<PayloadState<Payload>> toState)
      : BaseTransition(std::move(fromStates)), toState_(std::move(toState)) {
    if (!toState_) detail::throwMissingTarget("PayloadTransition");
  }
  // From `fromState` alone (a one-element start list) to `toState`.
  PayloadTransition(std::shared_ptr<BaseState> fromState,
                    std::shared_ptr<PayloadState<Payload>> toState)
      : PayloadTransition(States{std::move(fromState)}, std::move(toState)) {}

  const std::shared_ptr<PayloadState<Payload>>& toState() const noexcept { return toState_; }
  std::shared_ptr<BaseState> destination() const override { return toState_; }

 private:
  const std::shared_ptr<PayloadState<Payload>> toState_;
};

// Shorthands for `std::make_shared` of the two kinds, so that start lists can
// be written in braces: `makeTransition({idle, paused}, playing)`. Throw
// std::invalid_argument when `toState` is null.
std::shared_ptr<StateTransition> makeTransition(BaseTransition::States fromStates,
                                                std::shared_ptr<StateMachineState> toState);
template <class Payload>
std::shared_ptr<PayloadTransition<Payload>> makeTransition(
    BaseTransition::States fromStates, std::shared_ptr<PayloadState<Payload>> toState) {
  return std::make_shared<PayloadTransition<Payload>>(std::move(fromStates), std::move(toState));
}

}  // namespace zorlan
