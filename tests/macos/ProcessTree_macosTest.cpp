// The process table of macOS over a made-up kernel and runtime.
#include "TavrinCore/Context/ProcessTree_macos.hpp"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <limits>
#include <new>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "TavrinCore/Agents/AgentDefinition.hpp"
#include "TavrinCore/Context/HostResolver.hpp"
#include "tests/macos/FakeMac.hpp"

namespace tavrin {
namespace {

using test::FakeMac;
using testing::AnyOf;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using Application = FakeMac::Application;

constexpr std::int32_t shell = 300;
constexpr std::int32_t agent = 200;
constexpr std::int32_t loginShell = 150;
constexpr std::int32_t login = 120;
constexpr std::int32_t terminal = 100;
constexpr std::uint32_t ttys004 = 0x10000004;

// An agent in a window of Terminal, as macOS starts one. login(1) belongs to the superuser.
class ProcessTableOfMacos : public ::testing::Test {
 protected:
  ProcessTableOfMacos() {
    mac.processes[shell] = {.parent = agent, .name = "sh", .terminal = ttys004};
    mac.processes[agent] = {.parent = loginShell, .name = "claude", .terminal = ttys004};
    mac.processes[loginShell] = {.parent = login, .name = "zsh", .terminal = ttys004};
    mac.processes[login] = {
        .parent = terminal, .name = "login", .terminal = ttys004, .isOfAnotherUser = true};
    mac.processes[terminal] = {
        .parent = 1, .name = "Terminal", .application = Application{.bundleId = "com.apple.Terminal"}};
    mac.processes[1] = {.parent = 0, .name = "launchd", .isOfAnotherUser = true};
    mac.processes[0] = {.parent = 0, .name = "kernel_task", .isOfAnotherUser = true};
    mac.devices[ttys004] = "ttys004";
  }

  ProcessTable table() { return processTableOf(mac.calls()); }
  std::vector<ProcessNode> chain() { return ProcessTree::ancestors(shell, table()); }
  std::optional<ProcessTable::Application> application() { return table().application(terminal); }

  void expectPoolsDrained(int count) const {
    EXPECT_EQ(mac.poolsMade, count);
    EXPECT_EQ(mac.poolsDrained, count);
  }

  FakeMac mac;
};

std::vector<std::int32_t> pidsOf(const std::vector<ProcessNode>& nodes) {
  std::vector<std::int32_t> pids;
  pids.reserve(nodes.size());
  for (const ProcessNode& node : nodes) pids.push_back(node.pid);
  return pids;
}

TEST_F(ProcessTableOfMacos, TheChainGoesFromTheShellToTheTerminalsApplication) {
  const auto plain = [](std::int32_t pid, const char* name) {
    return ProcessNode{.pid = pid, .name = name, .bundleId = {}, .isRegularApp = false};
  };
  const std::vector<ProcessNode> nodes = chain();
  EXPECT_THAT(
      nodes,
      ElementsAre(
          plain(shell, "sh"), plain(agent, "claude"), plain(loginShell, "zsh"), plain(login, "login"),
          ProcessNode{
              .pid = terminal, .name = "Terminal", .bundleId = "com.apple.Terminal", .isRegularApp = true}));
  EXPECT_EQ(HostResolver::pickAgent(nodes, AgentDefinition::claude.processNames).value().pid, agent);
  EXPECT_EQ(HostResolver::pickHost(nodes).value().pid, terminal);
  EXPECT_EQ(ProcessTree::tty(agent, table()), "/dev/ttys004");
}

// The native installation starts a file named after its version, and the npm package one named "claude.exe".
// The kernel reports these names, and no name that a process gives itself.
TEST_F(ProcessTableOfMacos, ClaudeIsFoundByTheNameOfItsFileToo) {
  for (const char* const name : {"2.1.112", "claude.exe"}) {
    mac.processes[agent].name = name;
    const auto& names = AgentDefinition::processNamesOf(Agent::claude);
    for (const std::vector<ProcessNode>& nodes : {chain(), ProcessTree::ancestorsUpTo(names, shell, table()),
                                                  ProcessTree::ancestorsWithAgent(names, shell, table()),
                                                  ProcessTree::ancestorsUpTo(names, agent, table())}) {
      const std::optional<ProcessNode> found = HostResolver::pickAgent(nodes, names);
      ASSERT_TRUE(found.has_value()) << name;
      EXPECT_EQ(found->pid, agent) << name;
      EXPECT_EQ(found->name, name);
    }
    EXPECT_EQ(HostResolver::pickHost(chain()).value().pid, terminal);
  }
}

TEST_F(ProcessTableOfMacos, TheFirstProcessAndTheKernelAreNotAskedFor) {
  for (const std::int32_t parent : {1, 0}) {
    mac.processes[terminal].parent = parent;
    EXPECT_EQ(chain().back().pid, terminal);
  }
  EXPECT_THAT(ProcessTree::ancestors(0, table()), IsEmpty());
  EXPECT_THAT(ProcessTree::ancestors(1, table()), IsEmpty());
  EXPECT_EQ(mac.countOf("sysctl"), 10U);
  EXPECT_THAT(mac.lookUps, Not(AnyOf(Contains("sysctl 1"), Contains("sysctl 0"))));
}

TEST_F(ProcessTableOfMacos, AProcessThatHasEndedEndsTheChain) {
  mac.processes.erase(login);
  EXPECT_EQ(pidsOf(chain()), (std::vector{shell, agent, loginShell}));
  EXPECT_EQ(ProcessTree::parent(login, table()), std::nullopt);
  EXPECT_EQ(ProcessTree::name(login, table()), std::nullopt);
  EXPECT_EQ(ProcessTree::tty(login, table()), std::nullopt);
  EXPECT_FALSE(table().application(login).has_value());
}

TEST_F(ProcessTableOfMacos, ARecordOfAnyLengthExceptZeroCounts) {
  mac.processes[login].recordSize = 1;
  EXPECT_EQ(chain().size(), 5U);
  mac.processes[login].recordSize = 0;
  EXPECT_EQ(pidsOf(chain()), (std::vector{shell, agent, loginShell}));
}

TEST_F(ProcessTableOfMacos, ASystemThatReportsNothingHasNoChain) {
  MacCalls calls = mac.calls();
  calls.sysctl = [](int*, unsigned, void*, std::size_t*, void*, std::size_t) { return -1; };
  const ProcessTable silent = processTableOf(calls);
  EXPECT_THAT(ProcessTree::ancestors(shell, silent), IsEmpty());
  EXPECT_EQ(ProcessTree::parent(shell, silent), std::nullopt);
}

// At each step of the walk, each process may end.
TEST_F(ProcessTableOfMacos, AProcessThatEndsDuringTheWalkEndsTheChainThere) {
  const std::vector<std::int32_t> whole = pidsOf(chain());
  const std::vector<std::string> steps = mac.lookUps;
  const auto processes = mac.processes;
  int count = 0;
  for (std::size_t step = 0; step < steps.size(); ++step) {
    for (const std::int32_t victim : whole) {
      SCOPED_TRACE(steps[step] + " finds that " + std::to_string(victim) + " has ended");
      mac.processes = processes;
      mac.lookUps.clear();
      mac.before = [&](const std::string&) {
        if (mac.lookUps.size() == step + 1) mac.processes.erase(victim);
      };
      const std::vector<ProcessNode> nodes = chain();
      // A process that was looked up before it ended is in the chain.
      const auto place = std::ranges::find(whole, victim);
      const auto wasSeen = std::ranges::find(steps, "sysctl " + std::to_string(victim)) <
                           steps.begin() + static_cast<std::ptrdiff_t>(step);
      EXPECT_EQ(pidsOf(nodes), wasSeen ? whole : std::vector(whole.begin(), place));
      EXPECT_EQ(mac.poolsMade, mac.poolsDrained);
      ++count;
    }
  }
  EXPECT_EQ(count, 15 * 5);
}

// Between two look-ups a parent may end and another process take its number. The walk then follows the new
// process, and still ends.
TEST_F(ProcessTableOfMacos, ANumberThatIsGivenAwayAgainLeadsNoFurtherThanTheLimit) {
  mac.before = [this](const std::string& lookUp) {
    if (lookUp == "sysctl 150") mac.processes[loginShell] = {.parent = shell, .name = "reused"};
  };
  const std::vector<ProcessNode> nodes = chain();
  ASSERT_EQ(nodes.size(), 32U);
  EXPECT_EQ(nodes[2].name, "reused");
  EXPECT_EQ(nodes[3].pid, shell);
  mac.processes[agent].parent = agent;
  EXPECT_EQ(chain().size(), 32U);
  expectPoolsDrained(64);
}

TEST_F(ProcessTableOfMacos, ANameIsAsLongAsTheKernelKeepsIt) {
  struct Case {
    std::string name;
    std::size_t kept;
    std::string told;
  };
  const std::vector<Case> cases = {
      {"a", 16, "a"},
      {"fifteen letters", 16, "fifteen letters"},
      {"sixteen letters.", 16, "sixteen letters."},
      {"com.apple.WebKit.WebContent", 16, "com.apple.WebKit"},
      {"without a final zero byte", 17, "without a final z"},
      {"name with blanks", 16, "name with blanks"},
      {std::string("a\0b", 3), 16, "a"},
      {"15 bytes and \u00e4\u00e4", 16, "15 bytes and \u00e4\xc3"},
  };
  for (const Case& each : cases) {
    mac.processes[agent].name = each.name;
    mac.processes[agent].longName = "not asked for";
    mac.longestName = each.kept;
    EXPECT_EQ(ProcessTree::name(agent, table()), each.told);
    EXPECT_EQ(chain()[1].name, each.told);
  }
  EXPECT_EQ(mac.countOf("proc_name"), 0U);
}

TEST_F(ProcessTableOfMacos, AnEmptyNameGivesWayToTheLongOne) {
  mac.processes[agent].name = "";
  for (const std::string& longName : {std::string("c"), std::string("claude"), std::string(31, 'x'),
                                      std::string(1023, 'x'), std::string(1024, 'x')}) {
    mac.processes[agent].longName = longName;
    EXPECT_EQ(ProcessTree::name(agent, table()), longName);
    EXPECT_EQ(chain()[1].name, longName);
  }
}

TEST_F(ProcessTableOfMacos, AProcessWithoutAnyNameStaysInTheChain) {
  mac.processes[agent].name = "";
  EXPECT_EQ(ProcessTree::name(agent, table()), std::nullopt);
  const std::vector<ProcessNode> nodes = chain();
  ASSERT_EQ(nodes.size(), 5U);
  EXPECT_EQ(nodes[1].name, std::nullopt);
}

TEST_F(ProcessTableOfMacos, AnotherUsersProcessShowsOnlyItsParentAndShortName) {
  EXPECT_EQ(ProcessTree::parent(login, table()), terminal);
  EXPECT_EQ(ProcessTree::name(login, table()), "login");
  EXPECT_EQ(ProcessTree::tty(login, table()), std::nullopt);
  mac.processes[login].name = "";
  mac.processes[login].longName = "login";
  EXPECT_EQ(ProcessTree::name(login, table()), std::nullopt);
  EXPECT_EQ(chain().back().pid, terminal);
}

TEST_F(ProcessTableOfMacos, TheTerminalIsADeviceWithAName) {
  struct Case {
    std::uint32_t device;
    int size;
    std::optional<std::string> path;
  };
  mac.devices = {
      {ttys004, "ttys004"}, {1, "one"}, {0xfffffffe, "last"}, {0, "none"}, {FakeMac::noDevice, "no"}};
  const std::vector<Case> cases = {
      {ttys004, 136, "/dev/ttys004"},
      {1, 136, "/dev/one"},
      {0xfffffffe, 136, "/dev/last"},
      {0, 136, std::nullopt},
      {FakeMac::noDevice, 136, std::nullopt},
      {ttys004 + 1, 136, std::nullopt},  // without a name
      {ttys004, 135, std::nullopt},
      {ttys004, 137, std::nullopt},
      {ttys004, 64, std::nullopt},
      {ttys004, 1, std::nullopt},
      {ttys004, 0, std::nullopt},
      {ttys004, -1, std::nullopt},
  };
  for (const Case& each : cases) {
    mac.processes[agent].terminal = each.device;
    mac.processes[agent].infoSize = each.size;
    EXPECT_EQ(ProcessTree::tty(agent, table()), each.path) << each.device << " in " << each.size;
  }
}

TEST_F(ProcessTableOfMacos, OnlyARegularApplicationIsOne) {
  for (const auto& [policy, isRegular] :
       std::vector<std::pair<long, bool>>{{FakeMac::regular, true},
                                          {FakeMac::accessory, false},
                                          {FakeMac::prohibited, false},
                                          {std::numeric_limits<long>::max(), false},
                                          {0x100000000L, false},  // whose lower half is that of a regular one
                                          {-1, false}}) {
    mac.processes[terminal].application = Application{.bundleId = "com.example.editor", .policy = policy};
    ASSERT_TRUE(application().has_value()) << policy;
    EXPECT_EQ(application()->isRegular, isRegular) << policy;
    EXPECT_EQ(application()->bundleId, "com.example.editor") << policy;
  }
}

TEST_F(ProcessTableOfMacos, AnApplicationMayHaveNoBundleIdentifier) {
  mac.processes[terminal].application = Application{};
  ASSERT_TRUE(application().has_value());
  EXPECT_EQ(application()->bundleId, std::nullopt);
  EXPECT_TRUE(application()->isRegular);
  expectPoolsDrained(3);
}

TEST_F(ProcessTableOfMacos, ABundleIdentifierIsTakenAsItIs) {
  for (const std::string& bundleId : {std::string(), std::string("com.\u00e4"), std::string(100'000, 'x')}) {
    mac.processes[terminal].application = Application{.bundleId = bundleId};
    EXPECT_EQ(application().value().bundleId, bundleId);
  }
  mac.textsAreMissing = true;
  EXPECT_EQ(application().value().bundleId, std::nullopt);
  expectPoolsDrained(4);
}

TEST_F(ProcessTableOfMacos, MostProcessesAreNotApplications) {
  EXPECT_FALSE(table().application(agent).has_value());
  EXPECT_FALSE(table().application(77).has_value());
  expectPoolsDrained(2);
}

TEST_F(ProcessTableOfMacos, WithoutAppKitThereIsNoApplication) {
  mac.hasAppKit = false;
  EXPECT_FALSE(application().has_value());
  EXPECT_EQ(chain().size(), 5U);
  EXPECT_EQ(HostResolver::pickHost(chain()), std::nullopt);
}

TEST_F(ProcessTableOfMacos, WithoutTheClassThereIsNoApplication) {
  mac.hasRunningApplications = false;
  EXPECT_FALSE(application().has_value());
  EXPECT_EQ(mac.poolsMade, mac.poolsDrained);
}

TEST_F(ProcessTableOfMacos, AMethodThatIsMissingIsNotCalled) {
  mac.missingMethods = {"runningApplicationWithProcessIdentifier:"};
  EXPECT_FALSE(application().has_value());
  mac.missingMethods = {"activationPolicy"};
  EXPECT_EQ(application().value().bundleId, "com.apple.Terminal");
  EXPECT_FALSE(application().value().isRegular);
  for (const char* const name : {"bundleIdentifier", "UTF8String"}) {
    mac.missingMethods = {name};
    EXPECT_EQ(application().value().bundleId, std::nullopt) << name;
    EXPECT_TRUE(application().value().isRegular) << name;
  }
  expectPoolsDrained(7);
}

TEST_F(ProcessTableOfMacos, EachLookUpOfAnApplicationHasItsOwnPool) {
  chain();
  EXPECT_EQ(mac.countOf("application"), 5U);
  expectPoolsDrained(5);
}

TEST_F(ProcessTableOfMacos, AnErrorOnTheWayDrainsThePoolToo) {
  MacCalls calls = mac.calls();
  calls.object = [](id, SEL) -> id { throw std::bad_alloc(); };
  EXPECT_THROW(processTableOf(calls).application(terminal), std::bad_alloc);
  expectPoolsDrained(1);
}

TEST_F(ProcessTableOfMacos, AppKitIsOpenedOnlyForApplications) {
  const ProcessTable processes = table();
  EXPECT_EQ(ProcessTree::ancestorsUpTo(AgentDefinition::claude.processNames, shell, processes).size(), 2U);
  EXPECT_EQ(ProcessTree::ancestorsUpTo({}, shell, processes).size(), 5U);
  EXPECT_EQ(ProcessTree::name(agent, processes), "claude");
  EXPECT_EQ(ProcessTree::parent(agent, processes), loginShell);
  EXPECT_EQ(ProcessTree::tty(agent, processes), "/dev/ttys004");
  EXPECT_EQ(mac.countOf("dlopen"), 0U);
  expectPoolsDrained(0);
  EXPECT_TRUE(processes.application(terminal).has_value());
  EXPECT_EQ(mac.countOf("dlopen"), 1U);
}

// Agents show what a hook prints, and AppKit and the frameworks below it may print warnings.
TEST_F(ProcessTableOfMacos, WhatAppKitPrintsDoesNotReachStandardError) {
  mac.before = [](const std::string& lookUp) {
    ASSERT_EQ(::write(2, lookUp.data(), lookUp.size()), static_cast<ssize_t>(lookUp.size()));
  };
  testing::internal::CaptureStderr();
  EXPECT_TRUE(application().has_value());
  mac.hasAppKit = false;
  EXPECT_FALSE(application().has_value());
  EXPECT_EQ(::write(2, "after", 5), 5);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "after");
  EXPECT_EQ(mac.countOf("dlopen"), 2U);
}

TEST_F(ProcessTableOfMacos, AStandardErrorThatIsClosedIsClosedAfterwardsToo) {
  const int saved = ::dup(2);
  ::close(2);
  const bool isFound = application().has_value();
  const bool isClosed = ::fcntl(2, F_GETFD) == -1;
  ::dup2(saved, 2);
  ::close(saved);
  EXPECT_TRUE(isFound);
  EXPECT_TRUE(isClosed);
}

TEST_F(ProcessTableOfMacos, AppKitIsNotOpenedWhereItCouldPrint) {
  struct rlimit all {};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &all), 0);
  // Room for no further descriptor, and for /dev/null alone.
  const int next = ::dup(0);
  ::close(next);
  for (const int room : {0, 1}) {
    const struct rlimit few = {.rlim_cur = static_cast<rlim_t>(next + room), .rlim_max = all.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &few), 0);
    EXPECT_FALSE(application().has_value()) << room;
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &all), 0);
    EXPECT_EQ(::dup(0), next) << "a descriptor is left open";
    ::close(next);
  }
  EXPECT_EQ(mac.countOf("dlopen"), 0U);
  EXPECT_NE(::fcntl(2, F_GETFD), -1);
}

#ifndef __APPLE__
TEST(ProcessTableOfNoMac, KnowsNothing) {
  const ProcessTable processes = ProcessTable::ofThisSystem();
  EXPECT_THAT(ProcessTree::ancestors(shell, processes), IsEmpty());
  EXPECT_EQ(ProcessTree::name(shell, processes), std::nullopt);
  EXPECT_EQ(ProcessTree::tty(shell, processes), std::nullopt);
  EXPECT_FALSE(processes.application(shell).has_value());
}
#endif

}  // namespace
}  // namespace tavrin
