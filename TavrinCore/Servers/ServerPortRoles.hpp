#pragma once

#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

/// Ports that a server's process listens on beside the server itself, told from its command name and its
/// arguments, the program first: Node's inspector, and the parts of workerd, the runtime under Wrangler.
namespace tavrin::ServerPortRoles {

/// The ports that belong to a debugger.
std::set<int> inspectorPorts(std::string_view command, const std::vector<std::string>& arguments);

/// Whether the process is workerd.
bool isWorkerd(std::string_view command, const std::vector<std::string>& arguments);

/// Whether Node listens for a debugger at a port that its arguments do not tell, as with "--inspect=0".
bool needsNodeInspectorProbe(std::string_view command, const std::vector<std::string>& arguments);

/// An address on this machine.
struct Bridge {
  std::string host;  ///< "localhost", "127.0.0.1" or "::1"
  int port = 0;

  bool operator==(const Bridge&) const = default;
};

/// Where workerd publishes its service on this machine; nothing for other processes, or when it does not.
std::optional<Bridge> loopbackBridge(std::string_view command, const std::vector<std::string>& arguments);

}  // namespace tavrin::ServerPortRoles
