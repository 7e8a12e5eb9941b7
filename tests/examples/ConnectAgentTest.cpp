#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "TavrinCore/Agents/AgentDefinition.hpp"
#include "tests/support/Scratch.hpp"
#include "tests/support/Subprocess.hpp"
#include "tests/support/TestData.hpp"

namespace tavrin {
namespace {

namespace fs = std::filesystem;

const std::string helperPath = "/Users/dev/Library/Application Support/Tavrin/bin/tavrin-hook";

// A home directory in which all five agents are present.
class ConnectAgent : public ::testing::Test {
 protected:
  ConnectAgent() {
    for (const char* folder : {".claude", ".codex", ".gemini", ".copilot", ".grok"})
      fs::create_directories(home_ / folder);
  }

  test::Outcome connectAgent(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), TAVRIN_CONNECT_AGENT);
    return test::run(arguments, "", {{"HOME", home_.string()}});
  }

  fs::path settings(const AgentDefinition& definition) const { return home_ / definition.configPath; }

  // No temporary files may be left.
  std::size_t filesBeside(const AgentDefinition& definition) const {
    const fs::directory_iterator folder(settings(definition).parent_path());
    std::size_t count = 0;
    for (const fs::directory_entry& entry : folder) count += entry.is_directory() ? 0 : 1;
    return count;
  }

  test::ScratchHome home_;
};

std::string sample(std::string_view name) {
  return test::readFile(test::dataDirectory() / "settings" / name);
}

TEST_F(ConnectAgent, ConnectsEachAgentOnceWithTheFileMissing) {
  for (const AgentDefinition& definition : AgentDefinition::all) {
    const std::string agent(rawValue(definition.agent));
    const std::string name(definition.name);
    EXPECT_EQ(connectAgent({agent, helperPath}).output,
              name + " is connected through " + settings(definition).string() + ".\n");
    const std::string written = test::readFile(settings(definition));
    EXPECT_NE(written.find("/Tavrin/bin/tavrin-hook"), std::string::npos) << name;
    EXPECT_EQ(connectAgent({agent, helperPath}).output, name + " was connected already.\n");
    EXPECT_EQ(test::readFile(settings(definition)), written) << name;
    EXPECT_EQ(filesBeside(definition), 1U) << name;
    EXPECT_EQ(connectAgent({agent, "--disconnect"}).exitStatus, 0);
    EXPECT_EQ(filesBeside(definition), 0U) << name;
  }
}

TEST_F(ConnectAgent, DisconnectingGivesBackTheFileAsItWas) {
  const std::vector<std::pair<const AgentDefinition&, std::string>> files = {
      {AgentDefinition::claude, "claude-settings.json"},
      {AgentDefinition::codex, "codex-hooks.json"},
      {AgentDefinition::gemini, "gemini-settings.json"},
      {AgentDefinition::grok, "grok-tavrin.json"}};
  for (const auto& [definition, file] : files) {
    const std::string agent(rawValue(definition.agent));
    test::writeFile(settings(definition), sample(file));
    EXPECT_EQ(connectAgent({agent, helperPath}).exitStatus, 0) << file;
    EXPECT_NE(test::readFile(settings(definition)), sample(file));
    EXPECT_EQ(connectAgent({agent, "--disconnect"}).exitStatus, 0) << file;
    EXPECT_EQ(test::readFile(settings(definition)), sample(file));
    EXPECT_EQ(filesBeside(definition), 1U) << file;
  }
}

TEST_F(ConnectAgent, TheVersionDecidesOnTheEvents) {
  const AgentDefinition& claude = AgentDefinition::claude;
  EXPECT_EQ(connectAgent({"claude", helperPath}).exitStatus, 0);
  EXPECT_THAT(test::readFile(settings(claude)), testing::Not(testing::HasSubstr("PermissionDenied")));
  EXPECT_EQ(connectAgent({"claude", helperPath, "2.1.197"}).exitStatus, 0);
  EXPECT_THAT(test::readFile(settings(claude)), testing::HasSubstr("PermissionDenied"));
  const test::Outcome refused = connectAgent({"claude", helperPath, "1.0.80"});
  EXPECT_EQ(refused.exitStatus, 1);
  EXPECT_THAT(refused.output, testing::HasSubstr("Install 1.0.85 or later"));
}

TEST_F(ConnectAgent, FollowsTheVariableThatMovesTheSettings) {
  std::filesystem::create_directories(home_ / "elsewhere");
  const test::Outcome outcome = test::run({TAVRIN_CONNECT_AGENT, "codex", helperPath}, "",
                                          {{"HOME", home_.string()}, {"CODEX_HOME", home_ / "elsewhere"}});
  EXPECT_EQ(outcome.exitStatus, 0);
  EXPECT_TRUE(fs::exists(home_ / "elsewhere/hooks.json"));
  EXPECT_FALSE(fs::exists(settings(AgentDefinition::codex)));
}

TEST_F(ConnectAgent, ARefusalIsAFailure) {
  test::writeFile(settings(AgentDefinition::claude), "{ // my settings\n}");
  for (const std::string& word : {helperPath, std::string("--disconnect")}) {
    const test::Outcome refused = connectAgent({"claude", word});
    EXPECT_EQ(refused.exitStatus, 1);
    EXPECT_THAT(refused.output, testing::HasSubstr("the comment at line 1, column 3"));
  }
}

TEST_F(ConnectAgent, AnyOtherCommandLineIsExplained) {
  for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{
           {}, {"claude"}, {"cursor", helperPath}, {"codex", "a", "b", "c"}}) {
    const test::Outcome outcome = connectAgent(arguments);
    EXPECT_EQ(outcome.exitStatus, 2);
    EXPECT_TRUE(outcome.output.starts_with("usage: connect-agent ")) << outcome.output;
  }
}

}  // namespace
}  // namespace tavrin
