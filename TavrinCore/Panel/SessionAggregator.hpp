#pragma once

// Part of Tavrin::Panel. Needs nothing but the standard library.

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "TavrinCore/Sessions/Session.hpp"
#include "TavrinCore/Support/Home.hpp"

namespace tavrin {

/// How many sessions are in each state: the line in the menu bar.
struct SessionSummary {
  SessionState overall = SessionState::idle;  ///< the most urgent state
  std::int64_t working = 0;
  std::int64_t needsYou = 0;
  std::int64_t idle = 0;

  bool operator==(const SessionSummary&) const = default;

  /// Sessions that work or need the user. A sum beyond 64 bits ends the process.
  std::int64_t activeCount() const;

  /// All sessions. A sum beyond 64 bits ends the process.
  std::int64_t total() const;

  /// The counts that are not 0, as "2 burning · 1 needs you · 3 idle".
  std::string statusLine() const;
};

/// What is known of all sessions together. Each function looks at the stored state of a session.
namespace SessionAggregator {

/// Counts the sessions of each state.
SessionSummary summary(const std::vector<Session>& sessions);

/// The same for the states alone.
SessionSummary summaryOfStates(const std::vector<SessionState>& states);

/// The sessions sorted by state, the more urgent first, then by name (Session::projectName) in the order of
/// the user's language. Otherwise they keep their input order.
std::vector<Session> sorted(const std::vector<Session>& sessions, std::string_view home = Home::directory());

/// Sessions parted by whether their agent still runs.
struct Pruned {
  std::vector<Session> kept;
  std::vector<Session> dead;

  bool operator==(const Pruned&) const = default;
};

/// Parts the sessions whose agent still runs from the others, both in input order. `isAlive` is asked once
/// for each session.
Pruned prune(std::vector<Session> sessions, const std::function<bool(std::int32_t agentPid)>& isAlive);

}  // namespace SessionAggregator

}  // namespace tavrin
