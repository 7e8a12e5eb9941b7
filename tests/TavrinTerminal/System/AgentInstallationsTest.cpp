#include "TavrinTerminal/System/AgentInstallations.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <map>

#include "TavrinTerminal/System/Executables.hpp"
#include "tests/support/Scratch.hpp"

namespace tavrin {
namespace {

using test::ScratchDirectory;
using testing::ElementsAre;
using testing::IsEmpty;

// A machine made up of files in a scratch folder.
class AgentInstallationsTest : public testing::Test {
 protected:
  std::string at(std::string_view path) const { return (root_ / path).string(); }

  // A program that answers every question with `answer`.
  void program(std::string_view path, std::string_view answer = "") const {
    test::writeFile(root_ / path, "#!/bin/sh\nprintf '%s' '" + std::string(answer) + "'\n");
    ::chmod(at(path).c_str(), 0755);
  }
  void link(std::string_view from, std::string_view to) const {
    std::filesystem::create_directories((root_ / from).parent_path());
    std::filesystem::create_symlink(to, root_ / from);
  }
  // An npm package as `npm install --global` leaves it below `prefix`.
  void npmPackage(const std::string& prefix, const std::string& package, const std::string& program_,
                  const std::string& version) const {
    const std::string folder = prefix + "/lib/node_modules/" + package;
    test::writeFile(root_ / (folder + "/package.json"),
                    R"({"name":")" + package + R"(","version":")" + version + "\"}");
    program(folder + "/bin/cli.js");
    link(prefix + "/bin/" + program_, "../lib/node_modules/" + package + "/bin/cli.js");
  }

  AgentInstallations::Places places() const {
    return {.home = at("home"),
            .environment = [this](std::string_view name) -> std::optional<std::string> {
              const auto found = environment_.find(std::string(name));
              return found == environment_.end() ? std::nullopt : std::optional(found->second);
            },
            .prefixes = {at("opt/homebrew"), at("usr/local")}};
  }

  // Each installation as "path version", the path relative to the scratch folder.
  std::vector<std::string> found(Agent agent) const {
    std::vector<std::string> lines;
    for (const AgentInstallation& installation : AgentInstallations::find(agent, places()))
      lines.push_back(installation.executable.substr(root_.string().size() + 1) + " " +
                      installation.version.value_or("?"));
    return lines;
  }

  ScratchDirectory root_;
  std::map<std::string, std::string> environment_;
};

TEST_F(AgentInstallationsTest, FindsNothingOnAnEmptyMachine) {
  for (const Agent agent : allAgents) EXPECT_THAT(found(agent), IsEmpty());
}

TEST_F(AgentInstallationsTest, LooksThroughPathInOrder) {
  program("b/claude");
  program("a/claude");
  environment_["PATH"] = at("a") + ":/nowhere:" + at("b");
  EXPECT_THAT(found(Agent::claude), ElementsAre("a/claude ?", "b/claude ?"));
  environment_["PATH"] = at("b") + ":" + at("a");
  EXPECT_THAT(found(Agent::claude), ElementsAre("b/claude ?", "a/claude ?"));
}

TEST_F(AgentInstallationsTest, IgnoresRelativePathEntries) {
  // A repository that a person happens to be in must not bring its own agent.
  const std::filesystem::path before = std::filesystem::current_path();
  program("repository/claude");
  program("repository/bin/claude");
  std::filesystem::current_path(root_ / "repository");
  for (const char* path : {".", "", "bin", ":", "./bin:../repository"}) {
    environment_["PATH"] = path;
    EXPECT_THAT(found(Agent::claude), IsEmpty()) << path;
  }
  std::filesystem::current_path(before);
}

TEST_F(AgentInstallationsTest, PassesOverWhatCannotBeExecuted) {
  test::writeFile(root_ / "a/codex", "text");
  std::filesystem::create_directories(root_ / "b/codex");
  link("c/codex", "missing");
  program("d/codex");
  environment_["PATH"] = at("a") + ":" + at("b") + ":" + at("c") + ":" + at("d");
  EXPECT_THAT(found(Agent::codex), ElementsAre("d/codex ?"));
}

TEST_F(AgentInstallationsTest, CountsAFileOnceHoweverManyNamesItHas) {
  program("a/codex");
  link("b/codex", at("a/codex"));
  link("home/.local/bin/codex", at("b/codex"));
  environment_["PATH"] = at("b") + ":" + at("a");
  EXPECT_THAT(found(Agent::codex), ElementsAre("b/codex ?"));
}

TEST_F(AgentInstallationsTest, ReadsVersionsOfNpmPackages) {
  npmPackage("npm", "@anthropic-ai/claude-code", "claude", "1.0.128");
  npmPackage("npm", "@openai/codex", "codex", "0.169.0");
  npmPackage("npm", "@google/gemini-cli", "gemini", "0.61.0-nightly.20261101");
  npmPackage("npm", "@github/copilot", "copilot", "1.0.102");
  npmPackage("npm", "@xai-official/grok", "grok", "1.0.41");
  environment_["PATH"] = at("npm/bin");
  EXPECT_THAT(found(Agent::claude), ElementsAre("npm/bin/claude 1.0.128"));
  EXPECT_THAT(found(Agent::codex), ElementsAre("npm/bin/codex 0.169.0"));
  EXPECT_THAT(found(Agent::gemini), ElementsAre("npm/bin/gemini 0.61.0-nightly.20261101"));
  EXPECT_THAT(found(Agent::copilot), ElementsAre("npm/bin/copilot 1.0.102"));
  EXPECT_THAT(found(Agent::grok), ElementsAre("npm/bin/grok 1.0.41"));
}

TEST_F(AgentInstallationsTest, TakesNoVersionFromAnotherPackage) {
  // A program that somebody else published under the same name, and one that lies in a repository.
  npmPackage("npm", "somebody-elses", "codex", "9.9.9");
  test::writeFile(root_ / "repository/package.json", R"({"name":"my-app","version":"3.2.1"})");
  program("repository/bin/codex");
  environment_["PATH"] = at("npm/bin") + ":" + at("repository/bin");
  EXPECT_THAT(found(Agent::codex), ElementsAre("npm/bin/codex ?", "repository/bin/codex ?"));
}

TEST_F(AgentInstallationsTest, SurvivesBrokenPackages) {
  for (const char* text : {"", "{", "[]", "7", R"({"name":7})", R"({"name":"@openai/codex"})",
                           R"({"name":"@openai/codex","version":"latest"})",
                           R"({"name":"@openai/codex","version":17})", "\xff\xfe"}) {
    test::writeFile(root_ / "npm/package.json", text);
    program("npm/bin/codex");
    environment_["PATH"] = at("npm/bin");
    EXPECT_THAT(found(Agent::codex), ElementsAre("npm/bin/codex ?")) << text;
  }
}

TEST_F(AgentInstallationsTest, ReadsVersionsOfVersionedFolders) {
  // Claude Code's own installer, a Homebrew cask and a Homebrew formula.
  program("home/.local/share/claude/versions/2.1.112");
  link("home/.local/bin/claude", "../share/claude/versions/2.1.112");
  program("opt/homebrew/Caskroom/claude-code/2.1.100/claude");
  link("opt/homebrew/bin/claude", "../Caskroom/claude-code/2.1.100/claude");
  program("usr/local/Cellar/claude/2.0.45/bin/claude");
  link("usr/local/bin/claude", "../Cellar/claude/2.0.45/bin/claude");
  EXPECT_THAT(found(Agent::claude),
              ElementsAre("home/.local/bin/claude 2.1.112", "opt/homebrew/bin/claude 2.1.100",
                          "usr/local/bin/claude 2.0.45"));
}

TEST_F(AgentInstallationsTest, TakesNoVersionOfNodeForTheAgents) {
  program("home/.asdf/installs/nodejs/22.1.0/lib/node_modules/x/codex");
  link("home/.asdf/shims/codex", at("home/.asdf/installs/nodejs/22.1.0/lib/node_modules/x/codex"));
  EXPECT_THAT(found(Agent::codex), ElementsAre("home/.asdf/shims/codex ?"));
}

TEST_F(AgentInstallationsTest, LooksWherePackageManagersInstall) {
  npmPackage("home/.nvm/versions/node/v20.1.0", "@openai/codex", "codex", "0.1.0");
  npmPackage("home/.nvm/versions/node/v22.2.0", "@openai/codex", "codex", "0.2.0");
  npmPackage("home/.npm-global", "@openai/codex", "codex", "0.3.0");
  npmPackage("home/elsewhere", "@openai/codex", "codex", "0.4.0");
  test::writeFile(root_ / "home/.npmrc", "registry=x\n prefix = ~/elsewhere\n");
  npmPackage("bun", "@openai/codex", "codex", "0.5.0");
  environment_["BUN_INSTALL"] = at("bun");
  program("pnpm/codex");
  environment_["PNPM_HOME"] = at("pnpm");
  EXPECT_THAT(
      found(Agent::codex),
      ElementsAre("home/.npm-global/bin/codex 0.3.0", "home/elsewhere/bin/codex 0.4.0", "bun/bin/codex 0.5.0",
                  "pnpm/codex ?", "home/.nvm/versions/node/v20.1.0/bin/codex 0.1.0",
                  "home/.nvm/versions/node/v22.2.0/bin/codex 0.2.0"));
  // A moved nvm, and a prefix from the environment.
  npmPackage("nvm/versions/node/v24.0.0", "@openai/codex", "codex", "0.6.0");
  environment_["NVM_DIR"] = at("nvm");
  npmPackage("prefix", "@openai/codex", "codex", "0.7.0");
  environment_["npm_config_prefix"] = at("prefix");
  EXPECT_THAT(found(Agent::codex), ElementsAre("home/.npm-global/bin/codex 0.3.0", "prefix/bin/codex 0.7.0",
                                               "home/elsewhere/bin/codex 0.4.0", "bun/bin/codex 0.5.0",
                                               "pnpm/codex ?", "nvm/versions/node/v24.0.0/bin/codex 0.6.0"));
}

TEST_F(AgentInstallationsTest, LooksWhereAgentsInstallThemselves) {
  program("home/.grok/bin/grok");
  program("home/.claude/local/claude");
  EXPECT_THAT(found(Agent::grok), ElementsAre("home/.grok/bin/grok ?"));
  EXPECT_THAT(found(Agent::claude), ElementsAre("home/.claude/local/claude ?"));
}

TEST_F(AgentInstallationsTest, AsksForVersionsThatNoFileShows) {
  program("a/claude", "2.1.112 (Claude Code)");
  program("b/claude", "nonsense");
  std::vector<AgentInstallation> installations = {
      {.agent = Agent::claude, .executable = at("a/claude"), .resolved = at("a/claude"), .version = {}},
      {.agent = Agent::claude, .executable = at("b/claude"), .resolved = at("b/claude"), .version = {}},
      {.agent = Agent::claude, .executable = at("missing"), .resolved = at("missing"), .version = {}},
      {.agent = Agent::claude,
       .executable = at("not-asked"),
       .resolved = at("not-asked"),
       .version = "1.2.3"},
  };
  AgentInstallations::askVersions(installations);
  EXPECT_EQ("2.1.112", installations[0].version);
  EXPECT_EQ(std::nullopt, installations[1].version);
  EXPECT_EQ(std::nullopt, installations[2].version);
  EXPECT_EQ("1.2.3", installations[3].version);
}

TEST(VersionIn, FindsTheFirstNumberOfThreeParts) {
  const std::vector<std::pair<std::string_view, std::optional<std::string>>> cases = {
      {"codex-cli 0.169.0\n", "0.169.0"},
      {"2.1.112 (Claude Code)\n", "2.1.112"},
      {"v1.0.102", "1.0.102"},
      {"grok 1.0.41 (abc1234)", "1.0.41"},
      {"0.61.0-preview.2 more", "0.61.0-preview.2"},
      {"at 10.20 it printed 1.2.3.4", "1.2.3.4"},
      {"1.2", std::nullopt},
      {"1.2.", std::nullopt},
      {"1..2.3", std::nullopt},
      {"", std::nullopt},
      {"no number", std::nullopt},
      {"1.2.3-", "1.2.3"},
  };
  for (const auto& [text, version] : cases) EXPECT_EQ(version, AgentInstallations::versionIn(text)) << text;
}

TEST(Executables, FindsAProgramInTheFirstFolderThatHasIt) {
  const ScratchDirectory root;
  for (const char* path : {"a/x", "b/x"}) {
    test::writeFile(root / path, "#!/bin/sh\n");
    ::chmod((root / path).c_str(), 0755);
  }
  const std::string a = (root / "a").string();
  const std::string b = (root / "b").string();
  EXPECT_EQ(b + "/x", Executables::find("x", "relative::" + b + ":" + a));
  EXPECT_EQ(std::nullopt, Executables::find("y", a + ":" + b));
  EXPECT_EQ(std::nullopt, Executables::find("x", ""));
}

}  // namespace
}  // namespace tavrin
