#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "TavrinCore/Servers/LocalServer.hpp"
#include "TavrinCore/Servers/PortScan.hpp"
#include "TavrinCore/Servers/ServerFilter.hpp"
#include "TavrinCore/Servers/ServerIdentity.hpp"
#include "TavrinCore/Servers/ServerPortRoles.hpp"
#include "tests/support/RecordedServers.hpp"

// What scripts/record-servers.py recorded of real servers, read as the panel reads it.

namespace tavrin {
namespace {

using ::testing::ElementsAre;

// What a person would say of the server.
struct Known {
  std::string name;      // of the row
  std::size_t ports;     // that lsof lists
  std::size_t ownPorts;  // of these, the ones that the arguments do not give to a debugger
  bool probe = false;    // one of its own ports is a debugger's, but the arguments do not show which
  const char* host = "127.0.0.1";
};

const std::map<std::string, Known> known = {
    {"python", {"Python http.server", 1, 1}},
    {"python on all addresses", {"Python http.server", 1, 1, false, "localhost"}},
    {"python on ::1", {"Python http.server", 1, 1, false, "::1"}},
    {"django", {"Django", 1, 1}},
    {"node", {"server.js", 1, 1}},
    {"node with an inspector", {"server.js", 2, 1}},
    {"node with an inspector somewhere", {"server.js", 2, 2, true}},
    {"node with three ports", {"three.js", 3, 3}},
    {"php", {"PHP", 1, 1}},
    {"nginx", {"nginx", 1, 1}},
    {"caddy", {"Caddy", 1, 1}},
    {"ruby", {"server.rb", 1, 1}},
    {"puma", {"Rails", 1, 1}},
    {"vite", {"Vite", 1, 1}},
    {"http-server", {"http-server", 1, 1}},
    // It is started as "workerd serve", and that word gives the name.
    {"workerd", {"serve", 2, 1}},
};

TEST(RecordedServers, LsofsProcessesAreTheOnesThatWereStarted) {
  const std::vector<PortScan::ProcessListener> scanned =
      PortScan::byProcess(PortScan::dedupe(test::recordedListeners()));
  const std::vector<test::RecordedServer> processes = test::recordedServers();
  ASSERT_EQ(scanned.size(), processes.size());
  ASSERT_GE(processes.size(), known.size());
  for (const test::RecordedServer& process : processes) {
    const auto found = std::ranges::find(scanned, process.pid, &PortScan::ProcessListener::pid);
    ASSERT_NE(found, scanned.end()) << process.server;
    EXPECT_EQ(found->command, process.command) << process.server;
    EXPECT_EQ(found->ports.size(), known.at(process.server).ports) << process.server;
  }
}

TEST(RecordedServers, EveryServerHasTheNameThatAPersonWouldGiveIt) {
  std::map<std::string, int> seen;
  for (const test::RecordedServer& process : test::recordedServers()) {
    LocalServer server;
    server.command = process.command;
    server.framework = ServerIdentity::name(process.command, process.arguments);
    server.script = ServerIdentity::script(process.arguments);
    EXPECT_EQ(server.displayName(), known.at(process.server).name) << process.server;
    ++seen[process.server];
  }
  EXPECT_EQ(seen.size(), known.size());
}

TEST(RecordedServers, DebuggersPortsAreDistinguishedFromTheServers) {
  const std::vector<PortScan::ProcessListener> scanned = PortScan::byProcess(test::recordedListeners());
  for (const test::RecordedServer& process : test::recordedServers()) {
    const auto found = std::ranges::find(scanned, process.pid, &PortScan::ProcessListener::pid);
    ASSERT_NE(found, scanned.end()) << process.server;
    const std::set<int> inspectors = ServerPortRoles::inspectorPorts(process.command, process.arguments);
    std::vector<int> own = found->ports;
    std::erase_if(own, [&](int port) { return inspectors.contains(port); });
    const Known& expected = known.at(process.server);
    EXPECT_EQ(own.size(), expected.ownPorts) << process.server;
    EXPECT_EQ(ServerPortRoles::needsNodeInspectorProbe(process.command, process.arguments), expected.probe)
        << process.server;
  }
}

TEST(RecordedServers, WorkerdShowsWhereItOffersItsService) {
  for (const test::RecordedServer& process : test::recordedServers()) {
    const std::optional<ServerPortRoles::Bridge> bridge =
        ServerPortRoles::loopbackBridge(process.command, process.arguments);
    ASSERT_EQ(bridge.has_value(), process.server == "workerd") << process.server;
    EXPECT_EQ(bridge ? bridge->host : "127.0.0.1", "127.0.0.1");
  }
}

TEST(RecordedServers, HostsAreTheAddressesThatWereAskedFor) {
  std::map<std::int32_t, std::string> servers;
  for (const test::RecordedServer& process : test::recordedServers()) servers[process.pid] = process.server;
  for (const PortScan::Listener& listener : test::recordedListeners()) {
    EXPECT_EQ(listener.host, known.at(servers.at(listener.pid)).host) << servers.at(listener.pid);
  }
}

TEST(RecordedServers, OnlyWhatLiesInASystemFolderIsNoise) {
  for (const test::RecordedServer& process : test::recordedServers()) {
    EXPECT_EQ(ServerFilter::isNoise(process.executable), process.executable == "/usr/sbin/nginx")
        << process.server;
    EXPECT_FALSE(ServerFilter::isDocker(process.command, process.executable)) << process.server;
  }
}

// On macOS lsof prints two more lines: a process's group and each socket's descriptor.
TEST(RecordedServers, TheFieldsOfOtherSystemsAreReadTheSame) {
  EXPECT_THAT(PortScan::byProcess(PortScan::parse("p612\ncrapportd\nf8\nn*:49152\nf9\nn*:49152\n"
                                                  "p9041\ncnode\nf23\nn[::1]:5173\nf24\nn127.0.0.1:24678\n")),
              ElementsAre(PortScan::ProcessListener{.pid = 612, .command = "rapportd", .ports = {49152}},
                          PortScan::ProcessListener{.pid = 9041, .command = "node", .ports = {5173, 24678}}));
}

}  // namespace
}  // namespace tavrin
