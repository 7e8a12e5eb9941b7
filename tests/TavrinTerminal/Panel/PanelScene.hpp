#pragma once

#include <string>
#include <vector>

#include "TavrinTerminal/Panel/PanelGrid.hpp"
#include "TavrinTerminal/Panel/PanelModel.hpp"
#include "TavrinTerminal/ShownText.hpp"

namespace tavrin::test {

/// 2026-01-02T03:04:05Z.
inline constexpr Date sceneTime = dateFromSeconds(1'767'323'045);

inline SessionRow sceneRow(std::string id, std::string label, SessionState state = SessionState::working,
                           Agent agent = Agent::claude) {
  Session record;
  record.sessionId = std::move(id);
  record.agent = agent;
  record.repoRoot = "/work-of-somebody/" + label;
  SessionRow row;
  row.session.record = std::move(record);
  row.session.state = state;
  row.session.since = sceneTime - std::chrono::seconds(125);
  row.label = std::move(label);
  if (state == SessionState::needsYou) row.tool = "Bash";
  row.terminal = "tmux:3.1";
  return row;
}

inline LocalServer sceneServer(std::int32_t pid, int port, std::string name, std::string root = "") {
  LocalServer server;
  server.pid = pid;
  server.ports = PortList({port});
  server.command = "node";
  server.cwd = root;
  server.repo.root = std::move(root);
  server.framework = std::move(name);
  server.startedAt = sceneTime - std::chrono::minutes(125);
  return server;
}

/// Names that terminals and panels get wrong.
inline std::vector<std::string> oddNames() {
  return {
      "plain",
      "日本語のプロジェクト",
      "한국어",
      "e\u0301te\u0301 na\u00efve",
      "שלום עולם",
      "مرحبا",
      "👩‍👩‍👧‍👦 family",
      "❤️ heart",
      "🇩🇪 flag",
      "👍🏽 thumb",
      "🚀 rocket",
      "Z\u0351\u036b\u0343\u036a\u0302\u036b\u033d\u034f\u0334\u0319\u0324\u031e\u0349\u035a\u032f\u031ealgo",
      ShownText::clean("evil\033[2J\u202Egnp.exe\u0007\nsecond line"),
      "a-name-that-is-much-longer-than-any-screen-should-need-to-show-in-one-line-of-a-panel"};
}

/// A panel with `count` sessions of all states and agents, oddly named, and three servers.
inline PanelModel scene(std::size_t count, ScreenSize size) {
  PanelModel model(size);
  model.takeAgents(ActivityEmptyContent::Agents::connected(2));
  const std::vector<std::string> names = oddNames();
  std::vector<SessionRow> rows;
  for (std::size_t i = 0; i < count; ++i) {
    const auto state = allSessionStates[2 - i * 3 / count];
    rows.push_back(sceneRow("s" + std::to_string(i), names[i % names.size()], state, allAgents[i % 5]));
    rows.back().session.since -= std::chrono::seconds(i * 37);
  }
  model.takeSessions(std::move(rows));
  std::vector<LocalServer> servers;
  if (count > 0) {
    servers = {sceneServer(10, 5173, "Vite", "/work-of-somebody/plain"),
               sceneServer(11, 3000, "Next.js", "/else"), sceneServer(12, 5432, "Postgres", "/else2")};
  }
  model.takeServers(std::move(servers));
  return model;
}

inline PanelGrid gridOf(const PanelModel& model, ScreenSize size, bool hasUnicode = true) {
  return {model.screen(sceneTime).lines, size, hasUnicode};
}

}  // namespace tavrin::test
