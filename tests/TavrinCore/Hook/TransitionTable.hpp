#pragma once

#include <optional>
#include <string>

#include "TavrinCore/Agents/Agent.hpp"
#include "TavrinCore/Hook/HookAction.hpp"
#include "TavrinCore/Hook/HookEvent.hpp"
#include "TavrinCore/Sessions/Session.hpp"

/// A second, flat form of the state machine: rows of data, and the rules of a record's life one after the
/// other. It shares only the plain types of events, actions and records with the library, and none of its
/// code, so a test can compare the two.
namespace tavrin::test::TransitionTable {

/// The action that the event by itself asks for.
HookAction action(const HookEvent& event);

/// The action that is left of `wanted` for a session whose record is `stored`. `agent` is the one that calls,
/// if known.
HookAction resolve(HookAction wanted, const HookEvent& event, const std::optional<Session>& stored,
                   std::optional<Agent> agent);

/// The record `stored` after the event has set it to `target` at `date`. `previous` is the state before, or
/// nullopt for a new record. `freshId` is the identifier for a new stretch of attention.
Session advance(const Session& stored, SessionState target, const HookEvent& event,
                std::optional<SessionState> previous, Date date, const std::string& freshId);

}  // namespace tavrin::test::TransitionTable
