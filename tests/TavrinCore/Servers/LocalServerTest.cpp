#include "TavrinCore/Servers/LocalServer.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <unordered_set>
#include <vector>

namespace tavrin {
namespace {

const std::string containerID = "0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef";

LocalServer server(PortList ports = {3000}, std::string host = "localhost") {
  return {.pid = 4242,
          .ports = std::move(ports),
          .command = "node",
          .cwd = "/Users/dev/app/web",
          .host = std::move(host),
          .repo = {.root = "/Users/dev/app", .worktree = {}}};
}

TEST(LocalServer, AMissingFieldHasItsDefault) {
  const LocalServer made = server();
  EXPECT_EQ(made.host, "localhost");
  EXPECT_FALSE(made.needsNodeInspectorProbe);
  EXPECT_EQ(made.framework, std::nullopt);
  EXPECT_EQ(made.script, std::nullopt);
  EXPECT_EQ(made.health, ServerHealth::unknown);
  EXPECT_EQ(made.startedAt, std::nullopt);
  EXPECT_FALSE(made.isDocker);
  EXPECT_EQ(made.dockerTarget, std::nullopt);
}

TEST(LocalServer, WithoutPortsItHasThePort0) {
  for (const PortList& ports : {PortList{}, PortList(std::vector<int>{})}) {
    const LocalServer made = server(ports);
    EXPECT_EQ(made.ports, PortList{0});
    EXPECT_EQ(made.port(), 0);
    EXPECT_EQ(made.id(), "4242:0");
  }
  EXPECT_EQ(LocalServer{}.id(), "0:0");
}

TEST(LocalServer, ItsFirstPortIsItsPort) {
  EXPECT_EQ(server({5000, 3000}).port(), 5000);
  EXPECT_EQ(server({5000, 3000}).id(), "4242:5000");
}

TEST(LocalServer, IsNamedByFrameworkThenScriptThenCommand) {
  LocalServer named = server();
  EXPECT_EQ(named.displayName(), "node");
  EXPECT_FALSE(named.isWeb());
  named.script = "server.js";
  EXPECT_EQ(named.displayName(), "server.js");
  EXPECT_FALSE(named.isWeb());
  named.framework = "Vite";
  EXPECT_EQ(named.displayName(), "Vite");
  EXPECT_TRUE(named.isWeb());
}

TEST(LocalServer, IsQuietOnlyWhenItDidNotAnswer) {
  LocalServer asked = server();
  EXPECT_FALSE(asked.isQuiet());
  asked.health = ServerHealth::responding;
  EXPECT_FALSE(asked.isQuiet());
  asked.health = ServerHealth::notResponding;
  EXPECT_TRUE(asked.isQuiet());
}

TEST(LocalServer, TheUrlBracketsIpv6AndEscapesItsZone) {
  EXPECT_EQ(server({8080}, "fe80::1%en0").url(), "http://[fe80::1%25en0]:8080");
  EXPECT_EQ(server({8080}, "::1").url(), "http://[::1]:8080");
  EXPECT_EQ(server({8080}, "localhost").url(), "http://localhost:8080");
  EXPECT_EQ(server({8080, 8081}, "127.0.0.1").url(), "http://127.0.0.1:8080");
  EXPECT_EQ(server({8080}, "a%b").url(), "http://a%b:8080");
  EXPECT_EQ(server({8080}, "a:%%").url(), "http://[a:%25%25]:8080");
}

TEST(LocalServer, ThePortLabelCountsFurtherPorts) {
  EXPECT_EQ(server({5173}).portLabel(false), "5173");
  EXPECT_EQ(server({5173}).portLabel(true), "localhost:5173");
  EXPECT_EQ(server({3000, 3001}).portLabel(false), "3000 +1");
  EXPECT_EQ(server({3000, 3001, 3002}).portLabel(false), "3000 +2");
  EXPECT_EQ(server({3000, 3001, 3002}, "::1").portLabel(true), "[::1]:3000 +2");
  EXPECT_EQ(server({8080}, "fe80::1%en0").portLabel(true), "[fe80::1%en0]:8080");
  EXPECT_EQ(server({8080}, "fe80::1%en0").portLabel(false), "8080");
}

TEST(LocalServer, AllPortsAreJoinedByCommas) {
  EXPECT_EQ(server({3000}).allPortsLabel(), "3000");
  EXPECT_EQ(server({3000, 80, 3002}).allPortsLabel(), "3000, 80, 3002");
  EXPECT_EQ(server({}).allPortsLabel(), "0");
}

TEST(LocalServer, AProcessIsStoppedOnlyWhenItsStartIsKnown) {
  LocalServer stopped = server();
  EXPECT_EQ(stopped.stopTarget(), std::nullopt);
  EXPECT_FALSE(stopped.isStoppable());
  stopped.startedAt = dateFromSeconds(1000);
  EXPECT_EQ(stopped.stopTarget(),
            ServerStopTarget::process(4242, dateFromSeconds(1000), "/Users/dev/app/web"));
  EXPECT_TRUE(stopped.isStoppable());
  for (const std::int32_t pid : {1, 0, -1, -4242, std::numeric_limits<std::int32_t>::min()}) {
    stopped.pid = pid;
    EXPECT_EQ(stopped.stopTarget(), std::nullopt) << pid;
    EXPECT_FALSE(stopped.isStoppable()) << pid;
  }
  stopped.pid = 2;
  EXPECT_TRUE(stopped.isStoppable());
}

TEST(LocalServer, AContainerIsStoppedAndNeverItsProcess) {
  LocalServer stopped = server();
  stopped.isDocker = true;
  stopped.startedAt = dateFromSeconds(1000);
  EXPECT_EQ(stopped.stopTarget(), std::nullopt);
  const DockerTarget target = {.socketPath = "/var/run/docker.sock", .containerID = containerID};
  stopped.dockerTarget = target;
  EXPECT_EQ(stopped.stopTarget(), ServerStopTarget::container(target));
  EXPECT_TRUE(stopped.isStoppable());
  stopped.dockerTarget->containerID[10] = 'A';
  EXPECT_EQ(stopped.stopTarget(), std::nullopt);
  EXPECT_FALSE(stopped.isStoppable());
}

TEST(LocalServer, AnOrdinaryProcessIsNotAContainer) {
  LocalServer stopped = server();
  stopped.dockerTarget = DockerTarget{.socketPath = "/var/run/docker.sock", .containerID = containerID};
  EXPECT_EQ(stopped.stopTarget(), std::nullopt);
}

TEST(LocalServer, TheUptimeIsUnknownWithoutAStart) {
  LocalServer running = server();
  EXPECT_EQ(running.uptimeLabel(), std::nullopt);
  running.startedAt = dateFromSeconds(1000);
  EXPECT_EQ(running.uptimeLabel(dateFromSeconds(1042)), "42s");
  running.startedAt = std::chrono::system_clock::now();
  EXPECT_THAT(running.uptimeLabel().value_or(""), testing::EndsWith("s"));
}

TEST(LocalServer, EqualityComparesEveryField) {
  const LocalServer made = server();
  EXPECT_EQ(made, server());
  const auto differs = [&](auto change) {
    LocalServer other = made;
    change(other);
    return other != made;
  };
  EXPECT_TRUE(differs([](LocalServer& s) { s.pid = 1; }));
  EXPECT_TRUE(differs([](LocalServer& s) { s.ports = {3000, 1}; }));
  EXPECT_TRUE(differs([](LocalServer& s) { s.command = ""; }));
  EXPECT_TRUE(differs([](LocalServer& s) { s.cwd = ""; }));
  EXPECT_TRUE(differs([](LocalServer& s) { s.host = ""; }));
  EXPECT_TRUE(differs([](LocalServer& s) { s.needsNodeInspectorProbe = true; }));
  EXPECT_TRUE(differs([](LocalServer& s) { s.repo.worktree = "x"; }));
  EXPECT_TRUE(differs([](LocalServer& s) { s.framework = ""; }));
  EXPECT_TRUE(differs([](LocalServer& s) { s.script = ""; }));
  EXPECT_TRUE(differs([](LocalServer& s) { s.health = ServerHealth::responding; }));
  EXPECT_TRUE(differs([](LocalServer& s) { s.startedAt = Date(); }));
  EXPECT_TRUE(differs([](LocalServer& s) { s.isDocker = true; }));
  EXPECT_TRUE(differs([](LocalServer& s) { s.dockerTarget = DockerTarget(); }));
}

TEST(DockerTarget, IsValidWithAnAbsoluteSocketAndAWholeId) {
  const struct {
    std::string socketPath;
    std::string id;
    bool valid;
  } cases[] = {
      {"/var/run/docker.sock", containerID, true},
      {"/", containerID, true},
      {"", containerID, false},
      {"var/run/docker.sock", containerID, false},
      {"unix:///var/run/docker.sock", containerID, false},
      {"/s", "", false},
      {"/s", containerID.substr(1), false},
      {"/s", containerID + "0", false},
      {"/s", std::string(64, 'A'), false},
      {"/s", std::string(64, 'g'), false},
      {"/s", std::string(64, '\0'), false},
      {"/s", std::string(63, '0') + " ", false},
      {"/s", std::string(63, '0') + "/", false},
      {"/s", std::string(63, '0') + ":", false},
      {"/s", std::string(63, '0') + "`", false},
      {"/s", std::string(62, '0') + "\u00e9", false},
  };
  for (const auto& [socketPath, id, valid] : cases) {
    EXPECT_EQ((DockerTarget{.socketPath = socketPath, .containerID = id}.isValid()), valid)
        << socketPath << " " << id;
  }
}

TEST(ServerStopTarget, EqualTargetsHaveEqualHashes) {
  const DockerTarget container = {.socketPath = "/s", .containerID = containerID};
  std::unordered_set<ServerStopTarget> targets;
  for (int round = 0; round < 2; ++round) {
    targets.insert(ServerStopTarget::process(5, dateFromSeconds(1), "/a"));
    targets.insert(ServerStopTarget::process(6, dateFromSeconds(1), "/a"));
    targets.insert(ServerStopTarget::process(5, dateFromSeconds(2), "/a"));
    targets.insert(ServerStopTarget::process(5, dateFromSeconds(1), "/b"));
    targets.insert(ServerStopTarget::container(container));
    targets.insert(ServerStopTarget::container({.socketPath = "/t", .containerID = containerID}));
  }
  EXPECT_EQ(targets.size(), 6U);
  EXPECT_EQ((std::unordered_set<DockerTarget>{container, container}.size()), 1U);
}

TEST(ServerStopTarget, IsAProcessOrAContainer) {
  const ServerStopTarget process = ServerStopTarget::process(5, dateFromSeconds(1), "/a");
  ASSERT_NE(process.process(), nullptr);
  EXPECT_EQ(process.process()->pid, 5);
  EXPECT_EQ(process.process()->startedAt, dateFromSeconds(1));
  EXPECT_EQ(process.process()->cwd, "/a");
  EXPECT_EQ(process.container(), nullptr);
  const ServerStopTarget container = ServerStopTarget::container({.socketPath = "/s", .containerID = "x"});
  ASSERT_NE(container.container(), nullptr);
  EXPECT_EQ(container.container()->socketPath, "/s");
  EXPECT_EQ(container.process(), nullptr);
  EXPECT_NE(process, container);
}

}  // namespace
}  // namespace tavrin
