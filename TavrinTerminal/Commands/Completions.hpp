#pragma once

// Part of TavrinTerminal, which is not installed. Needs nothing but the standard library.

#include <string_view>

#include "TavrinTerminal/Outcome.hpp"
#include "TavrinTerminal/Surroundings.hpp"

/// The command `completions`: scripts for shells, made from the command table.
namespace tavrin::Completions {

/// The script for bash, zsh or fish. It asks `tavrin completions --words` for sessions, servers and agents.
Outcome script(std::string_view shell);

/// The words of a kind ("sessions", "servers" or "agents"), one per line. A tab and a text that a shell may
/// show beside the word may follow. Words that a shell could not complete safely are left out. A failure has
/// no words and no error message, because the message would end up in the person's command line.
Outcome words(std::string_view kind, const Surroundings& surroundings);

}  // namespace tavrin::Completions
