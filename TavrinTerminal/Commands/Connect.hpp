#pragma once

// Part of TavrinTerminal, which is not installed. Needs nothing but the standard library.

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "TavrinCore/Agents/Agent.hpp"
#include "TavrinTerminal/Console.hpp"
#include "TavrinTerminal/Outcome.hpp"
#include "TavrinTerminal/Surroundings.hpp"

/// The command `connect`: writes the hooks that run tavrin-hook into agents' settings.
namespace tavrin::Connect {

struct Options {
  std::vector<Agent> agents = {};  ///< those that were named; empty for every agent on this machine
  bool dryRun = false;             ///< shows what would change, and changes nothing
  bool yes = false;                ///< does not ask
  bool here = false;  ///< entries get this installation's path, even if they have another one that works
  /// A descriptor that interrupts when it becomes readable; the command then takes no signals itself.
  std::optional<int> interrupt = std::nullopt;
  /// Called on the calling thread with each step that takes a while, such as "Codex: trusting 12 hooks".
  std::function<void(const std::string& step)> progress = nullptr;
};

/// What the command looks for on the machine; tests set paths of their own.
struct Machine {
  std::vector<std::string> hookCandidates;  ///< see HookPath::candidates
  std::vector<std::string> prefixes;        ///< see AgentInstallations::Places

  static Machine ofThisSystem();
};

/// Writes only what the installed versions accept, never makes an agent's folder, and has Codex trust the
/// hooks. One line for each agent reports its state now. Whatever happens, each settings file is the old one
/// or the new one. If something could not be done, the error says what, and the status is 1.
Outcome run(const Options& options, const Surroundings& surroundings, const Console& console,
            const Machine& machine);
Outcome run(const Options& options, const Surroundings& surroundings, const Console& console);

}  // namespace tavrin::Connect
