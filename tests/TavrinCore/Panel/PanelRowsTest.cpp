#include "TavrinCore/Panel/PanelRows.hpp"
#include "tests/support/Random.hpp"
#include "tests/support/RecordedServers.hpp"
#include "tests/support/TestData.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>

#include "TavrinCore/Panel/NameOrder.hpp"
#include "TavrinCore/Panel/PanelNavigation.hpp"
#include "TavrinCore/Panel/SessionAggregator.hpp"
#include "TavrinCore/Servers/ServerScan.hpp"
#include "TavrinCore/Sessions/SessionFileStore.hpp"
#include "TavrinCore/Sessions/SessionLabels.hpp"

namespace tavrin {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::string home = "/Users/dev";

std::vector<Session> generated(test::Random& random) {
  std::vector<Session> sessions(random.below(30));
  for (Session& session : sessions) {
    session.sessionId = "id-" + std::to_string(random.below(25));
    session.agent = allAgents[random.below(allAgents.size())];
    session.state = allSessionStates[random.below(allSessionStates.size())];
    const std::vector<std::string> folders = {"/src/app", "/src/App", "/src/zoo", "/Library/x",
                                              "/src/\u00e4pp"};
    session.cwd = home + folders[random.below(folders.size())];
    if (random.below(2) == 0) session.repoRoot = session.cwd;
    if (random.below(2) == 0) session.hostPid = 9;
    if (random.below(2) == 0) session.tty = "/dev/ttys00" + std::to_string(random.below(3));
  }
  return sessions;
}

TEST(PanelRows, PointIntoTheListThatTheyWereMadeFrom) {
  std::vector<Session> sessions(2);
  sessions[0].sessionId = "idle";
  sessions[1].sessionId = "urgent";
  sessions[1].state = SessionState::needsYou;
  EXPECT_THAT(PanelRows::rowsOf(sessions), ElementsAre(&sessions[0], &sessions[1]));
  EXPECT_THAT(PanelRows::visible(sessions, false, home), ElementsAre(&sessions[1], &sessions[0]));
  EXPECT_THAT(PanelRows::visible(sessions, true, home), ElementsAre(&sessions[1]));
  EXPECT_THAT(PanelRows::sorted(sessions, home), ElementsAre(&sessions[1], &sessions[0]));
  EXPECT_THAT(PanelRows::holding(PanelRows::rowsOf(sessions), {"urgent", "gone", "urgent"}),
              ElementsAre(&sessions[1], &sessions[1], &sessions[0]));
  EXPECT_THAT(PanelRows::visible({}, false, home), IsEmpty());
  EXPECT_THAT(PanelRows::holding({}, {"gone"}), IsEmpty());
}

// Compares each order with its rule, written plainly.
TEST(PanelRows, EveryOrderIsTheOneThatPlainRulesGive) {
  test::Random random(test::randomSeed());
  for (int round = 0; round < 300; ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    const std::vector<Session> sessions = generated(random);
    std::vector<NameOrder::Key> keys;
    std::vector<Session> shown;
    for (const Session& session : sessions) {
      if (session.repoRoot.value_or(session.cwd).starts_with(home + "/Library/")) continue;
      shown.push_back(session);
      const auto agent = static_cast<std::size_t>(session.agent);
      const auto group = static_cast<std::size_t>(2 - severity(session.state)) * 10 + agent;
      keys.push_back({.group = static_cast<std::uint16_t>(group), .name = session.projectName()});
    }
    std::vector<Session> expected;
    for (const std::size_t i : NameOrder::order(
             keys, [&](std::size_t a, std::size_t b) { return shown[a].sessionId < shown[b].sessionId; })) {
      expected.push_back(shown[i]);
    }
    EXPECT_EQ(PanelNavigation::visible(sessions, false, home), expected);

    std::vector<std::string> onScreen;
    for (std::size_t i = random.below(10); i > 0; --i) {
      onScreen.push_back("id-" + std::to_string(random.below(25)));
    }
    std::vector<Session> held;
    for (const std::string& id : onScreen) {
      const auto first = std::ranges::find(sessions, id, &Session::sessionId);
      if (first != sessions.end()) held.push_back(*first);
    }
    for (const Session& session : sessions) {
      if (std::ranges::find(onScreen, session.sessionId) == onScreen.end()) held.push_back(session);
    }
    EXPECT_EQ(PanelNavigation::holding(sessions, onScreen), held);
  }
}

TEST(PanelRows, LabelsOfRowsAreTheLabelsOfTheirIds) {
  test::Random random(test::randomSeed());
  for (int round = 0; round < 300; ++round) {
    const std::vector<Session> sessions = generated(random);
    const std::vector<std::string> labels = SessionLabels::ofEach(PanelRows::rowsOf(sessions), home);
    ASSERT_EQ(labels.size(), sessions.size());
    std::map<std::string, std::string> lastOfEachId;
    for (std::size_t i = 0; i < sessions.size(); ++i) lastOfEachId[sessions[i].sessionId] = labels[i];
    EXPECT_EQ(SessionLabels::display(sessions, home), lastOfEachId) << "round " << round;
  }
}

TEST(PanelRows, ServersStandUnderTheFirstRowOfTheirRepository) {
  std::vector<Session> sessions(3);
  for (std::size_t i = 0; i < sessions.size(); ++i) sessions[i].sessionId = std::to_string(i);
  sessions[1].repoRoot = "/shop";
  sessions[2].repoRoot = "/shop";
  std::vector<LocalServer> servers(4);
  const std::vector<int> ports = {9, 5, 7, 1};
  const std::vector<std::string> roots = {"/shop", "/shop", "/docs", "/Api"};
  for (std::size_t i = 0; i < servers.size(); ++i) {
    servers[i].ports = {ports[i]};
    servers[i].repo.root = roots[i];
  }
  const ServerPlacement::Placed placed =
      PanelRows::place(servers, {&sessions[2], &sessions[0], &sessions[1]});
  EXPECT_EQ(placed.bySession.size(), 1U);
  EXPECT_THAT(placed.bySession.at("2"), ElementsAre(servers[1], servers[0]));
  EXPECT_THAT(placed.orphans, ElementsAre(servers[3], servers[2]));

  sessions[1].hostPid = 5;
  EXPECT_THAT(PanelRows::focusOrder({&sessions[0], &sessions[1]}, {servers[0]}, true, true),
              ElementsAre(PanelFocus::connectAgents(), PanelFocus::session("1"), PanelFocus::server(0, 9),
                          PanelFocus::stopAllServers(), PanelFocus::settings()));
}

// Compares the places with their rule, written plainly.
TEST(PanelRows, EveryServerIsWhereThePlainRulePutsIt) {
  test::Random random(test::randomSeed());
  std::size_t owned = 0;
  for (int round = 0; round < 300; ++round) {
    const std::vector<Session> sessions = generated(random);
    std::vector<LocalServer> servers(random.below(30));
    for (std::size_t i = 0; i < servers.size(); ++i) {
      servers[i].pid = static_cast<std::int32_t>(100 + i);
      servers[i].ports = {static_cast<int>(3000 + random.below(5))};
      const std::vector<std::string> folders = {"/src/app", "/src/App", "/src/zoo", "/src/web"};
      if (random.below(5) != 0) servers[i].repo.root = home + random.of(folders);
    }
    ServerPlacement::Placed expected;
    std::vector<LocalServer> orphans;
    for (const LocalServer& server : servers) {
      const auto row = std::ranges::find(sessions, server.repo.root, &Session::repoRoot);
      (row == sessions.end() ? orphans : expected.bySession[row->sessionId]).push_back(server);
    }
    for (auto& [id, list] : expected.bySession) {
      std::ranges::stable_sort(list, {}, &LocalServer::port);
      owned += list.size();
    }
    std::vector<NameOrder::Key> names;
    for (const LocalServer& server : orphans)
      names.push_back({.group = 0, .name = server.repo.displayName()});
    expected.orphans =
        NameOrder::arranged(orphans, NameOrder::order(names, [&](std::size_t a, std::size_t b) {
                              return orphans[a].port() < orphans[b].port();
                            }));
    EXPECT_EQ(PanelRows::place(servers, PanelRows::rowsOf(sessions)), expected) << "round " << round;
  }
  EXPECT_GT(owned, 300U);
}

TEST(PanelRows, RecordedServersStandUnderTheRecordedSessions) {
  const std::vector<Session> sessions =
      SessionFileStore((test::dataDirectory() / "panel/sessions").string()).loadAll().sessions;
  const RepoLabel::Probes probes = {
      .exists = [](const std::string& path) { return path == "/home/dev/site/.git"; },
      .isDirectory = [](const std::string&) { return true; },
      .contents = [](const std::string&) { return std::nullopt; },
      .currentDirectory = [] { return std::string("/"); }};
  const Date now = dateFromSeconds(1'790'000'000);
  const ServerPlacement::Placed placed = PanelRows::place(
      ServerScan::servers(test::recordedListeners(), test::recordedProcessFacts(now), now, probes),
      PanelRows::visible(sessions, false, "/home/dev"));
  ASSERT_EQ(placed.bySession.size(), 1U);
  // All were started in this session's repository.
  const std::vector<LocalServer>& servers = placed.bySession.at("11111111-aaaa");
  EXPECT_EQ(servers.size(), 15U);
  EXPECT_TRUE(std::ranges::is_sorted(servers, {}, &LocalServer::port));
  EXPECT_THAT(servers, ::testing::Contains(::testing::Property(&LocalServer::displayName, "Vite")));
  EXPECT_THAT(placed.orphans, IsEmpty());
}

}  // namespace
}  // namespace tavrin
