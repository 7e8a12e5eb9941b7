#include "TavrinCore/Agents/AgentVersion.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tavrin {
namespace {

using AgentVersions::Fit;
using AgentVersions::fitted;

std::vector<std::string> events(const Fit& fit) {
  std::vector<std::string> names;
  for (const auto& spec : fit.definition.events) names.emplace_back(spec.name);
  return names;
}

std::vector<std::string> leftOut(const Fit& fit) {
  std::vector<std::string> names;
  for (const auto& left : fit.leftOut) names.emplace_back(left.event);
  return names;
}

Fit claude(const std::vector<std::optional<AgentVersion>>& installed) {
  return fitted(AgentDefinition::claude, installed);
}

const std::vector<std::string> safe = {
    "SessionStart", "UserPromptSubmit", "PreToolUse", "PostToolUse", "Notification", "Stop", "SessionEnd"};

TEST(AgentVersion, IsReadFromWhatClientsPrint) {
  EXPECT_EQ(AgentVersion::parse("2.1.197 (Claude Code)\n"), (AgentVersion{2, 1, 197}));
  EXPECT_EQ(AgentVersion::parse("codex-cli 0.169.0"), (AgentVersion{0, 169, 0}));
  EXPECT_EQ(AgentVersion::parse("{\"version\": \"1.0.85\"}"), (AgentVersion{1, 0, 85}));
  EXPECT_EQ(AgentVersion::parse("node 24 v1.2.3-beta.4"), (AgentVersion{1, 2, 3}));
  EXPECT_EQ((AgentVersion{2, 1, 197}).text(), "2.1.197");
}

TEST(AgentVersion, IsNulloptWithoutThreeNumbers) {
  for (const char* text :
       {"", "2", "2.1", "2.1.", "a.b.c", "1..2", "1.-2.3", "1.2.99999999999", "1.2.1000000"})
    EXPECT_EQ(AgentVersion::parse(text), std::nullopt) << text;
}

TEST(AgentVersion, IsOrderedByNumbers) {
  EXPECT_LT((AgentVersion{2, 0, 99}), (AgentVersion{2, 1, 0}));
  EXPECT_LT((AgentVersion{2, 1, 9}), (AgentVersion{2, 1, 10}));
}

TEST(AgentVersions, TheCataloguesListTakesThisVersion) {
  EXPECT_EQ(claude({AgentVersion{2, 1, 88}}).definition, AgentDefinition::claude);
  EXPECT_EQ(leftOut(claude({AgentVersion{2, 1, 87}})), std::vector<std::string>{"PermissionDenied"});
}

TEST(AgentVersions, EachEventIsLeftOutBelowItsVersion) {
  for (const AgentVersions::ClaudeEvent& known : AgentVersions::claudeEvents) {
    AgentVersion before = known.from;
    --before.patchNumber;
    const std::string name(known.event);
    EXPECT_THAT(events(claude({known.from})), testing::Contains(name));
    EXPECT_THAT(leftOut(claude({before})), testing::Contains(name));
    EXPECT_THAT(events(claude({before})), testing::Not(testing::Contains(name)));
  }
}

TEST(AgentVersions, TheFirstSafeVersionHasTheSafeEvents) {
  const Fit fit = claude({AgentVersion{1, 0, 85}});
  EXPECT_EQ(events(fit), safe);
  EXPECT_EQ(fit.refusal, std::nullopt);
  EXPECT_EQ(fit.leftOut.front().reason, "Claude Code 1.0.85 does not accept it; 2.0.56 does");
}

TEST(AgentVersions, AnUnknownVersionHasTheSafeEvents) {
  for (const auto& installed : std::vector<std::vector<std::optional<AgentVersion>>>{
           {}, {std::nullopt}, {{}, AgentVersion{2, 1, 300}}}) {
    const Fit fit = claude(installed);
    EXPECT_EQ(events(fit), safe);
    EXPECT_EQ(fit.refusal, std::nullopt);
    EXPECT_EQ(fit.leftOut.front().reason,
              "it takes Claude Code 2.0.56, and the installed version is not known");
  }
}

TEST(AgentVersions, OfSeveralInstallationsTheOldestDecides) {
  const Fit fit = claude({AgentVersion{2, 1, 197}, AgentVersion{2, 0, 45}, AgentVersion{2, 1, 63}});
  EXPECT_EQ(leftOut(fit),
            (std::vector<std::string>{"PostToolUseFailure", "PermissionDenied", "Elicitation"}));
}

TEST(AgentVersions, AVersionThatWouldLoseItsSettingsIsRefused) {
  const std::string sentence =
      "Claude Code 1.0.84 would ignore all of its settings because of these hooks. Install 1.0.85 or later, "
      "then connect again.";
  EXPECT_EQ(claude({AgentVersion{1, 0, 84}}).refusal, sentence);
  EXPECT_EQ(claude({AgentVersion{2, 1, 1}, AgentVersion{1, 0, 84}}).refusal, sentence);
  EXPECT_EQ(claude({std::nullopt, AgentVersion{1, 0, 84}}).refusal, sentence);
}

TEST(AgentVersions, OtherAgentsHaveTheCataloguesEventsInEveryVersion) {
  for (const AgentDefinition& definition : AgentDefinition::all) {
    if (definition.agent == Agent::claude) continue;
    const Fit fit = fitted(definition, {AgentVersion{0, 0, 1}, std::nullopt});
    EXPECT_EQ(fit.definition, definition);
    EXPECT_TRUE(fit.leftOut.empty());
    EXPECT_EQ(fit.refusal, std::nullopt);
  }
}

}  // namespace
}  // namespace tavrin
