#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <string>

#include "TavrinCore/Context/ProcessFacts.hpp"

namespace tavrin {

/// The look-ups that read the directories `root`/proc (proc(5)) and `root`/sys (sysfs(5)). The running
/// system's own are below "".
ProcessFacts processFactsBelow(const std::string& root);

}  // namespace tavrin
