// A stop of the tour about application flows.
#include "zorlan/StateMachine/StateMachine.hpp"

#include <memory>
#include <optional>
#include <string>

#include "Tour.hpp"
#include "zorlan/Rx/DisposeBag.hpp"
#include "zorlan/StateMachine/StateMachineGraph.hpp"

namespace tour {

using namespace zorlan;

void playbackFlow() {
  heading("A playback flow as a state machine");
  auto idle = std::make_shared<StateMachineState>("idle");
  auto loading = std::make_shared<PayloadState<std::string>>("loading");
  auto playing = std::make_shared<StateMachineState>("playing");
  auto paused = std::make_shared<StateMachineState>("paused");
  auto load = makeTransition({idle}, loading);
  auto play = makeTransition({loading, paused}, playing);
  auto pause = makeTransition({playing}, paused);

  auto machine = StateMachine::make(idle);
  rx::DisposeBag bag;
  machine->rx()
      .currentState()
      .subscribe(
          [](const std::shared_ptr<BaseState>& s) { std::cout << "  " << s->name() << "\n"; })
      .disposed(bag);
  loading->payload()
      .asObservable()
      .subscribe([](const std::optional<std::string>& url) {
        if (url) std::cout << "  (loading " << *url << ")\n";
      })
      .disposed(bag);
  machine->trigger(load, "https://cdn.example/a.m3u8");
  machine->trigger(play);
  machine->trigger(pause);
  std::cout << "  pause while paused: " << (machine->trigger(pause) ? "moved" : "refused") << "\n";
  machine->toPreviousState();
  std::cout << "  as DOT:\n" << toDot(*machine, {load, play, pause});
}

}  // namespace tour
