#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "TavrinCore/Context/RepoLabel.hpp"
#include "TavrinCore/Servers/LocalServer.hpp"
#include "TavrinCore/Servers/PortScan.hpp"
#include "TavrinCore/Support/Date.hpp"

/// Turns listening ports and facts about their processes into the servers that a panel shows.
namespace tavrin::ServerScan {

/// What the system knows about a process. What is not known is empty.
struct Facts {
  std::string executable;              ///< the path of its executable
  std::string cwd;                     ///< its working directory
  std::vector<std::string> arguments;  ///< the program first
  std::optional<Date> startedAt;

  bool operator==(const Facts&) const = default;
};

/// Looks up a process; nullopt when it is gone or belongs to another user. Asked once for each process.
using FactsOf = std::function<std::optional<Facts>(std::int32_t pid)>;

/// The servers among `listeners` (PortScan::parse), one for each process, in the order of PortScan::dedupe.
/// System processes and applications (ServerFilter::isNoise) and debuggers' ports (ServerPortRoles) are left
/// out, and so is a process that has only such ports. A process without facts is kept with its command and
/// ports alone.
///
/// `host` is the preferred address of the first remaining port. A working directory outside a repository
/// stands for one, so `repo.root` is then `cwd`. `probes` look for repositories, once for each directory.
/// `health` is unknown and `dockerTarget` absent: neither follows from these facts.
///
/// `now` is the time of the listing. A start more than two seconds later belongs to another process that was
/// given the same id since, or comes from a clock that was set: it is left out, so the server cannot be
/// stopped.
std::vector<LocalServer> servers(const std::vector<PortScan::Listener>& listeners, const FactsOf& factsOf,
                                 Date now,
                                 const RepoLabel::Probes& probes = RepoLabel::Probes::realFileSystem());

}  // namespace tavrin::ServerScan
