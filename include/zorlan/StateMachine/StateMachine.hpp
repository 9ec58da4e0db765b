// StateMachine: a small, observable state machine for application flows.
//
//   auto idle = std::make_shared<StateMachineState>("idle");
//   auto playing = std::make_shared<PayloadState<std::string>>("playing");
//   auto play = makeTransition({idle}, playing);
//   auto machine = StateMachine::make(idle);
//   machine->rx().stateChanged()
//       .drive([](const StateMachine::Change& c) { show(c.current->name()); })
//       .disposed(bag);
//   machine->trigger(play, "https://cdn/a.m3u8");  // true: playing is current
//   machine->toPreviousState();                    // true: back to idle
//
// The machine is always in exactly one state. It moves forward only through
// `trigger`, remembering each state it leaves, and steps back through
// `toPreviousState`. Each move writes the machine's current-state relay and
// the states' flags (`BaseState::isCurrentState`) in a fixed order, given at
// each operation, that observers may rely on. A transition whose start states
// do not include the current state is refused quietly: false, and nothing
// changes or is emitted anywhere.
#pragma once

#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>
#include <vector>

#include "zorlan/Rx/Driver.hpp"
#include "zorlan/Rx/Observable.hpp"
#include "zorlan/Rx/Subjects.hpp"
#include "zorlan/StateMachine/State.hpp"
#include "zorlan/StateMachine/Transition.hpp"
#include "zorlan/Values/Stack.hpp"

namespace zorlan {

// A machine over `BaseState`s, compared by identity. Made only through
// `make` and held by `std::shared_ptr`: it owns its current state (through
// its current-state relay) and its history; states refer back to it weakly,
// so a machine is freed when its last owner lets go, whatever its states and
// views are still doing.
//
// Threads: drive a machine (`trigger`, `toPreviousState`) from one thread,
// the main thread in practice; relays deliver synchronously on that thread,
// inside the call. `currentState()` and the views may be used from any
// thread. The caller keeps the machine alive for the duration of a call.
//
// Moves asked for from inside an observer while a move of this machine is
// notifying (a flow that advances itself) are queued and run, in order, right
// after that move's last step and before the outermost call returns; each
// returns whether it will move, judged on the state the moves before it lead
// to. So every move's steps run together and each state's flag ends up true
// exactly when it is current.
//
// An observer that throws is unsubscribed by its relay as usual; the move
// still completes every step, then the first such exception leaves the call.
class StateMachine final : public std::enable_shared_from_this<StateMachine> {
  struct Key {
    explicit Key() = default;
  };

 public:
  // What `rx().stateChanged()` emits: the state on top of the history when
  // the machine announced `current` (null when the history was empty), and
  // the state it announced. Equal when the same objects.
  struct Change {
    std::shared_ptr<BaseState> previous;
    std::shared_ptr<BaseState> current;
    friend bool operator==(const Change&, const Change&) = default;
  };

  // A machine in `initialState`: the history is empty, the state becomes
  // current, its `stateMachine()` names the new machine and its flag receives
  // true. Throws std::invalid_argument when `initialState` is null.
  static std::shared_ptr<StateMachine> make(std::shared_ptr<BaseState> initialState);

  // For `make` only (the key is private).
  StateMachine(Key, std::shared_ptr<BaseState> initialState);
  StateMachine() = delete;
  StateMachine(const StateMachine&) = delete;
  StateMachine& operator=(const StateMachine&) = delete;
  ~StateMachine();

  // The present state; never null. Thread-safe (read from the relay).
  std::shared_ptr<BaseState> currentState() const { return currentRelay_.value(); }

  // The states left by forward moves, newest on top; unbounded. A view into
  // the machine, valid until its next move: copy it to keep it.
  const Stack<std::shared_ptr<BaseState>>& previousStates() const noexcept { return history_; }

  // Whether `transition` may fire now: false when it is null or has no start
  // states; otherwise true when one of its start states is the current state
  // (the same object). O(number of start states); changes nothing.
  bool canTrigger(const std::shared_ptr<StateTransition>& transition) const noexcept {
    return transition && startsFrom(*transition);
  }
  template <class Payload>
  bool canTrigger(const std::shared_ptr<PayloadTransition<Payload>>& transition) const noexcept {
    return transition && startsFrom(*transition);
  }

  // Moves to `transition->toState()` when `canTrigger(transition)`; returns
  // whether it moved (false: nothing is written or emitted). In this order:
  //  1. the target's `stateMachine()` becomes this machine;
  //  2. the state left is pushed onto the history;
  //  3. the current-state relay receives the target (observers of
  //     `rx().currentState()` and `rx().stateChanged()` run now);
  //  4. the left state's flag receives false, unless it is the target;
  //  5. the target's flag receives true (also on a move from a state to
  //     itself, which pushes that state onto the history once more).
  bool trigger(const std::shared_ptr<StateTransition>& transition);

  // Moves to `transition->toState()` handing it `payload`, when
  // `canTrigger(transition)`; returns whether it moved. The order differs
  // from the plain trigger's (observers rely on both):
  //  1. the target's `payload()` receives `payload`;
  //  2. the target's `stateMachine()` becomes this machine;
  //  3. the current-state relay receives the target; the history is not yet
  //     pushed, so `stateChanged` pairs the target with the state that was on
  //     top of the history before this move (null if none);
  //  4. the left state's flag receives false, without comparing: on a move
  //     from a payload state to itself its flag goes false, then true again;
  //  5. the state left is pushed onto the history;
  //  6. the target's flag receives true.
  template <class Payload>
  bool trigger(const std::shared_ptr<PayloadTransition<Payload>>& transition,
               std::type_identity_t<Payload> payload);

  // Steps back to the newest state of the history; false when the history is
  // empty (nothing is emitted). In this order: the history's top is popped;
  // the current state's flag receives false; the current-state relay receives
  // the popped state (`stateChanged` pairs it with the new top); the popped
  // state's flag receives true. The state left is not recorded (there is no
  // forward history) and the popped state's `stateMachine()` is not touched.
  bool toPreviousState();

  // The machine's reactive views. They hold the machine weakly and its
  // current-state relay strongly: a subscription keeps the current state
  // alive, never the machine.
  class Reactive {
   public:
    // The current-state relay: the present state at once, then every state
    // it receives (repeats included), on the thread that drives the machine.
    rx::Observable<std::shared_ptr<BaseState>> currentState() const {
      return relay_.asObservable();
    }
    // For every state the relay emits (the present one at subscription
    // included), the top of the history at that moment (null when empty or
    // when the machine is gone) paired with the state. Never fails; delivered
    // on the main scheduler; shared as a driver (the latest pair replayed).
    rx::Driver<Change> stateChanged() const;

   private:
    friend class StateMachine;
    Reactive(std::weak_ptr<const StateMachine> machine,
             rx::BehaviorRelay<std::shared_ptr<BaseState>> relay)
        : machine_(std::move(machine)), relay_(std::move(relay)) {}
    std::weak_ptr<const StateMachine> machine_;
    rx::BehaviorRelay<std::shared_ptr<BaseState>> relay_;
  };
  // The views above, for `machine->rx().stateChanged()`. Cheap (two handle
  // copies); thread-safe.
  Reactive rx() const { return Reactive(weak_from_this(), currentRelay_); }

 private:
  // Start-state test against the current state, or against `current`.
  bool startsFrom(const BaseTransition& transition) const noexcept {
    return startsFrom(transition, current_.get());
  }
  static bool startsFrom(const BaseTransition& transition, const BaseState* current) noexcept {
    for (const auto& state : transition.fromStates()) {
      if (state.get() == current) return true;
    }
    return false;
  }

  // Marks `state` as entered by this machine.
  void enter(BaseState& state) noexcept;
  // Accepts `value` into `relay`; an observer's exception is kept for the end
  // of the move (the first one wins).
  template <class T>
  void send(const rx::BehaviorRelay<T>& relay, const T& value) noexcept {
    try {
      relay.accept(value);
    } catch (...) {
      if (!failure_) failure_ = std::current_exception();
    }
  }

  // A move's bracket: `begin` marks the move running (`landing`: where it
  // leads; `unpushed`: the state it leaves, while not yet on the history);
  // `finish` runs the queued moves, ends the move and rethrows an observer's
  // exception. `abandon` ends it after an exception of the machine's own.
  void begin(const BaseState* landing, const BaseState* unpushed) noexcept {
    moving_ = true;
    landing_ = landing;
    unpushed_ = unpushed;
  }
  void finish() {
    if (queued_.empty() && !failure_) {
      moving_ = false;
      unpushed_ = nullptr;
      return;
    }
    finishQueued();
  }
  void finishQueued();
  void abandon() noexcept;
  // Queues a move asked for while another runs; false when, judged on where
  // the moves before it lead, it would be refused.
  bool queueForward(const BaseTransition& transition, const BaseState* target,
                    std::function<void()> run);
  bool queueBack();
  // Fills `projected_` from the running move when nothing is queued yet.
  void project();

  void runPlain(const StateTransition& transition);
  template <class Payload>
  void runPayload(const PayloadTransition<Payload>& transition, Payload payload);
  void runBack();

  // The current state, mirrored from the relay for the start-state test.
  std::shared_ptr<BaseState> current_;
  rx::BehaviorRelay<std::shared_ptr<BaseState>> currentRelay_;
  Stack<std::shared_ptr<BaseState>> history_;

  bool moving_ = false;
  const BaseState* landing_ = nullptr;
  const BaseState* unpushed_ = nullptr;
  std::vector<std::function<void()>> queued_;
  // While moves are queued: the history after them, then the state they
  // lead to (identities only).
  std::vector<const BaseState*> projected_;
  std::exception_ptr failure_;
};

// ----- template definitions -----

template <class Payload>
bool StateMachine::trigger(const std::shared_ptr<PayloadTransition<Payload>>& transition,
                           std::type_identity_t<Payload> payload) {
  if (!transition) return false;
  if (moving_) {
    return queueForward(*transition, transition->toState().get(),
                        [this, transition, payload = std::move(payload)]() mutable {
                          if (startsFrom(*transition)) runPayload(*transition, std::move(payload));
                        });
  }
  if (!startsFrom(*transition)) return false;
  begin(transition->toState().get(), current_.get());
  try {
    runPayload(*transition, std::move(payload));
  } catch (...) {
    abandon();
    throw;
  }
  finish();
  return true;
}

template <class Payload>
void StateMachine::runPayload(const PayloadTransition<Payload>& transition, Payload payload) {
  const std::shared_ptr<PayloadState<Payload>>& target = transition.toState();
  send(target->payloadRelay_, std::optional<Payload>(std::move(payload)));
  enter(*target);
  std::shared_ptr<BaseState> previous = std::exchange(current_, target);
  send(currentRelay_, current_);
  send(previous->isCurrentRelay_, false);
  history_.push(std::move(previous));
  unpushed_ = nullptr;
  send(target->isCurrentRelay_, true);
}

}  // namespace zorlan
