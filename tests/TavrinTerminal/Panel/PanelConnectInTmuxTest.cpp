// The panel's connect screen, with a stand-in for Codex.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>

#include "TavrinCore/Context/ProcessFacts.hpp"
#include "TavrinCore/Support/Json/Json.hpp"
#include "tests/TavrinTerminal/Panel/PanelInTmux.hpp"

namespace tavrin::test {
namespace {

using testing::HasSubstr;

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

}  // namespace
}  // namespace tavrin::test
