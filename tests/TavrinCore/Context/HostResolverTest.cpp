#include "TavrinCore/Context/HostResolver.hpp"

#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "TavrinCore/Agents/AgentDefinition.hpp"

namespace tavrin {
namespace {

using Chain = std::vector<ProcessNode>;
using Names = std::vector<std::string_view>;
using Pid = std::optional<std::int32_t>;

// A chain of processes of these names, child first, with pids 100, 101 and so on.
Chain chainOf(const std::vector<std::optional<std::string>>& names) {
  Chain chain;
  for (const auto& name : names) {
    const auto pid = static_cast<std::int32_t>(100 + chain.size());
    chain.push_back({.pid = pid, .name = name, .bundleId = {}, .isRegularApp = false});
  }
  return chain;
}

Pid agentIn(const std::vector<std::optional<std::string>>& names, const Names& wanted) {
  const auto node = HostResolver::pickAgent(chainOf(names), wanted);
  return node ? Pid(node->pid) : std::nullopt;
}

// The host of a chain whose processes at these places are regular applications.
Pid hostIn(std::size_t length, const std::vector<std::size_t>& regular) {
  Chain chain = chainOf(std::vector<std::optional<std::string>>(length, "x"));
  for (const std::size_t place : regular) chain.at(place).isRegularApp = true;
  const auto node = HostResolver::pickHost(chain);
  return node ? Pid(node->pid) : std::nullopt;
}

TEST(HostResolver, AnEmptyChainHasNoAgentAndNoHost) {
  EXPECT_EQ(HostResolver::pickAgent({}, Names{"claude"}), std::nullopt);
  EXPECT_EQ(HostResolver::pickAgent({}, {}), std::nullopt);
  EXPECT_EQ(HostResolver::pickHost({}), std::nullopt);
}

TEST(HostResolver, DistinguishesShellAgentAndTerminal) {
  Chain chain = chainOf({"zsh", "claude", "Terminal"});
  chain[2].bundleId = "com.apple.Terminal";
  chain[2].isRegularApp = true;
  EXPECT_EQ(HostResolver::pickAgent(chain, Names{"claude"}), chain[1]);
  EXPECT_EQ(HostResolver::pickHost(chain), chain[2]);
  chain[2].isRegularApp = false;
  EXPECT_EQ(HostResolver::pickHost(chain), std::nullopt);
}

TEST(HostResolver, TheAgentNearestTheHookWins) {
  EXPECT_EQ(agentIn({"sh", "claude", "zsh", "claude"}, {"claude"}), 101);
  EXPECT_EQ(agentIn({"node", "gemini", "zsh"}, {"gemini", "node"}), 100);
  EXPECT_EQ(agentIn({"gemini", "node", "zsh"}, {"gemini", "node"}), 100);
  EXPECT_EQ(agentIn({"sh", "ChatGPT", "codex"}, {"codex", "ChatGPT"}), 101);
}

TEST(HostResolver, ANamedProcessWinsOverAnUnknownOneNearerTheHook) {
  EXPECT_EQ(agentIn({"wrapper", "sh", "claude", "Terminal"}, {"claude"}), 102);
  EXPECT_EQ(agentIn({std::nullopt, "claude"}, {"claude"}), 101);
}

TEST(HostResolver, AShellThatIsNamedIsTheAgent) {
  EXPECT_EQ(agentIn({"sh", "bash", "claude"}, {"bash"}), 101);
}

TEST(HostResolver, WithoutAKnownNameTheFirstThatIsNotAShellIsTaken) {
  EXPECT_EQ(agentIn({"sh", "bash", "node"}, {"claude"}), 102);
  EXPECT_EQ(agentIn({"sh", "bash", "node", "Terminal"}, {}), 102);
  EXPECT_EQ(agentIn({"python3", "bash"}, {"claude"}), 100);
}

TEST(HostResolver, OnlyTheFiveShellsAreShells) {
  for (const char* const shell : {"sh", "bash", "zsh", "fish", "dash"}) {
    EXPECT_EQ(agentIn({shell}, {"claude"}), std::nullopt) << shell;
    EXPECT_EQ(agentIn({shell, "x"}, {"claude"}), 101) << shell;
  }
  for (const char* const other :
       {"ksh", "tcsh", "csh", "-zsh", "Bash", "SH", "sh ", "bash-5.2", "nu", "ash", "s", ""}) {
    EXPECT_EQ(agentIn({other, "x"}, {"claude"}), 100) << other;
  }
}

TEST(HostResolver, OnlyShellsMeansNoAgent) {
  EXPECT_EQ(agentIn({"sh", "bash", "zsh", "fish", "dash", "sh"}, {"claude"}), std::nullopt);
}

TEST(HostResolver, AProcessWithoutANameMatchesNoNameAndIsNotAShell) {
  EXPECT_EQ(agentIn({std::nullopt, "x"}, {""}), 100);
  EXPECT_EQ(agentIn({"sh", std::nullopt, "x"}, {"claude"}), 101);
  EXPECT_EQ(agentIn({"sh", std::nullopt, "claude"}, {"claude", ""}), 102);
}

TEST(HostResolver, NamesAreComparedExactly) {
  EXPECT_EQ(agentIn({"sh", "Claude", "claude-code", "claude"}, {"claude"}), 103);
}

TEST(HostResolver, TheRegularApplicationNearestTheRootIsTheHost) {
  EXPECT_EQ(hostIn(4, {1, 3}), 103);
  EXPECT_EQ(hostIn(4, {0, 1, 2}), 102);
  EXPECT_EQ(hostIn(4, {0}), 100);
  EXPECT_EQ(hostIn(1, {0}), 100);
  EXPECT_EQ(hostIn(4, {}), std::nullopt);
}

TEST(HostResolver, AnApplicationThatIsNotRegularIsNotAHost) {
  Chain chain = chainOf({"claude", "Editor", "agent"});
  chain[1].bundleId = "com.example.editor";
  chain[1].isRegularApp = true;
  chain[2].bundleId = "com.example.background";
  EXPECT_EQ(HostResolver::pickHost(chain), chain[1]);
}

TEST(HostResolver, AHostMayHaveNeitherNameNorBundle) {
  Chain chain = chainOf({"claude", std::nullopt});
  chain[1].isRegularApp = true;
  EXPECT_EQ(HostResolver::pickHost(chain), chain[1]);
}

// A chain of four processes without applications, and what its table is asked.
struct AskedChain {
  Chain chain = chainOf({"sh", "claude", "Editor", "Terminal"});
  std::map<std::int32_t, ProcessTable::Application> applications;
  std::vector<std::int32_t> asked;
  std::optional<std::set<std::int32_t>> inManager;  // below the user's manager; nullopt: nobody can say
  std::vector<std::int32_t> askedForManager;

  std::optional<ProcessNode> host() {
    ProcessTable table;
    table.application = [this](std::int32_t pid) -> std::optional<ProcessTable::Application> {
      asked.push_back(pid);
      const auto found = applications.find(pid);
      return found == applications.end() ? std::nullopt : std::optional(found->second);
    };
    if (inManager) {
      table.mayBeOfApplication = [this](std::int32_t pid) {
        askedForManager.push_back(pid);
        return inManager->contains(pid);
      };
    }
    return HostResolver::findHost(chain, table);
  }
};

TEST(HostResolver, ApplicationsAreAskedForFromTheRootUntilTheHostIsFound) {
  AskedChain asked;
  asked.applications = {{101, {.bundleId = "inner", .isRegular = true}},
                        {102, {.bundleId = "editor", .isRegular = true}},
                        {103, {.bundleId = "background", .isRegular = false}}};
  const ProcessNode expected = {.pid = 102, .name = "Editor", .bundleId = "editor", .isRegularApp = true};
  EXPECT_EQ(asked.host(), expected);
  EXPECT_EQ(asked.asked, (std::vector<std::int32_t>{103, 102}));
  for (const std::int32_t end : {100, 103}) {
    asked.inManager = {end};
    EXPECT_EQ(asked.host(), expected);
  }
}

TEST(HostResolver, WithoutAnApplicationThereIsNoHost) {
  AskedChain asked;
  EXPECT_EQ(asked.host(), std::nullopt);
  EXPECT_EQ(asked.asked, (std::vector<std::int32_t>{103, 102, 101, 100}));
  EXPECT_EQ(HostResolver::findHost({}, ProcessTable()), std::nullopt);
}

TEST(HostResolver, NoProcessIsAskedAboutWhereThereCanBeNoApplication) {
  AskedChain asked;
  asked.applications = {{103, {.bundleId = "terminal", .isRegular = true}}};
  asked.inManager.emplace();
  EXPECT_EQ(asked.host(), std::nullopt);
  EXPECT_TRUE(asked.asked.empty());
  EXPECT_EQ(asked.askedForManager, (std::vector<std::int32_t>{103, 100}));
}

// A terminal of a desktop that was started by hand, in which sudo(8) has opened a session: both ends of the
// chain are outside the user's manager, and the host was missed.
TEST(HostResolver, AHostIsFoundAboveAProgramThatChangesTheUser) {
  for (const char* const program : {"sudo", "su", "doas", "pkexec", "login"}) {
    AskedChain asked;
    asked.chain = chainOf({"sh", "claude", "bash", program, "zsh", "foot", "sway"});
    asked.applications = {{105, {.bundleId = "foot", .isRegular = true}}};
    asked.inManager = {104, 105};
    ASSERT_TRUE(asked.host().has_value()) << program;
    EXPECT_EQ(asked.host()->pid, 105) << program;
  }
  AskedChain outside;
  outside.chain = chainOf({"sh", "claude", "bash", "sudo", "zsh", "sshd"});
  outside.inManager.emplace();
  EXPECT_EQ(outside.host(), std::nullopt);
  EXPECT_EQ(outside.askedForManager, (std::vector<std::int32_t>{105, 100, 104}));
}

TEST(HostResolver, TheAgentMayBeTheHost) {
  Chain chain = chainOf({"sh", "ChatGPT"});
  chain[1].isRegularApp = true;
  EXPECT_EQ(HostResolver::pickAgent(chain, AgentDefinition::codex.processNames), chain[1]);
  EXPECT_EQ(HostResolver::pickHost(chain), chain[1]);
}

}  // namespace
}  // namespace tavrin
