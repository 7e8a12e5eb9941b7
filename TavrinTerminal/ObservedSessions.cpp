#include "TavrinTerminal/ObservedSessions.hpp"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "TavrinCore/Panel/PanelNavigation.hpp"
#include "TavrinCore/Sessions/SessionFileStore.hpp"
#include "TavrinCore/Support/File.hpp"

namespace tavrin {

namespace {

constexpr double startTolerance = 5;  // seconds between a hook's run and its record
constexpr double youngestDead = 60;   // seconds in which a process may not have been seen yet

}  // namespace

Life lifeOf(const Session& session, const ProcessFacts& processes, Date now) {
  const double updatedAt = secondsOf(session.updatedAt);
  Life life = Life::alive;
  if (updatedAt < secondsOf(processes.bootedAt())) {
    life = Life::dead;
  } else if (const std::optional<ProcessFact> process = processes.process(session.agentPid)) {
    const bool isAnother = secondsOf(process->startedAt) > updatedAt + startTolerance;
    if (isAnother || (session.tty && !process->terminal)) life = Life::dead;
  } else {
    life = secondsOf(now) - updatedAt < youngestDead ? Life::unknown : Life::dead;
  }
  return life == Life::dead && !File::isDirectory(session.cwd) ? Life::alive : life;
}

Observation observedSessions(const Surroundings& surroundings) {
  SessionFileStore::Loaded loaded = SessionFileStore(surroundings.sessionsDirectory()).loadAll();
  const Date now = surroundings.now();
  Observation observation = {.sessions = {}, .unreadable = loaded.corrupt.size()};
  observation.sessions.reserve(loaded.sessions.size());
  for (Session& session : loaded.sessions) {
    const Life life = lifeOf(session, surroundings.processes, now);
    if (life == Life::dead) continue;
    if (life == Life::unknown) {
      const double left = secondsOf(session.updatedAt) + youngestDead - secondsOf(now);
      const auto wait = std::chrono::ceil<std::chrono::milliseconds>(std::chrono::duration<double>(left));
      observation.nextLook = std::min(observation.nextLook.value_or(wait), wait);
    }
    const SessionState state = session.displayState();
    const Date since = session.stateSince;
    observation.sessions.push_back({.record = std::move(session), .state = state, .since = since});
  }
  return observation;
}

std::vector<Session> asObserved(std::vector<ObservedSession> sessions) {
  std::vector<Session> records;
  records.reserve(sessions.size());
  for (ObservedSession& session : sessions) {
    session.record.state = session.state;
    session.record.stateSince = session.since;
    records.push_back(std::move(session.record));
  }
  return records;
}

std::vector<ObservedSession> withoutProbes(std::vector<ObservedSession> sessions, std::string_view home) {
  std::unordered_set<std::string> ids;
  std::erase_if(sessions, [&](const ObservedSession& session) {
    return PanelNavigation::isProbe(session.record, home) || !ids.insert(session.record.sessionId).second;
  });
  return sessions;
}

std::vector<ObservedSession> inShownOrder(std::vector<ObservedSession> sessions, std::string_view home,
                                          bool withProbes) {
  // An id occurs twice only in records that somebody copied. The first is shown.
  std::unordered_map<std::string, std::size_t> byId;
  std::erase_if(sessions, [&](const ObservedSession& session) {
    return !byId.try_emplace(session.record.sessionId, byId.size()).second;
  });
  // No path lies in this home, so that nothing in it counts as a probe.
  constexpr std::string_view nowhere("\0", 1);
  const std::vector<Session> order =
      PanelNavigation::visible(asObserved(sessions), false, withProbes ? nowhere : home);
  std::vector<ObservedSession> shown;
  shown.reserve(order.size());
  for (const Session& record : order) shown.push_back(std::move(sessions[byId.at(record.sessionId)]));
  return shown;
}

}  // namespace tavrin
