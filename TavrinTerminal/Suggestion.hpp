#pragma once

// Part of TavrinTerminal, which is not installed. Needs nothing but the standard library.

#include <string>
#include <string_view>
#include <vector>

namespace tavrin::Suggestion {

/// Which of the `known` words a mistyped word may have meant: one or two of them, the first one first. None
/// if no word is near, or if more than two are equally near. A word that begins with the mistyped one is
/// nearest. Otherwise a third of the letters of the mistyped word may be wrong, and at least one. A wrong
/// letter is one that is missing, extra or another, or two neighbours that are swapped. Upper and lower case
/// are the same, and so are one and two dashes in front.
std::vector<std::string_view> nearest(std::string_view mistyped, const std::vector<std::string_view>& known);

/// That there is no such word, and what it may have meant, for example: There is no command "stats". Did you
/// mean "status"? `kind` is "command" here.
std::string noneOf(std::string_view kind, std::string_view word, const std::vector<std::string_view>& known);

}  // namespace tavrin::Suggestion
