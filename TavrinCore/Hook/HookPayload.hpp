#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "TavrinCore/Support/Json/JsonFields.hpp"

namespace tavrin {

/// One message of an agent to its hook, read once: of a JSON object that may hold a megabyte, the few fields
/// that name its sender and make an event.
class HookPayload {
 public:
  /// The keys of all fields that a payload is asked for; of anything else a JsonSkimmer may empty the strings
  /// beforehand.
  static std::span<const std::string_view> keys();

  /// Reads the bytes of standard input. Throws JsonError when they are not JSON.
  explicit HookPayload(std::string_view bytes);

  /// False for an array, a text, a number or another bare value.
  bool isObject() const { return fields_.isObject(); }

  // Marks of tools that run the hooks of others.
  bool hasCursorVersion() const;
  bool hasWorkspaceRoot() const;

  // Agents spell the same key in two ways. The first is tried first; where its value is no string, the
  // second.
  std::optional<std::string> sessionId() const;         ///< "session_id", "sessionId"
  std::optional<std::string> eventName() const;         ///< "hook_event_name", "hookEventName"
  std::optional<std::string> cwd() const;               ///< "cwd"
  std::optional<std::string> toolName() const;          ///< "tool_name", "toolName"
  std::optional<std::string> notificationType() const;  ///< "notification_type", "notificationType"
  std::optional<std::string> source() const;            ///< "source"
  std::optional<std::string> toolUseId() const;  ///< "tool_use_id", "toolUseId", "tool_call_id", "toolCallId"
  std::optional<std::string> agentId() const;    ///< "agent_id", "agentId"
  std::optional<std::string> transcriptPath() const;  ///< "transcript_path", "transcriptPath"

 private:
  JsonFields fields_;
};

}  // namespace tavrin
