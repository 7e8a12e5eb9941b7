#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>

#include "tests/TavrinTerminal/Panel/TmuxPane.hpp"
#include "tests/support/TestData.hpp"

namespace tavrin::test {

// What a terminal is left with.
inline constexpr const char* terminalFlags =
    "#{alternate_on} #{cursor_flag} #{mouse_any_flag} #{mouse_sgr_flag} #{keypad_cursor_flag} #{insert_flag}";

// The panel as a person has it: the real program in a real tmux, with sessions of the real hook.
class PanelInTmux : public testing::Test {
 protected:
  void SetUp() override {
    if (!TmuxPane::isAvailable()) GTEST_SKIP() << "tmux is not installed, so the panel is not tried in it.";
    // An agent is connected, or the panel would open on the connect screen.
    writeFile(home.path() / ".claude/settings.json",
              R"({"hooks":{"Stop":[{"hooks":[{"type":"command","command":"/x/Tavrin/bin/tavrin-hook"}]}]}})");
  }

  void open(const TmuxPane::Options& options = {}) {
    pane = std::make_unique<TmuxPane>(home, options);
    type("echo before-the-panel");
    EXPECT_TRUE(pane->shows("\nbefore-the-panel"));
    flagsBefore = pane->value(terminalFlags);
    type(
        "s() { stty -a; for d in 0 1 2; do grep flags /proc/$$/fdinfo/$d; done; }; s >\"$HOME/before\"; "
        "clear; echo "
        "before-the-panel");
    EXPECT_TRUE(pane->waitFor([this] { return pane->screen().starts_with("before-the-panel\n"); }))
        << pane->screen();
    type("sh -c 'echo $$ >\"$HOME/pid\"; exec " + program +
         "'; echo status $?; s >\"$HOME/after\"; echo done");
  }

  void openAndWait(const TmuxPane::Options& options = {}) {
    open(options);
    EXPECT_TRUE(pane->shows("q quit")) << pane->screen();
  }

  // Opens the panel, and selects the server on a port by means of the filter.
  void openAndSelectServer(const std::string& port, const TmuxPane::Options& options = {}) {
    openAndWait(options);
    EXPECT_TRUE(pane->shows("  " + port)) << pane->screen();
    pane->type("/" + port);
    pane->press("Enter");
    EXPECT_TRUE(pane->shows("s stop")) << pane->screen();
  }

  void type(const std::string& line) const {
    pane->type(line);
    pane->press("Enter");
  }

  pid_t pid() const { return std::stoi(readFile(home.path() / "pid")); }

  // The terminal is as it was before the panel was opened.
  void expectAsBefore() {
    EXPECT_TRUE(pane->shows("\ndone")) << pane->screen();
    EXPECT_EQ(readFile(home.path() / "before"), readFile(home.path() / "after"));
    EXPECT_EQ(pane->value(terminalFlags), flagsBefore);
    EXPECT_THAT(pane->screen(), testing::StartsWith("before-the-panel\n"));
  }

  void hook(const std::string& id, const std::string& event, const std::string& project = "shop",
            const std::string& more = "") const {
    const std::string folder = (home.path() / project).string();
    std::filesystem::create_directories(folder);
    EXPECT_EQ(runHook(home.path(), R"({"session_id":")" + id + R"(","hook_event_name":")" + event +
                                       R"(","cwd":")" + folder + "\"" + more + "}"),
              silentSuccess);
  }

  // A session in a window of its own. An agent is what started the shell that runs the hook.
  void openWithASessionInWindow7() {
    openAndWait();
    writeFile(home.path() / "agent",
              R"(printf '{"session_id":"s1","hook_event_name":"UserPromptSubmit","cwd":"/tmp"}' | )" +
                  hookExecutable().string() + "; cat");
    pane->tell({"new-window", "-d", "-t", ":7", "exec timeout --foreground 600 sh \"$HOME/agent\""});
    EXPECT_TRUE(pane->shows("tmux:7.0")) << pane->screen();
    EXPECT_TRUE(isInWindow("0"));
    selectTheFirstRow();
  }
  // A server of somebody else's may have been there first, and be selected.
  void selectTheFirstRow() const {
    pane->press("g");
    EXPECT_TRUE(isAt(2)) << pane->screen();
  }
  bool isInWindow(const std::string& index) const {
    return TmuxPane::waitFor([&] {
      return pane->tell({"display-message", "-p", "#{window_index}"}) == index + "\n";
    });
  }
  // Whether the person is at a line of the screen; 0 is the first.
  bool isAt(int row) const {
    return TmuxPane::waitFor([&] { return pane->value("#{cursor_y}") == std::to_string(row) + "\n"; });
  }
  void click(int row) const {
    const std::string place = "\033[<0;5;" + std::to_string(row + 1);
    pane->type(place + "M" + place + "m");
  }

  ScratchHome home;
  std::string program = TAVRIN_EXECUTABLE " panel";
  std::unique_ptr<TmuxPane> pane;
  std::string flagsBefore;
};

}  // namespace tavrin::test
