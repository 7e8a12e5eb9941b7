#pragma once

// Part of TavrinTerminal, which is not installed. Needs nothing but the standard library.

#include <string>
#include <string_view>
#include <vector>

#include "TavrinCore/Panel/SessionAggregator.hpp"
#include "TavrinTerminal/ObservedSessions.hpp"
#include "TavrinTerminal/Surroundings.hpp"

namespace tavrin {

/// A session with the texts that every command shows of it, cleaned.
struct SessionRow {
  ObservedSession session;
  std::string label;     ///< what distinguishes it from the others
  std::string project;   ///< its name
  std::string tool;      ///< the tool that waits for the user; ""
  std::string terminal;  ///< "tmux:3.1", "pts/3", "elsewhere" where its folder is not on this machine; ""
  bool reachable = false;
};

/// Rows for sessions, in their order. Labels are chosen among these sessions.
std::vector<SessionRow> sessionRows(std::vector<ObservedSession> sessions, const Surroundings& surroundings);

/// The same with known places, one for each session. A missing place is unknown.
std::vector<SessionRow> sessionRows(std::vector<ObservedSession> sessions, std::vector<SessionPlace> places,
                                    std::string_view home);

/// How long a session has been in its state, such as "2m".
std::string ageOf(const ObservedSession& session, Date now);

/// The counts of sessions by the state that is observed.
SessionSummary summaryOf(const std::vector<ObservedSession>& sessions);

/// A row as an object of the JSON documents (docs/list.schema.json).
std::string jsonOf(const SessionRow& row);

/// A summary as the members of an object: "needsYou", "working", "idle" and "line".
std::string jsonOf(const SessionSummary& summary);

}  // namespace tavrin
