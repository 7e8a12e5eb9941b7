#pragma once

// Part of TavrinTerminal, which is not installed. Needs nothing but the standard library.

#include <optional>
#include <string>
#include <string_view>

#include "TavrinTerminal/CommandTable.hpp"

/// Texts made from the command table.
namespace tavrin::Help {

/// "tavrin 0.2.0" and a line feed.
std::string version();

/// What `tavrin help` prints: every command with its summary.
std::string overview();

/// What `tavrin help NAME` prints.
std::string ofCommand(const CommandTable::CommandDescription& command);

/// That there is no command of this name, and which one may have been meant. Holds the name as it is.
std::string noCommand(std::string_view name);

/// The line that shows how a command is called, such as "tavrin wait [OPTION...] [SESSION]".
std::string usageLine(const CommandTable::CommandDescription& command);

/// The source of the manual page tavrin(1), in the mdoc language (mdoc(7)).
std::string manualPage();

/// The command `help`: the overview, or the help of one command.
Outcome run(const std::optional<std::string>& name);

}  // namespace tavrin::Help
