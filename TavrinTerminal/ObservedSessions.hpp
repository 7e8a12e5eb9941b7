#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "TavrinCore/Sessions/Session.hpp"
#include "TavrinTerminal/Surroundings.hpp"

namespace tavrin {

/// A session as it is now, which may be more than its record says.
struct ObservedSession {
  Session record;
  SessionState state = SessionState::idle;
  Date since;                              ///< when it came into that state
  std::optional<std::string> reason = {};  ///< why, when that is not what hooks said

  bool operator==(const ObservedSession&) const = default;
};

/// All that one look at the sessions finds.
struct Observation {
  std::vector<ObservedSession> sessions;  ///< in no order; dead ones left out
  std::size_t unreadable = 0;             ///< files that hold no record
  /// When to look again although nothing is noticed: a session may then count as dead.
  std::optional<std::chrono::milliseconds> nextLook = {};
};

/// Looks once at the records of the home directory and at the processes that they name. A folder that is
/// missing or cannot be read has no sessions. Nothing is written.
Observation observedSessions(const Surroundings& surroundings);

/// The records with the observed state and time in the place of the stored ones, for the library's functions
/// that count, order and label.
std::vector<Session> asObserved(std::vector<ObservedSession> sessions);

/// The sessions in the order in which they are shown: the most urgent first. `withProbes` keeps those that an
/// application started for itself.
std::vector<ObservedSession> inShownOrder(std::vector<ObservedSession> sessions, std::string_view home,
                                          bool withProbes);

/// Whether the session of a record is over.
enum class Life : std::uint8_t { alive, unknown, dead };

/// Dead: its process is gone; or a process that started later has its id; or the machine was started after
/// the record was written; or it had a terminal and has none any more. Unknown: its process was not found,
/// and the record is less than a minute old. A record whose folder is not here (a shared home, a container)
/// is never dead, because its process is not here either.
Life lifeOf(const Session& session, const ProcessFacts& processes, Date now);

/// The sessions that are shown: each id once, and without those that an application started for itself.
std::vector<ObservedSession> withoutProbes(std::vector<ObservedSession> sessions, std::string_view home);

}  // namespace tavrin
