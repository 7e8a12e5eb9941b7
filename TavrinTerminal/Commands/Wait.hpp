#pragma once

// Part of TavrinTerminal, which is not installed. Needs nothing but the standard library.

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "TavrinTerminal/Console.hpp"
#include "TavrinTerminal/Outcome.hpp"
#include "TavrinTerminal/Surroundings.hpp"

/// The command `wait`: returns when a session comes into a state.
namespace tavrin::Wait {

enum class For : std::uint8_t {
  you,  ///< it needs you, or is idle
  needsYou,
  idle,
  gone,
};

struct Options {
  std::optional<std::string> session = {};  ///< a SESSION word; without one, any session
  For what = For::you;
  std::optional<std::chrono::milliseconds> timeout = {};
};

/// Prints the state that was reached ("needsYou", "idle" or "gone"), and without a SESSION behind it, between
/// tabs, the session's id and label. A state in which the SESSION is already returns at once; without a
/// SESSION, only what comes after the start counts. A SESSION that is gone without being waited for has
/// status 1. A word that fits no session counts as gone when that is waited for, because its record may just
/// have been removed.
Outcome run(const Options& options, const Surroundings& surroundings, const Console& console);

/// The time that a word names: a number of seconds, or a number with "s", "m" or "h". At most a year.
std::optional<std::chrono::milliseconds> durationOf(std::string_view word);

}  // namespace tavrin::Wait
