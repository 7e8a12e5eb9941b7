#pragma once

// Part of TavrinTerminal, which is not installed. Needs libuv and the standard library.

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "TavrinCore/Agents/Agent.hpp"
#include "TavrinTerminal/System/ChildProcess.hpp"

namespace tavrin {

/// One copy of an agent's client on this machine.
struct AgentInstallation {
  Agent agent = Agent::claude;
  std::string executable;              ///< where it was found
  std::string resolved;                ///< the same file with all links followed
  std::optional<std::string> version;  ///< such as "2.1.112"; nullopt when it is not known

  bool operator==(const AgentInstallation&) const = default;
};

/// Finds the agents' clients and their versions, without running any unless `askVersions` is called.
namespace AgentInstallations {

/// Where to look. Tests set folders of their own.
struct Places {
  std::string home;
  std::function<std::optional<std::string>(std::string_view name)> environment;
  std::vector<std::string> prefixes;  ///< folders whose "bin" may hold programs, such as "/opt/homebrew"

  /// This user's home directory and environment, and the prefixes of Homebrew and the system.
  static Places ofThisMachine();
};

/// The installations of `agent`, each file once, those in PATH first. Looks into PATH, into the folders where
/// npm, nvm, fnm, mise, Volta, pnpm, Bun and Homebrew put programs, and at the paths of the agent's
/// definition. `version` comes from the package.json or the versioned folder of the resolved file, so it may
/// be missing.
std::vector<AgentInstallation> find(Agent agent, const Places& places);

/// The version that the place of a resolved executable shows: in the package.json of the agent's npm package
/// above it, or as the name of the file ("versions/2.1.112"), of its folder, or of the folder around its
/// "bin".
std::optional<std::string> versionBeside(Agent agent, const std::string& resolved);

/// The first version number in a text such as "codex-cli 0.169.0" or "2.1.112 (Claude Code)"; nullopt when
/// there is none.
std::optional<std::string> versionIn(std::string_view text);

/// Asks each installation without a version by running it with "--version", all at the same time, 5 seconds
/// at most. Call it only for agents whose folder exists: asking creates that folder. `interrupt` as in
/// ChildProcess::runAll.
void askVersions(std::span<AgentInstallation> installations, int interrupt = -1);

}  // namespace AgentInstallations

}  // namespace tavrin
