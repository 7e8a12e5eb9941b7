#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

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
const std::string answers = (test::dataDirectory() / "rpc").string();

// A home directory in which all five agents are present.
class ConnectAgent : public ::testing::Test {
 protected:
  ConnectAgent() {
    for (const char* folder : {".claude", ".codex", ".gemini", ".copilot", ".grok/bin/grok"})
      fs::create_directories(home_ / folder);
  }

  test::Outcome connectAgent(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), TAVRIN_CONNECT_AGENT);
    return test::run(arguments, "", {{"HOME", home_.string()}});
  }

  fs::path settings(const AgentDefinition& definition) const { return home_ / definition.configPath; }

  // Nothing may be left of temporary files.
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
              name + " is connected through " + std::string(definition.subtitle) + "\n");
    const std::string written = test::readFile(settings(definition));
    EXPECT_NE(written.find("/Tavrin/bin/tavrin-hook"), std::string::npos) << name;
    EXPECT_EQ(connectAgent({agent, helperPath}).output, name + " was connected already\n");
    EXPECT_EQ(test::readFile(settings(definition)), written) << name;
    EXPECT_EQ(filesBeside(definition), 1U) << name;
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

TEST_F(ConnectAgent, AConnectedFileInAFormOfItsOwnIsNotWrittenAgain) {
  EXPECT_EQ(connectAgent({"gemini", helperPath}).exitStatus, 0);
  std::string text = test::readFile(settings(AgentDefinition::gemini));
  std::erase(text, '\n');
  test::writeFile(settings(AgentDefinition::gemini), text);
  EXPECT_EQ(connectAgent({"gemini", helperPath}).output, "Gemini CLI was connected already\n");
  EXPECT_EQ(test::readFile(settings(AgentDefinition::gemini)), text);
}

TEST_F(ConnectAgent, AnOwnFileGoesWhenDisconnectedAndSomebodyElsesStays) {
  const fs::path file = settings(AgentDefinition::copilot);
  EXPECT_EQ(connectAgent({"copilot", helperPath}).exitStatus, 0);
  EXPECT_EQ(connectAgent({"copilot", "--disconnect"}).exitStatus, 0);
  EXPECT_FALSE(fs::exists(file));

  test::writeFile(file, sample("copilot-tavrin.json"));
  const test::Outcome refused = connectAgent({"copilot", helperPath});
  EXPECT_EQ(refused.exitStatus, 1);
  EXPECT_NE(refused.error.find("somebody else's hooks"), std::string::npos) << refused.error;
  EXPECT_EQ(connectAgent({"copilot", "--disconnect"}).exitStatus, 0);
  EXPECT_EQ(test::readFile(file), sample("copilot-tavrin.json"));
}

TEST_F(ConnectAgent, AFileThatIsNoJsonObjectIsLeftAsItIs) {
  for (const char* text : {"", "{ // my settings\n}", "[]", "{\"model\":"}) {
    test::writeFile(settings(AgentDefinition::claude), text);
    EXPECT_EQ(connectAgent({"claude", helperPath}).exitStatus, 1) << text;
    EXPECT_EQ(connectAgent({"claude", "--disconnect"}).exitStatus, 1) << text;
    EXPECT_EQ(test::readFile(settings(AgentDefinition::claude)), text);
    EXPECT_EQ(filesBeside(AgentDefinition::claude), 1U) << text;
  }
}

TEST_F(ConnectAgent, ALinkStaysALinkAndPermissionsStay) {
  const fs::path real = home_ / "dotfiles/claude.json";
  test::writeFile(real, sample("claude-settings.json"));
  ASSERT_EQ(::chmod(real.c_str(), 0640), 0);
  fs::create_symlink(real, settings(AgentDefinition::claude));
  EXPECT_EQ(connectAgent({"claude", helperPath}).exitStatus, 0);
  EXPECT_TRUE(fs::is_symlink(settings(AgentDefinition::claude)));
  EXPECT_NE(test::readFile(real), sample("claude-settings.json"));
  EXPECT_EQ(fs::status(real).permissions(), fs::perms(0640));
}

TEST_F(ConnectAgent, ALinkToAFileThatIsMissingStaysALinkAndTheFileIsMade) {
  const AgentDefinition& claude = AgentDefinition::definition(Agent::claude);
  fs::create_symlink("../dotfiles/claude.json", settings(claude));
  EXPECT_EQ(connectAgent({"claude", helperPath}).exitStatus, 0);
  EXPECT_TRUE(fs::is_symlink(settings(claude)));
  EXPECT_NE(test::readFile(home_ / "dotfiles/claude.json").find(helperPath), std::string::npos);
}

TEST_F(ConnectAgent, AnAgentThatWasUninstalledCanBeDisconnected) {
  const AgentDefinition& grok = AgentDefinition::definition(Agent::grok);
  ASSERT_EQ(connectAgent({"grok", helperPath}).exitStatus, 0);
  fs::remove_all(home_ / ".grok/bin");
  EXPECT_EQ(connectAgent({"grok", helperPath}).exitStatus, 1);
  EXPECT_EQ(connectAgent({"grok", "--disconnect"}).exitStatus, 0);
  EXPECT_EQ(test::readFile(settings(grok)).find("tavrin-hook"), std::string::npos);
}

TEST_F(ConnectAgent, AFileThatCannotBeRemovedIsAFailure) {
  const AgentDefinition& copilot = AgentDefinition::definition(Agent::copilot);
  ASSERT_EQ(connectAgent({"copilot", helperPath}).exitStatus, 0);
  const fs::path folder = settings(copilot).parent_path();
  fs::permissions(folder, fs::perms::owner_read | fs::perms::owner_exec);
  // Permissions mean nothing to the superuser.
  const bool isRemovable = ::access(folder.c_str(), W_OK) == 0;
  EXPECT_EQ(connectAgent({"copilot", "--disconnect"}).exitStatus, isRemovable ? 0 : 1);
  EXPECT_EQ(fs::exists(settings(copilot)), !isRemovable);
}

TEST_F(ConnectAgent, CodexTrustsTheHooksAndIsActive) {
  const test::Outcome outcome = connectAgent({"codex", helperPath, answers});
  EXPECT_EQ(outcome.output,
            "Codex is connected through ~/.codex/hooks.json\n"
            "trusting 8 hooks\n"
            "Codex: active\n");
}

TEST_F(ConnectAgent, CodexThatCannotBeReachedOrRefusesIsInactive) {
  const std::string unreached =
      "Codex is connected through ~/.codex/hooks.json\nCodex: couldn’t reach Codex — retry (can be fixed "
      "here)\n";
  EXPECT_EQ(connectAgent({"codex", helperPath, (home_ / "nowhere").string()}).output, unreached);

  fs::remove(settings(AgentDefinition::codex));
  const fs::path refusal = home_ / "answers/02-response.json";
  test::writeFile(refusal, test::readFile(test::dataDirectory() / "rpc/17-response.json"));
  EXPECT_EQ(connectAgent({"codex", helperPath, refusal.parent_path().string()}).output, unreached);
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
