#include "TavrinCore/Servers/ServerUptime.hpp"

#include <cstdint>
#include <limits>

namespace tavrin::ServerUptime {

namespace {

constexpr std::int64_t minute = 60;
constexpr std::int64_t hour = 60 * minute;
constexpr std::int64_t day = 24 * hour;

// Whole seconds, from 0 to the largest number there is.
std::int64_t wholeSeconds(double seconds) {
  constexpr double beyond64Bits = 0x1p63;
  if (seconds >= beyond64Bits) return std::numeric_limits<std::int64_t>::max();
  // Also false for NaN.
  return seconds > 0 ? static_cast<std::int64_t>(seconds) : 0;
}

}  // namespace

std::string label(Date since, Date now) {
  const std::int64_t seconds = wholeSeconds(secondsOf(now) - secondsOf(since));
  if (seconds < minute) return std::to_string(seconds) + "s";
  if (seconds < hour) return std::to_string(seconds / minute) + "m";
  if (seconds < day) {
    return std::to_string(seconds / hour) + "h " + std::to_string(seconds / minute % 60) + "m";
  }
  return std::to_string(seconds / day) + "d " + std::to_string(seconds / hour % 24) + "h";
}

}  // namespace tavrin::ServerUptime
