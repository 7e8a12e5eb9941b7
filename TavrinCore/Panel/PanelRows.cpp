#include "TavrinCore/Panel/PanelRows.hpp"

#include <algorithm>
#include <optional>

#include "TavrinCore/Panel/NameOrder.hpp"
#include "TavrinCore/Panel/PanelNavigation.hpp"
#include "TavrinCore/Support/IndexTable.hpp"

namespace tavrin::PanelRows {

namespace {

// The more urgent state has the lower number.
std::size_t calm(SessionState state) {
  return static_cast<std::size_t>(severity(SessionState::needsYou) - severity(state));
}

// By state, the most urgent first, then by agent. An agent that is not in `allAgents` comes last.
std::size_t group(const Shown& shown) {
  const auto position = std::ranges::find(allAgents, shown.session->agent) - allAgents.begin();
  return calm(shown.state) * (allAgents.size() + 1) + static_cast<std::size_t>(position);
}

Rows arranged(const Rows& rows, const std::vector<std::size_t>& order) {
  Rows arranged;
  arranged.reserve(order.size());
  for (const std::size_t i : order) arranged.push_back(rows[i]);
  return arranged;
}

std::vector<LocalServer> sortedByRepository(std::vector<LocalServer> servers) {
  std::vector<NameOrder::Key> keys;
  keys.reserve(servers.size());
  for (const LocalServer& server : servers) keys.push_back({.group = 0, .name = server.repo.displayName()});
  const std::vector<std::size_t> order = NameOrder::order(
      keys, [&](std::size_t a, std::size_t b) { return servers[a].port() < servers[b].port(); });
  return NameOrder::arranged(std::move(servers), order);
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
  std::vector<std::size_t> idOf;
  idOf.reserve(rows.size());
  Rows firstWith;
  firstWith.reserve(rows.size());
  for (const Session* const row : rows) {
    idOf.push_back(ids.add(row->sessionId));
    if (idOf.back() == firstWith.size()) firstWith.push_back(row);
  }

  std::vector<bool> isNamed(firstWith.size());
  Rows held;
  held.reserve(rows.size());
  for (const std::string& sessionId : sessionIds) {
    const std::optional<std::size_t> id = ids.find(sessionId);
    if (!id) continue;
    isNamed[*id] = true;
    held.push_back(firstWith[*id]);
  }
  for (std::size_t i = 0; i < rows.size(); ++i) {
    if (!isNamed[idOf[i]]) held.push_back(rows[i]);
  }
  return held;
}

ServerPlacement::Placed place(std::vector<LocalServer> servers, const Rows& rows) {
  TextIndex roots(servers.size());
  std::vector<std::size_t> rootOf;
  rootOf.reserve(servers.size());
  for (const LocalServer& server : servers) rootOf.push_back(roots.add(server.repo.root));
  Rows firstIn(roots.texts().size());
  for (const Session* const row : rows) {
    const auto root = row->repoRoot ? roots.find(*row->repoRoot) : std::nullopt;
    if (root && firstIn[*root] == nullptr) firstIn[*root] = row;
  }

  ServerPlacement::Placed placed;
  for (std::size_t i = 0; i < servers.size(); ++i) {
    const Session* const row = firstIn[rootOf[i]];
    std::vector<LocalServer>& list = row == nullptr ? placed.orphans : placed.bySession[row->sessionId];
    list.push_back(std::move(servers[i]));
  }
  for (auto& [sessionId, list] : placed.bySession) std::ranges::stable_sort(list, {}, &LocalServer::port);
  placed.orphans = sortedByRepository(std::move(placed.orphans));
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
