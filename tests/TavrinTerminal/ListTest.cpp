#include "TavrinTerminal/Commands/List.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "TavrinCore/Agents/SettingsFile.hpp"
#include "tests/TavrinTerminal/TestTerminal.hpp"
#include "tests/support/Restrictions.hpp"

namespace tavrin::test {
namespace {

using testing::HasSubstr;
using testing::Not;

class ListCommand : public testing::Test, public TestTerminal {
 protected:
  tavrin::Outcome list(bool isTerminal, List::Options options = {}, int width = 80, bool colour = false) {
    Console console = kept.console(isTerminal, colour);
    console.width = width;
    return List::run(options, surroundings, console);
  }
  TestConsole kept;
};

TEST_F(ListCommand, IsInColumnsOnATerminalAndWithTabsInAPipe) {
  save(session("a", SessionState::idle, "docs"));
  save(session("b", SessionState::needsYou, "shop"));
  Session grok = session("c", SessionState::working, "api");
  grok.agent = Agent::grok;
  grok.tty = "/dev/pts/7";
  save(grok);
  EXPECT_EQ(list(true).output,
            "STATE      FOR  PROJECT  AGENT   TOOL  TERMINAL\n"
            "needs you  1m   shop     Claude  Bash\n"
            "burning    1m   api      Grok          pts/7\n"
            "idle       1m   docs     Claude\n");
  EXPECT_EQ(list(false).output,
            "needs you\t1m\tshop\tClaude\tBash\t\n"
            "burning\t1m\tapi\tGrok\t\tpts/7\n"
            "idle\t1m\tdocs\tClaude\t\t\n");
  EXPECT_EQ(list(true).error, "");
  EXPECT_EQ(list(true).status, ExitStatus::done);
}

TEST_F(ListCommand, SaysHowToConnectOnlyWhenNothingIsConnected) {
  const auto hint = [&] {
    const tavrin::Outcome outcome = list(true);
    EXPECT_EQ("", outcome.output);
    EXPECT_EQ(ExitStatus::done, outcome.status);
    return outcome.error;
  };
  const std::string connect = "there are no sessions, because no agent is connected. Run \"tavrin connect\".";
  EXPECT_EQ(connect, hint());
  writeFile(home / ".claude/settings.json", R"({"model": "x"})");
  EXPECT_EQ(connect, hint());
  const SettingsFile file(Agent::claude, (home / ".claude/settings.json").string(),
                          SettingsFile::defaultOriginals(home.string()));
  const auto hook = "/opt/Tavrin/bin/tavrin-hook";
  ASSERT_EQ(SettingsFile::Outcome::Kind::changed, file.connect(hook, AgentDefinition::claude).kind);
  EXPECT_EQ("there are no sessions.", hint());

  // It was connected when the environment named another folder for its settings.
  file.disconnect();
  ASSERT_EQ(connect, hint());
  const SettingsFile elsewhere(Agent::claude, (home / "work/settings.json").string(),
                               SettingsFile::defaultOriginals(home.string()));
  writeFile(home / "work/settings.json", "{}");
  ASSERT_EQ(SettingsFile::Outcome::Kind::changed, elsewhere.connect(hook, AgentDefinition::claude).kind);
  EXPECT_EQ("there are no sessions.", hint());
}

TEST_F(ListCommand, ColourAddsOnlyColour) {
  save(session("b", SessionState::needsYou));
  const std::string plain = list(true).output;
  std::string coloured = list(true, {}, 80, true).output;
  EXPECT_THAT(coloured, HasSubstr("\033[33mneeds you\033[0m"));
  for (const char* sequence : {"\033[33m", "\033[2m", "\033[0m"}) {
    for (std::size_t at = coloured.find(sequence); at != std::string::npos; at = coloured.find(sequence))
      coloured.erase(at, std::string_view(sequence).size());
  }
  EXPECT_EQ(coloured, plain);
}

TEST_F(ListCommand, ANarrowTerminalCutsLongTexts) {
  Session long1 = session("a", SessionState::needsYou, "a-project-with-a-rather-long-name");
  long1.needsYouTool = "mcp__some_server__some_tool_of_it";
  save(long1);
  const std::string narrow = list(true, {}, 60).output;
  EXPECT_EQ(narrow,
            "STATE      FOR  PROJECT   AGENT   TOOL              TERMINAL\n"
            "needs you  1m   a-proje\u2026  Claude  mcp__some_serve\u2026\n");
  EXPECT_THAT(list(false, {}, 60).output, HasSubstr("a-project-with-a-rather-long-name"));
}

TEST_F(ListCommand, WithoutSessionsThereIsOneHintOnStandardError) {
  for (const bool isTerminal : {false, true}) {
    EXPECT_EQ(list(isTerminal).output, "");
    EXPECT_THAT(list(isTerminal).error, HasSubstr("tavrin connect"));
    EXPECT_EQ(list(isTerminal).status, ExitStatus::done);
  }
  EXPECT_EQ(list(false, {.json = true}).output,
            "{\"version\":1,\"summary\":{\"needsYou\":0,\"working\":0,\"idle\":0,\"line\":\"No Claude Code "
            "sessions\"},\"sessions\":[]}\n");
}

TEST_F(ListCommand, AUserWithoutAHomeReadsASentence) {
  surroundings.home = "";
  EXPECT_EQ(list(true).status, ExitStatus::failed);
  EXPECT_THAT(list(true).error, HasSubstr("Set HOME"));
  EXPECT_EQ(list(true).output, "");
}

TEST_F(ListCommand, DeadSessionsAreNotListed) {
  Session gone = session("gone", SessionState::working);
  gone.agentPid = 55;
  save(gone);
  EXPECT_EQ(list(false).output, "");
}

TEST_F(ListCommand, ASessionOfAnotherMachineIsElsewhere) {
  Session other = session("other", SessionState::working);
  other.agentPid = 55;
  other.cwd = home.string() + "/not-here";
  save(other);
  EXPECT_EQ(list(false).output, "burning\t1m\tshop\tClaude\t\telsewhere\n");
}

TEST_F(ListCommand, SessionsOfApplicationsNeedAll) {
  Session probe = session("probe", SessionState::idle);
  probe.repoRoot = home.string() + "/Library/Caches/probe";
  save(probe);
  EXPECT_EQ(list(false).output, "");
  EXPECT_THAT(list(false, {.all = true}).output, HasSubstr("probe"));
}

TEST_F(ListCommand, PlacesComeFromTheSurroundings) {
  save(session("a", SessionState::idle));
  surroundings.places = [](const std::vector<Session>& sessions) {
    return std::vector<SessionPlace>(sessions.size(), {.terminal = "tmux:3.1", .reachable = true});
  };
  EXPECT_EQ(list(false).output, "idle\t1m\tshop\tClaude\t\ttmux:3.1\n");
  EXPECT_THAT(list(false, {.json = true}).output, HasSubstr(R"("terminal":"tmux:3.1","reachable":true)"));
}

TEST_F(ListCommand, HostileTextsDoNotReachTheTerminal) {
  Session hostile = session("evil\x1b[2J", SessionState::needsYou, "a\x1b]0;title\x07\u202Etxt");
  hostile.needsYouTool =
      "To\x9b"
      "ol\nline\ttab\u009b";
  hostile.tty = "/dev/\x1b[31m";
  hostile.needsYouTool = "line\nbreak\ttab\u009bx";
  save(hostile);
  for (const bool isTerminal : {false, true}) {
    for (const bool json : {false, true}) {
      const std::string output = list(isTerminal, {.json = json}).output;
      EXPECT_NE(output, "");
      EXPECT_THAT(output, Not(HasSubstr("\x1b")));
      EXPECT_THAT(output, Not(HasSubstr("\x07")));
      EXPECT_THAT(output, Not(HasSubstr("\u202E")));
      EXPECT_THAT(output, Not(HasSubstr("\u009b")));
    }
  }
  const std::string lines = list(false).output;
  EXPECT_EQ(std::ranges::count(lines, '\n'), 1);
  EXPECT_EQ(std::ranges::count(lines, '\t'), 5);
}

TEST_F(ListCommand, AReadOnlyHomeCanBeLookedAt) {
  save(session("a", SessionState::idle));
  const std::vector<std::string> before = names(home.sessions());
  std::filesystem::permissions(home.path(), std::filesystem::perms(0755));
  const ReadOnly sessions(home.sessions());
  EXPECT_EQ(list(false).output, "idle\t1m\tshop\tClaude\t\t\n");
  EXPECT_EQ(names(home.sessions()), before);
}

}  // namespace
}  // namespace tavrin::test
