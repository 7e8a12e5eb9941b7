#include "TavrinCore/Servers/PortScan.hpp"

#include <algorithm>
#include <array>
#include <numeric>
#include <optional>
#include <span>
#include <utility>

#include "TavrinCore/Support/CountingSort.hpp"
#include "TavrinCore/Support/IndexTable.hpp"
#include "TavrinCore/Support/Integer.hpp"

namespace tavrin::PortScan {

namespace {

constexpr std::string_view localhost = "localhost";
constexpr std::array<std::string_view, 3> wildcards = {"*", "0.0.0.0", "::"};
// The order of preference if a process listens on one port at several addresses.
constexpr std::array<std::string_view, 3> preferredHosts = {"127.0.0.1", "::1", localhost};

struct Address {
  std::string_view host;
  int port = 0;
};

// Integer::port, but faster for the few digits that a port has.
std::optional<int> portIn(std::string_view text) {
  constexpr std::size_t mostDigits = 5;
  if (text.size() > mostDigits) return Integer::port(text);
  int port = 0;
  for (const char c : text) {
    if (c < '0' || c > '9') return Integer::port(text);
    port = port * 10 + (c - '0');
  }
  return Integer::isPort(port) ? std::optional(port) : std::nullopt;
}

// A socket name such as "127.0.0.1:3000", "[::1]:8080" or "*:5173".
std::optional<Address> address(std::string_view name) {
  const std::size_t colon = name.rfind(':');
  if (colon == std::string_view::npos) return std::nullopt;
  const std::optional<int> port = portIn(name.substr(colon + 1));
  if (!port) return std::nullopt;
  std::string_view host = name.substr(0, colon);
  const auto isBracket = [](char letter) { return letter == '[' || letter == ']'; };
  while (!host.empty() && isBracket(host.front())) host.remove_prefix(1);
  while (!host.empty() && isBracket(host.back())) host.remove_suffix(1);
  if (host.empty()) return std::nullopt;
  if (std::ranges::find(wildcards, host) != wildcards.end()) host = localhost;
  return Address{.host = host, .port = *port};
}

// Converted where the listener will be, so that its strings are not moved.
struct Fields {
  std::int32_t pid;
  std::string_view command;
  Address address;

  operator Listener() const {
    return {
        .pid = pid, .command = std::string(command), .port = address.port, .host = std::string(address.host)};
  }
};

std::size_t preference(std::string_view host) {
  return static_cast<std::size_t>(std::ranges::find(preferredHosts, host) - preferredHosts.begin());
}

// The rank of each host in the order of preference.
std::vector<std::uint32_t> ranksOf(const std::vector<std::string_view>& hosts) {
  std::vector<std::uint32_t> order(hosts.size());
  std::iota(order.begin(), order.end(), std::uint32_t{0});
  std::ranges::sort(order, {}, [&](std::uint32_t i) { return std::pair(preference(hosts[i]), hosts[i]); });
  std::vector<std::uint32_t> ranks(hosts.size());
  for (std::uint32_t rank = 0; rank < order.size(); ++rank) ranks[order[rank]] = rank;
  return ranks;
}

// What listeners are compared by, side by side in memory.
struct Endpoint {
  std::int32_t pid = 0;
  std::int32_t port = 0;
  std::uint32_t rank = 0;   // that of its host, in the order of preference
  std::uint32_t index = 0;  // its place among the listeners

  std::uint64_t processAndPort() const {
    return std::uint64_t{static_cast<std::uint32_t>(pid)} << 32U | static_cast<std::uint32_t>(port);
  }
  std::uint64_t rankAndIndex() const { return std::uint64_t{rank} << 32U | index; }

  bool operator<(const Endpoint& other) const {
    return processAndPort() != other.processAndPort() ? processAndPort() < other.processAndPort()
                                                      : rankAndIndex() < other.rankAndIndex();
  }
};

// Numbers hosts as they come. There are few as a rule, and a few are compared faster than one is hashed.
class HostNumbers {
 public:
  explicit HostNumbers(std::size_t mostHosts) : mostHosts_(mostHosts) {}

  std::uint32_t of(std::string_view name) {
    constexpr std::size_t few = 4;
    std::size_t host = 0;
    while (host < names_.size() && host < few && names_[host] != name) ++host;
    if (host == few) {
      if (!more_) more_.emplace(mostHosts_);
      host += more_->add(name);
    }
    if (host == names_.size()) names_.emplace_back(name);
    return static_cast<std::uint32_t>(host);
  }

  const std::vector<std::string_view>& names() const { return names_; }

 private:
  std::size_t mostHosts_;
  std::vector<std::string_view> names_;
  std::optional<TextIndex> more_;  // those after the first few
};

// Calls `use` with the endpoints of one process after the other. They must be sorted by process.
template <class Use>
void forEachProcess(std::span<Endpoint> endpoints, Use use) {
  while (!endpoints.empty()) {
    const auto end = std::ranges::find_if(
        endpoints, [&](const Endpoint& endpoint) { return endpoint.pid != endpoints.front().pid; });
    const auto count = static_cast<std::size_t>(end - endpoints.begin());
    use(endpoints.first(count));
    endpoints = endpoints.subspan(count);
  }
}

// Sorts by process and port, and then by rank and index. lsof lists processes by their ids. Then only the
// endpoints of each process have to be sorted.
void sortByProcess(std::vector<Endpoint>& endpoints) {
  if (!std::ranges::is_sorted(endpoints, {}, &Endpoint::pid)) {
    std::ranges::stable_sort(endpoints, {}, &Endpoint::pid);
  }
  forEachProcess(endpoints, [](std::span<Endpoint> ofOne) { std::sort(ofOne.begin(), ofOne.end()); });
}

// The endpoints of one process.
struct Group {
  std::span<const Endpoint> endpoints;  // as sortByProcess sorts them
  std::uint32_t firstSeen = 0;          // the index of the process's first listener
};

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
        if (const std::optional<Address> found = address(value)) {
          listeners.emplace_back(Fields{.pid = *pid, .command = command, .address = *found});
        }
        break;
      default:
        break;
    }
  }
  return listeners;
}

std::vector<Listener> dedupe(std::vector<Listener> listeners) {
  HostNumbers hosts(listeners.size());
  std::vector<Endpoint> endpoints;
  endpoints.reserve(listeners.size());
  for (std::uint32_t i = 0; i < listeners.size(); ++i) {
    const Listener& listener = listeners[i];
    endpoints.push_back(
        {.pid = listener.pid, .port = listener.port, .rank = hosts.of(listener.host), .index = i});
  }
  const std::vector<std::uint32_t> ranks = ranksOf(hosts.names());
  for (Endpoint& endpoint : endpoints) endpoint.rank = ranks[endpoint.rank];

  sortByProcess(endpoints);
  const auto isSame = [](const Endpoint& a, const Endpoint& b) {
    return a.processAndPort() == b.processAndPort();
  };
  endpoints.erase(std::unique(endpoints.begin(), endpoints.end(), isSame), endpoints.end());
  // Back into the order of the input, and then by host.
  endpoints = countingSorted(std::move(endpoints), [](const Endpoint& endpoint) { return endpoint.index; });
  endpoints = countingSorted(std::move(endpoints), [](const Endpoint& endpoint) { return endpoint.rank; });
  std::vector<Listener> first;
  first.reserve(endpoints.size());
  for (const Endpoint& endpoint : endpoints) first.push_back(std::move(listeners[endpoint.index]));
  return first;
}

std::vector<ProcessListener> byProcess(const std::vector<Listener>& listeners) {
  std::vector<Endpoint> endpoints;
  endpoints.reserve(listeners.size());
  for (std::uint32_t i = 0; i < listeners.size(); ++i) {
    const auto& [pid, command, port, host] = listeners[i];
    if (pid >= 1 && Integer::isPort(port))
      endpoints.push_back({.pid = pid, .port = port, .rank = 0, .index = i});
  }
  sortByProcess(endpoints);

  std::vector<Group> groups;
  forEachProcess(endpoints, [&](std::span<const Endpoint> ofOne) {
    groups.push_back({.endpoints = ofOne, .firstSeen = std::ranges::min(ofOne, {}, &Endpoint::index).index});
  });
  groups = countingSorted(std::move(groups), [](const Group& group) { return group.firstSeen; });

  std::vector<ProcessListener> processes;
  processes.reserve(groups.size());
  for (const Group& group : groups) {
    const Endpoint& first = group.endpoints.front();
    ProcessListener& process = processes.emplace_back();
    process.pid = first.pid;
    process.command = listeners[group.firstSeen].command;
    process.host = listeners[first.index].host;
    process.ports.reserve(group.endpoints.size());
    for (const Endpoint& endpoint : group.endpoints) {
      if (process.ports.empty() || process.ports.back() != endpoint.port)
        process.ports.push_back(endpoint.port);
    }
  }
  return processes;
}

}  // namespace tavrin::PortScan
