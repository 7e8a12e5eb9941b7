#pragma once

// Part of TavrinTerminal, which is not installed. Needs libuv and the standard library.

#include <optional>
#include <string>

#include "TavrinTerminal/Outcome.hpp"
#include "TavrinTerminal/Surroundings.hpp"
#include "TavrinTerminal/System/TerminalFocus.hpp"

/// The command `focus`: brings the terminal of a session to the front.
namespace tavrin::Focus {

struct Options {
  std::optional<std::string> session = {};  ///< a SESSION word
  bool next = false;                        ///< the session that has waited longest for the person
};

/// Without a word and without `next`, it takes the only session or, if there are several, the one that has
/// waited longest.
///
/// Prints nothing when the terminal is in front, and a line when a multiplexer shows the session in a
/// terminal that could not be raised. If the session cannot be reached, it prints its terminal, process and
/// folder, and the status is 1.
Outcome run(const Options& options, const Surroundings& surroundings, const TerminalFocus& focus);

/// The same with the terminals of this system.
Outcome run(const Options& options, const Surroundings& surroundings);

}  // namespace tavrin::Focus
