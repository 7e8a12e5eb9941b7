#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "TavrinCore/Context/RepoLabel.hpp"
#include "TavrinCore/Servers/PortList.hpp"
#include "TavrinCore/Servers/ServerStopTarget.hpp"
#include "TavrinCore/Support/Date.hpp"

namespace tavrin {

/// How a server answered when it was last asked.
enum class ServerHealth : std::uint8_t { unknown, responding, notResponding };

/// A development server that runs on this machine, with the texts that a panel shows. Whoever makes one sets
/// at least `pid`, `ports`, `command`, `cwd` and `repo`. The rest has the defaults below.
struct LocalServer {
  std::int32_t pid = 0;
  PortList ports;
  std::string command;                        ///< the process's name as lsof prints it
  std::string cwd;                            ///< its working directory
  std::string host = "localhost";             ///< the address that the first port is bound to
  bool needsNodeInspectorProbe = false;       ///< from ServerPortRoles
  RepoLabel repo;                             ///< the repository that `cwd` belongs to
  std::optional<std::string> framework = {};  ///< from ServerIdentity::name
  std::optional<std::string> script = {};     ///< from ServerIdentity::script
  ServerHealth health = ServerHealth::unknown;
  std::optional<Date> startedAt = {};             ///< when the process started
  bool isDocker = false;                          ///< whether it belongs to Docker, from ServerFilter
  std::optional<DockerTarget> dockerTarget = {};  ///< the container that it stands for

  bool operator==(const LocalServer&) const = default;

  /// The first port.
  int port() const { return ports.front(); }

  /// The identity of its row: the process id, ":" and the first port.
  std::string id() const;

  /// The framework. If there is none, the script. If there is no script either, the command.
  std::string displayName() const;

  /// Whether it is known to serve web pages.
  bool isWeb() const { return framework.has_value(); }

  /// Whether it did not answer.
  bool isQuiet() const { return health == ServerHealth::notResponding; }

  /// Where a browser finds it. An IPv6 address is put in brackets, and the "%" of its zone is escaped
  /// (RFC 6874).
  std::string url() const;

  /// The first port and how many more there are: "3000 +2". With `showHost` the host comes first:
  /// "[::1]:3000 +2".
  std::string portLabel(bool showHost) const;

  /// All ports: "3000, 3001".
  std::string allPortsLabel() const;

  /// What to stop. It is nullopt for processes 0 and 1, for a process whose start is not known, and for
  /// Docker's processes without a known container. These are never signalled.
  std::optional<ServerStopTarget> stopTarget() const;

  bool isStoppable() const { return stopTarget().has_value(); }

  /// How long it has been running, as ServerUptime::label; nullopt when its start is not known.
  std::optional<std::string> uptimeLabel(Date now = std::chrono::system_clock::now()) const;
};

}  // namespace tavrin
