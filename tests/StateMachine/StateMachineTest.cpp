// zorlan/StateMachine/StateMachine.hpp: the order of every emission of a move, refused moves,
// stepping back, lifetimes, moves asked for by observers; the DOT drawing.
#include <gtest/gtest.h>

#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "support/MainQueueFixture.hpp"
#include "zorlan/Dispatch/MainRunLoop.hpp"
#include "zorlan/StateMachine/StateMachine.hpp"
#include "zorlan/StateMachine/StateMachineGraph.hpp"

namespace zorlan {
namespace {

using Log = std::vector<std::string>;
using StatePtr = std::shared_ptr<BaseState>;
using Payload = PayloadState<int>;

std::string nameOf(const StatePtr& state) {
  if (!state) return "-";
  auto payloadState = std::dynamic_pointer_cast<Payload>(state);
  if (!payloadState) return state->name();
  auto payload = payloadState->payload().value();
  return state->name() + "(" + (payload ? std::to_string(*payload) : "-") + ")";
}

// Records every emission of the watched relays and views, in order:
// "cur=B" the machine's current state (with the payload the state holds at
// that moment), "chg=A>B" stateChanged (after the main queue ran), "B=1"/"B=0"
// a flag, "B!" becameCurrentState, "P.payload=7" a payload.
struct Recorder {
  Log log;
  rx::DisposeBag bag;

  Recorder() = default;
  // Watches `machine` and `states`, dropping what watching them emitted.
  Recorder(const std::shared_ptr<StateMachine>& machine, std::initializer_list<StatePtr> states) {
    watch(machine);
    watch(states);
    take();
  }

  void watch(const std::shared_ptr<StateMachine>& machine) {
    machine->rx()
        .currentState()
        .subscribe([this](const StatePtr& s) { add("cur=" + nameOf(s)); })
        .disposed(bag);
    machine->rx()
        .stateChanged()
        .drive([this](const StateMachine::Change& c) {
          add("chg=" + nameOf(c.previous) + ">" + c.current->name());
        })
        .disposed(bag);
  }
  void watch(const StatePtr& state) {
    std::string name = state->name();
    state->rx()
        .isCurrentState()
        .subscribe([this, name](bool v) { add(name + (v ? "=1" : "=0")); })
        .disposed(bag);
    state->rx()
        .becameCurrentState()
        .subscribe([this, name](std::monostate) { add(name + "!"); })
        .disposed(bag);
    if (auto payloadState = std::dynamic_pointer_cast<Payload>(state)) {
      payloadState->payload()
          .asObservable()
          .subscribe([this, name](const std::optional<int>& p) {
            add(name + ".payload=" + (p ? std::to_string(*p) : "-"));
          })
          .disposed(bag);
    }
  }
  void watch(std::initializer_list<StatePtr> states) {
    for (const StatePtr& s : states) watch(s);
  }
  void add(std::string entry) { log.push_back(std::move(entry)); }
  // What was recorded since the last call, once the main queue has run.
  Log take() {
    MainRunLoop::runUntilIdle();
    return std::exchange(log, {});
  }
};

std::shared_ptr<StateMachineState> plain(const char* name) {
  return std::make_shared<StateMachineState>(name);
}

Log namesOf(const Stack<StatePtr>& history) {
  Log names;
  for (const auto& s : history.items) names.push_back(s->name());
  return names;
}

struct StateMachineTest : testing::MainQueueFixture {
  const std::shared_ptr<StateMachineState> a = plain("A"), b = plain("B"), c = plain("C"),
                                           x = plain("X");
};

TEST_F(StateMachineTest, ANewMachineAnnouncesItsInitialStateAndRefusesEmptyTransitions) {
  auto m = StateMachine::make(a);
  Recorder r;
  r.watch(m);
  r.watch(a);
  EXPECT_EQ(r.take(), (Log{"cur=A", "A=1", "A!", "chg=->A"}));
  EXPECT_EQ(a->stateMachine().lock(), m);

  std::shared_ptr<StateTransition> none;
  auto empty = makeTransition({}, plain("B"));
  EXPECT_FALSE(m->canTrigger(none));
  EXPECT_FALSE(m->canTrigger(empty));
  EXPECT_THROW(StateMachine::make(nullptr), std::invalid_argument);
  EXPECT_THROW(makeTransition({a}, nullptr), std::invalid_argument);
}

TEST_F(StateMachineTest, PlainMovesWriteInOrderAndASelfTransitionKeepsTheFlag) {
  auto m = StateMachine::make(a);
  Recorder r(m, {a, b});

  EXPECT_TRUE(m->trigger(std::make_shared<StateTransition>(a, b)));
  // The history is pushed before the relay emits: stateChanged pairs B with A.
  EXPECT_EQ(r.take(), (Log{"cur=B", "A=0", "B=1", "B!", "chg=A>B"}));
  EXPECT_EQ(b->stateMachine().lock(), m);

  EXPECT_TRUE(m->trigger(makeTransition({a, b}, b)));  // self-transition: no false in between
  EXPECT_EQ(r.take(), (Log{"cur=B", "B=1", "B!", "chg=B>B"}));
  EXPECT_EQ(namesOf(m->previousStates()), (Log{"A", "B"}));
}

TEST_F(StateMachineTest, PayloadMovesWriteThePayloadFirstAndPushTheHistoryLate) {
  auto p = std::make_shared<Payload>("P");
  auto toP = makeTransition({a, p}, p);

  struct Case {
    const char* what;
    bool fromX;  // reach A through X, so that the history is [X]
    Log firstMove;
  };
  for (const Case& c : {
           Case{"empty history", false, {"P.payload=7", "cur=P(7)", "A=0", "P=1", "P!", "chg=->P"}},
           Case{"history [X]", true, {"P.payload=7", "cur=P(7)", "A=0", "P=1", "P!", "chg=X>P"}},
       }) {
    SCOPED_TRACE(c.what);
    auto m = StateMachine::make(c.fromX ? StatePtr(x) : StatePtr(a));
    if (c.fromX) {
      ASSERT_TRUE(m->trigger(makeTransition({x}, a)));
    }
    Recorder r(m, {a, p});
    EXPECT_TRUE(m->trigger(toP, 7));
    EXPECT_EQ(r.take(), c.firstMove);

    // Self-transition: false, then true; paired with the top before the move.
    EXPECT_TRUE(m->trigger(toP, 8));
    EXPECT_EQ(r.take(), (Log{"P.payload=8", "cur=P(8)", "P=0", "P=1", "P!", "chg=A>P"}));
    EXPECT_EQ(namesOf(m->previousStates()), c.fromX ? (Log{"X", "A", "P"}) : (Log{"A", "P"}));
    EXPECT_EQ(p->stateMachine().lock(), m);
  }
}

TEST_F(StateMachineTest, RefusedMovesChangeAndEmitNothing) {
  auto p = std::make_shared<Payload>("P");
  auto m = StateMachine::make(x);
  ASSERT_TRUE(m->trigger(makeTransition({x}, a)));
  auto fresh = StateMachine::make(plain("F"));
  Recorder r(m, {x, a, b, p});
  r.watch(fresh);
  r.take();

  std::shared_ptr<PayloadTransition<int>> noPayloadTransition;
  const std::vector<std::pair<const char*, std::function<bool()>>> refused = {
      {"plain, current not a start state",
       [&] {
         return m->trigger(makeTransition({x, b}, b));
       }},
      {"plain, no start states", [&] { return m->trigger(makeTransition({}, b)); }},
      {"plain, null start state", [&] { return m->trigger(makeTransition({nullptr}, b)); }},
      {"plain, absent", [&] { return m->trigger(std::shared_ptr<StateTransition>()); }},
      {"payload, current not a start state", [&] { return m->trigger(makeTransition({b}, p), 1); }},
      {"payload, absent", [&] { return m->trigger(noPayloadTransition, 1); }},
      {"back with an empty history", [&] { return fresh->toPreviousState(); }},
  };
  for (const auto& [what, move] : refused) {
    SCOPED_TRACE(what);
    EXPECT_FALSE(move());
    EXPECT_EQ(r.take(), Log{});
    EXPECT_EQ(m->currentState(), a);
    EXPECT_EQ(namesOf(m->previousStates()), Log{"X"});
    EXPECT_EQ(p->payload().value(), std::nullopt);
    EXPECT_TRUE(p->stateMachine().expired());
  }
}

TEST_F(StateMachineTest, StepsBackThroughTheHistoryAndStopsAtItsBottom) {
  auto m = StateMachine::make(a);
  ASSERT_TRUE(m->trigger(makeTransition({a}, b)));
  ASSERT_TRUE(m->trigger(makeTransition({b}, c)));
  Recorder r(m, {a, b, c});

  EXPECT_TRUE(m->toPreviousState());
  EXPECT_EQ(r.take(), (Log{"C=0", "cur=B", "B=1", "B!", "chg=A>B"}));
  EXPECT_TRUE(m->toPreviousState());
  EXPECT_EQ(r.take(), (Log{"B=0", "cur=A", "A=1", "A!", "chg=->A"}));
  EXPECT_FALSE(m->toPreviousState());
  EXPECT_EQ(r.take(), Log{});
  EXPECT_EQ(c->stateMachine().lock(), m);  // stepping back leaves the back-references alone
}

TEST_F(StateMachineTest, MachineAndStatesAreFreedWhenTheirOwnersLetGo) {
  std::weak_ptr<StateMachine> weakMachine;
  std::weak_ptr<BaseState> weakA, weakB;
  rx::DisposeBag outside;
  int changes = 0;
  {
    auto first = plain("A");
    auto second = plain("B");
    auto m = StateMachine::make(first);
    weakMachine = m;
    weakA = first;
    weakB = second;
    // Subscriptions to the views, kept by the states themselves and outside.
    first->rx().becameCurrentState().subscribe([](std::monostate) {}).disposed(first->disposeBag());
    second->rx().isCurrentState().subscribe([](bool) {}).disposed(second->disposeBag());
    m->rx().currentState().subscribe([](const StatePtr&) {}).disposed(second->disposeBag());
    m->rx().stateChanged().drive([&](const StateMachine::Change&) { ++changes; }).disposed(outside);
    ASSERT_TRUE(m->trigger(makeTransition({first}, second)));
    MainRunLoop::runUntilIdle();
  }
  EXPECT_EQ(changes, 2);
  // The live stateChanged subscription keeps its last pair (A, B), not the machine.
  EXPECT_TRUE(weakMachine.expired());
  EXPECT_FALSE(weakB.expired());
  outside = rx::DisposeBag();
  EXPECT_TRUE(weakA.expired());
  EXPECT_TRUE(weakB.expired());
}

TEST_F(StateMachineTest, MovesAskedForByObserversRunAfterTheMoveInProgress) {
  auto m = StateMachine::make(a);
  auto toB = makeTransition({a}, b);
  auto toC = makeTransition({b}, c);
  Recorder r(m, {a, b, c});
  // When B is first announced: B→C is accepted (B is where the move leads),
  // A→B is refused (the machine will be in C), and a step back is accepted.
  bool asked = false;
  m->rx()
      .currentState()
      .subscribe([&](const StatePtr& s) {
        if (s != b || std::exchange(asked, true)) return;
        std::string answers = "nested ";
        answers += m->trigger(toC) ? "1" : "0";
        answers += m->trigger(toB) ? "1" : "0";
        answers += m->toPreviousState() ? "1" : "0";
        r.add(answers);
      })
      .disposed(r.bag);

  EXPECT_TRUE(m->trigger(toB));
  EXPECT_EQ(r.take(), (Log{"cur=B", "nested 101", "A=0", "B=1", "B!",  // A→B
                           "cur=C", "B=0", "C=1", "C!",                // then B→C
                           "C=0", "cur=B", "B=1", "B!",                // then back to B
                           "chg=A>B", "chg=B>C", "chg=A>B"}));
  EXPECT_EQ(namesOf(m->previousStates()), Log{"A"});
}

TEST_F(StateMachineTest, AnObserverThatThrowsLetsTheMoveFinishThenFails) {
  auto m = StateMachine::make(a);
  rx::DisposeBag bag;
  m->rx()
      .currentState()
      .subscribe([&](const StatePtr& s) {
        if (s == b) throw std::runtime_error("observer failed");
      })
      .disposed(bag);
  EXPECT_THROW(m->trigger(makeTransition({a}, b)), std::runtime_error);
  EXPECT_EQ(m->currentState(), b);
  EXPECT_FALSE(a->isCurrentState().value());
  EXPECT_TRUE(b->isCurrentState().value());
  EXPECT_TRUE(m->toPreviousState());  // the machine is not left mid-move
  EXPECT_TRUE(a->isCurrentState().value());
}

TEST_F(StateMachineTest, DrawsStatesByIdentityWithEscapedNames) {
  auto idle = plain("idle");
  auto quoted1 = plain("say \"hi\"\\");
  auto quoted2 = plain("say \"hi\"\\");  // same name, another state
  auto twoLines = std::make_shared<Payload>("two\nlines");
  auto m = StateMachine::make(idle);
  ASSERT_TRUE(m->trigger(makeTransition({idle}, quoted2)));
  std::vector<std::shared_ptr<BaseTransition>> transitions = {
      makeTransition({idle, nullptr, quoted2}, quoted1), nullptr,
      makeTransition({quoted1}, twoLines)};
  EXPECT_EQ(toDot(*m, transitions),
            "digraph StateMachine {\n"
            "  s0 [label=\"idle\"];\n"
            "  s1 [label=\"say \\\"hi\\\"\\\\\", style=filled, fillcolor=lightblue];\n"
            "  s2 [label=\"say \\\"hi\\\"\\\\\"];\n"
            "  s3 [label=\"two\\nlines\"];\n"
            "  s0 -> s2;\n"
            "  s1 -> s2;\n"
            "  s2 -> s3;\n"
            "}\n");
}

}  // namespace
}  // namespace zorlan
