#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <string_view>

namespace tavrin {

/// Separates the parts of a line: a middle dot between two spaces.
inline constexpr std::string_view dotSeparator = " \u00b7 ";

}  // namespace tavrin
