#pragma once

#include <optional>
#include <string>

#include "TavrinCore/Agents/Agent.hpp"
#include "TavrinCore/Hook/HookAction.hpp"
#include "TavrinCore/Hook/HookEvent.hpp"
#include "TavrinCore/Sessions/Session.hpp"

/// The state machine a second time, as flat as it can be written: rows of data, and the rules of a record's
/// life one after the other. It shares the plain types of events, actions and records with the library, and
/// none of its code, so that the two can be held against each other.
namespace tavrin::test::TransitionTable {

/// What the event calls for by itself.
HookAction action(const HookEvent& event);

/// What becomes of `wanted` for a session whose record is `stored`. `agent` is the one that calls, if known.
HookAction resolve(HookAction wanted, const HookEvent& event, const std::optional<Session>& stored,
                   std::optional<Agent> agent);

/// The record `stored` after the event has set it to `target` at `date`. `previous` is the state it had
/// before, nothing for a new record; `freshId` is the identifier that a new stretch of attention gets.
Session advance(const Session& stored, SessionState target, const HookEvent& event,
                std::optional<SessionState> previous, Date date, const std::string& freshId);

}  // namespace tavrin::test::TransitionTable
