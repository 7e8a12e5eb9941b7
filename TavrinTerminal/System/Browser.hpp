#pragma once

// Part of TavrinTerminal, which is not installed. Needs nothing but the standard library.

#include <optional>
#include <string>
#include <string_view>

namespace tavrin {

/// Opens a URL in the user's browser: with open(1) on macOS, with xdg-open(1) from PATH elsewhere. Returns
/// nullopt once that program has ended well, else a sentence that says why it did not.
std::optional<std::string> openInBrowser(const std::string& url, std::string_view pathVariable);

}  // namespace tavrin
