#include "TavrinCore/Hook/HookEvent.hpp"

#include "TavrinCore/Hook/HookPayload.hpp"
#include "TavrinCore/Support/Text.hpp"

namespace tavrin {

const char* HookEvent::ParseError::what() const noexcept {
  return rawValue(value_).data();
}

HookEvent HookEvent::parse(const HookPayload& payload, const std::optional<std::string>& eventOverride) {
  using enum ParseError::Case;
  if (!payload.isObject()) throw ParseError(notAnObject);

  HookEvent event;
  // The payload's own name replaces the override, even if it is empty.
  if (eventOverride) event.eventName = *eventOverride;
  payload.fill(event);
  if (event.sessionId.empty()) throw ParseError(missingSessionId);
  if (event.eventName.empty()) throw ParseError(missingEventName);
  event.eventName = normalizedEventName(event.eventName);
  return event;
}

HookEvent HookEvent::parse(std::string_view bytes, const std::optional<std::string>& eventOverride) {
  return parse(HookPayload(bytes), eventOverride);
}

std::string HookEvent::normalizedEventName(std::string_view name) {
  if (name == "userPromptSubmitted") return "UserPromptSubmit";
  if (name == "agentStop") return "Stop";
  return Text::upperCasedFirst(name);
}

bool HookEvent::isFromSubagent() const {
  return agentId && !agentId->empty();
}

std::optional<std::string> HookEvent::callKey() const {
  if (toolUseId && !toolUseId->empty()) return toolUseId;
  if (toolName && !toolName->empty()) return "name:" + *toolName;
  return std::nullopt;
}

}  // namespace tavrin
