#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <string>

#include "TavrinCore/Context/ProcessTree.hpp"

namespace tavrin {

/// The process table that is read from the directories `root`/proc (proc(5)) and `root`/sys (sysfs(5)). The
/// running system's own are below "".
ProcessTable processTableBelow(std::string root);

}  // namespace tavrin
