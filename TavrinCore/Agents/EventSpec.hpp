#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <cstdint>
#include <optional>
#include <string_view>

#include "TavrinCore/Support/FixedList.hpp"

/// Which hooks belong to Tavrin, and how they are written into an agent's settings.
namespace tavrin::HookSettings {

/// An entry whose command contains this text is Tavrin's, wherever tavrin-hook is installed. Each path of
/// tavrin-hook that is written into settings ends with it.
inline constexpr std::string_view marker = "/Tavrin/bin/tavrin-hook";

/// One hook event to register in an agent's settings.
struct EventSpec {
  std::string_view name;                    ///< the agent's own event name, the key under "hooks"
  std::optional<std::string_view> matcher;  ///< written beside the entry when present
  std::int64_t timeout = 5;                 ///< written into the entry, in the agent's own unit

  bool operator==(const EventSpec&) const = default;
};

/// The events of one agent, in the order in which they are registered.
using EventList = FixedList<EventSpec, 16>;

/// The events registered with Claude Code.
inline constexpr EventList claudeEvents = {
    {"SessionStart", {}},
    {"UserPromptSubmit", {}},
    {"PreToolUse", {}},
    {"PostToolUse", {}},
    {"PostToolUseFailure", {}},
    {"PermissionRequest", {}},
    {"PermissionDenied", {}},
    {"Elicitation", {}},
    {"Notification", "permission_prompt"},
    {"Stop", {}},
    {"SessionEnd", {}},
};

}  // namespace tavrin::HookSettings
