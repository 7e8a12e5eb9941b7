#include "TavrinTerminal/System/ChildProcess.hpp"
#include "TavrinTerminal/System/ServerListing.hpp"

namespace tavrin::ServerListing {

Listing now() {
  // lsof also ends with status 1 if it could not look at some processes.
  ChildCommand command;
  command.words = {"/usr/sbin/lsof", "-nP", "-iTCP", "-sTCP:LISTEN", "-F", "pcn"};
  return {.listeners = PortScan::parse(ChildProcess::run(command).output), .unseenPorts = {}};
}

}  // namespace tavrin::ServerListing
