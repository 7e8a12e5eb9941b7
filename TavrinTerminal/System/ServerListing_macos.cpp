#include "TavrinTerminal/System/ChildProcess.hpp"
#include "TavrinTerminal/System/ServerListing.hpp"

namespace tavrin::ServerListing {

Listing now() {
  // Its status is 1 when some processes could not be looked at, too.
  ChildCommand command;
  command.words = {"/usr/sbin/lsof", "-nP", "-iTCP", "-sTCP:LISTEN", "-F", "pcn"};
  return {.listeners = PortScan::parse(ChildProcess::run(command).output), .unseenPorts = {}};
}

}  // namespace tavrin::ServerListing
