#pragma once

// Part of TavrinTerminal, which is not installed. Needs libuv and the standard library.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "TavrinCore/Agents/AgentDefinition.hpp"
#include "TavrinCore/Agents/AgentHome.hpp"
#include "TavrinCore/Agents/AgentVersion.hpp"
#include "TavrinTerminal/Surroundings.hpp"
#include "TavrinTerminal/System/AgentInstallations.hpp"

namespace tavrin {

/// What this machine has of an agent.
struct SurveyedAgent {
  const AgentDefinition* definition = nullptr;
  AgentHome home;
  std::vector<AgentInstallation> installations;
  bool wasStarted = false;  ///< its own folder exists

  /// Whether a client or the agent's own folder is there.
  bool isPresent() const { return wasStarted || !installations.empty(); }

  /// What may be registered with the installed versions.
  AgentVersions::Fit fit() const;

  /// The oldest version, which decides what is registered; nullopt when one is not known or none is
  /// installed.
  std::optional<AgentVersion> oldestVersion() const;

  /// The version of the installation that a shell would start; nullopt when it is not known.
  std::optional<AgentVersion> version() const;

  /// Why the client runs no hooks although they are written, such as "Codex 0.120.0 does not run hooks.
  /// Install 0.124.0 or later."; "" when it does, or its version is not known.
  std::string deafness() const;

  /// Whether Codex asks for trust before it runs a hook. True if its version is not known.
  bool needsTrust() const;
};

/// Whether any agent's settings hold Tavrin's hooks: the settings that these surroundings name, and those
/// that were connected before. Reads only settings, and looks for no client.
bool isAnyConnected(const Surroundings& surroundings);

/// Where to look for agents' clients: with these surroundings, and with programs below `prefixes`.
AgentInstallations::Places placesFor(const Surroundings& surroundings, std::vector<std::string> prefixes);

/// Looks at each of `agents`. If no file shows a client's version, the client is asked, but only if the
/// agent's folder exists: a client that is asked makes its folder. `interrupt` as in ChildProcess::runAll.
std::vector<SurveyedAgent> surveyed(const std::vector<Agent>& agents, const Surroundings& surroundings,
                                    const AgentInstallations::Places& places, int interrupt = -1);

}  // namespace tavrin
