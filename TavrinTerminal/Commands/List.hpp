#pragma once

// Part of TavrinTerminal, which is not installed. Needs nothing but the standard library.

#include <string>
#include <vector>

#include "TavrinTerminal/Console.hpp"
#include "TavrinTerminal/ObservedSessions.hpp"
#include "TavrinTerminal/Outcome.hpp"
#include "TavrinTerminal/Surroundings.hpp"

/// The command `list`: the sessions, the most urgent first.
namespace tavrin::List {

struct Options {
  bool json = false;  ///< one document (docs/list.schema.json)
  bool all = false;   ///< with sessions that an application started for itself
};

/// On a terminal: aligned columns under a headline, as wide as the terminal. In a pipe: a line for each
/// session, its fields between tabs. Without any session there is a hint in `error`, and the status is 0.
Outcome run(const Options& options, const Surroundings& surroundings, const Console& console);

}  // namespace tavrin::List
