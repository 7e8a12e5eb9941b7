#include "TavrinCore/Agents/Agent.hpp"

#include <algorithm>
#include <cstddef>

namespace tavrin {

namespace {

struct Names {
  std::string_view rawValue;
  std::string_view displayName;
};

// In the order of the enumeration.
constexpr std::array<Names, allAgents.size()> names = {{
    {"claude", "Claude"},
    {"codex", "Codex"},
    {"gemini", "Gemini"},
    {"copilot", "Copilot"},
    {"grok", "Grok"},
}};

constexpr const Names& namesOf(Agent agent) {
  return names[static_cast<std::size_t>(agent)];
}

}  // namespace

std::string_view rawValue(Agent agent) {
  return namesOf(agent).rawValue;
}

std::optional<Agent> agentFromRawValue(std::string_view text) {
  const auto* const found =
      std::ranges::find_if(allAgents, [&](Agent agent) { return rawValue(agent) == text; });
  return found == allAgents.end() ? std::nullopt : std::optional(*found);
}

std::string_view displayName(Agent agent) {
  return namesOf(agent).displayName;
}

}  // namespace tavrin
