#include "TavrinTerminal/Panel/ConnectScreen.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "TavrinTerminal/Panel/PanelKeys.hpp"
#include "tests/TavrinTerminal/Panel/PanelScene.hpp"

namespace tavrin::test {
namespace {

using PanelNavigation::Direction;
using testing::HasSubstr;
using testing::Not;
using Deed = ConnectScreen::Deed;
using Mode = PanelModel::Mode;

constexpr ScreenSize usual = {.columns = 80, .rows = 24};

// One agent of every kind of standing.
std::vector<AgentStanding> standings() {
  std::vector<AgentStanding> agents = unknownStandings();
  agents[0] = {.agent = Agent::claude,
               .name = "Claude Code",
               .version = "2.1.112",
               .isPresent = true,
               .wasStarted = true,
               .isConnected = true,
               .settings = "~/.claude/settings.json",
               .readiness = AgentReadiness::active()};
  agents[1] = agents[0];
  agents[1].agent = Agent::codex;
  agents[1].name = "Codex";
  agents[1].readiness = AgentReadiness::inactive("Codex does not trust the hooks.", true);
  agents[2].isPresent = agents[2].wasStarted = true;
  agents[2].settings = "~/.gemini/settings.json";
  agents[2].readiness = AgentReadiness::notInstalled();
  agents[3].isPresent = true;
  agents[3].readiness = AgentReadiness::notInstalled();
  agents[4].readiness = AgentReadiness::notInstalled();
  return agents;
}

PanelModel opened(ScreenSize size = usual) {
  PanelModel model(size);
  model.takeStandings(standings());
  model.toggleAgents();
  return model;
}

std::string textOf(const PanelModel& model, ScreenSize size = usual) {
  return gridOf(model, size).text();
}

TEST(ConnectScreen, ShowsPresenceVersionAndReadiness) {
  EXPECT_THAT(textOf(opened()), testing::StartsWith(" 2 of 4 agents connected\n"));
  EXPECT_THAT(textOf(opened()), HasSubstr("\u258C"
                                          "Claude Code  2.1.112     connected\n"
                                          " Codex        2.1.112     connected, but not active\n"
                                          " Gemini CLI               not connected\n"
                                          " Copilot CLI              never started\n"
                                          " Grok                     not on this machine\n"
                                          "\n Its hooks are in ~/.claude/settings.json.\n"));
}

TEST(ConnectScreen, CodexWithNobodyToAskHasUnknownTrust) {
  std::vector<AgentStanding> agents = standings();
  agents[1].readiness = AgentReadiness::inactive("There is nobody to ask.", false);
  agents[1].isTrustUnknown = true;
  PanelModel model = opened();
  model.takeStandings(agents);
  model.move(Direction::down);
  EXPECT_THAT(textOf(model), HasSubstr("Codex        2.1.112     connected, trust unknown\n"));
  EXPECT_THAT(textOf(model), HasSubstr("\n There is nobody to ask.\n"));
  EXPECT_EQ(model.connectScreen().deed(), Deed::disconnect);
}

TEST(ConnectScreen, SaysWhatItIsCheckingBeforeAnythingIsKnown) {
  PanelModel model(usual);
  model.toggleAgents();
  EXPECT_THAT(textOf(model), testing::StartsWith(" Connect your agents\n"));
  EXPECT_THAT(textOf(model), HasSubstr("Grok                     checking\n"));
  EXPECT_EQ(model.connectScreen().deed(), std::nullopt);
}

TEST(ConnectScreen, OffersWhatCanBeDoneWithEachAgent) {
  PanelModel model = opened();
  const std::vector<std::pair<std::optional<Deed>, std::string>> expected = {
      {Deed::disconnect, "\u21B5 disconnect   Esc sessions"},
      {Deed::renew, "\u21B5 connect again   d disconnect   Esc sessions"},
      {Deed::connect, "\u21B5 connect   Esc sessions"},
      {std::nullopt, " Esc sessions"},
      {std::nullopt, " Esc sessions"}};
  const std::vector<std::string> advice = {
      "Its hooks are in ~/.claude/settings.json.", "Codex does not trust the hooks.",
      "Enter shows what would be written to ~/.gemini/settings.json.",
      "Start Copilot CLI once, then connect it.", "Install Grok, start it once, then connect it."};
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(model.connectScreen().deed(), expected[i].first) << i;
    EXPECT_THAT(textOf(model), HasSubstr(expected[i].second));
    EXPECT_THAT(textOf(model), HasSubstr(advice[i]));
    model.move(Direction::down);
  }
  EXPECT_EQ(model.connectScreen().selectedRow(), 0U);
  model.moveToEnd(Direction::down);
  EXPECT_EQ(model.connectScreen().selected().agent, Agent::grok);
}

TEST(ConnectScreen, AClickSelectsAnAgent) {
  PanelModel model = opened();
  EXPECT_EQ(model.selectAt(4), std::optional(false));
  EXPECT_EQ(model.connectScreen().selected().agent, Agent::gemini);
  EXPECT_EQ(model.selectAt(4), std::optional(true));
  for (const int row : {0, 1, 7, 8, 23}) EXPECT_EQ(model.selectAt(row), std::nullopt) << row;
}

TEST(ConnectScreen, ShowsTheChangeBeforeItAsks) {
  PanelModel model = opened();
  std::string change = "--- a\n+++ b\n@@ -1 +1 @@\n-old\n+\tnew\n";
  for (int i = 0; i < 40; ++i) change += "+line " + std::to_string(i) + "\n";
  model.askAbout({.agent = Agent::gemini, .deed = Deed::connect, .change = change});
  EXPECT_EQ(model.mode(), Mode::change);
  EXPECT_THAT(textOf(model), testing::StartsWith(" Connect Gemini CLI?\n"));
  EXPECT_THAT(textOf(model), HasSubstr("\n -old\n +    new\n +line 0\n"));
  EXPECT_THAT(textOf(model), HasSubstr(" y yes   n no"));
  EXPECT_THAT(textOf(model), Not(HasSubstr("line 39")));
  model.moveToEnd(Direction::down);
  EXPECT_THAT(textOf(model), HasSubstr("line 39"));
  model.endQuestion();
  EXPECT_EQ(model.mode(), Mode::agents);
  EXPECT_EQ(model.connectScreen().question(), std::nullopt);
}

TEST(ConnectScreen, AsksNothingOnceThePersonHasLeft) {
  PanelModel model = opened();
  model.toggleAgents();
  model.askAbout({.agent = Agent::gemini, .deed = Deed::connect, .change = "+x\n"});
  EXPECT_EQ(model.mode(), Mode::list);
}

TEST(ConnectScreen, HelpComesBackToIt) {
  PanelModel model = opened();
  model.toggleHelp();
  EXPECT_EQ(model.mode(), Mode::help);
  model.toggleHelp();
  EXPECT_EQ(model.mode(), Mode::agents);
}

TEST(ConnectScreen, TheSelectedAgentIsOnTheSmallestScreen) {
  constexpr ScreenSize small = {.columns = 20, .rows = 5};
  PanelModel model = opened(small);
  for (const char* name : {"Claude Code", "Codex", "Gemini CLI", "Copilot CLI", "Grok"}) {
    EXPECT_THAT(textOf(model, small), HasSubstr("\u258C" + std::string(name)));
    EXPECT_EQ(model.selectAt(2), std::optional(true));
    model.move(Direction::down);
  }
}

TEST(ConnectScreen, OnlyAYesChangesAnything) {
  const auto of = [](Mode mode, Key::Kind kind, const char* text = "") {
    return PanelKeys::action(mode, {.kind = kind, .text = text});
  };
  using Kind = Key::Kind;
  EXPECT_EQ(of(Mode::change, Kind::character, "y"), PanelAction::change);
  for (const char* other : {"n", "q", "d", " ", "x"})
    EXPECT_NE(of(Mode::change, Kind::character, other), PanelAction::change) << other;
  EXPECT_EQ(of(Mode::change, Kind::enter), PanelAction::nothing);
  EXPECT_EQ(of(Mode::change, Kind::press), PanelAction::nothing);
  EXPECT_EQ(of(Mode::change, Kind::escape), PanelAction::endQuestion);
  EXPECT_EQ(of(Mode::agents, Kind::enter), PanelAction::askToConnect);
  EXPECT_EQ(of(Mode::agents, Kind::escape), PanelAction::toggleAgents);
}

}  // namespace
}  // namespace tavrin::test
