#include "TavrinCore/Context/ListeningPorts.hpp"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <set>
#include <unordered_map>

#include "TavrinCore/Support/Integer.hpp"

namespace tavrin::ListeningPorts {

namespace {

// Takes everything up to the next `separator` off the front of `text`, and the separator too.
std::string_view takeUntil(char separator, std::string_view& text) {
  const std::size_t end = std::min(text.find(separator), text.size());
  const std::string_view taken = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return taken;
}

std::string_view takeField(std::string_view& line) {
  line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
  return takeUntil(' ', line);
}

constexpr std::size_t wordDigits = 8;

// The kernel prints an address as one or four 32-bit words, each in hexadecimal.
template <std::size_t words>
std::optional<std::array<std::uint32_t, words>> addressWords(std::string_view digits) {
  std::array<std::uint32_t, words> address{};
  for (std::size_t i = 0; i < words; ++i) {
    const auto word = Integer::digits<std::uint32_t>(digits.substr(i * wordDigits, wordDigits), 16);
    if (!word) return std::nullopt;
    address[i] = *word;
  }
  return address;
}

std::string ipv4Text(std::uint32_t word) {
  if (word == 0) return "*";
  std::array<char, INET_ADDRSTRLEN> text{};
  return ::inet_ntop(AF_INET, &word, text.data(), text.size());
}

std::string ipv6Text(const std::array<std::uint32_t, 4>& words) {
  in6_addr address{};
  static_assert(sizeof(address) == sizeof(words));
  std::memcpy(&address, words.data(), sizeof(address));
  if (IN6_IS_ADDR_UNSPECIFIED(&address)) return "*";
  if (IN6_IS_ADDR_V4MAPPED(&address)) return ipv4Text(words[3]);
  std::array<char, INET6_ADDRSTRLEN> text{};
  return "[" + std::string(::inet_ntop(AF_INET6, &address, text.data(), text.size())) + "]";
}

std::optional<std::string> addressText(std::string_view digits) {
  if (digits.size() == wordDigits) {
    const auto address = addressWords<1>(digits);
    return address ? std::optional(ipv4Text(address->front())) : std::nullopt;
  }
  if (digits.size() == 4 * wordDigits) {
    const auto address = addressWords<4>(digits);
    return address ? std::optional(ipv6Text(*address)) : std::nullopt;
  }
  return std::nullopt;
}

// "  0: 0100007F:0BB8 00000000:0000 0A 00000000:00000000 00:00000000 00000000  1000  0 24187 ..."
std::optional<Socket> socketIn(std::string_view line) {
  constexpr std::string_view listen = "0A";  // TCP_LISTEN of <netinet/tcp.h>
  constexpr int fieldsBeforeInode = 5;       // queues, timer, retransmits, user, time-out
  takeField(line);                           // the line's number
  std::string_view local = takeField(line);
  takeField(line);  // the other end
  if (takeField(line) != listen) return std::nullopt;
  for (int i = 0; i < fieldsBeforeInode; ++i) takeField(line);
  const auto inode = Integer::digits<std::uint64_t>(takeField(line));
  const std::optional<std::string> address = addressText(takeUntil(':', local));
  const auto port = Integer::digits<std::uint16_t>(local, 16);
  if (!inode || !address || !port || *port == 0) return std::nullopt;
  return Socket{.address = *address, .port = *port, .inode = *inode};
}

// The numbers among names, ascending.
std::vector<std::int32_t> numbersIn(const std::vector<std::string>& names) {
  std::vector<std::int32_t> numbers;
  for (const std::string& name : names) {
    if (const auto value = Integer::digits<std::int32_t>(name)) numbers.push_back(*value);
  }
  std::ranges::sort(numbers);
  return numbers;
}

// A process's name in one line, as lsof prints it: a line feed in a name must not start a field.
std::string inOneLine(std::string_view name) {
  constexpr char firstPrintable = ' ';
  constexpr char caretOffset = '@';
  std::string line;
  for (const char c : name) {
    if (c == '\n') {
      line += "\\n";
    } else if (c >= 0 && c < firstPrintable) {
      line += '^';
      line += static_cast<char>(c + caretOffset);
    } else {
      line += c;
    }
  }
  return line;
}

std::string nameOf(const std::string& process, const Probes& probes) {
  std::string name = probes.contents(process + "/comm");
  if (name.ends_with('\n')) name.pop_back();
  return inOneLine(name);
}

}  // namespace

std::vector<Socket> parse(std::string_view text) {
  std::vector<Socket> sockets;
  while (!text.empty()) {
    if (std::optional<Socket> socket = socketIn(takeUntil('\n', text))) sockets.push_back(*std::move(socket));
  }
  return sockets;
}

std::vector<int> portsOf(const std::vector<Socket>& sockets) {
  std::set<int> ports;
  for (const Socket& socket : sockets) ports.insert(socket.port);
  return {ports.begin(), ports.end()};
}

std::optional<std::uint64_t> socketInode(std::string_view linkTarget) {
  constexpr std::string_view start = "socket:[";
  if (!linkTarget.starts_with(start) || !linkTarget.ends_with(']')) return std::nullopt;
  linkTarget.remove_prefix(start.size());
  linkTarget.remove_suffix(1);
  return Integer::digits<std::uint64_t>(linkTarget);
}

Listing list(const Probes& probes) {
  std::vector<Socket> sockets = parse(probes.contents("/proc/net/tcp"));
  std::ranges::move(parse(probes.contents("/proc/net/tcp6")), std::back_inserter(sockets));
  std::unordered_map<std::uint64_t, std::size_t> indices;
  for (std::size_t i = 0; i < sockets.size(); ++i) indices.emplace(sockets[i].inode, i);

  Listing listing;
  std::set<std::size_t> owned;
  for (const std::int32_t pid : numbersIn(probes.names("/proc"))) {
    const std::string process = "/proc/" + std::to_string(pid);
    std::set<std::size_t> ofProcess;
    for (const std::int32_t descriptor : numbersIn(probes.names(process + "/fd"))) {
      const auto inode = socketInode(probes.linkTarget(process + "/fd/" + std::to_string(descriptor)));
      const auto found = inode ? indices.find(*inode) : indices.end();
      if (found != indices.end()) ofProcess.insert(found->second);
    }
    if (ofProcess.empty()) continue;
    listing.lsofFields += "p" + std::to_string(pid) + "\nc" + nameOf(process, probes) + "\n";
    for (const std::size_t i : ofProcess) {
      listing.lsofFields += "n" + sockets[i].address + ":" + std::to_string(sockets[i].port) + "\n";
    }
    owned.merge(ofProcess);
  }
  for (std::size_t i = 0; i < sockets.size(); ++i) {
    if (!owned.contains(i)) listing.withoutProcess.push_back(std::move(sockets[i]));
  }
  return listing;
}

}  // namespace tavrin::ListeningPorts
