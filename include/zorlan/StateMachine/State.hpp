// States of a `StateMachine`: objects with identity, each telling through its
// own live flag whether it is the machine's current state.
//
// A state is always held by `std::shared_ptr` (make it with
// `std::make_shared`); machines and transitions hold states strongly, a state
// holds its machine only weakly. States are compared by identity, never by
// name: two states of the same name are two states.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <variant>

#include "zorlan/Rx/DisposeBag.hpp"
#include "zorlan/Rx/Observable.hpp"
#include "zorlan/Rx/Subjects.hpp"
#include "zorlan/Scheduling/BehaviorReader.hpp"

namespace zorlan {

class StateMachine;

// The base of every state: a name, the live flag `isCurrentState`, a weak
// reference to the machine that last entered it, and a dispose bag for
// subclasses. There is deliberately no default constructor (a state is always
// built from a name, which may be absent).
//
// Not copyable or movable (a state is its identity). The name and the dispose
// bag are not synchronised: use them from the thread that drives the machine.
// The flag may be read and observed from any thread.
class BaseState {
 public:
  // A state named `name`, or "unknown" when `name` is absent. Its flag starts
  // false and it belongs to no machine.
  explicit BaseState(std::optional<std::string> name);
  BaseState() = delete;
  BaseState(const BaseState&) = delete;
  BaseState& operator=(const BaseState&) = delete;
  virtual ~BaseState();

  // The state's name, for people (logs, drawings); never used to compare.
  const std::string& name() const noexcept { return name_; }
  // Renames the state; any text, the empty one included.
  void setName(std::string name) { name_ = std::move(name); }

  // True while this state is the current state of the machine that entered
  // it. Written only by machines; every state a machine accepts into it is
  // delivered, repeats included (a self-transition emits true again).
  const BehaviorReader<bool>& isCurrentState() const noexcept { return isCurrent_; }

  // The machine that last entered this state by a forward move (or was built
  // with it as its initial state); empty before that and once that machine is
  // gone. Never owning.
  const std::weak_ptr<StateMachine>& stateMachine() const noexcept { return machine_; }

  // A bag for subclasses' subscriptions, disposed with the state. Fresh and
  // empty at construction; may be replaced (`disposeBag() = rx::DisposeBag()`).
  rx::DisposeBag& disposeBag() noexcept { return disposeBag_; }

  // The state's reactive views. They hold the flag, not the state: a
  // subscription kept in the state's own dispose bag does not keep the state
  // alive.
  class Reactive {
   public:
    // The flag: its present value at once, then every value the machine
    // accepts. Elements arrive on the thread that drives the machine.
    rx::Observable<bool> isCurrentState() const { return flag_.asObservable(); }
    // One empty event each time the flag receives true (at once when the
    // state is current as the subscription starts).
    rx::Observable<std::monostate> becameCurrentState() const;

   private:
    friend class BaseState;
    explicit Reactive(rx::BehaviorRelay<bool> flag) : flag_(std::move(flag)) {}
    rx::BehaviorRelay<bool> flag_;
  };
  // The views above, for `state->rx().becameCurrentState()`. Cheap (one
  // handle copy); thread-safe.
  Reactive rx() const { return Reactive(isCurrentRelay_); }

 private:
  friend class StateMachine;

  std::string name_;
  rx::BehaviorRelay<bool> isCurrentRelay_{false};  // the machine's side of isCurrent_
  BehaviorReader<bool> isCurrent_{isCurrentRelay_};
  std::weak_ptr<StateMachine> machine_;
  const StateMachine* enteredBy_ = nullptr;  // machine_'s object, to skip rewriting it
  rx::DisposeBag disposeBag_;
};

// A state that plain transitions (`StateTransition`) lead to. No fields of its
// own; subclass it for app-specific states.
class StateMachineState : public BaseState {
 public:
  // A state named `name`, or "unknown" when absent.
  explicit StateMachineState(std::optional<std::string> name) : BaseState(std::move(name)) {}
};

// A state entered with a value: a `PayloadTransition<Payload>` leads to it and
// hands it the payload, which the state keeps until the next payload
// transition into it.
template <class Payload>
class PayloadState : public BaseState {
 public:
  // A state named `name`, or "unknown" when absent; its payload starts absent.
  explicit PayloadState(std::optional<std::string> name) : BaseState(std::move(name)) {}

  // The payload of the last payload transition into this state; absent
  // before the first. Written only by machines, and always before the machine
  // announces the state as current, so observers of the machine read the new
  // payload here. Readable and observable from any thread.
  const BehaviorReader<std::optional<Payload>>& payload() const noexcept { return payload_; }

 private:
  friend class StateMachine;

  rx::BehaviorRelay<std::optional<Payload>> payloadRelay_{std::nullopt};
  BehaviorReader<std::optional<Payload>> payload_{payloadRelay_};
};

}  // namespace zorlan
