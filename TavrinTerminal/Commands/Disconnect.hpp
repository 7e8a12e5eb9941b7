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
  bool takesSignals = true;        ///< holds back signals until a file is whole; only where nobody else does
};

/// Visits the agents' settings where the environment has them now, and every file that was ever connected.
/// One line for each agent says what is so now. What could not be done is in the error, and the status is 1
/// then.
Outcome run(const Options& options, const Surroundings& surroundings, const Console& console);

}  // namespace tavrin::Disconnect
