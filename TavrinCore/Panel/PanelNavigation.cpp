#include "TavrinCore/Panel/PanelNavigation.hpp"

#include <unordered_map>
#include <unordered_set>

#include "TavrinCore/Panel/NameOrder.hpp"

namespace tavrin::PanelNavigation {

namespace {

// The place of an agent among all; behind them for one that is not there.
std::size_t position(Agent agent) {
  return static_cast<std::size_t>(std::ranges::find(allAgents, agent) - allAgents.begin());
}

// By state, the most urgent first, then by agent.
std::size_t group(const Session& session) {
  const int calm = severity(SessionState::needsYou) - severity(session.state);
  return static_cast<std::size_t>(calm) * (allAgents.size() + 1) + position(session.agent);
}

}  // namespace

std::vector<Session> visible(std::vector<Session> sessions, bool hideIdle, std::string_view home) {
  std::erase_if(sessions, [&](const Session& session) {
    return isProbe(session, home) || (hideIdle && session.state == SessionState::idle);
  });
  const std::string userHome = Home::directory();
  std::vector<NameOrder::Key> keys;
  keys.reserve(sessions.size());
  for (const Session& session : sessions) {
    keys.push_back({.group = group(session), .name = session.projectName(userHome)});
  }
  const std::vector<std::size_t> order = NameOrder::order(
      keys, [&](std::size_t a, std::size_t b) { return sessions[a].sessionId < sessions[b].sessionId; });
  return NameOrder::arranged(std::move(sessions), order);
}

bool isProbe(const Session& session, std::string_view home) {
  constexpr std::string_view library = "/Library/";
  const std::string_view path = session.repoRoot ? *session.repoRoot : session.cwd;
  return path.starts_with(home) && path.substr(home.size()).starts_with(library);
}

std::vector<Session> holding(const std::vector<Session>& sessions,
                             const std::vector<std::string>& sessionIds) {
  std::unordered_map<std::string_view, const Session*> byId;
  for (const Session& session : sessions) byId.try_emplace(session.sessionId, &session);
  std::vector<Session> held;
  held.reserve(sessions.size());
  for (const std::string& id : sessionIds) {
    if (const auto found = byId.find(id); found != byId.end()) held.push_back(*found->second);
  }
  const std::unordered_set<std::string_view> named(sessionIds.begin(), sessionIds.end());
  for (const Session& session : sessions) {
    if (!named.contains(session.sessionId)) held.push_back(session);
  }
  return held;
}

std::vector<std::string> interactiveIds(const std::vector<Session>& sessions) {
  std::vector<std::string> ids;
  for (const Session& session : sessions) {
    if (session.hostPid) ids.push_back(session.sessionId);
  }
  return ids;
}

std::vector<PanelFocus> focusOrder(const std::vector<Session>& sessions,
                                   const std::vector<LocalServer>& servers, bool includeStopAll,
                                   bool includeSetup) {
  std::vector<PanelFocus> order;
  if (includeSetup) order.push_back(PanelFocus::connectAgents());
  for (std::string& id : interactiveIds(sessions)) order.push_back(PanelFocus::session(std::move(id)));
  for (const LocalServer& server : servers) order.push_back(PanelFocus::server(server.pid, server.port()));
  if (includeStopAll) order.push_back(PanelFocus::stopAllServers());
  order.push_back(PanelFocus::settings());
  return order;
}

std::optional<PanelFocus> next(const std::optional<PanelFocus>& current,
                               const std::vector<PanelFocus>& elements, Direction direction) {
  return next<PanelFocus>(current, elements, direction);
}

}  // namespace tavrin::PanelNavigation
