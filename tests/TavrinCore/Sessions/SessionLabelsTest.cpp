#include "TavrinCore/Sessions/SessionLabels.hpp"
#include "tests/support/Random.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>

namespace tavrin {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

Session session(std::string id, Agent agent = Agent::claude, std::optional<std::string> tty = std::nullopt,
                std::string root = "/r/app") {
  Session session;
  session.sessionId = std::move(id);
  session.agent = agent;
  session.tty = std::move(tty);
  session.repoRoot = std::move(root);
  return session;
}

TEST(SessionLabels, ASessionAloneHasItsName) {
  EXPECT_THAT(SessionLabels::display({session("a", Agent::claude, "/dev/ttys001"),
                                      session("b", Agent::claude, "/dev/ttys002", "/r/web")}),
              ElementsAre(Pair("a", "app"), Pair("b", "web")));
  EXPECT_THAT(SessionLabels::display({}), IsEmpty());
}

TEST(SessionLabels, NamesThatDifferInCaseAreDifferent) {
  EXPECT_THAT(SessionLabels::display({session("a"), session("b", Agent::claude, {}, "/r/App")}),
              ElementsAre(Pair("a", "app"), Pair("b", "App")));
}

TEST(SessionLabels, SessionsOfOneAgentAreDistinguishedByTerminal) {
  EXPECT_THAT(SessionLabels::display({session("a", Agent::codex, "/dev/ttys004"),
                                      session("b", Agent::codex, "/dev/pts/3"), session("c", Agent::codex)}),
              ElementsAre(Pair("a", "app \u00b7 s004"), Pair("b", "app \u00b7 3"), Pair("c", "app")));
}

TEST(SessionLabels, WithoutTerminalsTheyShareTheBareName) {
  EXPECT_THAT(SessionLabels::display({session("a"), session("b", Agent::claude, "")}),
              ElementsAre(Pair("a", "app"), Pair("b", "app")));
}

TEST(SessionLabels, SessionsOfSeveralAgentsAreDistinguishedOnlyByAgent) {
  EXPECT_THAT(SessionLabels::display({session("a", Agent::codex, "/dev/ttys001"),
                                      session("b", Agent::claude, "/dev/ttys002"),
                                      session("c", Agent::codex, "/dev/ttys003"), session("d", Agent::gemini),
                                      session("e", Agent::copilot), session("f", Agent::grok)}),
              ElementsAre(Pair("a", "app \u00b7 codex"), Pair("b", "app \u00b7 claude"),
                          Pair("c", "app \u00b7 codex"), Pair("d", "app \u00b7 gemini"),
                          Pair("e", "app \u00b7 copilot"), Pair("f", "app \u00b7 grok")));
}

TEST(SessionLabels, TheAgentOfTheFirstSessionMayComeAgainLast) {
  EXPECT_THAT(SessionLabels::display({session("a", Agent::codex, "/dev/ttys001"),
                                      session("b", Agent::claude, "/dev/ttys002"),
                                      session("c", Agent::codex, "/dev/ttys003")}),
              ElementsAre(Pair("a", "app \u00b7 codex"), Pair("b", "app \u00b7 claude"),
                          Pair("c", "app \u00b7 codex")));
}

TEST(SessionLabels, OfSessionsWithOneIdTheLastOnesLabelCounts) {
  EXPECT_THAT(SessionLabels::display(
                  {session("a", Agent::claude, {}, "/r/one"), session("a", Agent::claude, {}, "/r/two")}),
              ElementsAre(Pair("a", "two")));
  EXPECT_THAT(SessionLabels::display(
                  {session("a", Agent::claude, "/dev/ttys1"), session("a", Agent::claude, "/dev/ttys2")}),
              ElementsAre(Pair("a", "app \u00b7 s2")));
}

TEST(SessionLabels, TheTerminalsSuffixIsWhatFollowsTty) {
  const struct {
    std::optional<std::string> tty;
    std::optional<std::string> suffix;
  } cases[] = {
      {std::nullopt, std::nullopt}, {"", std::nullopt},       {"/", std::nullopt},
      {"///", std::nullopt},        {"tty", std::nullopt},    {"/dev/tty", std::nullopt},
      {"/dev/tty/", std::nullopt},  {"/dev/ttys004", "s004"}, {"/dev/ttys004/", "s004"},
      {"/dev/pts/3", "3"},          {"ttyttyS0", "ttyS0"},    {"/dev/TTY1", "TTY1"},
      {"/dev/console", "console"},  {"/dev/..", ".."},
  };
  for (const auto& [tty, suffix] : cases)
    EXPECT_EQ(SessionLabels::terminalSuffix(tty), suffix) << tty.value_or("-");
}

TEST(SessionLabels, OddNamesHaveLabels) {
  const std::string huge(1'000'000, 'x');
  EXPECT_EQ(SessionLabels::display(
                {session("", Agent::claude, "\xff", "/"), session("\xff", Agent::grok, huge, "/")})
                .at(""),
            "/ \u00b7 claude");
  EXPECT_EQ(SessionLabels::terminalSuffix(huge), huge);
}

// Two sessions in one project have different labels if they belong to one agent and each has a terminal.
TEST(SessionLabels, AreUniqueWhereTheRulesMakeThemSo) {
  test::Random random(test::randomSeed());
  std::size_t checked = 0;
  for (int round = 0; round < 300; ++round) {
    std::vector<Session> sessions;
    std::map<std::string, std::set<Agent>> agents;
    const std::size_t count = random.below(20);
    for (std::size_t i = 0; i < count; ++i) {
      const std::string root = "/r/p" + std::to_string(random.below(6));
      sessions.push_back(
          session(std::to_string(i), allAgents[random.below(2)], "/dev/ttys" + std::to_string(i), root));
      agents[root].insert(sessions.back().agent);
    }
    const std::map<std::string, std::string> labels = SessionLabels::display(sessions);
    ASSERT_EQ(labels.size(), count) << "round " << round;
    std::set<std::string> distinct;
    std::size_t distinguishable = 0;
    for (const Session& each : sessions) {
      EXPECT_TRUE(labels.at(each.sessionId).starts_with(each.projectName())) << "round " << round;
      if (agents[*each.repoRoot].size() > 1) continue;
      ++distinguishable;
      distinct.insert(labels.at(each.sessionId));
    }
    EXPECT_EQ(distinct.size(), distinguishable) << "round " << round;
    checked += distinguishable;
  }
  EXPECT_GT(checked, 500U);
}

}  // namespace
}  // namespace tavrin
