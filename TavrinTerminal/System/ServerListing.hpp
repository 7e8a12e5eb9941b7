#pragma once

// Part of TavrinTerminal, which is not installed. Needs nothing but the standard library.

#include <vector>

#include "TavrinCore/Servers/PortScan.hpp"

/// The TCP ports that processes of this machine listen on.
namespace tavrin::ServerListing {

struct Listing {
  std::vector<PortScan::Listener> listeners;
  /// The ports whose processes this user may not look at, ascending, each once. Always empty on macOS, where
  /// lsof(8) does not report them.
  std::vector<int> unseenPorts;
};

/// From /proc on Linux; from lsof(8), with a time-out of 5 s, on macOS. Empty when nothing can be found out.
Listing now();

}  // namespace tavrin::ServerListing
