#include "TavrinCore/Agents/AgentDefinition.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "TavrinCore/Support/Home.hpp"
#include "tests/support/HomeVariable.hpp"

namespace tavrin {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// One line per event, as "NAME TIMEOUT" and the matcher if there is one.
std::vector<std::string> eventLines(Agent agent) {
  std::vector<std::string> lines;
  for (const auto& event : AgentDefinition::definition(agent).events) {
    std::string line = std::string(event.name) + " " + std::to_string(event.timeout);
    if (event.matcher) line += " " + std::string(*event.matcher);
    lines.push_back(line);
  }
  return lines;
}

TEST(AgentDefinition, AllComesInTheOrderOfTheAgents) {
  ASSERT_EQ(AgentDefinition::all.size(), allAgents.size());
  for (std::size_t i = 0; i < allAgents.size(); ++i) EXPECT_EQ(AgentDefinition::all[i].agent, allAgents[i]);
}

TEST(AgentDefinition, EachAgentHasItsOwn) {
  for (const Agent agent : allAgents) EXPECT_EQ(AgentDefinition::definition(agent).agent, agent);
  EXPECT_EQ(AgentDefinition::definition(Agent::codex), AgentDefinition::codex);
  EXPECT_NE(AgentDefinition::definition(Agent::codex), AgentDefinition::claude);
}

TEST(AgentDefinition, AnAgentBeyondTheTableFallsBackToClaudeCode) {
  EXPECT_EQ(AgentDefinition::definition(static_cast<Agent>(200)), AgentDefinition::claude);
}

TEST(AgentDefinition, ProcessNamesAreThoseOfTheDefinition) {
  for (const Agent agent : allAgents)
    EXPECT_EQ(AgentDefinition::processNamesOf(agent), AgentDefinition::definition(agent).processNames);
  EXPECT_NE(AgentDefinition::processNamesOf(Agent::codex), AgentDefinition::processNamesOf(Agent::claude));
  EXPECT_EQ(AgentDefinition::processNamesOf(static_cast<Agent>(200)), AgentDefinition::claude.processNames);
}

TEST(AgentDefinition, OnlyCopilotOwnsItsFileAndCarriesEventFlags) {
  for (const AgentDefinition& definition : AgentDefinition::all) {
    const bool isCopilot = definition.agent == Agent::copilot;
    EXPECT_EQ(definition.format, isCopilot ? HookConfigFormat::ownFile : HookConfigFormat::hooksBlock);
    EXPECT_EQ(definition.eventFlag, isCopilot);
  }
}

TEST(AgentDefinition, OnlyCodexNeedsAnActivation) {
  for (const AgentDefinition& definition : AgentDefinition::all) {
    EXPECT_EQ(definition.activation,
              definition.agent == Agent::codex ? AgentActivation::codexTrust : AgentActivation::none);
  }
}

TEST(AgentDefinition, ClaudeEventsAreElevenOfWhichOnlyNotificationHasAMatcher) {
  EXPECT_THAT(eventLines(Agent::claude),
              ElementsAre("SessionStart 5", "UserPromptSubmit 5", "PreToolUse 5", "PostToolUse 5",
                          "PostToolUseFailure 5", "PermissionRequest 5", "PermissionDenied 5",
                          "Elicitation 5", "Notification 5 permission_prompt", "Stop 5", "SessionEnd 5"));
  EXPECT_EQ(AgentDefinition::claude.events, HookSettings::claudeEvents);
}

TEST(AgentDefinition, CodexEventsOfAShutdownGetThreeSeconds) {
  EXPECT_THAT(eventLines(Agent::codex),
              ElementsAre("SessionStart 5", "UserPromptSubmit 5", "PreToolUse 5", "PostToolUse 5", "Stop 5",
                          "Interrupt 3", "SessionEnd 3"));
}

TEST(AgentDefinition, GeminiEventsAllCarryFiveThousand) {
  EXPECT_THAT(eventLines(Agent::gemini),
              ElementsAre("SessionStart 5000", "SessionEnd 5000", "BeforeAgent 5000", "BeforeTool 5000",
                          "AfterTool 5000", "AfterAgent 5000", "Notification 5000"));
}

TEST(AgentDefinition, CopilotEventsAreInLowerCamelCase) {
  EXPECT_THAT(eventLines(Agent::copilot),
              ElementsAre("sessionStart 5", "sessionEnd 5", "userPromptSubmitted 5", "postToolUse 5",
                          "postToolUseFailure 5", "agentStop 5",
                          "notification 5 permission_prompt|elicitation_dialog"));
}

TEST(AgentDefinition, GrokEventsEndWithItsOneMatcher) {
  EXPECT_THAT(eventLines(Agent::grok),
              ElementsAre("SessionStart 5", "SessionEnd 5", "UserPromptSubmit 5", "PreToolUse 5",
                          "PostToolUse 5", "PostToolUseFailure 5", "Stop 5", "StopFailure 5",
                          "StopCancelled 5", "Notification 5 permission_prompt"));
}

TEST(AgentDefinition, NamesFlagsAndPathsAreThoseOfTheFiveProducts) {
  const auto line = [](const AgentDefinition& d) {
    std::string text = std::string(d.name) + "|" + std::string(d.subtitle) + "|" + std::string(d.configPath) +
                       "|" + std::string(d.helperFlag.value_or("-"));
    for (const auto& [label, names] :
         {std::pair{"|processes", d.processNames}, std::pair{"|hosts", d.hostBundleIds},
          std::pair{"|presence", d.presence}}) {
      text += label;
      for (const auto name : names) text += " " + std::string(name);
    }
    return text;
  };
  EXPECT_EQ(
      line(AgentDefinition::claude),
      "Claude Code|~/.claude/settings.json|.claude/settings.json|-|processes claude|hosts|presence ~/.claude "
      "~/.local/bin/claude /opt/homebrew/bin/claude /usr/local/bin/claude");
  EXPECT_EQ(
      line(AgentDefinition::codex),
      "Codex|~/.codex/hooks.json|.codex/hooks.json|--agent codex|processes codex ChatGPT|hosts "
      "com.openai.codex com.openai.chat|presence ~/.codex /Applications/ChatGPT.app /opt/homebrew/bin/codex "
      "/usr/local/bin/codex");
  EXPECT_EQ(line(AgentDefinition::gemini),
            "Gemini CLI|~/.gemini/settings.json|.gemini/settings.json|--agent gemini|processes gemini "
            "node|hosts|presence ~/.gemini /opt/homebrew/bin/gemini /usr/local/bin/gemini");
  EXPECT_EQ(
      line(AgentDefinition::copilot),
      "Copilot CLI|~/.copilot/hooks/tavrin.json|.copilot/hooks/tavrin.json|--agent copilot|processes copilot "
      "node|hosts|presence ~/.copilot /opt/homebrew/bin/copilot /usr/local/bin/copilot");
  EXPECT_EQ(
      line(AgentDefinition::grok),
      "Grok|~/.grok/hooks/tavrin.json|.grok/hooks/tavrin.json|--agent grok|processes grok|hosts|presence "
      "~/.grok/bin/grok /opt/homebrew/bin/grok /usr/local/bin/grok");
  EXPECT_THAT(AgentDefinition::claude.hostBundleIds, IsEmpty());
}

TEST(AgentDefinition, ConfigURLFollowsTheHomeDirectoryAndTheSubtitleKeepsTheTilde) {
  const test::HomeVariable variable("/Users/somebody");
  EXPECT_EQ(AgentDefinition::claude.configURL(), "/Users/somebody/.claude/settings.json");
  EXPECT_EQ(AgentDefinition::copilot.configURL(), "/Users/somebody/.copilot/hooks/tavrin.json");
  for (const AgentDefinition& definition : AgentDefinition::all) {
    EXPECT_EQ(definition.subtitle, "~/" + std::string(definition.configPath));
  }
}

TEST(AgentDefinition, CanBeBuiltFromVectorsAtRunTime) {
  const std::vector<std::string_view> processNames = {"helper", "node"};
  const std::vector<HookSettings::EventSpec> events(12, {.name = "Stop", .matcher = {}, .timeout = 7});
  AgentDefinition definition = AgentDefinition::grok;
  definition.processNames = AgentDefinition::Names(processNames);
  definition.events = HookSettings::EventList(events);
  EXPECT_EQ(definition.processNames, AgentDefinition::Names({"helper", "node"}));
  EXPECT_TRUE(std::ranges::equal(definition.events, events));
  EXPECT_NE(definition, AgentDefinition::grok);
}

}  // namespace
}  // namespace tavrin
