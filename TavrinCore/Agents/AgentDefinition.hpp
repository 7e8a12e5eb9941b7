#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "TavrinCore/Agents/Agent.hpp"
#include "TavrinCore/Agents/AgentActivation.hpp"
#include "TavrinCore/Agents/EventSpec.hpp"
#include "TavrinCore/Support/FixedList.hpp"

namespace tavrin {

/// The shape of an agent's hook configuration file.
enum class HookConfigFormat : std::uint8_t {
  hooksBlock,  ///< a top-level "hooks" object in a file that the agent and its user share
  ownFile,     ///< a file that holds only Tavrin's hooks
};

/// The description of a coding agent: where its hooks are configured, which events are registered, and how to
/// recognise the agent, its processes and its applications.
struct AgentDefinition {
  using Names = FixedList<std::string_view, 8>;

  Agent agent;
  std::string_view name;        ///< the product's name as shown to the user
  std::string_view subtitle;    ///< the configuration file, written with "~"
  std::string_view configPath;  ///< the same file, relative to the home directory
  HookSettings::EventList events;
  std::optional<std::string_view> helperFlag;  ///< the arguments of tavrin-hook that name the agent
  Names processNames;                          ///< names of the agent's executables
  Names hostBundleIds;                         ///< applications that host the agent
  HookConfigFormat format;
  Names presence;  ///< one of these paths exists if the agent is installed; "~" is the home directory
  bool eventFlag;  ///< whether each hook command also has "--event" and the event's name
  AgentActivation activation;

  bool operator==(const AgentDefinition&) const = default;

  /// The path of the configuration file under the current user's home directory.
  std::string configURL() const;

  static const AgentDefinition claude;
  static const AgentDefinition codex;
  static const AgentDefinition gemini;
  static const AgentDefinition copilot;
  static const AgentDefinition grok;

  /// The five definitions, in the order of `allAgents`.
  static const std::array<AgentDefinition, allAgents.size()> all;

  /// The definition of `agent`, or of Claude Code if `all` does not have it.
  static const AgentDefinition& definition(Agent agent);

  /// The process names in that definition. A program that calls only this function does not contain the
  /// definitions.
  static const Names& processNamesOf(Agent agent);
};

}  // namespace tavrin
