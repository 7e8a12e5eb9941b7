#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "TavrinCore/Agents/Agent.hpp"
#include "TavrinCore/Hook/HookAction.hpp"
#include "TavrinCore/Hook/HookEvent.hpp"
#include "TavrinCore/Sessions/Session.hpp"
#include "TavrinCore/Support/FixedList.hpp"

/// The state machine of sessions. It takes an event and the stored record, and returns the next record. It is
/// pure: the caller passes the time and the source of identifiers. All agents share one table of event names.
namespace tavrin::HookTransitions {

/// Names of tools or events.
using Names = FixedList<std::string_view, 4>;

/// Tools by which an agent asks its user a question.
inline constexpr Names questionTools = {"AskUserQuestion", "request_user_input"};
/// Events that open a tool call.
inline constexpr Names opensCall = {"PreToolUse", "BeforeTool"};
/// Events that close a tool call.
inline constexpr Names closesCall = {"PostToolUse", "PostToolUseFailure", "PermissionDenied", "AfterTool"};

/// The most open calls that a record keeps.
inline constexpr std::size_t mostCallsInFlight = 64;

/// What the event asks for, whatever is stored.
HookAction action(const HookEvent& event);

/// Corrects the action by the stored record and the calling agent. A session that waits for its user returns
/// to work only at an event that ends the wait. Without `agent`, the record's agent counts.
HookAction resolve(HookAction action, const HookEvent& event, const std::optional<Session>& current,
                   std::optional<Agent> agent);

/// The record of a session before its first event: idle since `date`, in the event's directory.
Session newRecord(const HookEvent& event, Agent agent, Date date);

/// The record after the event has set `state` at `date`. `previous` is the state of the stored record, or
/// nullopt for a new record.
Session advance(const Session& session, SessionState state, const HookEvent& event,
                std::optional<SessionState> previous, Date date, const UuidSource& makeId = Uuid::random);

/// The part of `advance` that updates `inFlight` and `waitingOn`. `session` already has its new state.
Session track(Session session, const HookEvent& event, std::optional<SessionState> previous);

/// The tool that needs the user, if the event names one.
std::optional<std::string> needsYouTool(const HookEvent& event);

}  // namespace tavrin::HookTransitions
