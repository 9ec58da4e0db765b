#include "zorlan/StateMachine/State.hpp"

#include <utility>

namespace zorlan {

BaseState::BaseState(std::optional<std::string> name)
    : name_(name ? std::move(*name) : std::string("unknown")) {}

BaseState::~BaseState() = default;

rx::Observable<std::monostate> BaseState::Reactive::becameCurrentState() const {
  return flag_.asObservable().filter([](bool current) { return current; }).map([](bool) {
    return std::monostate();
  });
}

}  // namespace zorlan
