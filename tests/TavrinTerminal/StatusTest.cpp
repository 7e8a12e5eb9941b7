#include "TavrinTerminal/Commands/Status.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/json/parse.hpp>

#include "tests/TavrinTerminal/TestTerminal.hpp"

namespace tavrin::test {
namespace {

using StatusLine::Format;

class StatusCommand : public testing::Test, public TestTerminal {
 protected:
  std::string status(Format format, bool isTerminal = false) {
    const tavrin::Outcome outcome =
        StatusLine::run({.format = format}, surroundings, kept.console(isTerminal, isTerminal));
    EXPECT_EQ(outcome.status, ExitStatus::done);
    return outcome.output;
  }
  void saveThree() const {
    save(session("a", SessionState::working));
    save(session("b", SessionState::needsYou, "<b>&co"));
    save(session("c", SessionState::idle, "docs"));
  }
  TestConsole kept;
};

TEST_F(StatusCommand, IsTheLibrarysLineOnATerminalAndInAPipe) {
  EXPECT_EQ(status(Format::plain), "No Claude Code sessions\n");
  saveThree();
  EXPECT_EQ(status(Format::plain), "1 burning \u00b7 1 needs you \u00b7 1 idle\n");
  EXPECT_EQ(status(Format::plain, true), "1 burning \u00b7 1 needs you \u00b7 1 idle\n");
}

TEST_F(StatusCommand, AsJsonIsTheSummary) {
  saveThree();
  EXPECT_EQ(status(Format::json),
            "{\"version\":1,\"needsYou\":1,\"working\":1,\"idle\":1,\"line\":\"1 burning \u00b7 1 needs you "
            "\u00b7 1 "
            "idle\"}\n");
}

TEST_F(StatusCommand, ForTmuxHasStylesThatEnd) {
  EXPECT_EQ(status(Format::tmux), "\n");
  saveThree();
  EXPECT_EQ(status(Format::tmux),
            "#[fg=yellow,bold]1 needs you#[default] \u00b7 #[fg=green]1 burning#[default] \u00b7 1 idle\n");
}

TEST_F(StatusCommand, ForWaybarIsEscapedMarkup) {
  const auto none = boost::json::parse(status(Format::waybar)).as_object();
  EXPECT_EQ(none.at("text").as_string(), "");
  EXPECT_EQ(none.at("class").as_string(), "none");
  saveThree();
  const auto object = boost::json::parse(status(Format::waybar)).as_object();
  EXPECT_EQ(object.size(), 4U);
  EXPECT_EQ(object.at("text").as_string(), "1 burning \u00b7 1 needs you \u00b7 1 idle");
  EXPECT_EQ(object.at("tooltip").as_string(), "&lt;b&gt;&amp;co, needs you\nshop, burning\ndocs, idle");
  EXPECT_EQ(object.at("class").as_string(), "needsYou");
  EXPECT_EQ(object.at("alt").as_string(), "needsYou");
}

TEST_F(StatusCommand, ALongTooltipEnds) {
  for (int i = 0; i < 25; ++i)
    save(session("s" + std::to_string(i), SessionState::idle, "p" + std::to_string(i)));
  const auto object = boost::json::parse(status(Format::waybar)).as_object();
  const std::string tooltip(object.at("tooltip").as_string());
  EXPECT_EQ(std::ranges::count(tooltip, '\n'), 20);
  EXPECT_TRUE(tooltip.ends_with("\n\u2026"));
}

TEST_F(StatusCommand, SessionsOfApplicationsDoNotCount) {
  Session probe = session("probe", SessionState::working);
  probe.repoRoot = home.string() + "/Library/Caches/probe";
  save(probe);
  EXPECT_EQ(status(Format::plain), "No Claude Code sessions\n");
}

TEST_F(StatusCommand, AUserWithoutAHomeReadsASentence) {
  surroundings.home = "";
  const tavrin::Outcome outcome = StatusLine::run({}, surroundings, kept.console(false));
  EXPECT_EQ(outcome.status, ExitStatus::failed);
  EXPECT_THAT(outcome.error, testing::HasSubstr("Set HOME"));
}

TEST_F(StatusCommand, FollowingEndsWithItsReader) {
  kept.isRead = false;
  saveThree();
  const tavrin::Outcome outcome = StatusLine::run({.follow = true}, surroundings, kept.console(false));
  EXPECT_EQ(outcome, tavrin::Outcome::done());
  EXPECT_EQ(kept.output, "1 burning \u00b7 1 needs you \u00b7 1 idle\n");
}

}  // namespace
}  // namespace tavrin::test
