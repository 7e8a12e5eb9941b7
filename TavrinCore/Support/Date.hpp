#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace tavrin {

/// A point in time: seconds since 1970-01-01T00:00:00Z, with a fraction.
using Date = std::chrono::time_point<std::chrono::system_clock, std::chrono::duration<double>>;

/// The point in time at `seconds` since 1970-01-01T00:00:00Z.
constexpr Date dateFromSeconds(double seconds) {
  return Date(std::chrono::duration<double>(seconds));
}

/// Seconds since 1970-01-01T00:00:00Z.
constexpr double secondsOf(Date date) {
  return date.time_since_epoch().count();
}

/// Points in time as texts.
namespace Iso8601 {

/// The date and time in UTC as ISO 8601 writes it, such as "2025-01-31T09:15:02Z". The fraction of a second
/// is cut off. All years use the Gregorian calendar. A date outside the years 0 to 32767 becomes the nearest
/// one inside. A date that is not a number becomes 1970-01-01T00:00:00Z.
std::string text(Date date);

/// The point in time that `text` names, or nullopt if it has another form. The form is YYYY-MM-DDThh:mm:ss,
/// an optional fraction, and "Z", "z", "GMT" or an offset (+hh, +hhmm or +hh:mm). Leading zeros may be
/// missing. A day past the end of its month counts into the next month, and an hour past 23 into the next
/// day. Anything after the zone is ignored.
std::optional<Date> parse(std::string_view text);

}  // namespace Iso8601

}  // namespace tavrin
