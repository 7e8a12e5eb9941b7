#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <array>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <optional>
#include <string>
#include <string_view>

namespace tavrin {

class HookPayload;

/// One hook invocation, in the same words for all agents.
struct HookEvent {
  std::string sessionId;  ///< never empty
  std::string eventName;  ///< never empty; a result of `normalizedEventName`
  std::string cwd;        ///< empty if the payload has none
  std::optional<std::string> toolName;
  std::optional<std::string> notificationType;
  std::optional<std::string> source;          ///< how a session started
  std::optional<std::string> toolUseId;       ///< identifies one tool call
  std::optional<std::string> agentId;         ///< the sub-agent that sent the event
  std::optional<std::string> transcriptPath;  ///< the agent's transcript file

  bool operator==(const HookEvent&) const = default;

  /// Why a JSON document is not an event. what() returns the raw value of the case.
  class ParseError : public std::exception {
   public:
    enum class Case : std::uint8_t { notAnObject, missingSessionId, missingEventName };

    explicit ParseError(Case value) : value_(value) {}
    Case value() const { return value_; }
    const char* what() const noexcept override;

   private:
    Case value_;
  };

  /// The event in a payload. `eventOverride` is the name from the command line. It counts only if the payload
  /// has no name. Throws ParseError.
  static HookEvent parse(const HookPayload& payload, const std::optional<std::string>& eventOverride);

  /// The same for the bytes of a payload. Also throws JsonError.
  static HookEvent parse(std::string_view bytes, const std::optional<std::string>& eventOverride);

  /// The common name of an agent's event: "UserPromptSubmit" for "userPromptSubmitted", "Stop" for
  /// "agentStop", and any other name with its first letter in upper case.
  static std::string normalizedEventName(std::string_view name);

  /// Whether a sub-agent sent the event.
  bool isFromSubagent() const;

  /// Identifies a tool call, the same at its start and at its end: `toolUseId`, or else "name:" and the
  /// tool's name. Returns nullopt if the event has neither.
  std::optional<std::string> callKey() const;
};

/// The name of a case in the log, such as "missingSessionId". A zero byte follows it.
constexpr std::string_view rawValue(HookEvent::ParseError::Case value) {
  constexpr std::array<std::string_view, 3> names = {"notAnObject", "missingSessionId", "missingEventName"};
  return names[static_cast<std::size_t>(value)];
}

}  // namespace tavrin
