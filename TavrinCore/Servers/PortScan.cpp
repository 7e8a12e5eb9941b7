#include "TavrinCore/Servers/PortScan.hpp"

#include <algorithm>
#include <array>
#include <optional>
#include <tuple>
#include <unordered_map>
#include <unordered_set>

#include "TavrinCore/Support/Integer.hpp"

namespace tavrin::PortScan {

namespace {

constexpr std::string_view localhost = "localhost";
constexpr std::array<std::string_view, 3> wildcards = {"*", "0.0.0.0", "::"};
// What comes first when a process listens on one port at several addresses.
constexpr std::array<std::string_view, 3> preferredHosts = {"127.0.0.1", "::1", localhost};

struct Endpoint {
  std::string_view host;
  int port = 0;
};

// A socket name such as "127.0.0.1:3000", "[::1]:8080" or "*:5173".
std::optional<Endpoint> endpoint(std::string_view name) {
  constexpr std::string_view brackets = "[]";
  const std::size_t colon = name.rfind(':');
  if (colon == std::string_view::npos) return std::nullopt;
  const std::optional<int> port = Integer::port(name.substr(colon + 1));
  if (!port) return std::nullopt;
  std::string_view host = name.substr(0, colon);
  const std::size_t first = host.find_first_not_of(brackets);
  if (first == std::string_view::npos) return std::nullopt;
  host = host.substr(first, host.find_last_not_of(brackets) - first + 1);
  if (std::ranges::find(wildcards, host) != wildcards.end()) host = localhost;
  return Endpoint{.host = host, .port = *port};
}

std::size_t preference(std::string_view host) {
  return static_cast<std::size_t>(std::ranges::find(preferredHosts, host) - preferredHosts.begin());
}

std::uint64_t processAndPort(const Listener& listener) {
  return std::uint64_t{static_cast<std::uint32_t>(listener.pid)} << 32U |
         static_cast<std::uint32_t>(listener.port);
}

}  // namespace

std::vector<Listener> parse(std::string_view lsofFields) {
  std::vector<Listener> listeners;
  std::optional<std::int32_t> pid;
  std::string_view command;
  while (!lsofFields.empty()) {
    const std::size_t length = std::min(lsofFields.find('\n'), lsofFields.size());
    const std::string_view line = lsofFields.substr(0, length);
    lsofFields.remove_prefix(std::min(length + 1, lsofFields.size()));
    if (line.empty()) continue;
    const std::string_view value = line.substr(1);
    switch (line.front()) {
      case 'p':
        pid = Integer::int32(value);
        command = {};
        break;
      case 'c':
        command = value;
        break;
      case 'n':
        if (!pid || *pid < 1) break;
        if (const std::optional<Endpoint> found = endpoint(value)) {
          listeners.push_back({.pid = *pid,
                               .command = std::string(command),
                               .port = found->port,
                               .host = std::string(found->host)});
        }
        break;
      default:
        break;
    }
  }
  return listeners;
}

std::vector<Listener> dedupe(std::vector<Listener> listeners) {
  std::ranges::stable_sort(listeners, {}, [](const Listener& listener) {
    return std::tuple(preference(listener.host), std::string_view(listener.host));
  });
  std::vector<Listener> first;
  std::unordered_set<std::uint64_t> seen;
  for (Listener& listener : listeners) {
    if (seen.insert(processAndPort(listener)).second) first.push_back(std::move(listener));
  }
  return first;
}

std::vector<ProcessListener> byProcess(const std::vector<Listener>& listeners) {
  std::vector<ProcessListener> processes;
  std::unordered_map<std::int32_t, std::size_t> indices;
  for (const Listener& listener : listeners) {
    if (listener.pid < 1 || !Integer::isPort(listener.port)) continue;
    const auto [entry, isNew] = indices.try_emplace(listener.pid, processes.size());
    if (isNew) processes.push_back({.pid = listener.pid, .command = listener.command, .ports = {}});
    processes[entry->second].ports.push_back(listener.port);
  }
  for (ProcessListener& process : processes) {
    std::ranges::sort(process.ports);
    process.ports.erase(std::unique(process.ports.begin(), process.ports.end()), process.ports.end());
  }
  return processes;
}

}  // namespace tavrin::PortScan
