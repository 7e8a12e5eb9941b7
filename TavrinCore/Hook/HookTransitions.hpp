#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "TavrinCore/Agents/Agent.hpp"
#include "TavrinCore/Hook/HookAction.hpp"
#include "TavrinCore/Hook/HookEvent.hpp"
#include "TavrinCore/Sessions/Session.hpp"
#include "TavrinCore/Support/FixedList.hpp"

/// The session state machine: one event and the stored record go in, the record's next state comes out. It is
/// pure; the time and new identifiers are handed in. One table of event names serves all agents.
namespace tavrin::HookTransitions {

/// Names of tools or events.
using Names = FixedList<std::string_view, 4>;

/// Tools by which an agent asks its user a question.
inline constexpr Names questionTools = {"AskUserQuestion", "request_user_input"};
/// Events that open a tool call.
inline constexpr Names opensCall = {"PreToolUse", "BeforeTool"};
/// Events that close a tool call.
inline constexpr Names closesCall = {"PostToolUse", "PostToolUseFailure", "PermissionDenied", "AfterTool"};

/// How many open calls a record remembers.
inline constexpr std::size_t mostCallsInFlight = 64;

/// What the event calls for by itself, whatever is stored.
HookAction action(const HookEvent& event);

/// The action corrected against the stored record and the calling agent: a session that waits for its user
/// goes back to work only by an event that ends the wait. `agent` is the record's own when not given.
HookAction resolve(HookAction action, const HookEvent& event, const std::optional<Session>& current,
                   std::optional<Agent> agent);

/// The record that a session's first event starts from: idle since `date`, in the event's directory.
Session newRecord(const HookEvent& event, Agent agent, Date date);

/// The record after the event has set `state` at the time `date`. `previous` is the state of the stored
/// record, nothing for a new one.
Session advance(const Session& session, SessionState state, const HookEvent& event,
                std::optional<SessionState> previous, Date date, const UuidSource& makeId = Uuid::random);

/// The part of `advance` that keeps `inFlight` and `waitingOn`; `session` has its new state already.
Session track(Session session, const HookEvent& event, std::optional<SessionState> previous);

/// The tool to show as the reason for needing the user, if the event names one.
std::optional<std::string> needsYouTool(const HookEvent& event);

}  // namespace tavrin::HookTransitions
