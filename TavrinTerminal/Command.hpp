#pragma once

// Part of TavrinTerminal, which is not installed. Needs nothing but the standard library.

#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "TavrinTerminal/CommandTable.hpp"
#include "TavrinTerminal/Outcome.hpp"

/// Turns the words of a command line into a command.
namespace tavrin::Command {

/// A command with its words.
struct Invocation {
  const CommandTable::CommandDescription* command = nullptr;
  CommandTable::ParsedWords words = {};
  ColourChoice colour = ColourChoice::automatic;
};

/// What the words after the program's name ask for: a command, or an outcome that is known at once (the help,
/// the version, or wrong usage with status 64). No file is opened. Without words it is "panel" on a terminal,
/// where there is such a command, and else "list".
std::variant<Invocation, Outcome> parse(const std::vector<std::string>& words, bool outputIsTerminal);

/// Runs a command, writes its output and its error to the console, and returns the status of the process. It
/// is a normal end if nobody reads the output any more.
int run(const Invocation& invocation, const Surroundings& surroundings, const Console& console);

/// Writes what an outcome holds, its error after "tavrin: ". Returns its status or, after a signal, 128 plus
/// the signal's number.
int report(const Outcome& outcome, const Console& console);

}  // namespace tavrin::Command
