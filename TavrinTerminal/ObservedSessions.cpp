#include "TavrinTerminal/ObservedSessions.hpp"

#include <unordered_set>
#include <utility>

#include "TavrinCore/Panel/PanelNavigation.hpp"
#include "TavrinCore/Panel/PanelRows.hpp"
#include "TavrinCore/Support/IndexTable.hpp"

namespace tavrin {

SessionWatcher sessionWatcher(const Surroundings& surroundings) {
  std::vector<AgentHome> homes;
  homes.reserve(allAgents.size());
  for (const Agent agent : allAgents)
    homes.push_back(AgentHome::of(agent, surroundings.environment, surroundings.home));
  return SessionWatcher({.sessionsDirectory = surroundings.sessionsDirectory(),
                         .homes = std::move(homes),
                         .files = MonitorFiles::ofThisSystem(),
                         .processes = surroundings.processes});
}

std::vector<ObservedSession> observedSessions(const Surroundings& surroundings) {
  return sessionWatcher(surroundings).look(surroundings.now()).sessions;
}

std::vector<Session> asObserved(std::vector<ObservedSession> sessions) {
  std::vector<Session> records;
  records.reserve(sessions.size());
  for (ObservedSession& session : sessions) {
    session.record.state = session.state;
    session.record.stateSince = session.since;
    session.record.attentionId = std::move(session.attentionId);
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
  std::vector<std::size_t> firsts;
  firsts.reserve(sessions.size());
  {
    TextIndex ids(sessions.size());
    for (std::size_t i = 0; i < sessions.size(); ++i) {
      if (ids.add(sessions[i].record.sessionId) == firsts.size()) firsts.push_back(i);
    }
  }
  // The records are ordered by the observed states. They are moved there and back, because copies would take
  // most of the time.
  std::vector<Session> records;
  records.reserve(firsts.size());
  std::vector<SessionState> stored;
  stored.reserve(firsts.size());
  for (const std::size_t i : firsts) {
    stored.push_back(sessions[i].record.state);
    records.push_back(std::move(sessions[i].record));
    records.back().state = sessions[i].state;
  }
  // No path is below this home directory, so no session counts as a probe.
  constexpr std::string_view nowhere("\0", 1);
  std::vector<ObservedSession> shown;
  shown.reserve(records.size());
  for (const Session* const row : PanelRows::visible(records, false, withProbes ? nowhere : home)) {
    const auto i = static_cast<std::size_t>(row - records.data());
    shown.push_back(std::move(sessions[firsts[i]]));
    shown.back().record = std::move(records[i]);
    shown.back().record.state = stored[i];
  }
  return shown;
}

}  // namespace tavrin
