#include "TavrinCore/Panel/PanelRows.hpp"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <iterator>

#include "TavrinCore/Panel/NameOrder.hpp"
#include "TavrinCore/Panel/PanelNavigation.hpp"
#include "TavrinCore/Support/ByteOrder.hpp"
#include "TavrinCore/Support/IndexTable.hpp"

namespace tavrin::PanelRows {

namespace {

// The more urgent state has the lower number.
std::uint16_t calm(SessionState state) {
  return static_cast<std::uint16_t>(severity(SessionState::needsYou) - severity(state));
}

// By state, the most urgent first, then by agent. An agent that is not in `allAgents` comes last.
std::uint16_t group(const Shown& shown) {
  const auto agent = std::ranges::find(allAgents, shown.session->agent) - allAgents.begin();
  const std::size_t group = calm(shown.state) * (allAgents.size() + 1) + static_cast<std::size_t>(agent);
  return static_cast<std::uint16_t>(group);
}

Rows arranged(const Rows& rows, const std::vector<std::size_t>& order) {
  Rows arranged;
  arranged.reserve(order.size());
  for (const std::size_t i : order) arranged.push_back(rows[i]);
  return arranged;
}

// Of each server the first row with its repository; null where there is none.
Rows firstRowOfEach(const std::vector<LocalServer>& servers, const Rows& rows) {
  const auto rootOf = [](const LocalServer& server) -> const std::string& { return server.repo.root; };
  TextIndex roots(servers.size());
  const std::vector<std::uint32_t> rootOfServer = roots.addAll(textsOf(servers, rootOf));

  Rows inRepositories;
  inRepositories.reserve(rows.size());
  std::ranges::copy_if(rows, std::back_inserter(inRepositories),
                       [](const Session* row) { return row->repoRoot.has_value(); });
  const auto rootOfRow = [](const Session* row) -> const std::string& { return *row->repoRoot; };
  const std::vector<std::uint32_t> found = roots.findAll(textsOf(inRepositories, rootOfRow));
  // A row whose root is no server's has the number after the last.
  Rows firstIn(roots.texts().size() + 1);
  for (std::size_t i = 0; i < found.size(); ++i) {
    if (firstIn[found[i]] == nullptr) firstIn[found[i]] = inRepositories[i];
  }

  Rows firstOf;
  firstOf.reserve(servers.size());
  for (const std::uint32_t root : rootOfServer) firstOf.push_back(firstIn[root]);
  return firstOf;
}

// `indices` of servers, sorted by the name of the repository, and by port where the name is the same.
std::vector<std::size_t> byRepository(const std::vector<LocalServer>& servers,
                                      const std::vector<std::size_t>& indices) {
  std::vector<NameOrder::Key> keys;
  keys.reserve(indices.size());
  for (const std::size_t i : indices) keys.push_back({.group = 0, .name = servers[i].repo.displayName()});
  return NameOrder::arranged(indices, NameOrder::order(keys, [&](std::size_t a, std::size_t b) {
                               return servers[indices[a]].port() < servers[indices[b]].port();
                             }));
}

}  // namespace

Rows sorted(const std::vector<Session>& sessions, std::string_view home) {
  std::vector<NameOrder::Key> keys;
  keys.reserve(sessions.size());
  for (const Session& session : sessions) {
    keys.push_back({.group = calm(session.state), .name = session.projectName(home)});
  }
  return arranged(rowsOf(sessions), NameOrder::order(keys));
}

Rows visible(const std::vector<Session>& sessions, bool hideIdle, std::string_view home) {
  std::vector<Shown> shown;
  shown.reserve(sessions.size());
  for (const Session& session : sessions) {
    const bool isHidden =
        PanelNavigation::isProbe(session, home) || (hideIdle && session.state == SessionState::idle);
    if (!isHidden) shown.push_back({.session = &session, .state = session.state});
  }
  Rows rows;
  rows.reserve(shown.size());
  for (const std::size_t i : shownOrder(shown)) rows.push_back(shown[i].session);
  return rows;
}

std::vector<std::size_t> shownOrder(const std::vector<Shown>& sessions) {
  const std::string userHome = Home::directory();
  std::vector<NameOrder::Key> keys;
  keys.reserve(sessions.size());
  for (const Shown& shown : sessions) {
    keys.push_back({.group = group(shown), .name = shown.session->projectName(userHome)});
  }
  return NameOrder::order(keys, [&](std::size_t a, std::size_t b) {
    return sessions[a].session->sessionId < sessions[b].session->sessionId;
  });
}

Rows holding(const Rows& rows, const std::vector<std::string>& sessionIds) {
  TextIndex ids(rows.size());
  const std::vector<std::uint32_t> idOf = ids.addAll(textsOf(rows, &Session::sessionId));
  const std::vector<std::uint32_t> named = ids.findAll(textsOf(sessionIds, std::identity()));
  Rows firstWith(ids.texts().size());
  for (std::size_t i = 0; i < rows.size(); ++i) {
    if (firstWith[idOf[i]] == nullptr) firstWith[idOf[i]] = rows[i];
  }

  std::vector<bool> isNamed(firstWith.size());
  Rows held;
  held.reserve(rows.size());
  for (const std::uint32_t id : named) {
    if (id == firstWith.size()) continue;
    isNamed[id] = true;
    held.push_back(firstWith[id]);
  }
  for (std::size_t i = 0; i < rows.size(); ++i) {
    if (!isNamed[idOf[i]]) held.push_back(rows[i]);
  }
  return held;
}

ServerPlacement::Placed place(std::vector<LocalServer> servers, const Rows& rows) {
  const Rows rowOf = firstRowOfEach(servers, rows);
  std::vector<std::size_t> owned;
  std::vector<std::size_t> orphans;
  for (std::size_t i = 0; i < servers.size(); ++i) (rowOf[i] == nullptr ? orphans : owned).push_back(i);

  ServerPlacement::Placed placed;
  placed.orphans.reserve(orphans.size());
  for (const std::size_t i : byRepository(servers, orphans)) placed.orphans.push_back(std::move(servers[i]));
  // A map that is filled in order needs no search for each place.
  std::ranges::stable_sort(owned, {}, [&](std::size_t i) { return servers[i].port(); });
  const auto idOf = [&](std::size_t i) -> const std::string& { return rowOf[i]->sessionId; };
  for (const std::size_t i : NameOrder::arranged(owned, ByteOrder::sorted(textsOf(owned, idOf)))) {
    const auto list = placed.bySession.try_emplace(placed.bySession.end(), idOf(i));
    list->second.push_back(std::move(servers[i]));
  }
  return placed;
}

std::vector<PanelFocus> focusOrder(const Rows& rows, const std::vector<LocalServer>& servers,
                                   bool includeStopAll, bool includeSetup) {
  std::vector<PanelFocus> order;
  order.reserve(rows.size() + servers.size() + 3);
  if (includeSetup) order.push_back(PanelFocus::connectAgents());
  for (const Session* const row : rows) {
    if (row->hostPid) order.push_back(PanelFocus::session(row->sessionId));
  }
  for (const LocalServer& server : servers) order.push_back(PanelFocus::server(server.pid, server.port()));
  if (includeStopAll) order.push_back(PanelFocus::stopAllServers());
  order.push_back(PanelFocus::settings());
  return order;
}

Rows rowsOf(const std::vector<Session>& sessions) {
  Rows rows;
  rows.reserve(sessions.size());
  for (const Session& session : sessions) rows.push_back(&session);
  return rows;
}

std::vector<Session> copied(const Rows& rows) {
  std::vector<Session> sessions;
  sessions.reserve(rows.size());
  for (const Session* const row : rows) sessions.push_back(*row);
  return sessions;
}

}  // namespace tavrin::PanelRows
