// The output of lsof, parsed as the panel does it and, for comparison, line by line as lsof's manual
// describes it. Then it is sorted.
#include <algorithm>
#include <charconv>
#include <map>
#include <optional>
#include <set>
#include <string>

#include "TavrinCore/Servers/PortScan.hpp"
#include "fuzz/Laws.hpp"

using namespace tavrin;            // NOLINT(google-build-using-namespace)
using namespace tavrin::fuzz;      // NOLINT(google-build-using-namespace)
using namespace tavrin::PortScan;  // NOLINT(google-build-using-namespace)

namespace {

using Endpoints = std::set<std::pair<std::int32_t, int>>;

std::optional<std::int32_t> numberPlainly(std::string text) {
  const std::size_t signs = text.starts_with('+') || text.starts_with('-') ? 1 : 0;
  if (text.size() == signs || text.find_first_not_of("0123456789", signs) != std::string::npos)
    return std::nullopt;
  if (text.starts_with('+')) text.erase(0, 1);
  std::int32_t value = 0;
  const auto error = std::from_chars(text.data(), text.data() + text.size(), value).ec;
  return error == std::errc() ? std::optional(value) : std::nullopt;
}

std::optional<Listener> listenerPlainly(std::int32_t pid, const std::string& command,
                                        const std::string& name) {
  const std::size_t colon = name.rfind(':');
  if (pid < 1 || colon == std::string::npos) return std::nullopt;
  const std::optional<std::int32_t> port = numberPlainly(name.substr(colon + 1));
  if (!port || *port < 1 || *port > 65535) return std::nullopt;
  std::string host = name.substr(0, colon);
  while (host.starts_with('[') || host.starts_with(']')) host.erase(0, 1);
  while (host.ends_with('[') || host.ends_with(']')) host.pop_back();
  if (host.empty()) return std::nullopt;
  if (host == "*" || host == "0.0.0.0" || host == "::") host = "localhost";
  return Listener{.pid = pid, .command = command, .port = *port, .host = host};
}

std::vector<Listener> parsePlainly(std::string_view text) {
  std::vector<Listener> listeners;
  std::int32_t pid = 0;
  std::string command;
  for (const std::string_view line : split(text, '\n')) {
    const std::string value(line.substr(std::min<std::size_t>(1, line.size())));
    if (line.starts_with('p')) {
      pid = numberPlainly(value).value_or(0);
      command = "";
    }
    if (line.starts_with('c')) command = value;
    if (!line.starts_with('n')) continue;
    if (const auto listener = listenerPlainly(pid, command, value)) listeners.push_back(*listener);
  }
  return listeners;
}

std::string fieldsOf(const std::vector<Listener>& listeners) {
  std::string text;
  for (const Listener& listener : listeners) {
    text += "p" + std::to_string(listener.pid) + "\nc" + listener.command + "\nf5\n";
    text += "n" + listener.host + ":" + std::to_string(listener.port) + "\n";
  }
  return text;
}

Endpoints endpointsOf(const std::vector<Listener>& listeners) {
  Endpoints endpoints;
  for (const Listener& listener : listeners) endpoints.emplace(listener.pid, listener.port);
  return endpoints;
}

std::pair<int, std::string> rankOf(const Listener& listener) {
  const std::map<std::string, int> preferred = {{"127.0.0.1", 0}, {"::1", 1}, {"localhost", 2}};
  const auto found = preferred.find(listener.host);
  return {found == preferred.end() ? 3 : found->second, listener.host};
}

std::vector<Listener> dedupePlainly(std::vector<Listener> listeners) {
  std::ranges::stable_sort(listeners, {}, rankOf);
  Endpoints seen;
  std::erase_if(listeners,
                [&](const Listener& listener) { return !seen.emplace(listener.pid, listener.port).second; });
  return listeners;
}

void checkProcesses(const std::vector<Listener>& listeners) {
  Endpoints endpoints;
  std::set<std::int32_t> pids;
  for (const ProcessListener& process : byProcess(listeners)) {
    require(pids.insert(process.pid).second, "a process has one entry");
    require(std::ranges::is_sorted(process.ports, std::less_equal()) || process.ports.size() < 2,
            "its ports ascend");
    const auto first = std::ranges::find(listeners, process.pid, &Listener::pid);
    require(first != listeners.end() && first->command == process.command, "the first command counts");
    for (const int port : process.ports) endpoints.emplace(process.pid, port);
    const auto lowest = std::ranges::find_if(listeners, [&](const Listener& listener) {
      return listener.pid == process.pid && listener.port == process.ports.front();
    });
    require(lowest->host == process.host, "the host is that of the first port");
  }
  require(endpoints == endpointsOf(listeners), "every port has its process");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text = textOf(data, size);
  const std::vector<Listener> listeners = parse(text);
  require(listeners == parsePlainly(text), "both parsers see the same listeners");
  require(parse(fieldsOf(listeners)) == listeners, "listeners come back from their fields");

  const std::vector<Listener> first = dedupe(listeners);
  require(first == dedupePlainly(listeners),
          "the preferred listener of each endpoint is kept, sorted by host");
  require(dedupe(first) == first, "nothing is left to drop");
  checkProcesses(listeners);
  return 0;
}
