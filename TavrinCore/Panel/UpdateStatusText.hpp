#pragma once

// Part of Tavrin::Panel. Needs nothing but the standard library.

#include <optional>
#include <string>

#include "TavrinCore/Support/Date.hpp"

/// The line about updates in the settings.
namespace tavrin::UpdateStatusText {

/// When the last check for updates was, if there was one, and whether checks happen by themselves: "Checked
/// yesterday", "Checks daily · checked yesterday", "Not checked yet".
std::string subtitle(const std::optional<Date>& lastChecked, Date now, bool automatic);

/// How long `from` lies before `to`: "just now" (also for a date in the future, or one that is not a
/// number), "5 minutes ago", "yesterday", "3 days ago". More days than 64 bits hold end the process.
std::string relative(Date from, Date to);

}  // namespace tavrin::UpdateStatusText
