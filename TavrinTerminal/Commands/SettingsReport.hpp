#pragma once

// Part of TavrinTerminal, which is not installed. Needs nothing but the standard library.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "TavrinCore/Agents/Agent.hpp"
#include "TavrinCore/Agents/SettingsFile.hpp"
#include "TavrinTerminal/Console.hpp"
#include "TavrinTerminal/Outcome.hpp"

/// What `connect` and `disconnect` share: how they ask and what they say.
namespace tavrin::SettingsReport {

/// The state of an agent after the command.
struct Line {
  std::string agent;       ///< its name, such as "Claude Code"
  std::string state;       ///< such as "connected"
  std::string error = {};  ///< what was not done and what to do; "" when all is well
};

/// The lines as an outcome: states on standard output, errors on standard error, and status 1 with any error.
/// `signal` is the one that interrupted the command.
Outcome outcomeOf(const std::vector<Line>& lines, std::optional<int> signal = std::nullopt);

/// A path with the home directory as "~", cleaned.
std::string shownPath(std::string_view path, std::string_view home);

/// What an edit does to a file, as a unified diff, coloured where the console is. Controls in the file are
/// replaced.
std::string diffOf(const SettingsFile::Outcome& edit, const std::string& path, const Console& console);

/// Asks whether to go on, unless `yes`. nullopt to go on; else the outcome: the person declined, or there is
/// nobody to ask. `notDone` is the beginning of a sentence, such as "nothing was connected".
std::optional<Outcome> declined(bool yes, const std::string& question, std::string_view notDone,
                                const Console& console);

/// Names as in "Claude Code, Codex and Grok".
std::string listOf(const std::vector<std::string>& names);

}  // namespace tavrin::SettingsReport
