#include "TavrinCore/Hook/HookPayload.hpp"

#include <array>
#include <cstdint>
#include <initializer_list>

namespace tavrin {

namespace {

enum Key : std::uint8_t {
  session_id,
  sessionId,
  hook_event_name,
  hookEventName,
  cwd,
  tool_name,
  toolName,
  notification_type,
  notificationType,
  source,
  tool_use_id,
  toolUseId,
  tool_call_id,
  toolCallId,
  agent_id,
  agentId,
  transcript_path,
  transcriptPath,
  cursor_version,
  workspaceRoot,
  keyCount,
};

constexpr std::array<std::string_view, keyCount> names = {
    "session_id",  "sessionId",       "hook_event_name",   "hookEventName",    "cwd",
    "tool_name",   "toolName",        "notification_type", "notificationType", "source",
    "tool_use_id", "toolUseId",       "tool_call_id",      "toolCallId",       "agent_id",
    "agentId",     "transcript_path", "transcriptPath",    "cursor_version",   "workspaceRoot",
};

std::optional<std::string> firstText(const JsonFields& fields, std::initializer_list<Key> spellings) {
  for (const Key key : spellings) {
    if (const std::string* text = fields[key].asText()) return *text;
  }
  return std::nullopt;
}

bool has(const JsonFields& fields, Key key) {
  return fields[key].kind != JsonField::Kind::absent;
}

}  // namespace

std::span<const std::string_view> HookPayload::keys() {
  return names;
}

HookPayload::HookPayload(std::string_view bytes) : fields_(JsonFields::ofMessage(bytes, names)) {}

bool HookPayload::hasCursorVersion() const {
  return has(fields_, Key::cursor_version);
}
bool HookPayload::hasWorkspaceRoot() const {
  return has(fields_, Key::workspaceRoot);
}

std::optional<std::string> HookPayload::sessionId() const {
  return firstText(fields_, {Key::session_id, Key::sessionId});
}

std::optional<std::string> HookPayload::eventName() const {
  return firstText(fields_, {Key::hook_event_name, Key::hookEventName});
}

std::optional<std::string> HookPayload::cwd() const {
  return firstText(fields_, {Key::cwd});
}

std::optional<std::string> HookPayload::toolName() const {
  return firstText(fields_, {Key::tool_name, Key::toolName});
}

std::optional<std::string> HookPayload::notificationType() const {
  return firstText(fields_, {Key::notification_type, Key::notificationType});
}

std::optional<std::string> HookPayload::source() const {
  return firstText(fields_, {Key::source});
}

std::optional<std::string> HookPayload::toolUseId() const {
  return firstText(fields_, {Key::tool_use_id, Key::toolUseId, Key::tool_call_id, Key::toolCallId});
}

std::optional<std::string> HookPayload::agentId() const {
  return firstText(fields_, {Key::agent_id, Key::agentId});
}

std::optional<std::string> HookPayload::transcriptPath() const {
  return firstText(fields_, {Key::transcript_path, Key::transcriptPath});
}

}  // namespace tavrin
