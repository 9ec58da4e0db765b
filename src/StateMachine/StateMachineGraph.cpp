#include "zorlan/StateMachine/StateMachineGraph.hpp"

#include <algorithm>
#include <cstddef>
#include <string>

namespace zorlan {
namespace {

// Node ids by identity, in order of first appearance.
class Nodes {
 public:
  std::size_t idOf(const BaseState* state) {
    auto found = std::find(states_.begin(), states_.end(), state);
    if (found != states_.end()) return static_cast<std::size_t>(found - states_.begin());
    states_.push_back(state);
    return states_.size() - 1;
  }
  const std::vector<const BaseState*>& states() const { return states_; }

 private:
  std::vector<const BaseState*> states_;
};

}  // namespace

std::string escapeDotLabel(const std::string& text) {
  std::string out;
  out.reserve(text.size());
  for (char c : text) {
    switch (c) {
      case '"':
        out += "\\\"";
        break;
      case '\\':
        out += "\\\\";
        break;
      case '\n':
        out += "\\n";
        break;
      default:
        out += (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) ? ' ' : c;
    }
  }
  return out;
}

std::string toDot(const StateMachine& machine,
                  const std::vector<std::shared_ptr<BaseTransition>>& transitions) {
  Nodes nodes;
  std::string edges;
  for (const auto& transition : transitions) {
    if (!transition) continue;
    std::shared_ptr<BaseState> target = transition->destination();
    if (!target) continue;
    for (const auto& from : transition->fromStates()) {
      if (from) nodes.idOf(from.get());
    }
    std::string to = " -> s" + std::to_string(nodes.idOf(target.get())) + ";\n";
    for (const auto& from : transition->fromStates()) {
      if (from) edges += "  s" + std::to_string(nodes.idOf(from.get())) + to;
    }
  }
  std::shared_ptr<BaseState> current = machine.currentState();
  nodes.idOf(current.get());

  std::string dot = "digraph StateMachine {\n";
  for (std::size_t id = 0; id < nodes.states().size(); ++id) {
    const BaseState* state = nodes.states()[id];
    dot += "  s" + std::to_string(id) + " [label=\"" + escapeDotLabel(state->name()) + "\"";
    if (state == current.get()) dot += ", style=filled, fillcolor=lightblue";
    dot += "];\n";
  }
  dot += edges;
  dot += "}\n";
  return dot;
}

}  // namespace zorlan
