#pragma once

#include <string_view>

/// Pieces of a process's arguments that are read as paths.
namespace tavrin::CommandLine {

/// What follows the last "/": "" when nothing does, the whole text when there is none.
std::string_view lastComponent(std::string_view argument);

/// A last component without its last "." and what follows that.
std::string_view stem(std::string_view component);

/// What follows the last "." of a last component; "" when there is none.
std::string_view extension(std::string_view component);

}  // namespace tavrin::CommandLine
