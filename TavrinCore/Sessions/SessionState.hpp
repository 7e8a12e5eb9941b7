#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tavrin {

/// What a session is doing; a later state is more urgent.
enum class SessionState : std::uint8_t { idle, working, needsYou };

/// All states, the least urgent first.
inline constexpr std::array allSessionStates = {SessionState::idle, SessionState::working,
                                                SessionState::needsYou};

/// The name used in files, such as "needsYou".
std::string_view rawValue(SessionState state);

/// The state whose raw value is exactly `text`, if there is one.
std::optional<SessionState> sessionStateFromRawValue(std::string_view text);

/// 0 for idle to 2 for needsYou.
int severity(SessionState state);

/// What a person reads within a line; a working session is called "burning".
std::string_view label(SessionState state);

/// The label as it stands alone, with its first letter upper-cased.
std::string pillLabel(SessionState state);

}  // namespace tavrin
