#include "TavrinCore/Panel/ServerPlacement.hpp"

#include <algorithm>
#include <string_view>
#include <unordered_map>

#include "TavrinCore/Panel/NameOrder.hpp"

namespace tavrin::ServerPlacement {

namespace {

std::vector<LocalServer> sortedByRepository(std::vector<LocalServer> servers) {
  std::vector<NameOrder::Key> keys;
  keys.reserve(servers.size());
  for (const LocalServer& server : servers) keys.push_back({.group = 0, .name = server.repo.displayName()});
  const std::vector<std::size_t> order = NameOrder::order(
      keys, [&](std::size_t a, std::size_t b) { return servers[a].port() < servers[b].port(); });
  return NameOrder::arranged(std::move(servers), order);
}

}  // namespace

Placed place(std::vector<LocalServer> servers, const std::vector<Session>& sessions) {
  std::unordered_map<std::string_view, const Session*> firstByRoot;
  for (const Session& session : sessions) {
    if (session.repoRoot) firstByRoot.try_emplace(*session.repoRoot, &session);
  }

  Placed placed;
  for (LocalServer& server : servers) {
    const auto found = firstByRoot.find(server.repo.root);
    std::vector<LocalServer>& list =
        found == firstByRoot.end() ? placed.orphans : placed.bySession[found->second->sessionId];
    list.push_back(std::move(server));
  }
  for (auto& [sessionId, list] : placed.bySession) std::ranges::stable_sort(list, {}, &LocalServer::port);
  placed.orphans = sortedByRepository(std::move(placed.orphans));
  return placed;
}

}  // namespace tavrin::ServerPlacement
