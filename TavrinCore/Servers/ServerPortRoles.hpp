#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

/// Ports of a server's process that are not the server itself: those of Node's inspector and of workerd, the
/// runtime that Wrangler starts. The command name and the arguments, the program first, show them.
namespace tavrin::ServerPortRoles {

/// The ports that belong to a debugger.
std::set<int> inspectorPorts(std::string_view command, const std::vector<std::string>& arguments);

/// Whether the process is workerd.
bool isWorkerd(std::string_view command, const std::vector<std::string>& arguments);

/// Whether Node listens for a debugger on a port that its arguments do not show, as with "--inspect=0".
bool needsNodeInspectorProbe(std::string_view command, const std::vector<std::string>& arguments);

/// An address on this machine.
struct Bridge {
  std::string host;  ///< "localhost", "127.0.0.1" or "::1"
  int port = 0;

  bool operator==(const Bridge&) const = default;
};

/// The address on this machine where workerd offers its service. Returns nullopt if there is none, and for
/// other processes.
std::optional<Bridge> loopbackBridge(std::string_view command, const std::vector<std::string>& arguments);

}  // namespace tavrin::ServerPortRoles
