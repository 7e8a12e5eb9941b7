#include "TavrinTerminal/SessionWord.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "TavrinTerminal/SessionChanges.hpp"

namespace tavrin::test {
namespace {

SessionRow row(std::string id, std::string project, std::string label = "",
               SessionState state = SessionState::idle) {
  Session record;
  record.sessionId = std::move(id);
  SessionRow made;
  made.session.record = std::move(record);
  made.session.state = state;
  made.label = label.empty() ? project : std::move(label);
  made.project = std::move(project);
  return made;
}

const std::vector<SessionRow> rows = {row("abc-1", "shop", "shop \u00b7 claude"),
                                      row("abc-2", "shop", "shop \u00b7 codex"), row("abc", "api"),
                                      row("shop", "docs"), row("xyz", "api2")};

std::string named(std::string_view word) {
  const auto found = sessionNamed(word, rows);
  if (const auto* const none = std::get_if<NoSession>(&found)) return none->error;
  return std::get<const SessionRow*>(found)->session.record->sessionId;
}

TEST(SessionWord, AnIdComesBeforeAllElse) {
  EXPECT_EQ(named("abc"), "abc");
  EXPECT_EQ(named("shop"), "shop");
}

TEST(SessionWord, TheBeginningOfOneIdIsEnough) {
  EXPECT_EQ(named("x"), "xyz");
  EXPECT_EQ(named("abc-2"), "abc-2");
}

TEST(SessionWord, AProjectOrALabelOfOneSessionIsEnough) {
  EXPECT_EQ(named("docs"), "shop");
  EXPECT_EQ(named("api"), "abc");
  EXPECT_EQ(named("shop \u00b7 codex"), "abc-2");
}

TEST(SessionWord, AnAmbiguousWordIsRefusedWithCandidates) {
  EXPECT_EQ(named("ab"),
            "\"ab\" fits several sessions. Use one of these ids:\n  abc-1  shop \u00b7 claude\n  abc-2  shop "
            "\u00b7 "
            "codex\n  abc  api");
}

TEST(SessionWord, ManyCandidatesAreCounted) {
  std::vector<SessionRow> many;
  for (int i = 0; i < 25; ++i) many.push_back(row("id" + std::to_string(i), "p"));
  const auto found = sessionNamed("p", many);
  EXPECT_THAT(std::get<NoSession>(found).error, testing::EndsWith("\n  and 5 more"));
  EXPECT_TRUE(std::get<NoSession>(found).isAmbiguous);
}

TEST(SessionWord, AWordThatFitsNothingIsCleaned) {
  EXPECT_EQ(named("\x1b"), "there is no session \"\uFFFD\". \"tavrin list\" lists them.");
  EXPECT_THAT(named(""), testing::StartsWith("there is no session"));
}

TEST(SessionChanges, ReportsTheFirstStateAndThenTheChanges) {
  SessionChanges changes;
  const auto lines = [&](std::vector<SessionRow> now) {
    std::vector<std::string> found;
    for (const SessionChange& change : changes.since(std::move(now)))
      found.push_back(std::string(nameOf(change.kind)) + ": " + lineOf(change));
    return found;
  };
  using testing::ElementsAre;
  SessionRow waiting = row("a", "shop", "", SessionState::needsYou);
  waiting.tool = "Bash";
  EXPECT_THAT(lines({row("a", "shop"), row("b", "api")}),
              ElementsAre("appeared: shop, idle, Claude", "appeared: api, idle, Claude"));
  EXPECT_THAT(lines({row("a", "shop"), row("b", "api")}), ElementsAre());
  EXPECT_THAT(lines({waiting, row("c", "docs")}),
              ElementsAre("gone: api, gone, Claude", "changed: shop, needs you, Bash, Claude",
                          "appeared: docs, idle, Claude"));
  EXPECT_THAT(lines({}), ElementsAre("gone: shop, gone, Claude", "gone: docs, gone, Claude"));
}

}  // namespace
}  // namespace tavrin::test
