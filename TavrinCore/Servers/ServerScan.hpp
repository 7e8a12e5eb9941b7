#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <vector>

#include "TavrinCore/Context/ProcessFacts.hpp"
#include "TavrinCore/Context/RepoLabel.hpp"
#include "TavrinCore/Servers/LocalServer.hpp"
#include "TavrinCore/Servers/PortScan.hpp"
#include "TavrinCore/Support/Date.hpp"

/// Turns listening ports and facts about their processes into the servers that a panel shows.
namespace tavrin::ServerScan {

/// The servers among `listeners` (PortScan::parse), one for each process, in the order of PortScan::dedupe.
/// System processes and applications (ServerFilter::isNoise) and debuggers' ports (ServerPortRoles) are left
/// out, and so is a process that has only such ports. A process that cannot be looked up, because it belongs
/// to another user, is kept with only its command and ports. Each process is looked up once.
///
/// `host` is the preferred address of the first remaining port. A working directory outside any repository
/// counts as one, so `repo.root` is then `cwd`. `probes` look for repositories, once for each directory.
/// `health` is unknown and `dockerTarget` absent: neither follows from these facts.
///
/// `now` is the time of the listing. A start more than two seconds later belongs to another process that was
/// given the same id since, or comes from a clock that was set. `startedAt` is then nullopt, so the server
/// cannot be stopped.
std::vector<LocalServer> servers(const std::vector<PortScan::Listener>& listeners,
                                 const ProcessFacts& processFacts, Date now,
                                 const RepoLabel::Probes& probes = RepoLabel::Probes::realFileSystem());

}  // namespace tavrin::ServerScan
