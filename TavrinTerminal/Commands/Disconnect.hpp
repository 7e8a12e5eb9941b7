#pragma once

// Part of TavrinTerminal, which is not installed. Needs nothing but the standard library.

#include <vector>

#include "TavrinCore/Agents/Agent.hpp"
#include "TavrinTerminal/Console.hpp"
#include "TavrinTerminal/Outcome.hpp"
#include "TavrinTerminal/Surroundings.hpp"

/// The command `disconnect`: takes the hooks out of agents' settings.
namespace tavrin::Disconnect {

struct Options {
  std::vector<Agent> agents = {};  ///< those that were named; empty for all
  bool dryRun = false;             ///< shows what would change, and changes nothing
  bool yes = false;                ///< does not ask
  bool takesSignals = true;        ///< holds back signals until a file is whole; false if the caller does
};

/// Visits the agents' settings that the environment names now, and every file that was ever connected. One
/// line for each agent reports its state now. If something could not be done, the error says what, and the
/// status is 1.
Outcome run(const Options& options, const Surroundings& surroundings, const Console& console);

}  // namespace tavrin::Disconnect
