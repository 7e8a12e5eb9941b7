#pragma once

// Part of TavrinTerminal, which is not installed. Needs nothing but the standard library.

#include <string>
#include <string_view>

namespace tavrin {

/// `word` as one word of a shell's command line (sh(1), "Quoting"), for a person to paste.
std::string shellWord(std::string_view word);

}  // namespace tavrin
