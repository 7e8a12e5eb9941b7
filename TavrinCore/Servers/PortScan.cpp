#include "TavrinCore/Servers/PortScan.hpp"

#include <algorithm>
#include <array>
#include <numeric>
#include <optional>
#include <utility>

#include "TavrinCore/Support/IndexTable.hpp"
#include "TavrinCore/Support/Integer.hpp"

namespace tavrin::PortScan {

namespace {

constexpr std::string_view localhost = "localhost";
constexpr std::array<std::string_view, 3> wildcards = {"*", "0.0.0.0", "::"};
// The order of preference if a process listens on one port at several addresses.
constexpr std::array<std::string_view, 3> preferredHosts = {"127.0.0.1", "::1", localhost};

struct Endpoint {
  std::string_view host;
  int port = 0;
};

// A socket name such as "127.0.0.1:3000", "[::1]:8080" or "*:5173".
std::optional<Endpoint> endpoint(std::string_view name) {
  const std::size_t colon = name.rfind(':');
  if (colon == std::string_view::npos) return std::nullopt;
  const std::optional<int> port = Integer::port(name.substr(colon + 1));
  if (!port) return std::nullopt;
  std::string_view host = name.substr(0, colon);
  const auto isBracket = [](char letter) { return letter == '[' || letter == ']'; };
  while (!host.empty() && isBracket(host.front())) host.remove_prefix(1);
  while (!host.empty() && isBracket(host.back())) host.remove_suffix(1);
  if (host.empty()) return std::nullopt;
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

// The rank of each host in the order of preference.
std::vector<std::size_t> ranksOf(const std::vector<std::string_view>& hosts) {
  std::vector<std::size_t> order(hosts.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::ranges::sort(order, {}, [&](std::size_t i) { return std::pair(preference(hosts[i]), hosts[i]); });
  std::vector<std::size_t> ranks(hosts.size());
  for (std::size_t rank = 0; rank < order.size(); ++rank) ranks[order[rank]] = rank;
  return ranks;
}

// The rank of each listener's host in the order of preference.
struct HostRanks {
  std::vector<std::uint32_t> ofListener;
  std::size_t count = 0;
};

HostRanks hostRanks(const std::vector<Listener>& listeners) {
  HostRanks found;
  found.ofListener.reserve(listeners.size());
  std::vector<std::string_view> hosts;
  std::optional<TextIndex> more;
  for (const Listener& listener : listeners) {
    // There are few hosts as a rule, and a few are compared faster than one is hashed.
    constexpr std::size_t few = 4;
    std::size_t host = 0;
    while (host < hosts.size() && host < few && hosts[host] != listener.host) ++host;
    if (host == few) {
      if (!more) more.emplace(listeners.size());
      host += more->add(listener.host);
    }
    if (host == hosts.size()) hosts.emplace_back(listener.host);
    found.ofListener.push_back(static_cast<std::uint32_t>(host));
  }
  const std::vector<std::size_t> ranks = ranksOf(hosts);
  for (std::uint32_t& host : found.ofListener) host = static_cast<std::uint32_t>(ranks[host]);
  found.count = ranks.size();
  return found;
}

}  // namespace

std::vector<Listener> parse(std::string_view lsofFields) {
  // lsof prints more bytes than this for most sockets. Memory that is reserved and not used costs nothing.
  constexpr std::size_t bytesPerSocket = 16;
  std::vector<Listener> listeners;
  listeners.reserve(lsofFields.size() / bytesPerSocket);
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
  const HostRanks ranks = hostRanks(listeners);
  std::vector<std::uint32_t> best;  // of each process and port, the listener with the lowest rank
  IndexTable known(listeners.size());
  for (std::uint32_t i = 0; i < listeners.size(); ++i) {
    const std::uint64_t key = processAndPort(listeners[i]);
    const std::size_t index = known.findOrAdd(spreadHash(key), best.size(), [&](std::size_t other) {
      return processAndPort(listeners[best[other]]) == key;
    });
    if (index == best.size())
      best.push_back(i);
    else if (ranks.ofListener[i] < ranks.ofListener[best[index]])
      best[index] = i;
  }
  // There are few hosts and many listeners, so listeners are counted instead of compared.
  std::vector<std::size_t> start(ranks.count + 1);
  for (const std::uint32_t i : best) ++start[ranks.ofListener[i] + 1];
  std::partial_sum(start.begin(), start.end(), start.begin());
  std::vector<bool> isBest(listeners.size());
  for (const std::uint32_t i : best) isBest[i] = true;
  std::vector<std::uint32_t> order(best.size());
  for (std::uint32_t i = 0; i < listeners.size(); ++i) {
    if (isBest[i]) order[start[ranks.ofListener[i]]++] = i;
  }
  std::vector<Listener> first;
  first.reserve(order.size());
  for (const std::uint32_t i : order) first.push_back(std::move(listeners[i]));
  return first;
}

std::vector<ProcessListener> byProcess(const std::vector<Listener>& listeners) {
  std::vector<ProcessListener> processes;
  std::vector<int> lowest;  // the lowest port of each process
  IndexTable known(listeners.size());
  std::size_t index = 0;
  for (const Listener& listener : listeners) {
    if (listener.pid < 1 || !Integer::isPort(listener.port)) continue;
    // Endpoints of one process mostly follow each other.
    if (processes.empty() || processes[index].pid != listener.pid) {
      index = known.findOrAdd(spreadHash(static_cast<std::uint32_t>(listener.pid)), processes.size(),
                              [&](std::size_t other) { return processes[other].pid == listener.pid; });
    }
    if (index == processes.size()) {
      processes.push_back(
          {.pid = listener.pid, .command = listener.command, .ports = {}, .host = listener.host});
      lowest.push_back(listener.port);
    } else if (listener.port < lowest[index]) {
      processes[index].host = listener.host;
      lowest[index] = listener.port;
    }
    processes[index].ports.push_back(listener.port);
  }
  for (ProcessListener& process : processes) {
    std::vector<int>& ports = process.ports;
    std::ranges::sort(ports);
    ports.erase(std::unique(ports.begin(), ports.end()), ports.end());
  }
  return processes;
}

}  // namespace tavrin::PortScan
