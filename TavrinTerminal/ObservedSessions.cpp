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
                         .files = surroundings.files,
                         .processes = surroundings.processes});
}

std::vector<ObservedSession> observedSessions(const Surroundings& surroundings) {
  return sessionWatcher(surroundings).look(surroundings.now()).sessions;
}

std::vector<Session> asObserved(const std::vector<ObservedSession>& sessions) {
  std::vector<Session> records;
  records.reserve(sessions.size());
  for (const ObservedSession& session : sessions) {
    Session& record = records.emplace_back(*session.record);
    record.state = session.state;
    record.stateSince = session.since;
    record.attentionId = session.attentionId;
  }
  return records;
}

std::vector<ObservedSession> withoutProbes(std::vector<ObservedSession> sessions, std::string_view home) {
  std::unordered_set<std::string> ids;
  std::erase_if(sessions, [&](const ObservedSession& session) {
    return PanelNavigation::isProbe(*session.record, home) || !ids.insert(session.record->sessionId).second;
  });
  return sessions;
}

std::vector<ObservedSession> inShownOrder(std::vector<ObservedSession> sessions, std::string_view home,
                                          bool withProbes) {
  // Pointers are sorted, because moving the sessions more than once would take most of the time.
  std::vector<ObservedSession*> kept;
  std::vector<PanelRows::Shown> rows;
  kept.reserve(sessions.size());
  rows.reserve(sessions.size());
  TextIndex ids(sessions.size());
  for (ObservedSession& session : sessions) {
    // An id occurs twice only in records that somebody copied. The first is shown.
    const std::size_t differentIds = ids.texts().size();
    const bool isFirst = ids.add(session.record->sessionId) == differentIds;
    if (!isFirst || (!withProbes && PanelNavigation::isProbe(*session.record, home))) continue;
    kept.push_back(&session);
    rows.push_back({.session = &*session.record, .state = session.state});
  }
  std::vector<ObservedSession> shown;
  shown.reserve(kept.size());
  for (const std::size_t i : PanelRows::shownOrder(rows)) shown.push_back(std::move(*kept[i]));
  return shown;
}

}  // namespace tavrin
