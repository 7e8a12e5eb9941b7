#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <optional>
#include <string>
#include <string_view>

namespace tavrin {

class HookPayload;

/// One hook invocation in one vocabulary, whichever agent sent it and however that spells its keys.
struct HookEvent {
  std::string sessionId;  ///< never empty
  std::string eventName;  ///< never empty; as `normalizedEventName` gives it
  std::string cwd;        ///< empty when the payload has none
  std::optional<std::string> toolName;
  std::optional<std::string> notificationType;
  std::optional<std::string> source;          ///< how a session started
  std::optional<std::string> toolUseId;       ///< one tool use, also called a tool call
  std::optional<std::string> agentId;         ///< the sub-agent that the event is of
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

  /// The event of a payload. `eventOverride`, from the command line, names the event only when the payload
  /// does not. Throws ParseError.
  static HookEvent parse(const HookPayload& payload, const std::optional<std::string>& eventOverride);

  /// The same for the bytes of a payload. Throws JsonError, too.
  static HookEvent parse(std::string_view bytes, const std::optional<std::string>& eventOverride);

  /// An agent's event name in the common vocabulary: two names that are words of their own are translated,
  /// and any other starts with a capital.
  static std::string normalizedEventName(std::string_view name);

  /// Whether a sub-agent sent it.
  bool isFromSubagent() const;

  /// What tells one tool call from another, the same at its start and its end: the tool use's id or, without
  /// one, "name:" and the tool's name; nothing when the event has neither.
  std::optional<std::string> callKey() const;
};

/// The name of a case in the log, such as "missingSessionId". A zero byte follows it.
constexpr std::string_view rawValue(HookEvent::ParseError::Case value) {
  constexpr std::array<std::string_view, 3> names = {"notAnObject", "missingSessionId", "missingEventName"};
  return names[static_cast<std::size_t>(value)];
}

}  // namespace tavrin
