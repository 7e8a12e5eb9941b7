#include "TavrinTerminal/Panel/PanelModel.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/TavrinTerminal/Panel/PanelScene.hpp"

namespace tavrin::test {
namespace {

using PanelNavigation::Direction;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

constexpr ScreenSize usual = {.columns = 80, .rows = 24};

std::string textOf(const PanelModel& model, ScreenSize size = usual) {
  return gridOf(model, size).text();
}

// The labels of the rows, from the top.
std::vector<std::string> labels(const PanelModel& model) {
  std::vector<std::string> found;
  for (const PanelLine& line : model.screen(sceneTime).lines.lines) {
    if (line.texts.size() > 2 && line.texts[0].column == 1 && line.texts[2].column > 8)
      found.push_back(line.texts[0].text);
  }
  if (!found.empty()) found.pop_back();  // the keys
  return found;
}

std::string selectedId(const PanelModel& model) {
  return model.selectedSession() == nullptr ? "" : model.selectedSession()->session.record->sessionId;
}

TEST(PanelModel, RowsHoldStillWhileStatesChange) {
  PanelModel model(usual);
  model.takeSessions({sceneRow("a", "api"), sceneRow("b", "docs", SessionState::idle)});
  model.takeSessions({sceneRow("n", "new", SessionState::needsYou),
                      sceneRow("b", "docs", SessionState::needsYou), sceneRow("a", "api")});
  EXPECT_THAT(labels(model), ElementsAre("api", "docs", "new"));
  model.takeSessions({sceneRow("n", "new", SessionState::needsYou), sceneRow("a", "api")});
  EXPECT_THAT(labels(model), ElementsAre("api", "new"));
  model.sortAnew();
  EXPECT_THAT(labels(model), ElementsAre("new", "api"));
}

TEST(PanelModel, TheFirstLineIsTheLibrarys) {
  PanelModel model(usual);
  model.takeSessions({sceneRow("a", "api"), sceneRow("b", "web", SessionState::needsYou),
                      sceneRow("c", "docs", SessionState::idle)});
  EXPECT_THAT(textOf(model), HasSubstr(" 1 burning \u00b7 1 needs you \u00b7 1 idle\n"));
}

TEST(PanelModel, ArrowsGoRoundThroughSessionsAndServers) {
  PanelModel model(usual);
  model.takeSessions({sceneRow("a", "api"), sceneRow("b", "docs")});
  model.takeServers(std::vector{sceneServer(7, 3000, "Vite", "/work-of-somebody/api")});
  EXPECT_EQ(selectedId(model), "a");
  model.move(Direction::down);
  ASSERT_NE(model.selectedServer(), nullptr);
  EXPECT_EQ(model.selectedServer()->pid, 7);
  model.move(Direction::down);
  EXPECT_EQ(selectedId(model), "b");
  model.move(Direction::down);
  EXPECT_EQ(selectedId(model), "a");
  model.move(Direction::up);
  EXPECT_EQ(selectedId(model), "b");
}

TEST(PanelModel, TheSelectionStaysInPlaceWhenItsRowGoes) {
  PanelModel model(usual);
  model.takeSessions({sceneRow("a", "1"), sceneRow("b", "2"), sceneRow("c", "3")});
  model.move(Direction::down);
  model.takeSessions({sceneRow("a", "1"), sceneRow("c", "3")});
  EXPECT_EQ(selectedId(model), "c");
  model.takeSessions({sceneRow("a", "1")});
  EXPECT_EQ(selectedId(model), "a");
  model.takeSessions({});
  EXPECT_FALSE(model.selection().has_value());
}

TEST(PanelModel, ServersStandBelowTheirSessionAndOthersAtTheEnd) {
  PanelModel model(usual);
  model.takeSessions({sceneRow("a", "api"), sceneRow("b", "docs")});
  model.takeServers(std::vector{sceneServer(8, 5432, "Postgres", "/other"),
                                sceneServer(7, 3000, "Vite", "/work-of-somebody/api")});
  EXPECT_THAT(textOf(model),
              testing::ContainsRegex("api .*\n   Vite  3000    2h 5m\n docs .*\n Other servers\n"
                                     "   Postgres  5432    2h 5m\n"));
}

TEST(PanelModel, PortsOfInvisibleProcessesStandBelowTheOtherServers) {
  PanelModel model(usual);
  model.takeSessions({sceneRow("a", "api")});
  model.takeServers(std::vector{sceneServer(8, 5432, "Postgres", "/other")}, {22, 631});
  EXPECT_THAT(textOf(model), testing::ContainsRegex("api .*\n Other servers\n   Postgres  5432    2h 5m\n"
                                                    "   2 ports belong to processes that you cannot see: "
                                                    "22, 631\n\n"));
  model.takeServers(std::vector<LocalServer>(), {22});
  EXPECT_THAT(textOf(model),
              testing::ContainsRegex("api .*\n Other servers\n"
                                     "   1 port belongs to a process that you cannot see: 22\n"));
  model.startFilter();
  model.typeFilter("a");
  EXPECT_THAT(textOf(model), Not(HasSubstr("Other servers")));
  model.endFilter(false);
  model.takeServers(std::vector<LocalServer>());
  EXPECT_THAT(textOf(model), Not(HasSubstr("Other servers")));
}

TEST(PanelModel, AnEmptyPanelNamesPortsOfInvisibleProcesses) {
  PanelModel model(usual);
  model.takeAgents(ActivityEmptyContent::Agents::connected(1));
  model.takeServers(std::vector<LocalServer>(), {22});
  EXPECT_THAT(textOf(model), HasSubstr("\n\n Other servers\n"
                                       "   1 port belongs to a process that you cannot see: 22\n"));
  EXPECT_FALSE(model.selection().has_value());
}

TEST(PanelModel, PortsOfInvisibleProcessesCannotBeSelected) {
  PanelModel model(usual);
  model.takeSessions({sceneRow("a", "api"), sceneRow("b", "docs")});
  model.takeServers(std::vector<LocalServer>(), {22});
  for (const int row : {4, 5}) EXPECT_EQ(model.selectAt(row), std::nullopt) << row;
  model.moveToEnd(Direction::down);
  EXPECT_EQ(selectedId(model), "b");
  model.movePage(Direction::down);
  EXPECT_EQ(selectedId(model), "b");
  model.move(Direction::down);
  EXPECT_EQ(selectedId(model), "a");
  model.movePage(Direction::down);
  EXPECT_EQ(selectedId(model), "b");
}

TEST(PanelModel, PortsOfInvisibleProcessesScrollInWithTheLastRow) {
  constexpr ScreenSize low = {.columns = 60, .rows = 9};
  PanelModel model(low);
  std::vector<SessionRow> rows;
  for (int i = 0; i < 8; ++i) rows.push_back(sceneRow(std::to_string(i), "p" + std::to_string(i)));
  model.takeSessions(rows);
  std::vector<int> ports;
  for (int port = 1000; port < 1040; ++port) ports.push_back(port);
  model.takeServers(std::vector<LocalServer>(), ports);
  EXPECT_THAT(textOf(model, low), Not(HasSubstr("cannot see")));
  model.moveToEnd(Direction::down);
  EXPECT_THAT(textOf(model, low),
              testing::ContainsRegex("p7 .*\n Other servers\n"
                                     "   40 ports belong to processes that you cannot see: 1000, \u2026\n"));
  model.moveToEnd(Direction::up);
  EXPECT_THAT(textOf(model, low), HasSubstr("\u258Cp0"));
}

TEST(PanelModel, TheFilterShowsWhatMatchesInAnyCase) {
  PanelModel model(usual);
  model.takeSessions({sceneRow("a", "Api"), sceneRow("b", "docs", SessionState::idle, Agent::codex)});
  model.startFilter();
  for (const char* c : {"C", "O", "D", "E", "X"}) model.typeFilter(c);
  EXPECT_THAT(labels(model), ElementsAre());
  EXPECT_THAT(textOf(model), HasSubstr("docs"));
  EXPECT_THAT(textOf(model), Not(HasSubstr("Api")));
  EXPECT_THAT(textOf(model), HasSubstr("\n /CODEX\n"));
  model.endFilter(true);
  EXPECT_THAT(textOf(model), HasSubstr("1 idle  /CODEX"));
  model.startFilter();
  model.typeFilter("x");
  EXPECT_THAT(textOf(model), HasSubstr("Nothing matches the filter."));
  for (int i = 0; i < 6; ++i) model.eraseFilter();
  EXPECT_EQ(model.mode(), PanelModel::Mode::filter);
  model.eraseFilter();
  EXPECT_EQ(model.mode(), PanelModel::Mode::list);
  EXPECT_THAT(labels(model), ElementsAre("Api", "docs"));
}

TEST(PanelModel, HiddenIdleSessionsAreCounted) {
  PanelModel model(usual);
  model.takeAgents(ActivityEmptyContent::Agents::connected(1));
  model.takeServers(std::vector<LocalServer>());
  model.takeSessions({sceneRow("a", "api", SessionState::idle), sceneRow("b", "docs", SessionState::idle)});
  model.toggleIdle();
  EXPECT_THAT(textOf(model), HasSubstr(" All quiet\n 2 idle sessions are hidden.\n"));
  model.toggleIdle();
  EXPECT_THAT(labels(model), ElementsAre("api", "docs"));
}

TEST(PanelModel, AnEmptyPanelSaysWhatTheLibrarySays) {
  PanelModel model(usual);
  EXPECT_THAT(textOf(model), HasSubstr(" Getting ready\n Checking your agents and local servers.\n"));
  model.takeAgents(ActivityEmptyContent::Agents::off());
  model.takeServers(std::nullopt);
  EXPECT_THAT(textOf(model),
              HasSubstr(" Localhost unavailable\n Couldn\u2019t refresh your local servers.\n"));
  EXPECT_THAT(textOf(model), HasSubstr("\n No agent is connected. Press c to connect one.\n"));
  model.takeAgents(ActivityEmptyContent::Agents::connected(1));
  EXPECT_THAT(textOf(model), Not(HasSubstr("No agent is connected")));
}

TEST(PanelModel, OnlyKeysThatDoSomethingAreShown) {
  PanelModel model(usual);
  for (const char* key : {"go there", "stop", "idle", "filter"})
    EXPECT_THAT(textOf(model), Not(HasSubstr(key)));
  model.takeSessions({sceneRow("a", "api")});
  EXPECT_THAT(textOf(model), HasSubstr("\u21b5 go there"));
  EXPECT_THAT(textOf(model), Not(HasSubstr("stop")));
  model.takeSessions({});
  model.takeServers(std::vector{sceneServer(7, 3000, "Vite")});
  EXPECT_THAT(textOf(model), Not(HasSubstr("go there")));
  EXPECT_THAT(textOf(model), HasSubstr("o open   s stop"));
}

TEST(PanelModel, StoppingIsAskedForAndTheQuestionGoesWithItsServer) {
  PanelModel model(usual);
  model.askToStop();
  EXPECT_EQ(model.mode(), PanelModel::Mode::list);
  model.takeServers(std::vector{sceneServer(7, 3000, "Vite")});
  model.askToStop();
  EXPECT_THAT(textOf(model), HasSubstr("Stop Vite on port 3000? (y/n)"));
  model.takeServers(std::vector<LocalServer>());
  EXPECT_EQ(model.mode(), PanelModel::Mode::list);
}

TEST(PanelModel, KillingIsAskedForWhereStoppingWas) {
  PanelModel model(usual);
  model.takeServers(std::vector{sceneServer(7, 3000, "Vite")});
  model.askToKill("Vite on port 3000");
  EXPECT_EQ(model.mode(), PanelModel::Mode::confirmKill);
  EXPECT_THAT(textOf(model), HasSubstr("Vite on port 3000 did not stop within 5 s. Kill it?"));
  model.endQuestion();
  // Whoever types a filter in the meantime is not asked.
  model.startFilter();
  model.askToKill("Vite on port 3000");
  EXPECT_EQ(model.mode(), PanelModel::Mode::filter);
}

TEST(PanelModel, DetailsHaveTheReasonOfAState) {
  PanelModel model(usual);
  SessionRow row = sceneRow("a", "api", SessionState::idle);
  row.session.reason = "refused, according to its transcript";
  Session titled = *row.session.record;
  titled.title = "Mend\nthe \u202Etest";
  row.session.record = std::move(titled);
  model.takeSessions({row, sceneRow("b", "docs")});
  model.toggleDetails();
  EXPECT_THAT(textOf(model), HasSubstr(" Agent     Claude Code\n State     idle for 2m\n"
                                       " Reason    refused, according to its transcript\n"
                                       " Title     Mend the \uFFFDtest\n"));
  model.toggleDetails();
  model.move(Direction::down);
  model.toggleDetails();
  EXPECT_THAT(textOf(model), HasSubstr(" Reason    as its hooks report\n"));
  model.takeSessions({});
  EXPECT_EQ(model.mode(), PanelModel::Mode::list);
  model.toggleDetails();
  EXPECT_EQ(model.mode(), PanelModel::Mode::list);
}

TEST(PanelModel, DetailsOfAServerBreakWhatIsLong) {
  constexpr ScreenSize narrow = {.columns = 30, .rows = 24};
  PanelModel model(narrow);
  model.takeServers(std::vector{sceneServer(7, 3000, "Vite", "/" + std::string(30, 'a'))});
  model.takeHealth({{"7:3000", ServerHealth::notResponding}});
  model.toggleDetails();
  const std::string text = textOf(model, narrow);
  EXPECT_THAT(text, HasSubstr(" URL       http://localhost:30\n           00\n"));
  EXPECT_THAT(text, HasSubstr(" Answers   not within 300 ms\n"));
  EXPECT_THAT(text, HasSubstr(" Folder    /aaaaaaaaaaaaaaaaaa\n           aaaaaaaaaaaa\n"));
}

TEST(PanelModel, AServerThatDoesNotAnswerSaysSo) {
  PanelModel model(usual);
  model.takeServers(std::vector{sceneServer(7, 3000, "Vite"), sceneServer(8, 4000, "Astro")});
  model.takeHealth({{"7:3000", ServerHealth::notResponding}, {"8:4000", ServerHealth::responding}});
  EXPECT_THAT(textOf(model), HasSubstr("Vite   3000    2h 5m  no answer\n"));
  EXPECT_THAT(textOf(model), HasSubstr("Astro  4000    2h 5m\n"));
}

TEST(PanelModel, AnAgeInSecondsIsReportedOnlyWhileItIsShown) {
  PanelModel model(usual);
  model.takeSessions({sceneRow("a", "api")});
  EXPECT_FALSE(model.screen(sceneTime).showsSeconds);
  EXPECT_TRUE(model.screen(sceneTime - std::chrono::seconds(100)).showsSeconds);
  model.resize({20, 5});
  EXPECT_FALSE(model.screen(sceneTime - std::chrono::seconds(100)).showsSeconds);
}

TEST(PanelModel, AClickSelectsTheRowThatIsThere) {
  PanelModel model(usual);
  model.takeSessions({sceneRow("a", "api"), sceneRow("b", "docs")});
  EXPECT_EQ(model.selectAt(3), std::optional(false));
  EXPECT_EQ(selectedId(model), "b");
  EXPECT_EQ(model.selectAt(3), std::optional(true));
  for (const int row : {-1, 0, 1, 4, 22, 23, 500}) EXPECT_EQ(model.selectAt(row), std::nullopt) << row;
}

TEST(PanelModel, ALongMessageTakesSeveralLines) {
  PanelModel model(usual);
  model.takeSessions({sceneRow("a", "api")});
  model.say(std::string(60, 'a') + " " + std::string(60, 'b') + " end");
  EXPECT_THAT(textOf(model),
              HasSubstr("\n " + std::string(60, 'a') + "\n " + std::string(60, 'b') + " end\n"));
  model.say("");
  EXPECT_THAT(textOf(model), HasSubstr("? help"));
}

// Whatever is pressed, the selected row is on the screen and marked, and there is one while there are rows.
TEST(PanelModel, TheSelectedRowIsAlwaysOnTheScreen) {
  const auto seed = static_cast<unsigned>(testing::UnitTest::GetInstance()->random_seed());
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::srand(seed);
  const auto upTo = [](int count) { return std::rand() % count; };
  for (int round = 0; round < 40; ++round) {
    ScreenSize size = {.columns = 20 + upTo(80), .rows = 5 + upTo(20)};
    PanelModel model = scene(static_cast<std::size_t>(upTo(60)), size);
    for (int step = 0; step < 60; ++step) {
      const Direction direction = upTo(2) == 0 ? Direction::up : Direction::down;
      switch (upTo(13)) {
        case 0:
          model.movePage(direction);
          break;
        case 1:
          model.moveToEnd(direction);
          break;
        case 2:
          size = {.columns = 20 + upTo(80), .rows = 5 + upTo(20)};
          model.resize(size);
          break;
        case 3:
          model.toggleIdle();
          break;
        case 4:
          model.typeFilter(upTo(2) == 0 ? "a" : "e");
          break;
        case 5:
          model.endFilter(false);
          break;
        case 6:
          model.selectAt(upTo(size.rows));
          break;
        case 7:
          model.say(upTo(2) == 0 ? "" : "a message of several words that a narrow screen breaks into lines");
          break;
        case 8:
          model.toggleDetails();
          break;
        case 9:
          model.toggleHelp();
          break;
        case 10:
          model.toggleAgents();
          break;
        case 11:
          model.takeServers(std::vector(static_cast<std::size_t>(upTo(2)), sceneServer(7, 3000, "Vite")),
                            std::vector<int>(static_cast<std::size_t>(upTo(2)), 22));
          break;
        default:
          model.move(direction);
      }
      const PanelLines lines = model.screen(sceneTime).lines;
      ASSERT_EQ(static_cast<int>(lines.lines.size()), size.rows);
      const auto selected = std::ranges::count_if(lines.lines, &PanelLine::isSelected);
      using Mode = PanelModel::Mode;
      const bool hasRows = model.mode() == Mode::list || model.mode() == Mode::filter;
      if (model.mode() == Mode::agents) {
        ASSERT_EQ(selected, 1);
      } else {
        ASSERT_EQ(selected, hasRows && model.selection() ? 1 : 0);
      }
      if (selected == 1) {
        ASSERT_TRUE(lines.lines[static_cast<std::size_t>(lines.cursor->row)].isSelected);
      }
    }
  }
}

}  // namespace
}  // namespace tavrin::test
