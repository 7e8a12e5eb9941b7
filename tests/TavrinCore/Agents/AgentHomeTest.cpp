#include "TavrinCore/Agents/AgentHome.hpp"

#include <gtest/gtest.h>

#include <map>
#include <string>

namespace tavrin {
namespace {

constexpr std::string_view home = "/Users/dev";

AgentHome::Environment environment(std::map<std::string, std::string, std::less<>> variables) {
  return [variables = std::move(variables)](std::string_view name) -> std::optional<std::string> {
    const auto found = variables.find(name);
    return found == variables.end() ? std::nullopt : std::optional(found->second);
  };
}

AgentHome moved(Agent agent, const std::string& value) {
  return AgentHome::of(agent, environment({{std::string(AgentHome::variable(agent)), value}}), home, "/work");
}

TEST(AgentHome, WithoutVariablesLiesInTheHomeDirectory) {
  for (const AgentDefinition& definition : AgentDefinition::all) {
    const AgentHome own = AgentHome::of(definition.agent, environment({}), home, "/work");
    EXPECT_EQ(own.settingsPath(), "/Users/dev/" + std::string(definition.configPath));
    EXPECT_FALSE(own.isMoved());
    EXPECT_EQ(own, AgentHome::standard(definition.agent, home));
  }
}

TEST(AgentHome, FollowsTheVariableOfItsAgent) {
  EXPECT_EQ(moved(Agent::claude, "/x/c").settingsPath(), "/x/c/settings.json");
  EXPECT_EQ(moved(Agent::codex, "/x/c").settingsPath(), "/x/c/hooks.json");
  EXPECT_EQ(moved(Agent::copilot, "/x/c").settingsPath(), "/x/c/hooks/tavrin.json");
  EXPECT_EQ(moved(Agent::grok, "/x/c").settingsPath(), "/x/c/hooks/tavrin.json");
  EXPECT_TRUE(moved(Agent::grok, "/x/c").isMoved());
}

TEST(AgentHome, GeminisVariableNamesTheParent) {
  EXPECT_EQ(moved(Agent::gemini, "/x").settingsPath(), "/x/.gemini/settings.json");
  EXPECT_EQ(moved(Agent::gemini, "/x").sessionsDirectory(), "/x/.gemini/tmp");
}

TEST(AgentHome, KnowsTheVariables) {
  EXPECT_EQ(AgentHome::variable(Agent::claude), "CLAUDE_CONFIG_DIR");
  EXPECT_EQ(AgentHome::variable(Agent::codex), "CODEX_HOME");
  EXPECT_EQ(AgentHome::variable(Agent::gemini), "GEMINI_CLI_HOME");
  EXPECT_EQ(AgentHome::variable(Agent::copilot), "COPILOT_HOME");
  EXPECT_EQ(AgentHome::variable(Agent::grok), "GROK_HOME");
}

TEST(AgentHome, TreatsAnEmptyVariableAsUnset) {
  EXPECT_EQ(moved(Agent::claude, "").directory(), "/Users/dev/.claude");
  EXPECT_FALSE(moved(Agent::claude, "").isMoved());
}

TEST(AgentHome, StartsARelativeVariableAtTheWorkingDirectory) {
  EXPECT_EQ(moved(Agent::codex, "conf/codex").directory(), "/work/conf/codex");
  EXPECT_EQ(moved(Agent::codex, "../a//b/").directory(), "/a/b");
}

TEST(AgentHome, IgnoresTheVariablesOfOthers) {
  const auto others = environment({{"CODEX_HOME", "/x"}, {"XDG_CONFIG_HOME", "/y"}});
  EXPECT_EQ(AgentHome::of(Agent::claude, others, home, "/").directory(), "/Users/dev/.claude");
}

TEST(AgentHome, NamesTheFilesOfClaude) {
  const AgentHome claude = AgentHome::standard(Agent::claude, home);
  EXPECT_EQ(claude.sessionsDirectory(), "/Users/dev/.claude/projects");
  EXPECT_EQ(claude.statusDirectory(), "/Users/dev/.claude/sessions");
  EXPECT_EQ(claude.statusFile(18), "/Users/dev/.claude/sessions/18.json");
  EXPECT_EQ(claude.transcript("a-1", "/Users/dev/src/app"),
            "/Users/dev/.claude/projects/-Users-dev-src-app/a-1.jsonl");
  EXPECT_EQ(claude.subagentsDirectory("a-1", "/Users/dev/src/app"),
            "/Users/dev/.claude/projects/-Users-dev-src-app/a-1/subagents");
  EXPECT_EQ(claude.transcript("a", "/é/😀_.x"), "/Users/dev/.claude/projects/-------x/a.jsonl");
  EXPECT_EQ(claude.lockFile("a"), std::nullopt);
  EXPECT_EQ(claude.holdFile("a", 1), std::nullopt);
  EXPECT_EQ(claude.activeSessionsFile(), std::nullopt);
  EXPECT_EQ(claude.sessionDirectory("a", "/"), std::nullopt);
}

TEST(AgentHome, NamesTheFilesOfCodex) {
  const AgentHome codex = AgentHome::standard(Agent::codex, home);
  EXPECT_EQ(codex.sessionsDirectory(), "/Users/dev/.codex/sessions");
  EXPECT_EQ(codex.statusDirectory(), "/Users/dev/.codex/thread-writer-locks");
  EXPECT_EQ(codex.lockFile("01a2"), "/Users/dev/.codex/thread-writer-locks/01a2.lock");
  EXPECT_EQ(codex.statusFile(1), std::nullopt);
  EXPECT_EQ(codex.transcript("01a2", "/"), std::nullopt);
  EXPECT_EQ(codex.subagentsDirectory("01a2", "/"), std::nullopt);
}

TEST(AgentHome, NamesTheFilesOfCopilot) {
  const AgentHome copilot = AgentHome::standard(Agent::copilot, home);
  EXPECT_EQ(copilot.statusDirectory(), std::nullopt);
  EXPECT_EQ(copilot.transcript("2e50", ""), "/Users/dev/.copilot/session-state/2e50/events.jsonl");
  EXPECT_EQ(copilot.holdFile("2e50", 34), "/Users/dev/.copilot/session-state/2e50/inuse.34.hold");
}

TEST(AgentHome, NamesTheFilesOfGrok) {
  const AgentHome grok = AgentHome::standard(Agent::grok, home);
  EXPECT_EQ(grok.activeSessionsFile(), "/Users/dev/.grok/active_sessions.json");
  EXPECT_EQ(grok.transcript("01a2", "/Users/dev/my app"),
            "/Users/dev/.grok/sessions/%2FUsers%2Fdev%2Fmy%20app/01a2/events.jsonl");
}

TEST(AgentHome, OfGrokEncodesEachByteOfTheFolderThatIsNotPlain) {
  EXPECT_EQ(AgentHome::standard(Agent::grok, home).sessionDirectory("01a2", "/Src/09-z_(1)/[é]~{"),
            "/Users/dev/.grok/sessions/%2FSrc%2F09-z_(1)%2F%5B%C3%A9%5D~%7B/01a2");
}

TEST(AgentHome, MakesNoPathOfAnIdThatIsNotAPlainName) {
  for (const std::string& id :
       {std::string(), std::string("."), std::string(".."), std::string("../a"), std::string("a/b"),
        std::string("a\0b", 3), std::string("a\nb"), std::string("a\x7f"), std::string(256, 'a')}) {
    EXPECT_FALSE(AgentHome::isPlainName(id));
    EXPECT_EQ(AgentHome::standard(Agent::claude, home).transcript(id, "/"), std::nullopt);
    EXPECT_EQ(AgentHome::standard(Agent::claude, home).subagentsDirectory(id, "/"), std::nullopt);
    EXPECT_EQ(AgentHome::standard(Agent::codex, home).lockFile(id), std::nullopt);
    EXPECT_EQ(AgentHome::standard(Agent::copilot, home).holdFile(id, 1), std::nullopt);
    EXPECT_EQ(AgentHome::standard(Agent::grok, home).sessionDirectory(id, "/"), std::nullopt);
  }
  EXPECT_TRUE(AgentHome::isPlainName(std::string(255, 'a')));
}

TEST(AgentHome, ReadsTheEnvironmentOfThisProcess) {
  ASSERT_EQ(::setenv("TAVRIN_AGENT_HOME_TEST", "here", 1), 0);
  EXPECT_EQ(AgentHome::ownEnvironment("TAVRIN_AGENT_HOME_TEST"), "here");
  ASSERT_EQ(::unsetenv("TAVRIN_AGENT_HOME_TEST"), 0);
  EXPECT_EQ(AgentHome::ownEnvironment("TAVRIN_AGENT_HOME_TEST"), std::nullopt);
}

}  // namespace
}  // namespace tavrin
