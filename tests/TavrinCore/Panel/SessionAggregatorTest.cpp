#include "TavrinCore/Panel/SessionAggregator.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <limits>
#include <string>

namespace tavrin {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t least = std::numeric_limits<std::int64_t>::min();

Session session(std::string id, SessionState state, std::string root = "/r/app") {
  Session session;
  session.sessionId = std::move(id);
  session.state = state;
  session.repoRoot = std::move(root);
  return session;
}

std::vector<std::string> ids(const std::vector<Session>& sessions) {
  std::vector<std::string> ids;
  ids.reserve(sessions.size());
  for (const Session& each : sessions) ids.push_back(each.sessionId);
  return ids;
}

TEST(SessionSummary, WithoutSessionsEverythingIsIdle) {
  const SessionSummary summary = SessionAggregator::summary({});
  EXPECT_EQ(summary, (SessionSummary{.overall = SessionState::idle, .working = 0, .needsYou = 0, .idle = 0}));
  EXPECT_EQ(summary.statusLine(), "No Claude Code sessions");
  EXPECT_EQ(summary.activeCount(), 0);
  EXPECT_EQ(summary.total(), 0);
}

TEST(SessionSummary, CountsStatesAndKeepsTheMostUrgent) {
  const SessionSummary summary =
      SessionAggregator::summary({session("a", SessionState::idle), session("b", SessionState::working),
                                  session("c", SessionState::needsYou), session("d", SessionState::working),
                                  session("e", SessionState::idle), session("f", SessionState::working)});
  EXPECT_EQ(summary,
            (SessionSummary{.overall = SessionState::needsYou, .working = 3, .needsYou = 1, .idle = 2}));
  EXPECT_EQ(summary.activeCount(), 4);
  EXPECT_EQ(summary.total(), 6);
  EXPECT_EQ(summary.statusLine(), "3 burning \u00b7 1 needs you \u00b7 2 idle");
}

TEST(SessionSummary, LooksAtTheStoredStateNotAtTheOneShown) {
  Session approving = session("a", SessionState::needsYou);
  approving.agent = Agent::codex;
  approving.needsYouTool = "shell";
  ASSERT_EQ(approving.displayState(), SessionState::working);
  EXPECT_EQ(SessionAggregator::summary({approving}).overall, SessionState::needsYou);
  EXPECT_EQ(SessionAggregator::summary({approving}).needsYou, 1);
}

TEST(SessionSummary, TheLineLeavesZeroesOut) {
  EXPECT_EQ(SessionAggregator::summary({session("a", SessionState::idle), session("b", SessionState::working),
                                        session("c", SessionState::idle)})
                .statusLine(),
            "1 burning \u00b7 2 idle");
  const struct {
    std::int64_t working;
    std::int64_t needsYou;
    std::int64_t idle;
    const char* line;
  } cases[] = {
      {1, 0, 0, "1 burning"},
      {0, 2, 0, "2 needs you"},
      {0, 0, 3, "3 idle"},
      {1, 2, 0, "1 burning \u00b7 2 needs you"},
      {0, 1, 1, "1 needs you \u00b7 1 idle"},
      {-1, 0, -5, "No Claude Code sessions"},
      {-1, 0, 5, "5 idle"},
      {most, 0, 0, "9223372036854775807 burning"},
  };
  for (const auto& [working, needsYou, idle, line] : cases) {
    EXPECT_EQ((SessionSummary{.working = working, .needsYou = needsYou, .idle = idle}.statusLine()), line);
  }
}

TEST(SessionSummary, SumsReachTheEndsOf64Bits) {
  EXPECT_EQ((SessionSummary{.working = most - 1, .needsYou = 1, .idle = 0}.total()), most);
  EXPECT_EQ((SessionSummary{.working = least, .needsYou = most, .idle = 0}.activeCount()), -1);
}

TEST(SessionSummaryDeathTest, ASumBeyond64BitsEndsTheProcess) {
  const char* const message = "Fatal error: the number of sessions exceeds 64 bits";
  const auto aborts = testing::KilledBySignal(SIGABRT);
  EXPECT_EXIT((SessionSummary{.working = most, .needsYou = 1}.activeCount()), aborts, message);
  EXPECT_EXIT((SessionSummary{.working = least, .needsYou = -1}.activeCount()), aborts, message);
  EXPECT_EXIT((SessionSummary{.working = most, .needsYou = 0, .idle = 1}.total()), aborts, message);
  EXPECT_EXIT((SessionSummary{.working = most, .needsYou = 1, .idle = -1}.total()), aborts, message);
}

TEST(SessionAggregator, UrgentSessionsComeFirstThenNamesIgnoringCase) {
  const std::vector<Session> sorted = SessionAggregator::sorted({
      session("1", SessionState::idle, "/r/Beta"),
      session("2", SessionState::working, "/r/zeta"),
      session("3", SessionState::idle, "/r/alpha"),
      session("4", SessionState::needsYou, "/r/zz"),
      session("5", SessionState::working, "/r/Alpha"),
  });
  EXPECT_THAT(ids(sorted), ElementsAre("4", "5", "2", "3", "1"));
}

TEST(SessionAggregator, SortsByTheStoredStateNotByTheOneShown) {
  Session approving = session("z", SessionState::needsYou, "/r/z");
  approving.agent = Agent::codex;
  approving.needsYouTool = "shell";
  ASSERT_EQ(approving.displayState(), SessionState::working);
  Session working = session("a", SessionState::working, "/r/a");
  working.agent = Agent::codex;
  EXPECT_THAT(ids(SessionAggregator::sorted({working, approving})), ElementsAre("z", "a"));
}

TEST(SessionAggregator, SessionsOfOneNameKeepTheirOrder) {
  const std::vector<Session> sorted = SessionAggregator::sorted(
      {session("z", SessionState::idle, "/r/app"), session("b", SessionState::idle, "/q/APP"),
       session("a", SessionState::idle, "/r/app"), session("b", SessionState::idle)});
  EXPECT_THAT(ids(sorted), ElementsAre("z", "b", "a", "b"));
}

TEST(SessionAggregator, SortsByTheNameThatIsShown) {
  Session home;
  home.sessionId = "home";
  home.cwd = "/Users/dev";
  EXPECT_THAT(ids(SessionAggregator::sorted(
                  {session("i", SessionState::idle, "/r/i"), home, session("g", SessionState::idle, "/r/g")},
                  "/Users/dev")),
              ElementsAre("g", "home", "i"));
}

TEST(SessionAggregator, OddNamesAreSortedSomehow) {
  std::vector<Session> sessions;
  for (const char* root :
       {"", "/", "/\xff", "/\u05d0\u05d1", "/\U0001f468\u200d\U0001f469\u200d\U0001f467", "//", "/\u202e"}) {
    sessions.push_back(session("same", SessionState::idle, root));
  }
  EXPECT_EQ(SessionAggregator::sorted(sessions, "").size(), sessions.size());
  EXPECT_THAT(SessionAggregator::sorted({}), IsEmpty());
}

TEST(SessionAggregator, PruneLooksUpTheAgentOfEachSessionOnce) {
  std::vector<Session> sessions;
  for (const std::int32_t pid : {5, 1, 5, -3, 0}) {
    sessions.push_back(session("pid " + std::to_string(pid), SessionState::idle));
    sessions.back().agentPid = pid;
    sessions.back().hostPid = 7;
  }
  std::vector<std::int32_t> asked;
  const SessionAggregator::Pruned pruned = SessionAggregator::prune(sessions, [&](std::int32_t pid) {
    asked.push_back(pid);
    return asked.size() % 2 == 1;
  });
  EXPECT_THAT(asked, ElementsAre(5, 1, 5, -3, 0));
  EXPECT_THAT(ids(pruned.kept), ElementsAre("pid 5", "pid 5", "pid 0"));
  EXPECT_THAT(ids(pruned.dead), ElementsAre("pid 1", "pid -3"));
}

TEST(SessionAggregator, WithoutLiveProcessesAllSessionsAreDead) {
  const std::vector<Session> sessions = {session("a", SessionState::idle),
                                         session("b", SessionState::working)};
  EXPECT_EQ(SessionAggregator::prune(sessions, [](std::int32_t) { return false; }),
            (SessionAggregator::Pruned{.kept = {}, .dead = sessions}));
  EXPECT_EQ(SessionAggregator::prune(sessions, [](std::int32_t) { return true; }),
            (SessionAggregator::Pruned{.kept = sessions, .dead = {}}));
}

}  // namespace
}  // namespace tavrin
