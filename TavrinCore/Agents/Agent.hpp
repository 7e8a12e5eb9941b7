#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace tavrin {

/// A coding agent that reports its sessions here.
enum class Agent : std::uint8_t { claude, codex, gemini, copilot, grok };

/// All agents, in the order in which they are listed everywhere.
inline constexpr std::array allAgents = {Agent::claude, Agent::codex, Agent::gemini, Agent::copilot,
                                         Agent::grok};

/// The name used in files and on the command line, such as "codex".
std::string_view rawValue(Agent agent);

/// The agent whose raw value is `text`, or nullopt.
std::optional<Agent> agentFromRawValue(std::string_view text);

/// The name shown to people, such as "Codex".
std::string_view displayName(Agent agent);

}  // namespace tavrin
