#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "TavrinCore/Agents/Agent.hpp"

/// The command line of tavrin-hook: "--agent NAME" and "--event NAME", each also with "=" in one word.
namespace tavrin::AgentArgument {

/// The options of a command line.
struct Parsed {
  Agent agent = Agent::claude;
  std::optional<std::string> event;

  bool operator==(const Parsed&) const = default;
};

/// Reads `words`, the program's name first. The last of each option counts. If no known agent is named, the
/// agent is Claude Code. An empty event counts as missing. Bytes of the event that are not valid UTF-8 become
/// U+FFFD. All other words are ignored.
Parsed parseAll(std::span<const std::string_view> words);

/// The agent of `parseAll`.
Agent parse(std::span<const std::string_view> words);

}  // namespace tavrin::AgentArgument
