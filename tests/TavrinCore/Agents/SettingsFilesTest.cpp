// Settings files as people have them, edited the way a panel does it: read, parsed, edited, printed.

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include "TavrinCore/Agents/HookSettings.hpp"
#include "TavrinCore/Support/Json/Json.hpp"
#include "tests/support/Scratch.hpp"
#include "tests/support/TestData.hpp"

namespace tavrin {
namespace {

namespace json = boost::json;

const std::string path = "/Users/dev/Library/Application Support/Tavrin/bin/tavrin-hook";

struct SettingsFile {
  const AgentDefinition& definition;
  std::string name;

  std::string content() const { return test::readFile(test::dataDirectory() / "settings" / name); }
};

// Files in which users have hooks of their own, and into which these tests merge ours.
std::vector<SettingsFile> sharedFiles() {
  return {{AgentDefinition::claude, "claude-settings.json"},
          {AgentDefinition::codex, "codex-hooks.json"},
          {AgentDefinition::gemini, "gemini-settings.json"},
          {AgentDefinition::grok, "grok-tavrin.json"}};
}

json::object parsed(const std::string& text) {
  return Json::parse(text).value().as_object();
}

// The lines without their commas, because a line gains or loses its comma when the line after it changes.
std::vector<std::string> lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    if (line.ends_with(',')) line.pop_back();
    lines.push_back(line);
  }
  return lines;
}

TEST(SettingsFiles, AreTheSameBytesAfterParserAndPrinter) {
  std::vector<SettingsFile> files = sharedFiles();
  files.push_back({AgentDefinition::copilot, "copilot-tavrin.json"});
  EXPECT_EQ(files.size(), AgentDefinition::all.size());
  for (const SettingsFile& file : files)
    EXPECT_EQ(Json::print(parsed(file.content())), file.content()) << file.name;
}

TEST(SettingsFiles, MergedAndRemovedAgainHaveTheBytesTheyHad) {
  for (const SettingsFile& file : sharedFiles()) {
    const std::string before = file.content();
    const std::string merged = Json::print(HookSettings::merged(parsed(before), path, file.definition));
    EXPECT_NE(merged, before) << file.name;
    EXPECT_TRUE(HookSettings::isInstalled(parsed(merged), path, file.definition)) << file.name;
    EXPECT_EQ(Json::print(HookSettings::removed(parsed(merged))), before) << file.name;
  }
}

TEST(SettingsFiles, MergedTwiceHaveTheBytesOfOnce) {
  for (const SettingsFile& file : sharedFiles()) {
    const std::string once = Json::print(HookSettings::merged(parsed(file.content()), path, file.definition));
    EXPECT_EQ(Json::print(HookSettings::merged(parsed(once), path, file.definition)), once) << file.name;
  }
}

TEST(SettingsFiles, AMergeOnlyInsertsLines) {
  for (const SettingsFile& file : sharedFiles()) {
    const std::vector<std::string> before = lines(file.content());
    const std::vector<std::string> after =
        lines(Json::print(HookSettings::merged(parsed(file.content()), path, file.definition)));
    auto place = after.begin();
    for (const std::string& line : before) {
      place = std::find(place, after.end(), line);
      ASSERT_NE(place, after.end()) << file.name << ": " << line;
      ++place;
    }
    // A group takes 9 lines, and one more if it has a matcher. An event that is new to the file takes two
    // more.
    std::size_t inserted = 0;
    const json::object present = parsed(file.content()).at("hooks").as_object();
    for (const HookSettings::EventSpec& spec : file.definition.events)
      inserted += 9U + (spec.matcher ? 1U : 0U) + (present.contains(spec.name) ? 0U : 2U);
    EXPECT_EQ(after.size(), before.size() + inserted) << file.name;
  }
}

TEST(SettingsFiles, TheUsersOwnHooksAreNotInstalledHooks) {
  for (const SettingsFile& file : sharedFiles()) {
    EXPECT_FALSE(HookSettings::isInstalled(parsed(file.content()), path, file.definition)) << file.name;
    EXPECT_EQ(Json::print(HookSettings::removed(parsed(file.content()))), file.content()) << file.name;
  }
}

TEST(SettingsFiles, AFileOfAnotherToolInTheOwnFilesPlaceIsRecognised) {
  const SettingsFile file{AgentDefinition::copilot, "copilot-tavrin.json"};
  EXPECT_FALSE(HookSettings::isOwnFile(parsed(file.content())));
  const std::string own = Json::print(HookSettings::ownFileDocument(path, AgentDefinition::copilot));
  EXPECT_TRUE(HookSettings::isOwnFile(parsed(own)));
  EXPECT_EQ(Json::print(parsed(own)), own);
}

}  // namespace
}  // namespace tavrin
