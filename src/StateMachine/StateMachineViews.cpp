// The machine's reactive views, apart from the moves: the stateChanged
// pipeline instantiates much of the reactive core, and keeping it out of the
// moves' translation unit leaves the compiler room to inline the relay calls
// of `trigger`.
#include <memory>
#include <optional>
#include <utility>

#include "zorlan/Scheduling/RxOperators.hpp"
#include "zorlan/StateMachine/StateMachine.hpp"

namespace zorlan {

rx::Driver<StateMachine::Change> StateMachine::Reactive::stateChanged() const {
  std::weak_ptr<const StateMachine> weakMachine = machine_;
  rx::Observable<Change> pairs =
      relay_.asObservable().flatMap([weakMachine](const std::shared_ptr<BaseState>& state) {
        std::shared_ptr<BaseState> top;
        if (auto machine = weakMachine.lock(); machine && !machine->history_.isEmpty()) {
          top = machine->history_.items.back();
        }
        return rx::Driver<Change>::just(Change{std::move(top), state}).asObservable();
      });
  return unwrap(rx::asDriver(asOptional(pairs), std::optional<Change>()));
}

}  // namespace zorlan
