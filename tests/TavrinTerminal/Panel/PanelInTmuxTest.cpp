// The panel as a person has it: the real program in a real tmux, with sessions of the real hook.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <fstream>

#include "TavrinCore/Context/ProcessFacts.hpp"
#include "TavrinCore/Support/Json/Json.hpp"
#include "TavrinTerminal/Panel/ScreenWriter.hpp"
#include "tests/TavrinTerminal/Panel/PanelScene.hpp"
#include "tests/TavrinTerminal/Panel/TmuxPane.hpp"
#include "tests/support/TestData.hpp"

namespace tavrin::test {
namespace {

using testing::HasSubstr;
using testing::Not;

// What a terminal is left with.
constexpr const char* flags =
    "#{alternate_on} #{cursor_flag} #{mouse_any_flag} #{mouse_sgr_flag} #{keypad_cursor_flag} #{insert_flag}";

// Installs tavrin in a home, and a stand-in for Codex whose app server behaves as `mode` says. Asked for its
// version, it does `first`.
void installWithCodex(const std::filesystem::path& home, const std::string& mode,
                      const std::string& first = "") {
  std::filesystem::create_directories(home / "inst/bin");
  std::filesystem::create_directories(home / "inst/Tavrin/bin");
  std::filesystem::copy(TAVRIN_EXECUTABLE, home / "inst/bin/tavrin");
  std::filesystem::copy(hookExecutable(), home / "inst/Tavrin/bin/tavrin-hook");
  writeFile(home / "bin/codex", "#!/bin/sh\nif [ \"$1\" = --version ]; then" + first +
                                    "\necho codex-cli 0.169.0; exit; fi\n"
                                    "exec python3 '" TAVRIN_STAND_INS "/codex-app-server.py' '" +
                                    mode + "' '" + (dataDirectory() / "rpc").string() +
                                    "' \"$HOME/log\" \"$@\"\n");
  std::filesystem::permissions(home / "bin/codex", std::filesystem::perms::owner_all);
}

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
    flagsBefore = pane->value(flags);
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

  void type(const std::string& line) const {
    pane->type(line);
    pane->press("Enter");
  }

  pid_t pid() const { return std::stoi(readFile(home.path() / "pid")); }

  // The terminal is as it was before the panel was opened.
  void expectAsBefore() {
    EXPECT_TRUE(pane->shows("\ndone")) << pane->screen();
    EXPECT_EQ(readFile(home.path() / "before"), readFile(home.path() / "after"));
    EXPECT_EQ(pane->value(flags), flagsBefore);
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

TEST_F(PanelInTmux, OpensAServerInTheBrowser) {
  const std::string python = "/usr/bin/python3";
  if (!std::filesystem::exists(python)) GTEST_SKIP() << "python3 is not installed, so no server is opened.";
  const Subprocess server({python, "-uc",
                           "import os, signal, socket; os.chdir('" + home.string() +
                               "'); s = socket.create_server(('127.0.0.1', 0)); print(s.getsockname()[1]); "
                               "signal.pause()"});
  const std::string port = server.readLine();
  const std::filesystem::path log = home.path() / "opened";
  writeFile(home.path() / "bin/xdg-open", "#!/bin/sh\necho \"$1\" >>\"$HOME/opened\"\n");
  std::filesystem::permissions(home.path() / "bin/xdg-open", std::filesystem::perms::owner_all);
  openAndWait({.variables = {"PATH=" + home.string() + "/bin:/usr/bin:/bin"}});
  EXPECT_TRUE(pane->shows("  " + port)) << pane->screen();
  pane->type("/" + port);
  pane->press("Enter");
  EXPECT_TRUE(pane->shows("o open")) << pane->screen();
  const std::string line = "http://127.0.0.1:" + port + "\n";
  const auto isOpened = [&](const std::string& text) {
    return TmuxPane::waitFor([&] { return std::filesystem::exists(log) && readFile(log) == text; });
  };
  pane->press("o");
  EXPECT_TRUE(isOpened(line)) << pane->screen();
  pane->press("Enter");
  EXPECT_TRUE(isOpened(line + line)) << pane->screen();
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

TEST_F(PanelInTmux, ASecondClickOpensAServer) {
  const std::string python = "/usr/bin/python3";
  if (!std::filesystem::exists(python)) GTEST_SKIP() << "python3 is not installed, so no server is opened.";
  const std::filesystem::path opened = home.path() / "opened";
  writeFile(home.path() / "bin/xdg-open", "#!/bin/sh\necho \"$1\" >>\"$HOME/opened\"\n");
  std::filesystem::permissions(home.path() / "bin/xdg-open", std::filesystem::perms::owner_all);
  writeFile(home.path() / "alpha/.git/HEAD", "ref: refs/heads/main\n");
  hook("a", "UserPromptSubmit", "alpha");
  const Subprocess server({python, "-uc",
                           "import os, signal, socket; os.chdir('" + (home.path() / "alpha").string() +
                               "'); s = socket.create_server(('127.0.0.1', 0)); print(s.getsockname()[1]); "
                               "signal.pause()"});
  const std::string port = server.readLine();
  openAndWait({.variables = {"PATH=" + home.string() + "/bin:/usr/bin:/bin"}});
  // It stands below its session.
  EXPECT_TRUE(TmuxPane::waitFor([&] {
    const std::string screen = pane->screen();
    const std::size_t at = screen.find("  " + port);
    return at != std::string::npos &&
           std::count(screen.begin(), screen.begin() + static_cast<long>(at), '\n') == 3;
  })) << pane->screen();
  selectTheFirstRow();
  click(3);
  EXPECT_TRUE(isAt(3)) << pane->screen();
  EXPECT_FALSE(std::filesystem::exists(opened));
  click(3);
  const std::string url = "http://127.0.0.1:" + port + "\n";
  EXPECT_TRUE(TmuxPane::waitFor([&] { return std::filesystem::exists(opened) && readFile(opened) == url; }))
      << pane->screen();
  pane->type("q");
  expectAsBefore();
  EXPECT_EQ(readFile(opened), url);
}

TEST_F(PanelInTmux, AnExceptionLeavesTheTerminalAsItWas) {
  hook("a", "UserPromptSubmit", "alpha");
  program = TAVRIN_THROWING_PANEL;
  openAndWait();
  EXPECT_TRUE(pane->shows("alpha")) << pane->screen();
  EXPECT_THAT(pane->value(flags), testing::StartsWith("1 "));
  // The age of the session is in seconds, so the panel asks for the time at least once a second.
  writeFile(home.path() / "throw", "");
  EXPECT_TRUE(pane->shows("\ntavrin: panel stopped early: the clock is broken.\nstatus 1\n"))
      << pane->screen();
  expectAsBefore();
}

TEST_F(PanelInTmux, StopsAServerAfterAsking) {
  const std::string python = "/usr/bin/python3";
  if (!std::filesystem::exists(python)) GTEST_SKIP() << "python3 is not installed, so no server is stopped.";
  const std::filesystem::path folder = home.path() / "site";
  std::filesystem::create_directories(folder);
  const Subprocess server({python, "-uc",
                           "import os, http.server as h; os.chdir('" + folder.string() +
                               "'); s = h.HTTPServer(('127.0.0.1', 0), h.SimpleHTTPRequestHandler); "
                               "print(s.server_port); s.serve_forever()"});
  const std::string port = server.readLine();
  openAndWait();
  EXPECT_TRUE(pane->shows("  " + port + "  ")) << pane->screen();
  pane->type("/" + port);
  pane->press("Enter");
  EXPECT_TRUE(pane->shows("s stop")) << pane->screen();
  pane->type("s");
  EXPECT_TRUE(pane->shows("on port " + port + "? (y/n)")) << pane->screen();
  pane->type("n");
  EXPECT_TRUE(pane->shows("s stop")) << pane->screen();
  EXPECT_EQ(::kill(server.pid(), 0), 0);
  pane->type("sy");
  EXPECT_TRUE(pane->shows("on port " + port + " has stopped.")) << pane->screen();
  EXPECT_TRUE(pane->shows("Nothing matches the filter.")) << pane->screen();
}

TEST_F(PanelInTmux, KillsAServerOnlyAfterAskingAgain) {
  const std::string python = "/usr/bin/python3";
  if (!std::filesystem::exists(python)) GTEST_SKIP() << "python3 is not installed, so no server is killed.";
  const Subprocess server({python, "-uc",
                           "import os, signal, socket; os.chdir('" + home.string() +
                               "'); signal.signal(signal.SIGTERM, signal.SIG_IGN); "
                               "s = socket.create_server(('127.0.0.1', 0)); print(s.getsockname()[1]); "
                               "signal.pause()"});
  const std::string port = server.readLine();
  openAndWait();
  EXPECT_TRUE(pane->shows("  " + port)) << pane->screen();
  pane->type("/" + port);
  pane->press("Enter");
  EXPECT_TRUE(pane->shows("s stop")) << pane->screen();
  pane->type("sy");
  EXPECT_TRUE(pane->shows("did not stop within 5 s. Kill it?")) << pane->screen();
  pane->type("n");
  EXPECT_TRUE(pane->shows("s stop")) << pane->screen();
  EXPECT_EQ(::kill(server.pid(), 0), 0);
  pane->type("sy");
  EXPECT_TRUE(pane->shows("did not stop within 5 s. Kill it?")) << pane->screen();
  pane->type("y");
  EXPECT_TRUE(pane->shows("on port " + port + " has stopped.")) << pane->screen();
  pane->type("q");
  expectAsBefore();
}

TEST_F(PanelInTmux, LeavesAtOnceWhileAServerDoesNotStop) {
  const std::string python = "/usr/bin/python3";
  if (!std::filesystem::exists(python)) GTEST_SKIP() << "python3 is not installed, so no server is stopped.";
  const Subprocess server({python, "-uc",
                           "import os, signal, socket; os.chdir('" + home.string() +
                               "'); signal.signal(signal.SIGTERM, signal.SIG_IGN); "
                               "s = socket.create_server(('127.0.0.1', 0)); print(s.getsockname()[1]); "
                               "signal.pause()"});
  const std::string port = server.readLine();
  openAndWait();
  EXPECT_TRUE(pane->shows("  " + port)) << pane->screen();
  pane->type("/" + port);
  pane->press("Enter");
  EXPECT_TRUE(pane->shows("s stop")) << pane->screen();
  pane->type("sy");
  EXPECT_TRUE(pane->shows("Stopping ")) << pane->screen();
  pane->type("q");
  expectAsBefore();
  EXPECT_EQ(::kill(server.pid(), 0), 0);
}

// Codex, with a stand-in for its app server, is connected and disconnected on the connect screen.
TEST_F(PanelInTmux, ConnectsAnAgentOnlyAfterShowingTheChange) {
  const std::filesystem::path root = home.path();
  const std::filesystem::path hooks = root / ".codex/hooks.json";
  std::filesystem::remove_all(root / ".claude");
  std::filesystem::create_directories(root / ".codex");
  installWithCodex(root, "plays");
  pane = std::make_unique<TmuxPane>(
      home, TmuxPane::Options{.variables = {"PATH=" + root.string() + "/bin:/usr/bin:/bin"}});
  type("\"$HOME/inst/bin/tavrin\"");
  EXPECT_TRUE(pane->shows(" Connect your agents\n")) << pane->screen();
  EXPECT_TRUE(pane->shows(" Codex        0.169.0     not connected")) << pane->screen();
  EXPECT_TRUE(pane->shows("Claude Code              not on this machine")) << pane->screen();
  pane->press("j");
  pane->press("Enter");
  EXPECT_TRUE(pane->shows(" Connect Codex?\n")) << pane->screen();
  EXPECT_THAT(pane->screen(), HasSubstr("\n +  \"hooks\": {\n"));
  pane->press("n");
  EXPECT_TRUE(pane->shows("Enter shows what would be written to ~/.codex/hooks.json.")) << pane->screen();
  EXPECT_FALSE(std::filesystem::exists(hooks));
  pane->press("Enter");
  EXPECT_TRUE(pane->shows(" Connect Codex?\n")) << pane->screen();
  pane->press("y");
  EXPECT_TRUE(pane->shows("and trusted by Codex")) << pane->screen();
  EXPECT_TRUE(pane->shows(" 1 of 1 agent connected\n")) << pane->screen();
  EXPECT_THAT(readFile(hooks), HasSubstr("/inst/Tavrin/bin/tavrin-hook"));
  // The stand-in's list never trusts, so the panel offers to connect again.
  EXPECT_TRUE(pane->shows("0.169.0     connected, but not active")) << pane->screen();
  pane->press("d");
  EXPECT_TRUE(pane->shows(" Disconnect Codex?\n")) << pane->screen();
  pane->press("y");
  EXPECT_TRUE(pane->shows("0.169.0     not connected")) << pane->screen();
  EXPECT_FALSE(std::filesystem::exists(hooks));
  pane->press("Escape");
  EXPECT_TRUE(pane->shows(" No Claude Code sessions\n")) << pane->screen();
}

// Whatever a panel does when it is killed, the settings are whole, and nothing that it started is left.
class KilledPanel : public PanelInTmux, public testing::WithParamInterface<int> {
 protected:
  // Opens the panel on the question whether to connect Codex. Asked for its version, Codex hangs once there
  // is a file "hang", and its app server never answers.
  void openOnTheQuestion() {
    writeFile(settings, before);
    installWithCodex(home.path(), "never answers", R"(
if [ -e "$HOME/hang" ]; then
  touch "$HOME/hung"
  sleep 100
fi)");
    pane = std::make_unique<TmuxPane>(
        home, TmuxPane::Options{.variables = {"PATH=" + home.string() + "/bin:/usr/bin:/bin"}});
    type(R"(sh -c 'echo $$ >"$HOME/pid"; exec "$HOME/inst/bin/tavrin" panel'; echo status $?)");
    EXPECT_TRUE(pane->shows("q quit")) << pane->screen();
    pane->type("c");
    EXPECT_TRUE(pane->shows(" Codex        0.169.0     not connected")) << pane->screen();
    pane->press("j");
    pane->press("Enter");
    EXPECT_TRUE(pane->shows(" Connect Codex?\n")) << pane->screen();
  }
  void waitForFile(const char* name) const {
    EXPECT_TRUE(TmuxPane::waitFor([&] { return std::filesystem::exists(home.path() / name); }))
        << pane->screen();
  }
  void killPanel() const {
    ASSERT_EQ(::kill(pid(), GetParam()), 0);
    EXPECT_TRUE(pane->shows("status " + std::to_string(128 + GetParam()))) << pane->screen();
    EXPECT_TRUE(TmuxPane::waitFor([this] { return leftProcesses().empty(); })) << leftProcesses();
  }
  // Whether the settings hold all that a connect writes.
  static bool isNew(const std::string& text) {
    return Json::parse(text) && text.find("/inst/Tavrin/bin/tavrin-hook") != std::string::npos;
  }
  // The words of processes that name a file in the home, as all that the panel starts do; not those of tmux.
  std::string leftProcesses() const {
    const ProcessFacts processes = ProcessFacts::ofThisSystem();
    std::string left;
    for (const std::int32_t pid : processes.all()) {
      const std::vector<std::string> words = processes.arguments(pid);
      const auto isOfHome = [this](const std::string& word) {
        return word.find(home.string()) != std::string::npos;
      };
      if (words.empty() || words[0].ends_with("tmux") || std::ranges::none_of(words, isOfHome)) continue;
      for (const std::string& word : words) left += word + " ";
      left += "\n";
    }
    return left;
  }

  const std::filesystem::path settings = home.path() / ".codex/hooks.json";
  const std::string before = "{\"hooks\": {}}\n";
};
INSTANTIATE_TEST_SUITE_P(Signals, KilledPanel, testing::Values(SIGTERM, SIGKILL));

TEST_P(KilledPanel, BeforeTheSettingsAreWrittenLeavesTheOldOnes) {
  openOnTheQuestion();
  writeFile(home.path() / "hang", "");
  pane->press("y");
  waitForFile("hung");
  killPanel();
  EXPECT_EQ(readFile(settings), before);
  EXPECT_EQ(names(home.path() / ".codex"), std::vector<std::string>{"hooks.json"});
}

TEST_P(KilledPanel, AfterTheSettingsAreWrittenLeavesTheNewOnes) {
  openOnTheQuestion();
  pane->press("y");
  waitForFile("log");
  killPanel();
  EXPECT_TRUE(isNew(readFile(settings))) << readFile(settings);
  EXPECT_EQ(names(home.path() / ".codex"), std::vector<std::string>{"hooks.json"});
}

TEST_P(KilledPanel, InTheMiddleOfAConnectLeavesOldOrNewSettings) {
  openOnTheQuestion();
  pane->press("y");
  killPanel();
  const std::string after = readFile(settings);
  EXPECT_TRUE(after == before || isNew(after)) << after;
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
    EXPECT_THAT(pane->value(flags), testing::StartsWith("1 "));
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
  EXPECT_EQ(pane->value(flags), flagsBefore);
}

TEST_F(PanelInTmux, StopsAndComesBackWithFg) {
  hook("a", "UserPromptSubmit", "alpha");
  open();
  EXPECT_TRUE(pane->shows("alpha")) << pane->screen();
  pane->press("C-z");
  EXPECT_TRUE(pane->hides("alpha")) << pane->screen();
  EXPECT_TRUE(TmuxPane::waitFor([this] { return pane->value(flags) == flagsBefore; }));
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
  EXPECT_TRUE(TmuxPane::waitFor([this] { return pane->value(flags) == flagsBefore; }));
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
        EXPECT_EQ(pane->value(flags), flagsBefore);
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
