#pragma once

// Part of TavrinTerminal, which is not installed. Needs nothing but the standard library.

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "TavrinTerminal/Console.hpp"
#include "TavrinTerminal/Outcome.hpp"
#include "TavrinTerminal/SessionChanges.hpp"
#include "TavrinTerminal/Surroundings.hpp"

/// The command `watch`: a line for each change as it happens.
namespace tavrin::Watch {

struct Options {
  bool json = false;                     ///< JSON Lines (docs/watch.schema.json)
  std::optional<std::string> exec = {};  ///< a command line for /bin/sh, run for each change
  bool notify = false;                   ///< call the surroundings' notifier
};

/// Prints what is there, then each change, until a signal or until nobody reads it.
///
/// With `exec` the command line runs once for each change after the first look, one after the other, in the
/// order of the changes. It has 60 s, the change as JSON on its input, and TAVRIN_CHANGE, TAVRIN_SESSION,
/// TAVRIN_AGENT, TAVRIN_STATE and TAVRIN_LABEL in its environment. What it prints goes to standard error.
/// When 1,000 changes wait, further ones are dropped, and a sentence says so.
Outcome run(const Options& options, const Surroundings& surroundings, const Console& console);

/// The variables that `exec` gets, as "NAME=value".
std::vector<std::string> variablesOf(const SessionChange& change);

}  // namespace tavrin::Watch
