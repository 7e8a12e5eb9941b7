#pragma once

#include <string>
#include <vector>

#include "TavrinCore/Context/ProcessFacts.hpp"
#include "TavrinCore/Servers/PortScan.hpp"

/// What scripts/record-servers.py recorded of real servers.
namespace tavrin::test {

/// A process of tests/data/servers/processes.jsonl.
struct RecordedServer {
  std::string server;  ///< what was started, as the script calls it
  std::int32_t pid = 0;
  std::string command;
  std::string executable;
  std::string cwd;
  std::vector<std::string> arguments;
};

std::vector<RecordedServer> recordedServers();

/// What lsof listed for them.
std::vector<PortScan::Listener> recordedListeners();

/// Look-ups of these processes, all of which started at `startedAt`. Only those that ServerScan uses are set.
ProcessFacts recordedProcessFacts(Date startedAt);

}  // namespace tavrin::test
