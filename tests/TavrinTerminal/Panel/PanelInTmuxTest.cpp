#include "tests/TavrinTerminal/Panel/PanelInTmux.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <fstream>

#include "TavrinTerminal/Panel/ScreenWriter.hpp"
#include "tests/TavrinTerminal/Panel/PanelScene.hpp"

namespace tavrin::test {
namespace {

using testing::HasSubstr;
using testing::Not;

TEST_F(PanelInTmux, ASessionAppearsWaitsAndGoes) {
  openAndWait();
  EXPECT_TRUE(pane->shows(" No Claude Code sessions\n"));
  hook("s1", "UserPromptSubmit");
  EXPECT_TRUE(pane->shows(" 1 burning\n")) << pane->screen();
  EXPECT_THAT(pane->screen(), testing::ContainsRegex("shop +Claude +burning"));
  hook("s1", "PermissionRequest", "shop", R"(,"tool_name":"Bash")");
  EXPECT_TRUE(pane->shows(" 1 needs you\n")) << pane->screen();
  EXPECT_THAT(pane->screen(), testing::ContainsRegex("shop +Claude +needs you +Bash"));
  hook("s1", "SessionEnd");
  EXPECT_TRUE(pane->shows(" No Claude Code sessions\n")) << pane->screen();
  EXPECT_TRUE(pane->hides("shop"));
  pane->type("q");
  EXPECT_TRUE(pane->shows("status 0"));
  expectAsBefore();
}

TEST_F(PanelInTmux, RowsHoldStillAndKeysMove) {
  hook("a", "UserPromptSubmit", "alpha");
  hook("b", "UserPromptSubmit", "beta");
  hook("c", "Stop", "gamma");
  openAndWait();
  EXPECT_TRUE(pane->shows("gamma")) << pane->screen();
  // Servers of somebody else's are no rows here.
  pane->type("/claude");
  pane->press("Enter");
  EXPECT_TRUE(pane->shows("  /claude\n")) << pane->screen();
  pane->press("g");
  const auto rowOf = [this](const std::string& label) {
    const std::string screen = pane->screen();
    return std::ranges::count(screen.substr(0, screen.find(label)), '\n');
  };
  EXPECT_EQ(rowOf("alpha"), 2);
  EXPECT_EQ(rowOf("gamma"), 4);
  hook("c", "PermissionRequest", "gamma", R"(,"tool_name":"Bash")");
  EXPECT_TRUE(pane->shows("1 needs you"));
  EXPECT_EQ(rowOf("gamma"), 4);
  EXPECT_TRUE(isAt(2));
  for (const auto& [key, row] : std::vector<std::pair<std::string, int>>{
           {"Down", 3}, {"j", 4}, {"j", 2}, {"Up", 4}, {"k", 3}, {"Home", 2}, {"G", 4}, {"g", 2}}) {
    pane->press(key);
    EXPECT_TRUE(isAt(row)) << key << "\n" << pane->screen();
  }
  click(3);
  EXPECT_TRUE(isAt(3));
  pane->type("\033[<65;1;1M");
  EXPECT_TRUE(isAt(4));
  pane->press("r");
  EXPECT_TRUE(TmuxPane::waitFor([&] { return rowOf("gamma") == 2; })) << pane->screen();
}

TEST_F(PanelInTmux, TheFilterAndTheHelpComeAndGo) {
  hook("a", "UserPromptSubmit", "alpha");
  hook("b", "UserPromptSubmit", "beta");
  openAndWait();
  pane->type("/bet");
  EXPECT_TRUE(pane->shows("/bet")) << pane->screen();
  EXPECT_TRUE(pane->hides("alpha")) << pane->screen();
  pane->press("Enter");
  EXPECT_TRUE(pane->shows("2 burning  /bet"));
  pane->press("Escape");
  EXPECT_TRUE(pane->shows("alpha"));
  pane->type("?");
  EXPECT_TRUE(pane->shows("move up and down"));
  pane->press("Escape");
  EXPECT_TRUE(pane->hides("move up and down"));
  pane->type("q");
  expectAsBefore();
}

TEST_F(PanelInTmux, PagesIdleSessionsAndARedrawHaveKeys) {
  hook("a", "UserPromptSubmit", "alphazz");
  hook("c", "Stop", "gammazz");
  openAndWait();
  EXPECT_TRUE(pane->shows("gamma")) << pane->screen();
  // The machine may have servers of its own.
  pane->type("/zzx");
  EXPECT_TRUE(pane->hides("gamma")) << pane->screen();
  pane->press("BSpace");
  EXPECT_TRUE(pane->shows("gamma")) << pane->screen();
  pane->press("Enter");
  const auto isAt = [this](const std::string& row) {
    return TmuxPane::waitFor([&] { return pane->value("#{cursor_y}") == row + "\n"; });
  };
  EXPECT_TRUE(isAt("2"));
  pane->press("PageDown");
  EXPECT_TRUE(isAt("3")) << pane->screen();
  pane->press("PageUp");
  EXPECT_TRUE(isAt("2")) << pane->screen();
  pane->press("i");
  EXPECT_TRUE(pane->hides("gamma")) << pane->screen();
  pane->press("i");
  EXPECT_TRUE(pane->shows("gamma")) << pane->screen();
  // Somebody else clears the terminal.
  pane->tell({"send-keys", "-R", "-t", ":0"});
  EXPECT_TRUE(pane->hides("gamma")) << pane->screen();
  pane->press("C-l");
  EXPECT_TRUE(pane->shows("gamma")) << pane->screen();
}

TEST_F(PanelInTmux, AClickOnTheSelectedSessionGoesThere) {
  hook("a", "UserPromptSubmit", "alpha");
  openAndWait();
  EXPECT_TRUE(pane->shows("alpha")) << pane->screen();
  pane->press("g");  // a server of the machine may have been there first
  pane->type("\033[<0;5;3M\033[<0;5;3m");
  EXPECT_TRUE(pane->shows("alpha was not brought to the front.")) << pane->screen();
}

TEST_F(PanelInTmux, WithoutASelectionKeysDoNothing) {
  hook("a", "UserPromptSubmit", "alpha");
  openAndWait();
  pane->type("/no such session");
  pane->press("Enter");
  EXPECT_TRUE(pane->shows("1 burning  /no such session")) << pane->screen();
  EXPECT_TRUE(pane->shows("Nothing matches the filter.")) << pane->screen();
  const std::string before = pane->screen();
  pane->press("Enter");
  pane->type("osdx");
  pane->type("?");
  EXPECT_TRUE(pane->shows("move up and down")) << pane->screen();
  pane->press("Escape");
  EXPECT_TRUE(TmuxPane::waitFor([&] { return pane->screen() == before; })) << before << pane->screen();
}

TEST_F(PanelInTmux, EnterGoesToTheWindowOfTheSession) {
  openWithASessionInWindow7();
  pane->press("Enter");
  EXPECT_TRUE(isInWindow("7")) << pane->screen();
}

TEST_F(PanelInTmux, AClickOnTheSelectedSessionGoesToItsWindow) {
  openWithASessionInWindow7();
  click(2);
  EXPECT_TRUE(isInWindow("7")) << pane->screen();
}

TEST_F(PanelInTmux, AnExceptionLeavesTheTerminalAsItWas) {
  hook("a", "UserPromptSubmit", "alpha");
  program = TAVRIN_THROWING_PANEL;
  openAndWait();
  EXPECT_TRUE(pane->shows("alpha")) << pane->screen();
  EXPECT_THAT(pane->value(terminalFlags), testing::StartsWith("1 "));
  // The age of the session is in seconds, so the panel asks for the time at least once a second.
  writeFile(home.path() / "throw", "");
  EXPECT_TRUE(pane->shows("\ntavrin: panel stopped early: the clock is broken.\nstatus 1\n"))
      << pane->screen();
  expectAsBefore();
}

TEST_F(PanelInTmux, ShowsWhyASessionIsInItsState) {
  hook("s1", "PermissionRequest", "shop", R"(,"tool_name":"Bash")");
  openAndWait();
  EXPECT_TRUE(pane->shows("needs you")) << pane->screen();
  pane->press("d");
  EXPECT_TRUE(pane->shows(" Reason    as its hooks report\n Tool      Bash\n")) << pane->screen();
  pane->press("Escape");
  EXPECT_TRUE(pane->hides("Reason"));
}

TEST_F(PanelInTmux, EverySignalLeavesTheTerminalAsItWas) {
  for (const int signal : {SIGTERM, SIGHUP, SIGQUIT, SIGABRT, SIGSEGV}) {
    SCOPED_TRACE(strsignal(signal));
    openAndWait();
    EXPECT_THAT(pane->value(terminalFlags), testing::StartsWith("1 "));
    ::kill(pid(), signal);
    // The shell may add words of its own about the signal.
    EXPECT_TRUE(pane->shows("status " + std::to_string(128 + signal))) << pane->screen();
    expectAsBefore();
    pane.reset();
  }
}

TEST_F(PanelInTmux, KeysThatSendSignalsStillDo) {
  openAndWait();
  pane->press("C-c");
  EXPECT_TRUE(pane->shows("\n$")) << pane->screen();
  EXPECT_EQ(pane->value(terminalFlags), flagsBefore);
}

TEST_F(PanelInTmux, StopsAndComesBackWithFg) {
  hook("a", "UserPromptSubmit", "alpha");
  open();
  EXPECT_TRUE(pane->shows("alpha")) << pane->screen();
  pane->press("C-z");
  EXPECT_TRUE(pane->hides("alpha")) << pane->screen();
  EXPECT_TRUE(TmuxPane::waitFor([this] { return pane->value(terminalFlags) == flagsBefore; }));
  type("s >\"$HOME/stopped\"; echo stopped-$((40 + 2))");
  EXPECT_TRUE(pane->shows("stopped-42")) << pane->screen();
  EXPECT_EQ(readFile(home.path() / "before"), readFile(home.path() / "stopped"));
  // In the background it neither draws nor reads.
  hook("b", "UserPromptSubmit", "beta");
  type("bg; echo background-$((40 + 2))");
  EXPECT_TRUE(pane->shows("background-42"));
  EXPECT_THAT(pane->screen(), Not(HasSubstr("beta")));
  type("fg");
  EXPECT_TRUE(pane->shows("beta")) << pane->screen();
  EXPECT_THAT(pane->screen(), Not(HasSubstr("stopped-42")));
  pane->type("q");
  EXPECT_TRUE(pane->shows("stopped-42")) << pane->screen();
  EXPECT_TRUE(TmuxPane::waitFor([this] { return pane->value(terminalFlags) == flagsBefore; }));
}

TEST_F(PanelInTmux, EndsWhenItsTerminalIsGone) {
  openAndWait();
  const pid_t panel = pid();
  pane->tell({"kill-server"});
  EXPECT_TRUE(TmuxPane::waitFor([&] { return ::kill(panel, 0) != 0; }));
}

TEST_F(PanelInTmux, FitsEverySizeInAStormOfThem) {
  hook("a", "UserPromptSubmit", "alpha");
  open();
  EXPECT_TRUE(pane->shows("alpha"));
  for (int i = 0; i < 40; ++i)
    pane->tell(
        {"resize-window", "-x", std::to_string(20 + i * 37 % 100), "-y", std::to_string(5 + i * 7 % 30)});
  for (const ScreenSize size : {ScreenSize{20, 5}, ScreenSize{61, 13}, ScreenSize{120, 40}}) {
    pane->tell({"resize-window", "-x", std::to_string(size.columns), "-y", std::to_string(size.rows)});
    std::string rule;
    for (int i = 0; i < size.columns; ++i) rule += "\u2500";
    EXPECT_TRUE(TmuxPane::waitFor([&] {
      const std::string screen = pane->screen();
      return screen.starts_with(" 1 burning\n" + rule +
                                "\n\u258c"
                                "alpha") &&
             screen.ends_with("q quit\n") && std::ranges::count(screen, '\n') == size.rows;
    })) << pane->screen();
  }
}

TEST_F(PanelInTmux, WorksOnEveryKindOfTerminal) {
  hook("a", "UserPromptSubmit", "alpha");
  for (const char* term : {"xterm", "tmux-256color", "screen", "linux"}) {
    for (const char* locale : {"C.UTF-8", "C"}) {
      for (const char* noColour : {"", "1"}) {
        SCOPED_TRACE(std::string(term) + " " + locale + " NO_COLOR=" + noColour);
        open({.term = term, .locale = locale, .variables = {std::string("NO_COLOR=") + noColour}});
        const bool isAscii = std::string(locale) == "C";
        EXPECT_TRUE(pane->shows(isAscii ? "\n>alpha"
                                        : "\n\u258c"
                                          "alpha"))
            << pane->screen();
        const std::string looks = pane->tell({"capture-pane", "-p", "-e", "-t", ":0"});
        EXPECT_EQ(looks.find("\033[32") == std::string::npos && looks.find(";32") == std::string::npos,
                  *noColour != '\0');
        pane->type("q");
        EXPECT_TRUE(pane->shows("status 0")) << pane->screen();
        if (std::string(term) != "linux") expectAsBefore();
        EXPECT_EQ(pane->value(terminalFlags), flagsBefore);
        pane.reset();
      }
    }
  }
}

TEST_F(PanelInTmux, ADumbTerminalGetsTheList) {
  hook("a", "UserPromptSubmit", "alpha");
  pane = std::make_unique<TmuxPane>(home, TmuxPane::Options{.term = "dumb"});
  type(TAVRIN_EXECUTABLE " panel; echo status $?");
  EXPECT_TRUE(pane->shows("\nstatus 0")) << pane->screen();
  EXPECT_THAT(pane->screen(), testing::ContainsRegex("burning +[0-9]+s +alpha"));
}

TEST_F(PanelInTmux, InAPipeItNamesTheSamePlacesAsTheList) {
  openWithASessionInWindow7();
  for (const char* command : {"list", "panel"}) {
    const Outcome outcome =
        run({TAVRIN_EXECUTABLE, command}, "", {{"HOME", home.string()}, {"PATH", "/usr/bin:/bin"}});
    EXPECT_THAT(outcome.output, testing::EndsWith("\ttmux:7.0\n")) << command;
  }
}

TEST_F(PanelInTmux, WithoutACommandTavrinOpensThePanel) {
  pane = std::make_unique<TmuxPane>(home, TmuxPane::Options());
  type(TAVRIN_EXECUTABLE);
  EXPECT_TRUE(pane->shows("q quit")) << pane->screen();
}

TEST_F(PanelInTmux, WidthsAgreeWithTmux) {
  // tmux writes the spaces that follow a line's last text of a kind; only those in front of a text count.
  const auto trimmed = [](const std::string& text) {
    std::string all;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
      all += line.erase(line.find_last_not_of(' ') + 1) + "\n";
    return all;
  };
  for (const ScreenSize size : {ScreenSize{20, 5}, ScreenSize{80, 24}, ScreenSize{200, 60}}) {
    for (const std::size_t sessions : {1U, 40U, 10'000U}) {
      pane = std::make_unique<TmuxPane>(home, TmuxPane::Options{.size = size});
      const PanelGrid grid = gridOf(scene(sessions, size), size);
      writeFile(home.path() / "screen", ScreenWriter::whole(grid, true));
      type("clear; cat \"$HOME/screen\"; cat");
      EXPECT_TRUE(TmuxPane::waitFor([&] { return trimmed(pane->screen()) == grid.text(); }))
          << trimmed(pane->screen()) << grid.text();
      pane.reset();
    }
  }
}

}  // namespace
}  // namespace tavrin::test
