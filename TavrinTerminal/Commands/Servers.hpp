#pragma once

// Part of TavrinTerminal, which is not installed. Needs nothing but the standard library.

#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "TavrinCore/Servers/LocalServer.hpp"
#include "TavrinTerminal/Console.hpp"
#include "TavrinTerminal/Outcome.hpp"
#include "TavrinTerminal/Surroundings.hpp"

/// The commands `servers`, `open` and `stop`.
namespace tavrin::Servers {

struct Options {
  bool json = false;  ///< one document (docs/servers.schema.json)
};

/// What listens on this machine.
struct Found {
  std::vector<LocalServer> servers;  ///< sorted by port, those of one port by process id
  std::vector<int> unseenPorts;      ///< those whose processes are not visible, ascending
};
Found found(const Surroundings& surroundings);

/// The servers that run on this machine now, as in `found`.
std::vector<LocalServer> running(const Surroundings& surroundings);

/// Lists them: on a terminal in columns under a headline, in a pipe with tabs between the fields. On a
/// terminal a last line names the ports whose processes are not visible.
Outcome list(const Options& options, const Surroundings& surroundings, const Console& console);

/// Opens the server that `word` names in the browser. A failure prints its URL.
Outcome open(std::string_view word, const Surroundings& surroundings, const Console& console);

struct StopOptions {
  std::string server;  ///< a SERVER word
  bool yes = false;    ///< do not ask before the first signal
};

/// Stops the server that a word names, after asking. It is sent SIGTERM; if it still runs after 5 s, SIGKILL,
/// but only after asking again. Nothing is signalled unless its process has the start time and the folder
/// that were listed. Without a terminal to ask on, `yes` is needed, and nothing is killed.
Outcome stop(const StopOptions& options, const Surroundings& surroundings, const Console& console);

/// The server that a SERVER word means: a port, or PID:PORT. If there is none, a sentence. If there are
/// several, the sentence is followed by them, one per line.
std::variant<LocalServer, std::string> named(std::string_view word, const std::vector<LocalServer>& servers);

}  // namespace tavrin::Servers
