#include "TavrinCore/Panel/ServerPlacement.hpp"
#include "tests/support/Random.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace tavrin {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

LocalServer server(std::string root, int port, std::int32_t pid = 100) {
  return {.pid = pid,
          .ports = {port},
          .command = "node",
          .cwd = root + "/sub",
          .repo = {.root = root, .worktree = {}}};
}

Session session(std::string id, std::optional<std::string> root) {
  Session session;
  session.sessionId = std::move(id);
  session.cwd = "/elsewhere";
  session.repoRoot = std::move(root);
  return session;
}

std::vector<std::string> described(const std::vector<LocalServer>& servers) {
  std::vector<std::string> texts;
  texts.reserve(servers.size());
  for (const LocalServer& each : servers)
    texts.push_back(each.repo.displayName() + " " + std::to_string(each.port()));
  return texts;
}

TEST(ServerPlacement, WithoutServersThereIsNothingToPlace) {
  const ServerPlacement::Placed placed = ServerPlacement::place({}, {session("s", "/r")});
  EXPECT_THAT(placed.bySession, IsEmpty());
  EXPECT_THAT(placed.orphans, IsEmpty());
  EXPECT_EQ(placed, ServerPlacement::Placed());
}

TEST(ServerPlacement, WithoutSessionsEveryServerIsAnOrphan) {
  const ServerPlacement::Placed placed = ServerPlacement::place({server("/b", 2), server("/a", 1)}, {});
  EXPECT_THAT(placed.bySession, IsEmpty());
  EXPECT_THAT(described(placed.orphans), ElementsAre("a 1", "b 2"));
}

TEST(ServerPlacement, TheFirstOfTwoSessionsOfARepositoryGetsItsServers) {
  const ServerPlacement::Placed placed =
      ServerPlacement::place({server("/r", 3001), server("/r", 3000)},
                             {session("x", "/other"), session("b", "/r"), session("a", "/r")});
  ASSERT_EQ(placed.bySession.size(), 1U);
  EXPECT_THAT(described(placed.bySession.at("b")), ElementsAre("r 3000", "r 3001"));
  EXPECT_THAT(placed.orphans, IsEmpty());
}

TEST(ServerPlacement, ServersOfOnePortKeepTheirOrder) {
  const ServerPlacement::Placed placed = ServerPlacement::place(
      {server("/r", 3000, 9), server("/r", 3000, 2), server("/r", 80, 5), server("/r", 3000, 7)},
      {session("s", "/r")});
  std::vector<std::int32_t> pids;
  for (const LocalServer& each : placed.bySession.at("s")) pids.push_back(each.pid);
  EXPECT_THAT(pids, ElementsAre(5, 9, 2, 7));
}

TEST(ServerPlacement, ManyServersOfOnePortKeepTheirOrder) {
  std::vector<LocalServer> servers;
  for (std::int32_t pid = 1; pid <= 40; ++pid) servers.push_back(server("/r", 3000, pid));
  EXPECT_EQ(ServerPlacement::place(servers, {session("s", "/r")}).bySession.at("s"), servers);
}

TEST(ServerPlacement, TheWorkingDirectoryOfAServerDoesNotMatter) {
  const ServerPlacement::Placed placed =
      ServerPlacement::place({server("/r", 1)}, {session("below", "/r/sub"), session("root", "/r")});
  ASSERT_EQ(placed.bySession.size(), 1U);
  EXPECT_THAT(described(placed.bySession.at("root")), ElementsAre("r 1"));
  EXPECT_THAT(described(ServerPlacement::place({server("/r", 1)}, {session("below", "/r/sub")}).orphans),
              ElementsAre("r 1"));
}

TEST(ServerPlacement, RootsAreEqualOnlyIfEveryLetterIs) {
  for (const char* root : {"/r/", "/R", "/r/sub", "", "r"}) {
    const ServerPlacement::Placed placed = ServerPlacement::place({server("/r", 1)}, {session("s", root)});
    EXPECT_THAT(placed.bySession, IsEmpty()) << root;
    EXPECT_EQ(placed.orphans.size(), 1U) << root;
  }
}

TEST(ServerPlacement, ASessionOutsideOfRepositoriesGetsNoServer) {
  Session outside = session("s", std::nullopt);
  outside.cwd = "";
  EXPECT_EQ(ServerPlacement::place({server("", 1)}, {outside}).orphans.size(), 1U);
  EXPECT_EQ(ServerPlacement::place({server("", 1)}, {session("s", "")}).bySession.size(), 1U);
}

TEST(ServerPlacement, OrphansAreSortedByNameIgnoringCase) {
  const ServerPlacement::Placed placed = ServerPlacement::place(
      {server("/x/beta", 3000), server("/x/Alpha", 5000), server("/x/alpha", 4000)}, {});
  EXPECT_THAT(described(placed.orphans), ElementsAre("Alpha 5000", "alpha 4000", "beta 3000"));
}

TEST(ServerPlacement, OrphansOfOneNameComeByPort) {
  const ServerPlacement::Placed placed = ServerPlacement::place(
      {server("/x/app", 5000), server("/y/app", 3000), server("/x/app", 4000), server("/z/app", 3000, 7)},
      {});
  EXPECT_THAT(described(placed.orphans), ElementsAre("app 3000", "app 3000", "app 4000", "app 5000"));
  EXPECT_EQ(placed.orphans[0].repo.root, "/y/app");
}

TEST(ServerPlacement, TheWorkTreeIsPartOfAnOrphansName) {
  LocalServer linked = server("/x/app", 1);
  linked.repo.worktree = "b";
  LocalServer other = server("/x/app", 2);
  other.repo.worktree = "a";
  EXPECT_THAT(described(ServerPlacement::place({linked, other, server("/x/app", 3)}, {}).orphans),
              ElementsAre("app 3", "app \u00b7 a 2", "app \u00b7 b 1"));
}

TEST(ServerPlacement, SessionsOfOneIdShareTheirServers) {
  const ServerPlacement::Placed placed =
      ServerPlacement::place({server("/b", 2), server("/a", 1)}, {session("s", "/a"), session("s", "/b")});
  EXPECT_THAT(described(placed.bySession.at("s")), ElementsAre("a 1", "b 2"));
}

TEST(ServerPlacement, OddNamesAreSortedSomehow) {
  const ServerPlacement::Placed placed = ServerPlacement::place(
      {server("", 1), server("/", 2), server("/\xff\xfe", 3), server("/\u05d0", 4), server("/\U0001f600", 5),
       server(std::string("/a\0b", 4), 6), server("/" + std::string(1'000'000, 'x'), 7)},
      {});
  EXPECT_EQ(placed.orphans.size(), 7U);
  EXPECT_EQ(placed.orphans.front().port(), 1);
}

TEST(ServerPlacement, EveryServerIsPlacedOnceOnGeneratedInput) {
  test::Random random(test::randomSeed());
  std::size_t placedInAll = 0;
  for (int round = 0; round < 300; ++round) {
    const auto root = [&] { return "/r/" + std::string(1, "abCA"[random.below(4)]); };
    std::vector<LocalServer> servers;
    for (std::size_t i = random.below(40); i > 0; --i) {
      servers.push_back(server(root(), static_cast<int>(random.below(5)), static_cast<std::int32_t>(i)));
    }
    std::vector<Session> sessions;
    for (std::size_t i = random.below(4); i > 0; --i)
      sessions.push_back(session("s" + std::to_string(random.below(3)), root()));

    const ServerPlacement::Placed placed = ServerPlacement::place(servers, sessions);
    std::vector<std::int32_t> pids;
    for (const LocalServer& each : placed.orphans) {
      pids.push_back(each.pid);
      for (const Session& s : sessions) EXPECT_NE(s.repoRoot, each.repo.root) << "round " << round;
    }
    for (const auto& [id, list] : placed.bySession) {
      EXPECT_FALSE(list.empty()) << "round " << round;
      EXPECT_TRUE(std::ranges::is_sorted(list, {}, &LocalServer::port)) << "round " << round;
      for (const LocalServer& each : list) {
        pids.push_back(each.pid);
        const auto first =
            std::ranges::find(sessions, std::optional<std::string>(each.repo.root), &Session::repoRoot);
        ASSERT_NE(first, sessions.end()) << "round " << round;
        EXPECT_EQ(first->sessionId, id) << "round " << round;
      }
    }
    std::ranges::sort(pids);
    ASSERT_EQ(pids.size(), servers.size()) << "round " << round;
    for (std::size_t i = 0; i < pids.size(); ++i)
      EXPECT_EQ(pids[i], static_cast<std::int32_t>(i + 1)) << "round " << round;
    placedInAll += pids.size();
  }
  EXPECT_GT(placedInAll, 3'000U);
}

}  // namespace
}  // namespace tavrin
