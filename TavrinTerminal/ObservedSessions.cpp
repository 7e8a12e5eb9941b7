#include "TavrinTerminal/ObservedSessions.hpp"

#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "TavrinCore/Panel/PanelNavigation.hpp"

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
