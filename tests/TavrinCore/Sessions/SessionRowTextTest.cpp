#include "TavrinCore/Sessions/SessionRowText.hpp"

#include <gtest/gtest.h>

namespace tavrin {
namespace {

TEST(SessionRowText, IsTheLabelAndTheState) {
  Session session;
  session.repoRoot = "/r/app";
  EXPECT_EQ(SessionRowText::title(session, "app \u00b7 codex"), "app \u00b7 codex, idle");
  EXPECT_EQ(SessionRowText::title(session, ""), ", idle");
  session.state = SessionState::working;
  EXPECT_EQ(SessionRowText::title(session, "x"), "x, burning");
}

TEST(SessionRowText, WithoutALabelIsTheNameAndTheState) {
  Session session;
  session.repoRoot = "/r/app";
  session.state = SessionState::needsYou;
  EXPECT_EQ(SessionRowText::title(session, std::nullopt), "app, needs you");
  session.repoRoot.reset();
  session.cwd = "/Users/dev";
  EXPECT_EQ(SessionRowText::title(session, std::nullopt, "/Users/dev"), "home, needs you");
}

TEST(SessionRowText, ShowsTheStoredState) {
  Session session;
  session.agent = Agent::codex;
  session.state = SessionState::needsYou;
  EXPECT_EQ(SessionRowText::title(session, "x"), "x, needs you");
}

}  // namespace
}  // namespace tavrin
