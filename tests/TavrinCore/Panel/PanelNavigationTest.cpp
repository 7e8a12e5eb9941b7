#include "TavrinCore/Panel/PanelNavigation.hpp"
#include "TavrinCore/Support/Home.hpp"
#include "tests/support/Random.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <unordered_set>

namespace tavrin {
namespace {

using PanelNavigation::Direction;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

Session session(std::string id, SessionState state = SessionState::idle, Agent agent = Agent::claude,
                std::string root = "/r/app") {
  Session session;
  session.sessionId = std::move(id);
  session.state = state;
  session.agent = agent;
  session.repoRoot = std::move(root);
  return session;
}

Session named(std::string id, const std::string& name) {
  return session(std::move(id), SessionState::idle, Agent::claude, "/r/" + name);
}

std::vector<std::string> ids(const std::vector<Session>& sessions) {
  std::vector<std::string> ids;
  ids.reserve(sessions.size());
  for (const Session& each : sessions) ids.push_back(each.sessionId);
  return ids;
}

LocalServer server(std::int32_t pid, PortList ports) {
  return {.pid = pid,
          .ports = std::move(ports),
          .command = "node",
          .cwd = "/r",
          .repo = {.root = "/r", .worktree = {}}};
}

TEST(PanelNavigation, SessionsInTheLibraryFolderAreHiddenWhateverTheirState) {
  for (const SessionState state : allSessionStates) {
    Session probe = session("probe", state);
    probe.repoRoot.reset();
    probe.cwd = "/Users/dev/Library/Application Support/x";
    EXPECT_TRUE(PanelNavigation::isProbe(probe, "/Users/dev"));
    EXPECT_THAT(PanelNavigation::visible({probe}, false, "/Users/dev"), IsEmpty());
  }
}

TEST(PanelNavigation, TheRepositoryDecidesBeforeTheWorkingDirectory) {
  Session elsewhere = session("a");
  elsewhere.cwd = "/Users/dev/Library/x";
  EXPECT_FALSE(PanelNavigation::isProbe(elsewhere, "/Users/dev"));
  EXPECT_THAT(ids(PanelNavigation::visible({elsewhere}, false, "/Users/dev")), ElementsAre("a"));
  Session inside = session("b", SessionState::idle, Agent::claude, "/Users/dev/Library/x");
  inside.cwd = "/Users/dev/app";
  EXPECT_TRUE(PanelNavigation::isProbe(inside, "/Users/dev"));
  elsewhere.repoRoot = "";
  EXPECT_FALSE(PanelNavigation::isProbe(elsewhere, "/Users/dev"));
}

TEST(PanelNavigation, ALibraryIsOneBelowTheHomeDirectory) {
  const struct {
    const char* cwd;
    const char* home;
    bool probe;
  } cases[] = {
      {"/Users/dev/Library/", "/Users/dev", true},
      {"/Users/dev/Library", "/Users/dev", false},
      {"/Users/dev/library/x", "/Users/dev", false},
      {"/Users/dev/Libraries/x", "/Users/dev", false},
      {"/Users/dev2/Library/x", "/Users/dev", false},
      {"/Users/abc/Library/x", "/Users/dev", false},
      {"/x/Users/dev/Library/x", "/Users/dev", false},
      {"/Library/x", "", true},
      {"/Users/dev/Library/x", "", false},
      {"/Library/x", "/", false},
      {"//Library/x", "/", true},
      {"", "", false},
      {"", "/", false},
  };
  for (const auto& [cwd, home, probe] : cases) {
    Session each;
    each.cwd = cwd;
    EXPECT_EQ(PanelNavigation::isProbe(each, home), probe) << cwd << " in " << home;
  }
}

TEST(PanelNavigation, IdleSessionsCanBeHidden) {
  const std::vector<Session> idle = {session("a"), session("b")};
  EXPECT_THAT(PanelNavigation::visible(idle, true), IsEmpty());
  EXPECT_THAT(ids(PanelNavigation::visible(idle, false)), ElementsAre("a", "b"));
  EXPECT_THAT(
      ids(PanelNavigation::visible(
          {session("i"), session("w", SessionState::working), session("n", SessionState::needsYou)}, true)),
      ElementsAre("n", "w"));
}

TEST(PanelNavigation, RowsComeByStateThenAgentThenNameThenId) {
  EXPECT_THAT(ids(PanelNavigation::visible(
                  {
                      session("idle", SessionState::idle, Agent::claude, "/r/a"),
                      session("grok", SessionState::working, Agent::grok, "/r/a"),
                      session("claude b", SessionState::working, Agent::claude, "/r/b"),
                      session("claude a2", SessionState::working, Agent::claude, "/r/a"),
                      session("claude a1", SessionState::working, Agent::claude, "/q/a"),
                      session("copilot", SessionState::working, Agent::copilot, "/r/a"),
                      session("gemini", SessionState::working, Agent::gemini, "/r/z"),
                      session("codex", SessionState::working, Agent::codex, "/r/zz"),
                      session("needs", SessionState::needsYou, Agent::grok, "/r/zzz"),
                  },
                  false)),
              ElementsAre("needs", "claude a1", "claude a2", "claude b", "codex", "gemini", "copilot", "grok",
                          "idle"));
}

TEST(PanelNavigation, RowsComeByTheStoredStateNotByTheOneShown) {
  Session approving = session("z", SessionState::needsYou, Agent::codex, "/r/z");
  approving.needsYouTool = "shell";
  ASSERT_EQ(approving.displayState(), SessionState::working);
  EXPECT_THAT(ids(PanelNavigation::visible(
                  {session("a", SessionState::working, Agent::codex, "/r/a"), approving}, false)),
              ElementsAre("z", "a"));
}

// A session in the home directory is named "home", so its id orders it among the sessions of that name. Under
// any other name the id would not matter.
TEST(PanelNavigation, NamesUseTheUsersHomeDirectoryWhateverTheProbesUse) {
  Session home;
  home.sessionId = "b";
  home.cwd = Home::directory();
  EXPECT_THAT(
      ids(PanelNavigation::visible({named("c", "home"), home, named("a", "home")}, false, "/elsewhere")),
      ElementsAre("a", "b", "c"));
}

TEST(PanelNavigation, AnAgentThatIsNotInTheListComesLast) {
  const auto unknown = static_cast<Agent>(200);
  EXPECT_THAT(ids(PanelNavigation::visible({session("u", SessionState::idle, unknown, "/r/a"),
                                            session("g", SessionState::idle, Agent::grok, "/r/b"),
                                            session("c", SessionState::idle, Agent::claude, "/r/a"),
                                            session("w", SessionState::working, unknown, "/r/b")},
                                           false)),
              ElementsAre("w", "c", "g", "u"));
}

TEST(PanelNavigation, NamesThatDifferOnlyInCaseStayInInputOrder) {
  EXPECT_THAT(
      ids(PanelNavigation::visible({named("3", "beta"), named("2", "alpha"), named("1", "Alpha")}, false)),
      ElementsAre("2", "1", "3"));
  EXPECT_THAT(ids(PanelNavigation::visible({named("1", "Alpha"), named("2", "alpha")}, false)),
              ElementsAre("1", "2"));
}

TEST(PanelNavigation, IdsOfOneNameAreComparedByTheirText) {
  EXPECT_THAT(ids(PanelNavigation::visible(
                  {named("b", "x"), named("10", "x"), named("9", "x"), named("B", "x")}, false)),
              ElementsAre("10", "9", "B", "b"));
}

TEST(PanelNavigation, TheOrderOnTheScreenIsHeld) {
  const std::vector<Session> sessions = {session("a"), session("b"), session("c"), session("d")};
  EXPECT_THAT(ids(PanelNavigation::holding(sessions, {"c", "gone", "a"})), ElementsAre("c", "a", "b", "d"));
  EXPECT_THAT(ids(PanelNavigation::holding(sessions, {})), ElementsAre("a", "b", "c", "d"));
  EXPECT_THAT(ids(PanelNavigation::holding(sessions, {"x", "y"})), ElementsAre("a", "b", "c", "d"));
  EXPECT_THAT(PanelNavigation::holding({}, {"x"}), IsEmpty());
}

TEST(PanelNavigation, AnIdThatIsHeldTwiceListsItsSessionTwice) {
  EXPECT_THAT(ids(PanelNavigation::holding({session("a"), session("b")}, {"b", "b"})),
              ElementsAre("b", "b", "a"));
}

TEST(PanelNavigation, HoldingTakesTheSessionsAsTheyAreNow) {
  EXPECT_THAT(PanelNavigation::holding({session("a", SessionState::needsYou)}, {"a"}),
              ElementsAre(session("a", SessionState::needsYou)));
}

TEST(PanelNavigation, OfSessionsWithOneIdTheFirstIsHeld) {
  EXPECT_THAT(PanelNavigation::holding({named("a", "one"), named("a", "two")}, {"a"}),
              ElementsAre(named("a", "one")));
  EXPECT_THAT(PanelNavigation::holding({named("a", "one"), named("a", "two")}, {}),
              ElementsAre(named("a", "one"), named("a", "two")));
}

TEST(PanelNavigation, HoldingIsAPermutationOnGeneratedInput) {
  test::Random random(test::randomSeed());
  std::size_t rows = 0;
  for (int round = 0; round < 300; ++round) {
    std::vector<Session> sessions;
    for (std::size_t i = 0; i < random.below(20); ++i) sessions.push_back(session(std::to_string(i)));
    random.shuffle(sessions);
    std::vector<std::string> held;
    for (std::size_t i = 0; i < 25; ++i) {
      if (random.below(2) == 0) held.push_back(std::to_string(i));
    }
    random.shuffle(held);
    const std::vector<Session> result = PanelNavigation::holding(sessions, held);
    EXPECT_TRUE(std::ranges::is_permutation(result, sessions)) << "round " << round;
    EXPECT_EQ(PanelNavigation::holding(result, held), result) << "round " << round;
    EXPECT_EQ(PanelNavigation::holding(sessions, ids(result)), result) << "round " << round;
    rows += result.size();
  }
  EXPECT_GT(rows, 500U);
}

TEST(PanelNavigation, VisibleOrderDoesNotDependOnTheInputWhenNamesAreDistinctOrTheSame) {
  test::Random random(test::randomSeed());
  std::vector<Session> sessions;
  for (int i = 0; i < 60; ++i) {
    sessions.push_back(session("id " + std::to_string(i), allSessionStates[random.below(3)],
                               allAgents[random.below(5)], "/r/p" + std::to_string(random.below(4))));
  }
  const std::vector<Session> expected = PanelNavigation::visible(sessions, false);
  for (int round = 0; round < 50; ++round) {
    random.shuffle(sessions);
    EXPECT_EQ(PanelNavigation::visible(sessions, false), expected) << "round " << round;
  }
}

TEST(PanelNavigation, OnlySessionsWithAHostTakeTheFocus) {
  Session hosted = session("h");
  hosted.hostPid = 0;
  EXPECT_THAT(PanelNavigation::interactiveIds({session("a"), hosted, session("b"), hosted}),
              ElementsAre("h", "h"));
}

TEST(PanelNavigation, TheFocusRunsFromSetupToSettings) {
  Session hosted = session("h");
  hosted.hostPid = 612;
  EXPECT_THAT(PanelNavigation::focusOrder({session("a"), hosted}, {server(9, {3000, 3001}), server(8, {})},
                                          true, true),
              ElementsAre(PanelFocus::connectAgents(), PanelFocus::session("h"), PanelFocus::server(9, 3000),
                          PanelFocus::server(8, 0), PanelFocus::stopAllServers(), PanelFocus::settings()));
  EXPECT_THAT(PanelNavigation::focusOrder({session("a")}, {}, false, false),
              ElementsAre(PanelFocus::settings()));
  EXPECT_THAT(PanelNavigation::focusOrder({}, {}, true, false),
              ElementsAre(PanelFocus::stopAllServers(), PanelFocus::settings()));
  EXPECT_THAT(PanelNavigation::focusOrder({}, {}, false, true),
              ElementsAre(PanelFocus::connectAgents(), PanelFocus::settings()));
}

TEST(PanelNavigation, TheFocusWrapsAround) {
  const std::vector<std::string> elements = {"a", "b", "c"};
  const auto next = [&](std::optional<std::string> current, Direction direction) {
    return PanelNavigation::next(current, elements, direction);
  };
  EXPECT_EQ(next("a", Direction::down), "b");
  EXPECT_EQ(next("c", Direction::down), "a");
  EXPECT_EQ(next("c", Direction::up), "b");
  EXPECT_EQ(next("a", Direction::up), "c");
}

TEST(PanelNavigation, FromNowhereTheFocusGoesToAnEnd) {
  const std::vector<int> elements = {1, 2, 3};
  for (const std::optional<int> current : {std::optional<int>(), std::optional(9)}) {
    EXPECT_EQ(PanelNavigation::next(current, elements, Direction::down), 1);
    EXPECT_EQ(PanelNavigation::next(current, elements, Direction::up), 3);
    EXPECT_EQ(PanelNavigation::next(current, std::vector<int>(), Direction::down), std::nullopt);
    EXPECT_EQ(PanelNavigation::next(current, std::vector<int>(), Direction::up), std::nullopt);
  }
}

TEST(PanelNavigation, AnElementThatOccursTwiceIsTheFirst) {
  const std::vector<int> elements = {1, 2, 1, 3};
  EXPECT_EQ(PanelNavigation::next(std::optional(1), elements, Direction::down), 2);
  EXPECT_EQ(PanelNavigation::next(std::optional(1), elements, Direction::up), 3);
}

TEST(PanelNavigation, UpUndoesDownAndDownUndoesUp) {
  std::vector<Session> sessions;
  std::vector<LocalServer> servers;
  std::size_t moves = 0;
  for (int count = 0; count < 12; ++count) {
    const std::vector<PanelFocus> order =
        PanelNavigation::focusOrder(sessions, servers, count % 2 == 0, count % 3 == 0);
    std::optional<PanelFocus> walked = order.front();
    for (const PanelFocus& element : order) {
      const std::optional<PanelFocus> current = element;
      EXPECT_EQ(walked, current) << "the order is walked from top to bottom";
      for (const auto& [one, other] :
           {std::pair(Direction::up, Direction::down), {Direction::down, Direction::up}}) {
        EXPECT_EQ(PanelNavigation::next(PanelNavigation::next(current, order, one), order, other), current);
        ++moves;
      }
      walked = PanelNavigation::next(walked, order, Direction::down);
    }
    EXPECT_EQ(walked, order.front());
    sessions.push_back(session("s" + std::to_string(count)));
    sessions.back().hostPid = 1;
    servers.push_back(server(100 + count, {3000}));
  }
  EXPECT_GT(moves, 200U);
}

TEST(PanelFocus, IsEqualOnlyWithItsPayload) {
  const std::vector<PanelFocus> all = {
      PanelFocus::session("a"),
      PanelFocus::session("b"),
      PanelFocus::session(""),
      PanelFocus::server(1, 2),
      PanelFocus::server(1, 3),
      PanelFocus::server(2, 2),
      PanelFocus::server(0, 0),
      PanelFocus::connectAgent(Agent::claude),
      PanelFocus::connectAgent(Agent::codex),
      PanelFocus::stopAllServers(),
      PanelFocus::connectAgents(),
      PanelFocus::checkAgents(),
      PanelFocus::connectionHelp(),
      PanelFocus::finishAgentSetup(),
      PanelFocus::enableMonitoring(),
      PanelFocus::settings(),
  };
  for (std::size_t a = 0; a < all.size(); ++a) {
    for (std::size_t b = 0; b < all.size(); ++b) EXPECT_EQ(all[a] == all[b], a == b) << a << " and " << b;
  }
  std::unordered_set<PanelFocus> set(all.begin(), all.end());
  set.insert(all.begin(), all.end());
  EXPECT_EQ(set.size(), all.size());
}

TEST(PanelFocus, KnowsItsElement) {
  EXPECT_EQ(*PanelFocus::session("a").sessionId(), "a");
  EXPECT_EQ(*PanelFocus::server(1, 2).server(), (PanelFocus::Server{.pid = 1, .port = 2}));
  EXPECT_EQ(*PanelFocus::connectAgent(Agent::grok).agent(), Agent::grok);
  const PanelFocus settings = PanelFocus::settings();
  EXPECT_EQ(settings.kind(), PanelFocus::Kind::settings);
  EXPECT_EQ(settings.sessionId(), nullptr);
  EXPECT_EQ(settings.server(), nullptr);
  EXPECT_EQ(settings.agent(), nullptr);
}

}  // namespace
}  // namespace tavrin
