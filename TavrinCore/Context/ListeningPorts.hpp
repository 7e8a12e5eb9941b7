#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Which process listens on which TCP port on Linux, from /proc (proc(5)). It sees the sockets of its own
/// network namespace. lsof 4.95 misses processes with a parenthesis in their names, and this does not.
namespace tavrin::ListeningPorts {

/// A TCP socket that waits for connections.
struct Socket {
  std::string address;      ///< as lsof prints it: "127.0.0.1", "[::1]"; "*" for all addresses
  int port = 0;             ///< from 1 to 65535
  std::uint64_t inode = 0;  ///< identifies the socket in links of /proc/PID/fd

  bool operator==(const Socket&) const = default;
};

/// The sockets in state LISTEN in the text of /proc/net/tcp or /proc/net/tcp6, in the order of their lines.
/// Lines of any other form are skipped. An IPv4-mapped IPv6 address (RFC 4291, section 2.5.5.2) becomes an
/// IPv4 address. Addresses have the byte order of this machine, as the kernel prints them.
std::vector<Socket> parse(std::string_view text);

/// The inode in the target of a link in /proc/PID/fd, such as "socket:[1234]". Returns nullopt if the link is
/// not a socket's.
std::optional<std::uint64_t> socketInode(std::string_view linkTarget);

/// The ports of sockets, ascending, each once.
std::vector<int> portsOf(const std::vector<Socket>& sockets);

/// How `list` reads files. For a file that cannot be read, each returns what it returns for an empty one.
struct Probes {
  std::function<std::string(const std::string& path)> contents;
  std::function<std::vector<std::string>(const std::string& directory)> names;  ///< in any order
  std::function<std::string(const std::string& path)> linkTarget;
};

/// What `list` returns.
struct Listing {
  /// The sockets with their processes, as `lsof -nP -iTCP -sTCP:LISTEN -F pcn` prints them: lines "p"
  /// (process id), "c" (name), "n" (address and port). Ascending by process id. A socket that several
  /// processes share is listed with each.
  std::string lsofFields;
  /// The sockets whose process is not visible, because it belongs to another user.
  std::vector<Socket> withoutProcess;

  bool operator==(const Listing&) const = default;
};

/// Finds the listening sockets and the processes that have them open. A process that ends meanwhile may be
/// listed or not.
Listing list(const Probes& probes);

}  // namespace tavrin::ListeningPorts
