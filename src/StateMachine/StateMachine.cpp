#include "zorlan/StateMachine/StateMachine.hpp"

#include <stdexcept>
#include <utility>

namespace zorlan {

std::shared_ptr<StateMachine> StateMachine::make(std::shared_ptr<BaseState> initialState) {
  if (!initialState) throw std::invalid_argument("StateMachine needs an initial state (null)");
  auto machine = std::make_shared<StateMachine>(Key(), initialState);
  machine->enter(*initialState);
  initialState->isCurrentRelay_.accept(true);
  return machine;
}

StateMachine::StateMachine(Key, std::shared_ptr<BaseState> initialState)
    : current_(initialState), currentRelay_(std::move(initialState)) {}

StateMachine::~StateMachine() = default;

void StateMachine::enter(BaseState& state) noexcept {
  // Re-entering a state of this machine (the usual case) leaves the weak
  // reference as it is: no reference-count traffic.
  if (state.enteredBy_ == this && !state.machine_.expired()) return;
  state.machine_ = weak_from_this();
  state.enteredBy_ = this;
}

bool StateMachine::trigger(const std::shared_ptr<StateTransition>& transition) {
  if (!transition) return false;
  if (moving_) {
    return queueForward(*transition, transition->toState().get(), [this, transition] {
      if (startsFrom(*transition)) runPlain(*transition);
    });
  }
  if (!startsFrom(*transition)) return false;
  begin(transition->toState().get(), nullptr);
  try {
    runPlain(*transition);
  } catch (...) {
    abandon();
    throw;
  }
  finish();
  return true;
}

void StateMachine::runPlain(const StateTransition& transition) {
  const std::shared_ptr<StateMachineState>& target = transition.toState();
  enter(*target);
  // The state left stays alive on the history for the rest of the move.
  BaseState* previous = current_.get();
  history_.push(std::exchange(current_, target));
  send(currentRelay_, current_);
  if (previous != target.get()) send(previous->isCurrentRelay_, false);
  send(target->isCurrentRelay_, true);
}

bool StateMachine::toPreviousState() {
  if (moving_) return queueBack();
  if (history_.isEmpty()) return false;
  begin(history_.items.back().get(), nullptr);
  try {
    runBack();
  } catch (...) {
    abandon();
    throw;
  }
  finish();
  return true;
}

void StateMachine::runBack() {
  std::optional<std::shared_ptr<BaseState>> back = history_.pop();
  if (!back) return;
  // The state left stays alive until the end of the step.
  std::shared_ptr<BaseState> left = std::exchange(current_, *back);
  send(left->isCurrentRelay_, false);
  send(currentRelay_, current_);
  send((*back)->isCurrentRelay_, true);
}

void StateMachine::project() {
  if (!projected_.empty()) return;  // already the outcome of every queued move
  projected_.reserve(history_.items.size() + 2);
  for (const auto& state : history_.items) projected_.push_back(state.get());
  if (unpushed_) projected_.push_back(unpushed_);
  projected_.push_back(landing_);
}

bool StateMachine::queueForward(const BaseTransition& transition, const BaseState* target,
                                std::function<void()> run) {
  project();
  if (!startsFrom(transition, projected_.back())) return false;
  projected_.push_back(target);
  queued_.push_back(std::move(run));
  return true;
}

bool StateMachine::queueBack() {
  project();
  if (projected_.size() < 2) return false;
  projected_.pop_back();
  queued_.push_back([this] { runBack(); });
  return true;
}

void StateMachine::finishQueued() {
  // Moves queued by observers of a queued move join the end of the line.
  for (std::size_t i = 0; i < queued_.size(); ++i) {
    std::function<void()> run = std::move(queued_[i]);
    try {
      run();
    } catch (...) {
      abandon();
      throw;
    }
  }
  queued_.clear();
  projected_.clear();
  moving_ = false;
  unpushed_ = nullptr;
  if (failure_) std::rethrow_exception(std::exchange(failure_, nullptr));
}

void StateMachine::abandon() noexcept {
  queued_.clear();
  projected_.clear();
  moving_ = false;
  unpushed_ = nullptr;
  failure_ = nullptr;
}

}  // namespace zorlan
