#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tavrin {

/// What a session is doing. A later state is more urgent.
enum class SessionState : std::uint8_t { idle, working, needsYou };

/// All states, the least urgent first.
inline constexpr std::array allSessionStates = {SessionState::idle, SessionState::working,
                                                SessionState::needsYou};

/// The name used in files, such as "needsYou".
std::string_view rawValue(SessionState state);

/// The state whose raw value is `text`, or nullopt.
std::optional<SessionState> sessionStateFromRawValue(std::string_view text);

/// 0 for idle to 2 for needsYou.
int severity(SessionState state);

/// The name to show within a line. A working session is "burning".
std::string_view label(SessionState state);

/// The label with its first letter in upper case, to stand alone.
std::string pillLabel(SessionState state);

}  // namespace tavrin
