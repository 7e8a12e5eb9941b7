#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <cstdint>
#include <string>
#include <vector>

#include "TavrinCore/Support/Date.hpp"

namespace tavrin {

/// One thing that a line of an agent's own file, or the process table, says about a session.
struct SessionFact {
  enum class Kind : std::uint8_t {
    turnStarted,   ///< the person sent a prompt
    output,        ///< the agent produces output again
    stepStarted,   ///< the agent sets to work: after a prompt, after an error, or by itself
    asked,         ///< the person is asked about `call`
    answered,      ///< the person answered about `call`, or about everything when `call` is empty
    callEnded,     ///< `call` has its result
    withdrawn,     ///< nobody is asked about `call` any more; another line says how it ended
    turnEnded,     ///< the turn ended by itself
    interrupted,   ///< the person stopped the turn
    refused,       ///< the person said no, which stopped the turn
    failed,        ///< an error stopped the turn
    sessionEnded,  ///< the session was closed
  };

  Kind kind = Kind::output;
  Date at;                   ///< when it happened, by the line's own time
  std::string call;          ///< the identifier of a tool call or question
  std::string command;       ///< asked: the shell command in question, if there is one
  bool isSubagents = false;  ///< whether a sub-agent's call or question; it may go on after the turn

  bool operator==(const SessionFact&) const = default;
};

/// What one line says.
struct LineEvidence {
  std::vector<SessionFact> facts;  ///< in the order of the line
  std::string subagent;     ///< the id of a sub-agent that the line names as the session's own; "" for none
  bool startsTurn = false;  ///< whether a turn starts here, so that earlier lines need not be read
  bool isKnown = true;      ///< false for a line of a kind that no reader knows

  bool operator==(const LineEvidence&) const = default;
};

}  // namespace tavrin
