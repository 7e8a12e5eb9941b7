// Command lines of the hook and of processes that listen. The input is a list of words, each followed by a
// zero byte, as in /proc. The first word is also the process's name.
#include <algorithm>
#include <array>
#include <optional>
#include <set>
#include <string>

#include "TavrinCore/Hook/AgentArgument.hpp"
#include "TavrinCore/Servers/ServerFilter.hpp"
#include "TavrinCore/Servers/ServerIdentity.hpp"
#include "TavrinCore/Servers/ServerPortRoles.hpp"
#include "TavrinCore/Support/Text.hpp"
#include "fuzz/Laws.hpp"
#include "fuzz/ServerRules.hpp"

using namespace tavrin;        // NOLINT(google-build-using-namespace)
using namespace tavrin::fuzz;  // NOLINT(google-build-using-namespace)

namespace {

Agent agentPlainly(std::string_view name) {
  if (name == "codex") return Agent::codex;
  if (name == "gemini") return Agent::gemini;
  if (name == "copilot") return Agent::copilot;
  return name == "grok" ? Agent::grok : Agent::claude;
}

AgentArgument::Parsed parsePlainly(const std::vector<std::string_view>& words) {
  AgentArgument::Parsed parsed;
  const auto setEvent = [&](std::string_view value) {
    parsed.event.reset();
    if (!value.empty()) parsed.event = Text::isValidUtf8(value) ? std::string(value) : Text::repaired(value);
  };
  for (std::size_t i = 1; i < words.size(); ++i) {
    const bool hasNext = i + 1 < words.size();
    if (words[i] == "--agent" && hasNext) {
      parsed.agent = agentPlainly(words[++i]);
    } else if (words[i] == "--event" && hasNext) {
      setEvent(words[++i]);
    } else if (words[i].starts_with("--agent=")) {
      parsed.agent = agentPlainly(words[i].substr(8));
    } else if (words[i].starts_with("--event=")) {
      setEvent(words[i].substr(8));
    }
  }
  return parsed;
}

void checkPorts(const std::string& command, const std::vector<std::string>& arguments) {
  const std::set<int> ports = ServerPortRoles::inspectorPorts(command, arguments);
  require(std::ranges::all_of(ports, [](int port) { return port >= 1 && port <= 65535; }),
          "a debugger's port is one");
  const bool isWorkerd = ServerPortRoles::isWorkerd(command, arguments);
  const std::optional<int> node = ServerRules::nodeInspectorPort(command, arguments);
  require(ServerPortRoles::needsNodeInspectorProbe(command, arguments) == (node == 0),
          "an unknown port needs a probe");
  if (!isWorkerd) {
    require(ports == (node && *node != 0 ? std::set{*node} : std::set<int>()), "Node's debugger has a port");
  }
  const auto bridge = ServerPortRoles::loopbackBridge(command, arguments);
  if (!bridge) return;
  require(isWorkerd, "only workerd has a bridge");
  require(bridge->host == "localhost" || bridge->host == "127.0.0.1" || bridge->host == "::1",
          "a bridge is on this machine");
  require(bridge->port >= 1 && bridge->port <= 65535, "and has a port");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::vector<std::string_view> words = split(textOf(data, size), '\0');
  const AgentArgument::Parsed parsed = AgentArgument::parseAll(words);
  require(parsed == parsePlainly(words), "both parsers see the same options");
  require(AgentArgument::parse(words) == parsed.agent, "and the same agent");

  const std::string command(words.front());
  const std::vector<std::string> arguments(words.begin() + 1, words.end());
  require(ServerIdentity::name(command, arguments) == ServerRules::name(command, arguments),
          "both tables give the same name");
  require(ServerIdentity::script(arguments) == ServerRules::script(arguments), "both find the same script");
  checkPorts(command, arguments);
  const std::string& path = arguments.empty() ? command : arguments.front();
  require(!ServerFilter::isDocker("", path) || !ServerFilter::isNoise(path), "containers are not noise");
  require(ServerFilter::isDocker(command, path) == ServerFilter::isDocker(Text::lowerCased(command), path),
          "letter case makes no container");
  return 0;
}
