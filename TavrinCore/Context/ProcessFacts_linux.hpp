#pragma once

#include <string>

#include "TavrinCore/Context/ProcessFacts.hpp"

namespace tavrin {

/// The look-ups of a system whose /proc (proc(5)) is at `root`, a path without a slash at its end. Tests hand
/// in a directory of their own.
ProcessFacts processFactsIn(const std::string& root);

}  // namespace tavrin
