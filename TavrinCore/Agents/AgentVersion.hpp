#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <array>
#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "TavrinCore/Agents/AgentDefinition.hpp"

namespace tavrin {

/// The version of an agent's client, such as 2.1.197.
struct AgentVersion {
  std::int32_t majorNumber = 0;
  std::int32_t minorNumber = 0;
  std::int32_t patchNumber = 0;

  // clang-tidy 14 takes the comparisons that the compiler writes for comparisons with a null pointer.
  // NOLINTNEXTLINE(modernize-use-nullptr)
  std::strong_ordering operator<=>(const AgentVersion&) const = default;

  /// The first three numbers with dots between them in what `--version` prints or package.json says, such as
  /// "2.1.197 (Claude Code)" or "codex-cli 0.169.0"; nullopt when there are none, or one is beyond 999999.
  static std::optional<AgentVersion> parse(std::string_view text);

  /// "2.1.197"
  std::string text() const;
};

/// Which of an agent's events the installed versions accept.
///
/// Claude Code up to 2.1.100 drops the user's whole settings file, deny rules included, because of one event
/// name that it does not know; from 2.1.257 it shows a dialog at every start. The other agents ignore unknown
/// events in every version.
namespace AgentVersions {

/// From which version Claude Code accepts an event.
struct ClaudeEvent {
  std::string_view event;
  AgentVersion from;
};

/// The events beyond those that `claudeSafeFrom` accepts. Source: the clients that the npm registry offers
/// (package claude-code of Anthropic, November 2026), each started offline with the event in its settings.
inline constexpr std::array<ClaudeEvent, 4> claudeEvents = {{
    {"PermissionRequest", {2, 0, 45}},
    {"PostToolUseFailure", {2, 0, 56}},
    {"Elicitation", {2, 1, 63}},
    {"PermissionDenied", {2, 1, 88}},
}};

/// The first version that accepts all other events of the catalogue. Same source.
inline constexpr AgentVersion claudeSafeFrom = {1, 0, 85};

/// An event that is not registered, and why.
struct LeftOut {
  std::string_view event;
  std::string reason;  ///< such as "Claude Code 2.0.20 does not accept it; 2.0.45 does"

  bool operator==(const LeftOut&) const = default;
};

/// What to register with the installed versions.
struct Fit {
  AgentDefinition definition;          ///< the catalogue's, without the events that were left out
  std::vector<LeftOut> leftOut;        ///< in the order of the catalogue
  std::optional<std::string> refusal;  ///< why nothing may be registered, and which version to install

  bool operator==(const Fit&) const = default;
};

/// Fits `definition` to all installations that read the same settings file; the oldest decides. If any
/// version is not known (nullopt), or `installed` is empty, only events are left that every version from
/// `claudeSafeFrom` on accepts.
Fit fitted(const AgentDefinition& definition, const std::vector<std::optional<AgentVersion>>& installed);

}  // namespace AgentVersions

}  // namespace tavrin
