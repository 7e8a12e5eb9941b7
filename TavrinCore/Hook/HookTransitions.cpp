#include "TavrinCore/Hook/HookTransitions.hpp"

#include <algorithm>
#include <array>
#include <vector>

namespace tavrin::HookTransitions {

namespace {

using enum SessionState;

// Events after which no call is open.
constexpr FixedList<std::string_view, 9> forgetsCalls = {
    "UserPromptSubmit", "Stop",        "StopFailure", "StopCancelled", "Interrupt",
    "SessionStart",     "BeforeAgent", "AfterAgent",  "Resumed",
};

constexpr Names needsYouNotificationTypes = {"permission_prompt", "ToolPermission", "elicitation_dialog"};

struct Row {
  std::string_view eventName;
  HookAction action;
};

// The events whose action never depends on anything else. Events that are not listed are ignored. Among them
// are "PreCompact", "PostCompact", "SubagentStart", "SubagentStop", "BeforeModel", "AfterModel",
// "BeforeToolSelection" and "PreCompress".
constexpr std::array<Row, 15> unconditional = {{
    {"UserPromptSubmit", HookAction::set(working)},
    {"PostToolUse", HookAction::set(working)},
    {"PostToolUseFailure", HookAction::set(working)},
    {"PermissionRequest", HookAction::set(needsYou)},
    {"Elicitation", HookAction::set(needsYou)},
    {"PermissionDenied", HookAction::set(working)},
    {"Stop", HookAction::set(idle)},
    {"StopFailure", HookAction::set(idle)},
    {"StopCancelled", HookAction::set(idle)},
    {"Interrupt", HookAction::set(idle)},
    {"Resumed", HookAction::set(working)},
    {"BeforeAgent", HookAction::set(working)},
    {"BeforeTool", HookAction::set(working)},
    {"AfterTool", HookAction::set(working)},
    {"AfterAgent", HookAction::set(idle)},
}};

bool isQuestion(const HookEvent& event) {
  return event.toolName && questionTools.contains(*event.toolName);
}

}  // namespace

HookAction action(const HookEvent& event) {
  const std::string& name = event.eventName;
  if (name == "SessionStart") return event.source == "compact" ? HookAction::ignore() : HookAction::set(idle);
  if (name == "SessionEnd") return HookAction::remove();
  if (name == "PreToolUse") return HookAction::set(isQuestion(event) ? needsYou : working);
  if (name == "Notification") {
    const bool asks = event.notificationType && needsYouNotificationTypes.contains(*event.notificationType);
    return asks ? HookAction::set(needsYou) : HookAction::ignore();
  }
  const auto* const row = std::ranges::find(unconditional, name, &Row::eventName);
  return row == unconditional.end() ? HookAction::ignore() : row->action;
}

HookAction resolve(HookAction action, const HookEvent& event, const std::optional<Session>& current,
                   std::optional<Agent> agent) {
  if (!agent && current) agent = current->agent;
  // Codex also asks for permissions that its user has already granted.
  if (agent == Agent::codex && event.eventName == "PermissionRequest") return HookAction::ignore();

  if (!current || current->state != needsYou || action != HookAction::set(working)) return action;

  // From here on the session waits for its user, and the event would return it to work.
  if (event.eventName == "PermissionDenied") return HookAction::set(working);
  if (closesCall.contains(event.eventName)) {
    const std::optional<std::string> closed = event.callKey();
    const bool waitsForMore = std::ranges::any_of(
        current->waitingOn, [&](const std::string& key) { return !closed || key != *closed; });
    return HookAction::set(waitsForMore ? needsYou : working);
  }
  // A sub-agent that starts another tool does not end the main agent's wait.
  if (opensCall.contains(event.eventName))
    return HookAction::set(event.isFromSubagent() ? needsYou : working);
  return HookAction::set(working);
}

Session newRecord(const HookEvent& event, Agent agent, Date date) {
  Session session;
  session.sessionId = event.sessionId;
  session.agent = agent;
  session.updatedAt = date;
  session.stateSince = date;
  session.cwd = event.cwd;
  return session;
}

Session advance(const Session& session, SessionState state, const HookEvent& event,
                std::optional<SessionState> previous, Date date, const UuidSource& makeId) {
  return track(session.applying(state, needsYouTool(event), date, makeId), event, previous);
}

Session track(Session session, const HookEvent& event, std::optional<SessionState> previous) {
  const bool opens = opensCall.contains(event.eventName);
  const std::optional<std::string> key = event.callKey();

  if (forgetsCalls.contains(event.eventName)) session.inFlight.clear();
  if (opens && key && std::ranges::find(session.inFlight, *key) == session.inFlight.end()) {
    session.inFlight.push_back(*key);
    if (session.inFlight.size() > mostCallsInFlight) {
      session.inFlight.erase(session.inFlight.begin(), session.inFlight.end() - mostCallsInFlight);
    }
  }
  if (closesCall.contains(event.eventName) && key) {
    std::erase(session.inFlight, *key);
    std::erase(session.waitingOn, *key);
  }

  if (session.state != needsYou) {
    session.waitingOn.clear();
  } else if (previous != needsYou) {
    // The wait begins. It is for the call that the event opens. If it opens none, it is for every open call.
    session.waitingOn = opens && key ? std::vector{*key} : session.inFlight;
  }
  return session;
}

std::optional<std::string> needsYouTool(const HookEvent& event) {
  if (event.eventName == "PreToolUse") return isQuestion(event) ? event.toolName : std::nullopt;
  if (event.eventName == "PermissionRequest") return event.toolName;
  return std::nullopt;
}

}  // namespace tavrin::HookTransitions
