#include "TavrinCore/Context/ProcessTree.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "TavrinCore/Agents/AgentDefinition.hpp"
#include "TavrinCore/Context/HostResolver.hpp"
#include "tests/TavrinCore/Context/FakeProcesses.hpp"

namespace tavrin {
namespace {

using test::FakeProcesses;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Names = std::vector<std::string_view>;
using Application = ProcessTable::Application;

constexpr std::int32_t smallestInt32 = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t largestInt32 = std::numeric_limits<std::int32_t>::max();

// A chain of processes of these names, child first, with pids 100, 101 and so on; the last one's parent is 1.
FakeProcesses chainOf(const std::vector<std::string>& names) {
  FakeProcesses fake;
  for (std::size_t i = 0; i < names.size(); ++i) {
    const auto pid = static_cast<std::int32_t>(100 + i);
    fake.processes[pid] = {.parent = i + 1 == names.size() ? 1 : pid + 1, .name = names[i]};
  }
  fake.processes[1] = {.parent = 0, .name = "launchd"};
  return fake;
}

FakeProcesses chainOfLength(std::size_t length) {
  return chainOf(std::vector<std::string>(length, "x"));
}

std::vector<std::int32_t> pidsOf(const std::vector<ProcessNode>& nodes) {
  std::vector<std::int32_t> pids;
  for (const ProcessNode& node : nodes) pids.push_back(node.pid);
  return pids;
}

std::vector<std::int32_t> consecutive(std::int32_t first, std::size_t count) {
  std::vector<std::int32_t> pids(count);
  for (std::int32_t& pid : pids) pid = first++;
  return pids;
}

TEST(ProcessTree, TheChainStartsWithTheProcessItselfAndGoesUp) {
  FakeProcesses fake = chainOf({"sh", "claude", "zsh", "Terminal"});
  const auto nodes = ProcessTree::ancestors(100, fake.table());
  EXPECT_THAT(
      nodes, ElementsAre(ProcessNode{.pid = 100, .name = "sh", .bundleId = {}, .isRegularApp = false},
                         ProcessNode{.pid = 101, .name = "claude", .bundleId = {}, .isRegularApp = false},
                         ProcessNode{.pid = 102, .name = "zsh", .bundleId = {}, .isRegularApp = false},
                         ProcessNode{.pid = 103, .name = "Terminal", .bundleId = {}, .isRegularApp = false}));
}

TEST(ProcessTree, TheKernelAndTheFirstProcessAreNeverIncluded) {
  for (const std::int32_t pid : {1, 0, -1, -100, smallestInt32}) {
    FakeProcesses fake = chainOf({"x"});
    fake.processes[pid] = {.parent = 100, .name = "not to be seen"};
    EXPECT_THAT(ProcessTree::ancestors(pid, fake.table()), IsEmpty()) << pid;
    EXPECT_THAT(ProcessTree::ancestorsUpTo(Names{"x"}, pid, fake.table()), IsEmpty()) << pid;
    EXPECT_THAT(fake.asked, IsEmpty()) << pid;
  }
}

TEST(ProcessTree, AChainEndsBelowTheFirstProcess) {
  for (const std::int32_t parent : {1, 0, -1, smallestInt32}) {
    FakeProcesses fake = chainOf({"a", "b"});
    fake.processes[101].parent = parent;
    fake.processes[parent] = {.parent = 100, .name = "not to be seen"};
    EXPECT_EQ(pidsOf(ProcessTree::ancestors(100, fake.table())), consecutive(100, 2)) << parent;
  }
}

TEST(ProcessTree, TheSmallestAndTheLargestPidCount) {
  FakeProcesses fake;
  fake.processes[2] = {.parent = largestInt32, .name = "a"};
  fake.processes[largestInt32] = {.parent = 1, .name = "b"};
  EXPECT_THAT(pidsOf(ProcessTree::ancestors(2, fake.table())), ElementsAre(2, largestInt32));
}

TEST(ProcessTree, WithALimitOfZeroTheChainIsEmpty) {
  FakeProcesses fake = chainOfLength(3);
  for (const int limit : {0, -1, std::numeric_limits<int>::min()}) {
    EXPECT_THAT(ProcessTree::ancestors(100, fake.table(), limit), IsEmpty()) << limit;
    EXPECT_THAT(ProcessTree::ancestorsUpTo({}, 100, fake.table(), limit), IsEmpty()) << limit;
  }
  EXPECT_THAT(fake.asked, IsEmpty());
}

TEST(ProcessTree, TheChainHasAtMostAsManyProcessesAsTheLimit) {
  for (const int limit : {1, 2, 31, 32, 33, 40, 41, std::numeric_limits<int>::max()}) {
    FakeProcesses fake = chainOfLength(40);
    const std::size_t expected = std::min<std::size_t>(40, static_cast<std::size_t>(limit));
    EXPECT_EQ(pidsOf(ProcessTree::ancestors(100, fake.table(), limit)), consecutive(100, expected)) << limit;
    EXPECT_EQ(fake.countOf("record"), expected) << limit;
    EXPECT_EQ(pidsOf(ProcessTree::ancestorsUpTo({}, 100, fake.table(), limit)), consecutive(100, expected))
        << limit;
  }
}

TEST(ProcessTree, TheLimitIsThirtyTwoByDefault) {
  for (const std::size_t length : {31U, 32U, 33U, 100U}) {
    FakeProcesses fake = chainOfLength(length);
    const std::size_t expected = std::min<std::size_t>(length, 32);
    EXPECT_EQ(ProcessTree::ancestors(100, fake.table()).size(), expected) << length;
    EXPECT_EQ(ProcessTree::ancestorsUpTo({}, 100, fake.table()).size(), expected) << length;
  }
}

TEST(ProcessTree, ACycleEndsAtTheLimit) {
  FakeProcesses fake;
  fake.processes[100] = {.parent = 101, .name = "a"};
  fake.processes[101] = {.parent = 100, .name = "b"};
  const auto nodes = ProcessTree::ancestors(100, fake.table());
  ASSERT_EQ(nodes.size(), 32U);
  EXPECT_EQ(nodes.front().pid, 100);
  EXPECT_EQ(nodes.back().pid, 101);
  fake.processes[100].parent = 100;
  EXPECT_EQ(pidsOf(ProcessTree::ancestors(100, fake.table(), 5)), std::vector<std::int32_t>(5, 100));
  EXPECT_EQ(ProcessTree::ancestorsUpTo(Names{"b"}, 100, fake.table()).size(), 32U);
}

TEST(ProcessTree, ADeadProcessEndsTheWalk) {
  FakeProcesses fake = chainOfLength(4);
  fake.processes.erase(102);
  EXPECT_EQ(pidsOf(ProcessTree::ancestors(100, fake.table())), consecutive(100, 2));
  EXPECT_EQ(fake.asked.back(), "record 102");
  EXPECT_THAT(ProcessTree::ancestors(102, fake.table()), IsEmpty());
  EXPECT_EQ(pidsOf(ProcessTree::ancestors(103, fake.table())), consecutive(103, 1));
}

TEST(ProcessTree, AnEmptyNameGivesWayToTheLongOne) {
  FakeProcesses fake = chainOf({"", "short", ""});
  fake.processes[100].longName = "a long name";
  fake.processes[101].longName = "not this one";
  const auto nodes = ProcessTree::ancestors(100, fake.table());
  ASSERT_EQ(nodes.size(), 3U);
  EXPECT_EQ(nodes[0].name, "a long name");
  EXPECT_EQ(nodes[1].name, "short");
  EXPECT_EQ(nodes[2].name, std::nullopt);
  EXPECT_EQ(fake.countOf("longName"), 2U);
}

TEST(ProcessTree, AnApplicationHasItsBundleAndMayBeRegular) {
  FakeProcesses fake = chainOf({"a", "b", "c", "d"});
  fake.processes[101].application = Application{.bundleId = "com.example.editor", .isRegular = true};
  fake.processes[102].application = Application{.bundleId = "com.example.agent", .isRegular = false};
  fake.processes[103].application = Application{.bundleId = {}, .isRegular = true};
  EXPECT_THAT(
      ProcessTree::ancestors(100, fake.table()),
      ElementsAre(
          ProcessNode{.pid = 100, .name = "a", .bundleId = {}, .isRegularApp = false},
          ProcessNode{.pid = 101, .name = "b", .bundleId = "com.example.editor", .isRegularApp = true},
          ProcessNode{.pid = 102, .name = "c", .bundleId = "com.example.agent", .isRegularApp = false},
          ProcessNode{.pid = 103, .name = "d", .bundleId = {}, .isRegularApp = true}));
  EXPECT_EQ(fake.countOf("application"), 4U);
}

TEST(ProcessTree, AWalkToAgentsEndsAtTheFirstOfThem) {
  FakeProcesses fake = chainOf({"sh", "claude", "claude", "Terminal"});
  EXPECT_EQ(pidsOf(ProcessTree::ancestorsUpTo(Names{"other", "claude"}, 100, fake.table())),
            consecutive(100, 2));
  EXPECT_THAT(fake.asked, ElementsAre("record 100", "record 101"));
}

TEST(ProcessTree, AWalkToAgentsMayEndAtTheProcessItself) {
  FakeProcesses fake = chainOf({"claude", "zsh"});
  EXPECT_EQ(pidsOf(ProcessTree::ancestorsUpTo(Names{"claude"}, 100, fake.table())), consecutive(100, 1));
  EXPECT_THAT(fake.asked, ElementsAre("record 100"));
}

TEST(ProcessTree, AWalkToAgentsThatAreNotThereGoesAllTheWay) {
  FakeProcesses fake = chainOf({"sh", "", "", "Terminal"});
  fake.processes[101].longName = "claude code";
  EXPECT_EQ(pidsOf(ProcessTree::ancestorsUpTo(Names{"claude", ""}, 100, fake.table())), consecutive(100, 4));
  EXPECT_EQ(pidsOf(ProcessTree::ancestorsUpTo({}, 100, fake.table())), consecutive(100, 4));
}

TEST(ProcessTree, AWalkToAgentsKnowsThemByTheirLongNamesToo) {
  FakeProcesses fake = chainOf({"sh", "", "Terminal"});
  fake.processes[101].longName = "claude";
  const auto nodes = ProcessTree::ancestorsUpTo(Names{"claude"}, 100, fake.table());
  EXPECT_EQ(pidsOf(nodes), consecutive(100, 2));
  EXPECT_EQ(nodes.back().name, "claude");
}

TEST(ProcessTree, AWalkToAgentsNeverAsksForApplications) {
  FakeProcesses fake = chainOf({"sh", "claude", "Terminal"});
  for (auto& [pid, process] : fake.processes)
    process.application = Application{.bundleId = "b", .isRegular = true};
  for (const char* const name : {"claude", "none"}) {
    for (const ProcessNode& node : ProcessTree::ancestorsUpTo(Names{name}, 100, fake.table())) {
      EXPECT_EQ(node.bundleId, std::nullopt);
      EXPECT_FALSE(node.isRegularApp);
    }
  }
  EXPECT_EQ(fake.countOf("application"), 0U);
  EXPECT_EQ(fake.countOf("terminal"), 0U);
}

TEST(ProcessTree, AnExecutableIsAskedForOnlyWhereANameIsNeitherAShellsNorAnAgents) {
  FakeProcesses fake = chainOf({"sh", "MainThread", "tokio", "claude", "other"});
  for (auto& [pid, process] : fake.processes) process.executable = "x";
  const auto nodes = ProcessTree::ancestorsWithAgent(Names{"claude"}, 100, fake.tableOfThreads());
  EXPECT_EQ(pidsOf(nodes), consecutive(100, 5));
  EXPECT_THAT(fake.asked, ElementsAre("record 100", "record 101", "executable 101", "record 102",
                                      "executable 102", "record 103", "record 104"));
}

TEST(ProcessTree, AWalkToAgentsEndsAtAnExecutableOfThatName) {
  FakeProcesses fake = chainOf({"sh", "MainThread", "node"});
  fake.processes[100].executable = "node";
  fake.processes[101].executable = "node";
  const auto nodes = ProcessTree::ancestorsUpTo(Names{"copilot", "node"}, 100, fake.tableOfThreads());
  EXPECT_EQ(pidsOf(nodes), consecutive(100, 2));
  EXPECT_EQ(HostResolver::pickAgent(nodes, Names{"copilot", "node"}), nodes.back());
  EXPECT_EQ(fake.countOf("executable"), 1U) << "a shell is a shell, whatever runs it";
}

TEST(ProcessTree, WithoutAnExecutableAProcessGoesByItsNameAlone) {
  FakeProcesses fake = chainOf({"MainThread", "node"});
  const auto nodes = ProcessTree::ancestorsUpTo(Names{"node"}, 100, fake.tableOfThreads());
  EXPECT_EQ(HostResolver::pickAgent(nodes, Names{"node"}).value().pid, 101);
}

TEST(ProcessTree, BothWalksLeadToTheSameAgent) {
  // All chains of up to four of these names, for each agent.
  const std::vector<std::string> alphabet = {"sh", "claude", "node", "x", ""};
  int count = 0;
  std::vector<std::vector<std::string>> chains = {{}};
  for (std::size_t length = 0; length <= 4; ++length) {
    std::vector<std::vector<std::string>> longer;
    for (const std::vector<std::string>& names : chains) {
      for (const AgentDefinition& definition : AgentDefinition::all) {
        FakeProcesses fake = chainOf(names);
        const auto whole = ProcessTree::ancestors(100, fake.table());
        const auto part = ProcessTree::ancestorsUpTo(definition.processNames, 100, fake.table());
        const auto agent = HostResolver::pickAgent(whole, definition.processNames);
        const auto found = HostResolver::pickAgent(part, definition.processNames);
        EXPECT_EQ(agent ? agent->pid : 0, found ? found->pid : 0);
        ++count;
      }
      for (const std::string& name : alphabet) {
        longer.push_back(names);
        longer.back().push_back(name);
      }
    }
    chains = std::move(longer);
  }
  EXPECT_EQ(count, 5 * (1 + 5 + 25 + 125 + 625));
}

TEST(ProcessTree, AProcessThatCanBeLookedUpHasAParent) {
  FakeProcesses fake = chainOf({"a", "b"});
  EXPECT_EQ(ProcessTree::parent(100, fake.table()), 101);
  EXPECT_EQ(ProcessTree::parent(101, fake.table()), 1);
  EXPECT_EQ(ProcessTree::parent(1, fake.table()), 0);
  EXPECT_EQ(ProcessTree::parent(7, fake.table()), std::nullopt);
}

TEST(ProcessTree, TheNameIsTheShortOneOrElseTheLongOne) {
  FakeProcesses fake = chainOf({"short", "", ""});
  fake.processes[100].longName = "long";
  fake.processes[101].longName = "long";
  EXPECT_EQ(ProcessTree::name(100, fake.table()), "short");
  EXPECT_EQ(ProcessTree::name(101, fake.table()), "long");
  EXPECT_EQ(ProcessTree::name(102, fake.table()), std::nullopt);
  EXPECT_EQ(ProcessTree::name(7, fake.table()), std::nullopt);
}

TEST(ProcessTree, AProcessWithoutARecordMayStillHaveALongName) {
  ProcessTable table;
  table.record = [](std::int32_t) { return std::nullopt; };
  table.longName = [](std::int32_t pid) { return std::optional("process " + std::to_string(pid)); };
  EXPECT_EQ(ProcessTree::name(7, table), "process 7");
  EXPECT_THAT(ProcessTree::ancestors(7, table), IsEmpty());
}

TEST(ProcessTree, TheTerminalIsTheTablesAnswer) {
  FakeProcesses fake = chainOf({"a", "b"});
  fake.processes[101].terminal = "/dev/ttys004";
  EXPECT_EQ(ProcessTree::tty(100, fake.table()), std::nullopt);
  EXPECT_EQ(ProcessTree::tty(101, fake.table()), "/dev/ttys004");
  EXPECT_EQ(ProcessTree::tty(7, fake.table()), std::nullopt);
}

struct ObservedChain {
  Agent agent;
  std::vector<std::string> names;  // the hook's parent first
  std::int32_t agentPid;           // 0 for none
};

TEST(ProcessTree, InTheChainsThatAgentsReallyMakeTheAgentIsFound) {
  // As met under each agent on Linux: through shells, launchers, terminal multiplexers, daemons, and
  // orphaned.
  const std::vector<ObservedChain> chains = {
      {Agent::claude, {"sh", "claude", "bash"}, 101},
      {Agent::claude, {"sh", "claude", "tmux: server"}, 101},
      {Agent::claude, {"claude", "timeout", "bash"}, 100},
      {Agent::codex, {"codex", "python3"}, 100},
      {Agent::codex, {"codex", "node", "launch.sh", "python3"}, 100},
      {Agent::codex, {"codex", "tmux: server"}, 100},
      {Agent::codex, {"codex", "codex", "tmux: server"}, 100},
      {Agent::codex, {"codex", "sh"}, 100},
      {Agent::copilot, {"MainThread", "node", "bash"}, 101},
      {Agent::copilot, {"MainThread"}, 100},
      {Agent::copilot, {}, 0},
      {Agent::gemini, {"node", "node", "bash"}, 100},
      {Agent::gemini, {"node"}, 100},
      {Agent::grok, {"sh", "grok", "bash"}, 101},
      {Agent::grok, {"sh", "grok"}, 101},
  };
  int count = 0;
  for (const ObservedChain& chain : chains) {
    SCOPED_TRACE(std::string(rawValue(chain.agent)) + " " + std::to_string(count));
    FakeProcesses fake = chainOf(chain.names);
    const auto& names = AgentDefinition::definition(chain.agent).processNames;
    const std::int32_t hooksParent = chain.names.empty() ? 1 : 100;
    for (const auto& nodes : {ProcessTree::ancestors(hooksParent, fake.table()),
                              ProcessTree::ancestorsUpTo(names, hooksParent, fake.table())}) {
      const auto agent = HostResolver::pickAgent(nodes, names);
      EXPECT_EQ(agent ? agent->pid : 0, chain.agentPid);
    }
    ++count;
  }
  EXPECT_EQ(count, 15);
}

}  // namespace
}  // namespace tavrin
