// Drawing a state machine's transitions as Graphviz DOT text, for docs,
// debugging and logs (`dot -Tsvg`).
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "zorlan/StateMachine/StateMachine.hpp"
#include "zorlan/StateMachine/Transition.hpp"

namespace zorlan {

// A `digraph` with one node per state (the machine's current state and every
// state named by `transitions`) and one edge per start state of each
// transition, to its target. Nodes are told apart by identity: two states of
// the same name are two nodes (`s0`, `s1`, ... in order of first appearance:
// each transition's start states, then its target; the current state last if
// no transition names it), labelled with their names escaped for DOT. The
// current state is drawn filled. Null transitions and null start states are
// skipped. Deterministic; O(states × edges) at most. Reads the machine's
// current state (thread-safe); builds nothing else shared.
std::string toDot(const StateMachine& machine,
                  const std::vector<std::shared_ptr<BaseTransition>>& transitions);

// `text` as the inside of a DOT double-quoted string, shown as written:
// quotes and backslashes are escaped, a line feed becomes a label line break
// (`\n`) and other control characters become spaces. UTF-8 passes unchanged.
std::string escapeDotLabel(const std::string& text);

}  // namespace zorlan
