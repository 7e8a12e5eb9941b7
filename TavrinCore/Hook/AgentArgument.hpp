#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "TavrinCore/Agents/Agent.hpp"

/// The command line of tavrin-hook: "--agent NAME" and "--event NAME", each also with "=" in one word.
namespace tavrin::AgentArgument {

/// What a command line says.
struct Parsed {
  Agent agent = Agent::claude;
  std::optional<std::string> event;

  bool operator==(const Parsed&) const = default;
};

/// Reads `words`, the program's own name first, which is not looked at. The last of each option counts; an
/// agent of another name, or none, is Claude Code; an empty event is none, and one that is no UTF-8 is
/// repaired. Anything else is passed over.
Parsed parseAll(std::span<const std::string_view> words);

/// The agent of `parseAll`.
Agent parse(std::span<const std::string_view> words);

}  // namespace tavrin::AgentArgument
