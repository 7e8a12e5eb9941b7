#pragma once

// Part of TavrinTerminal, which is not installed. Needs libuv and the standard library.

#include <string>
#include <string_view>
#include <vector>

#include "TavrinCore/Agents/Agent.hpp"
#include "TavrinCore/Agents/AgentReadiness.hpp"
#include "TavrinTerminal/AgentSurvey.hpp"
#include "TavrinTerminal/Surroundings.hpp"

namespace tavrin {

/// Where an agent stands: whether it is there, and whether its hooks work.
struct AgentStanding {
  Agent agent = Agent::claude;
  std::string name = {};        ///< such as "Claude Code"
  std::string version = {};     ///< of the client that a shell would start; "" when it is not known
  bool isPresent = false;       ///< there is a client, or a folder of its own
  bool wasStarted = false;      ///< there is a folder of its own
  bool isConnected = false;     ///< its settings hold Tavrin's hooks
  std::string settings = {};    ///< the path of its settings, with the home directory as "~"
  std::string executable = {};  ///< the client that a shell would start; "" for none
  /// `checking` until its client was asked whether it trusts the hooks.
  AgentReadiness readiness = AgentReadiness::checking();
  /// There is no client to ask whether it trusts the hooks. The readiness is then `inactive`, with a reason
  /// that says so, although the hooks may work: Codex can be started by other programs than `codex`.
  bool isTrustUnknown = false;

  /// A few words that sum this up, such as "not connected".
  std::string_view word() const;

  bool operator==(const AgentStanding&) const = default;
};

/// All agents, before anything is known about them.
std::vector<AgentStanding> unknownStandings();

/// What the settings and the survey show, without starting any client.
std::vector<AgentStanding> standingsOf(const std::vector<SurveyedAgent>& survey,
                                       const Surroundings& surroundings);

/// Asks the client of an agent that is `checking` whether it trusts the hooks. Takes up to 10 s. `interrupt`
/// as in ChildProcess::runAll.
AgentReadiness askedForTrust(const AgentStanding& standing, const Surroundings& surroundings, int interrupt);

}  // namespace tavrin
