#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <string_view>

/// Parts of a process's arguments that may be paths.
namespace tavrin::CommandLine {

/// What follows the last "/", or the whole text if it has none. Unlike Path::lastComponent, it keeps a slash
/// at the end, so "bin/" gives "".
std::string_view afterLastSlash(std::string_view argument);

/// A name without its last "." and what follows it.
std::string_view stem(std::string_view component);

/// What follows the last "." of a name, or "" if it has none.
std::string_view extension(std::string_view component);

}  // namespace tavrin::CommandLine
