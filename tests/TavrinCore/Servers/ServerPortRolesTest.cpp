#include "TavrinCore/Servers/ServerPortRoles.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tavrin {
namespace {

using Arguments = std::vector<std::string>;

std::string joined(const Arguments& arguments) {
  std::string text;
  for (const std::string& argument : arguments) text += "[" + argument + "]";
  return text;
}

constexpr int none = -1;

TEST(ServerPortRoles, NodesInspectorIsReadFromNodesOwnOptions) {
  const struct {
    Arguments arguments;
    int port;  // 0 where the arguments do not show it
  } cases[] = {
      {{"node", "--inspect", "app.js"}, 9229},
      {{"node", "--inspect-brk", "app.js"}, 9229},
      {{"node", "--inspect-wait"}, 9229},
      {{"/usr/bin/node", "--inspect=127.0.0.1:9333", "app.js"}, 9333},
      {{"node", "--inspect=9333"}, 9333},
      {{"node", "--inspect=[::1]:9333"}, 9333},
      {{"node", "--inspect=9333:"}, 9333},
      {{"node", "--inspect=a=b:9333"}, 9333},
      {{"node", "--inspect=0", "app.js"}, 0},
      {{"node", "--inspect="}, 0},
      {{"node", "--inspect=:"}, 0},
      {{"node", "--inspect=localhost"}, 0},
      {{"node", "--inspect=70000"}, 0},
      {{"node", "--inspect=99999999999999999999"}, 0},
      {{"node", "app.js", "--inspect"}, none},
      {{"node", "--", "--inspect"}, none},
      {{"node", "", "--inspect"}, none},
      {{"node", "-", "--inspect"}, 9229},
      {{"node", "-r", "dotenv/config", "--inspect"}, 9229},
      {{"node", "-r=x", "app.js", "--inspect"}, none},
      {{"node", "-r", "--inspect"}, none},
      {{"node", "-e", "1", "-p", "2", "--eval", "3", "--print", "4", "--require", "5", "--import", "6",
        "--loader", "7", "--experimental-loader", "8", "--inspect"},
       9229},
      {{"node", "--conditions", "dev", "--inspect"}, none},
      {{"node", "--inspect", "--inspect-port", "9500"}, 9500},
      {{"node", "--inspect-port", "9500", "--inspect"}, 9500},
      {{"node", "--debug-port=9501", "--inspect=9333"}, 9501},
      {{"node", "--inspect", "--inspect-port=1", "--inspect-port=2"}, 2},
      {{"node", "--inspect", "--inspect-port"}, 0},
      {{"node", "--inspect", "--inspect-port", "x"}, 0},
      {{"node", "--inspect-port", "--inspect"}, none},
      {{"node", "--inspect-port", "9500"}, none},
      {{"node", "--inspect=9333", "--inspect-brk"}, 9333},
      {{"node", "--inspect=9333", "--inspect=9334"}, 9334},
      {{"node", "--inspector"}, none},
      {{"node"}, none},
      {{}, none},
      {{"--inspect"}, none},
  };
  for (const auto& [arguments, port] : cases) {
    const std::set<int> expected = port > 0 ? std::set<int>{port} : std::set<int>{};
    EXPECT_EQ(ServerPortRoles::inspectorPorts("node", arguments), expected) << joined(arguments);
    EXPECT_EQ(ServerPortRoles::needsNodeInspectorProbe("node", arguments), port == 0) << joined(arguments);
  }
}

TEST(ServerPortRoles, OnlyNodeHasNodesInspector) {
  EXPECT_EQ(ServerPortRoles::inspectorPorts("bun", {"bun", "--inspect"}), std::set<int>{});
  EXPECT_FALSE(ServerPortRoles::needsNodeInspectorProbe("bun", {"bun", "--inspect=0"}));
  EXPECT_EQ(ServerPortRoles::inspectorPorts("MainThread", {"/opt/bin/node", "--inspect"}),
            std::set<int>{9229});
  for (const char* const other : {"Node", "NODE", "nodemon", "xnode", "/x/nodemon", "/x/node/", ""}) {
    EXPECT_EQ(ServerPortRoles::inspectorPorts(other, {other, "--inspect"}), std::set<int>{}) << other;
    EXPECT_EQ(ServerPortRoles::inspectorPorts("x", {other, "--inspect"}), std::set<int>{}) << other;
  }
}

TEST(ServerPortRoles, WorkerdIsKnownByItsCommandOrItsProgram) {
  EXPECT_TRUE(ServerPortRoles::isWorkerd("workerd", {}));
  EXPECT_TRUE(ServerPortRoles::isWorkerd("x", {"/x/bin/workerd", "serve"}));
  EXPECT_TRUE(ServerPortRoles::isWorkerd("x", {"workerd"}));
  EXPECT_FALSE(ServerPortRoles::isWorkerd("x", {"x", "workerd"}));
  EXPECT_FALSE(ServerPortRoles::isWorkerd("Workerd", {"workerd/"}));
  EXPECT_FALSE(ServerPortRoles::isWorkerd("x", {"workerd2"}));
  EXPECT_FALSE(ServerPortRoles::isWorkerd("workerd2", {}));
  EXPECT_FALSE(ServerPortRoles::isWorkerd("", {}));
}

TEST(ServerPortRoles, WorkerdHasTwoDebuggerPorts) {
  const struct {
    Arguments arguments;
    std::set<int> ports;
  } cases[] = {
      {{"workerd", "--inspector-addr=localhost:9229", "--debug-port", "9230"}, {9229, 9230}},
      {{"workerd", "serve", "--inspector-addr", "9229"}, {9229}},
      {{"workerd", "--inspector-addr=x", "--debug-port=0"}, {}},
      {{"workerd", "--inspector-addr"}, {}},
      {{"workerd", "--inspector-addr=", "--inspector-addr", "9229"}, {}},
      {{"workerd", "--inspector-addr", "1", "--inspector-addr=2"}, {2}},
      {{"workerd", "--inspector-addr=1", "--inspector-addr=2"}, {1}},
      {{"workerd", "--inspect"}, {}},
      {{"workerd"}, {}},
  };
  for (const auto& [arguments, ports] : cases) {
    EXPECT_EQ(ServerPortRoles::inspectorPorts("workerd", arguments), ports) << joined(arguments);
  }
}

TEST(ServerPortRoles, WorkerdPublishesItsServiceOnALoopbackAddress) {
  using ServerPortRoles::Bridge;
  const struct {
    Arguments arguments;
    std::optional<Bridge> bridge;
  } cases[] = {
      {{"workerd", "--external-addr=loopback=[::1]:8787"}, Bridge{.host = "::1", .port = 8787}},
      {{"workerd", "--external-addr", "loopback=localhost:1"}, Bridge{.host = "localhost", .port = 1}},
      {{"workerd", "--external-addr=loopback=127.0.0.1:65535"}, Bridge{.host = "127.0.0.1", .port = 65535}},
      {{"workerd", "--external-addr=loopback=::1:8787"}, Bridge{.host = "::1", .port = 8787}},
      {{"workerd", "--external-addr=loopback=0.0.0.0:8787"}, std::nullopt},
      {{"workerd", "--external-addr=loopback=localhost"}, std::nullopt},
      {{"workerd", "--external-addr=loopback=localhost:0"}, std::nullopt},
      {{"workerd", "--external-addr=loopback=localhost:8787:"}, std::nullopt},
      {{"workerd", "--external-addr=loopback=:8787"}, std::nullopt},
      {{"workerd", "--external-addr=loopback=[]:8787"}, std::nullopt},
      {{"workerd", "--external-addr=loopback=8787"}, std::nullopt},
      {{"workerd", "--external-addr=other=localhost:8787"}, std::nullopt},
      {{"workerd", "--external-addr=other=localhost:1", "--external-addr=loopback=localhost:2"},
       std::nullopt},
      {{"workerd", "--external-addr="}, std::nullopt},
      {{"workerd", "--external-addr"}, std::nullopt},
      {{"workerd"}, std::nullopt},
      {{"node", "--external-addr=loopback=[::1]:8787"}, std::nullopt},
  };
  for (const auto& [arguments, bridge] : cases) {
    EXPECT_EQ(ServerPortRoles::loopbackBridge("x", arguments), bridge) << joined(arguments);
  }
}

TEST(ServerPortRoles, TakesAnyBytes) {
  const std::string huge(1'000'000, ':');
  EXPECT_TRUE(ServerPortRoles::needsNodeInspectorProbe("node", {"node", "--inspect=" + huge}));
  EXPECT_EQ(ServerPortRoles::loopbackBridge("workerd", {"", "--external-addr=loopback=" + huge + "1"}),
            std::nullopt);
  EXPECT_EQ(ServerPortRoles::inspectorPorts("node", Arguments(100'000, "--inspect=\xff")), std::set<int>{});
}

}  // namespace
}  // namespace tavrin
