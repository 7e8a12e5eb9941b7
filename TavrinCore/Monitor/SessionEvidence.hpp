#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "TavrinCore/Agents/Agent.hpp"
#include "TavrinCore/Context/ProcessFacts.hpp"
#include "TavrinCore/Monitor/SessionFact.hpp"
#include "TavrinCore/Sessions/SessionState.hpp"
#include "TavrinCore/Support/Date.hpp"

namespace tavrin {

/// What a file of an agent states about the present: this live process has this session open.
struct OpenSession {
  Agent agent = Agent::claude;
  std::string sessionId;
  std::int32_t pid = 0;
  std::string folder;  ///< the working directory; "" when it is not known
  std::optional<std::string> terminal;
  Date since;                         ///< when the session was opened
  std::optional<SessionState> state;  ///< what it does, if the file says so
  Date stateSince;                    ///< when that began

  bool operator==(const OpenSession&) const = default;
};

/// What an agent's own files and the process table say about one session beyond its hooks.
struct SessionEvidence {
  std::optional<OpenSession> open;
  bool isOpenByItsAgent = true;        ///< whether `open` names the record's agent or a child of it
  bool isClosed = false;               ///< the agent closed the session, or its terminal shows another one
  bool isSubagent = false;             ///< it belongs to another session
  std::vector<SessionFact> facts;      ///< of the present turn, the oldest first
  std::optional<ProcessFact> process;  ///< the record's agent, while it runs
  bool wasSeen = false;                ///< whether that process was ever seen running
  bool isFolderHere = true;            ///< whether the record's working directory exists

  bool operator==(const SessionEvidence&) const = default;
};

}  // namespace tavrin
