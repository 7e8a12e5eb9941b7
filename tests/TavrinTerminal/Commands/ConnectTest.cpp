#include "TavrinTerminal/Commands/Connect.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

#include "TavrinCore/Agents/SettingsText.hpp"
#include "tests/TavrinTerminal/Commands/AgentMachine.hpp"

namespace tavrin {
namespace {

using test::AgentMachine;
using test::readFile;
using test::writeFile;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

const std::vector<std::string> safeEvents = {
    "SessionStart", "UserPromptSubmit", "PreToolUse", "PostToolUse", "Notification", "Stop", "SessionEnd"};

class ConnectTest : public testing::Test {
 protected:
  // The events that a settings file has hooks of ours for.
  std::vector<std::string> eventsIn(std::string_view file, Agent agent) const {
    std::vector<std::string> events;
    const auto contents =
        SettingsText::contents(readFile(machine.home / file), AgentDefinition::definition(agent));
    for (const SettingsText::Entry& entry : contents.entries) events.push_back(entry.event);
    return events;
  }

  AgentMachine machine;
};

TEST_F(ConnectTest, ConnectsEveryAgentOfTheMachine) {
  for (const char* folder : {".claude", ".codex", ".gemini", ".copilot", ".grok"}) machine.folder(folder);
  machine.client(Agent::claude, "2.1.197 (Claude Code)");
  machine.codex("plays");
  machine.client(Agent::gemini, "0.61.0");
  machine.client(Agent::copilot, "1.0.102");
  machine.client(Agent::grok, "grok 1.0.41");
  EXPECT_EQ(Outcome::done("Claude Code: connected through ~/.claude/settings.json\n"
                          "Codex: connected through ~/.codex/hooks.json, and trusted by Codex\n"
                          "Gemini CLI: connected through ~/.gemini/settings.json\n"
                          "Copilot CLI: connected through ~/.copilot/hooks/tavrin.json\n"
                          "Grok: connected through ~/.grok/hooks/tavrin.json\n"),
            machine.connect());
  EXPECT_EQ(11U, eventsIn(".claude/settings.json", Agent::claude).size());
  EXPECT_EQ(7U, eventsIn(".copilot/hooks/tavrin.json", Agent::copilot).size());
}

TEST_F(ConnectTest, SaysThatThereWasNothingToDoTheSecondTime) {
  machine.folder(".claude");
  machine.folder(".grok");
  machine.client(Agent::claude, "2.1.197");
  machine.connect();
  const auto before = machine.tree();
  EXPECT_EQ(Outcome::done("Claude Code: connected already; there was nothing to do\n"
                          "Grok: connected already; there was nothing to do\n"),
            machine.connect());
  auto after = machine.tree();
  after["asked-claude"] = before.at("asked-claude");
  EXPECT_EQ(before, after);
}

TEST_F(ConnectTest, WritesNothingInADryRun) {
  machine.folder(".gemini");
  machine.folder(".copilot");
  machine.folder(".codex");
  writeFile(machine.home / ".claude/settings.json",
            readFile(test::dataDirectory() / "settings/claude-settings.json"));
  machine.codex("plays");
  const auto before = machine.tree();
  for (const bool isTerminal : {false, true}) {
    const Outcome outcome = machine.connectAsking({.dryRun = true}, {}, isTerminal);
    EXPECT_EQ(ExitStatus::done, outcome.status) << outcome.error;
    EXPECT_THAT(outcome.output, HasSubstr("--- " + machine.at(".claude/settings.json")));
    EXPECT_THAT(outcome.output, HasSubstr("--- /dev/null\n+++ " + machine.at(".copilot/hooks/tavrin.json")));
    EXPECT_THAT(outcome.output,
                HasSubstr("Gemini CLI: would be connected through ~/.gemini/settings.json\n"));
    EXPECT_EQ(before, machine.tree());
  }
}

TEST_F(ConnectTest, WritesWhatEachVersionOfClaudeAccepts) {
  const std::vector<std::pair<std::string, std::vector<std::string>>> versions = {
      {"1.0.85", {}},
      {"2.0.44", {}},
      {"2.0.45", {"PermissionRequest"}},
      {"2.0.56", {"PostToolUseFailure", "PermissionRequest"}},
      {"2.1.63", {"PostToolUseFailure", "PermissionRequest", "Elicitation"}},
      {"2.1.88", {"PostToolUseFailure", "PermissionRequest", "PermissionDenied", "Elicitation"}},
      {"2.1.330", {"PostToolUseFailure", "PermissionRequest", "PermissionDenied", "Elicitation"}},
      {"no version", {}},
  };
  machine.folder(".claude");
  for (const auto& [version, further] : versions) {
    machine.client(Agent::claude, version);
    const Outcome outcome = machine.connect();
    EXPECT_EQ(ExitStatus::done, outcome.status) << outcome.error;
    std::vector<std::string> expected = safeEvents;
    expected.insert(expected.end(), further.begin(), further.end());
    EXPECT_THAT(eventsIn(".claude/settings.json", Agent::claude),
                testing::UnorderedElementsAreArray(expected))
        << version;
  }
}

TEST_F(ConnectTest, SaysWhatItLeftOutAndWhy) {
  machine.folder(".claude");
  machine.client(Agent::claude, "2.1.63");
  EXPECT_EQ(Outcome::done(
                "Claude Code: connected through ~/.claude/settings.json, without PermissionDenied, because "
                "version 2.1.63 does not accept it\n"),
            machine.connect());
  // After an update the next run adds it.
  machine.client(Agent::claude, "2.1.197");
  EXPECT_EQ(Outcome::done("Claude Code: updated in ~/.claude/settings.json\n"), machine.connect());
  EXPECT_EQ(11U, eventsIn(".claude/settings.json", Agent::claude).size());
}

TEST_F(ConnectTest, LetsTheOldestInstallationDecide) {
  machine.folder(".claude");
  machine.client(Agent::claude, "2.1.197");
  writeFile(machine.home / "npm/package.json", R"({"name":"@anthropic-ai/claude-code","version":"2.0.20"})");
  machine.program("npm/claude", "exit 1");
  machine.environment["PATH"] += ":" + machine.at("npm");
  EXPECT_THAT(machine.connect().output, HasSubstr("because version 2.0.20 does not accept them"));
  EXPECT_THAT(eventsIn(".claude/settings.json", Agent::claude),
              testing::UnorderedElementsAreArray(safeEvents));
}

TEST_F(ConnectTest, RefusesAVersionThatWouldDropAllSettings) {
  const std::string settings = R"--({"permissions":{"deny":["Bash(rm *)"]}})--";
  writeFile(machine.home / ".claude/settings.json", settings);
  machine.client(Agent::claude, "1.0.84");
  const Outcome outcome = machine.connect();
  EXPECT_EQ(ExitStatus::failed, outcome.status);
  EXPECT_EQ("Claude Code: not connected\n", outcome.output);
  EXPECT_THAT(outcome.error, HasSubstr("Install 1.0.85 or later"));
  EXPECT_EQ(settings, readFile(machine.home / ".claude/settings.json"));
}

TEST_F(ConnectTest, WaitsForSlowClientsAtTheSameTimeAndNotForEver) {
  // The times that the clients took: Claude Code 1.0 and Gemini CLI 0.61. Copilot never answers.
  for (const char* folder : {".claude", ".gemini", ".copilot"}) machine.folder(folder);
  machine.program("bin/claude", "sleep 2.5; echo '1.0.128 (Claude Code)'");
  machine.program("bin/gemini", "sleep 3.7; echo 0.61.0");
  machine.program("bin/copilot", "exec sleep 1000");
  const Outcome outcome = machine.connect();
  EXPECT_EQ(ExitStatus::done, outcome.status);
  EXPECT_THAT(outcome.output, HasSubstr("because version 1.0.128 does not accept them"));
  EXPECT_THAT(outcome.output, HasSubstr("Copilot CLI: connected through"));
}

TEST_F(ConnectTest, NeverMakesAnAgentsFolderNorAsksAnAgentWithoutOne) {
  for (const Agent agent : allAgents) machine.client(agent, "9.9.9");
  const auto before = machine.tree();
  const Outcome all = machine.connect();
  EXPECT_EQ(ExitStatus::done, all.status) << all.error;
  EXPECT_THAT(all.output,
              HasSubstr("Codex: not connected, because it was never started. Start Codex once, then run "
                        "\"tavrin connect codex\".\n"));
  const Outcome named = machine.connect({.agents = {Agent::gemini}});
  EXPECT_EQ(ExitStatus::failed, named.status);
  EXPECT_EQ(
      "Gemini CLI was not connected, because it was never started. Start Gemini CLI once, then run "
      "\"tavrin "
      "connect gemini\".",
      named.error);
  EXPECT_EQ(before, machine.tree());
  for (const Agent agent : allAgents) EXPECT_FALSE(machine.wasAsked(agent)) << displayName(agent);
}

TEST_F(ConnectTest, SaysThatNoAgentIsHere) {
  const auto before = machine.tree();
  const Outcome all = machine.connect();
  EXPECT_EQ(ExitStatus::failed, all.status);
  EXPECT_THAT(all.error, HasSubstr("none of the agents is on this machine"));
  const Outcome named = machine.connect({.agents = {Agent::grok}});
  EXPECT_EQ((Outcome{.status = ExitStatus::failed,
                     .output = "Grok: not on this machine\n",
                     .error = "Grok was not connected, because it is not installed."}),
            named);
  EXPECT_EQ(before, machine.tree());
}

TEST_F(ConnectTest, AsksBeforeItWrites) {
  machine.folder(".grok");
  const auto before = machine.tree();
  EXPECT_EQ(ExitStatus::declined, machine.connectAsking({}, {"n"}, true).status);
  EXPECT_EQ("Write hooks for Grok (~/.grok/hooks/tavrin.json)? [y/N] ", machine.screen.error);
  EXPECT_EQ(ExitStatus::declined, machine.connectAsking({}, {}, true).status);
  const Outcome pipe = machine.connectAsking({}, {"y"}, false);
  EXPECT_EQ(ExitStatus::failed, pipe.status);
  EXPECT_THAT(pipe.error, HasSubstr("Add --yes"));
  EXPECT_EQ(before, machine.tree());
  EXPECT_EQ(ExitStatus::done, machine.connectAsking({}, {"y"}, true).status);
  EXPECT_EQ(10U, eventsIn(".grok/hooks/tavrin.json", Agent::grok).size());
  machine.screen.error.clear();
  EXPECT_EQ(ExitStatus::done, machine.connectAsking({}, {}, true).status);
  EXPECT_EQ("", machine.screen.error) << "nothing to do is nothing to ask";
}

TEST_F(ConnectTest, LeavesHostileSettingsAlone) {
  machine.client(Agent::claude, "2.1.197");
  machine.folder(".grok");
  for (const std::string& text : std::vector<std::string>{
           "{", "[]", "7", "{\"hooks\": {},}", "// a comment\n{}", std::string(100'000, '['), "\xff\xfe{}",
           "{\"a\": \"\x1b]0;title\x07\"", std::string("{}\0{}", 5)}) {
    writeFile(machine.home / ".claude/settings.json", text);
    const Outcome outcome = machine.connect();
    EXPECT_EQ(ExitStatus::failed, outcome.status) << text.substr(0, 100);
    EXPECT_THAT(outcome.output, testing::StartsWith("Claude Code: not connected\n"));
    EXPECT_THAT(outcome.error, HasSubstr(machine.at(".claude/settings.json") + " was not changed"));
    EXPECT_THAT(outcome.error, Not(HasSubstr("\x1b")));
    EXPECT_EQ(text, readFile(machine.home / ".claude/settings.json"));
  }
  EXPECT_EQ(10U, eventsIn(".grok/hooks/tavrin.json", Agent::grok).size()) << "the others are connected";
}

TEST_F(ConnectTest, GivesTypicalSettingsBack) {
  const std::vector<std::tuple<Agent, std::string, std::string>> files = {
      {Agent::claude, "claude-settings.json", ".claude/settings.json"},
      {Agent::codex, "codex-hooks.json", ".codex/hooks.json"},
      {Agent::gemini, "gemini-settings.json", ".gemini/settings.json"},
      {Agent::grok, "grok-tavrin.json", ".grok/hooks/tavrin.json"},
  };
  for (const auto& [agent, recorded, place] : files)
    writeFile(machine.home / place, readFile(test::dataDirectory() / "settings" / recorded));
  machine.codex("plays", "0.128.0");
  machine.disconnect();  // some of them hold entries of an earlier installation
  std::map<std::string, std::string> before;
  for (const auto& [agent, recorded, place] : files) {
    if (std::filesystem::exists(machine.home / place)) before[place] = readFile(machine.home / place);
  }
  const Outcome connected = machine.connect();
  EXPECT_EQ(ExitStatus::done, connected.status) << connected.error;
  for (const auto& [place, text] : before) EXPECT_NE(text, readFile(machine.home / place)) << place;
  EXPECT_EQ(ExitStatus::done, machine.disconnect().status);
  for (const auto& [place, text] : before) EXPECT_EQ(text, readFile(machine.home / place)) << place;
  EXPECT_THAT(test::names(machine.home / "Library/Application Support/Tavrin/originals"), IsEmpty());
}

TEST_F(ConnectTest, KeepsTheWorkingPathOfAnotherInstallation) {
  machine.folder(".grok");
  machine.program("other/Tavrin/bin/tavrin-hook", "exit 0");
  const std::vector<std::string> mine = machine.machine.hookCandidates;
  machine.machine.hookCandidates = {machine.at("other/Tavrin/bin/tavrin-hook")};
  machine.connect();
  machine.machine.hookCandidates = mine;
  const std::string before = readFile(machine.home / ".grok/hooks/tavrin.json");

  EXPECT_EQ(Outcome::done("Grok: connected already; there was nothing to do\n"), machine.connect());
  EXPECT_EQ(before, readFile(machine.home / ".grok/hooks/tavrin.json"));
  EXPECT_EQ(Outcome::done("Grok: updated in ~/.grok/hooks/tavrin.json\n"), machine.connect({.here = true}));
  EXPECT_THAT(readFile(machine.home / ".grok/hooks/tavrin.json"), HasSubstr(mine.front()));

  // And moves entries whose path is gone.
  writeFile(machine.home / ".grok/hooks/tavrin.json", before);
  std::filesystem::remove_all(machine.home / "other");
  EXPECT_EQ(Outcome::done("Grok: updated in ~/.grok/hooks/tavrin.json\n"), machine.connect());
  EXPECT_THAT(readFile(machine.home / ".grok/hooks/tavrin.json"), HasSubstr(mine.front()));
}

TEST_F(ConnectTest, RefusesAPathThatEntriesCannotHave) {
  machine.folder(".grok");
  const auto refusalOf = [&](const std::string& place) {
    machine.program(place, "exit 0");
    machine.machine.hookCandidates = {machine.at(place)};
    const Outcome outcome = machine.connect();
    EXPECT_EQ(ExitStatus::failed, outcome.status);
    return outcome.error;
  };
  EXPECT_THAT(refusalOf("plain/tavrin-hook"), HasSubstr("does not end in /Tavrin/bin/tavrin-hook"));
  for (const char* folder : {"a\"b", "a$b", "a`b", "a\\b", "a\nb"})
    EXPECT_THAT(refusalOf(std::string(folder) + "/Tavrin/bin/tavrin-hook"), HasSubstr("would not pass on"))
        << folder;
  machine.machine.hookCandidates = {machine.at("missing/Tavrin/bin/tavrin-hook")};
  EXPECT_THAT(machine.connect().error, HasSubstr("tavrin-hook was not found"));
  EXPECT_FALSE(std::filesystem::exists(machine.home / ".grok/hooks"));
}

TEST_F(ConnectTest, SaysWhyCodexDoesNotTrustTheHooks) {
  const std::vector<std::pair<std::string, std::string>> modes = {
      {"dies at once", "ended before it had answered"},
      {"dies after 3", "ended before it had answered"},
      {"garbles", "something that is not an answer"},
      {"refuses 2", "answered with an error"},
  };
  machine.folder(".codex");
  for (const auto& [mode, sentence] : modes) {
    std::filesystem::remove(machine.home / ".codex/hooks.json");
    machine.codex(mode);
    const Outcome outcome = machine.connect();
    EXPECT_EQ(ExitStatus::failed, outcome.status) << mode;
    EXPECT_EQ("Codex: connected through ~/.codex/hooks.json, but not active\n", outcome.output);
    EXPECT_THAT(outcome.error, HasSubstr(sentence));
    EXPECT_THAT(outcome.error, HasSubstr("\"Hooks need review\""));
    EXPECT_EQ(7U, eventsIn(".codex/hooks.json", Agent::codex).size()) << "the hooks stay written";
  }
}

TEST_F(ConnectTest, SaysThatTrustIsUnknownWithoutACodexToAsk) {
  machine.folder(".codex");
  for (int times = 0; times < 2; ++times) {
    const Outcome outcome = machine.connect();
    EXPECT_EQ(ExitStatus::failed, outcome.status);
    EXPECT_EQ("Codex: connected through ~/.codex/hooks.json, trust unknown\n", outcome.output);
    EXPECT_THAT(outcome.error,
                testing::AllOf(HasSubstr("There is no program \"codex\" to ask for trust."),
                               HasSubstr("install \"codex\" and run \"tavrin connect codex\"")));
  }
}

TEST_F(ConnectTest, AsksForTrustOnlyWhereCodexNeedsIt) {
  machine.folder(".codex");
  machine.codex("refuses 1", "0.128.0");
  EXPECT_EQ(Outcome::done("Codex: connected through ~/.codex/hooks.json\n"), machine.connect());
  machine.codex("refuses 1", "0.120.0");
  const Outcome deaf = machine.connect();
  EXPECT_EQ(ExitStatus::failed, deaf.status);
  EXPECT_EQ("Codex 0.120.0 does not run hooks. Install 0.124.0 or later.", deaf.error);
  // Connected already, but not trusted yet.
  machine.codex("plays", "0.169.0");
  EXPECT_EQ(Outcome::done("Codex: trusted by Codex now\n"), machine.connect());
}

TEST_F(ConnectTest, StopsBetweenFilesWhenInterrupted) {
  for (const char* folder : {".claude", ".codex", ".gemini"}) machine.folder(folder);
  // The interrupt comes while Codex is asked for trust.
  machine.program("bin/codex",
                  "if [ \"$1\" = --version ]; then echo codex-cli 0.169.0; exit; fi\n"
                  "kill -INT $PPID; exec sleep 1000");
  const Outcome outcome = machine.connect();
  EXPECT_EQ(ExitStatus::failed, outcome.status);
  EXPECT_EQ(SIGINT, outcome.signal);
  EXPECT_THAT(outcome.output, HasSubstr("Claude Code: connected through"));
  EXPECT_THAT(outcome.output, HasSubstr("Codex: connected through ~/.codex/hooks.json, but not active\n"
                                        "Gemini CLI: not connected\n"));
  EXPECT_THAT(outcome.error, HasSubstr("You interrupted the conversation with Codex"));
  EXPECT_THAT(outcome.error, HasSubstr("You interrupted the command before Gemini CLI was connected."));
  EXPECT_FALSE(std::filesystem::exists(machine.home / ".gemini/settings.json"));
}

TEST_F(ConnectTest, ChangesNothingInAHomeThatIsNotTheUsers) {
  machine.folder(".claude");
  machine.surroundings.isForeignHome = true;
  const auto before = machine.tree();
  EXPECT_EQ(ExitStatus::failed, machine.connect().status);
  EXPECT_EQ(ExitStatus::failed, machine.disconnect().status);
  machine.surroundings.home = "";
  EXPECT_EQ(ExitStatus::failed, machine.connect().status);
  EXPECT_EQ(ExitStatus::failed, machine.disconnect().status);
  EXPECT_EQ(before, machine.tree());
}

TEST_F(ConnectTest, FollowsTheAgentsVariables) {
  machine.folder("elsewhere");
  machine.environment["CLAUDE_CONFIG_DIR"] = machine.at("elsewhere");
  EXPECT_THAT(machine.connect().output,
              HasSubstr("Claude Code: connected through ~/elsewhere/settings.json"));
  EXPECT_FALSE(std::filesystem::exists(machine.home / ".claude"));
  // Later the variable is gone; the file is found all the same.
  machine.environment.erase("CLAUDE_CONFIG_DIR");
  EXPECT_EQ(Outcome::done("Claude Code: disconnected, and ~/elsewhere/settings.json removed\n"),
            machine.disconnect());
  EXPECT_FALSE(std::filesystem::exists(machine.home / "elsewhere/settings.json"));
}

TEST(Disconnect, SaysWhatIsSoNow) {
  AgentMachine machine;
  EXPECT_EQ(Outcome::done("No agent was connected; there was nothing to do\n"), machine.disconnect());
  EXPECT_EQ(Outcome::done("Grok: was not connected\n"), machine.disconnect({.agents = {Agent::grok}}));
  writeFile(machine.home / ".gemini/settings.json", "{\n  // mine\n  \"theme\": \"x\",\n}\n");
  machine.folder(".grok");
  machine.connect();
  const auto connected = machine.tree();
  const Outcome preview =
      Disconnect::run({.dryRun = true}, machine.surroundings, machine.screen.console(false));
  EXPECT_THAT(preview.output,
              HasSubstr("Grok: would be disconnected, and ~/.grok/hooks/tavrin.json removed\n"));
  EXPECT_EQ(connected, machine.tree());
  EXPECT_EQ(Outcome::done("Gemini CLI: disconnected from ~/.gemini/settings.json\n"),
            machine.disconnect({.agents = {Agent::gemini}}));
  EXPECT_EQ("{\n  // mine\n  \"theme\": \"x\",\n}\n", readFile(machine.home / ".gemini/settings.json"));
  EXPECT_EQ(Outcome::done("Gemini CLI: was not connected\n"
                          "Grok: disconnected, and ~/.grok/hooks/tavrin.json removed\n"),
            machine.disconnect());
}

TEST(Disconnect, LeavesWhatItCannotRead) {
  AgentMachine machine;
  writeFile(machine.home / ".claude/settings.json", "{ not JSON");
  const Outcome outcome = machine.disconnect();
  EXPECT_EQ(ExitStatus::failed, outcome.status);
  EXPECT_EQ("Claude Code: as it was\n", outcome.output);
  EXPECT_EQ("{ not JSON", readFile(machine.home / ".claude/settings.json"));
}

}  // namespace
}  // namespace tavrin
