#pragma once

#include <string_view>

namespace tavrin {

/// Ends the process with SIGABRT after `message` on standard error: for the few sums of the panel's model
/// that cannot be right any more. Nothing that tavrin-hook runs comes here.
[[noreturn]] void fatalError(std::string_view message);

}  // namespace tavrin
