#include "tests/TavrinCore/Hook/TransitionTable.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace tavrin::test::TransitionTable {

namespace {

constexpr HookAction idle = HookAction::set(SessionState::idle);
constexpr HookAction working = HookAction::set(SessionState::working);
constexpr HookAction needsYou = HookAction::set(SessionState::needsYou);
constexpr HookAction remove = HookAction::remove();
constexpr HookAction ignore = HookAction::ignore();

enum class When : std::uint8_t { always, sourceIsCompact, toolIsQuestion, typeAsksUser };

struct ActionRow {
  std::string_view event;
  When when;
  HookAction action;
};

// The first row that fits counts; an event without a row is ignored.
constexpr auto actionRows = std::to_array<ActionRow>({
    {"SessionStart", When::sourceIsCompact, ignore},
    {"SessionStart", When::always, idle},
    {"UserPromptSubmit", When::always, working},
    {"PostToolUse", When::always, working},
    {"PostToolUseFailure", When::always, working},
    {"PreToolUse", When::toolIsQuestion, needsYou},
    {"PreToolUse", When::always, working},
    {"PermissionRequest", When::always, needsYou},
    {"Elicitation", When::always, needsYou},
    {"PermissionDenied", When::always, working},
    {"Notification", When::typeAsksUser, needsYou},
    {"Notification", When::always, ignore},
    {"Stop", When::always, idle},
    {"StopFailure", When::always, idle},
    {"StopCancelled", When::always, idle},
    {"Interrupt", When::always, idle},
    {"Resumed", When::always, working},
    {"PreCompact", When::always, ignore},
    {"PostCompact", When::always, ignore},
    {"SubagentStart", When::always, ignore},
    {"SubagentStop", When::always, ignore},
    {"BeforeAgent", When::always, working},
    {"BeforeTool", When::always, working},
    {"AfterTool", When::always, working},
    {"AfterAgent", When::always, idle},
    {"BeforeModel", When::always, ignore},
    {"AfterModel", When::always, ignore},
    {"BeforeToolSelection", When::always, ignore},
    {"PreCompress", When::always, ignore},
    {"SessionEnd", When::always, remove},
});

enum class Calls : std::uint8_t { opens, closes, forgets };

struct CallsRow {
  std::string_view event;
  Calls calls;
};

// What an event does to the list of open calls. An event without a row does nothing.
constexpr auto callsRows = std::to_array<CallsRow>({
    {"PreToolUse", Calls::opens},
    {"BeforeTool", Calls::opens},
    {"PostToolUse", Calls::closes},
    {"PostToolUseFailure", Calls::closes},
    {"PermissionDenied", Calls::closes},
    {"AfterTool", Calls::closes},
    {"UserPromptSubmit", Calls::forgets},
    {"Stop", Calls::forgets},
    {"StopFailure", Calls::forgets},
    {"StopCancelled", Calls::forgets},
    {"Interrupt", Calls::forgets},
    {"SessionStart", Calls::forgets},
    {"BeforeAgent", Calls::forgets},
    {"AfterAgent", Calls::forgets},
    {"Resumed", Calls::forgets},
});

bool isQuestion(const std::optional<std::string>& tool) {
  return tool == "AskUserQuestion" || tool == "request_user_input";
}

bool asksUser(const std::optional<std::string>& notificationType) {
  return notificationType == "permission_prompt" || notificationType == "ToolPermission" ||
         notificationType == "elicitation_dialog";
}

bool holds(When when, const HookEvent& event) {
  switch (when) {
    case When::always:
      return true;
    case When::sourceIsCompact:
      return event.source == "compact";
    case When::toolIsQuestion:
      return isQuestion(event.toolName);
    case When::typeAsksUser:
      return asksUser(event.notificationType);
  }
  return false;
}

bool does(const HookEvent& event, Calls calls) {
  for (const CallsRow& row : callsRows) {
    if (row.event == event.eventName) return row.calls == calls;
  }
  return false;
}

// Empty if the event names no call.
std::string keyOf(const HookEvent& event) {
  if (event.toolUseId && !event.toolUseId->empty()) return *event.toolUseId;
  if (event.toolName && !event.toolName->empty()) return "name:" + *event.toolName;
  return "";
}

std::vector<std::string> without(const std::vector<std::string>& keys, const std::string& key) {
  std::vector<std::string> rest;
  for (const std::string& each : keys) {
    if (key.empty() || each != key) rest.push_back(each);
  }
  return rest;
}

bool holdsKey(const std::vector<std::string>& keys, const std::string& key) {
  return std::ranges::count(keys, key) > 0;
}

}  // namespace

HookAction action(const HookEvent& event) {
  for (const ActionRow& row : actionRows) {
    if (row.event == event.eventName && holds(row.when, event)) return row.action;
  }
  return ignore;
}

HookAction resolve(HookAction wanted, const HookEvent& event, const std::optional<Session>& stored,
                   std::optional<Agent> agent) {
  std::optional<Agent> caller = agent;
  if (!caller && stored) caller = stored->agent;
  if (caller == Agent::codex && event.eventName == "PermissionRequest") return ignore;

  if (!stored) return wanted;
  if (stored->state == SessionState::idle) return wanted;
  if (stored->state == SessionState::working) return wanted;
  if (wanted != working) return wanted;

  // The session waits for the user, and the event would set it to working.
  if (event.eventName == "PermissionDenied") return working;
  if (does(event, Calls::closes)) {
    const bool othersLeft = !without(stored->waitingOn, keyOf(event)).empty();
    return othersLeft ? needsYou : working;
  }
  if (does(event, Calls::opens)) {
    const bool fromSubagent = event.agentId && !event.agentId->empty();
    return fromSubagent ? needsYou : working;
  }
  return working;
}

Session advance(const Session& stored, SessionState target, const HookEvent& event,
                std::optional<SessionState> previous, Date date, const std::string& freshId) {
  Session next = stored;

  // State and times.
  next.updatedAt = date;
  next.state = target;
  if (stored.state != target) next.stateSince = date;

  // Attention.
  std::optional<std::string> tool;
  if (event.eventName == "PreToolUse" && isQuestion(event.toolName)) tool = event.toolName;
  if (event.eventName == "PermissionRequest") tool = event.toolName;
  const bool asked = stored.state == SessionState::needsYou;
  const bool asks = target == SessionState::needsYou;
  if (!asks) {
    next.needsYouTool = std::nullopt;
    next.attentionId = std::nullopt;
    next.attentionTranscriptOffset = std::nullopt;
  }
  if (asks && !asked) {
    next.needsYouTool = tool;
    next.attentionId = freshId;
    next.attentionTranscriptOffset = std::nullopt;
  }
  if (asks && asked) {
    if (tool) next.needsYouTool = tool;
    if (!stored.attentionId) next.attentionId = freshId;
  }

  // Open calls.
  const std::string key = keyOf(event);
  if (does(event, Calls::forgets)) next.inFlight = {};
  if (does(event, Calls::opens) && !key.empty() && !holdsKey(next.inFlight, key)) {
    std::vector<std::string> calls = next.inFlight;
    calls.push_back(key);
    while (calls.size() > 64) calls.erase(calls.begin());
    next.inFlight = calls;
  }
  if (does(event, Calls::closes) && !key.empty()) {
    next.inFlight = without(next.inFlight, key);
    next.waitingOn = without(next.waitingOn, key);
  }

  // The calls that the user is asked about.
  const bool wasAsking = previous == SessionState::needsYou;
  if (!asks) next.waitingOn = {};
  if (asks && !wasAsking) {
    next.waitingOn = next.inFlight;
    if (does(event, Calls::opens) && !key.empty()) next.waitingOn = {key};
  }
  return next;
}

}  // namespace tavrin::test::TransitionTable
