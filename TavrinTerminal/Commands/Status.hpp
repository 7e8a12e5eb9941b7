#pragma once

// Part of TavrinTerminal, which is not installed. Needs nothing but the standard library.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "TavrinTerminal/Console.hpp"
#include "TavrinTerminal/ObservedSessions.hpp"
#include "TavrinTerminal/Outcome.hpp"
#include "TavrinTerminal/Surroundings.hpp"

/// The command `status`: the number of sessions in each state, in one line.
namespace tavrin::StatusLine {

enum class Format : std::uint8_t { plain, json, tmux, waybar };

struct Options {
  Format format = Format::plain;
  bool follow = false;  ///< print a new line at each change of the line
};

/// The line of one look, without a line feed:
///  - plain: the library's line
///  - json: the summary as a document (docs/status.schema.json)
///  - tmux: the counts in tmux's styles; empty without sessions. A "#" in a text is doubled (tmux(1), STYLES)
///  - waybar: an object with text, tooltip, class and alt, for a custom module with "return-type": "json"
///    (waybar-custom(5)). Its text is Pango markup
std::string line(Format format, const std::vector<ObservedSession>& sessions,
                 const Surroundings& surroundings);

/// Prints the line once; with `follow`, until a signal or until nobody reads it.
Outcome run(const Options& options, const Surroundings& surroundings, const Console& console);

}  // namespace tavrin::StatusLine
