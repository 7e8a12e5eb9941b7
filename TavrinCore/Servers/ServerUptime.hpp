#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <string>

#include "TavrinCore/Support/Date.hpp"

/// How long a server has been running.
namespace tavrin::ServerUptime {

/// The time from `since` to `now` in its one or two largest units: "42s", "5m", "2h 5m", "3d 4h". Parts of a
/// unit are dropped. It is "0s" for a start in the future or one that is not a number.
std::string label(Date since, Date now);

}  // namespace tavrin::ServerUptime
