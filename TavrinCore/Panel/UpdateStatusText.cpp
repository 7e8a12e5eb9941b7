#include "TavrinCore/Panel/UpdateStatusText.hpp"

#include <cstdint>

#include "TavrinCore/Support/FatalError.hpp"
#include "TavrinCore/Support/Text.hpp"
#include "TavrinCore/Support/Typography.hpp"

namespace tavrin::UpdateStatusText {

namespace {

constexpr double minute = 60;
constexpr double hour = 60 * minute;
constexpr double day = 24 * hour;

// How many whole units there are in an interval that is not negative.
std::string count(double interval, double unit) {
  constexpr double beyond64Bits = 0x1p63;
  const double units = interval / unit;
  if (units >= beyond64Bits) fatalError("the time since the last check for updates exceeds 64 bits");
  return std::to_string(static_cast<std::int64_t>(units));
}

}  // namespace

std::string subtitle(const std::optional<Date>& lastChecked, Date now, bool automatic) {
  std::string phrase = lastChecked ? "Checked " + relative(*lastChecked, now) : "Not checked yet";
  if (!automatic) return phrase;
  std::string line = "Checks daily";
  line += dotSeparator;
  line += Text::lowerCased(phrase);
  return line;
}

std::string relative(Date from, Date to) {
  const double interval = secondsOf(to) - secondsOf(from);
  // Written so that NaN falls in here.
  if (!(interval >= 2 * minute)) return "just now";
  if (interval < hour) return count(interval, minute) + " minutes ago";
  if (interval < 2 * hour) return "an hour ago";
  if (interval < day) return count(interval, hour) + " hours ago";
  if (interval < 2 * day) return "yesterday";
  return count(interval, day) + " days ago";
}

}  // namespace tavrin::UpdateStatusText
