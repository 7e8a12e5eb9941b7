#pragma once

// Part of TavrinTerminal, which is not installed. Needs nothing but the standard library.

#include <string>
#include <string_view>

namespace tavrin {

/// The differences between two texts as a unified diff (diffutils(1), "Unified Format") with three lines of
/// context: two headline lines with `oldName` and `newName`, then the hunks. "" when the texts are equal.
/// Texts with more than 1,000 changed lines are shown as removed and added whole.
std::string unifiedDiff(std::string_view oldText, std::string_view newText, std::string_view oldName,
                        std::string_view newName);

}  // namespace tavrin
