// Compares what the README tells people to type and to expect with the code.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "TavrinCore/Agents/AgentDefinition.hpp"
#include "TavrinCore/Agents/HookSettings.hpp"
#include "TavrinCore/Sessions/Session.hpp"
#include "TavrinCore/Support/Json/Json.hpp"
#include "tests/support/Scratch.hpp"
#include "tests/support/Subprocess.hpp"
#include "tests/support/TestData.hpp"

namespace tavrin {
namespace {

constexpr std::string_view installed = "/Users/you/Library/Application Support/Tavrin/bin/tavrin-hook";

std::string readme() {
  return test::readFile(test::dataDirectory().parent_path().parent_path() / "README.md");
}

// The texts between "```json" and "```", in order.
std::vector<std::string> jsonBlocks(std::string_view text) {
  constexpr std::string_view start = "```json\n";
  std::vector<std::string> blocks;
  for (std::size_t at = text.find(start); at != std::string_view::npos; at = text.find(start, at)) {
    at += start.size();
    blocks.emplace_back(text.substr(at, text.find("```", at) - at));
  }
  return blocks;
}

TEST(Readme, ShowsExactlyTheEntriesThatTheLibraryInstallsForEachAgent) {
  const std::vector<std::string> blocks = jsonBlocks(readme());
  ASSERT_EQ(blocks.size(), AgentDefinition::all.size());
  for (std::size_t i = 0; i < blocks.size(); ++i) {
    const AgentDefinition& definition = AgentDefinition::all[i];
    SCOPED_TRACE(definition.name);
    const auto document = Json::parse(blocks[i]);
    ASSERT_TRUE(document.has_value());
    const boost::json::object expected = definition.format == HookConfigFormat::ownFile
                                             ? HookSettings::ownFileDocument(installed, definition)
                                             : HookSettings::merged({}, installed, definition);
    EXPECT_EQ(document->as_object(), expected);
  }
}

TEST(Readme, NamesEachSettingsFile) {
  const std::string text = readme();
  for (const AgentDefinition& definition : AgentDefinition::all) {
    EXPECT_NE(text.find("`" + std::string(definition.subtitle) + "`"), std::string::npos) << definition.name;
  }
}

TEST(Readme, LooksForEntriesInTheSettingsFileOfEachAgent) {
  const std::string text = readme();
  const std::size_t start = text.find("\ngrep -ls /Tavrin/bin/tavrin-hook ");
  ASSERT_NE(start, std::string::npos);
  const std::string command = text.substr(start, text.find("```", start) - start);
  for (const AgentDefinition& definition : AgentDefinition::all) {
    EXPECT_NE(command.find(" ~/" + std::string(definition.configPath)), std::string::npos) << definition.name;
  }
}

TEST(Readme, NamesThePackagesOfThisVersion) {
  const std::string text = readme();
  for (const char* name :
       {"tavrin-hook_" TAVRIN_VERSION "_amd64.deb", "tavrin-hook-" TAVRIN_VERSION "-linux-x86_64.tar.gz",
        "tavrin-hook-" TAVRIN_VERSION "-linux-x86_64/install.sh"}) {
    EXPECT_NE(text.find(name), std::string::npos) << name;
  }
}

TEST(Readme, ExplainsEveryKeyThatASessionFileMayHold) {
  const std::string text = readme();
  Session session;
  session.needsYouTool = session.attentionId = session.transcriptPath = session.tty = "x";
  session.hostBundleId = session.repoRoot = session.worktreeName = session.title = "x";
  session.attentionTranscriptOffset = 1;
  session.hostPid = 1;
  const auto record = Json::parse(session.encode());
  ASSERT_TRUE(record.has_value());
  EXPECT_EQ(record->as_object().size(), 19U);
  for (const auto& field : record->as_object()) {
    EXPECT_NE(text.find("`" + std::string(field.key()) + "`"), std::string::npos) << field.key();
  }
}

TEST(Readme, ItsSampleLogLinesAreWhatTheCommandWrites) {
  const std::string text = readme();
  const test::ScratchHome home;
  for (const std::string_view rest :
       {R"("PreToolUse","tool_name":"Bash","tool_use_id":"toolu_a1b2c3"})",
        R"("Notification","notification_type":"permission_prompt"})", R"("SessionEnd"})"}) {
    const std::string event = R"({"session_id":"3f2a9c1d-0","hook_event_name":)" + std::string(rest);
    EXPECT_EQ(test::runHook(home.path(), event), test::silentSuccess);
  }
  std::istringstream lines(home.logMessages());
  int count = 0;
  for (std::string line; std::getline(lines, line); ++count) {
    EXPECT_NE(text.find("Z " + line + "\n"), std::string::npos) << line;
  }
  EXPECT_EQ(count, 3);
}

}  // namespace
}  // namespace tavrin
