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

/// Prints the state that was reached ("needsYou", "idle" or "gone"). Without a SESSION, the session's id and
/// label follow, each after a tab. Returns at once if the SESSION is in the state already. Without a SESSION,
/// only changes after the start count. If the SESSION is gone although another state was waited for, the
/// status is 1. If "gone" is waited for, a word that fits no session counts as gone, because its record may
/// just have been removed.
Outcome run(const Options& options, const Surroundings& surroundings, const Console& console);

/// The time that a word names: a number of seconds, or a number with "s", "m" or "h". At most a year.
std::optional<std::chrono::milliseconds> durationOf(std::string_view word);

}  // namespace tavrin::Wait
