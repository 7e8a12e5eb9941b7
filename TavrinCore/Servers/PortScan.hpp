#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// Reads listening TCP endpoints from the output of lsof(8), run as `lsof -nP -iTCP -sTCP:LISTEN -F pcn`.
/// Each line is a field, with its letter first: "p" process id, "c" command, "n" socket name.
namespace tavrin::PortScan {

/// An endpoint that a process listens on.
struct Listener {
  std::int32_t pid = 0;  ///< at least 1
  std::string command;   ///< the process's name as lsof prints it; "" without one
  int port = 0;          ///< from 1 to 65535
  std::string host;      ///< the address, without the brackets of IPv6; "localhost" for all addresses

  bool operator==(const Listener&) const = default;
};

/// A process with all the ports that it listens on.
struct ProcessListener {
  std::int32_t pid = 0;
  std::string command;     ///< that of the process's first listener
  std::vector<int> ports;  ///< ascending, each once
  std::string host = {};   ///< the address of the first port, from the first of its listeners

  /// Whether process, command and ports are equal. The host is one choice of several and does not count.
  bool operator==(const ProcessListener& other) const {
    return pid == other.pid && command == other.command && ports == other.ports;
  }
};

/// The endpoints in lsof's output, in the order of their lines. A line of any other form is skipped. After a
/// bad process id all lines are skipped until the next process id.
std::vector<Listener> parse(std::string_view lsofFields);

/// One endpoint for each process and port, sorted by host: 127.0.0.1 first, then ::1, then localhost, then
/// the others by text.
std::vector<Listener> dedupe(std::vector<Listener> listeners);

/// One entry for each process, in the order in which they first occur. Endpoints whose process id or port is
/// out of range are left out.
std::vector<ProcessListener> byProcess(const std::vector<Listener>& listeners);

}  // namespace tavrin::PortScan
