#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace tavrin {

/// A point in time in seconds since 1970-01-01T00:00:00Z, fractions included.
using Date = std::chrono::time_point<std::chrono::system_clock, std::chrono::duration<double>>;

/// A point in time from seconds since 1970-01-01T00:00:00Z.
constexpr Date dateFromSeconds(double seconds) {
  return Date(std::chrono::duration<double>(seconds));
}

/// Seconds since 1970-01-01T00:00:00Z.
constexpr double secondsOf(Date date) {
  return date.time_since_epoch().count();
}

/// Points in time as texts.
namespace Iso8601 {

/// The internet date-time of ISO 8601 in UTC with whole seconds, as in "2025-01-31T09:15:02Z"; a fraction is
/// rounded down, by the Gregorian calendar at all times. A date outside the years 0 to 32767 is written as
/// the nearest one inside, one that is not a number as 1970-01-01T00:00:00Z.
std::string text(Date date);

/// The point in time that an internet date-time names, or nothing when `text` is none. The form is
/// YYYY-MM-DDThh:mm:ss with an optional fraction, then "Z", "z", "GMT" or an offset (+hh, +hhmm or +hh:mm);
/// leading zeros may be missing, a day or an hour beyond its month or day runs over into the next, and what
/// follows the zone is not looked at.
std::optional<Date> parse(std::string_view text);

}  // namespace Iso8601

}  // namespace tavrin
