#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <string_view>

namespace tavrin {

/// Throws a std::system_error of the generic category. Its what() is "`operation` `path`: `reason`" in UTF-8.
/// A very long path is cut off. `code` is the value of errno right after the failed call. 0 becomes EIO.
[[noreturn]] void throwPosixError(int code, std::string_view operation, std::string_view path);

}  // namespace tavrin
