#pragma once

#include <string_view>

namespace tavrin {

/// What stands between the parts of a line: a middle dot between blanks.
inline constexpr std::string_view dotSeparator = " \u00b7 ";

}  // namespace tavrin
