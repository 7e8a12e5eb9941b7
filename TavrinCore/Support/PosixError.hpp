#pragma once

#include <string_view>

namespace tavrin {

/// Throws a std::system_error of the generic category whose what() reads "`operation` `path`: `reason`", a
/// very long path cut off, and as UTF-8 whatever the path is. `code` is an errno value taken right after the
/// failing call; 0, which is no error, becomes EIO.
[[noreturn]] void throwPosixError(int code, std::string_view operation, std::string_view path);

}  // namespace tavrin
