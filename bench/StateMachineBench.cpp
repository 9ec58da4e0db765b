// State machine: one plain trigger against the same work written by hand (the
// relay accepts and the history push a plain trigger performs), with the same
// observers subscribed to the same kinds of relays.
#include <benchmark/benchmark.h>

#include <memory>
#include <utility>

#include "support/Ratio.hpp"
#include "zorlan/Rx/DisposeBag.hpp"
#include "zorlan/Rx/Subjects.hpp"
#include "zorlan/StateMachine/StateMachine.hpp"
#include "zorlan/Values/Stack.hpp"

namespace {

using zorlan::BaseState;
using zorlan::StateMachine;
using zorlan::StateMachineState;
using StatePtr = std::shared_ptr<BaseState>;

// The history grows by one state per move; both sides start a fresh machine
// (or a fresh history) every this many moves, outside the timed region.
constexpr int kMovesPerRound = 1 << 12;

// Moves between A and B: A→B, B→A, ... Observers: one on the machine's
// current state and one on each state's flag.
void BM_Trigger(benchmark::State& state) {
  auto a = std::make_shared<StateMachineState>("A");
  auto b = std::make_shared<StateMachineState>("B");
  auto toB = zorlan::makeTransition({a}, b);
  auto toA = zorlan::makeTransition({b}, a);
  long sink = 0;
  zorlan::rx::DisposeBag flags;
  for (const StatePtr& s : {StatePtr(a), StatePtr(b)}) {
    s->rx().isCurrentState().subscribe([&sink](bool v) { sink += v; }).disposed(flags);
  }
  std::shared_ptr<StateMachine> machine;
  zorlan::rx::DisposeBag bag;
  bool atA = true;
  auto fresh = [&] {
    bag = zorlan::rx::DisposeBag();
    machine.reset();
    machine = StateMachine::make(atA ? StatePtr(a) : StatePtr(b));
    machine->rx()
        .currentState()
        .subscribe([&sink](const StatePtr& s) { sink += !!s; })
        .disposed(bag);
  };
  fresh();
  int moves = 0;
  for (auto _ : state) {
    machine->trigger(atA ? toB : toA);
    atA = !atA;
    if (++moves == kMovesPerRound) {
      state.PauseTiming();
      fresh();
      moves = 0;
      state.ResumeTiming();
    }
  }
  benchmark::DoNotOptimize(sink);
}
BENCHMARK(BM_Trigger);

// The same moves by hand: three accepts (current state, the flag of the state
// left, the flag of the target) and one push, with the same observers.
void BM_HandWrittenMove(benchmark::State& state) {
  auto a = std::make_shared<StateMachineState>("A");
  auto b = std::make_shared<StateMachineState>("B");
  zorlan::rx::BehaviorRelay<bool> aFlag(true);
  zorlan::rx::BehaviorRelay<bool> bFlag(false);
  long sink = 0;
  zorlan::rx::DisposeBag flags;
  for (const auto& flag : {aFlag, bFlag}) {
    flag.asObservable().subscribe([&sink](bool v) { sink += v; }).disposed(flags);
  }
  const StatePtr sa = a;
  const StatePtr sb = b;
  StatePtr current = a;
  zorlan::rx::BehaviorRelay<StatePtr> relay(current);
  zorlan::Stack<StatePtr> history;
  zorlan::rx::DisposeBag bag;
  auto fresh = [&] {
    bag = zorlan::rx::DisposeBag();
    history = zorlan::Stack<StatePtr>();
    relay = zorlan::rx::BehaviorRelay<StatePtr>(current);
    relay.asObservable().subscribe([&sink](const StatePtr& s) { sink += !!s; }).disposed(bag);
  };
  fresh();
  int moves = 0;
  for (auto _ : state) {
    const bool toB = current == sa;
    const StatePtr& target = toB ? sb : sa;
    history.push(std::exchange(current, target));
    relay.accept(current);
    (toB ? aFlag : bFlag).accept(false);
    (toB ? bFlag : aFlag).accept(true);
    if (++moves == kMovesPerRound) {
      state.PauseTiming();
      fresh();
      moves = 0;
      state.ResumeTiming();
    }
  }
  benchmark::DoNotOptimize(sink);
}
BENCHMARK(BM_HandWrittenMove);

}  // namespace

int main(int argc, char** argv) {
  return zorlan::bench::runBenchmarks(
      argc, argv, {{"trigger_vs_relay_accepts", "BM_Trigger", "BM_HandWrittenMove"}});
}
