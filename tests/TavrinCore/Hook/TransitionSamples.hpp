#pragma once

#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "TavrinCore/Hook/HookAction.hpp"
#include "TavrinCore/Hook/HookEvent.hpp"
#include "TavrinCore/Sessions/Session.hpp"
#include "TavrinCore/Sessions/SessionState.hpp"

namespace tavrin {

// Prints actions, events and records in the messages of failing tests.

inline void PrintTo(const HookAction& action, std::ostream* out) {
  if (action.isRemove()) *out << "delete";
  if (action.isIgnore()) *out << "ignore";
  if (action.state()) *out << "set(" << rawValue(*action.state()) << ")";
}

inline void PrintTo(const HookEvent& event, std::ostream* out) {
  const auto field = [out](const char* name, const std::optional<std::string>& value) {
    if (value) *out << ' ' << name << "=\"" << *value << '"';
  };
  *out << '"' << event.eventName << '"';
  field("tool", event.toolName);
  field("id", event.toolUseId);
  field("agentId", event.agentId);
  field("source", event.source);
  field("type", event.notificationType);
}

inline void PrintTo(const Session& session, std::ostream* out) {
  *out << session.encode();
}

namespace test {

// Sample actions, events and records for tests of the state machine.

inline constexpr HookAction idle = HookAction::set(SessionState::idle);
inline constexpr HookAction working = HookAction::set(SessionState::working);
inline constexpr HookAction needsYou = HookAction::set(SessionState::needsYou);
inline constexpr HookAction remove = HookAction::remove();
inline constexpr HookAction ignore = HookAction::ignore();

inline HookEvent event(std::string name) {
  HookEvent event;
  event.sessionId = "session";
  event.eventName = std::move(name);
  return event;
}

inline HookEvent toolEvent(std::string name, std::string tool, std::string id = "") {
  HookEvent result = event(std::move(name));
  result.toolName = std::move(tool);
  if (!id.empty()) result.toolUseId = std::move(id);
  return result;
}

inline HookEvent notification(std::string type) {
  HookEvent result = event("Notification");
  result.notificationType = std::move(type);
  return result;
}

inline HookEvent start(std::string source) {
  HookEvent result = event("SessionStart");
  result.source = std::move(source);
  return result;
}

inline HookEvent fromSubagent(HookEvent event) {
  event.agentId = "sub-1";
  return event;
}

inline Session sessionOf(Agent agent, SessionState state) {
  Session session;
  session.sessionId = "session";
  session.agent = agent;
  session.state = state;
  return session;
}

inline Session waitingFor(std::vector<std::string> calls) {
  Session session = sessionOf(Agent::claude, SessionState::needsYou);
  session.attentionId = "THE-ID";
  session.inFlight = calls;
  session.waitingOn = std::move(calls);
  return session;
}

}  // namespace test
}  // namespace tavrin
