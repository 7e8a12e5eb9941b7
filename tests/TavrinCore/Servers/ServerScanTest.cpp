#include "TavrinCore/Servers/ServerScan.hpp"
#include "tests/support/RecordedServers.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <string>

namespace tavrin {
namespace {

using PortScan::Listener;
using ::testing::ElementsAre;
using ::testing::Field;
using ::testing::IsEmpty;

const Date now = dateFromSeconds(1'790'000'000);

// Repositories at these roots, each with ".git" as a directory. Counts the questions.
struct FakeDisk {
  std::vector<std::string> roots;
  int asked = 0;

  RepoLabel::Probes probes() {
    const auto hasGit = [this](const std::string& path) {
      ++asked;
      for (const std::string& root : roots) {
        if (path == root + "/.git") return true;
      }
      return false;
    };
    return {.exists = hasGit,
            .isDirectory = hasGit,
            .contents = [](const std::string&) { return std::nullopt; },
            .currentDirectory = [] { return std::string("/shop"); }};
  }
};

// The known facts about one process.
struct Facts {
  std::string executable;
  std::string cwd;
  std::vector<std::string> arguments;
  Date startedAt;
};

struct Machine {
  std::map<std::int32_t, Facts> processes;
  FakeDisk disk = {.roots = {"/shop", "/docs"}};
  std::map<std::int32_t, int> asked;

  const Facts* find(std::int32_t pid) const {
    const auto found = processes.find(pid);
    return found == processes.end() ? nullptr : &found->second;
  }

  std::vector<LocalServer> servers(const std::vector<Listener>& listeners) {
    ProcessFacts facts;
    facts.process = [this](std::int32_t pid) -> std::optional<ProcessFact> {
      ++asked[pid];
      const Facts* const known = find(pid);
      if (known == nullptr) return std::nullopt;
      return ProcessFact{.parent = 1, .name = "", .startedAt = known->startedAt, .terminal = {}};
    };
    facts.executable = [this](std::int32_t pid) {
      return find(pid) == nullptr ? std::nullopt : std::optional(find(pid)->executable);
    };
    facts.folder = [this](std::int32_t pid) {
      return find(pid) == nullptr ? std::nullopt : std::optional(find(pid)->cwd);
    };
    facts.arguments = [this](std::int32_t pid) {
      return find(pid) == nullptr ? std::vector<std::string>() : find(pid)->arguments;
    };
    return ServerScan::servers(listeners, facts, now, disk.probes());
  }
};

Listener listener(std::int32_t pid, int port, std::string host = "127.0.0.1", std::string command = "node") {
  return {.pid = pid, .command = std::move(command), .port = port, .host = std::move(host)};
}

Facts facts(std::vector<std::string> arguments, std::string cwd = "/shop/web") {
  return {.executable = "/usr/bin/node",
          .cwd = std::move(cwd),
          .arguments = std::move(arguments),
          .startedAt = now - std::chrono::seconds(90)};
}

TEST(ServerScan, AListenerAndItsFactsMakeAServer) {
  Machine machine;
  machine.processes[7] = facts({"node", "node_modules/.bin/vite", "dev.ts"});
  LocalServer server;
  server.pid = 7;
  server.ports = {5173, 24678};
  server.command = "node";
  server.cwd = "/shop/web";
  server.host = "::1";
  server.repo = {.root = "/shop", .worktree = {}};
  server.framework = "Vite";
  server.script = "dev.ts";
  server.startedAt = now - std::chrono::seconds(90);
  EXPECT_THAT(machine.servers({listener(7, 24678), listener(7, 5173, "localhost"), listener(7, 5173, "::1")}),
              ElementsAre(server));
}

TEST(ServerScan, WithoutListenersItLooksNothingUp) {
  Machine machine;
  EXPECT_THAT(machine.servers({}), IsEmpty());
  EXPECT_THAT(machine.servers({listener(0, 80), listener(5, 0)}), IsEmpty());
  EXPECT_THAT(machine.asked, IsEmpty());
}

TEST(ServerScan, SystemProcessesAndApplicationsAreLeftOut) {
  Machine machine;
  machine.processes[1] = facts({});
  machine.processes[1].executable = "/usr/libexec/rapportd";
  machine.processes[2] = facts({});
  machine.processes[2].executable = "/Applications/Music.app/Contents/MacOS/Music";
  machine.processes[3] = facts({});
  EXPECT_THAT(machine.servers({listener(1, 1), listener(2, 2), listener(3, 3)}),
              ElementsAre(Field(&LocalServer::pid, 3)));
}

TEST(ServerScan, ADebuggersPortIsNotTheServers) {
  Machine machine;
  machine.processes[7] = facts({"node", "--inspect", "server.js"});
  const std::vector<LocalServer> servers =
      machine.servers({listener(7, 3000, "localhost"), listener(7, 9229)});
  ASSERT_EQ(servers.size(), 1U);
  EXPECT_EQ(servers[0].ports, PortList{3000});
  EXPECT_FALSE(servers[0].needsNodeInspectorProbe);
  EXPECT_THAT(machine.servers({listener(7, 9229)}), IsEmpty());

  machine.processes[7] = facts({"node", "--inspect=0", "server.js"});
  const std::vector<LocalServer> probed = machine.servers({listener(7, 3000), listener(7, 40'000)});
  ASSERT_EQ(probed.size(), 1U);
  EXPECT_EQ(probed[0].ports, (PortList{3000, 40'000}));
  EXPECT_TRUE(probed[0].needsNodeInspectorProbe);
}

// The debugger's port is the lower one here, and listens at another address.
TEST(ServerScan, TheHostIsThatOfTheFirstPortThatRemains) {
  Machine machine;
  machine.processes[7] = facts({"node", "--inspect=2000", "server.js"});
  const std::vector<LocalServer> servers = machine.servers(
      {listener(7, 2000, "127.0.0.1"), listener(7, 3000, "::1"), listener(7, 4000, "10.0.0.1")});
  ASSERT_EQ(servers.size(), 1U);
  EXPECT_EQ(servers[0].host, "::1");
  EXPECT_EQ(servers[0].url(), "http://[::1]:3000");
}

TEST(ServerScan, DockersProcessesAreMarked) {
  Machine machine;
  machine.processes[7] = facts({});
  machine.processes[7].executable = "/Applications/Docker.app/Contents/MacOS/com.docker.backend";
  const std::vector<LocalServer> servers = machine.servers(
      {listener(7, 5432, "localhost", "com.docke"), listener(8, 80, "localhost", "docker-proxy")});
  ASSERT_EQ(servers.size(), 2U);
  EXPECT_TRUE(servers[0].isDocker);
  EXPECT_TRUE(servers[1].isDocker);
  EXPECT_FALSE(servers[0].isStoppable());
}

TEST(ServerScan, AProcessWithoutFactsKeepsItsCommandAndPorts) {
  Machine machine;
  const std::vector<LocalServer> servers = machine.servers({listener(7, 80, "localhost", "caddy")});
  ASSERT_EQ(servers.size(), 1U);
  EXPECT_EQ(servers[0].displayName(), "Caddy");
  EXPECT_EQ(servers[0].repo, RepoLabel{});
  EXPECT_FALSE(servers[0].isStoppable());
  EXPECT_EQ(machine.disk.asked, 0) << "looked for a repository without a folder";
}

TEST(ServerScan, AFolderOutsideARepositoryTakesItsPlace) {
  Machine machine;
  machine.processes[7] = facts({}, "/tmp/x");
  machine.processes[8] = facts({}, "web");
  const std::vector<LocalServer> servers = machine.servers({listener(7, 80), listener(8, 81)});
  ASSERT_EQ(servers.size(), 2U);
  EXPECT_EQ(servers[0].repo, (RepoLabel{.root = "/tmp/x", .worktree = {}}));
  EXPECT_EQ(servers[1].repo, (RepoLabel{.root = "web", .worktree = {}}));
}

TEST(ServerScan, EachProcessAndEachFolderIsLookedUpOnce) {
  Machine machine;
  std::vector<Listener> listeners;
  for (int pid = 1; pid <= 50; ++pid) {
    machine.processes[pid] = facts({}, "/shop");
    listeners.push_back(listener(pid, 3000 + pid));
    listeners.push_back(listener(pid, 4000 + pid));
  }
  EXPECT_EQ(machine.servers(listeners).size(), 50U);
  EXPECT_EQ(machine.asked.size(), 50U);
  for (const auto& [pid, count] : machine.asked) EXPECT_EQ(count, 1) << pid;
  EXPECT_EQ(machine.disk.asked, 2) << "whether .git is there, and whether it is a directory";
}

TEST(ServerScan, AStartAfterTheListingIsNotTheServers) {
  const auto startOf = [](Date start) {
    Machine machine;
    machine.processes[7] = facts({});
    machine.processes[7].startedAt = start;
    return machine.servers({listener(7, 80)}).at(0).startedAt;
  };
  EXPECT_EQ(startOf(now), now);
  EXPECT_EQ(startOf(now + std::chrono::seconds(2)), now + std::chrono::seconds(2));
  EXPECT_EQ(startOf(now + std::chrono::milliseconds(2'001)), std::nullopt);
  EXPECT_EQ(startOf(dateFromSeconds(std::nan(""))), std::nullopt);
}

TEST(ServerScan, RecordedServersComeOutAsAPersonWouldListThem) {
  FakeDisk disk;
  std::map<std::string, std::size_t> portsByName;
  for (const LocalServer& server :
       ServerScan::servers(test::recordedListeners(), test::recordedProcessFacts(now), now, disk.probes())) {
    portsByName[server.displayName()] += server.ports.size();
  }
  // nginx is installed in a system folder.
  const std::map<std::string, std::size_t> expected = {
      {"Caddy", 1},     {"Django", 1},    {"PHP", 1},         {"Python http.server", 3},
      {"Rails", 1},     {"Vite", 1},      {"http-server", 1}, {"serve", 1},
      {"server.js", 4}, {"server.rb", 1}, {"three.js", 3}};
  EXPECT_EQ(portsByName, expected);
}

}  // namespace
}  // namespace tavrin
