#include "TavrinCore/Servers/ServerPortRoles.hpp"

#include <algorithm>

#include "TavrinCore/Servers/CommandLine.hpp"
#include "TavrinCore/Support/FixedList.hpp"
#include "TavrinCore/Support/Integer.hpp"

namespace tavrin::ServerPortRoles {

namespace {

using Arguments = std::vector<std::string>;

constexpr int defaultInspectorPort = 9229;
constexpr int unknownPort = 0;
constexpr FixedList<std::string_view, 3> inspectOptions = {"--inspect", "--inspect-brk", "--inspect-wait"};
constexpr FixedList<std::string_view, 2> inspectPortOptions = {"--inspect-port", "--debug-port"};
constexpr FixedList<std::string_view, 9> optionsWithOperand = {
    "-e", "--eval", "-p", "--print", "-r", "--require", "--import", "--loader", "--experimental-loader"};
constexpr FixedList<std::string_view, 3> loopbackHosts = {"localhost", "127.0.0.1", "::1"};

// Whether the process runs the program `name`, in whatever folder it is.
bool runs(std::string_view name, std::string_view command, const Arguments& arguments) {
  return command == name || (!arguments.empty() && CommandLine::afterLastSlash(arguments.front()) == name);
}

// The value of `flag`: from "flag=value", else the argument after `flag`.
std::optional<std::string_view> optionValue(std::string_view flag, const Arguments& arguments) {
  const auto joined = std::ranges::find_if(arguments, [&](std::string_view argument) {
    return argument.size() > flag.size() && argument.starts_with(flag) && argument[flag.size()] == '=';
  });
  if (joined != arguments.end()) return std::string_view(*joined).substr(flag.size() + 1);
  const auto apart = std::ranges::find(arguments, flag);
  if (apart == arguments.end() || apart + 1 == arguments.end()) return std::nullopt;
  return *(apart + 1);
}

// The port of "9229", "localhost:9229" or "[::1]:9229".
std::optional<int> portOf(std::string_view text) {
  while (text.ends_with(':')) text.remove_suffix(1);
  return Integer::port(text.substr(text.rfind(':') + 1));
}

// The port on which Node listens for a debugger, or `unknownPort` if the arguments do not show it. Returns
// nullopt if Node does not listen.
std::optional<int> nodeInspectorPort(std::string_view command, const Arguments& arguments) {
  if (!runs("node", command, arguments)) return std::nullopt;
  bool inspects = false;
  int inspectPort = defaultInspectorPort;
  std::optional<int> explicitPort;
  for (std::size_t i = 1; i < arguments.size(); ++i) {
    const std::string_view argument = arguments[i];
    // Arguments after the script belong to the script.
    if (argument == "--" || !argument.starts_with('-')) break;
    const std::size_t equals = argument.find('=');
    const std::string_view key = argument.substr(0, equals);
    std::optional<std::string_view> value;
    if (equals != std::string_view::npos) value = argument.substr(equals + 1);

    if (inspectOptions.contains(key)) {
      inspects = true;
      if (value) inspectPort = portOf(*value).value_or(unknownPort);
    } else if (inspectPortOptions.contains(key)) {
      if (!value && i + 1 < arguments.size()) value = arguments[++i];
      explicitPort = value ? portOf(*value).value_or(unknownPort) : unknownPort;
    } else if (optionsWithOperand.contains(key) && !value) {
      ++i;
    }
  }
  if (!inspects) return std::nullopt;
  return explicitPort.value_or(inspectPort);
}

}  // namespace

std::set<int> inspectorPorts(std::string_view command, const Arguments& arguments) {
  std::set<int> ports;
  if (!isWorkerd(command, arguments)) {
    const std::optional<int> port = nodeInspectorPort(command, arguments);
    if (port && *port != unknownPort) ports.insert(*port);
    return ports;
  }
  for (const std::string_view flag : {"--inspector-addr", "--debug-port"}) {
    const std::optional<std::string_view> value = optionValue(flag, arguments);
    if (const std::optional<int> port = value ? portOf(*value) : std::nullopt) ports.insert(*port);
  }
  return ports;
}

bool isWorkerd(std::string_view command, const Arguments& arguments) {
  return runs("workerd", command, arguments);
}

bool needsNodeInspectorProbe(std::string_view command, const Arguments& arguments) {
  return nodeInspectorPort(command, arguments) == unknownPort;
}

std::optional<Bridge> loopbackBridge(std::string_view command, const Arguments& arguments) {
  constexpr std::string_view prefix = "loopback=";
  constexpr std::string_view brackets = "[]";
  if (!isWorkerd(command, arguments)) return std::nullopt;
  const std::optional<std::string_view> value = optionValue("--external-addr", arguments);
  if (!value || !value->starts_with(prefix)) return std::nullopt;
  const std::optional<int> port = portOf(*value);
  if (!port) return std::nullopt;

  std::string_view host = value->substr(prefix.size());
  host = host.substr(0, host.rfind(':'));
  host.remove_prefix(std::min(host.find_first_not_of(brackets), host.size()));
  host = host.substr(0, host.find_last_not_of(brackets) + 1);
  if (!loopbackHosts.contains(host)) return std::nullopt;
  return Bridge{.host = std::string(host), .port = *port};
}

}  // namespace tavrin::ServerPortRoles
