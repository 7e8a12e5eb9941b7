// Compares the JSON in docs/wiring-by-hand.md with what the library writes.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "TavrinCore/Agents/AgentDefinition.hpp"
#include "TavrinCore/Agents/AgentHome.hpp"
#include "TavrinCore/Agents/AgentVersion.hpp"
#include "TavrinCore/Agents/HookSettings.hpp"
#include "TavrinCore/Support/Json/Json.hpp"
#include "tests/docs/Documents.hpp"

namespace tavrin {
namespace {

constexpr std::string_view installed = "/Users/you/Library/Application Support/Tavrin/bin/tavrin-hook";

std::string page() {
  return test::document("docs/wiring-by-hand.md");
}

// What stands under the heading of an agent.
std::string section(const AgentDefinition& definition) {
  const std::string text = page();
  const std::string heading = "\n## " + std::string(definition.name) + "\n";
  const std::size_t start = text.find(heading);
  if (start == std::string::npos) {
    ADD_FAILURE() << "no section for " << definition.name;
    return {};
  }
  return text.substr(start, text.find("\n## ", start + heading.size()) - start);
}

void expectEntries(const std::string& block, const AgentDefinition& definition) {
  const auto document = Json::parse(block);
  ASSERT_TRUE(document.has_value()) << block;
  const boost::json::object expected = definition.format == HookConfigFormat::ownFile
                                           ? HookSettings::ownFileDocument(installed, definition)
                                           : HookSettings::merged({}, installed, definition);
  EXPECT_EQ(document->as_object(), expected);
}

TEST(WiringByHand, ShowsExactlyTheEntriesThatTheLibraryInstallsForEachAgent) {
  std::size_t count = 0;
  for (const AgentDefinition& definition : AgentDefinition::all) {
    SCOPED_TRACE(definition.name);
    const std::vector<std::string> blocks = test::codeBlocks(section(definition), "json");
    count += blocks.size();
    ASSERT_EQ(blocks.size(), definition.agent == Agent::claude ? 2U : 1U);
    expectEntries(blocks.back(), definition);
  }
  EXPECT_EQ(test::codeBlocks(page(), "json").size(), count);
}

TEST(WiringByHand, GivesFirstWhatEveryVersionOfClaudeCodeAccepts) {
  const std::string text = section(AgentDefinition::claude);
  const AgentVersions::Fit fit =
      AgentVersions::fitted(AgentDefinition::claude, {AgentVersions::claudeSafeFrom});
  EXPECT_FALSE(fit.refusal.has_value());
  EXPECT_EQ(fit.leftOut.size(), 4U);
  expectEntries(test::codeBlocks(text, "json").at(0), fit.definition);
  EXPECT_NE(text.find("safe set, for version " + AgentVersions::claudeSafeFrom.text() + " or later:"),
            std::string::npos);
}

TEST(WiringByHand, SaysFromWhichVersionClaudeCodeAcceptsTheRest) {
  const std::string text = section(AgentDefinition::claude);
  AgentVersion newest;
  for (const AgentVersions::ClaudeEvent& event : AgentVersions::claudeEvents) {
    const std::string row = "| `" + std::string(event.event) + "` | " + event.from.text() + " |\n";
    EXPECT_NE(text.find(row), std::string::npos) << row;
    newest = std::max(newest, event.from);
  }
  EXPECT_NE(text.find("full list, for version " + newest.text() + " or later:"), std::string::npos);
  EXPECT_NE(text.find("every version before " + newest.text() + "."), std::string::npos);
}

TEST(WiringByHand, NamesEachSettingsFileAndTheVariableThatMovesIt) {
  const std::string text = page();
  for (const AgentDefinition& definition : AgentDefinition::all) {
    const std::string variable(AgentHome::variable(definition.agent));
    const auto moved = [&](std::string_view name) {
      return name == variable ? std::optional<std::string>("/$" + variable) : std::nullopt;
    };
    const std::string row =
        "| " + std::string(definition.name) + " | `" + std::string(definition.subtitle) + "` | `" +
        AgentHome::of(definition.agent, moved, "/home").settingsPath().substr(1) + "` |\n";
    EXPECT_NE(text.find(row), std::string::npos) << row;
  }
}

TEST(WiringByHand, LooksForEntriesInTheSettingsFileOfEachAgent) {
  const std::string text = page();
  const std::size_t start = text.find("\ngrep -ls /Tavrin/bin/tavrin-hook ");
  ASSERT_NE(start, std::string::npos);
  const std::string command = text.substr(start, text.find("```", start) - start);
  for (const AgentDefinition& definition : AgentDefinition::all) {
    EXPECT_NE(command.find(" ~/" + std::string(definition.configPath)), std::string::npos) << definition.name;
  }
}

}  // namespace
}  // namespace tavrin
