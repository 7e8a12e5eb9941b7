#pragma once

// Part of TavrinTerminal, which is not installed. Needs nothing but the standard library.

#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "TavrinTerminal/SessionRows.hpp"

namespace tavrin {

/// Why a word names no session.
struct NoSession {
  bool isAmbiguous = false;
  std::string error;  ///< a sentence; if there are several candidates, they follow, one per line
};

/// The row that a SESSION word means: the one with that id; else the only one whose id begins with it or
/// whose project has that name. A word that fits several is refused.
std::variant<const SessionRow*, NoSession> sessionNamed(std::string_view word,
                                                        const std::vector<SessionRow>& rows);

}  // namespace tavrin
