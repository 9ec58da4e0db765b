#include "zorlan/StateMachine/Transition.hpp"

#include <stdexcept>
#include <string>
#include <utility>

namespace zorlan {

BaseTransition::~BaseTransition() = default;

namespace detail {
void throwMissingTarget(const char* kind) {
  throw std::invalid_argument(std::string(kind) + " needs a target state (toState is null)");
}
}  // namespace detail

StateTransition::StateTransition(States fromStates, std::shared_ptr<StateMachineState> toState)
    : BaseTransition(std::move(fromStates)), toState_(std::move(toState)) {
  if (!toState_) detail::throwMissingTarget("StateTransition");
}

std::shared_ptr<StateTransition> makeTransition(BaseTransition::States fromStates,
                                                std::shared_ptr<StateMachineState> toState) {
  return std::make_shared<StateTransition>(std::move(fromStates), std::move(toState));
}

}  // namespace zorlan
