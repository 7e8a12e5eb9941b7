#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "TavrinCore/Servers/PortScan.hpp"
#include "TavrinCore/Servers/ServerIdentity.hpp"
#include "TavrinCore/Servers/ServerPortRoles.hpp"
#include "tests/support/Scratch.hpp"
#include "tests/support/Subprocess.hpp"

// Starts real servers and looks for them with the real lsof, as the panel does.

namespace tavrin {
namespace {

using Words = std::vector<std::string>;

test::Subprocess::Environment environment(const test::ScratchDirectory& home) {
  const char* const path = std::getenv("PATH");
  return {{"PATH", std::string(path != nullptr ? path : "") + ":/usr/bin:/bin:/usr/sbin"},
          {"HOME", home.string()}};
}

// `env` finds the program and becomes it, so the process id is the program's.
Words found(Words words) {
  words.insert(words.begin(), "/usr/bin/env");
  return words;
}

std::vector<PortScan::Listener> listeners(const test::Subprocess::Environment& environment) {
  return PortScan::parse(
      test::run(found({"lsof", "-nP", "-iTCP", "-sTCP:LISTEN", "-F", "pcn"}), "", environment).output);
}

// What lsof lists of process `pid` once it listens on `ports` ports; nullopt if it never does.
std::optional<PortScan::ProcessListener> listening(pid_t pid, std::size_t ports,
                                                   const test::Subprocess::Environment& environment) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (std::chrono::steady_clock::now() < deadline) {
    const std::vector<PortScan::ProcessListener> processes =
        PortScan::byProcess(PortScan::dedupe(listeners(environment)));
    const auto process = std::ranges::find(processes, pid, &PortScan::ProcessListener::pid);
    if (process != processes.end() && process->ports.size() == ports) return *process;
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  return std::nullopt;
}

TEST(LiveServers, PythonsServerIsFoundAndNamed) {
  const test::ScratchDirectory home;
  const Words words = {"python3", "-m", "http.server", "0", "--bind", "127.0.0.1"};
  const test::Subprocess server(found(words), environment(home));
  const std::optional<PortScan::ProcessListener> process = listening(server.pid(), 1, environment(home));
  ASSERT_TRUE(process) << "python3 and lsof are needed";
  EXPECT_EQ(ServerIdentity::name(process->command, words), "Python http.server");
}

TEST(LiveServers, NodesServerIsFoundAndNamedByItsScript) {
  const test::ScratchDirectory home;
  const std::string script = home / "server.js";
  test::writeFile(script, "require('http').createServer((q, r) => r.end('ok')).listen(0, '127.0.0.1');\n");
  const Words words = {"node", script};
  const test::Subprocess server(found(words), environment(home));
  const std::optional<PortScan::ProcessListener> process = listening(server.pid(), 1, environment(home));
  ASSERT_TRUE(process) << "node and lsof are needed";
  EXPECT_EQ(ServerIdentity::name(process->command, words), std::nullopt);
  EXPECT_EQ(ServerIdentity::script(words), "server.js");
  EXPECT_FALSE(ServerPortRoles::needsNodeInspectorProbe(process->command, words));
}

TEST(LiveServers, NodesInspectorIsKnownToListenSomewhere) {
  const test::ScratchDirectory home;
  const std::string script = home / "server.js";
  test::writeFile(script, "require('http').createServer((q, r) => r.end('ok')).listen(0, '127.0.0.1');\n");
  const Words words = {"node", "--inspect=127.0.0.1:0", script};
  const test::Subprocess server(found(words), environment(home));
  const std::optional<PortScan::ProcessListener> process = listening(server.pid(), 2, environment(home));
  ASSERT_TRUE(process) << "node and lsof are needed";
  EXPECT_TRUE(ServerPortRoles::needsNodeInspectorProbe(process->command, words));
  EXPECT_TRUE(ServerPortRoles::inspectorPorts(process->command, words).empty());
}

}  // namespace
}  // namespace tavrin
