#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <string_view>

namespace tavrin {

/// Prints `message` on standard error and aborts the process. The panel's model calls it where a sum
/// overflows. tavrin-hook never calls it.
[[noreturn]] void fatalError(std::string_view message);

}  // namespace tavrin
